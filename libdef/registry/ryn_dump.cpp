#include "libdef/ryn.h"

#include "common/containers/growing_array.h"
#include "libdef/registry/ryni_index_hash.h"
#include "libdef/registry/ryni_records.h"
#include "libdef/registry/ryni_settings.h"

#include <algorithm>
#include <cstdio>

// Prints a registry for rynDumpEverything(): its files, its libraries, its buckets, libraries that are missing from
// the buckets or from the definition order, and the global temporary roots.

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

/// A set of libraries: an array, sorted for binary search. It is filled from a linked list. If memory for the array
/// is exhausted, contains() searches that list instead.
class LibrarySet {
  public:
    void add(const rynLibrary *library) { isComplete_ = isComplete_ && libraries_.push(&*library); }

    /// Sorts the array. Must be called once, after the last add() and before contains().
    void sort() {
        if (!libraries_.empty()) {
            std::sort(&libraries_[0], &libraries_[0] + libraries_.size());
        }
    }

    /// @param head  the first library of the list that the set was filled from
    /// @param next  the member that links that list
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

/// Prints an error for each library that is only in the definition order or only in the buckets.
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
        // Documented: the names are printed without a separator.
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
