#ifndef RYNI_ERROR_H
#define RYNI_ERROR_H

/// The three kinds of reports of this layer, and the last-error value.

#include "libdef/ryn.h"

VEK_BEGIN_DECLS

/// Reports misuse or a failure that ends an operation: to the fatal handler of the registry, otherwise to that of the
/// process, otherwise on standard error.
///
/// @param registry  may be null
/// @return `code`
int ryni_do_fatal(const rynRegistry *registry, int code, const char *context);

/// Reports an error of rynSetImplicitTmp(): to the error handler of the registry, otherwise on standard error.
///
/// @param registry  may be null
/// @return `code`
int ryni_do_error(const rynRegistry *registry, int code, const char *text);

/// @return the last non-zero code that the default warning handler has received since ryni_setLastErr()
int ryni_getLastErr(void);
void ryni_setLastErr(int code);

/// @return 1 if a registry was ever created with the default warning handler, otherwise 0
int ryni_useDefaultWarn(void);

/// What-string of this layer.
extern const char ryniIdentString[];

VEK_END_DECLS

namespace ryn {

/// The default warning handler: prints the diagnostic on standard error and stores its code as the last error.
/// @param object  may be null
/// @return RYN_OK
int printWarning(int code, const char *object, const char *file, int line);

/// The warning handler of rynAddCommand(): prints nothing. @return `code`
int silentWarning(int code, const char *object, const char *file, int line);

/// Makes ryni_useDefaultWarn() return 1 from now on.
void setDefaultWarningUsed();

/// Sets the fatal handler of the process, unless it is set already.
void setFirstFatalHandler(rynErrorHandler handler);

} // namespace ryn

#endif
