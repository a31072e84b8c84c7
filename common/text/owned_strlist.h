#ifndef COMMON_OWNED_STRLIST_H
#define COMMON_OWNED_STRLIST_H

#include "common/text/veki_strlist.h"

#include <utility>

namespace vek {

/// Appends a copy of `s` to the string list `list`, like vekAddToStrlist(), but does not call the error hook. A caller
/// may hold a file lock, and the error hook is a function of the program that could run for a long time.
/// @param size  the allocated size of `list`; changed if the list grows
/// @return false if memory is exhausted; the list is then unchanged
[[nodiscard]] bool appendToStrlist(char **&list, const char *s, int *size);

/// Builds a string list from copies of strings. Stores the number of strings and the allocated size, which
/// vekFastAddToStrlist() needs from its caller.
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

    /// @return the allocated size of the list: the number of pointers for which memory is allocated
    [[nodiscard]] int size() const { return size_; }

    /// @return the list, which the caller then owns; null if nothing was added. The builder must not be used
    ///         afterwards
    [[nodiscard]] OwnedStrlist take() { return std::move(list_); }

  private:
    OwnedStrlist list_;
    int count_ = 0;
    int size_ = 0;
};

} // namespace vek

#endif
