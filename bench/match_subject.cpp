// Matches one expression with one subject a number of times:
//
//     match_subject PATTERN UNIT LENGTH COUNT
//
// The subject is UNIT, repeated up to LENGTH characters.

#include <cstdio>
#include <cstdlib>
#include <string>

#include "common/expressions/vek_regexp.h"

int main(int argc, char **argv) {
    if (argc != 5) {
        return 2;
    }
    const auto length = static_cast<std::size_t>(std::atol(argv[3]));
    std::string subject;
    while (subject.size() < length) {
        subject += argv[2];
    }
    subject.resize(length);
    vek_regexp *const expression = vek_regcomp(argv[1]);
    if (expression == nullptr) {
        return 1;
    }
    int matches = 0;
    for (int i = std::atoi(argv[4]); i > 0; --i) {
        matches += vek_regexec(expression, subject.c_str());
    }
    std::printf("%d\n", matches);
    std::free(expression);
    return 0;
}
