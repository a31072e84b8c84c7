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
using test::withoutTestFiles;
using test::World;

namespace {

constexpr std::array<int, 8> kErrors = {EIO, EACCES, ENOSPC, EMFILE, EINTR, ENAMETOOLONG, ELOOP, ESTALE};

#ifdef VEK_TEST_SANITIZE
constexpr std::size_t kErrorsPerCall = 2; // in rotation
#else
constexpr std::size_t kErrorsPerCall = kErrors.size();
#endif

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
/// table always has its usual result. A result is compared as text, except for these patterns, which a failing test
/// prints:
///
///     RESULT {errno}           the name of the injected errno value is in place of {errno}
///     RESULT if ERRNO          the result is possible for this errno value only
///     RESULT {any}             any text follows
///     {part of usual list}     the usual list without some of its names
struct DocumentedResults {
    std::string_view function;
    std::vector<std::string_view> patterns;
};

const std::vector<DocumentedResults> &allDocumentedResults() {
    static const std::vector<std::string_view> kIteration = {
        "RYN_SYSTEM_ERROR", "RYN_PERMISSION_DENIED if EACCES", "{part of usual list}"};
    static const std::vector<std::string_view> kSearch = {"PUX_PERMISSION_DENIED",
                                                          "PUX_OK @/inst/share/find.txt"};
    static const std::vector<std::string_view> kLibrarySearch = {"RYN_PERMISSION_DENIED_FILE",
                                                                 "RYN_OK @/inst/share/find.txt"};
    static const std::vector<std::string_view> kListSearch = {"PUX_OK @/proj/vekinfo.tag",
                                                              "PUX_OK @/site/.tolvane/vekinfo.tag"};
    static const std::vector<std::string_view> kCreation = {
        "RYN_SYSTEM_ERROR", "RYN_SYSTEM_ERROR reports RYN_SYSTEM_ERROR", "RYN_INVALID_PATH",
        "RYN_PERMISSION_DENIED_FILE if EACCES",
        // A failed library check is reported, and the library is defined.
        "RYN_OK lib other none reports TOV_SYSTEM_ERROR", "RYN_OK lib other none reports TOV_INVALID_PATH"};
    // An addition clears the entry first: a failure of that step is reported.
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
    static const std::vector<DocumentedResults> all = {
        // ---- common
        {"vekFileExists",
         {"exists 0{any}",
          "exists 1, stat size 8, size 0, directory 1, link 1, read 1, writable 1, target lib",
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
        {"vekGetInstallRootInBuf", {"0 untouched"}},
        {"vekGetInstPath", {"null"}},
        {"vekGetInstPathInBuf", {"0"}},
        {"vekGetToolsPath", {"null"}},
        {"vekGetToolsPathInBuf", {"0"}},
        // ---- fs
        {"vekFSCreatePathSpec", {"stat {errno}", "lstat {errno}"}},
        {"vekFSStdioCreatePathSpec", {"stat {errno}", "lstat {errno}"}},
        // A failed vekFS_rewind() is not reported: the read begins in the middle.
        {"vekFS_openFile",
         {"open {errno}", "seek {errno}", "tell {errno}", "e\ntwo\n2", "read {errno}", "close {errno}"}},
        {"vekFSStdio_openFile", {"open {errno}", "seek {errno}", "tell {errno}", "close {errno}"}},
        {"vekFS_fgets", {"open {errno}", "close {errno}"}},
        {"vekFS_write", {"open {errno}", "write {errno}", "fsync {errno}", "close {errno}"}},
        {"vekFS_opendir", {"opendir {errno}", "readdir {errno}", "closedir {errno}"}},
        {"vekFSiOpendir", {"opendir {errno}", "not named", "closedir"}},
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
        {"vekInterpolate", {"VEK_INTERP_UNKNOWN_USER", "VEK_INTERP_NO_ROOT_FOR_FILE"}},
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
          "RYN_SYSTEM_ERROR reports RYN_SYSTEM_ERROR", "RYN_INVALID_PATH", "RYN_PERMISSION_DENIED if EACCES",
          "RYN_PERMISSION_DENIED reports RYN_PERMISSION_DENIED if EACCES",
          "RYN_PERMISSION_DENIED_LIBRARY if EACCES", "RYN_OK lib other",
          "RYN_OK lib other reports TOV_SYSTEM_ERROR", "RYN_OK lib other reports TOV_INVALID_PATH",
          // A library is reported, and later reading the file fails.
          "RYN_SYSTEM_ERROR reports RYN_NO_VEKLIBRARY_ENTRY RYN_SYSTEM_ERROR",
          // A library whose directory cannot be examined is reported and not defined.
          "RYN_OK lib reports {any}", "RYN_OK reports {any}"}},
        {"rynSetImplicitTmp", {"RYN_INVALID_PATH"}},
        {"rynGetPath",
         {"RYN_SYSTEM_ERROR", "RYN_PERMISSION_DENIED_LIBRARY if EACCES",
          "RYN_PERMISSION_DENIED_CELL if EACCES", "RYN_PERMISSION_DENIED_VIEW if EACCES",
          "RYN_PERMISSION_DENIED_FILE if EACCES", "RYN_OK @/proj/lib/cell1/view1/data.db"}},
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

/// Whether a result is the usual list without some of its names. A directory that cannot be read is listed itself.
bool isPartOfList(const std::string &result, const std::string &usual) {
    std::istringstream names(result);
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
    return result.starts_with(ok);
}

/// Removes `suffix` from the end of `text`. @return whether it was there
bool removeSuffix(std::string &text, std::string_view suffix) {
    if (!text.ends_with(suffix)) {
        return false;
    }
    text.resize(text.size() - suffix.size());
    return true;
}

bool matches(const std::string &result, std::string_view pattern, const std::string &usual, int error) {
    const std::string errorName = strerrorname_np(error);
    std::string text(pattern);
    const std::size_t condition = text.find(" if ");
    if (condition != std::string::npos) {
        if (text.substr(condition + 4) != errorName) {
            return false;
        }
        text.resize(condition);
    }
    if (text == "{part of usual list}") {
        return isPartOfList(result, usual);
    }
    if (removeSuffix(text, "{errno}")) {
        return result == text + errorName;
    }
    return removeSuffix(text, "{any}") ? result.starts_with(text) : result == text;
}

const std::vector<std::string_view> &patternsOf(const Case &item) {
    static const std::vector<std::string_view> kNone;
    for (const DocumentedResults &results : allDocumentedResults()) {
        if (results.function == item.functions.front()) {
            return results.patterns;
        }
    }
    return kNone;
}

bool isDocumented(const Case &item, const std::string &result, const std::string &usual, int error) {
    const std::vector<std::string_view> &patterns = patternsOf(item);
    return result == usual || std::any_of(patterns.begin(), patterns.end(), [&](std::string_view pattern) {
               return matches(result, pattern, usual, error);
           });
}

/// The expected results, for the message of a failure.
std::string documented(const Case &item, const std::string &usual) {
    std::string text = "\nusual result: " + usual;
    for (const std::string_view pattern : patternsOf(item)) {
        text += "\nor, documented: " + std::string(pattern);
    }
    return text;
}

// ---- the calls

/// The result and the system calls of a case if nothing fails.
struct Usual {
    std::string result;
    Tree tree;
    std::array<int, faults::kSystemCalls.size()> calls = {};
};

Usual usualCall(World &world, const Case &item) {
    Usual usual;
    world.restoreTree();
    world.renew();
    faults::resetAll();
    usual.result = item.call(world);
    for (std::size_t i = 0; i < usual.calls.size(); ++i) {
        usual.calls[i] = faults::countAny(faults::kSystemCalls[i]);
    }
    faults::resetAll();
    usual.tree = world.tree();
    return usual;
}

/// Whether `tree` has everything of `first`, and nothing that `whole` does not have.
bool isBetween(const Tree &first, const Tree &whole, const Tree &tree) {
    const auto isKept = [&tree](const auto &item) {
        const auto found = tree.find(item.first);
        return found != tree.end() && found->second == item.second;
    };
    const auto isWanted = [&whole](const auto &item) { return whole.contains(item.first); };
    return std::all_of(first.begin(), first.end(), isKept) && std::all_of(tree.begin(), tree.end(), isWanted);
}

/// Whether the tree is the old or the new one, or between them if the case makes several writes.
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
    const std::string result = item.call(world);
    faults::resetAll();

    const std::string context = nameOf(item) + ", " + std::string(call) + " number " + std::to_string(nth) +
                                ": " + strerrorname_np(error) + " gives " + result;
    EXPECT_TRUE(isDocumented(item, result, usual.result, error)) << context << documented(item, usual.result);
    if (!item.writes) {
        return; // run() compares the tree once for all failures
    }
    const Tree tree = call == "unlink" ? withoutTestFiles(world.tree()) : world.tree();
    EXPECT_TRUE(isAllowed(world, usual, tree, item)) << context << difference(world.treeAtFirst(), tree);
    const bool isDone = result == usual.result || (result.starts_with("1 reports") && !item.missingIsDone);
    if (isDone && !(item.missingIsDone && call == "stat")) {
        EXPECT_TRUE(tree == usual.tree)
            << context << ", success without the change" << difference(usual.tree, tree);
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
        EXPECT_EQ(item.call(world), usual.result) << nameOf(item) << ", after all failures";
    }
}

} // namespace

TEST(FailingCall, OfTheCommonLayerGivesADocumentedResult) {
    run(test::commonCases());
}

// The process caches these results: each call is made in a child process of its own.
TEST(FailingCall, OfTheInstallationQueriesGivesADocumentedResult) {
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
                const std::string result = item.call(world);
                faults::resetAll();
                const std::string context = nameOf(item) + ", " + std::string(call) + " number " +
                                            std::to_string(nth) + ": " + strerrorname_np(error);
                const std::string again = item.call(world);
                EXPECT_FALSE(isDocumented(item, again, "", error)) << context << ", called again: " << again;
                EXPECT_TRUE(isDocumented(item, result, again, error))
                    << context << ": " << result << documented(item, again);
                EXPECT_TRUE(world.tree() == world.treeAtFirst()) << context;
                return 0;
            });
            EXPECT_EQ(outcome.status, 0) << outcome.err;
        });
    }
}

TEST(FailingCall, OfTheFileSystemLayerGivesADocumentedResult) {
    run(test::fsCases());
}

TEST(FailingCall, OfTheSearchLayerGivesADocumentedResult) {
    run(test::searchCases());
}

TEST(FailingCall, OfTheTagLayerGivesADocumentedResult) {
    run(test::tagfileCases());
}

TEST(FailingCall, OfTheLibraryLayerGivesADocumentedResult) {
    run(test::libdefCases());
}
