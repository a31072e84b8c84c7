#ifndef TOVI_EDIT_H
#define TOVI_EDIT_H

#include "tagfile/keyword.h"

namespace tov {

/// Adds an entry to the tag file of `dir`, or clears it: tovAddEntry() and tovRemoveEntry() with a given table of
/// keywords. The arguments may be strings that the edit makes invalid: it works on copies.
///
/// @param value  null to clear the entry
/// @return 1, or 0 after reporting a failure
int editEntry(const Keywords &keywords, const char *dir, const char *name, const char *value);

} // namespace tov

#endif
