#include "tagfile/tag_append.h"

#include "tagfile/tovi_cache.h"
#include "tagfile/tovi_edited_file.h"
#include "tagfile/tovi_parse.h"

#include <unistd.h>

namespace tov {

AppendResult appendUnlessDefined(const char *tagPath, const char *element, ComposeAppended compose,
                                 void *context) {
    using Kind = AppendResult::Kind;
    EditedFile file(tagPath);
    const OwnedInfoObj obj = makeEmptyInfoObj();
    bool canAppend =
        obj && file.open(Opening::ForAppending, Deadline(kEditWaitMs)) == Opened::Yes && file.canAppend();
    bool hasSyntaxError = false;
    if (canAppend && file.isRegular()) {
        vek::LineReader lines(file.descriptor());
        const Report report = parseLines(kKeywords, lines, nullptr, *obj).report;
        hasSyntaxError = report.code == TOV_SYNTAX_ERROR;
        canAppend = !report.isError() || hasSyntaxError;
    }
    if (!canAppend) {
        file.removeIfNew();
        return {.kind = Kind::Failed};
    }
    const Keyword *keyword = kKeywords.find(element);
    if (!hasSyntaxError && keyword != nullptr && keyword->isPresent(*obj)) {
        return {.kind = Kind::Defined, .nameSpace = obj->nameSpace};
    }
    vek::ComposedText text;
    if (file.endsInsideLine()) {
        text.append("\n"); // otherwise the appended text would continue the last line
    }
    compose(text, context);
    const Keyword *rejected = text.isWhole() ? findRejected(kKeywords, text.view()) : nullptr;
    if (rejected == nullptr && text.isWhole() && file.append(text.view())) {
        return {.kind = Kind::Appended};
    }
    file.removeIfNew();
    if (rejected != nullptr) {
        return {.kind = Kind::Rejected, .syntaxError = rejected->syntaxError};
    }
    return {.kind = Kind::Failed};
}

} // namespace tov
