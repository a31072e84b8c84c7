#ifndef TESTS_TAGFILE_TAG_SUPPORT_H
#define TESTS_TAGFILE_TAG_SUPPORT_H

/// Helpers for tests of tag files: a fixture, collected reports, the template text, objects.

#include "common/platform/vek_init.h"
#include "common/text/vek_strlist.h"
#include "tagfile/tov.h"
#include "tests/support/c_list.h"
#include "tests/support/environment.h"
#include "tests/support/real_calls.h"
#include "tests/support/sandbox.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace test {

/// The arguments of a call of the tag layer's error handler. A null text is stored as the empty one.
struct TagReport {
    int code;
    std::string text;
    std::string where;
    int line;

    bool operator==(const TagReport &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, const TagReport &report) {
    return out << "{" << report.code << ", \"" << report.text << "\", \"" << report.where << "\", "
               << report.line << "}";
}

using TagReports = std::vector<TagReport>;

/// Collects the reports of the tag layer while it is in scope.
class ReportCollector {
  public:
    ReportCollector() : previous_(tovRegisterErrorHandler(collect)) { current_ = this; }
    ~ReportCollector() {
        tovRegisterErrorHandler(previous_);
        current_ = nullptr;
    }
    ReportCollector(const ReportCollector &) = delete;
    ReportCollector &operator=(const ReportCollector &) = delete;

    /// The reports since the last call.
    TagReports take() { return std::exchange(collected_, {}); }

  private:
    static void collect(int code, const char *text, const char *where, int line) {
        current_->collected_.push_back(
            {code, text == nullptr ? "" : text, where == nullptr ? "" : where, line});
    }

    static inline ReportCollector *current_ = nullptr;

    tovErrorHandler previous_;
    TagReports collected_;
};

inline const TagReports kNoReports;

/// An initialized infrastructure, an empty environment, and a sandbox as the working directory: the search
/// list is ".", that is, the sandbox.
class TagTest : public testing::Test {
  protected:
    void SetUp() override {
        setEnvironment({});
        vekInit(nullptr, nullptr);
    }
    void TearDown() override { tovResetCache(); }

    Sandbox box;
    ReportCollector reports;
};

/// A buffer for the `where` argument of queries, with a guard area after it.
class WhereBuffer {
  public:
    WhereBuffer() { std::memset(bytes_, 'w', sizeof(bytes_)); }
    ~WhereBuffer() {
        for (std::size_t at = VEK_PATH_SIZE; at < sizeof(bytes_); ++at) {
            EXPECT_EQ('w', bytes_[at]) << "written after the buffer";
        }
    }
    WhereBuffer(const WhereBuffer &) = delete;
    WhereBuffer &operator=(const WhereBuffer &) = delete;

    char *get() { return bytes_; }
    std::string text() const { return std::string(bytes_, strnlen(bytes_, VEK_PATH_SIZE)); }

  private:
    char bytes_[VEK_PATH_SIZE + 64];
};

struct DestroyTagObject {
    void operator()(VekinfoObj *obj) const {
        std::free(obj->path);
        std::free(obj->dmtype);
        vekFreeStrlist(obj->names);
        vekFreeStrlist(obj->values);
        std::free(obj);
    }
};
using TagObject = std::unique_ptr<VekinfoObj, DestroyTagObject>;

/// A heap object in which nothing is set. Its allocation is not a fault point.
inline TagObject emptyTagObject() {
    auto *obj = static_cast<VekinfoObj *>(__real_calloc(1, sizeof(VekinfoObj)));
    obj->library = TOV_UNSET;
    obj->libcheck = TOV_UNSET;
    return TagObject(obj);
}

inline void addEntry(VekinfoObj &obj, const char *name, const char *value) {
    obj.names = vekAddToStrlist(obj.names, name, &obj.namesSize);
    obj.values = vekAddToStrlist(obj.values, value, &obj.valuesSize);
}

/// The application entries as "name=value".
inline std::vector<std::string> entriesOf(const VekinfoObj &obj) {
    const std::vector<std::string> names = strings(obj.names);
    const std::vector<std::string> values = strings(obj.values);
    EXPECT_EQ(names.size(), values.size()) << "the two lists are parallel";
    std::vector<std::string> entries;
    for (std::size_t at = 0; at < names.size() && at < values.size(); ++at) {
        entries.push_back(names[at] + "=" + values[at]);
    }
    return entries;
}

using Entries = std::vector<std::string>;

/// How a test shows a failure in place of a path or a value.
inline std::string failure(int code) {
    return std::string("failure: ") + tovGetErrorMsg(code);
}

inline std::string textOf(const char *text) {
    return text == nullptr ? "(null)" : text;
}

/// Another spelling of `directory` of exactly `size` characters: "/." is appended repeatedly, and at the end a "/" if one
/// character is missing.
inline std::string spelledWith(std::string directory, std::size_t size) {
    while (directory.size() + 2 <= size) {
        directory += "/.";
    }
    if (directory.size() < size) {
        directory += "/";
    }
    return directory;
}

/// The text that opens every tag file the system writes.
inline const std::string kTemplate =
    "#\n"
    "# This is a vekinfo.tag file.\n"
    "#\n"
    "# See the \"Tolvane Application Infrastructure Reference Manual\" for\n"
    "# details on the format of this file, its semantics, and its use.\n"
    "#\n"
    "# The `#' character denotes a comment. Removing the leading `#'\n"
    "# character from any of the entries below will activate them.\n"
    "#\n"
    "# VEKLIBRARY entry - add this entry if the directory containing\n"
    "# this vekinfo.tag file is the root of a Tolvane library.\n"
    "# VEKLIBRARY\n"
    "#\n"
    "# VEKLIBCHECK - set this entry to require that libraries have\n"
    "# a vekinfo.tag file with a VEKLIBRARY entry. Legal values are\n"
    "# ON and OFF. By default (OFF), directories named in a vek.lib file\n"
    "# do not have to have a vekinfo.tag file with a VEKLIBRARY entry.\n"
    "# VEKLIBCHECK ON\n"
    "#\n"
    "# DMTYPE - set this entry to define the DM system for Tolvane's\n"
    "# Generic DM facility. Values will be shifted to lower case.\n"
    "# DMTYPE none\n"
    "# DMTYPE mrev\n"
    "# DMTYPE pkm\n"
    "# DMTYPE lopa\n"
    "#\n"
    "# NAMESPACE - set this entry to define the library namespace according\n"
    "# to the type of machine on which the data is stored. Legal values are\n"
    "# `LibraryNT' and\n"
    "# `LibraryUnix'.\n"
    "# NAMESPACE LibraryUnix\n"
    "#\n"
    "# Other entries may be added for use by specific applications as\n"
    "# name-value pairs. Application documentation will describe the\n"
    "# use and behaviour of these entries when appropriate.\n"
    "#\n"
    "# Current Settings:\n"
    "#\n";

} // namespace test

#endif
