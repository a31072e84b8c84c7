#ifndef COMMON_PRINT_ERROR_H
#define COMMON_PRINT_ERROR_H

namespace vek {

/// Prints a message on standard error. The arguments are those of printf(), and the text is written by one write().
/// Used only for messages that the user documentation lists as printed on standard error; other messages go to the
/// error hook, see vekReportError(). An error of writing is ignored.
[[gnu::format(printf, 1, 2)]] void printError(const char *format, ...);

} // namespace vek

#endif
