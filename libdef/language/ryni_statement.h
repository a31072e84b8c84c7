#ifndef RYNI_STATEMENT_H
#define RYNI_STATEMENT_H

/// Splits a line of the library definition language into the tokens of one statement, and executes the statement.

#include "common/base/owned.h"
#include "common/base/vek_api.h"
#include "libdef/registry/ryni_registry.h"

#include <array>
#include <optional>

namespace ryn {

/// Documented: a statement has at most five arguments; further ones are ignored.
inline constexpr int kMaxArguments = 5;

/// What a line contains.
enum class Lexed {
    Nothing,    ///< white space or a comment
    Statement,  ///< a keyword and its arguments
    SyntaxError ///< a quote that is not closed
};

/// The tokens of a line.
struct Statement {
    char line[VEK_PATH_SIZE]; ///< with a NUL after each token; keyword and arguments point into it
    char copy[VEK_PATH_SIZE]; ///< the line without its comment; syntax errors print it
    char *keyword;
    int count;
    std::array<char *, kMaxArguments> arguments;
};

/// Splits `line` into tokens and stores them in `statement`. Only the first 4095 characters are used, because the
/// reader stores no more of one line.
/// @return what the line contains
Lexed lex(const char *line, Statement &statement);

/// Result of one step of a statement: nullopt to continue with the next step, otherwise the status with which the
/// statement ends. Even RYN_OK ends it: most diagnostics end the statement although the warning handler returns 0.
using Ending = std::optional<int>;

/// Execution context of one statement.
struct Command {
    rynRegistry *registry;
    rynIncludedFile *file;
    const char *directory; ///< base directory of relative paths
    int line;
    bool applyTmpNow;       ///< apply a new global temporary root now, not at the end of the file
    vek::OwnedText &toRead; ///< receives the path of the file that an INCLUDE names
    const std::array<char *, kMaxArguments> &arguments;

    /// Returns argument `index`, from 0. The statement may change its characters in place.
    [[nodiscard]] char *argument(int index) const { return arguments[static_cast<std::size_t>(index)]; }

    /// Passes the diagnostic `code` about `object` to the warning handler, with the location of the statement.
    /// @return the result of the handler, which is the status of the statement
    [[nodiscard]] int diagnose(int code, const char *object) const {
        return registry->warningHandler(code, object, file->path, line);
    }
};

// Each of these functions executes the statement with the keyword that it is named after, and returns the status of
// the statement.

int executeDefine(const Command &command);
int executeSoftDefine(const Command &command);
int executeUndefine(const Command &command);
int executeInclude(const Command &command);
int executeSoftInclude(const Command &command);
int executeAssign(const Command &command);
int executeUnassign(const Command &command);

/// Diagnoses RYN_DIFFERS_ONLY_BY_CASE if `library`, which a lookup without regard to case has found, is not spelled
/// `name`.
/// @return nullopt to continue the statement; the result of the warning handler if that is not 0
Ending checkCase(const Command &command, const rynLibrary &library, const char *name);

/// Diagnoses RYN_DIRECTORY_REUSED if another library directory or explicit temporary directory is equal to `nslPath`,
/// contains it, or is inside it. The statement has already added `nslPath` to those directories.
/// @return the status of the statement
int checkReuse(const Command &command, const char *nslPath);

} // namespace ryn

#endif
