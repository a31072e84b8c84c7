#ifndef TOVI_REPORT_H
#define TOVI_REPORT_H

/// Deferred error reports. An edit collects its errors in a list and passes them to tovPrintError() only after it has
/// released its lock and its objects. An error handler can therefore edit the same file without a deadlock, and cannot
/// change objects that are still in use.

#include "common/base/owned.h"
#include "tagfile/tov.h"

#include <array>
#include <cstddef>

namespace tov {

/// Selects the argument `where` of tovPrintError() for a report: null, the path of the tag file, or the path of its
/// directory as the caller passed it.
enum class Naming { Nothing, File, Directory };

/// One error report: the arguments for a call of tovPrintError(), except for the path. The path is not stored, because
/// makeReport() receives it as an argument.
struct Report {
    int code = TOV_OK;
    const char *text = nullptr; ///< a string constant; it is not copied
    Naming naming = Naming::Nothing;
    int line = 0;

    [[nodiscard]] bool isError() const { return code != TOV_OK; }
};

inline constexpr Report kNoError = {};
inline constexpr Report kNoMemory = {TOV_MEMORY_ERROR, "while allocating vekinfo Obj."};
inline constexpr Report kCannotRead = {TOV_SYSTEM_ERROR, "while opening vekinfo.tag file", Naming::File};

/// Result of parsing a tag file in a search for an entry.
struct ParseResult {
    Report report = kNoError; ///< kNoError, or the error that ended parsing
    bool hasElement =
        false;         ///< whether the first word of a line is the name of the entry; false after an error
    int openError = 0; ///< the errno value of open() or fstat() if one of them failed, otherwise 0
};

/// A list of error reports that have not been passed to tovPrintError() yet, in the order in which add() received them.
class Reports {
  public:
    /// Appends a report to the list. If memory is exhausted, drops the report; make() then reports TOV_MEMORY_ERROR
    /// after all other errors.
    void add(const Report &report);

    /// Returns the first report of the list; kNoError if the list is empty.
    [[nodiscard]] const Report &first() const { return size_ == 0 ? kNoError : first_[0]; }

    /// Calls makeReport() for each report of the list, and then empties the list.
    /// @param file       the path of the tag file, or null
    /// @param directory  the path of the directory of the tag file, or null
    void make(const char *file, const char *directory);

  private:
    static constexpr std::size_t kInline =
        8; ///< number of reports stored without allocation: an edit makes at most seven, plus one per rejected line

    std::array<Report, kInline> first_ = {};
    vek::Owned<Report> rest_;
    std::size_t size_ = 0;
    std::size_t restCapacity_ = 0;
    bool hasLost_ = false;
};

/// Calls tovPrintError() with the fields of `report` and with the path that `report.naming` selects.
/// @param file       the path for a report with Naming::File; may be null
/// @param directory  the path for a report with Naming::Directory; may be null
/// @return `report.code`
int makeReport(const Report &report, const char *file, const char *directory);

} // namespace tov

#endif
