// Implements rynGetSpec(), which creates specifiers for libraries, cells, views and files. A specifier (vekFSSpec) is a
// path with the functions that access it.
// rynGetSpec() returns a "rynFS" specifier. It stores the names of the library, cell, view and file, so that it can be
// the parent of further specifiers. It forwards every operation to an inner specifier, which accesses the file system
// or an archive.

#include "libdef/access/ryni_spec.h"

#include "common/base/owned.h"
#include "common/text/fixed_text.h"
#include "libdef/access/ryni_get_path.h"
#include "libdef/access/ryni_packed.h"
#include "libdef/paths/ryni_object_path.h"

#include <cstdlib>
#include <sys/stat.h>
#include <utility>

namespace {

using ryn::NamedObject;
using ryn::ObjectNames;
using ryn::SpecKind;

// ---- the implementation table

/// The data of one "rynFS" specifier: the inner specifier that it forwards operations to, and the names of its library,
/// cell, view and file. The field vekFSSpec::path of the "rynFS" specifier points to this struct. freeSpec() frees it.
struct Extension {
    rynRegistry *handle;
    vekFSSpec *inner;
    char *library;
    char *cell;
    char *view;
    char *file;
};

Extension *extensionOf(const vekFSSpec *spec) {
    return reinterpret_cast<Extension *>(spec->path);
}

vekFSSpec *innerOf(const vekFSSpec *spec) {
    return extensionOf(spec)->inner;
}

struct FreeExtension {
    void operator()(Extension *extension) const {
        for (char *name : {extension->library, extension->cell, extension->view, extension->file}) {
            std::free(name);
        }
        std::free(extension);
    }
};
using OwnedExtension = std::unique_ptr<Extension, FreeExtension>;

int freeSpec(vekFSSpec *spec) {
    const int status = vekFSFreeSpec(innerOf(spec));
    FreeExtension()(extensionOf(spec));
    std::free(spec);
    return status;
}

int getSpecString(const vekFSSpec *spec, char *buffer, size_t size, size_t *needed) {
    return vekFSGetSpecString(innerOf(spec), buffer, size, needed);
}

int openInner(vekFSSpec *spec, int flags, vekFSFile **file) {
    return vekFS_open(innerOf(spec), flags, file);
}

int statInner(vekFSSpec *spec, vekFSStat *record) {
    return vekFS_stat(innerOf(spec), record);
}

int lstatInner(vekFSSpec *spec, vekFSStat *record) {
    return vekFS_lstat(innerOf(spec), record);
}

int opendirInner(vekFSSpec *spec, vekFSDir **directory) {
    return vekFS_opendir(innerOf(spec), directory);
}

/// Returns the function table of "rynFS" specifiers. Documented: only the operations below are supported, which receive
/// a specifier. All other operations receive an open file, an open directory or a stat record. Such an object refers to
/// the function table of the inner specifier, which has created it.
constexpr vekFSIODef makeTable() {
    vekFSIODef table = {};
    table.name = "rynFS";
    table.freeSpec = freeSpec;
    table.getSpecString = getSpecString;
    table.open = openInner;
    table.stat = statInner;
    table.lstat = lstatInner;
    table.opendir = opendirInner;
    return table;
}

constexpr vekFSIODef kTable = makeTable();

bool copyName(const char *name, char *&copy) {
    copy = name == nullptr ? nullptr : vek::copyText(name).release();
    return copy != nullptr || name == nullptr;
}

/// Creates a "rynFS" specifier that owns the specifier `inner` and stores copies of the names in `object`.
/// @param spec  receives the new specifier
/// @return RYN_OK or RYN_MEMORY_ERROR
int wrap(rynRegistry *registry, const NamedObject &object, vek::OwnedSpec inner, vekFSSpec **spec) {
    OwnedExtension extension(static_cast<Extension *>(std::calloc(1, sizeof(Extension))));
    vek::Owned<vekFSSpec> wrapper(static_cast<vekFSSpec *>(std::calloc(1, sizeof(vekFSSpec))));
    if (!extension || !wrapper || !copyName(object.libraryName, extension->library) ||
        !copyName(object.names.cell, extension->cell) || !copyName(object.names.view, extension->view) ||
        !copyName(object.names.file, extension->file)) {
        return RYN_MEMORY_ERROR;
    }
    extension->handle = registry;
    extension->inner = inner.release();
    wrapper->path = reinterpret_cast<char *>(extension.release());
    wrapper->implementation = &kTable;
    *spec = wrapper.release();
    return RYN_OK;
}

// ---- names

/// The result of combine(). Object: the names of an object were computed. ParentItself: no names were given, so the
/// parent specifier itself is used. Invalid: the parent specifier and the names cannot be combined.
enum class Combined { Object, ParentItself, Invalid };

/// Combines the names of the specifier `parent` with the names that the caller of rynGetSpec() gave. For example, if
/// `parent` is a specifier for a cell and the name of a view was given, the result is that view in the cell.
/// @param parent  may be null; the names in `object` are then unchanged
/// @param object  contains the names that were given; a name that was not given is null. An empty name counts as given.
///                Receives the combined names
Combined combine(const vekFSSpec *parent, NamedObject &object) {
    if (parent == nullptr) {
        return Combined::Object;
    }
    if (parent->implementation != &kTable) {
        return Combined::Invalid;
    }
    const Extension &from = *extensionOf(parent);
    const ObjectNames &given = object.names;
    if (given.file == nullptr && given.view == nullptr && given.cell == nullptr &&
        object.libraryName == nullptr) {
        return Combined::ParentItself;
    }
    if (from.library == nullptr) {
        return Combined::Invalid;
    }
    object.libraryName = from.library;
    if (given.file != nullptr) {
        object.names = {.cell = from.cell, .view = from.view, .file = given.file};
    } else if (given.view != nullptr) {
        object.names = {.cell = from.cell, .view = given.view};
    } else {
        object.names = {.cell = given.cell};
    }
    return Combined::Object;
}

/// Combines the names in `object` with those of the specifier `parent`, and creates a "rynFS" specifier for the object
/// with the combined names.
/// @param find  a callback that creates the specifier to which the "rynFS" specifier forwards its operations. It
///              receives the library, the combined names, and an OwnedSpec to store the created specifier in. It
///              returns a RYN_ code
/// @return RYN_OK, RYN_INVALID_PARAMETER, RYN_LIBRARY_NOT_DEFINED, RYN_MEMORY_ERROR or the error of `find`
template <typename Find>
int makeWrapped(rynRegistry *registry, NamedObject object, vekFSSpec *parent, vekFSSpec **spec, Find find) {
    if (spec == nullptr) {
        return RYN_INVALID_PARAMETER;
    }
    *spec = nullptr;
    if (registry == nullptr || (object.libraryName == nullptr && parent == nullptr)) {
        return RYN_INVALID_PARAMETER;
    }
    switch (combine(parent, object)) {
    case Combined::Invalid:
        return RYN_INVALID_PARAMETER;
    case Combined::ParentItself:
        *spec = parent;
        return RYN_OK;
    case Combined::Object:
        break;
    }
    rynLibrary *library = ryni_get_libp(registry, object.libraryName);
    if (library == nullptr) {
        return RYN_LIBRARY_NOT_DEFINED;
    }
    vek::OwnedSpec inner;
    const int status = find(*library, object.names, inner);
    return status == RYN_OK ? wrap(registry, object, std::move(inner), spec) : status;
}

/// Creates a specifier (vekFSSpec) for a path in the file system. `kind` selects open() or stdio streams for its files.
/// @param spec  receives the specifier
/// @return RYN_OK or RYN_MEMORY_ERROR
int makePathSpec(const char *path, SpecKind kind, vek::OwnedSpec &spec) {
    vekFSSpec *made = nullptr;
    const int status =
        kind == SpecKind::Stdio ? vekFSStdioCreatePathSpec(path, &made) : vekFSCreatePathSpec(path, &made);
    spec.reset(made);
    return status == VEK_FS_OK ? RYN_OK : RYN_MEMORY_ERROR;
}

} // namespace

int ryn::makeSpec(const rynRegistry *registry, rynLibrary &library, const ObjectNames &names,
                  vek::OwnedSpec &spec) {
    vek::PathText path;
    if (isPacked(*registry, library)) {
        const int status = makePathInArchive(library, names, path);
        if (status != RYN_OK) {
            return status; // do not open the archive: that may change the library
        }
        return openArchive(library) == nullptr ? RYN_SYSTEM_ERROR : makeSpecInArchive(library, names, spec);
    }
    const int status = makeObjectPath(library.fullPath, names, path);
    return status == RYN_OK ? makePathSpec(path.c_str(), SpecKind::Native, spec) : status;
}

int ryn::findSpec(const rynRegistry *registry, rynLibrary &library, unsigned mode, const ObjectNames &names,
                  SpecKind kind, vek::OwnedSpec &spec) {
    vek::PathText path;
    const bool mayUseArchive = mode == RYN_PATH_READ || mode == RYN_PATH_READ_LIBRARY;
    if (!mayUseArchive || !isPacked(*registry, library)) {
        const int status = findPath(registry, library, mode, names, path);
        return status == RYN_OK ? makePathSpec(path.c_str(), kind, spec) : status;
    }
    if (mode == RYN_PATH_READ && findPath(registry, library, RYN_PATH_READ_TMP, names, path) == RYN_OK) {
        return makePathSpec(path.c_str(), kind, spec);
    }
    return openArchive(library) == nullptr ? RYN_SYSTEM_ERROR
                                           : findSpecInArchive(registry, library, names, spec);
}

int rynGetSpec(rynHandle handle, unsigned mode, const char *library, const char *cell, const char *view,
               const char *file, vekFSSpec *parent, unsigned flags, vekFSSpec **spec) {
    const SpecKind kind = (flags & RYN_SPEC_STDIO) != 0 ? SpecKind::Stdio : SpecKind::Native;
    return makeWrapped(handle, {library, {.cell = cell, .view = view, .file = file}}, parent, spec,
                       [=](rynLibrary &record, const ObjectNames &names, vek::OwnedSpec &inner) {
                           return ryn::findSpec(handle, record, mode, names, kind, inner);
                       });
}

int ryni_mkspec(rynHandle handle, const char *library, const char *cell, const char *view, const char *file,
                vekFSSpec *parent, vekFSSpec **spec) {
    return makeWrapped(handle, {library, {.cell = cell, .view = view, .file = file}}, parent, spec,
                       [=](rynLibrary &record, const ObjectNames &names, vek::OwnedSpec &inner) {
                           return ryn::makeSpec(handle, record, names, inner);
                       });
}

int rynIsSpecDir(vekFSSpec *spec) {
    vekFSStat record = {};
    mode_t mode = 0;
    const bool isKnown =
        vekFS_stat(spec, &record) == VEK_FS_OK && vekFS_getFileMode(&record, &mode) == VEK_FS_OK;
    return isKnown && S_ISDIR(mode) ? 1 : 0;
}
