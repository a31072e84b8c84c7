#include "libdef/iteration/ryni_iterate.h"

#include "common/text/fixed_text.h"
#include "fs/owned_spec.h"
#include "libdef/access/ryni_access.h"
#include "libdef/access/ryni_spec.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_names.h"
#include "libdef/registry/ryni_settings.h"

#include <cstdlib>
#include <memory>

namespace {

bool ownsList(const rynContext &context) {
    return context.type >= RYNI_CONTEXT_CELLS && context.type <= RYNI_CONTEXT_ALL_VIEW_FILES;
}

/// Documented: exhausted memory is reported under this name for all types.
int reportNoMemory(const rynRegistry *registry) {
    return ryni_do_fatal(registry, RYN_MEMORY_ERROR, "rynIterateLibFiles()");
}

/// @return a context; null after exhausted memory has been reported
rynContext *newContext(rynRegistry *registry, int type, void *list) {
    auto *context = static_cast<rynContext *>(std::malloc(sizeof(rynContext)));
    if (context == nullptr) {
        reportNoMemory(registry);
        return nullptr;
    }
    *context = {registry, type, list, list};
    return context;
}

// ---- creating a context over the disk

/// What one of the creating functions was asked for.
struct Request {
    const char *function; ///< its name with "()", for reports
    int type;
    unsigned source;
    ryniObjectNames names;
    bool needsCell;
    bool needsView;
};

/// Where a library's contents lie, and what keeps them found.
class SourceFinder {
  public:
    SourceFinder(rynRegistry *registry, const rynLibrary *library, const Request &request)
        : registry_(registry), library_(library), request_(request) {}

    /// @return RYN_OK, also when some source has no such cell or view
    int find() {
        int status = RYN_OK;
        if ((request_.source & RYN_SOURCE_LIBRARY) != 0) {
            status = findLibrary();
        }
        if (status == RYN_OK && (request_.source & RYN_SOURCE_TMP) != 0) {
            status = findTemporary();
        }
        return status;
    }

    [[nodiscard]] bool foundNone() const {
        return sources_.library == nullptr && sources_.implicitTmp == nullptr &&
               sources_.explicitTmp == nullptr;
    }

    [[nodiscard]] const ryniSources &sources() const { return sources_; }

  private:
    static bool isMissing(int status) { return status == RYN_NO_SUCH_CELL || status == RYN_NO_SUCH_VIEW; }

    int findLibrary() {
        vekFSSpec *spec = nullptr;
        const ryniObjectNames &names = request_.names;
        const int status = rynGetSpec(registry_, RYN_PATH_READ_LIBRARY, names.library, names.cell, names.view,
                                      nullptr, nullptr, 0, &spec);
        spec_.reset(spec);
        sources_.library = spec;
        if (status == RYN_MEMORY_ERROR) {
            return reportNoMemory(registry_); // rynGetSpec() does not report
        }
        return isMissing(status) ? RYN_OK : status;
    }

    int findTemporary() {
        const unsigned flags = registry_->implicitTmpFlags;
        int status = RYN_OK;
        if (flags != 0) {
            status = findUnder(library_->implicitTmp, implicitPath_, sources_.implicitTmp);
        }
        if (status == RYN_OK && (flags & RYN_IMPLICIT_ONLY) == 0) {
            status = findUnder(library_->explicitTmp, explicitPath_, sources_.explicitTmp);
        }
        return status;
    }

    int findUnder(const char *directory, vek::PathText &path, const char *&found) const {
        if (directory == nullptr) {
            return RYN_OK;
        }
        if (!isNameGiven(request_.names.cell)) {
            found = directory;
            return RYN_OK;
        }
        const int status = path.fill([&](char *out, std::size_t) {
            return ryni_access_path(registry_, out, 0, directory, request_.names.cell, request_.names.view,
                                    nullptr);
        });
        if (status == RYN_OK) {
            found = path.c_str();
        }
        return isMissing(status) ? RYN_OK : status;
    }

    rynRegistry *registry_;
    const rynLibrary *library_;
    const Request &request_;
    vek::OwnedSpec spec_;
    vek::PathText implicitPath_;
    vek::PathText explicitPath_;
    ryniSources sources_ = {};
};

bool hasValidNames(const Request &request) {
    return request.names.library != nullptr && (!request.needsCell || isNameGiven(request.names.cell)) &&
           (!request.needsView || isNameGiven(request.names.view));
}

int gather(rynRegistry *registry, const rynLibrary *library, const Request &request, rynElement **list) {
    SourceFinder finder(registry, library, request);
    const int status = finder.find();
    if (status != RYN_OK) {
        return status;
    }
    if (finder.foundNone() && request.names.hasLevelAbove()) {
        return request.names.notFoundCode();
    }
    return ryniGatherNames(registry, request.type, &finder.sources(), list);
}

int iterateDisk(rynHandle handle, Request request, rynContext **result) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (result != nullptr) {
        *result = nullptr;
    }
    if (registry == nullptr || result == nullptr || !hasValidNames(request)) {
        return ryni_do_fatal(registry, RYN_INVALID_PARAMETER, request.function);
    }
    const rynLibrary *library = ryni_get_libp(registry, request.names.library);
    if (library == nullptr) {
        return RYN_LIBRARY_NOT_DEFINED;
    }
    request.source &= RYN_SOURCE_LIBRARY | RYN_SOURCE_TMP;
    if (request.source == 0) {
        request.source = RYN_SOURCE_LIBRARY | RYN_SOURCE_TMP;
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
    const int status = gather(registry, library, request, &list);
    if (status != RYN_OK) {
        std::free(context);
        return status;
    }
    context->list = list;
    context->cursor = list;
    *result = context;
    return RYN_OK;
}

constexpr unsigned kBothSources = RYN_SOURCE_LIBRARY | RYN_SOURCE_TMP;

Request libraryRequest(const char *function, int type, unsigned source, const char *library) {
    return {function, type, source, {library, nullptr, nullptr, nullptr}, false, false};
}

Request cellRequest(const char *function, int type, unsigned source, const char *library, const char *cell) {
    return {function, type, source, {library, cell, nullptr, nullptr}, true, false};
}

Request viewRequest(const char *function, int type, unsigned source, const char *library, const char *cell,
                    const char *view) {
    return {function, type, source, {library, cell, view, nullptr}, true, true};
}

// ---- creating a context over a list of the registry's

int iterateList(rynRegistry *registry, int type, void *list, rynContext **result) {
    *result = newContext(registry, type, list);
    return *result == nullptr ? RYN_MEMORY_ERROR : RYN_OK;
}

// ---- handing out

/// Checks what a next-item function was given. @param lastType the last of the types it takes, from firstType on
int checkNext(const rynContext *context, const void *output, int firstType, int lastType,
              const char *function) {
    rynRegistry *registry = context == nullptr ? nullptr : context->handle;
    if (context == nullptr || output == nullptr) {
        return ryni_do_fatal(registry, RYN_INVALID_PARAMETER, function);
    }
    if (context->type < firstType || context->type > lastType) {
        return ryni_do_fatal(registry, RYN_WRONG_CONTEXT_TYPE, function);
    }
    return context->cursor == nullptr ? RYN_ITERATION_COMPLETE : RYN_OK;
}

/// Takes the record at the cursor, and moves the cursor on.
template <typename Record>
Record *take(rynContext *context, Record *Record::*next) {
    auto *record = static_cast<Record *>(context->cursor);
    context->cursor = record->*next;
    return record;
}

int nextElement(rynContext *context, const char **name, int type, const char *function) {
    const int status = checkNext(context, name, type, type, function);
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
    return iterateDisk(handle, libraryRequest("rynIterateCells()", RYNI_CONTEXT_CELLS, kBothSources, library),
                       context);
}

int rynXIterateCells(rynHandle handle, unsigned source, const char *library, rynContext **context) {
    return iterateDisk(handle, libraryRequest("rynXIterateCells()", RYNI_CONTEXT_CELLS, source, library),
                       context);
}

int rynIterateLibFiles(rynHandle handle, const char *library, rynContext **context) {
    return iterateDisk(
        handle, libraryRequest("rynIterateLibFiles()", RYNI_CONTEXT_LIBRARY_FILES, kBothSources, library),
        context);
}

int rynXIterateLibFiles(rynHandle handle, unsigned source, const char *library, rynContext **context) {
    return iterateDisk(handle,
                       libraryRequest("rynXIterateLibFiles()", RYNI_CONTEXT_LIBRARY_FILES, source, library),
                       context);
}

int rynIterateViews(rynHandle handle, const char *library, const char *cell, rynContext **context) {
    return iterateDisk(
        handle, cellRequest("rynIterateViews()", RYNI_CONTEXT_VIEWS, kBothSources, library, cell), context);
}

int rynXIterateViews(rynHandle handle, unsigned source, const char *library, const char *cell,
                     rynContext **context) {
    return iterateDisk(handle, cellRequest("rynXIterateViews()", RYNI_CONTEXT_VIEWS, source, library, cell),
                       context);
}

int rynIterateCellFiles(rynHandle handle, const char *library, const char *cell, rynContext **context) {
    return iterateDisk(
        handle, cellRequest("rynIterateCellFiles()", RYNI_CONTEXT_CELL_FILES, kBothSources, library, cell),
        context);
}

int rynXIterateCellFiles(rynHandle handle, unsigned source, const char *library, const char *cell,
                         rynContext **context) {
    return iterateDisk(handle,
                       cellRequest("rynXIterateCellFiles()", RYNI_CONTEXT_CELL_FILES, source, library, cell),
                       context);
}

int rynIterateViewFiles(rynHandle handle, const char *library, const char *cell, const char *view,
                        rynContext **context) {
    return iterateDisk(
        handle,
        viewRequest("rynIterateViewFiles()", RYNI_CONTEXT_VIEW_FILES, kBothSources, library, cell, view),
        context);
}

int rynXIterateViewFiles(rynHandle handle, unsigned source, const char *library, const char *cell,
                         const char *view, rynContext **context) {
    return iterateDisk(
        handle, viewRequest("rynXIterateViewFiles()", RYNI_CONTEXT_VIEW_FILES, source, library, cell, view),
        context);
}

int rynIterateAllViewFiles(rynHandle handle, const char *library, const char *cell, const char *view,
                           rynContext **context) {
    return iterateDisk(handle,
                       viewRequest("rynIterateAllViewFiles()", RYNI_CONTEXT_ALL_VIEW_FILES, kBothSources,
                                   library, cell, view),
                       context);
}

int rynXIterateAllViewFiles(rynHandle handle, unsigned source, const char *library, const char *cell,
                            const char *view, rynContext **context) {
    return iterateDisk(
        handle,
        viewRequest("rynXIterateAllViewFiles()", RYNI_CONTEXT_ALL_VIEW_FILES, source, library, cell, view),
        context);
}

int rynNextLib(rynContext *context, const char **name) {
    const int status =
        checkNext(context, name, RYNI_CONTEXT_LIBRARIES, RYNI_CONTEXT_LIBRARIES, "rynNextLib()");
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
    const int status =
        checkNext(context, name, RYNI_CONTEXT_LIBRARY_FILES, RYNI_CONTEXT_VEKLIB_FILES, "rynNextFile()");
    if (status != RYN_OK) {
        return status;
    }
    *name = context->type == RYNI_CONTEXT_VEKLIB_FILES ? take(context, &rynIncludedFile::next)->path
                                                       : take(context, &rynElement::next)->name;
    return RYN_OK;
}

int rynNextAttr(rynContext *context, const char **name, const char **value) {
    constexpr const char *kFunction = "rynNextAttr()";
    if (name == nullptr || value == nullptr) {
        return checkNext(context, nullptr, RYNI_CONTEXT_ATTRIBUTES, RYNI_CONTEXT_ATTRIBUTES, kFunction);
    }
    const int status = checkNext(context, name, RYNI_CONTEXT_ATTRIBUTES, RYNI_CONTEXT_ATTRIBUTES, kFunction);
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
        ryniFreeElements(static_cast<rynElement *>(context->list));
    }
    *context = {};
    std::free(context);
    return RYN_OK;
}
