#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/child.h"

namespace fs = std::filesystem;

namespace {

using Names = std::set<std::string>;

std::string contentOf(const fs::path &path) {
    std::ifstream stream(path);
    EXPECT_TRUE(stream) << path;
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

// The names that a header declares with VEK_API.
Names declaredIn(const std::string &text) {
    static const std::regex comment(R"(//[^\n]*|/\*[\s\S]*?\*/)");
    static const std::regex declaration(R"(\bVEK_API\b([^;{]*)[;{])");
    static const std::regex name(R"((\w+)\s*(\(|\[|$))");
    const std::string code = std::regex_replace(text, comment, " ");
    Names names;
    for (std::sregex_iterator at(code.begin(), code.end(), declaration), end; at != end; ++at) {
        const std::string declared = (*at)[1];
        std::smatch found;
        if (std::regex_search(declared, found, name)) {
            names.insert(found[1]);
        }
    }
    return names;
}

Names wordsOf(const std::string &text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), std::istream_iterator<std::string>()};
}

Names declared() {
    Names names;
    for (const std::string &folder : wordsOf(VEK_TEST_LAYERS)) {
        for (const fs::directory_entry &entry :
             fs::recursive_directory_iterator(fs::path(VEK_TEST_SOURCE_DIR) / folder)) {
            if (entry.path().extension() == ".h" && entry.path().filename() != "vek_api.h") {
                names.merge(declaredIn(contentOf(entry.path())));
            }
        }
    }
    return names;
}

Names exported() {
    const test::Outcome outcome =
        test::run({"nm", "--dynamic", "--defined-only", "--format=just-symbols", VEK_TEST_SHARED_LIBRARY});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return wordsOf(outcome.out);
}

std::string difference(const Names &from, const Names &without) {
    std::string names;
    for (const std::string &name : from) {
        names += without.contains(name) ? "" : " " + name;
    }
    return names;
}

} // namespace

TEST(ExportedNames, MatchTheList) {
    const Names listed = wordsOf(contentOf(VEK_TEST_SOURCE_DIR "/tests/structure/exported_names.txt"));
    const Names actual = exported();

    EXPECT_EQ(difference(actual, listed), "")
        << "exported, not listed; scripts/update-exports writes the list";
    EXPECT_EQ(difference(listed, actual), "") << "listed, not exported";
    EXPECT_TRUE(actual.contains("vekInit"));
}

TEST(ExportedNames, MatchTheHeaders) {
    const Names names = declared();
    const Names actual = exported();

    EXPECT_EQ(difference(actual, names), "") << "exported, not declared with VEK_API";
    EXPECT_EQ(difference(names, actual), "") << "declared with VEK_API, not exported";
}

TEST(ExportedNames, DeclarationsAreRecognized) {
    EXPECT_EQ(declaredIn("VEK_API int vekOne(const char *path);\n"
                         "/// VEK_API int vekComment(void);\n"
                         "VEK_API extern const int vek_map[32];\n"
                         "VEK_API char **vekTwo(char **list,\n    int (*compare)(int));\n"
                         "VEK_API extern int vekCount;\n"
                         "int vekInner(void);\n"),
              (Names{"vekOne", "vek_map", "vekTwo", "vekCount"}));
}
