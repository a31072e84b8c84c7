#ifndef VEKI_INTERP_H
#define VEKI_INTERP_H

/// One reference of a text that is interpolated: where it ends, what its value is, and how a failure is
/// recorded.

#include "common/base/owned.h"
#include "common/text/fixed_text.h"
#include "search/vek_interp.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vek {

/// What can go wrong. Every problem has a code and a message; several problems share a code.
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

/// Passes of recursive mode that may replace something; the last of them is one too many.
inline constexpr int kMaxReplacingPasses = 20;

/// The position of a problem that no reference causes.
inline constexpr std::int32_t kNoPosition = -1;

/// Puts the code, the position and, when there is a buffer for it, the message of a problem into `args`, over
/// what was recorded before.
///
/// @param argument  what the message names, if it names something
void recordProblem(vekInterpArgs &args, InterpProblem problem, std::int32_t position,
                   std::string_view argument = {});

/// Writes to standard error that the code calls itself wrongly.
void reportBrokenAssertion(int line, const char *assertion);

/// The value of one reference. A longer value is an error; the reference then stays as it is.
using InterpValue = FixedText<2048>;

struct InterpReference {
    std::size_t length;      ///< characters of the text that it takes
    std::string_view result; ///< what goes into the output: in `value`, in the text, or a constant
    bool replaced;           ///< whether that is its value
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

/// Evaluates the reference that begins at offset `at` of `text`. A failure is recorded in `args`.
/// @param value  receives the value, which the result may refer to
InterpReference evaluateReference(std::string_view text, std::size_t at, vekInterpArgs &args,
                                  InterpValue &value);

} // namespace vek

#endif
