#include "libdef/registry/ryni_registry.h"

#include "common/base/owned.h"
#include "common/text/ascii.h"
#include "common/text/fixed_text.h"
#include "libdef/registry/ryni_attributes.h"
#include "libdef/registry/ryni_indexes.h"
#include "libdef/registry/ryni_owned_text.h"
#include "libdef/registry/ryni_settings.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

// Implements the registry, which stores the libraries that library definition files define.
// Each library is in three structures: a hash table, which finds a library by name; a doubly linked list in definition
// order; and one of 256 buckets. The buckets exist only because rynDumpEverything() prints them. Lookups do not use the
// buckets, because a bucket can contain many libraries.
// An operation takes O(1) time on average, except that an update of the directory index (a trie) takes O(length of the
// path).

namespace {

void freeFile(rynIncludedFile *file) {
    std::free(file->path);
    std::free(file->nslPath);
    std::free(file);
}

// ---- the definition order

/// Appends `library` to the list of libraries in definition order. Its rank becomes greater than the ranks of all other
/// libraries, so that ranks increase from the head of the list to the tail.
void appendToOrder(rynRegistry &registry, rynLibrary &library) {
    rynLibraryList &order = registry.libraries;
    library.nextInOrder = nullptr;
    library.previousInOrder = order.tail;
    library.rank = ++registry.insertions;
    (order.tail == nullptr ? order.head : order.tail->nextInOrder) = &library;
    order.tail = &library;
}

/// Returns true if `library` is in the definition-order list. Takes O(1) time: the rank of `library` must lie between
/// the ranks of head and tail, and the preceding library must point to `library`.
bool isInOrder(const rynLibraryList &order, const rynLibrary &library) {
    if (order.head == nullptr || order.tail == nullptr || library.rank < order.head->rank ||
        library.rank > order.tail->rank) {
        return false;
    }
    return order.head == &library ||
           (library.previousInOrder != nullptr && library.previousInOrder->nextInOrder == &library);
}

/// Removes `library` from the definition-order list. Changes a pointer only if the pointer points to `library`.
/// Therefore nothing changes if `library` is not in the list.
void removeFromOrder(rynLibraryList &order, const rynLibrary &library) {
    rynLibrary *const before = library.previousInOrder;
    rynLibrary *const after = library.nextInOrder;
    if (order.head == &library) {
        order.head = after;
    }
    if (order.tail == &library) {
        order.tail = before;
    }
    if (before != nullptr && before->nextInOrder == &library) {
        before->nextInOrder = after;
    }
    if (after != nullptr && after->previousInOrder == &library) {
        after->previousInOrder = before;
    }
}

// ---- the buckets

void prependToBucket(rynRegistry &registry, rynLibrary &library) {
    rynLibrary *&head = registry.buckets[library.bucket];
    library.nextInBucket = head;
    library.previousInBucket = nullptr;
    if (head != nullptr) {
        head->previousInBucket = &library;
    }
    head = &library;
}

void removeFromBucket(rynRegistry &registry, rynLibrary &library) {
    rynLibrary *&link = library.previousInBucket == nullptr ? registry.buckets[library.bucket]
                                                            : library.previousInBucket->nextInBucket;
    link = library.nextInBucket;
    if (library.nextInBucket != nullptr) {
        library.nextInBucket->previousInBucket = library.previousInBucket;
    }
}

// ---- the directories

/// Adds `path` to the directory index, the trie that counts the directories of all libraries. Ignores a null `path`.
/// @return false if memory is exhausted
bool countDirectory(rynRegistry &registry, const char *path) {
    return path == nullptr || registry.indexes->directories.add(path);
}

/// Removes `path` from the directory index, the trie that counts the directories of all libraries. Ignores a null
/// `path`.
void uncountDirectory(rynRegistry &registry, const char *path) {
    if (path != nullptr) {
        registry.indexes->directories.remove(path);
    }
}

/// Adds two paths of `library` to the directory index: its own directory and its explicit temporary directory.
/// @return false if memory is exhausted; neither path is then added
bool countDirectories(rynRegistry &registry, const rynLibrary &library) {
    if (!countDirectory(registry, library.nslPath)) {
        return false;
    }
    if (!countDirectory(registry, library.explicitTmpNsl)) {
        uncountDirectory(registry, library.nslPath);
        return false;
    }
    return true;
}

/// Sets `copy` to an allocated copy of `text`, or to null if `text` is null.
/// @return false if memory is exhausted
bool copyIfGiven(const char *text, vek::OwnedText &copy) {
    copy = text == nullptr ? nullptr : vek::copyText(text);
    return copy || text == nullptr;
}

// ---- the memory of a library

/// Returns true if `text` is in the memory of `library` itself, where newLibrary() stores the name and the nsl path.
bool isInside(const rynLibrary &library, const char *text) {
    return reinterpret_cast<uintptr_t>(text) - reinterpret_cast<uintptr_t>(&library) < library.size;
}

void replaceOwned(char *&field, vek::OwnedText text) {
    std::free(field);
    field = text.release();
}

} // namespace

rynLibrary *ryni_get_libp(rynRegistry *registry, const char *name) {
    const std::string_view text(name);
    const bool ignoreCase = ryn::ignoresCase();
    const uint32_t bucket = ryn::bucketOf(text, ignoreCase);
    return registry->indexes->names.find(ryn::nameHashOf(text, bucket), [=](const rynLibrary &library) {
        return library.bucket == bucket &&
               (ignoreCase ? vek::equalNoCase(library.name, text) : library.name == text);
    });
}

int sInsert_lib(rynRegistry *registry, rynLibrary *library) {
    const std::string_view name(library->name);
    library->bucket = static_cast<uint16_t>(ryn::bucketOf(name, ryn::ignoresCase()));
    library->nameHash = ryn::nameHashOf(name, library->bucket);
    if (!registry->indexes->names.insert(library->nameHash, *library)) {
        return RYN_MEMORY_ERROR;
    }
    if (!countDirectories(*registry, *library)) {
        registry->indexes->names.remove(library->nameHash, *library);
        return RYN_MEMORY_ERROR;
    }
    prependToBucket(*registry, *library);
    appendToOrder(*registry, *library);
    registry->globalTmpCount += ryn::hasGlobalTmp(*library) ? 1 : 0;
    registry->hasNestedName = registry->hasNestedName || name.find('/') != std::string_view::npos;
    return RYN_OK;
}

int ryniCheckPathNoneExistWarnFlag(const rynRegistry *registry) {
    bool mustExist = ryn::settings.mustExist;
    if (registry != nullptr && (registry->flags & RYN_FLAG_OWN_EXISTENCE_CHECK) != 0) {
        mustExist = (registry->flags & RYN_FLAG_EXISTENCE_CHECK_OFF) == 0;
    }
    return mustExist ? 1 : 0;
}

namespace ryn {

// ---- the registry

rynRegistry *newRegistry() {
    auto *const registry = static_cast<rynRegistry *>(std::calloc(1, sizeof(rynRegistry)));
    auto *const memory = static_cast<RegistryIndexes *>(std::malloc(sizeof(RegistryIndexes)));
    if (registry == nullptr || memory == nullptr) {
        std::free(registry);
        std::free(memory);
        return nullptr;
    }
    registry->indexes = std::construct_at(memory);
    if (!registry->indexes->names.reserve(1) || !registry->indexes->files.reserve(1) ||
        !registry->indexes->links.reserve(1) || !registry->indexes->directories.allocate()) {
        freeRegistry(registry);
        return nullptr;
    }
    return registry;
}

void freeRegistry(rynRegistry *registry) {
    if (registry == nullptr) {
        return;
    }
    std::free(registry->currentDirectory);
    std::free(registry->implicitTmpDirectory);
    // Free the libraries through the hash table of names, which contains all of them. The definition-order list can
    // lack a library; that library would not be freed.
    registry->indexes->names.clear([registry](rynLibrary &library) { freeLibrary(*registry, library); });
    while (registry->files.head != nullptr) {
        freeFile(std::exchange(registry->files.head, registry->files.head->next));
    }
    while (registry->globalExplicitTmp != nullptr) {
        freeAttribute(std::exchange(registry->globalExplicitTmp, registry->globalExplicitTmp->next));
    }
    std::destroy_at(registry->indexes);
    std::free(registry->indexes);
    std::free(registry);
}

// ---- libraries

rynLibrary *newLibrary(rynRegistry &registry, std::string_view name, std::string_view nslPath) {
    const std::size_t size = sizeof(rynLibrary) + name.size() + 1 + nslPath.size() + 1;
    if (size > UINT16_MAX) {
        return nullptr; // Not reached: both texts have at most 4095 characters
    }
    void *const memory = registry.indexes->pool.allocate(size);
    if (memory == nullptr) {
        return nullptr;
    }
    auto *const library = std::construct_at(static_cast<rynLibrary *>(memory));
    library->size = static_cast<uint16_t>(size);
    library->name = reinterpret_cast<char *>(library + 1);
    library->nslPath = library->name + name.size() + 1;
    static_cast<void>(vek::copyToBuffer(name, library->name, name.size() + 1));
    static_cast<void>(vek::copyToBuffer(nslPath, library->nslPath, nslPath.size() + 1));
    return library;
}

void freeLibrary(rynRegistry &registry, rynLibrary &library) {
    vek::MemoryPool &pool = registry.indexes->pool;
    for (char *text : {library.name, library.fullPath, library.explicitTmp, library.implicitTmp,
                       library.nslPath, library.explicitTmpNsl, library.implicitTmpNsl, library.packedFile}) {
        if (!isInside(library, text)) {
            std::free(text);
        }
    }
    freeAttributes(library);
    while (library.history.head != nullptr) {
        pool.release(std::exchange(library.history.head, library.history.head->next), sizeof(rynDefinition));
    }
    if (library.size != 0) {
        pool.release(&library, library.size);
    } else {
        std::free(&library);
    }
}

void prefetchDefinition(const rynRegistry &registry, std::string_view name, std::string_view directory) {
    const RegistryIndexes &indexes = *registry.indexes;
    indexes.links.prefetch(indexHash(directory)); // first, because it is needed first
    indexes.names.prefetch(nameHashOf(name, bucketOf(name, ignoresCase())));
    indexes.directories.prefetch(directory);
}

void respell(rynRegistry &registry, rynLibrary &library, std::string_view name) {
    static_cast<void>(replaceText(library.name, name)); // cannot fail: the length is the same
    library.rootNumber = 0; // the directory ROOT/NAME with the new name has not been created
    ++registry.tmpChanges;
}

bool moveToEnd(rynRegistry &registry, rynLibrary &library) {
    if (registry.libraries.tail == &library) {
        return true;
    }
    if (!isInOrder(registry.libraries, library)) {
        return false;
    }
    removeFromOrder(registry.libraries, library);
    appendToOrder(registry, library);
    return true;
}

bool removeLibrary(rynRegistry &registry, rynLibrary &library) {
    registry.indexes->names.remove(library.nameHash, library);
    removeFromBucket(registry, library);
    uncountDirectory(registry, library.nslPath);
    uncountDirectory(registry, library.explicitTmpNsl);
    registry.globalTmpCount -= hasGlobalTmp(library) ? 1 : 0;
    const bool wasInOrder = isInOrder(registry.libraries, library);
    removeFromOrder(registry.libraries, library);
    return wasInOrder;
}

void setTmpFromGlobal(rynRegistry &registry, rynLibrary &library, bool isFromGlobal) {
    registry.globalTmpCount -= hasGlobalTmp(library) ? 1 : 0;
    library.flags = (library.flags & ~kTmpFromGlobal) | (isFromGlobal ? kTmpFromGlobal : 0U);
    registry.globalTmpCount += hasGlobalTmp(library) ? 1 : 0;
}

int setExplicitTmp(rynRegistry &registry, rynLibrary &library, const char *full, const char *nsl) {
    vek::OwnedText fullCopy;
    vek::OwnedText nslCopy;
    if (!copyIfGiven(full, fullCopy) || !copyIfGiven(nsl, nslCopy) || !countDirectory(registry, nsl)) {
        return RYN_MEMORY_ERROR;
    }
    uncountDirectory(registry, library.explicitTmpNsl);
    registry.globalTmpCount -= hasGlobalTmp(library) ? 1 : 0;
    registry.tmpChanges += full == nullptr ? 1 : 0;
    replaceOwned(library.explicitTmp, std::move(fullCopy));
    replaceOwned(library.explicitTmpNsl, std::move(nslCopy));
    registry.globalTmpCount += hasGlobalTmp(library) ? 1 : 0;
    return RYN_OK;
}

int recordDefinition(rynRegistry &registry, rynLibrary &library, rynIncludedFile *file, int line) {
    auto *const definition =
        static_cast<rynDefinition *>(registry.indexes->pool.allocate(sizeof(rynDefinition)));
    library.definedIn = file;
    library.definedAtLine = line;
    if (definition == nullptr) {
        return RYN_MEMORY_ERROR;
    }
    *definition = {nullptr, file, line};
    rynDefinitionHistory &history = library.history;
    (history.tail == nullptr ? history.head : history.tail->next) = definition;
    history.tail = definition;
    return RYN_OK;
}

// ---- files

rynIncludedFile *addFile(rynRegistry &registry, const char *path, const char *nslPath, const char *&context) {
    auto *const file = static_cast<rynIncludedFile *>(std::calloc(1, sizeof(rynIncludedFile)));
    if (file == nullptr) {
        context = "ryni_parse_veklib_file()";
        return nullptr;
    }
    file->path = vek::copyText(path).release();
    file->nslPath = file->path == nullptr ? nullptr : vek::copyText(nslPath).release();
    if (file->nslPath == nullptr) {
        context = file->path == nullptr ? "ryni_parse_veklib_file() - 2" : "ryni_parse_veklib_file() - 3";
        freeFile(file);
        return nullptr;
    }
    if (findFile(registry, nslPath) == nullptr &&
        !registry.indexes->files.insert(indexHash(nslPath), *file)) {
        context = "ryni_parse_veklib_file()";
        freeFile(file);
        return nullptr;
    }
    (registry.files.tail == nullptr ? registry.files.head : registry.files.tail->next) = file;
    registry.files.tail = file;
    return file;
}

const rynIncludedFile *findFile(rynRegistry &registry, const char *nslPath) {
    return registry.indexes->files.find(indexHash(nslPath), [nslPath](const rynIncludedFile &file) {
        return std::strcmp(file.nslPath, nslPath) == 0;
    });
}

} // namespace ryn
