#include "libdef/registry/ryni_settings.h"

#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_registry.h"

namespace {

constexpr unsigned kUmaskBits = 63; // those for group and other

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

int rynSetUmask(rynHandle handle, unsigned mask) {
    rynRegistry *const registry = ryn::registryOf(handle);
    if (registry == nullptr) {
        return ryni_do_fatal(nullptr, RYN_INVALID_PARAMETER, "rynSetUmask()");
    }
    registry->flags |= RYN_FLAG_UMASK_SET;
    registry->umask = mask & kUmaskBits;
    return RYN_OK;
}

rynUnknownAssignHook rynSetUnknownASSIGNfunc(rynUnknownAssignHook hook) {
    const rynUnknownAssignHook previous = ryn::settings.unknownAssignHook;
    ryn::settings.unknownAssignHook = hook;
    return previous;
}

void rynSetPathNoneExistWarnFlag(int on) {
    ryn::settings.mustExist = on != 0;
}

int ryniCheckPathNoneExistWarnFlag(const rynRegistry *registry) {
    bool mustExist = ryn::settings.mustExist;
    if (registry != nullptr && (registry->flags & RYN_FLAG_OWN_EXISTENCE_CHECK) != 0) {
        mustExist = (registry->flags & RYN_FLAG_EXISTENCE_CHECK_OFF) == 0;
    }
    return mustExist ? 1 : 0;
}

int ryni_doVekLibCheck(void) {
    return ryn::settings.libraryCheck ? 1 : 0;
}
