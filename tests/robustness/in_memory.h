#ifndef TESTS_ROBUSTNESS_IN_MEMORY_H
#define TESTS_ROBUSTNESS_IN_MEMORY_H

#include <cstdlib>

namespace test {

/// Puts temporary directories that are made later into memory: thousands of edits on a disk would be slow. The
/// environment can name another directory: VEK_TEST_DIRECTORY.
struct InMemory {
    InMemory() {
        const char *wanted = std::getenv("VEK_TEST_DIRECTORY");
        setenv("TMPDIR", wanted == nullptr ? "/dev/shm" : wanted, 1);
    }
};

} // namespace test

#endif
