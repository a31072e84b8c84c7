#include "tagfile/tov.h"

#include "common/text/ascii.h"
#include "tagfile/tovi_cache.h"
#include "tagfile/tovi_lock.h"
#include "tagfile/tovi_write.h"
#include "tests/support/c_list.h"
#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/support/real_calls.h"
#include "tests/support/small_filesystem.h"
#include "tests/tagfile/tag_support.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace {

using test::kTemplate;

/// The settings of an object as lines of a tag file. Cleared and unset flags are equal, as in a file.
std::string settingsOf(const VekinfoObj &obj) {
    std::string text;
    text += obj.library == 1 ? "VEKLIBRARY\n" : "";
    text += obj.libcheck == 1 ? "VEKLIBCHECK ON\n" : "";
    text += obj.dmtype != nullptr && *obj.dmtype != '\0' ? std::string("DMTYPE ") + obj.dmtype + "\n" : "";
    text += obj.nameSpace == 1 ? "NAMESPACE LibraryNT\n" : "";
    text += obj.nameSpace == 2 ? "NAMESPACE LibraryUnix\n" : "";
    const std::vector<std::string> names = test::strings(obj.names);
    const std::vector<std::string> values = test::strings(obj.values);
    EXPECT_EQ(names.size(), values.size());
    for (std::size_t at = 0; at < names.size() && at < values.size(); ++at) {
        text += names[at] + " " + values[at] + "\n";
    }
    return text;
}

class Edit : public test::TagTest {
  protected:
    /// The text of the tag file of `directory` after the template.
    std::string settings(const std::string &directory = ".") {
        const std::string text = box.read(directory + "/vekinfo.tag");
        EXPECT_EQ(kTemplate, text.substr(0, kTemplate.size()));
        return text.size() < kTemplate.size() ? text : text.substr(kTemplate.size());
    }
    /// The settings of the cached object of the file.
    static std::string cached(const std::string &directory = ".") {
        VekinfoObj out = {};
        int found = 0;
        const int status = tovGetVekinfoAtLoc((directory + "/vekinfo.tag").c_str(), nullptr, &out, &found);
        return status == TOV_OK ? settingsOf(out) : test::failure(status);
    }
    void expectSettings(const std::string &expected, const std::string &directory = ".") {
        EXPECT_EQ(expected, settings(directory));
        EXPECT_EQ(expected, cached(directory)) << "the cache describes what was written";
    }
    static test::TagReports writeFailed(std::size_t times, const std::string &directory = ".") {
        return test::TagReports(times, {TOV_SYSTEM_ERROR, "opening for write", directory, 0});
    }
};

// ---- clearing

TEST_F(Edit, ClearingInADirectoryWithoutATagFileWritesNothing) {
    for (const char *name : {"FOO", "VEKLIBRARY", "DMTYPE"}) {
        EXPECT_EQ(1, tovRemoveEntry(".", name));
    }
    EXPECT_EQ((std::vector<std::string>{}), box.list());
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(Edit, ClearingAKeywordRewritesTheFileWithoutIt) {
    const struct {
        const char *keyword;
        const char *left;
    } cases[] = {
        {"VEKLIBRARY", "VEKLIBCHECK ON\nDMTYPE Mrev\nNAMESPACE LibraryNT\nA 1\nB 2\n"},
        {"VEKLIBCHECK", "VEKLIBRARY\nDMTYPE Mrev\nNAMESPACE LibraryNT\nA 1\nB 2\n"},
        {"DMTYPE", "VEKLIBRARY\nVEKLIBCHECK ON\nNAMESPACE LibraryNT\nA 1\nB 2\n"},
        {"NAMESPACE", "VEKLIBRARY\nVEKLIBCHECK ON\nDMTYPE Mrev\nA 1\nB 2\n"},
        {"veklibrary", "VEKLIBCHECK ON\nDMTYPE Mrev\nNAMESPACE LibraryNT\nA 1\nB 2\n"},
        {"VekLibCheck", "VEKLIBRARY\nDMTYPE Mrev\nNAMESPACE LibraryNT\nA 1\nB 2\n"},
        {"dmtype", "VEKLIBRARY\nVEKLIBCHECK ON\nNAMESPACE LibraryNT\nA 1\nB 2\n"},
        {"NameSpace", "VEKLIBRARY\nVEKLIBCHECK ON\nDMTYPE Mrev\nA 1\nB 2\n"},
    };
    for (const auto &entry : cases) {
        tovResetCache();
        box.file("vekinfo.tag",
                 "# old\nA 1\nVEKLIBRARY\nB 2 rest\nNAMESPACE librarynt\nDMTYPE Mrev\nVEKLIBCHECK on\n");
        EXPECT_EQ(1, tovRemoveEntry(".", entry.keyword));
        expectSettings(entry.left);
    }
}

// Documented: entries of the given name are kept, all others are deleted.
TEST_F(Edit, ClearingAnApplicationEntryKeepsItAndDropsTheOthers) {
    box.file("vekinfo.tag", "A 1\nB 2\n");
    EXPECT_EQ(1, tovRemoveEntry(".", "A"));
    expectSettings("A 1\n");
}

TEST_F(Edit, ClearingAnUnknownEntryDropsAllApplicationEntries) {
    box.file("vekinfo.tag", "A 1\nDMTYPE x\nB 2\n");
    EXPECT_EQ(1, tovRemoveEntry(".", "Z"));
    expectSettings("DMTYPE x\n");
}

TEST_F(Edit, ClearingTheOnlyEntryKeepsIt) {
    box.file("vekinfo.tag", "A 1\n");
    EXPECT_EQ(1, tovRemoveEntry(".", "A"));
    expectSettings("A 1\n");
    EXPECT_EQ(1, tovRemoveEntry(".", "a"));
    expectSettings("A 1\n");
}

TEST_F(Edit, ClearingComparesNamesWithoutCaseAndKeepsTheirOrder) {
    box.file("vekinfo.tag", "foo 1\nB 2\nFoo 3\nC\nFOO\n");
    EXPECT_EQ(1, tovRemoveEntry(".", "fOO"));
    expectSettings("foo 1\nFoo 3\nFOO \n");
}

TEST_F(Edit, ClearingWithoutApplicationEntriesRewritesTheFile) {
    box.file("vekinfo.tag", "# mine\nDMTYPE x\n");
    EXPECT_EQ(1, tovRemoveEntry(".", "A"));
    expectSettings("DMTYPE x\n");
}

TEST_F(Edit, ClearingDoesNotChangeAFileWithASyntaxError) {
    box.file("vekinfo.tag", "A 1\nDMTYPE\n");
    EXPECT_EQ(1, tovRemoveEntry(".", "A"));
    EXPECT_EQ("A 1\nDMTYPE\n", box.read("vekinfo.tag"));
    EXPECT_EQ((test::TagReports{{TOV_SYNTAX_ERROR, "DMTYPE line in vekinfo.tag file", "./vekinfo.tag", 2}}),
              reports.take());
}

TEST_F(Edit, ClearingDoesNotChangeAnUnreadableFile) {
    box.file("vekinfo.tag", "A 1\nB 2\n", 0222);
    test::asUnprivileged([this] {
        EXPECT_EQ(1, tovRemoveEntry(".", "A"));
        EXPECT_EQ(
            (test::TagReports{{TOV_SYSTEM_ERROR, "while opening vekinfo.tag file", "./vekinfo.tag", 0}}),
            reports.take());
    });
    ASSERT_EQ(0, chmod("vekinfo.tag", 0644));
    EXPECT_EQ("A 1\nB 2\n", box.read("vekinfo.tag"));
}

TEST_F(Edit, ClearingKeepsAValuesFirstWordOnly) {
    box.file("vekinfo.tag", "A one two three\r\nA\r\n");
    EXPECT_EQ(1, tovRemoveEntry(".", "A"));
    expectSettings("A one\nA \n");
}

// ---- adding

TEST_F(Edit, AddingInADirectoryWithoutATagFileCreatesIt) {
    EXPECT_EQ(1, tovAddEntry(".", "FOO", "1"));
    EXPECT_EQ(kTemplate + "FOO 1\n", box.read("vekinfo.tag"));
    EXPECT_EQ(test::kNoReports, reports.take());
    EXPECT_STREQ("1", tovLookupEntry(box.path().c_str(), "FOO", nullptr));
}

TEST_F(Edit, AddingAKeywordSetsIt) {
    const struct {
        const char *name;
        const char *value;
        const char *line;
    } cases[] = {
        {"VEKLIBRARY", "ignored", "VEKLIBRARY\n"},
        {"veklibrary", "", "VEKLIBRARY\n"},
        {"VEKLIBCHECK", "on", "VEKLIBCHECK ON\n"},
        {"DMTYPE", "Mrev", "DMTYPE Mrev\n"},
        {"dmtype", "LOPA", "DMTYPE LOPA\n"},
        {"NAMESPACE", "librarynt", "NAMESPACE LibraryNT\n"},
        {"NameSpace", "LIBRARYUNIX", "NAMESPACE LibraryUnix\n"},
    };
    for (const auto &entry : cases) {
        tovResetCache();
        unlink("vekinfo.tag");
        EXPECT_EQ(1, tovAddEntry(".", entry.name, entry.value)) << entry.name;
        expectSettings(entry.line);
        box.file("vekinfo.tag", "X 1\n");
        tovResetCache();
        EXPECT_EQ(1, tovAddEntry(".", entry.name, entry.value)) << entry.name;
        expectSettings(std::string(entry.line) + "X 1\n");
    }
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(Edit, AddingAKeywordReplacesItsValue) {
    box.file("vekinfo.tag", "DMTYPE old\nNAMESPACE LibraryNT\nVEKLIBCHECK ON\n");
    EXPECT_EQ(1, tovAddEntry(".", "DMTYPE", "new"));
    EXPECT_EQ(1, tovAddEntry(".", "NAMESPACE", "LibraryUnix"));
    expectSettings("VEKLIBCHECK ON\nDMTYPE new\nNAMESPACE LibraryUnix\n");
}

TEST_F(Edit, AddingTheLibraryEntryNeedsNoValue) {
    EXPECT_EQ(1, tovAddEntry(".", "VEKLIBRARY", nullptr));
    expectSettings("VEKLIBRARY\n");
}

// OFF is never written.
TEST_F(Edit, AddingLibraryCheckOffLeavesNoLine) {
    box.file("vekinfo.tag", "VEKLIBCHECK ON\nDMTYPE x\n");
    EXPECT_EQ(1, tovAddEntry(".", "VEKLIBCHECK", "OFF"));
    expectSettings("DMTYPE x\n");
}

TEST_F(Edit, AddingAnApplicationEntryDropsTheOthers) {
    box.file("vekinfo.tag", "A 1\nDMTYPE x\nB 2\n");
    EXPECT_EQ(1, tovAddEntry(".", "C", "3"));
    expectSettings("DMTYPE x\nC 3\n");
}

TEST_F(Edit, AddingAnExistingNameKeepsTheOldLineFirst) {
    box.file("vekinfo.tag", "A 1\n");
    EXPECT_EQ(1, tovAddEntry(".", "a", "2"));
    expectSettings("A 1\na 2\n");
    tovResetCache();
    EXPECT_STREQ("1", tovLookupEntry(".", "A", nullptr));
}

TEST_F(Edit, AddingAnExistingNameDropsTheEntriesOfOtherNames) {
    box.file("vekinfo.tag", "A 1\nB 2\n");
    EXPECT_EQ(1, tovAddEntry(".", "A", "3"));
    expectSettings("A 1\nA 3\n");
}

TEST_F(Edit, AddingTwiceInOneProcessIsWrittenTwice) {
    for (int round = 0; round < 50; ++round) {
        ASSERT_EQ(1, tovAddEntry(".", "A", std::to_string(round).c_str()));
    }
    const std::string text = settings();
    EXPECT_EQ(0U, text.find("A 0\nA 1\nA 2\n"));
    EXPECT_NE(std::string::npos, text.find("\nA 49\n"));
    EXPECT_EQ(text, cached());
}

TEST_F(Edit, ValuesAreWrittenAsGiven) {
    EXPECT_EQ(1, tovAddEntry(".", "FOO", "Some  Words #and more"));
    EXPECT_EQ("FOO Some  Words #and more\n", settings());
    tovResetCache();
    EXPECT_STREQ("Some", tovLookupEntry(".", "FOO", nullptr));
}

TEST_F(Edit, CacheHasTheValueAsGiven) {
    box.file("vekinfo.tag", "");
    EXPECT_EQ(1, tovAddEntry(".", "FOO", "Some  Words"));
    expectSettings("FOO Some  Words\n");
}

TEST_F(Edit, AnEmptyValueLeavesABlankThatReadsAsNone) {
    EXPECT_EQ(1, tovAddEntry(".", "FOO", ""));
    EXPECT_EQ("FOO \n", settings());
    tovResetCache();
    EXPECT_STREQ("", tovLookupEntry(".", "FOO", nullptr));
}

TEST_F(Edit, LongNamesAndValuesAreWrittenWhole) {
    for (const std::size_t size : {1023U, 1024U, 1025U, 2047U, 2048U, 4095U, 4096U, 4097U, 100U * 1024U}) {
        tovResetCache();
        unlink("vekinfo.tag");
        const std::string name(size, 'n');
        const std::string value(size, 'v');
        EXPECT_EQ(1, tovAddEntry(".", name.c_str(), value.c_str())) << size;
        EXPECT_EQ(name + " " + value + "\n", settings()) << size;
    }
}

// ---- values that the keyword does not allow

TEST_F(Edit, BadValueIsReportedAndTheFileWrittenWithoutIt) {
    EXPECT_EQ(1, tovAddEntry(".", "VEKLIBCHECK", "maybe"));
    EXPECT_EQ(
        (test::TagReports{{TOV_SYNTAX_ERROR, "VEKLIBCHECK line in vekinfo.tag file", "./vekinfo.tag", 0}}),
        reports.take());
    expectSettings("");
}

TEST_F(Edit, BadValueIsReportedWithTheFilesLineCount) {
    box.file("d/vekinfo.tag", "VEKLIBCHECK ON\nA 1\n\n");
    EXPECT_EQ(1, tovAddEntry("d", "VEKLIBCHECK", "maybe"));
    EXPECT_EQ(
        (test::TagReports{{TOV_SYNTAX_ERROR, "VEKLIBCHECK line in vekinfo.tag file", "d/vekinfo.tag", 3}}),
        reports.take());
    expectSettings("A 1\n", "d");
}

TEST_F(Edit, InvalidNamespaceLeavesNoNamespace) {
    box.file("vekinfo.tag", "NAMESPACE LibraryNT\n");
    EXPECT_EQ(1, tovAddEntry(".", "NAMESPACE", "Unix"));
    EXPECT_EQ(
        (test::TagReports{{TOV_SYNTAX_ERROR, "NAMESPACE line in vekinfo.tag file", "./vekinfo.tag", 1}}),
        reports.take());
    expectSettings("");
}

TEST_F(Edit, BadValueForNewFileIsPrintedWithoutLine) {
    tovRegisterErrorHandler(nullptr);
    test::Capture capture;
    EXPECT_EQ(1, tovAddEntry(".", "VEKLIBCHECK", "maybe"));
    EXPECT_EQ("Error (tov): 'syntax error' VEKLIBCHECK line in vekinfo.tag file : ./vekinfo.tag.\n\n",
              capture.err());
}

// ---- files that cannot be read

TEST_F(Edit, AddingReplacesAFileWithASyntaxError) {
    box.file("vekinfo.tag", "A 1\nDMTYPE\nB 2\n");
    EXPECT_EQ(1, tovAddEntry(".", "FOO", "1"));
    const test::TagReport error = {TOV_SYNTAX_ERROR, "DMTYPE line in vekinfo.tag file", "./vekinfo.tag", 2};
    EXPECT_EQ((test::TagReports{error, error}), reports.take()) << "once on clearing, once on adding";
    EXPECT_EQ("FOO 1\n", settings());
    EXPECT_EQ("FOO 1\n", cached());
}

TEST_F(Edit, AddingReplacesAnUnreadableFileThatMayBeWritten) {
    box.file("vekinfo.tag", "A 1\n", 0222);
    test::asUnprivileged([] { EXPECT_EQ(1, tovAddEntry(".", "FOO", "1")); });
    ASSERT_EQ(0, chmod("vekinfo.tag", 0644));
    EXPECT_EQ("FOO 1\n", settings());
}

TEST_F(Edit, ATagFileThatIsADirectoryIsReported) {
    box.directory("vekinfo.tag");
    EXPECT_EQ(0, tovRemoveEntry(".", "A"));
    EXPECT_EQ(writeFailed(1), reports.take());
    EXPECT_EQ(0, tovAddEntry(".", "A", "1"));
    EXPECT_EQ(writeFailed(2), reports.take());
}

TEST_F(Edit, PipeDoesNotBlock) {
    box.fifo("vekinfo.tag");
    const test::Outcome outcome = test::inChild(
        [] {
            EXPECT_EQ(0, tovRemoveEntry(".", "A"));
            EXPECT_EQ(0, tovAddEntry(".", "A", "1"));
            return 0;
        },
        test::ChildOptions{.timeoutMs = 5000});
    EXPECT_EQ(0, outcome.status);
    EXPECT_FALSE(outcome.timedOut);
}

// ---- files that cannot be written

TEST_F(Edit, AMissingDirectoryIsReported) {
    EXPECT_EQ(1, tovRemoveEntry("none", "A"));
    EXPECT_EQ(test::kNoReports, reports.take());
    EXPECT_EQ(0, tovAddEntry("none", "A", "1"));
    EXPECT_EQ(writeFailed(1, "none"), reports.take());
}

TEST_F(Edit, FileWithoutWritePermissionIsReportedAndUnchanged) {
    box.file("vekinfo.tag", "A 1\nB 2\n", 0444);
    test::asUnprivileged([this] {
        EXPECT_EQ(0, tovRemoveEntry(".", "A"));
        EXPECT_EQ(writeFailed(1), reports.take());
        EXPECT_EQ("A 1\nB 2\n", cached());
        EXPECT_EQ(0, tovAddEntry(".", "A", "1"));
        EXPECT_EQ(writeFailed(2), reports.take()) << "once on clearing, once on adding";
        EXPECT_EQ("A 1\nB 2\n", cached());
    });
    EXPECT_EQ("A 1\nB 2\n", box.read("vekinfo.tag"));
}

TEST_F(Edit, BadValueIsReportedBetweenTheTwoWriteErrors) {
    box.file("vekinfo.tag", "VEKLIBCHECK ON\nA 1\n", 0444);
    test::asUnprivileged([this] {
        EXPECT_EQ(0, tovAddEntry(".", "VEKLIBCHECK", "maybe"));
        test::TagReports expected = writeFailed(1);
        expected.push_back({TOV_SYNTAX_ERROR, "VEKLIBCHECK line in vekinfo.tag file", "./vekinfo.tag", 2});
        expected.push_back(expected.front());
        EXPECT_EQ(expected, reports.take());
        EXPECT_EQ("VEKLIBCHECK ON\nA 1\n", cached());
    });
    EXPECT_EQ("VEKLIBCHECK ON\nA 1\n", box.read("vekinfo.tag"));
}

TEST_F(Edit, TheFailureIsPrintedWithTheDirectory) {
    tovRegisterErrorHandler(nullptr);
    test::Capture capture;
    EXPECT_EQ(0, tovAddEntry("none", "A", "1"));
    EXPECT_EQ("Error (tov): 'system error' opening for write : none.\n\n", capture.err());
}

TEST_F(Edit, PathHasAtMost4095Characters) {
    const std::string longest = test::spelledWith(".", 4083);
    EXPECT_EQ(1, tovAddEntry(longest.c_str(), "A", "1"));
    EXPECT_EQ("A 1\n", settings());
    EXPECT_EQ(1, tovRemoveEntry(longest.c_str(), "B"));
    EXPECT_EQ("", settings());
    unlink("vekinfo.tag");
    for (const std::size_t size : {4084U, 4085U, 4095U, 4096U, 4097U, 100000U}) {
        const std::string directory = test::spelledWith(".", size);
        EXPECT_EQ(0, tovAddEntry(directory.c_str(), "A", "1")) << size;
        EXPECT_EQ(writeFailed(1, directory), reports.take()) << size;
        EXPECT_EQ(1, tovRemoveEntry(directory.c_str(), "A")) << size;
        EXPECT_EQ((std::vector<std::string>{}), box.list()) << size;
    }
}

TEST_F(Edit, NullArgumentsAreAccepted) {
    box.file("vekinfo.tag", "A 1\nB 2\n");
    EXPECT_EQ(1, tovRemoveEntry(nullptr, "A")) << "there is no file";
    EXPECT_EQ(1, tovRemoveEntry(".", nullptr));
    EXPECT_EQ("A 1\nB 2\n", box.read("vekinfo.tag"));
    EXPECT_EQ(0, tovAddEntry(nullptr, "A", "1"));
    tovAddEntry(".", nullptr, "1");
    EXPECT_EQ(1, tovAddEntry(".", "A", nullptr));
    EXPECT_EQ("A \n", settings());
    tovSetPathDmType(".", nullptr);
    tovCreateInfoFile(nullptr, nullptr);
}

// ---- failed writes

class FailedEdit : public Edit {
  protected:
    /// Runs one edit over `old` with a fault armed. After a failure the file and the cache are as they were.
    int edit(const std::string &old, const std::function<int()> &body, const std::function<void()> &arm,
             const std::string &expected) {
        box.file("vekinfo.tag", old);
        tovResetCache();
        const std::string before = cached();
        static_cast<void>(reports.take());
        test::faults::reset();
        arm();
        const int result = body();
        test::faults::reset();
        const test::TagReports collected = reports.take();
        if (result == 1) {
            expectSettings(expected);
        } else {
            EXPECT_EQ(old, box.read("vekinfo.tag"));
            EXPECT_EQ(before, cached());
            EXPECT_FALSE(collected.empty());
            for (const test::TagReport &report : collected) {
                EXPECT_EQ((test::TagReport{TOV_SYSTEM_ERROR, "opening for write", ".", 0}), report);
            }
        }
        return result;
    }

    static constexpr const char *kCalls[] = {"open",      "fallocate", "pwrite", "write",
                                             "ftruncate", "fsync",     "close"};

    const std::string old_ = "A 1\nVEKLIBRARY\nDMTYPE Mrev\nNAMESPACE LibraryNT\nB 2\nA 3\n";
};

TEST_F(FailedEdit, ClearingChangesNothingIfAnyCallFails) {
    const struct {
        const char *name;
        const char *expected;
    } edits[] = {
        {"A", "VEKLIBRARY\nDMTYPE Mrev\nNAMESPACE LibraryNT\nA 1\nA 3\n"},
        {"Z", "VEKLIBRARY\nDMTYPE Mrev\nNAMESPACE LibraryNT\n"},
        {"DMTYPE", "VEKLIBRARY\nNAMESPACE LibraryNT\nA 1\nB 2\nA 3\n"},
        {"VEKLIBRARY", "DMTYPE Mrev\nNAMESPACE LibraryNT\nA 1\nB 2\nA 3\n"},
        {"NAMESPACE", "VEKLIBRARY\nDMTYPE Mrev\nA 1\nB 2\nA 3\n"},
    };
    for (const auto &entry : edits) {
        const auto body = [&] { return tovRemoveEntry(".", entry.name); };
        ASSERT_EQ(1, edit(
                         old_, body, [] {}, entry.expected));
        for (const char *call : kCalls) {
            for (int nth = 1; nth <= 3; ++nth) {
                SCOPED_TRACE(std::string(entry.name) + " " + call + " " + std::to_string(nth));
                edit(
                    old_, body, [&] { test::faults::fail(call, nth, ENOSPC); }, entry.expected);
            }
        }
        EXPECT_EQ(0, edit(
                         old_, body, [] { test::faults::failFrom("pwrite", 1, ENOSPC); }, entry.expected));
        EXPECT_EQ(0, edit(
                         old_, body, [] { test::faults::failFrom("fallocate", 1, ENOSPC); }, entry.expected));
    }
}

TEST_F(FailedEdit, AddingChangesNothingIfTheDiskIsFull) {
    const struct {
        const char *name;
        const char *value;
        const char *expected;
    } edits[] = {
        {"A", "4", "VEKLIBRARY\nDMTYPE Mrev\nNAMESPACE LibraryNT\nA 1\nA 3\nA 4\n"},
        {"Z", "4", "VEKLIBRARY\nDMTYPE Mrev\nNAMESPACE LibraryNT\nZ 4\n"},
        {"DMTYPE", "pkm", "VEKLIBRARY\nDMTYPE pkm\nNAMESPACE LibraryNT\nA 1\nB 2\nA 3\n"},
        {"VEKLIBCHECK", "ON",
         "VEKLIBRARY\nVEKLIBCHECK ON\nDMTYPE Mrev\nNAMESPACE LibraryNT\nA 1\nB 2\nA 3\n"},
    };
    for (const auto &entry : edits) {
        const auto body = [&] { return tovAddEntry(".", entry.name, entry.value); };
        ASSERT_EQ(1, edit(
                         old_, body, [] {}, entry.expected));
        for (const char *call : {"pwrite", "fallocate", "fsync"}) {
            SCOPED_TRACE(std::string(entry.name) + " " + call);
            EXPECT_EQ(0, edit(
                             old_, body, [&] { test::faults::failFrom(call, 1, ENOSPC); }, entry.expected));
        }
    }
}

// Adding writes twice; when the second write fails, what the first one did must not have cost anything.
TEST_F(FailedEdit, AddingLosesNothingWhicheverWriteFails) {
    const auto body = [] { return tovAddEntry(".", "Z", "4"); };
    for (const char *call : kCalls) {
        for (int nth = 1; nth <= 6; ++nth) {
            SCOPED_TRACE(std::string(call) + " " + std::to_string(nth));
            box.file("vekinfo.tag", old_);
            tovResetCache();
            cached();
            test::faults::reset();
            test::faults::fail(call, nth, ENOSPC);
            const int result = body();
            test::faults::reset();
            const test::TagReports collected = reports.take();
            if (result == 0) {
                EXPECT_EQ(old_, box.read("vekinfo.tag"));
                EXPECT_EQ("VEKLIBRARY\nDMTYPE Mrev\nNAMESPACE LibraryNT\nA 1\nB 2\nA 3\n", cached());
                EXPECT_FALSE(collected.empty());
            } else {
                EXPECT_EQ(settings(), cached());
                EXPECT_NE(std::string::npos, settings().find("Z 4\n"));
            }
        }
    }
}

TEST_F(FailedEdit, CacheKeepsOtherFiles) {
    constexpr int kMoreThanBuckets = 300;
    const auto directory = [](int at) { return "d" + std::to_string(at); };
    for (int at = 0; at < kMoreThanBuckets; ++at) {
        box.file(directory(at) + "/vekinfo.tag", "DMTYPE old\n");
        ASSERT_EQ("DMTYPE old\n", cached(directory(at)));
    }
    test::faults::failFrom("fallocate", 1, ENOSPC);
    for (int at = 0; at < kMoreThanBuckets; ++at) {
        EXPECT_EQ(0, tovRemoveEntry(directory(at).c_str(), "DMTYPE"));
    }
    test::faults::reset();
    for (int at = 0; at < kMoreThanBuckets; ++at) {
        unlink((directory(at) + "/vekinfo.tag").c_str());
        EXPECT_EQ("DMTYPE old\n", cached(directory(at))) << at;
    }
}

TEST_F(FailedEdit, OnAFullFileSystemNothingIsLost) {
    test::onSmallFilesystem(64U * 1024U, [this](const std::string &directory) {
        const std::string path = directory + "/vekinfo.tag";
        std::ofstream(path) << old_;
        ASSERT_EQ(0, chmod(path.c_str(), 0640));
        struct stat before = {};
        ASSERT_EQ(0, stat(path.c_str(), &before));
        {
            std::ofstream filler(directory + "/filler");
            while (filler << std::string(1024, 'f') << std::flush) {
            }
        }

        // The new text needs more than the one page that the old file has.
        EXPECT_EQ(0, tovAddEntry(directory.c_str(), "A", std::string(20000, 'v').c_str()));

        EXPECT_FALSE(reports.take().empty());
        std::ifstream file(path);
        EXPECT_EQ(old_, std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()));
        struct stat after = {};
        ASSERT_EQ(0, stat(path.c_str(), &after));
        EXPECT_EQ(before.st_ino, after.st_ino);
        EXPECT_EQ(before.st_mode, after.st_mode);
        EXPECT_EQ("VEKLIBRARY\nDMTYPE Mrev\nNAMESPACE LibraryNT\nA 1\nB 2\nA 3\n", cached(directory));
    });
}

TEST_F(FailedEdit, AFailedFirstAddLeavesNoFile) {
    test::faults::failFrom("pwrite", 1, ENOSPC);
    EXPECT_EQ(0, tovAddEntry(".", "A", "1"));
    test::faults::reset();
    EXPECT_EQ((std::vector<std::string>{}), box.list());
    EXPECT_EQ(test::failure(TOV_NO_SUCH_FILE), cached());
}

TEST_F(FailedEdit, ExhaustedMemoryLosesNothing) {
    const std::string whole = "VEKLIBRARY\nDMTYPE Mrev\nNAMESPACE LibraryNT\nA 1\nB 2\nA 3\n";
    for (int nth = 1; nth <= 100; ++nth) {
        for (const bool readBefore : {false, true}) {
            SCOPED_TRACE(nth);
            box.file("vekinfo.tag", old_);
            tovResetCache();
            if (readBefore) {
                cached();
            }
            test::faults::failAllocation(nth);
            const int result = tovAddEntry(".", "DMTYPE", "pkm");
            test::faults::reset();
            const bool reported = !reports.take().empty();
            tovResetCache();
            if (result == 1) {
                EXPECT_EQ("VEKLIBRARY\nDMTYPE pkm\nNAMESPACE LibraryNT\nA 1\nB 2\nA 3\n", cached());
            } else {
                EXPECT_TRUE(reported);
                EXPECT_EQ(whole, cached());
            }
        }
    }
}

TEST_F(FailedEdit, ClearingWithoutMemoryChangesNothing) {
    int failures = 0;
    int result = 0;
    const struct {
        const char *name;
        const char *left;
    } edits[] = {
        {"A", "VEKLIBRARY\nDMTYPE Mrev\nNAMESPACE LibraryNT\nA 1\nA 3\n"},
        {"DMTYPE", "VEKLIBRARY\nNAMESPACE LibraryNT\nA 1\nB 2\nA 3\n"},
    };
    for (int nth = 1; result == 0 || nth < 30; ++nth) {
        for (const auto &[name, left] : edits) {
            SCOPED_TRACE(nth);
            box.file("vekinfo.tag", old_);
            tovResetCache();
            cached();
            test::faults::failAllocation(nth);
            result = tovRemoveEntry(".", name);
            test::faults::reset();
            if (result == 1) {
                EXPECT_EQ(left, settings());
            } else {
                EXPECT_EQ(old_, box.read("vekinfo.tag"));
                ++failures;
            }
        }
    }
    EXPECT_LT(5, failures);
}

// ---- many edits in one process

/// A model of the documented rules of edits.
struct Model {
    bool exists = false;
    bool library = false;
    bool check = false;
    std::string dmtype;
    std::string nameSpace;
    std::vector<std::pair<std::string, std::string>> entries;

    static bool same(const std::string &a, const std::string &b) {
        return strcasecmp(a.c_str(), b.c_str()) == 0;
    }

    void remove(const std::string &name) {
        if (!exists) {
            return;
        }
        if (same(name, "VEKLIBRARY")) {
            library = false;
        } else if (same(name, "VEKLIBCHECK")) {
            check = false;
        } else if (same(name, "DMTYPE")) {
            dmtype.clear();
        } else if (same(name, "NAMESPACE")) {
            nameSpace.clear();
        } else {
            std::vector<std::pair<std::string, std::string>> kept;
            for (const auto &entry : entries) {
                if (same(entry.first, name)) {
                    kept.push_back(entry);
                }
            }
            if (kept.size() != entries.size()) {
                entries = kept;
            }
        }
    }

    void add(const std::string &name, const std::string &value) {
        remove(name);
        exists = true;
        if (same(name, "VEKLIBRARY")) {
            library = true;
        } else if (same(name, "VEKLIBCHECK")) {
            check = same(value, "ON");
        } else if (same(name, "DMTYPE")) {
            dmtype = value;
        } else if (same(name, "NAMESPACE")) {
            nameSpace = same(value, "LibraryNT")     ? "LibraryNT"
                        : same(value, "LibraryUnix") ? "LibraryUnix"
                                                     : "";
        } else {
            entries.emplace_back(name, value);
        }
    }

    [[nodiscard]] std::string text() const {
        std::string lines;
        lines += library ? "VEKLIBRARY\n" : "";
        lines += check ? "VEKLIBCHECK ON\n" : "";
        lines += dmtype.empty() ? "" : "DMTYPE " + dmtype + "\n";
        lines += nameSpace.empty() ? "" : "NAMESPACE " + nameSpace + "\n";
        for (const auto &[name, value] : entries) {
            lines += name + " " + value + "\n";
        }
        return lines;
    }
};

TEST_F(Edit, CacheMatchesTheFileAfterAnySequenceOfEdits) {
    const char *names[] = {"A", "a", "B", "C", "A", "A", "VEKLIBRARY", "VEKLIBCHECK", "DMTYPE", "NAMESPACE"};
    const char *values[] = {"1", "two", "", "ON", "off", "LibraryNT", "libraryunix", "Mrev"};
    Model model;
    uint32_t state = 20240229;
    const auto next = [&state](std::size_t limit) {
        state = state * 1664525U + 1013904223U;
        return (state >> 16U) % limit;
    };
    for (int step = 0; step < 600; ++step) {
        const char *name = names[next(std::size(names))];
        const char *value = values[next(std::size(values))];
        const bool removes = next(4) == 0;
        if (next(5) == 0) {
            tovResetCache();
        }
        if (next(3) == 0) { // a query between the edits
            tovLookupEntry(box.path().c_str(), name, nullptr);
        }
        if (removes) {
            model.remove(name);
            ASSERT_EQ(1, tovRemoveEntry(".", name));
        } else {
            model.add(name, value);
            ASSERT_EQ(1, tovAddEntry(".", name, value));
        }
        if (model.exists) {
            ASSERT_EQ(model.text(), settings()) << step << ": " << name << " " << value;
            ASSERT_EQ(model.text(), cached()) << step << ": " << name << " " << value;
        }
    }
}

TEST_F(Edit, QueriesOfTheSameProcessSeeTheEditedKeywords) {
    box.file("vekinfo.tag", "DMTYPE old\n");
    const std::string here = box.path();
    EXPECT_STREQ("old", tovGetDmType(here.c_str()));
    EXPECT_EQ(1, tovAddEntry(here.c_str(), "DMTYPE", "new"));
    EXPECT_STREQ("new", tovGetDmType(here.c_str()));
    EXPECT_EQ(1, tovAddEntry(here.c_str(), "NAMESPACE", "LibraryNT"));
    EXPECT_STREQ("LibraryNT", tovGetNameSpace(here.c_str()));
    EXPECT_EQ(1, tovRemoveEntry(here.c_str(), "DMTYPE"));
    EXPECT_EQ(nullptr, tovLookupEntry(here.c_str(), "DMTYPE", nullptr));
}

TEST_F(Edit, AnotherSpellingOfThePathKeepsItsCachedObject) {
    box.file("vekinfo.tag", "DMTYPE old\n");
    const std::string here = box.path();
    EXPECT_STREQ("old", tovGetDmType(here.c_str()));
    EXPECT_EQ(1, tovAddEntry(".", "DMTYPE", "new"));
    EXPECT_STREQ("old", tovGetDmType(here.c_str()));
}

// ---- a file that has changed since it was read

TEST_F(Edit, EditAppliesToTheCurrentFile) {
    box.file("vekinfo.tag", "DMTYPE old\nA 1\n");
    EXPECT_EQ("DMTYPE old\nA 1\n", cached());
    box.file("vekinfo.tag", "VEKLIBRARY\nA 2\n");
    EXPECT_EQ(1, tovAddEntry(".", "NAMESPACE", "LibraryNT"));
    expectSettings("VEKLIBRARY\nNAMESPACE LibraryNT\nA 2\n");
    box.file("vekinfo.tag", "DMTYPE new\nB 1\nA 2\n");
    EXPECT_EQ(1, tovRemoveEntry(".", "A"));
    expectSettings("DMTYPE new\nA 2\n");
}

TEST_F(Edit, BadValueIsReportedWithTheCurrentLineCount) {
    box.file("vekinfo.tag", "A 1\n");
    cached();
    box.file("vekinfo.tag", "A 1\n\n\n\n");
    EXPECT_EQ(1, tovAddEntry(".", "VEKLIBCHECK", "maybe"));
    EXPECT_EQ(
        (test::TagReports{{TOV_SYNTAX_ERROR, "VEKLIBCHECK line in vekinfo.tag file", "./vekinfo.tag", 4}}),
        reports.take());
}

TEST_F(Edit, RemovedFileCountsAsMissing) {
    box.file("vekinfo.tag", "DMTYPE old\nA 1\n");
    cached();
    unlink("vekinfo.tag");
    EXPECT_EQ(1, tovRemoveEntry(".", "A"));
    EXPECT_FALSE(box.exists("vekinfo.tag"));
    EXPECT_EQ(test::failure(TOV_NO_SUCH_FILE), cached()) << "the cache does not describe a removed file";
    box.file("vekinfo.tag", "DMTYPE old\nA 1\n");
    cached();
    unlink("vekinfo.tag");
    EXPECT_EQ(1, tovAddEntry(".", "A", "2"));
    expectSettings("A 2\n");
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(Edit, NewSyntaxErrorIsReportedAsOnFirstReading) {
    const test::TagReport error = {TOV_SYNTAX_ERROR, "DMTYPE line in vekinfo.tag file", "./vekinfo.tag", 2};
    box.file("vekinfo.tag", "DMTYPE old\n");
    cached();
    box.file("vekinfo.tag", "A 1\nDMTYPE\n");
    EXPECT_EQ(1, tovRemoveEntry(".", "A"));
    EXPECT_EQ((test::TagReports{error}), reports.take());
    EXPECT_EQ("A 1\nDMTYPE\n", box.read("vekinfo.tag"));
    EXPECT_EQ(1, tovAddEntry(".", "B", "2"));
    EXPECT_EQ((test::TagReports{error, error}), reports.take());
    expectSettings("B 2\n");
}

TEST_F(Edit, CacheMatchesTheFileAfterAFailedWrite) {
    box.file("vekinfo.tag", "DMTYPE old\n");
    cached();
    box.file("vekinfo.tag", "DMTYPE new\nA 1\n");
    test::faults::failFrom("fsync", 1, EIO);
    EXPECT_EQ(0, tovAddEntry(".", "VEKLIBRARY", ""));
    test::faults::reset();
    EXPECT_EQ("DMTYPE new\nA 1\n", cached());
    EXPECT_EQ("DMTYPE new\nA 1\n", box.read("vekinfo.tag"));
}

TEST_F(Edit, AFileThatCannotBeReadBackLeavesTheCache) {
    box.file("vekinfo.tag", "A 1\nDMTYPE old\n");
    ASSERT_EQ("DMTYPE old\nA 1\n", cached());
    test::faults::fail("read", 1, EIO);
    EXPECT_EQ(1, tovRemoveEntry(".", "DMTYPE"));
    test::faults::reset();
    EXPECT_EQ(test::kNoReports, reports.take());
    EXPECT_EQ("A 1\n", settings());
    box.file("vekinfo.tag", "A 2\n");
    EXPECT_EQ("A 2\n", cached());
}

TEST_F(Edit, CacheHasEntriesOfTheFileBeforeTheAddedOne) {
    const struct {
        const char *value;
        const char *cachedValue;
    } values[] = {{"3", "3"}, {"3 # 4", "3 # 4"}, {"3\nB 4\nC 5", "3\nB 4\nC 5"}, {"", ""}};
    for (const auto &[value, cachedValue] : values) {
        box.file("vekinfo.tag", "A 1\nOTHER\nA 2 word\n");
        EXPECT_EQ(1, tovAddEntry(".", "A", value));
        EXPECT_EQ(std::string("A 1\nA 2\nA ") + cachedValue + "\n", cached());
        EXPECT_EQ(std::string("A 1\nA 2\nA ") + value + "\n", settings());
        box.file("vekinfo.tag", "A 1\nA 2\n");
        EXPECT_EQ(1, tovAddEntry(".", "#A", value)); // reads as a comment
        EXPECT_EQ(std::string("#A ") + cachedValue + "\n", cached());
    }
}

TEST_F(Edit, AFileThatCannotBeRestoredLeavesTheCache) {
    box.file("vekinfo.tag", "DMTYPE old\n");
    ASSERT_EQ("DMTYPE old\n", cached());
    test::faults::fail("fsync", 1, EIO);
    test::faults::failFrom("pwrite", 2, EIO);
    EXPECT_EQ(0, tovRemoveEntry(".", "DMTYPE"));
    test::faults::reset();
    EXPECT_EQ(kTemplate, box.read("vekinfo.tag"));
    EXPECT_EQ("", cached());
}

TEST_F(Edit, AFileThatBecameUnreadableLeavesTheCache) {
    box.directory("d", 0777);
    test::asUnprivileged([this] {
        std::ofstream("d/vekinfo.tag") << "DMTYPE old\n";
        ASSERT_EQ("DMTYPE old\n", cached("d"));
        ASSERT_EQ(0, chmod("d/vekinfo.tag", 0200));
        EXPECT_EQ(1, tovRemoveEntry("d", "DMTYPE"));
        const test::TagReport error = {TOV_SYSTEM_ERROR, "while opening vekinfo.tag file", "d/vekinfo.tag",
                                       0};
        EXPECT_EQ((test::TagReports{error}), reports.take());
        EXPECT_EQ(test::failure(TOV_SYSTEM_ERROR), cached("d"));
    });
}

TEST_F(Edit, BeginsByClearingTheLastObjectSlot) {
    box.file("vekinfo.tag", "DMTYPE old\n").directory("d");
    cached();
    ASSERT_NE(nullptr, tempVekinfoFromHash);
    EXPECT_EQ(1, tovRemoveEntry("d", "DMTYPE"));
    EXPECT_EQ(nullptr, tempVekinfoFromHash);
}

TEST_F(Edit, UnchangedStringsKeepTheirAddresses) {
    box.file("vekinfo.tag", "DMTYPE old\nA 1\n");
    VekinfoObj before = {};
    int found = 0;
    ASSERT_EQ(TOV_OK, tovGetVekinfoAtLoc("./vekinfo.tag", nullptr, &before, &found));
    EXPECT_EQ(1, tovAddEntry(".", "NAMESPACE", "LibraryNT"));
    EXPECT_STREQ("old", before.dmtype);
    EXPECT_EQ((test::Entries{"A=1"}), test::entriesOf(before));
    VekinfoObj after = {};
    ASSERT_EQ(TOV_OK, tovGetVekinfoAtLoc("./vekinfo.tag", nullptr, &after, &found));
    EXPECT_EQ(before.names, after.names);
    EXPECT_EQ(before.dmtype, after.dmtype);
}

TEST_F(Edit, ArgumentsMayBelongToTheCache) {
    box.file("vekinfo.tag", "DMTYPE old\nA 1\n");
    const std::string here = box.path();
    EXPECT_EQ(1, tovAddEntry(here.c_str(), "A", tovLookupEntry(here.c_str(), "DMTYPE", nullptr)));
    EXPECT_EQ(1, tovSetPathDmType(here.c_str(), tovLookupEntry(here.c_str(), "DMTYPE", nullptr)));
    EXPECT_EQ("DMTYPE old\nA 1\nA old\n", settings());
}

// ---- waiting for another edit

TEST_F(Edit, WaitsForTheLockAndEditsTheNewContent) {
    box.file("vekinfo.tag", "DMTYPE old"); // as long as what the other one writes
    const int file = __real_open("vekinfo.tag", O_RDWR | O_CLOEXEC);
    tov::FileLock lock;
    ASSERT_EQ(tov::LockResult::Locked, lock.acquire(file, tov::LockKind::Exclusive, tov::Deadline(0)));
    test::faults::atNextSleep([&] {
        EXPECT_EQ(11, __real_pwrite(file, "VEKLIBRARY\n", 11, 0));
        lock.release();
    });
    EXPECT_EQ(1, tovAddEntry(".", "DMTYPE", "new"));
    expectSettings("VEKLIBRARY\nDMTYPE new\n");
    __real_close(file);
}

TEST_F(Edit, LockHeldForThirtySecondsGivesOneReport) {
    box.file("vekinfo.tag", "DMTYPE old\nA 1\n").directory("d");
    cached();
    const int file = __real_open("vekinfo.tag", O_RDWR | O_CLOEXEC);
    tov::FileLock lock;
    ASSERT_EQ(tov::LockResult::Locked, lock.acquire(file, tov::LockKind::Exclusive, tov::Deadline(0)));
    test::faults::skipWaiting();
    const tov::Deadline clock(100'000);
    EXPECT_EQ(0, tovAddEntry(".", "B", "2"));
    EXPECT_EQ(writeFailed(1), reports.take());
    const int waited = 100'000 - clock.remaining();
    EXPECT_LE(30'000, waited);
    EXPECT_GT(31'000, waited);
    EXPECT_EQ(0, tovRemoveEntry(".", "A"));
    EXPECT_EQ(writeFailed(1), reports.take());
    EXPECT_EQ(0, updateInfoFile(".", test::emptyTagObject().get()));
    EXPECT_EQ(writeFailed(1), reports.take());
    EXPECT_EQ("DMTYPE old\nA 1\n", box.read("vekinfo.tag"));
    EXPECT_EQ("DMTYPE old\nA 1\n", cached());
    __real_close(file);
}

// ---- handlers

namespace {

void resetCache(int /*code*/, const char * /*text*/, const char * /*where*/, int /*line*/) {
    tovResetCache();
}

int nestedResult = -1;

void editAgain(int /*code*/, const char * /*text*/, const char * /*where*/, int /*line*/) {
    tovRegisterErrorHandler(nullptr);
    nestedResult = tovAddEntry(".", "NESTED", "1");
}

} // namespace

TEST_F(Edit, AHandlerMayEmptyTheCacheDuringAFailingEdit) {
    tovRegisterErrorHandler(resetCache);
    const std::function<int()> edits[] = {
        [] { return tovAddEntry(".", "VEKLIBCHECK", "maybe"); },
        [] { return tovAddEntry(".", "A", "1"); },
        [] { return tovRemoveEntry(".", "A"); },
        [] { return tovSetPathDmType(".", "x y"); },
        [] { return tovClearPathUnmanaged("."); },
    };
    for (const auto &edit : edits) {
        for (const char *call : {"pwrite", "fallocate", "fsync", "open"}) {
            box.file("vekinfo.tag", "DMTYPE old\nA 1\nB 2\n");
            cached();
            test::faults::failFrom(call, 1, ENOSPC);
            edit();
            test::faults::reset();
        }
        box.file("vekinfo.tag", "DMTYPE\n");
        edit();
    }
}

TEST_F(Edit, AHandlerMayEditTheSameFile) {
    box.file("vekinfo.tag", "DMTYPE old\n");
    tovRegisterErrorHandler(editAgain);
    EXPECT_EQ(1, tovAddEntry(".", "VEKLIBCHECK", "maybe"));
    EXPECT_EQ(1, nestedResult);
    EXPECT_EQ(0, test::faults::count("nanosleep")) << "the lock was free";
    expectSettings("DMTYPE old\nNESTED 1\n");
    tovRegisterErrorHandler(editAgain);
    test::faults::fail("fsync", 1, EIO);
    nestedResult = -1;
    EXPECT_EQ(0, tovRemoveEntry(".", "DMTYPE"));
    EXPECT_EQ(1, nestedResult);
    expectSettings("DMTYPE old\nNESTED 1\nNESTED 1\n");
}

// ---- the short forms

TEST_F(Edit, TheDmTypeHasShortForms) {
    EXPECT_EQ(1, tovSetPathDmType(".", "Mrev"));
    expectSettings("DMTYPE Mrev\n");
    EXPECT_EQ(1, tovSetPathUnmanaged("."));
    expectSettings("DMTYPE none\n");
    EXPECT_EQ(1, tovClearPathUnmanaged("."));
    expectSettings("");
    EXPECT_EQ(0, tovSetPathDmType("none", "x"));
    EXPECT_EQ(0, tovSetPathUnmanaged("none"));
    EXPECT_EQ(1, tovClearPathUnmanaged("none"));
}

// An empty type is kept in the cache and not written.
TEST_F(Edit, AnEmptyDmtypeIsNotWritten) {
    EXPECT_EQ(1, tovSetPathDmType(".", ""));
    EXPECT_EQ("", settings());
}

// ---- creating

class Create : public Edit {
  protected:
    static int create(const char *directory, const std::vector<std::string> &lines) {
        return tovCreateInfoFile(directory, test::CList(lines));
    }
};

TEST_F(Create, WritesTheTemplateAndTheLines) {
    EXPECT_EQ(1, create(".", {"VEKLIBRARY", "# any text", "", "FOO  bar  baz"}));
    EXPECT_EQ(kTemplate + "VEKLIBRARY\n# any text\n\nFOO  bar  baz\n", box.read("vekinfo.tag"));
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(Create, WithoutLinesWritesTheTemplate) {
    EXPECT_EQ(1, tovCreateInfoFile(".", nullptr));
    EXPECT_EQ(kTemplate, box.read("vekinfo.tag"));
    box.directory("d");
    EXPECT_EQ(1, create("d", {}));
    EXPECT_EQ(kTemplate, box.read("d/vekinfo.tag"));
}

TEST_F(Create, NeverOverwritesAFile) {
    box.file("vekinfo.tag", "A 1\n");
    EXPECT_EQ(0, create(".", {"B 2"}));
    EXPECT_EQ((test::TagReports{{TOV_FILE_EXISTS, "didn't overwrite file", "./vekinfo.tag", 0}}),
              reports.take());
    EXPECT_EQ("A 1\n", box.read("vekinfo.tag"));
    box.directory("d/vekinfo.tag").link("n/vekinfo.tag", "/dev/null");
    EXPECT_EQ(0, create("d", {"B 2"}));
    EXPECT_EQ((test::TagReports{{TOV_FILE_EXISTS, "didn't overwrite file", "d/vekinfo.tag", 0}}),
              reports.take());
    EXPECT_EQ(0, create("n", {"B 2"}));
    EXPECT_EQ((test::TagReports{{TOV_FILE_EXISTS, "didn't overwrite file", "n/vekinfo.tag", 0}}),
              reports.take());
}

TEST_F(Create, RemovesTheEarlierFileFromTheCache) {
    box.file("vekinfo.tag", "A 1\nDMTYPE old\n");
    cached();
    unlink("vekinfo.tag");
    EXPECT_EQ(1, create(".", {"B 2"}));
    expectSettings("B 2\n");
    EXPECT_EQ(1, tovAddEntry(".", "B", "3"));
    expectSettings("B 2\nB 3\n");
}

TEST_F(Create, SecondCreatorFindsAnExistingFile) {
    // The file is created after the first lookup.
    test::faults::fail("stat", 1, ENOENT);
    box.file("vekinfo.tag", "A 1\n");
    EXPECT_EQ(0, create(".", {"B 2"}));
    EXPECT_EQ((test::TagReports{{TOV_FILE_EXISTS, "didn't overwrite file", "./vekinfo.tag", 0}}),
              reports.take());
    EXPECT_EQ("A 1\n", box.read("vekinfo.tag"));
}

TEST_F(Create, FileFilledBeforeItIsLockedExists) {
    test::faults::fail("fcntl", 1, EAGAIN);
    test::faults::atNextSleep([] {
        const int file = __real_open("vekinfo.tag", O_WRONLY | O_CLOEXEC);
        EXPECT_EQ(4, __real_write(file, "A 1\n", 4));
        __real_close(file);
    });
    EXPECT_EQ(0, create(".", {"B 2"}));
    EXPECT_EQ((test::TagReports{{TOV_FILE_EXISTS, "didn't overwrite file", "./vekinfo.tag", 0}}),
              reports.take());
    EXPECT_EQ("A 1\n", box.read("vekinfo.tag"));
}

TEST_F(Create, AFileThatCannotBeOpenedIsReported) {
    EXPECT_EQ(0, create("none", {"B 2"}));
    EXPECT_EQ((test::TagReports{{TOV_SYSTEM_ERROR, "open for write", "none/vekinfo.tag", 0}}),
              reports.take());
    box.directory("d", 0555);
    test::asUnprivileged([this] {
        EXPECT_EQ(0, create("d", {"B 2"}));
        EXPECT_EQ((test::TagReports{{TOV_SYSTEM_ERROR, "open for write", "d/vekinfo.tag", 0}}),
                  reports.take());
    });
}

TEST_F(Create, LongLinesAreWrittenWhole) {
    const std::string line(100000, 'l');
    EXPECT_EQ(1, create(".", {line, line}));
    EXPECT_EQ(kTemplate + line + "\n" + line + "\n", box.read("vekinfo.tag"));
}

TEST_F(Create, AFailedWriteIsReportedAndCanBeRepeated) {
    for (const char *call :
         {"pwrite", "write", "fallocate", "fsync", "close", "fclose", "fflush", "ftruncate"}) {
        SCOPED_TRACE(call);
        unlink("vekinfo.tag");
        test::faults::fail(call, 1, ENOSPC);
        const int result = create(".", {"A 1"});
        test::faults::reset();
        const test::TagReports collected = reports.take();
        if (result == 0) {
            ASSERT_EQ(1U, collected.size());
            EXPECT_EQ(TOV_SYSTEM_ERROR, collected[0].code);
            EXPECT_EQ(1, create(".", {"A 1"})) << "no incomplete file is left";
        }
        EXPECT_EQ(kTemplate + "A 1\n", box.read("vekinfo.tag"));
    }
}

TEST_F(Create, OnAFullFileSystemIsReported) {
    test::onSmallFilesystem(64U * 1024U, [this](const std::string &directory) {
        {
            std::ofstream filler(directory + "/filler");
            while (filler << std::string(1024, 'f') << std::flush) {
            }
        }
        EXPECT_EQ(0, create(directory.c_str(), {"A 1"}));
        const test::TagReports collected = reports.take();
        ASSERT_EQ(1U, collected.size());
        EXPECT_EQ(TOV_SYSTEM_ERROR, collected[0].code);
    });
}

TEST_F(Create, PathHasAtMost4095Characters) {
    const std::string longest = test::spelledWith(".", 4083);
    EXPECT_EQ(1, create(longest.c_str(), {}));
    unlink("vekinfo.tag");
    for (const std::size_t size : {4084U, 4096U, 100000U}) {
        EXPECT_EQ(0, create(test::spelledWith(".", size).c_str(), {})) << size;
        EXPECT_EQ((std::vector<std::string>{}), box.list()) << size;
    }
}

} // namespace
