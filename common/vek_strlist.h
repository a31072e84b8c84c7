#ifndef VEK_STRLIST_H
#define VEK_STRLIST_H

/// String copies and string lists. A string list is a heap array of heap strings, owned by the list, with a
/// NULL behind the last one; NULL is the empty list. Whoever owns a list that grows keeps its allocated size
/// (and, for vekFastAddToStrlist(), its element count) in counters beside it: no other record of them exists.

#include "common/vek_api.h"

VEK_BEGIN_DECLS

/// @return a heap copy of `s` that the caller frees; null for null, or when memory is exhausted
VEK_API char *vekCopyString(const char *s);

/// Joins two strings. The separator is `sep` when it is exactly one printable character, else one blank.
///
/// @param a, b  when one is null the result is a copy of the other; null when both are
/// @param sep   may be null
/// @return a heap string that the caller frees; null also when memory is exhausted
VEK_API char *vekCatString(const char *a, const char *b, const char *sep);

/// @return the number of strings in `list`, which may be null
VEK_API int vekGetStrlistSize(char **list);

/// Puts a copy of `s` at index `*count` and counts it.
///
/// @param list   the list, or null for a new one
/// @param count  the number of strings in it; grows by one
/// @param size   the allocated number of slots; changed when the list grows
/// @return the list, which may have moved; null when memory is exhausted: the old list is then still the
///         caller's, unchanged, and a growth that failed has been reported through vekReportError()
VEK_API char **vekFastAddToStrlist(char **list, const char *s, int *count, int *size);

/// Gives `list` room for `newSize` slots and clears those from `count` on.
///
/// @param list  the list, or null for a new one
/// @return the list, which may have moved, or untouched when `newSize` is below `count`; null when memory is
///         exhausted, which is reported through vekReportError() and leaves the old list with the caller
VEK_API char **vekGrowStrlist(char **list, int count, int newSize);

/// Counts `list`, whose allocated size is `*size`, and adds a copy of `s` as vekFastAddToStrlist() does.
VEK_API char **vekAddToStrlist(char **list, const char *s, int *size);

/// @return a deep copy of `list`, of exactly the needed size; null for null, or when memory is exhausted
VEK_API char **vekCopyStrlist(char **list);

/// Frees every string of `list` and the array. Null is allowed.
VEK_API void vekFreeStrlist(char **list);

/// Joins all strings of `list` with vekCatString() and `sep`, starting from the empty string: the result begins
/// with the separator, and callers rely on it.
///
/// @return a heap string that the caller frees: empty for an empty list, null when memory is exhausted
VEK_API char *vekStrlistToStr(char **list, const char *sep);

/// Sorts the first `n` strings of `list` by strcmp(). A null list is left alone.
VEK_API void vekSortStrlist(char **list, int n);

/// Collects copies of the strings that match at least one pattern (vek_regexp.h), in order. A pattern that
/// does not compile is reported once for every string that reaches it and matches none.
///
/// @param patterns  a string list; null or empty gives back `list` itself, not a copy
/// @return a new list that the caller frees, or null when nothing matches, `list` is empty or memory is
///         exhausted
VEK_API char **vekFilterStrlist(char **list, char **patterns);

/// Splits `str` into words and appends them to `list`. White space separates words; a word that begins with a
/// single quote, a double quote, or one behind the other runs to that quote, a newline or the end. A word
/// holds at most 4095 characters; what follows begins the next word.
///
/// @param str    may be null
/// @param count  the number of strings already in `list`; updated
/// @param list   a list with exactly `*count` strings, or null
/// @return the list, which may have moved
VEK_API char **vekStrToStrlist(const char *str, int *count, char **list);

VEK_END_DECLS

#endif
