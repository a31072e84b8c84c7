#include "tagfile/tov.h"

#include "common/text/fixed_text.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/tagfile/tag_support.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

namespace {

class Normalize : public test::TagTest {
  protected:
    using Normalizer = int (*)(const char *, char *);

    /// The normalized path, or failure(code).
    static std::string with(Normalizer normalizer, const char *path) {
        test::WhereBuffer out;
        const int status = normalizer(path, out.get());
        return status == TOV_OK ? out.text() : test::failure(status);
    }
    static std::string normalized(const std::string &path) { return with(tovNormalizePath, path.c_str()); }
    static std::string sorta(const std::string &path) { return with(tovNormalizePathSorta, path.c_str()); }

    static test::TagReports failedFor(const std::string &path) {
        return {{TOV_PATH_PROCESSING, "tovNormalizePath", path, 0}};
    }
    static test::TagReports sortaFailedFor(const std::string &path) {
        return {{TOV_PATH_PROCESSING, "tovNormalizePathSorta", path, 0}};
    }

    /// Makes the working directory one of at least `size` characters.
    void goDeep(std::size_t size) {
        std::string name(200, 'd');
        for (std::size_t length = box.path().size(); length < size; length += name.size() + 1) {
            name.resize(std::min<std::size_t>(200, size - length));
            ASSERT_EQ(0, mkdir(name.c_str(), 0755));
            ASSERT_EQ(0, chdir(name.c_str()));
        }
    }
};

// ---- tovNormalizePath

using NormalizePath = Normalize;

TEST_F(NormalizePath, ResultInABoundedTextCanBeExtended) {
    vek::PathText path;
    EXPECT_EQ(TOV_OK, path.fill([](char *out, std::size_t) { return tovNormalizePath("/tmp", out); }));
    EXPECT_TRUE(path.append("/x"));
    EXPECT_EQ("/tmp/x", path.view());
}

TEST_F(NormalizePath, AbsolutePathIsUnchanged) {
    box.directory("a/b").file("a/f", "");
    EXPECT_EQ(box.path("a/b"), normalized(box.path("a/b")));
    EXPECT_EQ(box.path("a/f"), normalized(box.path("a/f")));
    EXPECT_EQ(box.path("a//b/../b/./"), normalized(box.path("a//b/../b/./")));
    EXPECT_EQ("/", normalized("/"));
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(NormalizePath, PrependsTheWorkingDirectoryToARelativePath) {
    box.directory("a/b");
    EXPECT_EQ(box.path("a/b"), normalized("a/b"));
    EXPECT_EQ(box.path("./a"), normalized("./a"));
    EXPECT_EQ(box.path("a/.."), normalized("a/.."));
    EXPECT_EQ(box.path("./"), normalized("./"));
}

TEST_F(NormalizePath, ADotAloneIsTheWorkingDirectory) {
    EXPECT_EQ(box.path(), normalized("."));
}

TEST_F(NormalizePath, LinksAreNotResolved) {
    box.directory("a").link("l", "a");
    EXPECT_EQ(box.path("l"), normalized("l"));
}

TEST_F(NormalizePath, ExpandsVariablesAndHomeDirectories) {
    box.directory("a/b");
    test::setEnvironment({{"PLACE", box.path("a")}, {"NAME", "b"}, {"HOME", box.path("a")}, {"DOT", "."}});
    EXPECT_EQ(box.path("a/b"), normalized("$PLACE/b"));
    EXPECT_EQ(box.path("a/b"), normalized("a/${NAME}"));
    EXPECT_EQ(box.path("a/b"), normalized("~/b"));
    EXPECT_EQ(box.path(), normalized("$DOT"));
}

TEST_F(NormalizePath, MissingPathIsReported) {
    EXPECT_EQ(test::failure(TOV_PATH_PROCESSING), normalized("/no/such/path"));
    EXPECT_EQ(failedFor("/no/such/path"), reports.take());
    EXPECT_EQ(test::failure(TOV_PATH_PROCESSING), normalized("none"));
    EXPECT_EQ(failedFor("none"), reports.take());
}

TEST_F(NormalizePath, AnUnsetVariableIsReported) {
    EXPECT_EQ(test::failure(TOV_PATH_PROCESSING), normalized("$NOPE/x"));
    EXPECT_EQ(failedFor("$NOPE/x"), reports.take());
}

TEST_F(NormalizePath, UnreadablePathIsReported) {
    box.directory("secret", 0000).file("hidden", "", 0200);
    test::asUnprivileged([this] {
        EXPECT_EQ(test::failure(TOV_PATH_PROCESSING), normalized("secret"));
        EXPECT_EQ(failedFor("secret"), reports.take());
        EXPECT_EQ(test::failure(TOV_PATH_PROCESSING), normalized("hidden"));
        EXPECT_EQ(failedFor("hidden"), reports.take());
    });
}

TEST_F(NormalizePath, EmptyPathIsReported) {
    EXPECT_EQ(test::failure(TOV_PATH_PROCESSING), normalized(""));
    EXPECT_EQ(failedFor(""), reports.take());
}

TEST_F(NormalizePath, ANullPathIsReported) {
    EXPECT_EQ(test::failure(TOV_PATH_PROCESSING), with(tovNormalizePath, nullptr));
    EXPECT_EQ(1U, reports.take().size());
}

TEST_F(NormalizePath, AnUnreadableWorkingDirectoryIsAnErrorForEveryPath) {
    for (const char *path : {".", "/", "a"}) {
        box.directory("a");
        test::faults::failFrom("getcwd", 1, ENOENT);
        EXPECT_EQ(test::failure(TOV_PATH_PROCESSING), normalized(path)) << path;
        test::faults::reset();
        const test::TagReports collected = reports.take();
        ASSERT_EQ(1U, collected.size()) << path;
        EXPECT_EQ(TOV_PATH_PROCESSING, collected[0].code);
        EXPECT_EQ("error in cwd", collected[0].text);
    }
}

TEST_F(NormalizePath, ARemovedWorkingDirectoryIsAnErrorForEveryPath) {
    box.directory("gone");
    ASSERT_EQ(0, chdir("gone"));
    ASSERT_EQ(0, rmdir(box.path("gone").c_str()));
    EXPECT_EQ(test::failure(TOV_PATH_PROCESSING), normalized("/"));
    ASSERT_EQ(0, chdir(box.path().c_str()));
}

TEST_F(NormalizePath, ConvertedPathHasAtMost1023Characters) {
    for (const std::size_t size : {1022U, 1023U}) {
        const std::string absolute = test::spelledWith(box.path(), size);
        EXPECT_EQ(absolute, normalized(absolute)) << size;
        const std::string relative = test::spelledWith(".", size);
        EXPECT_EQ(box.path(relative), normalized(relative)) << size;
    }
    EXPECT_EQ(test::kNoReports, reports.take());
    for (const std::size_t size : {1024U, 1025U, 2047U, 2048U, 4095U, 4096U, 4097U, 100000U}) {
        const std::string absolute = test::spelledWith(box.path(), size);
        EXPECT_EQ(test::failure(TOV_PATH_PROCESSING), normalized(absolute)) << size;
        EXPECT_EQ(failedFor(absolute), reports.take()) << size;
    }
}

TEST_F(NormalizePath, ALongVariableGivesADefinedResult) {
    for (const std::size_t size : {1023U, 1024U, 2047U, 2048U, 4096U, 100U * 1024U}) {
        const std::string value = test::spelledWith(box.path(), size);
        test::setEnvironment({{"LONG", value}});
        EXPECT_EQ(size <= 1023 ? value : test::failure(TOV_PATH_PROCESSING), normalized("$LONG")) << size;
    }
}

TEST_F(NormalizePath, AResultOfMoreThan4095CharactersIsAnError) {
    goDeep(4000);
    char cwd[VEK_PATH_SIZE];
    ASSERT_NE(nullptr, getcwd(cwd, sizeof(cwd)));
    for (const std::size_t size : {4094U, 4095U, 4096U, 4097U}) {
        const std::string relative = test::spelledWith(".", size - std::strlen(cwd) - 1);
        const std::string result = std::string(cwd) + "/" + relative;
        ASSERT_EQ(size, result.size());
        EXPECT_EQ(size <= 4095 ? result : test::failure(TOV_PATH_PROCESSING), normalized(relative)) << size;
        EXPECT_EQ(size <= 4095 ? 0U : 1U, reports.take().size()) << size;
    }
    ASSERT_EQ(0, chdir(box.path().c_str()));
}

// ---- tovNormalizePathSorta

using NormalizePathSorta = Normalize;

TEST_F(NormalizePathSorta, AnExistingPathIsNormalized) {
    box.directory("a/b");
    test::setEnvironment({{"NAME", "b"}});
    EXPECT_EQ(box.path("a/b"), sorta(box.path("a/b")));
    EXPECT_EQ(box.path("a/b"), sorta("a/b"));
    EXPECT_EQ(box.path("a/b"), sorta("a/$NAME"));
    EXPECT_EQ(box.path(), sorta("."));
    EXPECT_EQ("/", sorta("/"));
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(NormalizePathSorta, AMissingPathResolvesToItsNearestExistingAncestor) {
    box.directory("a");
    EXPECT_EQ(box.path("a"), sorta(box.path("a/none")));
    EXPECT_EQ(box.path("a"), sorta(box.path("a/none/deeper/still")));
    EXPECT_EQ(box.path("a"), sorta("a/none/deeper"));
    EXPECT_EQ(box.path("a"), sorta("a/$NOPE/x"));
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(NormalizePathSorta, AMissingPathBelowAFileResolvesToTheFile) {
    box.file("f", "");
    EXPECT_EQ(box.path("f"), sorta("f/x"));
}

// The plain "." is special; one that cutting leaves is joined like any other text.
TEST_F(NormalizePathSorta, RemainingDotIsAppendedToTheWorkingDirectory) {
    EXPECT_EQ(box.path("."), sorta("./none"));
    EXPECT_EQ(box.path("./."), sorta("././none/x"));
}

TEST_F(NormalizePathSorta, NoExistingAncestorIsReportedWithTheGivenPath) {
    for (const char *path : {"none", "none/x/y", "/nonexistent-name/x", "$NOPE", "$NOPE/x"}) {
        EXPECT_EQ(test::failure(TOV_PATH_PROCESSING), sorta(path)) << path;
        EXPECT_EQ(sortaFailedFor(path), reports.take());
    }
}

TEST_F(NormalizePathSorta, AnEmptyOrNullPathIsReported) {
    for (const char *path : {static_cast<const char *>(""), static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(test::failure(TOV_PATH_PROCESSING), with(tovNormalizePathSorta, path));
        EXPECT_EQ((test::TagReports{{TOV_PATH_PROCESSING, "empty argument", "", 0}}), reports.take());
    }
}

TEST_F(NormalizePathSorta, UnreadablePathResolvesToItsNearestReadableAncestor) {
    box.directory("a/secret/x");
    box.directory("a/secret", 0000);
    test::asUnprivileged([this] {
        EXPECT_EQ(box.path("a"), sorta("a/secret/x"));
        EXPECT_EQ(box.path("a"), sorta("a/secret"));
    });
}

TEST_F(NormalizePathSorta, WithoutAWorkingDirectoryOnlyAbsolutePathsWork) {
    box.directory("a");
    for (const char *path : {"a", "a/none"}) {
        test::faults::failFrom("getcwd", 1, ENOENT);
        EXPECT_EQ(test::failure(TOV_PATH_PROCESSING), sorta(path)) << path;
        test::faults::reset();
        const test::TagReports collected = reports.take();
        ASSERT_EQ(1U, collected.size()) << path;
        EXPECT_EQ(TOV_PATH_PROCESSING, collected[0].code);
        EXPECT_EQ("tovNormalizePathSorta", collected[0].text);
    }
    test::faults::failFrom("getcwd", 1, ENOENT);
    EXPECT_EQ(box.path("a"), sorta(box.path("a/none")));
    test::faults::reset();
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(NormalizePathSorta, WithoutAWorkingDirectoryADotIsAnError) {
    test::faults::failFrom("getcwd", 1, ENOENT);
    EXPECT_EQ(test::failure(TOV_PATH_PROCESSING), sorta("."));
    test::faults::reset();
    EXPECT_FALSE(reports.take().empty());
}

TEST_F(NormalizePathSorta, LongPathIsCutUntilItFits) {
    // At most 1023 characters convert; a longer spelling of the directory is cut until it does.
    for (const std::size_t size : {1023U, 1024U, 1025U, 2048U, 4095U}) {
        const std::string path = test::spelledWith(box.path(), size);
        const std::string result = sorta(path);
        EXPECT_EQ(0U, path.find(result)) << size;
        EXPECT_LE(result.size(), 1023U) << size;
        EXPECT_GE(result.size(), 1021U) << size;
    }
    EXPECT_EQ(box.path(), sorta(box.path(std::string(3000, 'n'))));
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(NormalizePathSorta, APathOfMoreThan4095CharactersIsAnError) {
    for (const std::size_t size : {4096U, 4097U, 100000U}) {
        const std::string path = box.path(std::string(size - box.path().size() - 1, 'n'));
        EXPECT_EQ(test::failure(TOV_PATH_PROCESSING), sorta(path)) << size;
        EXPECT_EQ(sortaFailedFor(path), reports.take()) << size;
    }
}

TEST_F(NormalizePathSorta, AResultOfMoreThan4095CharactersIsAnError) {
    goDeep(4000);
    EXPECT_EQ(test::failure(TOV_PATH_PROCESSING), sorta(test::spelledWith(".", 200)));
    EXPECT_EQ(1U, reports.take().size());
    ASSERT_EQ(0, chdir(box.path().c_str()));
}

} // namespace
