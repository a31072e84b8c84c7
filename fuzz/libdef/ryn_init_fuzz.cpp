// Library definitions: a byte of options, a section of statements that are executed one by one, and the files
// vek.lib, b.lib and sub/c.lib, a section each. A registry that is told its own libraries and attributes as
// statements is the same again; everything it can be asked is asked.

#include "common/platform/vek_init.h"
#include "fuzz/support/target.h"
#include "libdef/registry/ryni_registry.h"
#include "libdef/ryn.h"
#include "tagfile/tov.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

enum Option : unsigned {
    kMustExist = 1,
    kIgnoreCase = 2,
    kStop = 4,
    kStatCache = 8,
    kImplicitTmp = 16,
    kLibraryCheck = 32,
    kJudgeAttributes = 64,
    kPacked = 128
};

struct Release {
    void operator()(rynRegistry *registry) const { rynReleaseHandle(registry); }
};
using OwnedRegistry = std::unique_ptr<rynRegistry, Release>;

std::string upToNul(std::string_view text) {
    return std::string(text.substr(0, text.find('\0')));
}

int goOn(int code, const char * /*object*/, const char * /*file*/, int /*line*/) {
    fuzz::require(code > RYN_OK && code < RYN_INVALID_ERROR_NUMBER, "a diagnostic has a known code");
    return 0;
}

int stop(int code, const char * /*object*/, const char * /*file*/, int /*line*/) {
    return code;
}

int ignoreError(int /*code*/, const char * /*text*/, const char * /*sameText*/) {
    return 0;
}

int refuseBad(const char * /*attribute*/, const char *value, const char * /*file*/, int /*line*/) {
    return std::string_view(value).starts_with("bad") ? 1 : 0;
}

// ---- a registry, told again

struct Attribute {
    std::string name;
    std::string value;
    bool operator==(const Attribute &) const = default;
};

struct Library {
    std::string name;
    std::string full;
    std::string nsl; ///< empty when the library was redefined: it is that of the first definition then
    std::string tmp; ///< empty when it has none of its own
    std::vector<Attribute> attributes;
};

std::vector<Library> librariesOf(const rynRegistry &registry) {
    std::vector<Library> libraries;
    for (const rynLibrary *at = registry.libraries.head; at != nullptr; at = at->nextInOrder) {
        Library &library = libraries.emplace_back();
        library.name = at->name;
        library.full = at->fullPath;
        if (at->history.head == at->history.tail) {
            library.nsl = at->nslPath;
        }
        if (at->explicitTmp != nullptr && (at->flags & ryn::kTmpFromGlobal) == 0) {
            library.tmp = at->explicitTmp;
        }
        for (const rynAttribute *attribute = at->attributes; attribute != nullptr;
             attribute = attribute->next) {
            library.attributes.push_back({attribute->name, attribute->value});
        }
    }
    return libraries;
}

/// An argument of a statement; empty when no argument can hold the text.
std::string quoted(const std::string &text) {
    if (text.find('"') == std::string::npos) {
        return "\"" + text + "\"";
    }
    const bool isWord = text[0] != '"' && text.find_first_of(" \t\n\v\f\r") == std::string::npos;
    return isWord ? text : "";
}

/// @return the statement, empty when it cannot be written
std::string statement(const char *keyword, const std::vector<std::string> &arguments) {
    std::string line = keyword;
    for (const std::string &argument : arguments) {
        const std::string text = quoted(argument);
        if (text.empty()) {
            return "";
        }
        line += " " + text;
    }
    return line.size() < VEK_PATH_SIZE - 1 ? line + "\n" : "";
}

/// All statements; empty when there is none, or one cannot be written.
std::string statementsOf(const std::vector<Library> &libraries) {
    std::string text;
    for (const Library &library : libraries) {
        std::vector<std::string> lines = {statement("DEFINE", {library.name, library.full})};
        for (auto attribute = library.attributes.rbegin(); attribute != library.attributes.rend();
             ++attribute) {
            lines.push_back(statement("ASSIGN", {library.name, attribute->name, attribute->value}));
        }
        for (const std::string &line : lines) {
            if (line.empty()) {
                return "";
            }
            text += line;
        }
    }
    return text;
}

std::string shown(const std::vector<Library> &libraries) {
    std::string text;
    for (const Library &library : libraries) {
        text += "<" + library.name + "> " + library.full + " (" + library.nsl + ") tmp " + library.tmp + "\n";
        for (const Attribute &attribute : library.attributes) {
            text += "    <" + attribute.name + "> " + attribute.value + "\n";
        }
    }
    return text;
}

bool isSame(const Library &told, const Library &original) {
    return told.name == original.name && told.full == original.full &&
           told.attributes == original.attributes && (original.nsl.empty() || told.nsl == original.nsl) &&
           (original.tmp.empty() || told.tmp == original.tmp);
}

void tellAgain(fuzz::Box &box, const rynRegistry &registry) {
    const std::vector<Library> libraries = librariesOf(registry);
    const std::string statements = statementsOf(libraries);
    if (statements.empty()) {
        return;
    }
    box.file("again.lib", statements);
    rynSetPathNoneExistWarnFlag(0);
    rynHandle handle = nullptr;
    const int code = rynInit(box.path("again.lib").c_str(), 0, goOn, ignoreError, &handle);
    fuzz::require(code == RYN_OK, "the statements of a registry can be read", statements,
                  rynGetErrorMsg(code));
    const OwnedRegistry again(handle);
    const std::vector<Library> told = librariesOf(*again);
    bool same = told.size() == libraries.size();
    for (std::size_t i = 0; same && i < told.size(); ++i) {
        same = isSame(told[i], libraries[i]);
    }
    if (!same) {
        fuzz::fail("the statements of a registry make the same one", shown(libraries), shown(told));
    }
}

// ---- everything it can be asked

void dump(rynHandle handle) {
    char *text = nullptr;
    std::size_t size = 0;
    FILE *stream = open_memstream(&text, &size);
    rynDumpEverything(handle, stream);
    std::fclose(stream);
    fuzz::require(std::string_view(text, size).find("\nERROR: library ") == std::string_view::npos,
                  "a registry's tables hold the same libraries", {text, size});
    std::free(text);
}

void drain(int created, rynContext *context, int (*next)(rynContext *, const char **)) {
    fuzz::require((created == RYN_OK) == (context != nullptr), "an iterator, or a code");
    const char *name = nullptr;
    while (context != nullptr && next(context, &name) == RYN_OK) {
        fuzz::require(name != nullptr, "what is iterated over has a name");
    }
    if (context != nullptr) {
        rynIterateEnd(context);
    }
}

void ask(rynHandle handle, const char *library, const char *cell, const char *view) {
    std::array<char, VEK_PATH_SIZE> path = {};
    // The modes that make directories are left out: the next input finds the tree as it was.
    for (const unsigned mode : {RYN_PATH_READ, RYN_PATH_READ_TMP, RYN_PATH_READ_LIBRARY, RYN_PATH_REPLACE,
                                RYN_PATH_REPLACE_EXPLICIT, RYN_PATH_REPLACE_TMP, RYN_PATH_REPLACE_LIBRARY}) {
        const int code = rynGetPath(handle, mode, library, cell, view, "file", path.data(), path.size());
        fuzz::require(code != RYN_OK || path[0] == '/', "a path is absolute", path.data());
        vekFSSpec *spec = nullptr;
        if (rynGetSpec(handle, mode, library, cell, view, nullptr, nullptr, RYN_SPEC_NATIVE, &spec) ==
            RYN_OK) {
            rynIsSpecDir(spec);
            vekFSFreeSpec(spec);
        }
    }
    for (unsigned flags = 0; flags < 64; flags += 7) {
        rynQuery(handle, flags, library, cell, view, nullptr);
    }
    rynContext *context = nullptr;
    int code = rynIterateCells(handle, library, &context);
    drain(code, context, rynNextCell);
    code = rynIterateViews(handle, library, cell, &context);
    drain(code, context, rynNextView);
    code = rynIterateLibFiles(handle, library, &context);
    drain(code, context, rynNextFile);
    code = rynIterateAllViewFiles(handle, library, cell, view, &context);
    drain(code, context, rynNextFile);
}

void askAboutPlaces(rynHandle handle, const char *library) {
    const char *file = nullptr;
    int line = 0;
    fuzz::require(rynIsDefined(handle, library) == RYN_OK, "a library that is iterated over is defined",
                  library);
    rynWhereDefined(handle, library, &file, &line);
    rynWhereAssigned(handle, library, "tmp", &file, &line);
    rynWhereGlobalExplicitTmp(handle, &file, &line);
    rynWhereIncluded(handle, "b.lib", &file, &line);
    rynLibHasTmp(handle, library, RYN_TMP_EXPLICIT | RYN_TMP_GLOBAL | RYN_TMP_IMPLICIT);
    rynContext *context = nullptr;
    if (rynIterateAttrs(handle, library, &context) == RYN_OK) {
        const char *name = nullptr;
        const char *value = nullptr;
        while (rynNextAttr(context, &name, &value) == RYN_OK) {
            fuzz::require(rynIsAssigned(handle, library, name) == RYN_OK, "an attribute is assigned", name);
        }
        rynIterateEnd(context);
    }
}

void askEverything(rynHandle handle) {
    constexpr int kMaxLibraries = 4;
    dump(handle);
    rynContext *libraries = nullptr;
    const char *name = nullptr;
    if (rynIterateLibs(handle, &libraries) == RYN_OK) {
        for (int i = 0; i < kMaxLibraries && rynNextLib(libraries, &name) == RYN_OK; ++i) {
            askAboutPlaces(handle, name);
            ask(handle, name, "cell", "view");
        }
        rynIterateEnd(libraries);
    }
    const int code = rynIterateVekLibFiles(handle, &libraries);
    drain(code, libraries, rynNextFile);
}

void setUp(unsigned options) {
    rynSetPathNoneExistWarnFlag((options & kMustExist) != 0 ? 1 : 0);
    rynSetUnknownASSIGNfunc((options & kJudgeAttributes) != 0 ? refuseBad : nullptr);
    if ((options & kIgnoreCase) != 0) {
        setenv("VEK_ALT_NMP", "Match", 1);
    } else {
        unsetenv("VEK_ALT_NMP");
    }
    setenv("RYN_STAT_CACHE_ON", (options & kStatCache) != 0 ? "yes" : "no", 1);
    fuzz::require(chdir((options & kLibraryCheck) != 0 ? "checked" : ".") == 0, "the box is whole");
}

void reset() {
    while (rynStatCacheCtl(0) > 0) {
    }
    tovResetCache();
}

} // namespace

namespace fuzz {

void prepare(Box &box) {
    for (const char *directory : {"libs", "libs/a", "libs/a/cell", "libs/a/cell/view", "libs/b",
                                  "libs/my dir", "sub", "tmp", "tmp/x", "checked"}) {
        box.directory(directory);
    }
    box.file("libs/a/cell/view/file", "data\n");
    box.file("libs/a/notes.txt", "");
    box.file("libs/a/vekinfo.tag", "VEKLIBRARY\n");
    box.file("checked/vekinfo.tag", "VEKLIBCHECK ON\n");
    box.link("link", "libs/a");
    box.link("up", "sub/..");
    box.link("loop", "loop");
    box.link("gone", "nowhere");
    box.link("libs/next", "../link/cell");
    setenv("A", "libs/a", 1);
    setenv("ROOT", box.root().c_str(), 1);
    setenv("SELF", "$SELF/x", 1);
    setenv("LONG", std::string(4000, 'l').c_str(), 1);
    vekInitNonVEKApp("tool");
    cmnSetInstallRootRequired(0);
}

void run(Box &box, Input input) {
    constexpr int kMaxCommands = 8;
    const unsigned options = input.byte();
    Input commands(input.section());
    for (const char *name : {"vek.lib", "b.lib", "sub/c.lib"}) {
        box.file(name, input.section());
    }
    setUp(options);
    const std::string tmp = box.path("tmp");
    rynInitOptions initOptions = {};
    initOptions.errorHandler = ignoreError;
    initOptions.implicitTmpDirectory = (options & kImplicitTmp) != 0 ? tmp.c_str() : nullptr;
    initOptions.implicitTmpFlags = 2;
    rynHandle handle = nullptr;
    const int code = rynInitEx(
        box.path("vek.lib").c_str(), (options & kPacked) != 0 ? RYN_FLAG_PACKED_LIBRARIES : 0,
        (options & kStop) != 0 ? stop : goOn, ignoreError, &initOptions, sizeof initOptions, &handle);
    require((code == RYN_OK) == (handle != nullptr), "a registry, or a code");
    if (const OwnedRegistry registry(handle); registry) {
        for (int i = 0; i < kMaxCommands && !commands.empty(); ++i) {
            rynAddCommand(handle, upToNul(commands.line()).c_str());
        }
        askEverything(handle);
        tellAgain(box, *registry);
    }
    reset();
}

} // namespace fuzz
