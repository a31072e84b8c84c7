#ifndef VEKI_TMP_H
#define VEKI_TMP_H

/// The generator of temporary names (vek_tmp.h).

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Replaces the run of "X" before a template's suffix, and creates a file or directory with the first name that does not
/// exist, or only finds that name. If there is no such run, the template is the only name that is tried.
///
/// @param nameTemplate  the template; receives the name in place, also after a failure
/// @param fdOut         null, or receives the descriptor of the file to create; -1 after a failure
/// @param makeDir       non-zero to create a directory with mode 0700; `fdOut` must then be null
/// @param suffixLen     number of characters at the end of the template that are not changed; less than its length
/// @return 1; 0 with `errno` set: EINVAL for invalid arguments, ENOTDIR if the directory part is not a directory, EEXIST if
///         all names exist, or the error of a system call
int veki_gettemp(char *nameTemplate, int *fdOut, int makeDir, int suffixLen);

VEK_END_DECLS

#endif
