#include "libdef/ryn.h"

#include "libdef/registry/ryni_registry.h"
#include "libdef/registry/ryni_settings.h"

#include <cstdio>

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
        const bool fromGlobal = (library.flags & RYNI_LIB_TMP_FROM_GLOBAL) != 0;
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

void markInBuckets(rynRegistry &registry) {
    const int ignoreCase = ryn::ignoresCase() ? 1 : 0;
    for (uint32_t bucket = 0; bucket < RYNI_BUCKETS; ++bucket) {
        for (rynLibrary *library = registry.buckets[bucket]; library != nullptr;
             library = library->nextInBucket) {
            if (ryniNameBucket(library->name, ignoreCase) == bucket) {
                library->dumpedFromBucket = registry.dumps;
            }
        }
    }
}

void dumpInconsistencies(rynRegistry &registry, FILE *stream) {
    ++registry.dumps;
    markInBuckets(registry);
    for (rynLibrary *library = registry.libraries.head; library != nullptr; library = library->nextInOrder) {
        library->dumpedFromOrder = registry.dumps;
        if (library->dumpedFromBucket != registry.dumps) {
            std::fprintf(stream, "ERROR: library %s is not on hash table.\n", library->name);
        }
    }
    for (const rynLibrary *chain : registry.buckets) {
        for (const rynLibrary *library = chain; library != nullptr; library = library->nextInBucket) {
            if (library->dumpedFromOrder != registry.dumps) {
                std::fprintf(stream, "ERROR: library %s is not on list.\n", library->name);
            }
        }
    }
}

void dumpBuckets(const rynRegistry &registry, FILE *stream) {
    std::fputs("\nHash Table Stats:\n", stream);
    for (int bucket = 0; bucket < RYNI_BUCKETS; ++bucket) {
        const rynLibrary *library = registry.buckets[bucket];
        if (library == nullptr) {
            continue;
        }
        std::fprintf(stream, "%3d ", bucket);
        // No separator stands between the names: readers of the dump expect them so.
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
    rynRegistry *registry = ryn::registryOf(handle);
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
