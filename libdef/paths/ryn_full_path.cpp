#include "libdef/paths/ryni_path.h"

#include "common/base/owned.h"
#include "common/platform/vek_init.h"
#include "common/platform/vek_install_root.h"
#include "common/platform/vek_path.h"
#include "common/text/ascii.h"
#include "common/text/fixed_text.h"
#include "libdef/paths/ryni_path_clean.h"
#include "libdef/registry/ryni_link_cache.h"

#include <bit>
#include <cerrno>
#include <cstdlib>
#include <pwd.h>
#include <string_view>
#include <utility>

namespace {

/// More replacements than this in one path are taken for variables that lead back to themselves.
constexpr unsigned kMaxReplacements = 100000;

/// How a step of the generation ended.
enum class Step {
    Done,        ///< go on
    Unchanged,   ///< the result is the text as given, which is no error: a later step needs an absolute path
    Invalid,     ///< RYN_INVALID_PATH with the text as given
    UnknownUser, ///< RYN_INVALID_PATH with the text as it stands
    NoMemory     ///< RYN_MEMORY_ERROR with the text as given
};

std::string_view part(std::string_view text, std::size_t from, std::size_t to) {
    return {text.data() + from, to - from};
}

/// A step that needs all of a text in its buffer.
Step fitting(bool fits) {
    return fits ? Step::Done : Step::Invalid;
}

// ---- references

/// One "$" reference in a text.
struct Reference {
    enum class Kind { Variable, Computed, Unclosed };
    Kind kind;
    std::string_view name; ///< what stands between the braces, or behind the "$"
    std::size_t end;       ///< offset of the first character behind it
};

bool isNameCharacter(char c) {
    return vek::isAlnum(c) || c == '_';
}

Reference closedReference(std::string_view text, std::size_t at, char close, Reference::Kind kind) {
    const std::size_t end = text.find(close, at + 2);
    if (end == std::string_view::npos) {
        return {Reference::Kind::Unclosed, {}, text.size()};
    }
    return {kind, part(text, at + 2, end), end + 1};
}

Reference parseReference(std::string_view text, std::size_t at) {
    const char opening = at + 1 < text.size() ? text[at + 1] : '\0';
    if (opening == '{') {
        return closedReference(text, at, '}', Reference::Kind::Variable);
    }
    if (opening == '(') {
        return closedReference(text, at, ')', Reference::Kind::Computed);
    }
    std::size_t end = at + 1;
    while (end < text.size() && isNameCharacter(text[end])) {
        ++end;
    }
    return {Reference::Kind::Variable, part(text, at + 1, end), end};
}

/// An installation root that was asked for with `errno` cleared before.
struct Root {
    vek::OwnedText text; ///< null when there is none
    int error;
};

Root rootOfTool() {
    errno = 0;
    vek::OwnedText root(vekGetInstallRoot());
    return {std::move(root), errno};
}

Root rootOfFileBeingRead(const rynRegistry *registry) {
    const rynIncludedFile *file = registry == nullptr ? nullptr : registry->files.tail;
    errno = 0;
    vek::OwnedText root(file == nullptr ? nullptr : vekGetInstallRootFromFilePath(file->path));
    return {std::move(root), errno};
}

Root rootWith(std::string_view relativePath) {
    vek::PathText relative;
    static_cast<void>(relative.assign(relativePath)); // a part of a path fits
    errno = 0;
    vek::OwnedText root(vekGetInstallRootWithPath(relative.c_str()));
    return {std::move(root), errno};
}

/// A root that cannot be found is replaced by nothing.
Step storeRoot(const Root &root, vek::PathText &value) {
    if (!root.text) {
        return root.error == ENOMEM ? Step::NoMemory : Step::Done;
    }
    return fitting(value.assign(root.text.get()));
}

/// Whatever is not known is replaced by nothing.
Step computedValue(std::string_view name, const rynRegistry *registry, vek::PathText &value) {
    constexpr std::string_view kRootWith = "inst_root_with:";
    if (cmnGetInstallRootRequired() == 0) {
        return Step::Done;
    }
    if (name == "compute:THIS_TOOL_INST_ROOT") {
        return storeRoot(rootOfTool(), value);
    }
    if (name == "compute:THIS_FILE_INST_ROOT") {
        return storeRoot(rootOfFileBeingRead(registry), value);
    }
    if (vek::startsWith(name, kRootWith)) {
        return storeRoot(rootWith(part(name, kRootWith.size(), name.size())), value);
    }
    return Step::Done;
}

Step variableValue(std::string_view name, vek::PathText &value) {
    if (name == "VEK_INST_DIR") {
        return cmnGetInstallRootRequired() == 0 ? Step::Done : storeRoot(rootOfTool(), value);
    }
    vek::PathText variable;
    static_cast<void>(variable.assign(name)); // a part of a path fits
    const char *text = std::getenv(variable.c_str());
    return text == nullptr ? Step::Unchanged : fitting(value.assign(text));
}

/// @param value  receives it; it comes in empty
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

/// Replaces the characters from `from` to `to`.
Step replace(vek::PathText &text, std::size_t from, std::size_t to, vek::PathText &value) {
    value.edit(vekCanonicalizeDirSep);
    vek::PathText replaced;
    const std::string_view old = text.view();
    return fitting(replaced.assign(part(old, 0, from), value.view(), part(old, to, old.size())) &&
                   text.assign(replaced.view()));
}

Step expandVariables(vek::PathText &text, const rynRegistry *registry) {
    // A text that comes again comes for ever, and what it looks up on the way may take long. The one that is
    // compared is renewed ever more rarely, so that a circle of any length is seen before its third round ends.
    vek::PathText earlier;
    for (unsigned replacements = 0; replacements < kMaxReplacements; ++replacements) {
        const std::size_t at = text.view().find('$');
        if (at == std::string_view::npos) {
            return Step::Done;
        }
        if (text.view() == earlier.view()) {
            return Step::Invalid;
        }
        if (std::has_single_bit(replacements)) {
            static_cast<void>(earlier.assign(text.view())); // it is as long as the other
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
    return Step::Invalid;
}

Step replaceHome(vek::PathText &text, std::size_t nameEnd, const char *home) {
    vek::PathText value;
    return value.assign(home) ? replace(text, 0, nameEnd, value) : Step::Invalid;
}

Step expandHome(vek::PathText &text) {
    if (!vek::startsWith(text.view(), "~")) {
        return Step::Done;
    }
    const std::size_t slash = text.view().find('/');
    const std::size_t nameEnd = slash == std::string_view::npos ? text.size() : slash;
    if (nameEnd == 1) {
        const char *home = std::getenv("HOME");
        return home == nullptr ? Step::Unchanged : replaceHome(text, nameEnd, home);
    }
    vek::PathText user;
    static_cast<void>(user.assign(part(text.view(), 1, nameEnd))); // a part of a path fits
    const passwd *entry = getpwnam(user.c_str());
    return entry == nullptr || entry->pw_dir == nullptr ? Step::UnknownUser
                                                        : replaceHome(text, nameEnd, entry->pw_dir);
}

Step makeAbsolute(vek::PathText &text, const char *baseDirectory) {
    if (vekIsRooted(text.c_str()) != 0) {
        return Step::Done;
    }
    vek::PathText absolute;
    return fitting(absolute.assign(baseDirectory, "/", text.view()) && text.assign(absolute.view()));
}

/// ".." behind a symbolic link leads elsewhere than the words say, and stays. So does one behind a name that
/// cannot be examined.
ParentStep judgeParent(std::string_view before, rynRegistry *registry) {
    vek::PathText prefix;
    static_cast<void>(prefix.assign(before));
    if (sReadlink(prefix.c_str(), nullptr, 0, registry) >= 0 || errno != EINVAL) {
        return ParentStep::Keep;
    }
    return before.find('/') == std::string_view::npos ? ParentStep::Fail : ParentStep::Remove;
}

Step expand(vek::PathText &text, const char *baseDirectory, const rynRegistry *registry) {
    Step step = expandVariables(text, registry);
    if (step == Step::Done) {
        step = expandHome(text);
    }
    return step == Step::Done ? makeAbsolute(text, baseDirectory) : step;
}

int finish(int status, std::string_view text, char *out) {
    ryniStoreCut(out, text);
    return status;
}

int cleanUp(vek::PathText &path, char *fullOut, char *errorOut, rynRegistry *registry) {
    ryniCleanSlashes(path);
    const bool cleaned = ryniResolveParents(
        path, [registry](std::string_view before) { return judgeParent(before, registry); });
    return cleaned ? finish(RYN_OK, path.view(), fullOut) : finish(RYN_INTERNAL_ERROR, path.view(), errorOut);
}

} // namespace

int ryni_generate_full_path(const char *text, const char *baseDirectory, char *fullOut, char *errorOut,
                            rynRegistry *registry) {
    vek::PathText path;
    switch (path.assign(text) ? expand(path, baseDirectory, registry) : Step::Invalid) {
    case Step::Done:
        return cleanUp(path, fullOut, errorOut, registry);
    case Step::Unchanged:
        return finish(RYN_OK, text, fullOut);
    case Step::UnknownUser:
        return finish(RYN_INVALID_PATH, path.view(), errorOut);
    case Step::NoMemory:
        return finish(RYN_MEMORY_ERROR, text, errorOut);
    case Step::Invalid:
        break;
    }
    return finish(RYN_INVALID_PATH, text, errorOut);
}
