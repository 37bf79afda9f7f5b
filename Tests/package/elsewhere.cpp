// Loads the file PATH from inside the folder FOLDER. Fails also where what nothing calls has not come with the library.
// Usage: elsewhere FOLDER PATH
#include "KXFW/KXFW.h"

int main(int argc, char **argv)
{
    if (argc != 3)
        return 2;
    volatile float belowNormal = 1e-40F; // taken for 0 unless the library mends what another one has set
    if (belowNormal * 1.0F == 0)
        return 3;
    void (*const log)(uint64_t) = call_stack; // by its own name, whatever its symbol is
    log(1);
    std::filesystem::current_path(argv[1]);
    return KXAFiledAudioData2::audioDataWithContentsOfURL(argv[2]) ? 0 : 1;
}
