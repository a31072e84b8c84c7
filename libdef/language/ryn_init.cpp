#include "common/platform/system_path.h"
#include "common/platform/vek_path.h"
#include "common/text/ascii.h"
#include "libdef/access/ryni_access.h"
#include "libdef/language/ryni_parse.h"
#include "libdef/paths/ryni_path_text.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_settings.h"
#include "tagfile/tov.h"

#include <cstdlib>
#include <memory>
#include <string_view>
#include <unistd.h>

namespace {

int acceptAssign(const char * /*attribute*/, const char * /*value*/, const char * /*file*/, int /*line*/) {
    return 0;
}

} // namespace

static struct {
    rynRegistry *defaultHandle;
    int everInitialized;
    rynUnknownAssignHook unknownAssignHook;
    int existenceCheck;
    int libraryCheck;
    int ignoreCase;
} settings = {nullptr, 0, acceptAssign, 0, 0, 0};

namespace {

struct FreeRegistry {
    void operator()(rynRegistry *registry) const { ryniFreeRegistry(registry); }
};
using OwnedRegistry = std::unique_ptr<rynRegistry, FreeRegistry>;

/// Sizes of rynInitOptions that callers may have been compiled with.
constexpr std::size_t kOptionsWithoutHook = 24;
constexpr std::size_t kOptionsWithHook = 32;
static_assert(sizeof(rynInitOptions) == kOptionsWithHook);

constexpr unsigned kUmaskBits = 63;

/// The caller's text of the working directory keeps the symbolic links in it, when it names that directory.
bool findCurrentDirectory(rynRegistry *registry, vek::PathText &directory) {
    vek::PathText userText;
    const char *environment = std::getenv("PWD");
    const bool hasUserText = environment != nullptr && userText.assign(environment);
    userText.edit(vekCanonicalizeDirSep);
    if (!vek::readWorkingDirectory(directory)) {
        return false;
    }
    vek::PathText resolved;
    vek::PathText error;
    if (hasUserText && ryn::generateNslPath(userText.c_str(), resolved, error, registry) == RYN_OK &&
        directory.view() == resolved.view()) {
        return directory.assign(userText.view());
    }
    return true;
}

int setCurrentDirectory(rynRegistry *registry) {
    vek::PathText directory;
    if (!findCurrentDirectory(registry, directory)) {
        return ryni_do_fatal(nullptr, RYN_SYSTEM_ERROR, "unable to get current working directory");
    }
    if (ryniStrcpy(&registry->currentDirectory, directory.c_str()) != RYN_OK) {
        return ryni_do_fatal(nullptr, RYN_MEMORY_ERROR, "rynInit() - 2");
    }
    return RYN_OK;
}

int applyOptions(rynRegistry *registry, const rynInitOptions *options, std::size_t size) {
    if (options == nullptr || size < kOptionsWithoutHook) {
        return RYN_OK;
    }
    registry->errorHandler = options->errorHandler;
    if (options->implicitTmpDirectory != nullptr && options->implicitTmpFlags != 0) {
        const int status = rynSetImplicitTmp(registry, options->implicitTmpDirectory,
                                             static_cast<unsigned>(options->implicitTmpFlags), nullptr);
        if (status != RYN_OK) {
            return status;
        }
    }
    if (size >= kOptionsWithHook && options->unknownAssignHook != nullptr) {
        registry->unknownAssignHook = options->unknownAssignHook;
    }
    return RYN_OK;
}

void readCaseSetting() {
    const char *value = std::getenv("VEK_ALT_NMP");
    settings.ignoreCase = value != nullptr && vek::equalNoCase(value, "match") ? 1 : 0;
}

int readTopFile(rynRegistry *registry, const char *libraryFile) {
    settings.libraryCheck = tovCheckLibrary();
    readCaseSetting();
    vek::PathText name;
    vek::PathText path;
    vek::PathText error;
    if (!name.assign(libraryFile)) {
        return ryni_do_fatal(registry, RYN_INVALID_PATH, libraryFile);
    }
    name.edit(vekCanonicalizeDirSep);
    const int status = ryn::generateFullPath(name.c_str(), registry->currentDirectory, path, error, registry);
    if (status != RYN_OK) {
        return ryni_do_fatal(registry, status, error.c_str());
    }
    return ryni_parse_veklib_file(path.c_str(), registry, nullptr);
}

int create(const char *libraryFile, unsigned flags, rynWarningHandler warningHandler,
           rynErrorHandler fatalHandler, const rynInitOptions *options, std::size_t optionsSize,
           OwnedRegistry &created) {
    created.reset(ryniNewRegistry());
    if (!created) {
        return ryni_do_fatal(nullptr, RYN_MEMORY_ERROR, "rynInit() - 1");
    }
    created->flags = flags;
    created->fatalHandler = fatalHandler;
    created->warningHandler = warningHandler;
    created->unknownAssignHook = settings.unknownAssignHook;
    if (warningHandler == nullptr) {
        created->warningHandler = ryniDefaultWarning;
        ryniSetUseDefaultWarn();
    }
    ryni_getenv_stat_cache();
    int status = setCurrentDirectory(created.get());
    if (status == RYN_OK) {
        status = applyOptions(created.get(), options, optionsSize);
    }
    if (status == RYN_OK && libraryFile != nullptr) {
        status = readTopFile(created.get(), libraryFile);
    }
    return status;
}

} // namespace

int rynInitEx(const char *libraryFile, unsigned flags, rynWarningHandler warningHandler,
              rynErrorHandler fatalHandler, const rynInitOptions *options, size_t optionsSize,
              rynHandle *handleOut) {
    if (handleOut != nullptr) {
        *handleOut = nullptr;
    }
    ryni_setUidGid();
    ryniSetFirstFatalHandler(fatalHandler);
    OwnedRegistry registry;
    const int status =
        create(libraryFile, flags, warningHandler, fatalHandler, options, optionsSize, registry);
    if (status != RYN_OK) {
        return status;
    }
    settings.everInitialized = 1;
    settings.defaultHandle = registry.release();
    if (handleOut != nullptr) {
        *handleOut = settings.defaultHandle;
    }
    return RYN_OK;
}

int rynInit(const char *libraryFile, unsigned flags, rynWarningHandler warningHandler,
            rynErrorHandler fatalHandler, rynHandle *handleOut) {
    return rynInitEx(libraryFile, flags, warningHandler, fatalHandler, nullptr, 0, handleOut);
}

int rynInitialize(const char *libraryFile, rynWarningHandler warningHandler, rynHandle *handleOut) {
    return rynInit(libraryFile, 0, warningHandler, nullptr, handleOut);
}

int rynReleaseHandle(rynHandle handle) {
    rynRegistry *registry = ryniRegistryOf(handle);
    if (registry == nullptr) {
        return ryni_do_fatal(nullptr, RYN_INVALID_PARAMETER, "rynReleaseHandle()");
    }
    if (registry == settings.defaultHandle) {
        settings.defaultHandle = nullptr;
    }
    ryniFreeRegistry(registry);
    return RYN_OK;
}

rynHandle *rynGetCurHandle(void) {
    return settings.everInitialized != 0 ? &settings.defaultHandle : nullptr;
}

rynRegistry *ryniRegistryOf(rynHandle handle) {
    return handle != nullptr ? handle : settings.defaultHandle;
}

int rynSetUmask(rynHandle handle, unsigned mask) {
    rynRegistry *registry = ryniRegistryOf(handle);
    if (registry == nullptr) {
        return ryni_do_fatal(nullptr, RYN_INVALID_PARAMETER, "rynSetUmask()");
    }
    registry->flags |= RYN_FLAG_UMASK_SET;
    registry->umask = mask & kUmaskBits;
    return RYN_OK;
}

rynUnknownAssignHook rynSetUnknownASSIGNfunc(rynUnknownAssignHook hook) {
    const rynUnknownAssignHook previous = settings.unknownAssignHook;
    settings.unknownAssignHook = hook;
    return previous;
}

void rynSetPathNoneExistWarnFlag(int on) {
    settings.existenceCheck = on;
}

int ryniCheckPathNoneExistWarnFlag(const rynRegistry *registry) {
    if (registry != nullptr && (registry->flags & RYN_FLAG_OWN_EXISTENCE_CHECK) != 0) {
        return (registry->flags & RYN_FLAG_EXISTENCE_CHECK_OFF) == 0 ? 1 : 0;
    }
    return settings.existenceCheck != 0 ? 1 : 0;
}

int ryni_doVekLibCheck(void) {
    return settings.libraryCheck;
}

int ryniIgnoresCase(void) {
    return settings.ignoreCase;
}
