#ifndef TOVI_OBJECT_H
#define TOVI_OBJECT_H

/// Making, copying and releasing a VekinfoObj.

#include "tagfile/tov.h"

#include <memory>

extern "C" {

/// Makes `obj` an object in which nothing is set. What it held is not released.
void tovInitVekinfoObj(VekinfoObj *obj);

/// Makes a deep copy of `src` that is in no chain.
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

/// Releases what `obj` owns, and leaves it with nothing set.
void toviClearInfoObj(VekinfoObj *obj);

/// Reports exhausted memory. @return TOV_MEMORY_ERROR
int toviReportNoMemory();

#endif
