#ifndef RYNI_GATHER_H
#define RYNI_GATHER_H

/// Builds the list of names for an iteration over cells, views or files.

#include "common/platform/walk_guard.h"
#include "libdef/iteration/ryni_context.h"
#include "libdef/paths/ryni_object_names.h"

VEK_BEGIN_DECLS

/// Tests whether `name` is a legal name of a library, cell or view.
/// @return 1 if every character of `name` is an ASCII letter or digit, "_", "@" or "#"; 0 otherwise and for null.
///         Documented: 1 for the empty name
int sNmpIsLegalLibrary(const char *name);

VEK_END_DECLS

namespace ryn {

/// The directories from which an iteration reads names. All of them belong to the same library, cell or view. If a
/// member is null, that directory is not read.
struct Sources {
    rynLibrary *library = nullptr; ///< the library that `spec` belongs to
    ObjectNames names;             ///< the cell and view whose contents are gathered; none for the library
    vekFSSpec *spec = nullptr;     ///< the directory in the library or its archive, or null
    const char *implicitTmp = nullptr; ///< the directory in the implicit temporary directory, or null
    const char *explicitTmp = nullptr; ///< the directory in the explicit temporary directory, or null

    [[nodiscard]] bool isEmpty() const {
        return spec == nullptr && implicitTmp == nullptr && explicitTmp == nullptr;
    }
};

/// Builds the list of names for an iteration: reads the directories in `sources`.
///
/// @param type   RYNI_CONTEXT_CELLS to RYNI_CONTEXT_ALL_VIEW_FILES
/// @param list   receives the names in the order of the iteration; freed with freeElements(); null after a failure
/// @param limit  limits how many symbolic links are followed in each directory of `sources`; ignored unless `type` is
///               RYNI_CONTEXT_ALL_VIEW_FILES
/// @return RYN_OK, RYN_INTERNAL_ERROR, RYN_MEMORY_ERROR (reported), RYN_SYSTEM_ERROR or RYN_PERMISSION_DENIED
int gatherNames(rynRegistry *registry, int type, const Sources &sources, rynElement **list,
                const vek::LinkLimit &limit = {});

/// Frees a list that gatherNames() has returned. Null is allowed.
void freeElements(rynElement *list);

} // namespace ryn

#endif
