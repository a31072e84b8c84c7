#include "tests/robustness/cases.h"

#include <cstdlib>

#include "common/text/vek_strlist.h"
#include "search/pux.h"
#include "search/vek_interp.h"
#include "tests/robustness/code_names.h"
#include "tests/support/c_list.h"

namespace test {

namespace {

/// The name of a code and, after success, the path.
std::string shownResult(const World &world, int code, const char *path) {
    return puxName(code) + (code == PUX_OK ? " " + world.shown(path) : "");
}

std::string shownList(const World &world, int code, char **list) {
    std::string text = puxName(code);
    for (const std::string &each : strings(list)) {
        text += " " + world.shown(each.c_str());
    }
    const bool defined = (list != nullptr) == (code == PUX_OK);
    vekFreeStrlist(list);
    return text + (defined ? "" : " undefined");
}

/// The result of a search into a buffer.
template <typename Search>
std::string search(const World &world, Search call) {
    char out[VEK_SEARCH_PATH_SIZE] = "";
    const int code = call(out, sizeof out);
    return shownResult(world, code, out);
}

std::string interpolated(const World &world, const char *text) {
    char out[VEK_PATH_SIZE] = "";
    char message[256] = "";
    vekInterpArgs args = {};
    args.line = VEK_INTERP_NO_LINE;
    args.errorBuffer = message;
    args.errorBufferSize = sizeof message;
    const int result = vekInterpolate(text, out, sizeof out, &args, sizeof args);
    return result == 1 ? world.shown(out) : interpName(args.errorCode);
}

} // namespace

std::vector<Case> searchCases() {
    return {
        {{"pux_mkstring"},
         [](World &w) {
             char *const copy = pux_mkstring("text");
             std::string text = w.shown(copy);
             std::free(copy);
             return text;
         },
         {"null"}},
        {{"puxGetErrorMsg"}, [](World &) { return std::string(puxGetErrorMsg(2)); }},
        {{"puxInitialize", "puxReleaseHandle"},
         [](World &w) {
             char **list = nullptr;
             const int code = puxInitialize(&list);
             std::string text = puxName(code);
             for (const std::string &each : strings(list)) {
                 text += " " + w.shown(each.c_str());
             }
             if (list != nullptr) {
                 puxReleaseHandle(list);
             }
             return text;
         },
         // If memory is exhausted, the error is printed and the list built without the installation.
         {"PUX_MEMORY_ERROR", "PUX_OK . @/proj @/home @/site"}},
        {{"puxInsertToSearchList"},
         [](World &w) {
             char **list = nullptr;
             const int code = puxInsertToSearchList(&list, "/d");
             std::string text = shownResult(w, code, list == nullptr ? nullptr : *list);
             if (list != nullptr) {
                 puxReleaseHandle(list);
             }
             return text;
         },
         {"PUX_MEMORY_ERROR"}},
        {{"puxSetCwdToSearchList"},
         [](World &) {
             puxSetCwdToSearchList("/d");
             return std::string();
         },
         {""}},
        {{"puxConvertPath"},
         [](World &w) {
             return search(w, [](char *out, std::size_t) { return puxConvertPath("$HOME/../proj", out); });
         }},
        {{"puxConvertPathEx"},
         [](World &w) {
             return search(w, [](char *out, std::size_t) {
                 return puxConvertPathEx("~/../proj", out, "inst/share/find.txt");
             });
         }},
        {{"puxConvertPath"},
         [](World &w) {
             return search(w, [](char *out, std::size_t) {
                 return puxConvertPath("$(inst_root_with:share/find.txt)/share", out);
             });
         },
         {"PUX_FILE_NOT_FOUND"}},
        {{"puxConvertPathEx"},
         [](World &w) {
             return search(w, [](char *out, std::size_t) {
                 return puxConvertPathEx("$(compute:THIS_FILE_INST_ROOT)/share", out, "inst/share/find.txt");
             });
         },
         {"PUX_FILE_NOT_FOUND"}},
        {{"puxConvertPathNotThere"},
         [](World &w) {
             return search(w, [](char *out, std::size_t) {
                 return puxConvertPathNotThere("$(inst_root_with:share/find.txt)/x", out);
             });
         },
         {"PUX_FILE_NOT_FOUND"}},
        {{"puxConvertPathNotThere"},
         [](World &w) {
             return search(w,
                           [](char *out, std::size_t) { return puxConvertPathNotThere("${HOME}/x", out); });
         }},
        {{"puxConvertPathNotThereEx"},
         [](World &w) {
             return search(w, [](char *out, std::size_t) {
                 return puxConvertPathNotThereEx("$(compute:THIS_FILE_INST_ROOT)/x", out,
                                                 "inst/share/find.txt");
             });
         },
         {"PUX_FILE_NOT_FOUND"}},
        {{"puxSearch"},
         [](World &w) {
             return search(w,
                           [](char *out, std::size_t n) { return puxSearch(nullptr, "find.txt", out, n); });
         },
         {"PUX_MEMORY_ERROR"}},
        {{"puxSearchEx"},
         [](World &w) {
             return search(w, [](char *out, std::size_t n) {
                 return puxSearchEx(nullptr, "find.txt", nullptr, nullptr, out, n);
             });
         },
         {"PUX_MEMORY_ERROR"}},
        {{"puxSearchGroup"},
         [](World &w) {
             return search(w, [](char *out, std::size_t n) {
                 return puxSearchGroup(nullptr, "find.txt", ".tolvane", out, n);
             });
         },
         {"PUX_MEMORY_ERROR"}},
        {{"puxSearchDirList"},
         [](World &w) {
             return search(w, [](char *out, std::size_t n) {
                 char group[] = ".tolvane";
                 char *groups[] = {group, nullptr};
                 return puxSearchDirList(nullptr, "find.txt", groups, out, n);
             });
         },
         {"PUX_MEMORY_ERROR"}},
        {{"puxFindWritable"},
         [](World &w) {
             return search(
                 w, [](char *out, std::size_t n) { return puxFindWritable(nullptr, "find.txt", out, n); });
         },
         {"PUX_MEMORY_ERROR"}},
        {{"puxFindWritableEx"},
         [](World &w) {
             return search(w, [](char *out, std::size_t n) {
                 return puxFindWritableEx(nullptr, "find.txt", nullptr, out, n);
             });
         },
         {"PUX_MEMORY_ERROR"}},
        {{"puxFullSearch"},
         [](World &w) {
             char **result = nullptr;
             const int code = puxFullSearch(nullptr, "vekinfo.tag", nullptr, &result);
             return shownList(w, code, result);
         },
         {"PUX_MEMORY_ERROR"}},
        {{"puxFullSearchDirList"},
         [](World &w) {
             char **result = nullptr;
             const int code = puxFullSearchDirList(nullptr, "vekinfo.tag", nullptr, &result);
             return shownList(w, code, result);
         },
         {"PUX_MEMORY_ERROR"}},
        {{"puxUsePuxFor"},
         [](World &) { return puxName(puxUsePuxFor(nullptr, "find.txt")); },
         {"PUX_MEMORY_ERROR"}},
        {{"vekInterpolate"},
         [](World &w) { return interpolated(w, "$HOME ${COLOUR} $(inst_root_with:share/find.txt) ~root/x"); },
         {"VEK_INTERP_NO_ROOT_FOR_FILE"}},
    };
}

} // namespace test
