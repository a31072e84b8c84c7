#ifndef TAGFILE_TAG_APPEND_H
#define TAGFILE_TAG_APPEND_H

/// Appending to a tag file. appendUnlessDefined() locks the file, tests whether the file already defines a keyword, and
/// appends text only if the file does not. All edits of tag files use the same lock, so two processes cannot append the
/// same keyword.

#include "common/text/composed_text.h"

#include <cstdint>

namespace tov {

/// Result of appendUnlessDefined().
struct AppendResult {
    enum class Kind {
        Appended,
        Defined,  ///< nothing was appended: the file already defines the keyword
        Rejected, ///< nothing was appended: the parser would reject the composed text
        Failed    ///< the file could not be opened, locked or written; it is unchanged
    };
    Kind kind;
    std::uint32_t nameSpace = 0;       ///< Defined: the namespace of the file, a TOV_NAMESPACE_... value
    const char *syntaxError = nullptr; ///< Rejected: the text of the report
};

/// Type of the function that composes the text to append. appendUnlessDefined() calls the function while the tag file
/// is locked. The function must not edit a tag file, because an edit of the same file would wait for the lock and then
/// fail. It must not call an error handler, which could start such an edit.
/// @param text     the text to append to
/// @param context  the last argument of appendUnlessDefined()
using ComposeAppended = void (*)(vek::ComposedText &text, void *context);

/// Appends text to the tag file `tagPath` with one write(), unless the file already defines the keyword `element`.
/// Creates the file if it is missing. A file with a syntax error counts as a file that does not define `element`. Calls
/// no error handler, so the caller must report a failure.
/// @param compose  composes the text; called once, while the file is locked
/// @param context  passed to `compose`
AppendResult appendUnlessDefined(const char *tagPath, const char *element, ComposeAppended compose,
                                 void *context);

} // namespace tov

#endif
