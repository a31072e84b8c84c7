#include "tool/vekinfo_report.h"

#include "common/ascii.h"
#include "common/fixed_text.h"
#include "common/vek_file.h"
#include "common/vek_path.h"
#include "tool/vekinfo_args.h"

#include <array>
#include <cstdio>
#include <string_view>
#include <unistd.h>

namespace {

/// The path that `-show` and `-lookup` start from, as the user gave it.
class StartPath {
  public:
    StartPath() {
        if (gotTestPath != 0) {
            path_ = testPath;
        } else if (getcwd(directory_.data(), VEK_PATH_SIZE) != nullptr) {
            path_ = directory_.c_str();
        }
    }
    StartPath(const StartPath &) = delete;
    StartPath &operator=(const StartPath &) = delete;

    [[nodiscard]] const char *c_str() const { return path_; }

  private:
    vek::PathText directory_;
    const char *path_ = "."; // what a working directory that cannot be read is still called
};

// ---- show

bool isWanted(const char *filter, std::string_view item) {
    return filter == nullptr || vek::equalNoCase(filter, item);
}

void printLibrary(const char *tagPath, bool pathShown) {
    if (pathShown) {
        std::puts("\tThere is a VEKLIBRARY entry.");
    } else {
        std::printf("The vekinfo.tag file at: %s\nhas a VEKLIBRARY entry defined.\n", tagPath);
    }
}

// ---- lookup

void printDefinition(const char *where, const char *name, const char *value) {
    std::printf("%s\n    defines '%s %s'.\n", where, name, value);
}

void printDefinitionOrMiss(const char *where, const char *shownName, const char *typedName,
                           const char *value) {
    if (value != nullptr) {
        printDefinition(where, shownName, value);
        return;
    }
    std::printf("Info (vekinfo): could not locate an entry for '%s' in any vekinfo.tag file.\n", typedName);
}

void lookUpDmtype(const char *start, const char *name) {
    vek::PathText where;
    const char *value = tovGetDmTypeX(start, where.data());
    printDefinitionOrMiss(where.c_str(), "DMTYPE", name, value);
}

void lookUpLibrary(const char *start, const char * /*name*/) {
    constexpr const char *kName = "VEKLIBRARY";
    vek::PathText directory;
    for (;;) {
        if (tovCheckLibrary() == 0) {
            std::puts("Info (vekinfo): Library checking is off, VEKLIBRARY entries will not be used.");
        }
        if (tovNormalizePath(start, directory.data()) == TOV_OK) {
            break;
        }
        // A path that cannot be resolved is reported for ever: the name is not given up. Scripts that watch
        // this report stop it themselves.
        tovPrintError(TOV_INVALID_PATH, start, nullptr, 0);
    }
    VekinfoObj obj = {};
    int found = 0;
    if (tovLocalSearchElement(directory.c_str(), kName, &obj, &found) == TOV_OK && found != 0) {
        std::printf("The vekinfo.tag file at: %s\nhas a %s entry defined.\n", obj.path, kName);
    } else {
        std::printf("No %s entry was found in any location relative to\n%s.\n", kName, start);
    }
}

/// Always from the working directory, whatever `-path` says.
void lookUpLibcheck(const char * /*start*/, const char * /*name*/) {
    constexpr const char *kName = "VEKLIBCHECK";
    vek::PathText where;
    const char *value = tovCheckLibraryX(where.data()) != 0 ? "ON" : "OFF";
    if (*where.c_str() == '\0') {
        std::printf("%s is not defined. It is %s by default.\n", kName, value);
    } else {
        printDefinition(where.c_str(), kName, value);
    }
}

void lookUpNameSpace(const char *start, const char * /*name*/) {
    // These spellings, unlike the file's, are the report's own.
    constexpr std::array<const char *, 2> kShown = {"libraryNt", "libraryUnix"};
    vek::PathText where;
    const char *value = tovGetNameSpaceX(start, where.data());
    for (const char *shown : kShown) {
        if (vek::equalNoCase(value, shown)) {
            printDefinition(where.c_str(), "NAMESPACE", shown);
        }
    }
}

void lookUpOther(const char *start, const char *name) {
    vek::PathText where;
    const char *value = tovLookupEntryX(start, name, where.data());
    printDefinitionOrMiss(where.c_str(), name, name, value);
}

struct EntryReport {
    std::string_view name;
    void (*print)(const char *start, const char *name);
};

constexpr std::array<EntryReport, 4> kEntryReports = {{
    {"DMTYPE", lookUpDmtype},
    {"VEKLIBRARY", lookUpLibrary},
    {"VEKLIBCHECK", lookUpLibcheck},
    {"NAMESPACE", lookUpNameSpace},
}};

void lookUp(const char *start, const char *name) {
    for (const EntryReport &report : kEntryReports) {
        if (vek::equalNoCase(name, report.name)) {
            report.print(start, name);
            return;
        }
    }
    lookUpOther(start, name);
}

} // namespace

int tovFindInfoFile(const char *start, char *tagPath) {
    vek::PathText directory;
    if (tovNormalizePath(start, directory.data()) != TOV_OK) {
        return tovPrintError(TOV_INVALID_PATH, start, nullptr, 0);
    }
    directory.measure();
    while (!directory.empty()) {
        vek::PathText file;
        if (vekIsRoot(directory.c_str()) == 0 && file.assign(directory.view(), "/vekinfo.tag") &&
            vekFileExists(file.c_str()) != 0) {
            return vek::copyToBuffer(file.view(), tagPath, VEK_PATH_SIZE) ? TOV_OK : TOV_NO_SUCH_FILE;
        }
        const std::size_t slash = directory.view().rfind('/');
        directory.truncate(slash == std::string_view::npos ? 0 : slash);
    }
    return TOV_NO_SUCH_FILE;
}

VekinfoObj *tovGetVekinfo(const char *tagPath) {
    static struct { VekinfoObj obj; } shown;
    int found = 0;
    return tovGetVekinfoAtLoc(tagPath, nullptr, &shown.obj, &found) == TOV_OK ? &shown.obj : nullptr;
}

void printVfmt(const char *tagPath, const char *name, const char *value, int pathShown) {
    if (pathShown != 0) {
        std::printf("\tThe %s entry has a value of: %s.\n", name, value);
    } else {
        std::printf("The vekinfo.tag file at %s\nhas a %s entry with a value of: %s.\n", tagPath, name,
                    value);
    }
}

int tovPrintVekinfo(const char *filter, const VekinfoObj *obj) {
    const char *path = obj->path == nullptr ? "" : obj->path;
    const bool pathShown = obj->path != nullptr && isWanted(filter, "path");
    if (pathShown) {
        std::printf("A vekinfo.tag file exists at: %s\n", path);
    }
    if (obj->library != TOV_UNSET && isWanted(filter, "VEKLIBRARY")) {
        printLibrary(path, pathShown);
    }
    const int shown = pathShown ? 1 : 0;
    if (obj->libcheck <= 1 && isWanted(filter, "VEKLIBCHECK")) {
        printVfmt(path, "VEKLIBCHECK", obj->libcheck == 1 ? "ON" : "OFF", shown);
    }
    if (obj->dmtype != nullptr && isWanted(filter, "DMTYPE")) {
        printVfmt(path, "DMTYPE", obj->dmtype, shown);
    }
    if (obj->nameSpace == TOV_NAMESPACE_NT && isWanted(filter, "NAMESPACE")) {
        printVfmt(path, "NAMESPACE", "libraryNt", shown);
    }
    if (obj->nameSpace == TOV_NAMESPACE_UNIX && isWanted(filter, "NAMESPACE")) {
        printVfmt(path, "NAMESPACE", "libraryUnix", shown);
    }
    return 0;
}

int tovVekinfoShow(void) {
    const StartPath start;
    vek::PathText tagPath;
    const int status = tovFindInfoFile(start.c_str(), tagPath.data());
    if (status != TOV_OK) {
        tagPath.clear();
    }
    const VekinfoObj *obj = tovGetVekinfo(tagPath.c_str());
    if (obj == nullptr) {
        std::puts("Info (vekinfo): could not find vekinfo.tag file.");
        return status;
    }
    tovPrintVekinfo(nullptr, obj);
    return TOV_OK;
}

int tovVekinfoLookup(char **names) {
    const StartPath start;
    std::printf("vekinfo searching relative to '%s':\n", start.c_str());
    for (char **name = names; *name != nullptr; ++name) {
        lookUp(start.c_str(), *name);
    }
    return TOV_OK;
}
