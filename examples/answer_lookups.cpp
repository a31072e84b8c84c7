// Looks up entries for the paths on standard input, one path in each line.
//
// Usage: answer_lookups ENTRY... <PATHS
//
// The exit status is 0 if every lookup found a value, 1 if one did not, 2 after a usage error.

#include <array>
#include <iostream>
#include <span>
#include <string>

#include <vek/tov.h>
#include <vek/vek.h>

namespace {

// Receives errors in paths and tag files. The lookup continues.
void warn(int code, const char *text, const char *where, int line) {
    std::cerr << "answer_lookups: " << tovGetErrorMsg(code) << ": " << (text == nullptr ? "" : text);
    if (where != nullptr) {
        std::cerr << ": " << where;
    }
    if (line != 0) {
        std::cerr << ", line " << line;
    }
    std::cerr << '\n';
}

bool answer(const std::string &path, const char *entry) {
    // Each lookup needs an empty cache: for a file in the cache, application entries are not found exactly, and
    // changes of the file are not seen.
    tovResetCache();

    std::array<char, VEK_PATH_SIZE> where{};
    const char *const value = tovLookupEntryX(path.c_str(), entry, where.data());
    if (value == nullptr) {
        std::cout << path << ": no " << entry << '\n';
        return false;
    }
    std::cout << path << ": " << entry << " is '" << value << "', says " << where.data() << '\n';
    return true;
}

} // namespace

int main(int argc, char **argv) {
    vekInit(&argc, argv);
    tovRegisterErrorHandler(warn);

    const std::span entries(argv + 1, argv + argc);
    if (entries.empty()) {
        std::cerr << "usage: answer_lookups ENTRY... <PATHS\n";
        return 2;
    }
    bool all = true;
    for (std::string path; std::getline(std::cin, path);) {
        for (const char *const entry : entries) {
            all = answer(path, entry) && all;
        }
    }
    return all ? 0 : 1;
}
