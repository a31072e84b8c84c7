#ifndef RYNI_RECORDS_H
#define RYNI_RECORDS_H

/// The data structures of a registry: libraries, attributes, library definition files and cached symbolic links.
/// The order of the fields at the beginning of each struct is documented. The fields after the empty line are internal:
/// hash tables and lists use them. Only the functions of ryni_registry.h and ryni_attributes.h may change a field that
/// a hash table depends on, such as a name, because otherwise lookups fail.

#include "libdef/ryn.h"

namespace ryn {

struct AttributeIndex;
struct RegistryIndexes;

/// Documented: a registry has 256 buckets for libraries and 256 buckets for cached symbolic links. rynDumpEverything()
/// prints the numbers of the buckets for libraries.
inline constexpr int kBuckets = 256;

/// Flags of a library.
enum LibraryFlag : uint32_t {
    kPathChanged = 1U << 0U,  ///< a redefinition has changed the full path
    kTmpFromGlobal = 1U << 1U ///< the explicit temporary directory comes from the global temporary root
};

} // namespace ryn

/// One library definition file that a registry has read. A file that was read twice has two records. The registry owns
/// the records.
struct rynIncludedFile {
    rynIncludedFile *next;
    char *path;
    char *nslPath;
    rynIncludedFile *includedFrom; ///< null for the top file
    int line;                      ///< line of the INCLUDE in that file
};

/// One attribute of a library: a name and a value that an ASSIGN statement set. The registry also uses this struct for
/// each global temporary root, which is the value of a statement ASSIGN AllLibs TmpRootDir.
struct rynAttribute {
    rynAttribute *next;
    char *name; ///< in upper case
    char *value;
    rynIncludedFile *file;
    int32_t line;

    rynAttribute *previous = nullptr;
};

/// The file and line where a library was defined, as an element of a linked list. The list of a library that was
/// redefined has several elements.
struct rynDefinition {
    rynDefinition *next;
    rynIncludedFile *file;
    int32_t line;
};

/// Linked list of the locations of all definitions of one library, the oldest first.
struct rynDefinitionHistory {
    rynDefinition *head;
    rynDefinition *tail;
};

/// One library: a name and the directory of the library's data, from a library definition file. The registry owns the
/// library.
/// Fields with "nsl" in their names are paths in which all symbolic links are resolved. The paths of a temporary
/// directory are null if the library does not have that directory.
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
    ryn::AttributeIndex *attributeIndex; ///< null if lookups search the list instead
    uint64_t rank;                       ///< grows from head to tail of the definition order
    uint16_t bucket;
    uint16_t size; ///< of this record and the strings after it in the memory pool; 0 if malloc() was called
    uint32_t nameHash; ///< hash in RegistryIndexes::names
    uint32_t attributeCount;
    /// The number (ryn::RootProgress::number) of the global temporary root in which the library's temporary directory
    /// was created; 0 if none was created.
    uint32_t rootNumber;
};

/// One cached result of readlink(), a success or a failure. The registry owns it.
struct rynLink {
    rynLink *next;
    char *path;
    char *target; ///< null if readlink() failed
    int32_t length;
    int32_t error;
};

struct rynIncludedFileList {
    rynIncludedFile *head;
    rynIncludedFile *tail;
};

struct rynLibraryList {
    rynLibrary *head;
    rynLibrary *tail;
};

/// A registry: the libraries, attributes and files that were read from library definition files. rynHandle is a pointer
/// to this struct. The program frees a registry with rynReleaseHandle().
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
