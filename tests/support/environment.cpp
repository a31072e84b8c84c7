#include "tests/support/environment.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace test {

void setEnvironment(const Environment &variables) {
    clearenv();
    for (const auto &[name, value] : variables) {
        if (setenv(name.c_str(), value.c_str(), 1) != 0) {
            throw std::system_error(errno, std::generic_category(), "setEnvironment: " + name);
        }
    }
}

} // namespace test
