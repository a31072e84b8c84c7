#ifndef RYNI_STATEMENT_H
#define RYNI_STATEMENT_H

/// One statement of the library definition language: its tokens, and its execution.

#include "common/base/owned.h"
#include "common/base/vek_api.h"
#include "libdef/registry/ryni_registry.h"

#include <array>
#include <optional>

namespace ryn {

inline constexpr int kMaxArguments = 5;

/// What a line contains.
enum class Lexed {
    Nothing,    ///< white space or a comment
    Statement,  ///< a keyword and its arguments
    SyntaxError ///< a quote that is not closed
};

/// The tokens of a line.
struct Statement {
    char line[VEK_PATH_SIZE]; ///< the tokens point into this
    char copy[VEK_PATH_SIZE]; ///< the line without its comment, for diagnostics
    char *keyword;
    int count;
    std::array<char *, kMaxArguments> arguments;
};

/// Splits the first 4095 characters of `line` into tokens.
Lexed lex(const char *line, Statement &statement);

/// The protocol of a step of a statement: no value, and the statement continues; or the status with which it ends. That
/// can be RYN_OK, since a diagnostic ends the statement also if the warning handler returns 0.
using Ending = std::optional<int>;

/// Execution context of one statement.
struct Command {
    rynRegistry *registry;
    rynIncludedFile *file;
    const char *directory; ///< of relative paths
    int line;
    bool applyTmpNow;       ///< apply a new global temporary root at once, not at the end of the file
    vek::OwnedText &toRead; ///< receives the path of a file that is to be read next
    const std::array<char *, kMaxArguments> &arguments;

    /// An argument, which the statement may change in place.
    [[nodiscard]] char *argument(int index) const { return arguments[static_cast<std::size_t>(index)]; }

    /// Passes a diagnostic to the warning handler. @return its result, which is the status of the statement
    [[nodiscard]] int diagnose(int code, const char *object) const {
        return registry->warningHandler(code, object, file->path, line);
    }
};

// The statements. Each returns its status.

int executeDefine(const Command &command);
int executeSoftDefine(const Command &command);
int executeUndefine(const Command &command);
int executeInclude(const Command &command);
int executeSoftInclude(const Command &command);
int executeAssign(const Command &command);
int executeUnassign(const Command &command);

/// Diagnoses that the name of `library` differs by case from `name`. Ends the statement if the handler returns non-zero.
Ending checkCase(const Command &command, const rynLibrary &library, const char *name);

/// Diagnoses that a library directory or explicit temporary directory other than `nslPath` itself, which counts once, is
/// the same, contains it, or lies in it.
/// @return the status of the statement
int checkReuse(const Command &command, const char *nslPath);

} // namespace ryn

#endif
