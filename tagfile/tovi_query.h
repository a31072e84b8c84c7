#ifndef TOVI_QUERY_H
#define TOVI_QUERY_H

#include "tagfile/tov.h"

VEK_BEGIN_DECLS

/// @return the value that `obj` gives the entry `name`, borrowed from it or constant; null when it has none
const char *toviStringizeEntry(const char *name, const VekinfoObj *obj);

/// @return the namespace of the machine this runs on
const char *tovsExeMachineNameSpace(void);

VEK_END_DECLS

#endif
