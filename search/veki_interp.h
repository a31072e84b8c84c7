#ifndef VEKI_INTERP_H
#define VEKI_INTERP_H

/// Evaluation of one reference of an interpolated text.

#include "common/base/owned.h"
#include "common/text/fixed_text.h"
#include "search/vek_interp.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vek {

/// Each problem has a code and a message. Some have the same code.
enum class InterpProblem : std::uint8_t {
    OutTooSmall,
    NotSet,
    UserWithSpace,
    UnknownUser,
    TooRecursive,
    NullIn,
    NullOut,
    BadReference,
    BadVariable,
    NoToolRoot,
    NoRootForFile,
    NoRootWithPath
};

/// Recursive mode fails if this many passes replace something: the documented limit.
inline constexpr int kMaxReplacingPasses = 20;

/// The position of a problem that is not caused by a reference.
inline constexpr std::int32_t kNoPosition = -1;

/// Stores the code, the position and, if there is a buffer, the message of a problem in `args`. It replaces an earlier
/// problem.
///
/// @param argument  inserted into the message
void recordProblem(vekInterpArgs &args, InterpProblem problem, std::int32_t position,
                   std::string_view argument = {});

/// Prints a failed internal assertion on standard error.
void reportBrokenAssertion(int line, const char *assertion);

/// The value of one reference. If a value is longer, this is an error, and the reference remains unchanged.
using InterpValue = FixedText<2048>;

struct InterpReference {
    std::size_t length;      ///< size of the reference in the text
    std::string_view result; ///< the output; points into `value`, into the text, or to a constant
    bool replaced;           ///< whether the output is the value
};

/// Whether `c` begins a reference.
constexpr bool beginsReference(char c) {
    return c == '$' || c == '~';
}

/// A NUL-terminated copy of a text, on the heap only if it is longer than a path.
class TextCopy {
  public:
    explicit TextCopy(std::string_view text) : size_(text.size()) {
        if (!path_.assign(text)) {
            long_ = copyText(text);
        }
    }
    TextCopy(const TextCopy &) = delete;
    TextCopy &operator=(const TextCopy &) = delete;

    /// @return false if memory was exhausted; the copy must not be used then
    [[nodiscard]] bool exists() const { return size_ <= PathText::kCapacity || long_; }
    [[nodiscard]] const char *c_str() const { return long_ ? long_.get() : path_.c_str(); }
    [[nodiscard]] std::string_view view() const { return {c_str(), size_}; }

  private:
    std::size_t size_;
    PathText path_;
    OwnedText long_;
};

/// Finds a closing character for each of the references of one text, from left to right. Memoizes the last result, so
/// that n references without a closing character take O(n) time together.
class ClosingCharacter {
  public:
    explicit ClosingCharacter(char c) : c_(c) {}

    /// @param from  not less than in the call before
    /// @return the offset of the first one at or after `from`; the size of the text if there is none
    std::size_t find(std::string_view text, std::size_t from) {
        if (!isKnown_ || offset_ < from) {
            const std::size_t offset = text.find(c_, from);
            offset_ = offset == std::string_view::npos ? text.size() : offset;
            isKnown_ = true;
        }
        return offset_;
    }

  private:
    char c_;
    bool isKnown_ = false;
    std::size_t offset_ = 0;
};

/// The closing characters of the references of one text.
struct InterpClosings {
    ClosingCharacter brace{'}'};
    ClosingCharacter parenthesis{')'};
};

/// Evaluates the reference that begins at offset `at` of `text`. A failure is recorded in `args`.
/// @param closings  made anew for each text; `at` must not decrease from one call to the next
/// @param value     receives the value, which the result may refer to
InterpReference evaluateReference(std::string_view text, std::size_t at, InterpClosings &closings,
                                  vekInterpArgs &args, InterpValue &value);

} // namespace vek

#endif
