#ifndef RYNI_STATEMENT_H
#define RYNI_STATEMENT_H

/// One statement of the library definition language, taken apart, and what the statements share.

#include "common/base/owned.h"
#include "common/base/vek_api.h"
#include "libdef/registry/ryni_registry.h"

#include <array>

inline constexpr int kMaxArguments = 5;

/// What a line holds.
enum class Lexed {
    Nothing,    ///< white space or a comment
    Statement,  ///< a keyword and its arguments
    SyntaxError ///< a quote that is not closed
};

/// A line taken apart.
struct ryniStatement {
    char line[VEK_PATH_SIZE]; ///< the tokens point into this
    char copy[VEK_PATH_SIZE]; ///< the line without its comment, for diagnostics
    char *keyword;
    int count;
    std::array<char *, kMaxArguments> arguments;
};

/// Takes the first 4095 characters of `line` apart.
Lexed ryniLex(const char *line, ryniStatement &statement);

/// A statement at work: its arguments, and where it stands.
struct ryniCommand {
    rynRegistry *registry;
    rynIncludedFile *file;
    const char *directory; ///< what relative paths count from
    int line;
    bool applyTmpNow;
    vek::OwnedText &toRead; ///< receives the path of a file that is to be read now
    const std::array<char *, kMaxArguments> &arguments;

    /// An argument's text, which the statement may change in place.
    [[nodiscard]] char *argument(int index) const { return arguments[static_cast<std::size_t>(index)]; }

    /// Hands a diagnostic to the warning handler. @return its result
    [[nodiscard]] int diagnose(int code, const char *object) const {
        return registry->warningHandler(code, object, file->path, line);
    }
};

// The statements. Each returns 0 or what the warning handler made of a diagnostic.

int ryniDefine(const ryniCommand &command);
int ryniSoftDefine(const ryniCommand &command);
int ryniUndefine(const ryniCommand &command);
int ryniInclude(const ryniCommand &command);
int ryniSoftInclude(const ryniCommand &command);
int ryniAssign(const ryniCommand &command);
int ryniUnassign(const ryniCommand &command);

/// Diagnoses that `library` was found under another spelling than `name`.
int ryniCheckCase(const ryniCommand &command, const rynLibrary &library, const char *name);

/// Diagnoses that the directory `nslPath`, which counts once by itself, is also used otherwise.
int ryniCheckReuse(const ryniCommand &command, const char *nslPath);

#endif
