#include "search/pux.h"

#include "common/base/owned.h"
#include "common/platform/vek_init.h"
#include "common/platform/vek_path.h"
#include "common/text/owned_strlist.h"
#include "common/text/vek_strlist.h"
#include "search/puxi_search.h"
#include "search/vek_interp.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

static struct {
    char **list;          ///< the default list
    bool listIsShared;    ///< whether a caller may hold it, too
    char *startDirectory; ///< what "." stands for in lists built from now on, or null for "." itself
    bool hasArchitecture; ///< whether the entry below is in the environment
} searchFiles;

/// Part of the environment from the first initialization on, so it must stay where it is.
static char architectureEntry[] = "VEK_ARCH=lnx86";

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

/// Where configuration files are looked for unless a `setup.loc` says otherwise.
constexpr std::array<const char *, 7> kDefaultDirectories = {".",
                                                             "$VEK_WORKAREA",
                                                             "$VEK_SEARCHDIR",
                                                             "~",
                                                             "$VEK_PROJECT",
                                                             "$VEK_SITE",
                                                             "$(compute:THIS_TOOL_INST_ROOT)/share"};

bool enterArchitecture() {
    if (!searchFiles.hasArchitecture) {
        searchFiles.hasArchitecture = putenv(architectureEntry) == 0;
    }
    return searchFiles.hasArchitecture;
}

/// Makes `list` the default list. One that is replaced and that nobody else holds is freed.
void setDefaultList(char **list, bool shared) {
    if (!searchFiles.listIsShared && searchFiles.list != list) {
        vekFreeStrlist(searchFiles.list);
    }
    searchFiles.list = list;
    searchFiles.listIsShared = shared;
}

/// Forgets the default list, whose array is gone or about to go.
void dropDefaultList() {
    searchFiles.list = nullptr;
    searchFiles.listIsShared = false;
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

/// Reads the list of the first `setup.loc` along `defaults`; `list` stays null when there is none.
int readSetupLoc(char **defaults, vek::OwnedStrlist &list) {
    std::array<char, VEK_SEARCH_PATH_SIZE> path; // NOLINT(cppcoreguidelines-pro-type-member-init)
    // A search builds the default list when there is none: while this one runs, it is the list being built.
    char **const previous = std::exchange(searchFiles.list, defaults);
    const int searched = puxSearch(defaults, "setup.loc", path.data(), path.size());
    searchFiles.list = previous;
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

/// Replaces every "." by the saved start directory.
int useStartDirectory(char **list) {
    if (searchFiles.startDirectory == nullptr) {
        return PUX_OK;
    }
    for (; *list != nullptr; ++list) {
        if (std::string_view(*list) != ".") {
            continue;
        }
        char *const directory = pux_mkstring(searchFiles.startDirectory);
        if (directory == nullptr) {
            return PUX_MEMORY_ERROR;
        }
        std::free(std::exchange(*list, directory));
    }
    return PUX_OK;
}

int buildSearchList(vek::OwnedStrlist &list) {
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
    return useStartDirectory(list.get());
}

} // namespace

char **puxiDefaultList(void) {
    return searchFiles.list;
}

const char *puxGetErrorMsg(int code) {
    const bool known = code >= 0 && static_cast<std::size_t>(code) < kErrorTexts.size();
    return known ? kErrorTexts[static_cast<std::size_t>(code)] : "Invalid error number";
}

int puxInitialize(char ***h) {
    if (vekInitDone() == 0) {
        return PUX_NOT_INITIALIZED;
    }
    if (h != nullptr) {
        *h = nullptr;
    }
    puxiRecordEffectiveIds();
    if (!enterArchitecture()) {
        return PUX_MEMORY_ERROR;
    }
    vek::OwnedStrlist list;
    if (const int code = buildSearchList(list); code != PUX_OK) {
        return code;
    }
    // The list built last is the default one, also when a caller asked for it: such a caller's release of it
    // makes the next search build another.
    setDefaultList(list.release(), h != nullptr);
    if (h != nullptr) {
        *h = searchFiles.list;
    }
    return PUX_OK;
}

int puxReleaseHandle(char **list) {
    char **const released = list == nullptr ? searchFiles.list : list;
    if (released == nullptr) {
        return PUX_INVALID_PARAMETER;
    }
    if (released == searchFiles.list) {
        dropDefaultList();
    }
    vekFreeStrlist(released);
    return PUX_OK;
}

void puxSetCwdToSearchList(const char *dir) {
    if (dir == nullptr || *dir == '\0') {
        return;
    }
    if (char *const copy = pux_mkstring(dir); copy != nullptr) {
        std::free(std::exchange(searchFiles.startDirectory, copy));
    }
}

int puxInsertToSearchList(char ***h, const char *dir) {
    if (dir == nullptr) {
        return PUX_OK;
    }
    char **const old = h == nullptr ? searchFiles.list : *h;
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
    if (old == searchFiles.list) {
        dropDefaultList();
    }
    std::free(old);
    setDefaultList(list, h != nullptr);
    if (h != nullptr) {
        *h = list;
    }
    return PUX_OK;
}

int puxConvertPathNotThereEx(const char *in, char *out, const char *fileName) {
    vekInterpArgs args = {};
    args.fileName = fileName;
    if (vekInterpolate(in, out, VEK_SEARCH_PATH_SIZE, &args, sizeof args) == 0) {
        return PUX_FILE_NOT_FOUND;
    }
    vekCanonicalizeDirSep(out);
    return PUX_OK;
}

int puxConvertPathNotThere(const char *in, char *out) {
    return puxConvertPathNotThereEx(in, out, nullptr);
}

int puxConvertPathEx(const char *in, char *out, const char *fileName) {
    int code = puxConvertPathNotThereEx(in, out, fileName);
    if (code == PUX_OK && pux_quick_access(out, PUXI_READABLE) != 0) {
        code = PUX_INTERNAL_ERROR;
    }
    if (code != PUX_OK && out != nullptr) {
        *out = '\0';
    }
    return code;
}

int puxConvertPath(const char *in, char *out) {
    return puxConvertPathEx(in, out, nullptr);
}

char *pux_mkstring(const char *s) {
    return s == nullptr ? nullptr : vek::copyText(s).release();
}
