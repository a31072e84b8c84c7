// Fault injection into whole runs of the tool: an allocation or a system call fails, or the tool is killed. Every tag
// file must be the old or the new one.

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <string>

#include <gtest/gtest.h>
#include <sys/syscall.h>

#include "tests/robustness/tool_project.h"
#include "tests/robustness/traced_run.h"
#include "tests/support/child.h"

using test::Action;
using test::Intervention;
using test::ToolProject;
using test::TracedRun;
using test::Tree;
using test::withoutTestFiles;

namespace {

constexpr std::array<int, 8> kErrors = {EIO, EACCES, ENOSPC, EMFILE, EINTR, ENAMETOOLONG, ELOOP, ESTALE};

#ifdef VEK_TEST_SANITIZE
constexpr bool kIsSlow = true;
#else
constexpr bool kIsSlow = false;
#endif

/// How far apart the calls are that something is done at; under the sanitizers, a long run is sampled.
std::size_t stepOf(const TracedRun &run) {
    return kIsSlow && run.calls.size() > 60 ? 3 : 1;
}

/// The content without empty lines at the end, which a failed edit can leave and which have no meaning.
std::string meaning(const std::string &content) {
    return content.substr(0, content.find_last_not_of('\n') + 1);
}

/// The description of a name, "" if it does not exist.
std::string at(const Tree &tree, const std::string &name) {
    const auto found = tree.find(name);
    return found == tree.end() ? "" : found->second;
}

/// `content` without the part from `begin` to `end`, if it has it.
std::string without(const std::string &content, std::string_view begin, std::string_view end) {
    const std::size_t from = content.find(begin);
    const std::size_t to = from == std::string::npos ? from : content.find(end, from);
    return to == std::string::npos ? content : content.substr(0, from) + content.substr(to + end.size());
}

/// Whether `content` is a configured tag file without the lines whose source failed: DMTYPE (from `dm.tag`) or
/// NAMESPACE (from the case probe).
bool isConfiguredInPart(const std::string &content, const std::string &whole) {
    const auto noDmtype = [](const std::string &text) {
        return without(text, "#\n# DMType is explicitly", "DMTYPE none\n");
    };
    const auto noNameSpace = [](const std::string &text) {
        return without(text, "#\n# Directory ", "NAMESPACE LibraryUnix\n");
    };
    return content == meaning(noDmtype(whole)) || content == meaning(noNameSpace(whole)) ||
           content == meaning(noNameSpace(noDmtype(whole)));
}

/// The names whose content is neither that of `before` nor that of `after`. `mayBeEmpty` also accepts new empty files.
std::string neither(const Tree &before, const Tree &after, const Tree &tree, bool mayBeEmpty = false) {
    Tree all = tree;
    all.insert(before.begin(), before.end());
    all.insert(after.begin(), after.end());
    std::string text;
    for (const auto &[name, unused] : all) {
        const std::string content = meaning(at(tree, name));
        const bool isEmptyNew = mayBeEmpty && !before.contains(name) && content == "file 644: ";
        if (content != meaning(at(before, name)) && content != meaning(at(after, name)) && !isEmptyNew &&
            !isConfiguredInPart(content, at(after, name))) {
            text += "\n" + name + ": " + (content.empty() ? "gone" : content);
        }
    }
    return text;
}

/// The result of an action if nothing fails.
struct Usual {
    TracedRun run;
    Tree tree;
};

Usual usualRun(ToolProject &project, const Action &action) {
    Usual usual;
    project.restore();
    usual.run = test::runTraced(ToolProject::commandLine(action), project.environment(), project.directory());
    usual.tree = project.tree();
    EXPECT_EQ(usual.run.signal, 0);
    EXPECT_EQ(usual.tree != project.treeAtFirst(), action.writes) << action.name;
    return usual;
}

std::string context(const Action &action, const Usual &usual, const Intervention &what,
                    const TracedRun &run) {
    return action.name + ", " + std::string(test::callName(usual.run.calls[what.at])) + ", call " +
           std::to_string(what.at) + ": " +
           (what.kind == Intervention::Kind::Fail ? strerrorname_np(what.error) : "killed") + ", status " +
           std::to_string(run.status) + "\n" + run.err;
}

// ---- allocations

void withoutMemory(ToolProject &project, const Action &action, const Tree &usual, const std::string &which) {
    project.restore();
    test::ChildOptions options = {
        .environment = project.environment(), .directory = project.directory(), .preload = true};
    options.environment.emplace_back("VEK_TEST_FAIL_MALLOC", which);
    const test::Outcome outcome = test::run(ToolProject::commandLine(action), options);
    const std::string where = action.name + ", allocation " + which + "\n" + outcome.err;
    EXPECT_TRUE(outcome.status == 0 || outcome.status == 1) << where << outcome.status;
    EXPECT_FALSE(outcome.timedOut) << where;
    const Tree tree = project.tree();
    EXPECT_EQ(neither(project.treeAtFirst(), usual, tree), "") << where;
    if (action.writes && tree != usual) {
        EXPECT_NE(outcome.err, "") << where;
        EXPECT_TRUE(outcome.status == 1 || action.name == "configurelibrary" ||
                    action.name.starts_with("clear"))
            << where << outcome.status;
    }
}

int allocationsOf(ToolProject &project, const Action &action) {
    project.restore();
    const std::string count = project.box.path("count");
    test::ChildOptions options = {
        .environment = project.environment(), .directory = project.directory(), .preload = true};
    options.environment.emplace_back("VEK_TEST_COUNT", count);
    test::run(ToolProject::commandLine(action), options);
    int result = 0;
    std::ifstream(count) >> result;
    return result;
}

class ToolFault : public testing::TestWithParam<Action> {
  protected:
    ToolProject project;
};

} // namespace

TEST_P(ToolFault, ExhaustedMemoryNeverCrashes) {
    const Action &action = GetParam();
    const Tree usual = usualRun(project, action).tree;
    const int allocations = allocationsOf(project, action);
    ASSERT_GT(allocations, 0);
    ASSERT_LT(allocations, 1000);
    const int step = kIsSlow ? 1 + allocations / 20 : 1;
    for (int nth = 1; nth <= allocations; nth += step) {
        withoutMemory(project, action, usual, std::to_string(nth));
        withoutMemory(project, action, usual, std::to_string(nth) + "+");
    }
}

// ---- system calls

namespace {

void checkFailed(const ToolProject &project, const Action &action, const Usual &usual,
                 const Intervention &what, const TracedRun &run) {
    const long number = usual.run.calls[what.at];
    const std::string where = context(action, usual, what, run);
    EXPECT_EQ(run.signal, 0) << where;
    EXPECT_TRUE(run.status == 0 || run.status == 1) << where;
    const bool isRemoval = number == SYS_unlink || number == SYS_unlinkat;
    const Tree tree = isRemoval ? withoutTestFiles(project.tree()) : project.tree();
    EXPECT_EQ(neither(project.treeAtFirst(), usual.tree, tree, isRemoval), "") << where;
    if (action.writes && tree != usual.tree && test::isWritingCall(number)) {
        EXPECT_NE(run.err, "") << where;
        EXPECT_TRUE(run.status == 1 || action.name == "configurelibrary") << where;
    }
    if (action.name.starts_with("add") && run.status == 0) {
        EXPECT_EQ(neither(usual.tree, usual.tree, tree), "") << where;
    }
}

} // namespace

TEST_P(ToolFault, TagFileIsOldOrNewIfAnyCallFails) {
    const Action &action = GetParam();
    const Usual usual = usualRun(project, action);
    const std::size_t errors = kIsSlow ? 1 : kErrors.size(); // which take turns
    for (std::size_t call = 0; call < usual.run.calls.size(); call += stepOf(usual.run)) {
        for (std::size_t i = 0; i < errors; ++i) {
            const Intervention what = {Intervention::Kind::Fail, call, kErrors[(call + i) % kErrors.size()]};
            project.restore();
            const TracedRun run = test::runTraced(ToolProject::commandLine(action), project.environment(),
                                                  project.directory(), what);
            EXPECT_TRUE(run.reached);
            checkFailed(project, action, usual, what, run);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Actions, ToolFault, testing::ValuesIn(test::actions()), [](const auto &item) {
    std::string name = item.param.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
});

// ---- killed

namespace {

class ToolKilled : public testing::TestWithParam<Action> {
  protected:
    void killAt(const Action &action, const Usual &usual, const Intervention &what, bool mayBeEmpty) {
        project.restore();
        const TracedRun run = test::runTraced(ToolProject::commandLine(action), project.environment(),
                                              project.directory(), what);
        const std::string where = context(action, usual, what, run);
        EXPECT_EQ(run.signal, SIGKILL) << where;
        EXPECT_EQ(neither(project.treeAtFirst(), usual.tree, withoutTestFiles(project.tree()), mayBeEmpty),
                  "")
            << where;
        // The next run does the whole.
        const TracedRun next =
            test::runTraced(ToolProject::commandLine(action), project.environment(), project.directory());
        EXPECT_EQ(next.status, 0) << where;
        const Tree tree = withoutTestFiles(project.tree());
        EXPECT_EQ(neither(usual.tree, usual.tree, tree), "") << where;
    }

    ToolProject project;
};

std::vector<Action> writingActions() {
    std::vector<Action> result;
    std::copy_if(test::actions().begin(), test::actions().end(), std::back_inserter(result),
                 [](const Action &action) { return action.writes; });
    return result;
}

} // namespace

TEST_P(ToolKilled, TagFileIsOldOrNew) {
    const Action &action = GetParam();
    const Usual usual = usualRun(project, action);
    for (std::size_t call = 0; call < usual.run.calls.size(); call += stepOf(usual.run)) {
        killAt(action, usual, {Intervention::Kind::Kill, call, 0}, true);
    }
}

INSTANTIATE_TEST_SUITE_P(Actions, ToolKilled, testing::ValuesIn(writingActions()), [](const auto &item) {
    std::string name = item.param.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
});
