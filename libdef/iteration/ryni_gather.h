#ifndef RYNI_GATHER_H
#define RYNI_GATHER_H

/// Gathers the names for an iteration over directories.

#include "common/platform/walk_guard.h"
#include "libdef/iteration/ryni_context.h"
#include "libdef/paths/ryni_object_names.h"

VEK_BEGIN_DECLS

/// @return 1 if every character of `name` is an ASCII letter or digit, "_", "@" or "#"; 0 otherwise and for null.
///         Documented: 1 for the empty name
int sNmpIsLegalLibrary(const char *name);

VEK_END_DECLS

namespace ryn {

/// The directories that hold the contents of a library, cell or view.
struct Sources {
    rynLibrary *library = nullptr;     ///< the library that `spec` belongs to
    ObjectNames names;                 ///< the cell and view whose contents are gathered
    vekFSSpec *spec = nullptr;         ///< the directory in the library; null: not a source
    const char *implicitTmp = nullptr; ///< the implicit temporary directory; null: not a source
    const char *explicitTmp = nullptr; ///< the explicit temporary directory; null: not a source

    [[nodiscard]] bool isEmpty() const {
        return spec == nullptr && implicitTmp == nullptr && explicitTmp == nullptr;
    }
};

/// Gathers the names for a context of the given type, in the order of the iteration.
///
/// @param type   RYNI_CONTEXT_CELLS to RYNI_CONTEXT_ALL_VIEW_FILES
/// @param list   receives the list, for freeElements(); null after a failure
/// @param limit  of the ways through symbolic links of a deep list, for each source
/// @return RYN_OK, RYN_INTERNAL_ERROR, RYN_MEMORY_ERROR (reported), RYN_SYSTEM_ERROR or RYN_PERMISSION_DENIED
int gatherNames(rynRegistry *registry, int type, const Sources &sources, rynElement **list,
                const vek::LinkLimit &limit = {});

void freeElements(rynElement *list);

} // namespace ryn

#endif
