#include "tagfile/tovi_write.h"

#include "tagfile/tovi_edited_file.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/support/limits.h"
#include "tests/support/small_filesystem.h"
#include "tests/tagfile/tag_support.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <utility>

namespace {

using test::kTemplate;

std::string contentOf(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

class Write : public test::TagTest {
  protected:
    /// The text that updateInfoFile() wrote after the template.
    std::string written() {
        EXPECT_EQ(1, updateInfoFile(".", obj.get()));
        const std::string text = box.read("vekinfo.tag");
        EXPECT_EQ(kTemplate, text.substr(0, kTemplate.size()));
        return text.size() < kTemplate.size() ? text : text.substr(kTemplate.size());
    }
    void expectWriteFailed(const std::string &directory) {
        EXPECT_EQ((test::TagReports{{TOV_SYSTEM_ERROR, "opening for write", directory, 0}}), reports.take());
    }

    test::TagObject obj = test::emptyTagObject();
};

// ---- the template

TEST_F(Write, TheTemplateHas38LinesAnd1306Bytes) {
    FILE *file = std::fopen("template", "w");
    ASSERT_NE(nullptr, file);
    tovWriteDefaultVekinfotag(file);
    ASSERT_EQ(0, std::fclose(file));
    const std::string text = box.read("template");
    EXPECT_EQ(kTemplate, text);
    EXPECT_EQ(1306U, text.size());
    EXPECT_EQ(38, std::count(text.begin(), text.end(), '\n'));
}

// ---- the settings

TEST_F(Write, EmptyObjectWritesTheTemplateOnly) {
    EXPECT_EQ("", written());
}

TEST_F(Write, TheSettingsFollowInFixedOrder) {
    test::addEntry(*obj, "FOO", "bar");
    test::addEntry(*obj, "Empty", "");
    test::addEntry(*obj, "FOO", "again");
    obj->nameSpace = TOV_NAMESPACE_UNIX;
    obj->dmtype = strdup("Mrev");
    obj->libcheck = 1;
    obj->library = 1;
    EXPECT_EQ("VEKLIBRARY\n"
              "VEKLIBCHECK ON\n"
              "DMTYPE Mrev\n"
              "NAMESPACE LibraryUnix\n"
              "FOO bar\n"
              "Empty \n"
              "FOO again\n",
              written());
}

TEST_F(Write, NamespaceNtIsSpelledOut) {
    obj->nameSpace = TOV_NAMESPACE_NT;
    EXPECT_EQ("NAMESPACE LibraryNT\n", written());
}

TEST_F(Write, ClearedAndUnsetFlagsAreNotWritten) {
    obj->library = 0;
    obj->libcheck = 255;
    EXPECT_EQ("", written());
}

TEST_F(Write, AnOffSettingOfTheLibraryCheckIsNotWritten) {
    obj->libcheck = 0;
    EXPECT_EQ("", written());
}

TEST_F(Write, EntryWithoutValueIsNameAndBlank) {
    obj->names = vekAddToStrlist(obj->names, "NAME", &obj->namesSize);
    EXPECT_EQ(1, updateInfoFile(".", obj.get()));
    EXPECT_EQ(kTemplate + "NAME \n", box.read("vekinfo.tag"));
}

TEST_F(Write, AnEmptyDmtypeIsNotWritten) {
    obj->dmtype = strdup("");
    EXPECT_EQ("", written());
}

TEST_F(Write, LongTextsAreWrittenWhole) {
    std::string expected = "DMTYPE ";
    const std::string dmtype(4097, 'd');
    obj->dmtype = strdup(dmtype.c_str());
    expected += dmtype + "\n";
    for (const std::size_t size : {1023U, 1024U, 1025U, 4095U, 4096U, 4097U, 100U * 1024U}) {
        const std::string name(size, 'n');
        const std::string value(size, 'v');
        test::addEntry(*obj, name.c_str(), value.c_str());
        expected += name + " " + value + "\n";
    }
    EXPECT_EQ(expected, written());
}

TEST_F(Write, CacheLacksOmittedLines) {
    box.file("vekinfo.tag", "DMTYPE old\n");
    ASSERT_STREQ("old", tovLookupEntry(".", "DMTYPE", nullptr));
    VekinfoObj cached = {};
    ASSERT_EQ(TOV_OK, tovGetVekinfoAtLoc("./vekinfo.tag", nullptr, &cached, nullptr));
    obj->dmtype = strdup("two words");
    test::addEntry(*obj, "A", "1");
    EXPECT_EQ(1, updateInfoFile(".", obj.get()));
    EXPECT_EQ((test::TagReports{{TOV_SYNTAX_ERROR, "DMTYPE line in vekinfo.tag file", "./vekinfo.tag", 0}}),
              reports.take());
    EXPECT_EQ(kTemplate + "A 1\n", box.read("vekinfo.tag"));
    ASSERT_EQ(TOV_OK, tovGetVekinfoAtLoc("./vekinfo.tag", nullptr, &cached, nullptr));
    EXPECT_EQ(nullptr, cached.dmtype);
    EXPECT_EQ((test::Entries{"A=1"}), test::entriesOf(cached));
}

TEST_F(Write, CacheAgreesWithTheFileWhenMemoryIsExhausted) {
    test::addEntry(*obj, "NEW", "2");
    // With an invalid DMTYPE a line is left out, so that the written text is parsed for the cache.
    for (const char *dmtype : {"none", "two words"}) {
        std::free(std::exchange(obj->dmtype, strdup(dmtype)));
        int shortages = 0;
        for (int nth = 1; nth <= 40; ++nth) {
            tovResetCache();
            box.file("vekinfo.tag", "OLD 1\n");
            VekinfoObj cached = {};
            ASSERT_EQ(TOV_OK, tovGetVekinfoAtLoc("./vekinfo.tag", nullptr, &cached, nullptr));
            test::faults::failAllocation(nth);
            const int result = updateInfoFile(".", obj.get());
            test::faults::reset();
            const test::TagReports reported = reports.take();
            shortages += !reported.empty() && reported.back().code == TOV_MEMORY_ERROR ? 1 : 0;
            const test::Entries expected = result == 1 ? test::entriesOf(*obj) : test::Entries{"OLD=1"};
            ASSERT_EQ(TOV_OK, tovGetVekinfoAtLoc("./vekinfo.tag", nullptr, &cached, nullptr));
            EXPECT_EQ(expected, test::entriesOf(cached)) << dmtype << ", allocation " << nth;
            EXPECT_EQ(result == 0, box.read("vekinfo.tag") == "OLD 1\n") << dmtype << ", allocation " << nth;
        }
        EXPECT_GT(shortages, 1) << dmtype;
    }
}

TEST_F(Write, ReplacesTheWholeFile) {
    box.file("vekinfo.tag", std::string(10000, 'x'));
    EXPECT_EQ("", written());
    box.file("vekinfo.tag", "VEKLIBRARY\n");
    obj->dmtype = strdup("m");
    EXPECT_EQ("DMTYPE m\n", written());
}

TEST_F(Write, PathIsDirectoryTextSlashAndName) {
    box.directory("d");
    EXPECT_EQ(1, updateInfoFile("d/", obj.get()));
    EXPECT_EQ(1, updateInfoFile(box.path("d/../d").c_str(), obj.get()));
    EXPECT_EQ(kTemplate, box.read("d/vekinfo.tag"));
}

// ---- what stays

TEST_F(Write, TheFileKeepsInodeOwnerModeAndHardLinks) {
    box.file("vekinfo.tag", "DMTYPE old\n", 0640);
    ASSERT_EQ(0, link("vekinfo.tag", "other.name"));
    if (geteuid() == 0) {
        ASSERT_EQ(0, chown("vekinfo.tag", 1234, 2345));
    }
    struct stat before = {};
    ASSERT_EQ(0, stat("vekinfo.tag", &before));

    EXPECT_EQ("", written());

    struct stat after = {};
    ASSERT_EQ(0, stat("vekinfo.tag", &after));
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(before.st_uid, after.st_uid);
    EXPECT_EQ(before.st_gid, after.st_gid);
    EXPECT_EQ(before.st_mode, after.st_mode);
    EXPECT_EQ(2U, after.st_nlink);
    EXPECT_EQ(kTemplate, box.read("other.name"));
    EXPECT_EQ((std::vector<std::string>{"other.name", "vekinfo.tag"}), box.list());
}

TEST_F(Write, SymbolicLinkIsKeptAndItsTargetWritten) {
    box.file("real/tag", "DMTYPE old\n").link("vekinfo.tag", "real/tag");
    EXPECT_EQ("", written());
    struct stat status = {};
    ASSERT_EQ(0, lstat("vekinfo.tag", &status));
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    EXPECT_EQ(kTemplate, box.read("real/tag"));
}

TEST_F(Write, ANewFileGetsTheModeThatTheUmaskLeaves) {
    for (const mode_t mask : {022U, 077U, 0U}) {
        const mode_t previous = umask(mask);
        EXPECT_EQ(1, updateInfoFile(".", obj.get()));
        umask(previous);
        struct stat status = {};
        ASSERT_EQ(0, stat("vekinfo.tag", &status));
        EXPECT_EQ(0666U & ~mask, status.st_mode & 07777U);
        unlink("vekinfo.tag");
    }
}

TEST_F(Write, NoOtherFileRemains) {
    EXPECT_EQ("", written());
    EXPECT_EQ((std::vector<std::string>{"vekinfo.tag"}), box.list());
}

// ---- files that cannot be opened

TEST_F(Write, AMissingDirectoryIsReported) {
    EXPECT_EQ(0, updateInfoFile("none", obj.get()));
    expectWriteFailed("none");
}

TEST_F(Write, ADirectoryOfThatNameIsReported) {
    box.directory("vekinfo.tag");
    EXPECT_EQ(0, updateInfoFile(".", obj.get()));
    expectWriteFailed(".");
}

TEST_F(Write, FileWithoutWritePermissionIsReportedAndUnchanged) {
    box.file("vekinfo.tag", "DMTYPE old\n", 0444);
    test::asUnprivileged([this] {
        EXPECT_EQ(0, updateInfoFile(".", obj.get()));
        expectWriteFailed(".");
    });
    EXPECT_EQ("DMTYPE old\n", box.read("vekinfo.tag"));
}

TEST_F(Write, UnwritableDirectoryIsReported) {
    box.directory("d", 0555);
    test::asUnprivileged([this] {
        EXPECT_EQ(0, updateInfoFile("d", obj.get()));
        expectWriteFailed("d");
    });
    EXPECT_FALSE(box.exists("d/vekinfo.tag"));
}

TEST_F(Write, FileWithoutReadPermissionIsWritten) {
    box.file("vekinfo.tag", "DMTYPE old\n", 0222);
    test::asUnprivileged([this] { EXPECT_EQ(1, updateInfoFile(".", obj.get())); });
    ASSERT_EQ(0, chmod("vekinfo.tag", 0644));
    EXPECT_EQ(kTemplate, box.read("vekinfo.tag"));
}

TEST_F(Write, PipeWithoutAReaderDoesNotBlock) {
    box.fifo("vekinfo.tag");
    const test::Outcome outcome = test::inChild([this] { return updateInfoFile(".", obj.get()); },
                                                test::ChildOptions{.timeoutMs = 5000});
    EXPECT_FALSE(outcome.timedOut);
    EXPECT_EQ(0, outcome.status);
    struct stat status = {};
    ASSERT_EQ(0, lstat("vekinfo.tag", &status));
    EXPECT_TRUE(S_ISFIFO(status.st_mode));
}

TEST_F(Write, LinkToTheNullDeviceIsWrittenAndKept) {
    box.link("vekinfo.tag", "/dev/null");
    EXPECT_EQ(1, updateInfoFile(".", obj.get()));
    EXPECT_EQ(test::kNoReports, reports.take());
    struct stat status = {};
    ASSERT_EQ(0, stat("/dev/null", &status));
    EXPECT_TRUE(S_ISCHR(status.st_mode));
    ASSERT_EQ(0, lstat("vekinfo.tag", &status));
    EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST_F(Write, ADeviceThatTakesNothingIsReported) {
    box.link("vekinfo.tag", "/dev/full");
    EXPECT_EQ(0, updateInfoFile(".", obj.get()));
    expectWriteFailed(".");
    struct stat status = {};
    ASSERT_EQ(0, lstat("vekinfo.tag", &status));
    EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST_F(Write, DanglingLinkCreatesItsTarget) {
    box.directory("real").link("vekinfo.tag", "real/tag");
    EXPECT_EQ("", written());
    EXPECT_EQ(kTemplate, box.read("real/tag"));
    struct stat status = {};
    ASSERT_EQ(0, lstat("vekinfo.tag", &status));
    EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST_F(Write, DanglingLinkIsKeptIfItsTargetCannotBeWritten) {
    box.directory("real").link("vekinfo.tag", "real/tag");
    test::faults::failFrom("pwrite", 1, ENOSPC);
    EXPECT_EQ(0, updateInfoFile(".", obj.get()));
    test::faults::reset();
    expectWriteFailed(".");
    EXPECT_FALSE(box.exists("real/tag"));
    struct stat status = {};
    ASSERT_EQ(0, lstat("vekinfo.tag", &status));
    EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST_F(Write, LinkCycleIsReported) {
    box.link("vekinfo.tag", "vekinfo.tag");
    EXPECT_EQ(0, updateInfoFile(".", obj.get()));
    expectWriteFailed(".");
}

TEST_F(Write, PathHasAtMost4095Characters) {
    const std::string longest = test::spelledWith(".", 4083); // 12 characters are for "/vekinfo.tag"
    EXPECT_EQ(1, updateInfoFile(longest.c_str(), obj.get()));
    EXPECT_EQ(kTemplate, box.read("vekinfo.tag"));
    unlink("vekinfo.tag");
    for (const std::size_t size : {4084U, 4085U, 4094U, 4095U, 4096U, 4097U, 100000U}) {
        const std::string directory = test::spelledWith(".", size);
        EXPECT_EQ(0, updateInfoFile(directory.c_str(), obj.get())) << size;
        expectWriteFailed(directory);
        EXPECT_EQ((std::vector<std::string>{}), box.list()) << "no file at a cut path";
    }
}

// ---- writes that fail

class FailedWrite : public Write {
  protected:
    void SetUp() override {
        Write::SetUp();
        obj->dmtype = strdup("new");
        test::addEntry(*obj, "LONG", std::string(9000, 'n').c_str());
        newText_ = kTemplate + "DMTYPE new\nLONG " + std::string(9000, 'n') + "\n";
    }

    /// The result of one write while `arm` has armed a fault; the file is as it was, or as it should be.
    int writeOver(const std::string *old, const std::function<void()> &arm) {
        unlink("vekinfo.tag");
        if (old != nullptr) {
            box.file("vekinfo.tag", *old);
        }
        test::faults::reset();
        arm();
        const int result = updateInfoFile(".", obj.get());
        test::faults::reset();
        if (result == 1) {
            EXPECT_EQ(newText_, box.read("vekinfo.tag"));
            EXPECT_EQ(test::kNoReports, reports.take());
            return result;
        }
        expectWriteFailed(".");
        if (old == nullptr) {
            EXPECT_FALSE(box.exists("vekinfo.tag"));
        } else {
            EXPECT_EQ(*old, box.read("vekinfo.tag"));
        }
        return result;
    }

    const std::string shortText_ = "DMTYPE old\n";
    const std::string longText_ = "DMTYPE old\n" + std::string(30000, '#') + "\n";
    std::string newText_;
};

struct Fault {
    const char *call;
    int error;
    bool mustFail;
};

constexpr Fault kFaults[] = {
    {"fallocate", ENOSPC, true}, {"pwrite", ENOSPC, true}, {"pwrite", EIO, true},   {"write", ENOSPC, true},
    {"ftruncate", EIO, true},    {"fsync", EIO, true},     {"fsync", ENOSPC, true}, {"close", EIO, false},
    {"open", EMFILE, false},     {"read", EIO, false},     {"stat", EIO, false},    {"fstat", EIO, false},
    {"fopen", EMFILE, false},    {"fclose", EIO, true},    {"fflush", EIO, true},
};

TEST_F(FailedWrite, KeepsTheOldContentIfAnyCallFails) {
    for (const std::string *old : {&shortText_, &longText_, static_cast<const std::string *>(nullptr)}) {
        for (const Fault &fault : kFaults) {
            unlink("vekinfo.tag");
            if (old != nullptr) {
                box.file("vekinfo.tag", *old);
            }
            test::faults::reset();
            ASSERT_EQ(1, updateInfoFile(".", obj.get()));
            const int calls = test::faults::count(fault.call);
            for (int nth = 1; nth <= calls; ++nth) {
                SCOPED_TRACE(std::string(fault.call) + " " + std::to_string(nth));
                const int result = writeOver(old, [&] { test::faults::fail(fault.call, nth, fault.error); });
                if (fault.mustFail) {
                    EXPECT_EQ(0, result);
                }
            }
        }
    }
}

TEST_F(FailedWrite, LeavesTheOldContentWhenTheDiskStaysFull) {
    for (const std::string *old : {&shortText_, &longText_, static_cast<const std::string *>(nullptr)}) {
        EXPECT_EQ(0, writeOver(old, [] { test::faults::failFrom("fallocate", 1, ENOSPC); }));
        EXPECT_EQ(0, writeOver(old, [] { test::faults::failFrom("pwrite", 1, ENOSPC); }));
        EXPECT_EQ(0, writeOver(old, [] { test::faults::failFrom("fsync", 1, EIO); }));
    }
}

TEST_F(FailedWrite, LeavesTheOldContentWhenItFailsHalfway) {
    for (const std::string *old : {&shortText_, &longText_, static_cast<const std::string *>(nullptr)}) {
        for (const int nth : {2, 3, 10}) {
            EXPECT_EQ(0, writeOver(old, [&] {
                          test::faults::limitWrites(500);
                          test::faults::fail("pwrite", nth, ENOSPC);
                      }));
        }
    }
}

TEST_F(FailedWrite, ShortWritesAreContinued) {
    for (const std::size_t limit : {1U, 7U, 4096U}) {
        EXPECT_EQ(1, writeOver(&shortText_, [&] { test::faults::limitWrites(limit); }));
    }
    unlink("vekinfo.tag");
    box.link("vekinfo.tag", "/dev/null");
    test::faults::limitWrites(1);
    EXPECT_EQ(1, updateInfoFile(".", obj.get())) << "to a device, too";
}

TEST_F(FailedWrite, EarlierErrnoDoesNotFailTheEdit) {
    for (const int error : {EINTR, EACCES, EEXIST, ENOENT}) {
        SCOPED_TRACE(error);
        for (const char *call : {"ftruncate", "fsync"}) {
            box.file("vekinfo.tag", shortText_);
            test::faults::reset();
            errno = error;
            EXPECT_EQ(1, updateInfoFile(".", obj.get()));
            EXPECT_EQ(1, test::faults::count(call)) << call;
        }
        EXPECT_EQ(0, writeOver(&shortText_, [&] {
                      test::faults::fail("fsync", 1, EIO);
                      errno = error;
                  }));
    }
}

TEST_F(FailedWrite, ReplacesAFileOfOneByte) {
    const std::string old = "#";
    EXPECT_EQ(1, writeOver(&old, [] {}));
    EXPECT_EQ(0, writeOver(&old, [] { test::faults::fail("fsync", 1, EIO); }));
}

TEST_F(FailedWrite, AnInterruptedWriteIsRepeated) {
    EXPECT_EQ(1, writeOver(&shortText_, [] { test::faults::fail("pwrite", 1, EINTR); }));
}

TEST_F(FailedWrite, RepeatedlyInterruptedCallFailsTheEdit) {
    for (const char *call : {"fallocate", "pwrite", "ftruncate", "fsync"}) {
        EXPECT_EQ(1, writeOver(&shortText_, [&] { test::faults::fail(call, 1, EINTR); })) << call;
        box.file("vekinfo.tag", shortText_);
        test::faults::failFrom(call, 1, EINTR);
        EXPECT_EQ(0, updateInfoFile(".", obj.get())) << call;
        EXPECT_LE(100, test::faults::count(call)) << call;
        EXPECT_GE(400, test::faults::count(call)) << call;
        test::faults::reset();
        expectWriteFailed(".");
    }
    box.file("vekinfo.tag", shortText_);
    test::faults::failFrom("open", 1, EINTR);
    EXPECT_EQ(0, updateInfoFile(".", obj.get()));
    EXPECT_EQ(100, test::faults::count("open"));
    test::faults::reset();
    expectWriteFailed(".");
    EXPECT_EQ(shortText_, box.read("vekinfo.tag"));
}

TEST_F(FailedWrite, FileThatCannotBeSynchronizedIsWritten) {
    for (const int error : {EINVAL, ENOTSUP}) {
        EXPECT_EQ(1, writeOver(&shortText_, [&] { test::faults::failFrom("fsync", 1, error); })) << error;
    }
}

TEST_F(FailedWrite, EmptyTextNeedsNoSpace) {
    box.file("file", shortText_);
    test::faults::failFrom("fallocate", 1, ENOSPC);
    tov::EditedFile file("file");
    ASSERT_EQ(tov::Opened::Yes, file.open(tov::Opening::Existing, tov::Deadline(0)));
    EXPECT_TRUE(file.replace(""));
    EXPECT_EQ("", box.read("file"));
}

// The error is learned by closing a duplicate; the file's own descriptor is the last one that is closed.
TEST_F(FailedWrite, CloseErrorRestoresTheOldContent) {
    box.file("vekinfo.tag", shortText_);
    test::faults::reset();
    ASSERT_EQ(1, updateInfoFile(".", obj.get()));
    const int closes = test::faults::count("close");
    ASSERT_EQ(2, closes);
    EXPECT_EQ(0, writeOver(&shortText_, [] { test::faults::fail("close", 1, EIO); }));
    EXPECT_EQ(0, writeOver(&longText_, [] { test::faults::fail("close", 1, EIO); }));
    box.link("vekinfo.tag", "/dev/null");
    test::faults::fail("close", 1, EIO);
    EXPECT_EQ(0, updateInfoFile(".", obj.get()));
    expectWriteFailed(".");
}

TEST_F(FailedWrite, WithoutADescriptorForTheDuplicateIsASuccess) {
    EXPECT_EQ(1,
              writeOver(&shortText_, [] { test::faults::fail("fcntl", 2, EMFILE); })); // the first one locks
}

TEST_F(FailedWrite, FileWithoutReadPermissionIsAFailure) {
    box.file("vekinfo.tag", shortText_, 0222);
    test::asUnprivileged([this] {
        test::faults::fail("fsync", 1, EIO);
        EXPECT_EQ(0, updateInfoFile(".", obj.get()));
        expectWriteFailed(".");
    });
    ASSERT_EQ(0, chmod("vekinfo.tag", 0600));
    EXPECT_EQ(newText_, box.read("vekinfo.tag")) << "nothing is known to put back, and nothing is cut off";
}

TEST_F(FailedWrite, FileSystemWithoutReservationIsWritten) {
    for (const int error : {EOPNOTSUPP, ENOSYS, EINVAL}) {
        EXPECT_EQ(1, writeOver(&shortText_, [&] { test::faults::failFrom("fallocate", 1, error); }));
        EXPECT_EQ(0, writeOver(&shortText_, [&] {
                      test::faults::failFrom("fallocate", 1, error);
                      test::faults::fail("pwrite", 1, ENOSPC);
                  }));
        EXPECT_EQ(0, writeOver(&longText_, [&] {
                      test::faults::failFrom("fallocate", 1, error);
                      test::faults::limitWrites(500);
                      test::faults::fail("pwrite", 4, ENOSPC);
                  }));
    }
}

TEST_F(FailedWrite, LeavesTheOldContentWhenMemoryIsExhausted) {
    int failures = 0;
    for (int nth = 1; nth <= 30; ++nth) {
        failures += writeOver(&shortText_, [&] { test::faults::failAllocation(nth); }) == 0 ? 1 : 0;
    }
    failures += writeOver(&shortText_, [] { test::faults::failAllocationsFrom(1); }) == 0 ? 1 : 0;
    EXPECT_GT(failures, 0);
}

TEST_F(FailedWrite, KeepsTheInode) {
    box.file("vekinfo.tag", shortText_);
    struct stat before = {};
    ASSERT_EQ(0, stat("vekinfo.tag", &before));
    test::faults::fail("fsync", 1, EIO);
    EXPECT_EQ(0, updateInfoFile(".", obj.get()));
    test::faults::reset();
    struct stat after = {};
    ASSERT_EQ(0, stat("vekinfo.tag", &after));
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(before.st_size, after.st_size);
}

// ---- a file system that is really full

void fill(const std::string &directory) {
    const int descriptor = open((directory + "/filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_GE(descriptor, 0);
    const std::string block(1024, 'f');
    while (write(descriptor, block.data(), block.size()) > 0) {
    }
    EXPECT_EQ(ENOSPC, errno);
    close(descriptor);
}

TEST_F(FailedWrite, OnAFullFileSystemLeavesTheOldContent) {
    test::onSmallFilesystem(64U * 1024U, [this](const std::string &directory) {
        const std::string path = directory + "/vekinfo.tag";
        std::ofstream(path) << shortText_;
        struct stat before = {};
        ASSERT_EQ(0, stat(path.c_str(), &before));
        fill(directory);

        EXPECT_EQ(0, updateInfoFile(directory.c_str(), obj.get()));

        expectWriteFailed(directory);
        EXPECT_EQ(shortText_, contentOf(path));
        struct stat after = {};
        ASSERT_EQ(0, stat(path.c_str(), &after));
        EXPECT_EQ(before.st_ino, after.st_ino);
    });
}

TEST_F(FailedWrite, OnAFullFileSystemMakesNoFile) {
    test::onSmallFilesystem(64U * 1024U, [this](const std::string &directory) {
        fill(directory);
        EXPECT_EQ(0, updateInfoFile(directory.c_str(), obj.get()));
        expectWriteFailed(directory);
        struct stat status = {};
        EXPECT_NE(0, stat((directory + "/vekinfo.tag").c_str(), &status));
    });
}

TEST_F(FailedWrite, OnAFullFileSystemAShorterTextStillFits) {
    test::onSmallFilesystem(64U * 1024U, [this](const std::string &directory) {
        const std::string path = directory + "/vekinfo.tag";
        std::ofstream(path) << longText_;
        fill(directory);
        EXPECT_EQ(1, updateInfoFile(directory.c_str(), obj.get()));
        EXPECT_EQ(newText_, contentOf(path));
    });
}

TEST_F(FailedWrite, BeyondTheFileSizeLimitLeavesTheOldContent) {
    box.file("vekinfo.tag", shortText_);
    const test::Outcome outcome = test::inChild([this] {
        const test::SoftLimit limit(RLIMIT_FSIZE, 4096);
        signal(SIGXFSZ, SIG_DFL);
        EXPECT_EQ(0, updateInfoFile(".", obj.get()));
        expectWriteFailed(".");
        EXPECT_EQ(SIG_DFL, signal(SIGXFSZ, SIG_DFL)) << "as before";
        return 0;
    });
    EXPECT_EQ(0, outcome.status) << "signal " << outcome.signal;
    EXPECT_EQ(shortText_, box.read("vekinfo.tag"));
}

} // namespace
