#ifndef RYNI_CONTEXT_H
#define RYNI_CONTEXT_H

/// Defines rynContext: the state of an iteration between two calls of a rynNext...() function.

#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Types of iteration contexts, one for each kind of item that an iteration returns.
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

/// One name in the list of a context: the name of a cell or view, or the name or relative path of a file. The text of
/// the name follows the structure in the same memory block.
typedef struct rynElement {
    struct rynElement *next;
    char *name;
} rynElement;

struct rynContext {
    rynRegistry *handle;
    int32_t type;
    void *list; ///< types 1 to 6: list of rynElement, owned by the context; otherwise a list of the registry
    void *cursor; ///< the record that the next call returns; null at the end
};

VEK_END_DECLS

#endif
