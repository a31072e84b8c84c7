#ifndef TAGFILE_TAG_APPEND_H
#define TAGFILE_TAG_APPEND_H

/// Appends a text to a tag file while it holds the lock that edits use, unless the file already defines a keyword.

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

/// A function that composes the text to append. It is called while the file is locked, so it must not call an error
/// handler or edit a tag file: an edit of the same file would wait for the lock.
using ComposeAppended = void (*)(vek::ComposedText &text, void *context);

/// Appends the text that `compose` composes to the tag file `tagPath` with one write(), unless the file defines the
/// keyword `element`. Creates a missing file. A file with a syntax error is treated as not defining the keyword.
/// Reports no errors: the caller reports the result.
/// @param context  passed to `compose`
AppendResult appendUnlessDefined(const char *tagPath, const char *element, ComposeAppended compose,
                                 void *context);

} // namespace tov

#endif
