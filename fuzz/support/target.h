#ifndef VEK_FUZZ_SUPPORT_TARGET_H
#define VEK_FUZZ_SUPPORT_TARGET_H

/// What a fuzz target defines, and what it is given.

#include "fuzz/support/box.h"
#include "fuzz/support/input.h"

#include <string_view>

namespace fuzz {

// ---- defined by each target

/// Builds in `box` what all inputs share. Called once, with nothing in the environment but HOME and PWD (the box)
/// and a PATH that leads nowhere.
void prepare(Box &box);

/// Runs one input. The box is the working directory, and what outlives an input is reset here.
void run(Box &box, Input input);

// ---- for them to use

/// Ends the process, as a finding: `property` does not hold. The texts are shown with it.
[[noreturn]] void fail(const char *property, std::string_view detail = {}, std::string_view more = {});

/// fail() unless `holds`.
inline void require(bool holds, const char *property, std::string_view detail = {},
                    std::string_view more = {}) {
    if (!holds) {
        fail(property, detail, more);
    }
}

} // namespace fuzz

#endif
