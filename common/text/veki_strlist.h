#ifndef VEKI_STRLIST_H
#define VEKI_STRLIST_H

/// Internal functions and types for string lists: an owner that frees a list, and addToStrlist(), which adds a string
/// without calling the error hook after a failure.

#include "common/text/vek_strlist.h"

#include <memory>

namespace vek {

struct FreeStrlist {
    void operator()(char **list) const { vekFreeStrlist(list); }
};

/// Smart pointer that owns a string list (vek_strlist.h), which is a null-terminated array of strings. It frees the
/// array and the strings with vekFreeStrlist().
using OwnedStrlist = std::unique_ptr<char *, FreeStrlist>;

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
