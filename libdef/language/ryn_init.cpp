#include "common/platform/system_path.h"
#include "common/platform/vek_path.h"
#include "common/text/ascii.h"
#include "libdef/access/ryni_tmp.h"
#include "libdef/language/ryni_parse.h"
#include "libdef/paths/ryni_full_path.h"
#include "libdef/paths/ryni_nsl_path.h"
#include "libdef/paths/ryni_quick_access.h"
#include "libdef/paths/ryni_stat_cache.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_owned_text.h"
#include "libdef/registry/ryni_registry.h"
#include "libdef/registry/ryni_settings.h"
#include "tagfile/tov.h"

#include <cstdlib>
#include <memory>
#include <string_view>
#include <unistd.h>

// Implements rynInit(), rynInitEx(), rynInitialize() and rynReleaseHandle(): creates a registry (a set of library
// definitions), empty or from a library definition file, and frees it. Also implements rynSetUmask().

namespace {

struct FreeRegistry {
    void operator()(rynRegistry *registry) const { ryn::freeRegistry(registry); }
};
using OwnedRegistry = std::unique_ptr<rynRegistry, FreeRegistry>;

/// Documented: rynInitEx() ignores all options if its argument `optionsSize` is less than this number of bytes. It is
/// the size of all fields of rynInitOptions except the last one, unknownAssignHook.
constexpr std::size_t kOptionsWithoutHook = 24;
/// Documented: rynInitEx() reads the field unknownAssignHook only if its argument `optionsSize` is at least this number
/// of bytes.
constexpr std::size_t kOptionsWithHook = 32;
static_assert(sizeof(rynInitOptions) == kOptionsWithHook);

constexpr unsigned kUmaskBits = 63; // octal 77: the bits for group and other

/// Stores the path of the working directory in `directory`: the value of the environment variable PWD if PWD names the
/// working directory, otherwise the result of getcwd(). PWD is preferred, because it still contains the symbolic links
/// in the path that the user entered.
/// @return false if getcwd() fails
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
    if (!ryn::replaceText(registry->currentDirectory, directory.view())) {
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

int readTopFile(rynRegistry *registry, const char *libraryFile) {
    ryn::settings.libraryCheck = tovCheckLibrary() != 0;
    const char *const caseSetting = std::getenv("VEK_ALT_NMP");
    ryn::settings.ignoresCase = caseSetting != nullptr && vek::equalNoCase(caseSetting, "match");
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
    ryn::RootProgress progress;
    return ryn::readTopFile(*registry, path.c_str(), progress);
}

int create(const char *libraryFile, unsigned flags, rynWarningHandler warningHandler,
           rynErrorHandler fatalHandler, const rynInitOptions *options, std::size_t optionsSize,
           OwnedRegistry &created) {
    created.reset(ryn::newRegistry());
    if (!created) {
        return ryni_do_fatal(nullptr, RYN_MEMORY_ERROR, "rynInit() - 1");
    }
    created->flags = flags;
    created->fatalHandler = fatalHandler;
    created->warningHandler = warningHandler;
    created->unknownAssignHook = ryn::settings.unknownAssignHook;
    if (warningHandler == nullptr) {
        created->warningHandler = ryn::printWarning;
        ryn::setDefaultWarningUsed();
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
    ryn::setFirstFatalHandler(fatalHandler);
    OwnedRegistry registry;
    const int status =
        create(libraryFile, flags, warningHandler, fatalHandler, options, optionsSize, registry);
    if (status != RYN_OK) {
        return status;
    }
    ryn::settings.everInitialized = true;
    ryn::settings.defaultHandle = registry.release();
    if (handleOut != nullptr) {
        *handleOut = ryn::settings.defaultHandle;
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
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr) {
        return ryni_do_fatal(nullptr, RYN_INVALID_PARAMETER, "rynReleaseHandle()");
    }
    if (registry == ryn::settings.defaultHandle) {
        ryn::settings.defaultHandle = nullptr;
    }
    ryn::freeRegistry(registry);
    return RYN_OK;
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
