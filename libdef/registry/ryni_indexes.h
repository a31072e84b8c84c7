#ifndef RYNI_INDEXES_H
#define RYNI_INDEXES_H

/// The indexes of a registry, beside its documented lists and buckets.

#include "common/containers/intrusive_hash.h"
#include "common/text/ascii.h"
#include "libdef/registry/ryni_index_hash.h"
#include "libdef/registry/ryni_records.h"
#include "libdef/registry/ryni_reuse.h"

namespace ryn {

/// A library name and its bucket. Names of one bucket that differ only by case have the same key, so that both lookup
/// case settings can use the index.
struct NameKey {
    const char *name;
    uint32_t bucket;
    uint32_t hash;
};

inline NameKey nameKeyOf(const char *name, bool ignoreCase) {
    const uint32_t bucket = bucketOf(name, ignoreCase);
    return {name, bucket, indexHashNoCase(name, bucket)};
}

struct NameTraits {
    static rynLibrary *&link(rynLibrary &library) { return library.nextInNameIndex; }
    static uint32_t hash(const rynLibrary &library) { return library.nameHash; }
    static uint32_t hash(const NameKey &key) { return key.hash; }
    static bool matches(const rynLibrary &library, const NameKey &key) {
        return library.nameHash == key.hash && library.bucket == key.bucket &&
               vek::equalNoCase(library.name, key.name);
    }
};

struct FileTraits {
    static rynIncludedFile *&link(rynIncludedFile &file) { return file.nextInIndex; }
    static uint32_t hash(const rynIncludedFile &file) { return file.nslHash; }
    static uint32_t hash(std::string_view nslPath) { return indexHash(nslPath); }
    static bool matches(const rynIncludedFile &file, std::string_view nslPath) {
        return file.nslPath == nslPath;
    }
};

/// A path with its hash, which a new entry needs twice.
struct LinkKey {
    std::string_view path;
    uint32_t hash;
};

struct LinkTraits {
    static rynLink *&link(rynLink &link) { return link.nextInIndex; }
    static uint32_t hash(const rynLink &link) { return link.hash; }
    static uint32_t hash(const LinkKey &key) { return key.hash; }
    static bool matches(const rynLink &link, const LinkKey &key) {
        return link.hash == key.hash && link.path == key.path;
    }
};

struct RegistryIndexes {
    vek::IntrusiveHash<rynLibrary, NameTraits> names;
    vek::IntrusiveHash<rynIncludedFile, FileTraits> files;
    vek::IntrusiveHash<rynLink, LinkTraits> links;
    DirectoryIndex directories; ///< the nsl paths and explicit temporary nsl paths of all libraries
};

} // namespace ryn

#endif
