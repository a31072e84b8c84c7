#include "tagfile/tag_reading.h"

#include "common/base/owned.h"
#include "tagfile/tovi_cache.h"
#include "tagfile/tovi_object.h"
#include "tagfile/tovi_read.h"

#include <cerrno>
#include <sys/stat.h>

namespace tov {

void TagReading::Destroy::operator()(VekinfoObj *obj) const {
    tovDestroyInfoObj(obj);
}

void TagReading::read(const char *tagPath, const char *element) {
    struct stat status = {};
    if (stat(tagPath, &status) != 0) {
        isUsable_ = errno == ENOENT || errno == ENOTDIR;
        return;
    }
    OwnedInfoObj obj = makeEmptyInfoObj();
    vek::OwnedText path = vek::copyText(tagPath);
    if (!obj || !path) {
        isShort_ = true;
        return;
    }
    const ParseResult result = readTagFile(kKeywords, tagPath, element, *obj);
    found_ = result.hasElement;
    isUsable_ = !result.report.isError();
    if (isUsable_) {
        obj->path = path.release(); // not before readTagFile(), which may clear the object
        obj_.reset(obj.release());
    } else {
        const int error = result.openError;
        isShort_ =
            result.report.code == TOV_MEMORY_ERROR || error == EMFILE || error == ENFILE || error == ENOMEM;
    }
}

int TagReading::take(const char *tagPath, const char *element, VekinfoObj *out, int *found) {
    TagCache &cache = processCache();
    if (!isUsable_ || cache.objects.find(tagPath) != nullptr) {
        return tovGetVekinfoAtLoc(tagPath, element, out, found);
    }
    VekinfoObj *cached = obj_.release();
    *cache.lastObject = cached;
    *found = found_ ? 1 : 0;
    if (cached == nullptr) {
        return TOV_NO_SUCH_FILE;
    }
    cache.objects.insert(cached);
    *out = *cached;
    return TOV_OK;
}

} // namespace tov
