#include "tests/robustness/cases.h"

#include <cstdio>

#include "common/text/vek_strlist.h"
#include "libdef/ryn.h"
#include "tagfile/tov.h"
#include "tests/robustness/code_names.h"

namespace test {

namespace {

int stop(int code, const char * /*object*/, const char * /*file*/, int /*line*/) {
    return code;
}

/// The name of a code, after success the text, and the reported codes.
std::string shownResult(const World &world, int code, const char *text) {
    return rynName(code) + (code == RYN_OK ? " " + world.shown(text) : "") + World::takeReports();
}

std::string shownResult(int code) {
    return rynName(code) + World::takeReports();
}

/// The libraries of a registry, in order.
std::string libraries(rynHandle registry) {
    rynContext *context = nullptr;
    const int code = rynIterateLibs(registry, &context);
    std::string text = code == RYN_OK ? "" : " iteration " + rynName(code);
    const char *name = nullptr;
    while (context != nullptr && rynNextLib(context, &name) == RYN_OK) {
        text += std::string(" ") + name;
    }
    if (context != nullptr) {
        rynIterateEnd(context);
    }
    return text;
}

/// The result of a creation and the libraries of the new registry, which is released.
std::string created(int code, rynHandle registry) {
    std::string text = rynName(code) + ((registry != nullptr) == (code == RYN_OK) ? "" : " undefined");
    if (registry != nullptr) {
        text += libraries(registry);
        rynReleaseHandle(registry);
    }
    return text + World::takeReports();
}

template <typename Create>
std::string iterated(const World &world, Create create, int (*next)(rynContext *, const char **) = nullptr) {
    rynContext *context = nullptr;
    const int code = create(&context);
    std::string text = rynName(code) + World::takeReports();
    if ((context != nullptr) != (code == RYN_OK)) {
        text += " undefined";
    }
    const char *name = nullptr;
    const char *value = nullptr;
    while (context != nullptr && next != nullptr && next(context, &name) == RYN_OK) {
        text += std::string(" ") + name;
    }
    while (context != nullptr && next == nullptr && rynNextAttr(context, &name, &value) == RYN_OK) {
        text += std::string(" ") + name + "=" + value;
    }
    if (context != nullptr) {
        rynIterateEnd(context);
    }
    return world.shown(text.c_str());
}

std::string dumped(void (*dump)(rynHandle, FILE *), rynHandle registry) {
    FILE *const stream = std::tmpfile();
    dump(registry, stream);
    const long size = std::ftell(stream);
    std::fclose(stream);
    return size > 0 ? "dump" : "nothing";
}

void dumpAnIteration(rynHandle registry, FILE *stream) {
    rynContext *context = nullptr;
    if (rynIterateLibs(registry, &context) == RYN_OK) {
        rynDumpContext(context, stream);
        rynIterateEnd(context);
    }
}

// If the library check fails, the failure is reported and the library is defined.
const std::vector<std::string> kCreation = {"RYN_MEMORY_ERROR", "RYN_MEMORY_ERROR reports RYN_MEMORY_ERROR",
                                            "RYN_MEMORY_ERROR reports TOV_MEMORY_ERROR RYN_MEMORY_ERROR",
                                            "RYN_OK lib other none reports TOV_MEMORY_ERROR",
                                            "RYN_OK iteration RYN_MEMORY_ERROR reports RYN_MEMORY_ERROR"};
const std::vector<std::string> kIteration = {"RYN_MEMORY_ERROR", "RYN_MEMORY_ERROR reports RYN_MEMORY_ERROR",
                                             "RYN_SYSTEM_ERROR"};

Case path(unsigned mode, const char *cell, const char *view, const char *file,
          const std::vector<std::string> &withoutMemory) {
    return {{"rynGetPath"},
            [=](World &w) {
                char out[VEK_PATH_SIZE] = "";
                const int code = rynGetPath(w.registry, mode, "lib", cell, view, file, out, sizeof out);
                return shownResult(w, code, out);
            },
            withoutMemory,
            true,
            true};
}

Case cells(std::string_view function, int (*create)(rynHandle, rynContext **),
           int (*next)(rynContext *, const char **)) {
    return {{function},
            [=](World &w) {
                return iterated(
                    w, [&](rynContext **context) { return create(w.registry, context); }, next);
            },
            kIteration};
}

Case search(std::string_view function, int (*call)(rynHandle, char *, std::size_t)) {
    return {{function},
            [=](World &w) {
                char out[VEK_PATH_SIZE] = "";
                const int code = call(w.registry, out, sizeof out);
                return shownResult(w, code, out);
            },
            {"RYN_INTERNAL_ERROR", "RYN_MEMORY_ERROR"}};
}

Case fullSearch(std::string_view function, int (*call)(rynHandle, char ***)) {
    return {{function},
            [=](World &w) {
                char **paths = nullptr;
                const int code = call(w.registry, &paths);
                const bool defined = (paths != nullptr) == (code == RYN_OK);
                const std::string text = shownResult(w, code, paths == nullptr ? nullptr : paths[0]);
                vekFreeStrlist(paths);
                return text + (defined ? "" : " undefined");
            },
            {"RYN_INTERNAL_ERROR", "RYN_MEMORY_ERROR"}};
}

/// A specifier of the file data.db, made and freed.
std::string specifier(const World &world, vekFSSpec *parent, const char *file, unsigned flags) {
    vekFSSpec *spec = nullptr;
    const char *const library = parent == nullptr ? "lib" : nullptr;
    const char *const cell = parent == nullptr ? "cell1" : nullptr;
    const char *const view = parent == nullptr ? "view1" : nullptr;
    const int code =
        rynGetSpec(world.registry, RYN_PATH_READ, library, cell, view, file, parent, flags, &spec);
    if ((spec != nullptr) != (code == RYN_OK)) {
        return "undefined";
    }
    if (spec == nullptr) {
        return rynName(code) + World::takeReports();
    }
    std::string text =
        rynName(code) + (rynIsSpecDir(spec) != 0 ? " directory" : " not a directory") + World::takeReports();
    if (parent == nullptr && file == nullptr) {
        text += ", " + specifier(world, spec, "data.db", 1);
    }
    vekFSFreeSpec(spec);
    return text;
}

} // namespace

std::vector<Case> libdefCases() {
    return {
        {{"rynGetErrorMsg", "ryn_to_tov_errorcode_map"},
         [](World &) {
             return std::string(rynGetErrorMsg(RYN_MEMORY_ERROR)) +
                    std::to_string(ryn_to_tov_errorcode_map[RYN_MEMORY_ERROR]);
         }},
        // ---- registries
        {{"rynInit", "rynReleaseHandle"},
         [](World &w) {
             rynHandle registry = nullptr;
             const int code = rynInit(w.path("proj/vek.lib").c_str(), 0, stop, nullptr, &registry);
             return created(code, registry);
         },
         kCreation},
        {{"rynInitialize"},
         [](World &w) {
             rynHandle registry = nullptr;
             const int code = rynInitialize(w.path("proj/vek.lib").c_str(), stop, &registry);
             return created(code, registry);
         },
         kCreation},
        {{"rynInitEx"},
         [](World &w) {
             const std::string implicit = w.path("proj/itmp");
             const rynInitOptions options = {nullptr, implicit.c_str(), RYN_IMPLICIT_ONLY, nullptr};
             rynHandle registry = nullptr;
             const int code = rynInitEx(w.path("proj/vek.lib").c_str(), RYN_FLAG_OWN_EXISTENCE_CHECK,
                                        World::recordWarning, nullptr, &options, sizeof options, &registry);
             return created(code, registry);
         },
         {"RYN_MEMORY_ERROR", "memory error reported"}},
        {{"rynAddCommand"},
         [](World &w) {
             rynAddCommand(w.registry, "DEFINE added $HOME");
             return libraries(w.registry);
         },
         {" lib other none", " iteration RYN_MEMORY_ERROR"}},
        {{"rynAddCommand"},
         [](World &w) {
             rynAddCommand(w.registry, "INCLUDE more.lib");
             rynAddCommand(w.registry, "ASSIGN lib SIZE 1");
             rynAddCommand(w.registry, "UNDEFINE none");
             return libraries(w.registry);
         },
         {" lib other none", " iteration RYN_MEMORY_ERROR"}},
        {{"rynGetCurHandle", "rynSetUmask", "rynSetUnknownASSIGNfunc", "rynSetPathNoneExistWarnFlag",
          "rynGetImplicitTmpFlags", "rynStatCacheCtl"},
         [](World &w) {
             unsigned flags = 0;
             rynSetUnknownASSIGNfunc(nullptr);
             rynSetPathNoneExistWarnFlag(0);
             const int cache = rynStatCacheCtl(1) + rynStatCacheCtl(0);
             return std::to_string(rynSetUmask(w.registry, 0) + rynGetImplicitTmpFlags(w.registry, &flags) +
                                   cache) +
                    (*rynGetCurHandle() == w.registry ? "" : " other");
         }},
        {{"rynSetImplicitTmp"},
         [](World &w) {
             const std::string directory = w.path("proj/itmp");
             return shownResult(
                 rynSetImplicitTmp(w.registry, directory.c_str(), RYN_IMPLICIT_FIRST, nullptr));
         },
         {"RYN_MEMORY_ERROR"}},
        {{"rynDumpEverything"}, [](World &w) { return dumped(rynDumpEverything, w.registry); }, {kAsUsual}},
        {{"rynDumpContext"}, [](World &w) { return dumped(dumpAnIteration, w.registry); }, {"nothing"}},
        // ---- queries
        path(RYN_PATH_READ, "cell1", "view1", "data.db", {}),
        path(RYN_PATH_READ, "cell1", nullptr, "note.txt", {}),
        path(RYN_PATH_WRITE, "cell2", "view2", "new.db", {}),
        path(RYN_PATH_READ_TMP, "cell1", "view1", "data.db", {}),
        path(RYN_PATH_WRITE_TMP, "cell2", "view2", "new.db", {}),
        path(RYN_PATH_READ_LIBRARY, "cell1", "view1", "data.db", {}),
        path(RYN_PATH_WRITE_LIBRARY, "cell2", "view2", "new.db", {}),
        path(RYN_PATH_REPLACE, "cell1", "view1", "data.db", {}),
        path(RYN_PATH_REPLACE_EXPLICIT, "cell1", "view1", "data.db", {}),
        path(RYN_PATH_REPLACE_TMP, "cell1", "view1", "data.db", {}),
        path(RYN_PATH_REPLACE_LIBRARY, "cell1", "view1", "data.db", {}),
        {{"rynQuery"},
         [](World &w) {
             const unsigned flags = RYN_QUERY_EXISTS | RYN_QUERY_READABLE | RYN_QUERY_WRITABLE;
             return shownResult(rynQuery(w.registry, flags, "lib", "cell1", "view1", "data.db"));
         },
         {}},
        {{"rynQuery", "rynStatCacheCtl"},
         [](World &w) {
             const unsigned flags = RYN_QUERY_EXISTS | RYN_QUERY_READABLE | RYN_QUERY_WRITABLE;
             rynStatCacheCtl(1);
             std::string text = shownResult(rynQuery(w.registry, flags, "lib", "cell1", "view1", "data.db"));
             text += " " + shownResult(rynQuery(w.registry, flags, "lib", "cell1", "view1", "data.db"));
             rynStatCacheCtl(0);
             return text;
         },
         {}},
        {{"rynIsDefined", "rynIsAssigned", "rynLibHasTmp", "rynWhereDefined", "rynWhereAssigned",
          "rynWhereGlobalExplicitTmp", "rynInvalidatePackedLib"},
         [](World &w) {
             const char *file = nullptr;
             int line = 0;
             std::string text = "defined " + rynName(rynIsDefined(w.registry, "lib"));
             text += ", assigned " + rynName(rynIsAssigned(w.registry, "lib", "COLOUR"));
             text += ", temporary " + rynName(rynLibHasTmp(w.registry, "lib", RYN_TMP_EXPLICIT));
             text += ", root " + rynName(rynWhereGlobalExplicitTmp(w.registry, &file, &line));
             text += ", packed " + rynName(rynInvalidatePackedLib(w.registry, "lib"));
             text += ", assigned at " + rynName(rynWhereAssigned(w.registry, "lib", "COLOUR", &file, &line));
             const int code = rynWhereDefined(w.registry, "lib", &file, &line);
             return text + ", defined at " + shownResult(w, code, file) + " line " + std::to_string(line);
         }},
        {{"rynIsIncluded", "rynWhereIncluded"},
         [](World &w) {
             const std::string path = w.path("proj/more.lib");
             const char *file = nullptr;
             int line = 0;
             const std::string first = shownResult(rynIsIncluded(w.registry, path.c_str()));
             const int code = rynWhereIncluded(w.registry, path.c_str(), &file, &line);
             return first + ", included at " + shownResult(w, code, file) + " line " + std::to_string(line);
         },
         {}},
        // ---- searches
        search("rynSearch", [](rynHandle r, char *out,
                               std::size_t n) { return rynSearch(r, "find.txt", nullptr, "lib", out, n); }),
        search("rynSearchList",
               [](rynHandle r, char *out, std::size_t n) {
                   return rynSearchList(r, "find.txt", nullptr, "lib", out, n);
               }),
        search("rynFindWritable",
               [](rynHandle r, char *out, std::size_t n) {
                   return rynFindWritable(r, "find.txt", "lib", out, n);
               }),
        fullSearch(
            "rynFullSearch",
            [](rynHandle r, char ***paths) { return rynFullSearch(r, "find.txt", nullptr, "lib", paths); }),
        fullSearch("rynFullSearchList",
                   [](rynHandle r, char ***paths) {
                       return rynFullSearchList(r, "find.txt", nullptr, "lib", paths);
                   }),
        // ---- iterators
        cells("rynIterateLibs", rynIterateLibs, rynNextLib),
        cells("rynNextLib", rynIterateLibs, rynNextLib),
        cells("rynIterateEnd", rynIterateLibs, rynNextLib),
        cells("rynIterateVekLibFiles", rynIterateVekLibFiles, rynNextFile),
        cells(
            "rynIterateCells", [](rynHandle r, rynContext **c) { return rynIterateCells(r, "lib", c); },
            rynNextCell),
        cells(
            "rynNextCell", [](rynHandle r, rynContext **c) { return rynXIterateCells(r, 2, "lib", c); },
            rynNextCell),
        cells(
            "rynXIterateCells", [](rynHandle r, rynContext **c) { return rynXIterateCells(r, 1, "lib", c); },
            rynNextCell),
        cells(
            "rynIterateViews",
            [](rynHandle r, rynContext **c) { return rynIterateViews(r, "lib", "cell1", c); }, rynNextView),
        cells(
            "rynNextView",
            [](rynHandle r, rynContext **c) { return rynXIterateViews(r, 2, "lib", "cell1", c); },
            rynNextView),
        cells(
            "rynXIterateViews",
            [](rynHandle r, rynContext **c) { return rynXIterateViews(r, 1, "lib", "cell1", c); },
            rynNextView),
        cells(
            "rynIterateLibFiles", [](rynHandle r, rynContext **c) { return rynIterateLibFiles(r, "lib", c); },
            rynNextFile),
        cells(
            "rynXIterateLibFiles",
            [](rynHandle r, rynContext **c) { return rynXIterateLibFiles(r, 1, "lib", c); }, rynNextFile),
        cells(
            "rynNextFile", [](rynHandle r, rynContext **c) { return rynXIterateLibFiles(r, 2, "lib", c); },
            rynNextFile),
        cells(
            "rynIterateCellFiles",
            [](rynHandle r, rynContext **c) { return rynIterateCellFiles(r, "lib", "cell1", c); },
            rynNextFile),
        cells(
            "rynXIterateCellFiles",
            [](rynHandle r, rynContext **c) { return rynXIterateCellFiles(r, 1, "lib", "cell1", c); },
            rynNextFile),
        cells(
            "rynIterateViewFiles",
            [](rynHandle r, rynContext **c) { return rynIterateViewFiles(r, "lib", "cell1", "view1", c); },
            rynNextFile),
        cells(
            "rynXIterateViewFiles",
            [](rynHandle r, rynContext **c) {
                return rynXIterateViewFiles(r, 1, "lib", "cell1", "view1", c);
            },
            rynNextFile),
        cells(
            "rynIterateAllViewFiles",
            [](rynHandle r, rynContext **c) { return rynIterateAllViewFiles(r, "lib", "cell1", "view1", c); },
            rynNextFile),
        cells(
            "rynXIterateAllViewFiles",
            [](rynHandle r, rynContext **c) {
                return rynXIterateAllViewFiles(r, 1, "lib", "cell1", "view1", c);
            },
            rynNextFile),
        cells(
            "rynIterateAttrs", [](rynHandle r, rynContext **c) { return rynIterateAttrs(r, "lib", c); },
            nullptr),
        cells(
            "rynNextAttr", [](rynHandle r, rynContext **c) { return rynIterateAttrs(r, "other", c); },
            nullptr),
        // ---- specifiers
        {{"rynGetSpec", "rynIsSpecDir"},
         [](World &w) { return specifier(w, nullptr, nullptr, 0); },
         {"RYN_MEMORY_ERROR", "RYN_OK directory, RYN_MEMORY_ERROR"}},
    };
}

} // namespace test
