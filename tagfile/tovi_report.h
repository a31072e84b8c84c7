#ifndef TOVI_REPORT_H
#define TOVI_REPORT_H

/// Deferred error reports. An edit collects its reports and passes them to tovPrintError() when it has released its
/// lock and its objects. So an error handler can edit the same file without a deadlock, and cannot change objects in
/// use.

#include "common/base/owned.h"
#include "tagfile/tov.h"

#include <array>
#include <cstddef>

namespace tov {

/// What the `where` argument of a report is: null, the path of the tag file, or its directory as the caller gave it.
enum class Naming { Nothing, File, Directory };

/// The arguments of one call of tovPrintError(). The path is not stored; makeReport() receives it.
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

/// A list of deferred reports, in the order of add().
class Reports {
  public:
    /// Appends a report to the list. If memory is exhausted, the report is lost, and make() reports TOV_MEMORY_ERROR
    /// last.
    void add(const Report &report);

    /// @return the first report; kNoError if there is none
    [[nodiscard]] const Report &first() const { return size_ == 0 ? kNoError : first_[0]; }

    /// Passes all reports to tovPrintError(), as makeReport() does, and empties the list.
    void make(const char *file, const char *directory);

  private:
    static constexpr std::size_t kInline =
        8; ///< reports stored without allocation: one edit makes at most seven, except for one for each rejected line

    std::array<Report, kInline> first_ = {};
    vek::Owned<Report> rest_;
    std::size_t size_ = 0;
    std::size_t restCapacity_ = 0;
    bool hasLost_ = false;
};

/// Passes one report to tovPrintError(). @return its code
/// @param file, directory  the path for a report whose `naming` is File or Directory; may be null
int makeReport(const Report &report, const char *file, const char *directory);

} // namespace tov

#endif
