// The table of tag keywords: one row for each keyword, with all of its properties. Parser, cache, edits, queries,
// writer and report use this table, so a new keyword is one new row.

#include "tagfile/keyword.h"

#include "common/base/owned.h"
#include "common/text/ascii.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace tov {

namespace {

bool isOn(std::string_view value) {
    return vek::equalNoCase(value, "ON");
}

bool isNt(std::string_view value) {
    return vek::equalNoCase(value, "LibraryNT");
}

// ---- VEKLIBCHECK

const char *libcheckValue(const VekinfoObj &obj) {
    return obj.libcheck == 0 ? "OFF" : "ON";
}

// ---- DMTYPE

bool setDmtype(VekinfoObj &obj, const char *value) {
    vek::OwnedText copy = vek::copyText(value);
    if (!copy) {
        return false;
    }
    std::free(obj.dmtype);
    obj.dmtype = copy.release();
    return true;
}

// ---- NAMESPACE

const char *nameSpaceText(const VekinfoObj &obj, const char *nt, const char *unix) {
    switch (obj.nameSpace) {
    case TOV_NAMESPACE_NT:
        return nt;
    case TOV_NAMESPACE_UNIX:
        return unix;
    default:
        return nullptr;
    }
}

const char *nameSpaceValue(const VekinfoObj &obj) {
    return nameSpaceText(obj, "LibraryNT", "LibraryUnix");
}

// ---- the table

constexpr std::array kRows = {
    Keyword{
        .name = kVeklibrary,
        .wordCount = 1,
        .isValid = [](std::string_view /*value*/) { return true; },
        .set =
            [](VekinfoObj &obj, const char * /*value*/) {
                obj.library = 1;
                return true;
            },
        .clear = [](VekinfoObj &obj) { obj.library = 0; },
        // Documented: after an edit has cleared VEKLIBRARY, `library` is 0 and this function still returns true. A
        // lookup therefore finds the keyword in the cached object, although it is no longer in the file.
        .isPresent = [](const VekinfoObj &obj) { return obj.library != TOV_UNSET; },
        .value = [](const VekinfoObj & /*obj*/) { return ""; },
        .writtenValue = [](const VekinfoObj &obj) -> const char * { return obj.library == 1 ? "" : nullptr; },
        .shownValue = [](const VekinfoObj &obj) -> const char * {
            return obj.library != TOV_UNSET ? "" : nullptr;
        },
        .lookup = LookupForm::LibraryMark,
        .syntaxError = "VEKLIBRARY line in vekinfo.tag file",
    },
    Keyword{
        .name = kVeklibcheck,
        .wordCount = 2,
        .isValid = [](std::string_view value) { return isOn(value) || vek::equalNoCase(value, "OFF"); },
        .set =
            [](VekinfoObj &obj, const char *value) {
                obj.libcheck = isOn(value) ? 1 : 0;
                return true;
            },
        .clear = [](VekinfoObj &obj) { obj.libcheck = 0; },
        .isPresent = [](const VekinfoObj &obj) { return obj.libcheck != TOV_UNSET; },
        .value = libcheckValue,
        // Documented: only the value ON is written. If the file contains `VEKLIBCHECK OFF`, an edit of any entry
        // removes this line.
        .writtenValue = [](const VekinfoObj &obj) { return obj.libcheck == 1 ? "ON" : nullptr; },
        .shownValue = [](const VekinfoObj &obj) -> const char * {
            return obj.libcheck <= 1 ? libcheckValue(obj) : nullptr;
        },
        .lookup = LookupForm::LibraryCheck,
        .syntaxError = "VEKLIBCHECK line in vekinfo.tag file",
    },
    Keyword{
        .name = kDmtype,
        .wordCount = 2,
        .isValid = [](std::string_view /*value*/) { return true; },
        .set = setDmtype,
        .clear =
            [](VekinfoObj &obj) {
                std::free(obj.dmtype);
                obj.dmtype = nullptr;
            },
        .isPresent = [](const VekinfoObj &obj) { return obj.dmtype != nullptr; },
        .value = [](const VekinfoObj &obj) -> const char * { return obj.dmtype; },
        .writtenValue = [](const VekinfoObj &obj) -> const char * {
            return obj.dmtype != nullptr && *obj.dmtype != '\0' ? obj.dmtype : nullptr;
        },
        .shownValue = [](const VekinfoObj &obj) -> const char * { return obj.dmtype; },
        .lookup = LookupForm::Value,
        .syntaxError = "DMTYPE line in vekinfo.tag file",
    },
    Keyword{
        .name = kNamespace,
        .wordCount = 2,
        .isValid =
            [](std::string_view value) { return isNt(value) || vek::equalNoCase(value, "LibraryUnix"); },
        .set =
            [](VekinfoObj &obj, const char *value) {
                obj.nameSpace = isNt(value) ? TOV_NAMESPACE_NT : TOV_NAMESPACE_UNIX;
                return true;
            },
        .clear = [](VekinfoObj &obj) { obj.nameSpace = TOV_NAMESPACE_UNSET; },
        .isPresent = [](const VekinfoObj &obj) { return obj.nameSpace != TOV_NAMESPACE_UNSET; },
        .value = nameSpaceValue,
        .writtenValue = nameSpaceValue,
        // Documented: the file contains `LibraryNT` or `LibraryUnix`, but `vekinfo -show` prints "libraryNt" or
        // "libraryUnix".
        .shownValue = [](const VekinfoObj &obj) { return nameSpaceText(obj, "libraryNt", "libraryUnix"); },
        .lookup = LookupForm::NameSpace,
        .syntaxError = "NAMESPACE line in vekinfo.tag file",
    },
};

static_assert(std::all_of(kRows.begin(), kRows.end(), [](const Keyword &row) { return row.isComplete(); }),
              "a keyword lacks a column");

} // namespace

constinit const Keywords kKeywords(kRows);

const Keyword *Keywords::find(std::string_view name) const {
    for (const Keyword &row : rows_) {
        if (vek::equalNoCase(name, row.name)) {
            return &row;
        }
    }
    return nullptr;
}

} // namespace tov
