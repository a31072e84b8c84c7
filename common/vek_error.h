#ifndef VEK_ERROR_H
#define VEK_ERROR_H

/// The error hook: where the common infrastructure sends each finished error line.

#include "common/vek_api.h"

VEK_BEGIN_DECLS

/// Receives one finished message. The text is borrowed for the length of the call.
typedef void (*vekErrorFunc)(const char *message);

/// Installs the function that receives every reported message from now on.
///
/// @param function  the receiver, or null to send messages to standard error again
/// @return the function installed before, null when there was none
VEK_API vekErrorFunc vekRegErrorFunc(vekErrorFunc function);

/// @return the installed function, or null while messages go to standard error
VEK_API vekErrorFunc vekGetErrorFunc(void);

/// Reports `message`: to the installed function, exactly as it stands, or, when there is none, to standard
/// error with a newline behind it.
///
/// @param message  a finished text, never read as a format; null is reported as the empty text
VEK_API void vekReportError(const char *message);

VEK_END_DECLS

#endif
