#ifndef VEK_REGEXP_H
#define VEK_REGEXP_H

/// Regular expressions: compiles a pattern and searches a string for its first match. A pattern can contain
/// alternatives "|", groups "()", sets "[]", repetitions "*", "+" and "?", anchors "^" and "$", any character
/// ".", and "\" before a literal character. Compiling and matching use process-wide state and are not
/// re-entrant.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Maximum number of groups in an expression: 9 groups in parentheses, and group 0, which is the whole match.
enum { VEK_REGEXP_GROUPS = 10 };

/// One compiled regular expression, and the group positions of its last match. It is one block of memory, which
/// vek_regcomp() allocates and the caller frees with free().
typedef struct vek_regexp {
    const char *startp[VEK_REGEXP_GROUPS]; ///< start of each group in the last subject, or null
    const char *endp[VEK_REGEXP_GROUPS];   ///< end of each group in the last subject, or null
    char regstart;                         ///< the first character of every match; NUL if unknown
    char reganch;                          ///< non-zero if the expression is anchored with "^"
    char *regmust;                         ///< a literal in `program` that every match contains, or null
    int regmlen;                           ///< length of `regmust`
    char program[1];                       ///< the node program; its first byte is 0234
} vek_regexp;

/// Compiles the regular expression `pattern`. After an error, passes the error text to vek_regerror().
/// @return the expression, which the caller frees with free(); null after an error
VEK_API vek_regexp *vek_regcomp(const char *pattern);

/// Searches the string `subject` for the first match of the expression `prog`. After an error, passes the error
/// text to vek_regerror().
///
/// @return 1 if there is a match; `startp` and `endp` of `prog` then point into `subject`. 0 if nothing matches
///         or after an error
VEK_API int vek_regexec(vek_regexp *prog, const char *subject);

/// Prints "vek_regexp compilation: ", `msg` and a newline on standard error.
VEK_API void vek_regerror(const char *msg);

VEK_END_DECLS

#endif
