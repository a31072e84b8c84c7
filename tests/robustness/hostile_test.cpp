// Hostile names and contents: paths, files and arguments are data only.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/platform/vek_file.h"
#include "common/platform/vek_path.h"
#include "tests/robustness/in_memory.h"
#include "tests/robustness/world.h"
#include "tests/support/child.h"
#include "tests/support/sandbox.h"

namespace {

using Strings = std::vector<std::string>;

/// Hostile names. None contains "/" or NUL, so each is a valid file name.
const Strings &hostileNames() {
    static const Strings names = {
        "new\nline",
        "back\rspace\b\b\b",
        "\x1b[2J\x1b]0;title\a",
        R"('single' "double" `back`)",
        "%n%n%s%s%x%99999d%*d",
        "invalid \xff\xfe\xc0\x80 utf",
        std::string(255, 'n'),
        "$(reboot) ${HOME} $HOME ~root ~",
        "; rm -rf . & | > out < in",
        " leading and trailing ",
        "# comment",
        "@LIBRARY",
        R"(\n\0\)",
        "*?[a-z]",
    };
    return names;
}

/// A directory that contains hostile names.
class Hostile {
  public:
    explicit Hostile(std::string hostileName) : name(std::move(hostileName)) {
        box.file("vekinfo.tag", "SIZE large\nVEKLIBCHECK ON\n").directory("home");
    }

    /// Runs the tool and expects it to exit with a documented status.
    test::Outcome
    vekinfo(const Strings &arguments) const { // NOLINT(modernize-use-nodiscard): it checks by itself
        Strings line = {VEK_TEST_VEKINFO};
        line.insert(line.end(), arguments.begin(), arguments.end());
        const test::ChildOptions options = {
            .environment = {{"PWD", box.path()}, {"HOME", box.path("home")}, {"PATH", "/usr/bin:/bin"}},
            .directory = box.path()};
        test::Outcome outcome = test::run(line, options);
        EXPECT_EQ(outcome.signal, 0) << arguments[0] << " " << name << outcome.err;
        EXPECT_FALSE(outcome.timedOut) << arguments[0] << " " << name;
        EXPECT_TRUE(outcome.status == 0 || outcome.status == 1) << outcome.status << name << outcome.err;
        return outcome;
    }

    std::string name;
    test::InMemory inMemory;
    test::Sandbox box;
};

} // namespace

namespace {

/// Whether a name is one word of a tag file, and no comment.
bool isWord(const std::string &name) {
    return name.find_first_of(" \t\n\v\f\r") == std::string::npos && !name.starts_with("#") &&
           !name.starts_with(";");
}

bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

} // namespace

TEST(HostileNames, WorkAsDirectoryNames) {
    for (const std::string &name : hostileNames()) {
        Hostile hostile(name);
        hostile.box.file(name + "/vekinfo.tag", "DMTYPE none\n");
        for (const Strings &action :
             {Strings{"-show"}, Strings{"-lookup", "DMTYPE"}, Strings{"-v", "-checklibrary"},
              Strings{"-addentry", "NAMESPACE", "LibraryNT"}, Strings{"-clearentry", "DMTYPE"}}) {
            Strings arguments = {"-path", name};
            arguments.insert(arguments.end(), action.begin(), action.end());
            const test::Outcome outcome = hostile.vekinfo(arguments);
            // References in a path are replaced.
            if (action[0] == "-lookup" && !contains(name, "$")) {
                EXPECT_TRUE(contains(outcome.out, "DMTYPE none")) << name << outcome.out;
            }
        }
        // An edit uses the name of the directory unchanged.
        const std::string edited = hostile.box.read(name + "/vekinfo.tag");
        EXPECT_TRUE(edited.ends_with("Current Settings:\n#\nNAMESPACE LibraryNT\n")) << edited;
        Strings expected = {name, "home", "vekinfo.tag"};
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(hostile.box.list(), expected);
    }
}

TEST(HostileNames, AreEntryNamesAndValues) {
    for (const std::string &name : hostileNames()) {
        Hostile hostile(name);
        EXPECT_EQ(hostile.vekinfo({"-addentry", name, name}).status, 0) << name;
        EXPECT_TRUE(contains(hostile.box.read("vekinfo.tag"), "\n" + name + " " + name + "\n"))
            << "what is given is written, and nothing else: " << name;
        const test::Outcome outcome = hostile.vekinfo({"-lookup", name});
        EXPECT_TRUE(!isWord(name) || contains(outcome.out, name + " " + name)) << name << outcome.out;
        hostile.vekinfo({"-show"});
        hostile.vekinfo({"-clearentry", name});
        EXPECT_EQ(hostile.box.list(), (Strings{"home", "vekinfo.tag"}));
    }
}

TEST(HostileNames, AreValuesInFiles) {
    for (const std::string &name : hostileNames()) {
        Hostile hostile(name);
        hostile.box.file("vekinfo.tag",
                         "VEKLIBRARY " + name + "\nDMTYPE " + name + "\n" + name + " " + name + "\n");
        hostile.vekinfo({"-show"});
        hostile.vekinfo({"-lookup", "DMTYPE", name});
        hostile.vekinfo({"-addentry", "SIZE", "1"});
        if (isWord(name)) {
            // An edit of a keyword keeps the rest.
            hostile.box.file("vekinfo.tag", "DMTYPE " + name + "\n" + name + " " + name + "\n");
            hostile.vekinfo({"-addentry", "NAMESPACE", "LibraryNT"});
            const std::string kept =
                "\nDMTYPE " + name + "\nNAMESPACE LibraryNT\n" + name + " " + name + "\n";
            const std::string edited = hostile.box.read("vekinfo.tag");
            EXPECT_TRUE(edited.ends_with(kept)) << name << edited;
        }
    }
}

TEST(HostileNames, ArePrintedUnchanged) {
    Hostile hostile("%n%s\x1b[2J\xff");
    hostile.box.file("vekinfo.tag", "DMTYPE " + hostile.name + "\n");
    const test::Outcome outcome = hostile.vekinfo({"-lookup", "DMTYPE"});
    EXPECT_NE(outcome.out.find("DMTYPE " + hostile.name), std::string::npos) << outcome.out;
}

TEST(HostileNames, AreLibraries) {
    for (const std::string &name : hostileNames()) {
        Hostile hostile(name);
        hostile.box.file("lib/" + name + "/vekinfo.tag", "SIZE small\n")
            .file("vek.lib", "DEFINE lib lib\nDEFINE " + name + " lib/" + name + "\nASSIGN lib " + name +
                                 " " + name + "\nINCLUDE " + name + "\n");
        hostile.vekinfo({"-v", "-checklibrary"});
        hostile.vekinfo({"-v", "-configurelibrary"});
        EXPECT_EQ(hostile.box.list("lib/" + name), Strings{"vekinfo.tag"});
    }
}

TEST(HostileNames, AreOptionsThatDoNotExist) {
    for (const std::string &name : hostileNames()) {
        Hostile hostile(name);
        const test::Outcome outcome = hostile.vekinfo({"-" + name});
        EXPECT_EQ(outcome.status, 1) << outcome.err;
        EXPECT_EQ(outcome.out.find(name), std::string::npos)
            << "the usage text does not repeat what was wrong";
    }
}

// ---- formats

namespace {

namespace fs = std::filesystem;

/// The text of a source without its comments.
std::string code(const fs::path &path) {
    std::ifstream file(path);
    std::string text(std::istreambuf_iterator<char>(file), {});
    return std::regex_replace(text, std::regex("//[^\n]*"), "");
}

/// Calls of the printf family, vek::print() and vek::printError() in `text` whose format is no string literal. (`fprintf(file, FORMAT`.)
Strings formatsFromData(const std::string &text) {
    static const std::regex call(
        R"(\b((?:v|s|sn|vsn|f|vf|d|vd|as)?printf|strftime|vek::print|printError)\s*\(([^;]*))");
    static const std::regex literalFormat(R"re(^(?:[^",]*,){0,3}\s*")re");
    Strings found;
    for (std::sregex_iterator at(text.begin(), text.end(), call), end; at != end; ++at) {
        if (!std::regex_search((*at)[2].str(), literalFormat)) {
            found.push_back(at->str());
        }
    }
    return found;
}

} // namespace

TEST(Formats, FromDataAreDetected) {
    EXPECT_EQ(formatsFromData("printf(name);").size(), 1U);
    EXPECT_EQ(formatsFromData("std::fprintf(stderr, text);").size(), 1U);
    EXPECT_EQ(formatsFromData("std::snprintf(out, size,\n path);").size(), 1U);
    EXPECT_EQ(formatsFromData("vek::printError(text);").size(), 1U);
    EXPECT_EQ(formatsFromData("vek::print(stdout, text);").size(), 1U);
    EXPECT_EQ(formatsFromData("vek::print(stdout, \"%s\", text);").size(), 0U);
    EXPECT_EQ(formatsFromData("std::fprintf(stderr, \"%s\", text);").size(), 0U);
    EXPECT_EQ(formatsFromData("vek::printError(\"%s\", text);").size(), 0U);
    EXPECT_EQ(formatsFromData("std::snprintf(out, size,\n \"%s\", text);").size(), 0U);
}

TEST(Formats, AreAlwaysLiterals) {
    int sources = 0;
    for (const char *folder : {"common", "fs", "search", "tagfile", "libdef", "tool"}) {
        for (const fs::directory_entry &entry :
             fs::recursive_directory_iterator(fs::path(VEK_TEST_SOURCE_DIR) / folder)) {
            const std::string extension = entry.path().extension();
            const bool passesFormatOn = entry.path().stem() == "print"; // the compiler checks its callers
            if (!passesFormatOn && (extension == ".cpp" || extension == ".h")) {
                ++sources;
                EXPECT_EQ(formatsFromData(code(entry.path())), Strings()) << entry.path();
            }
        }
    }
    EXPECT_GT(sources, 100);
}

// ---- planted links

namespace {

class PlantedLink : public testing::Test {
  protected:
    PlantedLink() { box.file("victim", "precious\n").directory("shared"); }

    void expectUnharmed() const {
        EXPECT_EQ(box.read("victim"), "precious\n");
        EXPECT_FALSE(box.exists("elsewhere"));
    }

    test::Sandbox box;
};

} // namespace

TEST_F(PlantedLink, OfTheWritableTestIsNotFollowed) {
    box.link("shared/vekFileWritableTest", "../victim");
    EXPECT_EQ(vekFileWritable(box.path("shared").c_str()), 1);
    expectUnharmed();
    box.link("shared/vekFileWritableTest", "../elsewhere");
    EXPECT_EQ(vekFileWritable(box.path("shared").c_str()), 1);
    expectUnharmed();
    EXPECT_EQ(box.list("shared"), Strings());
}

TEST_F(PlantedLink, OfTheCaseProbeIsNotFollowed) {
    const std::string id = std::to_string(getpid());
    for (const char *target : {"../victim", "../elsewhere", "/dev/null", "/proc/self/status"}) {
        for (const char *name : {"shared/vekfscasesensitivity.", "shared/vekFsCaseSensitivity."}) {
            box.link(name + id, target);
            EXPECT_EQ(vekGetFilesysCaseSensitivity(box.path("shared").c_str()), VEK_CASE_UNKNOWN);
            expectUnharmed();
            unlink(box.path(name + id).c_str());
            EXPECT_EQ(box.list("shared"), Strings()) << name << target;
        }
    }
}

TEST_F(PlantedLink, HardLinkIsNotUsedByTheCaseProbe) {
    const std::string probe = box.path("shared/vekfscasesensitivity." + std::to_string(getpid()));
    ASSERT_EQ(::link(box.path("victim").c_str(), probe.c_str()), 0);
    EXPECT_EQ(vekGetFilesysCaseSensitivity(box.path("shared").c_str()), VEK_CASE_UNKNOWN);
    expectUnharmed();
}
