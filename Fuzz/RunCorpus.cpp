// Gives a fuzz target the files of folders, one after the other.
// Usage: fuzz_TARGET FILE|FOLDER...
#include "Fuzz/FuzzTarget.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace
{

int runs = 0;

void runFile(const std::filesystem::path &path)
{
    std::printf("%s\n", path.c_str());
    std::fflush(stdout); // the last line names the culprit of a crash
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    ++runs;
}

} // namespace

int main(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            runFile(argv[i]);
            continue;
        }
        for (const auto &entry : std::filesystem::recursive_directory_iterator(argv[i]))
            if (entry.is_regular_file())
                runFile(entry.path());
    }
    return runs > 0 ? 0 : 1;
}
