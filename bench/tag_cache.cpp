// The user time of reading many tag files into the cache and of finding them there again.
//
//     tag_cache DIRECTORY FILES ROUNDS    DIRECTORY has the tag files 0/vekinfo.tag, 1/vekinfo.tag, ...
//
// Prints the nanoseconds of user time for each file and round.

#include "common/platform/vek_init.h"
#include "tagfile/tov.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/resource.h>

namespace {

double userSeconds() {
    struct rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec) + static_cast<double>(usage.ru_utime.tv_usec) * 1e-6;
}

/// Reads every file, and then finds every file in the cache.
bool read(const std::string &directory, long files) {
    for (int pass = 0; pass < 2; ++pass) {
        for (long number = 0; number < files; ++number) {
            const std::string path = directory + "/" + std::to_string(number) + "/vekinfo.tag";
            int found = 0;
            if (tovGetVekinfoAtLoc(path.c_str(), "VEKLIBRARY", nullptr, &found) != TOV_OK || found == 0) {
                std::fprintf(stderr, "%s is no tag file of a library\n", path.c_str());
                return false;
            }
        }
    }
    return true;
}

} // namespace

int main(int argc, char **argv) {
    const long files = argc == 4 ? std::strtol(argv[2], nullptr, 10) : 0;
    const long rounds = argc == 4 ? std::strtol(argv[3], nullptr, 10) : 0;
    if (files < 1 || rounds < 1) {
        std::fputs("usage: tag_cache DIRECTORY FILES ROUNDS\n", stderr);
        return 2;
    }
    vekInit(&argc, argv);
    const double begin = userSeconds();
    for (long round = 0; round < rounds; ++round) {
        tovResetCache();
        if (!read(argv[1], files)) {
            return 1;
        }
    }
    std::printf("%.3f\n", (userSeconds() - begin) * 1e9 / static_cast<double>(files * rounds));
    return 0;
}
