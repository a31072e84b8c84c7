#ifndef COMMON_OWNED_STRLIST_H
#define COMMON_OWNED_STRLIST_H

#include "common/text/vek_strlist.h"

#include <memory>
#include <utility>

namespace vek {

struct FreeStrlist {
    void operator()(char **list) const { vekFreeStrlist(list); }
};

/// Owns a string list (vek_strlist.h) and its strings: vekFreeStrlist() frees them.
using OwnedStrlist = std::unique_ptr<char *, FreeStrlist>;

/// Appends a copy of `s` to a string list like vekAddToStrlist(), but without an error report: the caller can hold a
/// file lock, and the error hook, which is a function of the program, could run for a long time.
/// @return false if memory is exhausted; the list is then unchanged
[[nodiscard]] bool appendToStrlist(char **&list, const char *s, int *size);

/// Builds a string list from copies of strings with vekFastAddToStrlist(), and stores the counters that it needs.
class StrlistBuilder {
  public:
    /// Appends a copy of `text`. @return false if memory is exhausted; the list is then unchanged
    [[nodiscard]] bool add(const char *text) {
        char **const grown = vekFastAddToStrlist(list_.get(), text, &count_, &size_);
        if (grown == nullptr) {
            return false;
        }
        static_cast<void>(list_.release()); // realloc() has freed the old block, or returned it again
        list_.reset(grown);
        return true;
    }

    [[nodiscard]] bool empty() const { return count_ == 0; }

    /// @return the number of pointers for which the list has memory
    [[nodiscard]] int size() const { return size_; }

    /// @return the list; null if nothing was added. The builder must not be used afterwards
    [[nodiscard]] OwnedStrlist take() { return std::move(list_); }

  private:
    OwnedStrlist list_;
    int count_ = 0;
    int size_ = 0;
};

} // namespace vek

#endif
