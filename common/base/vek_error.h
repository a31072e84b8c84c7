#ifndef VEK_ERROR_H
#define VEK_ERROR_H

/// The error hook: a process-wide function that receives each complete error message of the library.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// An error hook: receives one complete message. `message` is valid during the call only. The function may call
/// any function of the library; one that reports an error calls the hook again.
typedef void (*vekErrorFunc)(const char *message);

/// Sets the error hook.
///
/// @param function  the function that receives every later message; null restores the default, which prints each
///                  message on standard error
/// @return the previous hook; null if there was none
VEK_API vekErrorFunc vekRegErrorFunc(vekErrorFunc function);

/// @return the error hook; null if messages go to standard error
VEK_API vekErrorFunc vekGetErrorFunc(void);

/// Reports `message`. The error hook receives it unchanged. Without a hook, `message` and a newline are written
/// to standard error. The library's own messages already end with a newline, so an empty line follows them on
/// standard error.
///
/// @param message  a complete text, never used as a format; null is reported as the empty string
VEK_API void vekReportError(const char *message);

VEK_END_DECLS

#endif
