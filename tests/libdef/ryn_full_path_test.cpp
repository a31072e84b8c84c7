#include "libdef/paths/ryni_full_path.h"

#include "common/base/owned.h"
#include "common/platform/vek_init.h"
#include "tests/libdef/path_support.h"
#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"

#include <cerrno>
#include <cstdlib>
#include <gtest/gtest.h>
#include <pwd.h>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

extern "C" char *vekiRootPath; // the cached root of the tool, null at the start of each case

namespace faults = test::faults;
using test::failure;
using test::made;
using test::setEnvironment;

namespace {

class FullPath : public test::PathTest {};

/// Installations in the sandbox; "inst" is that of the running tool.
class FullPathInInstallation : public FullPath {
  protected:
    ~FullPathInInstallation() override {
        std::free(vekiRootPath);
        vekiRootPath = nullptr;
    }
    void install(const std::string &root) { box.file(root + "/tools/bin/vek_root", "", 0755); }
    void startTool() {
        install("inst");
        std::string name = at("inst/tools/bin/vekinfo");
        char *argv[] = {name.data(), nullptr};
        vekInit(nullptr, argv);
    }
};

/// The home directory of root, a user that every system has.
std::string homeOfRoot() {
    return getpwnam("root")->pw_dir;
}

} // namespace

// ---- variables

TEST_F(FullPath, ReplacesAVariableByItsValue) {
    setEnvironment({{"HOME", "/home/u"}});
    EXPECT_EQ(made("/home/u/lib"), full("$HOME/lib", "/w"));
    EXPECT_EQ(made("/home/ulib"), full("${HOME}lib", "/w"));
    EXPECT_EQ(made("/x/home/u/lib"), full("/x/$HOME/lib", "/w"));
    EXPECT_EQ(made("/w/x/home/u/home/u"), full("x$HOME${HOME}", "/w"));
}

TEST_F(FullPath, NameWithoutBracesHasLettersDigitsAndUnderscores) {
    setEnvironment({{"A_9z", "/v"}, {"A_9", "/short"}});
    for (const std::string rest : {"-x", ".x", "/x", "}x", ")x", "\xE4x", "@x", "[x", "`x", "{x", ":x"}) {
        EXPECT_EQ(made("/v" + rest), full("$A_9z" + rest, "/w")) << rest;
    }
    EXPECT_EQ(made("/v-/short"), full("$A_9z-$A_9", "/w"));
}

TEST_F(FullPath, NameInBracesMayHaveAnyCharacters) {
    setEnvironment({{"a b-c.$d", "/odd"}, {"x", "/y"}});
    EXPECT_EQ(made("/odd/lib"), full("${a b-c.$d}/lib", "/w"));
    EXPECT_EQ(made("/y}"), full("${x}}", "/w"));
}

TEST_F(FullPath, UnsetVariableLeavesTextUnchanged) {
    setEnvironment({{"SET", "/set"}});
    for (const char *text : {"$UNSET_VAR/lib", "${UNSET_VAR}/lib", "lib/./$UNSET_VAR//x", "$SET/$UNSET_VAR",
                             "/a/$UNSET_VAR/../b/", "$UNSET_VAR/$SET", "~/$UNSET_VAR"}) {
        EXPECT_EQ(made(text), full(text, "/w")) << text;
    }
}

TEST_F(FullPath, EmptyNameIsAnUnsetVariable) {
    // putenv() accepts such names.
    setEnvironment({{"x", "/x"}, {"-b", "/b"}, {"-", "/minus"}, {"$", "/dollar"}, {" x", "/blank"}});
    for (const char *text : {"$", "$/lib", "lib$", "${}", "a$-b", "$-", "$$x", "$$", "$ x"}) {
        EXPECT_EQ(made(text), full(text, "/w")) << text;
    }
}

TEST_F(FullPath, EmptyVariableIsReplacedByNothing) {
    setEnvironment({{"EMPTY", ""}});
    EXPECT_EQ(made("/ab"), full("/a${EMPTY}b", "/w"));
    EXPECT_EQ(made("/w"), full("$EMPTY", "/w"));
}

TEST_F(FullPath, UnclosedBraceLeavesTextUnchanged) {
    setEnvironment({{"SET", "/set"}});
    for (const char *text : {"${SET", "${SET/lib", "$(compute:THIS_TOOL_INST_ROOT", "$SET/${SET", "${", "$(",
                             "}${SET", ")$(SET}", "${SET)", "$(SET}", "$SET}/${SET"}) {
        EXPECT_EQ(made(text), full(text, "/w")) << text;
    }
}

TEST_F(FullPath, BraceWithoutDollarIsText) {
    setEnvironment({{"SET", "/set"}});
    EXPECT_EQ(made("/a{b"), full("/a{b", "/w"));
    EXPECT_EQ(made("/w/(set/set{"), full("(set$SET{", "/w"));
}

TEST_F(FullPath, ExpandsVariablesInValues) {
    setEnvironment({{"A", "$B/x"}, {"B", "/b"}, {"S", "$"}, {"BB", "/long"}, {"OPEN", "${"}});
    EXPECT_EQ(made("/b/x/lib"), full("$A/lib", "/w"));
    // Each pass begins at the start of the text, so a value and the text after it can form a reference.
    EXPECT_EQ(made("/b"), full("${S}B", "/w"));
    EXPECT_EQ(made("/b"), full("$S{B}", "/w"));
    EXPECT_EQ(made("/b/long"), full("${OPEN}B}${OPEN}BB}", "/w"));
    EXPECT_EQ(made("$S${S}BB"), full("$S${S}BB", "/w")) << "the first of two dollars has no name";
}

TEST_F(FullPath, FollowsALongChainOfVariables) {
    test::Environment chain = {{"V999", "/end"}};
    for (int i = 0; i < 999; ++i) {
        chain.emplace_back("V" + std::to_string(i), "$V" + std::to_string(i + 1));
    }
    setEnvironment(chain);
    EXPECT_EQ(made("/end/lib"), full("$V0/lib", "/w"));
}

TEST_F(FullPath, CycleOfVariablesIsInvalidPath) {
    setEnvironment({{"A", "$A"}, {"B", "$C"}, {"C", "${B}"}, {"G", "/x$G"}, {"D", "$D$D"}});
    for (const char *text : {"$A/lib", "${A}", "$B", "/x/$C/lib", "$G/lib", "$D"}) {
        EXPECT_EQ(failure(RYN_INVALID_PATH, text), full(text, "/w")) << text;
    }
}

TEST_F(FullPath, IgnoresVekInstDirOfTheEnvironment) {
    cmnSetInstallRootRequired(0);
    setEnvironment({{"VEK_INST_DIR", "/wrong"}, {"VEK_INST_DIR2", "/two"}, {"vek_inst_dir", "/small"}});
    EXPECT_EQ(made("/lib"), full("$VEK_INST_DIR/lib", "/w"));
    EXPECT_EQ(made("/x/lib"), full("/x${VEK_INST_DIR}/lib", "/w"));
    EXPECT_EQ(made("/w"), full("$VEK_INST_DIR", "/w"));
    EXPECT_EQ(made("/two/small"), full("$VEK_INST_DIR2$vek_inst_dir", "/w"));
}

TEST_F(FullPathInInstallation, VekInstDirIsTheRootOfTheTool) {
    startTool();
    EXPECT_EQ(made(at("inst/lib")), full("$VEK_INST_DIR/lib", "/w"));
    EXPECT_EQ(made(at("inst/share/lib")), full("${VEK_INST_DIR}/share/lib", "/w"));
}

TEST_F(FullPathInInstallation, VekInstDirIsEmptyWithoutInstallation) {
    std::string name = at("none/vekinfo");
    char *argv[] = {name.data(), nullptr};
    vekInit(nullptr, argv);
    EXPECT_EQ(made("/lib"), full("$VEK_INST_DIR/lib", "/w"));
    EXPECT_EQ(made("/lib"), full("$(compute:THIS_TOOL_INST_ROOT)/lib", "/w"));
}

// ---- computed references

TEST_F(FullPathInInstallation, ThisToolInstRootIsTheRootOfTheTool) {
    startTool();
    EXPECT_EQ(made(at("inst/lib")), full("$(compute:THIS_TOOL_INST_ROOT)/lib", "/w"));
    EXPECT_EQ(made("/a" + at("inst") + "b"), full("/a$(compute:THIS_TOOL_INST_ROOT)b", "/w"));
}

TEST_F(FullPathInInstallation, ThisFileInstRootUsesTheFileOpenedLast) {
    startTool();
    install("one");
    install("two");
    box.file("two/lib/deep/vek.lib", "");
    box.file("one/lib/vek.lib", "DEFINE before $(compute:THIS_FILE_INST_ROOT)/x\n"
                                "INCLUDE ../../two/lib/deep/vek.lib\n"
                                "DEFINE after $(compute:THIS_FILE_INST_ROOT)/x\n");
    definitions.release();
    ASSERT_EQ(RYN_OK, rynInit("one/lib/vek.lib", 0, test::recordWarning, nullptr, &definitions.handle));
    EXPECT_EQ(at("one/x"), definitions.library("before")->fullPath);
    // The last record of the registry is that of the included file.
    EXPECT_EQ(at("two/x"), definitions.library("after")->fullPath);
    EXPECT_EQ(made(at("two")), full("$(compute:THIS_FILE_INST_ROOT)", "/w"));
}

TEST_F(FullPathInInstallation, ThisFileInstRootIsEmptyWithoutFileOrRoot) {
    startTool();
    EXPECT_EQ(made("/x"), full("$(compute:THIS_FILE_INST_ROOT)/x", "/w")) << "no file was read";
    test::PathBuffer path;
    EXPECT_EQ(RYN_OK, ryni_generate_full_path("$(compute:THIS_FILE_INST_ROOT)/x", "/w", path.get(), nullptr,
                                              nullptr));
    EXPECT_EQ("/x", path.text()) << "no registry";
    ASSERT_EQ(RYN_OK, definitions.load(""));
    EXPECT_EQ(made("/x"), full("$(compute:THIS_FILE_INST_ROOT)/x", "/w")) << "outside an installation";
}

TEST_F(FullPathInInstallation, InstRootWithFindsTheRootThatHoldsAFile) {
    startTool();
    install("one");
    install("two");
    box.file("two/share/marker", "").file("one/other", "");
    setEnvironment({{"PATH", at("one/tools/bin") + ":" + at("two/tools/bin")}});
    EXPECT_EQ(made(at("two/lib")), full("$(inst_root_with:share/marker)/lib", "/w"));
    EXPECT_EQ(made(at("one/lib")), full("$(inst_root_with:other)/lib", "/w"));
    EXPECT_EQ(made("/lib"), full("$(inst_root_with:nowhere)/lib", "/w"));
    EXPECT_EQ(made("/lib"), full("$(inst_root_with:)/lib", "/w"));
}

TEST_F(FullPathInInstallation, UnknownReferenceIsReplacedByNothing) {
    startTool();
    setEnvironment({{"HOME", "/h"}, {"PATH", at("inst/tools/bin")}});
    for (const char *reference :
         {"$(HOME)", "$()", "$(compute:THIS_TOOL_INST_ROO)", "$(compute:THIS_TOOL_INST_ROOT2)",
          "$(COMPUTE:THIS_TOOL_INST_ROOT)", "$(compute: THIS_TOOL_INST_ROOT)", "$(inst_root_with)",
          "$($HOME)", "$(xinst_root_with:tools)", "$(Compute:THIS_FILE_INST_ROOT)"}) {
        EXPECT_EQ(made("/a/b"), full(std::string("/a") + reference + "/b", "/w")) << reference;
    }
    EXPECT_EQ(made("/a)b"), full("/a$(x))b", "/w"));
}

TEST_F(FullPathInInstallation, CycleOfVariablesDiscoversTheRootAFewTimes) {
    startTool();
    const std::string lookUp = "$(inst_root_with:nowhere)";
    setEnvironment(
        {{"PATH", at("inst/tools/bin")}, {"A", lookUp + "$B"}, {"B", "$C"}, {"C", "$D"}, {"D", "$A"}});
    const auto calls = [] {
        return faults::count("stat") + faults::count("access") + faults::count("lstat");
    };
    const int before = calls();
    EXPECT_EQ(made("/w"), full(lookUp, "/w"));
    const int once = calls() - before;
    ASSERT_LT(0, once);
    EXPECT_EQ(failure(RYN_INVALID_PATH, "$C"), full("$C", "/w"));
    EXPECT_GE(before + 8 * once, calls());
}

TEST_F(FullPathInInstallation, DiscoversNoRootIfNoneIsRequired) {
    startTool();
    setEnvironment({{"PATH", at("inst/tools/bin")}});
    cmnSetInstallRootRequired(0);
    for (const char *reference :
         {"$VEK_INST_DIR", "${VEK_INST_DIR}", "$(compute:THIS_TOOL_INST_ROOT)", "$(inst_root_with:tools)",
          "$(compute:THIS_FILE_INST_ROOT)", "$(anything)"}) {
        EXPECT_EQ(made("/a/b"), full(std::string("/a") + reference + "/b", "/w")) << reference;
    }
}

TEST_F(FullPathInInstallation, EarlierEnomemIsNotAMemoryError) {
    vekInit(nullptr, nullptr);
    test::Capture quiet;
    for (const char *text : {"/a$VEK_INST_DIR", "/a$(compute:THIS_TOOL_INST_ROOT)",
                             "/a$(compute:THIS_FILE_INST_ROOT)", "/a$(inst_root_with:x)"}) {
        for (rynRegistry *registry : {definitions.handle, static_cast<rynRegistry *>(nullptr)}) {
            test::PathBuffer path;
            errno = ENOMEM;
            EXPECT_EQ(RYN_OK, ryni_generate_full_path(text, "/w", path.get(), nullptr, registry)) << text;
            EXPECT_EQ("/a", path.text());
        }
    }
}

TEST_F(FullPathInInstallation, ExpandsVariablesInARoot) {
    install("in$SUB");
    std::string name = at("in$SUB/tools/bin/vekinfo");
    char *argv[] = {name.data(), nullptr};
    vekInit(nullptr, argv);
    setEnvironment({{"SUB", "side"}});
    EXPECT_EQ(made(at("inside/lib")), full("$VEK_INST_DIR/lib", "/w"));
}

// ---- home directories

TEST_F(FullPath, ReplacesATildeByTheHomeDirectory) {
    setEnvironment({{"HOME", "/home/u"}, {"T", "~"}});
    EXPECT_EQ(made("/home/u/lib"), full("~/lib", "/w"));
    EXPECT_EQ(made("/home/u"), full("~", "/w"));
    EXPECT_EQ(made("/home/u"), full("~/", "/w"));
    EXPECT_EQ(made("/home/u/lib"), full("$T/lib", "/w"));
}

TEST_F(FullPath, TildeElsewhereIsText) {
    setEnvironment({{"HOME", "/home/u"}});
    EXPECT_EQ(made("/a/~/b"), full("/a/~/b", "/w"));
    EXPECT_EQ(made("/w/x~"), full("x~", "/w"));
    EXPECT_EQ(made("/w/ ~/x"), full(" ~/x", "/w"));
}

TEST_F(FullPath, UnsetHomeLeavesTextUnchanged) {
    setEnvironment({{"T", "~"}});
    for (const char *text : {"~", "~/lib", "~/a/../b/", "$T/lib"}) {
        EXPECT_EQ(made(text), full(text, "/w")) << text;
    }
}

TEST_F(FullPath, DoesNotExpandVariablesInHome) {
    setEnvironment({{"HOME", "/h/$X"}, {"X", "x"}});
    EXPECT_EQ(made("/h/$X/lib"), full("~/lib", "/w"));
}

TEST_F(FullPath, HomeNeedNotBeADirectory) {
    setEnvironment({{"HOME", ""}});
    EXPECT_EQ(made("/lib"), full("~/lib", "/w"));
    EXPECT_EQ(made("/w"), full("~", "/w"));
    setEnvironment({{"HOME", "h"}});
    EXPECT_EQ(made("/w/h/lib"), full("~/lib", "/w"));
}

TEST_F(FullPath, ReplacesAUserNameByThatUsersHomeDirectory) {
    setEnvironment({{"HOME", "/wrong"}, {"U", "~root"}});
    EXPECT_EQ(made(homeOfRoot() + "/lib"), full("~root/lib", "/w"));
    EXPECT_EQ(made(homeOfRoot()), full("~root", "/w"));
    EXPECT_EQ(made(homeOfRoot() + "/lib/x"), full("$U/lib//x/", "/w"));
}

TEST_F(FullPath, UnknownUserIsReportedWithTheExpandedText) {
    setEnvironment({{"HOME", "/home/u"}, {"WHO", "nosuchuser"}});
    EXPECT_EQ(failure(RYN_INVALID_PATH, "~nosuchuser/x"), full("~nosuchuser/x", "/w"));
    EXPECT_EQ(failure(RYN_INVALID_PATH, "~nosuchuser"), full("~nosuchuser", "/w"));
    EXPECT_EQ(failure(RYN_INVALID_PATH, "~nosuchuser/./x/"), full("~$WHO/./x/", "/w"));
    EXPECT_EQ(failure(RYN_INVALID_PATH, "~~/x"), full("~~/x", "/w"));
}

TEST_F(FullPath, FailedUserLookupIsInvalidPath) {
    faults::fail("getpwnam", 1, EIO);
    EXPECT_EQ(failure(RYN_INVALID_PATH, "~root/x"), full("~root/x", "/w"));
}

// ---- base directory

TEST_F(FullPath, PrependsTheBaseDirectoryToARelativeText) {
    EXPECT_EQ(made("/w/lib/a/b"), full("lib/./a//b/", "/w"));
    EXPECT_EQ(made("/w/lib"), full("lib", "/w/"));
    EXPECT_EQ(made("/lib"), full("lib", "/"));
    EXPECT_EQ(made("/w"), full("", "/w"));
    EXPECT_EQ(made("/w"), full(".", "/w"));
    EXPECT_EQ(made("/w/-- x #"), full("-- x #", "/w"));
    EXPECT_EQ(made("/abs"), full("/abs", "/w"));
}

TEST_F(FullPath, DoesNotExpandTheBaseDirectory) {
    setEnvironment({{"X", "/x"}, {"HOME", "/home/u"}});
    EXPECT_EQ(made("/$X/~/lib"), full("lib", "/$X/~"));
}

// ---- clean-up

TEST_F(FullPath, CleansSlashesAndSingleDots) {
    const std::vector<std::pair<std::string, std::string>> cleaned = {
        {"/", "/"},
        {"/.", "/"},
        {"//", "/"},
        {"/./", "/"},
        {"/.//./.", "/"},
        {"/a/", "/a"},
        {"/a///", "/a"},
        {"/a/.", "/a"},
        {"/a/././", "/a"},
        {"/a/.//", "/a"},
        {"/./a", "/a"},
        {"/././a", "/a"},
        {"/a/./b", "/a/b"},
        {"/a/././b/./c", "/a/b/c"},
        {"//a", "/a"},
        {"///a////b", "/a/b"},
        {"/a/.//b", "/a/b"},
        {"/a//./b", "/a/b"},
        {"/a/./././/.//b", "/a/b"},
        {"/a/.b", "/a/.b"},
        {"/a/b.", "/a/b."},
        {"/a./b", "/a./b"},
        {"/a/...", "/a/..."},
        {"/a/.../b", "/a/.../b"},
        {"/...", "/..."},
        {"/a/b..", "/a/b.."},
        {"/a/..b", "/a/..b"},
    };
    for (const auto &[given, expected] : cleaned) {
        EXPECT_EQ(made(expected), full(given, "/w")) << given;
    }
}

TEST_F(FullPath, DotDotRemovesTheDirectoryBefore) {
    box.directory("a/b/c").file("a/file", "");
    EXPECT_EQ(made(at("a/c")), full("a/b/../c", at("")));
    EXPECT_EQ(made(at("x")), full("a/b/../../x", at("")));
    EXPECT_EQ(made(at("a/x")), full("a/b/c/../../x", at("")));
    EXPECT_EQ(made(at("a/b/x")), full("a/b/c/../../b/c/../x", at("")));
    EXPECT_EQ(made(at("a/x")), full("a/file/../x", at(""))) << "a file is no link either";
    EXPECT_EQ(made(at("a")), full("a/b/..", at("")));
    EXPECT_EQ(made(at("a")), full("a/b/../", at("")));
    EXPECT_EQ(made(at("a")), full("a/b/../.", at("")));
    EXPECT_EQ(made(at("a")), full("a/b/c/../..", at("")));
}

TEST_F(FullPath, EmptyResultIsTheRoot) {
    EXPECT_EQ(made("/"), full("/proc/..", "/w"));
    EXPECT_EQ(made("/"), full("..", "/proc"));
    EXPECT_EQ(made("/x"), full("/proc/../x", "/w"));
    EXPECT_EQ(made("/"), full("/proc/../proc/..", "/w"));
}

TEST_F(FullPath, KeepsDotDotAfterALink) {
    box.directory("real/sub").link("l", "real/sub").link("dangling", "nowhere").directory("a/b");
    EXPECT_EQ(made(at("l/../c")), full("l/../c", at("")));
    EXPECT_EQ(made(at("dangling/../c")), full("dangling/../c", at("")));
    EXPECT_EQ(made(at("l/..")), full("l/..", at("")));
}

TEST_F(FullPath, KeepsEveryDotDotAfterTheFirstKept) {
    box.directory("real/sub").link("l", "real/sub").directory("a/b").directory("real/a/b");
    EXPECT_EQ(made(at("l/../a/../c")), full("l/../a/../c", at("")));
    EXPECT_EQ(made(at("l/../b/../c")), full("a/../l/../b/../c", at("")));
    // The component before the trailing "/.." is "..", which is not a link.
    EXPECT_EQ(made(at("l")), full("l/../..", at("")));
    EXPECT_EQ(made(at("l/../a")), full("l/../a/b/..", at("")));
}

TEST_F(FullPath, KeepsDotDotAfterADirectoryBelowALink) {
    box.directory("real/sub").link("l", "real");
    EXPECT_EQ(made(at("l/x")), full("l/sub/../x", at("")));
    EXPECT_EQ(made(at("l/../x")), full("l/sub/../../x", at("")));
}

TEST_F(FullPath, KeepsDotDotAfterAMissingName) {
    box.file("file", "").directory("a");
    for (const char *text : {"missing/../c", "missing/..", "a/missing/../../c", "file/x/../c"}) {
        EXPECT_EQ(made(at(text)), full(text, at(""))) << text;
    }
    EXPECT_EQ(made(at("missing/../b")), full("a/../missing/../b", at("")));
}

TEST_F(FullPath, KeepsDotDotAboveTheRoot) {
    EXPECT_EQ(made("/.."), full("/..", "/w"));
    EXPECT_EQ(made("/../x"), full("/../x", "/w"));
    EXPECT_EQ(made("/../x"), full("/proc/../../x", "/w"));
    EXPECT_EQ(made("/.."), full("..", "/"));
}

TEST_F(FullPath, KeepsDotDotIfReadlinkFails) {
    box.directory("a");
    for (const int error : {EACCES, EIO, ELOOP, ENAMETOOLONG}) {
        renew();
        faults::fail("readlink", 1, error);
        EXPECT_EQ(made(at("a/../c")), full("a/../c", at(""))) << error;
    }
    renew();
    faults::fail("readlink", 1, EINVAL);
    EXPECT_EQ(made(at("c")), full("a/../c", at("")));
}

TEST_F(FullPath, KeepsDotDotInUnsearchableDirectory) {
    box.directory("a/b");
    ASSERT_EQ(0, chmod(at("a").c_str(), 0));
    const std::string base = at("");
    test::asUnprivileged([&] {
        EXPECT_EQ(made(base + "/a/b/../c"), full("a/b/../c", base));
        EXPECT_EQ(made(base + "/c"), full("a/../c", base));
    });
}

TEST_F(FullPath, DotDotWithoutSlashBeforeIsAnError) {
    box.directory("w/a").link("l", "w");
    EXPECT_EQ(failure(RYN_INTERNAL_ERROR, "w/../x"), full("../x", "w"));
    EXPECT_EQ(failure(RYN_INTERNAL_ERROR, "w/../x"), full("./a//../../x/", "w"));
    EXPECT_EQ(failure(RYN_INTERNAL_ERROR, "w/.."), full("..", "w"));
    EXPECT_EQ(made("l/../x"), full("../x", "l")) << "a link stops the step first";
    EXPECT_EQ(made("missing/../x"), full("../x", "missing")) << "and so does what is missing";
}

TEST_F(FullPath, UsesTheLinkCache) {
    box.directory("a/b");
    EXPECT_EQ(made(at("a/c")), full("a/b/../c", at("")));
    const int calls = faults::count("readlink");
    EXPECT_EQ(made(at("a/d")), full("a/b/../d", at("")));
    EXPECT_EQ(calls, faults::count("readlink"));
    EXPECT_EQ(1, calls);
}

TEST_F(FullPath, AcceptsNullRegistryAndNullErrorBuffer) {
    setEnvironment({{"HOME", "/home/u"}});
    box.directory("a");
    test::PathBuffer path;
    EXPECT_EQ(RYN_OK, ryni_generate_full_path("a/../c", at("").c_str(), path.get(), nullptr, nullptr));
    EXPECT_EQ(at("c"), path.text());
    EXPECT_EQ(RYN_INVALID_PATH, ryni_generate_full_path("~nosuchuser", "/w", path.get(), nullptr, nullptr));
    EXPECT_EQ(RYN_INTERNAL_ERROR, ryni_generate_full_path("..", "a", path.get(), nullptr, nullptr));
    const std::string tooLong(4096, 'x');
    EXPECT_EQ(RYN_INVALID_PATH, ryni_generate_full_path(tooLong.c_str(), "/w", path.get(), nullptr, nullptr));
}

// ---- boundaries

TEST_F(FullPath, TextLimitIs4095Characters) {
    const std::string longest = test::lengthened("", 4095);
    EXPECT_EQ(made(longest), full(longest, "/w"));
    for (const std::size_t size : {4096U, 4097U, 10000U}) {
        const std::string text = test::lengthened("", size);
        EXPECT_EQ(failure(RYN_INVALID_PATH, text.substr(0, 4095)), full(text, "/w")) << size;
    }
}

TEST_F(FullPath, ExpansionLimitIs4095Characters) {
    for (const std::size_t size : {4094U, 4095U, 4096U, 4097U, 102400U}) {
        setEnvironment({{"V", test::lengthened("", size - 4)}, {"HOME", test::lengthened("", size - 4)}});
        const std::string expanded = test::lengthened("", size - 4) + "/lib";
        for (const char *text : {"$V/lib", "~/lib", "${V}/lib"}) {
            const test::PathResult expected = size <= 4095 ? made(expanded) : failure(RYN_INVALID_PATH, text);
            EXPECT_EQ(expected, full(text, "/w")) << size << text;
        }
    }
}

TEST_F(FullPath, TooLongIntermediateTextIsInvalidPath) {
    setEnvironment({{"V", std::string(4090, '/')}, {"W", "$V$V"}, {"E", ""}});
    EXPECT_EQ(made("/lib"), full("$V/lib", "/w"));
    // The clean-up, or another value, would make it shorter.
    EXPECT_EQ(failure(RYN_INVALID_PATH, "$V/x/lib"), full("$V/x/lib", "/w"));
    EXPECT_EQ(failure(RYN_INVALID_PATH, "$W"), full("$W", "/w"));
    EXPECT_EQ(failure(RYN_INVALID_PATH, "$V${E}${E}"), full("$V${E}${E}", "/w"));
}

TEST_F(FullPath, LimitWithBaseDirectoryIs4095Characters) {
    for (const std::size_t size : {4094U, 4095U, 4096U, 4097U, 8000U}) {
        const std::string base = test::lengthened("", size - 4);
        const test::PathResult expected =
            size <= 4095 ? made(base + "/lib") : failure(RYN_INVALID_PATH, "lib");
        EXPECT_EQ(expected, full("lib", base)) << size;
    }
}

TEST_F(FullPath, UserNameMayHaveAnyLength) {
    for (const std::size_t size : {1023U, 1024U, 1025U, 2047U, 2048U, 4094U}) {
        const std::string text = "~" + std::string(size, 'u');
        EXPECT_EQ(failure(RYN_INVALID_PATH, text), full(text, "/w")) << size;
    }
}

TEST_F(FullPath, VariableNameMayHaveAnyLength) {
    for (const std::size_t size : {1023U, 1024U, 1025U, 2047U, 2048U, 4092U}) {
        const std::string name(size, 'N');
        setEnvironment({{name, "/v"}});
        EXPECT_EQ(made("/v"), full("${" + name + "}", "/w")) << size;
        setEnvironment({});
        EXPECT_EQ(made("${" + name + "}"), full("${" + name + "}", "/w")) << size;
    }
}

TEST_F(FullPath, ResolvesLinksAndDotsIn4095Characters) {
    box.directory("d");
    std::string text = at("d");
    while (text.size() + 5 <= 4095) {
        text += "/../d";
    }
    EXPECT_EQ(made(at("d")), full(text, "/w"));
    std::string dots = at("d");
    while (dots.size() + 2 <= 4095) {
        dots += "/.";
    }
    EXPECT_EQ(made(at("d")), full(dots, "/w"));
    EXPECT_EQ(made("/"), full(std::string(4095, '/'), "/w"));
}

TEST_F(FullPath, RandomBytesGiveADocumentedResult) {
    setEnvironment({{"A", "/a"}, {"B", "$A/.."}, {"HOME", "/h"}});
    box.directory("A").link("B", "A");
    const std::string letters = "$$${}(){}AB~/.//..\\ \t\xE4#-";
    std::mt19937 random(7); // NOLINT(cert-msc32-c,cert-msc51-cpp): reproducible
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        for (unsigned long size = random() % 24; size > 0; --size) {
            text += letters[random() % letters.size()];
        }
        const test::PathResult result = full(text, at(""));
        EXPECT_TRUE(result.status == RYN_OK || result.status == RYN_INVALID_PATH) << text;
        EXPECT_TRUE(result.path == text || result.status != RYN_OK || result.path[0] == '/') << text;
    }
}

// ---- failures

TEST_F(FullPathInInstallation, ReportsEveryFailedAllocation) {
    startTool();
    install("one");
    box.file("one/marker", "").directory("a").file("vek.lib", "");
    ASSERT_EQ(RYN_OK, definitions.read(test::recordWarning));
    setEnvironment({{"PATH", at("one/tools/bin")}, {"HOME", "/home/u"}});
    test::Capture quiet;
    for (const char *text :
         {"$VEK_INST_DIR/x", "$(compute:THIS_TOOL_INST_ROOT)/x", "$(inst_root_with:marker)/x", "$HOME/x",
          "~/x", "~nosuchuser/x", "a/../x", "$(compute:THIS_FILE_INST_ROOT)/x"}) {
        const test::PathResult expected = full(text, at(""));
        for (int nth = 1;; ++nth) {
            renew();
            definitions.release();
            ASSERT_EQ(RYN_OK, definitions.read(test::recordWarning));
            std::free(vekiRootPath);
            vekiRootPath = nullptr;
            const int before = faults::count("malloc");
            faults::failAllocation(nth);
            const test::PathResult result = full(text, at(""));
            const bool failed = faults::count("malloc") - before >= nth;
            faults::failAllocation(1 << 30);
            if (result != expected) {
                EXPECT_EQ(failure(RYN_MEMORY_ERROR, text), result) << text << " at " << nth;
            }
            if (!failed) {
                break;
            }
        }
    }
}
