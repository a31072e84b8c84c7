#include "tagfile/tovi_cache.h"

#include "common/ascii.h"
#include "common/owned.h"
#include "common/vek_file.h"
#include "tagfile/tovi_object.h"
#include "tagfile/tovi_parse.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>

VekinfoObj *vekinfoHashTable[TOVI_BUCKETS];
PathlinkObj *pathlinkHashTable[TOVI_BUCKETS];
VekinfoObj *tempVekinfoFromHash;

static struct { std::size_t links; } cacheCounts;

namespace {

std::size_t bucketOf(const char *key) {
    uint64_t hash = 0;
    for (const char *at = key; *at != '\0'; ++at) {
        // A byte of 0x80 or above counts with its sign, on every platform.
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

// ---- whether a cached object defines an entry

struct KeywordTest {
    std::string_view name;
    bool (*isSet)(const VekinfoObj &);
};

constexpr std::array<KeywordTest, 4> kKeywordTests = {{
    // A flag that an edit cleared to 0 counts as set.
    {"VEKLIBRARY", [](const VekinfoObj &obj) { return obj.library != TOV_UNSET; }},
    {"VEKLIBCHECK", [](const VekinfoObj &obj) { return obj.libcheck != TOV_UNSET; }},
    {"DMTYPE", [](const VekinfoObj &obj) { return obj.dmtype != nullptr; }},
    {"NAMESPACE", [](const VekinfoObj &obj) { return obj.nameSpace != TOV_NAMESPACE_UNSET; }},
}};

/// The answer is about the names that differ from `element`, not about those that equal it: a second search in
/// the same process stops at other files than the first one. Programs rely on where it stops.
bool namesAnother(const VekinfoObj &obj, const char *element) {
    for (char **name = obj.names; name != nullptr && *name != nullptr && **name != '\0'; ++name) {
        if (!vek::equalNoCase(*name, element)) {
            return true;
        }
    }
    return false;
}

bool isPresent(const VekinfoObj &obj, const char *element) {
    for (const KeywordTest &test : kKeywordTests) {
        if (vek::equalNoCase(element, test.name)) {
            return test.isSet(obj);
        }
    }
    return namesAnother(obj, element);
}

// ---- reading a file into the cache

int deliver(VekinfoObj *cached, VekinfoObj *out) {
    tempVekinfoFromHash = cached;
    *out = *cached;
    return TOV_OK;
}

/// The test of a file that was read before; the first reading has the parser's own answer.
int deliverCached(VekinfoObj *cached, const char *element, VekinfoObj *out, int *found) {
    *found = element == nullptr || isPresent(*cached, element) ? 1 : 0;
    return deliver(cached, out);
}

int readAndDeliver(const char *tagPath, const char *element, VekinfoObj *out, int *found) {
    OwnedInfoObj obj(static_cast<VekinfoObj *>(std::malloc(sizeof(VekinfoObj))));
    if (!obj) {
        return toviReportNoMemory();
    }
    tovInitVekinfoObj(obj.get());
    obj->path = vek::copyText(tagPath).release();
    if (obj->path == nullptr) {
        return toviReportNoMemory();
    }
    const int status = tovParseVekinfo(tagPath, element, obj.get(), found);
    if (status != TOV_OK) {
        return status;
    }
    tovVekinfoHashCreate(obj.get());
    return deliver(obj.release(), out);
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

std::size_t toviLinkCount(void) {
    return cacheCounts.links;
}

int tovVekinfoElementExists(const VekinfoObj *obj, const char *element) {
    return isPresent(*obj, element) ? TOV_OK : TOV_ATTRIBUTE_NOT_ASSIGNED;
}

int tovGetVekinfoAtLoc(const char *tagPath, const char *element, VekinfoObj *out, int *found) {
    int unwanted = 0;
    found = found == nullptr ? &unwanted : found;
    tempVekinfoFromHash = nullptr;
    *found = 0;
    if (tagPath == nullptr) {
        return TOV_NO_SUCH_FILE;
    }
    if (VekinfoObj *cached = peek(vekinfoHashTable, tagPath)) {
        return deliverCached(cached, element, out, found);
    }
    return vekFileExists(tagPath) != 0 ? readAndDeliver(tagPath, element, out, found) : TOV_NO_SUCH_FILE;
}

void tovResetCache(void) {
    tempVekinfoFromHash = nullptr;
    cacheCounts.links = 0;
    clearTable(vekinfoHashTable, tovDestroyInfoObj);
    clearTable(pathlinkHashTable, destroyLink);
}
