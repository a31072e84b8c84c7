#ifndef VEKI_EXECUTABLE_H
#define VEKI_EXECUTABLE_H

/// The path of the executable that a command starts.

#include "common/text/fixed_text.h"

#include <string_view>

namespace vek {

/// The path of an executable. A command of 4096 characters fits.
using ExecutableText = FixedText<4098>;

/// Iterates over a list of directories that are separated by ":", like PATH. An empty element means ".". An empty
/// list has one element.
class DirectoryList {
  public:
    /// @param list  must outlive the iteration; null has no element
    explicit DirectoryList(const char *list) : rest_(list) {}

    /// @return false if there are no more elements; otherwise `directory` receives the next one
    [[nodiscard]] bool next(std::string_view &directory);

  private:
    const char *rest_;
};

/// Why the path of an executable is unknown or incomplete.
enum class ExecutableError {
    None,
    NoPathVariable,     ///< the command has no "/" and PATH is not set
    NotFound,           ///< the command is empty, PATH has no such executable, or the path is too long
    NoWorkingDirectory, ///< getcwd() failed; the path is /UNKNOWN, which no installation contains
};

struct Executable {
    ExecutableText path; ///< absolute, without "//", "/./" and "/../"; empty if the executable was not found
    ExecutableError error = ExecutableError::None;
};

/// Finds the executable that `command` starts. A command without "/" is searched along PATH.
[[nodiscard]] Executable findExecutable(std::string_view command);

/// Prints the documented message for `error` on standard error; NotFound has none.
void printExecutableError(ExecutableError error);

/// Prints the documented message for a failure of getcwd() on standard error.
void printNoWorkingDirectory();

/// Prints the documented message for a PATH that is not set on standard error.
void printNoPathVariable();

} // namespace vek

#endif
