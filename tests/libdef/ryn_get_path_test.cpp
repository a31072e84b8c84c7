// rynGetPath(): every mode with every combination of directories.

#include "tests/libdef/project_support.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>

namespace faults = test::faults;
using test::ErrorReports;
using test::Existence;
using test::Names;
using test::Project;
using test::recorded;

namespace {

constexpr Names kObject = {"c", "v", "f"};

/// How getPath() shows a failure: the text of its code.
std::string failure(int code) {
    return rynGetErrorMsg(code);
}

/// The result of rynGetPath(): the short path ("l/c" for the cell c in the library's own directory), or the failure.
std::string getPath(const Project &project, unsigned mode, const Names &names = kObject) {
    std::array<char, VEK_PATH_SIZE> path = {};
    const int status =
        rynGetPath(project.handle, mode, "lib", names.cell, names.view, names.file, path.data(), path.size());
    return status == 0 ? project.shortened(path.data()) : failure(status);
}

/// One case: the directories of the library, where the object is, and where it is found.
struct Row {
    const char *temporaries;
    const char *directories;
    std::string found; ///< the letter of a directory, or a failure
};

const std::string kNoDirectory = failure(RYN_NO_SUCH_DIRECTORY);
const std::string kNoCell = failure(RYN_NO_SUCH_CELL);

void expectRows(unsigned mode, Existence existence, const std::vector<Row> &rows) {
    for (const Row &row : rows) {
        SCOPED_TRACE(std::string(row.temporaries) + ", object in " + row.directories);
        Project project(row.temporaries, existence);
        project.put(row.directories, "c/v/f");
        const bool isFound = row.found.size() == 1;
        EXPECT_EQ(getPath(project, mode), row.found + (isFound ? "/c/v/f" : ""));
        EXPECT_EQ(recorded.fatals, ErrorReports{});
    }
}

void expectRowsInBoth(unsigned mode, const std::vector<Row> &rows) {
    expectRows(mode, Existence::Checked, rows);
    expectRows(mode, Existence::Unchecked, rows);
}

/// Cases with the same result for RYN_PATH_REPLACE and RYN_PATH_REPLACE_EXPLICIT.
const std::vector<Row> kReplaceRows = {
    {"", "l", "l"},     {"", "", kNoCell},   {"E", "e", "e"},     {"E", "el", "e"},
    {"E", "", kNoCell}, {"I", "i", "i"},     {"I", "il", "i"},    {"I", "l", "l"},
    {"I", "", kNoCell}, {"O", "i", "i"},     {"O", "l", kNoCell}, {"IE", "iel", "i"},
    {"IE", "el", "e"},  {"IE", "", kNoCell}, {"OE", "iel", "i"},  {"OE", "el", kNoCell},
};

} // namespace

// ---- RYN_PATH_READ, RYN_PATH_READ_TMP, RYN_PATH_READ_LIBRARY

TEST(GetPathToRead, TriesImplicitThenExplicitThenLibrary) {
    expectRows(RYN_PATH_READ, Existence::Checked,
               {{"", "l", "l"},
                {"", "ie", kNoCell},
                {"E", "e", "e"},
                {"E", "el", "e"},
                {"E", "l", "l"},
                {"E", "i", kNoCell},
                {"I", "i", "i"},
                {"I", "il", "i"},
                {"I", "l", "l"},
                {"I", "e", kNoCell},
                {"IE", "iel", "i"},
                {"IE", "el", "e"},
                {"IE", "l", "l"},
                {"IE", "", kNoCell},
                {"O", "i", "i"},
                {"O", "l", kNoCell},
                {"OE", "iel", "i"},
                {"OE", "el", kNoCell}});
}

TEST(GetPathToRead, UsesTheFirstDirectoryIfPathsNeedNotExist) {
    for (const char *directories : {"", "iel", "l"}) {
        expectRows(RYN_PATH_READ, Existence::Unchecked,
                   {{"", directories, "l"},
                    {"E", directories, "e"},
                    {"I", directories, "i"},
                    {"IE", directories, "i"},
                    {"O", directories, "i"},
                    {"OE", directories, "i"}});
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
        EXPECT_EQ(getPath(project, RYN_PATH_READ), failure(RYN_NO_SUCH_DIRECTORY));
        EXPECT_EQ(getPath(project, RYN_PATH_READ_TMP), failure(RYN_NO_SUCH_DIRECTORY));
    }
    Project project("E");
    project.put("l", "c/v/f");
    project.put("e", "c");
    EXPECT_EQ(getPath(project, RYN_PATH_READ), failure(RYN_SYSTEM_ERROR));
    EXPECT_EQ(getPath(project, RYN_PATH_READ_TMP), failure(RYN_SYSTEM_ERROR));
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
    EXPECT_EQ(getPath(project, RYN_PATH_READ), failure(RYN_NO_SUCH_VIEW));
    EXPECT_EQ(getPath(project, RYN_PATH_READ_TMP), failure(RYN_NO_SUCH_VIEW));
    rmdir("itmp/lib/c");
    rmdir("itmp/lib");
    EXPECT_EQ(getPath(project, RYN_PATH_READ), failure(RYN_NO_SUCH_DIRECTORY));
}

TEST(GetPathToRead, ReadTmpNeverUsesTheLibrary) {
    expectRows(RYN_PATH_READ_TMP, Existence::Checked,
               {{"", "iel", kNoDirectory},
                {"E", "e", "e"},
                {"E", "l", kNoCell},
                {"I", "i", "i"},
                {"I", "el", kNoCell},
                {"IE", "iel", "i"},
                {"IE", "el", "e"},
                {"IE", "l", kNoCell},
                {"O", "i", "i"},
                {"O", "l", kNoCell},
                {"OE", "iel", "i"},
                {"OE", "el", kNoCell}});
    expectRows(
        RYN_PATH_READ_TMP, Existence::Unchecked,
        {{"", "l", kNoDirectory}, {"E", "l", "e"}, {"I", "", "i"}, {"IE", "e", "i"}, {"OE", "e", "i"}});
}

TEST(GetPathToRead, ReadTmpReturnsTheLastFailure) {
    Project project("IE");
    project.putDirectory("i", "c/v");
    EXPECT_EQ(getPath(project, RYN_PATH_READ_TMP), failure(RYN_NO_SUCH_CELL));
    project.putDirectory("e", "c");
    EXPECT_EQ(getPath(project, RYN_PATH_READ_TMP), failure(RYN_NO_SUCH_VIEW));
}

TEST(GetPathToRead, ReadLibraryNeverUsesATemporaryDirectory) {
    for (const char *temporaries : {"", "E", "I", "IE", "O", "OE"}) {
        expectRows(RYN_PATH_READ_LIBRARY, Existence::Checked,
                   {{temporaries, "iel", "l"}, {temporaries, "l", "l"}, {temporaries, "ie", kNoCell}});
        expectRows(RYN_PATH_READ_LIBRARY, Existence::Unchecked,
                   {{temporaries, "iel", "l"}, {temporaries, "", "l"}});
    }
}

// ---- RYN_PATH_WRITE, RYN_PATH_WRITE_TMP, RYN_PATH_WRITE_LIBRARY

TEST(GetPathToWrite, UsesOneDirectoryAndCreatesWhatIsMissing) {
    struct Written {
        unsigned mode;
        const char *temporaries;
        char letter;
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
            EXPECT_EQ(getPath(project, written.mode), written.letter + std::string("/c/v/f"));
            for (const char letter : {'l', 'e', 'i'}) {
                EXPECT_EQ(project.box.exists(Project::directoryOf(letter) + "/c/v"),
                          letter == written.letter);
            }
            EXPECT_FALSE(project.box.exists(Project::directoryOf(written.letter) + "/c/v/f"));
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
            EXPECT_EQ(getPath(project, mode), failure(RYN_NO_SUCH_DIRECTORY));
        }
    }
}

TEST(GetPathToWrite, WriteTmpNeedsATemporaryDirectory) {
    Project project;
    EXPECT_EQ(getPath(project, RYN_PATH_WRITE_TMP), failure(RYN_NO_SUCH_DIRECTORY));
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
    expectRowsInBoth(RYN_PATH_REPLACE_EXPLICIT, {{"E", "l", kNoCell}, {"IE", "l", kNoCell}});
    Project project("E");
    project.put("l", "c/v/f");
    rmdir("etmp");
    EXPECT_EQ(getPath(project, RYN_PATH_REPLACE_EXPLICIT), failure(RYN_NO_SUCH_DIRECTORY));
}

TEST(GetPathToReplace, ReplaceTmpNeverUsesTheLibrary) {
    expectRowsInBoth(RYN_PATH_REPLACE_TMP, {{"", "iel", kNoDirectory},
                                            {"E", "e", "e"},
                                            {"E", "l", kNoCell},
                                            {"I", "i", "i"},
                                            {"I", "l", kNoCell},
                                            {"IE", "iel", "i"},
                                            {"IE", "e", "e"},
                                            {"IE", "l", kNoCell},
                                            {"O", "i", "i"},
                                            {"O", "el", kNoCell},
                                            {"OE", "i", "i"},
                                            {"OE", "el", kNoCell}});
}

TEST(GetPathToReplace, ReplaceTmpReturnsTheLastFailure) {
    Project project("IE");
    project.putDirectory("i", "c/v");
    project.putDirectory("e", "c");
    EXPECT_EQ(getPath(project, RYN_PATH_REPLACE_TMP), failure(RYN_NO_SUCH_VIEW));
}

TEST(GetPathToReplace, ReplaceLibraryUsesTheLibraryOnly) {
    for (const char *temporaries : {"", "E", "I", "IE", "O", "OE"}) {
        expectRowsInBoth(RYN_PATH_REPLACE_LIBRARY,
                         {{temporaries, "iel", "l"}, {temporaries, "ie", kNoCell}, {temporaries, "l", "l"}});
    }
}

TEST(GetPathToReplace, FindsABrokenLink) {
    Project project;
    project.box.link("lib/c", "nowhere");
    EXPECT_EQ(getPath(project, RYN_PATH_REPLACE_LIBRARY, {"c", nullptr, nullptr}), "l/c");
    EXPECT_EQ(getPath(project, RYN_PATH_READ_LIBRARY, {"c", nullptr, nullptr}), failure(RYN_NO_SUCH_CELL));
}

// ---- names

TEST(GetPath, JoinsTheNamesThatAreGiven) {
    Project project("", Existence::Unchecked);
    EXPECT_EQ(getPath(project, RYN_PATH_READ_LIBRARY, {nullptr, nullptr, nullptr}), "l");
    EXPECT_EQ(getPath(project, RYN_PATH_READ_LIBRARY, {"", "", ""}), "l");
    EXPECT_EQ(getPath(project, RYN_PATH_READ_LIBRARY, {"c", nullptr, nullptr}), "l/c");
    EXPECT_EQ(getPath(project, RYN_PATH_READ_LIBRARY, {"c", "v", ""}), "l/c/v");
    EXPECT_EQ(getPath(project, RYN_PATH_READ_LIBRARY, {"c", "", "f"}), "l/c/f");
    EXPECT_EQ(getPath(project, RYN_PATH_READ_LIBRARY, {nullptr, nullptr, "f"}), "l/f");
    EXPECT_EQ(getPath(project, RYN_PATH_READ_LIBRARY, {"c", "v", "a/b"}), "l/c/v/a/b");
}

TEST(GetPath, ViewWithoutCellIsInvalidPath) {
    Project project;
    for (unsigned mode = 0; mode <= RYN_PATH_REPLACE_LIBRARY; ++mode) {
        const bool inTmpOnly =
            mode == RYN_PATH_READ_TMP || mode == RYN_PATH_WRITE_TMP || mode == RYN_PATH_REPLACE_TMP;
        const std::string expected = inTmpOnly ? kNoDirectory : failure(RYN_INVALID_PATH);
        EXPECT_EQ(getPath(project, mode, {nullptr, "v", nullptr}), expected) << mode;
        EXPECT_EQ(getPath(project, mode, {"", "v", "f"}), expected) << mode;
    }
}

TEST(GetPath, LimitIs4092CharactersWithoutSeparators) {
    Project project("", Existence::Unchecked);
    const std::size_t limit = 4092 - project.path("lib").size();
    const std::string longest(limit, 'c');
    EXPECT_EQ(getPath(project, RYN_PATH_READ_LIBRARY, {longest.c_str(), nullptr, nullptr}), "l/" + longest);
    EXPECT_EQ(getPath(project, RYN_PATH_READ_LIBRARY, {(longest + "c").c_str(), nullptr, nullptr}),
              failure(RYN_INVALID_PATH));
    const std::string split(limit - 2, 'c');
    EXPECT_EQ(getPath(project, RYN_PATH_READ_LIBRARY, {split.c_str(), "v", "f"}), "l/" + split + "/v/f");
    EXPECT_EQ(getPath(project, RYN_PATH_READ_LIBRARY, {(split + "c").c_str(), "v", "f"}),
              failure(RYN_INVALID_PATH));
    for (const std::size_t length : {4095U, 4096U, 4097U, 100'000U}) {
        EXPECT_EQ(
            getPath(project, RYN_PATH_READ_LIBRARY, {std::string(length, 'c').c_str(), nullptr, nullptr}),
            failure(RYN_INVALID_PATH));
    }
}

TEST(GetPath, FindsNamesOf255Bytes) {
    Project project;
    const std::string name(255, 'n');
    project.put("l", name + "/" + name + "/" + name);
    EXPECT_EQ(getPath(project, RYN_PATH_READ, {name.c_str(), name.c_str(), name.c_str()}),
              "l/" + name + "/" + name + "/" + name);
    EXPECT_EQ(getPath(project, RYN_PATH_READ, {(name + "n").c_str(), nullptr, nullptr}),
              failure(RYN_SYSTEM_ERROR));
}

// ---- the buffer

TEST(GetPath, BufferMustHoldTheNul) {
    Project project;
    const std::string expected = project.path("lib");
    std::vector<char> buffer(expected.size() + 2, '#');
    const auto get = [&](std::size_t size) {
        return rynGetPath(project.handle, RYN_PATH_READ_LIBRARY, "lib", nullptr, nullptr, nullptr,
                          buffer.data(), size);
    };
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, expected.size() - 1, expected.size()}) {
        EXPECT_EQ(get(size), RYN_BUFFER_TOO_SMALL) << size;
        EXPECT_EQ(buffer, std::vector<char>(expected.size() + 2, '#'));
    }
    EXPECT_EQ(get(expected.size() + 1), 0);
    EXPECT_EQ(std::string(buffer.data()), expected);
    EXPECT_EQ(buffer.back(), '#');
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

// ---- arguments

TEST(GetPath, ReportsAnUnknownMode) {
    Project project;
    for (const unsigned mode : {10U, 11U, 0x80000000U, 0xffffffffU}) {
        recorded.fatals.clear();
        EXPECT_EQ(getPath(project, mode), failure(RYN_INVALID_PARAMETER));
        EXPECT_EQ(recorded.fatals,
                  (ErrorReports{{RYN_INVALID_PARAMETER, "rynGetPath() - 2", "rynGetPath() - 2"}}));
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
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

TEST(GetPath, ReportsMissingArguments) {
    Project project;
    std::array<char, VEK_PATH_SIZE> path = {};
    const ErrorReports report = {{RYN_INVALID_PARAMETER, "rynGetPath()", "rynGetPath()"}};
    EXPECT_EQ(rynGetPath(project.handle, RYN_PATH_READ, nullptr, nullptr, nullptr, nullptr, path.data(),
                         path.size()),
              RYN_INVALID_PARAMETER);
    EXPECT_EQ(recorded.fatals, report);
    recorded.fatals.clear();
    EXPECT_EQ(rynGetPath(project.handle, RYN_PATH_READ, "other", nullptr, nullptr, nullptr, nullptr, 10),
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
    EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_INVALID_PARAMETER, "rynGetPath()", "rynGetPath()"}}));
}

// ---- packed libraries

TEST(GetPathOfPackedLibrary, ModesThatUseTheLibraryAreNotSupported) {
    for (const unsigned support : {0U, unsigned{RYN_FLAG_PACKED_LIBRARIES}}) {
        for (const char *temporaries : {"", "IE"}) {
            Project project(temporaries, Existence::Checked, support);
            project.put("iel", "c/v/f");
            project.pack("lib.pack");
            for (const unsigned mode : {unsigned{RYN_PATH_READ}, unsigned{RYN_PATH_WRITE},
                                        unsigned{RYN_PATH_READ_LIBRARY}, unsigned{RYN_PATH_WRITE_LIBRARY},
                                        unsigned{RYN_PATH_REPLACE}, unsigned{RYN_PATH_REPLACE_EXPLICIT},
                                        unsigned{RYN_PATH_REPLACE_LIBRARY}, 10U, 0xffffffffU}) {
                EXPECT_EQ(getPath(project, mode), failure(RYN_NOT_FOR_PACKED)) << mode;
            }
        }
    }
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

TEST(GetPathOfPackedLibrary, UsesTemporaryDirectories) {
    for (const unsigned mode : {RYN_PATH_READ_TMP, RYN_PATH_WRITE_TMP, RYN_PATH_REPLACE_TMP}) {
        {
            Project project("IE");
            project.put("iel", "c/v/f");
            project.pack("lib.pack");
            EXPECT_EQ(getPath(project, mode), "i/c/v/f") << mode;
        }
        Project project;
        project.put("l", "c/v/f");
        project.pack("lib.pack");
        EXPECT_EQ(getPath(project, mode), failure(RYN_NO_SUCH_DIRECTORY)) << mode;
    }
}

// ---- permissions

TEST(GetPathWithoutPermission, ReturnsTheDeniedLevel) {
    struct Denied {
        const char *closed; ///< in the library
        unsigned mode;
        Names names;
        int code;
    };
    constexpr unsigned kRead = RYN_PATH_READ_LIBRARY;
    constexpr unsigned kWrite = RYN_PATH_WRITE_LIBRARY;
    constexpr unsigned kReplace = RYN_PATH_REPLACE_LIBRARY;
    for (const Denied &denied : {
             Denied{"", kRead, {nullptr, nullptr, nullptr}, RYN_PERMISSION_DENIED_LIBRARY},
             Denied{"", kRead, {"c", nullptr, nullptr}, RYN_PERMISSION_DENIED_LIBRARY},
             Denied{"", kRead, {"c", "v", "f"}, RYN_PERMISSION_DENIED_LIBRARY},
             Denied{"/c", kRead, {"c", nullptr, nullptr}, RYN_PERMISSION_DENIED_CELL},
             Denied{"/c", kRead, {"c", "v", nullptr}, RYN_PERMISSION_DENIED_CELL},
             Denied{"/c/v", kRead, {"c", "v", nullptr}, RYN_PERMISSION_DENIED_VIEW},
             Denied{"/c/v", kRead, {"c", "v", "f"}, RYN_PERMISSION_DENIED_VIEW},
             Denied{"/c/v/f", kRead, {"c", "v", "f"}, RYN_PERMISSION_DENIED_FILE},
             Denied{"", kWrite, {nullptr, nullptr, nullptr}, RYN_PERMISSION_DENIED_LIBRARY},
             Denied{"", kWrite, {"c", "v", "f"}, RYN_PERMISSION_DENIED_LIBRARY},
             Denied{"/c", kWrite, {"c", nullptr, nullptr}, RYN_PERMISSION_DENIED_LIBRARY},
             Denied{"/c/v/f", kWrite, {"c", "v", "f"}, RYN_PERMISSION_DENIED_LIBRARY},
             // Replace: the directory above the object must be writable.
             Denied{"", kReplace, {nullptr, nullptr, nullptr}, RYN_PERMISSION_DENIED},
             Denied{"/c", kReplace, {"c", nullptr, nullptr}, RYN_PERMISSION_DENIED_LIBRARY},
             Denied{"/c/v", kReplace, {"c", "v", nullptr}, RYN_PERMISSION_DENIED_CELL},
             Denied{"/c/v/f", kReplace, {"c", "v", "f"}, RYN_PERMISSION_DENIED_VIEW},
             // An object that lstat() cannot reach has the code of the outermost denied level.
             Denied{"", kReplace, {"c", "v", "f"}, RYN_PERMISSION_DENIED},
             Denied{"/c", kReplace, {"c", "v", "f"}, RYN_PERMISSION_DENIED_LIBRARY},
             Denied{"/c/v", kReplace, {"c", "v", "f"}, RYN_PERMISSION_DENIED_CELL},
         }) {
        SCOPED_TRACE(std::string(denied.closed) + " " + std::to_string(denied.mode));
        Project project;
        project.put("l", "c/v/f");
        for (const char *directory : {"", "lib", "lib/c", "lib/c/v"}) {
            project.box.directory(directory, 0555);
        }
        chmod(("lib" + std::string(denied.closed)).c_str(), 0);
        Project::asUnprivileged(
            [&] { EXPECT_EQ(getPath(project, denied.mode, denied.names), failure(denied.code)); });
    }
}

TEST(GetPathWithoutPermission, DirectoryAboveTheLibraryIsPermissionDenied) {
    Project project;
    project.put("l", "c/v/f");
    project.box.directory("", 0);
    Project::asUnprivileged([&] {
        for (const Names &names : {Names{}, Names{"c", nullptr, nullptr}, kObject}) {
            EXPECT_EQ(getPath(project, RYN_PATH_READ_LIBRARY, names), failure(RYN_PERMISSION_DENIED_LIBRARY));
            EXPECT_EQ(getPath(project, RYN_PATH_WRITE_LIBRARY, names),
                      failure(RYN_PERMISSION_DENIED_LIBRARY));
            // EACCES is not ENOENT: the object is not missing, and the code is that of its own level.
            EXPECT_EQ(getPath(project, RYN_PATH_REPLACE_LIBRARY, names), failure(RYN_SYSTEM_ERROR));
        }
    });
}

TEST(GetPathWithoutPermission, EndsAtADeniedExplicitDirectory) {
    Project project("E");
    project.put("el", "c/v/f");
    chmod("etmp/c", 0);
    Project::asUnprivileged([&] {
        EXPECT_EQ(getPath(project, RYN_PATH_READ), failure(RYN_PERMISSION_DENIED_CELL));
        EXPECT_EQ(getPath(project, RYN_PATH_READ_TMP), failure(RYN_PERMISSION_DENIED_CELL));
    });
}

TEST(GetPathWithoutPermission, ContinuesAfterADeniedImplicitDirectory) {
    Project project("I");
    project.put("il", "c/v/f");
    chmod("itmp/lib/c", 0);
    Project::asUnprivileged([&] {
        EXPECT_EQ(getPath(project, RYN_PATH_READ), "l/c/v/f");
        EXPECT_EQ(getPath(project, RYN_PATH_READ_TMP), failure(RYN_PERMISSION_DENIED_CELL));
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
        EXPECT_EQ(getPath(project, RYN_PATH_READ), failure(RYN_NO_SUCH_CELL));
        errno = 0;
        EXPECT_EQ(getPath(project, RYN_PATH_READ_TMP), failure(RYN_NO_SUCH_VIEW));
    }
    rynStatCacheCtl(0);
}

TEST(GetPath, OtherErrorsAreSystemErrors) {
    Project project;
    project.put("l", "c/v/f");
    faults::fail("stat", 1, EIO);
    EXPECT_EQ(getPath(project, RYN_PATH_READ_LIBRARY), failure(RYN_SYSTEM_ERROR));
    faults::fail("lstat", 1, EIO);
    EXPECT_EQ(getPath(project, RYN_PATH_REPLACE_LIBRARY), failure(RYN_SYSTEM_ERROR));
}
