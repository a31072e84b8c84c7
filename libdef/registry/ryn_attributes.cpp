#include "libdef/registry/ryni_attributes.h"

#include "common/base/owned.h"
#include "common/containers/hash_index.h"
#include "libdef/registry/ryni_index_hash.h"
#include "libdef/registry/ryni_owned_text.h"

#include <cstdlib>
#include <cstring>
#include <memory>

// Implements the attributes of a library: the names and values that ASSIGN statements set.
// The attributes of a library are a doubly linked list. If there are more than kMaxSearched attributes, a hash
// table also contains them, so that n ASSIGN statements for one library take O(n) time.
// If memory for the hash table is exhausted, lookups search the list instead.

namespace ryn {
namespace {

constexpr uint32_t kMaxSearched = 8; // a linear search of 8 costs about as much as a hash lookup

} // namespace

/// Hash table that finds the attributes of one library by name. Only a library with many attributes has this table; for
/// other libraries, lookups search the linked list of attributes.
struct AttributeIndex {
    vek::HashIndex<rynAttribute> table; ///< by indexHash() of the name
};

namespace {

/// Frees the hash table of the attributes of `library`, if there is one. Later lookups search the linked list of
/// attributes instead.
void dropIndex(rynLibrary &library) {
    if (library.attributeIndex != nullptr) {
        std::destroy_at(library.attributeIndex);
        std::free(library.attributeIndex);
        library.attributeIndex = nullptr;
    }
}

/// Inserts `attribute` into the hash table of `library`, which must exist. If memory is exhausted, frees the table.
void insertIntoIndex(rynLibrary &library, rynAttribute &attribute) {
    if (!library.attributeIndex->table.insert(indexHash(attribute.name), attribute)) {
        dropIndex(library);
    }
}

/// Creates the hash table of the attributes of `library` and inserts all of them. If memory is exhausted, `library`
/// gets no hash table, and lookups search the linked list of attributes instead.
void createIndex(rynLibrary &library) {
    auto *const memory = static_cast<AttributeIndex *>(std::malloc(sizeof(AttributeIndex)));
    if (memory == nullptr) {
        return;
    }
    library.attributeIndex = std::construct_at(memory);
    for (rynAttribute *attribute = library.attributes;
         attribute != nullptr && library.attributeIndex != nullptr; attribute = attribute->next) {
        insertIntoIndex(library, *attribute);
    }
}

void prepend(rynLibrary &library, rynAttribute *attribute) {
    attribute->next = library.attributes;
    if (library.attributes != nullptr) {
        library.attributes->previous = attribute;
    }
    library.attributes = attribute;
    ++library.attributeCount;
    if (library.attributeIndex != nullptr) {
        insertIntoIndex(library, *attribute);
    } else if (library.attributeCount > kMaxSearched) {
        createIndex(library);
    }
}

} // namespace

rynAttribute *newAttribute(std::string_view name, std::string_view value, rynIncludedFile *file, int line) {
    // Allocate one block for the record and the name, which is stored directly after the record. The name needs no
    // separate allocation, because it never changes.
    vek::OwnedText valueCopy = vek::copyText(value);
    auto *const attribute = static_cast<rynAttribute *>(std::malloc(sizeof(rynAttribute) + name.size() + 1));
    if (!valueCopy || attribute == nullptr) {
        std::free(attribute);
        return nullptr;
    }
    char *const nameCopy = reinterpret_cast<char *>(attribute + 1);
    std::memcpy(nameCopy, name.data(), name.size());
    nameCopy[name.size()] = '\0';
    *attribute = {.next = nullptr,
                  .name = nameCopy,
                  .value = valueCopy.release(),
                  .file = file,
                  .line = line,
                  .previous = nullptr};
    return attribute;
}

void freeAttribute(rynAttribute *attribute) {
    std::free(attribute->value);
    std::free(attribute);
}

rynAttribute *findAttribute(const rynLibrary &library, std::string_view name) {
    if (library.attributeIndex != nullptr) {
        return library.attributeIndex->table.find(
            indexHash(name), [name](const rynAttribute &attribute) { return attribute.name == name; });
    }
    rynAttribute *attribute = library.attributes;
    while (attribute != nullptr && attribute->name != name) {
        attribute = attribute->next;
    }
    return attribute;
}

bool setAttribute(rynLibrary &library, std::string_view name, std::string_view value, rynIncludedFile *file,
                  int line) {
    if (rynAttribute *const existing = findAttribute(library, name)) {
        if (!replaceText(existing->value, value)) {
            return false;
        }
        existing->file = file;
        existing->line = line;
        return true;
    }
    rynAttribute *const attribute = newAttribute(name, value, file, line);
    if (attribute == nullptr) {
        return false;
    }
    prepend(library, attribute);
    return true;
}

void removeAttribute(rynLibrary &library, rynAttribute *attribute) {
    if (library.attributeIndex != nullptr) {
        library.attributeIndex->table.remove(indexHash(attribute->name), *attribute);
    }
    (attribute->previous == nullptr ? library.attributes : attribute->previous->next) = attribute->next;
    if (attribute->next != nullptr) {
        attribute->next->previous = attribute->previous;
    }
    --library.attributeCount;
    freeAttribute(attribute);
}

void freeAttributes(rynLibrary &library) {
    dropIndex(library);
    while (library.attributes != nullptr) {
        rynAttribute *const next = library.attributes->next;
        freeAttribute(library.attributes);
        library.attributes = next;
    }
}

} // namespace ryn
