// rynGetPath(): every mode with every combination of directories.

#include "tests/libdef/project_support.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>

namespace faults = test::faults;
using test::Existence;
using test::Names;
using test::Project;
using test::recorded;
using test::Reports;

namespace {

constexpr Names kObject = {"c", "v", "f"};

/// The result of rynGetPath(): the short path ("l/c" for the cell c in the library's own directory), or the code.
std::string getPath(const Project &project, unsigned mode, const Names &names = kObject) {
    std::array<char, VEK_PATH_SIZE> path = {};
    const int status =
        rynGetPath(project.handle, mode, "lib", names.cell, names.view, names.file, path.data(), path.size());
    return status == 0 ? project.shortened(path.data()) : std::to_string(status);
}

/// One case: the directories of the library, where the object is, and where it is found.
struct Row {
    const char *temporaries;
    const char *places;
    std::string found; ///< the letter of a directory, or a code
};

void expectRows(unsigned mode, Existence existence, const std::vector<Row> &rows) {
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string(row.temporaries) + ", object in " + row.places);
        Project project(row.temporaries, existence);
        project.put(row.places, "c/v/f");
        const bool isPlace = row.found.find_first_of("lie") != std::string::npos;
        EXPECT_EQ(getPath(project, mode), row.found + (isPlace ? "/c/v/f" : ""));
        EXPECT_EQ(recorded.fatals, Reports{});
    }
}

void expectRowsInBoth(unsigned mode, const std::vector<Row> &rows) {
    expectRows(mode, Existence::Checked, rows);
    expectRows(mode, Existence::Unchecked, rows);
}

/// Cases with the same result for RYN_PATH_REPLACE and RYN_PATH_REPLACE_EXPLICIT.
const std::vector<Row> kReplaceRows = {
    {"", "l", "l"},    {"", "", "6"},   {"E", "e", "e"},    {"E", "el", "e"},
    {"E", "", "6"},    {"I", "i", "i"}, {"I", "il", "i"},   {"I", "l", "l"},
    {"I", "", "6"},    {"O", "i", "i"}, {"O", "l", "6"},    {"IE", "iel", "i"},
    {"IE", "el", "e"}, {"IE", "", "6"}, {"OE", "iel", "i"}, {"OE", "el", "6"},
};

} // namespace

// ---- RYN_PATH_READ, RYN_PATH_READ_TMP, RYN_PATH_READ_LIBRARY

TEST(GetPathToRead, TriesImplicitThenExplicitThenLibrary) {
    expectRows(RYN_PATH_READ, Existence::Checked,
               {{"", "l", "l"},
                {"", "ie", "6"},
                {"E", "e", "e"},
                {"E", "el", "e"},
                {"E", "l", "l"},
                {"E", "i", "6"},
                {"I", "i", "i"},
                {"I", "il", "i"},
                {"I", "l", "l"},
                {"I", "e", "6"},
                {"IE", "iel", "i"},
                {"IE", "el", "e"},
                {"IE", "l", "l"},
                {"IE", "", "6"},
                {"O", "i", "i"},
                {"O", "l", "6"},
                {"OE", "iel", "i"},
                {"OE", "el", "6"}});
}

TEST(GetPathToRead, UsesTheFirstDirectoryIfPathsNeedNotExist) {
    for (const char *places : {"", "iel", "l"}) {
        expectRows(RYN_PATH_READ, Existence::Unchecked,
                   {{"", places, "l"},
                    {"E", places, "e"},
                    {"I", places, "i"},
                    {"IE", places, "i"},
                    {"O", places, "i"},
                    {"OE", places, "i"}});
    }
}

TEST(GetPathToRead, ContinuesIfTheExplicitDirectoryLacksTheObject) {
    for (const char *directory : {"c", "c/v", ""}) {
        Project project("E");
        project.put("l", "c/v/f");
        project.putDirectory("e", directory);
        EXPECT_EQ(getPath(project, RYN_PATH_READ), "l/c/v/f") << directory;
    }
}

TEST(GetPathToRead, EndsAtOtherFailuresOfTheExplicitDirectory) {
    {
        Project project("E");
        project.put("l", "c/v/f");
        rmdir("etmp");
        EXPECT_EQ(getPath(project, RYN_PATH_READ), "4");
        EXPECT_EQ(getPath(project, RYN_PATH_READ_TMP), "4");
    }
    Project project("E");
    project.put("l", "c/v/f");
    project.put("e", "c");
    EXPECT_EQ(getPath(project, RYN_PATH_READ), "3");
    EXPECT_EQ(getPath(project, RYN_PATH_READ_TMP), "3");
}

TEST(GetPathToRead, ContinuesAfterAFailureOfTheImplicitDirectory) {
    Project project("IE");
    project.put("l", "c/v/f");
    rmdir("itmp/lib");
    EXPECT_EQ(getPath(project, RYN_PATH_READ), "l/c/v/f");
    project.put("e", "c/v/f");
    EXPECT_EQ(getPath(project, RYN_PATH_READ), "e/c/v/f");
    EXPECT_EQ(getPath(project, RYN_PATH_READ_TMP), "e/c/v/f");
}

TEST(GetPathToRead, EndsAtTheImplicitDirectoryWithImplicitOnly) {
    Project project("OE");
    project.put("el", "c/v/f");
    project.putDirectory("i", "c");
    EXPECT_EQ(getPath(project, RYN_PATH_READ), "7");
    EXPECT_EQ(getPath(project, RYN_PATH_READ_TMP), "7");
    rmdir("itmp/lib/c");
    rmdir("itmp/lib");
    EXPECT_EQ(getPath(project, RYN_PATH_READ), "4");
}

TEST(GetPathToRead, ReadTmpNeverUsesTheLibrary) {
    expectRows(RYN_PATH_READ_TMP, Existence::Checked,
               {{"", "iel", "4"},
                {"E", "e", "e"},
                {"E", "l", "6"},
                {"I", "i", "i"},
                {"I", "el", "6"},
                {"IE", "iel", "i"},
                {"IE", "el", "e"},
                {"IE", "l", "6"},
                {"O", "i", "i"},
                {"O", "l", "6"},
                {"OE", "iel", "i"},
                {"OE", "el", "6"}});
    expectRows(RYN_PATH_READ_TMP, Existence::Unchecked,
               {{"", "l", "4"}, {"E", "l", "e"}, {"I", "", "i"}, {"IE", "e", "i"}, {"OE", "e", "i"}});
}

TEST(GetPathToRead, ReadTmpReturnsTheLastFailure) {
    Project project("IE");
    project.putDirectory("i", "c/v");
    EXPECT_EQ(getPath(project, RYN_PATH_READ_TMP), "6");
    project.putDirectory("e", "c");
    EXPECT_EQ(getPath(project, RYN_PATH_READ_TMP), "7");
}

TEST(GetPathToRead, ReadLibraryNeverUsesATemporaryDirectory) {
    for (const char *temporaries : {"", "E", "I", "IE", "O", "OE"}) {
        expectRows(RYN_PATH_READ_LIBRARY, Existence::Checked,
                   {{temporaries, "iel", "l"}, {temporaries, "l", "l"}, {temporaries, "ie", "6"}});
        expectRows(RYN_PATH_READ_LIBRARY, Existence::Unchecked,
                   {{temporaries, "iel", "l"}, {temporaries, "", "l"}});
    }
}

// ---- RYN_PATH_WRITE, RYN_PATH_WRITE_TMP, RYN_PATH_WRITE_LIBRARY

TEST(GetPathToWrite, UsesOneDirectoryAndCreatesWhatIsMissing) {
    struct Written {
        unsigned mode;
        const char *temporaries;
        char place;
    };
    for (const Existence existence : {Existence::Checked, Existence::Unchecked}) {
        for (const Written &written :
             {Written{RYN_PATH_WRITE, "", 'l'}, Written{RYN_PATH_WRITE, "E", 'e'},
              Written{RYN_PATH_WRITE, "I", 'i'}, Written{RYN_PATH_WRITE, "IE", 'i'},
              Written{RYN_PATH_WRITE, "O", 'i'}, Written{RYN_PATH_WRITE, "OE", 'i'},
              Written{RYN_PATH_WRITE_TMP, "E", 'e'}, Written{RYN_PATH_WRITE_TMP, "I", 'i'},
              Written{RYN_PATH_WRITE_TMP, "IE", 'i'}, Written{RYN_PATH_WRITE_TMP, "OE", 'i'},
              Written{RYN_PATH_WRITE_LIBRARY, "", 'l'}, Written{RYN_PATH_WRITE_LIBRARY, "IE", 'l'},
              Written{RYN_PATH_WRITE_LIBRARY, "OE", 'l'}}) {
            SCOPED_TRACE(std::to_string(written.mode) + written.temporaries);
            Project project(written.temporaries, existence);
            EXPECT_EQ(getPath(project, written.mode), written.place + std::string("/c/v/f"));
            for (const char place : {'l', 'e', 'i'}) {
                EXPECT_EQ(project.box.exists(Project::directoryOf(place) + "/c/v"), place == written.place);
            }
            EXPECT_FALSE(project.box.exists(Project::directoryOf(written.place) + "/c/v/f"));
        }
    }
}

TEST(GetPathToWrite, TriesTheFirstDirectoryOnly) {
    for (const unsigned mode : {RYN_PATH_WRITE, RYN_PATH_WRITE_TMP}) {
        for (const char *temporaries : {"IE", "OE", "E"}) {
            SCOPED_TRACE(temporaries);
            Project project(temporaries);
            project.put("l", "c/v/f");
            if (temporaries[0] != 'E') {
                project.put("e", "c/v/f");
                rmdir("itmp/lib");
            } else {
                rmdir("etmp");
            }
            EXPECT_EQ(getPath(project, mode), "4");
        }
    }
}

TEST(GetPathToWrite, WriteTmpNeedsATemporaryDirectory) {
    Project project;
    EXPECT_EQ(getPath(project, RYN_PATH_WRITE_TMP), "4");
    EXPECT_EQ(project.box.list("lib"), std::vector<std::string>{});
}

// ---- RYN_PATH_REPLACE and the modes after it

TEST(GetPathToReplace, TriesImplicitThenExplicitThenLibrary) {
    expectRowsInBoth(RYN_PATH_REPLACE, kReplaceRows);
    expectRowsInBoth(RYN_PATH_REPLACE, {{"E", "l", "l"}, {"IE", "l", "l"}});
}

TEST(GetPathToReplace, ContinuesAfterAFailureOfTheExplicitDirectory) {
    Project project("E");
    project.put("l", "c/v/f");
    rmdir("etmp");
    EXPECT_EQ(getPath(project, RYN_PATH_REPLACE), "l/c/v/f");
}

TEST(GetPathToReplace, ReplaceExplicitEndsAtTheExplicitDirectory) {
    expectRowsInBoth(RYN_PATH_REPLACE_EXPLICIT, kReplaceRows);
    expectRowsInBoth(RYN_PATH_REPLACE_EXPLICIT, {{"E", "l", "6"}, {"IE", "l", "6"}});
    Project project("E");
    project.put("l", "c/v/f");
    rmdir("etmp");
    EXPECT_EQ(getPath(project, RYN_PATH_REPLACE_EXPLICIT), "4");
}

TEST(GetPathToReplace, ReplaceTmpNeverUsesTheLibrary) {
    expectRowsInBoth(RYN_PATH_REPLACE_TMP, {{"", "iel", "4"},
                                            {"E", "e", "e"},
                                            {"E", "l", "6"},
                                            {"I", "i", "i"},
                                            {"I", "l", "6"},
                                            {"IE", "iel", "i"},
                                            {"IE", "e", "e"},
                                            {"IE", "l", "6"},
                                            {"O", "i", "i"},
                                            {"O", "el", "6"},
                                            {"OE", "i", "i"},
                                            {"OE", "el", "6"}});
}

TEST(GetPathToReplace, ReplaceTmpReturnsTheLastFailure) {
    Project project("IE");
    project.putDirectory("i", "c/v");
    project.putDirectory("e", "c");
    EXPECT_EQ(getPath(project, RYN_PATH_REPLACE_TMP), "7");
}

TEST(GetPathToReplace, ReplaceLibraryUsesTheLibraryOnly) {
    for (const char *temporaries : {"", "E", "I", "IE", "O", "OE"}) {
        expectRowsInBoth(RYN_PATH_REPLACE_LIBRARY,
                         {{temporaries, "iel", "l"}, {temporaries, "ie", "6"}, {temporaries, "l", "l"}});
    }
}

TEST(GetPathToReplace, FindsABrokenLink) {
    Project project;
    project.box.link("lib/c", "nowhere");
    EXPECT_EQ(getPath(project, RYN_PATH_REPLACE_LIBRARY, {"c", nullptr, nullptr}), "l/c");
    EXPECT_EQ(getPath(project, RYN_PATH_READ_LIBRARY, {"c", nullptr, nullptr}), "6");
}

// ---- names

TEST(GetPath, JoinsTheNamesThatAreGiven) {
    Project project("", Existence::Unchecked);
    EXPECT_EQ(getPath(project, 4, {nullptr, nullptr, nullptr}), "l");
    EXPECT_EQ(getPath(project, 4, {"", "", ""}), "l");
    EXPECT_EQ(getPath(project, 4, {"c", nullptr, nullptr}), "l/c");
    EXPECT_EQ(getPath(project, 4, {"c", "v", ""}), "l/c/v");
    EXPECT_EQ(getPath(project, 4, {"c", "", "f"}), "l/c/f");
    EXPECT_EQ(getPath(project, 4, {nullptr, nullptr, "f"}), "l/f");
    EXPECT_EQ(getPath(project, 4, {"c", "v", "a/b"}), "l/c/v/a/b");
}

TEST(GetPath, ViewWithoutCellIsInvalidPath) {
    Project project;
    for (unsigned mode = 0; mode <= RYN_PATH_REPLACE_LIBRARY; ++mode) {
        const std::string code = mode == 2 || mode == 3 || mode == 8 ? "4" : "20";
        EXPECT_EQ(getPath(project, mode, {nullptr, "v", nullptr}), code) << mode;
        EXPECT_EQ(getPath(project, mode, {"", "v", "f"}), code) << mode;
    }
}

TEST(GetPath, LimitIs4092CharactersWithoutSeparators) {
    Project project("", Existence::Unchecked);
    const std::size_t room = 4092 - project.path("lib").size();
    const std::string longest(room, 'c');
    EXPECT_EQ(getPath(project, 4, {longest.c_str(), nullptr, nullptr}), "l/" + longest);
    EXPECT_EQ(getPath(project, 4, {(longest + "c").c_str(), nullptr, nullptr}), "20");
    const std::string split(room - 2, 'c');
    EXPECT_EQ(getPath(project, 4, {split.c_str(), "v", "f"}), "l/" + split + "/v/f");
    EXPECT_EQ(getPath(project, 4, {(split + "c").c_str(), "v", "f"}), "20");
    for (const std::size_t length : {4095U, 4096U, 4097U, 100'000U}) {
        EXPECT_EQ(getPath(project, 4, {std::string(length, 'c').c_str(), nullptr, nullptr}), "20");
    }
}

TEST(GetPath, FindsNamesOf255Bytes) {
    Project project;
    const std::string name(255, 'n');
    project.put("l", name + "/" + name + "/" + name);
    EXPECT_EQ(getPath(project, 0, {name.c_str(), name.c_str(), name.c_str()}),
              "l/" + name + "/" + name + "/" + name);
    EXPECT_EQ(getPath(project, 0, {(name + "n").c_str(), nullptr, nullptr}), "3");
}

// ---- the buffer

TEST(GetPath, BufferMustHoldTheNul) {
    Project project;
    const std::string wanted = project.path("lib");
    std::vector<char> buffer(wanted.size() + 2, '#');
    const auto get = [&](std::size_t size) {
        return rynGetPath(project.handle, 4, "lib", nullptr, nullptr, nullptr, buffer.data(), size);
    };
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, wanted.size() - 1, wanted.size()}) {
        EXPECT_EQ(get(size), RYN_BUFFER_TOO_SMALL) << size;
        EXPECT_EQ(buffer, std::vector<char>(wanted.size() + 2, '#'));
    }
    EXPECT_EQ(get(wanted.size() + 1), 0);
    EXPECT_EQ(std::string(buffer.data()), wanted);
    EXPECT_EQ(buffer.back(), '#');
    EXPECT_EQ(recorded.fatals, Reports{});
}

// ---- arguments

TEST(GetPath, ReportsAnUnknownMode) {
    Project project;
    for (const unsigned mode : {10U, 11U, 0x80000000U, 0xffffffffU}) {
        recorded.fatals.clear();
        EXPECT_EQ(getPath(project, mode), "22");
        EXPECT_EQ(recorded.fatals, (Reports{{22, "rynGetPath() - 2", "rynGetPath() - 2"}}));
    }
}

TEST(GetPath, ChecksTheLibraryBeforeTheMode) {
    Project project;
    std::array<char, VEK_PATH_SIZE> path = {};
    for (const unsigned mode : {0U, 4U, 10U}) {
        EXPECT_EQ(
            rynGetPath(project.handle, mode, "other", nullptr, nullptr, nullptr, path.data(), path.size()),
            RYN_LIBRARY_NOT_DEFINED);
        EXPECT_EQ(rynGetPath(project.handle, mode, "", nullptr, nullptr, nullptr, path.data(), path.size()),
                  RYN_LIBRARY_NOT_DEFINED);
    }
    EXPECT_EQ(recorded.fatals, Reports{});
}

TEST(GetPath, ReportsMissingArguments) {
    Project project;
    std::array<char, VEK_PATH_SIZE> path = {};
    const Reports report = {{22, "rynGetPath()", "rynGetPath()"}};
    EXPECT_EQ(rynGetPath(project.handle, 0, nullptr, nullptr, nullptr, nullptr, path.data(), path.size()),
              RYN_INVALID_PARAMETER);
    EXPECT_EQ(recorded.fatals, report);
    recorded.fatals.clear();
    EXPECT_EQ(rynGetPath(project.handle, 0, "other", nullptr, nullptr, nullptr, nullptr, 10),
              RYN_INVALID_PARAMETER);
    EXPECT_EQ(recorded.fatals, report);
}

TEST(GetPath, NullHandleIsTheDefaultHandle) {
    Project project;
    std::array<char, VEK_PATH_SIZE> path = {};
    EXPECT_EQ(rynGetPath(nullptr, 4, "lib", nullptr, nullptr, nullptr, path.data(), path.size()), RYN_OK);
    EXPECT_EQ(project.path("lib"), path.data());
    project.release();
    recorded.fatals.clear();
    EXPECT_EQ(rynGetPath(nullptr, 4, "lib", nullptr, nullptr, nullptr, path.data(), path.size()),
              RYN_INVALID_PARAMETER);
    EXPECT_EQ(recorded.fatals, (Reports{{22, "rynGetPath()", "rynGetPath()"}}));
}

// ---- packed libraries

TEST(GetPathOfPackedLibrary, ModesThatUseTheLibraryAreNotSupported) {
    for (const unsigned support : {0U, unsigned{RYN_FLAG_PACKED_LIBRARIES}}) {
        for (const char *temporaries : {"", "IE"}) {
            Project project(temporaries, Existence::Checked, support);
            project.put("iel", "c/v/f");
            project.pack("lib.pack");
            for (const unsigned mode : {0U, 1U, 4U, 5U, 6U, 7U, 9U, 10U, 0xffffffffU}) {
                EXPECT_EQ(getPath(project, mode), "36") << mode;
            }
        }
    }
    EXPECT_EQ(recorded.fatals, Reports{});
}

TEST(GetPathOfPackedLibrary, UsesTemporaryDirectories) {
    for (const unsigned mode : {2U, 3U, 8U}) {
        {
            Project project("IE");
            project.put("iel", "c/v/f");
            project.pack("lib.pack");
            EXPECT_EQ(getPath(project, mode), "i/c/v/f") << mode;
        }
        Project project;
        project.put("l", "c/v/f");
        project.pack("lib.pack");
        EXPECT_EQ(getPath(project, mode), "4") << mode;
    }
}

// ---- permissions

TEST(GetPathWithoutPermission, ReturnsTheDeniedLevel) {
    struct Refused {
        const char *closed; ///< in the library
        unsigned mode;
        Names names;
        const char *code;
    };
    for (const Refused &refused : {
             Refused{"", 4, {nullptr, nullptr, nullptr}, "12"},
             Refused{"", 4, {"c", nullptr, nullptr}, "12"},
             Refused{"", 4, {"c", "v", "f"}, "12"},
             Refused{"/c", 4, {"c", nullptr, nullptr}, "13"},
             Refused{"/c", 4, {"c", "v", nullptr}, "13"},
             Refused{"/c/v", 4, {"c", "v", nullptr}, "14"},
             Refused{"/c/v", 4, {"c", "v", "f"}, "14"},
             Refused{"/c/v/f", 4, {"c", "v", "f"}, "15"},
             Refused{"", 5, {nullptr, nullptr, nullptr}, "12"},
             Refused{"", 5, {"c", "v", "f"}, "12"},
             Refused{"/c", 5, {"c", nullptr, nullptr}, "12"},
             Refused{"/c/v/f", 5, {"c", "v", "f"}, "12"},
             // Replace: the directory above the object must be writable.
             Refused{"", 9, {nullptr, nullptr, nullptr}, "11"},
             Refused{"/c", 9, {"c", nullptr, nullptr}, "12"},
             Refused{"/c/v", 9, {"c", "v", nullptr}, "13"},
             Refused{"/c/v/f", 9, {"c", "v", "f"}, "14"},
             // An object that lstat() cannot reach has the code of the outermost denied level.
             Refused{"", 9, {"c", "v", "f"}, "11"},
             Refused{"/c", 9, {"c", "v", "f"}, "12"},
             Refused{"/c/v", 9, {"c", "v", "f"}, "13"},
         }) {
        SCOPED_TRACE(std::string(refused.closed) + " " + std::to_string(refused.mode));
        Project project;
        project.put("l", "c/v/f");
        for (const char *directory : {"", "lib", "lib/c", "lib/c/v"}) {
            project.box.directory(directory, 0555);
        }
        chmod(("lib" + std::string(refused.closed)).c_str(), 0);
        Project::asUnprivileged(
            [&] { EXPECT_EQ(getPath(project, refused.mode, refused.names), refused.code); });
    }
}

TEST(GetPathWithoutPermission, DirectoryAboveTheLibraryIsPermissionDenied) {
    Project project;
    project.put("l", "c/v/f");
    project.box.directory("", 0);
    Project::asUnprivileged([&] {
        for (const Names &names : {Names{}, Names{"c", nullptr, nullptr}, kObject}) {
            EXPECT_EQ(getPath(project, RYN_PATH_READ_LIBRARY, names), "12");
            EXPECT_EQ(getPath(project, RYN_PATH_WRITE_LIBRARY, names), "12");
            // EACCES is not ENOENT: the object is not missing, and the code is that of its own level.
            EXPECT_EQ(getPath(project, RYN_PATH_REPLACE_LIBRARY, names), "3");
        }
    });
}

TEST(GetPathWithoutPermission, EndsAtADeniedExplicitDirectory) {
    Project project("E");
    project.put("el", "c/v/f");
    chmod("etmp/c", 0);
    Project::asUnprivileged([&] {
        EXPECT_EQ(getPath(project, RYN_PATH_READ), "13");
        EXPECT_EQ(getPath(project, RYN_PATH_READ_TMP), "13");
    });
}

TEST(GetPathWithoutPermission, ContinuesAfterADeniedImplicitDirectory) {
    Project project("I");
    project.put("il", "c/v/f");
    chmod("itmp/lib/c", 0);
    Project::asUnprivileged([&] {
        EXPECT_EQ(getPath(project, RYN_PATH_READ), "l/c/v/f");
        EXPECT_EQ(getPath(project, RYN_PATH_READ_TMP), "13");
    });
}

// ---- memory, stat cache and other errors

TEST(GetPath, AllocatesNothing) {
    Project project("IE");
    project.put("l", "c/v/f");
    faults::failAllocationsFrom(1);
    EXPECT_EQ(getPath(project, RYN_PATH_READ), "l/c/v/f");
    EXPECT_EQ(getPath(project, RYN_PATH_WRITE), "i/c/v/f");
    EXPECT_EQ(getPath(project, RYN_PATH_REPLACE), "l/c/v/f");
}

TEST(GetPath, ReturnsSameCodesFromStatCache) {
    Project project("E");
    project.putDirectory("e", "c");
    rynStatCacheCtl(1);
    for (int round = 0; round < 3; ++round) {
        errno = EACCES;
        EXPECT_EQ(getPath(project, RYN_PATH_READ), "6");
        errno = 0;
        EXPECT_EQ(getPath(project, RYN_PATH_READ_TMP), "7");
    }
    rynStatCacheCtl(0);
}

TEST(GetPath, OtherErrorsAreSystemErrors) {
    Project project;
    project.put("l", "c/v/f");
    faults::fail("stat", 1, EIO);
    EXPECT_EQ(getPath(project, 4), "3");
    faults::fail("lstat", 1, EIO);
    EXPECT_EQ(getPath(project, 9), "3");
}
