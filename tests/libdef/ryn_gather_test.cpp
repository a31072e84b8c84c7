// The names that iterators over directories find, and their order.

#include "fs/owned_spec.h"
#include "libdef/access/ryni_spec.h"
#include "libdef/iteration/ryni_gather.h"
#include "tests/libdef/archive_support.h"
#include "tests/libdef/iteration_support.h"
#include "tests/support/faults.h"
#include "tests/support/limits.h"
#include "tests/support/small_filesystem.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <pthread.h>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace faults = test::faults;
using test::archives;
using test::diskIterator;
using test::ErrorReports;
using test::Existence;
using test::failed;
using test::gathered;
using test::Iteration;
using test::levelOf;
using test::NameList;
using test::Project;
using test::readingOrder;
using test::recorded;

namespace {

constexpr std::array kShallow = {1, 2, 3, 4, 5};
constexpr int kDeep = 6;

/// Nested directories named "d", with the file "f" at some depths; removed by the destructor. Paths in it may be longer
/// than PATH_MAX.
class Chain {
  public:
    Chain(const std::string &directory, int levels, const std::set<int> &files) {
        int at = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        for (int level = 1; level <= levels; ++level) {
            EXPECT_EQ(mkdirat(at, "d", 0755), 0);
            const int next = openat(at, "d", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            close(at);
            at = next;
            if (files.contains(level)) {
                close(openat(at, "f", O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
            }
        }
        bottom_ = at;
        levels_ = levels;
    }
    ~Chain() {
        for (int level = levels_; level > 0; --level) {
            unlinkat(bottom_, "f", 0);
            const int above = openat(bottom_, "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            unlinkat(above, "d", AT_REMOVEDIR);
            close(bottom_);
            bottom_ = above;
        }
        close(bottom_);
    }
    Chain(const Chain &) = delete;
    Chain &operator=(const Chain &) = delete;

    /// Creates a file in the lowest directory. It is not removed.
    void putAtBottom(const std::string &name) const {
        close(openat(bottom_, name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    }

    /// The path of the file at a level, relative to the directory of the chain.
    static std::string fileAt(int level) {
        std::string path;
        for (int i = 0; i < level; ++i) {
            path += "d/";
        }
        return path + "f";
    }

  private:
    int bottom_ = -1;
    int levels_ = 0;
};

NameList reversed(NameList names) {
    std::reverse(names.begin(), names.end());
    return names;
}

/// The deep list of the view "c/v" in the directory 'l' or 'e', with a given limit; failed() after a failure.
NameList deepWithin(const Project &project, char letter, const vek::LinkLimit &limit) {
    const std::string temporary = project.path("etmp/c/v");
    ryn::Sources sources;
    sources.library = project.record();
    sources.names = {.cell = "c", .view = "v"};
    vek::OwnedSpec spec;
    if (letter == 'l') {
        EXPECT_EQ(ryn::makeSpec(project.handle, *sources.library, sources.names, spec), RYN_OK);
        sources.spec = spec.get();
    } else {
        sources.explicitTmp = temporary.c_str();
    }
    rynElement *list = nullptr;
    const int code = ryn::gatherNames(project.handle, RYNI_CONTEXT_ALL_VIEW_FILES, sources, &list, limit);
    NameList names;
    for (const rynElement *element = list; element != nullptr; element = element->next) {
        names.emplace_back(element->name);
    }
    ryn::freeElements(list);
    std::sort(names.begin(), names.end());
    return code == RYN_OK ? names : failed(code);
}

/// The sorted paths below a directory that `find -L` lists and that are not directories.
NameList foundBelow(const std::string &directory) {
    const test::Outcome found =
        test::run({"find", "-L", ".", "!", "-type", "d", "-printf", "%P\\n"},
                  {.environment = {{"PATH", "/usr/bin:/bin"}}, .directory = directory});
    EXPECT_EQ(found.status, 0) << found.err;
    NameList names;
    std::istringstream lines(found.out);
    for (std::string line; std::getline(lines, line);) {
        names.push_back(line);
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// Runs `body` in a thread with a stack of `bytes` bytes.
void onStackOf(std::size_t bytes, const std::function<void()> &body) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, bytes), 0);
    pthread_t thread = {};
    const auto run = [](void *given) -> void * {
        (*static_cast<const std::function<void()> *>(given))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, const_cast<std::function<void()> *>(&body)), 0);
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
}

/// A library in a tmpfs, where many files can be created and removed quickly.
class BigTree {
  public:
    /// Runs `body` with a project whose view "c/v" has one entry, the link "l" to the directory whose name
    /// `make` returns, in the library and in a temporary directory.
    static void check(const std::function<std::string(const BigTree &)> &make,
                      const std::function<void(const Project &)> &body) {
        Project project("E");
        project.putDirectory("le", "c/v");
        project.box.directory("big");
        test::withMountAt(project.path("big"), std::size_t{64} << 20, [&] {
            const BigTree tree(project);
            const std::string target = tree.path(make(tree));
            project.box.link("lib/c/v/l", target).link("etmp/c/v/l", target);
            body(project);
        });
    }

    /// The names of `count` new directories.
    [[nodiscard]] NameList makeDirectories(const std::string &name, int count) const {
        NameList names;
        EXPECT_EQ(mkdir(path(name).c_str(), 0755), 0);
        for (int i = 0; i < count; ++i) {
            names.push_back(name + "/" + std::to_string(i));
            EXPECT_EQ(mkdir(path(names.back()).c_str(), 0755), 0);
        }
        return names;
    }
    /// A new directory with links to the targets.
    [[nodiscard]] std::string makeLinks(const std::string &name, const NameList &targets) const {
        EXPECT_EQ(mkdir(path(name).c_str(), 0755), 0);
        for (std::size_t i = 0; i < targets.size(); ++i) {
            EXPECT_EQ(symlink(path(targets[i]).c_str(), path(name + "/" + std::to_string(i)).c_str()), 0);
        }
        return name;
    }
    void makeFile(const std::string &name) const {
        close(open(path(name).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
    }

  private:
    explicit BigTree(const Project &project) : top_(project.path("big")) {}
    [[nodiscard]] std::string path(const std::string &name) const { return top_ + "/" + name; }

    std::string top_;
};

} // namespace

// ---- sNmpIsLegalLibrary()

TEST(LegalName, HasLettersDigitsUnderscoreAtAndNumberSign) {
    for (int byte = 1; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        const bool legal = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                           c == '_' || c == '@' || c == '#';
        EXPECT_EQ(sNmpIsLegalLibrary(std::string(1, c).c_str()), legal ? 1 : 0) << byte;
        EXPECT_EQ(sNmpIsLegalLibrary((std::string("a") + c + "z").c_str()), legal ? 1 : 0) << byte;
        EXPECT_EQ(sNmpIsLegalLibrary((std::string(1000, 'a') + c).c_str()), legal ? 1 : 0) << byte;
    }
}

TEST(LegalName, MayBeEmptyButNotNull) {
    EXPECT_EQ(sNmpIsLegalLibrary(""), 1);
    EXPECT_EQ(sNmpIsLegalLibrary(nullptr), 0);
}

// ---- shallow lists

TEST(ShallowList, SelectsLegalOrOtherNamesByName) {
    for (const int type : kShallow) {
        Project project;
        const std::string level = levelOf(type);
        project.putDirectory("l", level);
        for (const char *name :
             {"Cell_1", "a@b#c", "x.y", ".hidden", "...", "..a", "sp ace", "\xe4", "100%"}) {
            project.put("l", level + name);
        }
        project.putDirectory("l", level + "dir");
        project.putDirectory("l", level + "dir.d");
        project.box.link("lib/" + level + "broken", "nowhere").link("lib/" + level + "broken.l", "nowhere");
        NameList expected =
            diskIterator(type).legal
                ? NameList{"Cell_1", "a@b#c", "dir", "broken"}
                : NameList{"x.y", ".hidden", "...", "..a", "sp ace", "\xe4", "100%", "dir.d", "broken.l"};
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(gathered(project, type), expected) << type;
    }
}

TEST(ShallowList, SeparatesCellsFromFiles) {
    Project project;
    project.putDirectory("l", "a");
    project.putDirectory("l", "b");
    project.put("l", "vekinfo.tag");
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_CELLS), (NameList{"a", "b"}));
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_LIBRARY_FILES), NameList{"vekinfo.tag"});
}

TEST(ShallowList, ReverseReadingOrderWithTemporaryNamesFirst) {
    for (const int type : kShallow) {
        Project project("IE");
        const std::string level = levelOf(type);
        const std::string suffix = diskIterator(type).legal ? "" : ".x";
        for (int i = 0; i < 40; ++i) {
            for (const char *letter : {"l", "i", "e"}) {
                project.put(letter, level + letter + std::to_string(i) + suffix);
            }
        }
        NameList discovered;
        for (const char letter : {'l', 'i', 'e'}) {
            const NameList names = readingOrder(Project::directoryOf(letter) + "/" + level);
            discovered.insert(discovered.end(), names.begin(), names.end());
        }
        EXPECT_EQ(discovered.size(), 120U);
        Iteration iteration;
        ASSERT_EQ(iteration.begin(project, type), RYN_OK);
        EXPECT_EQ(iteration.rest(), reversed(discovered)) << type;
    }
}

TEST(ShallowList, NameInSeveralDirectoriesAppearsOnce) {
    for (const int type : kShallow) {
        Project project("IE");
        const std::string level = levelOf(type);
        const std::string suffix = diskIterator(type).legal ? "" : ".x";
        const auto name = [&](const char *text) { return text + suffix; };
        project.put("lie", level + name("all"));
        project.put("li", level + name("li"));
        project.put("le", level + name("le"));
        project.put("ie", level + name("ie"));
        project.put("l", level + name("l"));
        project.put("i", level + name("i"));
        project.put("e", level + name("e"));
        Iteration iteration;
        ASSERT_EQ(iteration.begin(project, type), RYN_OK);
        const NameList names = iteration.rest();
        ASSERT_EQ(names.size(), 7U);
        EXPECT_EQ(names[0], name("e"));
        EXPECT_EQ(std::set<std::string>(names.begin() + 1, names.begin() + 3),
                  (std::set<std::string>{name("i"), name("ie")}));
        EXPECT_EQ(std::set<std::string>(names.begin() + 3, names.end()),
                  (std::set<std::string>{name("all"), name("li"), name("le"), name("l")}));
    }
}

TEST(ShallowList, ComparesNamesExactly) {
    Project project("E");
    project.put("l", "cell");
    project.put("e", "Cell");
    project.put("e", "cel");
    project.put("e", "cells");
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_CELLS), (NameList{"Cell", "cel", "cell", "cells"}));
}

TEST(ShallowList, FindsEachOfManyNamesOnce) {
    Project project("IE");
    std::set<std::string> expected;
    for (int i = 0; i < 3000; ++i) {
        const std::string name = "cell" + std::to_string(i);
        expected.insert(name);
        project.put(i % 2 == 0 ? "l" : "i", name);
        if (i % 3 == 0) {
            project.put("e", name);
        }
        if (i % 5 == 0) {
            project.put("li", name);
        }
    }
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_CELLS), NameList(expected.begin(), expected.end()));
}

TEST(ShallowList, AcceptsNamesOf255Bytes) {
    Project project("E");
    const std::string cell(255, 'n');
    const std::string file = "." + std::string(254, 'n');
    project.put("le", cell);
    project.put("le", file);
    project.put("e", std::string(254, 'm'));
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_CELLS), (NameList{std::string(254, 'm'), cell}));
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_LIBRARY_FILES), NameList{file});
}

TEST(ShallowList, IsASnapshot) {
    Project project;
    project.put("l", "before");
    Iteration iteration;
    ASSERT_EQ(iteration.begin(project, RYNI_CONTEXT_CELLS), RYN_OK);
    project.put("l", "after");
    unlink("lib/before");
    EXPECT_EQ(iteration.rest(), NameList{"before"});
}

TEST(ShallowList, OfAnEmptyDirectoryIsEmpty) {
    for (const int type : {1, 2, 3, 4, 5, 6}) {
        Project project("IE");
        project.putDirectory("lie", levelOf(type));
        EXPECT_EQ(gathered(project, type), NameList{}) << type;
    }
}

// ---- directories that cannot be read

TEST(List, FailedOpenEndsTheBuild) {
    struct Row {
        int error;
        int code;
    };
    for (const int type : {1, 2, 3, 4, 5, 6}) {
        for (const char *letter : {"l", "i", "e"}) {
            for (const Row &row : {Row{EACCES, RYN_PERMISSION_DENIED}, Row{ENOENT, RYN_SYSTEM_ERROR},
                                   Row{EMFILE, RYN_SYSTEM_ERROR}, Row{EPERM, RYN_SYSTEM_ERROR}}) {
                Project project("IE");
                project.putDirectory("lie", levelOf(type));
                project.put("lie", levelOf(type) + "name");
                faults::fail("opendir", letter[0] == 'l' ? 1 : letter[0] == 'i' ? 2 : 3, row.error);
                EXPECT_EQ(gathered(project, type), failed(row.code)) << type << letter;
                EXPECT_EQ(recorded.fatals, ErrorReports{});
            }
        }
    }
}

TEST(List, UnreadableDirectoryEndsTheBuild) {
    for (const int type : {1, 2, 3, 4, 5, 6}) {
        for (const char letter : {'l', 'i', 'e'}) {
            Project project("IE", Existence::Unchecked);
            project.putDirectory("lie", levelOf(type));
            chmod((Project::directoryOf(letter) + "/" + levelOf(type)).c_str(), 0311);
            Project::asUnprivileged(
                [&] { EXPECT_EQ(gathered(project, type), failed(RYN_PERMISSION_DENIED)) << type << letter; });
        }
    }
}

TEST(List, ReadErrorEndsTheDirectory) {
    for (const int type : {1, 6}) {
        Project project;
        project.putDirectory("l", levelOf(type));
        project.put("l", levelOf(type) + "a");
        project.put("l", levelOf(type) + "b");
        test::failReadingAfter(3, EIO);
        EXPECT_LE(gathered(project, type).size(), 2U) << type;
        test::failReadingAfter(0, EIO);
        EXPECT_EQ(gathered(project, type), NameList{}) << type;
    }
}

// ---- deep lists

TEST(DeepList, HasEveryFileByItsRelativePath) {
    for (const char *letter : {"l", "i", "e"}) {
        Project project("IE");
        project.putDirectory("lie", "c/v");
        for (const char *file : {"a/b/c.txt", "a/x", "top", ".hidden", "a/...", "legal", "z/y/x/w/v/u"}) {
            project.put(letter, std::string("c/v/") + file);
        }
        project.putDirectory(letter, "c/v/empty/also");
        EXPECT_EQ(gathered(project, kDeep),
                  (NameList{".hidden", "a/...", "a/b/c.txt", "a/x", "legal", "top", "z/y/x/w/v/u"}))
            << letter;
    }
}

TEST(DeepList, PathInSeveralDirectoriesAppearsOnce) {
    Project project("IE");
    project.put("lie", "c/v/s/all");
    project.put("ie", "c/v/s/ie");
    project.put("le", "c/v/le");
    project.put("e", "c/v/s/e");
    project.put("i", "c/v/t/all");
    Iteration iteration;
    ASSERT_EQ(iteration.begin(project, kDeep), RYN_OK);
    const NameList names = iteration.rest();
    ASSERT_EQ(names.size(), 5U);
    EXPECT_EQ(names[0], "s/e");
    EXPECT_EQ(std::set<std::string>(names.begin() + 1, names.begin() + 3),
              (std::set<std::string>{"s/ie", "t/all"}));
    EXPECT_EQ(std::set<std::string>(names.begin() + 3, names.end()), (std::set<std::string>{"s/all", "le"}));
}

TEST(DeepList, ReverseOrderOfADepthFirstWalk) {
    for (const char *letter : {"l", "e"}) {
        Project project(letter[0] == 'e' ? "E" : "");
        project.putDirectory("le", "c/v");
        for (const char *file : {"1", "2/a", "2/b/x", "2/b/y", "2/c", "3", "4/z", "5"}) {
            project.put(letter, std::string("c/v/") + file);
        }
        NameList discovered;
        const std::string top = Project::directoryOf(letter[0]) + "/c/v";
        const std::function<void(const std::string &)> walk = [&](const std::string &prefix) {
            for (const std::string &name : readingOrder(top + "/" + prefix)) {
                if (std::filesystem::is_directory(top + "/" + prefix + name)) {
                    walk(prefix + name + "/");
                } else {
                    discovered.push_back(prefix + name);
                }
            }
        };
        walk("");
        Iteration iteration;
        ASSERT_EQ(iteration.begin(project, kDeep), RYN_OK);
        EXPECT_EQ(iteration.rest(), reversed(discovered)) << letter;
    }
}

TEST(DeepList, FollowsLinksToDirectoriesAndListsOtherLinks) {
    for (const char letter : {'l', 'e'}) {
        Project project(letter == 'e' ? "E" : "");
        project.putDirectory("le", "c/v");
        const std::string top = Project::directoryOf(letter) + "/c/v/";
        project.box.file("other/x", "").link(top + "dir", project.path("other")).link(top + "file", "dir/x");
        project.box.fifo(top + "fifo");
        EXPECT_EQ(gathered(project, kDeep), (NameList{"dir/x", "fifo", "file"})) << letter;
    }
}

TEST(DeepList, BrokenLinkInTemporaryDirectoryEndsTheBuild) {
    Project project("E");
    project.putDirectory("le", "c/v/s");
    project.box.link("lib/c/v/s/broken", "nowhere");
    EXPECT_EQ(gathered(project, kDeep), NameList{"s/broken"});
    project.box.link("etmp/c/v/s/broken", "nowhere");
    EXPECT_EQ(gathered(project, kDeep), failed(RYN_SYSTEM_ERROR));
}

TEST(DeepList, FailedStatInTemporaryDirectoryEndsTheBuild) {
    for (const char letter : {'l', 'e'}) {
        Project project(letter == 'e' ? "E" : "", Existence::Unchecked);
        project.putDirectory("le", "c/v");
        project.put(std::string(1, letter), "c/v/s/file");
        project.putDirectory(std::string(1, letter), "c/v/s/dir");
        chmod((Project::directoryOf(letter) + "/c/v/s").c_str(), 0444); // readable, not searchable
        const auto expectAll = [&] {
            Project::asUnprivileged([&] {
                EXPECT_EQ(gathered(project, kDeep),
                          letter == 'l' ? (NameList{"s/dir", "s/file"}) : failed(RYN_PERMISSION_DENIED));
            });
        };
        expectAll();
        test::hideEntryTypes();
        expectAll();
        test::hideEntryTypes(false);
    }
}

TEST(DeepList, UnreadableSubdirectoryEndsTheBuild) {
    for (const char letter : {'l', 'e'}) {
        Project project(letter == 'e' ? "E" : "");
        project.putDirectory("le", "c/v");
        project.put(std::string(1, letter), "c/v/s/file");
        chmod((Project::directoryOf(letter) + "/c/v/s").c_str(), 0111);
        Project::asUnprivileged(
            [&] { EXPECT_EQ(gathered(project, kDeep), failed(RYN_PERMISSION_DENIED)) << letter; });
        faults::fail("opendir", letter == 'l' ? 2 : 3, ENOENT);
        EXPECT_EQ(gathered(project, kDeep), failed(RYN_SYSTEM_ERROR)) << letter;
    }
}

TEST(DeepList, FailedStatInTemporaryDirectoryIsADirectory) {
    Project project("E");
    project.putDirectory("l", "c/v");
    project.put("e", "c/v/file");
    test::hideEntryTypes();
    EXPECT_EQ(gathered(project, kDeep), NameList{"file"});
    Iteration iteration;
    faults::reset();
    ASSERT_EQ(iteration.begin(project, kDeep), RYN_OK);
    const int calls = faults::count("stat");
    faults::reset();
    faults::fail("stat", calls, ENOENT); // the last call is the one for the file
    EXPECT_EQ(gathered(project, kDeep), failed(RYN_SYSTEM_ERROR));
}

TEST(DeepList, TemporarySideCallsStatOncePerDirectory) {
    constexpr int kDirectories = 5;
    constexpr int kFiles = 20;
    Project project("E");
    project.putDirectory("l", "c/v");
    for (int directory = 0; directory < kDirectories; ++directory) {
        for (int file = 0; file < kFiles; ++file) {
            project.put("e", "c/v/" + std::to_string(directory) + "/" + std::to_string(file));
        }
    }
    Iteration iteration;
    faults::reset();
    ASSERT_EQ(iteration.begin(project, kDeep, RYN_SOURCE_LIBRARY), RYN_OK);
    const int otherCalls = faults::count("stat");
    faults::reset();
    ASSERT_EQ(iteration.begin(project, kDeep, RYN_SOURCE_TMP), RYN_OK);
    EXPECT_EQ(iteration.rest().size(), std::size_t{kDirectories} * kFiles);
    EXPECT_LE(faults::count("stat"), otherCalls + kDirectories);
}

TEST(DeepList, IsTheSameWithoutEntryTypes) {
    Project project("IE");
    for (const char letter : {'l', 'i', 'e'}) {
        const std::string top = Project::directoryOf(letter) + "/c/v/";
        project.put(std::string(1, letter), "c/v/a/b/file");
        project.put(std::string(1, letter), "c/v/top");
        project.box.fifo(top + "a/fifo").link(top + "link", "a").link(top + "a/file", "../top");
        project.box.file(top + "only" + letter, "");
    }
    project.box.link("lib/c/v/broken", "nowhere").link("lib/c/v/self", "self").link("lib/c/v/loop", ".");
    Iteration iteration;
    ASSERT_EQ(iteration.begin(project, kDeep), RYN_OK);
    const NameList names = iteration.rest();
    EXPECT_GT(names.size(), 400U);
    test::hideEntryTypes();
    ASSERT_EQ(iteration.begin(project, kDeep), RYN_OK);
    EXPECT_EQ(iteration.rest(), names);
}

TEST(DeepList, FollowsACycleOfLinksUntilEloop) {
    Project project;
    project.put("l", "c/v/f");
    project.box.link("lib/c/v/l", ".");
    NameList expected = {"f"};
    std::string prefix;
    for (int links = 1; links <= 40; ++links) {
        prefix += "l/";
        expected.push_back(prefix + "f");
    }
    expected.push_back(prefix + "l"); // ELOOP: listed as a file
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(gathered(project, kDeep), expected);
}

TEST(DeepList, CycleInTemporaryDirectoryEndsTheBuild) {
    Project project("E");
    project.putDirectory("l", "c/v");
    project.put("e", "c/v/f");
    project.box.link("etmp/c/v/l", ".");
    EXPECT_EQ(gathered(project, kDeep), failed(RYN_SYSTEM_ERROR));
}

TEST(DeepList, CyclesBeyondTheLimitOfWaysEndTheBuild) {
    for (const bool hidden : {false, true}) {
        Project project("E");
        project.put("le", "c/v/f");
        for (const std::string view : {"lib/c/v", "etmp/c/v"}) {
            project.box.link(view + "/l", ".").link(view + "/m", ".").link(view + "/n", "../v");
        }
        test::hideEntryTypes(hidden);
        recorded.fatals.clear();
        EXPECT_EQ(deepWithin(project, 'l', {.followed = 2000, .followedPerLink = 64}),
                  failed(RYN_SYSTEM_ERROR));
        EXPECT_EQ(deepWithin(project, 'e', {.followed = 20, .followedPerLink = 1}), failed(RYN_SYSTEM_ERROR));
        EXPECT_EQ(recorded.fatals, ErrorReports{});
    }
}

TEST(DeepList, CountsEveryWayThroughACycle) {
    Project project;
    project.put("l", "c/v/f");
    project.box.link("lib/c/v/l", ".");
    const NameList all = gathered(project, kDeep);
    EXPECT_EQ(all.size(), 42U);
    EXPECT_EQ(deepWithin(project, 'l', {.followed = 40, .followedPerLink = 0}), all);
    EXPECT_EQ(deepWithin(project, 'l', {.followed = 0, .followedPerLink = 40}), all);
    EXPECT_EQ(deepWithin(project, 'l', {.followed = 39, .followedPerLink = 0}), failed(RYN_SYSTEM_ERROR));
}

TEST(DeepList, LinksBeyondTheLimitOfWaysEndTheBuild) {
    constexpr std::uint64_t kSteps = 6; // 2 + 4 + ... + 64 = 126 ways, by 12 different links
    Project project("E");
    project.putDirectory("le", "c/v");
    for (std::uint64_t i = 0; i < kSteps; ++i) {
        const std::string directory = "chain/" + std::to_string(i);
        const std::string next = project.path("chain/" + std::to_string(i + 1));
        project.box.link(directory + "/a", next).link(directory + "/b", next);
    }
    project.box.file("chain/" + std::to_string(kSteps) + "/f", "");
    const std::uint64_t ways = 1 + 126;
    const std::uint64_t links = 1 + 12;
    for (const char letter : {'l', 'e'}) {
        project.box.link(Project::directoryOf(letter) + "/c/v/chain", project.path("chain/0"));
        for (const bool hidden : {false, true}) {
            test::hideEntryTypes(hidden);
            recorded.fatals.clear();
            EXPECT_EQ(deepWithin(project, letter, {.followed = ways, .followedPerLink = 0}).size(), 64U);
            EXPECT_EQ(deepWithin(project, letter, {.followed = ways - 1, .followedPerLink = 0}),
                      failed(RYN_SYSTEM_ERROR));
            EXPECT_EQ(deepWithin(project, letter, {.followed = ways - links, .followedPerLink = 1}).size(),
                      64U);
            EXPECT_EQ(deepWithin(project, letter, {.followed = ways - links - 1, .followedPerLink = 1}),
                      failed(RYN_SYSTEM_ERROR));
            EXPECT_EQ(recorded.fatals, ErrorReports{});
        }
    }
}

TEST(DeepList, CountsTheWaysOfEachSourceSeparately) {
    Project project("IE");
    for (const char letter : {'l', 'i', 'e'}) {
        project.putDirectory(std::string(1, letter), "c/v");
        project.box.file("other/" + std::string(1, letter), "");
        project.box.link(Project::directoryOf(letter) + "/c/v/link", project.path("other"));
    }
    const std::string implicit = project.path("itmp/lib/c/v");
    const std::string explicitTmp = project.path("etmp/c/v");
    ryn::Sources sources;
    sources.implicitTmp = implicit.c_str();
    sources.explicitTmp = explicitTmp.c_str();
    rynElement *list = nullptr;
    EXPECT_EQ(ryn::gatherNames(project.handle, RYNI_CONTEXT_ALL_VIEW_FILES, sources, &list,
                               {.followed = 1, .followedPerLink = 0}),
              RYN_OK);
    ryn::freeElements(list);
}

TEST(DeepList, FollowsAnyNumberOfLinksSideBySide) {
    Project project("E");
    project.putDirectory("le", "c/v");
    project.box.file("shared/f", "");
    for (int i = 0; i < 150; ++i) {
        mkdir(("shared/" + std::to_string(i)).c_str(), 0755);
    }
    NameList expected;
    for (const std::string top : {"lib/c/v/", "etmp/c/v/"}) {
        for (int i = 10; i < 30; ++i) {
            project.box.link(top + std::to_string(i), project.path("shared"));
        }
    }
    for (int i = 10; i < 30; ++i) {
        expected.push_back(std::to_string(i) + "/f");
    }
    for (const bool hidden : {false, true}) {
        test::hideEntryTypes(hidden);
        EXPECT_EQ(gathered(project, kDeep, RYN_SOURCE_LIBRARY), expected);
        EXPECT_EQ(gathered(project, kDeep, RYN_SOURCE_TMP), expected);
    }
}

TEST(DeepList, ListsManyDirectoriesThroughNineNestedLinks) {
    BigTree::check(
        [](const BigTree &tree) {
            for (const std::string &directory : tree.makeDirectories("inner", 2000)) {
                tree.makeFile(directory + "/f");
            }
            tree.makeFile("inner/f");
            std::string inner = "inner";
            for (int i = 0; i < 8; ++i) {
                inner = tree.makeLinks("nest" + std::to_string(i), {inner});
            }
            return inner;
        },
        [](const Project &project) {
            const NameList found = foundBelow(project.path("lib/c/v"));
            EXPECT_EQ(found.size(), 2001U);
            EXPECT_EQ(gathered(project, kDeep, RYN_SOURCE_LIBRARY), found);
            EXPECT_EQ(gathered(project, kDeep, RYN_SOURCE_TMP), found);
        });
}

TEST(DeepList, ListsManyLinkedCellsThroughTwoLinks) {
    BigTree::check(
        [](const BigTree &tree) {
            const NameList cells = tree.makeDirectories("cells", 21'000);
            tree.makeFile(cells.front() + "/f");
            tree.makeFile(cells.back() + "/f");
            return tree.makeLinks("project", {tree.makeLinks("release", cells)});
        },
        [](const Project &project) {
            const NameList expected = {"l/0/0/f", "l/0/20999/f"};
            EXPECT_EQ(gathered(project, kDeep, RYN_SOURCE_LIBRARY), expected);
            EXPECT_EQ(gathered(project, kDeep, RYN_SOURCE_TMP), expected);
        });
}

TEST(DeepList, ListsManyLinksToOneDirectoryThroughTwoLinks) {
    BigTree::check(
        [](const BigTree &tree) {
            const NameList cells = tree.makeDirectories("cells", 1);
            tree.makeFile(cells.front() + "/f");
            return tree.makeLinks("project", {tree.makeLinks("release", NameList(21'000, cells.front()))});
        },
        [](const Project &project) {
            EXPECT_EQ(gathered(project, kDeep, RYN_SOURCE_LIBRARY).size(), 21'000U);
            EXPECT_EQ(gathered(project, kDeep, RYN_SOURCE_TMP).size(), 21'000U);
        });
}

TEST(DeepList, ListsAHundredReleasesOfAThousandLinkedCells) {
    BigTree::check(
        [](const BigTree &tree) {
            const NameList cells = tree.makeDirectories("cells", 1000);
            tree.makeFile(cells.back() + "/f");
            return tree.makeLinks("all", NameList(100, tree.makeLinks("release", cells)));
        },
        [](const Project &project) { EXPECT_EQ(gathered(project, kDeep, RYN_SOURCE_LIBRARY).size(), 100U); });
}

/// Runs `body` with a tmpfs at the view of the directory 'l' or 'e', where deep trees can be created quickly.
static void withViewInMemory(const Project &project, char letter, const std::function<void()> &body) {
    test::withMountAt(project.path(Project::directoryOf(letter) + "/c/v"), std::size_t{16} << 20, body);
}

TEST(DeepList, DescendsToTheLimitOfPaths) {
    for (const char letter : {'l', 'e'}) {
        Project project("E");
        project.putDirectory("le", "c/v");
        withViewInMemory(project, letter, [&] {
            const Chain chain(Project::directoryOf(letter) + "/c/v", 1500, {1, 700, 1500});
            EXPECT_EQ(gathered(project, kDeep),
                      (NameList{Chain::fileAt(1500), Chain::fileAt(700), Chain::fileAt(1)}));
        });
    }
}

TEST(DeepList, DeepTreeNeedsNoMoreStack) {
    for (const char letter : {'l', 'e'}) {
        Project project("E");
        project.putDirectory("le", "c/v");
        withViewInMemory(project, letter, [&] {
            const Chain chain(Project::directoryOf(letter) + "/c/v", 1900, {1900});
            onStackOf(std::size_t{512} << 10,
                      [&] { EXPECT_EQ(gathered(project, kDeep), NameList{Chain::fileAt(1900)}); });
        });
    }
}

TEST(DeepList, SkipsTooLongPathsInTheLibrary) {
    Project project;
    project.putDirectory("l", "c/v");
    withViewInMemory(project, 'l', [&] {
        const Chain chain("lib/c/v", 2500, {1, 1900, 2400});
        EXPECT_EQ(gathered(project, kDeep), (NameList{Chain::fileAt(1900), Chain::fileAt(1)}));
        test::hideEntryTypes();
        EXPECT_EQ(gathered(project, kDeep), (NameList{Chain::fileAt(1900), Chain::fileAt(1)}));
    });
}

TEST(DeepList, TooDeepTemporaryDirectoryEndsTheBuild) {
    Project project("E");
    project.putDirectory("l", "c/v");
    project.putDirectory("e", "c/v");
    withViewInMemory(project, 'e', [&] {
        const Chain chain("etmp/c/v", 2500, {1});
        EXPECT_EQ(gathered(project, kDeep), failed(RYN_SYSTEM_ERROR));
        test::hideEntryTypes();
        EXPECT_EQ(gathered(project, kDeep), failed(RYN_SYSTEM_ERROR));
    });
}

TEST(DeepList, TooLongFilePathIsSkippedOrEndsTheBuild) {
    for (const char letter : {'l', 'e'}) {
        Project project("E");
        project.putDirectory("le", "c/v");
        withViewInMemory(project, letter, [&] {
            // The directory can be opened. The relative path of the long file is too long, too.
            const Chain chain(Project::directoryOf(letter) + "/c/v", 1950, {1950});
            EXPECT_EQ(gathered(project, kDeep), NameList{Chain::fileAt(1950)});
            chain.putAtBottom(std::string(255, 'x'));
            EXPECT_EQ(gathered(project, kDeep),
                      letter == 'l' ? NameList{Chain::fileAt(1950)} : failed(RYN_SYSTEM_ERROR));
        });
    }
}

TEST(DeepList, TemporaryFileWithATooLongPathEndsTheBuild) {
    Project project("E");
    project.putDirectory("le", "c/v");
    const std::size_t top = project.path("etmp/c/v").size();
    const int levels = (VEK_PATH_SIZE - 100 - static_cast<int>(top)) / 2;
    const std::size_t directory = top + std::size_t{2} * static_cast<std::size_t>(levels) + std::strlen("/");
    for (const std::size_t size : {std::size_t{VEK_PATH_SIZE} - 1, std::size_t{VEK_PATH_SIZE}}) {
        withViewInMemory(project, 'e', [&] {
            const Chain chain("etmp/c/v", levels, {});
            // Short names before and after it: stat() succeeds in this directory, whatever the order of reading is.
            chain.putAtBottom("before");
            chain.putAtBottom(std::string(size - directory, 'x'));
            chain.putAtBottom("f");
            const NameList names = gathered(project, kDeep);
            if (size < VEK_PATH_SIZE) {
                EXPECT_EQ(names.size(), 3U);
            } else {
                EXPECT_EQ(names, failed(RYN_SYSTEM_ERROR));
            }
        });
    }
}

TEST(DeepList, OpensOneDirectoryAtATime) {
    Project project("E");
    project.putDirectory("le", "c/v");
    const Chain chain("lib/c/v", 300, {300});
    const Chain other("etmp/c/v", 300, {300});
    const test::Outcome outcome = test::inChild([&] {
        const test::SoftLimit limit(RLIMIT_NOFILE, 32);
        EXPECT_EQ(gathered(project, kDeep), NameList{Chain::fileAt(300)});
        return 0;
    });
    EXPECT_EQ(outcome.status, 0);
}

TEST(DeepList, AcceptsNamesOf255Bytes) {
    for (const char letter : {'l', 'e'}) {
        Project project(letter == 'e' ? "E" : "");
        project.putDirectory("le", "c/v");
        const std::string name(255, 'n');
        project.put(std::string(1, letter), "c/v/" + name + "/" + name + "/" + name);
        EXPECT_EQ(gathered(project, kDeep), NameList{name + "/" + name + "/" + name}) << letter;
    }
}

// ---- packed libraries

namespace {

struct Packed : Project {
    explicit Packed(std::string_view temporaries = {})
        : Project(temporaries, Existence::Checked, RYN_FLAG_PACKED_LIBRARIES) {
        archives = {};
        pack(path("lib.pack"));
        archives.contents[path("lib.pack")] = path("archive");
        box.directory("archive/lib/c/v");
    }
};

} // namespace

TEST(ListOfPackedLibrary, ReadsTheArchiveAndTheTemporaryDirectories) {
    Packed project("IE");
    project.put("l", "plain"); // not read
    project.put("i", "d");
    project.put("ie", "c/v/s/both");
    project.put("e", "c/v/mine.x");
    project.box.file("archive/lib/c/v/s/t/deep", "").file("archive/lib/c/v/s/both", "");
    project.box.file("archive/lib/c/v/top.x", "").file("archive/lib/lib.x", "");
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_CELLS), (NameList{"c", "d"}));
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_VIEWS), NameList{"v"});
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_LIBRARY_FILES), NameList{"lib.x"});
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_VIEW_FILES), (NameList{"mine.x", "top.x"}));
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_ALL_VIEW_FILES),
              (NameList{"mine.x", "s/both", "s/t/deep", "top.x"}));
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_ALL_VIEW_FILES, RYN_SOURCE_LIBRARY),
              (NameList{"s/both", "s/t/deep", "top.x"}));
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_ALL_VIEW_FILES, RYN_SOURCE_TMP), (NameList{"mine.x", "s/both"}));
}

TEST(ListOfPackedLibrary, IgnoresTheEntryTypeOfAnotherReaddir) {
    Packed project;
    project.box.file("archive/lib/c/v/s/t/deep", "").file("archive/lib/c/v/top", "");
    archives.hasOwnReaddir = true;
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_ALL_VIEW_FILES), (NameList{"s/t/deep", "top"}));
}

TEST(ListOfPackedLibrary, WithoutInodesNoLinksAreDifferent) {
    Packed project;
    project.box.link("archive/lib/c/v/l", "."); // 40 ways through the link
    EXPECT_EQ(deepWithin(project, 'l', {.followed = 40, .followedPerLink = 0}).size(), 1U);
    EXPECT_EQ(deepWithin(project, 'l', {.followed = 39, .followedPerLink = 64}), failed(RYN_SYSTEM_ERROR));
}

TEST(ListOfPackedLibrary, FreesEverySpecifier) {
    Packed project;
    project.box.file("archive/lib/c/v/s/t/deep", "");
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_ALL_VIEW_FILES), NameList{"s/t/deep"});
    const auto count = [](const std::string &kind) {
        return std::count_if(archives.calls.begin(), archives.calls.end(),
                             [&](const std::string &call) { return call.starts_with(kind); });
    };
    EXPECT_EQ(count("spec "), 4);
    EXPECT_EQ(count("free "), 4);
}

TEST(ListOfPackedLibrary, NameMustFitTheBuffer) {
    for (const int type : {1, 2, 3, 4, 5}) {
        Packed project;
        project.box.file("archive/lib/" + levelOf(type) + "long", "");
        archives.nameBytes = 255;
        // The name has letters only: it is a legal name.
        const NameList expected = diskIterator(type).legal ? NameList{std::string(255, 'x')} : NameList{};
        NameList names = gathered(project, type);
        std::erase(names, "c");
        std::erase(names, "v");
        EXPECT_EQ(names, expected) << type;
        archives.nameBytes = 256;
        EXPECT_EQ(gathered(project, type), failed(RYN_INTERNAL_ERROR)) << type;
    }
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

TEST(ListOfPackedLibrary, DeepListSkipsNamesThatDoNotFit) {
    Packed project;
    project.box.file("archive/lib/c/v/long", "").file("archive/lib/c/v/other", "");
    project.box.file("archive/lib/c/v/s/long", "");
    const auto expectNames = [&](std::size_t bytes, NameList expected) {
        archives.nameBytes = bytes;
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(gathered(project, RYNI_CONTEXT_ALL_VIEW_FILES), expected) << bytes;
    };
    const auto named = [](std::size_t bytes) { return std::string(bytes, 'x'); };
    expectNames(255, {"other", "s/" + named(255), named(255)});
    expectNames(256, {"other", "s/" + named(256)}); // the buffer for the top directory has 256 bytes
    const std::size_t limit = 4095 - std::string("lib/c/v/s/").size();
    expectNames(limit, {"other", "s/" + named(limit)});
    expectNames(limit + 1, {"other"}); // the specifier cannot be made
    expectNames(4095, {"other"});
    expectNames(4096, {"other"}); // the name cannot be fetched
}

TEST(ListOfPackedLibrary, MapsTheStatusOfOpening) {
    Packed project;
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_CELLS), NameList{"c"});
    faults::fail("opendir", 1, EACCES);
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_CELLS), failed(RYN_PERMISSION_DENIED));
    faults::fail("opendir", 1, EIO);
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_CELLS), failed(RYN_SYSTEM_ERROR));
}

TEST(ListOfPackedLibrary, FailedOpenMakesTheLibraryUnpacked) {
    Packed project;
    archives.contents.clear();
    project.put("l", "plain");
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_CELLS), failed(RYN_SYSTEM_ERROR));
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_CELLS), NameList{"plain"});
}

TEST(ListOfPackedLibrary, FailsWithoutSupportForArchives) {
    Project project("E");
    project.pack("lib.pack");
    project.put("e", "plain");
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_CELLS), failed(RYN_NOT_FOR_PACKED));
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_CELLS, RYN_SOURCE_TMP), NameList{"plain"});
}

// ---- exhausted memory

namespace {

/// Fails each allocation in turn. @return the contexts that were reported
std::set<std::string> exhaust(const Project &project, int type, const NameList &complete) {
    std::set<std::string> contexts;
    for (int nth = 1;; ++nth) {
        recorded.fatals.clear();
        faults::reset();
        faults::failAllocation(nth);
        Iteration iteration;
        const int code = iteration.begin(project, type);
        const bool failed = faults::count("malloc") >= nth;
        faults::reset();
        if (!failed) {
            EXPECT_EQ(iteration.sorted(), complete);
            return contexts;
        }
        // opendir() without memory is a system error.
        EXPECT_TRUE(code == RYN_MEMORY_ERROR || code == RYN_SYSTEM_ERROR) << code << " " << nth;
        EXPECT_EQ(recorded.fatals.size(), code == RYN_MEMORY_ERROR ? 1U : 0U) << code << " " << nth;
        for (const test::ErrorReport &report : recorded.fatals) {
            EXPECT_EQ(report.code, RYN_MEMORY_ERROR);
            EXPECT_EQ(code, RYN_MEMORY_ERROR);
            contexts.insert(report.text);
        }
    }
}

} // namespace

TEST(List, ReportsEveryFailedAllocation) {
    for (const int type : {1, 2, 3, 4, 5, 6}) {
        Project project("IE");
        const std::string suffix = diskIterator(type).legal ? "" : ".x";
        for (const char *letter : {"l", "i", "e"}) {
            project.put(letter, levelOf(type) + "both" + suffix);
            project.put(letter, levelOf(type) + letter + suffix);
        }
        if (type == kDeep) {
            project.put("ie", "c/v/s/below");
        }
        if (type == kDeep) {
            project.box.link("lib/c/v/link", project.path("lib/c/v/s")).link("etmp/c/v/link", "s");
        }
        const NameList complete = gathered(project, type);
        EXPECT_GE(complete.size(), 4U);
        const char *const builder = type == kDeep ? "sBuildIterListDeep()" : "sBuildIterList()";
        EXPECT_EQ(exhaust(project, type, complete), (std::set<std::string>{"rynIterateLibFiles()", builder}))
            << type;
    }
}

TEST(List, LeaksNothingWithoutMemory) {
    for (const int type : {1, 6}) {
        Project project("IE");
        project.put("lie", levelOf(type) + "s/x");
        for (int nth = 1; nth < 60; ++nth) {
            faults::failAllocationsFrom(nth);
            Iteration iteration;
            iteration.begin(project, type);
            faults::reset();
        }
    }
}
