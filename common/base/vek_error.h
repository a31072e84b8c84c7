#ifndef VEK_ERROR_H
#define VEK_ERROR_H

/// The error hook: a function of the program, registered for the whole process, that receives the messages of
/// vekReportError(). Some errors are printed on standard error instead; the manual page lists all messages.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// The type of an error hook, a function that receives one complete error message. `message` is valid only
/// during the call. The hook may call any function of the library. If that function reports an error, the hook
/// is called again.
typedef void (*vekErrorFunc)(const char *message);

/// Sets the error hook, the function that receives every later message of vekReportError().
///
/// @param function  the new hook; null restores the default, which prints each message on standard error
/// @return the previous hook; null if there was none
VEK_API vekErrorFunc vekRegErrorFunc(vekErrorFunc function);

/// @return the error hook that vekRegErrorFunc() has set; null if there is none, and messages are then printed
///         on standard error
VEK_API vekErrorFunc vekGetErrorFunc(void);

/// Reports the error message `message`. If an error hook is set, calls it with the unchanged message. Otherwise
/// writes the message and a newline to standard error. The library's own messages already end with a newline,
/// so an empty line follows them on standard error.
///
/// @param message  a complete text, never used as a format; null is reported as the empty string
VEK_API void vekReportError(const char *message);

VEK_END_DECLS

#endif
