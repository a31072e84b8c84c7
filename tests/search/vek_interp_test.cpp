// The references of an interpolated text and their values.

#include "search/vek_interp.h"

#include "common/platform/vek_init.h"
#include "search/veki_interp.h"
#include "tests/search/interpolation.h"
#include "tests/support/capture.h"
#include "tests/support/environment.h"
#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

#include <array>
#include <gtest/gtest.h>
#include <pwd.h>
#include <string>

using test::interpolate;
using test::Interpolated;
using test::Options;

namespace {

void expectUnchanged(const std::string &text, const Options &options = {}) {
    const Interpolated result = interpolate(text, options);
    EXPECT_EQ(result.status, 1) << text;
    EXPECT_EQ(result.out, text);
    EXPECT_EQ(result.code, VEK_INTERP_OK) << text;
    EXPECT_EQ(result.position, -1) << text;
    EXPECT_EQ(result.message, "") << text;
}

void expectValue(const std::string &text, const std::string &value, const Options &options = {}) {
    const Interpolated result = interpolate(text, options);
    EXPECT_EQ(result.status, 1) << text;
    EXPECT_EQ(result.out, value) << text;
    EXPECT_EQ(result.code, VEK_INTERP_OK) << text;
    EXPECT_EQ(result.position, -1) << text;
}

void expectProblem(const std::string &text, const std::string &out, int code, int position,
                   const std::string &message, const Options &options = {}) {
    const Interpolated result = interpolate(text, options);
    EXPECT_EQ(result.status, 0) << text;
    EXPECT_EQ(result.out, out) << text;
    EXPECT_EQ(result.code, code) << text;
    EXPECT_EQ(result.position, position) << text;
    EXPECT_EQ(result.message, message) << text;
}

/// An installation `inst` in a sandbox, to which this process belongs.
struct Installed {
    test::Sandbox box;
    Installed() {
        test::setEnvironment({{"PATH", box.path("inst/tools/bin")}, {"HOME", "/h"}});
        test::makeInstallation(box, "inst");
        box.file("inst/tools/bin/app", "", 0755);
        vekInitNonVEKApp(box.path("inst/tools/bin/app").c_str());
    }
};

/// A process that belongs to no installation.
struct Rootless {
    test::Sandbox box;
    Rootless() {
        test::setEnvironment({{"PATH", box.path("bin")}, {"HOME", "/h"}});
        box.file("bin/app", "", 0755);
        vekInitNonVEKApp(box.path("bin/app").c_str());
    }
};

constexpr std::array<std::uint32_t, 5> kAllFlags = {
    VEK_INTERP_KEEP_VARIABLES, VEK_INTERP_KEEP_HOMES, VEK_INTERP_KEEP_COMPUTED, VEK_INTERP_RECURSIVE,
    VEK_INTERP_KEEP_VARIABLES | VEK_INTERP_KEEP_HOMES | VEK_INTERP_KEEP_COMPUTED};

} // namespace

// Plain text and "$$".

TEST(Interpolation, PlainTextIsCopied) {
    expectUnchanged("");
    expectUnchanged("/a/b c");
    expectUnchanged("{a}(b)\\\"'\x80\xff");
}

TEST(Interpolation, DoubledDollarGivesOne) {
    test::setEnvironment({{"b", "B"}, {"HOME", "/h"}});
    expectValue("a$$b", "a$b");
    expectValue("$$", "$");
    expectValue("$$$$", "$$");
    expectValue("$$$b", "$B");
    expectValue("$$(x", "$(x");
    expectValue("$${x", "${x");
}

TEST(Interpolation, DoubledDollarGivesOneUnderEveryFlag) {
    for (const std::uint32_t flags : kAllFlags) {
        expectValue("a$$", "a$", {.flags = flags});
    }
}

// Environment variables.

TEST(Interpolation, BracedAndPlainNamesExpandAlike) {
    test::setEnvironment({{"HOME", "/home/x"}});
    expectValue("$HOME/x", "/home/x/x");
    expectValue("${HOME}/x", "/home/x/x");
    expectValue("a$HOME", "a/home/x");
    expectValue("a${HOME}b", "a/home/xb");
}

TEST(Interpolation, NameIsLettersDigitsAndUnderscore) {
    test::setEnvironment({{"HOME", "/h"}, {"HOME_DIR", "/hd"}, {"A1_z", "v"}});
    expectValue("$HOME_DIR", "/hd");
    expectValue("$HOME.x", "/h.x");
    expectValue("$HOME-x", "/h-x");
    expectValue("$HOME\xe9", "/h\xe9");
    expectValue("$A1_z$A1_z", "vv");
}

TEST(Interpolation, BracedNameRunsToTheFirstClosingBrace) {
    test::setEnvironment({{"A B.c", "v"}});
    expectValue("${A B.c}}", "v}");
}

TEST(Interpolation, NamesAreCaseSensitive) {
    test::setEnvironment({{"Name", "v"}});
    expectValue("$Name", "v");
    expectProblem("$NAME", "$NAME", VEK_INTERP_NOT_SET, 0, "environment variable 'NAME' not set");
}

TEST(Interpolation, EmptyValueIsAValue) {
    test::setEnvironment({{"EMPTY", ""}});
    expectValue("a$EMPTY/b", "a/b");
    expectValue("${EMPTY}", "");
}

TEST(Interpolation, ValueIsNotExpandedAgain) {
    test::setEnvironment({{"A", "$B~"}, {"B", "b"}});
    expectValue("$A", "$B~");
}

TEST(Interpolation, UnsetVariableIsCopiedAndAnError) {
    test::setEnvironment({});
    expectProblem("a/$NONE/b", "a/$NONE/b", VEK_INTERP_NOT_SET, 2, "environment variable 'NONE' not set");
    expectProblem("a/${NONE}/b", "a/${NONE}/b", VEK_INTERP_NOT_SET, 2, "environment variable 'NONE' not set");
}

TEST(Interpolation, LoneDollarIsAnUnsetVariable) {
    test::setEnvironment({});
    const std::string message = "environment variable '' not set";
    expectProblem("x$", "x$", VEK_INTERP_NOT_SET, 1, message);
    expectProblem("x$/y", "x$/y", VEK_INTERP_NOT_SET, 1, message);
    expectProblem("x$)y", "x$)y", VEK_INTERP_NOT_SET, 1, message);
    expectProblem("${}", "${}", VEK_INTERP_NOT_SET, 0, message);
}

TEST(Interpolation, UnterminatedBraceIsAnErrorUnderEveryFlag) {
    test::setEnvironment({{"HOME", "/h"}});
    for (const std::uint32_t flags : kAllFlags) {
        expectProblem("ab${HOME", "ab${HOME", VEK_INTERP_BADLY_FORMED, 2, "badly formed env var reference",
                      {.flags = flags});
    }
    expectProblem("${", "${", VEK_INTERP_BADLY_FORMED, 0, "badly formed env var reference");
}

TEST(Interpolation, TextAfterAnUnterminatedBraceIsExpanded) {
    test::setEnvironment({{"B", "b"}});
    expectProblem("${A$B", "${Ab", VEK_INTERP_BADLY_FORMED, 0, "badly formed env var reference");
}

TEST(Interpolation, DollarInsideBracesIsAnErrorOutsideRecursiveMode) {
    test::setEnvironment({{"B", "b"}, {"Ab", "never"}});
    expectProblem("x${A$B}", "x${Ab}", VEK_INTERP_BADLY_FORMED, 1, "badly formed env var reference");
    expectProblem("x${A$B}", "x${A$B}", VEK_INTERP_BADLY_FORMED, 1, "badly formed env var reference",
                  {.flags = VEK_INTERP_KEEP_VARIABLES});
}

TEST(Interpolation, DollarAfterTheClosingBraceIsAnotherReference) {
    test::setEnvironment({{"A", "a"}, {"B", "b"}});
    expectValue("${A}$B", "ab");
}

TEST(Interpolation, RecursiveModeExpandsTheInnerReferenceFirst) {
    test::setEnvironment({{"X", "A"}, {"VA", "z"}});
    expectValue("${V$X}", "z", {.flags = VEK_INTERP_RECURSIVE});
    expectValue("${V${X}}", "z", {.flags = VEK_INTERP_RECURSIVE});
}

TEST(Interpolation, VariableNameMayBeLong) {
    const std::string name(5000, 'N');
    test::setEnvironment({{name, "v"}});
    expectValue("$" + name + "/${" + name + "}", "v/v");
}

// Home directories.

TEST(Interpolation, TildeIsHome) {
    test::setEnvironment({{"HOME", "/h"}, {"home", "/other"}});
    expectValue("~", "/h");
    expectValue("~/x", "/h/x");
    expectValue("a~", "a/h");
    expectValue("a~/b~/c", "a/h/b/h/c");
}

TEST(Interpolation, TildeIsLowerCaseHomeWithoutHome) {
    test::setEnvironment({{"home", "/h"}});
    expectValue("~/x", "/h/x");
}

TEST(Interpolation, TildeStaysSilentlyWithoutAnyHome) {
    test::setEnvironment({});
    expectUnchanged("~");
    expectUnchanged("a~/x");
}

TEST(Interpolation, EmptyHomeIsAHome) {
    test::setEnvironment({{"HOME", ""}, {"home", "/other"}});
    expectValue("~/x", "/x");
}

TEST(Interpolation, TildeWithANameIsThatUsersHome) {
    test::setEnvironment({{"HOME", "/h"}});
    const passwd *entry = getpwnam("root");
    ASSERT_NE(entry, nullptr);
    const std::string home = entry->pw_dir;
    expectValue("~root", home);
    expectValue("~root/x", home + "/x");
    expectValue("a~root/x~root", "a" + home + "/x" + home);
}

TEST(Interpolation, TildeAnywhereIsAUserReference) {
    test::setEnvironment({{"HOME", "/h"}});
    expectProblem("a~no-such-user", "a~no-such-user", VEK_INTERP_UNKNOWN_USER, 1,
                  "'~no-such-user' can't be evaluated");
    expectProblem("a~no-such-user/b", "a~no-such-user/b", VEK_INTERP_UNKNOWN_USER, 1,
                  "'~no-such-user' can't be evaluated");
    expectProblem("~~", "~~", VEK_INTERP_UNKNOWN_USER, 0, "'~~' can't be evaluated");
}

TEST(Interpolation, UserNameRunsToTheNextSlash) {
    test::setEnvironment({{"HOME", "/h"}});
    expectProblem("~no-such$HOME/$HOME", "~no-such$HOME//h", VEK_INTERP_UNKNOWN_USER, 0,
                  "'~no-such$HOME' can't be evaluated");
}

TEST(Interpolation, UnknownUserWithWhiteSpaceIsNamedUpToIt) {
    test::setEnvironment({{"HOME", "/h"}});
    const std::string end = "' must be followed by / or be at the end of the string";
    expectProblem("~root here/x", "~root here/x", VEK_INTERP_UNKNOWN_USER, 0, "'~root" + end);
    expectProblem("~ab\tc d", "~ab\tc d", VEK_INTERP_UNKNOWN_USER, 0, "'~ab" + end);
    expectProblem("~ /x", "~ /x", VEK_INTERP_UNKNOWN_USER, 0, "'~" + end);
    expectProblem("~a\n", "~a\n", VEK_INTERP_UNKNOWN_USER, 0, "'~a" + end);
}

TEST(Interpolation, FailingUserDatabaseIsAnUnknownUser) {
    test::setEnvironment({{"HOME", "/h"}});
    test::faults::fail("getpwnam", 1, EIO);
    expectProblem("~root", "~root", VEK_INTERP_UNKNOWN_USER, 0, "'~root' can't be evaluated");
}

// Computed values.

TEST(Interpolation, ToolRootIsComputed) {
    const Installed installed;
    expectValue("$(compute:THIS_TOOL_INST_ROOT)/x", installed.box.path("inst") + "/x");
    expectValue("a$(compute:THIS_TOOL_INST_ROOT)x)", "a" + installed.box.path("inst") + "x)");
}

TEST(Interpolation, MissingToolRootIsAnError) {
    const Rootless rootless;
    expectProblem("ab$(compute:THIS_TOOL_INST_ROOT)/x", "ab$(compute:THIS_TOOL_INST_ROOT)/x",
                  VEK_INTERP_NO_TOOL_ROOT, 2, "Can't find installation root");
}

TEST(Interpolation, RootOfTheFileIsComputed) {
    Rootless rootless;
    test::makeInstallation(rootless.box, "other");
    rootless.box.file("other/share/setup.loc", "");
    const std::string file = rootless.box.path("other/share/setup.loc");
    expectValue("$(compute:THIS_FILE_INST_ROOT)/x", rootless.box.path("other") + "/x",
                {.fileName = file.c_str()});
}

TEST(Interpolation, FileOutsideAnyInstallationIsAnError) {
    const Installed installed;
    const std::string file = installed.box.path("loose");
    expectProblem("/$(compute:THIS_FILE_INST_ROOT)", "/$(compute:THIS_FILE_INST_ROOT)",
                  VEK_INTERP_NO_ROOT_FOR_FILE, 1,
                  "$(compute:THIS_FILE_INST_ROOT) file '" + file +
                      "' is not in an installation hierarchy \n    file:" + file,
                  {.fileName = file.c_str()});
}

TEST(Interpolation, RootOfAnUnspecifiedFileIsAnError) {
    const Installed installed;
    expectProblem("$(compute:THIS_FILE_INST_ROOT)", "$(compute:THIS_FILE_INST_ROOT)",
                  VEK_INTERP_NO_ROOT_FOR_FILE, 0,
                  "$(compute:THIS_FILE_INST_ROOT) file '<unspecified>' is not in an installation hierarchy ");
}

TEST(Interpolation, InstallationOfAPathIsComputed) {
    Rootless rootless;
    test::makeInstallation(rootless.box, "one");
    test::makeInstallation(rootless.box, "two");
    rootless.box.file("two/share/data", "");
    test::setEnvironment(
        {{"PATH", rootless.box.path("one/tools/bin") + ":" + rootless.box.path("two/tools/bin")}});
    expectValue("$(inst_root_with:share/data)", rootless.box.path("two"));
    expectValue("$(inst_root_with:/share/data)/y", rootless.box.path("two") + "/y");
    expectValue("$(inst_root_with:tools/bin)", rootless.box.path("one"));
}

TEST(Interpolation, NoInstallationWithThePathIsAnError) {
    const Installed installed;
    expectProblem("a$(inst_root_with:no/such)", "a$(inst_root_with:no/such)", VEK_INTERP_NO_ROOT_FOR_FILE, 1,
                  "$(inst_root_with:no/such) not found");
    expectProblem("$(inst_root_with:)", "$(inst_root_with:)", VEK_INTERP_NO_ROOT_FOR_FILE, 0,
                  "$(inst_root_with:) not found");
}

TEST(Interpolation, OtherComputedWordsStaySilently) {
    const Installed installed;
    expectUnchanged("$(compute:OTHER)");
    expectUnchanged("$(anything)");
    expectUnchanged("$()");
    expectUnchanged("x$(compute:)y");
    expectUnchanged("$(compute:THIS_TOOL_INST_ROOT )");
    expectUnchanged("$(compute:THIS_TOOL_INST_ROOTS)");
    expectUnchanged("$(compute:this_tool_inst_root)");
    expectUnchanged("$(Compute:THIS_TOOL_INST_ROOT)");
    expectUnchanged("$(inst_root_wit)");
    expectUnchanged("$(HOME)");
}

TEST(Interpolation, ComputedReferenceIsCopiedWhole) {
    const Installed installed;
    expectUnchanged("$(a$HOME~b)");
}

TEST(Interpolation, ComputedReferencesStaySilentlyWhenNoRootIsRequired) {
    const Installed installed;
    cmnSetInstallRootRequired(0);
    expectUnchanged("$(compute:THIS_TOOL_INST_ROOT)/x");
    expectUnchanged("$(compute:THIS_FILE_INST_ROOT)");
    expectUnchanged("$(inst_root_with:no/such)");
    expectUnchanged("$(anything)");
}

TEST(Interpolation, UnterminatedParenthesisTurnsIntoABrace) {
    const Installed installed;
    for (const int required : {1, 0}) {
        cmnSetInstallRootRequired(required);
        for (const std::uint32_t flags : kAllFlags) {
            expectProblem("$(foo", "${foo", VEK_INTERP_BADLY_FORMED, 0, "badly formed reference",
                          {.flags = flags});
        }
        expectProblem("ab$(", "ab${", VEK_INTERP_BADLY_FORMED, 2, "badly formed reference");
        expectProblem("$(a$HOME", "${a/h", VEK_INTERP_BADLY_FORMED, 0, "badly formed reference");
    }
}

// The two names with a meaning of their own.

TEST(Interpolation, InstDirIsTheToolRootInAnyEnvironment) {
    const Installed installed;
    test::setEnvironment({{"VEK_INST_DIR", "/wrong"}});
    expectValue("$VEK_INST_DIR/x", installed.box.path("inst") + "/x");
    expectValue("${VEK_INST_DIR}/x", installed.box.path("inst") + "/x");
}

TEST(Interpolation, InstDirStaysSilentlyWithoutARoot) {
    const Rootless rootless;
    test::setEnvironment({{"VEK_INST_DIR", "/wrong"}});
    expectUnchanged("$VEK_INST_DIR/x");
    expectUnchanged("${VEK_INST_DIR}");
}

TEST(Interpolation, InstDirStaysSilentlyWhenNoRootIsRequired) {
    const Installed installed;
    cmnSetInstallRootRequired(0);
    expectUnchanged("$VEK_INST_DIR/x");
}

TEST(Interpolation, SiteIsTheEnvironmentsValue) {
    const Installed installed;
    test::setEnvironment({{"VEK_SITE", "/site"}});
    expectValue("$VEK_SITE/x", "/site/x");
    cmnSetInstallRootRequired(0);
    expectValue("${VEK_SITE}/x", "/site/x");
    test::setEnvironment({{"VEK_SITE", ""}});
    expectValue("$VEK_SITE/x", "/x");
}

TEST(Interpolation, UnsetSiteIsBelowTheToolRoot) {
    const Installed installed;
    expectValue("$VEK_SITE/x", installed.box.path("inst") + "/share/local/x");
    expectValue("${VEK_SITE}", installed.box.path("inst") + "/share/local");
}

TEST(Interpolation, UnsetSiteStaysSilentlyWithoutARoot) {
    const Rootless rootless;
    expectUnchanged("$VEK_SITE/x");
    expectUnchanged("${VEK_SITE}");
}

TEST(Interpolation, UnsetSiteStaysSilentlyWhenNoRootIsRequired) {
    const Installed installed;
    cmnSetInstallRootRequired(0);
    expectUnchanged("$VEK_SITE/x");
}

// Flags.

TEST(Interpolation, FlagKeepsVariablesOnly) {
    const Installed installed;
    test::setEnvironment({{"HOME", "/h"}, {"VEK_SITE", "/s"}});
    expectValue("$HOME ${HOME} $VEK_SITE $VEK_INST_DIR $(compute:THIS_TOOL_INST_ROOT) ~",
                "$HOME ${HOME} $VEK_SITE $VEK_INST_DIR " + installed.box.path("inst") + " /h",
                {.flags = VEK_INTERP_KEEP_VARIABLES});
}

TEST(Interpolation, FlagKeepsHomesOnly) {
    const Installed installed;
    expectValue("$HOME ~/~root/$(compute:THIS_TOOL_INST_ROOT) ~",
                "/h ~/~root/" + installed.box.path("inst") + " ~", {.flags = VEK_INTERP_KEEP_HOMES});
}

TEST(Interpolation, FlagKeepsComputedValuesOnly) {
    const Installed installed;
    expectValue("$HOME $(compute:THIS_TOOL_INST_ROOT) ~", "/h $(compute:THIS_TOOL_INST_ROOT) /h",
                {.flags = VEK_INTERP_KEEP_COMPUTED});
}

TEST(Interpolation, FlagsCombine) {
    const Installed installed;
    expectUnchanged("$HOME ${HOME} $(compute:THIS_TOOL_INST_ROOT) ~/",
                    {.flags = VEK_INTERP_KEEP_VARIABLES | VEK_INTERP_KEEP_HOMES | VEK_INTERP_KEEP_COMPUTED});
}

TEST(Interpolation, KeptReferencesAreLookedUp) {
    const Rootless rootless;
    expectProblem("$NONE", "$NONE", VEK_INTERP_NOT_SET, 0, "environment variable 'NONE' not set",
                  {.flags = VEK_INTERP_KEEP_VARIABLES});
    expectProblem("~no-such-user", "~no-such-user", VEK_INTERP_UNKNOWN_USER, 0,
                  "'~no-such-user' can't be evaluated", {.flags = VEK_INTERP_KEEP_HOMES});
    expectProblem("$(compute:THIS_TOOL_INST_ROOT)", "$(compute:THIS_TOOL_INST_ROOT)", VEK_INTERP_NO_TOOL_ROOT,
                  0, "Can't find installation root", {.flags = VEK_INTERP_KEEP_COMPUTED});
}

// The length of a value.

TEST(Interpolation, ValueOf2047CharactersIsUsed) {
    const std::string value(2047, 'v');
    test::setEnvironment({{"LONG", value}, {"HOME", value}, {"VEK_SITE", value}});
    expectValue("a$LONG/b", "a" + value + "/b");
    expectValue("~/b", value + "/b");
    expectValue("${VEK_SITE}", value);
}

TEST(Interpolation, ValueOf2048CharactersIsAnError) {
    const Installed installed;
    const std::string value(2048, 'v');
    test::setEnvironment({{"LONG", value}, {"HOME", value}, {"VEK_SITE", value}, {"home", "/h"}});
    expectProblem("a$LONG/b", "a$LONG/b", VEK_INTERP_NOT_SET, 1, "environment variable 'LONG' not set");
    expectProblem("${VEK_SITE}", "${VEK_SITE}", VEK_INTERP_NOT_SET, 0,
                  "environment variable 'VEK_SITE' not set");
    // $home is not used instead of a $HOME that is too long.
    expectProblem("~/b", "~/b", VEK_INTERP_UNKNOWN_USER, 0, "'~' can't be evaluated");
    expectProblem("a/~", "a/~", VEK_INTERP_UNKNOWN_USER, 2, "'~' can't be evaluated");
    test::setEnvironment({{"home", value}});
    expectProblem("~/b", "~/b", VEK_INTERP_UNKNOWN_USER, 0, "'~' can't be evaluated",
                  {.flags = VEK_INTERP_KEEP_HOMES});
}

TEST(Interpolation, HugeValueCountsAsNotFound) {
    test::setEnvironment({{"HUGE", std::string(102400, 'v')}});
    expectProblem("$HUGE", "$HUGE", VEK_INTERP_NOT_SET, 0, "environment variable 'HUGE' not set");
}

/// Makes an installation whose root has exactly `length` characters. @return the root's path
std::string installationOfLength(test::Sandbox &box, std::size_t length) {
    std::string base = "d";
    while (box.path(base).size() + 300 < length) {
        base += "/" + std::string(100, 'd');
    }
    const std::size_t missing = length - box.path(base).size() - 2;
    const std::string root =
        base + "/" + std::string(missing / 2, 'x') + "/" + std::string(missing - missing / 2, 'y');
    test::makeInstallation(box, root);
    EXPECT_EQ(box.path(root).size(), length);
    return box.path(root);
}

TEST(Interpolation, InstallationRootOf2048CharactersIsAnError) {
    Rootless rootless;
    const std::string fits = installationOfLength(rootless.box, 2047) + "/f";
    expectValue("$(compute:THIS_FILE_INST_ROOT)", fits.substr(0, 2047), {.fileName = fits.c_str()});
    const std::string tooLong = installationOfLength(rootless.box, 2048) + "/f";
    expectProblem("$(compute:THIS_FILE_INST_ROOT)", "$(compute:THIS_FILE_INST_ROOT)",
                  VEK_INTERP_NO_ROOT_FOR_FILE, 0,
                  "$(compute:THIS_FILE_INST_ROOT) file '" + tooLong +
                      "' is not in an installation hierarchy \n    file:" + tooLong,
                  {.fileName = tooLong.c_str()});
}

TEST(Interpolation, RootWithAPathOf2048CharactersIsAnError) {
    Rootless rootless;
    const std::string root = installationOfLength(rootless.box, 2048);
    rootless.box.file(root.substr(rootless.box.path().size() + 1) + "/x", "");
    test::setEnvironment({{"PATH", root + "/tools/bin"}});
    expectProblem("$(inst_root_with:x)", "$(inst_root_with:x)", VEK_INTERP_NO_ROOT_FOR_FILE, 0,
                  "$(inst_root_with:x) not found");
}

/// A process of an installation whose root has `length` characters.
struct LongInstalled {
    test::Sandbox box;
    std::string root;
    explicit LongInstalled(std::size_t length) : root(installationOfLength(box, length)) {
        const std::string application = root + "/tools/bin/app";
        box.file(application.substr(box.path().size() + 1), "", 0755);
        test::setEnvironment({{"PATH", root + "/tools/bin"}, {"HOME", "/h"}});
        vekInitNonVEKApp(application.c_str());
    }
};

TEST(Interpolation, ToolsRootOf2047CharactersIsUsed) {
    const LongInstalled installed(2047);
    expectValue("$VEK_INST_DIR", installed.root);
    expectValue("$(compute:THIS_TOOL_INST_ROOT)", installed.root);
}

TEST(Interpolation, ToolsRootOf2048CharactersIsAnError) {
    const LongInstalled installed(2048);
    expectProblem("x$VEK_INST_DIR", "x$VEK_INST_DIR", VEK_INTERP_NOT_SET, 1,
                  "environment variable 'VEK_INST_DIR' not set");
    expectProblem("$(compute:THIS_TOOL_INST_ROOT)", "$(compute:THIS_TOOL_INST_ROOT)", VEK_INTERP_NO_TOOL_ROOT,
                  0, "Can't find installation root");
}

TEST(Interpolation, SiteBelowTheToolsRootHas2047CharactersAtMost) {
    const LongInstalled installed(2047 - std::string_view("/share/local").size());
    expectValue("$VEK_SITE", installed.root + "/share/local");
}

TEST(Interpolation, SiteFallbackOf2048CharactersIsAnError) {
    const LongInstalled installed(2048 - std::string_view("/share/local").size());
    expectProblem("$VEK_SITE", "$VEK_SITE", VEK_INTERP_NOT_SET, 0, "environment variable 'VEK_SITE' not set");
    expectProblem("${VEK_SITE}/x", "${VEK_SITE}/x", VEK_INTERP_NOT_SET, 0,
                  "environment variable 'VEK_SITE' not set", {.flags = VEK_INTERP_KEEP_VARIABLES});
    expectValue("$VEK_INST_DIR", installed.root);
}

// The handler of one reference.

TEST(Interpolation, HandlerReportsACharacterThatBeginsNoReference) {
    test::Capture capture;
    vekInterpArgs args = {};
    vek::InterpValue value;
    vek::InterpClosings closings;
    const vek::InterpReference reference = vek::evaluateReference("abc", 1, closings, args, value);
    EXPECT_EQ(reference.length, 1U);
    EXPECT_EQ(reference.result, "b");
    EXPECT_FALSE(reference.replaced);
    const std::string err = capture.err();
    EXPECT_EQ(err.rfind("ASSERT FALURE: vekInterp ", 0), 0U) << err;
    const std::string rest = err.substr(std::string("ASSERT FALURE: vekInterp ").size());
    EXPECT_EQ(rest.substr(rest.find_first_not_of("0123456789")), " sGetRefValue but not $ or ~\n");
    EXPECT_NE(rest.find_first_not_of("0123456789"), 0U);
}

TEST(Interpolation, ReferencesFindTheirOwnClosingCharacters) {
    test::setEnvironment({{"A", "a"}, {"B", "b"}});
    expectValue("${A})${B}}${A}${B}", "a)b}ab");
    const Interpolated result = interpolate("${x${A}y}${B}$(x$(y)${A}z)${B");
    EXPECT_EQ(result.out, "${xay}b$(x$(y)az)${B");
    EXPECT_EQ(result.code, VEK_INTERP_BADLY_FORMED);
}

TEST(Interpolation, NamesLongerThanAPathAreLookedUp) {
    const std::string name(5000, 'N');
    test::setEnvironment({{name, "value"}});
    expectValue("a$" + name + "/b", "avalue/b");
    expectValue("${" + name + "}", "value");
    expectProblem("$" + name + "N", "$" + name + "N", VEK_INTERP_NOT_SET, 0,
                  "environment variable '" + name + "N' not set");
    expectProblem("~" + name, "~" + name, VEK_INTERP_UNKNOWN_USER, 0, "'~" + name + "' can't be evaluated");
}

TEST(Interpolation, ExhaustedMemoryForANameIsAnError) {
    const std::string name(5000, 'N');
    test::setEnvironment({{name, "value"}});
    for (const std::string &text : {"$" + name, "~" + name, "$(inst_root_with:" + name + ")"}) {
        test::faults::failAllocation(2); // the first is for the text
        expectProblem(text, text, VEK_INTERP_OUT_TOO_SMALL, 0, "out buffer too small");
        test::faults::reset();
    }
}

TEST(Interpolation, InputIsLeftAsItWas) {
    test::setEnvironment({{"A", "a"}});
    const char *const text = "$A/${A}/~no-such-user/$(inst_root_with:x)";
    std::string in = text;
    std::array<char, 100> out = {};
    vekInterpolate(in.data(), out.data(), out.size(), nullptr, 0);
    EXPECT_EQ(in, text);
}
