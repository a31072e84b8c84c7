// rynQuery().

#include "tests/libdef/archive_support.h"
#include "tests/libdef/project_support.h"
#include "tests/support/faults.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace faults = test::faults;
using test::archives;
using test::ErrorReports;
using test::Existence;
using test::Names;
using test::Project;
using test::recorded;

namespace {

constexpr Names kObject = {"c", "v", "f"};
constexpr unsigned kLibrary = RYN_QUERY_LIBRARY;
constexpr unsigned kTmp = RYN_QUERY_TMP;

int query(const Project &project, unsigned flags, const Names &names = kObject) {
    return rynQuery(project.handle, flags, "lib", names.cell, names.view, names.file);
}

/// The levels of a design object, with their codes.
struct Level {
    Names names;
    const char *path; ///< below the library
    int notFound;
    int denied;
};
const std::vector<Level> kLevels = {
    {{nullptr, nullptr, nullptr}, "", RYN_NO_SUCH_DIRECTORY, RYN_PERMISSION_DENIED_LIBRARY},
    {{"", "", ""}, "", RYN_NO_SUCH_DIRECTORY, RYN_PERMISSION_DENIED_LIBRARY},
    {{"c", nullptr, nullptr}, "/c", RYN_NO_SUCH_CELL, RYN_PERMISSION_DENIED_CELL},
    {{"c", "", ""}, "/c", RYN_NO_SUCH_CELL, RYN_PERMISSION_DENIED_CELL},
    {{"c", "v", nullptr}, "/c/v", RYN_NO_SUCH_VIEW, RYN_PERMISSION_DENIED_VIEW},
    {{"c", "v", ""}, "/c/v", RYN_NO_SUCH_VIEW, RYN_PERMISSION_DENIED_VIEW},
    {{"c", "v", "f"}, "/c/v/f", RYN_NO_SUCH_FILE, RYN_PERMISSION_DENIED_FILE},
    {{"c", nullptr, "f"}, "/c/f", RYN_NO_SUCH_FILE, RYN_PERMISSION_DENIED_FILE},
    {{nullptr, nullptr, "f"}, "/f", RYN_NO_SUCH_FILE, RYN_PERMISSION_DENIED_FILE},
};

void putAllLevels(Project &project, std::string_view letters) {
    project.put(letters, "c/v/f");
    project.put(letters, "c/f");
    project.put(letters, "f");
}

} // namespace

// ---- directories

TEST(Query, FindsEveryLevelOfAnObject) {
    for (const char *letter : {"l", "e", "i"}) {
        Project project("IE");
        putAllLevels(project, letter);
        for (const Level &level : kLevels) {
            EXPECT_EQ(query(project, 0, level.names), RYN_OK) << letter << level.path;
        }
    }
}

TEST(Query, MissingObjectHasTheCodeOfItsLevel) {
    Project project("IE");
    rmdir("lib");
    rmdir("etmp");
    rmdir("itmp/lib");
    for (const Level &level : kLevels) {
        for (const unsigned flags : {0U, kLibrary, kLibrary | kTmp, 0x3cU}) {
            EXPECT_EQ(query(project, flags, level.names), level.notFound) << level.path;
        }
    }
}

TEST(Query, EmptyCellNameIsTheLibrary) {
    Project project;
    EXPECT_EQ(query(project, 0, {"c", "", ""}), RYN_NO_SUCH_CELL);
    EXPECT_EQ(query(project, 0, {"", "", ""}), RYN_OK);
    rmdir("lib");
    EXPECT_EQ(query(project, 0, {"", "", ""}), RYN_NO_SUCH_DIRECTORY);
}

TEST(Query, SearchesAllDirectoriesWithoutADirectoryFlag) {
    struct Row {
        const char *temporaries;
        const char *letters;
        unsigned flags;
        int code;
    };
    for (const Row &row :
         {// No directory flag, and both.
          Row{"", "l", 0, 0}, Row{"", "l", kLibrary | kTmp, 0}, Row{"", "ie", 0, 8}, Row{"E", "e", 0, 0},
          Row{"E", "e", kLibrary | kTmp, 0}, Row{"E", "l", 0, 0}, Row{"I", "i", 0, 0}, Row{"I", "l", 0, 0},
          Row{"IE", "e", 0, 0}, Row{"IE", "i", 0, 0}, Row{"IE", "l", 0, 0}, Row{"IE", "", 0, 8},
          Row{"O", "i", 0, 0}, Row{"O", "l", 0, 8}, Row{"OE", "el", 0, 8},
          // The library only.
          Row{"IE", "ie", kLibrary, 8}, Row{"OE", "l", kLibrary, 0}, Row{"", "l", kLibrary, 0},
          // The temporary directories only.
          Row{"", "l", kTmp, 4}, Row{"E", "l", kTmp, 4}, Row{"E", "e", kTmp, 0}, Row{"I", "i", kTmp, 0},
          Row{"I", "l", kTmp, 4}, Row{"IE", "e", kTmp, 0}, Row{"IE", "i", kTmp, 0}, Row{"O", "i", kTmp, 0},
          Row{"O", "l", kTmp, 8}, Row{"OE", "el", kTmp, 8}}) {
        SCOPED_TRACE(std::string(row.temporaries) + ", object in " + row.letters + ", " +
                     std::to_string(row.flags));
        for (const Existence existence : {Existence::Checked, Existence::Unchecked}) {
            Project project(row.temporaries, existence);
            project.put(row.letters, "c/v/f");
            EXPECT_EQ(query(project, row.flags), row.code);
        }
    }
}

TEST(Query, ImplicitOnlyEndsAtAMissingObject) {
    Project project("O");
    putAllLevels(project, "l");
    rmdir("itmp/lib");
    for (const Level &level : kLevels) {
        EXPECT_EQ(query(project, 0, level.names), level.notFound) << level.path;
    }
}

TEST(Query, ImplicitOnlyContinuesAfterOtherErrors) {
    Project project("OE");
    project.put("el", "c/v/f");
    project.put("i", "c"); // a file instead of the cell directory: ENOTDIR
    EXPECT_EQ(query(project, 0), RYN_OK);
    EXPECT_EQ(query(project, kTmp), RYN_NO_SUCH_DIRECTORY);
    rmdir("lib");
}

TEST(Query, OtherErrorsInTheLibraryAreSystemErrors) {
    Project project;
    project.put("l", "c");
    EXPECT_EQ(query(project, 0), RYN_SYSTEM_ERROR);
    project.box.link("lib/loop", "loop");
    EXPECT_EQ(query(project, 0, {"loop", nullptr, nullptr}), RYN_SYSTEM_ERROR);
    faults::fail("stat", 1, EIO);
    EXPECT_EQ(query(project, 0, {nullptr, nullptr, nullptr}), RYN_SYSTEM_ERROR);
}

TEST(Query, FollowsLinks) {
    Project project;
    project.box.link("lib/c", "elsewhere").link("lib/d", "nowhere").directory("lib/elsewhere");
    EXPECT_EQ(query(project, 0, {"c", nullptr, nullptr}), RYN_OK);
    EXPECT_EQ(query(project, 0, {"d", nullptr, nullptr}), RYN_NO_SUCH_CELL);
}

TEST(Query, ViewWithoutCellIsInvalidPath) {
    Project project("IE");
    putAllLevels(project, "lie");
    for (const unsigned flags : {0U, kLibrary, kTmp}) {
        EXPECT_EQ(query(project, flags, {nullptr, "v", nullptr}), RYN_INVALID_PATH);
        EXPECT_EQ(query(project, flags, {"", "v", "f"}), RYN_INVALID_PATH);
    }
}

TEST(Query, LimitIs4092CharactersWithoutSeparators) {
    for (const char letter : {'l', 'e', 'i'}) {
        Project project(letter == 'e' ? "E" : letter == 'i' ? "I" : "");
        const unsigned flags = letter == 'l' ? kLibrary : kTmp;
        const std::size_t limit = 4092 - project.path(Project::directoryOf(letter)).size();
        // A path within the limit has a name longer than NAME_MAX: ENAMETOOLONG.
        EXPECT_EQ(query(project, flags, {std::string(limit, 'c').c_str(), nullptr, nullptr}),
                  letter == 'l' ? RYN_SYSTEM_ERROR : RYN_NO_SUCH_DIRECTORY);
        for (const std::size_t length :
             {limit + 1, std::size_t{4095}, std::size_t{4096}, std::size_t{4097}}) {
            EXPECT_EQ(query(project, flags, {std::string(length, 'c').c_str(), nullptr, nullptr}),
                      RYN_INVALID_PATH);
        }
    }
}

// ---- checks

TEST(Query, ChecksPermissionsOnlyWithTheirFlags) {
    struct Row {
        mode_t mode;
        unsigned checks;
        bool passes;
        bool passesForOwner;
    };
    // Without root, the files of the test belong to the user who runs it.
    const bool isOwner = geteuid() != 0;
    constexpr unsigned kExists = RYN_QUERY_EXISTS;
    constexpr unsigned kRead = RYN_QUERY_READABLE;
    constexpr unsigned kWrite = RYN_QUERY_WRITABLE;
    constexpr unsigned kExecute = RYN_QUERY_EXECUTABLE;
    for (const Row &row : {
             Row{0000, 0, true, true},
             Row{0000, kExists, true, true},
             Row{0000, kRead, false, false},
             Row{0000, kWrite, false, false},
             Row{0000, kExecute, false, false},
             Row{0444, kRead, true, true},
             Row{0222, kWrite, true, true},
             Row{0111, kExecute, true, true},
             Row{0333, kRead, false, false},
             Row{0555, kWrite, false, false},
             Row{0666, kExecute, false, false},
             Row{0777, kExists | kRead | kWrite | kExecute, true, true},
             Row{0666, kRead | kWrite, true, true},
             Row{0666, kExists | kRead | kWrite | kExecute, false, false},
             Row{0004, kRead, true, false},
             Row{0040, kRead, false, false},
             Row{0400, kRead, false, true},
             Row{0002, kWrite, true, false},
             Row{0001, kExecute, true, false},
         }) {
        SCOPED_TRACE(std::to_string(row.mode) + " " + std::to_string(row.checks));
        for (const char *letter : {"l", "e", "i"}) {
            Project project("IE");
            project.put(letter, "c/v/f", row.mode);
            Project::asUnprivileged([&] {
                const bool passes = isOwner ? row.passesForOwner : row.passes;
                EXPECT_EQ(query(project, row.checks), passes ? 0 : RYN_PERMISSION_DENIED_FILE) << letter;
            });
        }
    }
}

TEST(Query, DeniedObjectHasTheCodeOfItsLevel) {
    Project project;
    putAllLevels(project, "l");
    for (const char *path : {"lib/f", "lib/c/f", "lib/c/v/f"}) {
        chmod(path, 0);
    }
    for (const char *path : {"lib/c/v", "lib/c", "lib"}) {
        chmod(path, 0555);
    }
    Project::asUnprivileged([&] {
        for (const Level &level : kLevels) {
            EXPECT_EQ(query(project, RYN_QUERY_WRITABLE, level.names), level.denied) << level.path;
            EXPECT_EQ(query(project, 0, level.names), RYN_OK) << level.path;
        }
    });
}

TEST(Query, DeniedDirectoryAboveGivesTheCodeOfTheObject) {
    for (const char *letter : {"l", "i"}) {
        Project project(letter[0] == 'i' ? "O" : "");
        putAllLevels(project, letter);
        const std::string directory = Project::directoryOf(letter[0]);
        chmod(directory.c_str(), 0);
        Project::asUnprivileged([&] {
            for (const Level &level : kLevels) {
                const bool isLibrary = *level.path == '\0';
                EXPECT_EQ(query(project, 0, level.names), isLibrary ? 0 : level.denied) << level.path;
                EXPECT_EQ(query(project, RYN_QUERY_READABLE, level.names), level.denied) << level.path;
            }
        });
    }
}

TEST(Query, ContinuesAfterADeniedTemporaryDirectory) {
    Project project("IE");
    project.put("l", "c/v/f");
    project.put("ie", "c/v/f");
    chmod("itmp/lib", 0);
    chmod("etmp", 0);
    Project::asUnprivileged([&] {
        EXPECT_EQ(query(project, 0), RYN_OK);
        EXPECT_EQ(query(project, kTmp), RYN_NO_SUCH_DIRECTORY);
    });
}

TEST(Query, EndsAtAnObjectThatFailsACheck) {
    Project project("IE");
    project.put("el", "c/v/f", 0644);
    project.put("i", "c/v/f", 0200);
    Project::asUnprivileged(
        [&] { EXPECT_EQ(query(project, RYN_QUERY_READABLE), RYN_PERMISSION_DENIED_FILE); });
}

TEST(Query, CallsStatOnce) {
    Project project;
    project.put("l", "c/v/f");
    faults::reset();
    EXPECT_EQ(query(project, RYN_QUERY_EXISTS | RYN_QUERY_READABLE | RYN_QUERY_WRITABLE), RYN_OK);
    EXPECT_EQ(faults::count("stat"), 1);
    EXPECT_EQ(faults::count("access"), 0);
}

TEST(Query, DoesNotUseTheStatCacheForStat) {
    Project project;
    rynStatCacheCtl(1);
    EXPECT_EQ(query(project, 0), RYN_NO_SUCH_FILE);
    project.put("l", "c/v/f");
    EXPECT_EQ(query(project, 0), RYN_OK);
    rynStatCacheCtl(0);
}

// ---- packed libraries

namespace {

/// A project whose library is packed. The directory `archive` has the contents of the archive.
struct Packed : Project {
    explicit Packed(std::string_view temporaries = {}, Existence existence = Existence::Checked)
        : Project(temporaries, existence, RYN_FLAG_PACKED_LIBRARIES) {
        pack("lib.pack");
        archives = {};
        archives.contents["lib.pack"] = path("archive");
        box.directory("archive/lib/c/v");
        box.file("archive/lib/c/v/f", "").file("archive/lib/c/f", "").file("archive/lib/f", "");
    }
};

} // namespace

TEST(QueryOfPackedLibrary, LooksInTheArchive) {
    Packed project;
    for (const Level &level : kLevels) {
        EXPECT_EQ(query(project, 0, level.names), RYN_OK) << level.path;
        EXPECT_EQ(query(project, kLibrary | RYN_QUERY_READABLE, level.names), RYN_OK) << level.path;
    }
    EXPECT_EQ(archives.calls.front(), "open lib.pack");
    EXPECT_EQ(archives.calls[1], "spec lib");
    EXPECT_EQ(archives.calls[2], "free lib");
    EXPECT_EQ(archives.calls.size(), 1 + 4 * kLevels.size());
}

TEST(QueryOfPackedLibrary, LooksInTemporaryDirectoriesFirst) {
    Packed project("IE");
    project.put("i", "d");
    EXPECT_EQ(query(project, 0, {"d", nullptr, nullptr}), RYN_OK);
    EXPECT_EQ(query(project, kTmp, {"c", nullptr, nullptr}), RYN_NO_SUCH_DIRECTORY);
    EXPECT_TRUE(archives.calls.empty());
    EXPECT_EQ(query(project, 0, {"c", nullptr, nullptr}), RYN_OK);
}

TEST(QueryOfPackedLibrary, MapsTheStatusOfTheArchive) {
    for (const Level &level : kLevels) {
        for (const auto &[status, code] :
             std::vector<std::pair<int, int>>{{ENOENT, level.notFound},
                                              {EACCES, level.denied},
                                              {ENOTDIR, RYN_SYSTEM_ERROR},
                                              {EIO, RYN_SYSTEM_ERROR},
                                              {VEK_FS_BAD_STATUS, RYN_SYSTEM_ERROR},
                                              {VEK_FS_NOT_SUPPORTED, RYN_SYSTEM_ERROR}}) {
            Packed project;
            archives.statStatus["lib" + std::string(level.path)] = status;
            EXPECT_EQ(query(project, 0, level.names), code) << level.path << " " << status;
        }
    }
}

TEST(QueryOfPackedLibrary, UnreadableModeIsASystemError) {
    Packed project;
    archives.modeStatus = VEK_FS_NOT_SUPPORTED;
    EXPECT_EQ(query(project, 0), RYN_SYSTEM_ERROR);
    EXPECT_EQ(archives.calls.back(), "free lib/c/v/f");
}

TEST(QueryOfPackedLibrary, ChecksTheOwnerBitsOfTheStoredMode) {
    struct Row {
        mode_t mode;
        unsigned checks;
        bool passes;
    };
    for (const Row &row :
         {Row{0000, RYN_QUERY_EXISTS, true}, Row{0000, 0, true}, Row{0400, RYN_QUERY_READABLE, true},
          Row{0377, RYN_QUERY_READABLE, false}, Row{0200, RYN_QUERY_WRITABLE, true},
          Row{0577, RYN_QUERY_WRITABLE, false}, Row{0100, RYN_QUERY_EXECUTABLE, true},
          Row{0677, RYN_QUERY_EXECUTABLE, false}, Row{0700, 0x3c, true}, Row{0600, 0x3c, false}}) {
        Packed project;
        for (const Level &level : kLevels) {
            archives.modes["lib" + std::string(level.path)] = row.mode;
            EXPECT_EQ(query(project, row.checks, level.names), row.passes ? 0 : level.denied)
                << level.path << " " << row.mode << " " << row.checks;
        }
    }
}

TEST(QueryOfPackedLibrary, WithoutSupportLooksInTheDirectory) {
    Project project;
    project.pack("lib.pack");
    EXPECT_EQ(query(project, 0), RYN_NO_SUCH_FILE);
    project.put("l", "c/v/f");
    EXPECT_EQ(query(project, 0), RYN_OK);
    EXPECT_TRUE(archives.calls.empty());
    EXPECT_NE(project.record()->packedFile, nullptr);
    chmod("lib/c/v/f", 0377);
    EXPECT_EQ(query(project, RYN_QUERY_READABLE), RYN_PERMISSION_DENIED_FILE); // only the owner bit counts
}

TEST(QueryOfPackedLibrary, FailedOpenMakesTheLibraryUnpacked) {
    Packed project;
    archives.contents.clear();
    project.put("l", "c/v/f");
    EXPECT_EQ(query(project, 0), RYN_SYSTEM_ERROR);
    EXPECT_EQ(project.record()->packedFile, nullptr);
    EXPECT_EQ(query(project, 0), RYN_OK);
    EXPECT_EQ(archives.calls, std::vector<std::string>{"open lib.pack"});
}

TEST(QueryOfPackedLibrary, ReturnsTheCodeOfAFailedSpecifier) {
    Packed project;
    EXPECT_EQ(query(project, 0, {std::string(5000, 'c').c_str(), nullptr, nullptr}), RYN_BUFFER_TOO_SMALL);
    archives.createStatus = VEK_FS_NOT_SUPPORTED;
    EXPECT_EQ(query(project, 0), RYN_MEMORY_ERROR);
}

TEST(QueryOfPackedLibrary, EveryFailedAllocationIsAMemoryError) {
    Packed project;
    ASSERT_EQ(query(project, 0), RYN_OK);
    int failures = 0;
    for (int nth = 1; nth < 100; ++nth) {
        faults::failAllocation(nth);
        const int code = query(project, 0);
        if (code == 0) {
            break;
        }
        EXPECT_EQ(code, RYN_MEMORY_ERROR) << nth;
        ++failures;
    }
    EXPECT_GE(failures, 1);
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

// ---- arguments

TEST(Query, IgnoresUnknownFlags) {
    Project project;
    project.put("l", "c/v/f");
    EXPECT_EQ(query(project, 0xffffffc0U), RYN_OK);
    EXPECT_EQ(query(project, 0xffffffc0U | kTmp), RYN_NO_SUCH_DIRECTORY);
}

TEST(Query, UnknownLibraryIsNotDefined) {
    Project project;
    EXPECT_EQ(rynQuery(project.handle, 0, "other", nullptr, nullptr, nullptr), RYN_LIBRARY_NOT_DEFINED);
    EXPECT_EQ(rynQuery(project.handle, 0, "", nullptr, nullptr, nullptr), RYN_LIBRARY_NOT_DEFINED);
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

TEST(Query, ReportsMissingArgumentsAndUsesTheDefaultHandle) {
    Project project;
    const ErrorReports report = {{RYN_INVALID_PARAMETER, "rynQuery()", "rynQuery()"}};
    EXPECT_EQ(rynQuery(nullptr, 0, "lib", nullptr, nullptr, nullptr), RYN_OK);
    EXPECT_EQ(rynQuery(project.handle, 0, nullptr, nullptr, nullptr, nullptr), RYN_INVALID_PARAMETER);
    EXPECT_EQ(recorded.fatals, report);
    project.release();
    recorded.fatals.clear();
    EXPECT_EQ(rynQuery(nullptr, 0, "lib", nullptr, nullptr, nullptr), RYN_INVALID_PARAMETER);
    EXPECT_EQ(recorded.fatals, report);
}
