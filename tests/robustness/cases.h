#ifndef TESTS_ROBUSTNESS_CASES_H
#define TESTS_ROBUSTNESS_CASES_H

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/robustness/world.h"

namespace test {

/// In Case::withoutMemory: exhausted memory does not change the result.
inline constexpr const char *kAsUsual = "as usual";

/// A call of public functions, which can be repeated in the same world with the same result.
struct Case {
    /// The functions under test.
    std::vector<std::string_view> functions;
    /// Makes the call and frees what it returned. Returns the result and other effects as text. A failure of one of
    /// several functions ends the call with the result of that function.
    std::function<std::string(World &)> call;
    /// The results that exhausted memory may give besides the usual one; "memory error reported" is any result with
    /// a report of that code. Empty if nothing is allocated; kAsUsual alone if allocations may fail without effect.
    std::vector<std::string> withoutMemory = {};
    /// Whether files or directories are different afterwards.
    bool writes = false;
    /// Whether it makes several writes: a failure can leave some of them.
    bool leavesParts = false;
    /// Whether a file that cannot be examined counts as missing, where nothing needs to be done.
    bool missingIsDone = false;
};

/// The tables, by layer. `installation` are those calls of the common layer whose result the process caches.
std::vector<Case> commonCases();
std::vector<Case> installationCases();
std::vector<Case> fsCases();
std::vector<Case> searchCases();
std::vector<Case> tagfileCases();
std::vector<Case> libdefCases();

/// The functions of a case, joined.
std::string nameOf(const Case &item);

} // namespace test

#endif
