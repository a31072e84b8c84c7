#include "common/base/owned.h"
#include "common/expressions/vek_regexp.h"
#include "common/expressions/veki_regexp.h"
#include "common/text/vek_strlist.h"

#include <cstdlib>

namespace {

/// The patterns of one vekFilterStrlist() call. Each pattern is compiled once, before it is first compared with a
/// string.
class PatternSet {
  public:
    explicit PatternSet(char **patterns)
        : patterns_(patterns), count_(static_cast<std::size_t>(vekGetStrlistSize(patterns))),
          compiled_(vek::makeZeroed<Compiled>(count_)) {}
    PatternSet(const PatternSet &) = delete;
    PatternSet &operator=(const PatternSet &) = delete;
    ~PatternSet() {
        for (std::size_t i = 0; compiled_ && i < count_; ++i) {
            std::free(compiled_.get()[i].expression);
        }
    }

    /// @return false if memory was exhausted; the results of matches() must then not be used
    [[nodiscard]] bool valid() const { return compiled_ != nullptr && !outOfMemory_; }

    /// Compares `string` with the patterns in order, up to the first match. Documented: a pattern that does not
    /// compile is reported again for every string that is compared with it.
    /// @return true if `string` matches at least one pattern
    [[nodiscard]] bool matches(const char *string) {
        for (std::size_t i = 0; i < count_; ++i) {
            const Compiled &compiled = compiledPattern(i);
            if (compiled.error != nullptr) {
                vek_regerror(compiled.error);
            } else if (vek_regexec(compiled.expression, string) == 1) {
                return true;
            }
        }
        return false;
    }

  private:
    /// One pattern: after compiling, either the compiled expression or the text of the error. Before compiling, both
    /// are null.
    struct Compiled {
        vek_regexp *expression;
        const char *error;
    };

    const Compiled &compiledPattern(std::size_t index) {
        Compiled &compiled = compiled_.get()[index];
        if (compiled.expression == nullptr && compiled.error == nullptr) {
            compiled.error = vek::compileRegexp(patterns_[index], &compiled.expression);
            outOfMemory_ = outOfMemory_ || compiled.error == vek::kRegexpOutOfSpace;
        }
        return compiled;
    }

    char **patterns_;
    std::size_t count_;
    vek::Owned<Compiled> compiled_;
    bool outOfMemory_ = false;
};

} // namespace

char **vekFilterStrlist(char **list, char **patterns) {
    if (patterns == nullptr || patterns[0] == nullptr) {
        return list;
    }
    PatternSet set(patterns);
    char **found = nullptr;
    int count = 0;
    int size = 0;
    for (char **string = list; string != nullptr && *string != nullptr && set.valid(); ++string) {
        if (!set.matches(*string)) {
            continue;
        }
        char **longer = vekFastAddToStrlist(found, *string, &count, &size);
        if (longer == nullptr) {
            vekFreeStrlist(found);
            return nullptr;
        }
        found = longer;
    }
    if (!set.valid()) {
        vekFreeStrlist(found);
        return nullptr;
    }
    return found;
}
