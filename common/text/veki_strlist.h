#ifndef VEKI_STRLIST_H
#define VEKI_STRLIST_H

/// addToStrlist() appends to a string list without reporting errors.

namespace vek {

/// The result of addToStrlist().
enum class StrlistAddition { Done, NoMemoryForCopy, NoMemoryForList };

/// Adds a copy of `s` to a list like vekAddToStrlist(), but reports nothing.
///
/// @param list  the list, or null for a new one; changed if the list moves. Unchanged after a failure
/// @param size  its allocated size; changed if the list grows
/// @return Done, or which allocation failed
StrlistAddition addToStrlist(char **&list, const char *s, int *size);

} // namespace vek

#endif
