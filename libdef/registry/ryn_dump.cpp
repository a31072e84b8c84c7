#include "libdef/ryn.h"

#include "common/containers/growing_array.h"
#include "libdef/registry/ryni_index_hash.h"
#include "libdef/registry/ryni_records.h"
#include "libdef/registry/ryni_settings.h"

#include <algorithm>
#include <cstdio>

// Implements rynDumpEverything(): prints all data of a registry, which stores the libraries that library definition
// files define.
// Prints the files, the libraries, the hash buckets of the libraries, and the global temporary roots. Also prints an
// error for each library that is missing from its hash bucket or from the list of libraries in definition order.

namespace {

const char *orEmpty(const char *text) {
    return text == nullptr ? "" : text;
}

void dumpFiles(const rynRegistry &registry, FILE *stream) {
    std::fputs("\nVEK.LIB files:\n", stream);
    for (const rynIncludedFile *file = registry.files.head; file != nullptr; file = file->next) {
        std::fprintf(stream, "%s\n  (%s)\n", file->path, file->nslPath);
        if (file->includedFrom != nullptr) {
            std::fprintf(stream, "  included from %s line %d\n", file->includedFrom->path, file->line);
        }
    }
}

void dumpAttributes(const rynLibrary &library, FILE *stream) {
    if (library.attributes == nullptr) {
        return;
    }
    std::fputs("  Attributes:\n", stream);
    for (const rynAttribute *attribute = library.attributes; attribute != nullptr;
         attribute = attribute->next) {
        std::fprintf(stream, "    %s %s\n", attribute->name, orEmpty(attribute->value));
    }
}

void dumpLibrary(const rynLibrary &library, FILE *stream) {
    std::fprintf(stream, "%s %s\n    (%s)\n", library.name, library.fullPath, library.nslPath);
    if (library.definedIn != nullptr) {
        std::fprintf(stream, "  Defined at %s line %d\n", library.definedIn->path, library.definedAtLine);
    }
    if (library.packedFile != nullptr) {
        std::fprintf(stream, "  PACKEDLIB at %s\n", library.packedFile);
    }
    if (library.explicitTmp != nullptr) {
        const bool fromGlobal = (library.flags & ryn::kTmpFromGlobal) != 0;
        std::fprintf(stream, "  %sTMPDIR    at %s\n           (%s)\n", fromGlobal ? "FromGlobal " : "",
                     library.explicitTmp, library.explicitTmpNsl);
    }
    if (library.implicitTmp != nullptr) {
        std::fprintf(stream, "  IMPLICIT  at %s\n           (%s)\n", library.implicitTmp,
                     library.implicitTmpNsl);
    }
    dumpAttributes(library, stream);
}

void dumpLibraries(const rynRegistry &registry, FILE *stream) {
    std::fputs("\nLibraries:\n", stream);
    for (const rynLibrary *library = registry.libraries.head; library != nullptr;
         library = library->nextInOrder) {
        dumpLibrary(*library, stream);
    }
}

/// Set of pointers to libraries, stored in a sorted array. contains() is a binary search: O(log n). If memory for the
/// array is exhausted, contains() searches a linked list that the caller passes instead: O(n).
class LibrarySet {
  public:
    void add(const rynLibrary *library) { isComplete_ = isComplete_ && libraries_.push(&*library); }

    /// Sorts the array for binary search. Call this function once: after the last call of add() and before contains().
    void sort() {
        if (!libraries_.empty()) {
            std::sort(&libraries_[0], &libraries_[0] + libraries_.size());
        }
    }

    /// @param head  the first library of the linked list that is searched if the array is incomplete
    /// @param next  the member that points to the next library of the linked list
    /// @return true if the set contains `library`
    [[nodiscard]] bool contains(const rynLibrary *library, const rynLibrary *head,
                                rynLibrary *rynLibrary::*next) const {
        if (isComplete_) {
            return !libraries_.empty() &&
                   std::binary_search(&libraries_[0], &libraries_[0] + libraries_.size(), library);
        }
        while (head != nullptr && head != library) {
            head = head->*next;
        }
        return head != nullptr;
    }

  private:
    vek::GrowingArray<const rynLibrary *> libraries_;
    bool isComplete_ = true;
};

/// Prints "not on hash table" for each library in the definition-order list that is missing from the bucket that its
/// name hashes to. Prints "not on list" for each library in a bucket that is missing from the definition-order list.
void dumpInconsistencies(const rynRegistry &registry, FILE *stream) {
    const bool ignoreCase = ryn::ignoresCase();
    LibrarySet inBuckets; // the libraries that are in the bucket that their name hashes to
    for (uint32_t bucket = 0; bucket < ryn::kBuckets; ++bucket) {
        for (const rynLibrary *library = registry.buckets[bucket]; library != nullptr;
             library = library->nextInBucket) {
            if (ryn::bucketOf(library->name, ignoreCase) == bucket) {
                inBuckets.add(library);
            }
        }
    }
    inBuckets.sort();
    LibrarySet inOrder;
    for (const rynLibrary *library = registry.libraries.head; library != nullptr;
         library = library->nextInOrder) {
        inOrder.add(library);
        const rynLibrary *const chain = registry.buckets[ryn::bucketOf(library->name, ignoreCase)];
        if (!inBuckets.contains(library, chain, &rynLibrary::nextInBucket)) {
            std::fprintf(stream, "ERROR: library %s is not on hash table.\n", library->name);
        }
    }
    inOrder.sort();
    for (const rynLibrary *chain : registry.buckets) {
        for (const rynLibrary *library = chain; library != nullptr; library = library->nextInBucket) {
            if (!inOrder.contains(library, registry.libraries.head, &rynLibrary::nextInOrder)) {
                std::fprintf(stream, "ERROR: library %s is not on list.\n", library->name);
            }
        }
    }
}

void dumpBuckets(const rynRegistry &registry, FILE *stream) {
    std::fputs("\nHash Table Stats:\n", stream);
    for (int bucket = 0; bucket < ryn::kBuckets; ++bucket) {
        const rynLibrary *library = registry.buckets[bucket];
        if (library == nullptr) {
            continue;
        }
        std::fprintf(stream, "%3d ", bucket);
        // Documented: no separator is printed between the names of the libraries in one bucket.
        for (; library != nullptr; library = library->nextInBucket) {
            std::fputs(library->name, stream);
        }
        std::fputc('\n', stream);
    }
}

void dumpGlobalTmp(const rynRegistry &registry, FILE *stream) {
    if (registry.globalExplicitTmp == nullptr) {
        return;
    }
    std::fputs("Global Explicit Tmp:\n", stream);
    for (const rynAttribute *root = registry.globalExplicitTmp; root != nullptr; root = root->next) {
        std::fprintf(stream, "  %s %s\n    line %d %s\n", root->name, orEmpty(root->value), root->line,
                     root->file->path);
    }
}

} // namespace

void rynDumpEverything(rynHandle handle, FILE *stream) {
    FILE *out = stream == nullptr ? stdout : stream;
    const rynRegistry *const registry = ryn::registryOf(handle);
    if (registry == nullptr) {
        std::fputs("Invalid handle.\n", out);
        return;
    }
    dumpFiles(*registry, out);
    dumpLibraries(*registry, out);
    dumpInconsistencies(*registry, out);
    dumpBuckets(*registry, out);
    dumpGlobalTmp(*registry, out);
    std::fputc('\n', out);
}
