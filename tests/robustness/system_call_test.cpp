// A system call that fails once, at every call of every public function and with every error that the world has for
// it: the result is one of the layer's own, success is not claimed for what was not done, and no file is torn, lost
// or left behind.

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/robustness/cases.h"
#include "tests/robustness/more_faults.h"
#include "tests/support/child.h"

namespace faults = test::faults;
using test::Case;
using test::Tree;
using test::World;

namespace {

constexpr std::array<int, 8> kErrors = {EIO, EACCES, ENOSPC, EMFILE, EINTR, ENAMETOOLONG, ELOOP, ESTALE};

#ifdef VEK_TEST_SANITIZE
constexpr std::size_t kErrorsPerCall = 2; // which take turns
#else
constexpr std::size_t kErrorsPerCall = kErrors.size();
#endif

/// A file that is created to find something out. When it cannot be removed, it stays.
bool isTestFile(const std::string &name) {
    return name.find("vekFileWritableTest") != std::string::npos ||
           name.find("vekfscasesensitivity.") != std::string::npos ||
           name.find("vekFsCaseSensitivity.") != std::string::npos;
}

Tree withoutTestFiles(Tree tree) {
    std::erase_if(tree, [](const auto &item) { return isTestFile(item.first); });
    return tree;
}

std::string difference(const Tree &before, const Tree &after) {
    std::string text;
    for (const auto &[name, content] : after) {
        const auto old = before.find(name);
        if (old == before.end() || old->second != content) {
            text += "\n" + name + ": " + content;
        }
    }
    for (const auto &[name, content] : before) {
        text += after.contains(name) ? "" : "\n" + name + " is gone";
    }
    return text;
}

// ---- the answers

/// What a call may answer beside the usual, by the first function of its case. Cases that are not here always give
/// their usual answer. In an answer
///
///     E        is the number of the error, which passes through
///     word: …  stands for that error alone
///     *        at the end is anything
///     part     alone is the usual list less what could not be found out
struct Answers {
    std::string_view function;
    std::vector<std::string_view> answers;
};

const std::vector<Answers> &allAnswers() {
    static const std::vector<std::string_view> kIteration = {"3", "EACCES: 11", "part"};
    static const std::vector<std::string_view> kSearch = {"6", "0 @/inst/share/find.txt"};
    static const std::vector<std::string_view> kLibrarySearch = {"15", "0 @/inst/share/find.txt"};
    static const std::vector<std::string_view> kListSearch = {"0 @/proj/vekinfo.tag",
                                                              "0 @/site/.tolvane/vekinfo.tag"};
    static const std::vector<std::string_view> kCreation = {
        "3", "3 reports 3", "20", "EACCES: 15",
        // The check of what was there to be checked is reported and passes.
        "0 lib other none reports 3", "0 lib other none reports 10"};
    // What goes wrong in the clearing that comes before is reported.
    static const std::vector<std::string_view> kAddition = {"0 reports 3", "0 reports 3 3", "0 reports 3 9 3",
                                                            "1 reports 3", "1 reports 3 9"};
    static const std::vector<std::string_view> kClearing = {"0 reports 3", "1 reports 3"};
    static const std::vector<std::string_view> kNo = {"0", "0 reports 3", "0 reports 10"};
    static const std::vector<std::string_view> kNoX = {"0 in ''", "0 in '' reports 3", "0 in '' reports 10"};
    static const std::vector<Answers> all = {
        // ---- common
        {"vekFileExists", {"0*", "1801111lib", "1880111lib", "1881011lib", "1881101", "1881110lib"}},
        {"vekFileWritable", {"0"}},
        {"vekBuildDirPath", {"0"}},
        {"vekGetFilesysCaseSensitivity", {"1"}},
        {"vekMkRootedPath", {"null"}},
        {"vek_fgets", {"null"}},
        {"vek_mkstemp", {"-1", "null"}},
        {"vekGetTmpDir", {"/tmp"}},
        {"vekFindExecInPath", {"null"}},
        {"vekGetAllInstallRoots", {"null"}},
        {"vekGetInstallRootFromFilePath", {"null"}},
        {"vekGetInstallRootFromPath", {"null"}},
        {"vekGetInstallRootWithPath", {"null"}},
        // ---- the installation
        {"vekIsTolvaneHier", {"0"}},
        {"vekGetInstallRoot", {"null"}},
        {"vekGetInstallRootInBuf", {"0untouched"}},
        {"vekGetInstPath", {"null"}},
        {"vekGetInstPathInBuf", {"0"}},
        {"vekGetToolsPath", {"null"}},
        {"vekGetToolsPathInBuf", {"0"}},
        // ---- fs
        {"vekFSCreatePathSpec", {"stat E", "lstat E"}},
        {"vekFSStdioCreatePathSpec", {"stat E", "lstat E"}},
        // A position that cannot be set back to the beginning is not told.
        {"vekFS_openFile", {"open E", "seek E", "tell E", "e\ntwo\n2", "read E", "close E"}},
        {"vekFSStdio_openFile", {"open E", "seek E", "tell E", "close E"}},
        {"vekFS_fgets", {"open E", "close E"}},
        {"vekFS_write", {"open E", "write E", "fsync E", "close E"}},
        {"vekFS_opendir", {"opendir E", "readdir E", "closedir E"}},
        {"vekFSiOpendir", {"opendir E", "not named", "closedir"}},
        // ---- search
        {"puxInitialize",
         {"0 @/proj @/home @/site @/inst/share", "0 . @/home @/site @/inst/share",
          "0 . @/proj @/site @/inst/share", "0 . @/proj @/home @/inst/share", "0 . @/proj @/home @/site"}},
        {"puxConvertPath", {"1", "5"}},
        {"puxConvertPathEx", {"1", "5"}},
        {"puxConvertPathNotThere", {"5"}},
        {"puxConvertPathNotThereEx", {"5"}},
        {"puxSearch", kSearch},
        {"puxSearchEx", kSearch},
        {"puxSearchGroup", kSearch},
        {"puxSearchDirList", kSearch},
        {"puxFindWritable", {"0 @/inst/share/find.txt"}},
        {"puxFindWritableEx", {"0 @/inst/share/find.txt"}},
        {"puxFullSearch", kListSearch},
        {"puxFullSearchDirList", kListSearch},
        {"puxUsePuxFor", {"6"}},
        {"vekInterpolate", {"error 4", "error 10"}},
        // ---- tagfile
        {"tovLookupEntry", {"null in ''", "null in '' reports 3", "null in '' reports 10"}},
        {"tovLookupEntryX",
         {"null in ''", "null in '' reports 3", "pkm in '@/site/.tolvane/vekinfo.tag' reports 10"}},
        {"tovGetDmType", {"pkm", "pkm reports 3", "pkm reports 10", "pkm reports 11 10"}},
        {"tovGetDmTypeX",
         {"none in '@/proj/link/vekinfo.tag'", "pkm in '@/site/.tolvane/vekinfo.tag'",
          "pkm in '@/site/.tolvane/vekinfo.tag' reports 3", "pkm in '@/site/.tolvane/vekinfo.tag' reports 10",
          "pkm in '@/site/.tolvane/vekinfo.tag' reports 11 10"}},
        {"tovGetNameSpace", {"LibraryUnix reports 3"}},
        {"tovGetNameSpaceX", {"LibraryUnix in ''", "LibraryUnix in '' reports 3"}},
        {"tovIsLibrary", kNo},
        {"tovIsLibraryX", kNoX},
        {"tovIsInLibrary", kNo},
        {"tovIsInLibraryX", kNoX},
        {"tovCheckLibrary", kNo},
        {"tovCheckLibraryX", kNoX},
        {"tovGetVekinfoAtLoc", {"3 reports 3", "6"}},
        {"tovLocalSearchElement",
         {"3 reports 3", "6", "10 reports 10", "10 reports 11 10", "0 found 0 COLOUR"}},
        {"tovNormalizePath", {"011 reports 11", "110 reports 11"}},
        {"tovAddEntry", kAddition},
        {"tovSetPathDmType", kAddition},
        {"tovSetPathUnmanaged", kAddition},
        {"tovRemoveEntry", kClearing},
        {"tovClearPathUnmanaged", kClearing},
        {"tovCreateInfoFile", {"0 reports 3"}},
        // ---- libdef
        {"rynInit", kCreation},
        {"rynInitialize", kCreation},
        {"rynInitEx",
         {"1", "1 reports 1", "3", "3 reports 3", "20", "EACCES: 11", "EACCES: 11 reports 11", "EACCES: 12",
          "0 lib other", "0 lib other reports 3", "0 lib other reports 10",
          // The file cannot be read to its end after a library was reported.
          "3 reports 28 3",
          // A library whose directory cannot be examined is told and not defined.
          "0 lib reports *", "0 reports *"}},
        {"rynSetImplicitTmp", {"20"}},
        {"rynGetPath",
         {"3", "EACCES: 12", "EACCES: 13", "EACCES: 14", "EACCES: 15", "0 @/proj/lib/cell1/view1/data.db"}},
        {"rynSearch", kLibrarySearch},
        {"rynSearchList", kLibrarySearch},
        {"rynFindWritable", kLibrarySearch},
        {"rynFullSearch", kLibrarySearch},
        {"rynFullSearchList", kLibrarySearch},
        {"rynIterateCells", kIteration},
        {"rynNextCell", kIteration},
        {"rynXIterateCells", kIteration},
        {"rynIterateViews", kIteration},
        {"rynNextView", kIteration},
        {"rynXIterateViews", kIteration},
        {"rynIterateLibFiles", kIteration},
        {"rynXIterateLibFiles", kIteration},
        {"rynNextFile", kIteration},
        {"rynIterateCellFiles", kIteration},
        {"rynXIterateCellFiles", kIteration},
        {"rynIterateViewFiles", kIteration},
        {"rynXIterateViewFiles", kIteration},
        {"rynIterateAllViewFiles", kIteration},
        {"rynXIterateAllViewFiles", kIteration},
        {"rynGetSpec", {"0 0, 0 0"}},
    };
    return all;
}

/// Whether an answer is the usual list without some of its names. What cannot be looked into is named itself.
bool isPartOfList(const std::string &answer, const std::string &usual) {
    std::istringstream names(answer);
    const std::string all = usual + " ";
    std::size_t at = 0;
    for (std::string name; names >> name;) {
        at = std::min(all.find(" " + name + " ", at), all.find(" " + name + "/", at));
        if (at == std::string::npos && name != "0") {
            return false;
        }
        at = name == "0" ? 0 : at + 1;
    }
    return answer.starts_with("0");
}

bool isAnswer(const std::string &answer, std::string_view allowed, const std::string &usual, int error) {
    std::string text(allowed);
    const std::size_t colon = text.find(": ");
    if (colon != std::string::npos) {
        if (text.substr(0, colon) != strerrorname_np(error)) {
            return false;
        }
        text.erase(0, colon + 2);
    }
    if (text == "part") {
        return isPartOfList(answer, usual);
    }
    if (text.ends_with(" E")) {
        text.replace(text.size() - 1, 1, std::to_string(error));
    }
    return text.ends_with("*") ? answer.starts_with(text.substr(0, text.size() - 1)) : answer == text;
}

bool isDocumented(const Case &item, const std::string &answer, const std::string &usual, int error) {
    if (answer == usual) {
        return true;
    }
    for (const Answers &answers : allAnswers()) {
        if (answers.function == item.functions.front()) {
            return std::any_of(answers.answers.begin(), answers.answers.end(), [&](std::string_view allowed) {
                return isAnswer(answer, allowed, usual, error);
            });
        }
    }
    return false;
}

// ---- the calls

/// What the call does when nothing fails.
struct Usual {
    std::string answer;
    Tree tree;
    std::array<int, faults::kSystemCalls.size()> calls = {};
};

Usual usualCall(World &world, const Case &item) {
    Usual usual;
    world.restoreTree();
    world.renew();
    faults::resetAll();
    usual.answer = item.call(world);
    for (std::size_t i = 0; i < usual.calls.size(); ++i) {
        usual.calls[i] = faults::countAny(faults::kSystemCalls[i]);
    }
    faults::resetAll();
    usual.tree = world.tree();
    return usual;
}

/// Whether all is there that was there, and nothing else but what the whole call would leave.
bool isBetween(const Tree &first, const Tree &whole, const Tree &tree) {
    const auto isKept = [&tree](const auto &item) {
        const auto found = tree.find(item.first);
        return found != tree.end() && found->second == item.second;
    };
    const auto isWanted = [&whole](const auto &item) { return whole.contains(item.first); };
    return std::all_of(first.begin(), first.end(), isKept) && std::all_of(tree.begin(), tree.end(), isWanted);
}

/// Old or new; or, where the call is several writes, something between.
bool isAllowed(const World &world, const Usual &usual, const Tree &tree, const Case &item) {
    return tree == world.treeAtFirst() || tree == usual.tree ||
           (item.leavesParts && isBetween(world.treeAtFirst(), usual.tree, tree));
}

void withFailure(World &world, const Case &item, const Usual &usual, std::string_view call, int nth,
                 int error) {
    if (item.writes) {
        world.restoreTree();
    }
    world.renew();
    faults::resetAll();
    faults::failAny(call, nth, error);
    const std::string answer = item.call(world);
    faults::resetAll();

    const std::string place = nameOf(item) + ", " + std::string(call) + " number " + std::to_string(nth) +
                              ": " + strerrorname_np(error) + " gives " + answer;
    EXPECT_TRUE(isDocumented(item, answer, usual.answer, error)) << place << "\nusual: " << usual.answer;
    if (!item.writes) {
        return; // run() looks once
    }
    const Tree tree = call == "unlink" ? withoutTestFiles(world.tree()) : world.tree();
    EXPECT_TRUE(isAllowed(world, usual, tree, item)) << place << difference(world.treeAtFirst(), tree);
    const bool isDone = answer == usual.answer || (answer.starts_with("1 reports") && !item.missingIsDone);
    if (isDone && !(item.missingIsDone && call == "stat")) {
        EXPECT_TRUE(tree == usual.tree) << place << ", as if it were done" << difference(usual.tree, tree);
    }
}

/// Calls `fail` for each call that was made, with each error.
template <typename Fail>
void forEachFailure(const Usual &usual, Fail fail) {
    for (std::size_t i = 0; i < usual.calls.size(); ++i) {
        for (int nth = 1; nth <= usual.calls[i]; ++nth) {
            for (std::size_t error = 0; error < kErrorsPerCall; ++error) {
                const std::size_t turn =
                    (static_cast<std::size_t>(nth) * kErrorsPerCall + error) % kErrors.size();
                fail(faults::kSystemCalls[i], nth, kErrors[turn]);
            }
        }
    }
}

void run(const std::vector<Case> &cases) {
    World world;
    for (const Case &item : cases) {
        std::printf("%s\n", nameOf(item).c_str());
        std::fflush(stdout);
        const Usual usual = usualCall(world, item);
        forEachFailure(usual, [&](std::string_view call, int nth, int error) {
            withFailure(world, item, usual, call, nth, error);
        });
        const Tree tree = withoutTestFiles(world.tree());
        EXPECT_TRUE(item.writes || tree == world.treeAtFirst())
            << nameOf(item) << difference(world.treeAtFirst(), tree);
        world.restoreTree();
        world.renew();
        EXPECT_EQ(item.call(world), usual.answer) << nameOf(item) << ", after all failures";
    }
}

} // namespace

TEST(FailingCall, InTheCommonLayerIsAResult) {
    run(test::commonCases());
}

// What is found out once and kept is found out in a process of its own each time.
TEST(FailingCall, InTheInstallationQueriesIsAResult) {
    for (const Case &item : test::installationCases()) {
        Usual usual;
        const test::Outcome counted = test::inChild([&item] {
            World world(World::Start::Fresh);
            faults::resetAll();
            item.call(world);
            for (const std::string_view call : faults::kSystemCalls) {
                std::printf("%d ", faults::countAny(call));
            }
            return 0;
        });
        std::istringstream counts(counted.out);
        int all = 0;
        for (int &calls : usual.calls) {
            ASSERT_TRUE(counts >> calls) << counted.out << counted.err;
            all += calls;
        }
        EXPECT_GT(all, 0) << nameOf(item);
        forEachFailure(usual, [&](std::string_view call, int nth, int error) {
            const test::Outcome outcome = test::inChild([&] {
                World world(World::Start::Fresh);
                faults::resetAll();
                faults::failAny(call, nth, error);
                const std::string answer = item.call(world);
                faults::resetAll();
                const std::string place = nameOf(item) + ", " + std::string(call) + " number " +
                                          std::to_string(nth) + ": " + strerrorname_np(error);
                const std::string again = item.call(world);
                EXPECT_FALSE(isDocumented(item, again, "", error)) << place << ", again: " << again;
                EXPECT_TRUE(isDocumented(item, answer, again, error)) << place << ": " << answer;
                EXPECT_TRUE(world.tree() == world.treeAtFirst()) << place;
                return 0;
            });
            EXPECT_EQ(outcome.status, 0) << outcome.err;
        });
    }
}

TEST(FailingCall, InTheFileSystemLayerIsAResult) {
    run(test::fsCases());
}

TEST(FailingCall, InTheSearchLayerIsAResult) {
    run(test::searchCases());
}

TEST(FailingCall, InTheTagLayerIsAResult) {
    run(test::tagfileCases());
}

TEST(FailingCall, InTheLibraryLayerIsAResult) {
    run(test::libdefCases());
}
