// Two hash tables with chains. An edit updates a cached object in place, as far as it differs from the file.

#include "tagfile/tovi_cache.h"

#include "common/base/owned.h"
#include "common/platform/vek_file.h"
#include "common/text/ascii.h"
#include "tagfile/tovi_object.h"
#include "tagfile/tovi_parse.h"

#include <cstdlib>
#include <cstring>
#include <utility>

VekinfoObj *vekinfoHashTable[TOVI_BUCKETS];
PathlinkObj *pathlinkHashTable[TOVI_BUCKETS];
VekinfoObj *tempVekinfoFromHash;

static struct { std::size_t links; } cacheCounts;

namespace {

std::size_t bucketOf(const char *key) {
    uint64_t hash = 0;
    for (const char *at = key; *at != '\0'; ++at) {
        // Documented: the bytes are signed, on every platform.
        hash = (hash << 1U) ^ static_cast<uint64_t>(static_cast<int64_t>(static_cast<signed char>(*at)));
    }
    return (hash ^ (hash >> 8U) ^ (hash >> 16U) ^ (hash >> 24U)) & (TOVI_BUCKETS - 1);
}

template <typename Record>
Record *peek(Record *const *table, const char *path) {
    for (Record *record = table[bucketOf(path)]; record != nullptr; record = record->next) {
        if (std::strcmp(record->path, path) == 0) {
            return record;
        }
    }
    return nullptr;
}

template <typename Record>
void insert(Record **table, Record *record) {
    Record *&head = table[bucketOf(record->path)];
    record->next = head;
    head = record;
}

template <typename Record>
void clearTable(Record **table, void (*destroy)(Record *)) {
    for (std::size_t bucket = 0; bucket < TOVI_BUCKETS; ++bucket) {
        while (Record *record = table[bucket]) {
            table[bucket] = record->next;
            destroy(record);
        }
    }
}

void destroyLink(PathlinkObj *link) {
    std::free(link->path);
    std::free(link->target);
    std::free(link);
}

// ---- reading a file into the cache

tov::Report readIntoCache(const char *tagPath, const char *element, VekinfoObj *&cached, bool &found) {
    OwnedInfoObj obj = makeEmptyInfoObj();
    vek::OwnedText path = vek::copyText(tagPath);
    if (!obj || !path) {
        return tov::kNoMemory;
    }
    const tov::Report report = tov::readTagFile(tov::kKeywords, tagPath, element, *obj, found);
    if (!report.isError()) {
        obj->path = path.release();
        tovVekinfoHashCreate(obj.get());
        cached = obj.release();
    }
    return report;
}

// ---- objects that follow their file

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

/// Exchanges the fields that differ, so that strings which are still true stay where callers have found them.
void exchangeDifferences(VekinfoObj &cached, VekinfoObj &obj) {
    cached.line = obj.line;
    cached.library = obj.library;
    cached.libcheck = obj.libcheck;
    cached.nameSpace = obj.nameSpace;
    if (!isSameString(cached.dmtype, obj.dmtype)) {
        std::swap(cached.dmtype, obj.dmtype);
    }
    if (!isSameList(cached.names, obj.names) || !isSameList(cached.values, obj.values)) {
        std::swap(cached.names, obj.names);
        std::swap(cached.namesSize, obj.namesSize);
        std::swap(cached.values, obj.values);
        std::swap(cached.valuesSize, obj.valuesSize);
    }
}

/// Documented: present if a name differs from `element`; the test is not for `element` itself. A second search in the
/// same process can therefore stop at a different file than the first.
bool namesAnother(const VekinfoObj &obj, const char *element) {
    for (char **name = obj.names; name != nullptr && *name != nullptr && **name != '\0'; ++name) {
        if (!vek::equalNoCase(*name, element)) {
            return true;
        }
    }
    return false;
}

} // namespace

VekinfoObj *tovVekinfoHashPeek(const VekinfoObj *probe) {
    return peek(vekinfoHashTable, probe->path);
}

int tovVekinfoHashCreate(VekinfoObj *obj) {
    insert(vekinfoHashTable, obj);
    return 0;
}

PathlinkObj *tovLinkHashPeek(const PathlinkObj *probe) {
    return peek(pathlinkHashTable, probe->path);
}

int tovLinkHashCreate(PathlinkObj *link) {
    insert(pathlinkHashTable, link);
    ++cacheCounts.links;
    return 0;
}

std::size_t tov::countCachedLinks() {
    return cacheCounts.links;
}

bool tov::isPresent(const Keywords &keywords, const VekinfoObj &obj, const char *element) {
    const Keyword *keyword = keywords.find(element);
    return keyword == nullptr ? namesAnother(obj, element) : keyword->isPresent(obj);
}

int tovVekinfoElementExists(const VekinfoObj *obj, const char *element) {
    return tov::isPresent(tov::kKeywords, *obj, element) ? TOV_OK : TOV_ATTRIBUTE_NOT_ASSIGNED;
}

bool tov::isCached(const char *path) {
    return peek(vekinfoHashTable, path) != nullptr;
}

VekinfoObj *tov::updateCache(OwnedInfoObj obj) {
    VekinfoObj *cached = peek(vekinfoHashTable, obj->path);
    if (cached == nullptr) {
        cached = obj.release();
        tovVekinfoHashCreate(cached);
    } else {
        exchangeDifferences(*cached, *obj);
    }
    return cached;
}

void tov::dropFromCache(const char *path) {
    if (path == nullptr) {
        return;
    }
    for (VekinfoObj **link = &vekinfoHashTable[bucketOf(path)]; *link != nullptr; link = &(*link)->next) {
        if (std::strcmp((*link)->path, path) == 0) {
            const OwnedInfoObj dropped(std::exchange(*link, (*link)->next));
            if (tempVekinfoFromHash == dropped.get()) {
                tempVekinfoFromHash = nullptr;
            }
            return;
        }
    }
}

tov::Report tov::findOrRead(const char *tagPath, const char *element, VekinfoObj *&cached, bool &found) {
    constexpr Report kNoSuchFile = {.code = TOV_NO_SUCH_FILE};
    found = false;
    tempVekinfoFromHash = nullptr;
    if (tagPath == nullptr) {
        return kNoSuchFile;
    }
    cached = peek(vekinfoHashTable, tagPath);
    if (cached != nullptr) {
        // Documented: for a file that was read before, isPresent() decides; on the first reading the parser did.
        found = element == nullptr || isPresent(kKeywords, *cached, element);
    } else {
        const Report report =
            vekFileExists(tagPath) != 0 ? readIntoCache(tagPath, element, cached, found) : kNoSuchFile;
        if (report.isError()) {
            return report;
        }
    }
    tempVekinfoFromHash = cached;
    return kNoError;
}

int tovGetVekinfoAtLoc(const char *tagPath, const char *element, VekinfoObj *out, int *found) {
    VekinfoObj *cached = nullptr;
    bool isFound = false;
    const tov::Report report = tov::findOrRead(tagPath, element, cached, isFound);
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
    tempVekinfoFromHash = nullptr;
    cacheCounts.links = 0;
    clearTable(vekinfoHashTable, tovDestroyInfoObj);
    clearTable(pathlinkHashTable, destroyLink);
}
