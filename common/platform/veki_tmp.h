#ifndef VEKI_TMP_H
#define VEKI_TMP_H

/// The internal function that makes the unique names for all functions of vek_tmp.h.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Makes a name that does not exist from a template: replaces the "X" characters directly before the suffix by random
/// digits and letters. Then creates a file if `fdOut` is not null, a directory if `makeDir` is not 0, otherwise
/// nothing. If there is no "X" before the suffix, only the template itself is tried.
///
/// @param nameTemplate  the template; receives the name in place, also after a failure
/// @param fdOut         null, or receives the descriptor of the new file; -1 after a failure
/// @param makeDir       non-zero to create a directory with mode 0700; `fdOut` must then be null
/// @param suffixLen     the number of characters at the end that are not changed; must be less than the length of the
///                      template
/// @return 1; 0 with `errno` set: EINVAL for invalid arguments, ENOTDIR if the directory part is not a directory,
///         EEXIST if all names that were tried exist, or the error of a system call
int veki_gettemp(char *nameTemplate, int *fdOut, int makeDir, int suffixLen);

VEK_END_DECLS

#endif
