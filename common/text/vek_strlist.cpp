#include "common/text/vek_strlist.h"

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

/// Lists with fewer slots are counted string by string.
constexpr int kBisectionMinimum = 64;

struct FreeList {
    void operator()(char **list) const { vekFreeStrlist(list); }
};
using OwnedList = std::unique_ptr<char *, FreeList>;

bool mustGrow(const char *const *list, int count, int size) {
    return list == nullptr || count > static_cast<long long>(size) - 2;
}

/// The allocated size after growing, held within the counter's range and always with room for one more
/// string and the NULL behind it; 0 when no counter can hold that.
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

/// The number of strings in a list with `size` allocated slots, of which the last is NULL. Adding and growing
/// clear every slot behind the last string, so the slots are strings first and NULL from there on: the border
/// is looked for in growing steps from the end, near which it lies in a list that grows, and then by halving.
/// Building a long list string by string stays cheap.
int bisectStrlistSize(const char *const *list, int size) {
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

/// The number of strings in `list`, whose owner says that it has `size` slots.
int countStrings(char **list, int size) {
    // A counter may lag behind, as that of an exact copy that its owner began at 0 does. Where it says too
    // little, its last slot holds a string (or there is no such slot), and only counting is right.
    if (list == nullptr || size < kBisectionMinimum || list[size - 1] != nullptr) {
        return vekGetStrlistSize(list);
    }
    return bisectStrlistSize(list, size);
}

/// The slots to ask the allocator for. Where it copies a list that grows, asking for a little more makes the
/// copies rare: the counted size grows by the same number of slots each time, the allocated one by a share.
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
    // A list without a free slot after its strings gets one that is not counted: it stays terminated, and
    // no size of 0 reaches realloc(), which would free the list.
    const int slots = newSize > strings ? newSize : strings + 1;
    auto *grown = static_cast<char **>(std::realloc(list, allocatedSlots(slots) * sizeof(char *)));
    if (grown != nullptr) {
        std::memset(grown + strings, 0, static_cast<std::size_t>(slots - strings) * sizeof(char *));
    }
    return grown;
}

/// Puts a copy of `s` at index `*count`. If it fails, the list and the counters are unchanged.
StrlistAddition addString(char **&list, const char *s, int *count, int *size) {
    // A null list has no strings, whatever a counter says that was never set.
    const int strings = list == nullptr || *count < 0 ? 0 : *count;
    // Copy first: after the list has moved, nothing may fail, or the caller's list would be lost.
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

/// What stands between two joined strings.
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
        // The result begins with a separator, too: callers rely on it.
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
