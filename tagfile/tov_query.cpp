// Queries: look up the value of an entry for a path, first upward from the path, then in the tag files along the search
// list. The functions for single keywords are queries with a fixed name.

#include "tagfile/tovi_query.h"

#include "common/platform/system_path.h"
#include "common/text/ascii.h"
#include "common/text/fixed_text.h"
#include "common/text/owned_strlist.h"
#include "search/pux.h"
#include "tagfile/normalize.h"
#include "tagfile/tag_path.h"
#include "tagfile/tovi_object.h"

#include <string_view>

namespace {

constexpr const char *kTagFileGroup = "veksetup";

/// Stores `path` in `where`, the optional result of a lookup: a buffer of VEK_PATH_SIZE bytes, or null. `path` always
/// fits, because it comes from a buffer of the same size.
void storeWhere(const char *path, char *where) {
    if (where != nullptr) {
        static_cast<void>(vek::copyToBuffer(path, where, VEK_PATH_SIZE));
    }
}

/// Searches the tag files in the directories of the search list, in order, for the first one that defines `element`,
/// and stores its settings in `obj`.
/// @return false if no tag file defines `element`, or after an error, which ends the search
bool findAlongSearchList(const char *element, VekinfoObj *obj) {
    char **files = nullptr;
    const int status = puxFullSearch(nullptr, tov::kTagFileName.data(), kTagFileGroup, &files);
    if (status != PUX_OK) {
        if (status == PUX_MEMORY_ERROR) {
            tov::
                reportNoMemory(); // without a report, the caller could not distinguish this from an undefined entry
        }
        return false;
    }
    const vek::OwnedStrlist owner(files);
    for (char **file = files; *file != nullptr; ++file) {
        int found = 0;
        if (tovGetVekinfoAtLoc(*file, element, obj, &found) != TOV_OK) {
            return false;
        }
        if (found != 0) {
            return true;
        }
    }
    return false;
}

/// Returns the value of the entry `name` in `obj`, or null. If there is a value, also stores the path of the tag file
/// in `where`.
const char *valueAndWhere(const char *name, const VekinfoObj &obj, char *where) {
    const char *value = toviStringizeEntry(name, &obj);
    if (value != nullptr) {
        storeWhere(obj.path, where);
    }
    return value;
}

} // namespace

const char *tov::valueOf(const Keywords &keywords, const VekinfoObj &obj, const char *name) {
    if (const Keyword *keyword = keywords.find(name); keyword != nullptr) {
        return keyword->value(obj);
    }
    for (int i = 0; obj.names != nullptr && obj.names[i] != nullptr; ++i) {
        if (vek::equalNoCase(obj.names[i], name)) {
            return obj.values[i];
        }
    }
    return nullptr;
}

const char *toviStringizeEntry(const char *name, const VekinfoObj *obj) {
    return tov::valueOf(tov::kKeywords, *obj, name);
}

const char *tovsExeMachineNameSpace(void) {
    return "LibraryUnix";
}

const char *tovLookupEntry(const char *path, const char *name, char *where) {
    storeWhere("", where);
    vek::PathText start;
    VekinfoObj obj = {};
    int found = 0;
    if (name == nullptr || tov::normalizeExistingPart(path, start) != TOV_OK ||
        tovLocalSearchElement(start.c_str(), name, &obj, &found) != TOV_OK || found == 0) {
        return nullptr;
    }
    return valueAndWhere(name, obj, where);
}

const char *tovLookupEntryX(const char *path, const char *name, char *where) {
    const char *value = tovLookupEntry(path, name, where);
    // Documented: after an empty value, such as that of VEKLIBRARY, the search list is searched as if there were no
    // value.
    if (value != nullptr && *value != '\0') {
        return value;
    }
    storeWhere("", where);
    VekinfoObj obj = {};
    const bool found = name != nullptr && findAlongSearchList(name, &obj);
    return found ? valueAndWhere(name, obj, where) : nullptr;
}

const char *tovGetDmType(const char *path) {
    return tovGetDmTypeX(path, nullptr);
}

const char *tovGetDmTypeX(const char *path, char *where) {
    return tovLookupEntryX(path, tov::kDmtype, where);
}

const char *tovGetNameSpace(const char *path) {
    return tovGetNameSpaceX(path, nullptr);
}

const char *tovGetNameSpaceX(const char *path, char *where) {
    const char *value = tovLookupEntryX(path, tov::kNamespace, where);
    return value != nullptr ? value : tovsExeMachineNameSpace();
}

int tovIsLibrary(const char *path) {
    return tovIsLibraryX(path, nullptr);
}

int tovIsLibraryX(const char *path, char *where) {
    storeWhere("", where);
    vek::PathText file;
    VekinfoObj obj = {};
    int found = 0;
    if (tov::normalizeExistingPart(path, file) != TOV_OK || !tov::appendTagFileName(file) ||
        tovGetVekinfoAtLoc(file.c_str(), tov::kVeklibrary, &obj, &found) != TOV_OK || found == 0) {
        return 0;
    }
    storeWhere(file.c_str(), where);
    return 1;
}

int tovIsInLibrary(const char *path) {
    return tovIsInLibraryX(path, nullptr);
}

int tovIsInLibraryX(const char *path, char *where) {
    return tovLookupEntry(path, tov::kVeklibrary, where) != nullptr ? 1 : 0;
}

int tovCheckLibrary(void) {
    return tovCheckLibraryX(nullptr);
}

int tovCheckLibraryX(char *where) {
    storeWhere("", where);
    vek::PathText directory;
    VekinfoObj obj = {};
    int found = 0;
    if (!vek::readWorkingDirectory(directory) ||
        tovLocalSearchElement(directory.c_str(), tov::kVeklibcheck, &obj, &found) != TOV_OK) {
        return 0;
    }
    if (found == 0 && !findAlongSearchList(tov::kVeklibcheck, &obj)) {
        return 0;
    }
    storeWhere(obj.path, where);
    return obj.libcheck == 1 ? 1 : 0;
}
