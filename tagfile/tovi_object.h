#ifndef TOVI_OBJECT_H
#define TOVI_OBJECT_H

/// The life of a VekinfoObj.

#include "tagfile/tov.h"

VEK_BEGIN_DECLS

/// Makes `obj` an object in which nothing is set. What it held is not released.
void tovInitVekinfoObj(VekinfoObj *obj);

/// Makes a deep copy of `src` that stands in no chain.
///
/// @param out  receives the copy, to be released with tovDestroyInfoObj(); null when memory is exhausted
/// @return always TOV_OK
int tovMakeVekinfoObj(VekinfoObj **out, const VekinfoObj *src);

/// Releases a heap object and all it owns. Null is allowed.
void tovDestroyInfoObj(VekinfoObj *obj);

/// Releases what `obj` owns, and leaves it with nothing set.
void toviClearInfoObj(VekinfoObj *obj);

/// Reports exhausted memory. @return TOV_MEMORY_ERROR
int toviReportNoMemory(void);

VEK_END_DECLS

#ifdef __cplusplus

#include <memory>

struct DestroyInfoObj {
    void operator()(VekinfoObj *obj) const { tovDestroyInfoObj(obj); }
};
using OwnedInfoObj = std::unique_ptr<VekinfoObj, DestroyInfoObj>;

#endif

#endif
