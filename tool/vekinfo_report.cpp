// The actions that print tag files and values: -show and -lookup.

#include "tool/vekinfo_report.h"

#include "common/base/print.h"
#include "common/platform/system_path.h"
#include "common/platform/vek_file.h"
#include "common/platform/vek_path.h"
#include "common/text/ascii.h"
#include "tagfile/normalize.h"
#include "tagfile/tag_path.h"
#include "tool/vekinfo_args.h"

#include <cstdio>
#include <string_view>

namespace {

/// The path from which the actions `-show` and `-lookup` search: the path after the option `-path`, unchanged; or,
/// without this option, the working directory.
class StartPath {
  public:
    StartPath() {
        if (gotTestPath != 0) {
            path_ = testPath;
        } else if (vek::readWorkingDirectory(directory_)) {
            path_ = directory_.c_str();
        }
    }
    StartPath(const StartPath &) = delete;
    StartPath &operator=(const StartPath &) = delete;

    [[nodiscard]] const char *c_str() const { return path_; }

  private:
    vek::PathText directory_;
    const char *path_ = "."; // remains if the working directory cannot be read
};

// ---- show

bool isWanted(const char *filter, std::string_view item) {
    return filter == nullptr || vek::equalNoCase(filter, item);
}

/// Prints that the tag file `tagPath` contains the keyword `name`, which has no value.
/// @param pathShown  true if `tagPath` has already been printed; false to print it with the keyword
void printMark(const char *tagPath, const char *name, bool pathShown) {
    if (pathShown) {
        vek::print(stdout, "\tThere is a %s entry.\n", name);
    } else {
        vek::print(stdout, "The vekinfo.tag file at: %s\nhas a %s entry defined.\n", tagPath, name);
    }
}

// ---- lookup

void printDefinition(const char *where, const char *name, const char *value) {
    vek::print(stdout, "%s\n    defines '%s %s'.\n", where, name, value);
}

/// Looks up the entry `shownName`, from the path `start` upward and along the search list, and prints its value.
/// @param shownName  the name of the entry; for a keyword, in the spelling of the keyword table
/// @param typedName  the name as the user typed it; it is printed if no tag file defines the entry
void lookUpValue(const char *start, const char *shownName, const char *typedName) {
    vek::PathText where;
    const char *value = nullptr;
    where.fill([&](char *file, std::size_t) { value = tovLookupEntryX(start, shownName, file); });
    if (value != nullptr) {
        printDefinition(where.c_str(), shownName, value);
    } else {
        vek::print(stdout, "Info (vekinfo): could not locate an entry for '%s' in any vekinfo.tag file.\n",
                   typedName);
    }
}

void lookUpLibrary(const char *start, const char *name) {
    vek::PathText directory;
    for (;;) {
        if (tovCheckLibrary() == 0) {
            vek::print(stdout, "Info (vekinfo): Library checking is off, %s entries will not be used.\n",
                       name);
        }
        if (tov::normalizePath(start, directory) == TOV_OK) {
            break;
        }
        // Documented: if `start` does not exist or cannot be read, this loop reports the error again and again until a
        // signal ends the process. Scripts that read the report send the signal.
        tovPrintError(TOV_INVALID_PATH, start, nullptr, 0);
    }
    VekinfoObj obj = {};
    int found = 0;
    if (tovLocalSearchElement(directory.c_str(), name, &obj, &found) == TOV_OK && found != 0) {
        vek::print(stdout, "The vekinfo.tag file at: %s\nhas a %s entry defined.\n", obj.path, name);
    } else {
        vek::print(stdout, "No %s entry was found in any location relative to\n%s.\n", name, start);
    }
}

/// Prints the value of VEKLIBCHECK, ON or OFF, and the tag file that defines it. Documented: the search always begins
/// in the working directory, even if the command line contains `-path`.
void lookUpLibcheck(const char *name) {
    vek::PathText where;
    const bool isOn = where.fill([](char *file, std::size_t) { return tovCheckLibraryX(file) != 0; });
    const char *value = isOn ? "ON" : "OFF";
    if (where.empty()) {
        vek::print(stdout, "%s is not defined. It is %s by default.\n", name, value);
    } else {
        printDefinition(where.c_str(), name, value);
    }
}

/// Prints the value of NAMESPACE for the path `start`, after the path of the tag file that defines it. Documented: if
/// no tag file defines NAMESPACE, prints an empty path and the default value of the platform.
void lookUpNameSpace(const char *start, const tov::Keyword &keyword) {
    vek::PathText where;
    VekinfoObj obj = {};
    where.fill(
        [&](char *file, std::size_t) { static_cast<void>(keyword.set(obj, tovGetNameSpaceX(start, file))); });
    printDefinition(where.c_str(), keyword.name.data(), keyword.shownValue(obj));
}

void lookUp(const char *start, const char *name) {
    const tov::Keyword *keyword = tov::kKeywords.find(name);
    if (keyword == nullptr) {
        lookUpValue(start, name, name);
        return;
    }
    switch (keyword->lookup) {
    case tov::LookupForm::Value:
        lookUpValue(start, keyword->name.data(), name);
        break;
    case tov::LookupForm::LibraryMark:
        lookUpLibrary(start, keyword->name.data());
        break;
    case tov::LookupForm::LibraryCheck:
        lookUpLibcheck(keyword->name.data());
        break;
    case tov::LookupForm::NameSpace:
        lookUpNameSpace(start, *keyword);
        break;
    }
}

} // namespace

int tovFindInfoFile(const char *start, char *tagPath) {
    vek::PathText directory;
    if (tov::normalizePath(start, directory) != TOV_OK) {
        return tovPrintError(TOV_INVALID_PATH, start, nullptr, 0);
    }
    while (!directory.empty()) {
        vek::PathText file;
        if (vekIsRoot(directory.c_str()) == 0 && file.assign(directory.view(), "/", tov::kTagFileName) &&
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
        vek::print(stdout, "\tThe %s entry has a value of: %s.\n", name, value);
    } else {
        vek::print(stdout, "The vekinfo.tag file at %s\nhas a %s entry with a value of: %s.\n", tagPath, name,
                   value);
    }
}

void vekinfo::print(const tov::Keywords &keywords, const char *filter, const VekinfoObj &obj) {
    const char *path = obj.path == nullptr ? "" : obj.path;
    const bool pathShown = obj.path != nullptr && isWanted(filter, "path");
    if (pathShown) {
        vek::print(stdout, "A vekinfo.tag file exists at: %s\n", path);
    }
    for (const tov::Keyword &keyword : keywords) {
        const char *value = keyword.shownValue(obj);
        if (value == nullptr || !isWanted(filter, keyword.name)) {
            continue;
        }
        if (keyword.wordCount > 1) {
            printVfmt(path, keyword.name.data(), value, pathShown ? 1 : 0);
        } else {
            printMark(path, keyword.name.data(), pathShown);
        }
    }
}

int tovPrintVekinfo(const char *filter, const VekinfoObj *obj) {
    vekinfo::print(tov::kKeywords, filter, *obj);
    return 0;
}

int tovVekinfoShow(void) {
    const StartPath start;
    vek::PathText tagPath;
    const int status =
        tagPath.fill([&start](char *path, std::size_t) { return tovFindInfoFile(start.c_str(), path); });
    const VekinfoObj *obj = tovGetVekinfo(tagPath.c_str());
    if (obj == nullptr) {
        vek::print(stdout, "Info (vekinfo): could not find vekinfo.tag file.\n");
        return status;
    }
    tovPrintVekinfo(nullptr, obj);
    return TOV_OK;
}

int tovVekinfoLookup(char **names) {
    const StartPath start;
    vek::print(stdout, "vekinfo searching relative to '%s':\n", start.c_str());
    for (char **name = names; *name != nullptr; ++name) {
        lookUp(start.c_str(), *name);
    }
    return TOV_OK;
}
