#ifndef COMMON_OWNED_STRLIST_H
#define COMMON_OWNED_STRLIST_H

#include "common/text/vek_strlist.h"

#include <memory>
#include <utility>

namespace vek {

struct FreeStrlist {
    void operator()(char **list) const { vekFreeStrlist(list); }
};

/// A string list (vek_strlist.h) and its strings; release() hands them to a caller.
using OwnedStrlist = std::unique_ptr<char *, FreeStrlist>;

/// Appends a copy of `s` to a string list, as vekAddToStrlist() does, but calls no error hook: for callers that hold a
/// lock. @return false if memory is exhausted; the list is then unchanged
[[nodiscard]] bool appendToStrlist(char **&list, const char *s, int *size);

/// A string list that grows by copies of strings, and the counters that such a list needs beside it.
class StrlistBuilder {
  public:
    /// @return whether there was memory for the copy; without it the list is as it was
    [[nodiscard]] bool add(const char *text) {
        char **const grown = vekFastAddToStrlist(list_.get(), text, &count_, &size_);
        if (grown == nullptr) {
            return false;
        }
        static_cast<void>(list_.release()); // it is, or became, `grown`
        list_.reset(grown);
        return true;
    }

    [[nodiscard]] bool empty() const { return count_ == 0; }

    /// The list's allocated size.
    [[nodiscard]] int size() const { return size_; }

    /// The list, null when nothing was added. The builder ends here.
    [[nodiscard]] OwnedStrlist take() { return std::move(list_); }

  private:
    OwnedStrlist list_;
    int count_ = 0;
    int size_ = 0;
};

} // namespace vek

#endif
