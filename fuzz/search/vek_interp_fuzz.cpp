// Interpolation: a byte of flags, one for the record, one for the size of the output, and the text. The result is
// the one that the definition of references gives, cut to the output's size.

#include "common/platform/vek_init.h"
#include "fuzz/support/target.h"
#include "fuzz/support/users.h"
#include "search/vek_interp.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

namespace {

/// Bits of the byte for the record.
enum Option : unsigned {
    kWithRecord = 1,
    kWithFileName = 2,
    kWithMessage = 4,
    kWithLine = 8,
    kRootsRequired = 16,
    kInPlace = 32,
    kLargeOutput = 64
};

std::string upToNul(std::string_view text) {
    return std::string(text.substr(0, text.find('\0')));
}

/// One pass over a text without references that ask for installations.
class Model {
  public:
    Model(const std::string &text, unsigned flags) : text_(text), flags_(flags) {
        while (at_ < text_.size() && known_) {
            const char c = text_[at_];
            if (c == '$') {
                dollar();
            } else if (c == '~') {
                home();
            } else {
                result_ += c;
                ++at_;
            }
        }
    }

    /// False when the text has a reference that this model does not know.
    [[nodiscard]] bool isKnown() const { return known_; }
    [[nodiscard]] bool hasFailed() const { return failed_; }
    [[nodiscard]] const std::string &result() const { return result_; }

  private:
    void copy(std::size_t end) {
        result_ += text_.substr(at_, end - at_);
        at_ = end;
    }
    void open() {
        failed_ = true;
        result_ += "${";
        at_ += 2;
    }

    void dollar() {
        const char next = at_ + 1 < text_.size() ? text_[at_ + 1] : '\0';
        if (next == '$') {
            result_ += '$';
            at_ += 2;
        } else if (next == '(') {
            computed();
        } else if (next == '{') {
            braced();
        } else {
            std::size_t end = at_ + 1;
            while (end < text_.size() &&
                   (std::isalnum(static_cast<unsigned char>(text_[end])) != 0 || text_[end] == '_')) {
                ++end;
            }
            variable(at_ + 1, end, end);
        }
    }

    void computed() {
        const std::size_t close = text_.find(')', at_);
        if (close == std::string::npos) {
            open();
            return;
        }
        const std::string name = text_.substr(at_ + 2, close - at_ - 2);
        known_ = cmnGetInstallRootRequired() == 0 ||
                 (name.find("_INST_ROOT") == std::string::npos && !name.starts_with("inst_root_with:"));
        copy(close + 1);
    }

    void braced() {
        const std::size_t close = text_.find('}', at_);
        if (close == std::string::npos) {
            open();
            return;
        }
        if (text_.find('$', at_ + 2) < close) {
            open();
            return;
        }
        variable(at_ + 2, close, close + 1);
    }

    void variable(std::size_t begin, std::size_t nameEnd, std::size_t end) {
        constexpr std::size_t kLongestValue = 2047;
        const std::string name = text_.substr(begin, nameEnd - begin);
        known_ = known_ && name != "VEK_INST_DIR" && name != "VEK_SITE";
        const char *value = std::getenv(name.c_str());
        if (value == nullptr || std::strlen(value) > kLongestValue) {
            failed_ = true;
            copy(end);
        } else if ((flags_ & VEK_INTERP_KEEP_VARIABLES) != 0) {
            copy(end);
        } else {
            result_ += value;
            at_ = end;
        }
    }

    void home() {
        const std::size_t end = std::min(text_.find('/', at_), text_.size());
        const std::string user = text_.substr(at_ + 1, end - at_ - 1);
        const bool isKnownUser = user.empty() || user == fuzz::kUser;
        failed_ = failed_ || !isKnownUser;
        if (!isKnownUser || (flags_ & VEK_INTERP_KEEP_HOMES) != 0) {
            copy(end);
        } else {
            result_ += user.empty() ? std::getenv("HOME") : fuzz::kUsersHome;
            at_ = end;
        }
    }

    const std::string &text_;
    unsigned flags_;
    std::size_t at_ = 0;
    bool known_ = true;
    bool failed_ = false;
    std::string result_;
};

struct Result {
    int succeeded;
    std::string out;
    std::optional<vekInterpArgs> record;
};

Result interpolate(const std::string &text, std::size_t size, unsigned flags, unsigned options) {
    std::array<char, 48> message = {};
    vekInterpArgs args = {};
    args.flags = flags;
    args.fileName = (options & kWithFileName) != 0 ? "inst/some.file" : nullptr;
    args.line = (options & kWithLine) != 0 ? 12 : VEK_INTERP_NO_LINE;
    args.errorBuffer = (options & kWithMessage) != 0 ? message.data() : nullptr;
    args.errorBufferSize = message.size() - 1;
    const bool withRecord = (options & kWithRecord) != 0;
    // Memory of the exact size, so that a sanitizer sees a byte too far.
    const std::unique_ptr<char, void (*)(void *)> out(static_cast<char *>(std::malloc(size)), std::free);
    const bool inPlace = (options & kInPlace) != 0 && size > text.size();
    if (inPlace) {
        std::memcpy(out.get(), text.c_str(), text.size() + 1);
    }
    const int succeeded = vekInterpolate(inPlace ? out.get() : text.c_str(), out.get(), size,
                                         withRecord ? &args : nullptr, sizeof args);
    Result result = {succeeded, {}, std::nullopt};
    if (size != 0) {
        fuzz::require(std::memchr(out.get(), '\0', size) != nullptr, "the output is terminated", text);
        result.out = out.get();
    }
    if (withRecord) {
        result.record = args;
        fuzz::require((args.errorCode == VEK_INTERP_OK) == (succeeded == 1), "a failure has a code", text);
        fuzz::require(args.errorPosition < static_cast<std::int32_t>(text.size()) ||
                          (flags & VEK_INTERP_RECURSIVE) != 0,
                      "the position of a failure is in the text", text);
        fuzz::require(message.back() == '\0', "the message stays in its buffer", text);
    }
    return result;
}

void checkSize(const Result &result, const std::string &text, std::size_t size, unsigned flags,
               unsigned options) {
    if (!result.record) {
        return;
    }
    const vekInterpArgs &record = *result.record;
    if (record.errorCode != VEK_INTERP_OUT_TOO_SMALL) {
        fuzz::require((flags & VEK_INTERP_RECURSIVE) != 0 || record.neededSize == result.out.size() + 1,
                      "the needed size is that of the output", text);
        return;
    }
    if (size == 0 || (flags & VEK_INTERP_RECURSIVE) != 0 || record.neededSize > std::size_t{1} << 20) {
        return;
    }
    const Result whole = interpolate(text, record.neededSize, flags, options);
    fuzz::require(whole.record->errorCode != VEK_INTERP_OUT_TOO_SMALL &&
                      whole.out.size() + 1 == record.neededSize,
                  "the size that is asked for is enough", text);
    fuzz::require(whole.out.starts_with(result.out), "a small output holds the beginning", text, result.out);
}

void checkResult(const Result &result, const std::string &text, std::size_t size, unsigned flags) {
    const Model model(text, flags);
    if (!model.isKnown() || (flags & VEK_INTERP_RECURSIVE) != 0 || size == 0) {
        return;
    }
    const bool fits = model.result().size() < size;
    fuzz::require(result.out == model.result().substr(0, size - 1), "references have their values", text,
                  result.out);
    fuzz::require(!fits || (result.succeeded == 1) == !model.hasFailed(), "what cannot be expanded fails",
                  text);
    fuzz::require(fits || result.succeeded == 0, "what does not fit fails", text);
}

} // namespace

namespace fuzz {

void prepare(Box &box) {
    for (const char *directory : {"inst", "inst/tools", "inst/tools/bin", "inst/share"}) {
        box.directory(directory);
    }
    box.file("inst/tools/bin/vek_root", "", 0755);
    box.file("inst/tools/bin/tool", "", 0755);
    setenv("A", "$B", 1);
    setenv("B", "${C}/x", 1);
    setenv("C", "c", 1);
    setenv("SELF", "-$SELF", 1);
    setenv("EMPTY", "", 1);
    setenv("FORMAT", "%s%n%d", 1);
    setenv("FITS", std::string(2047, 'f').c_str(), 1);
    setenv("LONG", std::string(2048, 'l').c_str(), 1);
    setenv("TILDE", "~", 1);
    setenv("HOME", "/home/of mine", 1);
    setenv("PATH", box.path("inst/tools/bin").c_str(), 1);
    vekInitNonVEKApp("tool");
}

void run(Box & /*box*/, Input input) {
    const unsigned givenFlags = input.byte() & 15U;
    const unsigned options = input.byte();
    const unsigned flags = (options & kWithRecord) != 0 ? givenFlags : 0;
    const std::size_t size = std::size_t{input.byte()} * ((options & kLargeOutput) != 0 ? 64 : 1);
    const std::string text = upToNul(input.rest());
    cmnSetInstallRootRequired((options & kRootsRequired) != 0 ? 1 : 0);
    const Result result = interpolate(text, size, flags, options);
    checkSize(result, text, size, flags, options & ~unsigned{kInPlace});
    checkResult(result, text, size, flags);
}

} // namespace fuzz
