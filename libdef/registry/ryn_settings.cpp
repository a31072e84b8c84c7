#include "libdef/registry/ryni_settings.h"

namespace {

/// The callback that checks attributes of ASSIGN statements until the program sets one with rynSetUnknownASSIGNfunc().
/// Accepts every attribute by returning 0.
int acceptAssign(const char * /*attribute*/, const char * /*value*/, const char * /*file*/, int /*line*/) {
    return 0;
}

} // namespace

ryn::Settings ryn::settings = {.defaultHandle = nullptr,
                               .everInitialized = false,
                               .unknownAssignHook = acceptAssign,
                               .mustExist = false,
                               .libraryCheck = false,
                               .ignoresCase = false};

rynHandle *rynGetCurHandle(void) {
    return ryn::settings.everInitialized ? &ryn::settings.defaultHandle : nullptr;
}

rynUnknownAssignHook rynSetUnknownASSIGNfunc(rynUnknownAssignHook hook) {
    const rynUnknownAssignHook previous = ryn::settings.unknownAssignHook;
    ryn::settings.unknownAssignHook = hook;
    return previous;
}

void rynSetPathNoneExistWarnFlag(int on) {
    ryn::settings.mustExist = on != 0;
}

int ryni_doVekLibCheck(void) {
    return ryn::settings.libraryCheck ? 1 : 0;
}
