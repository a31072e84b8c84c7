#include "common/text/vek_strlist.h"

// String lists. The caller keeps the allocated size of a list, and all slots after the last string are null. So the number
// of strings can be found by a galloping search from the end, in O(log n) for a list that grows, and building a list of n
// strings takes O(n log n) time.

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

/// Up to this allocated size a list doubles when it grows; a larger one grows by kLargeStep slots.
constexpr int kDoublingLimit = 4096;
constexpr int kLargeStep = 2048;

/// Shorter lists are counted string by string.
constexpr int kSearchMinimum = 64;

struct FreeList {
    void operator()(char **list) const { vekFreeStrlist(list); }
};
using OwnedList = std::unique_ptr<char *, FreeList>;

bool mustGrow(const char *const *list, int count, int size) {
    return list == nullptr || count > static_cast<long long>(size) - 2;
}

/// The allocated size after growing: room for at least one more string and the null pointer. 0 if it exceeds INT_MAX.
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

/// The number of strings in a list with `size` allocated slots, of which the last is null: galloping search from the end,
/// then binary search.
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

/// The number of strings in `list`, for which the caller gave the allocated size `size`.
int countStrings(char **list, int size) {
    // The counter can be too small: 0 for a list from vekCopyStrlist(), for instance. Then its last slot contains a string.
    if (list == nullptr || size < kSearchMinimum || list[size - 1] != nullptr) {
        return vekGetStrlistSize(list);
    }
    return searchStrlistSize(list, size);
}

/// The slots to allocate. The documented size of a long list grows by a constant, which would copy it O(n) times. So the
/// allocated size is rounded up by at most an eighth, which makes n additions O(n).
std::size_t allocatedSlots(int slots) {
    constexpr std::size_t kShare = 8;
    const auto counted = static_cast<std::size_t>(slots);
    std::size_t unit = 1;
    while (counted > kDoublingLimit && unit <= counted / kShare) {
        unit *= 2;
    }
    return (counted + unit - 1) / unit * unit;
}

/// vekGrowStrlist() without the report.
char **growQuietly(char **list, int count, int newSize) {
    const int strings = list == nullptr || count < 0 ? 0 : count;
    if (newSize < count) {
        return list;
    }
    // At least one slot after the strings: the list stays terminated, and realloc() never gets the size 0, which frees.
    const int slots = newSize > strings ? newSize : strings + 1;
    auto *grown = static_cast<char **>(std::realloc(list, allocatedSlots(slots) * sizeof(char *)));
    if (grown != nullptr) {
        std::memset(grown + strings, 0, static_cast<std::size_t>(slots - strings) * sizeof(char *));
    }
    return grown;
}

/// Puts a copy of `s` at index `*count`. If it fails, the list and the counters are unchanged.
StrlistAddition addString(char **&list, const char *s, int *count, int *size) {
    // The counter of a null list need not be initialized.
    const int strings = list == nullptr || *count < 0 ? 0 : *count;
    // Copy first: after realloc() has moved the list, no step may fail, because the caller's pointer is then invalid.
    OwnedText copy(vekCopyString(s));
    if (s != nullptr && !copy) {
        return StrlistAddition::NoMemoryForCopy;
    }
    if (mustGrow(list, strings, *size)) {
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

/// The separator of joined strings.
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
    OwnedList copy(static_cast<char **>(std::calloc(static_cast<std::size_t>(count) + 1, sizeof(char *))));
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
        // Documented: the result begins with a separator.
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
