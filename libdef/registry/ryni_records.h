#ifndef RYNI_RECORDS_H
#define RYNI_RECORDS_H

/// The records of a registry. The fields whose order is documented come first in each record; the fields that the
/// indexes maintain follow. Only the functions of ryni_registry.h and ryni_attributes.h may change a field that an
/// index depends on, such as a name.

#include "libdef/ryn.h"

namespace ryn {

struct AttributeIndex;
struct RegistryIndexes;

/// Documented: the number of buckets of the libraries, which rynDumpEverything() prints, and of those of the link
/// cache.
inline constexpr int kBuckets = 256;

/// Flags of a library.
enum LibraryFlag : uint32_t {
    kPathChanged = 1U << 0U,  ///< a redefinition has changed the full path
    kTmpFromGlobal = 1U << 1U ///< the explicit temporary directory comes from the global temporary root
};

} // namespace ryn

/// The record of a library definition file that was read.
struct rynIncludedFile {
    rynIncludedFile *next;
    char *path;
    char *nslPath;
    rynIncludedFile *includedFrom; ///< null for the top file
    int line;                      ///< line of the INCLUDE in that file

    rynIncludedFile *nextInIndex = nullptr;
    uint32_t nslHash = 0;
};

/// An attribute of a library, or a global temporary root: set by an ASSIGN.
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

/// The location of one definition of a library.
struct rynDefinition {
    rynDefinition *next;
    rynIncludedFile *file;
    int32_t line;
};

/// All definitions of a library, the oldest first.
struct rynDefinitionHistory {
    rynDefinition *head;
    rynDefinition *tail;
};

/// A library. The paths with "nsl" in their names contain no symbolic links; the paths of a temporary directory that
/// the library does not have are null.
struct rynLibrary {
    rynLibrary *nextInBucket;
    rynLibrary *nextInOrder;
    rynAttribute *attributes; ///< the newest attribute first
    char *name;
    char *fullPath;
    char *explicitTmp;
    char *implicitTmp;
    char *nslPath;
    char *explicitTmpNsl;
    char *implicitTmpNsl;
    rynIncludedFile *definedIn;
    int32_t definedAtLine;
    uint32_t flags; ///< values of ryn::LibraryFlag, combined by OR
    rynDefinitionHistory history;
    char *packedFile;
    vekZip *packedArchive;

    rynLibrary *previousInBucket;
    rynLibrary *previousInOrder;
    rynLibrary *nextInNameIndex;
    ryn::AttributeIndex *attributeIndex; ///< null if lookups search the list instead
    uint64_t insertion;                  ///< greater than in every library inserted before
    uint64_t rank;                       ///< grows from head to tail of the definition order
    uint32_t bucket;
    uint32_t nameHash; ///< hash of ryn::NameKey
    uint32_t attributeCount;
    /// ryn::RootProgress::number of the global temporary root under which the library's directory was created, or 0.
    uint32_t rootNumber;
};

/// A cached result of readlink().
struct rynLink {
    rynLink *next;
    char *path;
    char *target; ///< null if readlink() failed
    int32_t length;
    int32_t error;

    rynLink *nextInIndex;
    uint32_t hash; ///< hash of the path in the link index
};

struct rynIncludedFileList {
    rynIncludedFile *head;
    rynIncludedFile *tail;
};

struct rynLibraryList {
    rynLibrary *head;
    rynLibrary *tail;
};

/// A registry of libraries: the object that a rynHandle points to.
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
    rynAttribute *globalExplicitTmp; ///< the global temporary roots, the newest first

    ryn::RegistryIndexes *indexes;
    uint64_t insertions; ///< counter for rynLibrary::insertion and rynLibrary::rank
    uint64_t tmpChanges; ///< number of changes after which the root is applied to every library
    int globalTmpCount;  ///< number of libraries for which ryn::hasGlobalTmp() is true
    bool hasNestedName;  ///< whether the name of any library has ever contained "/"
};

#endif
