// Statements of ryn(3), tov(3) and vek(3) about handlers, settings and results that span several functions.

#include "common/vek.h"
#include "libdef/ryn.h"
#include "search/pux.h"
#include "tagfile/tov.h"
#include "tests/support/capture.h"
#include "tests/support/sandbox.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace {

class Statements : public testing::Test {
  protected:
    Statements() {
        std::string name = "program";
        std::array<char *, 2> arguments = {name.data(), nullptr};
        vekInit(nullptr, arguments.data());
    }

    /// Releases the registry that was created last.
    void TearDown() override {
        if (rynGetCurHandle() != nullptr && *rynGetCurHandle() != nullptr) {
            rynReleaseHandle(nullptr);
        }
    }

    test::Sandbox box;
    test::Capture capture;
};

struct Received {
    std::vector<int> codes;
    std::vector<std::string> objects;
    int result = 0;
};
Received received;

int receive(int code, const char *object, const char * /*file*/, int /*line*/) {
    received.codes.push_back(code);
    received.objects.emplace_back(object);
    return received.result;
}

int create(const char *file, rynWarningHandler handler, rynHandle *registry = nullptr) {
    return rynInitialize(file, handler, registry);
}

// ---- handlers

TEST_F(Statements, DiagnosticBeforeIncludeOfCleanFileIsForgotten) {
    box.file("clean", "DEFINE lib lib\n")
        .file("before", "WRONG\nINCLUDE clean\n")
        .file("after", "INCLUDE clean\nWRONG\n");
    EXPECT_EQ(create("before", nullptr), RYN_OK);
    EXPECT_EQ(rynIsDefined(nullptr, "lib"), RYN_OK);
    EXPECT_EQ(create("after", nullptr), RYN_SYNTAX_ERROR);
    EXPECT_NE(capture.err().find("before for WRONG"), std::string::npos);
}

TEST_F(Statements, DiagnosticInIncludedFileEndsIncludingFile) {
    box.file("wrong", "WRONG\nDEFINE inner inner\n").file("file", "INCLUDE wrong\nALSO_WRONG\n");
    EXPECT_EQ(create("file", nullptr), RYN_SYNTAX_ERROR);
    EXPECT_EQ(capture.err().find("ALSO_WRONG"), std::string::npos);
}

TEST_F(Statements, DefaultHandlerChangesResultOfLaterRegistries) {
    box.file("file", "DEFINE first first\nWRONG\nDEFINE last last\n").file("empty", "");
    received.result = RYN_SYNTAX_ERROR;
    EXPECT_EQ(create("file", receive), RYN_SYNTAX_ERROR);
    EXPECT_EQ(create("empty", nullptr), RYN_OK);
    rynReleaseHandle(nullptr);
    EXPECT_EQ(create("file", receive), RYN_OK);
    EXPECT_EQ(rynIsDefined(nullptr, "first"), RYN_OK);
    EXPECT_EQ(rynIsDefined(nullptr, "last"), RYN_LIBRARY_NOT_DEFINED);
}

int createAnother(int code, const char * /*object*/, const char * /*file*/, int /*line*/) {
    rynHandle registry = nullptr;
    received.codes.push_back(code);
    EXPECT_EQ(create("other", receive, &registry), RYN_OK);
    EXPECT_EQ(rynIsDefined(registry, "other"), RYN_OK);
    EXPECT_EQ(tovGetDmType("."), nullptr);
    tovResetCache();
    return rynReleaseHandle(registry);
}

int createAnotherInHook(const char * /*attribute*/, const char * /*value*/, const char *file, int line) {
    return createAnother(0, "", file, line);
}

TEST_F(Statements, CallbacksMayUseOtherRegistries) {
    box.file("other", "DEFINE other other\nINCLUDE other\n");
    box.file("file", "WRONG\nDEFINE lib lib\nASSIGN lib key value\nDEFINE lib again\nINCLUDE none\n");
    rynSetUnknownASSIGNfunc(createAnotherInHook);
    rynHandle registry = nullptr;
    EXPECT_EQ(create("file", createAnother, &registry), RYN_OK);
    rynSetUnknownASSIGNfunc(nullptr);
    EXPECT_EQ(rynIsAssigned(registry, "lib", "key"), RYN_OK);
    const std::vector<int> outer = {RYN_SYNTAX_ERROR, 0, RYN_REDEFINED_IN_SAME_FILE, RYN_NO_SUCH_FILE};
    std::vector<int> codes = received.codes;
    std::erase(codes, RYN_FILE_INCLUDED_TWICE); // of the other registries
    EXPECT_EQ(codes, outer);
    rynReleaseHandle(registry);
}

TEST_F(Statements, ObjectsOfRedefinitionsHaveSeveralLines) {
    box.file("shared", "DEFINE lib a\n").file("file", "INCLUDE shared\nDEFINE lib b\nDEFINE lib c\n");
    EXPECT_EQ(create("file", receive), RYN_OK);
    EXPECT_EQ(received.codes, (std::vector<int>{RYN_REDEFINED, RYN_REDEFINED_IN_SAME_FILE}));
    for (const std::string &object : received.objects) {
        EXPECT_GE(std::count(object.begin(), object.end(), '\n'), 1) << object;
    }
}

std::string hookMessage;

TEST_F(Statements, MessagesOfErrorHookEndWithNewline) {
    vekRegErrorFunc([](const char *message) { hookMessage = message; });
    tovGetVekinfoAtLoc(box.path("vekinfo.tag").c_str(), nullptr, nullptr, nullptr);
    tovNormalizePath("none", std::array<char, VEK_PATH_SIZE>().data());
    vekRegErrorFunc(nullptr);
    EXPECT_EQ(hookMessage, "Error (tov): 'error while processing path' tovNormalizePath : none.\n");
}

// ---- the path-existence setting

/// A library with a cell in its directory, one in its temporary directory and one in both.
class Merged : public Statements {
  protected:
    Merged() {
        box.file("lib/own/view/a.txt", "").file("tmp/scratch/view/b.txt", "");
        box.file("lib/both/view/c.txt", "").file("tmp/both/view/c.txt", "");
        box.file("vek.lib", "DEFINE lib lib\nASSIGN lib TMP tmp\n");
    }

    void load(int pathsMustExist) {
        rynSetPathNoneExistWarnFlag(pathsMustExist);
        ASSERT_EQ(create("vek.lib", receive, &registry), RYN_OK);
    }
    [[nodiscard]] std::string pathOf(const char *cell, unsigned mode = RYN_PATH_READ) const {
        std::array<char, VEK_PATH_SIZE> path = {};
        const int code = rynGetPath(registry, mode, "lib", cell, nullptr, nullptr, path.data(), path.size());
        const std::size_t root = box.path().size() + 1;
        return code == RYN_OK ? std::string(path.data()).substr(root) : std::to_string(code);
    }
    /// The result of an iteration over the views of a cell.
    [[nodiscard]] int views(const char *cell) const {
        rynContext *context = nullptr;
        const int code = rynIterateViews(registry, "lib", cell, &context);
        if (code == RYN_OK) {
            rynIterateEnd(context);
        }
        return code;
    }
    [[nodiscard]] int allFiles(const char *cell, const char *view) const {
        rynContext *context = nullptr;
        const int code = rynIterateAllViewFiles(registry, "lib", cell, view, &context);
        if (code == RYN_OK) {
            rynIterateEnd(context);
        }
        return code;
    }

    rynHandle registry = nullptr;
};

TEST_F(Merged, ReadReturnsFirstDirectoryWhilePathsNeedNotExist) {
    load(0);
    EXPECT_EQ(pathOf("own"), "tmp/own");
    EXPECT_EQ(pathOf("none"), "tmp/none");
    EXPECT_EQ(pathOf("own", RYN_PATH_READ_TMP), "tmp/own");
    EXPECT_EQ(pathOf("none", RYN_PATH_READ_LIBRARY), "lib/none");
    EXPECT_EQ(rynQuery(registry, 0, "lib", "own", nullptr, nullptr), RYN_OK);
    EXPECT_EQ(rynQuery(registry, 0, "lib", "none", nullptr, nullptr), RYN_NO_SUCH_CELL);
}

TEST_F(Merged, ReadFindsObjectIfPathsMustExist) {
    load(1);
    EXPECT_EQ(pathOf("own"), "lib/own");
    EXPECT_EQ(pathOf("scratch"), "tmp/scratch");
    EXPECT_EQ(pathOf("both"), "tmp/both");
    EXPECT_EQ(pathOf("none"), std::to_string(RYN_NO_SUCH_CELL));
}

TEST_F(Merged, IterationFailsWhileOneDirectoryLacksTheCell) {
    load(0);
    EXPECT_EQ(views("both"), RYN_OK);
    EXPECT_EQ(views("own"), RYN_SYSTEM_ERROR);
    EXPECT_EQ(views("scratch"), RYN_SYSTEM_ERROR);
    EXPECT_EQ(allFiles("both", "view"), RYN_OK);
    EXPECT_EQ(allFiles("own", "view"), RYN_SYSTEM_ERROR);
}

TEST_F(Merged, IterationMergesDirectoriesIfPathsMustExist) {
    load(1);
    EXPECT_EQ(views("own"), RYN_OK);
    EXPECT_EQ(views("scratch"), RYN_OK);
    EXPECT_EQ(views("none"), RYN_NO_SUCH_CELL);
    EXPECT_EQ(allFiles("own", "view"), RYN_OK);
    EXPECT_EQ(allFiles("own", "none"), RYN_NO_SUCH_VIEW);
    EXPECT_EQ(allFiles("none", "view"), RYN_NO_SUCH_VIEW);
}

TEST_F(Merged, IterationOverLibraryNeedsItsTemporaryDirectories) {
    box.directory("implicit");
    load(1);
    rynContext *context = nullptr;
    ASSERT_EQ(rynSetImplicitTmp(registry, "implicit", 2, nullptr), RYN_OK);
    EXPECT_EQ(rynIterateCells(registry, "lib", &context), RYN_SYSTEM_ERROR);
    EXPECT_EQ(rynIterateLibFiles(registry, "lib", &context), RYN_SYSTEM_ERROR);
    EXPECT_EQ(pathOf("new", RYN_PATH_WRITE), std::to_string(RYN_NO_SUCH_DIRECTORY));
    box.directory("implicit/lib");
    ASSERT_EQ(rynIterateCells(registry, "lib", &context), RYN_OK);
    rynIterateEnd(context);
    EXPECT_EQ(pathOf("new", RYN_PATH_WRITE), "implicit/lib/new");
}

TEST_F(Merged, CreationsReturnTheListedResults) {
    load(1);
    rynContext *context = nullptr;
    EXPECT_EQ(rynIterateCells(registry, "none", &context), RYN_LIBRARY_NOT_DEFINED);
    EXPECT_EQ(rynIterateAttrs(registry, "none", &context), RYN_LIBRARY_NOT_DEFINED);
    EXPECT_EQ(rynIterateCells(registry, nullptr, &context), RYN_INVALID_PARAMETER);
    EXPECT_EQ(rynIterateViews(registry, "lib", "", &context), RYN_INVALID_PARAMETER);
    EXPECT_EQ(rynIterateLibs(registry, nullptr), RYN_INVALID_PARAMETER);
    rynAddCommand(registry, "UNASSIGN lib TMP");
    EXPECT_EQ(rynXIterateCells(registry, RYN_SOURCE_TMP, "lib", &context), RYN_NO_SUCH_DIRECTORY);
    box.link("lib/link", "none");
    ASSERT_EQ(rename("lib", "moved"), 0);
    EXPECT_EQ(rynIterateCells(registry, "lib", &context), RYN_NO_SUCH_DIRECTORY);
    EXPECT_EQ(context, nullptr);
}

// ---- process-wide state

TEST_F(Statements, CreationSetsTheStatCacheCounter) {
    EXPECT_EQ(rynStatCacheCtl(1), 1);
    EXPECT_EQ(rynStatCacheCtl(1), 2);
    ASSERT_EQ(create(nullptr, receive), RYN_OK);
    rynReleaseHandle(nullptr);
    EXPECT_EQ(rynStatCacheCtl(0), 0);
    EXPECT_EQ(setenv("RYN_STAT_CACHE_ON", "yes", 1), 0);
    ASSERT_EQ(create(nullptr, receive), RYN_OK);
    rynReleaseHandle(nullptr);
    EXPECT_EQ(rynStatCacheCtl(0), 0);
    EXPECT_EQ(rynStatCacheCtl(1), 1);
}

TEST_F(Statements, InsertionThroughTheHandleKeepsItValid) {
    char **list = nullptr;
    ASSERT_EQ(puxInitialize(&list), PUX_OK);
    const int size = vekGetStrlistSize(list);
    ASSERT_EQ(puxInsertToSearchList(&list, "first"), PUX_OK);
    EXPECT_EQ(vekGetStrlistSize(list), size + 1);
    EXPECT_STREQ(list[0], "first");
    EXPECT_EQ(puxReleaseHandle(list), PUX_OK);
}

} // namespace
