#ifndef VEKI_TMP_H
#define VEKI_TMP_H

/// The generator behind the temporary names (vek_tmp.h).

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Replaces the run of "X" in front of a template's suffix, and creates a file or directory under the first
/// name that is free, or only finds that name. Without such a run the template is the one name that is tried.
///
/// @param nameTemplate  the template; receives the name in place, also that of a failed attempt
/// @param fdOut         null, or receives the descriptor of the file to create; -1 after a failure
/// @param makeDir       non-zero creates a directory with mode 0700; not together with `fdOut`
/// @param suffixLen     how many characters at the end of the template are its suffix, which stays; fewer
///                      than all
/// @return 1, or 0 with `errno` set: EINVAL for arguments that do not fit together, ENOTDIR when what should
///         be the directory is none, EEXIST when every name is taken, or what the system said
int veki_gettemp(char *nameTemplate, int *fdOut, int makeDir, int suffixLen);

VEK_END_DECLS

#endif
