// Implements full paths: the absolute form of a path in a library definition file.
// Replaces the first "$" reference by its value until none is left, then a leading "~". Prepends the base directory and
// removes "//", "/./" and "/../".
// Brent's cycle detection finds variables whose values refer to each other. readlink() is called only for the path
// before a "/..", because a ".." after a symbolic link is kept.

#include "libdef/paths/ryni_full_path.h"

#include "common/base/owned.h"
#include "common/platform/vek_init.h"
#include "common/platform/vek_install_root.h"
#include "common/platform/vek_path.h"
#include "common/text/ascii.h"
#include "libdef/paths/ryni_path_buffer.h"
#include "libdef/paths/ryni_path_clean.h"
#include "libdef/registry/ryni_link_cache.h"

#include <bit>
#include <cerrno>
#include <cstdlib>
#include <pwd.h>
#include <string_view>
#include <utility>

namespace {

/// Maximum number of "$" references that are replaced in one path. This is a guard against replacements that never end
/// and never produce the same text twice. A path of at most 4095 characters needs fewer.
constexpr unsigned kMaxReplacements = 100000;

/// Result of one step in generateFullPath(), for example of the replacement of "~". Any result except Done is final:
/// the next steps are skipped.
enum class Step {
    Done,
    Unchanged,   ///< RYN_OK; a variable is not set or a reference not closed: the full path is the given text
    Invalid,     ///< RYN_INVALID_PATH, reported with the given text
    UnknownUser, ///< RYN_INVALID_PATH, reported with the expanded text
    NoMemory     ///< RYN_MEMORY_ERROR, reported with the given text
};

Step doneIf(bool fits) {
    return fits ? Step::Done : Step::Invalid;
}

std::string_view part(std::string_view text, std::size_t from, std::size_t to) {
    return {text.data() + from, to - from};
}

// ---- references

/// One reference in a path, such as $NAME or ${NAME}. It is replaced by its value.
struct Reference {
    enum class Kind {
        Variable, ///< $NAME or ${NAME}
        Computed, ///< $(NAME)
        Unclosed  ///< "${" or "$(" without its closing character
    };
    Kind kind;
    std::string_view name;
    std::size_t end; ///< offset of the first character after the reference
};

Reference closedReference(std::string_view text, std::size_t at, char close, Reference::Kind kind) {
    const std::size_t end = text.find(close, at + 2);
    if (end == std::string_view::npos) {
        return {Reference::Kind::Unclosed, {}, text.size()};
    }
    return {kind, part(text, at + 2, end), end + 1};
}

/// Parses the reference that begins at offset `at` of `text`, where `text` contains a "$".
Reference parseReference(std::string_view text, std::size_t at) {
    const char opening = at + 1 < text.size() ? text[at + 1] : '\0';
    if (opening == '{') {
        return closedReference(text, at, '}', Reference::Kind::Variable);
    }
    if (opening == '(') {
        return closedReference(text, at, ')', Reference::Kind::Computed);
    }
    std::size_t end = at + 1;
    while (end < text.size() && (vek::isAlnum(text[end]) || text[end] == '_')) {
        ++end;
    }
    return {Reference::Kind::Variable, part(text, at + 1, end), end};
}

/// Calls `discover()`, which finds the root directory of an installation, and stores the path of that directory in
/// `value`. If `discover()` returns null, `value` stays empty.
/// @return Done; NoMemory if `discover()` sets errno to ENOMEM; Invalid if the path is too long
template <typename Discover>
Step storeRoot(vek::PathText &value, Discover discover) {
    errno = 0;
    const vek::OwnedText root(discover());
    if (!root) {
        return errno == ENOMEM ? Step::NoMemory : Step::Done;
    }
    return doneIf(value.assign(root.get()));
}

/// Stores the value of the reference $(NAME) in `value`. The known names begin with "compute:" or "inst_root_with:".
/// Their value is the root directory of an installation. For any other name, `value` stays empty.
/// @param name   the text between "$(" and ")"
/// @param value  must be empty
Step computedValue(std::string_view name, const rynRegistry *registry, vek::PathText &value) {
    constexpr std::string_view kRootWith = "inst_root_with:";
    if (cmnGetInstallRootRequired() == 0) {
        return Step::Done;
    }
    if (name == "compute:THIS_TOOL_INST_ROOT") {
        return storeRoot(value, vekGetInstallRoot);
    }
    if (name == "compute:THIS_FILE_INST_ROOT") {
        const rynIncludedFile *file = registry == nullptr ? nullptr : registry->files.tail;
        return storeRoot(
            value, [file] { return file == nullptr ? nullptr : vekGetInstallRootFromFilePath(file->path); });
    }
    if (vek::startsWith(name, kRootWith)) {
        vek::PathText relative;
        relative.appendCut(part(name, kRootWith.size(), name.size()));
        return storeRoot(value, [&relative] { return vekGetInstallRootWithPath(relative.c_str()); });
    }
    return Step::Done;
}

Step variableValue(std::string_view name, vek::PathText &value) {
    if (name == "VEK_INST_DIR") {
        return cmnGetInstallRootRequired() == 0 ? Step::Done : storeRoot(value, vekGetInstallRoot);
    }
    vek::PathText variable;
    variable.appendCut(name);
    const char *text = std::getenv(variable.c_str());
    return text == nullptr ? Step::Unchanged : doneIf(value.assign(text));
}

/// Stores the value of `reference` in `value`.
/// @param value  must be empty
/// @return Done; Unchanged if the environment variable is not set, or if the "}" or ")" of the reference is missing;
///         another value after an error
Step valueOf(const Reference &reference, const rynRegistry *registry, vek::PathText &value) {
    switch (reference.kind) {
    case Reference::Kind::Variable:
        return variableValue(reference.name, value);
    case Reference::Kind::Computed:
        return computedValue(reference.name, registry, value);
    case Reference::Kind::Unclosed:
        break;
    }
    return Step::Unchanged;
}

// ---- the steps

/// Converts the directory separators in `value` to "/". Then replaces the characters of `text` at the offsets `from` to
/// `to` - 1 by `value`.
/// @return Done, or Invalid if the new text is too long
Step replace(vek::PathText &text, std::size_t from, std::size_t to, vek::PathText &value) {
    value.edit(vekCanonicalizeDirSep);
    vek::PathText replaced;
    const std::string_view old = text.view();
    return doneIf(replaced.assign(part(old, 0, from), value.view(), part(old, to, old.size())) &&
                  text.assign(replaced.view()));
}

Step expandVariables(vek::PathText &text, const rynRegistry *registry) {
    // Brent's cycle detection, for variables whose values refer to each other: if the text equals `saved`, the
    // replacements would never end. `saved` is replaced after 1, 2, 4, 8, ... replacements, so a cycle is found within
    // three times its length.
    vek::PathText saved;
    for (unsigned replacements = 0; replacements < kMaxReplacements; ++replacements) {
        const std::size_t at = text.view().find('$');
        if (at == std::string_view::npos) {
            return Step::Done;
        }
        if (text.view() == saved.view()) {
            return Step::Invalid;
        }
        if (std::has_single_bit(replacements)) {
            static_cast<void>(saved.assign(text.view()));
        }
        const Reference reference = parseReference(text.view(), at);
        vek::PathText value;
        Step step = valueOf(reference, registry, value);
        if (step == Step::Done) {
            step = replace(text, at, reference.end, value);
        }
        if (step != Step::Done) {
            return step;
        }
    }
    return Step::Invalid; // Not reached: before that, the text repeats itself or exceeds its buffer
}

Step expandHome(vek::PathText &text) {
    if (!vek::startsWith(text.view(), "~")) {
        return Step::Done;
    }
    const std::size_t slash = text.view().find('/');
    const std::size_t nameEnd = slash == std::string_view::npos ? text.size() : slash;
    const char *home = nullptr;
    if (nameEnd == 1) {
        home = std::getenv("HOME");
        if (home == nullptr) {
            return Step::Unchanged;
        }
    } else {
        vek::PathText user;
        user.appendCut(part(text.view(), 1, nameEnd));
        const passwd *entry = getpwnam(user.c_str());
        if (entry == nullptr || entry->pw_dir == nullptr) {
            return Step::UnknownUser;
        }
        home = entry->pw_dir;
    }
    vek::PathText value;
    return value.assign(home) ? replace(text, 0, nameEnd, value) : Step::Invalid;
}

Step makeAbsolute(vek::PathText &text, const char *baseDirectory) {
    if (vekIsRooted(text.c_str()) != 0) {
        return Step::Done;
    }
    vek::PathText absolute;
    return doneIf(absolute.assign(baseDirectory, "/", text.view()) && text.assign(absolute.view()));
}

Step expand(vek::PathText &text, const char *baseDirectory, const rynRegistry *registry) {
    Step step = expandVariables(text, registry);
    if (step == Step::Done) {
        step = expandHome(text);
    }
    return step == Step::Done ? makeAbsolute(text, baseDirectory) : step;
}

/// Returns what resolveParents() does with the "/.." after the path `before`: remove it, keep it or fail.
/// Returns Keep if `before` is a symbolic link, because the parent of the link's target can be a different directory
/// than the textual parent. Returns Keep also if readlink() fails with another error than EINVAL ("not a symbolic
/// link").
ryn::ParentStep judgeParent(std::string_view before, rynRegistry *registry) {
    vek::PathText prefix;
    prefix.appendCut(before);
    if (sReadlink(prefix.c_str(), nullptr, 0, registry) >= 0 || errno != EINVAL) {
        return ryn::ParentStep::Keep;
    }
    return before.find('/') == std::string_view::npos ? ryn::ParentStep::Fail : ryn::ParentStep::Remove;
}

/// Removes "//", "/./" and "/../" from the absolute path `path`. A ".." after a symbolic link is kept.
/// @return false if a ".." has no component before it
bool clean(vek::PathText &path, rynRegistry *registry) {
    return ryn::cleanPath(path,
                          [registry](std::string_view before) { return judgeParent(before, registry); });
}

int store(int status, std::string_view text, vek::PathText &out) {
    out.clear();
    out.appendCut(text);
    return status;
}

} // namespace

int ryn::generateFullPath(const char *text, const char *baseDirectory, vek::PathText &full,
                          vek::PathText &error, rynRegistry *registry) {
    full.clear();
    error.clear();
    vek::PathText path;
    switch (path.assign(text) ? expand(path, baseDirectory, registry) : Step::Invalid) {
    case Step::Done:
        return clean(path, registry) ? store(RYN_OK, path.view(), full)
                                     : store(RYN_INTERNAL_ERROR, path.view(), error);
    case Step::Unchanged:
        return store(RYN_OK, text, full);
    case Step::UnknownUser:
        return store(RYN_INVALID_PATH, path.view(), error);
    case Step::NoMemory:
        return store(RYN_MEMORY_ERROR, text, error);
    case Step::Invalid:
        break;
    }
    return store(RYN_INVALID_PATH, text, error);
}

int ryni_generate_full_path(const char *text, const char *baseDirectory, char *fullOut, char *errorOut,
                            rynRegistry *registry) {
    vek::PathText full;
    vek::PathText error;
    const int status = ryn::generateFullPath(text, baseDirectory, full, error, registry);
    if (status == RYN_OK) {
        ryn::storeCut(full.view(), fullOut);
    } else {
        ryn::storeCut(error.view(), errorOut);
    }
    return status;
}
