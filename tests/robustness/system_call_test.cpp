// Fault injection: each system call of each public function fails once, with each of several errors. The result must be
// a documented one, success must not be returned for work that was not done, and every file must be old or new.

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

#include "libdef/ryn.h"
#include "tests/robustness/cases.h"
#include "tests/robustness/code_names.h"
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

// ---- results

/// The results that a call may have besides the usual one, by the first function of its case. A case that is not in the
/// table always has its usual result. A result is compared as text, with these exceptions:
///
///     E        at the end is the number of the injected error
///     EIO: ... applies to that error only
///     *        at the end is any text
///     part     alone is the usual list without some of its names
struct Answers {
    std::string_view function;
    std::vector<std::string_view> answers;
};

const std::vector<Answers> &allAnswers() {
    static const std::vector<std::string_view> kIteration = {"RYN_SYSTEM_ERROR",
                                                             "EACCES: RYN_PERMISSION_DENIED", "part"};
    static const std::vector<std::string_view> kSearch = {"PUX_PERMISSION_DENIED",
                                                          "PUX_OK @/inst/share/find.txt"};
    static const std::vector<std::string_view> kLibrarySearch = {"RYN_PERMISSION_DENIED_FILE",
                                                                 "RYN_OK @/inst/share/find.txt"};
    static const std::vector<std::string_view> kListSearch = {"PUX_OK @/proj/vekinfo.tag",
                                                              "PUX_OK @/site/.tolvane/vekinfo.tag"};
    static const std::vector<std::string_view> kCreation = {
        "RYN_SYSTEM_ERROR", "RYN_SYSTEM_ERROR reports RYN_SYSTEM_ERROR", "RYN_INVALID_PATH",
        "EACCES: RYN_PERMISSION_DENIED_FILE",
        // The check of what was there to be checked is reported and passes.
        "RYN_OK lib other none reports TOV_SYSTEM_ERROR", "RYN_OK lib other none reports TOV_INVALID_PATH"};
    // What goes wrong in the clearing that comes before is reported.
    static const std::vector<std::string_view> kAddition = {
        "0 reports TOV_SYSTEM_ERROR", "0 reports TOV_SYSTEM_ERROR TOV_SYSTEM_ERROR",
        "0 reports TOV_SYSTEM_ERROR TOV_SYNTAX_ERROR TOV_SYSTEM_ERROR", "1 reports TOV_SYSTEM_ERROR",
        "1 reports TOV_SYSTEM_ERROR TOV_SYNTAX_ERROR"};
    static const std::vector<std::string_view> kClearing = {"0 reports TOV_SYSTEM_ERROR",
                                                            "1 reports TOV_SYSTEM_ERROR"};
    static const std::vector<std::string_view> kNo = {"0", "0 reports TOV_SYSTEM_ERROR",
                                                      "0 reports TOV_INVALID_PATH"};
    static const std::vector<std::string_view> kNoX = {"0 in ''", "0 in '' reports TOV_SYSTEM_ERROR",
                                                       "0 in '' reports TOV_INVALID_PATH"};
    static const std::vector<Answers> all = {
        // ---- common
        {"vekFileExists",
         {"exists 0*", "exists 1, stat size 8, size 0, directory 1, link 1, read 1, writable 1, target lib",
          "exists 1, stat size 8, size 8, directory 0, link 1, read 1, writable 1, target lib",
          "exists 1, stat size 8, size 8, directory 1, link 0, read 1, writable 1, target lib",
          "exists 1, stat size 8, size 8, directory 1, link 1, read 0, writable 1, target ",
          "exists 1, stat size 8, size 8, directory 1, link 1, read 1, writable 0, target lib"}},
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
         {"PUX_OK @/proj @/home @/site @/inst/share", "PUX_OK . @/home @/site @/inst/share",
          "PUX_OK . @/proj @/site @/inst/share", "PUX_OK . @/proj @/home @/inst/share",
          "PUX_OK . @/proj @/home @/site"}},
        {"puxConvertPath", {"PUX_INTERNAL_ERROR", "PUX_FILE_NOT_FOUND"}},
        {"puxConvertPathEx", {"PUX_INTERNAL_ERROR", "PUX_FILE_NOT_FOUND"}},
        {"puxConvertPathNotThere", {"PUX_FILE_NOT_FOUND"}},
        {"puxConvertPathNotThereEx", {"PUX_FILE_NOT_FOUND"}},
        {"puxSearch", kSearch},
        {"puxSearchEx", kSearch},
        {"puxSearchGroup", kSearch},
        {"puxSearchDirList", kSearch},
        {"puxFindWritable", {"PUX_OK @/inst/share/find.txt"}},
        {"puxFindWritableEx", {"PUX_OK @/inst/share/find.txt"}},
        {"puxFullSearch", kListSearch},
        {"puxFullSearchDirList", kListSearch},
        {"puxUsePuxFor", {"PUX_PERMISSION_DENIED"}},
        {"vekInterpolate", {"error 4", "error 10"}},
        // ---- tagfile
        {"tovLookupEntry",
         {"null in ''", "null in '' reports TOV_SYSTEM_ERROR", "null in '' reports TOV_INVALID_PATH"}},
        {"tovLookupEntryX",
         {"null in ''", "null in '' reports TOV_SYSTEM_ERROR",
          "pkm in '@/site/.tolvane/vekinfo.tag' reports TOV_INVALID_PATH"}},
        {"tovGetDmType",
         {"pkm", "pkm reports TOV_SYSTEM_ERROR", "pkm reports TOV_INVALID_PATH",
          "pkm reports TOV_PATH_PROCESSING TOV_INVALID_PATH"}},
        {"tovGetDmTypeX",
         {"none in '@/proj/link/vekinfo.tag'", "pkm in '@/site/.tolvane/vekinfo.tag'",
          "pkm in '@/site/.tolvane/vekinfo.tag' reports TOV_SYSTEM_ERROR",
          "pkm in '@/site/.tolvane/vekinfo.tag' reports TOV_INVALID_PATH",
          "pkm in '@/site/.tolvane/vekinfo.tag' reports TOV_PATH_PROCESSING TOV_INVALID_PATH"}},
        {"tovGetNameSpace", {"LibraryUnix reports TOV_SYSTEM_ERROR"}},
        {"tovGetNameSpaceX", {"LibraryUnix in ''", "LibraryUnix in '' reports TOV_SYSTEM_ERROR"}},
        {"tovIsLibrary", kNo},
        {"tovIsLibraryX", kNoX},
        {"tovIsInLibrary", kNo},
        {"tovIsInLibraryX", kNoX},
        {"tovCheckLibrary", kNo},
        {"tovCheckLibraryX", kNoX},
        {"tovGetVekinfoAtLoc", {"TOV_SYSTEM_ERROR reports TOV_SYSTEM_ERROR", "TOV_NO_SUCH_FILE"}},
        {"tovLocalSearchElement",
         {"TOV_SYSTEM_ERROR reports TOV_SYSTEM_ERROR", "TOV_NO_SUCH_FILE",
          "TOV_INVALID_PATH reports TOV_INVALID_PATH",
          "TOV_INVALID_PATH reports TOV_PATH_PROCESSING TOV_INVALID_PATH", "TOV_OK found 0 COLOUR"}},
        {"tovNormalizePath",
         {"TOV_OK TOV_PATH_PROCESSING reports TOV_PATH_PROCESSING",
          "TOV_PATH_PROCESSING TOV_OK reports TOV_PATH_PROCESSING"}},
        {"tovAddEntry", kAddition},
        {"tovSetPathDmType", kAddition},
        {"tovSetPathUnmanaged", kAddition},
        {"tovRemoveEntry", kClearing},
        {"tovClearPathUnmanaged", kClearing},
        {"tovCreateInfoFile", {"0 reports TOV_SYSTEM_ERROR"}},
        // ---- libdef
        {"rynInit", kCreation},
        {"rynInitialize", kCreation},
        {"rynInitEx",
         {"RYN_INTERNAL_ERROR", "RYN_INTERNAL_ERROR reports RYN_INTERNAL_ERROR", "RYN_SYSTEM_ERROR",
          "RYN_SYSTEM_ERROR reports RYN_SYSTEM_ERROR", "RYN_INVALID_PATH", "EACCES: RYN_PERMISSION_DENIED",
          "EACCES: RYN_PERMISSION_DENIED reports RYN_PERMISSION_DENIED",
          "EACCES: RYN_PERMISSION_DENIED_LIBRARY", "RYN_OK lib other",
          "RYN_OK lib other reports TOV_SYSTEM_ERROR", "RYN_OK lib other reports TOV_INVALID_PATH",
          // The file cannot be read to its end after a library was reported.
          "RYN_SYSTEM_ERROR reports RYN_NO_VEKLIBRARY_ENTRY RYN_SYSTEM_ERROR",
          // A library whose directory cannot be examined is told and not defined.
          "RYN_OK lib reports *", "RYN_OK reports *"}},
        {"rynSetImplicitTmp", {"RYN_INVALID_PATH"}},
        {"rynGetPath",
         {"RYN_SYSTEM_ERROR", "EACCES: RYN_PERMISSION_DENIED_LIBRARY", "EACCES: RYN_PERMISSION_DENIED_CELL",
          "EACCES: RYN_PERMISSION_DENIED_VIEW", "EACCES: RYN_PERMISSION_DENIED_FILE",
          "RYN_OK @/proj/lib/cell1/view1/data.db"}},
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
        {"rynGetSpec", {"RYN_OK not a directory, RYN_OK not a directory"}},
    };
    return all;
}

/// Whether an answer is the usual list without some of its names. What cannot be looked into is named itself.
bool isPartOfList(const std::string &answer, const std::string &usual) {
    std::istringstream names(answer);
    const std::string ok = test::rynName(RYN_OK);
    const std::string all = usual + " ";
    std::size_t at = 0;
    for (std::string name; names >> name;) {
        at = std::min(all.find(" " + name + " ", at), all.find(" " + name + "/", at));
        if (at == std::string::npos && name != ok) {
            return false;
        }
        at = name == ok ? 0 : at + 1;
    }
    return answer.starts_with(ok);
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
