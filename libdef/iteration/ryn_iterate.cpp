#include "libdef/iteration/ryni_context.h"

#include "common/text/fixed_text.h"
#include "fs/owned_spec.h"
#include "libdef/access/ryni_access.h"
#include "libdef/access/ryni_spec.h"
#include "libdef/iteration/ryni_gather.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_settings.h"

#include <cstdlib>

// Implements the functions that create, advance and end iterations: rynIterate...(), rynXIterate...(), rynNext...() and
// rynIterateEnd(). A context stores a linked list and a cursor. The list of cells, views or files is read from disk
// completely when the context is created. Lists of libraries, attributes and library definition files belong to the
// registry.

namespace {

using ryn::isGiven;
using ryn::NamedObject;
using ryn::ObjectNames;
using ryn::Sources;

bool ownsList(const rynContext &context) {
    return context.type >= RYNI_CONTEXT_CELLS && context.type <= RYNI_CONTEXT_ALL_VIEW_FILES;
}

/// Reports that memory is exhausted. Documented: the function name in the report is "rynIterateLibFiles()" for every
/// type of iteration.
/// @return RYN_MEMORY_ERROR
int reportNoMemory(const rynRegistry *registry) {
    return ryni_do_fatal(registry, RYN_MEMORY_ERROR, "rynIterateLibFiles()");
}

/// Allocates an iteration context. The first record of `list` is the next item.
/// @return null if memory is exhausted, which has then been reported
rynContext *newContext(rynRegistry *registry, int type, void *list) {
    auto *context = static_cast<rynContext *>(std::malloc(sizeof(rynContext)));
    if (context == nullptr) {
        reportNoMemory(registry);
        return nullptr;
    }
    *context = {registry, type, list, list};
    return context;
}

// ---- contexts over directories

/// The arguments of a rynIterate...() or rynXIterate...() function that reads directories.
struct Request {
    const char *function; ///< the name of the function with "()", for reports
    int type;             ///< a RYNI_CONTEXT_... value
    unsigned source;      ///< RYN_SOURCE_... flags
    NamedObject object;   ///< the library, cell or view whose contents are returned
};

/// The kind of object whose contents an iteration returns: for example, an iteration over views returns the contents of
/// a cell.
enum class Level { Library, Cell, View };

Level levelOf(int type) {
    switch (type) {
    case RYNI_CONTEXT_VIEWS:
    case RYNI_CONTEXT_CELL_FILES:
        return Level::Cell;
    case RYNI_CONTEXT_VIEW_FILES:
    case RYNI_CONTEXT_ALL_VIEW_FILES:
        return Level::View;
    default:
        return Level::Library;
    }
}

bool hasValidNames(const Request &request) {
    const Level level = levelOf(request.type);
    return request.object.libraryName != nullptr &&
           (level == Level::Library || isGiven(request.object.names.cell)) &&
           (level != Level::View || isGiven(request.object.names.view));
}

/// Finds where one library, cell or view is stored on disk: in the library's own directory and in its two temporary
/// directories. Owns the paths that it finds.
class SourceFinder {
  public:
    SourceFinder(rynRegistry *registry, rynLibrary &library, const ObjectNames &names)
        : registry_(registry), library_(library), names_(names) {
        sources_.library = &library;
        sources_.names = names;
    }

    /// Finds the directories that the RYN_SOURCE_... flags in `source` select. If the cell or view does not exist in
    /// one of them, that directory is left out, and this is no failure.
    /// @return RYN_OK, or the code of the access test that failed
    int find(unsigned source) {
        int status = RYN_OK;
        if ((source & RYN_SOURCE_LIBRARY) != 0) {
            status = findInLibrary();
        }
        if ((source & RYN_SOURCE_TMP) == 0) {
            return status;
        }
        if (status == RYN_OK && registry_->implicitTmpFlags != 0) {
            status = findUnder(library_.implicitTmp, implicitPath_, sources_.implicitTmp);
        }
        if (status == RYN_OK && (registry_->implicitTmpFlags & RYN_IMPLICIT_ONLY) == 0) {
            status = findUnder(library_.explicitTmp, explicitPath_, sources_.explicitTmp);
        }
        return status;
    }

    /// @return the directories that find() found. The reference is valid as long as this object exists
    [[nodiscard]] const Sources &sources() const { return sources_; }

  private:
    static bool isMissing(int status) { return status == RYN_NO_SUCH_CELL || status == RYN_NO_SUCH_VIEW; }

    int findInLibrary() {
        const int status =
            ryn::findSpec(registry_, library_, RYN_PATH_READ_LIBRARY, names_, ryn::SpecKind::Native, spec_);
        if (status == RYN_MEMORY_ERROR) {
            return reportNoMemory(registry_);
        }
        sources_.spec = spec_.get();
        return isMissing(status) ? RYN_OK : status;
    }

    /// Finds the directory of the cell or view in a temporary directory of the library. Without a cell, this is the
    /// temporary directory itself.
    /// @param directory  a temporary directory of the library; may be null
    /// @param path       buffer for the path; must exist as long as `found` is used
    /// @param found      receives the path; unchanged if the cell or view does not exist in `directory`
    /// @return RYN_OK, also if the cell or view does not exist; otherwise the code of the access test that failed
    int findUnder(const char *directory, vek::PathText &path, const char *&found) const {
        if (directory == nullptr) {
            return RYN_OK;
        }
        if (!isGiven(names_.cell)) {
            found = directory;
            return RYN_OK;
        }
        const int status = ryn::accessPath(registry_, ryn::AccessKind::Read, directory, names_, path);
        if (status == RYN_OK) {
            found = path.c_str();
        }
        return isMissing(status) ? RYN_OK : status;
    }

    rynRegistry *registry_;
    rynLibrary &library_;
    ObjectNames names_;
    vek::OwnedSpec spec_;
    vek::PathText implicitPath_;
    vek::PathText explicitPath_;
    Sources sources_;
};

int gather(rynRegistry *registry, rynLibrary &library, const Request &request, rynElement **list) {
    const ObjectNames &names = request.object.names;
    SourceFinder finder(registry, library, names);
    const int status = finder.find(request.source);
    if (status != RYN_OK) {
        return status;
    }
    if (finder.sources().isEmpty() && names.hasLevelAbove()) {
        return names.notFoundCode();
    }
    return ryn::gatherNames(registry, request.type, finder.sources(), list);
}

constexpr unsigned kAllSources = RYN_SOURCE_LIBRARY | RYN_SOURCE_TMP;

int iterateDirectories(rynHandle handle, Request request, rynContext **result) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (result != nullptr) {
        *result = nullptr;
    }
    if (registry == nullptr || result == nullptr || !hasValidNames(request)) {
        return ryni_do_fatal(registry, RYN_INVALID_PARAMETER, request.function);
    }
    rynLibrary *library = ryni_get_libp(registry, request.object.libraryName);
    if (library == nullptr) {
        return RYN_LIBRARY_NOT_DEFINED;
    }
    request.source &= kAllSources;
    if (request.source == 0) {
        request.source = kAllSources;
    }
    const bool hasTemporary = library->implicitTmp != nullptr || library->explicitTmp != nullptr;
    if ((request.source & RYN_SOURCE_LIBRARY) == 0 && !hasTemporary) {
        return RYN_NO_SUCH_DIRECTORY;
    }
    rynContext *context = newContext(registry, request.type, nullptr);
    if (context == nullptr) {
        return RYN_MEMORY_ERROR;
    }
    rynElement *list = nullptr;
    const int status = gather(registry, *library, request, &list);
    if (status != RYN_OK) {
        std::free(context);
        return status;
    }
    context->list = list;
    context->cursor = list;
    *result = context;
    return RYN_OK;
}

// ---- contexts over lists of the registry

int iterateList(rynRegistry *registry, int type, void *list, rynContext **result) {
    *result = newContext(registry, type, list);
    return *result == nullptr ? RYN_MEMORY_ERROR : RYN_OK;
}

// ---- functions that return the next item

/// The types of contexts that a rynNext...() function accepts: RYNI_CONTEXT_... values from `first` to `last`,
/// inclusive.
struct TypeRange {
    int first;
    int last;
};

constexpr TypeRange only(int type) {
    return {type, type};
}

/// Checks the arguments of a rynNext...() function.
/// @param output    the first output argument of that function; must not be null
/// @param types     the types of contexts that the function accepts
/// @param function  the name of the function with "()", for error reports
/// @return RYN_OK; RYN_ITERATION_COMPLETE if there is no next item; or an error code, which has been reported
int checkNext(const rynContext *context, const void *output, const TypeRange &types, const char *function) {
    rynRegistry *registry = context == nullptr ? nullptr : context->handle;
    if (context == nullptr || output == nullptr) {
        return ryni_do_fatal(registry, RYN_INVALID_PARAMETER, function);
    }
    if (context->type < types.first || context->type > types.last) {
        return ryni_do_fatal(registry, RYN_WRONG_CONTEXT_TYPE, function);
    }
    return context->cursor == nullptr ? RYN_ITERATION_COMPLETE : RYN_OK;
}

/// Returns the record that `context->cursor` points to, and moves the cursor to the next record. The cursor must not be
/// null.
/// @param next  the member of the record that points to the next record
template <typename Record>
Record *take(rynContext *context, Record *Record::*next) {
    auto *record = static_cast<Record *>(context->cursor);
    context->cursor = record->*next;
    return record;
}

int nextElement(rynContext *context, const char **name, int type, const char *function) {
    const int status = checkNext(context, name, only(type), function);
    if (status == RYN_OK) {
        *name = take(context, &rynElement::next)->name;
    }
    return status;
}

} // namespace

int rynIterateLibs(rynHandle handle, rynContext **context) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (context != nullptr) {
        *context = nullptr;
    }
    if (registry == nullptr || context == nullptr) {
        return ryni_do_fatal(registry, RYN_INVALID_PARAMETER, "rynIterateLibs()");
    }
    return iterateList(registry, RYNI_CONTEXT_LIBRARIES, registry->libraries.head, context);
}

int rynIterateVekLibFiles(rynHandle handle, rynContext **context) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (context != nullptr) {
        *context = nullptr;
    }
    if (registry == nullptr || context == nullptr) {
        return ryni_do_fatal(registry, RYN_INVALID_PARAMETER, "rynIterateVekLibFiles()");
    }
    return iterateList(registry, RYNI_CONTEXT_VEKLIB_FILES, registry->files.head, context);
}

int rynIterateAttrs(rynHandle handle, const char *library, rynContext **context) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (context != nullptr) {
        *context = nullptr;
    }
    if (registry == nullptr || library == nullptr || context == nullptr) {
        return ryni_do_fatal(registry, RYN_INVALID_PARAMETER, "rynIterateAttrs()");
    }
    const rynLibrary *record = ryni_get_libp(registry, library);
    if (record == nullptr) {
        return RYN_LIBRARY_NOT_DEFINED;
    }
    return iterateList(registry, RYNI_CONTEXT_ATTRIBUTES, record->attributes, context);
}

int rynIterateCells(rynHandle handle, const char *library, rynContext **context) {
    return iterateDirectories(handle, {"rynIterateCells()", RYNI_CONTEXT_CELLS, kAllSources, {library, {}}},
                              context);
}

int rynXIterateCells(rynHandle handle, unsigned source, const char *library, rynContext **context) {
    return iterateDirectories(handle, {"rynXIterateCells()", RYNI_CONTEXT_CELLS, source, {library, {}}},
                              context);
}

int rynIterateLibFiles(rynHandle handle, const char *library, rynContext **context) {
    return iterateDirectories(
        handle, {"rynIterateLibFiles()", RYNI_CONTEXT_LIBRARY_FILES, kAllSources, {library, {}}}, context);
}

int rynXIterateLibFiles(rynHandle handle, unsigned source, const char *library, rynContext **context) {
    return iterateDirectories(
        handle, {"rynXIterateLibFiles()", RYNI_CONTEXT_LIBRARY_FILES, source, {library, {}}}, context);
}

int rynIterateViews(rynHandle handle, const char *library, const char *cell, rynContext **context) {
    return iterateDirectories(
        handle, {"rynIterateViews()", RYNI_CONTEXT_VIEWS, kAllSources, {library, {.cell = cell}}}, context);
}

int rynXIterateViews(rynHandle handle, unsigned source, const char *library, const char *cell,
                     rynContext **context) {
    return iterateDirectories(
        handle, {"rynXIterateViews()", RYNI_CONTEXT_VIEWS, source, {library, {.cell = cell}}}, context);
}

int rynIterateCellFiles(rynHandle handle, const char *library, const char *cell, rynContext **context) {
    return iterateDirectories(
        handle, {"rynIterateCellFiles()", RYNI_CONTEXT_CELL_FILES, kAllSources, {library, {.cell = cell}}},
        context);
}

int rynXIterateCellFiles(rynHandle handle, unsigned source, const char *library, const char *cell,
                         rynContext **context) {
    return iterateDirectories(
        handle, {"rynXIterateCellFiles()", RYNI_CONTEXT_CELL_FILES, source, {library, {.cell = cell}}},
        context);
}

int rynIterateViewFiles(rynHandle handle, const char *library, const char *cell, const char *view,
                        rynContext **context) {
    return iterateDirectories(handle,
                              {"rynIterateViewFiles()",
                               RYNI_CONTEXT_VIEW_FILES,
                               kAllSources,
                               {library, {.cell = cell, .view = view}}},
                              context);
}

int rynXIterateViewFiles(rynHandle handle, unsigned source, const char *library, const char *cell,
                         const char *view, rynContext **context) {
    return iterateDirectories(
        handle,
        {"rynXIterateViewFiles()", RYNI_CONTEXT_VIEW_FILES, source, {library, {.cell = cell, .view = view}}},
        context);
}

int rynIterateAllViewFiles(rynHandle handle, const char *library, const char *cell, const char *view,
                           rynContext **context) {
    return iterateDirectories(handle,
                              {"rynIterateAllViewFiles()",
                               RYNI_CONTEXT_ALL_VIEW_FILES,
                               kAllSources,
                               {library, {.cell = cell, .view = view}}},
                              context);
}

int rynXIterateAllViewFiles(rynHandle handle, unsigned source, const char *library, const char *cell,
                            const char *view, rynContext **context) {
    return iterateDirectories(handle,
                              {"rynXIterateAllViewFiles()",
                               RYNI_CONTEXT_ALL_VIEW_FILES,
                               source,
                               {library, {.cell = cell, .view = view}}},
                              context);
}

int rynNextLib(rynContext *context, const char **name) {
    const int status = checkNext(context, name, only(RYNI_CONTEXT_LIBRARIES), "rynNextLib()");
    if (status == RYN_OK) {
        *name = take(context, &rynLibrary::nextInOrder)->name;
    }
    return status;
}

int rynNextCell(rynContext *context, const char **name) {
    return nextElement(context, name, RYNI_CONTEXT_CELLS, "rynNextCell()");
}

int rynNextView(rynContext *context, const char **name) {
    return nextElement(context, name, RYNI_CONTEXT_VIEWS, "rynNextView()");
}

int rynNextFile(rynContext *context, const char **name) {
    constexpr TypeRange kFiles = {RYNI_CONTEXT_LIBRARY_FILES, RYNI_CONTEXT_VEKLIB_FILES};
    const int status = checkNext(context, name, kFiles, "rynNextFile()");
    if (status != RYN_OK) {
        return status;
    }
    *name = context->type == RYNI_CONTEXT_VEKLIB_FILES ? take(context, &rynIncludedFile::next)->path
                                                       : take(context, &rynElement::next)->name;
    return RYN_OK;
}

int rynNextAttr(rynContext *context, const char **name, const char **value) {
    constexpr const char *kFunction = "rynNextAttr()";
    constexpr TypeRange kAttributes = only(RYNI_CONTEXT_ATTRIBUTES);
    if (name == nullptr || value == nullptr) {
        return checkNext(context, nullptr, kAttributes, kFunction);
    }
    const int status = checkNext(context, name, kAttributes, kFunction);
    if (status == RYN_OK) {
        const rynAttribute *attribute = take(context, &rynAttribute::next);
        *name = attribute->name;
        *value = attribute->value;
    }
    return status;
}

int rynIterateEnd(rynContext *context) {
    if (context == nullptr) {
        return ryni_do_fatal(nullptr, RYN_INVALID_PARAMETER, "rynIterateEnd()");
    }
    if (ownsList(*context)) {
        ryn::freeElements(static_cast<rynElement *>(context->list));
    }
    *context = {};
    std::free(context);
    return RYN_OK;
}
