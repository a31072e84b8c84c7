#ifndef VEK_TESTS_SUPPORT_ENVIRONMENT_H
#define VEK_TESTS_SUPPORT_ENVIRONMENT_H

#include <string>
#include <utility>
#include <vector>

namespace test {

/// The variables of a process, each a name and its value.
using Environment = std::vector<std::pair<std::string, std::string>>;

/// Sets the environment of this process to exactly `variables`.
void setEnvironment(const Environment &variables);

} // namespace test

#endif
