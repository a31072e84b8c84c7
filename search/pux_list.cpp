// Builds search lists and stores the default list of the process. The directories of the built-in list are
// searched for the file `setup.loc`. The directories listed in the first such file are the search list. Without such a
// file, the search list is the built-in list.

#include "search/puxi_list.h"

#include "common/base/owned.h"
#include "common/platform/vek_init.h"
#include "common/text/owned_strlist.h"
#include "common/text/vek_strlist.h"
#include "search/pux.h"
#include "search/puxi_access.h"
#include "search/puxi_match.h"
#include "search/puxi_setup_loc.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <utility>

/// The array has static storage duration, because putenv() stores a pointer to it in the environment and does not copy
/// the string.
static char architectureEntry[] = "VEK_ARCH=lnx86";

namespace pux {

namespace {

constexpr std::array<const char *, 9> kErrorTexts = {"No error",
                                                     "Internal error",
                                                     "Memory error",
                                                     "Invalid parameter",
                                                     "Buffer too small",
                                                     "File not found",
                                                     "Permission denied",
                                                     "Searchlist initialization failed",
                                                     "vekInit() has not been called"};

/// The built-in search list. A directory is left out if it cannot be read. It is also left out if a reference in it
/// cannot be replaced, such as an environment variable that is not set.
constexpr std::array<const char *, 7> kDefaultDirectories = {".",
                                                             "$VEK_WORKAREA",
                                                             "$VEK_SEARCHDIR",
                                                             "~",
                                                             "$VEK_PROJECT",
                                                             "$VEK_SITE",
                                                             "$(compute:THIS_TOOL_INST_ROOT)/share"};

/// Makes `list` the default list. Frees the previous default list, unless a caller of the library has received it.
/// @param isShared  true if a caller receives `list`
void setDefaultList(Settings &settings, char **list, bool isShared) {
    if (!settings.listIsShared && settings.list != list) {
        vekFreeStrlist(settings.list);
    }
    settings.list = list;
    settings.listIsShared = isShared;
}

/// Sets the default list to null without freeing it: the caller of this function frees the list.
void dropDefaultList(Settings &settings) {
    settings.list = nullptr;
    settings.listIsShared = false;
}

int buildDefaultList(vek::OwnedStrlist &list) {
    vek::StrlistBuilder directories;
    std::array<char, VEK_SEARCH_PATH_SIZE> directory; // NOLINT(cppcoreguidelines-pro-type-member-init)
    for (const char *entry : kDefaultDirectories) {
        if (puxConvertPath(entry, directory.data()) == PUX_OK && !directories.add(directory.data())) {
            return PUX_MEMORY_ERROR;
        }
    }
    list = directories.take();
    return list ? PUX_OK : PUX_INITIALIZATION_FAILED;
}

/// Searches `defaults` for the first file `setup.loc` and stores the directories in this file in `list`. If there is
/// no `setup.loc`, or the first one cannot be read, `list` remains null.
/// @return PUX_OK, also if `list` remains null; otherwise the code of the error
int readSetupLoc(char **defaults, vek::OwnedStrlist &list) {
    std::array<char, VEK_SEARCH_PATH_SIZE> path; // NOLINT(cppcoreguidelines-pro-type-member-init)
    const int searched = searchList(
        {.name = "setup.loc", .groups = kDefaultGroups, .out = path.data(), .outSize = path.size()},
        defaults);
    if (searched == PUX_FILE_NOT_FOUND || searched == PUX_PERMISSION_DENIED) {
        return PUX_OK;
    }
    if (searched != PUX_OK) {
        return searched;
    }
    char **parsed = nullptr;
    const int code = pux_parse_setup_loc(path.data(), &parsed);
    list.reset(parsed);
    return code;
}

int buildSearchList(const Settings &settings, vek::OwnedStrlist &list) {
    if (const int code = buildDefaultList(list); code != PUX_OK) {
        return code;
    }
    vek::OwnedStrlist replacement;
    if (const int code = readSetupLoc(list.get(), replacement); code != PUX_OK) {
        return code;
    }
    if (vekGetStrlistSize(replacement.get()) != 0) {
        list = std::move(replacement);
    }
    for (char **entry = list.get(); settings.startDirectory != nullptr && *entry != nullptr; ++entry) {
        if (std::string_view(*entry) == ".") {
            char *const directory = pux_mkstring(settings.startDirectory);
            if (directory == nullptr) {
                return PUX_MEMORY_ERROR;
            }
            std::free(std::exchange(*entry, directory));
        }
    }
    return PUX_OK;
}

} // namespace

Settings &processSettings() {
    static constinit Settings settings = {};
    return settings;
}

int initialize(Settings &settings, char ***h) {
    if (vekInitDone() == 0) {
        return PUX_NOT_INITIALIZED;
    }
    if (h != nullptr) {
        *h = nullptr;
    }
    recordEffectiveIds();
    settings.hasArchitecture = settings.hasArchitecture || putenv(architectureEntry) == 0;
    if (!settings.hasArchitecture) {
        return PUX_MEMORY_ERROR;
    }
    vek::OwnedStrlist list;
    if (const int code = buildSearchList(settings, list); code != PUX_OK) {
        return code;
    }
    // Documented: the new list becomes the default list even if the caller receives it in `h`. If the caller then
    // releases the list, there is no default list until the next search builds one.
    setDefaultList(settings, list.release(), h != nullptr);
    if (h != nullptr) {
        *h = settings.list;
    }
    return PUX_OK;
}

int release(Settings &settings, char **list) {
    char **const released = list == nullptr ? settings.list : list;
    if (released == nullptr) {
        return PUX_INVALID_PARAMETER;
    }
    if (released == settings.list) {
        dropDefaultList(settings);
    }
    vekFreeStrlist(released);
    return PUX_OK;
}

int insert(Settings &settings, char ***h, const char *dir) {
    if (dir == nullptr) {
        return PUX_OK;
    }
    char **const old = h == nullptr ? settings.list : *h;
    const auto count = static_cast<std::size_t>(vekGetStrlistSize(old));
    vek::OwnedText entry = vek::copyText(dir);
    auto *const list = static_cast<char **>(std::malloc((count + 2) * sizeof(char *)));
    if (!entry || list == nullptr) {
        std::free(list);
        return PUX_MEMORY_ERROR;
    }
    std::copy_n(old, count, list + 1);
    list[0] = entry.release();
    list[count + 1] = nullptr;
    if (old == settings.list) {
        dropDefaultList(settings);
    }
    std::free(old);
    setDefaultList(settings, list, h != nullptr);
    if (h != nullptr) {
        *h = list;
    }
    return PUX_OK;
}

} // namespace pux

const char *puxGetErrorMsg(int code) {
    const bool isKnown = code >= 0 && static_cast<std::size_t>(code) < pux::kErrorTexts.size();
    return isKnown ? pux::kErrorTexts[static_cast<std::size_t>(code)] : "Invalid error number";
}

int puxInitialize(char ***h) {
    return pux::initialize(pux::processSettings(), h);
}

int puxReleaseHandle(char **list) {
    return pux::release(pux::processSettings(), list);
}

void puxSetCwdToSearchList(const char *dir) {
    char *const copy = dir == nullptr || *dir == '\0' ? nullptr : pux_mkstring(dir);
    if (copy != nullptr) {
        std::free(std::exchange(pux::processSettings().startDirectory, copy));
    }
}

int puxInsertToSearchList(char ***h, const char *dir) {
    return pux::insert(pux::processSettings(), h, dir);
}

char *pux_mkstring(const char *s) {
    return s == nullptr ? nullptr : vek::copyText(s).release();
}
