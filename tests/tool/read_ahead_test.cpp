#include "tool/read_ahead.h"

#include "tagfile/normalize.h"
#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/limits.h"
#include "tests/support/passthrough_filesystem.h"
#include "tests/tagfile/tag_support.h"
#include "tool/vekinfo_check.h"
#include "tool/vekinfo_scan.h"

#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using test::TagReports;
using vek::DirectoryIdentity;
using vekinfo::ReadAhead;
using vekinfo::WorkerSettings;

/// The names in a directory in the order in which they are read.
std::vector<std::string> namesIn(const std::string &directory) {
    std::vector<std::string> names;
    DIR *stream = opendir(directory.c_str());
    while (const dirent *entry = stream == nullptr ? nullptr : readdir(stream)) {
        const std::string name = &entry->d_name[0];
        if (name != "." && name != "..") {
            names.push_back(name);
        }
    }
    if (stream != nullptr) {
        closedir(stream);
    }
    return names;
}

/// A plain recursive walk that does what the scan is documented to do. It reports through tovPrintError(), too.
class Model {
  public:
    std::string scan(const std::string &directory) {
        walk(directory, true, true);
        return printed_;
    }

  private:
    struct Level {
        std::string path;
        std::optional<DirectoryIdentity> identity;
        bool beginsPath;
    };

    void walk(const std::string &directory, bool isTop, bool beginsPath) {
        DIR *stream = opendir(directory.c_str());
        if (stream == nullptr) {
            return;
        }
        closedir(stream);
        descent_.push_back({directory, DirectoryIdentity::of(directory.c_str()), beginsPath});
        for (const std::string &name : namesIn(directory)) {
            const std::string path = directory + "/" + name;
            struct stat status = {};
            const bool isDirectory = stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
            if (!isDirectory) {
                if (name == "vekinfo.tag" && !isTop) {
                    printed_ +=
                        "There is a redundant vekinfo.tag file in the subdir: \n\t" + directory + "\n";
                }
                continue;
            }
            std::string target(4096, '\0');
            const ssize_t size = readlink(path.c_str(), target.data(), target.size());
            if (size < 0) {
                enterPlain(path, directory);
            } else {
                target.resize(static_cast<std::size_t>(size));
                follow(path, target[0] == '/' ? target : directory + "/" + target, directory);
            }
        }
        descent_.pop_back();
    }

    void enterPlain(const std::string &path, const std::string &directory) {
        const std::size_t segment = beginningOfPath();
        const std::optional<std::size_t> level = levelOf(DirectoryIdentity::of(path.c_str()));
        if (level && *level < segment) {
            reportCycle(directory);
        } else {
            walk(path, false, false);
        }
    }

    void follow(const std::string &link, const std::string &target, const std::string &directory) {
        vek::PathText normalized;
        if (tov::normalizePath(target.c_str(), normalized) != TOV_OK) {
            tovPrintError(TOV_INVALID_PATH, target.c_str(), link.c_str(), 0);
            return;
        }
        const std::string text(normalized.view());
        const std::optional<DirectoryIdentity> identity = DirectoryIdentity::of(text.c_str());
        if (directory.starts_with(text) || levelOf(identity) || isAbove(identity)) {
            reportCycle(directory);
        } else {
            walk(text, false, true);
        }
    }

    static void reportCycle(const std::string &directory) {
        tovPrintError(TOV_INVALID_PATH, "there seems to be a linkloop", directory.c_str(), 0);
    }

    /// The level where the path of the present directory begins: at a link or at the top.
    [[nodiscard]] std::size_t beginningOfPath() const {
        std::size_t level = descent_.size() - 1;
        while (!descent_[level].beginsPath) {
            --level;
        }
        return level;
    }

    [[nodiscard]] std::optional<std::size_t> levelOf(const std::optional<DirectoryIdentity> &identity) const {
        for (std::size_t level = 0; identity && level < descent_.size(); ++level) {
            if (descent_[level].identity == identity) {
                return level;
            }
        }
        return std::nullopt;
    }

    /// Whether a directory is above the one where the path of the present directory begins.
    [[nodiscard]] bool isAbove(const std::optional<DirectoryIdentity> &identity) const {
        std::string path = descent_[beginningOfPath()].path;
        for (int i = 0; identity && i < 100; ++i) {
            path += "/..";
            if (DirectoryIdentity::of(path.c_str()) == identity) {
                return true;
            }
        }
        return false;
    }

    std::vector<Level> descent_;
    std::string printed_;
};

struct Result {
    std::string printed;
    TagReports reports;

    bool operator==(const Result &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Result &result) {
    return out << result.printed << testing::PrintToString(result.reports);
}

/// Settings that start workers at once.
WorkerSettings workersAtOnce(std::size_t workers) {
    return {.fastWorkers = workers, .slowWorkers = workers, .directoriesBefore = 0, .fastShare = 1};
}

class ReadAheadScan : public test::TagTest {
  protected:
    Result scan(const WorkerSettings &settings, std::size_t *workers = nullptr) {
        return scanOf(box.path("lib"), settings, workers);
    }
    Result expected() { return expectedOf(box.path("lib")); }
    Result scanOf(const std::string &directory, const WorkerSettings &settings,
                  std::size_t *workers = nullptr) {
        test::Capture capture;
        {
            ReadAhead readAhead(settings);
            vekinfo::scanSubdirs(directory.c_str(), true, {}, readAhead);
            if (workers != nullptr) {
                *workers = readAhead.workers();
            }
        }
        return {capture.out(), reports.take()};
    }
    Result expectedOf(const std::string &directory) {
        const std::string printed = Model().scan(directory);
        return {printed, reports.take()};
    }

    /// `count` directories, each with a tag file and with one directory below it.
    void makeTree(int count) {
        for (int i = 0; i < count; ++i) {
            box.file("lib/d" + std::to_string(i) + "/vekinfo.tag", "")
                .directory("lib/d" + std::to_string(i) + "/e");
        }
    }

    /// Makes a random tree at "lib" and "other", with links, cycles and directories without permissions.
    static void makeRandomTree(test::Sandbox &box, std::mt19937 &random) {
        const auto below = [&random](std::size_t limit) { return random() % limit; };
        std::vector<std::string> directories = {"lib", "other"};
        box.directory("lib").directory("other");
        const std::size_t count = 5 + below(40);
        for (std::size_t i = 0; i < count; ++i) {
            const bool isTagName = below(15) == 0;
            const std::string directory = directories[below(directories.size())] + "/" +
                                          (isTagName ? "vekinfo.tag" : "d" + std::to_string(i));
            if (!box.exists(directory)) {
                box.directory(directory);
                directories.push_back(directory);
            }
        }
        for (const std::string &directory : directories) {
            if (below(2) == 0 && !box.exists(directory + "/vekinfo.tag")) {
                box.file(directory + "/vekinfo.tag", "");
            }
            box.file(directory + "/file", "");
        }
        for (std::size_t i = 0; i < below(7); ++i) {
            const std::string link = directories[below(directories.size())] + "/link" + std::to_string(i);
            const std::string target = directories[below(directories.size())];
            const std::vector<std::string> targets = {box.path(target), "..", ".", "/none",
                                                      box.path(target) + "/.."};
            box.link(link, targets[below(targets.size())]);
        }
        for (std::size_t i = 0; i < below(4); ++i) {
            const std::vector<mode_t> modes = {0, 0111, 0444};
            box.directory(directories[2 + below(directories.size() - 2)], modes[below(modes.size())]);
        }
    }
};

// ---- the same result as without workers

TEST_F(ReadAheadScan, WorkersDoNotChangeTheReportOfRandomTrees) {
    for (unsigned seed = 1; seed <= 25; ++seed) {
        std::mt19937 random(seed);
        test::Sandbox tree;
        makeRandomTree(tree, random);
        test::asUnprivileged([this, seed, directory = tree.path("lib")] {
            const Result model = expectedOf(directory);
            EXPECT_EQ(model, scanOf(directory, {})) << seed;
            for (const std::size_t workers : {1U, 2U, 3U, 8U, 32U}) {
                EXPECT_EQ(model, scanOf(directory, workersAtOnce(workers)))
                    << seed << ", workers: " << workers;
            }
        });
        if (HasFailure()) {
            break;
        }
    }
}

TEST_F(ReadAheadScan, SmallLimitsDoNotChangeTheReport) {
    makeTree(30);
    for (int i = 0; i < 100; ++i) {
        box.directory("lib/d3/with_a_long_name_" + std::to_string(i));
    }
    const Result model = expected();
    for (const std::size_t directories : {1U, 2U, 7U}) {
        WorkerSettings settings = workersAtOnce(4);
        settings.mostDirectories = directories;
        EXPECT_EQ(model, scan(settings)) << directories;
    }
    for (const std::size_t bytes : {1U, 400U, 4000U}) {
        WorkerSettings settings = workersAtOnce(4);
        settings.mostBytes = bytes;
        EXPECT_EQ(model, scan(settings)) << bytes;
    }
}

TEST_F(ReadAheadScan, OneReadAheadServesManyScans) {
    makeTree(20);
    box.directory("empty");
    const Result model = expected();
    ReadAhead readAhead(workersAtOnce(3));
    for (int i = 0; i < 20; ++i) {
        test::Capture capture;
        vekinfo::scanSubdirs(box.path("lib").c_str(), true, {}, readAhead);
        EXPECT_EQ(model.printed, capture.out());
        vekinfo::scanSubdirs(box.path("empty").c_str(), true, {}, readAhead);
    }
    EXPECT_GE(3U, readAhead.workers());
}

TEST_F(ReadAheadScan, DirectoriesMayVanishDuringTheScan) {
    makeTree(50);
    const std::string victim = box.path("lib/d25");
    std::atomic<bool> isDone = false;
    std::thread remover([&] {
        while (!isDone) {
            rmdir((victim + "/e").c_str());
            unlink((victim + "/vekinfo.tag").c_str());
            rmdir(victim.c_str());
            mkdir(victim.c_str(), 0755);
            mkdir((victim + "/e").c_str(), 0755);
        }
    });
    for (int i = 0; i < 50; ++i) {
        const Result result = scan(workersAtOnce(4));
        EXPECT_EQ(TagReports{}, result.reports);
        const auto lines = std::count(result.printed.begin(), result.printed.end(), '\n');
        EXPECT_TRUE(lines == 2L * 49 || lines == 2L * 50) << result.printed;
    }
    isDone = true;
    remover.join();
}

// ---- threads and descriptors

TEST_F(ReadAheadScan, ASmallTreeStartsNoWorker) {
    makeTree(20);
    std::size_t workers = 1;
    const Result model = expected();
    EXPECT_EQ(model, scan({.slowNs = INT64_MAX}, &workers));
    EXPECT_EQ(0U, workers);
}

TEST_F(ReadAheadScan, ALargeTreeStartsWorkers) {
    makeTree(600);
    std::size_t workers = 0;
    const Result model = expected();
    EXPECT_EQ(model, scan({.fastWorkers = 2, .slowNs = INT64_MAX}, &workers));
    EXPECT_EQ(2U, workers);
}

TEST_F(ReadAheadScan, ASlowFileSystemStartsMoreWorkersAndEarlier) {
    makeTree(40);
    std::size_t workers = 0;
    const Result model = expected();
    EXPECT_EQ(model, scan({.slowWorkers = 16, .slowNs = 0}, &workers));
    EXPECT_EQ(16U, workers);
}

TEST_F(ReadAheadScan, WithoutThreadsTheReportIsTheSame) {
    makeTree(50);
    test::asUnprivileged([this] {
        const Result model = expected();
        const test::NoThreads limited;
        std::size_t workers = 1;
        EXPECT_EQ(model, scan(workersAtOnce(8), &workers));
        if (geteuid() != 0) {
            EXPECT_EQ(0U, workers);
        }
    });
}

TEST_F(ReadAheadScan, FewDescriptorsDoNotChangeTheReport) {
    makeTree(100);
    const Result model = expected();
    WorkerSettings settings = workersAtOnce(32);
    for (const bool isShared : {false, true}) {
        settings.sharesDescriptors = isShared;
        for (const int free : {16, 3, 2}) {
            const test::Outcome outcome = test::inChild([this, &model, &settings, free] {
                test::Capture capture; // its descriptors are open before the others are used up
                {
                    const test::FewDescriptors limited(free);
                    ReadAhead readAhead(settings);
                    vekinfo::scanSubdirs(box.path("lib").c_str(), true, {}, readAhead);
                }
                EXPECT_EQ(model.printed, capture.out()) << free;
                return 0;
            });
            EXPECT_EQ(0, outcome.status) << outcome.err;
        }
    }
}

TEST_F(ReadAheadScan, APathThroughADescriptorOfTheMainThreadIsRead) {
    makeTree(60);
    const int descriptor = open(box.path("lib").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const std::string directory = "/proc/thread-self/fd/" + std::to_string(descriptor);
    const Result model = expectedOf(directory);
    EXPECT_NE("", model.printed);
    EXPECT_EQ(model, scanOf(directory, workersAtOnce(4)));
    EXPECT_EQ(0, close(descriptor));
}

TEST_F(ReadAheadScan, ACycleAbandonsWhatWasReadBelowIt) {
    box.link("lib/a", box.path("x/1")).link("x/1/2/link", box.path("y/1")).link("y/1/2/link", box.path("x"));
    for (int i = 0; i < 40; ++i) {
        box.file("x/1/z" + std::to_string(i) + "/below/vekinfo.tag", "");
    }
    const Result model = expected();
    for (int i = 0; i < 30; ++i) {
        EXPECT_EQ(model, scan(workersAtOnce(8)));
    }
}

// ---- a directory that is never read

/// Reads `size` bytes from `descriptor`. Returns earlier if nothing arrives for 20 seconds.
std::string readBytes(int descriptor, std::size_t size) {
    std::string text;
    pollfd waiting = {descriptor, POLLIN, 0};
    while (text.size() < size && poll(&waiting, 1, 20'000) == 1) {
        std::string part(size - text.size(), '\0');
        const ssize_t count = read(descriptor, part.data(), part.size());
        if (count <= 0) {
            break;
        }
        text.append(part, 0, static_cast<std::size_t>(count));
    }
    return text;
}

TEST_F(ReadAheadScan, ADirectoryCanBeLeftAfterBatchesBelowItHaveEnded) {
    for (int i = 0; i < 100; ++i) {
        box.file("lib/d" + std::to_string(i) + "/" + std::string(100, 'f'), "");
    }
    const Result model = expected();
    WorkerSettings settings = workersAtOnce(4);
    settings.mostBytes = 3200; // a batch ends when the entries of its directories need more than 200 bytes
    ReadAhead readAhead(settings);
    for (int i = 0; i < 50; ++i) {
        vekinfo::Directory *root = readAhead.enter(box.path("lib").c_str(), {});
        ASSERT_NE(nullptr, root);
        usleep(200);
        readAhead.leave(root);
        test::Capture capture;
        vekinfo::scanSubdirs(box.path("lib").c_str(), true, {}, readAhead);
        EXPECT_EQ(model.printed, capture.out());
    }
}

TEST_F(ReadAheadScan, ADirectoryCanBeLeftWhileWorkersReadBelowIt) {
    test::onPassthroughFilesystem(
        {"--delay-us", "5000"}, [](const std::string &directory, const std::string &source) {
            for (int i = 0; i < 20; ++i) {
                mkdir((source + "/d" + std::to_string(i)).c_str(), 0755);
            }
            WorkerSettings settings = workersAtOnce(4);
            settings.slowNs = 0;
            settings.slowBefore = 0;
            ReadAhead readAhead(settings);
            for (int i = 0; i < 8; ++i) { // after three slow readings, workers are started
                vekinfo::Directory *root = readAhead.enter(directory.c_str(), {});
                ASSERT_NE(nullptr, root);
                EXPECT_EQ(20U, root->entries().directories());
                usleep(7000); // a worker needs more than 15 ms for a directory
                readAhead.leave(root);
            }
            EXPECT_LT(0U, readAhead.workers());

            // A scan of the same directories and a pause: the workers have then ended all readings of this test.
            test::Capture capture;
            vekinfo::scanSubdirs(directory.c_str(), true, {}, readAhead);
            EXPECT_EQ("", capture.out());
            usleep(50'000);
        });
}

TEST_F(ReadAheadScan, ReportsBeforeAHangingDirectoryArePrinted) {
    test::onPassthroughFilesystem({"--blockable", "1", "--delay-us", "1000"}, [](const std::string &directory,
                                                                                 const std::string &source) {
        mkdir((source + "/lib").c_str(), 0755);
        for (int i = 0; i < 20; ++i) {
            const std::string made = source + "/lib/d" + std::to_string(i);
            mkdir(made.c_str(), 0755);
            close(open((made + "/vekinfo.tag").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
        }
        std::string before;
        std::string all;
        const std::vector<std::string> names = namesIn(directory + "/lib");
        ASSERT_EQ(20U, names.size());
        for (std::size_t i = 0; i < names.size(); ++i) {
            before = i == 12 ? all : before;
            all += "There is a redundant vekinfo.tag file in the subdir: \n\t" + directory + "/lib/" +
                   names[i] + "\n";
        }
        const std::string block = source + "/lib/" + names[12] + "/.block";
        close(open(block.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));

        int ends[2];
        ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
        const pid_t scanner = fork();
        if (scanner == 0) {
            dup2(ends[1], STDOUT_FILENO);
            tovScanSubdirsForVekinfo((directory + "/lib").c_str(), 1);
            std::fflush(stdout);
            _exit(0);
        }
        close(ends[1]);
        EXPECT_EQ(before, readBytes(ends[0], before.size()));
        unlink(block.c_str());
        EXPECT_EQ(all.substr(before.size()), readBytes(ends[0], all.size() - before.size()));
        close(ends[0]);
        int status = 0;
        EXPECT_EQ(scanner, waitpid(scanner, &status, 0));
        EXPECT_EQ(0, status);
    });
}

} // namespace
