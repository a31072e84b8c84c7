#include "tagfile/tag_append.h"

#include "tagfile/tovi_cache.h"
#include "tagfile/tovi_edited_file.h"
#include "tagfile/tovi_parse.h"

#include <unistd.h>

namespace tov {

namespace {

/// Parses the open tag file `file` into a new object. Reports no errors.
/// @param obj  receives the object; null after a syntax error; without entries if `file` is not a regular file
/// @return false if the file cannot be read or memory is exhausted; true otherwise, even after a syntax error
bool readQuietly(const EditedFile &file, OwnedInfoObj &obj) {
    obj = makeEmptyInfoObj();
    if (!obj || !file.isRegular()) {
        return obj != nullptr;
    }
    vek::LineReader lines(file.descriptor());
    const Report report = parseLines(kKeywords, lines, nullptr, *obj).report;
    if (report.code == TOV_SYNTAX_ERROR) {
        obj.reset();
    }
    return !report.isError() || report.code == TOV_SYNTAX_ERROR;
}

} // namespace

AppendResult appendUnlessDefined(const char *tagPath, const char *element, ComposeAppended compose,
                                 void *context) {
    using Kind = AppendResult::Kind;
    EditedFile file(tagPath);
    OwnedInfoObj obj;
    if (file.open(Opening::ForAppending, Deadline(kEditWaitMs)) != Opened::Yes || !file.canAppend() ||
        !readQuietly(file, obj)) {
        file.removeIfNew();
        return {.kind = Kind::Failed};
    }
    const Keyword *keyword = kKeywords.find(element);
    if (obj && keyword != nullptr && keyword->isPresent(*obj)) {
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
