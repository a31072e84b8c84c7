#include "tests/structure/layering.h"

#include <filesystem>
#include <fstream>
#include <set>
#include <vector>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

bool isSource(const fs::path &path) {
    static const std::set<std::string> extensions = {".h", ".c", ".cpp"};
    return extensions.contains(path.extension().string());
}

// Calls `visit` with each source, relative to the root, and each of its includes as includeOf() returns it.
// Returns the number of sources.
template <typename Visit>
int forEachInclude(const Visit &visit) {
    const fs::path root = VEK_TEST_SOURCE_DIR;
    int sources = 0;
    for (const char *const folder :
         {"common", "fs", "search", "tagfile", "libdef", "tool", "tests", "bench", "fuzz", "examples"}) {
        if (!fs::exists(root / folder)) {
            continue;
        }
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(root / folder)) {
            if (!entry.is_regular_file() || !isSource(entry.path())) {
                continue;
            }
            ++sources;
            std::ifstream stream(entry.path());
            for (std::string line; std::getline(stream, line);) {
                const std::string_view included = includeOf(line);
                if (!included.empty()) {
                    visit(entry.path().lexically_relative(root).string(), included);
                }
            }
        }
    }
    return sources;
}

// Includes of the layers' own files that do not follow the subfolder rule or are part of a cycle.
std::set<Include> structureProblems() {
    std::set<Include> problems;
    std::vector<Include> rest; // a cycle that ends with a wrong direction is reported once only
    forEachInclude([&](const std::string &source, std::string_view included) {
        const bool isTest = source.starts_with("tests/") || source.starts_with("fuzz/");
        if (included.front() != '"' || isTest) {
            return;
        }
        const Include include = {source, std::string(included.substr(1))};
        if (subfolderProblem(include.source, include.included).empty()) {
            rest.push_back(include);
        } else {
            problems.insert(include);
        }
    });
    problems.merge(cyclicIncludes(rest));
    return problems;
}

// Known exceptions. Do not add lines; delete a line when the test reports that it is no longer needed.
const std::set<Include> &knownExceptions() {
    static const std::set<Include> table = {
        {"tool/vekinfo_append.cpp", "tool/vekinfo_check.h"},
        {"tool/vekinfo_args.cpp", "tool/vekinfo_check.h"},
        {"tool/vekinfo_args.cpp", "tool/vekinfo_report.h"},
        {"tool/vekinfo_check.cpp", "tool/vekinfo_append.h"},
        {"tool/vekinfo_check.cpp", "tool/vekinfo_args.h"},
        {"tool/vekinfo_check.cpp", "tool/vekinfo_scan.h"},
        {"tool/vekinfo_report.cpp", "tool/vekinfo_args.h"},
        {"tool/vekinfo_scan.cpp", "tool/vekinfo_check.h"},
    };
    return table;
}

} // namespace

TEST(Layering, EveryIncludeFollowsTheDependencies) {
    int includes = 0;
    const int sources = forEachInclude([&](const std::string &source, std::string_view included) {
        if (included.front() == '"') {
            ++includes;
            EXPECT_EQ(includeProblem(source, included.substr(1)), "");
        }
    });

    EXPECT_GT(sources, 50);
    EXPECT_GT(includes, 50);
}

TEST(Layering, SubfoldersHaveOneDirectionAndFilesNoCycle) {
    const std::set<Include> problems = structureProblems();

    for (const Include &include : problems) {
        EXPECT_TRUE(knownExceptions().contains(include))
            << include.source << " includes " << include.included
            << ": against the order of the subfolders, or part of an include cycle between files. Move the "
               "declaration to the header of the source that defines it, or the function to the lower file.";
    }
    for (const Include &include : knownExceptions()) {
        EXPECT_TRUE(problems.contains(include))
            << "The exception for " << include.source << " and " << include.included
            << " is no longer needed. Delete its line from knownExceptions() in "
               "tests/structure/layering_test.cpp.";
    }
}

TEST(Layering, LayersUseNoHeaderThatThrows) {
    int includes = 0;
    forEachInclude([&](const std::string &source, std::string_view included) {
        if (included.front() == '<') {
            ++includes;
            EXPECT_EQ(systemIncludeProblem(source, included.substr(1)), "");
        }
    });

    EXPECT_GT(includes, 50);
}

TEST(Layering, LowerLayerIncludingHigherOneIsAProblem) {
    EXPECT_NE(includeProblem("common/platform/vek_path.cpp", "search/pux.h"), "");
    EXPECT_NE(includeProblem("search/pux_list.cpp", "tagfile/tov.h"), "");
    EXPECT_NE(includeProblem("search/pux_list.cpp", "fs/vek_fs.h"), "");
    EXPECT_NE(includeProblem("fs/vek_fs.cpp", "search/pux.h"), "");
    EXPECT_NE(includeProblem("tagfile/tov_edit.cpp", "libdef/ryn.h"), "");
    EXPECT_NE(includeProblem("libdef/paths/ryn_path.cpp", "tool/vekinfo_args.h"), "");
}

TEST(Layering, HigherLayerIncludingLowerOneIsAllowed) {
    EXPECT_EQ(includeProblem("search/pux_list.cpp", "common/platform/vek_path.h"), "");
    EXPECT_EQ(includeProblem("libdef/paths/ryn_path.cpp", "fs/vek_fs.h"), "");
    EXPECT_EQ(includeProblem("tool/main.cpp", "tagfile/tov.h"), "");
    EXPECT_EQ(includeProblem("tagfile/tov_edit.cpp", "tagfile/tovi_write.h"), "");
}

TEST(Layering, InternalHeaderOfAnotherLayerIsAProblem) {
    EXPECT_NE(includeProblem("search/pux_list.cpp", "common/platform/veki_path.h"), "");
    EXPECT_NE(includeProblem("tool/main.cpp", "tagfile/tovi_cache.h"), "");
    EXPECT_NE(includeProblem("bench/parse_bench.cpp", "tagfile/tovi_parse.h"), "");
}

TEST(Layering, TestsFollowTheDependenciesOfTheirLayer) {
    EXPECT_EQ(includeProblem("tests/search/pux_list_test.cpp", "search/puxi_list.h"), "");
    EXPECT_EQ(includeProblem("tests/search/pux_list_test.cpp", "tests/support/sandbox.h"), "");
    EXPECT_EQ(includeProblem("tests/search/pux_list_test.cpp", "tests/search/search_list.h"), "");
    EXPECT_NE(includeProblem("tests/search/pux_list_test.cpp", "common/platform/veki_path.h"), "");
    EXPECT_NE(includeProblem("tests/search/pux_list_test.cpp", "tagfile/tov.h"), "");
    EXPECT_EQ(includeProblem("tests/search/pux_list_test.cpp", "tests/common/helper.h"), "");
    EXPECT_NE(includeProblem("tests/search/pux_list_test.cpp", "tests/tagfile/helper.h"), "");
    EXPECT_NE(includeProblem("tests/support/child.cpp", "common/platform/vek_path.h"), "");
}

TEST(Layering, FuzzTargetsFollowTheDependenciesOfTheirLayer) {
    EXPECT_EQ(includeProblem("fuzz/libdef/ryn_path_fuzz.cpp", "libdef/paths/ryni_full_path.h"), "");
    EXPECT_EQ(includeProblem("fuzz/libdef/ryn_path_fuzz.cpp", "fuzz/support/target.h"), "");
    EXPECT_NE(includeProblem("fuzz/libdef/ryn_path_fuzz.cpp", "tagfile/tovi_parse.h"), "");
    EXPECT_NE(includeProblem("fuzz/search/vek_interp_fuzz.cpp", "tagfile/tov.h"), "");
    EXPECT_NE(includeProblem("fuzz/search/vek_interp_fuzz.cpp", "tests/support/sandbox.h"), "");
    EXPECT_NE(includeProblem("fuzz/support/box.cpp", "common/platform/vek_path.h"), "");
    EXPECT_EQ(includeProblem("fuzz/support/box.cpp", "fuzz/support/box.h"), "");
    EXPECT_NE(includeProblem("common/platform/vek_path.cpp", "fuzz/support/box.h"), "");
}

TEST(Layering, LayersIncludeNoTests) {
    EXPECT_NE(includeProblem("common/platform/vek_path.cpp", "tests/support/faults.h"), "");
}

TEST(Layering, IncludePathsBeginAtTheRepositoryRoot) {
    EXPECT_NE(includeProblem("common/platform/vek_path.cpp", "vek_path.h"), "");
}

TEST(Layering, StandardContainersAreAProblemInLayersOnly) {
    EXPECT_NE(systemIncludeProblem("common/platform/vek_path.cpp", "vector"), "");
    EXPECT_EQ(systemIncludeProblem("common/platform/vek_path.cpp", "string_view"), "");
    EXPECT_EQ(systemIncludeProblem("common/platform/vek_path.cpp", "string.h"), "");
    EXPECT_EQ(systemIncludeProblem("tests/common/vek_path_test.cpp", "vector"), "");
}

TEST(Layering, SubfoldersMayIncludeThoseBeforeThem) {
    EXPECT_EQ(subfolderProblem("common/text/x.cpp", "common/base/y.h"), "");
    EXPECT_EQ(subfolderProblem("common/text/x.cpp", "common/text/y.h"), "");
    EXPECT_EQ(subfolderProblem("libdef/iteration/x.cpp", "libdef/registry/y.h"), "");
    EXPECT_EQ(subfolderProblem("libdef/registry/x.cpp", "libdef/ryn.h"), "");
    EXPECT_EQ(subfolderProblem("common/vek.h", "common/platform/vek_file.h"), "");
    EXPECT_EQ(subfolderProblem("libdef/registry/x.cpp", "common/platform/vek_file.h"), "");
}

TEST(Layering, SubfoldersMustNotIncludeThoseAfterThem) {
    EXPECT_NE(subfolderProblem("common/base/x.h", "common/containers/y.h"), "");
    EXPECT_NE(subfolderProblem("common/expressions/x.cpp", "common/text/y.h"), "");
    EXPECT_NE(subfolderProblem("libdef/registry/x.cpp", "libdef/paths/y.h"), "");
    EXPECT_NE(subfolderProblem("libdef/access/x.cpp", "libdef/iteration/y.h"), "");
}

TEST(Layering, CycleOfTwoFilesIsFound) {
    const std::vector<Include> includes = {{"search/pux_a.cpp", "search/puxi_b.h"},
                                           {"search/pux_b.cpp", "search/pux_a.h"},
                                           {"search/pux_a.cpp", "search/pux_c.h"}};
    EXPECT_EQ(cyclicIncludes(includes), (std::set<Include>{includes[0], includes[1]}));
}

TEST(Layering, CycleOfThreeFilesIsFound) {
    const std::vector<Include> includes = {
        {"fs/a.cpp", "fs/b.h"}, {"fs/b.h", "fs/c.h"}, {"fs/c.cpp", "fs/a.h"}, {"fs/d.cpp", "fs/a.h"}};
    EXPECT_EQ(cyclicIncludes(includes), (std::set<Include>{includes[0], includes[1], includes[2]}));
}

TEST(Layering, SourceAndItsHeadersAreNoCycle) {
    EXPECT_TRUE(cyclicIncludes({{"fs/vek_x.cpp", "fs/veki_x.h"}, {"fs/veki_x.h", "fs/vek_x.h"}}).empty());
    EXPECT_FALSE(cyclicIncludes({{"fs/vek_x.cpp", "fs/vek_y.h"}, {"fs/vek_y.cpp", "fs/veki_x.h"}}).empty());
}

TEST(Layering, IncludeLinesAreRecognized) {
    EXPECT_EQ(includeOf("#include \"common/vek.h\""), "\"common/vek.h");
    EXPECT_EQ(includeOf("  #  include <string>  // why"), "<string");
    EXPECT_EQ(includeOf("// #include \"common/vek.h\""), "");
    EXPECT_EQ(includeOf("#define X"), "");
}
