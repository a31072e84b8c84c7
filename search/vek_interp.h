#ifndef VEK_INTERP_H
#define VEK_INTERP_H

/// Variable interpolation: `$NAME`, `${NAME}`, `$(compute:...)`, `$(inst_root_with:...)`, `~` and `~user`.

#include "common/vek_api.h"

#include <stdint.h>

VEK_BEGIN_DECLS

/// Flags of vekInterpArgs; they combine by OR.
enum {
    VEK_INTERP_KEEP_VARIABLES = 1, ///< leave `$NAME` and `${NAME}` as they are
    VEK_INTERP_KEEP_HOMES = 2,     ///< leave `~` and `~user` as they are
    VEK_INTERP_KEEP_COMPUTED = 4,  ///< leave `$(...)` as it is
    VEK_INTERP_RECURSIVE = 8       ///< repeat until nothing is left to replace, at most 20 times
};

/// Error codes of vekInterpolate(). A value of over 2047 characters is an error: that of its kind of reference.
enum {
    VEK_INTERP_OK = 0,
    VEK_INTERP_OUT_TOO_SMALL = 2,    ///< the output buffer is too small, or memory is exhausted
    VEK_INTERP_NOT_SET = 3,          ///< an environment variable is not set, or its value is too long
    VEK_INTERP_UNKNOWN_USER = 4,     ///< `~user` names no known user, or a home directory is too long
    VEK_INTERP_TOO_RECURSIVE = 5,    ///< recursive mode exceeded its limit, or one of its passes failed
    VEK_INTERP_NULL_ARGUMENT = 7,    ///< input or output is null
    VEK_INTERP_BADLY_FORMED = 8,     ///< an unterminated reference, or one inside another
    VEK_INTERP_NO_TOOL_ROOT = 9,     ///< the running tool has no installation root
    VEK_INTERP_NO_ROOT_FOR_FILE = 10 ///< no installation holds the file, or the path asked for
};

/// The line number that means "no line".
#define VEK_INTERP_NO_LINE UINT32_MAX

/// Options and results of one call.
typedef struct vekInterpArgs {
    uint32_t flags;         ///< VEK_INTERP_KEEP_... and VEK_INTERP_RECURSIVE
    const char *fileName;   ///< the file the text comes from, or null; for messages and THIS_FILE_INST_ROOT
    uint32_t line;          ///< the line the text comes from, or VEK_INTERP_NO_LINE
    char *errorBuffer;      ///< receives the message, cut to fit and NUL-terminated; may be null
    size_t errorBufferSize; ///< its size in bytes, the NUL included
    int32_t errorPosition;  ///< result: offset of the reference that failed last, or -1
    int32_t errorCode;      ///< result: VEK_INTERP_OK, or the code of the last error
    size_t neededSize;      ///< result: bytes of the whole output, the NUL included, whether it fits or not;
                            ///< unset for null arguments, `outSize` when memory is exhausted
} vekInterpArgs;

/// Expands the references in `in`. One that cannot be expanded is copied as it stands. Reads the environment,
/// the user database and the installation roots. Not re-entrant.
///
/// @param in        the text; null is error 7
/// @param out       receives the result, always NUL-terminated, cut when it does not fit; null is error 7; may
///                  be `in`
/// @param outSize   bytes of `out`, the NUL included; 0 writes nothing
/// @param args      options and results, or null for none
/// @param argsSize  sizeof(vekInterpArgs); another value is reported on standard error and the record used
///                  all the same. Not looked at when `args` is null
/// @return 1 on success, 0 after any error
VEK_API int vekInterpolate(const char *in, char *out, size_t outSize, vekInterpArgs *args, size_t argsSize);

VEK_END_DECLS

#endif
