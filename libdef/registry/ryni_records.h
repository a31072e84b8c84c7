#ifndef RYNI_RECORDS_H
#define RYNI_RECORDS_H

/// The records of a registry. Their documented fields come first, in documented order. The fields of the indexes come
/// after them; only the functions of ryni_registry.h and ryni_attributes.h change a field that an index depends on.

#include "libdef/ryn.h"

namespace ryn {

struct AttributeIndex;
struct RegistryIndexes;

inline constexpr int kBuckets = 256;

/// Flags of a library.
enum LibraryFlag : uint32_t {
    kPathChanged = 1U << 0U,  ///< a redefinition changed the full path
    kTmpFromGlobal = 1U << 1U ///< the explicit temporary directory comes from the global temporary root
};

} // namespace ryn

/// A library definition file that was read.
struct rynIncludedFile {
    rynIncludedFile *next;
    char *path;
    char *nslPath;
    rynIncludedFile *includedFrom; ///< null for the top file
    int line;                      ///< of the INCLUDE

    rynIncludedFile *nextInIndex = nullptr;
    uint32_t nslHash = 0;
};

/// The result of an ASSIGN.
struct rynAttribute {
    rynAttribute *next;
    char *name; ///< in upper case
    char *value;
    rynIncludedFile *file;
    int32_t line;

    rynAttribute *previous = nullptr;
    rynAttribute *nextInIndex = nullptr;
    uint32_t nameHash = 0;
};

/// One DEFINE of a library.
struct rynDefinition {
    rynDefinition *next;
    rynIncludedFile *file;
    int32_t line;
};

struct rynDefinitionHistory {
    rynDefinition *head;
    rynDefinition *tail;
};

struct rynLibrary {
    rynLibrary *nextInBucket;
    rynLibrary *nextInOrder;
    rynAttribute *attributes; ///< the newest first
    char *name;
    char *fullPath;
    char *explicitTmp;
    char *implicitTmp;
    char *nslPath;
    char *explicitTmpNsl;
    char *implicitTmpNsl;
    rynIncludedFile *definedIn;
    int32_t definedAtLine;
    uint32_t flags; ///< ryn::LibraryFlag
    rynDefinitionHistory history;
    char *packedFile;
    vekZip *packedArchive;

    rynLibrary *previousInBucket;
    rynLibrary *previousInOrder;
    rynLibrary *nextInNameIndex;
    ryn::AttributeIndex *attributeIndex; ///< null if the list of attributes is searched instead
    uint64_t insertion;                  ///< greater than that of every library inserted before
    uint64_t rank;                       ///< in the definition order
    uint32_t bucket;
    uint32_t nameHash; ///< in the name index
    uint32_t attributeCount;
    uint32_t
        rootNumber; ///< the global root under which its directory was created, see ryn::RootProgress; 0 for none
};

/// A cached result of readlink().
struct rynLink {
    rynLink *next;
    char *path;
    char *target; ///< null after a failure
    int32_t length;
    int32_t error;

    rynLink *nextInIndex;
    uint32_t hash; ///< of the path, in the index
};

struct rynIncludedFileList {
    rynIncludedFile *head;
    rynIncludedFile *tail;
};

struct rynLibraryList {
    rynLibrary *head;
    rynLibrary *tail;
};

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
    rynLibrary *buckets[ryn::kBuckets];
    rynLink *links[ryn::kBuckets];
    uint32_t implicitTmpFlags;
    char *implicitTmpDirectory;
    rynAttribute *globalExplicitTmp; ///< the newest first

    ryn::RegistryIndexes *indexes;
    uint64_t insertions; ///< into the buckets or the definition order
    uint64_t tmpChanges; ///< changes after which a global root must be applied to a library again
    int globalTmpCount;  ///< libraries whose explicit temporary directory comes from the global root
    bool hasNestedName;  ///< whether the name of a library has ever contained "/"
};

#endif
