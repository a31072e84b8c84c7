#ifndef TOVI_QUERY_H
#define TOVI_QUERY_H

/// Functions that return the value of an entry of a parsed tag file, in the form in which tovLookupEntry() returns it.

#include "tagfile/keyword.h"
#include "tagfile/tov.h"

extern "C" {

/// Returns the value of the entry `name` in `obj`: a string that belongs to `obj`, or a constant. Returns null if `obj`
/// does not contain the entry. Two keywords are special: the value of VEKLIBRARY is always "", and that of VEKLIBCHECK
/// is "ON" if it is not set.
const char *toviStringizeEntry(const char *name, const VekinfoObj *obj);

/// Returns the default value of NAMESPACE, which applies if no tag file defines NAMESPACE: always "LibraryUnix".
const char *tovsExeMachineNameSpace(void);
}

namespace tov {

/// Returns the value of the entry `name` in `obj`, as toviStringizeEntry() does, but takes the keyword table as an
/// argument.
const char *valueOf(const Keywords &keywords, const VekinfoObj &obj, const char *name);

} // namespace tov

#endif
