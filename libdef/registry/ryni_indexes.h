#ifndef RYNI_INDEXES_H
#define RYNI_INDEXES_H

/// The search indexes of a registry: intrusive hash tables that find a library, a file or a cached symbolic link in
/// O(1), and a trie of library directories. The same records are also in linked lists (ryni_records.h), but searching a
/// list takes O(n).

#include "common/containers/intrusive_hash.h"
#include "common/text/ascii.h"
#include "libdef/registry/ryni_index_hash.h"
#include "libdef/registry/ryni_records.h"
#include "libdef/registry/ryni_reuse.h"

namespace ryn {

/// Search key of the hash table of library names. `hash` is the hash in this table. `bucket` belongs to another table:
/// it is the number of one of the 256 buckets that rynDumpEverything() prints. A library matches the key if it is in
/// this bucket and its name is equal without regard to case. ryni_get_libp() then compares the case if necessary.
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

/// Search key of the hash table of cached readlink() results. The hash of `path` is computed once and used twice: for
/// the lookup, and for the insertion if the lookup finds nothing.
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

/// The search indexes of one registry. The registry, not this struct, owns the records of libraries, files and links.
struct RegistryIndexes {
    vek::IntrusiveHash<rynLibrary, NameTraits> names;
    vek::IntrusiveHash<rynIncludedFile, FileTraits> files;
    vek::IntrusiveHash<rynLink, LinkTraits> links;
    DirectoryIndex directories; ///< nslPath and explicitTmpNsl of every library
};

} // namespace ryn

#endif
