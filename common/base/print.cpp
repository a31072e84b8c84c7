#include "common/base/print.h"

#include <cstdarg>

// NOLINTBEGIN(cert-dcl50-cpp, clang-analyzer-valist.Uninitialized): the compiler checks the arguments, and va_start()
// initializes the list.

void vek::print(std::FILE *stream, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    static_cast<void>(std::vfprintf(stream, format, arguments));
    va_end(arguments);
}

void vek::printError(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    static_cast<void>(std::vfprintf(stderr, format, arguments));
    va_end(arguments);
}

// NOLINTEND(cert-dcl50-cpp, clang-analyzer-valist.Uninitialized)
