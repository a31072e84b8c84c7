#ifndef TOVI_EDIT_H
#define TOVI_EDIT_H

#include "tagfile/keyword.h"

namespace tov {

/// Adds the entry `name` to the tag file of `dir`, or clears it. Implements tovAddEntry() and tovRemoveEntry() for any
/// table of keywords. The arguments are copied first, so they may be strings of the cached object that the edit frees.
///
/// @param value  null to clear the entry
/// @return 1, or 0 after reporting a failure
int editEntry(const Keywords &keywords, const char *dir, const char *name, const char *value);

} // namespace tov

#endif
