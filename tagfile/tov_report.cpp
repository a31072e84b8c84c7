#include "tagfile/tovi_report.h"

#include <cstdlib>

namespace tov {

void Reports::add(const Report &report) {
    if (size_ < kInline) {
        first_[size_++] = report;
        return;
    }
    const std::size_t index = size_ - kInline;
    if (index == restCapacity_) {
        const std::size_t wanted = 2 * restCapacity_ + kInline;
        auto *grown = static_cast<Report *>(std::realloc(rest_.get(), wanted * sizeof(Report)));
        if (grown == nullptr) {
            hasLost_ = true;
            return;
        }
        static_cast<void>(rest_.release());
        rest_.reset(grown);
        restCapacity_ = wanted;
    }
    rest_.get()[index] = report;
    ++size_;
}

void Reports::make(const char *file, const char *directory) {
    for (std::size_t i = 0; i < size_; ++i) {
        makeReport(i < kInline ? first_[i] : rest_.get()[i - kInline], file, directory);
    }
    if (hasLost_) {
        makeReport(kNoMemory, file, directory);
    }
    size_ = 0;
    hasLost_ = false;
}

int makeReport(const Report &report, const char *file, const char *directory) {
    const char *where = nullptr;
    switch (report.naming) {
    case Naming::Nothing:
        break;
    case Naming::File:
        where = file;
        break;
    case Naming::Directory:
        where = directory;
        break;
    }
    return tovPrintError(report.code, report.text, where, report.line);
}

} // namespace tov
