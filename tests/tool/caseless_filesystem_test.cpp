// The case probe, the tool's check and configuration, and edits, on a real case-insensitive file system.

#include "common/platform/vek_path.h"
#include "tagfile/tov.h"
#include "tests/support/caseless_filesystem.h"
#include "tests/support/child.h"
#include "tests/support/environment.h"
#include "tests/support/sandbox.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

using Names = std::set<std::string>;

std::string read(const std::string &path) {
    std::ifstream stream(path);
    EXPECT_TRUE(stream) << path;
    std::ostringstream content;
    content << stream.rdbuf();
    return content.str();
}

void write(const std::string &path, const std::string &content) {
    std::ofstream stream(path);
    stream << content << std::flush;
    EXPECT_TRUE(stream) << path;
}

Names namesIn(const std::string &directory) {
    Names names;
    for (const fs::directory_entry &entry : fs::directory_iterator(directory)) {
        names.insert(entry.path().filename());
    }
    return names;
}

/// @return the lines of a tag file except comments and empty lines
std::set<std::string> settingsIn(const std::string &path) {
    std::istringstream lines(read(path));
    std::set<std::string> settings;
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && line.front() != '#') {
            EXPECT_TRUE(settings.insert(line).second) << line << " is in the file twice";
        }
    }
    return settings;
}

/// Runs vekinfo in `directory`, where its vek.lib is.
test::Outcome vekinfo(const std::string &directory, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), VEK_TEST_VEKINFO);
    return test::run(arguments, {.directory = directory, .timeoutMs = 60000});
}

/// Expects that a run prints only `out` and that its status is 0.
void expectRun(const std::string &directory, const std::vector<std::string> &arguments,
               const std::string &out) {
    const test::Outcome outcome = vekinfo(directory, arguments);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, out);
    EXPECT_EQ(outcome.err, "");
}

} // namespace

TEST(CaselessProbe, IsInsensitiveUnderEverySpellingAndLeavesNoFile) {
    test::onCaselessFilesystem([](const std::string &directory) {
        fs::create_directory(directory + "/Lib");
        for (const char *path : {"", "/Lib", "/LIB", "/lib/none/x"}) {
            EXPECT_EQ(vekGetFilesysCaseSensitivity((directory + path).c_str()), VEK_CASE_INSENSITIVE) << path;
        }
        EXPECT_EQ(namesIn(directory), Names{"lib"});
        EXPECT_EQ(namesIn(directory + "/lib"), Names{});
    });
}

TEST(CaselessConfigure, WritesLibraryNTOnce) {
    test::onCaselessFilesystem([](const std::string &directory) {
        fs::create_directory(directory + "/Lib");
        write(directory + "/vek.lib", "DEFINE lib LIB\n");
        const std::string expected = "# The next line was written by the\n"
                                     "# vekinfo -configurelibrary command.\n"
                                     "VEKLIBRARY\n"
                                     "#\n"
                                     "# Directory " +
                                     directory +
                                     "/LIB is\n"
                                     "# determined to be NOT case sensitive, therefore\n"
                                     "# NAMESPACE is set to LibraryNT\n"
                                     "NAMESPACE LibraryNT\n";
        for (int runs = 0; runs < 2; ++runs) {
            expectRun(directory, {"-configurelibrary"}, "");
            EXPECT_EQ(read(directory + "/Lib/vekinfo.tag"), expected);
        }
        EXPECT_EQ(namesIn(directory + "/Lib"), Names{"vekinfo.tag"});
    });
}

TEST(CaselessConfigure, FindsTheTagFileUnderAnotherSpelling) {
    test::onCaselessFilesystem([](const std::string &directory) {
        fs::create_directory(directory + "/Lib");
        write(directory + "/vek.lib", "DEFINE lib lib\n");
        write(directory + "/Lib/VekInfo.Tag", "VEKLIBRARY\n");
        write(directory + "/Lib/DM.tag", "none\n");
        expectRun(directory, {"-configurelibrary"}, "");
        EXPECT_EQ(read(directory + "/Lib/vekinfo.tag"), "VEKLIBRARY\n");
    });
}

TEST(CaselessConfigure, FindsADmTagUnderAnotherSpelling) {
    test::onCaselessFilesystem([](const std::string &directory) {
        fs::create_directory(directory + "/lib");
        write(directory + "/vek.lib", "DEFINE lib lib\n");
        write(directory + "/lib/DM.Tag", "none\n");
        expectRun(directory, {"-configurelibrary"}, "");
        EXPECT_EQ(settingsIn(directory + "/lib/vekinfo.tag"),
                  (Names{"VEKLIBRARY", "DMTYPE none", "NAMESPACE LibraryNT"}));
    });
}

TEST(CaselessCheck, WarnsAboutTheWrongNamespaceOnly) {
    test::onCaselessFilesystem([](const std::string &directory) {
        for (const char *name : {"nt", "unix", "unset"}) {
            fs::create_directory(directory + "/" + name);
        }
        write(directory + "/vek.lib", "DEFINE nt NT\nDEFINE unix Unix\nDEFINE unset unset\n");
        write(directory + "/nt/VEKINFO.TAG", "VEKLIBRARY\nNAMESPACE LibraryNT\n");
        write(directory + "/unix/VEKINFO.TAG", "VEKLIBRARY\nNAMESPACE LibraryUnix\n");
        write(directory + "/unset/VEKINFO.TAG", "VEKLIBRARY\n");
        expectRun(directory, {"-checklibrary"},
                  "Warning: Library unix at " + directory +
                      "/Unix has incorrect namespace in vekinfo.tag file\n");
        EXPECT_EQ(namesIn(directory + "/unix"), Names{"vekinfo.tag"});
    });
}

TEST(CaselessCheck, ReportsARedundantTagFile) {
    test::onCaselessFilesystem([](const std::string &directory) {
        fs::create_directories(directory + "/lib/Cell");
        write(directory + "/vek.lib", "DEFINE lib LIB\n");
        write(directory + "/lib/Cell/VEKINFO.TAG", "");
        expectRun(directory, {"-checklibrary"},
                  "There is a redundant vekinfo.tag file in the subdir: \n\t" + directory + "/LIB/cell\n");
    });
}

TEST(CaselessCheck, LinkToAnAncestorUnderAnotherSpellingIsACycle) {
    test::onCaselessFilesystem([](const std::string &directory) {
        fs::create_directories(directory + "/lib/cell");
        fs::create_symlink(directory + "/LIB", directory + "/lib/cell/up");
        write(directory + "/vek.lib", "DEFINE lib lib\n");
        const test::Outcome outcome = vekinfo(directory, {"-checklibrary"});
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.out, "");
        EXPECT_NE(outcome.err.find("there seems to be a linkloop"), std::string::npos) << outcome.err;
    });
}

TEST(CaselessEdit, ChangesTheFileUnderItsOwnSpelling) {
    test::onCaselessFilesystem([](const std::string &directory) {
        fs::create_directory(directory + "/Lib");
        write(directory + "/Lib/VEKINFO.TAG", "DMTYPE pkm\n");
        expectRun(directory, {"-path", "LIB", "-addentry", "NAMESPACE", "LibraryNT"}, "");
        EXPECT_EQ(namesIn(directory + "/lib"), Names{"vekinfo.tag"});
        EXPECT_EQ(settingsIn(directory + "/lib/vekinfo.tag"), (Names{"DMTYPE pkm", "NAMESPACE LibraryNT"}));
        expectRun(directory, {"-path", "lib", "-clearentry", "DMTYPE"}, "");
        EXPECT_EQ(settingsIn(directory + "/lib/vekinfo.tag"), Names{"NAMESPACE LibraryNT"});
    });
}

TEST(CaselessEdit, SpellingsOfOneDirectoryKeepEachOthersEntries) {
    test::onCaselessFilesystem([](const std::string &directory) {
        fs::create_directory(directory + "/lib");
        const std::string lower = directory + "/lib";
        const std::string upper = directory + "/LIB";
        // From the third edit on, the object that is cached for this path is out of date.
        EXPECT_EQ(tovAddEntry(lower.c_str(), "DMTYPE", "pkm"), 1);
        EXPECT_EQ(tovAddEntry(upper.c_str(), "NAMESPACE", "LibraryNT"), 1);
        EXPECT_EQ(tovAddEntry(lower.c_str(), "VEKLIBCHECK", "ON"), 1);
        EXPECT_EQ(tovAddEntry(upper.c_str(), "VEKLIBRARY", ""), 1);
        EXPECT_EQ(settingsIn(lower + "/vekinfo.tag"),
                  (Names{"DMTYPE pkm", "NAMESPACE LibraryNT", "VEKLIBCHECK ON", "VEKLIBRARY"}));
        char *none = nullptr;
        EXPECT_EQ(tovCreateInfoFile(upper.c_str(), &none), 0) << "the file exists";
        tovResetCache();
    });
}

TEST(CaselessEdit, EditorsThroughTwoSpellingsAreSerialized) {
    test::onCaselessFilesystem([](const std::string &directory) {
        const std::array<std::array<const char *, 2>, 4> entries = {
            {{"DMTYPE", "pkm"}, {"NAMESPACE", "LibraryNT"}, {"VEKLIBCHECK", "ON"}, {"VEKLIBRARY", ""}}};
        for (int round = 0; round < 10; ++round) {
            const std::string name = "lib" + std::to_string(round);
            fs::create_directory(directory + "/" + name);
            std::vector<pid_t> editors;
            for (std::size_t i = 0; i < entries.size(); ++i) {
                const std::string spelled =
                    directory + (i % 2 == 0 ? "/LIB" : "/lib") + std::to_string(round);
                const pid_t editor = fork();
                ASSERT_GE(editor, 0);
                if (editor == 0) {
                    _exit(tovAddEntry(spelled.c_str(), entries[i][0], entries[i][1]) == 1 ? 0 : 1);
                }
                editors.push_back(editor);
            }
            for (const pid_t editor : editors) {
                int status = -1;
                waitpid(editor, &status, 0);
                EXPECT_EQ(status, 0);
            }
            EXPECT_EQ(settingsIn(directory + "/" + name + "/vekinfo.tag"),
                      (Names{"DMTYPE pkm", "NAMESPACE LibraryNT", "VEKLIBCHECK ON", "VEKLIBRARY"}))
                << round;
        }
    });
}
