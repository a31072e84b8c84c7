#include "tool/vekinfo_report.h"

#include "search/pux.h"
#include "tests/support/c_list.h"
#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/support/small_filesystem.h"
#include "tests/tagfile/tag_support.h"
#include "tool/vekinfo_args.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

namespace {

class Report : public test::TagTest {
  protected:
    void SetUp() override {
        test::TagTest::SetUp();
        gotTestPath = 0;
        testPath = nullptr;
    }
    void TearDown() override {
        puxReleaseHandle(nullptr);
        test::TagTest::TearDown();
    }

    /// @return "status", or "path" if a file was found
    static std::string find(const std::string &start) {
        test::WhereBuffer path;
        const int status = tovFindInfoFile(start.c_str(), path.get());
        return status == TOV_OK ? path.text() : test::failure(status);
    }

    /// @return the lookup report on `names` for `path` ("": the working directory), without its first line
    std::string lookup(const std::string &path, const std::vector<std::string> &names) {
        const std::string relative = path.empty() ? box.path() : path;
        gotTestPath = path.empty() ? 0 : 1;
        testPath = path.empty() ? nullptr : relative.c_str();
        test::CList list(names);
        test::Capture capture;
        tovVekinfoLookup(list);
        const std::string out = capture.out();
        EXPECT_EQ("", capture.err());
        const std::string first = "vekinfo searching relative to '" + relative + "':\n";
        EXPECT_EQ(first, out.substr(0, first.size()));
        return out.size() < first.size() ? out : out.substr(first.size());
    }
    std::string at(const std::string &relative) { return box.path(relative); }

    static std::string missing(const std::string &name) {
        return "Info (vekinfo): could not locate an entry for '" + name + "' in any vekinfo.tag file.\n";
    }
    static std::string defines(const std::string &file, const std::string &entry) {
        return file + "\n    defines '" + entry + "'.\n";
    }
};

// ---- finding the file to show

TEST_F(Report, TheNearestFileIsFound) {
    box.file("a/vekinfo.tag", "").file("a/b/vekinfo.tag", "").directory("a/b/c/d").directory("e");
    EXPECT_EQ(at("a/b/vekinfo.tag"), find(at("a/b/c/d")));
    EXPECT_EQ(at("a/b/vekinfo.tag"), find("a/b"));
    EXPECT_EQ(at("a/vekinfo.tag"), find("a"));
    EXPECT_EQ(test::failure(TOV_NO_SUCH_FILE), find("e"));
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(Report, FindingAppendsASlashAndTheName) {
    box.file("d/vekinfo.tag", "");
    EXPECT_EQ(at("d//vekinfo.tag"), find("d/"));
    box.directory("e/f");
    box.file("e/vekinfo.tag", "");
    EXPECT_EQ(at("e/vekinfo.tag"), find("e/f/"));
}

TEST_F(Report, FindingABadPathIsReported) {
    EXPECT_EQ(test::failure(TOV_INVALID_PATH), find("/no/such/path"));
    EXPECT_EQ((test::TagReports{{TOV_PATH_PROCESSING, "tovNormalizePath", "/no/such/path", 0},
                                {TOV_INVALID_PATH, "/no/such/path", "", 0}}),
              reports.take());
}

TEST_F(Report, FindingFollowsNoLinks) {
    box.file("a/vekinfo.tag", "").file("x/vekinfo.tag", "").directory("x/y/c").link("a/b", at("x/y"));
    EXPECT_EQ(at("a/vekinfo.tag"), find("a/b/c"));
}

TEST_F(Report, FindingAcceptsEveryFileType) {
    box.directory("a/vekinfo.tag").fifo("b/vekinfo.tag").link("c/vekinfo.tag", "/none").directory("c/d");
    EXPECT_EQ(at("a/vekinfo.tag"), find("a"));
    EXPECT_EQ(at("b/vekinfo.tag"), find("b"));
    EXPECT_EQ(test::failure(TOV_NO_SUCH_FILE), find("c/d")) << "a dangling link does not exist";
}

TEST_F(Report, FindingNeverExaminesTheRootsOwnFile) {
    box.file("vekinfo.tag", "DMTYPE root\n").directory("a/b").file("net/vekinfo.tag", "").directory("net/x");
    const test::Outcome outcome = test::inChild([this] {
        if (geteuid() != 0) {
            EXPECT_EQ(0, unshare(CLONE_NEWUSER));
        }
        const int before = open("/", O_PATH | O_DIRECTORY | O_CLOEXEC);
        EXPECT_EQ(0, chroot(box.path().c_str()));
        EXPECT_EQ(0, chdir("/"));
        EXPECT_EQ(test::failure(TOV_NO_SUCH_FILE), find("/a/b"));
        EXPECT_EQ(test::failure(TOV_NO_SUCH_FILE), find("/"));
        // Mount points do not end this search, unlike a lookup.
        EXPECT_EQ("/net/vekinfo.tag", find("/net/x"));
        EXPECT_EQ(0, fchdir(before));
        EXPECT_EQ(0, chroot("."));
        close(before);
        return 0;
    });
    EXPECT_EQ(0, outcome.status);
}

TEST_F(Report, FindingCrossesMountPoints) {
    box.file("vekinfo.tag", "").directory("m");
    test::withMountAt(box.path("m"), 1U << 20U, [this] {
        box.directory("m/a");
        EXPECT_EQ(at("vekinfo.tag"), find("m/a"));
    });
}

TEST_F(Report, FindingFromALongPathGivesADefinedResult) {
    box.file("vekinfo.tag", "");
    const std::string path = test::spelledWith(box.path(), 1023);
    const std::string found = find(path);
    EXPECT_EQ(0U, found.find(box.path())) << found;
    for (const std::size_t size : {1024U, 4095U, 4096U, 4097U, 100000U}) {
        EXPECT_EQ(test::failure(TOV_INVALID_PATH), find(test::spelledWith(box.path(), size))) << size;
    }
}

// ---- reading it

TEST_F(Report, TheFileIsReadIntoOneObject) {
    box.file("a/vekinfo.tag", "DMTYPE a\n").file("b/vekinfo.tag", "DMTYPE b\n");
    const VekinfoObj *first = tovGetVekinfo("a/vekinfo.tag");
    ASSERT_NE(nullptr, first);
    EXPECT_STREQ("a", first->dmtype);
    const VekinfoObj *second = tovGetVekinfo("b/vekinfo.tag");
    EXPECT_EQ(first, second);
    EXPECT_STREQ("b", second->dmtype);
}

TEST_F(Report, AFileThatCannotBeReadGivesNone) {
    box.file("bad/vekinfo.tag", "DMTYPE\n");
    EXPECT_EQ(nullptr, tovGetVekinfo("none/vekinfo.tag"));
    EXPECT_EQ(nullptr, tovGetVekinfo(""));
    EXPECT_EQ(test::kNoReports, reports.take());
    EXPECT_EQ(nullptr, tovGetVekinfo("bad/vekinfo.tag"));
    EXPECT_EQ(1U, reports.take().size());
}

// ---- printing it

class Print : public Report {
  protected:
    std::string print(const char *filter = nullptr) {
        test::Capture capture;
        EXPECT_EQ(0, tovPrintVekinfo(filter, obj.get()));
        EXPECT_EQ("", capture.err());
        return capture.out();
    }
    void SetUp() override {
        Report::SetUp();
        obj->path = strdup("/d/vekinfo.tag");
    }
    void setEverything() {
        obj->library = 1;
        obj->libcheck = 1;
        obj->dmtype = strdup("Mrev");
        obj->nameSpace = TOV_NAMESPACE_NT;
        test::addEntry(*obj, "FOO", "bar");
    }
    test::TagObject obj = test::emptyTagObject();
};

TEST_F(Print, PrintsOnlyThePathIfNothingIsSet) {
    test::addEntry(*obj, "FOO", "bar");
    EXPECT_EQ("A vekinfo.tag file exists at: /d/vekinfo.tag\n", print());
}

TEST_F(Print, PrintsAllSettingsInFixedOrder) {
    setEverything();
    EXPECT_EQ("A vekinfo.tag file exists at: /d/vekinfo.tag\n"
              "\tThere is a VEKLIBRARY entry.\n"
              "\tThe VEKLIBCHECK entry has a value of: ON.\n"
              "\tThe DMTYPE entry has a value of: Mrev.\n"
              "\tThe NAMESPACE entry has a value of: libraryNt.\n",
              print());
}

TEST_F(Print, PrintsTheOtherValues) {
    obj->library = 0; // cleared is not unset
    obj->libcheck = 0;
    obj->nameSpace = TOV_NAMESPACE_UNIX;
    EXPECT_EQ("A vekinfo.tag file exists at: /d/vekinfo.tag\n"
              "\tThere is a VEKLIBRARY entry.\n"
              "\tThe VEKLIBCHECK entry has a value of: OFF.\n"
              "\tThe NAMESPACE entry has a value of: libraryUnix.\n",
              print());
}

TEST_F(Print, AFilterLimitsTheOutputToItsItem) {
    setEverything();
    EXPECT_EQ("A vekinfo.tag file exists at: /d/vekinfo.tag\n", print("path"));
    EXPECT_EQ("The vekinfo.tag file at: /d/vekinfo.tag\nhas a VEKLIBRARY entry defined.\n",
              print("VEKLIBRARY"));
    EXPECT_EQ("The vekinfo.tag file at /d/vekinfo.tag\nhas a VEKLIBCHECK entry with a value of: ON.\n",
              print("VEKLIBCHECK"));
    EXPECT_EQ("The vekinfo.tag file at /d/vekinfo.tag\nhas a DMTYPE entry with a value of: Mrev.\n",
              print("DMTYPE"));
    EXPECT_EQ("The vekinfo.tag file at /d/vekinfo.tag\nhas a NAMESPACE entry with a value of: libraryNt.\n",
              print("NAMESPACE"));
}

TEST_F(Print, AFilterIsComparedWithoutCase) {
    setEverything();
    EXPECT_EQ(print("path"), print("PATH"));
    EXPECT_EQ(print("VEKLIBRARY"), print("VekLibrary"));
    EXPECT_EQ(print("VEKLIBCHECK"), print("veklibcheck"));
    EXPECT_EQ(print("DMTYPE"), print("DmType"));
    EXPECT_EQ(print("NAMESPACE"), print("namespace"));
}

TEST_F(Print, FilterOnAnUnsetItemPrintsNothing) {
    for (const char *filter : {"VEKLIBRARY", "VEKLIBCHECK", "DMTYPE", "NAMESPACE"}) {
        EXPECT_EQ("", print(filter)) << filter;
    }
}

TEST_F(Print, ApplicationEntriesAreNeverShown) {
    test::addEntry(*obj, "FOO", "bar");
    EXPECT_EQ("", print("FOO"));
}

TEST_F(Print, PrintsOneEntryWithOrWithoutItsPath) {
    test::Capture capture;
    printVfmt("/d/vekinfo.tag", "DMTYPE", "x", 0);
    printVfmt("/d/vekinfo.tag", "DMTYPE", "x", 1);
    EXPECT_EQ("The vekinfo.tag file at /d/vekinfo.tag\n"
              "has a DMTYPE entry with a value of: x.\n"
              "\tThe DMTYPE entry has a value of: x.\n",
              capture.out());
}

TEST_F(Print, TextsAreNotUsedAsFormats) {
    test::Capture capture;
    printVfmt("/%s%n", "%d", "%n%s", 0);
    EXPECT_EQ("The vekinfo.tag file at /%s%n\nhas a %d entry with a value of: %n%s.\n", capture.out());
}

// ---- the show action

class Show : public Report {
  protected:
    static std::string show(int expectedStatus, const std::string &path = "") {
        gotTestPath = path.empty() ? 0 : 1;
        testPath = path.c_str();
        test::Capture capture;
        EXPECT_EQ(expectedStatus, tovVekinfoShow());
        return capture.out();
    }
    static constexpr const char *kNone = "Info (vekinfo): could not find vekinfo.tag file.\n";
};

TEST_F(Show, ReportsAMissingTagFile) {
    EXPECT_EQ(kNone, show(6));
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(Show, StartsAtTheWorkingDirectoryOrThePath) {
    box.file("vekinfo.tag", "DMTYPE here\n").file("a/vekinfo.tag", "VEKLIBRARY\n");
    EXPECT_EQ("A vekinfo.tag file exists at: " + at("vekinfo.tag") +
                  "\n\tThe DMTYPE entry has a value of: here.\n",
              show(0));
    EXPECT_EQ("A vekinfo.tag file exists at: " + at("a/vekinfo.tag") + "\n\tThere is a VEKLIBRARY entry.\n",
              show(0, "a"));
}

TEST_F(Show, ABadPathIsReportedAndNothingFound) {
    EXPECT_EQ(kNone, show(10, "/no/such/path"));
    EXPECT_EQ(2U, reports.take().size());
}

TEST_F(Show, SyntaxErrorIsReportedAndTheStatusIsZero) {
    box.file("vekinfo.tag", "DMTYPE x\nVEKLIBRARY yes\n");
    EXPECT_EQ(kNone, show(0));
    EXPECT_EQ(
        (test::TagReports{{TOV_SYNTAX_ERROR, "VEKLIBRARY line in vekinfo.tag file", at("vekinfo.tag"), 2}}),
        reports.take());
}

TEST_F(Show, AnUnreadableFileIsReported) {
    box.file("vekinfo.tag", "DMTYPE x\n", 0200);
    test::asUnprivileged([this] {
        EXPECT_EQ(kNone, show(0));
        EXPECT_EQ(
            (test::TagReports{{TOV_SYSTEM_ERROR, "while opening vekinfo.tag file", at("vekinfo.tag"), 0}}),
            reports.take());
    });
}

TEST_F(Show, ATagFileWithoutContentIsShownByItsPath) {
    box.directory("d/vekinfo.tag").fifo("f/vekinfo.tag").link("n/vekinfo.tag", "/dev/null");
    for (const char *directory : {"d", "f", "n"}) {
        EXPECT_EQ("A vekinfo.tag file exists at: " + at(directory) + "/vekinfo.tag\n", show(0, directory));
    }
}

// ---- the lookup report

TEST_F(Report, LookupNamesThePathAsGiven) {
    box.file("lib/vekinfo.tag", "DMTYPE none\n").directory("lib/cell");
    EXPECT_EQ(defines(at("lib/vekinfo.tag"), "DMTYPE none"), lookup("lib/cell", {"DMTYPE"}));
    // The search uses the textual parents of the path.
    EXPECT_EQ(defines(at("lib//cell/../vekinfo.tag"), "DMTYPE none"),
              lookup("lib//cell/../cell/", {"dmtype"}));
}

TEST_F(Report, LookupPrintsTheGivenNameAndTheWrittenValue) {
    box.file("vekinfo.tag", "FOO 1\n");
    EXPECT_EQ(defines(at("vekinfo.tag"), "Foo 1"), lookup("", {"Foo"}));
}

TEST_F(Report, LookupOfKeywordsPrintsThemInTheirOwnSpelling) {
    box.file("vekinfo.tag", "DMTYPE Mrev\nNAMESPACE LIBRARYNT\nVEKLIBCHECK on\n");
    EXPECT_EQ(defines(at("vekinfo.tag"), "DMTYPE Mrev") + defines(at("vekinfo.tag"), "NAMESPACE libraryNt") +
                  defines(at("vekinfo.tag"), "VEKLIBCHECK ON"),
              lookup("", {"dmtype", "NameSpace", "veklibCHECK"}));
}

TEST_F(Report, LookupReportsAnUndefinedName) {
    EXPECT_EQ(missing("DMTYPE") + missing("Foo"), lookup("", {"DMTYPE", "Foo"}));
    EXPECT_EQ(missing("dmType"), lookup("", {"dmType"})) << "as typed";
}

TEST_F(Report, LookupFallsBackToTheSearchList) {
    box.directory("a").file("w/vekinfo.tag", "FOO 1\nDMTYPE x\n");
    const std::string workArea = at("w");
    test::setEnvironment({{"VEK_WORKAREA", workArea}});
    EXPECT_EQ(defines(at("w/vekinfo.tag"), "FOO 1"), lookup("a", {"FOO"}));
    EXPECT_EQ(defines(at("w/vekinfo.tag"), "DMTYPE x"), lookup("a", {"DMTYPE"}));
}

TEST_F(Report, LookupOfEntryWithoutValueContinuesOnSearchList) {
    box.file("a/vekinfo.tag", "FOO\n");
    EXPECT_EQ(missing("FOO"), lookup("a", {"FOO"}));
    tovResetCache();
    box.file("vekinfo.tag", "FOO\n");
    EXPECT_EQ(defines("./vekinfo.tag", "FOO "), lookup("a", {"FOO"})) << "an empty value is found";
}

// Documented: a second search in the same process can stop at a different file than the first.
TEST_F(Report, LookupOfASecondNameDependsOnTheFirst) {
    box.file("a/vekinfo.tag", "B far\n").file("a/b/vekinfo.tag", "A near\n");
    EXPECT_EQ(defines(at("a/b/vekinfo.tag"), "A near") + missing("B"), lookup("a/b", {"A", "B"}));
    tovResetCache();
    EXPECT_EQ(missing("DMTYPE") + missing("A"), lookup("a/b", {"DMTYPE", "A"}));
}

TEST_F(Report, LookupOfTheNamespaceHasADefaultWithoutAFile) {
    EXPECT_EQ("\n    defines 'NAMESPACE libraryUnix'.\n", lookup("", {"namespace"}));
}

TEST_F(Report, LookupOfTheNamespaceUnix) {
    box.file("vekinfo.tag", "NAMESPACE libraryUNIX\n");
    EXPECT_EQ(defines(at("vekinfo.tag"), "NAMESPACE libraryUnix"), lookup("", {"NAMESPACE"}));
}

TEST_F(Report, LookupOfTheLibraryCheckStartsAtTheWorkingDirectory) {
    box.file("a/vekinfo.tag", "VEKLIBCHECK ON\n");
    EXPECT_EQ("VEKLIBCHECK is not defined. It is OFF by default.\n", lookup("a", {"veklibcheck"}));
    tovResetCache();
    box.file("vekinfo.tag", "VEKLIBCHECK OFF\n");
    EXPECT_EQ(defines(at("vekinfo.tag"), "VEKLIBCHECK OFF"), lookup("a", {"VEKLIBCHECK"}));
}

TEST_F(Report, LookupOfTheLibraryReportsThatCheckingIsOff) {
    box.file("lib/vekinfo.tag", "VEKLIBRARY\n").directory("lib/cell").directory("other");
    const std::string off = "Info (vekinfo): Library checking is off, VEKLIBRARY entries will not be used.\n";
    EXPECT_EQ(off + "The vekinfo.tag file at: " + at("lib/vekinfo.tag") +
                  "\nhas a VEKLIBRARY entry defined.\n",
              lookup("lib/cell", {"veklibrary"}));
    EXPECT_EQ(off + "No VEKLIBRARY entry was found in any location relative to\nother.\n",
              lookup("other", {"VekLibrary"}));
}

TEST_F(Report, LookupOfTheLibraryWithCheckingOn) {
    box.file("vekinfo.tag", "VEKLIBCHECK ON\n").file("lib/vekinfo.tag", "VEKLIBRARY\n").directory("other");
    EXPECT_EQ("The vekinfo.tag file at: " + at("lib/vekinfo.tag") + "\nhas a VEKLIBRARY entry defined.\n",
              lookup("lib", {"VEKLIBRARY"}));
    EXPECT_EQ("No VEKLIBRARY entry was found in any location relative to\nother.\n",
              lookup("other", {"VEKLIBRARY"}));
}

TEST_F(Report, LookupOfTheLibraryDoesNotUseTheSearchList) {
    box.file("vekinfo.tag", "VEKLIBCHECK ON\n").file("w/vekinfo.tag", "VEKLIBRARY\n").directory("a");
    test::setEnvironment({{"VEK_WORKAREA", at("w")}});
    EXPECT_EQ("No VEKLIBRARY entry was found in any location relative to\na.\n", lookup("a", {"VEKLIBRARY"}));
}

TEST_F(Report, LookupOfTheLibraryReportsAnErrorAsNotFound) {
    box.file("lib/vekinfo.tag", "VEKLIBRARY\nDMTYPE\n");
    EXPECT_EQ("Info (vekinfo): Library checking is off, VEKLIBRARY entries will not be used.\n"
              "No VEKLIBRARY entry was found in any location relative to\nlib.\n",
              lookup("lib", {"VEKLIBRARY"}));
    EXPECT_EQ(
        (test::TagReports{{TOV_SYNTAX_ERROR, "DMTYPE line in vekinfo.tag file", at("lib/vekinfo.tag"), 2}}),
        reports.take());
}

// Documented: a path that cannot be normalized is tried without end.
TEST_F(Report, LookupOfTheLibraryRepeatsForAnInvalidPath) {
    const test::Outcome outcome = test::inChild(
        [] {
            tovRegisterErrorHandler(nullptr);
            gotTestPath = 1;
            testPath = "/no/such/dir";
            std::string name = "veklibrary";
            std::string next = "DMTYPE";
            char *names[] = {name.data(), next.data(), nullptr};
            setvbuf(stdout, nullptr, _IOLBF, 0);
            tovVekinfoLookup(names);
            return 0;
        },
        test::ChildOptions{.timeoutMs = 10000, .outputLimit = 100000});
    EXPECT_EQ(-1, outcome.status) << "it does not end by itself";
    const std::string off = "Info (vekinfo): Library checking is off, VEKLIBRARY entries will not be used.\n";
    EXPECT_EQ(0U, outcome.out.find("vekinfo searching relative to '/no/such/dir':\n" + off + off + off));
    const std::string error =
        "Error (tov): 'error while processing path' tovNormalizePath : /no/such/dir.\n\n"
        "Error (tov): 'invalid path' /no/such/dir.\n\n";
    EXPECT_EQ(0U, outcome.err.find(error + error + error));
    EXPECT_EQ(std::string::npos, outcome.out.find("DMTYPE")) << "the next name is never reached";
}

TEST_F(Report, LookupOfTheLibraryContinuesWhenThePathBecomesValid) {
    static int rounds = 0;
    tovRegisterErrorHandler([](int code, const char *text, const char *, int) {
        rounds += code == TOV_INVALID_PATH ? 1 : 0;
        if (rounds == 3) {
            EXPECT_EQ(0, mkdir(text, 0755));
        }
    });
    const std::string off = "Info (vekinfo): Library checking is off, VEKLIBRARY entries will not be used.\n";
    EXPECT_EQ(off + off + off + off + "No VEKLIBRARY entry was found in any location relative to\n" +
                  box.path("late") + ".\n",
              lookup(box.path("late"), {"VEKLIBRARY"}));
    EXPECT_EQ(3, rounds);
}

TEST_F(Report, LookupPrintsADotForAnUnreadableWorkingDirectory) {
    char *names[] = {nullptr};
    test::Capture capture;
    test::faults::failFrom("getcwd", 1, ENOENT);
    tovVekinfoLookup(names);
    test::faults::reset();
    EXPECT_EQ("vekinfo searching relative to '.':\n", capture.out());
}

TEST_F(Report, LookupAcceptsAnEmptyName) {
    EXPECT_EQ(missing(""), lookup("", {""}));
}

TEST_F(Report, LookupOfLongNamesPrintsThemWhole) {
    const std::string name(100000, 'n');
    EXPECT_EQ(missing(name), lookup("", {name}));
}

} // namespace
