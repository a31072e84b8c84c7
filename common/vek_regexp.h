#ifndef VEK_REGEXP_H
#define VEK_REGEXP_H

/// Regular expressions: alternatives "|", groups "()", sets "[]", the repetitions "*", "+" and "?", the
/// anchors "^" and "$", "." and "\" before a literal character. Not re-entrant.

#include "common/vek_api.h"

VEK_BEGIN_DECLS

/// Groups of an expression, the whole match (index 0) included.
enum { VEK_REGEXP_GROUPS = 10 };

/// A compiled expression: one heap block, which the caller frees with free().
typedef struct vek_regexp {
    const char *startp[VEK_REGEXP_GROUPS]; ///< where each group of the last match begins, or null
    const char *endp[VEK_REGEXP_GROUPS];   ///< where it ends
    char regstart;                         ///< the character every match begins with, or NUL
    char reganch;                          ///< non-zero when anchored with "^"
    char *regmust;                         ///< a literal inside the program that every match holds, or null
    int regmlen;                           ///< its length
    char program[1];                       ///< the node program; begins with the byte 0234
} vek_regexp;

/// Compiles `pattern`.
/// @return the expression, which the caller frees with free(), or null after reporting the error
VEK_API vek_regexp *vek_regcomp(const char *pattern);

/// Looks for the first match of `prog` in `subject`.
///
/// @return 1 with the positions in `prog` set to places in `subject`; 0 when nothing matches, or after
///         reporting an error
VEK_API int vek_regexec(vek_regexp *prog, const char *subject);

/// Writes "vek_regexp compilation: ", `msg` and a newline to standard error.
VEK_API void vek_regerror(const char *msg);

VEK_END_DECLS

#endif
