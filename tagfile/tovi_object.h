#ifndef TOVI_OBJECT_H
#define TOVI_OBJECT_H

/// Functions that create, copy, clear and free a VekinfoObj, which contains the settings of one parsed tag file.

#include "tagfile/tov.h"

#include <memory>

extern "C" {

/// Sets all fields of `obj` to their initial values, which mean that no entry is set. Does not free the strings that
/// the fields pointed to before.
void tovInitVekinfoObj(VekinfoObj *obj);

/// Makes a deep copy of `src`. The field `next` of the copy is null.
///
/// @param out  receives the copy, which the caller must free with tovDestroyInfoObj(); null if memory is exhausted
/// @return always TOV_OK, even if memory is exhausted
int tovMakeVekinfoObj(VekinfoObj **out, const VekinfoObj *src);

/// Frees the heap object `obj`, its strings and its lists. Null is ignored.
void tovDestroyInfoObj(VekinfoObj *obj);
}

namespace tov {

struct DestroyInfoObj {
    void operator()(VekinfoObj *obj) const { tovDestroyInfoObj(obj); }
};
using OwnedInfoObj = std::unique_ptr<VekinfoObj, DestroyInfoObj>;

/// Allocates an object that contains a path but no entries.
/// @param path  the path of the tag file, which is copied; may be null
/// @return the object; null if memory is exhausted
OwnedInfoObj makeEmptyInfoObj(const char *path = nullptr);

/// Exchanges the application entries (`names` and `values`) of two objects. The strings are not copied.
void swapEntries(VekinfoObj &a, VekinfoObj &b);

/// Frees the strings and lists of `obj` and sets all fields to their initial values.
void clearInfoObj(VekinfoObj *obj);

/// Calls tovPrintError() with TOV_MEMORY_ERROR. @return TOV_MEMORY_ERROR
int reportNoMemory();

} // namespace tov

#endif
