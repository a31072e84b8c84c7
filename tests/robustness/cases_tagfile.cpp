#include "tests/robustness/cases.h"

#include "tagfile/tov.h"
#include "tests/robustness/code_names.h"
#include "tests/support/c_list.h"

namespace test {

namespace {

struct Where {
    char text[VEK_PATH_SIZE] = "?";
};

std::string with(const World &world, const char *value, const Where &where) {
    return world.shown(value) + " in '" + world.shown(where.text) + "'" + World::takeReports();
}

std::string with(int value, const World &world, const Where &where) {
    return std::to_string(value) + " in '" + world.shown(where.text) + "'" + World::takeReports();
}

/// An edit of the tag file in a directory of the world, whose tree is restored before. An addition first clears the
/// entry: a failure of that step is reported, and the addition can still succeed.
Case edit(std::string_view function, int (*call)(const char *directory), const char *directory = "proj") {
    return {{function},
            [=](World &w) {
                w.restoreTree();
                tovResetCache();
                return World::reported(std::to_string(call(w.path(directory).c_str())));
            },
            {"0 reports TOV_MEMORY_ERROR", "0 reports TOV_MEMORY_ERROR TOV_MEMORY_ERROR",
             "0 reports TOV_MEMORY_ERROR TOV_MEMORY_ERROR TOV_MEMORY_ERROR", "0 reports TOV_SYSTEM_ERROR",
             "0 reports TOV_SYSTEM_ERROR TOV_SYSTEM_ERROR", "1 reports TOV_MEMORY_ERROR",
             "1 reports TOV_SYSTEM_ERROR", "1 reports TOV_MEMORY_ERROR TOV_SYNTAX_ERROR",
             "1 reports TOV_SYSTEM_ERROR TOV_SYNTAX_ERROR",
             "0 reports TOV_SYSTEM_ERROR TOV_SYNTAX_ERROR TOV_SYSTEM_ERROR"},
            true,
            false,
            function == "tovRemoveEntry" || function == "tovClearPathUnmanaged"};
}

std::string object(int code, int found, const VekinfoObj &obj) {
    std::string text = tovName(code) + World::takeReports();
    if (code == TOV_OK) {
        text += " found " + std::to_string(found);
        for (const std::string &name : strings(obj.names)) {
            text += " " + name;
        }
    }
    return text;
}

} // namespace

std::vector<Case> tagfileCases() {
    // After an error the X queries continue on the search list, as if nothing had been found.
    return {
        {{"tovGetErrorMsg", "tovPrintError", "tovRegisterErrorHandler"},
         [](World &) {
             const tovErrorHandler handler = tovRegisterErrorHandler(nullptr);
             tovRegisterErrorHandler(handler);
             return World::reported(tovGetErrorMsg(TOV_MEMORY_ERROR) +
                                    std::to_string(tovPrintError(TOV_MEMORY_ERROR, "text", "where", 1)));
         }},
        {{"tovPrintError"},
         [](World &) {
             const tovErrorHandler handler = tovRegisterErrorHandler(nullptr);
             const int code = tovPrintError(TOV_MEMORY_ERROR, "text", "where", 1);
             tovRegisterErrorHandler(handler);
             return tovName(code);
         },
         {"TOV_MEMORY_ERROR"}},
        {{"tovLookupEntry"},
         [](World &w) {
             Where where;
             const std::string path = w.path("proj/lib/cell1/view1");
             return with(w, tovLookupEntry(path.c_str(), "VEKLIBCHECK", where.text), where);
         },
         {"null in '' reports TOV_MEMORY_ERROR"}},
        {{"tovLookupEntryX"},
         [](World &w) {
             Where where;
             return with(w, tovLookupEntryX(w.path("empty").c_str(), "DMTYPE", where.text), where);
         },
         {"null in '' reports TOV_MEMORY_ERROR"}},
        {{"tovGetDmType"},
         [](World &w) { return World::reported(w.shown(tovGetDmType(w.path("proj/link/cell1").c_str()))); },
         {"null reports TOV_MEMORY_ERROR", "null reports TOV_MEMORY_ERROR TOV_MEMORY_ERROR",
          "pkm reports TOV_MEMORY_ERROR"}},
        {{"tovGetDmTypeX"},
         [](World &w) {
             Where where;
             return with(w, tovGetDmTypeX(w.path("proj/link/cell1").c_str(), where.text), where);
         },
         {"null in '' reports TOV_MEMORY_ERROR TOV_MEMORY_ERROR",
          "pkm in '@/site/.tolvane/vekinfo.tag' reports TOV_MEMORY_ERROR"}},
        {{"tovGetNameSpace"},
         [](World &w) { return World::reported(w.shown(tovGetNameSpace(w.path("proj/lib").c_str()))); },
         {"LibraryUnix reports TOV_MEMORY_ERROR", "LibraryUnix reports TOV_MEMORY_ERROR TOV_MEMORY_ERROR"}},
        {{"tovGetNameSpaceX"},
         [](World &w) {
             Where where;
             return with(w, tovGetNameSpaceX(w.path("proj/lib").c_str(), where.text), where);
         },
         {"LibraryUnix in '' reports TOV_MEMORY_ERROR",
          "LibraryUnix in '' reports TOV_MEMORY_ERROR TOV_MEMORY_ERROR"}},
        {{"tovIsLibrary"},
         [](World &w) { return World::reported(std::to_string(tovIsLibrary(w.path("proj/lib").c_str()))); },
         {"0 reports TOV_MEMORY_ERROR"}},
        {{"tovIsLibraryX"},
         [](World &w) {
             Where where;
             return with(tovIsLibraryX(w.path("proj/lib").c_str(), where.text), w, where);
         },
         {"0 in '' reports TOV_MEMORY_ERROR"}},
        {{"tovIsInLibrary"},
         [](World &w) {
             return World::reported(std::to_string(tovIsInLibrary(w.path("proj/lib/cell2").c_str())));
         },
         {"0 reports TOV_MEMORY_ERROR"}},
        {{"tovIsInLibraryX"},
         [](World &w) {
             Where where;
             return with(tovIsInLibraryX(w.path("proj/lib/cell2").c_str(), where.text), w, where);
         },
         {"0 in '' reports TOV_MEMORY_ERROR"}},
        {{"tovCheckLibrary"},
         [](World & /*w*/) { return World::reported(std::to_string(tovCheckLibrary())); },
         {"0 reports TOV_MEMORY_ERROR"}},
        {{"tovCheckLibraryX"},
         [](World &w) {
             Where where;
             return with(tovCheckLibraryX(where.text), w, where);
         },
         {"0 in '' reports TOV_MEMORY_ERROR"}},
        {{"tovGetVekinfoAtLoc", "tovResetCache"},
         [](World &w) {
             VekinfoObj obj = {};
             int found = -1;
             tovResetCache();
             const int code = tovGetVekinfoAtLoc(w.path("proj/vekinfo.tag").c_str(), "SIZE", &obj, &found);
             return object(code, found, obj);
         },
         {"TOV_MEMORY_ERROR reports TOV_MEMORY_ERROR"}},
        {{"tovLocalSearchElement"},
         [](World &w) {
             VekinfoObj obj = {};
             int found = -1;
             tovResetCache();
             const int code = tovLocalSearchElement(w.path("proj/link/cell1").c_str(), "SIZE", &obj, &found);
             return object(code, found, obj);
         },
         {"TOV_MEMORY_ERROR reports TOV_MEMORY_ERROR"}},
        {{"tovNormalizePath", "tovNormalizePathSorta"},
         [](World &w) {
             Where normal;
             Where sorta;
             const int first = tovNormalizePath("$HOME/../proj", normal.text);
             const int second = tovNormalizePathSorta("proj/none/there", sorta.text);
             return tovName(first) + " " + tovName(second) +
                    (first + second == 0 ? " " + w.shown(normal.text) + " " + w.shown(sorta.text) : "") +
                    World::takeReports();
         },
         {}},
        {{"tovNormalizePath", "tovNormalizePathSorta"},
         [](World &w) {
             Where normal;
             Where sorta;
             const int first = tovNormalizePath("$(inst_root_with:share/find.txt)/share", normal.text);
             const int second = tovNormalizePathSorta("$(inst_root_with:share/find.txt)/none", sorta.text);
             return tovName(first) + " " + tovName(second) +
                    (first + second == 0 ? " " + w.shown(normal.text) + " " + w.shown(sorta.text) : "") +
                    World::takeReports();
         },
         {"TOV_OK TOV_PATH_PROCESSING reports TOV_PATH_PROCESSING",
          "TOV_PATH_PROCESSING TOV_OK reports TOV_PATH_PROCESSING",
          "TOV_PATH_PROCESSING TOV_PATH_PROCESSING reports TOV_PATH_PROCESSING TOV_PATH_PROCESSING"}},
        // ---- edits
        edit("tovAddEntry", [](const char *dir) { return tovAddEntry(dir, "DMTYPE", "mrev"); }),
        edit("tovAddEntry", [](const char *dir) { return tovAddEntry(dir, "SIZE", "small"); }),
        edit("tovAddEntry", [](const char *dir) { return tovAddEntry(dir, "NAMESPACE", "wrong"); }),
        edit("tovRemoveEntry", [](const char *dir) { return tovRemoveEntry(dir, "VEKLIBCHECK"); }),
        edit("tovRemoveEntry", [](const char *dir) { return tovRemoveEntry(dir, "SHAPE"); }),
        edit("tovSetPathDmType", [](const char *dir) { return tovSetPathDmType(dir, "pkm"); }),
        edit("tovSetPathUnmanaged", tovSetPathUnmanaged),
        edit("tovClearPathUnmanaged", tovClearPathUnmanaged),
        edit(
            "tovAddEntry", [](const char *dir) { return tovAddEntry(dir, "COLOUR", "blue"); }, "empty"),
        edit(
            "tovCreateInfoFile",
            [](const char *dir) {
                char line[] = "COLOUR green";
                char *lines[] = {line, nullptr};
                return tovCreateInfoFile(dir, lines);
            },
            "empty"),
    };
}

} // namespace test
