#ifndef COMMON_ENTRY_LIST_H
#define COMMON_ENTRY_LIST_H

#include "common/owned.h"

#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

namespace vek {

inline bool isDotOrDotDot(std::string_view name) {
    return name == "." || name == "..";
}

/// The entries of one directory, read whole, so that a walk through a deep tree holds no more than one directory
/// open. Each entry is its type, one of the DT_ values of <dirent.h>, and its name.
class EntryList {
  public:
    EntryList() = default;
    EntryList(EntryList &&other) noexcept
        : bytes_(std::move(other.bytes_)), size_(std::exchange(other.size_, 0)),
          capacity_(std::exchange(other.capacity_, 0)) {}
    EntryList &operator=(EntryList &&) = delete;
    EntryList(const EntryList &) = delete;
    EntryList &operator=(const EntryList &) = delete;
    ~EntryList() = default;

    /// @return false when memory is exhausted
    [[nodiscard]] bool add(unsigned char type, std::string_view name) {
        if (!reserve(size_ + name.size() + 2)) {
            return false;
        }
        char *end = bytes_.get() + size_;
        *end++ = static_cast<char>(type);
        std::memcpy(end, name.data(), name.size());
        end[name.size()] = '\0';
        size_ += name.size() + 2;
        return true;
    }

    /// An entry, and where the next one begins.
    struct Entry {
        unsigned char type;
        const char *name;
        std::size_t next;
    };

    [[nodiscard]] bool isEnd(std::size_t position) const { return position >= size_; }

    /// @param position  0, or the `next` of an entry; not the end
    [[nodiscard]] Entry at(std::size_t position) const {
        const char *entry = bytes_.get() + position;
        return {static_cast<unsigned char>(*entry), entry + 1, position + 1 + std::strlen(entry + 1) + 1};
    }

  private:
    bool reserve(std::size_t size) {
        if (size <= capacity_) {
            return true;
        }
        constexpr std::size_t kFirst = 512;
        const std::size_t wanted = 2 * capacity_ > size ? 2 * capacity_ : size + kFirst;
        auto *grown = static_cast<char *>(std::realloc(bytes_.get(), wanted));
        if (grown == nullptr) {
            return false;
        }
        static_cast<void>(bytes_.release());
        bytes_.reset(grown);
        capacity_ = wanted;
        return true;
    }

    OwnedText bytes_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

} // namespace vek

#endif
