#ifndef RYNI_ERROR_H
#define RYNI_ERROR_H

/// Error reporting: fatal errors, errors, and diagnostics (warnings) about library definition files. Each is passed to
/// a callback (handler) of the registry or, if there is none, printed on standard error.
/// Also stores the last error of the process: the code of the newest diagnostic that was printed.

#include "libdef/ryn.h"

VEK_BEGIN_DECLS

/// Reports a fatal error: wrong use of the library, or a failure that ends an operation. Calls the fatal handler of
/// `registry`. If there is none, calls the fatal handler of the process. If there is none either, prints the error on
/// standard error.
///
/// @param registry  may be null
/// @param code      the RYN_ code of the error
/// @param context   a text that describes the error, such as a path or the name of the called function; may be null
/// @return `code`, so that the caller can return the result
int ryni_do_fatal(const rynRegistry *registry, int code, const char *context);

/// Reports an error of rynSetImplicitTmp(). Calls the error handler of `registry`; if there is none, prints the error
/// on standard error.
///
/// @param registry  may be null
/// @param code      the RYN_ code of the error
/// @param text      the path that the error is about; may be null
/// @return `code`, so that the caller can return the result
int ryni_do_error(const rynRegistry *registry, int code, const char *text);

/// Returns the last error of the process: the code that was last stored by ryni_setLastErr(), or by printWarning(),
/// which stores all codes except RYN_OK.
int ryni_getLastErr(void);
/// Sets the last error of the process to `code`, the value that ryni_getLastErr() then returns.
void ryni_setLastErr(int code);

/// Returns 1 if any registry of the process was ever created with the default warning handler, which prints diagnostics
/// on standard error. Otherwise returns 0.
int ryni_useDefaultWarn(void);

/// Version text of this part of the library. The program what(1) finds and prints it, because it begins with "@(#)".
extern const char ryniIdentString[];

VEK_END_DECLS

namespace ryn {

/// The default warning handler: prints a diagnostic of a library definition file on standard error. Stores `code` as
/// the last error of the process, unless `code` is RYN_OK.
/// @param code    the RYN_ code of the diagnostic
/// @param object  the name or path that the diagnostic is about; may be null
/// @param file    the path of the library definition file; may be null
/// @param line    the line number of the statement in `file`
/// @return RYN_OK, so that reading continues with the next line
int printWarning(int code, const char *object, const char *file, int line);

/// A warning handler that prints nothing. It is set while rynAddCommand() runs, because rynAddCommand() does not report
/// invalid statements.
/// @return `code`, which then becomes the status of the invalid statement
int silentWarning(int code, const char *object, const char *file, int line);

/// Makes ryni_useDefaultWarn() return 1 until the process ends. Called when a registry with the default warning handler
/// is created.
void setDefaultWarningUsed();

/// Sets the fatal handler of the process to `handler`, unless the process already has one. ryni_do_fatal() calls this
/// handler for errors without a registry, and for registries without a fatal handler.
void setFirstFatalHandler(rynErrorHandler handler);

} // namespace ryn

#endif
