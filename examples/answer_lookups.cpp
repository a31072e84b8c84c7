// Answers lookups of entries for the paths on standard input, one path a line.
//
// Usage: answer_lookups ENTRY... <PATHS
//
// The exit status is 0 when every lookup had an answer, 1 when one had none, 2 after a usage error.

#include <array>
#include <iostream>
#include <span>
#include <string>

#include <vek/tov.h>
#include <vek/vek.h>

namespace {

// Receives what is wrong with a path or a tag file. The lookup goes on with what can be read.
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
    // The cache serves one lookup: of a file that it holds already, it does not tell exactly which entries of the
    // project's own the file defines, nor whether the file has changed since.
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
