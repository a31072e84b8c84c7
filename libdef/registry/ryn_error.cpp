// Implements error reporting: the message texts of the RYN_ codes, the calls of error handlers and fatal handlers, and
// the default warning handler. The code of the last diagnostic and the fatal handler of the process are
// shared by all registries.

#include "libdef/registry/ryni_error.h"

#include "common/base/print.h"
#include "common/base/vek_version.h"
#include "libdef/registry/ryni_records.h"

#include <array>
#include <cstddef>
#include <cstdio>

[[gnu::used, gnu::retain]] const char ryniIdentString[] =
    "@(#)$VEK: RYN version 06.01 09/07/2006 03:05 (vek-" VEK_VERSION ") $";

namespace {

/// The state of error reporting, shared by all registries of the process.
struct ErrorState {
    int lastError;                ///< code of the last diagnostic that printWarning() printed
    bool usesDefaultWarning;      ///< whether any registry was ever created with the handler printWarning()
    rynErrorHandler fatalHandler; ///< called if there is no registry or it has no fatal handler; may be null
};

ErrorState errorState;

/// Message texts that rynGetErrorMsg() returns, indexed by RYN_ code.
constexpr std::array<const char *, RYN_INVALID_ERROR_NUMBER + 1> kMessages = {
    "No error",
    "Internal error",
    "Memory error",
    "System error",
    "No such directory",
    "Library not defined",
    "No such cell",
    "No such view",
    "No such file",
    "Attribute not assigned",
    "File not included",
    "Permission denied",
    "Permission denied on library",
    "Permission denied on cell",
    "Permission denied on view",
    "Permission denied on file",
    "Syntax error",
    "Directory used multiple times",
    "VEK.LIB file included multiple times",
    "Invalid attribute",
    "Invalid path",
    "Invalid environment variable",
    "Invalid Parameter",
    "Return buffer to small",
    "Meta-data file exists",
    "Meta-data file is locked",
    "Incorrect iteration context type",
    "Iteration complete",
    "Library doesn't have a VEKLIBRARY entry in its vekinfo.tag file",
    "Libraries differ only by case",
    "Same file has different definitions for library",
    "Library redefined",
    "VEK.LIB file not found",
    "No VEK.LIB file line number for given command",
    "Library not defined in given VEK.LIB file",
    "Unable to lock a file",
    "Operation not supported for packed libraries",
    "Invalid error number",
};

/// Returns `text`, or "(null)" if `text` is a null pointer, because the behaviour of printf() is undefined if it
/// receives a null pointer for %s.
const char *orNull(const char *text) {
    return text == nullptr ? "(null)" : text;
}

} // namespace

const char *rynGetErrorMsg(int code) {
    const bool known = code >= 0 && code < RYN_INVALID_ERROR_NUMBER;
    return kMessages[static_cast<std::size_t>(known ? code : RYN_INVALID_ERROR_NUMBER)];
}

int ryni_do_fatal(const rynRegistry *registry, int code, const char *context) {
    const bool hasOwnHandler = registry != nullptr && registry->fatalHandler != nullptr;
    const rynErrorHandler handler = hasOwnHandler ? registry->fatalHandler : errorState.fatalHandler;
    if (handler != nullptr) {
        handler(code, context, context);
        return code;
    }
    vek::printError("*ERROR* - RYN internal error - %s - %s\n", rynGetErrorMsg(code), orNull(context));
    return code;
}

int ryni_do_error(const rynRegistry *registry, int code, const char *text) {
    if (registry != nullptr && registry->errorHandler != nullptr) {
        registry->errorHandler(code, text, text);
        return code;
    }
    vek::printError("RYN  error: %s \"%s\"\n", rynGetErrorMsg(code), orNull(text));
    return code;
}

int ryni_getLastErr(void) {
    return errorState.lastError;
}

void ryni_setLastErr(int code) {
    errorState.lastError = code;
}

int ryni_useDefaultWarn(void) {
    return errorState.usesDefaultWarning ? 1 : 0;
}

int ryn::printWarning(int code, const char *object, const char *file, int line) {
    vek::printError("Error at line %d of %s for %s:\n\t%s\n", line, orNull(file), orNull(object),
                    rynGetErrorMsg(code));
    if (code != RYN_OK) {
        errorState.lastError = code;
    }
    return RYN_OK;
}

int ryn::silentWarning(int code, const char * /*object*/, const char * /*file*/, int /*line*/) {
    return code;
}

void ryn::setDefaultWarningUsed() {
    errorState.usesDefaultWarning = true;
}

void ryn::setFirstFatalHandler(rynErrorHandler handler) {
    if (errorState.fatalHandler == nullptr) {
        errorState.fatalHandler = handler;
    }
}
