#ifndef RYNI_ITERATE_H
#define RYNI_ITERATE_H

/// Iteration contexts and the lists behind them.

#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Types of contexts.
enum {
    RYNI_CONTEXT_LIBRARIES = 0,
    RYNI_CONTEXT_CELLS = 1,
    RYNI_CONTEXT_VIEWS = 2,
    RYNI_CONTEXT_LIBRARY_FILES = 3,
    RYNI_CONTEXT_CELL_FILES = 4,
    RYNI_CONTEXT_VIEW_FILES = 5,
    RYNI_CONTEXT_ALL_VIEW_FILES = 6,
    RYNI_CONTEXT_VEKLIB_FILES = 7,
    RYNI_CONTEXT_ATTRIBUTES = 8
};

/// One name in a private list. The name stands behind the element in memory.
typedef struct rynElement {
    struct rynElement *next;
    char *name;

    struct rynElement *nextInIndex; ///< while the list is built
} rynElement;

struct rynContext {
    rynRegistry *handle;
    int32_t type;
    void *list;   ///< rynElement, owned, for the types that lie on disk; else a list of the handle's
    void *cursor; ///< what is handed out next, or null
};

/// @return 1 for a name of letters, digits, "_", "@" and "#", the empty one included; 0 for others and for null
int sNmpIsLegalLibrary(const char *name);

/// Where the contents of a library, cell or view lie. Each may be null.
typedef struct ryniSources {
    vekFSSpec *library;      ///< its directory in the library
    const char *implicitTmp; ///< its directory under the implicit temporary directory
    const char *explicitTmp; ///< its directory under the explicit temporary directory
} ryniSources;

/// Gathers the names for a context of the given type, in the order in which they are handed out.
///
/// @param list  receives the list, for ryniFreeElements(); null after a failure
/// @return RYN_OK, RYN_INTERNAL_ERROR, RYN_MEMORY_ERROR (reported), RYN_SYSTEM_ERROR or RYN_PERMISSION_DENIED
int ryniGatherNames(rynRegistry *registry, int type, const ryniSources *sources, rynElement **list);

void ryniFreeElements(rynElement *list);

VEK_END_DECLS

#endif
