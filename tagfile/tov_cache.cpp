// Cache of parsed tag files: a hash table with separate chaining, whose key is the path of the file. An edit updates
// the cached object in place. It replaces only the fields that changed, because callers may hold pointers to the other
// strings of the object.

#include "tagfile/tovi_cache.h"

#include "common/base/owned.h"
#include "common/platform/vek_file.h"
#include "common/text/ascii.h"
#include "tagfile/tovi_object.h"
#include "tagfile/tovi_read.h"

#include <cstdlib>
#include <cstring>
#include <utility>

VekinfoObj *vekinfoHashTable[TOVI_BUCKETS];
PathlinkObj *pathlinkHashTable[TOVI_BUCKETS];
VekinfoObj *tempVekinfoFromHash;

namespace tov {

std::size_t bucketOf(const char *path) {
    uint64_t hash = 0;
    for (const char *at = path; *at != '\0'; ++at) {
        // Documented: each byte is sign-extended to 64 bits. The cast to signed char makes the hash value the same on
        // platforms where char is unsigned.
        hash = (hash << 1U) ^ static_cast<uint64_t>(static_cast<int64_t>(static_cast<signed char>(*at)));
    }
    return (hash ^ (hash >> 8U) ^ (hash >> 16U) ^ (hash >> 24U)) & (TOVI_BUCKETS - 1);
}

uint64_t hashOf(const char *path) {
    uint64_t hash = 14695981039346656037U; // 64-bit FNV-1a offset basis; the factor below is the FNV prime
    for (const char *at = path; *at != '\0'; ++at) {
        hash = (hash ^ static_cast<unsigned char>(*at)) * 1099511628211U;
    }
    return hash ^ (hash >> 32U); // the index uses only the low bits: combine them with the high bits
}

namespace {

bool isSameString(const char *a, const char *b) {
    return a == nullptr || b == nullptr ? a == b : std::strcmp(a, b) == 0;
}

bool isSameList(char **a, char **b) {
    for (; a != nullptr && b != nullptr && *a != nullptr && *b != nullptr; ++a, ++b) {
        if (std::strcmp(*a, *b) != 0) {
            return false;
        }
    }
    return (a == nullptr || *a == nullptr) && (b == nullptr || *b == nullptr);
}

} // namespace

TagCache &processCache() {
    static constinit TagCache cache(vekinfoHashTable, pathlinkHashTable, &tempVekinfoFromHash);
    return cache;
}

bool isPresent(const Keywords &keywords, const VekinfoObj &obj, const char *element) {
    if (const Keyword *keyword = keywords.find(element); keyword != nullptr) {
        return keyword->isPresent(obj);
    }
    // Documented: returns true if `obj` has an application entry with a name other than `element`. Entries with the
    // name `element` itself have no effect, and programs depend on this. A search for an application entry can
    // therefore stop at a cached file that does not contain the entry.
    for (char **name = obj.names; name != nullptr && *name != nullptr && **name != '\0'; ++name) {
        if (!vek::equalNoCase(*name, element)) {
            return true;
        }
    }
    return false;
}

VekinfoObj *updateCache(TagCache &cache, OwnedInfoObj obj) {
    VekinfoObj *cached = cache.objects.find(obj->path);
    if (cached == nullptr) {
        cached = obj.release();
        cache.objects.insert(cached);
        return cached;
    }
    cached->line = obj->line;
    cached->library = obj->library;
    cached->libcheck = obj->libcheck;
    cached->nameSpace = obj->nameSpace;
    // Swap only the strings and lists that differ, because callers may hold pointers to those of `cached`.
    if (!isSameString(cached->dmtype, obj->dmtype)) {
        std::swap(cached->dmtype, obj->dmtype);
    }
    if (!isSameList(cached->names, obj->names) || !isSameList(cached->values, obj->values)) {
        swapEntries(*cached, *obj);
    }
    return cached;
}

void dropFromCache(TagCache &cache, const char *path) {
    const OwnedInfoObj dropped(path == nullptr ? nullptr : cache.objects.remove(path));
    if (dropped && *cache.lastObject == dropped.get()) {
        *cache.lastObject = nullptr;
    }
}

CacheSearch findOrRead(TagCache &cache, const char *tagPath, const char *element) {
    *cache.lastObject = nullptr;
    VekinfoObj *cached = tagPath == nullptr ? nullptr : cache.objects.find(tagPath);
    if (cached != nullptr) {
        *cache.lastObject = cached;
        // Documented: for a file in the cache, isPresent() sets `isFound`. If `element` is an application entry,
        // isPresent() returns true if the file has an application entry with a name other than `element`. The parser,
        // in contrast, searches for `element` itself.
        const bool isFound = element == nullptr || isPresent(kKeywords, *cached, element);
        return {.report = kNoError, .object = cached, .isFound = isFound};
    }
    if (tagPath == nullptr || vekFileExists(tagPath) == 0) {
        return {.report = {.code = TOV_NO_SUCH_FILE}};
    }
    OwnedInfoObj obj = makeEmptyInfoObj();
    vek::OwnedText path = vek::copyText(tagPath);
    if (!obj || !path) {
        return {.report = kNoMemory};
    }
    const ParseResult parsed = readTagFile(kKeywords, tagPath, element, *obj);
    if (parsed.report.isError()) {
        return {.report = parsed.report};
    }
    obj->path = path.release(); // not before readTagFile(), which may clear the object
    cached = obj.release();
    cache.objects.insert(cached);
    *cache.lastObject = cached;
    return {.report = kNoError, .object = cached, .isFound = parsed.hasElement};
}

void resetCache(TagCache &cache) {
    *cache.lastObject = nullptr;
    cache.objects.clear(tovDestroyInfoObj);
    cache.links.clear([](PathlinkObj *link) {
        std::free(link->path);
        std::free(link->target);
        std::free(link);
    });
}

} // namespace tov

VekinfoObj *tovVekinfoHashPeek(const VekinfoObj *probe) {
    return tov::processCache().objects.find(probe->path);
}

int tovVekinfoHashCreate(VekinfoObj *obj) {
    tov::processCache().objects.insert(obj);
    return 0;
}

PathlinkObj *tovLinkHashPeek(const PathlinkObj *probe) {
    return tov::processCache().links.find(probe->path);
}

int tovLinkHashCreate(PathlinkObj *link) {
    tov::processCache().links.insert(link);
    return 0;
}

int tovVekinfoElementExists(const VekinfoObj *obj, const char *element) {
    return tov::isPresent(tov::kKeywords, *obj, element) ? TOV_OK : TOV_ATTRIBUTE_NOT_ASSIGNED;
}

int tovGetVekinfoAtLoc(const char *tagPath, const char *element, VekinfoObj *out, int *found) {
    const auto [report, cached, isFound] = tov::findOrRead(tov::processCache(), tagPath, element);
    if (found != nullptr) {
        *found = isFound ? 1 : 0;
    }
    if (report.isError()) {
        return report.text == nullptr ? report.code : tov::makeReport(report, tagPath, nullptr);
    }
    if (out != nullptr) {
        *out = *cached;
    }
    return TOV_OK;
}

void tovResetCache(void) {
    tov::resetCache(tov::processCache());
}
