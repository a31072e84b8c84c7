#include "common/base/print_error.h"

#include <cstdarg>
#include <cstdio>

void vek::printError(const char *format, ...) { // NOLINT(cert-dcl50-cpp): the compiler checks the arguments
    va_list arguments;
    va_start(arguments, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start() has initialized `arguments`
    static_cast<void>(std::vfprintf(stderr, format, arguments));
    va_end(arguments);
}
