#ifndef VEKI_INTERP_H
#define VEKI_INTERP_H

/// Internal interface of vekInterpolate(): functions that store an error and that evaluate one reference such as
/// `$NAME`.

#include "common/base/owned.h"
#include "common/text/fixed_text.h"
#include "search/vek_interp.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vek {

/// The errors that vekInterpolate() reports. Each error has its own message and a VEK_INTERP_... code. Some errors
/// have the same code.
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

/// The largest number of passes in recursive mode. Documented: recursive mode fails if 20 passes have each replaced a
/// reference.
inline constexpr int kMaxReplacingPasses = 20;

/// The value of vekInterpArgs::errorPosition for an error that is not caused by a reference ("$NAME", "~USER") in the
/// text.
inline constexpr std::int32_t kNoPosition = -1;

/// Stores the error `problem` in `args`: its code, `position` and, if `args` has an error buffer, its message.
/// Overwrites an earlier error.
///
/// @param argument  the text that is inserted into the message, such as the name of a variable
void recordProblem(vekInterpArgs &args, InterpProblem problem, std::int32_t position,
                   std::string_view argument = {});

/// Prints on standard error that the assertion with the text `assertion` has failed in the source line `line`.
void reportBrokenAssertion(int line, const char *assertion);

/// A buffer for the value of one reference, at most 2047 characters. A longer value is an error, and the reference is
/// copied to the output unchanged.
using InterpValue = FixedText<2048>;

/// The result of evaluateReference().
struct InterpReference {
    std::size_t length;      ///< size of the reference in the text, in bytes
    std::string_view result; ///< the text to output; points into `value`, into the text, or to a constant
    bool replaced;           ///< whether `result` is the value; false if the reference is kept, and for `$$`
};

/// Owns a NUL-terminated copy of a text. Allocates heap memory only if the text has more than 4095 characters.
class TextCopy {
  public:
    explicit TextCopy(std::string_view text) : size_(text.size()) {
        if (!path_.assign(text)) {
            long_ = copyText(text);
        }
    }
    TextCopy(const TextCopy &) = delete;
    TextCopy &operator=(const TextCopy &) = delete;

    /// @return false if memory was exhausted in the constructor; c_str() and view() must then not be used
    [[nodiscard]] bool exists() const { return size_ <= PathText::kCapacity || long_; }
    [[nodiscard]] const char *c_str() const { return long_ ? long_.get() : path_.c_str(); }
    [[nodiscard]] std::string_view view() const { return {c_str(), size_}; }

  private:
    std::size_t size_;
    PathText path_;
    OwnedText long_;
};

/// Finds the closing character ("}" or ")") of each reference in one text, from left to right. Caches the last result:
/// without the cache, n references without a closing character would take O(n^2) time, because each search would read
/// the rest of the text.
class ClosingCharacter {
  public:
    explicit ClosingCharacter(char c) : c_(c) {}

    /// @param from  an offset in `text`, not less than in the previous call of this function
    /// @return the offset of the first closing character at or after `from`; the size of `text` if there is none
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

/// Finds the closing characters of the references in one text: "}" for `${...}` and ")" for `$(...)`.
struct InterpClosings {
    ClosingCharacter brace{'}'};
    ClosingCharacter parenthesis{')'};
};

/// Evaluates the reference that begins at offset `at` of `text`. If this fails, stores the error in `args`.
/// @param closings  an object for this text only; `at` must not decrease between calls with the same object
/// @param value     receives the value of the reference; the returned object can contain pointers to `value`
InterpReference evaluateReference(std::string_view text, std::size_t at, InterpClosings &closings,
                                  vekInterpArgs &args, InterpValue &value);

} // namespace vek

#endif
