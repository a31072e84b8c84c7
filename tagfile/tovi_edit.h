#ifndef TOVI_EDIT_H
#define TOVI_EDIT_H

#include "tagfile/keyword.h"

namespace tov {

/// Adds the entry `name` with `value` to the tag file of the directory `dir`, or clears the entry if `value` is null.
/// tovAddEntry() and tovRemoveEntry() call this function with the default keyword table.
///
/// The function first copies `dir`, `name` and `value`, because they may be strings of a cached object that the edit
/// frees.
///
/// @return 1 for success; 0 after a failure, which has been reported
int editEntry(const Keywords &keywords, const char *dir, const char *name, const char *value);

} // namespace tov

#endif
