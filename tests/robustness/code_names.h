#ifndef TESTS_ROBUSTNESS_CODE_NAMES_H
#define TESTS_ROBUSTNESS_CODE_NAMES_H

#include <string>

namespace test {

// The names of result codes, as the headers spell them. A value without a name is printed as a number.

std::string puxName(int code);
std::string interpName(int code);
std::string tovName(int code);
std::string rynName(int code);

} // namespace test

#endif
