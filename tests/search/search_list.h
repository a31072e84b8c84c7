#ifndef VEK_TESTS_SEARCH_SEARCH_LIST_H
#define VEK_TESTS_SEARCH_SEARCH_LIST_H

#include "common/platform/vek_init.h"
#include "tests/support/c_list.h"
#include "tests/support/environment.h"
#include "tests/support/sandbox.h"

#include <string>

namespace test {

/// An initialized process that belongs to no installation, in an empty working directory, with no variable but
/// PATH.
struct SearchProcess {
    Sandbox box;
    SearchProcess() {
        environment({});
        vekInitNonVEKApp(box.path("bin/app").c_str());
    }
    void environment(Environment variables) const {
        variables.emplace_back("PATH", box.path("bin"));
        setEnvironment(variables);
    }
};

/// A directory below `box` whose absolute path has exactly `length` characters. @return its relative path
inline std::string directoryOfLength(Sandbox &box, std::size_t length) {
    std::string relative = "d";
    const std::size_t base = box.path().size() + 1;
    while (base + relative.size() + 100 < length) {
        relative += "/" + std::string(80, 'd');
    }
    relative += "/" + std::string(length - base - relative.size() - 1, 'e');
    box.directory(relative);
    return relative;
}

} // namespace test

#endif
