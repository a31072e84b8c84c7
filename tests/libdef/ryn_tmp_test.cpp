#include "libdef/access/ryni_tmp.h"

#include "libdef/language/ryni_parse.h"
#include "libdef/paths/ryni_library_reuse.h"
#include "libdef/paths/ryni_quick_access.h"
#include "libdef/registry/ryni_attributes.h"
#include "libdef/registry/ryni_owned_text.h"
#include "tests/libdef/path_support.h"
#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace faults = test::faults;
using test::Diagnostics;
using test::ErrorReports;
using test::recorded;

namespace {

std::string textOf(const char *text) {
    return text == nullptr ? "-" : text;
}

mode_t modeOf(const std::string &path) {
    struct stat status = {};
    EXPECT_EQ(0, stat(path.c_str(), &status)) << path;
    return status.st_mode & 07777;
}

class TmpTest : public test::PathTest {
  protected:
    void SetUp() override {
        umask(022);
        PathTest::SetUp();
    }

    /// The two implicit paths of a library, with "-" for null.
    std::string implicitOf(const char *name) const {
        const rynLibrary *library = definitions.library(name);
        return library == nullptr ? "no library"
                                  : textOf(library->implicitTmp) + " " + textOf(library->implicitTmpNsl);
    }
    /// The two explicit paths, after "global" if they come from the global root.
    std::string explicitOf(const char *name) const {
        const rynLibrary *library = definitions.library(name);
        if (library == nullptr) {
            return "no library";
        }
        const bool fromGlobal = (library->flags & ryn::kTmpFromGlobal) != 0;
        return (fromGlobal ? "global " : "") + textOf(library->explicitTmp) + " " +
               textOf(library->explicitTmpNsl);
    }
    /// explicitOf() for a directory without links.
    std::string own(const std::string &relative) const { return at(relative) + " " + at(relative); }
    std::string global(const std::string &relative) const { return "global " + own(relative); }

    int setImplicit(const char *directory, unsigned flags, rynErrorHandler handler = test::recordError) {
        return rynSetImplicitTmp(definitions.handle, directory, flags, handler);
    }
    unsigned implicitFlags() const {
        unsigned flags = 12345;
        EXPECT_EQ(RYN_OK, rynGetImplicitTmpFlags(definitions.handle, &flags));
        return flags;
    }
    void expectNoImplicit() const {
        EXPECT_EQ(0U, implicitFlags());
        EXPECT_EQ(nullptr, definitions.handle->implicitTmpDirectory);
        const rynLibrary *library = definitions.handle->libraries.head;
        for (; library != nullptr; library = library->nextInOrder) {
            EXPECT_EQ("- -", implicitOf(library->name)) << library->name;
        }
    }

    static const Diagnostics kNone;
    static constexpr const char *kNoPaths = "- -";
};
const Diagnostics TmpTest::kNone;

class ImplicitTmp : public TmpTest {};
class GlobalTmp : public TmpTest {};

constexpr const char *kTwoLibraries = "DEFINE a lib/a\nDEFINE b lib/b\n";

} // namespace

// ---- the implicit temporary directory

TEST_F(ImplicitTmp, SetsADirectoryForEveryLibrary) {
    box.directory("real").link("t", "real");
    ASSERT_EQ(RYN_OK, definitions.load(kTwoLibraries));
    EXPECT_EQ(kNoPaths, implicitOf("a"));
    EXPECT_EQ(RYN_OK, setImplicit("t", 1));
    EXPECT_EQ(at("t/a") + " " + at("real/a"), implicitOf("a"));
    EXPECT_EQ(at("t/b") + " " + at("real/b"), implicitOf("b"));
    EXPECT_STREQ("t", definitions.handle->implicitTmpDirectory);
    EXPECT_TRUE(box.list("real").empty()) << "nothing is made on disk";
    EXPECT_TRUE(recorded.errors.empty());
    EXPECT_EQ(kNoPaths, explicitOf("a"));
}

TEST_F(ImplicitTmp, IsShownInTheDump) {
    box.directory("real").link("t", "real");
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE a lib/a\n"));
    setImplicit("t", 1);
    EXPECT_NE(std::string::npos,
              definitions.dump().find("  Defined at " + at("vek.lib") +
                                      " line 1\n"
                                      "  IMPLICIT  at " +
                                      at("t/a") + "\n           (" + at("real/a") + ")\n"));
}

TEST_F(ImplicitTmp, AppliesToLibrariesDefinedLater) {
    box.directory("real").link("t", "real");
    setImplicit("t", 1);
    rynAddCommand(nullptr, "DEFINE late lib/late");
    EXPECT_EQ(at("t/late") + " " + at("real/late"), implicitOf("late"));
    setImplicit("", 0);
    rynAddCommand(nullptr, "DEFINE later lib/later");
    EXPECT_EQ(kNoPaths, implicitOf("later"));
    EXPECT_EQ(kNoPaths, implicitOf("late"));
}

TEST_F(ImplicitTmp, StoresTheFlagsUnchanged) {
    box.directory("t");
    EXPECT_EQ(0U, implicitFlags());
    for (const unsigned flags : {1U, 2U, 6U, 0xFFFFFFFFU}) {
        EXPECT_EQ(RYN_OK, setImplicit("t", flags));
        EXPECT_EQ(flags, implicitFlags());
    }
}

TEST_F(ImplicitTmp, RelativeDirectoryCountsFromTheDirectoryOfTheRegistry) {
    box.directory("real/t").directory("elsewhere/t").link("work", "real");
    ASSERT_EQ(0, chdir(at("work").c_str()));
    test::setEnvironment({{"PWD", at("work")}, {"T", "t"}});
    renew();
    ASSERT_EQ(0, chdir(at("elsewhere").c_str()));
    rynAddCommand(nullptr, "DEFINE a a");
    EXPECT_EQ(RYN_OK, setImplicit("./$T//", 1));
    EXPECT_EQ(at("work/t/a") + " " + at("real/t/a"), implicitOf("a"));
    EXPECT_STREQ("./$T//", definitions.handle->implicitTmpDirectory) << "the given text";
    test::setEnvironment({{"HOME", at("elsewhere")}});
    EXPECT_EQ(RYN_OK, setImplicit("~/t", 1));
    EXPECT_EQ(own("elsewhere/t/a"), implicitOf("a"));
}

TEST_F(ImplicitTmp, JoinsRootAndNameUnchanged) {
    rynAddCommand(nullptr, "DEFINE sub/lib x");
    rynAddCommand(nullptr, "DEFINE .. x");
    EXPECT_EQ(RYN_OK, setImplicit("/", 1));
    EXPECT_EQ("//sub/lib //sub/lib", implicitOf("sub/lib"));
    EXPECT_EQ("//.. //..", implicitOf(".."));
}

TEST_F(ImplicitTmp, PathMayHaveAnyLength) {
    const std::string root = test::lengthened(at("r"), 4000);
    box.directory(root.substr(at("").size() + 1));
    for (const std::size_t size : {94U, 95U, 96U, 3000U}) {
        const std::string name(size - 1, 'n');
        rynAddCommand(nullptr, ("DEFINE " + name + " x").c_str());
        EXPECT_EQ(RYN_OK, setImplicit(root.c_str(), 1));
        EXPECT_EQ(root + "/" + name + " " + root + "/" + name, implicitOf(name.c_str())) << size;
    }
}

TEST_F(ImplicitTmp, TextLimitIs4095Characters) {
    box.directory("t");
    std::string text = "t";
    while (text.size() + at("").size() + 1 < 4095) {
        text += "/";
    }
    EXPECT_EQ(RYN_OK, setImplicit(text.c_str(), 1));
    EXPECT_EQ(RYN_INVALID_PATH, setImplicit((text + "/").c_str(), 1));
    const std::string longer(4097, '/');
    EXPECT_EQ(RYN_INVALID_PATH, setImplicit(longer.c_str(), 1));
    expectNoImplicit();
    const std::string cut = longer.substr(0, 4095);
    EXPECT_EQ((ErrorReports{{RYN_INVALID_PATH, text + "/", text + "/"}, {RYN_INVALID_PATH, cut, cut}}),
              recorded.errors);
}

TEST_F(ImplicitTmp, NeedsAHandle) {
    box.directory("t");
    test::Capture capture;
    EXPECT_EQ(RYN_INVALID_PARAMETER, rynSetImplicitTmp(nullptr, "t", RYN_IMPLICIT_ONLY, test::recordError));
    EXPECT_EQ(0U, implicitFlags()) << "the default handle is left alone";
    EXPECT_EQ(RYN_INVALID_PARAMETER, rynSetImplicitTmp(nullptr, "t", RYN_IMPLICIT_NONE, nullptr));
    EXPECT_EQ("", capture.out() + capture.err());
    EXPECT_TRUE(recorded.errors.empty() && recorded.fatals.empty());
}

TEST_F(ImplicitTmp, NeedsADirectoryWithItsFlags) {
    box.directory("t");
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE a lib/a\n"));
    for (const char *directory : {static_cast<const char *>(nullptr), ""}) {
        EXPECT_EQ(RYN_INVALID_PARAMETER, setImplicit(directory, 1));
        expectNoImplicit();
    }
    ASSERT_EQ(RYN_OK, setImplicit("t", 2));
    EXPECT_EQ(RYN_INVALID_PARAMETER, setImplicit("", 1));
    EXPECT_EQ(2U, implicitFlags()) << "one that is set stays";
    EXPECT_EQ(own("t/a"), implicitOf("a"));
    EXPECT_TRUE(recorded.errors.empty());
}

TEST_F(ImplicitTmp, FlagsZeroRemoveIt) {
    box.directory("t");
    ASSERT_EQ(RYN_OK, definitions.load(kTwoLibraries));
    for (const char *directory : {static_cast<const char *>(nullptr), "", "t", "/no/such"}) {
        ASSERT_EQ(RYN_OK, setImplicit("t", 1));
        EXPECT_EQ(RYN_OK, setImplicit(directory, 0));
        expectNoImplicit();
        EXPECT_EQ(RYN_OK, setImplicit(directory, 0)) << "also when there is none";
    }
    ASSERT_EQ(RYN_OK, setImplicit("t", 1));
    sUnsetImplicitTmp(definitions.handle);
    expectNoImplicit();
    EXPECT_TRUE(recorded.errors.empty());
}

TEST_F(ImplicitTmp, MissingDirectoryIsInvalidPath) {
    box.file("f", "").link("l", "f");
    ASSERT_EQ(RYN_OK, definitions.load(kTwoLibraries));
    EXPECT_EQ(RYN_INVALID_PATH, setImplicit("no", 1));
    expectNoImplicit();
    EXPECT_EQ(RYN_INVALID_PATH, setImplicit("l", 1));
    expectNoImplicit();
    EXPECT_EQ(RYN_INVALID_PATH, setImplicit("~nosuchuser/t", 1));
    EXPECT_EQ(RYN_INTERNAL_ERROR, setImplicit("$UNSET/t", 1));
    expectNoImplicit();
    EXPECT_EQ((ErrorReports{{RYN_INVALID_PATH, at("no"), at("no")},
                            {RYN_INVALID_PATH, at("f"), at("f")},
                            {RYN_INVALID_PATH, "~nosuchuser/t", "~nosuchuser/t"},
                            {RYN_INTERNAL_ERROR, "$UNSET/t", "$UNSET/t"}}),
              recorded.errors);
}

TEST_F(ImplicitTmp, CycleOrTooLongExpansionIsAnError) {
    box.directory("t").link("self", "self");
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE a lib/a\n"));
    const std::string longest = at("t") + std::string(4095 - at("t").size(), '/');
    test::setEnvironment({{"A", "$B"}, {"B", "${A}"}, {"LONG", longest}});
    ASSERT_EQ(RYN_OK, setImplicit("$LONG", 1));
    EXPECT_EQ(own("t/a"), implicitOf("a"));
    EXPECT_EQ(RYN_INVALID_PATH, setImplicit("$LONG/", 1));
    expectNoImplicit();
    EXPECT_EQ(RYN_INVALID_PATH, setImplicit("$A/t", 1));
    EXPECT_EQ(RYN_INTERNAL_ERROR, setImplicit("self", 1));
    EXPECT_EQ(RYN_INTERNAL_ERROR, setImplicit("self/t", 1));
    expectNoImplicit();
    EXPECT_EQ((ErrorReports{{RYN_INVALID_PATH, "$LONG/", "$LONG/"},
                            {RYN_INVALID_PATH, "$A/t", "$A/t"},
                            {RYN_INTERNAL_ERROR, at("self"), at("self")},
                            {RYN_INTERNAL_ERROR, at("self"), at("self")}}),
              recorded.errors);
}

TEST_F(ImplicitTmp, UnreadableDirectoryIsPermissionDenied) {
    box.directory("shut", 0311);
    const std::string shut = at("shut");
    test::asUnprivileged([&] {
        ryni_setUidGid();
        renewStrict();
        EXPECT_EQ(RYN_PERMISSION_DENIED, setImplicit(shut.c_str(), 1));
        EXPECT_EQ((ErrorReports{{RYN_PERMISSION_DENIED, shut, shut}}), recorded.errors);
        expectNoImplicit();
        renew();
        EXPECT_EQ(RYN_OK, setImplicit(shut.c_str(), 1)) << "reading is tested when paths must exist";
    });
}

TEST_F(ImplicitTmp, IsRemovedAfterAFailure) {
    box.directory("t");
    ASSERT_EQ(RYN_OK, definitions.load(kTwoLibraries));
    ASSERT_EQ(RYN_OK, setImplicit("t", 1));
    EXPECT_EQ(RYN_INVALID_PATH, setImplicit("no", 2));
    expectNoImplicit();
}

TEST_F(ImplicitTmp, PrintsErrorsWithoutAHandler) {
    test::Capture capture;
    EXPECT_EQ(RYN_INVALID_PATH, setImplicit("/no/such", 1, nullptr));
    EXPECT_EQ("RYN  error: Invalid path \"/no/such\"\n", capture.err());
    EXPECT_EQ("", capture.out());
}

TEST_F(ImplicitTmp, KeepsTheLastHandler) {
    box.directory("t");
    test::Capture capture;
    static int calls = 0;
    const auto otherHandler = [](int, const char *, const char *) { return ++calls, 99; };
    EXPECT_EQ(RYN_INVALID_PATH, setImplicit("/no", 1, test::recordError));
    EXPECT_EQ(RYN_INVALID_PATH, setImplicit("/no", 1, nullptr));
    EXPECT_EQ(2U, recorded.errors.size());
    EXPECT_EQ(RYN_INVALID_PATH, setImplicit("/no", 1, otherHandler))
        << "the result of the handler is ignored";
    EXPECT_EQ(RYN_INVALID_PATH, setImplicit("/no", 1, nullptr));
    EXPECT_EQ(2, calls);
    EXPECT_EQ(2U, recorded.errors.size());
    EXPECT_EQ(RYN_INVALID_PARAMETER, setImplicit("", 1, test::recordError));
    EXPECT_EQ(RYN_OK, setImplicit("", 0, test::recordError));
    EXPECT_EQ(RYN_INVALID_PATH, setImplicit("/no", 1, nullptr));
    EXPECT_EQ(3, calls) << "one that came with nothing to do was not stored";
    EXPECT_EQ(RYN_OK, setImplicit("t", 1, test::recordError));
    EXPECT_EQ(RYN_INVALID_PATH, setImplicit("/no", 1, nullptr));
    EXPECT_EQ(3U, recorded.errors.size());
    EXPECT_EQ("", capture.err());
}

TEST_F(ImplicitTmp, FailedAllocationIsReportedAndRemovesIt) {
    box.directory("real").link("t", "real");
    ASSERT_EQ(RYN_OK, definitions.load(kTwoLibraries));
    ASSERT_EQ(RYN_OK, setImplicit("t", 1)); // caches the links
    int failures = 0;
    for (int nth = 1; nth < 60; ++nth) {
        recorded.errors.clear();
        ASSERT_EQ(RYN_OK, setImplicit("", 0));
        faults::failAllocation(nth);
        const int status = setImplicit("t", 1);
        faults::failAllocation(1 << 30);
        if (status == RYN_OK) {
            EXPECT_EQ(at("t/b") + " " + at("real/b"), implicitOf("b"));
            EXPECT_TRUE(recorded.errors.empty());
            continue;
        }
        ++failures;
        ASSERT_EQ(RYN_MEMORY_ERROR, status) << nth;
        expectNoImplicit();
        ASSERT_EQ(1U, recorded.errors.size());
        const std::string expected[] = {"t", at("t/a"), at("real/a"), at("t/b"), at("real/b")};
        ASSERT_LE(failures, 5);
        EXPECT_EQ((test::ErrorReport{RYN_MEMORY_ERROR, expected[failures - 1], expected[failures - 1]}),
                  recorded.errors[0]);
    }
    EXPECT_EQ(5, failures);
}

TEST_F(ImplicitTmp, CanBeSetByTheCreationOptions) {
    box.directory("t").file("vek.lib", kTwoLibraries);
    const std::string directory = at("t");
    rynInitOptions options = {test::recordError, directory.c_str(), 3, nullptr};
    definitions.release();
    ASSERT_EQ(RYN_OK, rynInitEx("vek.lib", 0, test::recordWarning, nullptr, &options, sizeof options,
                                &definitions.handle));
    EXPECT_EQ(own("t/b"), implicitOf("b"));
    EXPECT_EQ(3U, implicitFlags());
    definitions.release();
    options.implicitTmpDirectory = "/no/such";
    EXPECT_EQ(RYN_INVALID_PATH, rynInitEx("vek.lib", 0, test::recordWarning, nullptr, &options,
                                          sizeof options, &definitions.handle));
    EXPECT_EQ(nullptr, definitions.handle);
    EXPECT_EQ((ErrorReports{{RYN_INVALID_PATH, "/no/such", "/no/such"}}), recorded.errors);
    options.implicitTmpDirectory = "";
    EXPECT_EQ(RYN_INVALID_PARAMETER, rynInitEx("vek.lib", 0, test::recordWarning, nullptr, &options,
                                               sizeof options, &definitions.handle));
    options.implicitTmpFlags = 0;
    ASSERT_EQ(RYN_OK, rynInitEx("vek.lib", 0, test::recordWarning, nullptr, &options, sizeof options,
                                &definitions.handle));
    expectNoImplicit();
}

TEST_F(ImplicitTmp, FlagsOfANullHandleAreThoseOfTheDefault) {
    box.directory("t");
    unsigned flags = 77;
    setImplicit("t", 5);
    EXPECT_EQ(RYN_OK, rynGetImplicitTmpFlags(nullptr, &flags));
    EXPECT_EQ(5U, flags);
}

TEST_F(ImplicitTmp, FlagsWithoutARegistryOrAnOutputAreReported) {
    unsigned flags = 77;
    const test::ErrorReports report = {
        {RYN_INVALID_PARAMETER, "rynGetImplicitTmpFlags()", "rynGetImplicitTmpFlags()"}};
    for (rynHandle handle : {rynHandle(nullptr), definitions.handle}) {
        recorded.fatals.clear();
        EXPECT_EQ(RYN_INVALID_PARAMETER, rynGetImplicitTmpFlags(handle, nullptr));
        EXPECT_EQ(report, recorded.fatals);
    }
    recorded.fatals.clear();
    definitions.release();
    EXPECT_EQ(RYN_INVALID_PARAMETER, rynGetImplicitTmpFlags(nullptr, &flags));
    EXPECT_EQ(report, recorded.fatals);
    EXPECT_EQ(77U, flags);
}

TEST_F(ImplicitTmp, UpdatesOneLibraryWithGivenRoots) {
    box.directory("t");
    ASSERT_EQ(RYN_OK, definitions.load(kTwoLibraries));
    rynLibrary *a = definitions.library("a");
    test::PathBuffer error;
    EXPECT_EQ(RYN_OK, ryniUpdateImplicit(definitions.handle, a, "/f", "/n", error.get()));
    EXPECT_EQ(kNoPaths, implicitOf("a")) << "there is no implicit directory";
    setImplicit("t", 1);
    EXPECT_EQ(RYN_OK, ryniUpdateImplicit(definitions.handle, a, "/full/root", "/nsl", error.get()));
    EXPECT_EQ("/full/root/a /nsl/a", implicitOf("a"));
    EXPECT_EQ(own("t/b"), implicitOf("b"));
    for (const auto &[full, nsl] : {std::pair<const char *, const char *>{nullptr, nullptr},
                                    std::pair<const char *, const char *>{"/f", nullptr},
                                    std::pair<const char *, const char *>{nullptr, "/n"}}) {
        EXPECT_EQ(RYN_OK, ryniUpdateImplicit(definitions.handle, a, full, nsl, nullptr));
        EXPECT_EQ(own("t/a"), implicitOf("a"));
    }
    EXPECT_EQ("", error.text());
}

TEST_F(ImplicitTmp, UpdateFailsIfItsDirectoryIsRemoved) {
    box.directory("t");
    setImplicit("t", 1);
    rynAddCommand(nullptr, "DEFINE early x");
    ASSERT_EQ(0, rmdir(at("t").c_str()));
    test::PathBuffer error;
    rynLibrary *library = definitions.library("early");
    EXPECT_EQ(RYN_INVALID_PATH,
              ryniUpdateImplicit(definitions.handle, library, nullptr, nullptr, error.get()));
    EXPECT_EQ(at("t"), error.text());
    EXPECT_EQ(RYN_INVALID_PATH, ryniUpdateImplicit(definitions.handle, library, nullptr, nullptr, nullptr));
    EXPECT_EQ(own("t/early"), implicitOf("early"));
    box.file("more.lib", "DEFINE late y\nDEFINE early z\n");
    EXPECT_EQ(RYN_OK, ryni_parse_veklib_file(at("more.lib").c_str(), definitions.handle, nullptr));
    ASSERT_EQ(2U, recorded.diagnostics.size());
    EXPECT_EQ((test::Diagnostic{RYN_INVALID_PATH, at("t"), at("more.lib"), 1}), recorded.diagnostics[0]);
    EXPECT_EQ(RYN_REDEFINED, recorded.diagnostics[1].code) << "a library that has its paths keeps them";
    EXPECT_EQ("no library", implicitOf("late"));
}

TEST_F(ImplicitTmp, ReportsAFailedCopyWithThePath) {
    box.directory("t");
    setImplicit("t", 1);
    rynAddCommand(nullptr, "DEFINE a x");
    rynLibrary *a = definitions.library("a");
    const std::string root = "/" + std::string(4094, 'r');
    const std::string longerFull = at("longer/than/it/was");
    const std::string longerNsl = at("also/longer/than/it/was");
    for (int nth = 1; nth <= 2; ++nth) {
        test::PathBuffer error;
        faults::failAllocation(nth);
        EXPECT_EQ(RYN_MEMORY_ERROR, ryniUpdateImplicit(definitions.handle, a, longerFull.c_str(),
                                                       longerNsl.c_str(), error.get()));
        EXPECT_EQ((nth == 1 ? longerFull : longerNsl) + "/a", error.text());
        faults::failAllocation(nth);
        EXPECT_EQ(RYN_MEMORY_ERROR,
                  ryniUpdateImplicit(definitions.handle, a, root.c_str(), root.c_str(), error.get()));
        EXPECT_EQ(root, error.text()) << "as much as the buffer holds";
        faults::failAllocation(nth);
        EXPECT_EQ(RYN_MEMORY_ERROR,
                  ryniUpdateImplicit(definitions.handle, a, (root + "/").c_str(), root.c_str(), nullptr));
        setImplicit("t", 1);
    }
}

// ---- the global temporary root

TEST_F(GlobalTmp, CreatesADirectoryForEveryLibrary) {
    box.directory("t");
    ASSERT_EQ(RYN_OK, definitions.load("ASSIGN AllLibs TmpRootDir " + at("t") +
                                       "\nDEFINE a lib/a\nDEFINE b lib/b\n"));
    EXPECT_EQ(global("t/a"), explicitOf("a"));
    EXPECT_EQ(global("t/b"), explicitOf("b"));
    EXPECT_EQ((std::vector<std::string>{"a", "b"}), box.list("t"));
    EXPECT_EQ(kNone, recorded.diagnostics);
    EXPECT_EQ("\nVEK.LIB files:\n" + at("vek.lib") + "\n  (" + at("vek.lib") + ")\n" +
                  "\nLibraries:\n"
                  "a " +
                  at("lib/a") + "\n    (" + at("lib/a") + ")\n  Defined at " + at("vek.lib") +
                  " line 2\n  FromGlobal TMPDIR    at " + at("t/a") + "\n           (" + at("t/a") +
                  ")\n"
                  "b " +
                  at("lib/b") + "\n    (" + at("lib/b") + ")\n  Defined at " + at("vek.lib") +
                  " line 3\n  FromGlobal TMPDIR    at " + at("t/b") + "\n           (" + at("t/b") +
                  ")\n"
                  "\nHash Table Stats:\n 97 a\n 98 b\n"
                  "Global Explicit Tmp:\n  TMPROOTDIR " +
                  at("t") + "\n    line 1 " + at("vek.lib") + "\n\n",
              definitions.dump());
}

TEST_F(GlobalTmp, IsCreatedByFullPathAndComparedByNslPath) {
    box.directory("real").link("t", "real");
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE a lib/a\nASSIGN AllLibs TmpRootDir t\n"));
    EXPECT_EQ("global " + at("t/a") + " " + at("real/a"), explicitOf("a"));
    EXPECT_TRUE(box.exists("real/a"));
    EXPECT_EQ(1, ryniLibPathReused(definitions.handle, at("real/a").c_str(), nullptr, 0));
}

TEST_F(GlobalTmp, DoesNothingWithoutAStatement) {
    ASSERT_EQ(RYN_OK, definitions.load(kTwoLibraries));
    EXPECT_EQ(RYN_OK, sAddGlobalTmppath(definitions.handle, "/no/such"));
    EXPECT_EQ(kNoPaths, explicitOf("a"));
    EXPECT_EQ(kNone, recorded.diagnostics);
}

TEST_F(GlobalTmp, IsAppliedAtTheEndOfEveryFile) {
    box.directory("t").file("inner.lib", "DEFINE in lib/in\n");
    static std::string lookups;
    rynSetUnknownASSIGNfunc([](const char *, const char *value, const char *, int) {
        lookups += std::string(value) + (access((std::string("t/") + value).c_str(), F_OK) == 0 ? "+" : "-");
        return 0;
    });
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE before lib/before\n"
                                       "ASSIGN AllLibs TmpRootDir t\n"
                                       "ASSIGN before LOOK before\n"
                                       "INCLUDE inner.lib\n"
                                       "DEFINE after lib/after\n"
                                       "ASSIGN before LOOK before\n"
                                       "ASSIGN before LOOK in\n"
                                       "ASSIGN before LOOK after\n"));
    EXPECT_EQ("before-before+in+after-", lookups);
    EXPECT_EQ(kNone, recorded.diagnostics);
    EXPECT_EQ(global("t/before"), explicitOf("before"));
    EXPECT_EQ(global("t/in"), explicitOf("in"));
    EXPECT_EQ(global("t/after"), explicitOf("after"));
}

TEST_F(GlobalTmp, IsAppliedAfterTheWholeFile) {
    box.directory("t");
    ASSERT_EQ(RYN_OK, definitions.load("ASSIGN AllLibs TmpRootDir t\n"
                                       "DEFINE a lib/a\n"
                                       "ASSIGN a TMP t/a\n"));
    EXPECT_EQ((Diagnostics{{RYN_INVALID_PATH, at("t/a"), at("vek.lib"), 3}}), recorded.diagnostics);
    EXPECT_EQ(global("t/a"), explicitOf("a"));
}

TEST_F(GlobalTmp, RelativeRootCountsFromTheFileThatEnds) {
    box.directory("t").directory("sub/t").file("sub/inner.lib", "DEFINE in lib/in\n");
    ASSERT_EQ(RYN_OK, definitions.load("ASSIGN AllLibs TmpRootDir t\n"
                                       "INCLUDE sub/inner.lib\n"
                                       "DEFINE after lib/after\n"));
    // The root is applied at the end of the inner file and again at the end of the outer one.
    EXPECT_TRUE(box.exists("sub/t/in"));
    EXPECT_EQ(global("t/in"), explicitOf("in"));
    EXPECT_EQ(global("t/after"), explicitOf("after"));
    EXPECT_FALSE(box.exists("sub/t/after"));
}

TEST_F(GlobalTmp, NewestStatementWins) {
    box.directory("old").directory("new").file("inner.lib",
                                               "DEFINE in lib/in\nASSIGN AllLibs tmprootdir old\n");
    ASSERT_EQ(RYN_OK, definitions.load("ASSIGN AllLibs TmpRootDir /no/such\n"
                                       "INCLUDE inner.lib\n"
                                       "ASSIGN AllLibs TMPROOTDIR new\n"));
    EXPECT_EQ(kNone, recorded.diagnostics);
    EXPECT_EQ(global("new/in"), explicitOf("in"));
    EXPECT_TRUE(box.exists("old/in")) << "what was made before stays on disk";
    EXPECT_EQ(0, ryniLibPathReused(definitions.handle, at("old/in").c_str(), nullptr, 0));
}

TEST_F(GlobalTmp, KeepsTheOwnDirectoryOfALibrary) {
    box.directory("t").directory("mine");
    box.file("again.lib", "");
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE a lib/a\nDEFINE b lib/b\n"
                                       "ASSIGN a TMP mine\n"
                                       "ASSIGN AllLibs TmpRootDir t\n"
                                       "INCLUDE again.lib\n"));
    EXPECT_EQ(own("mine"), explicitOf("a"));
    EXPECT_EQ(global("t/b"), explicitOf("b"));
    EXPECT_EQ((std::vector<std::string>{"b"}), box.list("t"));
    rynAddCommand(nullptr, "ASSIGN b TMP mine/../lib");
    EXPECT_EQ("global", explicitOf("b").substr(0, 6)) << "there is no such directory";
    box.directory("other");
    rynAddCommand(nullptr, "ASSIGN b TMP other");
    EXPECT_EQ(own("other"), explicitOf("b"));
    EXPECT_EQ(RYN_OK, sAddGlobalTmppath(definitions.handle, at("").c_str()));
    EXPECT_EQ(own("other"), explicitOf("b")) << "the next file's end leaves it";
}

TEST_F(GlobalTmp, IsAppliedAgainAfterUnassign) {
    box.directory("t").directory("mine").file("next.lib", "").file("third.lib", "");
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE a lib/a\n"
                                       "ASSIGN a TMP mine\n"
                                       "ASSIGN AllLibs TmpRootDir t\n"));
    EXPECT_EQ(own("mine"), explicitOf("a"));
    rynAddCommand(nullptr, "UNASSIGN a TMP");
    EXPECT_EQ(kNoPaths, explicitOf("a"));
    rynAddCommand(nullptr, "INCLUDE next.lib");
    EXPECT_EQ(global("t/a"), explicitOf("a"));
    rynAddCommand(nullptr, "ASSIGN a COLOR red");
    rynAddCommand(nullptr, "UNASSIGN a COLOR");
    EXPECT_EQ("global - -", explicitOf("a")) << "any UNASSIGN takes it away";
    rynAddCommand(nullptr, "INCLUDE third.lib");
    EXPECT_EQ(global("t/a"), explicitOf("a"));
}

TEST_F(GlobalTmp, IsAppliedAtOnceByASingleStatement) {
    box.directory("t");
    ASSERT_EQ(RYN_OK, definitions.load(kTwoLibraries));
    box.directory("elsewhere");
    ASSERT_EQ(0, chdir(at("elsewhere").c_str()));
    rynAddCommand(nullptr, "ASSIGN AllLibs TmpRootDir t");
    EXPECT_EQ(global("t/a"), explicitOf("a")) << "counted from the registry's directory";
    EXPECT_EQ((std::vector<std::string>{"a", "b"}), box.list("t"));
    rynAddCommand(nullptr, "DEFINE c lib/c");
    EXPECT_EQ(kNoPaths, explicitOf("c"));
    rynAddCommand(nullptr, "ASSIGN AllLibs TmpRootDir /no/such");
    EXPECT_EQ(global("t/a"), explicitOf("a"));
    EXPECT_EQ(kNone, recorded.diagnostics);
}

TEST_F(GlobalTmp, ReportsAnInvalidRoot) {
    box.file("f", "").file("inner.lib", "DEFINE in lib/in\n");
    ASSERT_EQ(RYN_OK,
              definitions.load("DEFINE a lib/a\n\nASSIGN AllLibs TmpRootDir no\nINCLUDE inner.lib\n"));
    const test::Diagnostic missing = {RYN_INVALID_PATH, at("no"), at("vek.lib"), 3};
    EXPECT_EQ((Diagnostics{missing, missing}), recorded.diagnostics) << "at the end of each file";
    EXPECT_EQ(kNoPaths, explicitOf("a"));
    recorded.diagnostics.clear();
    ASSERT_EQ(RYN_OK, definitions.load("ASSIGN AllLibs TmpRootDir f\nDEFINE a lib/a\n"));
    EXPECT_EQ((Diagnostics{{RYN_INVALID_PATH, at("f"), at("vek.lib"), 1}}), recorded.diagnostics);
    recorded.diagnostics.clear();
    ASSERT_EQ(RYN_OK, definitions.load("ASSIGN AllLibs TmpRootDir $UNSET\nDEFINE a lib/a\n"));
    EXPECT_EQ((Diagnostics{{RYN_INTERNAL_ERROR, "$UNSET", at("vek.lib"), 1}}), recorded.diagnostics);
    recorded.diagnostics.clear();
    test::setEnvironment({{"A", "/x$B"}, {"B", "${A}"}});
    ASSERT_EQ(RYN_OK, definitions.load("ASSIGN AllLibs TmpRootDir $A/t\nDEFINE a lib/a\n"));
    EXPECT_EQ((Diagnostics{{RYN_INVALID_PATH, "$A/t", at("vek.lib"), 1}}), recorded.diagnostics);
    recorded.diagnostics.clear();
    box.link("self", "self");
    ASSERT_EQ(RYN_OK, definitions.load("ASSIGN AllLibs TmpRootDir self/t\nDEFINE a lib/a\n"));
    EXPECT_EQ((Diagnostics{{RYN_INTERNAL_ERROR, at("self"), at("vek.lib"), 1}}), recorded.diagnostics);
    EXPECT_EQ(kNoPaths, explicitOf("a"));
}

TEST_F(GlobalTmp, ReportsTheLocationOfTheLastStatement) {
    box.file("inner.lib", "\nASSIGN AllLibs TmpRootDir no\n");
    ASSERT_EQ(RYN_OK, definitions.load("INCLUDE inner.lib\nDEFINE a lib/a\n"));
    const test::Diagnostic missing = {RYN_INVALID_PATH, at("no"), at("inner.lib"), 2};
    EXPECT_EQ((Diagnostics{missing, missing}), recorded.diagnostics);
    // The location is process-wide and is kept after the registry is released.
    recorded.diagnostics.clear();
    rynHandle first = definitions.handle;
    definitions.handle = nullptr;
    ASSERT_EQ(RYN_OK, definitions.load("\n\n\nASSIGN AllLibs TmpRootDir no\n"));
    definitions.release();
    recorded.diagnostics.clear();
    EXPECT_EQ(RYN_OK, sAddGlobalTmppath(first, at("").c_str()));
    EXPECT_EQ((Diagnostics{{RYN_INVALID_PATH, at("no"), at("vek.lib"), 4}}), recorded.diagnostics);
    const std::string longest = test::lengthened("", 4095);
    ryn::setGlobalTmpLocation(longest.c_str(), 7);
    recorded.diagnostics.clear();
    sAddGlobalTmppath(first, at("").c_str());
    EXPECT_EQ((Diagnostics{{RYN_INVALID_PATH, at("no"), longest, 7}}), recorded.diagnostics);
    rynReleaseHandle(first);
}

TEST_F(GlobalTmp, ReturnsTheResultOfTheHandler) {
    box.file("vek.lib", "ASSIGN AllLibs TmpRootDir no\n");
    EXPECT_EQ(RYN_INVALID_PATH, definitions.read(test::recordAndStop));
    recorded.warningResult = 55;
    EXPECT_EQ(55, definitions.read(test::recordWarning));
    box.file("vek.lib", "ASSIGN AllLibs TmpRootDir no\nFOO\n");
    EXPECT_EQ(RYN_SYNTAX_ERROR, definitions.read(test::recordAndStop)) << "the first status counts";
    EXPECT_EQ(RYN_INVALID_PATH, recorded.diagnostics.back().code) << "but the root is applied all the same";
}

TEST_F(GlobalTmp, ReportsALibraryDirectoryInsideIt) {
    box.directory("t/a").directory("t/b");
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE x lib/x\nDEFINE a t/a\nDEFINE b t/b\n"
                                       "ASSIGN AllLibs TmpRootDir t\n"));
    // Documented: the object is the explicit temporary directory, which this library does not have.
    EXPECT_EQ((Diagnostics{{RYN_DIRECTORY_REUSED, "(null)", at("vek.lib"), 4}}), recorded.diagnostics);
    EXPECT_EQ(kNoPaths, explicitOf("x"));
    EXPECT_EQ(kNoPaths, explicitOf("a"));
    EXPECT_FALSE(box.exists("t/x")) << "no library gets a directory";
    recorded.warningResult = 5;
    EXPECT_EQ(5, sAddGlobalTmppath(definitions.handle, at("").c_str()));
}

TEST_F(GlobalTmp, ReportsANullObject) {
    box.directory("t/a");
    definitions.box.file("vek.lib", "DEFINE a t/a\nASSIGN AllLibs TmpRootDir t\n");
    static bool isNull = false;
    definitions.release();
    const auto handler = [](int code, const char *object, const char *, int) {
        isNull = code == RYN_DIRECTORY_REUSED && object == nullptr;
        return 0;
    };
    EXPECT_EQ(RYN_OK, rynInit("vek.lib", 0, handler, nullptr, &definitions.handle));
    EXPECT_TRUE(isNull);
    definitions.release();
    test::Capture capture;
    EXPECT_EQ(RYN_DIRECTORY_REUSED, rynInit("vek.lib", 0, nullptr, nullptr, &definitions.handle));
    EXPECT_EQ("Error at line 2 of " + at("vek.lib") + " for (null):\n\tDirectory used multiple times\n",
              capture.err());
}

TEST_F(GlobalTmp, ReportsALibraryThatHoldsIt) {
    box.directory("t");
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE b lib/b\nDEFINE top .\nASSIGN AllLibs TmpRootDir t\n"));
    EXPECT_EQ(2U, recorded.diagnostics.size());
    EXPECT_EQ((test::Diagnostic{RYN_DIRECTORY_REUSED, "(null)", at("vek.lib"), 3}),
              recorded.diagnostics.back());
    EXPECT_EQ(kNoPaths, explicitOf("b"));
}

TEST_F(GlobalTmp, ReportsTheTemporaryDirectoryOfTheLibrary) {
    box.directory("real/a").directory("other").link("mine", "other").link("t", "real");
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE a real/a\nASSIGN a TMP mine\nASSIGN AllLibs TmpRootDir t\n"));
    EXPECT_EQ((Diagnostics{{RYN_DIRECTORY_REUSED, at("other"), at("vek.lib"), 3}}), recorded.diagnostics);
    recorded.diagnostics.clear();
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE a lib/a\nASSIGN a TMP real/a\nASSIGN AllLibs TmpRootDir t\n"));
    EXPECT_EQ((Diagnostics{{RYN_DIRECTORY_REUSED, at("real/a"), at("vek.lib"), 3}}), recorded.diagnostics)
        << "its own temporary directory counts as well";
}

TEST_F(GlobalTmp, ItsOwnDirectoriesAreNoReuse) {
    box.directory("t").file("one.lib", "").file("two.lib", "DEFINE c lib/c\n");
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE a lib/a\nASSIGN AllLibs TmpRootDir t\n"
                                       "INCLUDE one.lib\nINCLUDE two.lib\n"));
    EXPECT_EQ(kNone, recorded.diagnostics);
    EXPECT_EQ(global("t/a"), explicitOf("a"));
    EXPECT_EQ(global("t/c"), explicitOf("c"));
}

TEST_F(GlobalTmp, UsesTheUmaskOfTheRegistry) {
    box.directory("t").directory("t/old", 0700);
    umask(027);
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE a lib/a\nASSIGN AllLibs TmpRootDir t\n"));
    EXPECT_EQ(0750U, modeOf(at("t/a")));
    rynSetUmask(nullptr, 022);
    rynAddCommand(nullptr, "DEFINE b lib/b");
    rynAddCommand(nullptr, "DEFINE old lib/old");
    EXPECT_EQ(RYN_OK, sAddGlobalTmppath(definitions.handle, at("").c_str()));
    EXPECT_EQ(0755U, modeOf(at("t/b")));
    EXPECT_EQ(0755U, modeOf(at("t/a"))) << "those that are there get it too";
    EXPECT_EQ(0755U, modeOf(at("t/old")));
}

TEST_F(GlobalTmp, ReportsADirectoryThatCannotBeCreated) {
    box.directory("t");
    faults::failFrom("mkdir", 2, ENOSPC);
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE a lib/a\nDEFINE b lib/b\nDEFINE c lib/c\n"
                                       "ASSIGN AllLibs TmpRootDir t\n"));
    EXPECT_EQ((Diagnostics{{RYN_SYSTEM_ERROR, at("t/b"), at("vek.lib"), 4}}), recorded.diagnostics);
    EXPECT_EQ(global("t/a"), explicitOf("a"));
    EXPECT_EQ(global("t/b"), explicitOf("b")) << "the path is the library's all the same";
    EXPECT_EQ(kNoPaths, explicitOf("c")) << "the first failure ends it";
    recorded.warningResult = 44;
    EXPECT_EQ(44, sAddGlobalTmppath(definitions.handle, at("").c_str()));
}

TEST_F(GlobalTmp, ReportsTheFullPathOfAFailedDirectory) {
    box.directory("real").link("t", "real");
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE no/parent lib/a\nASSIGN AllLibs TmpRootDir t\n"));
    EXPECT_EQ((Diagnostics{{RYN_SYSTEM_ERROR, at("t/no/parent"), at("vek.lib"), 2}}), recorded.diagnostics);
}

TEST_F(GlobalTmp, ReportsDeniedPermissions) {
    box.directory("t", 0555).directory("open", 0777).directory("open/b", 0555);
    const std::string root = at("");
    test::asUnprivileged([&] {
        renew();
        definitions.handle->warningHandler = test::recordWarning;
        rynAddCommand(nullptr, "DEFINE a lib/a");
        rynAddCommand(nullptr, "DEFINE b lib/b");
        definitions.handle->globalExplicitTmp =
            ryn::newAttribute("TMPROOTDIR", (root + "/t").c_str(), nullptr, 1);
        ryn::setGlobalTmpLocation("F", 9);
        EXPECT_EQ(RYN_OK, sAddGlobalTmppath(definitions.handle, "/"));
        EXPECT_EQ((Diagnostics{{RYN_SYSTEM_ERROR, root + "/t/a", "F", 9}}), recorded.diagnostics)
            << "what could not be made is missing";
        recorded.diagnostics.clear();
        ryniStrcpy(&definitions.handle->globalExplicitTmp->value, (root + "/open").c_str());
        for (const int stale : {0, ENOENT, EIO}) {
            errno = stale;
            EXPECT_EQ(RYN_OK, sAddGlobalTmppath(definitions.handle, "/"));
            EXPECT_EQ((Diagnostics{{RYN_PERMISSION_DENIED_LIBRARY, root + "/open/b", "F", 9}}),
                      recorded.diagnostics);
            recorded.diagnostics.clear();
            rynStatCacheCtl(1);
        }
        EXPECT_EQ("global " + root + "/open/a " + root + "/open/a", explicitOf("a"));
        EXPECT_EQ("global " + root + "/open/b " + root + "/open/b", explicitOf("b"));
    });
}

TEST_F(GlobalTmp, CreatedDirectoryIsNotCachedAsMissing) {
    box.directory("t");
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE a lib/a\n"));
    rynStatCacheCtl(1);
    EXPECT_EQ(-1, ryni_quick_access(definitions.handle, at("t/a").c_str(), F_OK, nullptr));
    rynAddCommand(nullptr, "ASSIGN AllLibs TmpRootDir t");
    EXPECT_EQ(0, ryni_quick_access(definitions.handle, at("t/a").c_str(), F_OK, nullptr));
    EXPECT_EQ(RYN_OK, sAddGlobalTmppath(definitions.handle, at("").c_str()));
    EXPECT_EQ(kNone, recorded.diagnostics);
}

TEST_F(GlobalTmp, ReportsATooLongPathUncut) {
    const std::string root = test::lengthened(at("r"), 4000);
    box.directory(root.substr(at("").size() + 1));
    const std::string name(3000, 'n');
    ASSERT_EQ(RYN_OK, definitions.load("DEFINE " + name + " x\n"));
    rynAddCommand(nullptr, ("ASSIGN AllLibs TmpRootDir " + root).c_str());
    recorded.diagnostics.clear();
    EXPECT_EQ(RYN_OK, sAddGlobalTmppath(definitions.handle, "/"));
    ASSERT_EQ(1U, recorded.diagnostics.size());
    EXPECT_EQ(RYN_SYSTEM_ERROR, recorded.diagnostics[0].code);
    EXPECT_EQ(root + "/" + name, recorded.diagnostics[0].object);
    EXPECT_EQ("global " + root + "/" + name + " " + root + "/" + name, explicitOf(name.c_str()));
}

TEST_F(GlobalTmp, EveryFailedAllocationIsReported) {
    box.directory("real").link("t", "real").directory("mine");
    const std::string text = "DEFINE a lib/a\nDEFINE b lib/b\nDEFINE c lib/c\nASSIGN c TMP mine\n";
    int failures = 0;
    for (int nth = 1; nth < 60; ++nth) {
        ASSERT_EQ(RYN_OK, definitions.load(text));
        rynAddCommand(nullptr, "ASSIGN AllLibs TmpRootDir t");
        rynAddCommand(nullptr, "UNASSIGN a X");
        ASSERT_EQ(RYN_OK,
                  ryn::setExplicitTmp(*definitions.handle, *definitions.library("a"), nullptr, nullptr));
        recorded.diagnostics.clear();
        ryn::setGlobalTmpLocation("F", 9);
        recorded.warningResult = 61;
        faults::failAllocation(nth);
        const int status = sAddGlobalTmppath(definitions.handle, at("").c_str());
        faults::failAllocation(1 << 30);
        recorded.warningResult = 0;
        if (status == RYN_OK) {
            EXPECT_EQ("global " + at("t/a") + " " + at("real/a"), explicitOf("a"));
        } else {
            ++failures;
            EXPECT_EQ(61, status);
            ASSERT_EQ(1U, recorded.diagnostics.size());
            const std::string object = recorded.diagnostics[0].object;
            EXPECT_TRUE(object == at("t/a") || object == at("t/b")) << object;
            EXPECT_EQ((test::Diagnostic{RYN_MEMORY_ERROR, object, "F", 9}), recorded.diagnostics[0]);
            EXPECT_EQ(object == at("t/a") ? "global - -" : "global " + at("t/a") + " " + at("real/a"),
                      explicitOf("a"));
        }
        EXPECT_EQ("global " + at("t/b") + " " + at("real/b"), explicitOf("b"));
        EXPECT_EQ(own("mine"), explicitOf("c"));
        EXPECT_EQ(1, ryniLibPathReused(definitions.handle, at("real/b").c_str(), nullptr, 0));
    }
    EXPECT_LT(3, failures);
}

// ---- within one creation

namespace {

bool isThere(const char *path) {
    return access(path, F_OK) == 0;
}

/// Removes the temporary directory of the library "a" at the first diagnostic, and records all.
int removeDirectoryOfA(int code, const char *object, const char *file, int line) {
    if (recorded.diagnostics.empty()) {
        EXPECT_EQ(rmdir("t/a"), 0);
    }
    return test::recordWarning(code, object, file, line);
}

} // namespace

TEST_F(GlobalTmp, CreationMakesEachDirectoryOnce) {
    box.directory("t").file("more.lib", "DEFINE b lib/b\n").file("last.lib", "SYNTAX\nDEFINE c lib/c\n");
    box.file("first.lib", "DEFINE a lib/a\n");
    box.file("vek.lib",
             "ASSIGN AllLibs TmpRootDir t\nINCLUDE first.lib\nINCLUDE last.lib\nINCLUDE more.lib\n");
    ASSERT_EQ(RYN_OK, definitions.read(removeDirectoryOfA));
    EXPECT_FALSE(isThere("t/a"));
    EXPECT_TRUE(isThere("t/b"));
    EXPECT_TRUE(isThere("t/c"));
    EXPECT_EQ(global("t/a"), explicitOf("a"));

    rynAddCommand(definitions.handle, "ASSIGN AllLibs TmpRootDir t");
    EXPECT_TRUE(isThere("t/a")) << "a single statement applies the root in full";
}

TEST_F(GlobalTmp, CreationSetsAnUnassignedDirectoryAgainWithoutMakingIt) {
    box.directory("t").file("first.lib", "DEFINE a lib/a\nASSIGN a X 1\nDEFINE b lib/b\n");
    box.file("vek.lib", "ASSIGN AllLibs TmpRootDir t\nINCLUDE first.lib\nUNASSIGN a X\nSYNTAX\n");
    ASSERT_EQ(RYN_OK, definitions.read(removeDirectoryOfA));
    EXPECT_FALSE(isThere("t/a"));
    EXPECT_EQ(global("t/a"), explicitOf("a"));
}

TEST_F(GlobalTmp, CreationReportsAFailureAtTheEndOfEachFile) {
    box.directory("t").link("t/b", "/no/such/directory");
    box.file("one.lib", "DEFINE a lib/a\nDEFINE b lib/b\nDEFINE c lib/c\n")
        .file("two.lib", "DEFINE d lib/d\n");
    box.file("vek.lib", "ASSIGN AllLibs TmpRootDir t\nINCLUDE one.lib\nINCLUDE two.lib\n");
    ASSERT_EQ(RYN_OK, definitions.read(test::recordWarning));
    const test::Diagnostic failure = {RYN_SYSTEM_ERROR, at("t/b"), at("vek.lib"), 1};
    EXPECT_EQ((Diagnostics{failure, failure, failure}), recorded.diagnostics);
    EXPECT_TRUE(isThere("t/a"));
    EXPECT_FALSE(isThere("t/c")) << "the first failure ends it";
}

TEST_F(GlobalTmp, CreationAppliesAChangedRootToAllLibraries) {
    box.directory("t").directory("u").file("one.lib", "DEFINE a lib/a\n").file("two.lib", "DEFINE b lib/b\n");
    box.file("vek.lib",
             "ASSIGN AllLibs TmpRootDir t\nINCLUDE one.lib\nASSIGN AllLibs TmpRootDir u\nINCLUDE two.lib\n");
    ASSERT_EQ(RYN_OK, definitions.read(test::recordWarning));
    EXPECT_EQ(global("u/a"), explicitOf("a"));
    EXPECT_TRUE(isThere("u/a"));
    EXPECT_TRUE(isThere("u/b"));
}

TEST_F(GlobalTmp, CreationDiagnosesReuseThatALaterFileCauses) {
    box.directory("t").directory("own").file("one.lib", "DEFINE a lib/a\n");
    box.file("two.lib", "DEFINE b lib/b\nASSIGN b TMP own\nDEFINE c t/b\n");
    box.file("vek.lib", "ASSIGN AllLibs TmpRootDir t\nINCLUDE one.lib\nINCLUDE two.lib\n");
    ASSERT_EQ(RYN_OK, definitions.read(test::recordWarning));
    const test::Diagnostic reuse = {RYN_DIRECTORY_REUSED, at("own"), at("vek.lib"), 1};
    ASSERT_EQ(2U, recorded.diagnostics.size());
    EXPECT_EQ(reuse, recorded.diagnostics[0]);
    EXPECT_EQ(reuse, recorded.diagnostics[1]);
}

TEST_F(GlobalTmp, CreationDiagnosesReuseByANestedName) {
    box.directory("t").directory("own").file("one.lib", "DEFINE a lib/a\n");
    box.file("two.lib", "DEFINE a/b lib/b\nASSIGN a/b TMP own\n");
    box.file("vek.lib", "ASSIGN AllLibs TmpRootDir t\nINCLUDE one.lib\nINCLUDE two.lib\n");
    ASSERT_EQ(RYN_OK, definitions.read(test::recordWarning));
    const test::Diagnostic reuse = {RYN_DIRECTORY_REUSED, at("own"), at("vek.lib"), 1};
    EXPECT_EQ((Diagnostics{reuse, reuse}), recorded.diagnostics);
}
