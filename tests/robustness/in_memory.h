#ifndef TESTS_ROBUSTNESS_IN_MEMORY_H
#define TESTS_ROBUSTNESS_IN_MEMORY_H

#include <cstdlib>

namespace test {

/// Made before a throw-away directory, it puts that into memory: thousands of edits would wait for a disk.
struct InMemory {
    InMemory() { setenv("TMPDIR", "/dev/shm", 1); }
};

} // namespace test

#endif
