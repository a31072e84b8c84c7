#ifndef VEKI_EXECUTABLE_H
#define VEKI_EXECUTABLE_H

/// Finds the executable file that a command starts, as a shell does, and iterates over lists of directories like
/// PATH.

#include "common/text/fixed_text.h"

#include <string_view>

namespace vek {

/// A buffer for the path of an executable: at most 4097 characters and a NUL. A name that vekInit() stores has at most
/// 4096 characters, so it fits.
using ExecutableText = FixedText<4098>;

/// Iterates over a list of directories that are separated by ":", such as the value of PATH. For an empty element,
/// next() stores ".". The empty string is therefore a list of one directory, ".".
class DirectoryList {
  public:
    /// @param list  the list of directories, not copied, so it must stay valid during the iteration; null is an empty
    ///              list
    explicit DirectoryList(const char *list) : rest_(list) {}

    /// Stores the next directory of the list in `directory`. @return true; false if there are no more directories
    [[nodiscard]] bool next(std::string_view &directory);

  private:
    const char *rest_;
};

/// The reason why findExecutable() did not find an executable file; None after a success.
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

/// Finds the executable file that the command name `command` starts. If `command` contains a "/", it is the path of
/// the file. Otherwise the file is searched for in the directories of PATH.
/// @return the absolute path of the file; after a failure, the reason, and an empty path (/UNKNOWN if getcwd()
///         failed)
[[nodiscard]] Executable findExecutable(std::string_view command);

/// Prints the documented message for `error` on standard error. Prints nothing for None and NotFound, which have no
/// message.
void printExecutableError(ExecutableError error);

/// Prints the documented message for a failure of getcwd() on standard error.
void printNoWorkingDirectory();

/// Prints the documented message for a missing variable PATH on standard error.
void printNoPathVariable();

} // namespace vek

#endif
