#ifndef VEK_INTERP_H
#define VEK_INTERP_H

/// Interpolation: replaces the references `$NAME`, `${NAME}`, `$(compute:...)`, `$(inst_root_with:...)`, `~` and
/// `~user` in a text by their values. `$$` becomes one "$". setup.loc(5) lists the references.

#include "common/base/vek_api.h"

#include <stdint.h>

VEK_BEGIN_DECLS

/// Flags of vekInterpArgs; combine them with OR.
enum {
    VEK_INTERP_KEEP_VARIABLES = 1, ///< do not replace `$NAME` and `${NAME}`
    VEK_INTERP_KEEP_HOMES = 2,     ///< do not replace `~` and `~user`
    VEK_INTERP_KEEP_COMPUTED = 4,  ///< do not replace `$(...)`
    VEK_INTERP_RECURSIVE = 8       ///< repeat until nothing is replaced, at most 20 times
};

/// Error codes of vekInterpolate(). The value of a reference has at most 2047 characters; a longer value is an
/// error.
enum {
    VEK_INTERP_OK = 0,
    VEK_INTERP_OUT_TOO_SMALL = 2,    ///< the output buffer is too small, or memory is exhausted
    VEK_INTERP_NOT_SET = 3,          ///< a variable is not set, or its value is too long
    VEK_INTERP_UNKNOWN_USER = 4,     ///< there is no such user, or a home directory is too long
    VEK_INTERP_TOO_RECURSIVE = 5,    ///< recursive mode: 20 repetitions, or a repetition failed
    VEK_INTERP_NULL_ARGUMENT = 7,    ///< input or output is null
    VEK_INTERP_BADLY_FORMED = 8,     ///< a reference is not closed, or contains another reference
    VEK_INTERP_NO_TOOL_ROOT = 9,     ///< the running tool has no installation root
    VEK_INTERP_NO_ROOT_FOR_FILE = 10 ///< no installation contains the file or the given path
};

/// The value of the member `line` of `vekInterpArgs` if the line number is not known. Error messages then
/// contain no line number.
#define VEK_INTERP_NO_LINE UINT32_MAX

/// Options and results of one vekInterpolate() call. The caller sets the options before the call.
///
/// `neededSize` is set even if the output does not fit. It is not set if an argument is null. If memory is exhausted,
/// its value is `outSize`.
typedef struct vekInterpArgs {
    uint32_t flags;         ///< VEK_INTERP_KEEP_... and VEK_INTERP_RECURSIVE
    const char *fileName;   ///< file that contains the text, or null; for messages and THIS_FILE_INST_ROOT
    uint32_t line;          ///< line that contains the text, or VEK_INTERP_NO_LINE; for messages
    char *errorBuffer;      ///< receives the message, NUL-terminated, truncated to fit; may be null
    size_t errorBufferSize; ///< size of `errorBuffer` in bytes, including the NUL
    int32_t errorPosition;  ///< result: offset of the reference that failed last, or -1
    int32_t errorCode;      ///< result: VEK_INTERP_OK, or the code of the last error
    size_t neededSize;      ///< result: size of the complete output in bytes, including the NUL
} vekInterpArgs;

/// Replaces the references in the text `in` by their values. A reference that cannot be replaced is copied
/// unchanged, and the error is stored in `args`. Reads the environment, the user database and the installation
/// roots. The function is not re-entrant.
///
/// @param in        the text. If it is null, the error is VEK_INTERP_NULL_ARGUMENT
/// @param out       receives the result, NUL-terminated, truncated if it does not fit. May be the same buffer as
///                  `in`. If it is null, the error is VEK_INTERP_NULL_ARGUMENT
/// @param outSize   size of `out` in bytes, including the NUL. If it is 0, nothing is written
/// @param args      options and results; may be null
/// @param argsSize  sizeof(vekInterpArgs). If it has another value, this is reported on standard error, and
///                  `args` is used anyway. Not read if `args` is null
/// @return 1 for success, 0 after any error
VEK_API int vekInterpolate(const char *in, char *out, size_t outSize, vekInterpArgs *args, size_t argsSize);

VEK_END_DECLS

#endif
