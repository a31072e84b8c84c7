#ifndef TOVI_QUERY_H
#define TOVI_QUERY_H

/// The values that an object gives its entries.

#include "tagfile/keyword.h"
#include "tagfile/tov.h"

extern "C" {

/// @return the value that `obj` gives the entry `name`, borrowed from it or a constant; null if it has none
const char *toviStringizeEntry(const char *name, const VekinfoObj *obj);

/// @return the namespace of the machine this runs on
const char *tovsExeMachineNameSpace(void);
}

namespace tov {

/// toviStringizeEntry() with a given table of keywords.
const char *valueOf(const Keywords &keywords, const VekinfoObj &obj, const char *name);

} // namespace tov

#endif
