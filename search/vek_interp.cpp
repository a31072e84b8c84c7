// Implements vekInterpolate(): replaces references such as `$NAME` and `~` in a text by their values. A pass copies
// plain text and replaces each reference once; it does not search the values for references. Recursive mode repeats
// passes until a pass replaces nothing, at most 20 times.

#include "search/vek_interp.h"

#include "search/veki_interp.h"

#include "common/base/print.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>

static_assert(sizeof(vekInterpArgs) == 56, "callers pass the size of the record they were compiled with");

namespace vek {
namespace {

struct ProblemText {
    InterpProblem problem;
    std::int32_t code;
    std::string_view before; ///< the message before the inserted argument
    std::string_view after;  ///< the message after the inserted argument
};

constexpr std::array<ProblemText, 12> kProblems = {{
    {InterpProblem::OutTooSmall, VEK_INTERP_OUT_TOO_SMALL, "out buffer too small", ""},
    {InterpProblem::NotSet, VEK_INTERP_NOT_SET, "environment variable '", "' not set"},
    {InterpProblem::UserWithSpace, VEK_INTERP_UNKNOWN_USER, "'~",
     "' must be followed by / or be at the end of the string"},
    {InterpProblem::UnknownUser, VEK_INTERP_UNKNOWN_USER, "'~", "' can't be evaluated"},
    {InterpProblem::TooRecursive, VEK_INTERP_TOO_RECURSIVE, "too many recursive $ substitutions: max 20", ""},
    {InterpProblem::NullIn, VEK_INTERP_NULL_ARGUMENT, "in arg in NULL", ""},
    {InterpProblem::NullOut, VEK_INTERP_NULL_ARGUMENT, "out arg in NULL", ""},
    {InterpProblem::BadReference, VEK_INTERP_BADLY_FORMED, "badly formed reference", ""},
    {InterpProblem::BadVariable, VEK_INTERP_BADLY_FORMED, "badly formed env var reference", ""},
    {InterpProblem::NoToolRoot, VEK_INTERP_NO_TOOL_ROOT, "Can't find installation root", ""},
    {InterpProblem::NoRootForFile, VEK_INTERP_NO_ROOT_FOR_FILE, "$(compute:THIS_FILE_INST_ROOT) file '",
     "' is not in an installation hierarchy "}, // Documented: the text ends in a blank
    {InterpProblem::NoRootWithPath, VEK_INTERP_NO_ROOT_FOR_FILE, "$(inst_root_with:", ") not found"},
}};
static_assert(kMaxReplacingPasses == 20, "the message contains the number");
static_assert(
    [] {
        for (std::size_t i = 0; i < kProblems.size(); ++i) {
            if (kProblems[i].problem != static_cast<InterpProblem>(i)) {
                return false;
            }
        }
        return true;
    }(),
    "the table is in the order of the problems");

/// The output buffer that the caller passed to vekInterpolate(), and the number of bytes written. Each pass over the
/// text creates a new object and writes the buffer from the beginning.
class Output {
  public:
    Output(char *buffer, std::size_t size) : buffer_(buffer), size_(size) {}

    /// Appends as much of `text` as fits. This may use the last byte of the buffer, which terminate() later overwrites
    /// with the NUL.
    /// @return false if the buffer is full, so that there is no room for a NUL after the text
    bool append(std::string_view text) {
        const std::size_t taken = std::min(text.size(), size_ - written_);
        std::memmove(buffer_ + written_, text.data(), taken);
        written_ += taken;
        return hasRoom();
    }

    [[nodiscard]] bool hasRoom() const { return written_ < size_; }
    [[nodiscard]] std::size_t written() const { return written_; }

    void terminate() {
        if (size_ != 0) {
            buffer_[std::min(written_, size_ - 1)] = '\0';
        }
    }

  private:
    char *buffer_;
    std::size_t size_;
    std::size_t written_ = 0;
};

/// @return the offset of the first "$" or "~" at or after `from`; the size of `text` if there is none
std::size_t findReference(std::string_view text, std::size_t from) {
    while (from < text.size() && text[from] != '$' && text[from] != '~') {
        ++from;
    }
    return from;
}

/// Replaces the references in `text` by their values. Calls `take` with each piece of the result, in order, until the
/// end of the text or until `take` returns false.
/// @return true if at least one reference was replaced by its value
template <typename Take>
bool expand(std::string_view text, vekInterpArgs &args, Take take) {
    InterpClosings closings;
    InterpValue value;
    bool replaced = false;
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t next = findReference(text, at);
        if (next > at && !take(std::string_view(text.data() + at, next - at))) {
            break;
        }
        if (next == text.size()) {
            break;
        }
        const InterpReference reference = evaluateReference(text, next, closings, args, value);
        replaced = replaced || reference.replaced;
        if (!take(reference.result)) {
            break;
        }
        at = next + reference.length;
    }
    return replaced;
}

/// Computes the size of the complete result, which the caller needs if the output buffer is too small.
/// @return the size of the interpolated `text` in bytes, including the NUL; errors are not stored in `args`
std::size_t measure(std::string_view text, const vekInterpArgs &args) {
    vekInterpArgs measuring = {};
    measuring.flags = args.flags;
    measuring.fileName = args.fileName;
    measuring.line = VEK_INTERP_NO_LINE;
    std::size_t size = 1;
    expand(text, measuring, [&size](std::string_view piece) {
        size += piece.size();
        return true;
    });
    return size;
}

/// The result of one pass, which replaces each reference in a text once.
struct Pass {
    bool replaced;  ///< whether a reference was replaced by its value
    bool succeeded; ///< whether the result fits and no problem was recorded
};

/// Ends a pass: writes the NUL and sets `args.neededSize` if the result fits into the buffer. Otherwise stores the
/// error OutTooSmall.
/// @return true if the result fits and no other error was stored
bool finishPass(Output &output, vekInterpArgs &args) {
    output.terminate();
    if (!output.hasRoom()) {
        recordProblem(args, InterpProblem::OutTooSmall, kNoPosition);
        return false;
    }
    args.neededSize = output.written() + 1;
    return args.errorCode == VEK_INTERP_OK;
}

/// Performs a pass: replaces every reference in `in` once and writes the result to `out`. Before references are
/// replaced, `in` is copied, because `in` and `out` may be the same buffer.
Pass runPass(const char *in, char *out, std::size_t outSize, vekInterpArgs &args) {
    const std::string_view source(in);
    Output output(out, outSize);
    if (source.find('$') == std::string_view::npos && source.find('~') == std::string_view::npos) {
        output.append(source); // `in` and `out` may be the same buffer
        args.neededSize = source.size() + 1;
        return {.replaced = false, .succeeded = finishPass(output, args)};
    }
    const TextCopy copy(source);
    if (!copy.exists()) {
        output.terminate();
        recordProblem(args, InterpProblem::OutTooSmall, kNoPosition);
        args.neededSize = outSize;
        return {};
    }
    bool replaced = false;
    if (output.hasRoom()) {
        replaced =
            expand(copy.view(), args, [&output](std::string_view piece) { return output.append(piece); });
    }
    const bool succeeded = finishPass(output, args);
    if (!output.hasRoom()) {
        args.neededSize = measure(copy.view(), args);
    }
    return {.replaced = replaced, .succeeded = succeeded};
}

/// Implements recursive mode: repeats passes until a pass replaces nothing. The input of a pass is the result of the
/// previous pass.
/// @return false if a pass fails, or if 20 passes have each replaced a reference
bool runPasses(const char *in, char *out, std::size_t outSize, vekInterpArgs &args) {
    Pass pass = runPass(in, out, outSize, args);
    for (int replacing = 1; pass.replaced; ++replacing) {
        // Documented: if a pass replaces a reference and also fails, the error code is VEK_INTERP_TOO_RECURSIVE, not
        // the code of the failure.
        if (replacing == kMaxReplacingPasses || !pass.succeeded) {
            recordProblem(args, InterpProblem::TooRecursive, kNoPosition);
            return false;
        }
        pass = runPass(out, out, outSize, args);
    }
    return pass.succeeded;
}

/// Tests that `argument` is not null. Documented: if `argument` is null, the error `problem` is stored in `args` only
/// if `args` has an error buffer.
/// @return false if `argument` is null
bool requireArgument(const char *argument, InterpProblem problem, vekInterpArgs &args) {
    if (argument == nullptr && args.errorBuffer != nullptr) {
        recordProblem(args, problem, kNoPosition);
    }
    return argument != nullptr;
}

} // namespace

void recordProblem(vekInterpArgs &args, InterpProblem problem, std::int32_t position,
                   std::string_view argument) {
    const ProblemText &text = kProblems[static_cast<std::size_t>(problem)];
    args.errorCode = text.code;
    args.errorPosition = position;
    if (args.errorBuffer == nullptr || args.errorBufferSize == 0) {
        return;
    }
    std::array<char, 10> digits = {};
    std::string_view line;
    if (args.line != VEK_INTERP_NO_LINE) {
        const char *end = std::to_chars(digits.data(), digits.data() + digits.size(), args.line).ptr;
        line = {digits.data(), static_cast<std::size_t>(end - digits.data())};
    }
    const bool hasFile = args.fileName != nullptr;
    const std::array<std::string_view, 7> pieces = {text.before,
                                                    argument,
                                                    text.after,
                                                    hasFile ? "\n    file:" : "",
                                                    hasFile ? args.fileName : "",
                                                    line.empty() ? "" : " line:",
                                                    line};
    // Write the message and a NUL. If the message does not fit, write only its beginning.
    char *at = args.errorBuffer;
    std::size_t room = args.errorBufferSize - 1;
    for (const std::string_view piece : pieces) {
        const std::size_t taken = std::min(piece.size(), room);
        at = std::copy_n(piece.data(), taken, at);
        room -= taken;
    }
    *at = '\0';
}

void reportBrokenAssertion(int line, const char *assertion) {
    vek::printError("ASSERT FALURE: %s %d %s\n", "vekInterp", line, assertion);
}

} // namespace vek

int vekInterpolate(const char *in, char *out, size_t outSize, vekInterpArgs *args, size_t argsSize) {
    vekInterpArgs none = {};
    none.line = VEK_INTERP_NO_LINE;
    if (args == nullptr) {
        args = &none;
    } else if (argsSize != sizeof(vekInterpArgs)) {
        vek::reportBrokenAssertion(__LINE__, "sizeof(vekInterpArgs) != otherArgsSz");
    }
    args->errorPosition = vek::kNoPosition;
    args->errorCode = VEK_INTERP_OK;
    if (!vek::requireArgument(in, vek::InterpProblem::NullIn, *args)) {
        if (out != nullptr && outSize != 0) {
            *out = '\0';
        }
        return 0;
    }
    if (!vek::requireArgument(out, vek::InterpProblem::NullOut, *args)) {
        return 0;
    }
    if ((args->flags & VEK_INTERP_RECURSIVE) != 0) {
        return vek::runPasses(in, out, outSize, *args) ? 1 : 0;
    }
    return vek::runPass(in, out, outSize, *args).succeeded ? 1 : 0;
}
