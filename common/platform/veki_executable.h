#ifndef VEKI_EXECUTABLE_H
#define VEKI_EXECUTABLE_H

/// Finds the path of the executable that a command starts, and iterates over lists like PATH.

#include "common/text/fixed_text.h"

#include <string_view>

namespace vek {

/// A buffer for the path of an executable. It has room for a command of 4096 characters, which vekInit() can store.
using ExecutableText = FixedText<4098>;

/// Iterates over a list of directories that are separated by ":", like PATH. For an empty element, next() stores ".".
/// The empty string is a list of one empty element.
class DirectoryList {
  public:
    /// @param list  must outlive the iteration; null is a list without elements
    explicit DirectoryList(const char *list) : rest_(list) {}

    /// Stores the next element in `directory`. @return false if there are no more elements
    [[nodiscard]] bool next(std::string_view &directory);

  private:
    const char *rest_;
};

/// Why findExecutable() has not found an executable.
enum class ExecutableError {
    None,
    NoPathVariable,     ///< the command has no "/" and PATH is not set
    NotFound,           ///< the command is empty, PATH has no such executable, or the path is too long
    NoWorkingDirectory, ///< getcwd() failed; the path is set to /UNKNOWN, which is not in an installation
};

struct Executable {
    ExecutableText path; ///< absolute, without "//", "/./" and "/../"; empty if the executable was not found
    ExecutableError error = ExecutableError::None;
};

/// Finds the executable that `command` starts. A command without "/" is searched in the directories of PATH.
[[nodiscard]] Executable findExecutable(std::string_view command);

/// Prints the documented message for `error` on standard error. Prints nothing for None and NotFound.
void printExecutableError(ExecutableError error);

/// Prints on standard error that the working directory cannot be read, in the documented words.
void printNoWorkingDirectory();

/// Prints on standard error that the variable PATH is not set, in the documented words.
void printNoPathVariable();

} // namespace vek

#endif
