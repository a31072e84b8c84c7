#ifndef RYNI_CONTEXT_H
#define RYNI_CONTEXT_H

/// The records of iteration contexts.

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

/// One name of a private list. The name is in the same block of memory, after the element.
typedef struct rynElement {
    struct rynElement *next;
    char *name;

    struct rynElement *nextInIndex; ///< only used while the list is built
} rynElement;

struct rynContext {
    rynRegistry *handle;
    int32_t type;
    void *list;   ///< types 1 to 6: a list of rynElement, owned; otherwise a list of the registry
    void *cursor; ///< the record that is returned next, or null
};

VEK_END_DECLS

#endif
