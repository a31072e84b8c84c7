#ifndef RYNI_ERROR_H
#define RYNI_ERROR_H

/// The three report paths of this layer, and the last-error value.

#include "libdef/ryn.h"

VEK_BEGIN_DECLS

/// Reports a misuse or a failure that ends an operation: to the registry's fatal handler, or the process-wide
/// one, or standard error.
///
/// @param registry  may be null
/// @return `code`
int ryni_do_fatal(const rynRegistry *registry, int code, const char *context);

/// Reports an error of rynSetImplicitTmp(): to the registry's error handler, or standard error.
/// @return `code`
int ryni_do_error(const rynRegistry *registry, int code, const char *text);

/// The warning handler of registries that were given none: prints the diagnostic on standard error, keeps its
/// code as the last error and returns 0. `object` may be null.
int ryniDefaultWarning(int code, const char *object, const char *file, int line);

/// The warning handler of rynAddCommand(): prints nothing. @return `code`
int ryniSilentWarning(int code, const char *object, const char *file, int line);

/// The last non-zero code that the default warning handler saw since it was reset.
int ryni_getLastErr(void);
void ryni_setLastErr(int code);

/// @return 1 once any registry was created with the default warning handler
int ryni_useDefaultWarn(void);
/// Makes ryni_useDefaultWarn() answer 1 from now on.
void ryniSetUseDefaultWarn(void);

/// Sets the process-wide fatal handler, unless there is one.
void ryniSetFirstFatalHandler(rynErrorHandler handler);

/// What-string of this layer.
extern const char ryniIdentString[];

VEK_END_DECLS

#endif
