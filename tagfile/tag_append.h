#ifndef TAGFILE_TAG_APPEND_H
#define TAGFILE_TAG_APPEND_H

/// Appending to a tag file, under its lock.

#include "common/text/composed_text.h"

#include <cstdint>

namespace tov {

/// The result of appending.
struct AppendResult {
    enum class Kind {
        Appended,
        Defined,  ///< nothing was appended: the file defines the entry
        Rejected, ///< nothing was appended: the parser would reject the file
        Failed    ///< the file could not be opened, locked or written; it is unchanged
    };
    Kind kind;
    std::uint32_t nameSpace = 0;       ///< Defined: the namespace of the file, a TOV_NAMESPACE_... value
    const char *syntaxError = nullptr; ///< Rejected: the text of the report
};

/// Composes the text to append. It is called while the file is locked: it must not call a handler or edit a tag file.
using ComposeAppended = void (*)(vek::ComposedText &text, void *context);

/// Appends a text to the tag file `tagPath` with one write(), unless the file defines the keyword `element`. A missing file
/// is created. A file with a syntax error counts as not defining it. Nothing is reported.
AppendResult appendUnlessDefined(const char *tagPath, const char *element, ComposeAppended compose,
                                 void *context);

} // namespace tov

#endif
