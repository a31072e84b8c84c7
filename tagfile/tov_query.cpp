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

/// Writes to the `where` buffer of a query: the empty string first, and the path of the tag file if one defines the
/// entry.
class Where {
  public:
    explicit Where(char *buffer) : buffer_(buffer) { set(""); }

    /// Copies `path` to the buffer. It always fits: it comes from a buffer of the same size.
    void set(const char *path) {
        if (buffer_ != nullptr) {
            static_cast<void>(vek::copyToBuffer(path, buffer_, VEK_PATH_SIZE));
        }
    }

  private:
    char *buffer_;
};

/// Searches upward from the normalized `path` for a tag file that defines `element`, and stores its settings in `obj`.
/// @return false if there is none, or after an error
bool findAbove(const char *path, const char *element, VekinfoObj *obj) {
    int found = 0;
    return tovLocalSearchElement(path, element, obj, &found) == TOV_OK && found != 0;
}

/// Searches the tag files along the search list, in order, for one that defines `element`, and stores its settings in
/// `obj`.
/// @return false if there is none, or after an error, which ends the search
bool findAlongSearchList(const char *element, VekinfoObj *obj) {
    char **files = nullptr;
    const int status = puxFullSearch(nullptr, tov::kTagFileName.data(), kTagFileGroup, &files);
    if (status != PUX_OK) {
        if (status == PUX_MEMORY_ERROR) {
            toviReportNoMemory(); // without a report, the caller could not distinguish this from an undefined entry
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

/// Looks up the value of the entry `name` in `obj`. Sets `where` to the path of `obj` if there is a value.
/// @return the value, or null
const char *valueAndWhere(const char *name, const VekinfoObj &obj, Where &where) {
    const char *value = toviStringizeEntry(name, &obj);
    if (value != nullptr) {
        where.set(obj.path);
    }
    return value;
}

/// @return the value of the first application entry called `name`, compared without case; null if there is none
const char *applicationValue(std::string_view name, const VekinfoObj &obj) {
    for (int i = 0; obj.names != nullptr && obj.names[i] != nullptr; ++i) {
        if (vek::equalNoCase(obj.names[i], name)) {
            return obj.values[i];
        }
    }
    return nullptr;
}

} // namespace

const char *tov::valueOf(const Keywords &keywords, const VekinfoObj &obj, const char *name) {
    const Keyword *keyword = keywords.find(name);
    return keyword == nullptr ? applicationValue(name, obj) : keyword->value(obj);
}

const char *toviStringizeEntry(const char *name, const VekinfoObj *obj) {
    return tov::valueOf(tov::kKeywords, *obj, name);
}

const char *tovsExeMachineNameSpace(void) {
    return "LibraryUnix";
}

const char *tovLookupEntry(const char *path, const char *name, char *where) {
    Where result(where);
    vek::PathText start;
    VekinfoObj obj = {};
    if (name == nullptr || tov::normalizeExistingPart(path, start) != TOV_OK ||
        !findAbove(start.c_str(), name, &obj)) {
        return nullptr;
    }
    return valueAndWhere(name, obj, result);
}

const char *tovLookupEntryX(const char *path, const char *name, char *where) {
    const char *value = tovLookupEntry(path, name, where);
    // Documented: the search list is also searched after an empty value, such as that of VEKLIBRARY.
    if (value != nullptr && *value != '\0') {
        return value;
    }
    Where result(where);
    VekinfoObj obj = {};
    const bool found = name != nullptr && findAlongSearchList(name, &obj);
    return found ? valueAndWhere(name, obj, result) : nullptr;
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
    Where result(where);
    vek::PathText file;
    VekinfoObj obj = {};
    int found = 0;
    if (tov::normalizeExistingPart(path, file) != TOV_OK || !tov::appendTagFileName(file) ||
        tovGetVekinfoAtLoc(file.c_str(), tov::kVeklibrary, &obj, &found) != TOV_OK || found == 0) {
        return 0;
    }
    result.set(file.c_str());
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
    Where result(where);
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
    result.set(obj.path);
    return obj.libcheck == 1 ? 1 : 0;
}
