// Codes and texts of the library layer, and the ways its reports take.

#include "libdef/registry/ryni_error.h"

#include "tests/libdef/libdef_support.h"
#include "tests/support/capture.h"

#include <climits>
#include <gtest/gtest.h>
#include <string>

using test::Capture;
using test::recorded;
using test::Reports;

namespace {

int secondFatal(int code, const char * /*text*/, const char * /*sameText*/) {
    test::recorded.fatals.push_back({code, "second", "second"});
    return 99;
}

// ---- codes

TEST(RynError, EveryCodeHasItsText) {
    const char *const texts[] = {
        "No error",
        "Internal error",
        "Memory error",
        "System error",
        "No such directory",
        "Library not defined",
        "No such cell",
        "No such view",
        "No such file",
        "Attribute not assigned",
        "File not included",
        "Permission denied",
        "Permission denied on library",
        "Permission denied on cell",
        "Permission denied on view",
        "Permission denied on file",
        "Syntax error",
        "Directory used multiple times",
        "VEK.LIB file included multiple times",
        "Invalid attribute",
        "Invalid path",
        "Invalid environment variable",
        "Invalid Parameter",
        "Return buffer to small",
        "Meta-data file exists",
        "Meta-data file is locked",
        "Incorrect iteration context type",
        "Iteration complete",
        "Library doesn't have a VEKLIBRARY entry in its vekinfo.tag file",
        "Libraries differ only by case",
        "Same file has different definitions for library",
        "Library redefined",
        "VEK.LIB file not found",
        "No VEK.LIB file line number for given command",
        "Library not defined in given VEK.LIB file",
        "Unable to lock a file",
        "Operation not supported for packed libraries",
        "Invalid error number",
    };
    int code = 0;
    for (const char *text : texts) {
        EXPECT_STREQ(rynGetErrorMsg(code), text) << code;
        ++code;
    }
    EXPECT_EQ(code, 38);
}

TEST(RynError, CodesBeyondTheTableAreInvalid) {
    for (const int code : {37, 38, 1000, -1, INT_MAX, INT_MIN}) {
        EXPECT_STREQ(rynGetErrorMsg(code), "Invalid error number") << code;
    }
    EXPECT_STREQ(rynGetErrorMsg(36), "Operation not supported for packed libraries");
}

TEST(RynError, TheNamesStandForTheirCodes) {
    EXPECT_EQ(RYN_SYNTAX_ERROR, 16);
    EXPECT_EQ(RYN_INVALID_PARAMETER, 22);
    EXPECT_EQ(RYN_REDEFINED, 31);
    EXPECT_EQ(RYN_INVALID_ERROR_NUMBER, 37);
}

// ---- the last error

TEST(RynError, TheLastErrorIsInitiallyNoneAndIsWhatWasSet) {
    EXPECT_EQ(ryni_getLastErr(), 0);
    ryni_setLastErr(31);
    EXPECT_EQ(ryni_getLastErr(), 31);
    ryni_setLastErr(0);
    EXPECT_EQ(ryni_getLastErr(), 0);
}

// ---- fatal reports

TEST(RynError, WithoutAHandlerAFatalReportGoesToStandardError) {
    Capture capture;
    EXPECT_EQ(ryni_do_fatal(nullptr, 22, "rynQuery()"), 22);
    EXPECT_EQ(ryni_do_fatal(nullptr, 1000, "100%s"), 1000);
    EXPECT_EQ(ryni_do_fatal(nullptr, 3, nullptr), 3);
    EXPECT_EQ(capture.err(), "*ERROR* - RYN internal error - Invalid Parameter - rynQuery()\n"
                             "*ERROR* - RYN internal error - Invalid error number - 100%s\n"
                             "*ERROR* - RYN internal error - System error - (null)\n");
    EXPECT_EQ(capture.out(), "");
}

TEST(RynError, ARegistryWithoutAHandlerOfItsOwnUsesTheProcessWideOne) {
    Capture capture;
    rynRegistry registry = {};
    EXPECT_EQ(ryni_do_fatal(&registry, 1, "before"), 1);
    ryn::setFirstFatalHandler(test::recordFatal);

    EXPECT_EQ(ryni_do_fatal(&registry, 2, "with"), 2);
    EXPECT_EQ(ryni_do_fatal(nullptr, 3, "without"), 3);

    EXPECT_EQ(recorded.fatals, (Reports{{2, "with", "with"}, {3, "without", "without"}}));
    EXPECT_EQ(capture.err(), "*ERROR* - RYN internal error - Internal error - before\n");
}

TEST(RynError, ARegistrysOwnHandlerComesFirst) {
    Capture capture;
    rynRegistry registry = {};
    registry.fatalHandler = secondFatal;
    ryn::setFirstFatalHandler(test::recordFatal);

    EXPECT_EQ(ryni_do_fatal(&registry, 4, "text"), 4);
    EXPECT_EQ(recorded.fatals, (Reports{{4, "second", "second"}}));
    EXPECT_EQ(capture.err(), "");
}

TEST(RynError, TheFirstProcessWideHandlerStays) {
    ryn::setFirstFatalHandler(nullptr);
    ryn::setFirstFatalHandler(test::recordFatal);
    ryn::setFirstFatalHandler(secondFatal);
    ryni_do_fatal(nullptr, 5, "text");
    EXPECT_EQ(recorded.fatals, (Reports{{5, "text", "text"}}));
}

// ---- errors

TEST(RynError, WithoutAHandlerAnErrorGoesToStandardError) {
    Capture capture;
    rynRegistry registry = {};
    EXPECT_EQ(ryni_do_error(nullptr, 20, "/no/such"), 20);
    EXPECT_EQ(ryni_do_error(&registry, 2, "%n"), 2);
    EXPECT_EQ(ryni_do_error(&registry, -1, nullptr), -1);
    EXPECT_EQ(capture.err(), "RYN  error: Invalid path \"/no/such\"\n"
                             "RYN  error: Memory error \"%n\"\n"
                             "RYN  error: Invalid error number \"(null)\"\n");
}

TEST(RynError, ARegistrysErrorHandlerGetsTheTextTwice) {
    Capture capture;
    rynRegistry registry = {};
    registry.errorHandler = test::recordError;
    EXPECT_EQ(ryni_do_error(&registry, 20, "/no/such"), 20);
    EXPECT_EQ(recorded.errors, (Reports{{20, "/no/such", "/no/such"}}));
    EXPECT_EQ(capture.err(), "");
}

// ---- warning handlers

TEST(RynError, TheDefaultWarningHandlerPrintsKeepsTheCodeAndLetsReadingGoOn) {
    Capture capture;
    EXPECT_EQ(ryn::printWarning(16, "FOO x", "/p/vek.lib", 3), 0);
    EXPECT_EQ(ryni_getLastErr(), 16);
    EXPECT_EQ(capture.err(), "Error at line 3 of /p/vek.lib for FOO x:\n\tSyntax error\n");
    EXPECT_EQ(capture.out(), "");
}

TEST(RynError, TheDefaultWarningHandlerKeepsTheLastNonZeroCode) {
    Capture capture;
    ryn::printWarning(16, "a", "f", 1);
    ryn::printWarning(5, "b", "f", 2);
    ryn::printWarning(0, "c", "f", -1);
    EXPECT_EQ(ryni_getLastErr(), 5);
    EXPECT_EQ(capture.err(), "Error at line 1 of f for a:\n\tSyntax error\n"
                             "Error at line 2 of f for b:\n\tLibrary not defined\n"
                             "Error at line -1 of f for c:\n\tNo error\n");
}

TEST(RynError, TheDefaultWarningHandlerShowsAbsentTextsAsNull) {
    Capture capture;
    ryn::printWarning(17, nullptr, nullptr, 0);
    EXPECT_EQ(capture.err(), "Error at line 0 of (null) for (null):\n\tDirectory used multiple times\n");
}

TEST(RynError, TheDefaultWarningHandlerNeverCutsAnObject) {
    Capture capture;
    const std::string object(100000, '%');
    ryn::printWarning(16, object.c_str(), "f", 1);
    EXPECT_EQ(capture.err(), "Error at line 1 of f for " + object + ":\n\tSyntax error\n");
}

TEST(RynError, TheSilentWarningHandlerGivesTheCodeBack) {
    Capture capture;
    EXPECT_EQ(ryn::silentWarning(16, "x", "f", 1), 16);
    EXPECT_EQ(ryn::silentWarning(0, nullptr, nullptr, 0), 0);
    EXPECT_EQ(ryni_getLastErr(), 0);
    EXPECT_EQ(capture.err(), "");
}

TEST(RynError, OnlyARegistryWithTheDefaultWarningHandlerSetsTheFlagAndItStays) {
    test::Definitions definitions;
    EXPECT_EQ(ryni_useDefaultWarn(), 0);
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &definitions.handle), 0);
    EXPECT_EQ(ryni_useDefaultWarn(), 0);
    definitions.release();

    ASSERT_EQ(rynInit(nullptr, 0, nullptr, nullptr, &definitions.handle), 0);
    EXPECT_EQ(ryni_useDefaultWarn(), 1);
    definitions.release();
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &definitions.handle), 0);
    EXPECT_EQ(ryni_useDefaultWarn(), 1);
}

// ---- version

TEST(RynError, TheLayerCarriesItsVersion) {
    const std::string ident = ryniIdentString;
    EXPECT_TRUE(ident.starts_with("@(#)$VEK: RYN version 06.01 09/07/2006 03:05")) << ident;
    EXPECT_TRUE(ident.ends_with(") $")) << ident;
    EXPECT_NE(ident.find('('), ident.rfind('(')) << ident;
}

} // namespace
