#ifndef RYNI_INDEXES_H
#define RYNI_INDEXES_H

/// The search indexes of a registry: hash tables that find a library, a file or a cached symbolic link in
/// O(1), and a trie of library directories. The same records are also in linked lists (ryni_records.h), but searching a
/// list takes O(n).

#include "common/containers/hash_index.h"
#include "common/containers/memory_pool.h"
#include "common/text/fixed_text.h"
#include "libdef/registry/ryni_index_hash.h"
#include "libdef/registry/ryni_records.h"
#include "libdef/registry/ryni_reuse.h"

#include <cstdint>
#include <string_view>

namespace ryn {

/// Computes the hash of a library name in RegistryIndexes::names, from the bucket number and the name without regard to
/// case. The same table can therefore be searched with and without regard to case.
inline uint32_t nameHashOf(std::string_view name, uint32_t bucket) {
    return indexHashNoCase(name, bucket);
}

/// The search indexes of one registry. The registry, not this struct, owns the records of libraries, files and links.
struct RegistryIndexes {
    vek::MemoryPool pool;             ///< contains the libraries, definitions, links and nodes of directories
    vek::HashIndex<rynLibrary> names; ///< by nameHashOf()
    vek::HashIndex<rynIncludedFile> files; ///< by indexHash() of the nsl path
    vek::HashIndex<rynLink> links;         ///< by indexHash() of the path
    /// The parent directory of the last resolved path in which no component was a symbolic link. If the next path is in
    /// the same directory, LinkResolver does not look up its prefixes in `links`.
    vek::PathText directoryWithoutLinks;
    DirectoryIndex directories{pool}; ///< nslPath and explicitTmpNsl of every library
};

} // namespace ryn

#endif
