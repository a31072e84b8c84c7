// Evaluates one reference for vekInterpolate(): computes the value of `$NAME` from environment variables, of `~user`
// from home directories, and of `$(...)` from installation roots.

#include "common/base/owned.h"
#include "common/platform/vek_init.h"
#include "common/platform/vek_install_root.h"
#include "common/text/ascii.h"
#include "search/veki_interp.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <pwd.h>

namespace vek {
namespace {

/// The result of looking up the value of a reference such as `$NAME`. Found: the value is stored.
enum class Lookup : std::uint8_t {
    Found,
    Unchanged, ///< the reference stays as it is, without an error
    Failed,    ///< the reference stays as it is, with an error
    NoMemory   ///< the reference stays as it is, with the error for exhausted memory
};

/// The arguments of evaluateReference().
struct Evaluation {
    std::string_view text;
    std::size_t at; ///< offset of the reference
    InterpClosings &closings;
    vekInterpArgs &args;
    InterpValue &value;
};

std::string_view part(const Evaluation &in, std::size_t begin, std::size_t end) {
    return {in.text.data() + begin, end - begin};
}

void record(const Evaluation &in, InterpProblem problem, std::string_view argument = {}) {
    constexpr std::size_t kLastPosition = INT32_MAX;
    recordProblem(in.args, problem, static_cast<std::int32_t>(std::min(in.at, kLastPosition)), argument);
}

/// @return the result of evaluating the reference from offset `in.at` to the offset `end`: its value if `useValue` is
///         true, otherwise the reference itself
InterpReference conclude(const Evaluation &in, std::size_t end, bool useValue) {
    if (useValue) {
        return {.length = end - in.at, .result = in.value.view(), .replaced = true};
    }
    return {.length = end - in.at, .result = part(in, in.at, end), .replaced = false};
}

/// Documented: the beginning "${" or "$(" of an incomplete reference is output as "${". For example, "$(A" without ")"
/// becomes "${A".
InterpReference openBrace() {
    return {.length = 2, .result = "${", .replaced = false};
}

/// @return Found if `text` was stored in `value`; Failed if it is too long
Lookup store(InterpValue &value, const char *text) {
    return value.assign(text) ? Lookup::Found : Lookup::Failed;
}

/// Stores the path `root`, followed by the text `below`, in `value`. Frees `root`, which is allocated on the heap.
/// @return Unchanged if `root` is null; Failed if the path is too long; otherwise Found
Lookup takeRoot(InterpValue &value, char *root, std::string_view below = "") {
    const OwnedText owned(root);
    if (!owned) {
        return Lookup::Unchanged;
    }
    return value.assign(owned.get(), below) ? Lookup::Found : Lookup::Failed;
}

Lookup lookUpVariable(const char *name, InterpValue &value) {
    // Documented: VEK_INST_DIR is never read from the environment. Its value is always the installation root of the
    // running tool.
    if (std::string_view(name) == "VEK_INST_DIR") {
        return takeRoot(value, vekGetInstallRoot());
    }
    if (const char *set = std::getenv(name); set != nullptr) {
        return store(value, set);
    }
    if (std::string_view(name) == "VEK_SITE") {
        return takeRoot(value, vekGetInstallRoot(), "/share/local");
    }
    return Lookup::Failed;
}

/// Evaluates the reference `$NAME` or `${NAME}`. If the variable is not set, stores an error.
/// @param begin, nameEnd  the offsets of the first byte of NAME and of the byte after NAME
/// @param end             the offset of the byte after the reference
InterpReference evaluateVariable(const Evaluation &in, std::size_t begin, std::size_t nameEnd,
                                 std::size_t end) {
    const TextCopy name(part(in, begin, nameEnd));
    const Lookup lookup = name.exists() ? lookUpVariable(name.c_str(), in.value) : Lookup::NoMemory;
    if (lookup == Lookup::NoMemory) {
        record(in, InterpProblem::OutTooSmall);
    } else if (lookup == Lookup::Failed) {
        record(in, InterpProblem::NotSet, name.view());
    }
    // Documented: the variable is looked up even if VEK_INTERP_KEEP_VARIABLES is set, although its value is not used.
    // An unset variable is therefore an error with this flag, too.
    return conclude(in, end, lookup == Lookup::Found && (in.args.flags & VEK_INTERP_KEEP_VARIABLES) == 0);
}

InterpReference evaluateBraced(const Evaluation &in) {
    const std::size_t begin = in.at + 2;
    const std::size_t close = in.closings.brace.find(in.text, begin);
    if (close == in.text.size()) {
        record(in, InterpProblem::BadVariable);
        return openBrace();
    }
    if (part(in, begin, close).find('$') != std::string_view::npos) {
        // A reference inside braces, such as "${A$B}", is no error in recursive mode: this pass replaces the inner
        // reference, and the next pass replaces the outer reference.
        if ((in.args.flags & VEK_INTERP_RECURSIVE) == 0) {
            record(in, InterpProblem::BadVariable);
        }
        return openBrace();
    }
    return evaluateVariable(in, begin, close, close + 1);
}

InterpReference evaluateNamed(const Evaluation &in) {
    const std::size_t begin = in.at + 1;
    std::size_t end = begin;
    while (end < in.text.size() && (isAlnum(in.text[end]) || in.text[end] == '_')) {
        ++end;
    }
    // The name is empty for a single "$". No variable has an empty name, so the single "$" is reported as a variable
    // that is not set.
    return evaluateVariable(in, begin, end, end);
}

bool findComputedValue(const Evaluation &in, std::size_t begin, std::size_t end) {
    constexpr std::string_view kWithPath = "inst_root_with:";
    if (cmnGetInstallRootRequired() == 0) {
        return false;
    }
    const std::string_view word = part(in, begin, end);
    if (word == "compute:THIS_TOOL_INST_ROOT") {
        const bool found = takeRoot(in.value, vekGetInstallRoot()) == Lookup::Found;
        if (!found) {
            record(in, InterpProblem::NoToolRoot);
        }
        return found;
    }
    if (word == "compute:THIS_FILE_INST_ROOT") {
        const char *file = in.args.fileName;
        const bool found = takeRoot(in.value, vekGetInstallRootFromFilePath(file)) == Lookup::Found;
        if (!found) {
            record(in, InterpProblem::NoRootForFile, file == nullptr ? "<unspecified>" : file);
        }
        return found;
    }
    if (!startsWith(word, kWithPath)) {
        return false;
    }
    const TextCopy path(part(in, begin + kWithPath.size(), end));
    if (!path.exists()) {
        record(in, InterpProblem::OutTooSmall);
        return false;
    }
    const bool found = takeRoot(in.value, vekGetInstallRootWithPath(path.c_str())) == Lookup::Found;
    if (!found) {
        record(in, InterpProblem::NoRootWithPath, path.view());
    }
    return found;
}

InterpReference evaluateComputed(const Evaluation &in) {
    const std::size_t begin = in.at + 2;
    const std::size_t close = in.closings.parenthesis.find(in.text, begin);
    if (close == in.text.size()) {
        record(in, InterpProblem::BadReference);
        return openBrace();
    }
    const bool found = findComputedValue(in, begin, close);
    return conclude(in, close + 1, found && (in.args.flags & VEK_INTERP_KEEP_COMPUTED) == 0);
}

InterpReference evaluateHome(const Evaluation &in) {
    const std::size_t begin = in.at + 1;
    const std::size_t end = std::min(in.text.find('/', begin), in.text.size());
    const TextCopy name(part(in, begin, end));
    Lookup lookup = Lookup::NoMemory;
    if (begin == end) {
        const char *home = std::getenv("HOME");
        home = home != nullptr ? home : std::getenv("home");
        lookup = home == nullptr ? Lookup::Unchanged : store(in.value, home);
    } else if (name.exists()) {
        const passwd *entry = getpwnam(name.c_str());
        const char *home = entry == nullptr ? nullptr : entry->pw_dir;
        lookup = home == nullptr ? Lookup::Failed : store(in.value, home);
    }
    if (lookup == Lookup::NoMemory) {
        record(in, InterpProblem::OutTooSmall);
    } else if (lookup == Lookup::Failed) {
        const std::string_view user = part(in, begin, end);
        const auto space =
            static_cast<std::size_t>(std::find_if(user.begin(), user.end(), isSpace) - user.begin());
        record(in, space < user.size() ? InterpProblem::UserWithSpace : InterpProblem::UnknownUser,
               {user.data(), space});
    }
    return conclude(in, end, lookup == Lookup::Found && (in.args.flags & VEK_INTERP_KEEP_HOMES) == 0);
}

} // namespace

InterpReference evaluateReference(std::string_view text, std::size_t at, InterpClosings &closings,
                                  vekInterpArgs &args, InterpValue &value) {
    const Evaluation in = {text, at, closings, args, value};
    if (text[at] == '~') {
        return evaluateHome(in);
    }
    if (text[at] != '$') {
        reportBrokenAssertion(__LINE__, "sGetRefValue but not $ or ~");
        return {.length = 1, .result = part(in, at, at + 1), .replaced = false};
    }
    switch (at + 1 < text.size() ? text[at + 1] : '\0') {
    case '$':
        return {.length = 2, .result = "$", .replaced = false};
    case '(':
        return evaluateComputed(in);
    case '{':
        return evaluateBraced(in);
    default:
        return evaluateNamed(in);
    }
}

} // namespace vek
