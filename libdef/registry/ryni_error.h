#ifndef RYNI_ERROR_H
#define RYNI_ERROR_H

/// The reports of this layer: fatal errors, errors, and the diagnostics (warnings) of library definition files. Also
/// the last error: the code of the newest diagnostic that the default warning handler has printed.

#include "libdef/ryn.h"

VEK_BEGIN_DECLS

/// Reports misuse, or a failure that ends an operation. Calls the fatal handler of `registry`; if it has none, that
/// of the process; if there is none, prints on standard error.
///
/// @param registry  may be null
/// @param code      a RYN_ code
/// @param context   a text such as the name of the called function or a path; may be null
/// @return `code`
int ryni_do_fatal(const rynRegistry *registry, int code, const char *context);

/// Reports an error of rynSetImplicitTmp(). Calls the error handler of `registry`; if there is none, prints on
/// standard error.
///
/// @param registry  may be null
/// @param code      a RYN_ code
/// @param text      the path that the error is about; may be null
/// @return `code`
int ryni_do_error(const rynRegistry *registry, int code, const char *text);

/// @return the last error: the code other than RYN_OK that printWarning() received last since ryni_setLastErr(), or
///         the code that ryni_setLastErr() set
int ryni_getLastErr(void);
/// Sets the last error to `code`.
void ryni_setLastErr(int code);

/// @return 1 if any registry of the process was ever created with the default warning handler, otherwise 0
int ryni_useDefaultWarn(void);

/// Identification string of this layer for the program what(1), which searches executables for "@(#)".
extern const char ryniIdentString[];

VEK_END_DECLS

namespace ryn {

/// The default warning handler: prints the diagnostic on standard error. Stores `code` as the last error, unless it
/// is RYN_OK.
/// @param object, file  may be null
/// @return RYN_OK
int printWarning(int code, const char *object, const char *file, int line);

/// The warning handler while rynAddCommand() runs: prints nothing, since invalid statements are not reported there.
/// @return `code`, so that a diagnostic is the status of the statement
int silentWarning(int code, const char *object, const char *file, int line);

/// Makes ryni_useDefaultWarn() return 1 from now on.
void setDefaultWarningUsed();

/// Sets the fatal handler of the process to `handler`. Does nothing if a handler has been set before.
void setFirstFatalHandler(rynErrorHandler handler);

} // namespace ryn

#endif
