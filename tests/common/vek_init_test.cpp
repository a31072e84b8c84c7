#include "common/platform/vek_init.h"

#include "common/platform/vek_install_root.h"
#include "common/platform/veki_init.h"
#include "tests/support/c_list.h"
#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/environment.h"
#include "tests/support/sandbox.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

int initAs(std::string name) {
    int argc = 1;
    char *argv[] = {name.data(), nullptr};
    return vekInit(&argc, argv);
}

TEST(StartUp, IsNotDoneBeforeInitialization) {
    EXPECT_EQ(0, vekInitDone());
    EXPECT_STREQ("", vekiExecutableName);
    EXPECT_EQ(nullptr, vekiRootPath);
    EXPECT_EQ(1, cmnGetInstallRootRequired());
}

TEST(StartUp, KeepsTheNameIn4097Bytes) {
    EXPECT_EQ(4097U, sizeof vekiExecutableName);
}

TEST(VekInit, StoresArgument0) {
    EXPECT_EQ(0, initAs("bin/vekinfo"));
    EXPECT_EQ(1, vekInitDone());
    EXPECT_STREQ("bin/vekinfo", vekiExecutableName);
    EXPECT_EQ(1, cmnGetInstallRootRequired());
}

TEST(VekInit, NeitherReadsNorChangesTheCount) {
    int argc = -5;
    char name[] = "tool";
    char *argv[] = {name, nullptr};
    EXPECT_EQ(0, vekInit(&argc, argv));
    EXPECT_EQ(-5, argc);
    EXPECT_STREQ("tool", vekiExecutableName);
}

TEST(VekInit, AcceptsANullCount) {
    char name[] = "tool";
    char *argv[] = {name, nullptr};
    EXPECT_EQ(0, vekInit(nullptr, argv));
    EXPECT_STREQ("tool", vekiExecutableName);
}

TEST(VekInit, ChangesNothingTheSecondTime) {
    initAs("first");
    cmnSetInstallRootRequired(0);

    EXPECT_EQ(0, initAs("second"));
    EXPECT_STREQ("first", vekiExecutableName);
    EXPECT_EQ(0, vekInitNonVEKApp("third"));
    EXPECT_STREQ("first", vekiExecutableName);
    EXPECT_EQ(0, cmnGetInstallRootRequired());
    EXPECT_EQ(1, vekInitDone());
}

TEST(VekInit, StoresTheEmptyNameForANullVector) {
    EXPECT_EQ(0, vekInit(nullptr, nullptr));
    EXPECT_STREQ("", vekiExecutableName);
    EXPECT_EQ(1, vekInitDone());
}

TEST(VekInit, StoresTheEmptyNameForAVectorWithoutArguments) {
    char *argv[] = {nullptr};
    EXPECT_EQ(0, vekInit(nullptr, argv));
    EXPECT_STREQ("", vekiExecutableName);
    EXPECT_EQ(1, vekInitDone());
}

TEST(VekInit, EmptyArgument0HasNoInstallation) {
    test::setEnvironment({{"PATH", "/bin"}});
    EXPECT_EQ(0, initAs(""));
    EXPECT_STREQ("", vekiExecutableName);
    EXPECT_EQ(1, vekInitDone());

    test::Capture capture;
    EXPECT_EQ(0, vekIsTolvaneHier());
    EXPECT_EQ("", capture.err());
}

class VekInitLength : public testing::TestWithParam<std::size_t> {};

TEST_P(VekInitLength, StoresAtMost4096CharactersOfTheName) {
    std::string name(GetParam(), 'n');
    name.back() = 'z';
    EXPECT_EQ(0, initAs(name));
    EXPECT_EQ(name.substr(0, 4096), vekiExecutableName);
}

INSTANTIATE_TEST_SUITE_P(Boundary, VekInitLength, testing::Values(4095, 4096, 4097, 5000, 100'000));

TEST(VekInitNonVEKApp, StoresTheGivenName) {
    cmnNoInstallRootRequired();
    EXPECT_EQ(0, vekInitNonVEKApp("/opt/app"));
    EXPECT_STREQ("/opt/app", vekiExecutableName);
    EXPECT_EQ(1, vekInitDone());
    EXPECT_EQ(1, cmnGetInstallRootRequired());
}

TEST(VekInitNonVEKApp, StoresTheEmptyNameForNull) {
    EXPECT_EQ(0, vekInitNonVEKApp(nullptr));
    EXPECT_STREQ("", vekiExecutableName);
    EXPECT_EQ(1, vekInitDone());
}

TEST(VekInitNonVEKApp, StoresAtMost4096CharactersOfTheName) {
    EXPECT_EQ(0, vekInitNonVEKApp(std::string(5000, 'x').c_str()));
    EXPECT_EQ(std::string(4096, 'x'), vekiExecutableName);
}

TEST(InstallRootRequired, InitializationSetsTheFlagAgain) {
    cmnNoInstallRootRequired();
    EXPECT_EQ(0, cmnGetInstallRootRequired());
    initAs("tool");
    EXPECT_EQ(1, cmnGetInstallRootRequired());
}

TEST(InstallRootRequired, CannotBeClearedAfterInitialization) {
    initAs("tool");
    cmnNoInstallRootRequired();
    EXPECT_EQ(1, cmnGetInstallRootRequired());
}

TEST(InstallRootRequired, IsSetAtAnyTime) {
    cmnSetInstallRootRequired(0);
    EXPECT_EQ(0, cmnGetInstallRootRequired());
    initAs("tool");
    EXPECT_EQ(1, cmnGetInstallRootRequired());
    cmnSetInstallRootRequired(0);
    EXPECT_EQ(0, cmnGetInstallRootRequired());
    cmnSetInstallRootRequired(7);
    EXPECT_EQ(7, cmnGetInstallRootRequired());
}

TEST(VekPlat, IsTheConstantPlatformName) {
    EXPECT_STREQ("lnx86", vekPlat());
    EXPECT_EQ(vekPlat(), vekPlat());
}

constexpr const char *Version = "@(#)$VEK: vekinfo version 06.01 (x) $";

/// Handles `arguments` in a child, which ends with status 7 if vekProcMinusVersionArg() returns.
test::Outcome outcomeOfArguments(const std::vector<std::string> &arguments) {
    return test::inChild([&] {
        test::CList argv(arguments);
        vekProcMinusVersionArg(static_cast<int>(arguments.size()), argv, Version);
        return 7;
    });
}

TEST(VekProcMinusVersionArg, PrintsTheBannerAndEndsTheProcess) {
    const test::Outcome outcome = outcomeOfArguments({"tool", "-v", "-version", "-x"});
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("TOOL:\tvekinfo\tversion\n", outcome.out);
    EXPECT_EQ("", outcome.err);
}

TEST(VekProcMinusVersionArg, IgnoresArgumentsAfterTheFirstMatch) {
    // A vector whose later arguments cannot be read
    const test::Outcome outcome = test::inChild([] {
        char tool[] = "tool";
        char option[] = "-version";
        char *argv[] = {tool, option, reinterpret_cast<char *>(1)};
        vekProcMinusVersionArg(3, argv, Version);
        return 7;
    });
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("TOOL:\tvekinfo\tversion\n", outcome.out);
}

TEST(VekProcMinusVersionArg, MatchesTheWholeWordOnly) {
    const test::Outcome outcome =
        outcomeOfArguments({"tool", "-versions", "-Version", "version", "-versio", "", "--version"});
    EXPECT_EQ(7, outcome.status);
    EXPECT_EQ("", outcome.out);
}

TEST(VekProcMinusVersionArg, StartsAfterArgument0) {
    EXPECT_EQ(7, outcomeOfArguments({"-version"}).status);
    EXPECT_EQ(0, outcomeOfArguments({"-version", "-version"}).status);
}

TEST(VekProcMinusVersionArg, ReturnsWithoutArguments) {
    test::Capture capture;
    vekProcMinusVersionArg(1, nullptr, Version);
    vekProcMinusVersionArg(0, nullptr, Version);
    vekProcMinusVersionArg(-3, nullptr, Version);
    EXPECT_EQ("", capture.out());
}

TEST(VekProcMinusVersionArg, PrintsThatThereIsNoVersion) {
    const test::Outcome outcome = test::inChild([] {
        char tool[] = "tool";
        char option[] = "-version";
        char *argv[] = {tool, option, nullptr};
        vekProcMinusVersionArg(2, argv, nullptr);
        return 7;
    });
    EXPECT_EQ(0, outcome.status);
    EXPECT_EQ("No Version string\n", outcome.out);
}

std::string bannerOf(const char *versionString) {
    test::Capture capture;
    vekiPrintVersion(versionString);
    return capture.out();
}

TEST(VekiPrintVersion, PrintsTheSecondAndThirdWord) {
    EXPECT_EQ("TOOL:\tvekinfo\tversion\n", bannerOf(Version));
    EXPECT_EQ("TOOL:\tb\tc\n", bannerOf(" \t\n a \v b\t\fc \rd e"));
    EXPECT_EQ("TOOL:\tVEKCOMMON\tversion\n", bannerOf(vekIdentString));
}

TEST(VekiPrintVersion, PrintsThatThereIsNoVersion) {
    EXPECT_EQ("No Version string\n", bannerOf(nullptr));
}

TEST(VekiPrintVersion, EndsEachWordAtTheEndOfTheString) {
    EXPECT_EQ("TOOL:\tb\tc\n", bannerOf("a b c"));
    EXPECT_EQ("TOOL:\tb\t\n", bannerOf("a b"));
    EXPECT_EQ("TOOL:\t\t\n", bannerOf("a"));
    EXPECT_EQ("TOOL:\t\t\n", bannerOf(" "));
    EXPECT_EQ("TOOL:\t\t\n", bannerOf(""));
}

TEST(VekiPrintVersion, DoesNotUseAWordAsAFormat) {
    EXPECT_EQ("TOOL:\t%s%n\t%d\n", bannerOf("a %s%n %d b"));
}

TEST(VekiPrintVersion, PrintsWordsOfAnyLength) {
    for (const std::size_t length : {4094U, 4095U, 4096U, 4097U, 100'000U}) {
        const std::string word(length, 'w');
        EXPECT_EQ("TOOL:\t" + word + "\t" + word + "\n", bannerOf(("m " + word + " " + word + " $").c_str()));
    }
}

const std::string IdentBegin = "@(#)$VEK: VEKCOMMON version 06.01 09/07/2006 03:04 (";

TEST(VekIdentString, IsAWhatStringWithABuildTag) {
    const std::string ident = vekIdentString;
    ASSERT_EQ(0U, ident.find(IdentBegin));
    const std::string rest = ident.substr(IdentBegin.size());
    ASSERT_GE(rest.size(), 4U);
    EXPECT_EQ(") $", rest.substr(rest.size() - 3));
    EXPECT_EQ(rest.size() - 3, rest.find(')'));
}

TEST(VekIdentString, IsLinkedIntoEveryProgram) {
    // A program that only initializes the library, linked without unreferenced sections
    std::ifstream program(VEK_IDENT_PROGRAM, std::ios::binary);
    ASSERT_TRUE(program.is_open());
    const std::string bytes((std::istreambuf_iterator<char>(program)), std::istreambuf_iterator<char>());
    EXPECT_NE(std::string::npos, bytes.find(IdentBegin));
}

} // namespace
