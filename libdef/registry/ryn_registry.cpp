#include "libdef/registry/ryni_registry.h"

#include "common/base/owned.h"
#include "common/text/ascii.h"
#include "libdef/registry/ryni_index_hash.h"
#include "libdef/registry/ryni_link_cache.h"
#include "libdef/registry/ryni_reuse.h"
#include "libdef/registry/ryni_settings.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

namespace {

/// Frees every record of a singly linked list.
template <typename Record>
void freeList(Record *head, void (*destroy)(Record *)) {
    while (head != nullptr) {
        Record *next = head->next;
        destroy(head);
        head = next;
    }
}

void freeDefinition(rynDefinition *definition) {
    std::free(definition);
}

void freeFile(rynIncludedFile *file) {
    std::free(file->path);
    std::free(file->nslPath);
    std::free(file);
}

// ---- the definition order

void appendToOrder(rynRegistry &registry, rynLibrary &library) {
    rynLibraryList &order = registry.libraries;
    library.nextInOrder = nullptr;
    library.previousInOrder = order.tail;
    library.place = ++registry.insertions;
    if (order.tail == nullptr) {
        order.head = &library;
    } else {
        order.tail->nextInOrder = &library;
    }
    order.tail = &library;
}

/// Tells whether the order leads to a library, without walking along it: the order's ends enclose its place, and
/// what stands in front of it leads to it.
bool isInOrder(const rynLibraryList &order, const rynLibrary &library) {
    if (order.head == nullptr || order.tail == nullptr || library.place < order.head->place ||
        library.place > order.tail->place) {
        return false;
    }
    return order.head == &library ||
           (library.previousInOrder != nullptr && library.previousInOrder->nextInOrder == &library);
}

/// Takes a library out of the order. One that is lost from it may still be known to what stood around it.
void takeFromOrder(rynLibraryList &order, const rynLibrary &library) {
    rynLibrary *before = library.previousInOrder;
    rynLibrary *behind = library.nextInOrder;
    if (order.head == &library) {
        order.head = behind;
    }
    if (order.tail == &library) {
        order.tail = before;
    }
    if (before != nullptr && before->nextInOrder == &library) {
        before->nextInOrder = behind;
    }
    if (behind != nullptr && behind->previousInOrder == &library) {
        behind->previousInOrder = before;
    }
}

// ---- the buckets, and the index beside them

void pushOnBucket(rynRegistry &registry, rynLibrary &library) {
    rynLibrary *&head = registry.buckets[library.bucket];
    library.nextInBucket = head;
    library.previousInBucket = nullptr;
    if (head != nullptr) {
        head->previousInBucket = &library;
    }
    head = &library;
}

void takeFromBucket(rynRegistry &registry, rynLibrary &library) {
    rynLibrary *&before = library.previousInBucket == nullptr ? registry.buckets[library.bucket]
                                                              : library.previousInBucket->nextInBucket;
    before = library.nextInBucket;
    if (library.nextInBucket != nullptr) {
        library.nextInBucket->previousInBucket = library.previousInBucket;
    }
}

/// Whether a library has the given name under the case setting.
bool hasName(const rynLibrary &library, const char *name, bool ignoreCase) {
    return ignoreCase ? vek::equalNoCase(library.name, name) : std::strcmp(library.name, name) == 0;
}

/// The key of a name in the name index.
ryn::NameKey nameKey(const char *name, bool ignoreCase) {
    const uint32_t bucket = ryniNameBucket(name, ignoreCase ? 1 : 0);
    return {name, bucket, ryniIndexHashNoCase(name, bucket)};
}

/// The library of that name that was inserted last.
rynLibrary *findNewest(const rynRegistry &registry, const char *name, bool ignoreCase) {
    const ryn::NameKey key = nameKey(name, ignoreCase);
    rynLibrary *newest = nullptr;
    for (rynLibrary *library = registry.nameIndex.find(key); library != nullptr;
         library = registry.nameIndex.findNext(*library, key)) {
        const bool isNewer = newest == nullptr || library->sequence > newest->sequence;
        if (isNewer && hasName(*library, name, ignoreCase)) {
            newest = library;
        }
    }
    return newest;
}

// ---- the directories that count

/// Counts a directory in. An absent one counts as nothing.
bool countIn(rynRegistry &registry, const char *path) {
    return path == nullptr || ryniAddDirectory(registry.directoryIndex, path) != 0;
}

void countOut(rynRegistry &registry, const char *path) {
    if (path != nullptr) {
        ryniDropDirectory(registry.directoryIndex, path);
    }
}

bool countLibraryIn(rynRegistry &registry, const rynLibrary &library) {
    if (!countIn(registry, library.nslPath)) {
        return false;
    }
    if (!countIn(registry, library.explicitTmpNsl)) {
        countOut(registry, library.nslPath);
        return false;
    }
    return true;
}

/// A copy of `text` in `copy`, null for null. @return false when memory is exhausted
bool copyIfGiven(const char *text, vek::OwnedText &copy) {
    copy = text == nullptr ? nullptr : vek::copyText(text);
    return copy || text == nullptr;
}

void replaceString(char *&field, vek::OwnedText text) {
    std::free(field);
    field = text.release();
}

} // namespace

// ---- libraries

uint32_t ryniNameBucket(const char *name, int ignoreCase) {
    uint64_t hash = 0;
    for (const char *at = name; *at != '\0'; ++at) {
        const char c = ignoreCase != 0 ? vek::toLower(*at) : *at;
        // A byte of 0x80 or above counts with its sign, in both case modes.
        hash = (hash << 1U) ^ static_cast<uint64_t>(static_cast<int64_t>(static_cast<signed char>(c)));
    }
    return static_cast<uint32_t>((hash ^ (hash >> 8U) ^ (hash >> 16U) ^ (hash >> 24U)) & (RYNI_BUCKETS - 1));
}

rynLibrary *ryni_get_libp(rynRegistry *registry, const char *name) {
    return findNewest(*registry, name, ryn::ignoresCase());
}

rynLibrary *ryniNewLibrary(const char *name) {
    auto *library = static_cast<rynLibrary *>(std::calloc(1, sizeof(rynLibrary)));
    if (library == nullptr) {
        return nullptr;
    }
    library->name = vek::copyText(name).release();
    if (library->name == nullptr) {
        std::free(library);
        return nullptr;
    }
    return library;
}

int sInsert_lib(rynRegistry *registry, rynLibrary *library) {
    if (!countLibraryIn(*registry, *library)) {
        return RYN_MEMORY_ERROR;
    }
    const ryn::NameKey key = nameKey(library->name, ryn::ignoresCase());
    library->bucket = key.bucket;
    library->nameHash = key.hash;
    library->sequence = ++registry->insertions;
    static_cast<void>(registry->nameIndex.insert(*library)); // cannot fail: the index was allocated
    pushOnBucket(*registry, *library);
    appendToOrder(*registry, *library);
    return RYN_OK;
}

int ryniMoveToEnd(rynRegistry *registry, rynLibrary *library) {
    if (registry->libraries.tail == library) {
        return 1;
    }
    if (!isInOrder(registry->libraries, *library)) {
        return 0;
    }
    takeFromOrder(registry->libraries, *library);
    appendToOrder(*registry, *library);
    return 1;
}

int ryniRemoveLibrary(rynRegistry *registry, rynLibrary *library) {
    registry->nameIndex.remove(*library);
    takeFromBucket(*registry, *library);
    countOut(*registry, library->nslPath);
    countOut(*registry, library->explicitTmpNsl);
    const bool wasInOrder = isInOrder(registry->libraries, *library);
    takeFromOrder(registry->libraries, *library);
    return wasInOrder ? 1 : 0;
}

void ryniFreeLibrary(rynLibrary *library) {
    for (char *text :
         {library->name, library->fullPath, library->explicitTmp, library->implicitTmp, library->nslPath,
          library->explicitTmpNsl, library->implicitTmpNsl, library->packedFile}) {
        std::free(text);
    }
    freeList(library->attributes, ryniFreeAttribute);
    freeList(library->history.head, freeDefinition);
    std::free(library);
}

int ryniSetExplicitTmp(rynRegistry *registry, rynLibrary *library, const char *full, const char *nsl) {
    vek::OwnedText fullCopy;
    vek::OwnedText nslCopy;
    if (!copyIfGiven(full, fullCopy) || !copyIfGiven(nsl, nslCopy) || !countIn(*registry, nsl)) {
        return RYN_MEMORY_ERROR;
    }
    countOut(*registry, library->explicitTmpNsl);
    replaceString(library->explicitTmp, std::move(fullCopy));
    replaceString(library->explicitTmpNsl, std::move(nslCopy));
    return RYN_OK;
}

int ryniRecordDefinition(rynLibrary *library, rynIncludedFile *file, int line) {
    auto *definition = static_cast<rynDefinition *>(std::malloc(sizeof(rynDefinition)));
    library->definedIn = file;
    library->definedAtLine = line;
    if (definition == nullptr) {
        return RYN_MEMORY_ERROR;
    }
    *definition = {nullptr, file, line};
    rynDefinitionHistory &history = library->history;
    (history.tail == nullptr ? history.head : history.tail->next) = definition;
    history.tail = definition;
    return RYN_OK;
}

// ---- attributes and files

int ryniReplaceText(char **field, const char *text) {
    vek::OwnedText copy = vek::copyText(text);
    if (!copy) {
        return RYN_MEMORY_ERROR;
    }
    replaceString(*field, std::move(copy));
    return RYN_OK;
}

rynAttribute *ryniNewAttribute(const char *name, const char *value, rynIncludedFile *file, int line) {
    vek::OwnedText nameCopy = vek::copyText(name);
    vek::OwnedText valueCopy = vek::copyText(value);
    auto *attribute = static_cast<rynAttribute *>(std::malloc(sizeof(rynAttribute)));
    if (!nameCopy || !valueCopy || attribute == nullptr) {
        std::free(attribute);
        return nullptr;
    }
    *attribute = {nullptr, nameCopy.release(), valueCopy.release(), file, line};
    return attribute;
}

void ryniFreeAttribute(rynAttribute *attribute) {
    std::free(attribute->name);
    std::free(attribute->value);
    std::free(attribute);
}

rynIncludedFile *ryniAddFile(rynRegistry *registry, const char *path, const char *nslPath,
                             const char **context) {
    auto *file = static_cast<rynIncludedFile *>(std::calloc(1, sizeof(rynIncludedFile)));
    if (file == nullptr) {
        *context = "ryni_parse_veklib_file()";
        return nullptr;
    }
    file->path = vek::copyText(path).release();
    file->nslPath = file->path == nullptr ? nullptr : vek::copyText(nslPath).release();
    if (file->nslPath == nullptr) {
        *context = file->path == nullptr ? "ryni_parse_veklib_file() - 2" : "ryni_parse_veklib_file() - 3";
        freeFile(file);
        return nullptr;
    }
    rynIncludedFileList &files = registry->files;
    (files.tail == nullptr ? files.head : files.tail->next) = file;
    files.tail = file;
    return file;
}

// ---- the registry

rynRegistry *ryniNewRegistry(void) {
    auto *registry = static_cast<rynRegistry *>(std::malloc(sizeof(rynRegistry)));
    if (registry == nullptr) {
        return nullptr;
    }
    std::construct_at(registry); // all fields are 0
    registry->directoryIndex = ryniNewDirectoryIndex();
    if (!registry->nameIndex.allocate() || !registry->linkIndex.allocate() ||
        registry->directoryIndex == nullptr) {
        ryniFreeRegistry(registry);
        return nullptr;
    }
    return registry;
}

void ryniFreeRegistry(rynRegistry *registry) {
    if (registry == nullptr) {
        return;
    }
    std::free(registry->currentDirectory);
    std::free(registry->implicitTmpDirectory);
    registry->nameIndex.clear([](rynLibrary &library) { ryniFreeLibrary(&library); });
    freeList(registry->files.head, freeFile);
    freeList(registry->globalExplicitTmp, ryniFreeAttribute);
    ryn::freeLinkCache(*registry);
    ryniFreeDirectoryIndex(registry->directoryIndex);
    std::destroy_at(registry);
    std::free(registry);
}
