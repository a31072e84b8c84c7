#ifndef VEK_STRLIST_H
#define VEK_STRLIST_H

/// String copies and string lists. A string list is an array of strings that ends with a null pointer. The
/// array and the strings are allocated with malloc(); the list owns its strings. A null pointer is an empty
/// list.
///
/// The size of a list is not stored in the list. To add strings, the caller stores the allocated size of the
/// list in a variable, and for vekFastAddToStrlist() also the number of strings. For a new list, both are 0.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// @return a copy of `s`, which the caller frees with free(); null if `s` is null or memory is exhausted
VEK_API char *vekCopyString(const char *s);

/// Joins the strings `a` and `b` with a separator between them.
///
/// @param a, b  if one is null, the result is a copy of the other; if both are null, the result is null
/// @param sep   used if it is exactly one printable character; in all other cases the separator is a blank
/// @return a new string, which the caller frees with free(); null if memory is exhausted
VEK_API char *vekCatString(const char *a, const char *b, const char *sep);

/// @return the number of strings in `list`; 0 for null
VEK_API int vekGetStrlistSize(char **list);

/// Adds a copy of the string `s` to a list. A null `s` adds nothing.
///
/// @param list   the list, or null for a new one
/// @param count  the number of strings in the list; increased by one
/// @param size   the allocated size of the list; changed if the list grows
/// @return the list, which may have moved. Null if memory is exhausted: the caller still owns the old list,
///         which is unchanged. If the list could not grow, this is reported through vekReportError()
VEK_API char **vekFastAddToStrlist(char **list, const char *s, int *count, int *size);

/// Sets the allocated size of `list` to `newSize`, and all pointers from index `count` on to null.
///
/// @param list  the list, or null for a new one
/// @return the list, which may have moved; unchanged if `newSize` is below `count`. Null if memory is
///         exhausted: this is reported through vekReportError(), and the caller still owns the old list
VEK_API char **vekGrowStrlist(char **list, int count, int newSize);

/// Adds a copy of the string `s` to `list` like vekFastAddToStrlist(), but the caller does not pass the number
/// of strings. The function counts the strings instead.
///
/// @param size  the allocated size of the list; changed if the list grows
VEK_API char **vekAddToStrlist(char **list, const char *s, int *size);

/// @return a copy of `list` and its strings, without unused elements at the end; null if `list` is null or
///         memory is exhausted. The caller frees the copy with vekFreeStrlist()
VEK_API char **vekCopyStrlist(char **list);

/// Frees the array and the strings of `list`, which may be null.
VEK_API void vekFreeStrlist(char **list);

/// Joins all strings of `list`, with a separator before each string. Documented: the result therefore begins
/// with a separator.
///
/// @param sep  used if it is exactly one printable character; in all other cases the separator is a blank
/// @return a new string, which the caller frees with free(): empty for an empty list; null if memory is
///         exhausted
VEK_API char *vekStrlistToStr(char **list, const char *sep);

/// Sorts the first `n` strings of `list` in the order of strcmp(). If `list` is null, nothing happens.
VEK_API void vekSortStrlist(char **list, int n);

/// Returns copies of the strings in `list` that match at least one pattern, in the order of `list`. Patterns
/// are regular expressions, see vek_regcomp(). A pattern that does not compile is reported once for each string
/// that is compared with it.
///
/// @param patterns  a string list. Documented: if it is null or empty, the result is `list` itself, not a copy
/// @return a new list, which the caller frees with vekFreeStrlist(); null if nothing matches, `list` is empty
///         or memory is exhausted
VEK_API char **vekFilterStrlist(char **list, char **patterns);

/// Splits `str` into words and appends copies of the words to `list`. Words are separated by white space. A
/// word can begin with a single or a double quote. It then ends at the same quote, at a newline or at the end
/// of `str`, and the quotes are removed. Quotes inside a word are ordinary characters. A word has at most 4095
/// characters; the rest of a longer word becomes the next word.
///
/// Documented: if a double quote follows an opening single quote, both are removed, and a double quote instead
/// of a single quote ends the word. The first character after the opening quotes always belongs to the word, so
/// two single quotes give a word of one single quote.
///
/// @param str    may be null
/// @param count  the number of strings in `list`; updated
/// @param list   a list with exactly `*count` strings, or null for a new one
/// @return the list, which may have moved; if memory is exhausted, it contains the words before the failure
VEK_API char **vekStrToStrlist(const char *str, int *count, char **list);

VEK_END_DECLS

#endif
