// Editors, readers and configurations of the same tag files at the same time, each a process of its own. VEK_TEST_ROUNDS
// sets how often each test is repeated (scripts/soak-edits).

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tagfile/tov.h"
#include "tests/robustness/edit_model.h"
#include "tests/robustness/in_memory.h"
#include "tests/support/c_list.h"
#include "tests/support/child.h"
#include "tests/support/real_calls.h"
#include "tests/support/sandbox.h"

using test::EditModel;
using test::EditStep;
using Strings = std::vector<std::string>;

namespace {

int rounds(int usual) {
    const char *rounds = std::getenv("VEK_TEST_ROUNDS");
    return rounds == nullptr ? usual : std::atoi(rounds);
}

/// Processes that start their work at the same time.
class Together {
  public:
    Together()
        : start_(static_cast<int *>(
              mmap(nullptr, sizeof(int), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))) {}
    ~Together() {
        for (const pid_t id : ids_) {
            kill(id, SIGKILL);
            waitpid(id, nullptr, 0);
        }
        munmap(start_, sizeof(int));
    }
    Together(const Together &) = delete;
    Together &operator=(const Together &) = delete;

    /// Adds a process whose exit status is what `work` returns.
    template <typename Work>
    void add(Work work) {
        const pid_t id = fork();
        if (id == 0) {
            while (__atomic_load_n(start_, __ATOMIC_ACQUIRE) == 0) {
                sched_yield();
            }
            _exit(work());
        }
        ids_.push_back(id);
    }

    /// Starts all of them. @return their exit statuses, in the order of add(); -1 for one that a signal ended
    std::vector<int> run() {
        __atomic_store_n(start_, 1, __ATOMIC_RELEASE);
        std::vector<int> statuses;
        for (const pid_t id : ids_) {
            int status = 0;
            waitpid(id, &status, 0);
            statuses.push_back(WIFEXITED(status) ? WEXITSTATUS(status) : -1);
        }
        ids_.clear();
        return statuses;
    }

  private:
    int *start_;
    std::vector<pid_t> ids_;
};

/// Makes one edit by the library.
int edit(const EditStep &step) {
    const int result = step.clears ? tovRemoveEntry(".", step.name.c_str())
                                   : tovAddEntry(".", step.name.c_str(), step.value.c_str());
    return result == 1 ? 0 : 1;
}

/// Makes one edit by the tool.
int editByTool(const EditStep &step) {
    Strings line = {VEK_TEST_VEKINFO};
    const Strings arguments = step.arguments();
    line.insert(line.end(), arguments.begin(), arguments.end());
    execv(VEK_TEST_VEKINFO, test::CList(line));
    return 127;
}

class SideBySide : public testing::Test {
  protected:
    /// The settings that a new reader reads. An invalid file fails the test.
    [[nodiscard]] EditModel read() const {
        tovResetCache();
        VekinfoObj obj = {};
        int found = 0;
        const int status = tovGetVekinfoAtLoc("./vekinfo.tag", nullptr, &obj, &found);
        const bool exists = box.exists("vekinfo.tag");
        EXPECT_EQ(exists ? TOV_OK : TOV_NO_SUCH_FILE, status);
        const std::string text = exists ? box.read("vekinfo.tag") : "";
        return EditModel(exists ? &text : nullptr);
    }

    /// Runs one round, and compares the file with the results of the same edits in every serial order.
    void play(const std::string *start, const std::vector<EditStep> &steps, int (*make)(const EditStep &)) {
        __real_unlink("vekinfo.tag");
        if (start != nullptr) {
            box.file("vekinfo.tag", *start);
        }
        Together editors;
        for (const EditStep &step : steps) {
            editors.add([&step, make] { return make(step); });
        }
        EXPECT_EQ(std::vector<int>(steps.size(), 0), editors.run());
        const EditModel end = read();
        if (!test::isOutcomeOfSomeOrder(EditModel(start), steps, end)) {
            std::string edits;
            for (const EditStep &step : steps) {
                edits += step.clears ? "-clearentry " + step.name + "\n"
                                     : "-addentry " + step.name + " " + step.value + "\n";
            }
            ADD_FAILURE() << "no order of the edits gives this file\n"
                          << end.settings() << "from\n"
                          << (start == nullptr ? "no file" : *start) << "by\n"
                          << edits;
        }
    }

    void playAll(int editors, int (*make)(const EditStep &), int usualRounds) {
        const std::string shortFile = "DMTYPE pkm\n";
        const std::string longFile = [] {
            std::string text = "VEKLIBRARY\nNAMESPACE LibraryUnix\n";
            for (int i = 0; i < 400; ++i) {
                text += "A value" + std::to_string(i) + std::string(20, 'v') + "\n";
            }
            return text;
        }();
        const std::string commented =
            "# a comment\n" + std::string(6000, '#') + "\nVEKLIBCHECK ON\n; another\nB 2\nA 1\n";
        for (int round = 0; round < rounds(usualRounds) && !HasFailure(); ++round) {
            for (const std::string *start :
                 {static_cast<const std::string *>(nullptr), &shortFile, &longFile, &commented}) {
                play(start, draw(editors), make);
            }
        }
    }

    /// `count` edits: first one of each of the four keywords, then random ones.
    std::vector<EditStep> draw(int count) {
        const std::vector<EditStep> keywords = {
            {"DMTYPE", "mrev"}, {"NAMESPACE", "LibraryNT"}, {"VEKLIBCHECK", "ON"}, {"VEKLIBRARY", "x"}};
        const std::vector<EditStep> others = {{"A", "1"},
                                              {"B", std::string(3000, 'b')},
                                              {"C", "3"},
                                              {"A", "4"},
                                              {"DMTYPE", std::string(4000, 'd')},
                                              {"DMTYPE", "", true},
                                              {"NAMESPACE", "LibraryUnix"},
                                              {"NAMESPACE", "", true},
                                              {"VEKLIBCHECK", "", true},
                                              {"VEKLIBRARY", "", true},
                                              {"A", "", true},
                                              {"B", "", true}};
        std::vector<EditStep> steps;
        int applications = 0;
        while (static_cast<int>(steps.size()) < count) {
            const bool isFirst = count >= 4 && steps.size() < keywords.size();
            EditStep step = isFirst              ? keywords[steps.size()]
                            : random_() % 2 == 0 ? keywords[random_() % keywords.size()]
                                                 : others[random_() % others.size()];
            const bool isApplication = test::groupOf(step.name).empty();
            if (!isApplication || ++applications <= 5) { // the search over orders takes 2^n steps
                steps.push_back(step);
            }
        }
        return steps;
    }

    test::InMemory inMemory;
    test::Sandbox box;

  private:
    std::mt19937 random_{20261121};
};

} // namespace

// ---- editors

TEST_F(SideBySide, TwoEditorsAreSerialized) {
    playAll(2, edit, 25);
}

TEST_F(SideBySide, FourEditorsAreSerialized) {
    playAll(4, edit, 25);
}

TEST_F(SideBySide, SixteenEditorsAreSerialized) {
    playAll(16, edit, 25);
}

TEST_F(SideBySide, FourToolsAreSerialized) {
    playAll(4, editByTool, 10);
}

TEST_F(SideBySide, FileIsCreatedOnce) {
    for (int round = 0; round < rounds(100) && !HasFailure(); ++round) {
        __real_unlink("vekinfo.tag");
        Together creators;
        for (int i = 0; i < 8; ++i) {
            creators.add([i] {
                std::string line = "CREATOR " + std::to_string(i);
                char *lines[] = {line.data(), nullptr};
                tovRegisterErrorHandler([](int code, const char *, const char *, int) {
                    if (code != TOV_FILE_EXISTS) {
                        _exit(99);
                    }
                });
                return tovCreateInfoFile(".", lines);
            });
        }
        const std::vector<int> results = creators.run();
        int winner = -1;
        for (int i = 0; i < 8; ++i) {
            ASSERT_TRUE(results[static_cast<std::size_t>(i)] == 0 || winner < 0) << "two have won";
            winner = results[static_cast<std::size_t>(i)] == 1 ? i : winner;
            ASSERT_LE(results[static_cast<std::size_t>(i)], 1);
        }
        EXPECT_EQ("CREATOR " + std::to_string(winner) + "\n", read().settings());
    }
}

// ---- readers

TEST_F(SideBySide, ReadersSeeOldOrNewContent) {
    // Each edit moves all that follows the DMTYPE line by most of a page.
    const std::string small = "small";
    const std::string large(4000, 'l');
    std::string entries;
    for (int i = 0; i < 500; ++i) {
        entries += "A value" + std::to_string(i) + "\n";
    }
    box.file("vekinfo.tag", "DMTYPE small\n" + entries);
    Together processes;
    for (int editor = 0; editor < 2; ++editor) {
        processes.add([&] {
            for (int i = 0; i < 200; ++i) {
                if (tovAddEntry(".", "DMTYPE", i % 2 == 0 ? large.c_str() : small.c_str()) != 1) {
                    return 1;
                }
            }
            return 0;
        });
    }
    for (int reader = 0; reader < 4; ++reader) {
        processes.add([&] {
            tovRegisterErrorHandler([](int, const char *, const char *, int) { _exit(2); });
            for (int i = 0; i < rounds(250) * 10; ++i) {
                tovResetCache();
                VekinfoObj obj = {};
                if (tovGetVekinfoAtLoc("vekinfo.tag", nullptr, &obj, nullptr) != TOV_OK ||
                    obj.dmtype == nullptr || (obj.dmtype != small && obj.dmtype != large)) {
                    return 3;
                }
                std::string found;
                for (int at = 0; obj.names != nullptr && obj.names[at] != nullptr; ++at) {
                    found.append(obj.names[at]).append(" ").append(obj.values[at]).append("\n");
                }
                if (found != entries) {
                    return 4;
                }
            }
            return 0;
        });
    }
    EXPECT_EQ(std::vector<int>(6, 0), processes.run());
}

// ---- configurations

TEST_F(SideBySide, ConfigurationsAppendOneBlockEach) {
    std::string definitions;
    for (int i = 0; i < 10; ++i) {
        definitions += "DEFINE lib" + std::to_string(i) + " lib" + std::to_string(i) + "\n";
    }
    box.directory("home");
    for (int round = 0; round < rounds(10) && !HasFailure(); ++round) {
        for (int i = 0; i < 10; ++i) {
            const std::string library = "lib" + std::to_string(i);
            box.directory(library);
            __real_unlink((library + "/vekinfo.tag").c_str());
            if (i % 3 == 1) {
                box.file(library + "/vekinfo.tag", "DMTYPE pkm");
            }
        }
        box.file("vek.lib", definitions);
        Together tools;
        for (int i = 0; i < 12; ++i) {
            tools.add([this] {
                const std::string home = "HOME=" + box.path("home");
                const std::string directory = "PWD=" + box.path();
                const std::string tool = VEK_TEST_VEKINFO;
                char *const arguments[] = {const_cast<char *>("vekinfo"), const_cast<char *>("-v"),
                                           const_cast<char *>("-configurelibrary"), nullptr};
                char *const environment[] = {const_cast<char *>(home.c_str()),
                                             const_cast<char *>(directory.c_str()), nullptr};
                const int out =
                    __real_open(("out." + std::to_string(getpid())).c_str(), O_WRONLY | O_CREAT, 0644);
                dup2(out, STDOUT_FILENO);
                dup2(out, STDERR_FILENO);
                execve(tool.c_str(), arguments, environment);
                return 127;
            });
        }
        ASSERT_EQ(std::vector<int>(12, 0), tools.run());
        std::map<std::string, int> configured;
        for (const std::string &name : box.list()) {
            if (!name.starts_with("out.")) {
                continue;
            }
            const std::string out = box.read(name);
            for (int i = 0; i < 10; ++i) {
                const std::string path = box.path("lib" + std::to_string(i));
                const std::string had = "Library:lib" + std::to_string(i) + " at:" + path +
                                        " had no VEKLIBRARY vekinfo.tag entry.\n";
                const std::string has = "The library lib" + std::to_string(i) + " at " + path +
                                        " has a vekinfo.tag definition.\n";
                const bool isFirst = out.find(had) != std::string::npos;
                configured[path] += isFirst ? 1 : 0;
                EXPECT_NE(isFirst, out.find(has) != std::string::npos) << out;
            }
            __real_unlink(name.c_str());
        }
        for (int i = 0; i < 10; ++i) {
            const std::string library = "lib" + std::to_string(i);
            const std::string text = box.read(library + "/vekinfo.tag");
            const std::string block = "# The next line was written by the\n";
            const std::size_t first = text.find(block);
            ASSERT_NE(std::string::npos, first) << text;
            EXPECT_EQ(std::string::npos, text.find(block, first + 1)) << text;
            EXPECT_EQ(1, configured[box.path(library)]);
        }
    }
}

// ---- processes that hold the lock

namespace {

/// A process that holds the lock of the file.
class Holder {
  public:
    Holder() {
        int ready[2] = {};
        EXPECT_EQ(0, pipe(ready));
        id_ = fork();
        if (id_ == 0) {
            const int file = __real_open("vekinfo.tag", O_RDWR | O_CLOEXEC);
            struct flock lock = {};
            lock.l_type = F_WRLCK;
            const bool isLocked = __real_fcntl(file, F_OFD_SETLK, &lock) == 0;
            __real_write(ready[1], isLocked ? "y" : "n", 1);
            for (;;) {
                pause();
            }
        }
        char answer = '?';
        EXPECT_EQ(1, __real_read(ready[0], &answer, 1));
        EXPECT_EQ('y', answer);
        __real_close(ready[0]);
        __real_close(ready[1]);
    }
    ~Holder() { end(); }
    Holder(const Holder &) = delete;
    Holder &operator=(const Holder &) = delete;

    void end() {
        if (id_ > 0) {
            kill(id_, SIGKILL);
            waitpid(id_, nullptr, 0);
            id_ = 0;
        }
    }
    void stop() const { kill(id_, SIGSTOP); }

  private:
    pid_t id_ = 0;
};

/// Whether a process sleeps, as an editor does between two attempts to lock.
bool isWaiting(pid_t id) {
    char text[512] = {};
    const int file = __real_open(("/proc/" + std::to_string(id) + "/wchan").c_str(), O_RDONLY | O_CLOEXEC);
    static_cast<void>(__real_read(file, text, sizeof text - 1));
    __real_close(file);
    return std::string(text).find("nanosleep") != std::string::npos;
}

/// Whether a process ignores a signal, from SigIgn in /proc/PID/status.
bool ignoresSignal(pid_t id, int number) {
    std::ifstream status("/proc/" + std::to_string(id) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("SigIgn:")) {
            return (std::stoull(line.substr(7), nullptr, 16) >> static_cast<unsigned>(number - 1) & 1U) != 0;
        }
    }
    ADD_FAILURE() << "no mask of ignored signals";
    return true;
}

class WaitingEditor : public SideBySide {
  protected:
    void SetUp() override { box.file("vekinfo.tag", "DMTYPE old\n"); }

    /// Runs an edit and, while it waits, `whileItWaits`. @return its exit status
    template <typename WhileItWaits>
    int editBeside(WhileItWaits whileItWaits) {
        const pid_t editor = fork();
        if (editor == 0) {
            _exit(edit({"NAMESPACE", "LibraryNT"}));
        }
        while (!isWaiting(editor)) {
            usleep(1000);
        }
        if constexpr (std::is_invocable_v<WhileItWaits, pid_t>) {
            whileItWaits(editor);
        } else {
            whileItWaits();
        }
        int status = 0;
        waitpid(editor, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
};

} // namespace

TEST_F(WaitingEditor, ContinuesWhenTheHolderIsKilled) {
    Holder holder;
    EXPECT_EQ(0, editBeside([&] { holder.end(); }));
    EXPECT_EQ("DMTYPE old\nNAMESPACE LibraryNT\n", read().settings());
}

// The limit is ignored only while the file is written: the disposition is that of the whole process.
TEST_F(WaitingEditor, KeepsTheDispositionOfSigxfsz) {
    Holder holder;
    EXPECT_EQ(0, editBeside([&](pid_t editor) {
                  EXPECT_FALSE(ignoresSignal(editor, SIGXFSZ));
                  holder.end();
              }));
}

TEST_F(WaitingEditor, ContinuesWhenAStoppedHolderIsKilled) {
    Holder holder;
    EXPECT_EQ(0, editBeside([&] {
                  holder.stop();
                  usleep(100'000);
                  holder.end();
              }));
    EXPECT_EQ("DMTYPE old\nNAMESPACE LibraryNT\n", read().settings());
}

TEST_F(WaitingEditor, EditsAFileRenamedOverTheLockedOne) {
    Holder holder;
    EXPECT_EQ(0, editBeside([&] {
                  box.file("new", "DMTYPE renamed\n");
                  ASSERT_EQ(0, __real_rename("new", "vekinfo.tag"));
                  holder.end();
              }));
    EXPECT_EQ("DMTYPE renamed\nNAMESPACE LibraryNT\n", read().settings());
}

TEST_F(WaitingEditor, CreatesTheFileThatWasRemoved) {
    Holder holder;
    EXPECT_EQ(0, editBeside([&] {
                  ASSERT_EQ(0, __real_unlink("vekinfo.tag"));
                  holder.end();
              }));
    EXPECT_EQ("NAMESPACE LibraryNT\n", read().settings());
}
