// Implements rynDumpContext(): prints an iteration context. A table contains, for each type of context, its title and
// the functions that read and print the records of its list.

#include "libdef/iteration/ryni_context.h"

#include <array>
#include <cstdint>
#include <cstdio>

namespace {

const char *orText(const char *text, const char *replacement) {
    return text == nullptr ? replacement : text;
}

void printLibrary(const void *record, FILE *stream) {
    std::fprintf(stream, "%s\n", static_cast<const rynLibrary *>(record)->name);
}

void printElement(const void *record, FILE *stream) {
    std::fprintf(stream, "%s\n", static_cast<const rynElement *>(record)->name);
}

void printAttribute(const void *record, FILE *stream) {
    const auto *attribute = static_cast<const rynAttribute *>(record);
    std::fprintf(stream, "%s %s\n", attribute->name, orText(attribute->value, ""));
}

void printFile(const void *record, FILE *stream) {
    const auto *file = static_cast<const rynIncludedFile *>(record);
    std::fprintf(stream, "    %s\n", orText(file->path, "full.path=NULL"));
    std::fprintf(stream, "\t(%s)\n", orText(file->nslPath, "nsl.path=NULL"));
    if (file->includedFrom != nullptr) {
        std::fprintf(stream, "\tincluded from: %s\n", orText(file->includedFrom->path, "full.path=NULL"));
        std::fprintf(stream, "\ton line: %d\n", file->line);
    }
}

template <typename Record, auto Next>
const void *following(const void *record) {
    return static_cast<const Record *>(record)->*Next;
}

template <typename Record, auto Name>
const char *nameOf(const void *record) {
    return static_cast<const Record *>(record)->*Name;
}

/// The functions that rynDumpContext() calls for the records of one type: libraries, names, files or attributes. The
/// records are passed as `const void *`, because a context stores its list as `void *`.
struct RecordKind {
    const void *(*next)(const void *record); ///< returns the next record of the list; null at the end
    const char *(*name)(const void *record); ///< returns the name or path of the record
    void (*print)(const void *record, FILE *stream);
};

constexpr RecordKind kLibraries = {following<rynLibrary, &rynLibrary::nextInOrder>,
                                   nameOf<rynLibrary, &rynLibrary::name>, printLibrary};
constexpr RecordKind kElements = {following<rynElement, &rynElement::next>,
                                  nameOf<rynElement, &rynElement::name>, printElement};
constexpr RecordKind kFiles = {following<rynIncludedFile, &rynIncludedFile::next>,
                               nameOf<rynIncludedFile, &rynIncludedFile::path>, printFile};
constexpr RecordKind kAttributes = {following<rynAttribute, &rynAttribute::next>,
                                    nameOf<rynAttribute, &rynAttribute::name>, printAttribute};

struct ContextType {
    const char *name;
    const RecordKind *records;
};

/// For each type of context, the title that rynDumpContext() prints and the functions for its records. The index is the
/// RYNI_CONTEXT_... value.
constexpr std::array<ContextType, RYNI_CONTEXT_ATTRIBUTES + 1> kTypes = {{
    {"Libraries", &kLibraries},
    {"Cells", &kElements},
    {"Views", &kElements},
    {"Library Files", &kElements},
    {"Cell Files", &kElements},
    {"View Files", &kElements},
    {"All View Files", &kElements},
    {"vek.lib Files", &kFiles},
    {"Attributes", &kAttributes},
}};

} // namespace

void rynDumpContext(const rynContext *context, FILE *stream) {
    FILE *out = stream == nullptr ? stdout : stream;
    if (context == nullptr) {
        std::fputs("Invalid context.\n", out);
        return;
    }
    if (context->type < 0 || context->type > RYNI_CONTEXT_ATTRIBUTES) {
        std::fprintf(out, "Invalid context type %d at 0x%08x\n", context->type,
                     static_cast<unsigned>(reinterpret_cast<uintptr_t>(context)));
        return;
    }
    const ContextType &type = kTypes[static_cast<std::size_t>(context->type)];
    const RecordKind &records = *type.records;
    std::fprintf(out, "\nIteration context over %s.\n", type.name);
    const char *next = context->cursor == nullptr ? "<end>" : records.name(context->cursor);
    std::fprintf(out, "  Next item is %s.\n", orText(next, ""));
    for (const void *record = context->list; record != nullptr; record = records.next(record)) {
        records.print(record, out);
    }
    std::fputc('\n', out);
    std::fflush(out);
}
