#ifndef TOVI_QUERY_H
#define TOVI_QUERY_H

/// Values of entries.

#include "tagfile/keyword.h"
#include "tagfile/tov.h"

extern "C" {

/// @return the value of the entry `name` in `obj`: a string of `obj` or a constant; null if there is none
const char *toviStringizeEntry(const char *name, const VekinfoObj *obj);

/// @return the default namespace of this platform
const char *tovsExeMachineNameSpace(void);
}

namespace tov {

/// toviStringizeEntry() with a given table of keywords.
const char *valueOf(const Keywords &keywords, const VekinfoObj &obj, const char *name);

} // namespace tov

#endif
