// Codes and texts of the library layer, and its handlers.

#include "libdef/registry/ryni_error.h"

#include "tests/libdef/libdef_support.h"
#include "tests/support/capture.h"

#include <climits>
#include <gtest/gtest.h>
#include <string>

using test::Capture;
using test::ErrorReports;
using test::recorded;

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
    EXPECT_EQ(code, RYN_INVALID_ERROR_NUMBER + 1);
}

TEST(RynError, CodesOutsideTheTableAreInvalid) {
    for (const int code : {int{RYN_INVALID_ERROR_NUMBER}, 38, 1000, -1, INT_MAX, INT_MIN}) {
        EXPECT_STREQ(rynGetErrorMsg(code), "Invalid error number") << code;
    }
    EXPECT_STREQ(rynGetErrorMsg(RYN_NOT_FOR_PACKED), "Operation not supported for packed libraries");
}

TEST(RynError, NamesHaveTheDocumentedNumbers) {
    EXPECT_EQ(RYN_SYNTAX_ERROR, 16);
    EXPECT_EQ(RYN_INVALID_PARAMETER, 22);
    EXPECT_EQ(RYN_REDEFINED, 31);
    EXPECT_EQ(RYN_INVALID_ERROR_NUMBER, 37);
}

// ---- the last error

TEST(RynError, LastErrorIsZeroUntilItIsSet) {
    EXPECT_EQ(ryni_getLastErr(), RYN_OK);
    ryni_setLastErr(RYN_REDEFINED);
    EXPECT_EQ(ryni_getLastErr(), RYN_REDEFINED);
    ryni_setLastErr(RYN_OK);
    EXPECT_EQ(ryni_getLastErr(), RYN_OK);
}

// ---- fatal reports

TEST(RynError, FatalReportIsPrintedWithoutAHandler) {
    Capture capture;
    EXPECT_EQ(ryni_do_fatal(nullptr, RYN_INVALID_PARAMETER, "rynQuery()"), RYN_INVALID_PARAMETER);
    EXPECT_EQ(ryni_do_fatal(nullptr, 1000, "100%s"), 1000);
    EXPECT_EQ(ryni_do_fatal(nullptr, RYN_SYSTEM_ERROR, nullptr), RYN_SYSTEM_ERROR);
    EXPECT_EQ(capture.err(), "*ERROR* - RYN internal error - Invalid Parameter - rynQuery()\n"
                             "*ERROR* - RYN internal error - Invalid error number - 100%s\n"
                             "*ERROR* - RYN internal error - System error - (null)\n");
    EXPECT_EQ(capture.out(), "");
}

TEST(RynError, RegistryWithoutAHandlerUsesTheProcessWideOne) {
    Capture capture;
    rynRegistry registry = {};
    EXPECT_EQ(ryni_do_fatal(&registry, RYN_INTERNAL_ERROR, "before"), RYN_INTERNAL_ERROR);
    ryn::setFirstFatalHandler(test::recordFatal);

    EXPECT_EQ(ryni_do_fatal(&registry, RYN_MEMORY_ERROR, "with"), RYN_MEMORY_ERROR);
    EXPECT_EQ(ryni_do_fatal(nullptr, RYN_SYSTEM_ERROR, "without"), RYN_SYSTEM_ERROR);

    EXPECT_EQ(recorded.fatals,
              (ErrorReports{{RYN_MEMORY_ERROR, "with", "with"}, {RYN_SYSTEM_ERROR, "without", "without"}}));
    EXPECT_EQ(capture.err(), "*ERROR* - RYN internal error - Internal error - before\n");
}

TEST(RynError, HandlerOfTheRegistryComesFirst) {
    Capture capture;
    rynRegistry registry = {};
    registry.fatalHandler = secondFatal;
    ryn::setFirstFatalHandler(test::recordFatal);

    EXPECT_EQ(ryni_do_fatal(&registry, RYN_NO_SUCH_DIRECTORY, "text"), RYN_NO_SUCH_DIRECTORY);
    EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_NO_SUCH_DIRECTORY, "second", "second"}}));
    EXPECT_EQ(capture.err(), "");
}

TEST(RynError, FirstProcessWideHandlerIsKept) {
    ryn::setFirstFatalHandler(nullptr);
    ryn::setFirstFatalHandler(test::recordFatal);
    ryn::setFirstFatalHandler(secondFatal);
    ryni_do_fatal(nullptr, RYN_LIBRARY_NOT_DEFINED, "text");
    EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_LIBRARY_NOT_DEFINED, "text", "text"}}));
}

// ---- errors

TEST(RynError, ErrorIsPrintedWithoutAHandler) {
    Capture capture;
    rynRegistry registry = {};
    EXPECT_EQ(ryni_do_error(nullptr, RYN_INVALID_PATH, "/no/such"), RYN_INVALID_PATH);
    EXPECT_EQ(ryni_do_error(&registry, RYN_MEMORY_ERROR, "%n"), RYN_MEMORY_ERROR);
    EXPECT_EQ(ryni_do_error(&registry, -1, nullptr), -1);
    EXPECT_EQ(capture.err(), "RYN  error: Invalid path \"/no/such\"\n"
                             "RYN  error: Memory error \"%n\"\n"
                             "RYN  error: Invalid error number \"(null)\"\n");
}

TEST(RynError, ErrorHandlerGetsTheTextTwice) {
    Capture capture;
    rynRegistry registry = {};
    registry.errorHandler = test::recordError;
    EXPECT_EQ(ryni_do_error(&registry, RYN_INVALID_PATH, "/no/such"), RYN_INVALID_PATH);
    EXPECT_EQ(recorded.errors, (ErrorReports{{RYN_INVALID_PATH, "/no/such", "/no/such"}}));
    EXPECT_EQ(capture.err(), "");
}

// ---- warning handlers

TEST(RynError, DefaultWarningHandlerPrintsStoresTheCodeAndReturnsZero) {
    Capture capture;
    EXPECT_EQ(ryn::printWarning(RYN_SYNTAX_ERROR, "FOO x", "/p/vek.lib", 3), 0);
    EXPECT_EQ(ryni_getLastErr(), RYN_SYNTAX_ERROR);
    EXPECT_EQ(capture.err(), "Error at line 3 of /p/vek.lib for FOO x:\n\tSyntax error\n");
    EXPECT_EQ(capture.out(), "");
}

TEST(RynError, DefaultWarningHandlerStoresTheLastNonZeroCode) {
    Capture capture;
    ryn::printWarning(RYN_SYNTAX_ERROR, "a", "f", 1);
    ryn::printWarning(RYN_LIBRARY_NOT_DEFINED, "b", "f", 2);
    ryn::printWarning(0, "c", "f", -1);
    EXPECT_EQ(ryni_getLastErr(), RYN_LIBRARY_NOT_DEFINED);
    EXPECT_EQ(capture.err(), "Error at line 1 of f for a:\n\tSyntax error\n"
                             "Error at line 2 of f for b:\n\tLibrary not defined\n"
                             "Error at line -1 of f for c:\n\tNo error\n");
}

TEST(RynError, DefaultWarningHandlerPrintsNullForAbsentTexts) {
    Capture capture;
    ryn::printWarning(RYN_DIRECTORY_REUSED, nullptr, nullptr, 0);
    EXPECT_EQ(capture.err(), "Error at line 0 of (null) for (null):\n\tDirectory used multiple times\n");
}

TEST(RynError, DefaultWarningHandlerPrintsObjectsOfAnyLength) {
    Capture capture;
    const std::string object(100000, '%');
    ryn::printWarning(RYN_SYNTAX_ERROR, object.c_str(), "f", 1);
    EXPECT_EQ(capture.err(), "Error at line 1 of f for " + object + ":\n\tSyntax error\n");
}

TEST(RynError, SilentWarningHandlerReturnsTheCode) {
    Capture capture;
    EXPECT_EQ(ryn::silentWarning(RYN_SYNTAX_ERROR, "x", "f", 1), RYN_SYNTAX_ERROR);
    EXPECT_EQ(ryn::silentWarning(0, nullptr, nullptr, 0), 0);
    EXPECT_EQ(ryni_getLastErr(), RYN_OK);
    EXPECT_EQ(capture.err(), "");
}

TEST(RynError, DefaultWarningHandlerSetsItsFlagForTheWholeProcess) {
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

TEST(RynError, LayerHasAVersionString) {
    const std::string ident = ryniIdentString;
    EXPECT_TRUE(ident.starts_with("@(#)$VEK: RYN version 06.01 09/07/2006 03:05")) << ident;
    EXPECT_TRUE(ident.ends_with(") $")) << ident;
    EXPECT_NE(ident.find('('), ident.rfind('(')) << ident;
}

} // namespace
