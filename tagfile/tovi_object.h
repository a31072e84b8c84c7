#ifndef TOVI_OBJECT_H
#define TOVI_OBJECT_H

/// Functions that create, copy, clear and free a VekinfoObj, the parsed form of one tag file.

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

/// Frees the heap object `obj`, its strings and its lists. Null is ignored.
void tovDestroyInfoObj(VekinfoObj *obj);
}

struct DestroyInfoObj {
    void operator()(VekinfoObj *obj) const { tovDestroyInfoObj(obj); }
};
using OwnedInfoObj = std::unique_ptr<VekinfoObj, DestroyInfoObj>;

/// Allocates an object in which only the path is set.
/// @param path  is copied; may be null
/// @return the object; null if memory is exhausted
OwnedInfoObj makeEmptyInfoObj(const char *path = nullptr);

/// Swaps the application entries of two objects.
void swapEntries(VekinfoObj &a, VekinfoObj &b);

/// Frees the strings and lists of `obj` and sets all fields to their initial values.
void toviClearInfoObj(VekinfoObj *obj);

/// Reports through tovPrintError() that memory is exhausted. @return TOV_MEMORY_ERROR
int toviReportNoMemory();

#endif
