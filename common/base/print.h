#ifndef COMMON_PRINT_H
#define COMMON_PRINT_H

/// Formatted output, with vfprintf() only. The dynamic linker resolves each imported function at every start of the
/// tool, so also calling printf(), fprintf() and puts() would slow down the start.

#include <cstdio>

namespace vek {

/// Prints on `stream` like fprintf(). Ignores a failure to write.
[[gnu::format(printf, 2, 3)]] void print(std::FILE *stream, const char *format, ...);

/// Prints a message on standard error like fprintf(), with one write(). Used for messages that the user documentation
/// describes as printed on standard error; other messages use vekReportError(). Ignores a failure to write.
[[gnu::format(printf, 1, 2)]] void printError(const char *format, ...);

} // namespace vek

#endif
