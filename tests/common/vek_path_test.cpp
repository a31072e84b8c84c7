#include "common/platform/vek_path.h"

#include "common/base/owned.h"
#include "common/platform/veki_path.h"
#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/support/limits.h"
#include "tests/support/sandbox.h"
#include "tests/support/small_filesystem.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace {

TEST(VekCanonicalizeDirSep, ChangesNothingOnThisPlatform) {
    char path[] = "\\a/b\\..//c";
    vekCanonicalizeDirSep(path);
    EXPECT_STREQ("\\a/b\\..//c", path);
    vekCanonicalizeDirSep(nullptr);
}

TEST(VekIsRooted, RequiresASlashAtTheBeginning) {
    EXPECT_EQ(1, vekIsRooted("/"));
    EXPECT_EQ(1, vekIsRooted("/a"));
    EXPECT_EQ(0, vekIsRooted("a/b"));
    EXPECT_EQ(0, vekIsRooted("~/a"));
    EXPECT_EQ(0, vekIsRooted(""));
    EXPECT_EQ(0, vekIsRooted(nullptr));
}

TEST(VekIsRoot, AcceptsSlashesAndDots) {
    for (const char *path : {"/", "//", "/./", "/../", "///", "/.././", "/./..//../"}) {
        EXPECT_EQ(1, vekIsRoot(path)) << path;
    }
}

TEST(VekIsRoot, RejectsEverythingElse) {
    for (const char *path : {"/.", "/..", "/a", "/./a", "/../a/", "/.../", "/..a/", "/.a/", "/./.", "/../..",
                             "", ".", "./", "../", "a/"}) {
        EXPECT_EQ(0, vekIsRoot(path)) << path;
    }
    EXPECT_EQ(0, vekIsRoot(nullptr));
}

TEST(VekIsUNCRoot, IsAlwaysFalse) {
    EXPECT_EQ(0, vekIsUNCRoot("//host/share"));
    EXPECT_EQ(0, vekIsUNCRoot("\\\\host\\share"));
    EXPECT_EQ(0, vekIsUNCRoot("/"));
    EXPECT_EQ(0, vekIsUNCRoot(nullptr));
}

// --- vekMkRootedPath ---

char *pathBlock() {
    return static_cast<char *>(std::malloc(VEK_PATH_SIZE));
}

TEST(VekMkRootedPath, CopiesARootedPathIntoTheBuffer) {
    const vek::OwnedText out(pathBlock());
    EXPECT_EQ(out.get(), vekMkRootedPath("/a/../b", out.get()));
    EXPECT_STREQ("/a/../b", out.get());
}

TEST(VekMkRootedPath, CopiesARootedPathToANewString) {
    const char *path = "/a//b";
    const vek::OwnedText copy(vekMkRootedPath(path, nullptr));
    EXPECT_STREQ("/a//b", copy.get());
    EXPECT_NE(path, copy.get());
}

TEST(VekMkRootedPath, PrependsTheWorkingDirectory) {
    const test::Sandbox box;
    const vek::OwnedText out(pathBlock());
    EXPECT_EQ(out.get(), vekMkRootedPath("a/../b", out.get()));
    EXPECT_EQ(box.path() + "/a/../b", out.get());

    const vek::OwnedText made(vekMkRootedPath("x", nullptr));
    EXPECT_EQ(box.path() + "/x", made.get());
    const vek::OwnedText ofEmpty(vekMkRootedPath("", nullptr));
    EXPECT_EQ(box.path() + "/", ofEmpty.get());
}

TEST(VekMkRootedPath, AddsASlashInTheRootDirectoryToo) {
    ASSERT_EQ(0, chdir("/"));
    const vek::OwnedText made(vekMkRootedPath("x", nullptr));
    EXPECT_STREQ("//x", made.get());
}

TEST(VekMkRootedPath, WorksInPlace) {
    const test::Sandbox box;
    const vek::OwnedText out(pathBlock());
    std::memcpy(out.get(), "a/b", sizeof "a/b");
    EXPECT_EQ(out.get(), vekMkRootedPath(out.get(), out.get()));
    EXPECT_EQ(box.path() + "/a/b", out.get());
    EXPECT_EQ(out.get(), vekMkRootedPath(out.get(), out.get()));
    EXPECT_EQ(box.path() + "/a/b", out.get());
}

TEST(VekMkRootedPath, FreesTheBufferWhenTheWorkingDirectoryIsUnknown) {
    // If the buffer were not freed, the sanitizers would report a leak.
    test::faults::fail("getcwd", 1, ENOENT);
    EXPECT_EQ(nullptr, vekMkRootedPath("a", pathBlock()));
    test::faults::fail("getcwd", 1, ERANGE);
    EXPECT_EQ(nullptr, vekMkRootedPath("a", nullptr));
}

TEST(VekMkRootedPath, NeedsNoWorkingDirectoryForARootedPath) {
    test::faults::failFrom("getcwd", 1, ENOENT);
    const vek::OwnedText made(vekMkRootedPath("/a", nullptr));
    EXPECT_STREQ("/a", made.get());
}

TEST(VekMkRootedPath, ReturnsNullIfMemoryIsExhausted) {
    test::faults::failAllocation(1);
    EXPECT_EQ(nullptr, vekMkRootedPath("/a", nullptr));
    test::faults::failAllocation(1);
    EXPECT_EQ(nullptr, vekMkRootedPath("a", nullptr));
}

TEST(VekMkRootedPath, GivesNullForNull) {
    EXPECT_EQ(nullptr, vekMkRootedPath(nullptr, nullptr));
}

TEST(VekMkRootedPath, HasAtMost4095Characters) {
    const test::Sandbox box;
    const std::size_t limit = 4095 - box.path().size() - 1;
    for (const std::size_t excess : {0U, 1U, 2U, 100'000U}) {
        const std::string path(limit + excess, 'p');
        const vek::OwnedText made(vekMkRootedPath(path.c_str(), nullptr));
        const vek::OwnedText filled(vekMkRootedPath(path.c_str(), pathBlock()));
        if (excess == 0) {
            ASSERT_NE(nullptr, made);
            ASSERT_NE(nullptr, filled);
            EXPECT_EQ(box.path() + "/" + path, made.get());
            EXPECT_EQ(box.path() + "/" + path, filled.get());
        } else {
            EXPECT_EQ(nullptr, made);
            EXPECT_EQ(nullptr, filled);
        }
    }
}

TEST(VekMkRootedPath, CopiesARootedPathOfAnyLength) {
    for (const std::size_t length : {4095U, 4096U, 4097U}) {
        const std::string path = "/" + std::string(length - 1, 'p');
        const vek::OwnedText made(vekMkRootedPath(path.c_str(), nullptr));
        ASSERT_NE(nullptr, made);
        EXPECT_EQ(path, made.get());

        const vek::OwnedText filled(vekMkRootedPath(path.c_str(), pathBlock()));
        EXPECT_EQ(length == 4095, filled != nullptr);
    }
}

// --- vekiCleanupRootedPath ---

std::string cleaned(std::string path) {
    vekiCleanupRootedPath(path.data());
    path.resize(std::strlen(path.data()));
    return path;
}

TEST(VekiCleanupRootedPath, ResolvesSlashesAndDots) {
    EXPECT_EQ("/a/b/d", cleaned("/a//b/./c/../d"));
    EXPECT_EQ("/a/c", cleaned("/a/b/../c"));
    EXPECT_EQ("/inst/tools/bin/vekinfo", cleaned("/inst/tools/bin/../bin/./vekinfo"));
    EXPECT_EQ("/a", cleaned("////a"));
    EXPECT_EQ("/c", cleaned("/a/b/../../c"));
    EXPECT_EQ("/", cleaned("/a/../"));
    EXPECT_EQ("/", cleaned("/./"));
    EXPECT_EQ("/a/", cleaned("/a//"));
}

TEST(VekiCleanupRootedPath, StopsAtTheRoot) {
    EXPECT_EQ("/x", cleaned("/../x"));
    EXPECT_EQ("/x", cleaned("/../../a/../../x"));
}

TEST(VekiCleanupRootedPath, KeepsAFinalDotOrDotDot) {
    EXPECT_EQ("/a/.", cleaned("/a/."));
    EXPECT_EQ("/a/..", cleaned("/a/.."));
    EXPECT_EQ("/.", cleaned("/."));
    EXPECT_EQ("/..", cleaned("/.."));
    EXPECT_EQ("/a/b/..", cleaned("/a//b/.."));
    EXPECT_EQ("/a/.", cleaned("/a/./."));
}

TEST(VekiCleanupRootedPath, KeepsNamesThatOnlyBeginWithDots) {
    EXPECT_EQ("/a/.../b/..c/.d/e./f../g", cleaned("/a/.../b/..c/.d/e./f../g"));
    EXPECT_EQ("/", cleaned("/"));
    EXPECT_EQ("", cleaned(""));
    vekiCleanupRootedPath(nullptr);
}

/// A model of the cleaning: one replacement at a time, the leftmost first, in a fixed order.
std::string cleanedStepByStep(std::string path) {
    while (true) {
        if (const std::size_t at = path.find("//"); at != std::string::npos) {
            path.erase(at, 1);
        } else if (const std::size_t dot = path.find("/./"); dot != std::string::npos) {
            path.erase(dot, 2);
        } else if (const std::size_t up = path.find("/../"); up != std::string::npos) {
            std::string before = path.substr(0, up);
            before.erase(std::min(before.size(), before.rfind('/')));
            path = before + path.substr(up + 3);
        } else {
            return path;
        }
    }
}

TEST(VekiCleanupRootedPath, AgreesWithSingleReplacementsOnEveryShortPath) {
    constexpr char Alphabet[] = {'/', '.', 'a'};
    for (int length = 0; length <= 11; ++length) {
        int combinations = 1;
        for (int i = 0; i < length; ++i) {
            combinations *= 3;
        }
        for (int number = 0; number < combinations; ++number) {
            std::string path;
            for (int digit = 0, rest = number; digit < length; ++digit, rest /= 3) {
                path += Alphabet[rest % 3];
            }
            // Relative ones, too: their first component is never removed.
            ASSERT_EQ(cleanedStepByStep(path), cleaned(path)) << path;
            ASSERT_EQ(cleanedStepByStep("/" + path), cleaned("/" + path)) << path;
        }
    }
}

TEST(VekiCleanupRootedPath, CleansPathsOfAnyLength) {
    for (const std::size_t length : {4095U, 4096U, 4097U, 1'000'000U}) {
        std::string path = "/x/../";
        path.append(length - path.size(), 'p');
        EXPECT_EQ("/" + path.substr(6), cleaned(path));
        EXPECT_EQ("/", cleaned(std::string(length, '/')));
    }
    std::string steps;
    for (int i = 0; i < 200'000; ++i) {
        steps += "/a";
    }
    for (int i = 0; i < 200'000; ++i) {
        steps += "/..";
    }
    EXPECT_EQ("/z", cleaned(steps + "/z"));
}

// --- vek_fgets, vekNtToUnixLine ---

class LineReader : public testing::Test {
  protected:
    FILE *open(std::string_view content) {
        box_.file("lines", content);
        stream_.reset(std::fopen(box_.path("lines").c_str(), "re"));
        return stream_.get();
    }

  private:
    test::Sandbox box_;
    vek::OwnedStream stream_;
};

TEST_F(LineReader, ReplacesACarriageReturnAndNewlineByANewline) {
    char line[64];
    FILE *file = open("x\r\ny\nx\ry\nz\r");
    EXPECT_EQ(line, vek_fgets(line, sizeof line, file));
    EXPECT_STREQ("x\n", line);
    EXPECT_EQ(line, vek_fgets(line, sizeof line, file));
    EXPECT_STREQ("y\n", line);
    EXPECT_EQ(line, vek_fgets(line, sizeof line, file));
    EXPECT_STREQ("x\ry\n", line);
    EXPECT_EQ(line, vek_fgets(line, sizeof line, file));
    EXPECT_STREQ("z\r", line);
    EXPECT_EQ(nullptr, vek_fgets(line, sizeof line, file));
}

TEST_F(LineReader, ReadsALongLineInParts) {
    for (const std::size_t length : {4094U, 4095U, 4096U, 4097U}) {
        FILE *file = open(std::string(length, 'l') + "\r\n");
        char line[4096];
        std::string whole;
        while (vek_fgets(line, sizeof line, file) != nullptr) {
            EXPECT_LE(std::strlen(line), 4095U);
            whole += line;
        }
        // The pair is replaced only if one part contains both characters.
        EXPECT_EQ(std::string(length, 'l') + (length == 4094 ? "\r\n" : "\n"), whole) << length;
    }
}

TEST_F(LineReader, ReturnsNullAtTheEnd) {
    char line[8] = "before";
    EXPECT_EQ(nullptr, vek_fgets(line, sizeof line, open("")));
}

TEST_F(LineReader, AcceptsNulBytes) {
    char line[16];
    EXPECT_EQ(line, vek_fgets(line, sizeof line, open(std::string_view("\0\r\nx\r\n", 6))));
    EXPECT_STREQ("", line);
}

std::string unixLine(std::string line) {
    vekNtToUnixLine(line.data());
    line.resize(std::strlen(line.data()));
    return line;
}

TEST(VekNtToUnixLine, ChangesThePairAtTheEndOnly) {
    EXPECT_EQ("x\n", unixLine("x\r\n"));
    EXPECT_EQ("\n", unixLine("\r\n"));
    EXPECT_EQ("x\r\n", unixLine("x\r\r\n"));
    EXPECT_EQ("a\r\nb\n", unixLine("a\r\nb\r\n"));
    for (const char *line : {"", "\n", "\r", "x", "x\n", "x\ry\n", "x\r\ny", "x\r", "x\n\r", "x\r\n\n"}) {
        EXPECT_EQ(line, unixLine(line));
    }
    vekNtToUnixLine(nullptr);
}

TEST(VekNtToUnixLine, ReadsNothingBeforeTheLine) {
    char text[] = "\r\n";
    vekNtToUnixLine(text + 1);
    EXPECT_STREQ("\r\n", text);
}

// --- Checked allocation, existence tests ---

TEST(VekiMalloc, ReturnsMemory) {
    test::Capture capture;
    const vek::Owned<void> memory(vekiMalloc(100));
    ASSERT_NE(nullptr, memory);
    std::memset(memory.get(), 1, 100);
    EXPECT_EQ("", capture.err());
}

TEST(VekiMalloc, ReportsExhaustedMemory) {
    test::Capture capture;
    test::faults::failAllocation(1);
    EXPECT_EQ(nullptr, vekiMalloc(1234));
    EXPECT_EQ("ERROR! Failed to allocate 1234 bytes of space\n", capture.err());
    EXPECT_EQ("", capture.out());
}

TEST(VekiCopyString, CopiesTheText) {
    const char *text = "some text";
    const vek::OwnedText copy(vekiCopyString(text));
    EXPECT_STREQ(text, copy.get());
    EXPECT_NE(text, copy.get());
    const vek::OwnedText empty(vekiCopyString(""));
    EXPECT_STREQ("", empty.get());
    EXPECT_EQ(nullptr, vekiCopyString(nullptr));
}

TEST(VekiCopyString, ReturnsNullIfMemoryIsExhausted) {
    test::Capture capture;
    test::faults::failAllocation(1);
    EXPECT_EQ(nullptr, vekiCopyString("abc"));
    EXPECT_EQ("ERROR! Failed to allocate 4 bytes of space\n", capture.err());
}

TEST(VekiFileExistsExecutable, TestsTheOwnersBitOfARegularFile) {
    test::Sandbox box;
    box.file("x", "", 0100).file("all", "", 0755).file("plain", "", 0644).file("others", "", 0011);
    box.link("l", "x").link("dangling", "nowhere");
    EXPECT_EQ(1, vekiFileExistsExecutable("x"));
    EXPECT_EQ(1, vekiFileExistsExecutable("all"));
    EXPECT_EQ(1, vekiFileExistsExecutable("l"));
    EXPECT_EQ(0, vekiFileExistsExecutable("plain"));
    EXPECT_EQ(0, vekiFileExistsExecutable("others"));
    EXPECT_EQ(0, vekiFileExistsExecutable("dangling"));
    EXPECT_EQ(0, vekiFileExistsExecutable("missing"));
    EXPECT_EQ(0, vekiFileExistsExecutable(""));
    EXPECT_EQ(0, vekiFileExistsExecutable(nullptr));
}

TEST(VekiFileExistsExecutable, RejectsOtherTypes) {
    test::Sandbox box;
    box.directory("d", 0755).fifo("p", 0755);
    EXPECT_EQ(0, vekiFileExistsExecutable("d"));
    EXPECT_EQ(0, vekiFileExistsExecutable("p"));

    // The type bits of a socket include the bit of a regular file.
    const vek::OwnedDescriptor socketOwner(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = "s"};
    ASSERT_EQ(0, bind(socketOwner.get(), reinterpret_cast<sockaddr *>(&address), sizeof address));
    ASSERT_EQ(0, chmod("s", 0755));
    EXPECT_EQ(0, vekiFileExistsExecutable("s"));
}

TEST(VekiPathExists, AcceptsEveryTypeThatStatFinds) {
    test::Sandbox box;
    box.file("f", "", 0000).directory("d").fifo("p").link("l", "f").link("dangling", "nowhere");
    for (const char *path : {"f", "d", "p", "l", "/"}) {
        EXPECT_EQ(1, vekiPathExists(path)) << path;
    }
    for (const char *path : {"dangling", "missing", "f/x", ""}) {
        EXPECT_EQ(0, vekiPathExists(path)) << path;
    }
    EXPECT_EQ(0, vekiPathExists(nullptr));
}

// --- vekGetFilesysCaseSensitivity ---

std::string lowerName() {
    return "vekfscasesensitivity." + std::to_string(getpid());
}
std::string mixedName() {
    return "vekFsCaseSensitivity." + std::to_string(getpid());
}

using Names = std::vector<std::string>;

TEST(CaseSensitivity, RemovesItsFiles) {
    test::Sandbox box;
    box.directory("d");
    test::Capture capture;
    EXPECT_EQ(VEK_CASE_SENSITIVE, vekGetFilesysCaseSensitivity(box.path("d").c_str()));
    EXPECT_EQ(VEK_CASE_SENSITIVE, vekGetFilesysCaseSensitivity("d"));
    EXPECT_EQ(VEK_CASE_SENSITIVE, vekGetFilesysCaseSensitivity("d/"));
    EXPECT_EQ(VEK_CASE_SENSITIVE, vekGetFilesysCaseSensitivity("."));
    EXPECT_EQ(Names{}, box.list("d"));
    EXPECT_EQ(Names{"d"}, box.list());
    EXPECT_EQ("", capture.out() + capture.err());
}

TEST(CaseSensitivity, ReturnsTheDocumentedNumbers) {
    EXPECT_EQ(1, VEK_CASE_UNKNOWN);
    EXPECT_EQ(2, VEK_CASE_SENSITIVE);
    EXPECT_EQ(3, VEK_CASE_INSENSITIVE);
}

TEST(CaseSensitivity, IsInsensitiveIfBothNamesAreOneFile) {
    test::Sandbox box;
    box.directory("d");
    test::faults::makeCaseless(box.path("d"));
    EXPECT_EQ(VEK_CASE_INSENSITIVE, vekGetFilesysCaseSensitivity(box.path("d").c_str()));
    EXPECT_EQ(VEK_CASE_INSENSITIVE, vekGetFilesysCaseSensitivity("d/none/x"));
    EXPECT_EQ(Names{}, box.list("d"));
}

TEST(CaseSensitivity, FilesAreNamedAfterTheProcess) {
    // unlink() fails, so that the files remain
    test::Sandbox box;
    test::faults::failFrom("unlink", 1, EPERM);
    EXPECT_EQ(VEK_CASE_SENSITIVE, vekGetFilesysCaseSensitivity(box.path().c_str()));
    EXPECT_EQ((Names{mixedName(), lowerName()}), box.list());
    EXPECT_EQ("vekfscasesensitivity", box.read(lowerName()));
    EXPECT_EQ("vekFsCaseSensitivity", box.read(mixedName()));
}

TEST(CaseSensitivity, ProbesTheNearestExistingDirectory) {
    test::Sandbox box;
    box.file("d/f", "content");
    EXPECT_EQ(VEK_CASE_SENSITIVE, vekGetFilesysCaseSensitivity("d/f"));
    EXPECT_EQ(VEK_CASE_SENSITIVE, vekGetFilesysCaseSensitivity("d/none/x/y//z/"));
    EXPECT_EQ(VEK_CASE_SENSITIVE, vekGetFilesysCaseSensitivity("d/f/below"));
    EXPECT_EQ(VEK_CASE_SENSITIVE, vekGetFilesysCaseSensitivity("/tmp/none-of-vek/x"));
    EXPECT_EQ(Names{"f"}, box.list("d"));
    EXPECT_EQ("content", box.read("d/f"));

    // Only in d are names folded, so the result shows that d is probed.
    test::faults::makeCaseless(box.path("d"));
    EXPECT_EQ(VEK_CASE_INSENSITIVE, vekGetFilesysCaseSensitivity("d/none/x"));
    EXPECT_EQ(VEK_CASE_SENSITIVE, vekGetFilesysCaseSensitivity(box.path("none/x").c_str()));
}

TEST(CaseSensitivity, IsUnknownIfOnlyTheRootExists) {
    const test::Sandbox box;
    EXPECT_EQ(VEK_CASE_UNKNOWN, vekGetFilesysCaseSensitivity("/none-of-vek"));
    EXPECT_EQ(VEK_CASE_UNKNOWN, vekGetFilesysCaseSensitivity("/none-of-vek/a/b"));
    EXPECT_EQ(VEK_CASE_UNKNOWN, vekGetFilesysCaseSensitivity("none-of-vek"));
    EXPECT_EQ(VEK_CASE_UNKNOWN, vekGetFilesysCaseSensitivity("none-of-vek/x"));
    EXPECT_EQ(VEK_CASE_UNKNOWN, vekGetFilesysCaseSensitivity(""));
    EXPECT_EQ(VEK_CASE_UNKNOWN, vekGetFilesysCaseSensitivity(nullptr));
    EXPECT_EQ(Names{}, box.list());
}

TEST(CaseSensitivity, ProbesTheRootDirectoryIfItIsNamedOrRemains) {
    for (const char *path : {"/", "//none-of-vek", "//none-of-vek/a"}) {
        test::faults::reset();
        test::faults::fail("access", 1, EACCES);
        EXPECT_EQ(VEK_CASE_UNKNOWN, vekGetFilesysCaseSensitivity(path));
        EXPECT_EQ(1, test::faults::count("access")) << path;
        EXPECT_EQ(0, test::faults::count("open")) << path;
    }
}

TEST(CaseSensitivity, IsUnknownInAReadOnlyDirectory) {
    test::Sandbox box;
    box.directory("d", 0555).directory("open", 0777);
    test::asUnprivileged([] {
        EXPECT_EQ(VEK_CASE_UNKNOWN, vekGetFilesysCaseSensitivity("d"));
        EXPECT_EQ(VEK_CASE_SENSITIVE, vekGetFilesysCaseSensitivity("open"));
    });
    EXPECT_EQ(Names{}, box.list("d"));
    EXPECT_EQ(Names{}, box.list("open"));
}

TEST(CaseSensitivity, DoesNotChangeThePath) {
    const test::Sandbox box;
    char path[] = "none/x";
    EXPECT_EQ(VEK_CASE_UNKNOWN, vekGetFilesysCaseSensitivity(path));
    EXPECT_STREQ("none/x", path);
}

TEST(CaseSensitivity, IsUnknownAndLeavesNoFileWhenAnyCallFails) {
    for (const bool areFilesLeft : {false, true}) {
        for (const char *call :
             {"access", "open", "fstat", "ftruncate", "pwrite", "write", "read", "malloc"}) {
            for (int nth = 1; nth <= 4; ++nth) {
                test::Sandbox box;
                if (areFilesLeft) {
                    box.file(lowerName(), std::string(1000, 'o')).file(mixedName(), std::string(1000, 'o'));
                }
                test::faults::reset();
                if (std::string_view(call) == "malloc") {
                    test::faults::failAllocation(nth);
                } else {
                    test::faults::fail(call, nth, EIO);
                }
                const int result = vekGetFilesysCaseSensitivity(box.path().c_str());
                const bool happened = test::faults::count(call) >= nth;
                test::faults::reset();
                EXPECT_EQ(happened ? VEK_CASE_UNKNOWN : VEK_CASE_SENSITIVE, result) << call << " " << nth;
                if (!areFilesLeft || !happened) {
                    EXPECT_EQ(Names{}, box.list()) << call << " " << nth;
                }
            }
        }
    }
}

TEST(CaseSensitivity, NeitherTruncatesNorExaminesNewFiles) {
    const test::Sandbox box;
    test::faults::reset();
    EXPECT_EQ(VEK_CASE_SENSITIVE, vekGetFilesysCaseSensitivity("."));
    EXPECT_EQ(0, test::faults::count("ftruncate"));
    EXPECT_EQ(0, test::faults::count("fstat"));
    EXPECT_EQ(3, test::faults::count("open"));
}

TEST(CaseSensitivity, TruncatesOnlyLongerFiles) {
    test::Sandbox box;
    box.file(lowerName(), "").file(mixedName(), std::string(20, 'o'));
    test::faults::reset();
    EXPECT_EQ(VEK_CASE_SENSITIVE, vekGetFilesysCaseSensitivity("."));
    EXPECT_EQ(0, test::faults::count("ftruncate"));
    box.file(lowerName(), std::string(21, 'o')).file(mixedName(), std::string(21, 'o'));
    EXPECT_EQ(VEK_CASE_SENSITIVE, vekGetFilesysCaseSensitivity("."));
    EXPECT_EQ(2, test::faults::count("ftruncate"));
}

TEST(CaseSensitivity, RepeatsShortWrites) {
    const test::Sandbox box;
    for (const std::size_t bytes : {1U, 15U, 19U}) {
        test::faults::limitWrites(bytes);
        EXPECT_EQ(VEK_CASE_SENSITIVE, vekGetFilesysCaseSensitivity(".")) << bytes;
    }
}

TEST(CaseSensitivity, IsUnknownOnAFullFileSystem) {
    test::onSmallFilesystem(16384, [](const std::string &directory) {
        const std::string filler = directory + "/filler";
        const vek::OwnedDescriptor file(open(filler.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
        const std::string block(4096, 'x');
        while (write(file.get(), block.data(), block.size()) > 0) {
        }
        EXPECT_EQ(VEK_CASE_UNKNOWN, vekGetFilesysCaseSensitivity(directory.c_str()));
        EXPECT_NE(0, access((directory + "/" + lowerName()).c_str(), F_OK));
        EXPECT_NE(0, access((directory + "/" + mixedName()).c_str(), F_OK));
    });
}

TEST(CaseSensitivity, IsUnknownBeyondTheLimitOnFileSizes) {
    const test::Sandbox box;
    const test::Outcome outcome = test::inChild([&box] {
        const test::SoftLimit limit(RLIMIT_FSIZE, 0);
        signal(SIGXFSZ, SIG_DFL);
        EXPECT_EQ(VEK_CASE_UNKNOWN, vekGetFilesysCaseSensitivity("."));
        EXPECT_EQ(Names{}, box.list());
        EXPECT_EQ(SIG_DFL, signal(SIGXFSZ, SIG_DFL)) << "as before";
        return 0;
    });
    EXPECT_EQ(0, outcome.status) << "signal " << outcome.signal;
}

TEST(CaseSensitivity, UsesAndRemovesFilesOfAnEarlierProcess) {
    test::Sandbox box;
    box.file(lowerName(), std::string(1000, 'o')).file(mixedName(), "old");
    EXPECT_EQ(VEK_CASE_SENSITIVE, vekGetFilesysCaseSensitivity("."));
    EXPECT_EQ(Names{}, box.list());
}

TEST(CaseSensitivity, DoesNotWriteThroughAPlantedLink) {
    for (const std::string &name : {lowerName(), mixedName()}) {
        test::Sandbox box;
        box.file("victim", "precious").link("d/" + name, box.path("victim"));
        EXPECT_EQ(VEK_CASE_UNKNOWN, vekGetFilesysCaseSensitivity("d"));
        EXPECT_EQ("precious", box.read("victim"));
        EXPECT_EQ(Names{name}, box.list("d"));
    }
}

TEST(CaseSensitivity, DoesNotCreateTheTargetOfAPlantedLink) {
    for (const std::string &name : {lowerName(), mixedName()}) {
        test::Sandbox box;
        box.link("d/" + name, box.path("target"));
        EXPECT_EQ(VEK_CASE_UNKNOWN, vekGetFilesysCaseSensitivity("d"));
        EXPECT_FALSE(box.exists("target"));
    }
}

TEST(CaseSensitivity, DoesNotWriteIntoAFileWithAnotherName) {
    for (const std::string &name : {lowerName(), mixedName()}) {
        test::Sandbox box;
        box.file("victim", "precious").directory("d");
        ASSERT_EQ(0, link("victim", ("d/" + name).c_str()));
        EXPECT_EQ(VEK_CASE_UNKNOWN, vekGetFilesysCaseSensitivity("d"));
        EXPECT_EQ("precious", box.read("victim"));
    }
}

TEST(CaseSensitivity, IsInsensitiveIfTheSecondNameLinksToTheFirst) {
    test::Sandbox box;
    box.link("d/" + mixedName(), lowerName());
    EXPECT_EQ(VEK_CASE_INSENSITIVE, vekGetFilesysCaseSensitivity("d"));
    EXPECT_EQ(Names{}, box.list("d"));
}

TEST(CaseSensitivity, DoesNotBlockOnAPlantedPipe) {
    const test::Outcome outcome = test::inChild([] {
        for (const std::string &name : {lowerName(), mixedName()}) {
            test::Sandbox box;
            box.fifo("d/" + name);
            EXPECT_EQ(VEK_CASE_UNKNOWN, vekGetFilesysCaseSensitivity("d"));
            EXPECT_EQ(Names{name}, box.list("d"));

            const vek::OwnedDescriptor reader(open(("d/" + name).c_str(), O_RDWR | O_CLOEXEC));
            EXPECT_EQ(VEK_CASE_UNKNOWN, vekGetFilesysCaseSensitivity("d"));
            EXPECT_EQ(Names{name}, box.list("d"));
        }
        return 0;
    });
    EXPECT_EQ(0, outcome.status);
    EXPECT_FALSE(outcome.timedOut);
}

TEST(CaseSensitivity, IsUnknownIfANameIsADirectory) {
    for (const std::string &name : {lowerName(), mixedName()}) {
        test::Sandbox box;
        box.directory("d/" + name);
        EXPECT_EQ(VEK_CASE_UNKNOWN, vekGetFilesysCaseSensitivity("d"));
        EXPECT_EQ(Names{name}, box.list("d"));
    }
}

TEST(CaseSensitivity, AcceptsPathsOfAnyLength) {
    test::Sandbox box;
    for (const std::size_t length : {4095U, 4096U, 4097U, 200'000U}) {
        // Components that do not exist, below an existing directory
        std::string path = box.path();
        while (path.size() < length) {
            path += "/missing";
        }
        path.resize(length, 'x');
        EXPECT_EQ(VEK_CASE_SENSITIVE, vekGetFilesysCaseSensitivity(path.c_str())) << length;
        EXPECT_EQ(VEK_CASE_UNKNOWN, vekGetFilesysCaseSensitivity(std::string(length, 'x').c_str()));
    }
    EXPECT_EQ(Names{}, box.list());
}

TEST(CaseSensitivity, IsUnknownIfTheProbesPathIsTooLong) {
    test::Sandbox box;
    std::string path = box.path();
    while (path.size() < 4080) {
        path += "/" + std::string(std::min<std::size_t>(200, 4090 - path.size()), 'd');
        ASSERT_EQ(0, mkdir(path.c_str(), 0755));
    }
    EXPECT_EQ(VEK_CASE_UNKNOWN, vekGetFilesysCaseSensitivity(path.c_str()));
    path.resize(path.rfind('/'));
    EXPECT_EQ(VEK_CASE_SENSITIVE, vekGetFilesysCaseSensitivity(path.c_str()));
}

} // namespace
