#include "common/text/vek_strlist.h"

// String lists: null-terminated arrays of strings, which grow with realloc(). The caller stores the allocated size of
// a list. All elements after the last string are null, so a galloping search from the end counts the strings in O(log
// n). Therefore vekAddToStrlist() builds a list of n strings in O(n log n) time.

#include "common/base/owned.h"
#include "common/base/vek_error.h"
#include "common/text/ascii.h"
#include "common/text/veki_strlist.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

using vek::copyText;
using vek::Owned;
using vek::OwnedText;
using vek::StrlistAddition;

namespace {

/// A list that is full doubles if it has at most kDoublingLimit elements. A larger list grows by kLargeStep elements.
constexpr int kDoublingLimit = 4096;
constexpr int kLargeStep = 2048;

/// In a list with fewer elements than this, the strings are counted one by one, because a galloping search would not
/// be faster.
constexpr int kSearchMinimum = 64;

/// @return the new number of elements of a list that must grow: at least `count` + 2, for one more string and the
///         terminating null pointer; 0 if `count` + 2 exceeds INT_MAX
int grownSize(int count, int size) {
    const long long needed = count + 2LL;
    long long grown = size <= kDoublingLimit ? count * 2LL + 2 : static_cast<long long>(size) + kLargeStep;
    if (grown < needed) {
        grown = needed;
    }
    if (grown > INT_MAX) {
        grown = INT_MAX;
    }
    return grown < needed ? 0 : static_cast<int>(grown);
}

/// Counts the strings in `list`, which has `size` elements, the last of which is null. A galloping search from the end
/// finds an element that is not null. A binary search then finds the last such element.
int searchStrlistSize(const char *const *list, int size) {
    int firstKnownNull = size - 1;
    int strings = 0;
    for (int step = 1; step <= firstKnownNull && strings == 0; step *= 2) {
        const int at = firstKnownNull - step;
        if (list[at] == nullptr) {
            firstKnownNull = at;
        } else {
            strings = at + 1;
        }
    }
    while (strings < firstKnownNull) {
        const int middle = strings + (firstKnownNull - strings) / 2;
        if (list[middle] == nullptr) {
            firstKnownNull = middle;
        } else {
            strings = middle + 1;
        }
    }
    return strings;
}

/// Counts the strings in `list`. `size` is the allocated size of `list` that the user of the library has stored. It
/// can be wrong.
int countStrings(char **list, int size) {
    // The galloping search begins at element `size` - 1, which must be null. If `size` is too small, this element is a
    // string, and the strings are counted one by one instead.
    if (list == nullptr || size < kSearchMinimum || list[size - 1] != nullptr) {
        return vekGetStrlistSize(list);
    }
    return searchStrlistSize(list, size);
}

/// Documented: each time a long list grows, the size that the caller stores increases by the same constant. Allocating
/// exactly this size would copy the list O(n) times during n additions. Therefore more memory is allocated: the size
/// is rounded up by at most a quarter, so that n additions take O(n) time.
/// @return the number of elements to allocate for a list of `slots` elements
std::size_t allocatedSlots(int slots) {
    constexpr std::size_t kShare = 8;
    const auto counted = static_cast<std::size_t>(slots);
    std::size_t unit = 1;
    while (counted > kDoublingLimit && unit <= counted / kShare) {
        unit *= 2;
    }
    return (counted + unit - 1) / unit * unit;
}

/// Implements vekGrowStrlist(), but does not call the error hook if memory is exhausted.
char **growQuietly(char **list, int count, int newSize) {
    const int strings = list == nullptr || count < 0 ? 0 : count;
    if (newSize < count) {
        return list;
    }
    // Allocate at least one element more than there are strings. The list then ends with a null pointer, and realloc()
    // is never called with the size 0, which would free the list.
    const int slots = newSize > strings ? newSize : strings + 1;
    auto *grown = static_cast<char **>(std::realloc(list, allocatedSlots(slots) * sizeof(char *)));
    if (grown != nullptr) {
        std::memset(grown + strings, 0, static_cast<std::size_t>(slots - strings) * sizeof(char *));
    }
    return grown;
}

/// Stores a copy of `s` at index `*count` of `list` and increments `*count`. If the list is full, it grows. If memory
/// is exhausted, the list, `*count` and `*size` are unchanged.
StrlistAddition addString(char **&list, const char *s, int *count, int *size) {
    // Do not read `*count` if the list is null: for a new list, callers need not initialize it.
    const int strings = list == nullptr || *count < 0 ? 0 : *count;
    // Copy `s` before the list grows. If copying failed after realloc() has moved the list, the caller would keep an
    // invalid pointer.
    OwnedText copy(vekCopyString(s));
    if (s != nullptr && !copy) {
        return StrlistAddition::NoMemoryForCopy;
    }
    if (list == nullptr || strings > static_cast<long long>(*size) - 2) {
        const int newSize = grownSize(strings, *size);
        char **grown = newSize == 0 ? nullptr : growQuietly(list, strings, newSize);
        if (grown == nullptr) {
            return StrlistAddition::NoMemoryForList;
        }
        list = grown;
        *size = newSize;
    }
    *count = strings;
    if (copy) {
        list[strings] = copy.release();
        *count = strings + 1;
    }
    return StrlistAddition::Done;
}

void reportGrowthFailure() {
    vekReportError("Error (vekGrowStrlist): realloc failed.\n");
}

int compareStrings(const void *a, const void *b) {
    return std::strcmp(*static_cast<const char *const *>(a), *static_cast<const char *const *>(b));
}

/// @return the separator: the character in `sep` if `sep` is exactly one printable character, otherwise a blank
char separatorFrom(const char *sep) {
    const bool single = sep != nullptr && sep[0] != '\0' && sep[1] == '\0';
    return single && vek::isPrint(sep[0]) ? sep[0] : ' ';
}

} // namespace

char *vekCopyString(const char *s) {
    return s == nullptr ? nullptr : copyText(s).release();
}

char *vekCatString(const char *a, const char *b, const char *sep) {
    if (a == nullptr || b == nullptr) {
        return vekCopyString(a == nullptr ? b : a);
    }
    const std::string_view first(a);
    const std::string_view second(b);
    OwnedText joined(static_cast<char *>(std::malloc(first.size() + 1 + second.size() + 1)));
    if (!joined) {
        return nullptr;
    }
    char *end = joined.get();
    std::memcpy(end, first.data(), first.size());
    end += first.size();
    *end++ = separatorFrom(sep);
    std::memcpy(end, second.data(), second.size());
    end[second.size()] = '\0';
    return joined.release();
}

int vekGetStrlistSize(char **list) {
    int count = 0;
    while (list != nullptr && list[count] != nullptr) {
        ++count;
    }
    return count;
}

char **vekFastAddToStrlist(char **list, const char *s, int *count, int *size) {
    const StrlistAddition added = addString(list, s, count, size);
    if (added == StrlistAddition::NoMemoryForList) {
        reportGrowthFailure();
    }
    return added == StrlistAddition::Done ? list : nullptr;
}

char **vekGrowStrlist(char **list, int count, int newSize) {
    char **grown = growQuietly(list, count, newSize);
    if (grown == nullptr && newSize >= count) {
        reportGrowthFailure();
    }
    return grown;
}

StrlistAddition vek::addToStrlist(char **&list, const char *s, int *size) {
    int count = countStrings(list, *size);
    return addString(list, s, &count, size);
}

char **vekAddToStrlist(char **list, const char *s, int *size) {
    int count = countStrings(list, *size);
    return vekFastAddToStrlist(list, s, &count, size);
}

char **vekCopyStrlist(char **list) {
    if (list == nullptr) {
        return nullptr;
    }
    const int count = vekGetStrlistSize(list);
    vek::OwnedStrlist copy(
        static_cast<char **>(std::calloc(static_cast<std::size_t>(count) + 1, sizeof(char *))));
    if (!copy) {
        return nullptr;
    }
    for (int i = 0; i < count; ++i) {
        copy.get()[i] = vekCopyString(list[i]);
        if (copy.get()[i] == nullptr) {
            return nullptr;
        }
    }
    return copy.release();
}

void vekFreeStrlist(char **list) {
    if (list == nullptr) {
        return;
    }
    for (char **string = list; *string != nullptr; ++string) {
        std::free(*string);
    }
    std::free(list);
}

char *vekStrlistToStr(char **list, const char *sep) {
    const int count = vekGetStrlistSize(list);
    std::size_t length = 0;
    for (int i = 0; i < count; ++i) {
        length += 1 + std::strlen(list[i]);
    }
    OwnedText joined(static_cast<char *>(std::malloc(length + 1)));
    if (!joined) {
        return nullptr;
    }
    const char separator = separatorFrom(sep);
    char *end = joined.get();
    for (int i = 0; i < count; ++i) {
        // Documented: the result begins with a separator: for "a" and "b" it is ",a,b", not "a,b".
        *end++ = separator;
        const std::size_t size = std::strlen(list[i]);
        std::memcpy(end, list[i], size);
        end += size;
    }
    *end = '\0';
    return joined.release();
}

void vekSortStrlist(char **list, int n) {
    std::size_t strings = 0;
    while (list != nullptr && static_cast<long long>(strings) < n && list[strings] != nullptr) {
        ++strings;
    }
    if (strings > 1) {
        std::qsort(list, strings, sizeof(char *), compareStrings);
    }
}
