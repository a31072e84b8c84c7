#ifndef TOVI_QUERY_H
#define TOVI_QUERY_H

/// The value of an entry of a parsed tag file, as queries return it.

#include "tagfile/keyword.h"
#include "tagfile/tov.h"

extern "C" {

/// @return the value of the entry `name` in `obj`: a string of `obj` or a constant; null if there is none
const char *toviStringizeEntry(const char *name, const VekinfoObj *obj);

/// @return the namespace that applies if no tag file sets NAMESPACE: always "LibraryUnix"
const char *tovsExeMachineNameSpace(void);
}

namespace tov {

/// Returns the value of the entry `name` in `obj` like toviStringizeEntry(), but with the table `keywords`.
const char *valueOf(const Keywords &keywords, const VekinfoObj &obj, const char *name);

} // namespace tov

#endif
