#ifndef TAGFILE_TAG_APPEND_H
#define TAGFILE_TAG_APPEND_H

/// Appending to a tag file, under its lock.

#include "common/text/composed_text.h"

#include <cstdint>

namespace tov {

/// What appending resulted in.
struct AppendResult {
    enum class Kind {
        Appended,
        Defined,  ///< the file defines the entry by now: nothing was appended
        Rejected, ///< nothing was appended: the parser would reject the file
        Failed    ///< the file could not be opened, locked or written; it is unchanged
    };
    Kind kind;
    std::uint32_t nameSpace = 0;       ///< Defined: what the file says, one of TOV_NAMESPACE_...
    const char *syntaxError = nullptr; ///< Rejected: the text of the report
};

/// Composes the text to append. It is called while the file is locked: it calls no handler and edits no tag file.
using ComposeAppended = void (*)(vek::ComposedText &text, void *context);

/// Appends a text to the tag file `tagPath` with one write, unless the file defines the keyword `element`. A file that
/// does not exist is created; one with a syntax error counts as not defining it. Nothing is reported.
AppendResult appendUnlessDefined(const char *tagPath, const char *element, ComposeAppended compose,
                                 void *context);

} // namespace tov

#endif
