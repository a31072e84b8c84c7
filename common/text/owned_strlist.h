#ifndef COMMON_OWNED_STRLIST_H
#define COMMON_OWNED_STRLIST_H

#include "common/text/vek_strlist.h"

#include <memory>
#include <utility>

namespace vek {

struct FreeStrlist {
    void operator()(char **list) const { vekFreeStrlist(list); }
};

/// A string list (vek_strlist.h) and its strings.
using OwnedStrlist = std::unique_ptr<char *, FreeStrlist>;

/// Appends a copy of `s` to a string list like vekAddToStrlist(), but does not call the error hook: the hook may run for
/// any time, and a caller can hold a file lock.
/// @return false if memory is exhausted; the list is then unchanged
[[nodiscard]] bool appendToStrlist(char **&list, const char *s, int *size);

/// Builds a string list from copies of strings. It keeps the counters of vekFastAddToStrlist().
class StrlistBuilder {
  public:
    /// @return false if memory is exhausted; the list is then unchanged
    [[nodiscard]] bool add(const char *text) {
        char **const grown = vekFastAddToStrlist(list_.get(), text, &count_, &size_);
        if (grown == nullptr) {
            return false;
        }
        static_cast<void>(list_.release()); // realloc() freed it, or returned the same block
        list_.reset(grown);
        return true;
    }

    [[nodiscard]] bool empty() const { return count_ == 0; }

    /// The list's allocated size.
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
