#ifndef VEKI_STRLIST_H
#define VEKI_STRLIST_H

/// addToStrlist(): adds a string to a string list without calling the error hook after a failure.

namespace vek {

/// The result of addToStrlist().
enum class StrlistAddition { Done, NoMemoryForCopy, NoMemoryForList };

/// Adds a copy of `s` to `list` like vekAddToStrlist(), but does not call the error hook.
///
/// @param list  the list, or null for a new one; changed if the list moves. Unchanged after a failure
/// @param size  the allocated size of the list; changed if the list grows
/// @return Done, or which allocation failed: that of the copy or that of the list
StrlistAddition addToStrlist(char **&list, const char *s, int *size);

} // namespace vek

#endif
