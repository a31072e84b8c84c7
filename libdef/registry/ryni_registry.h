#ifndef RYNI_REGISTRY_H
#define RYNI_REGISTRY_H

/// The records of a registry. Their documented fields come first, in documented order; what indexes them comes
/// behind, and only the functions below change what an index knows of.

#include "common/containers/intrusive_hash.h"
#include "common/text/ascii.h"
#include "libdef/ryn.h"

#include <cstdint>
#include <string_view>

VEK_BEGIN_DECLS

enum { RYNI_BUCKETS = 256 };

/// One library definition file that was read.
typedef struct rynIncludedFile {
    struct rynIncludedFile *next;
    char *path;
    char *nslPath;
    struct rynIncludedFile *includedFrom;
    int line;
} rynIncludedFile;

/// One ASSIGN statement's result.
typedef struct rynAttribute {
    struct rynAttribute *next;
    char *name;
    char *value;
    rynIncludedFile *file;
    int32_t line;
} rynAttribute;

/// One DEFINE of a library.
typedef struct rynDefinition {
    struct rynDefinition *next;
    rynIncludedFile *file;
    int32_t line;
} rynDefinition;

typedef struct rynDefinitionHistory {
    rynDefinition *head;
    rynDefinition *tail;
} rynDefinitionHistory;

/// Bits of a library's flags.
enum { RYNI_LIB_PATH_CHANGED = 1U << 0U, RYNI_LIB_TMP_FROM_GLOBAL = 1U << 1U };

typedef struct rynLibrary {
    struct rynLibrary *nextInBucket;
    struct rynLibrary *nextInOrder;
    rynAttribute *attributes;
    char *name;
    char *fullPath;
    char *explicitTmp;
    char *implicitTmp;
    char *nslPath;
    char *explicitTmpNsl;
    char *implicitTmpNsl;
    rynIncludedFile *definedIn;
    int32_t definedAtLine;
    uint32_t flags;
    rynDefinitionHistory history;
    char *packedFile;
    vekZip *packedArchive;

    // What the indexes keep.
    struct rynLibrary *previousInBucket;
    struct rynLibrary *previousInOrder;
    struct rynLibrary *nextInNameIndex;
    uint64_t sequence; ///< grows with every insertion
    uint64_t place;    ///< grows along the definition order
    uint32_t bucket;
    uint32_t nameHash; ///< in the name index
    // The last dump that met it in its bucket, and in the definition order.
    uint32_t dumpedFromBucket;
    uint32_t dumpedFromOrder;
} rynLibrary;

/// The outcome of one link read.
typedef struct rynLink {
    struct rynLink *next;
    char *path;
    char *target; ///< null when the read failed
    int32_t length;
    int32_t error;

    struct rynLink *nextInIndex;
    uint32_t hash; ///< of the path, in the index
} rynLink;

typedef struct rynIncludedFileList {
    rynIncludedFile *head;
    rynIncludedFile *tail;
} rynIncludedFileList;

typedef struct rynLibraryList {
    rynLibrary *head;
    rynLibrary *tail;
} rynLibraryList;

/// Counts the directories at and below each path (ryni_reuse.h).
typedef struct rynDirectoryIndex rynDirectoryIndex;

VEK_END_DECLS

namespace ryn {

/// The key of a library in the name index: libraries of one bucket whose names differ only by case have the same key, so
/// that both case settings can use the index.
struct NameKey {
    std::string_view name;
    uint32_t bucket;
    uint32_t hash;
};

struct NameIndexTraits {
    static rynLibrary *&link(rynLibrary &library) { return library.nextInNameIndex; }
    static uint32_t hash(const rynLibrary &library) { return library.nameHash; }
    static uint32_t hash(const NameKey &key) { return key.hash; }
    static bool matches(const rynLibrary &library, const NameKey &key) {
        return library.nameHash == key.hash && library.bucket == key.bucket &&
               vek::equalNoCase(library.name, key.name);
    }
};

struct PathKey {
    std::string_view path;
    uint32_t hash;
};

struct LinkIndexTraits {
    static rynLink *&link(rynLink &link) { return link.nextInIndex; }
    static uint32_t hash(const rynLink &link) { return link.hash; }
    static uint32_t hash(const PathKey &key) { return key.hash; }
    static bool matches(const rynLink &link, const PathKey &key) {
        return link.hash == key.hash && link.path == key.path;
    }
};

} // namespace ryn

VEK_BEGIN_DECLS

struct rynRegistry {
    uint32_t flags;
    uint32_t umask;
    char *currentDirectory;
    rynWarningHandler warningHandler;
    rynErrorHandler errorHandler;
    rynErrorHandler fatalHandler;
    rynUnknownAssignHook unknownAssignHook;
    rynIncludedFileList files;
    rynLibraryList libraries;
    rynLibrary *buckets[RYNI_BUCKETS];
    rynLink *links[RYNI_BUCKETS];
    uint32_t implicitTmpFlags;
    char *implicitTmpDirectory;
    rynAttribute *globalExplicitTmp;

    // Indexes.
    vek::IntrusiveHash<rynLibrary, ryn::NameIndexTraits> nameIndex;
    vek::IntrusiveHash<rynLink, ryn::LinkIndexTraits> linkIndex;
    rynDirectoryIndex *directoryIndex;
    uint64_t insertions; ///< into the buckets or the definition order
    uint32_t dumps;
};

/// The name hash: the chain a name belongs to. @param ignoreCase hash the lower-case form
uint32_t ryniNameBucket(const char *name, int ignoreCase);

/// @return the library of that name under the case setting in force, or null
rynLibrary *ryni_get_libp(rynRegistry *registry, const char *name);

/// @return a new library record with nothing set but its name; null when memory is exhausted
rynLibrary *ryniNewLibrary(const char *name);

/// Appends `library` to the definition order, puts it in front of its bucket and counts its directories.
/// @return RYN_OK, or RYN_MEMORY_ERROR with the library in none of them
int sInsert_lib(rynRegistry *registry, rynLibrary *library);

/// Moves `library` to the end of the definition order. @return 0 when it is not in that order
int ryniMoveToEnd(rynRegistry *registry, rynLibrary *library);

/// Takes `library` out of its bucket, the definition order and the indexes. It is not freed, and nothing leads to
/// it any more.
/// @return 0 when it was not in the definition order
int ryniRemoveLibrary(rynRegistry *registry, rynLibrary *library);

/// Frees a library record that is in no registry.
void ryniFreeLibrary(rynLibrary *library);

/// Sets or clears (both null) the explicit temporary directory; the directory index follows.
/// @return RYN_OK, or RYN_MEMORY_ERROR with the directory as it was
int ryniSetExplicitTmp(rynRegistry *registry, rynLibrary *library, const char *full, const char *nsl);

/// Records a place of definition, and appends it to the history.
/// @return RYN_OK or RYN_MEMORY_ERROR
int ryniRecordDefinition(rynLibrary *library, rynIncludedFile *file, int line);

/// Replaces the owned string `*field` by a copy of `text`.
/// @return RYN_OK, or RYN_MEMORY_ERROR with the string as it was
int ryniReplaceText(char **field, const char *text);

/// @return a new attribute record; null when memory is exhausted
rynAttribute *ryniNewAttribute(const char *name, const char *value, rynIncludedFile *file, int line);
void ryniFreeAttribute(rynAttribute *attribute);

/// @return an empty registry, zeroed but for its indexes; null when memory is exhausted
rynRegistry *ryniNewRegistry(void);

/// Appends the record of a file that is read.
/// @param context  receives the fatal report's context when memory is exhausted
/// @return the record, or null
rynIncludedFile *ryniAddFile(rynRegistry *registry, const char *path, const char *nslPath,
                             const char **context);

/// Frees a registry and all it owns. Null is allowed.
void ryniFreeRegistry(rynRegistry *registry);

VEK_END_DECLS

#endif
