// A process that lives long. Does one thing over and over and prints, in KiB, its resident set after the first tenth
// and at the end.
//
//     long_use registries 100000    in the working directory, which holds a vek.lib with the library "lib"
//     long_use lookups 1000000      the same directory, whose lib/cell has a DM type

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/platform/vek_init.h"
#include "libdef/ryn.h"
#include "tagfile/tov.h"

namespace {

/// The resident set in KiB, 0 when it cannot be read.
long residentSize() {
    FILE *const file = std::fopen("/proc/self/statm", "r");
    long size = 0;
    long resident = 0;
    const bool read = file != nullptr && std::fscanf(file, "%ld %ld", &size, &resident) == 2;
    if (file != nullptr) {
        std::fclose(file);
    }
    return read ? resident * 4 : 0;
}

/// Creates a registry, asks it, and releases it. @return whether all went well
bool useRegistry() {
    rynHandle registry = nullptr;
    char path[VEK_PATH_SIZE];
    rynContext *context = nullptr;
    const char *name = nullptr;
    if (rynInit("vek.lib", 0, nullptr, nullptr, &registry) != RYN_OK) {
        return false;
    }
    bool good =
        rynGetPath(registry, RYN_PATH_READ, "lib", "cell", nullptr, nullptr, path, sizeof path) == RYN_OK &&
        rynQuery(registry, RYN_QUERY_READABLE, "lib", "cell", nullptr, nullptr) == RYN_OK &&
        rynIterateCells(registry, "lib", &context) == RYN_OK;
    good = good && rynNextCell(context, &name) == RYN_OK && rynIterateEnd(context) == RYN_OK;
    return rynReleaseHandle(registry) == RYN_OK && good;
}

bool lookUp() {
    return tovGetDmType("lib/cell") != nullptr && tovLookupEntryX("lib/none", "NONE", nullptr) == nullptr;
}

struct Use {
    const char *name;
    bool (*once)();
};
constexpr Use kUses[] = {{"registries", useRegistry}, {"lookups", lookUp}};

const Use *findUse(const char *name) {
    for (const Use &use : kUses) {
        if (std::strcmp(use.name, name) == 0) {
            return &use;
        }
    }
    return nullptr;
}

} // namespace

int main(int argc, char **argv) {
    const Use *const use = argc == 3 ? findUse(argv[1]) : nullptr;
    const long times = argc == 3 ? std::strtol(argv[2], nullptr, 10) : 0;
    if (use == nullptr || times < 10) {
        std::fputs("usage: long_use registries|lookups TIMES\n", stderr);
        return 2;
    }
    vekInit(&argc, argv);
    long early = 0;
    for (long i = 0; i < times; ++i) {
        if (!use->once()) {
            std::fprintf(stderr, "round %ld failed\n", i);
            return 1;
        }
        if (i + 1 == times / 10) {
            early = residentSize();
        }
    }
    std::printf("%ld %ld\n", early, residentSize());
    return 0;
}
