// INCLUDE and SOFTINCLUDE.

#include "libdef/language/ryni_parse.h"
#include "tests/libdef/libdef_support.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/support/limits.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <pthread.h>
#include <string>
#include <unistd.h>
#include <vector>

using test::Capture;
using test::Definitions;
using test::Diagnostics;
using test::ErrorReports;
using test::printed;
using test::recorded;
namespace faults = test::faults;

namespace {

using Names = std::vector<std::string>;

constexpr unsigned kPathsMustExist = RYN_FLAG_OWN_EXISTENCE_CHECK;

int execute(Definitions &definitions, const std::string &line, int number = 1) {
    recorded.diagnostics.clear();
    return ryni_process_command(definitions.handle, line.c_str(), definitions.path().c_str(),
                                definitions.handle->files.head, number, 0);
}

/// The paths of the files that were read, in opening order.
Names filesOf(const Definitions &definitions) {
    Names paths;
    for (const rynIncludedFile *file = definitions.handle->files.head; file != nullptr; file = file->next) {
        paths.emplace_back(file->path);
    }
    return paths;
}

// ---- reading

TEST(RynInclude, FileIsReadAtItsStatement) {
    Definitions definitions;
    definitions.box.file("more.lib", "DEFINE b b\nUNDEFINE a\n");
    EXPECT_EQ(definitions.load("DEFINE a a\nINCLUDE more.lib\nDEFINE c c\nDEFINE a a2\n"), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.names(), (Names{"b", "c", "a"}));
}

TEST(RynInclude, RecordHasIncluderAndLine) {
    Definitions definitions;
    definitions.box.file("sub/one.lib", "\nSOFTINCLUDE two.lib\n").file("sub/two.lib", "");
    definitions.box.link("link.lib", "sub/one.lib");
    EXPECT_EQ(definitions.load("\n\nINCLUDE sub/../link.lib\nINCLUDE sub/two.lib\n"), 0);
    // The relative path in link.lib counts from the directory of the link, not of its target.
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(filesOf(definitions), (Names{definitions.path("vek.lib"), definitions.path("link.lib"),
                                           definitions.path("sub/two.lib")}));
    const rynIncludedFile *top = definitions.handle->files.head;
    EXPECT_EQ(top->includedFrom, nullptr);
    EXPECT_EQ(top->line, 0);
    EXPECT_EQ(top->next->includedFrom, top);
    EXPECT_EQ(top->next->line, 3);
    EXPECT_EQ(top->next->nslPath, definitions.path("sub/one.lib"));
    EXPECT_EQ(top->next->next->includedFrom, top);
    EXPECT_EQ(top->next->next->line, 4);
}

TEST(RynInclude, RelativePathsCountFromTheDirectoryOfTheIncludedFile) {
    Definitions definitions;
    definitions.box.file("sub/more.lib", "DEFINE b b\nINCLUDE deep/last.lib\n");
    definitions.box.file("sub/deep/last.lib", "DEFINE c c\n");
    EXPECT_EQ(definitions.load("INCLUDE sub/more.lib\nDEFINE a a\n"), 0);
    EXPECT_EQ(definitions.library("a")->fullPath, definitions.path("a"));
    EXPECT_EQ(definitions.library("b")->fullPath, definitions.path("sub/b"));
    EXPECT_EQ(definitions.library("c")->fullPath, definitions.path("sub/deep/c"));
    EXPECT_EQ(definitions.handle->files.tail->includedFrom, definitions.handle->files.head->next);
}

TEST(RynInclude, FailedFileEndsItsIncluder) {
    Definitions definitions;
    definitions.box.file("bad.lib", "FOO\nBAR\n");
    definitions.box.file("vek.lib", "DEFINE a a\nINCLUDE bad.lib\nDEFINE b b\nBAZ\n");
    EXPECT_EQ(definitions.read(test::recordAndStop), RYN_SYNTAX_ERROR);
    EXPECT_EQ(recorded.diagnostics, (Diagnostics{{RYN_SYNTAX_ERROR, "FOO", definitions.path("bad.lib"), 1}}));
}

TEST(RynInclude, RecordOfAFailedFileHasNoIncluder) {
    Definitions definitions;
    definitions.box.file("bad.lib", "FOO\n");
    ASSERT_EQ(definitions.load(""), 0);
    recorded.warningResult = test::kHandlerResult;
    EXPECT_EQ(execute(definitions, "INCLUDE bad.lib", 4), test::kHandlerResult);
    EXPECT_EQ(definitions.handle->files.tail->path, definitions.path("bad.lib"));
    EXPECT_EQ(definitions.handle->files.tail->includedFrom, nullptr);
    EXPECT_EQ(definitions.handle->files.tail->line, 0);
}

TEST(RynInclude, DirectoryPipeOrDeviceIsAnEmptyFile) {
    Definitions definitions;
    definitions.box.directory("dir").fifo("fifo");
    EXPECT_EQ(definitions.load("INCLUDE dir\nINCLUDE fifo\nINCLUDE /dev/null\nDEFINE a a\n"), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.names(), Names{"a"});
    EXPECT_EQ(filesOf(definitions).size(), 4U);
}

TEST(RynInclude, EmptyPathIsTheDirectoryOfTheFile) {
    Definitions definitions;
    EXPECT_EQ(definitions.load("INCLUDE \"\"\n"), 0);
    EXPECT_EQ(definitions.handle->files.tail->path, definitions.path());
}

// ---- paths

TEST(RynInclude, InvalidPathIsReportedExceptForSoftinclude) {
    Definitions definitions(test::Environment{{"A", "$A"}});
    const std::string file = definitions.path("vek.lib");
    expectDiagnostic(definitions, "INCLUDE ~nosuchuser/x\n", {RYN_INVALID_PATH, "~nosuchuser/x", file, 1},
                     "Invalid path");
    expectDiagnostic(definitions, "INCLUDE $A\n", {RYN_INVALID_PATH, "$A", file, 1}, "Invalid path");
    EXPECT_EQ(definitions.load("SOFTINCLUDE ~nosuchuser/x\nSOFTINCLUDE $A\nDEFINE a a\n"), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.names(), Names{"a"});
}

TEST(RynInclude, UnsetVariableGivesARelativePath) {
    Definitions definitions;
    const std::string file = definitions.path("vek.lib");
    expectDiagnostic(definitions, "INCLUDE $UNSET/x\n", {RYN_NO_SUCH_FILE, "$UNSET/x", file, 1},
                     "No such file");
    EXPECT_EQ(definitions.load("SOFTINCLUDE $UNSET/x\n"), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    // Even if a file of the unexpanded name exists, its path is not absolute.
    definitions.box.file("$UNSET/x", "DEFINE a a\n");
    for (const char *keyword : {"INCLUDE", "SOFTINCLUDE"}) {
        expectDiagnostic(definitions, std::string(keyword) + " $UNSET/x\n",
                         {RYN_INTERNAL_ERROR, "$UNSET/x", file, 1}, "Internal error");
    }
}

TEST(RynInclude, MissingFileIsReportedExceptForSoftinclude) {
    Definitions definitions;
    definitions.box.link("dangling", "nowhere");
    const std::string file = definitions.path("vek.lib");
    expectDiagnostic(definitions, "\nINCLUDE missing.lib\nSOFTINCLUDE missing.lib\n",
                     {RYN_NO_SUCH_FILE, definitions.path("missing.lib"), file, 2}, "No such file");
    expectDiagnostic(definitions, "INCLUDE none/missing.lib\nSOFTINCLUDE none/missing.lib\n",
                     {RYN_NO_SUCH_FILE, definitions.path("none/missing.lib"), file, 1}, "No such file");
    expectDiagnostic(definitions, "INCLUDE dangling\nSOFTINCLUDE dangling\n",
                     {RYN_NO_SUCH_FILE, definitions.path("dangling"), file, 1}, "No such file");
}

TEST(RynInclude, MissingFileHasTheSameCodeIfPathsMustExist) {
    Definitions definitions;
    expectDiagnostic(definitions, "INCLUDE missing.lib\nSOFTINCLUDE missing.lib\n",
                     {RYN_NO_SUCH_FILE, definitions.path("missing.lib"), definitions.path("vek.lib"), 1},
                     "No such file", kPathsMustExist);
}

TEST(RynInclude, OtherSystemErrorsAreReportedForBothKeywords) {
    Definitions definitions;
    definitions.box.file("file", "").link("loop", "loop");
    const std::string file = definitions.path("vek.lib");
    const std::string longName(300, 'x');
    for (const char *keyword : {"INCLUDE ", "SOFTINCLUDE "}) {
        for (const std::string &path : {std::string("file/x"), std::string("loop"), longName}) {
            expectDiagnostic(definitions, keyword + path + "\n",
                             {RYN_SYSTEM_ERROR, definitions.path(path), file, 1}, "System error");
        }
    }
}

TEST(RynInclude, UnreadableFileIsReportedForBothKeywords) {
    Definitions definitions;
    definitions.box.file("closed.lib", "FOO\n", 0000).directory("shut/in").directory("shut", 0000);
    definitions.box.file("vek.lib",
                         "INCLUDE closed.lib\nSOFTINCLUDE closed.lib\nINCLUDE shut/x\nSOFTINCLUDE shut/x\n");
    test::asUnprivileged([&] {
        const std::string file = definitions.path("vek.lib");
        const std::string closed = definitions.path("closed.lib");
        const std::string shut = definitions.path("shut/x");
        EXPECT_EQ(definitions.read(test::recordWarning), 0);
        EXPECT_EQ(recorded.diagnostics, (Diagnostics{{RYN_PERMISSION_DENIED_FILE, closed, file, 1},
                                                     {RYN_PERMISSION_DENIED_FILE, closed, file, 2},
                                                     {RYN_PERMISSION_DENIED_FILE, shut, file, 3},
                                                     {RYN_PERMISSION_DENIED_FILE, shut, file, 4}}));
        Capture capture;
        EXPECT_EQ(definitions.read(nullptr), RYN_PERMISSION_DENIED_FILE);
        EXPECT_EQ(capture.err(),
                  printed({RYN_PERMISSION_DENIED_FILE, closed, file, 1}, "Permission denied on file") +
                      printed({RYN_PERMISSION_DENIED_FILE, closed, file, 2}, "Permission denied on file") +
                      printed({RYN_PERMISSION_DENIED_FILE, shut, file, 3}, "Permission denied on file") +
                      printed({RYN_PERMISSION_DENIED_FILE, shut, file, 4}, "Permission denied on file"));
    });
}

TEST(RynInclude, CachedFailureGivesTheSameCode) {
    Definitions definitions(test::Environment{{"RYN_STAT_CACHE_ON", "yes"}});
    definitions.box.file("file", "");
    const std::string file = definitions.path("vek.lib");
    EXPECT_EQ(
        definitions.load("INCLUDE none\nINCLUDE file/x\nINCLUDE none\nSOFTINCLUDE none\nINCLUDE file/x\n"),
        0);
    EXPECT_EQ(recorded.diagnostics, (Diagnostics{{RYN_NO_SUCH_FILE, definitions.path("none"), file, 1},
                                                 {RYN_SYSTEM_ERROR, definitions.path("file/x"), file, 2},
                                                 {RYN_NO_SUCH_FILE, definitions.path("none"), file, 3},
                                                 {RYN_SYSTEM_ERROR, definitions.path("file/x"), file, 5}}));
    while (rynStatCacheCtl(0) > 0) {
    }
}

TEST(RynInclude, FailedReadlinkIsReported) {
    Definitions definitions;
    definitions.box.file("more.lib", "");
    ASSERT_EQ(definitions.load("", kPathsMustExist), 0);
    // Call 1 is for the file: the prefixes of its path are in the link cache.
    faults::fail("readlink", 1, EIO);
    EXPECT_EQ(execute(definitions, "INCLUDE more.lib", 4), 0);
    EXPECT_EQ(recorded.diagnostics, (Diagnostics{{RYN_INTERNAL_ERROR, definitions.path("more.lib"),
                                                  definitions.path("vek.lib"), 4}}));
}

TEST(RynInclude, FailedOpenIsFatalAndEndsTheIncluder) {
    Definitions definitions;
    definitions.box.file("more.lib", "FOO\n").file("vek.lib", "INCLUDE more.lib\nBAR\n");
    const std::string more = definitions.path("more.lib");
    definitions.load("INCLUDE more.lib\nBAR\n");
    faults::reset();
    // Call 1 opens the top file.
    faults::fail("open", 2, EMFILE);
    EXPECT_EQ(definitions.read(test::recordWarning), RYN_SYSTEM_ERROR);
    EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_SYSTEM_ERROR, more, more}}));
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
}

// ---- files that are read twice

TEST(RynInclude, FileIsReadOnce) {
    Definitions definitions;
    definitions.box.file("more.lib", "DEFINE b b\n").link("link.lib", "more.lib");
    const std::string file = definitions.path("vek.lib");
    for (const char *keyword : {"INCLUDE", "SOFTINCLUDE"}) {
        for (const char *path : {"more.lib", "./more.lib", "link.lib"}) {
            expectDiagnostic(definitions, std::string("INCLUDE more.lib\n") + keyword + " " + path + "\n",
                             {RYN_FILE_INCLUDED_TWICE, definitions.path("more.lib"), file, 2},
                             "VEK.LIB file included multiple times");
        }
    }
}

TEST(RynInclude, FileThatIncludesItselfIsReportedAndReadOn) {
    Definitions definitions;
    const std::string file = definitions.path("vek.lib");
    expectDiagnostic(definitions, "DEFINE a a\nINCLUDE vek.lib\nDEFINE b b\n",
                     {RYN_FILE_INCLUDED_TWICE, file, file, 2}, "VEK.LIB file included multiple times");
    EXPECT_EQ(definitions.load("DEFINE a a\nINCLUDE vek.lib\nDEFINE b b\n"), 0);
    EXPECT_EQ(definitions.names(), (Names{"a", "b"}));
}

TEST(RynInclude, CycleThroughOtherFilesIsReported) {
    Definitions definitions;
    definitions.box.file("one.lib", "INCLUDE two.lib\n")
        .file("two.lib", "\nINCLUDE vek.lib\nSOFTINCLUDE one.lib\n");
    const std::string top = definitions.path("vek.lib");
    const std::string one = definitions.path("one.lib");
    const std::string two = definitions.path("two.lib");
    EXPECT_EQ(definitions.load("INCLUDE one.lib\n"), 0);
    EXPECT_EQ(recorded.diagnostics,
              (Diagnostics{{RYN_FILE_INCLUDED_TWICE, top, two, 2}, {RYN_FILE_INCLUDED_TWICE, one, two, 3}}));

    // With the default handler every includer ends after its INCLUDE.
    Capture capture;
    EXPECT_EQ(definitions.loadWithDefaultHandler("INCLUDE one.lib\nFOO\n"), RYN_FILE_INCLUDED_TWICE);
    EXPECT_EQ(capture.err(),
              printed({RYN_FILE_INCLUDED_TWICE, top, two, 2}, "VEK.LIB file included multiple times") +
                  printed({RYN_FILE_INCLUDED_TWICE, one, two, 3}, "VEK.LIB file included multiple times"));
}

TEST(RynInclude, CycleThroughLinksIsReported) {
    Definitions definitions;
    definitions.box.directory("d").link("d/up", "..");
    EXPECT_EQ(definitions.load("INCLUDE d/up/vek.lib\n"), 0);
    EXPECT_EQ(recorded.diagnostics, (Diagnostics{{RYN_FILE_INCLUDED_TWICE, definitions.path("vek.lib"),
                                                  definitions.path("vek.lib"), 1}}));
}

TEST(RynInclude, EachRegistryReadsTheFileAgain) {
    Definitions definitions;
    definitions.box.file("more.lib", "DEFINE b b\n");
    EXPECT_EQ(definitions.load("INCLUDE more.lib\n"), 0);
    rynHandle other = nullptr;
    EXPECT_EQ(rynInitialize("more.lib", test::recordWarning, &other), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    rynReleaseHandle(other);
}

// ---- depth

/// Writes a chain of files, each including the next; each defines two libraries. @return the text of the first one
std::string writeChain(test::Sandbox &box, int length) {
    const auto text = [length](int i) {
        const std::string next = i + 1 < length ? "INCLUDE f" + std::to_string(i + 1) + "\n" : "";
        return "DEFINE a" + std::to_string(i) + " x/a" + std::to_string(i) + "\n" + next + "DEFINE b" +
               std::to_string(i) + " x/b" + std::to_string(i) + "\n";
    };
    for (int i = 1; i < length; ++i) {
        box.file("f" + std::to_string(i), text(i));
    }
    return text(0);
}

void *readFile(void *definitions) {
    static_cast<Definitions *>(definitions)->read(test::recordWarning);
    return nullptr;
}

/// Creates the registry on a stack of `size` bytes.
void readOnStack(Definitions &definitions, std::size_t size) {
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, size), 0);
    pthread_t thread = {};
    ASSERT_EQ(pthread_create(&thread, &attributes, readFile, &definitions), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

TEST(RynInclude, ThousandNestedFilesNeedASmallStack) {
    Definitions definitions;
    definitions.box.file("vek.lib", writeChain(definitions.box, 1000));
    readOnStack(definitions, std::size_t{256} << 10U);
    ASSERT_NE(definitions.handle, nullptr);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    const Names names = definitions.names();
    ASSERT_EQ(names.size(), 2000U);
    EXPECT_EQ(names[999], "a999");
    EXPECT_EQ(names[1000], "b999");
    EXPECT_EQ(names[1999], "b0");
    EXPECT_EQ(filesOf(definitions).size(), 1000U);
}

TEST(RynInclude, DiagnosticInTheDeepestFileEndsEveryIncluder) {
    Definitions definitions;
    definitions.box.file("vek.lib", writeChain(definitions.box, 1000)).file("f999", "FOO\nDEFINE last l\n");
    const std::string deepest = definitions.path("f999");
    Capture capture;
    EXPECT_EQ(definitions.read(test::recordAndStop), RYN_SYNTAX_ERROR);
    EXPECT_EQ(recorded.diagnostics, (Diagnostics{{RYN_SYNTAX_ERROR, "FOO", deepest, 1}}));
    EXPECT_EQ(capture.err(), "");
    // With the default handler the deepest file is read to its end; no line after an INCLUDE is read.
    EXPECT_EQ(definitions.read(nullptr), RYN_SYNTAX_ERROR);
    EXPECT_EQ(capture.err(), printed({RYN_SYNTAX_ERROR, "FOO", deepest, 1}, "Syntax error"));
    EXPECT_EQ(definitions.handle, nullptr);
}

TEST(RynInclude, CycleOfAThousandFilesIsReportedOnce) {
    Definitions definitions;
    definitions.box.file("vek.lib", writeChain(definitions.box, 1000)).file("f999", "INCLUDE vek.lib\n");
    EXPECT_EQ(definitions.read(test::recordWarning), 0);
    EXPECT_EQ(recorded.diagnostics, (Diagnostics{{RYN_FILE_INCLUDED_TWICE, definitions.path("vek.lib"),
                                                  definitions.path("f999"), 1}}));
    EXPECT_EQ(filesOf(definitions).size(), 1000U);
}

TEST(RynInclude, NestedFilesNeedFewDescriptors) {
    Definitions definitions;
    definitions.box.file("vek.lib", writeChain(definitions.box, 3000));
    const test::Outcome outcome = test::inChild(
        [&] {
            const test::SoftLimit limit(RLIMIT_NOFILE, 20);
            EXPECT_EQ(definitions.read(test::recordWarning), 0);
            EXPECT_EQ(recorded.fatals, ErrorReports{});
            EXPECT_EQ(recorded.diagnostics, Diagnostics{});
            const Names names = definitions.names();
            EXPECT_EQ(names.size(), 6000U);
            EXPECT_EQ(names[2999], "a2999");
            EXPECT_EQ(names[3000], "b2999");
            EXPECT_EQ(names[5999], "b0");
            return 0;
        },
        {.timeoutMs = 60000});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST(RynInclude, NestedFilesWithoutALineFeedNeedFewDescriptors) {
    Definitions definitions;
    for (int i = 1; i < 100; ++i) {
        definitions.box.file("f" + std::to_string(i), "INCLUDE f" + std::to_string(i + 1));
    }
    definitions.box.file("f100", "DEFINE last l").file("vek.lib", "INCLUDE f1");
    const test::Outcome outcome = test::inChild([&] {
        const test::SoftLimit limit(RLIMIT_NOFILE, 20);
        EXPECT_EQ(definitions.read(test::recordWarning), 0);
        EXPECT_EQ(definitions.names(), Names{"last"});
        return 0;
    });
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

/// The diagnostics of a file.
Diagnostics diagnosticsOf(Definitions &definitions, const std::string &head, const std::string &rest) {
    EXPECT_EQ(definitions.load(head + rest), 0);
    return recorded.diagnostics;
}

TEST(RynInclude, LinesAfterAnIncludeAreReadLikeOthers) {
    using namespace std::string_literals;
    Definitions definitions;
    definitions.box.file("more.lib", "").file("last.lib", "");
    for (const std::string &rest : {""s, "x"s, "x\n\ny"s, "a\r\n\r\nb c\r"s, "a\0b\nc\0\n\0\nd\0"s,
                                    std::string(4094, 'x') + "\ny\n", std::string(4095, 'x') + "\ny\n",
                                    std::string(4096, 'x') + "\ny\n", std::string(20000, 'x') + "\r\ny",
                                    std::string(65536, 'x') + "\r\ny", std::string(200000, 'x') + "\r\ny",
                                    "SOFTINCLUDE last.lib\nx\n"s + std::string(5000, '#') + "\nz\n"}) {
        const Diagnostics expected = diagnosticsOf(definitions, "# more.lib\n", rest);
        EXPECT_EQ(diagnosticsOf(definitions, "INCLUDE more.lib\n", rest), expected) << rest;
    }
}

TEST(RynInclude, FailedReadAfterAnIncludeLosesNoLineSilently) {
    Definitions definitions;
    definitions.box.file("more.lib", "DEFINE b b\n");
    ASSERT_EQ(definitions.load("INCLUDE more.lib\nDEFINE a a\n"), 0);
    const std::string dump = definitions.dump();
    for (const char *call : {"fstat", "read"}) {
        for (int nth = 1; nth <= 6; ++nth) {
            recorded.fatals.clear();
            faults::fail(call, nth, EIO);
            const int status = definitions.read(test::recordWarning);
            faults::reset();
            if (status == RYN_OK) {
                EXPECT_EQ(definitions.dump(), dump) << call << nth;
            } else {
                EXPECT_EQ(status, RYN_SYSTEM_ERROR) << call << nth;
                EXPECT_EQ(recorded.fatals.size(), 1U) << call << nth;
                EXPECT_EQ(definitions.handle, nullptr);
            }
        }
    }
}

/// Empties the file that a diagnostic is about.
int emptyTheFile(int code, const char *object, const char *file, int line) {
    EXPECT_EQ(truncate(file, 0), 0);
    return test::recordWarning(code, object, file, line);
}

TEST(RynInclude, FileTruncatedAfterItsFirstReadIsReadWhole) {
    Definitions definitions;
    definitions.box.file("more.lib", "DEFINE b b\n").file("vek.lib", "FOO\nINCLUDE more.lib\nDEFINE a a\n");
    EXPECT_EQ(definitions.read(emptyTheFile), 0);
    EXPECT_EQ(recorded.diagnostics.size(), 1U);
    EXPECT_EQ(definitions.names(), (Names{"b", "a"}));
}

/// Comments, longer than the text that is held in memory for a suspended file.
std::string longText() {
    std::string text;
    for (int i = 0; i < 50; ++i) {
        text += std::string(4000, '#') + "\n";
    }
    return text;
}

/// Removes the top file, which has a long remainder.
int removeTheFirst(int code, const char *object, const char *file, int line) {
    static_cast<void>(unlink("vek.lib"));
    return test::recordWarning(code, object, file, line);
}

TEST(RynInclude, RemovedIncluderWithALongRemainderIsRead) {
    Definitions definitions;
    definitions.box.file("more.lib", "FOO\n")
        .file("vek.lib", "INCLUDE more.lib\n" + longText() + "DEFINE a a\n");
    EXPECT_EQ(definitions.read(removeTheFirst), 0);
    EXPECT_EQ(recorded.diagnostics.size(), 1U);
    EXPECT_EQ(definitions.names(), Names{"a"});
}

/// Writes a chain of `length` files with long remainders. @return the name of the last one
std::string writeLongChain(test::Sandbox &box, int length) {
    const std::string rest = longText() + "DEFINE a";
    for (int i = 0; i < length; ++i) {
        const std::string number = std::to_string(i);
        box.file(i == 0 ? "vek.lib" : "f" + number,
                 "INCLUDE f" + std::to_string(i + 1) + "\n" + rest + number + " x/a" + number + "\n");
    }
    return "f" + std::to_string(length);
}

TEST(RynInclude, NestedLongFilesNeedFewDescriptors) {
    constexpr int kFiles = 60;
    Definitions definitions;
    definitions.box.file(writeLongChain(definitions.box, kFiles), "DEFINE last l\n");
    const test::Outcome outcome = test::inChild(
        [&] {
            const test::SoftLimit limit(RLIMIT_NOFILE, 20);
            EXPECT_EQ(definitions.read(test::recordWarning), RYN_OK);
            EXPECT_EQ(recorded.fatals, ErrorReports{});
            EXPECT_EQ(recorded.diagnostics, Diagnostics{});
            const Names names = definitions.names();
            EXPECT_EQ(names.size(), kFiles + 1U);
            EXPECT_EQ(names.front(), "last");
            EXPECT_EQ(names.back(), "a0");
            return 0;
        },
        {.timeoutMs = 60000});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

/// Replaces f9, which is too deep to keep its descriptor.
int replaceADeepFile(int code, const char *object, const char *file, int line) {
    static_cast<void>(unlink("f9"));
    EXPECT_EQ(symlink("f8", "f9"), 0);
    return test::recordWarning(code, object, file, line);
}

/// Removes f9 without a diagnostic: it may be called with the default warning handler.
int removeADeepFile(const char * /*attribute*/, const char * /*value*/, const char * /*file*/, int /*line*/) {
    static_cast<void>(unlink("f9"));
    return 0;
}

TEST(RynInclude, ReplacedDeepIncluderIsASystemError) {
    Definitions definitions;
    definitions.box.file(writeLongChain(definitions.box, 12), "FOO\n");
    const std::string replaced = definitions.path("f9");
    EXPECT_EQ(definitions.read(replaceADeepFile), RYN_SYSTEM_ERROR);
    EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_SYSTEM_ERROR, replaced, replaced}}));
    EXPECT_EQ(definitions.handle, nullptr);
}

TEST(RynInclude, RemovedDeepIncluderIsASystemErrorWithDefaultHandler) {
    Definitions definitions;
    definitions.box.file(writeLongChain(definitions.box, 12), "DEFINE last l\nASSIGN last X 1\n");
    const std::string removed = definitions.path("f9");
    const rynUnknownAssignHook previous = rynSetUnknownASSIGNfunc(removeADeepFile);
    static_cast<void>(definitions.read(nullptr));
    rynSetUnknownASSIGNfunc(previous);
    EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_SYSTEM_ERROR, removed, removed}}));
}

TEST(RynInclude, MemoryForALongIncluderIsBounded) {
    Definitions definitions;
    definitions.box.file("more.lib", "DEFINE b b\n").file("vek.lib", "INCLUDE more.lib\n");
    constexpr off_t kSize = off_t{64} << 20; // sparse: it needs no disk space
    ASSERT_EQ(truncate("vek.lib", kSize), 0);
    const test::Outcome outcome = test::inChild(
        [&] {
            rusage before = {};
            rusage after = {};
            getrusage(RUSAGE_SELF, &before);
            EXPECT_EQ(definitions.read(test::recordWarning), RYN_OK);
            getrusage(RUSAGE_SELF, &after);
            EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 8 * 1024) << "kilobytes";
            EXPECT_EQ(definitions.names(), Names{"b"});
            return 0;
        },
        {.timeoutMs = 60000});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST(RynInclude, HundredThousandIncludesOfOneFileAreReported) {
    Definitions definitions;
    std::string text;
    for (int i = 0; i < 100000; ++i) {
        text += "INCLUDE vek.lib\n";
    }
    EXPECT_EQ(definitions.load(text), 0);
    EXPECT_EQ(recorded.diagnostics.size(), 100000U);
}

// ---- memory

TEST(RynInclude, ExhaustedMemoryIsReportedOrHasNoEffect) {
    Definitions definitions;
    for (int nth = 1;; ++nth) {
        definitions.box.file("more.lib", "DEFINE b b\n");
        ASSERT_EQ(definitions.load("DEFINE warm more.lib\nUNDEFINE warm\n"), 0);
        recorded.fatals.clear();
        recorded.diagnostics.clear();
        faults::reset();
        faults::failAllocation(nth);
        const int status = execute(definitions, "INCLUDE more.lib", 2);
        const bool reached = faults::count("malloc") >= nth;
        faults::reset();
        if (!reached) {
            EXPECT_EQ(status, 0);
            EXPECT_EQ(definitions.names(), Names{"b"});
            break;
        }
        // An allocation that fails without a report belongs to a cache and changes nothing.
        if (recorded.fatals.empty() && recorded.diagnostics.empty()) {
            EXPECT_EQ(definitions.names(), Names{"b"}) << nth;
        } else if (!recorded.fatals.empty()) {
            EXPECT_EQ(recorded.fatals[0].code, RYN_MEMORY_ERROR) << nth;
            EXPECT_EQ(status, RYN_MEMORY_ERROR) << nth;
        } else {
            EXPECT_EQ(recorded.diagnostics[0].code, RYN_MEMORY_ERROR) << nth;
            EXPECT_EQ(status, 0) << nth;
        }
    }
}

// ---- defined effects on the last error

TEST(RynInclude, SoftincludeOfAMissingFileKeepsTheLastError) {
    Definitions definitions;
    Capture capture;
    EXPECT_EQ(definitions.loadWithDefaultHandler("FOO\nSOFTINCLUDE none.lib\n"), RYN_SYNTAX_ERROR);
}

} // namespace
