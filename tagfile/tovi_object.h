#ifndef TOVI_OBJECT_H
#define TOVI_OBJECT_H

/// Making, copying and releasing a VekinfoObj.

#include "tagfile/tov.h"

#include <memory>

extern "C" {

/// Sets all fields of `obj` to their initial values. Its old strings are not freed.
void tovInitVekinfoObj(VekinfoObj *obj);

/// Makes a deep copy of `src`, with a null `next`.
///
/// @param out  receives the copy, to be released with tovDestroyInfoObj(); null if memory is exhausted
/// @return always TOV_OK
int tovMakeVekinfoObj(VekinfoObj **out, const VekinfoObj *src);

/// Releases a heap object and all it owns. Null is allowed.
void tovDestroyInfoObj(VekinfoObj *obj);
}

struct DestroyInfoObj {
    void operator()(VekinfoObj *obj) const { tovDestroyInfoObj(obj); }
};
using OwnedInfoObj = std::unique_ptr<VekinfoObj, DestroyInfoObj>;

/// @param path  is copied; may be null
/// @return a heap object in which nothing but the path is set; null if memory is exhausted
OwnedInfoObj makeEmptyInfoObj(const char *path = nullptr);

/// Exchanges the application entries of two objects.
void swapEntries(VekinfoObj &a, VekinfoObj &b);

/// Frees the strings and lists of `obj`, and initializes it.
void toviClearInfoObj(VekinfoObj *obj);

/// Reports exhausted memory. @return TOV_MEMORY_ERROR
int toviReportNoMemory();

#endif
