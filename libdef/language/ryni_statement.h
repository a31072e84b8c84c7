#ifndef RYNI_STATEMENT_H
#define RYNI_STATEMENT_H

/// Lexer and statements of library definition files: lex() splits a line into the tokens of a statement, and each
/// execute...() function executes one kind of statement.

#include "common/base/owned.h"
#include "common/base/vek_api.h"
#include "libdef/registry/ryni_registry.h"

#include <array>
#include <optional>

namespace ryn {

/// Documented: a statement has at most five arguments; lex() ignores the text after the fifth.
inline constexpr int kMaxArguments = 5;

/// What a line contains.
enum class Lexed {
    Nothing,    ///< white space or a comment
    Statement,  ///< a keyword and its arguments
    SyntaxError ///< a quote that is not closed
};

/// The tokens of one line: a keyword and its arguments.
struct Statement {
    char line[VEK_PATH_SIZE]; ///< with a NUL after each token; keyword and arguments point into it
    char copy[VEK_PATH_SIZE]; ///< the line without its comment; syntax errors print it
    char *keyword;
    int count;
    std::array<char *, kMaxArguments> arguments;
};

/// Splits `line` into a keyword and arguments and stores them in `statement`. Characters after the first 4095 are
/// ignored, because the buffers of `statement` have 4096 bytes.
/// @return what the line contains
Lexed lex(const char *line, Statement &statement);

/// Result of one step of a statement: nullopt to continue with the next step, or the status with which the statement
/// ends. RYN_OK also ends the statement: after most diagnostics, a statement ends even if the warning handler returned
/// RYN_OK.
using Ending = std::optional<int>;

/// One statement while it is executed: the registry that it changes, its location, and its arguments.
struct Command {
    rynRegistry *registry;
    rynIncludedFile *file;  ///< record of the file that contains the statement
    const char *directory;  ///< base directory of relative paths
    int line;               ///< number of the line in `file`
    bool applyTmpNow;       ///< apply a new global temporary root now, not at the end of the file
    vek::OwnedText &toRead; ///< receives the path of the file that an INCLUDE names
    const std::array<char *, kMaxArguments> &arguments;

    /// Returns the argument with the index `index`; 0 is the first. The statement may change its characters in place.
    [[nodiscard]] char *argument(int index) const { return arguments[static_cast<std::size_t>(index)]; }

    /// Calls the registry's warning handler with `code`, `object` (the name or path that the diagnostic is about), and
    /// the file and line of the statement.
    /// @return the value that the handler returned; it becomes the status of the statement
    [[nodiscard]] int diagnose(int code, const char *object) const {
        return registry->warningHandler(code, object, file->path, line);
    }
};

// Each of these functions executes one kind of statement: executeDefine() executes DEFINE, and so on. They return the
// status of the statement: RYN_OK to continue with the next line of the file.

int executeDefine(const Command &command);
int executeSoftDefine(const Command &command);
int executeUndefine(const Command &command);
int executeInclude(const Command &command);
int executeSoftInclude(const Command &command);
int executeAssign(const Command &command);
int executeUnassign(const Command &command);

/// Calls the warning handler with RYN_DIFFERS_ONLY_BY_CASE if the name of `library` differs from `name` in upper and
/// lower case. This can happen because the lookup that found `library` may ignore case.
/// @return nullopt to continue the statement; the value that the warning handler returned if that is not 0
Ending checkCase(const Command &command, const rynLibrary &library, const char *name);

/// Finds the library that the first argument of an UNDEFINE or UNASSIGN names, and calls checkCase() for it.
/// @param library  receives the library; null if it is not defined
/// @return nullopt to continue the statement; RYN_OK if the library is not defined; otherwise the result of checkCase()
Ending findDefined(const Command &command, rynLibrary *&library);

/// Calls the warning handler with RYN_DIRECTORY_REUSED if another library directory or explicit temporary directory is
/// equal to `nslPath`, contains it, or is inside it. One match is allowed: the directory that the statement itself has
/// stored.
/// @return the status of the statement
int checkReuse(const Command &command, const char *nslPath);

} // namespace ryn

#endif
