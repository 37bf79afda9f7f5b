// Loads the file PATH from inside the folder FOLDER.
// Usage: elsewhere FOLDER PATH
#include "KXFW/KXFW.h"

int main(int argc, char **argv)
{
    if (argc != 3)
        return 2;
    std::filesystem::current_path(argv[1]);
    return KXAFiledAudioData2::audioDataWithContentsOfURL(argv[2]) ? 0 : 1;
}
