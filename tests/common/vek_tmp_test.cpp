// Temporary files and directories.

#include "common/platform/vek_tmp.h"

#include "common/base/owned.h"
#include "common/platform/veki_tmp.h"
#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/environment.h"
#include "tests/support/faults.h"
#include "tests/support/sandbox.h"
#include "tests/support/small_filesystem.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <malloc.h>
#include <ostream>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>
#include <vector>

namespace faults = test::faults;

namespace {

using Names = std::vector<std::string>;

/// The clock of this process, if a test has set it.
struct {
    bool isStopped;
    timeval time;
    int failures; ///< how many readings from now on fail
    int readings;
} clockOfTest;

} // namespace

extern "C" {
int __real_gettimeofday(timeval *time, void *zone);

int __wrap_gettimeofday(timeval *time, void *zone) {
    ++clockOfTest.readings;
    if (clockOfTest.failures > 0) {
        --clockOfTest.failures;
        errno = EPERM;
        return -1;
    }
    if (!clockOfTest.isStopped) {
        return __real_gettimeofday(time, zone);
    }
    *time = clockOfTest.time;
    return 0;
}
}

namespace {

const std::string kDigits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

void stopClock(time_t seconds, suseconds_t microseconds) {
    clockOfTest.isStopped = true;
    clockOfTest.time = {.tv_sec = seconds, .tv_usec = microseconds};
}

/// The characters that replace a run of `count` "X" at the stopped clock's time, from right to left.
std::string firstRun(std::size_t count) {
    unsigned seed = (static_cast<uint32_t>(clockOfTest.time.tv_usec) << 7U) ^
                    static_cast<uint32_t>(clockOfTest.time.tv_sec) ^ static_cast<uint32_t>(getpid());
    std::string run(count, ' ');
    for (std::size_t i = count; i > 0; --i) {
        run[i - 1] = kDigits[static_cast<std::size_t>(rand_r(&seed)) % 62];
    }
    return run;
}

/// Stops the clock at a time for which the first run becomes `accepts`.
std::string runThat(const std::function<bool(const std::string &)> &accepts, std::size_t count) {
    for (suseconds_t at = 0;; ++at) {
        stopClock(1'700'000'000, at);
        if (accepts(firstRun(count))) {
            return firstRun(count);
        }
    }
}

std::string runThatBeginsWith(const std::string &begin, std::size_t count) {
    return runThat([&begin](const std::string &run) { return run.starts_with(begin); }, count);
}

bool isRun(const std::string &text, std::size_t count) {
    return text.size() == count && text.find_first_not_of(kDigits) == std::string::npos;
}

/// The result of a call, `errno` after a failure (otherwise 0), and the template.
struct Made {
    int result;
    int error;
    std::string name;

    bool operator==(const Made &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Made &made) {
    return out << "{" << made.result << ", " << made.error << " (" << std::strerror(made.error) << "), \""
               << made.name << "\"}";
}

enum class Mode { File, Directory, Test };
constexpr std::array<Mode, 3> kModes = {Mode::File, Mode::Directory, Mode::Test};

/// Runs the generator in an allocated buffer of exactly the template's size.
Made make(Mode mode, const std::string &nameTemplate, int suffixLen = 0) {
    std::vector<char> name(nameTemplate.c_str(), nameTemplate.c_str() + nameTemplate.size() + 1);
    int descriptor = 12345;
    errno = 0;
    const int result = veki_gettemp(name.data(), mode == Mode::File ? &descriptor : nullptr,
                                    mode == Mode::Directory ? 1 : 0, suffixLen);
    const int error = result == 0 ? errno : 0;
    if (mode == Mode::File) {
        EXPECT_EQ(result != 0, descriptor >= 0);
        EXPECT_TRUE(result != 0 || descriptor == -1);
        const vek::OwnedDescriptor closed(descriptor);
    }
    return {result, error, name.data()};
}

Made madeAs(const std::string &name) {
    return {1, 0, name};
}

/// A copy of an allocated string, which is freed, or "(null)".
std::string adopted(char *text) {
    const vek::OwnedText owned(text);
    return text == nullptr ? "(null)" : text;
}

mode_t modeOf(const std::string &path) {
    struct stat status = {};
    EXPECT_EQ(0, lstat(path.c_str(), &status)) << path;
    return status.st_mode;
}

/// `begin`, followed by components that do not exist, `size` characters in all.
std::string pathOfLength(const std::string &begin, std::size_t size) {
    std::string path = begin;
    while (path.size() < size) {
        const std::size_t missing = size - path.size();
        path +=
            "/" + std::string(missing <= 100 ? missing - 1 : std::min<std::size_t>(missing - 3, 100), 'n');
    }
    return path;
}

// --- The generator: the name ---

TEST(GetTemp, ReplacesTheRunWithTheDocumentedCharacters) {
    const test::Sandbox box;
    for (const suseconds_t microseconds : {0, 1, 999'999}) {
        for (const time_t seconds : {time_t{0}, time_t{1'700'000'000}, time_t{5'000'000'000}}) {
            stopClock(seconds, microseconds);
            EXPECT_EQ(madeAs("f" + firstRun(6)), make(Mode::Test, "fXXXXXX"));
            EXPECT_EQ(madeAs("f" + firstRun(40)), make(Mode::Test, "f" + std::string(40, 'X')));
        }
    }
}

TEST(GetTemp, ReplacesOnlyTheRunAtTheEnd) {
    stopClock(7, 7);
    for (const Mode mode : kModes) {
        const test::Sandbox box;
        EXPECT_EQ(madeAs("XaXXbxXx" + firstRun(3)), make(mode, "XaXXbxXxXXX"));
        EXPECT_EQ(madeAs(firstRun(2)), make(mode, "XX"));
    }
}

TEST(GetTemp, KeepsTheSuffix) {
    stopClock(7, 7);
    for (const Mode mode : kModes) {
        const test::Sandbox box;
        EXPECT_EQ(madeAs("f" + firstRun(6) + ".txt"), make(mode, "fXXXXXX.txt", 4));
        EXPECT_EQ(madeAs("f" + firstRun(3) + "XXX"), make(mode, "fXXXXXX", 3));
        EXPECT_EQ(madeAs(firstRun(1) + "suffix"), make(mode, "Xsuffix", 6));
    }
}

TEST(GetTemp, LeavesANameWithoutARunUnchanged) {
    test::Sandbox box;
    EXPECT_EQ(madeAs("abc"), make(Mode::Test, "abc"));
    EXPECT_EQ(madeAs("fXXXXXX.txt"), make(Mode::Test, "fXXXXXX.txt"));
    EXPECT_EQ(Names{}, box.list());
    EXPECT_EQ(madeAs("abc"), make(Mode::File, "abc"));
    EXPECT_EQ(madeAs("def"), make(Mode::Directory, "def"));
    EXPECT_EQ((Names{"abc", "def"}), box.list());
    for (const Mode mode : kModes) {
        EXPECT_EQ((Made{0, EEXIST, "abc"}), make(mode, "abc"));
        EXPECT_EQ((Made{0, EEXIST, "def"}), make(mode, "def"));
    }
}

TEST(GetTemp, NeedsACharacterBeforeTheSuffix) {
    test::Sandbox box;
    for (const Mode mode : kModes) {
        EXPECT_EQ((Made{0, EINVAL, ""}), make(mode, ""));
        EXPECT_EQ((Made{0, EINVAL, "fX"}), make(mode, "fX", 2));
        EXPECT_EQ((Made{0, EINVAL, "fX"}), make(mode, "fX", 3));
        EXPECT_EQ((Made{0, EINVAL, "fX"}), make(mode, "fX", INT_MAX));
        EXPECT_EQ((Made{0, EINVAL, "fX"}), make(mode, "fX", -1));
        EXPECT_EQ((Made{0, EINVAL, "fX"}), make(mode, "fX", INT_MIN));
    }
    EXPECT_EQ(Names{}, box.list());
    EXPECT_EQ(madeAs("ff"), make(Mode::Test, "ff", 1));
}

TEST(GetTemp, NeedsATemplate) {
    int descriptor = 12345;
    errno = 0;
    EXPECT_EQ(0, veki_gettemp(nullptr, &descriptor, 0, 0));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(-1, descriptor);
    EXPECT_EQ(0, veki_gettemp(nullptr, nullptr, 0, -1));
    EXPECT_EQ(0, veki_gettemp(nullptr, nullptr, 1, 1));
}

TEST(GetTemp, CreatesNoFileAndDirectoryAtOnce) {
    const test::Sandbox box;
    char name[] = "fXXXXXX";
    int descriptor = 12345;
    errno = 0;
    EXPECT_EQ(0, veki_gettemp(name, &descriptor, 1, 0));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(-1, descriptor);
    EXPECT_STREQ("fXXXXXX", name);
    EXPECT_EQ(Names{}, box.list());
}

TEST(GetTemp, ReportsAFailureOfTheClock) {
    const test::Sandbox box;
    for (const Mode mode : kModes) {
        test::Capture capture;
        clockOfTest.failures = 1;
        EXPECT_EQ((Made{0, EPERM, "fXXXXXX"}), make(mode, "fXXXXXX"));
        EXPECT_EQ(std::string("Error: gettimeofday() failed. ") + std::strerror(EPERM) + "\n", capture.err());
        EXPECT_EQ("", capture.out());
    }
    EXPECT_EQ(Names{}, box.list());
}

TEST(GetTemp, KeepsTheErrorOfTheClockWithoutAStandardError) {
    const test::Sandbox box;
    const vek::OwnedDescriptor saved(dup(STDERR_FILENO));
    ASSERT_EQ(0, close(STDERR_FILENO));
    clockOfTest.failures = 1;
    const Made made = make(Mode::Test, "fXXXXXX");
    ASSERT_EQ(STDERR_FILENO, dup2(saved.get(), STDERR_FILENO));
    EXPECT_EQ((Made{0, EPERM, "fXXXXXX"}), made);
}

TEST(GetTemp, PrintsNothingElse) {
    test::Sandbox box;
    box.file("abc", "");
    test::Capture capture;
    for (const Mode mode : kModes) {
        make(mode, "fXXXXXX");
        make(mode, "abc");
        make(mode, "none/fXXXXXX");
        make(mode, "");
    }
    EXPECT_EQ("", capture.out() + capture.err());
}

// --- The generator: existing names ---

TEST(GetTemp, CountsUpTheLeftmostCharacterFirst) {
    for (const Mode mode : kModes) {
        test::Sandbox box;
        for (const auto &[digit, successor] : {std::pair{"0", "1"}, {"9", "A"}, {"Z", "a"}, {"y", "z"}}) {
            const std::string run = runThatBeginsWith(digit, 6);
            box.file("f" + run + ".s", "taken");
            EXPECT_EQ(madeAs("f" + (successor + run.substr(1)) + ".s"), make(mode, "fXXXXXX.s", 2));
            EXPECT_EQ("taken", box.read("f" + run + ".s"));
        }
    }
}

TEST(GetTemp, CarriesIntoTheNextCharacter) {
    for (const Mode mode : kModes) {
        test::Sandbox box;
        const std::string once = runThatBeginsWith("z3", 6);
        box.file("a" + once, "");
        EXPECT_EQ(madeAs("a04" + once.substr(2)), make(mode, "aXXXXXX"));
        const std::string twice =
            runThat([](const std::string &text) { return text.starts_with("zz") && text[2] != 'z'; }, 3);
        const std::string successor(1, kDigits[kDigits.find(twice[2]) + 1]);
        box.file("b" + twice, "");
        EXPECT_EQ(madeAs("b00" + successor), make(mode, "bXXX"));
    }
}

TEST(GetTemp, SixCharactersAreCountedUpUntilANameIsNew) {
    // The first name and the fifty after it exist
    test::Sandbox box;
    std::string run = runThatBeginsWith("z", 6);
    for (int i = 0; i < 51; ++i) {
        box.file("f" + run, "");
        std::size_t at = 0;
        for (; run[at] == 'z'; ++at) {
            run[at] = '0';
        }
        run[at] = kDigits[kDigits.find(run[at]) + 1];
    }
    // The next one is created
    EXPECT_EQ(madeAs("f" + run), make(Mode::File, "fXXXXXX"));
    EXPECT_TRUE(box.exists("f" + run));
}

TEST(GetTemp, EndsAfterTheLastName) {
    test::Sandbox box;
    const std::string first = runThatBeginsWith("s", 1);
    for (std::size_t at = kDigits.find('s'); at < kDigits.size(); ++at) {
        box.file(std::string("f") + kDigits[at] + "a", "");
    }
    // The names before the first one do not exist, but are not tried; the suffix never changes.
    for (const Mode mode : kModes) {
        EXPECT_EQ((Made{0, EEXIST, "f0a"}), make(mode, "fXa", 1));
    }
    EXPECT_EQ(kDigits.size() - kDigits.find('s'), box.list().size());
    EXPECT_EQ("s", first);
}

TEST(GetTemp, EndsIfTheCarryLeavesTheRun) {
    test::Sandbox box;
    ASSERT_EQ("zz", runThatBeginsWith("zz", 2));
    box.file("fzz", "").file("gzz5", "");
    for (const Mode mode : kModes) {
        EXPECT_EQ((Made{0, EEXIST, "f00"}), make(mode, "fXX"));
        EXPECT_EQ((Made{0, EEXIST, "g005"}), make(mode, "gXX5", 1));
    }
    EXPECT_EQ((Names{"fzz", "gzz5"}), box.list());
}

TEST(GetTemp, DanglingLinkCountsAsExisting) {
    for (const Mode mode : kModes) {
        test::Sandbox box;
        const std::string run = runThatBeginsWith("0", 6);
        box.link("f" + run, "target");
        EXPECT_EQ(madeAs("f1" + run.substr(1)), make(mode, "fXXXXXX"));
        EXPECT_FALSE(box.exists("target"));
    }
}

// --- The generator: the directory ---

TEST(GetTemp, NeedsTheDirectoryToCreateIn) {
    const test::Sandbox box;
    for (const Mode mode : {Mode::File, Mode::Directory}) {
        faults::reset();
        EXPECT_EQ(ENOENT, make(mode, "/nonexistent/dir/fXXXXXX").error);
        EXPECT_EQ(ENOTDIR, make(mode, "/etc/passwd/fXXXXXX").error);
        EXPECT_EQ(ENOTDIR, make(mode, "/etc/passwd/abc").error);
        EXPECT_EQ(3, faults::count("stat"));
        EXPECT_EQ(0, faults::count("open") + faults::count("mkdir"));
    }
}

TEST(GetTemp, DirectoryEndsAtTheLastSlashBeforeTheRun) {
    test::Sandbox box;
    box.directory("d/e").link("l", "d").file("d/file", "");
    stopClock(7, 7);
    for (const char *directory : {"d", "d/e", "l", "d//e", ".", "d/e/..", "l/e/"}) {
        for (const Mode mode : {Mode::File, Mode::Directory}) {
            const std::string name = std::string(directory) + "/f" + firstRun(6);
            EXPECT_EQ(madeAs(name), make(mode, std::string(directory) + "/fXXXXXX"));
            unlink(name.c_str());
            rmdir(name.c_str());
        }
    }
    EXPECT_EQ((Made{0, ENOTDIR, "d/file/" + firstRun(4)}), make(Mode::File, "d/file/XXXX"));
}

TEST(GetTemp, DirectoryOfAPathBelowTheRootIsTheRoot) {
    for (const char *path : {"/none-of-vek-XXXXXX", "//none-of-vek-XXXXXX"}) {
        for (const Mode mode : {Mode::File, Mode::Directory}) {
            faults::reset();
            faults::fail("open", 1, EACCES);
            faults::fail("mkdir", 1, EACCES);
            EXPECT_EQ(EACCES, make(mode, path).error);
            EXPECT_EQ(1, faults::count("stat"));
            EXPECT_EQ(1, faults::count("open") + faults::count("mkdir"));
            faults::reset();
            faults::fail("stat", 1, EIO);
            EXPECT_EQ(EIO, make(mode, path).error);
            EXPECT_EQ(0, faults::count("open") + faults::count("mkdir"));
        }
    }
}

TEST(GetTemp, TestsNoDirectoryForANameWithoutOne) {
    const test::Sandbox box;
    for (const Mode mode : kModes) {
        faults::reset();
        EXPECT_EQ(1, make(mode, "fXXXXXX").result);
        EXPECT_EQ(0, faults::count("stat"));
    }
    // A "/" in the suffix does not end the directory part.
    EXPECT_EQ(ENOENT, make(Mode::File, "gXXXXXX/x", 2).error);
    EXPECT_EQ(ENOENT, make(Mode::Directory, "gXXXXXX/x", 2).error);
    EXPECT_EQ(0, faults::count("stat"));
}

TEST(GetTemp, TestsNoDirectoryForANameThatIsOnlyTested) {
    faults::reset();
    EXPECT_EQ(1, make(Mode::Test, "/nonexistent/dir/fXXXXXX").result);
    EXPECT_EQ(ENOTDIR, make(Mode::Test, "/etc/passwd/fXXXXXX").error);
    EXPECT_EQ(0, faults::count("stat"));
}

// --- The generator: files and directories ---

TEST(GetTemp, CreatesADirectoryWithMode0700) {
    test::Sandbox box;
    umask(0);
    const Made made = make(Mode::Directory, "dXXXXXX");
    EXPECT_EQ(1, made.result);
    EXPECT_EQ(Names{made.name}, box.list());
    EXPECT_EQ(S_IFDIR | mode_t{0700}, modeOf(made.name));
}

TEST(GetTemp, CreatesNothingWithoutAFileAndADirectory) {
    const test::Sandbox box;
    EXPECT_EQ(1, make(Mode::Test, "fXXXXXX").result);
    EXPECT_EQ(Names{}, box.list());
}

TEST(GetTemp, EveryOtherErrorEndsTheSearch) {
    const test::Sandbox box;
    struct Row {
        Mode mode;
        const char *call;
    };
    for (const Row &row : {Row{Mode::File, "open"}, {Mode::Directory, "mkdir"}, {Mode::Test, "lstat"}}) {
        for (const int error : {EACCES, EMFILE, ENOSPC, EROFS, EIO, EINTR}) {
            faults::reset();
            faults::failFrom(row.call, 1, error);
            EXPECT_EQ(error, make(row.mode, "fXXXXXX").error) << row.call;
            EXPECT_EQ(1, faults::count(row.call)) << row.call;
        }
    }
    EXPECT_EQ(Names{}, box.list());
}

TEST(GetTemp, FailsIfNothingCanBeCreated) {
    test::Sandbox box;
    box.directory("d", 0555).directory("closed", 0000);
    test::asUnprivileged([] {
        EXPECT_EQ(EACCES, make(Mode::File, "d/fXXXXXX").error);
        EXPECT_EQ(EACCES, make(Mode::Directory, "d/fXXXXXX").error);
        EXPECT_EQ(1, make(Mode::Test, "d/fXXXXXX").result);
        EXPECT_EQ(EACCES, make(Mode::Test, "closed/fXXXXXX").error);
        EXPECT_EQ(EACCES, make(Mode::File, "closed/d/fXXXXXX").error);
    });
    EXPECT_EQ(Names{}, box.list("d"));
    // A working directory that was removed
    box.directory("gone");
    ASSERT_EQ(0, chdir("gone"));
    ASSERT_EQ(0, rmdir(box.path("gone").c_str()));
    EXPECT_EQ(ENOENT, make(Mode::File, "fXXXXXX").error);
    EXPECT_EQ(ENOENT, make(Mode::Directory, "fXXXXXX").error);
}

TEST(GetTemp, AcceptsTemplatesOfAnyLength) {
    const test::Sandbox box;
    for (const Mode mode : kModes) {
        EXPECT_EQ(1, make(mode, std::string(255, 'X')).result);
        for (const std::size_t length : {256U, 1023U, 4095U, 4096U, 4097U, 1'000'000U}) {
            const Made made = make(mode, std::string(length, 'X'));
            EXPECT_EQ(ENAMETOOLONG, made.error) << length;
            EXPECT_TRUE(isRun(made.name, length)) << length;
            EXPECT_EQ(ENAMETOOLONG, make(mode, std::string(length, 'n')).error) << length;
        }
    }
    // The longest path that the system accepts
    EXPECT_EQ(1, make(Mode::Test, pathOfLength("/none-of-vek", 4094) + "X").result);
    EXPECT_EQ(ENAMETOOLONG, make(Mode::Test, pathOfLength("/none-of-vek", 4095) + "X").error);
    EXPECT_EQ(ENOENT, make(Mode::File, pathOfLength("/none-of-vek", 4095) + "X").error);
    EXPECT_EQ(ENAMETOOLONG, make(Mode::File, pathOfLength("/none-of-vek", 4096) + "/X").error);
}

// --- vek_mkstemp ---

TEST(VekMkstemp, CreatesAFileWithMode0600) {
    test::Sandbox box;
    umask(0);
    char name[] = "fXXXXXX";
    const vek::OwnedDescriptor file(vek_mkstemp(name));
    ASSERT_TRUE(file.valid());
    EXPECT_TRUE(isRun(name + 1, 6)) << name;
    EXPECT_EQ(Names{name}, box.list());
    EXPECT_EQ(S_IFREG | mode_t{0600}, modeOf(name));
    EXPECT_EQ(O_RDWR, fcntl(file.get(), F_GETFL) & O_ACCMODE);
    EXPECT_EQ(3, write(file.get(), "abc", 3));
    EXPECT_EQ("abc", box.read(name));
}

TEST(VekMkstemp, DescriptorIsInheritedByOtherPrograms) {
    test::Sandbox box;
    char name[] = "fXXXXXX";
    const vek::OwnedDescriptor file(vek_mkstemp(name));
    ASSERT_TRUE(file.valid());
    EXPECT_EQ(0, fcntl(file.get(), F_GETFD) & FD_CLOEXEC);
    // A program started by this process can write to it.
    const std::string inherited = "/proc/self/fd/" + std::to_string(file.get());
    EXPECT_EQ(0, test::run({"/bin/sh", "-c", "echo text >" + inherited}).status);
    EXPECT_EQ("text\n", box.read(name));
}

TEST(VekMkstemp, CreatesAnotherFileEachTime) {
    test::Sandbox box;
    for (int i = 0; i < 100; ++i) {
        char name[] = "fXXXXXX";
        const vek::OwnedDescriptor file(vek_mkstemp(name));
        ASSERT_TRUE(file.valid());
    }
    EXPECT_EQ(100U, box.list().size());
}

TEST(VekMkstemp, FailsWithTheErrorAndCreatesNothing) {
    test::Sandbox box;
    box.file("file", "");
    struct Row {
        std::string name;
        int error;
    };
    for (const Row &row : {Row{"/nonexistent/dir/fXXXXXX", ENOENT},
                           {"/etc/passwd/fXXXXXX", ENOTDIR},
                           {"file", EEXIST},
                           {"", EINVAL}}) {
        std::string name = row.name;
        errno = 0;
        EXPECT_EQ(-1, vek_mkstemp(name.data())) << row.name;
        EXPECT_EQ(row.error, errno) << row.name;
    }
    errno = 0;
    EXPECT_EQ(-1, vek_mkstemp(nullptr));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(Names{"file"}, box.list());
}

TEST(VekMkstemp, FailsIfAllNamesExist) {
    // A file system without space for an empty file
    test::onSmallFilesystem(16384, [](const std::string &directory) {
        ASSERT_EQ(0, mount(nullptr, directory.c_str(), nullptr, MS_REMOUNT, "nr_inodes=2"));
        const vek::OwnedDescriptor last(open((directory + "/last").c_str(), O_WRONLY | O_CREAT, 0644));
        ASSERT_TRUE(last.valid());
        // No name exists, and the next directory is used
        for (const Mode mode : {Mode::File, Mode::Directory}) {
            EXPECT_EQ(ENOSPC, make(mode, directory + "/fXXXXXX").error);
        }
        std::string name = directory + "/fXXXXXX";
        errno = 0;
        EXPECT_EQ(-1, vek_mkstemp(name.data()));
        EXPECT_EQ(ENOSPC, errno);
        test::setEnvironment({{"VEK_TMP_DIR", directory}});
        EXPECT_EQ("/tmp", adopted(vekGetTmpDir(nullptr)));
        EXPECT_NE(0, access(name.c_str(), F_OK));
    });
}

TEST(VekMkstemp, FailsOnAReadOnlyFileSystem) {
    test::onSmallFilesystem(16384, [](const std::string &directory) {
        ASSERT_EQ(0, mount(nullptr, directory.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr));
        for (const Mode mode : {Mode::File, Mode::Directory}) {
            EXPECT_EQ(EROFS, make(mode, directory + "/fXXXXXX").error);
        }
        test::setEnvironment({{"VEK_TMP_DIR", directory}});
        EXPECT_EQ("/tmp", adopted(vekGetTmpDir(nullptr)));
    });
}

TEST(VekMkstemp, FailsIfTheDirectoryIsRemovedAfterTheTest) {
    const test::Sandbox box;
    for (const auto &[mode, call] : {std::pair{Mode::File, "open"}, {Mode::Directory, "mkdir"}}) {
        faults::reset();
        faults::fail(call, 1, ENOENT);
        EXPECT_EQ(ENOENT, make(mode, "./fXXXXXX").error);
        EXPECT_EQ(1, faults::count("stat"));
        EXPECT_EQ(1, faults::count(call));
    }
}

// --- vek_mktemp ---

TEST(VekMktemp, ReturnsTheTemplateWithANewName) {
    test::Sandbox box;
    // The carry ends at the second character.
    const std::string run =
        runThat([](const std::string &text) { return text[0] == 'z' && text[1] != 'z'; }, 6);
    box.file("f" + run, "");
    char name[] = "fXXXXXX";
    EXPECT_EQ(name, vek_mktemp(name));
    EXPECT_EQ('0', name[1]);
    EXPECT_EQ(run.substr(2), name + 3);
    EXPECT_EQ(Names{"f" + run}, box.list());
}

TEST(VekMktemp, TestsANameWithoutAnXUnchanged) {
    test::Sandbox box;
    char name[] = "abc";
    EXPECT_EQ(name, vek_mktemp(name));
    EXPECT_STREQ("abc", name);
    box.directory("abc");
    errno = 0;
    EXPECT_EQ(nullptr, vek_mktemp(name));
    EXPECT_EQ(EEXIST, errno);
}

TEST(VekMktemp, ReturnsNullWithTheError) {
    char below[] = "/etc/passwd/fXXXXXX";
    char empty[] = "";
    errno = 0;
    EXPECT_EQ(nullptr, vek_mktemp(below));
    EXPECT_EQ(ENOTDIR, errno);
    EXPECT_EQ(nullptr, vek_mktemp(empty));
    EXPECT_EQ(EINVAL, errno);
    errno = 0;
    EXPECT_EQ(nullptr, vek_mktemp(nullptr));
    EXPECT_EQ(EINVAL, errno);
}

// --- vek_tempnam ---

TEST(VekTempnam, JoinsDirectoryAndPrefixWithOneSlash) {
    const test::Sandbox box;
    stopClock(7, 7);
    const std::string run = firstRun(6);
    EXPECT_EQ("/var/x/p" + run, adopted(vek_tempnam("/var/x/", "p")));
    EXPECT_EQ("/var/x/p" + run, adopted(vek_tempnam("/var/x", "p")));
    EXPECT_EQ("/var/x//p" + run, adopted(vek_tempnam("/var/x//", "p")));
    EXPECT_EQ("/p" + run, adopted(vek_tempnam("/", "p")));
    EXPECT_EQ("/p" + run, adopted(vek_tempnam("", "p")));
    EXPECT_EQ("./a/p." + run, adopted(vek_tempnam(".", "a/p.")));
    EXPECT_EQ("./" + run, adopted(vek_tempnam(".", "")));
    EXPECT_EQ(Names{}, box.list());
}

TEST(VekTempnam, UsesTheDefaultsForNull) {
    stopClock(1'700'000'000, 123'456);
    EXPECT_EQ("/tmp/tmp." + firstRun(6), adopted(vek_tempnam(nullptr, nullptr)));
    EXPECT_EQ("/tmp/p" + firstRun(6), adopted(vek_tempnam(nullptr, "p")));
    EXPECT_EQ("/var/tmp." + firstRun(6), adopted(vek_tempnam("/var", nullptr)));
}

TEST(VekTempnam, ReadsNoEnvironmentVariable) {
    const test::Sandbox box;
    test::setEnvironment({{"TMPDIR", box.path()}, {"VEK_TMP_DIR", box.path()}, {"TEMPDIR", box.path()}});
    stopClock(1'700'000'000, 123'457);
    EXPECT_EQ("/tmp/tmp." + firstRun(6), adopted(vek_tempnam(nullptr, nullptr)));
}

TEST(VekTempnam, SkipsExistingNames) {
    test::Sandbox box;
    const std::string run = runThatBeginsWith("3", 6);
    box.file("d/p" + run, "");
    EXPECT_EQ("d/p4" + run.substr(1), adopted(vek_tempnam("d", "p")));
}

TEST(VekTempnam, UsesTheDefaultDirectoryIfTheGivenOneFails) {
    test::Sandbox box;
    box.file("file", "");
    stopClock(1'700'000'000, 123'458);
    EXPECT_EQ("/tmp/p" + firstRun(6), adopted(vek_tempnam("file", "p")));
    EXPECT_EQ("/tmp/p" + firstRun(6), adopted(vek_tempnam(std::string(300, 'n').c_str(), "p")));
}

TEST(VekTempnam, TriesTheDefaultDirectoryTwice) {
    stopClock(1'700'000'000, 123'459);
    const test::Capture capture;
    clockOfTest.failures = 1;
    EXPECT_EQ("/tmp/p" + firstRun(6), adopted(vek_tempnam(nullptr, "p")));
    clockOfTest.failures = 2;
    EXPECT_EQ("/tmp/p" + firstRun(6), adopted(vek_tempnam("/var", "p")));
    clockOfTest.failures = 2;
    EXPECT_EQ("(null)", adopted(vek_tempnam(nullptr, "p")));
    clockOfTest.failures = 3;
    EXPECT_EQ("(null)", adopted(vek_tempnam("/var", "p")));
    EXPECT_EQ(0, clockOfTest.failures);
}

TEST(VekTempnam, KeepsTheErrorOfTheLastAttempt) {
    faults::reset();
    faults::failFrom("lstat", 1, EIO);
    errno = 0;
    EXPECT_EQ(nullptr, vek_tempnam(nullptr, nullptr));
    EXPECT_EQ(EIO, errno);
    EXPECT_EQ(2, faults::count("lstat"));
    EXPECT_EQ(nullptr, vek_tempnam("/var", nullptr));
    EXPECT_EQ(EIO, errno);
    EXPECT_EQ(5, faults::count("lstat"));
}

TEST(VekTempnam, ReturnsNullWithoutMemory) {
    faults::reset();
    faults::failAllocation(1);
    errno = 0;
    EXPECT_EQ(nullptr, vek_tempnam("/var", "p"));
    EXPECT_EQ(ENOMEM, errno);
    EXPECT_EQ(0, faults::count("lstat"));
}

TEST(VekTempnam, ReturnsAStringOf4096Bytes) {
    const vek::OwnedText path(vek_tempnam(nullptr, nullptr));
    ASSERT_TRUE(path);
    EXPECT_GE(malloc_usable_size(path.get()), 4096U);
    std::memset(path.get(), 'x', 4096);
}

TEST(VekTempnam, TruncatesThePathAfter4095Characters) {
    stopClock(1'700'000'000, 123'460);
    // Directories that do not exist, so that no name exists
    for (std::size_t length = 4080; length <= 4100; ++length) {
        const std::string directory = pathOfLength("/none-of-vek", length);
        const std::string whole = directory + "/pre";
        const std::string cut = whole.substr(0, 4095);
        const std::size_t limit = std::min<std::size_t>(6, 4095 - cut.size());
        EXPECT_EQ(cut + firstRun(limit), adopted(vek_tempnam(directory.c_str(), "pre"))) << length;
    }
    EXPECT_EQ(pathOfLength("/none-of-vek", 10000).substr(0, 4095),
              adopted(vek_tempnam(pathOfLength("/none-of-vek", 10000).c_str(), nullptr)));
}

TEST(VekTempnam, ReturnsNoTruncatedPathThatExists) {
    stopClock(1'700'000'000, 123'461);
    std::string root = "/";
    while (root.size() < 5000) {
        root += "./";
    }
    EXPECT_EQ("/tmp/p" + firstRun(6), adopted(vek_tempnam(root.c_str(), "p")));
    // A long prefix fits in the default directory, too.
    const std::string prefix = root.substr(1);
    errno = 0;
    EXPECT_EQ(nullptr, vek_tempnam(nullptr, prefix.c_str()));
    EXPECT_EQ(EEXIST, errno);
    EXPECT_EQ(nullptr, vek_tempnam(nullptr, std::string(1'000'000, 'p').c_str()));
    EXPECT_EQ(ENAMETOOLONG, errno);
}

// --- vekMkUniqueFilePath ---

TEST(VekMkUniqueFilePath, WritesThePathOfVekTempnam) {
    stopClock(1'700'000'000, 123'462);
    std::vector<char> out(4096, '?');
    EXPECT_EQ(out.data(), vekMkUniqueFilePath("/var/x", "p", out.data()));
    EXPECT_EQ("/var/x/p" + firstRun(6), out.data());
    EXPECT_EQ(out.data(), vekMkUniqueFilePath(nullptr, nullptr, out.data()));
    EXPECT_EQ("/tmp/tmp." + firstRun(6), out.data());
    EXPECT_EQ(out.data(), vekMkUniqueFilePath(pathOfLength("/none-of-vek", 5000).c_str(), "p", out.data()));
    EXPECT_EQ(pathOfLength("/none-of-vek", 5000).substr(0, 4095), out.data());
}

TEST(VekMkUniqueFilePath, ReturnsANewStringWithoutABuffer) {
    stopClock(1'700'000'000, 123'463);
    EXPECT_EQ("/var/x/p" + firstRun(6), adopted(vekMkUniqueFilePath("/var/x", "p", nullptr)));
}

TEST(VekMkUniqueFilePath, LeavesTheBufferUnchangedAfterAFailure) {
    char buffer[] = "untouched";
    faults::failFrom("lstat", 1, EIO);
    for (char *const out : {static_cast<char *>(nullptr), &buffer[0]}) {
        errno = 0;
        EXPECT_EQ(nullptr, vekMkUniqueFilePath("/var", "p", out));
        EXPECT_EQ(EIO, errno);
    }
    faults::reset();
    for (char *const out : {static_cast<char *>(nullptr), &buffer[0]}) {
        faults::failAllocation(1);
        EXPECT_EQ(nullptr, vekMkUniqueFilePath("/var", "p", out));
    }
    EXPECT_STREQ("untouched", buffer);
}

// --- vekGetTmpDir ---

/// The result as a new string and in a buffer; checks that they are equal.
std::string tmpDir() {
    std::string allocated = adopted(vekGetTmpDir(nullptr));
    std::vector<char> buffer(4096, '?');
    char *const result = vekGetTmpDir(buffer.data());
    EXPECT_TRUE(result == nullptr || result == buffer.data());
    EXPECT_EQ(allocated, result == nullptr ? "(null)" : result);
    EXPECT_TRUE(result != nullptr || buffer == std::vector<char>(4096, '?'));
    return allocated;
}

TEST(VekGetTmpDir, ReturnsTheFirstWritableDirectory) {
    test::Sandbox box;
    box.directory("a").directory("b").directory("c");
    test::setEnvironment({{"VEK_TMP_DIR", "a"}, {"TMPDIR", "b"}, {"TEMPDIR", "c"}});
    EXPECT_EQ("a", tmpDir());
    rmdir("a");
    EXPECT_EQ("b", tmpDir());
    rmdir("b");
    EXPECT_EQ("c", tmpDir());
    rmdir("c");
    EXPECT_EQ("/tmp", tmpDir());
    EXPECT_EQ(Names{}, box.list());
}

TEST(VekGetTmpDir, SkipsVariablesThatAreUnsetOrEmpty) {
    const test::Sandbox box;
    test::setEnvironment({});
    EXPECT_EQ("/tmp", tmpDir());
    test::setEnvironment({{"TEMPDIR", box.path()}});
    EXPECT_EQ(box.path(), tmpDir());
    test::setEnvironment({{"VEK_TMP_DIR", ""}, {"TMPDIR", ""}, {"TEMPDIR", box.path()}});
    EXPECT_EQ(box.path(), tmpDir());
}

TEST(VekGetTmpDir, SkipsAReadOnlyDirectory) {
    test::Sandbox box;
    box.directory("d", 0555).directory("open", 0777);
    test::asUnprivileged([&box] {
        test::setEnvironment({{"VEK_TMP_DIR", box.path("d")}, {"TEMPDIR", box.path("open")}});
        EXPECT_EQ(box.path("open"), tmpDir());
        test::setEnvironment({{"VEK_TMP_DIR", box.path("d")}, {"TEMPDIR", box.path("d")}});
        EXPECT_EQ("/tmp", tmpDir());
    });
    EXPECT_EQ(Names{}, box.list("open"));
}

TEST(VekGetTmpDir, ReturnsValuesUnchanged) {
    test::Sandbox box;
    box.directory("d").directory("$TEMPDIR").file("file", "kept");
    test::setEnvironment({{"VEK_TMP_DIR", "$TMPDIR"}, {"TMPDIR", "~"}, {"TEMPDIR", "d/../d/"}});
    EXPECT_EQ("d/../d/", tmpDir());
    test::setEnvironment({{"VEK_TMP_DIR", "$TEMPDIR"}});
    EXPECT_EQ("$TEMPDIR", tmpDir());
    // A writable file is returned, too.
    test::setEnvironment({{"VEK_TMP_DIR", "file"}});
    EXPECT_EQ("file", tmpDir());
    EXPECT_EQ("kept", box.read("file"));
}

TEST(VekGetTmpDir, SkipsValuesThatDoNotFit) {
    const test::Sandbox box;
    for (const std::size_t length : {1024U, 4000U, 4075U}) {
        std::string directory = "./";
        while (directory.size() < length) {
            directory += directory.size() + 1 == length ? "/" : "./";
        }
        test::setEnvironment({{"VEK_TMP_DIR", directory}});
        EXPECT_EQ(directory, tmpDir()) << length;
    }
    for (const std::size_t length : {4095U, 4096U, 4097U, 100'000U}) {
        test::setEnvironment({{"VEK_TMP_DIR", std::string(length, '/')}, {"TMPDIR", box.path()}});
        EXPECT_EQ(box.path(), tmpDir()) << length;
    }
}

TEST(VekGetTmpDir, ReturnsNullIfNothingIsWritable) {
    const test::Sandbox box;
    test::setEnvironment({{"VEK_TMP_DIR", box.path()}});
    faults::reset();
    faults::failFrom("open", 1, EROFS);
    EXPECT_EQ("(null)", tmpDir());
    faults::reset();
    faults::failAllocation(1);
    EXPECT_EQ(nullptr, vekGetTmpDir(nullptr));
}

TEST(VekGetTmpDir, AllocatesNothingWithABuffer) {
    const test::Sandbox box;
    test::setEnvironment({{"TMPDIR", box.path()}});
    std::array<char, 4096> buffer = {};
    faults::reset();
    EXPECT_EQ(buffer.data(), vekGetTmpDir(buffer.data()));
    EXPECT_EQ(0, faults::count("malloc"));
    const vek::OwnedText path(vekGetTmpDir(nullptr));
    EXPECT_GE(malloc_usable_size(path.get()), 4096U);
}

} // namespace
