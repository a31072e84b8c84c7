// libvek(3) promises that every function works in a thread with a stack of 128 KiB. Each test runs the operations
// that go deepest, or use the largest buffers, in such a thread. A stack overflow ends the test with SIGSEGV.

#include "common/vek.h"
#include "fs/vek_fs.h"
#include "libdef/ryn.h"
#include "search/pux.h"
#include "search/vek_interp.h"
#include "tagfile/tov.h"
#include "tests/support/capture.h"
#include "tests/support/environment.h"
#include "tests/support/sandbox.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

namespace {

/// Frames are several times larger with the sanitizers' red zones.
#ifdef VEK_TEST_SANITIZE
constexpr std::size_t kStackSize = std::size_t{8} * 128 * 1024;
#else
constexpr std::size_t kStackSize = std::size_t{128} * 1024;
#endif

constexpr int kLongestName = 255;

using Body = std::function<void()>;

void *call(void *body) {
    (*static_cast<Body *>(body))();
    return nullptr;
}

void runInThread(Body body) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, kStackSize), 0);
    pthread_t thread = {};
    ASSERT_EQ(pthread_create(&thread, &attributes, call, &body), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
}

class SmallStack : public testing::Test {
  protected:
    SmallStack() {
        test::setEnvironment({{"PATH", "/usr/bin:/bin"}, {"HOME", box.path()}});
        std::string name = "program";
        std::vector<char *> arguments = {name.data(), nullptr};
        vekInit(nullptr, arguments.data());
    }

    test::Sandbox box;
    test::Capture capture;
};

std::string repeated(std::string_view text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

/// A path of `levels` directories with short names.
std::string deepPath(int levels) {
    return repeated("/d", levels).substr(1);
}

int acceptDiagnostic(int /*code*/, const char * /*object*/, const char * /*file*/, int /*line*/) {
    return 0;
}

/// Counts the items of an iteration over names and ends it.
int countItems(rynContext *context, int (*next)(rynContext *, const char **)) {
    int count = 0;
    const char *name = nullptr;
    while (next(context, &name) == RYN_OK) {
        ++count;
    }
    rynIterateEnd(context);
    return count;
}

TEST_F(SmallStack, LoadsDeeplyNestedIncludes) {
    constexpr int kFiles = 1000;
    for (int i = 0; i < kFiles; ++i) {
        const std::string next = std::to_string((i + 1) % kFiles); // the last one includes the first
        box.file(std::to_string(i), "INCLUDE " + next + "\nDEFINE lib" + next + " directory" + next + "\n");
    }
    runInThread([&] {
        rynHandle registry = nullptr;
        ASSERT_EQ(rynInitialize("0", acceptDiagnostic, &registry), RYN_OK);
        rynContext *libraries = nullptr;
        ASSERT_EQ(rynIterateLibs(registry, &libraries), RYN_OK);
        EXPECT_EQ(countItems(libraries, rynNextLib), kFiles);
        rynReleaseHandle(registry);
    });
}

TEST_F(SmallStack, LoadsManyLibrariesWithDiagnostics) {
    constexpr int kLibraries = 300;
    std::string text = "ASSIGN AllLibs TmpRootDir tmp\n";
    for (int i = 0; i < kLibraries; ++i) {
        const std::string name = "lib" + std::to_string(i);
        text += "DEFINE " + name + " $HOME/" + name + "/..//./" + name + "\nASSIGN " + name + " key value\n";
    }
    text += "DEFINE lib0 \"other place\"\nDEFINE " + std::string(4000, 'x') + " y\n" +
            std::string(4095, 'z') + "\n";
    box.file("vek.lib", text).directory("tmp");
    runInThread([&] {
        rynHandle registry = nullptr;
        EXPECT_NE(rynInitialize("vek.lib", nullptr, &registry), RYN_OK); // prints the diagnostics
        ASSERT_EQ(rynInitialize("vek.lib", acceptDiagnostic, &registry), RYN_OK);
        rynDumpEverything(registry, stdout);
        rynAddCommand(registry, ("UNDEFINE " + std::string(4000, 'x')).c_str());
        rynReleaseHandle(registry);
    });
    EXPECT_NE(capture.err().find("Same file has different definitions"), std::string::npos);
}

TEST_F(SmallStack, QueriesAndIteratesLibraries) {
    box.directory("lib/cell/view/sub").file("lib/cell/view/file", "").file("lib/cell/view/sub/file", "");
    box.directory("tmp")
        .directory("implicit/lib")
        .file("vek.lib", "DEFINE lib lib\nASSIGN lib TMP tmp\n")
        .file("lib/.tolvane/set", "");
    const std::string name(kLongestName, 'n');
    runInThread([&] {
        rynSetPathNoneExistWarnFlag(1);
        rynStatCacheCtl(1);
        rynHandle registry = nullptr;
        ASSERT_EQ(rynInitialize("vek.lib", acceptDiagnostic, &registry), RYN_OK);
        ASSERT_EQ(rynSetImplicitTmp(registry, "implicit", 2, nullptr), RYN_OK);
        std::vector<char> path(VEK_PATH_SIZE);
        EXPECT_EQ(rynGetPath(registry, RYN_PATH_WRITE_LIBRARY, "lib", name.c_str(), name.c_str(),
                             name.c_str(), path.data(), path.size()),
                  RYN_OK);
        EXPECT_EQ(rynQuery(registry, 0, "lib", "cell", "view", "file"), RYN_OK);
        EXPECT_EQ(rynSearch(registry, "set", nullptr, "lib", path.data(), path.size()), RYN_NO_SUCH_FILE);
        rynContext *context = nullptr;
        ASSERT_EQ(rynIterateCells(registry, "lib", &context), RYN_OK);
        EXPECT_EQ(countItems(context, rynNextCell), 2);
        ASSERT_EQ(rynIterateAllViewFiles(registry, "lib", "cell", "view", &context), RYN_OK);
        EXPECT_EQ(countItems(context, rynNextFile), 2);
        vekFSSpec *spec = nullptr;
        ASSERT_EQ(rynGetSpec(registry, 0, "lib", "cell", nullptr, nullptr, nullptr, 1, &spec), RYN_OK);
        EXPECT_EQ(rynIsSpecDir(spec), 1);
        vekFSFreeSpec(spec);
        const char *file = nullptr;
        int line = 0;
        EXPECT_EQ(rynWhereIncluded(registry, "./vek.lib", &file, &line), RYN_OK);
        rynReleaseHandle(registry);
    });
}

TEST_F(SmallStack, ListsFilesOfDeepView) {
    constexpr int kLevels = 1900; // a path has at most 4095 characters
    box.file("lib/cell/view/" + deepPath(kLevels) + "/file", "")
        .file("vek.lib", "DEFINE lib lib\nASSIGN lib TMP tmp\n");
    box.file("tmp/cell/view/" + deepPath(kLevels) + "/file2", "");
    runInThread([&] {
        rynHandle registry = nullptr;
        ASSERT_EQ(rynInitialize("vek.lib", acceptDiagnostic, &registry), RYN_OK);
        rynContext *context = nullptr;
        ASSERT_EQ(rynIterateAllViewFiles(registry, "lib", "cell", "view", &context), RYN_OK);
        EXPECT_EQ(countItems(context, rynNextFile), 2);
        rynReleaseHandle(registry);
    });
}

TEST_F(SmallStack, LooksUpFromDeepDirectoryThroughLinks) {
    constexpr int kLevels = 400; // a converted path has at most 1023 characters
    const std::string path = deepPath(kLevels);
    box.file("vekinfo.tag", "OWNER top\n").directory(path).link("link", path);
    box.directory(path + "/from").link(path + "/back", box.path(path));
    runInThread([&] {
        std::vector<char> where(VEK_PATH_SIZE);
        EXPECT_STREQ(tovLookupEntry(path.c_str(), "OWNER", where.data()), "top");
        EXPECT_STREQ(
            tovLookupEntryX(("link/" + repeated("back/", 30) + "from").c_str(), "DMTYPE", where.data()),
            nullptr);
        EXPECT_EQ(tovIsInLibrary(path.c_str()), 0);
        EXPECT_EQ(tovCheckLibrary(), 0);
        EXPECT_STREQ(tovGetNameSpace(path.c_str()), "LibraryUnix");
    });
}

TEST_F(SmallStack, EditsLargeTagFile) {
    constexpr int kEntries = 50'000;
    std::string text = "VEKLIBRARY\n";
    for (int i = 0; i < kEntries; ++i) {
        text += "ENTRY" + std::to_string(i) + " value\n";
    }
    box.file("vekinfo.tag", text).directory("new").file("wrong/vekinfo.tag", "DMTYPE\n").directory("created");
    runInThread([&] {
        EXPECT_STREQ(tovLookupEntry(".", "ENTRY49999", nullptr), "value");
        EXPECT_EQ(tovAddEntry(".", "DMTYPE", std::string(3000, 'd').c_str()), 1);
        EXPECT_EQ(tovRemoveEntry(".", "VEKLIBRARY"), 1);
        EXPECT_EQ(tovAddEntry("new", "OWNER", "me"), 1);
        EXPECT_EQ(tovAddEntry("wrong", "OWNER", "me"), 1);
        EXPECT_EQ(tovAddEntry("new", "NAMESPACE", "neither"), 1);
        EXPECT_EQ(tovAddEntry(std::string(5000, 'x').c_str(), "OWNER", "me"), 0);
        std::string line = "OWNER me";
        std::vector<char *> lines = {line.data(), nullptr};
        EXPECT_EQ(tovCreateInfoFile("created", lines.data()), 1);
        tovResetCache();
    });
    EXPECT_NE(box.read("vekinfo.tag").find("ENTRY49999 value\n"), std::string::npos);
    EXPECT_NE(capture.err().find("NAMESPACE line"), std::string::npos);
}

TEST_F(SmallStack, MatchesExpressionsWithBacktracking) {
    const std::string subject = repeated("ab", 10'000);
    const std::string pattern = "(" + repeated("a*b|", 500) + "c)*((((((((x|a)|b)|a)*)|y)?)+b)*)$";
    runInThread([&] {
        vek_regexp *expression = vek_regcomp("^((a|ab)*b)*(a|b|ab)*$");
        if (expression != nullptr) {
            vek_regexec(expression, subject.c_str());
        }
        std::free(expression);
        expression = vek_regcomp(pattern.c_str());
        if (expression != nullptr) {
            vek_regexec(expression, subject.c_str());
        }
        std::free(expression);
        expression = vek_regcomp("([a-z]|[ab])*x*$");
        ASSERT_NE(expression, nullptr);
        EXPECT_EQ(vek_regexec(expression, subject.c_str()), 1);
        std::free(expression);
        EXPECT_EQ(vek_regcomp(repeated("(", 5000).c_str()), nullptr);
    });
}

TEST_F(SmallStack, InterpolatesLongRecursiveTexts) {
    setenv("V0", std::string(2000, 'v').c_str(), 1);
    for (int i = 1; i < 18; ++i) {
        setenv(("V" + std::to_string(i)).c_str(), ("${V" + std::to_string(i - 1) + "}").c_str(), 1);
    }
    const std::string text = repeated("$V17/~/$(inst_root_with:x)/~nobody/", 50);
    runInThread([&] {
        std::vector<char> out(1'000'000);
        std::vector<char> message(5000);
        vekInterpArgs args = {};
        args.flags = VEK_INTERP_RECURSIVE;
        args.fileName = "file";
        args.errorBuffer = message.data();
        args.errorBufferSize = message.size();
        EXPECT_EQ(vekInterpolate(text.c_str(), out.data(), out.size(), &args, sizeof args), 0);
        EXPECT_EQ(vekInterpolate("$V0", out.data(), out.size(), nullptr, 0), 1);
    });
}

TEST_F(SmallStack, SearchesLongLists) {
    std::string list;
    std::string names = "ALL\n";
    for (int i = 0; i < 200; ++i) {
        const std::string directory = "dir" + std::to_string(i);
        box.file(directory + "/veksetup/set", "");
        list += directory + "\n";
        names += "EXCLUDE name" + std::to_string(i) + "\n";
    }
    box.file("setup.loc", ".\n" + list).file("puxLookupConfig", names);
    runInThread([&] {
        char **found = nullptr;
        ASSERT_EQ(puxFullSearch(nullptr, "set", nullptr, &found), PUX_OK);
        EXPECT_EQ(vekGetStrlistSize(found), 200);
        vekFreeStrlist(found);
        std::vector<char> path(VEK_SEARCH_PATH_SIZE);
        EXPECT_EQ(puxFindWritable(nullptr, "set", path.data(), path.size()), PUX_OK);
        EXPECT_EQ(puxUsePuxFor(nullptr, "name199"), PUX_FILE_NOT_FOUND);
        EXPECT_EQ(puxUsePuxFor(nullptr, "name200"), PUX_OK);
    });
}

TEST_F(SmallStack, MakesDeepDirectoriesAndTemporaryFiles) {
    constexpr int kLevels = 1900;
    runInThread([&] {
        EXPECT_EQ(vekBuildDirPath(deepPath(kLevels).c_str()), 1);
        EXPECT_EQ(vekGetFilesysCaseSensitivity((deepPath(kLevels) + "/none").c_str()), VEK_CASE_SENSITIVE);
        EXPECT_EQ(vekFileWritable("."), 1);
        std::string name = "nameXXXXXX";
        const int descriptor = vek_mkstemp(name.data());
        EXPECT_GE(descriptor, 0);
        close(descriptor);
        char *directory = vekGetTmpDir(nullptr);
        char *path = vekMkUniqueFilePath(directory, std::string(5000, 'p').c_str(), nullptr);
        std::free(path);
        std::free(directory);
    });
}

TEST_F(SmallStack, FindsInstallations) {
    box.file("inst/tools/bin/vek_root", "", 0755).directory("inst/" + deepPath(200));
    setenv("PATH", (repeated(box.path("inst/" + deepPath(200)) + ":", 10) + "/usr/bin").c_str(), 1);
    runInThread([&] {
        char **roots = vekGetAllInstallRoots();
        EXPECT_EQ(vekGetStrlistSize(roots), 1);
        vekFreeStrlist(roots);
        std::free(vekGetInstallRootWithPath("tools/bin/none"));
        std::free(vekGetInstallRootFromPath("ls"));
        std::free(vekFindExecInPath("ls"));
        std::free(vekGetInstallRoot());
        EXPECT_EQ(vekGetInstPath(std::string(4000, 's').c_str()), nullptr); // prints why
    });
}

TEST_F(SmallStack, HandlesLongLists) {
    const std::string words = repeated("word 'two words' ", 50'000);
    runInThread([&] {
        int count = 0;
        char **list = vekStrToStrlist(words.c_str(), &count, nullptr);
        EXPECT_EQ(count, 100'000);
        vekSortStrlist(list, count);
        std::string pattern = "^two";
        std::vector<char *> patterns = {pattern.data(), nullptr};
        char **found = vekFilterStrlist(list, patterns.data());
        EXPECT_EQ(vekGetStrlistSize(found), 50'000);
        std::free(vekStrlistToStr(found, ","));
        vekFreeStrlist(found);
        vekFreeStrlist(list);
    });
}

TEST_F(SmallStack, ReadsFilesAndDirectories) {
    box.file("file", repeated(std::string(1000, 'x') + "\n", 100)).directory("directory/sub");
    runInThread([&] {
        vekFSFile *file = nullptr;
        ASSERT_EQ(vekFSStdio_openFile("file", O_RDONLY, &file), VEK_FS_OK);
        std::vector<char> line(VEK_PATH_SIZE);
        char *read = nullptr;
        ASSERT_EQ(vekFS_fgets(line.data(), line.size(), file, &read), VEK_FS_OK);
        EXPECT_EQ(vekFS_close(file), VEK_FS_OK);
        vekFSSpec *spec = nullptr;
        ASSERT_EQ(vekFSCreatePathSpec("directory", &spec), VEK_FS_OK);
        vekFSDir *directory = nullptr;
        ASSERT_EQ(vekFS_opendir(spec, &directory), VEK_FS_OK);
        vekFSDirent *entry = nullptr;
        EXPECT_EQ(vekFS_readdir(directory, &entry), VEK_FS_OK);
        EXPECT_EQ(vekFS_closedir(directory), VEK_FS_OK);
        vekFSFreeSpec(spec);
    });
}

} // namespace
