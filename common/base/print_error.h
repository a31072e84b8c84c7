#ifndef COMMON_PRINT_ERROR_H
#define COMMON_PRINT_ERROR_H

namespace vek {

/// Prints a message on standard error like fprintf(), with one write(). Used for messages that the user documentation
/// describes as printed on standard error; other messages use vekReportError(). A failure to print is ignored.
[[gnu::format(printf, 1, 2)]] void printError(const char *format, ...);

} // namespace vek

#endif
