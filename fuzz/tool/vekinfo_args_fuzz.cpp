// The tool's command line: a section with one argument a line, and the files proj/vekinfo.tag and vek.lib, a
// section each. The arguments that the scan refuses are those that its rules refuse.

#include "common/platform/vek_init.h"
#include "fuzz/support/target.h"
#include "libdef/ryn.h"
#include "tagfile/tov.h"
#include "tool/vekinfo_args.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

namespace {

using Arguments = std::vector<std::string>;

std::string upToNul(std::string_view text) {
    return std::string(text.substr(0, text.find('\0')));
}

std::string lowerCase(std::string text) {
    for (char &c : text) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    return text;
}

/// What the rules of the command line make of an argument vector.
class Model {
  public:
    explicit Model(const Arguments &arguments) : arguments_(arguments) {
        for (std::size_t i = 1; i < arguments.size() && valid_;) {
            i += take(i);
        }
        valid_ = valid_ && !action_.empty();
    }

    [[nodiscard]] bool isUsageError() const { return !valid_; }
    [[nodiscard]] const std::string &action() const { return action_; }
    [[nodiscard]] const Arguments &names() const { return names_; }
    [[nodiscard]] const std::optional<std::string> &path() const { return path_; }

  private:
    [[nodiscard]] bool isOperand(std::size_t i) const {
        return i < arguments_.size() && !arguments_[i].starts_with("-");
    }

    std::size_t take(std::size_t i) {
        const std::string word = lowerCase(arguments_[i]);
        const bool free = action_.empty();
        if (word == "-verbose" || word == "-v") {
            return 1;
        }
        if (word == "-path" && isOperand(i + 1)) {
            path_ = arguments_[i + 1];
            return 2;
        }
        if (free && (word == "-configurelibrary" || word == "-checklibrary" || word == "-show")) {
            action_ = word;
            return 1;
        }
        if (free && word == "-clearentry" && isOperand(i + 1)) {
            action_ = word;
            return 2;
        }
        if (free && word == "-addentry" && isOperand(i + 1) && i + 2 < arguments_.size()) {
            action_ = word;
            return 3;
        }
        if (free && word == "-lookup" && isOperand(i + 1)) {
            action_ = word;
            std::size_t taken = 1;
            for (; isOperand(i + taken); ++taken) {
                names_.push_back(arguments_[i + taken]);
            }
            return taken;
        }
        valid_ = false;
        return 1;
    }

    const Arguments &arguments_;
    bool valid_ = true;
    std::string action_;
    Arguments names_;
    std::optional<std::string> path_;
};

/// A report that repeats without end, as users know it.
bool repeatsForever(const Model &model) {
    std::array<char, VEK_PATH_SIZE> path = {};
    return std::any_of(model.names().begin(), model.names().end(),
                       [](const std::string &name) { return lowerCase(name) == "veklibrary"; }) &&
           model.path() && tovNormalizePath(model.path()->c_str(), path.data()) != TOV_OK;
}

int ignoreDiagnostic(int /*code*/, const char * /*object*/, const char * /*file*/, int /*line*/) {
    return 0;
}

int ignoreError(int /*code*/, const char * /*text*/, const char * /*sameText*/) {
    return 0;
}

bool isInBox(const fuzz::Box &box, const char *path) {
    std::array<char, PATH_MAX> real = {};
    return realpath(path, real.data()) == nullptr || std::string_view(real.data()).starts_with(box.root());
}

/// A check walks through every library, which may be all of the machine.
bool leavesBox(const fuzz::Box &box, const Model &model) {
    if (!model.action().ends_with("library")) {
        return false;
    }
    rynHandle handle = nullptr;
    rynContext *libraries = nullptr;
    if (rynInit("vek.lib", 0, ignoreDiagnostic, ignoreError, &handle) != RYN_OK ||
        rynIterateLibs(handle, &libraries) != RYN_OK) {
        return false;
    }
    bool leaves = false;
    const char *name = nullptr;
    while (!leaves && rynNextLib(libraries, &name) == RYN_OK) {
        std::array<char, VEK_PATH_SIZE> path = {};
        leaves = rynGetPath(handle, RYN_PATH_READ, name, nullptr, nullptr, nullptr, path.data(),
                            path.size()) == RYN_OK &&
                 !isInBox(box, path.data());
    }
    rynIterateEnd(libraries);
    rynReleaseHandle(handle);
    return leaves;
}

Arguments argumentsOf(fuzz::Input input) {
    constexpr std::size_t kMaxArguments = 24;
    Arguments arguments = {"vekinfo"};
    while (!input.empty() && arguments.size() < kMaxArguments) {
        arguments.push_back(upToNul(input.line()));
    }
    return arguments;
}

int runTool(Arguments arguments) {
    std::vector<char *> vector;
    for (std::string &argument : arguments) {
        vector.push_back(argument.data());
    }
    vector.push_back(nullptr);
    return tovProcessVekinfoArgs(vector.data());
}

void reset() {
    verboseFlag = 0;
    gotTestPath = 0;
    testPath = nullptr;
    tovResetCache();
    // The registry of a check stays until the process ends.
    if (rynHandle *current = rynGetCurHandle(); current != nullptr && *current != nullptr) {
        rynReleaseHandle(*current);
    }
}

void buildProject(fuzz::Box &box) {
    for (const char *directory : {"proj", "proj/lib", "proj/lib/cell", "proj/lib/cell/view", "proj/other"}) {
        box.directory(directory);
    }
    box.file("proj/lib/dm.tag", "none\n");
    box.file("proj/lib/cell/vekinfo.tag", "FOO 1\n");
    box.link("proj/link", "lib/cell");
    box.link("proj/lib/back", "..");
    box.link("proj/other/out", "../lib");
    box.link("proj/gone", "nowhere");
}

} // namespace

namespace fuzz {

void prepare(Box &box) {
    buildProject(box);
    setenv("A", "proj/lib", 1);
    setenv("VEK_WORKAREA", "proj/other", 1);
    vekInitNonVEKApp("vekinfo");
    cmnSetInstallRootRequired(0);
}

void run(Box &box, Input input) {
    const Arguments arguments = argumentsOf(Input(input.section()));
    const Model model(arguments);
    if (model.isUsageError()) {
        require(runTool(arguments) == VEKINFO_USAGE_ERROR, "what the rules refuse is a usage error");
        reset();
        return;
    }
    box.file("proj/vekinfo.tag", input.section());
    box.file("vek.lib", input.section());
    if (!repeatsForever(model) && !leavesBox(box, model)) {
        const int status = runTool(arguments);
        require(status != VEKINFO_USAGE_ERROR, "what the rules allow is no usage error");
        require(model.action() == "-show" || status == VEKINFO_OK || status == VEKINFO_EDIT_FAILED,
                "an action ends as documented", model.action());
        require(!model.action().ends_with("library") || status == VEKINFO_OK, "a check always succeeds");
    }
    reset();
    if (model.action().ends_with("entry") || model.action() == "-configurelibrary") {
        box.empty(".");
        buildProject(box);
    }
}

} // namespace fuzz
