// Runs a fuzz target over files, without a fuzzing engine: `<target> FILE|DIRECTORY...`.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" {
int LLVMFuzzerInitialize(int *argc, char ***argv);
int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);
}

namespace {

std::size_t replayed;

void replay(const std::filesystem::path &path) {
    std::ifstream stream(path, std::ios::binary);
    const std::string input((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    // A copy of the exact size, so that a sanitizer sees a read beyond it.
    const std::vector<std::uint8_t> bytes(input.begin(), input.end());
    std::fprintf(stderr, "replay: %s\n", path.c_str()); // the last one is the one that failed
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    ++replayed;
}

} // namespace

int main(int argc, char **argv) {
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            files.emplace_back(argv[i]);
            continue;
        }
        for (const auto &entry : std::filesystem::directory_iterator(argv[i])) {
            files.push_back(entry.path());
        }
    }
    LLVMFuzzerInitialize(&argc, &argv);
    for (const std::filesystem::path &file : files) {
        replay(std::filesystem::absolute(file));
    }
    std::printf("%zu inputs\n", replayed);
    return replayed == 0 ? EXIT_FAILURE : EXIT_SUCCESS;
}
