#include "tests/structure/layering.h"

#include <filesystem>
#include <fstream>
#include <set>

#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

bool isSource(const fs::path &path) {
    static const std::set<std::string> extensions = {".h", ".c", ".cpp"};
    return extensions.contains(path.extension().string());
}

// Calls `look` with each source's name from the root and each of its include lines' targets.
template <typename Look>
int forEachInclude(const Look &look) {
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
                    look(entry.path().lexically_relative(root).string(), included);
                }
            }
        }
    }
    return sources;
}

} // namespace

TEST(Layering, EveryIncludeFollowsAnArrow) {
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

TEST(Layering, TheLayersLeaveOutWhatThrows) {
    int includes = 0;
    forEachInclude([&](const std::string &source, std::string_view included) {
        if (included.front() == '<') {
            ++includes;
            EXPECT_EQ(systemIncludeProblem(source, included.substr(1)), "");
        }
    });

    EXPECT_GT(includes, 50);
}

TEST(Layering, AnArrowBackUpIsAProblem) {
    EXPECT_NE(includeProblem("common/platform/vek_path.cpp", "search/pux.h"), "");
    EXPECT_NE(includeProblem("search/pux_list.cpp", "tagfile/tov.h"), "");
    EXPECT_NE(includeProblem("search/pux_list.cpp", "fs/vek_fs.h"), "");
    EXPECT_NE(includeProblem("fs/vek_fs.cpp", "search/pux.h"), "");
    EXPECT_NE(includeProblem("tagfile/tov_edit.cpp", "libdef/ryn.h"), "");
    EXPECT_NE(includeProblem("libdef/paths/ryn_path.cpp", "tool/vekinfo_args.h"), "");
}

TEST(Layering, AnArrowDownIsNone) {
    EXPECT_EQ(includeProblem("search/pux_list.cpp", "common/platform/vek_path.h"), "");
    EXPECT_EQ(includeProblem("libdef/paths/ryn_path.cpp", "fs/vek_fs.h"), "");
    EXPECT_EQ(includeProblem("tool/main.cpp", "tagfile/tov.h"), "");
    EXPECT_EQ(includeProblem("tagfile/tov_edit.cpp", "tagfile/tovi_write.h"), "");
}

TEST(Layering, AnotherLayersInsideIsAProblem) {
    EXPECT_NE(includeProblem("search/pux_list.cpp", "common/platform/veki_path.h"), "");
    EXPECT_NE(includeProblem("tool/main.cpp", "tagfile/tovi_cache.h"), "");
    EXPECT_NE(includeProblem("bench/parse_bench.cpp", "tagfile/tovi_parse.h"), "");
}

TEST(Layering, TestsFollowTheArrowsOfTheirFolder) {
    EXPECT_EQ(includeProblem("tests/search/pux_list_test.cpp", "search/puxi_search.h"), "");
    EXPECT_EQ(includeProblem("tests/search/pux_list_test.cpp", "tests/support/sandbox.h"), "");
    EXPECT_EQ(includeProblem("tests/search/pux_list_test.cpp", "tests/search/search_list.h"), "");
    EXPECT_NE(includeProblem("tests/search/pux_list_test.cpp", "common/platform/veki_path.h"), "");
    EXPECT_NE(includeProblem("tests/search/pux_list_test.cpp", "tagfile/tov.h"), "");
    EXPECT_EQ(includeProblem("tests/search/pux_list_test.cpp", "tests/common/helper.h"), "");
    EXPECT_NE(includeProblem("tests/search/pux_list_test.cpp", "tests/tagfile/helper.h"), "");
    EXPECT_NE(includeProblem("tests/support/child.cpp", "common/platform/vek_path.h"), "");
}

TEST(Layering, FuzzTargetsFollowTheArrowsOfTheirFolder) {
    EXPECT_EQ(includeProblem("fuzz/libdef/ryn_path_fuzz.cpp", "libdef/paths/ryni_full_path.h"), "");
    EXPECT_EQ(includeProblem("fuzz/libdef/ryn_path_fuzz.cpp", "fuzz/support/target.h"), "");
    EXPECT_NE(includeProblem("fuzz/libdef/ryn_path_fuzz.cpp", "tagfile/tovi_parse.h"), "");
    EXPECT_NE(includeProblem("fuzz/search/vek_interp_fuzz.cpp", "tagfile/tov.h"), "");
    EXPECT_NE(includeProblem("fuzz/search/vek_interp_fuzz.cpp", "tests/support/sandbox.h"), "");
    EXPECT_NE(includeProblem("fuzz/support/box.cpp", "common/platform/vek_path.h"), "");
    EXPECT_EQ(includeProblem("fuzz/support/box.cpp", "fuzz/support/box.h"), "");
    EXPECT_NE(includeProblem("common/platform/vek_path.cpp", "fuzz/support/box.h"), "");
}

TEST(Layering, TheLayersIncludeNoTests) {
    EXPECT_NE(includeProblem("common/platform/vek_path.cpp", "tests/support/faults.h"), "");
}

TEST(Layering, IncludesAreWrittenFromTheRoot) {
    EXPECT_NE(includeProblem("common/platform/vek_path.cpp", "vek_path.h"), "");
}

TEST(Layering, ContainersAreAProblemInTheLayersOnly) {
    EXPECT_NE(systemIncludeProblem("common/platform/vek_path.cpp", "vector"), "");
    EXPECT_EQ(systemIncludeProblem("common/platform/vek_path.cpp", "string_view"), "");
    EXPECT_EQ(systemIncludeProblem("common/platform/vek_path.cpp", "string.h"), "");
    EXPECT_EQ(systemIncludeProblem("tests/common/vek_path_test.cpp", "vector"), "");
}

TEST(Layering, IncludeLinesAreRecognized) {
    EXPECT_EQ(includeOf("#include \"common/vek.h\""), "\"common/vek.h");
    EXPECT_EQ(includeOf("  #  include <string>  // why"), "<string");
    EXPECT_EQ(includeOf("// #include \"common/vek.h\""), "");
    EXPECT_EQ(includeOf("#define X"), "");
}
