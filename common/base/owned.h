#ifndef COMMON_OWNED_H
#define COMMON_OWNED_H

/// RAII owners of C resources: memory from malloc(), FILE and DIR streams, and file descriptors. Also functions that
/// allocate records and copy strings into memory from malloc().

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

/// A unique pointer to memory that malloc() allocated. Its destructor calls free().
template <typename T>
using Owned = std::unique_ptr<T, FreeMemory>;
/// A unique pointer to a NUL-terminated string that malloc() allocated.
using OwnedText = Owned<char>;
using OwnedStream = std::unique_ptr<FILE, CloseStream>;
using OwnedDirectory = std::unique_ptr<DIR, CloseDirectory>;

/// Allocates an object of type T with malloc() and initializes it with `value`. @return the object; null if memory is
/// exhausted
template <typename T>
[[nodiscard]] Owned<T> make(const T &value = {}) {
    static_assert(std::is_trivially_copyable_v<T>, "free() calls no destructor");
    auto *const record = static_cast<T *>(std::malloc(sizeof(T)));
    return Owned<T>(record == nullptr ? nullptr : std::construct_at(record, value));
}

/// Allocates an array of `count` objects of type T with calloc(), which sets all bytes to 0. @return the array; null
/// if memory is exhausted
template <typename T>
[[nodiscard]] Owned<T> makeZeroed(std::size_t count = 1) {
    static_assert(std::is_trivially_copyable_v<T>);
    return Owned<T>(static_cast<T *>(std::calloc(count, sizeof(T))));
}

/// Copies `text` and a final NUL into new memory. @return the copy; null if memory is exhausted
[[nodiscard]] inline OwnedText copyText(std::string_view text) {
    OwnedText copy(static_cast<char *>(std::malloc(text.size() + 1)));
    if (copy) {
        std::memcpy(copy.get(), text.data(), text.size());
        copy.get()[text.size()] = '\0';
    }
    return copy;
}

/// Concatenates all `pieces` and a final NUL in new memory. @return the joined text; null if memory is exhausted
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

/// Owns one file descriptor. The destructor closes it, unless the stored value is -1 (no descriptor).
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

    /// Closes the descriptor now instead of in the destructor. @return the result of close(): 0, or -1 with `errno`
    /// set
    [[nodiscard]] int close() { return ::close(release()); }

  private:
    int descriptor_ = -1;
};

} // namespace vek

#endif
