#ifndef COMMON_OWNED_H
#define COMMON_OWNED_H

/// RAII owners of C resources (malloc() memory, FILE, DIR and descriptors), and functions that allocate and copy.

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <string_view>
#include <type_traits>
#include <unistd.h>
#include <utility>

namespace vek {

struct FreeMemory {
    void operator()(void *memory) const { std::free(memory); }
};
struct CloseStream {
    void operator()(FILE *stream) const { static_cast<void>(std::fclose(stream)); }
};
struct CloseDirectory {
    void operator()(DIR *directory) const { static_cast<void>(closedir(directory)); }
};

/// Owns memory that malloc() has allocated.
template <typename T>
using Owned = std::unique_ptr<T, FreeMemory>;
/// Owns a NUL-terminated string that malloc() has allocated.
using OwnedText = Owned<char>;
using OwnedStream = std::unique_ptr<FILE, CloseStream>;
using OwnedDirectory = std::unique_ptr<DIR, CloseDirectory>;

/// Allocates a record with malloc() and sets it to `value`. @return null if memory is exhausted
template <typename T>
[[nodiscard]] Owned<T> make(const T &value = {}) {
    static_assert(std::is_trivially_copyable_v<T>, "free() calls no destructor");
    auto *const record = static_cast<T *>(std::malloc(sizeof(T)));
    return Owned<T>(record == nullptr ? nullptr : std::construct_at(record, value));
}

/// Allocates an array of `count` records with calloc(), so all bytes are 0. @return null if memory is exhausted
template <typename T>
[[nodiscard]] Owned<T> makeZeroed(std::size_t count = 1) {
    static_assert(std::is_trivially_copyable_v<T>);
    return Owned<T>(static_cast<T *>(std::calloc(count, sizeof(T))));
}

/// @return a copy of `text` with a NUL after it; null if memory is exhausted
[[nodiscard]] inline OwnedText copyText(std::string_view text) {
    OwnedText copy(static_cast<char *>(std::malloc(text.size() + 1)));
    if (copy) {
        std::memcpy(copy.get(), text.data(), text.size());
        copy.get()[text.size()] = '\0';
    }
    return copy;
}

/// @return the joined pieces with a NUL after them; null if memory is exhausted
template <typename... Pieces>
[[nodiscard]] OwnedText joinText(const Pieces &...pieces) {
    const std::array<std::string_view, sizeof...(Pieces)> views = {std::string_view(pieces)...};
    std::size_t size = 0;
    for (const std::string_view view : views) {
        size += view.size();
    }
    OwnedText joined(static_cast<char *>(std::malloc(size + 1)));
    char *end = joined.get();
    for (std::size_t i = 0; joined && i < views.size(); ++i) {
        std::copy(views[i].begin(), views[i].end(), end);
        end += views[i].size();
    }
    if (joined) {
        *end = '\0';
    }
    return joined;
}

/// A file descriptor that is closed at the end of its scope.
class OwnedDescriptor {
  public:
    OwnedDescriptor() = default;
    explicit OwnedDescriptor(int descriptor) : descriptor_(descriptor) {}
    OwnedDescriptor(OwnedDescriptor &&other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    OwnedDescriptor &operator=(OwnedDescriptor &&other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    OwnedDescriptor(const OwnedDescriptor &) = delete;
    OwnedDescriptor &operator=(const OwnedDescriptor &) = delete;
    ~OwnedDescriptor() {
        if (valid()) {
            static_cast<void>(::close(descriptor_));
        }
    }

    [[nodiscard]] bool valid() const { return descriptor_ >= 0; }
    [[nodiscard]] int get() const { return descriptor_; }
    [[nodiscard]] int release() { return std::exchange(descriptor_, -1); }

    /// Closes the descriptor before the end of the scope. @return the result of close(), with `errno` set if it is -1
    [[nodiscard]] int close() { return ::close(release()); }

  private:
    int descriptor_ = -1;
};

} // namespace vek

#endif
