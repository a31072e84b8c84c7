#ifndef TOVI_REPORT_H
#define TOVI_REPORT_H

/// Deferred reports. No error handler runs while a lock is held, so that a handler can edit the same file. Nor can a
/// handler change the objects that an edit is using.

#include "common/base/owned.h"
#include "tagfile/tov.h"

#include <array>
#include <cstddef>

namespace tov {

/// What a report names beside its text.
enum class Naming { Nothing, File, Directory };

/// The arguments of one tovPrintError(), except for the path.
struct Report {
    int code = TOV_OK;
    const char *text = nullptr; ///< a constant
    Naming naming = Naming::Nothing;
    int line = 0;

    [[nodiscard]] bool isError() const { return code != TOV_OK; }
};

inline constexpr Report kNoError = {};
inline constexpr Report kNoMemory = {TOV_MEMORY_ERROR, "while allocating vekinfo Obj."};
inline constexpr Report kCannotRead = {TOV_SYSTEM_ERROR, "while opening vekinfo.tag file", Naming::File};

/// Reports in the order in which they are to be made.
class Reports {
  public:
    /// Adds a report. If memory is exhausted, this is reported at the end instead.
    void add(const Report &report);

    /// @return the first report; kNoError if there is none
    [[nodiscard]] const Report &first() const { return size_ == 0 ? kNoError : first_[0]; }

    /// Makes the reports and removes them. The handler may call any function of this layer.
    /// @param file, directory  what the reports name; either may be null
    void make(const char *file, const char *directory);

  private:
    static constexpr std::size_t kInline =
        8; ///< one edit has at most seven, unless lines that it is given are refused

    std::array<Report, kInline> first_ = {};
    vek::Owned<Report> rest_;
    std::size_t size_ = 0;
    std::size_t restCapacity_ = 0;
    bool hasLost_ = false;
};

/// Makes one report. @return its code
int makeReport(const Report &report, const char *file, const char *directory);

} // namespace tov

#endif
