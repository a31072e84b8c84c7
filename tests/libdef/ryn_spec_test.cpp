// Specifiers of design objects, and packed libraries.

#include "libdef/access/ryni_spec.h"

#include "libdef/access/ryni_packed.h"
#include "tests/libdef/archive_support.h"
#include "tests/libdef/project_support.h"
#include "tests/support/faults.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace faults = test::faults;
using test::archives;
using test::ErrorReports;
using test::Existence;
using test::Names;
using test::Project;
using test::recorded;
using Calls = std::vector<std::string>;

namespace {

/// What a "rynFS" specifier holds instead of a path.
struct Extension {
    rynHandle handle;
    vekFSSpec *inner;
    char *library;
    char *cell;
    char *view;
    char *file;
};

const Extension &extensionOf(const vekFSSpec *spec) {
    return *reinterpret_cast<const Extension *>(spec->path);
}

/// A specifier, or the code of the failure. Frees the specifier.
struct Made {
    int code = -1;
    vekFSSpec *spec = nullptr;

    Made() = default;
    ~Made() { free(); }
    Made(const Made &) = delete;
    Made &operator=(const Made &) = delete;

    void free() {
        if (spec != nullptr) {
            EXPECT_EQ(vekFSFreeSpec(spec), VEK_FS_OK);
            spec = nullptr;
        }
    }
    /// "lib,c,v,f", with "-" for a null name.
    [[nodiscard]] std::string names() const {
        std::string text;
        const Extension &extension = extensionOf(spec);
        for (const char *name : {extension.library, extension.cell, extension.view, extension.file}) {
            text += (text.empty() ? "" : ",") + (name == nullptr ? std::string("-") : name);
        }
        return text;
    }
    [[nodiscard]] std::string text() const {
        std::array<char, VEK_PATH_SIZE> path = {};
        EXPECT_EQ(vekFSGetSpecString(spec, path.data(), path.size(), nullptr), VEK_FS_OK);
        return path.data();
    }
    /// The name of the inner implementation; "native" for a null one.
    [[nodiscard]] std::string innerImplementation() const {
        const char *name = nullptr;
        EXPECT_EQ(vekFSGetSpecIOImpName(extensionOf(spec).inner, &name), VEK_FS_OK);
        return name == nullptr ? "native" : name;
    }
};

/// Calls rynGetSpec() with a result that is not null.
int getSpec(Made &made, const Project &project, unsigned mode, const Names &names = {},
            const char *library = "lib", vekFSSpec *parent = nullptr, unsigned flags = 0) {
    made.free();
    made.spec = reinterpret_cast<vekFSSpec *>(&made);
    made.code = rynGetSpec(project.handle, mode, library, names.cell, names.view, names.file, parent, flags,
                           &made.spec);
    EXPECT_EQ(made.code == 0, made.spec != nullptr);
    return made.code;
}

int makeSpec(Made &made, const Project &project, const Names &names = {}, const char *library = "lib",
             vekFSSpec *parent = nullptr) {
    made.free();
    made.spec = reinterpret_cast<vekFSSpec *>(&made);
    made.code = ryni_mkspec(project.handle, library, names.cell, names.view, names.file, parent, &made.spec);
    EXPECT_EQ(made.code == 0, made.spec != nullptr);
    return made.code;
}

/// Calls rynGetSpec() if `query` is true, otherwise ryni_mkspec().
int makeEither(bool query, Made &made, const Project &project, const Names &names, const char *library,
               vekFSSpec *parent) {
    return query ? getSpec(made, project, RYN_PATH_READ_LIBRARY, names, library, parent)
                 : makeSpec(made, project, names, library, parent);
}

/// A project whose library is packed. The directory `archive` has the contents of the archive.
struct Packed : Project {
    explicit Packed(std::string_view temporaries = {}, Existence existence = Existence::Checked)
        : Project(temporaries, existence, RYN_FLAG_PACKED_LIBRARIES) {
        pack(path("lib.pack"));
        archives = {};
        archives.contents[path("lib.pack")] = path("archive");
        box.file("lib.pack", "packed").directory("archive/lib/c/v").file("archive/lib/c/v/f", "text");
    }
    [[nodiscard]] Calls onlyOpen() const { return {"open " + path("lib.pack")}; }
};

} // namespace

// ---- the implementation

TEST(Specifier, HasItsImplementationAndTheNames) {
    Project project;
    project.put("l", "c/v/f");
    Made made;
    ASSERT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"c", "v", "f"}), RYN_OK);
    const char *name = nullptr;
    EXPECT_EQ(vekFSGetSpecIOImpName(made.spec, &name), VEK_FS_OK);
    EXPECT_STREQ(name, "rynFS");
    EXPECT_EQ(made.spec->autoFree, 0);
    EXPECT_EQ(extensionOf(made.spec).handle, project.handle);
    EXPECT_EQ(made.names(), "lib,c,v,f");
    EXPECT_EQ(made.text(), project.path("lib/c/v/f"));
    EXPECT_EQ(made.innerImplementation(), "native");
}

TEST(Specifier, CopiesTheNames) {
    Project project;
    std::array<char, 4> library = {'l', 'i', 'b', '\0'};
    std::array<char, 2> cell = {'c', '\0'};
    Made made;
    ASSERT_EQ(makeSpec(made, project, {cell.data(), nullptr, nullptr}, library.data()), RYN_OK);
    library.fill('x');
    cell.fill('x');
    EXPECT_EQ(made.names(), "lib,c,-,-");
}

TEST(Specifier, DistinguishesEmptyFromNullNames) {
    Project project;
    Made made;
    ASSERT_EQ(makeSpec(made, project, {"c", "", nullptr}), RYN_OK);
    EXPECT_EQ(made.names(), "lib,c,,-");
    EXPECT_EQ(made.text(), project.path("lib/c"));
}

TEST(Specifier, SupportsSixOperations) {
    Project project;
    Made made;
    ASSERT_EQ(makeSpec(made, project), RYN_OK);
    vekFSIODef others = *made.spec->implementation;
    EXPECT_STREQ(others.name, "rynFS");
    EXPECT_TRUE(others.freeSpec != nullptr && others.getSpecString != nullptr && others.open != nullptr &&
                others.stat != nullptr && others.lstat != nullptr && others.opendir != nullptr);
    others.name = nullptr;
    others.freeSpec = nullptr;
    others.getSpecString = nullptr;
    others.open = nullptr;
    others.stat = others.lstat = nullptr;
    others.opendir = nullptr;
    const vekFSIODef nothing = {};
    EXPECT_EQ(std::memcmp(&others, &nothing, sizeof nothing), 0);

    vekFSFile file = {.descriptor = 0, .spec = made.spec};
    int character = 0;
    ssize_t count = 0;
    int64_t position = 0;
    EXPECT_EQ(vekFS_getc(&file, &character), VEK_FS_NOT_SUPPORTED);
    EXPECT_EQ(vekFS_read(&file, &character, 1, &count), VEK_FS_NOT_SUPPORTED);
    EXPECT_EQ(vekFS_tell(&file, &position), VEK_FS_NOT_SUPPORTED);
    EXPECT_EQ(vekFS_close(&file), VEK_FS_NOT_SUPPORTED);
    vekFSStat record = {};
    record.spec = made.spec;
    mode_t mode = 0;
    EXPECT_EQ(vekFS_getFileMode(&record, &mode), VEK_FS_NOT_SUPPORTED);
    vekFSDir directory = {.stream = nullptr, .spec = made.spec, .entry = nullptr};
    vekFSDirent *entry = nullptr;
    EXPECT_EQ(vekFS_readdir(&directory, &entry), VEK_FS_NOT_SUPPORTED);
    EXPECT_EQ(vekFS_closedir(&directory), VEK_FS_NOT_SUPPORTED);
}

TEST(Specifier, ReturnsTheTextOfTheInnerSpecifier) {
    Project project;
    Made made;
    ASSERT_EQ(makeSpec(made, project, {"c", nullptr, nullptr}), RYN_OK);
    const std::string expected = project.path("lib/c");
    std::vector<char> buffer(expected.size() + 1, '#');
    std::size_t needed = 0;
    EXPECT_EQ(vekFSGetSpecString(made.spec, buffer.data(), expected.size(), &needed),
              VEK_FS_BUFFER_TOO_SMALL);
    EXPECT_EQ(needed, expected.size() + 1);
    EXPECT_EQ(vekFSGetSpecString(made.spec, buffer.data(), expected.size() + 1, nullptr), VEK_FS_OK);
    EXPECT_EQ(expected, buffer.data());
}

TEST(Specifier, FilesAndRecordsHoldTheInnerSpecifier) {
    Project project;
    project.box.file("lib/c/v/f", "text\n").link("lib/c/v/l", "f");
    Made made;
    ASSERT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"c", "v", "f"}), RYN_OK);
    vekFSSpec *const inner = extensionOf(made.spec).inner;

    vekFSFile *file = nullptr;
    ASSERT_EQ(vekFS_open(made.spec, O_RDONLY, &file), VEK_FS_OK);
    EXPECT_EQ(file->spec, inner);
    std::array<char, 8> text = {};
    ssize_t count = 0;
    EXPECT_EQ(vekFS_read(file, text.data(), text.size() - 1, &count), VEK_FS_OK);
    EXPECT_STREQ(text.data(), "text\n");
    char *line = nullptr;
    EXPECT_EQ(vekFS_fgets(text.data(), text.size(), file, &line), VEK_FS_NOT_SUPPORTED);
    EXPECT_EQ(vekFS_close(file), VEK_FS_OK);

    vekFSStat record = {};
    EXPECT_EQ(vekFS_stat(made.spec, &record), VEK_FS_OK);
    EXPECT_EQ(record.spec, inner);
    int64_t size = 0;
    EXPECT_EQ(vekFS_getFileSize(&record, &size), VEK_FS_OK);
    EXPECT_EQ(size, 5);

    ASSERT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"c", "v", "l"}), RYN_OK);
    mode_t mode = 0;
    EXPECT_EQ(vekFS_lstat(made.spec, &record), VEK_FS_OK);
    EXPECT_EQ(vekFS_getFileMode(&record, &mode), VEK_FS_OK);
    EXPECT_TRUE(S_ISLNK(mode));
    EXPECT_EQ(vekFS_stat(made.spec, &record), VEK_FS_OK);
    EXPECT_EQ(vekFS_getFileMode(&record, &mode), VEK_FS_OK);
    EXPECT_TRUE(S_ISREG(mode));

    ASSERT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"c", "v", nullptr}), RYN_OK);
    vekFSDir *directory = nullptr;
    ASSERT_EQ(vekFS_opendir(made.spec, &directory), VEK_FS_OK);
    EXPECT_EQ(directory->spec, extensionOf(made.spec).inner);
    EXPECT_EQ(vekFS_closedir(directory), VEK_FS_OK);
}

TEST(Specifier, ReadsLinesWithTheStdioFlag) {
    Project project;
    project.box.file("lib/c/v/f", "one\ntwo\n");
    for (const unsigned flags : {0U, 1U, 2U, 3U, 0xffffffffU}) {
        Made made;
        ASSERT_EQ(getSpec(made, project, RYN_PATH_READ, {"c", "v", "f"}, "lib", nullptr, flags), RYN_OK);
        const bool lines = (flags & 1U) != 0;
        EXPECT_EQ(made.innerImplementation(), lines ? "vekFSStdio" : "native");
        if (lines) {
            vekFSFile *file = nullptr;
            ASSERT_EQ(vekFS_open(made.spec, O_RDONLY, &file), VEK_FS_OK);
            std::array<char, 8> text = {};
            char *line = nullptr;
            EXPECT_EQ(vekFS_fgets(text.data(), text.size(), file, &line), VEK_FS_OK);
            EXPECT_STREQ(line, "one\n");
            EXPECT_EQ(vekFS_close(file), VEK_FS_OK);
        }
    }
}

TEST(Specifier, ReturnsTheStatusOfFreeingTheInnerSpecifier) {
    Packed project;
    Made made;
    ASSERT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY), RYN_OK);
    archives.freeStatus = EIO;
    EXPECT_EQ(vekFSFreeSpec(made.spec), EIO);
    made.spec = nullptr;
    EXPECT_EQ(archives.calls.back(), "free lib");
}

// ---- with a parent

TEST(SpecifierOfParent, CombinesTheNamesOfTheParent) {
    struct Row {
        const char *library;
        Names names;
        const char *made;
        const char *path;
    };
    for (const bool query : {true, false}) {
        Project project;
        project.put("l", "c/v/f");
        project.put("l", "c/v/g");
        project.put("l", "c/w/x");
        project.put("l", "d");
        Made parent;
        ASSERT_EQ(makeSpec(parent, project, {"c", "v", "f"}), RYN_OK);
        for (const Row &row : {Row{nullptr, {nullptr, nullptr, "g"}, "lib,c,v,g", "lib/c/v/g"},
                               Row{nullptr, {"d", "w", "g"}, "lib,c,v,g", "lib/c/v/g"},
                               Row{"other", {"d", "w", "g"}, "lib,c,v,g", "lib/c/v/g"},
                               Row{nullptr, {nullptr, "w", nullptr}, "lib,c,w,-", "lib/c/w"},
                               Row{"other", {"d", "w", nullptr}, "lib,c,w,-", "lib/c/w"},
                               Row{nullptr, {"d", nullptr, nullptr}, "lib,d,-,-", "lib/d"},
                               Row{"other", {"d", nullptr, nullptr}, "lib,d,-,-", "lib/d"},
                               Row{"other", {nullptr, nullptr, nullptr}, "lib,-,-,-", "lib"},
                               Row{nullptr, {nullptr, nullptr, ""}, "lib,c,v,", "lib/c/v"},
                               Row{nullptr, {nullptr, "", nullptr}, "lib,c,,-", "lib/c"},
                               Row{nullptr, {"", nullptr, nullptr}, "lib,,-,-", "lib"}}) {
            Made made;
            ASSERT_EQ(makeEither(query, made, project, row.names, row.library, parent.spec), RYN_OK)
                << row.made;
            EXPECT_EQ(made.names(), row.made);
            EXPECT_EQ(made.text(), project.path(row.path));
            EXPECT_NE(made.spec, parent.spec);
        }
    }
}

TEST(SpecifierOfParent, WithoutNamesIsTheParentItself) {
    Project project;
    for (const bool query : {true, false}) {
        Made parent;
        ASSERT_EQ(makeSpec(parent, project, {"c", nullptr, nullptr}), RYN_OK);
        Made made;
        EXPECT_EQ(makeEither(query, made, project, {}, nullptr, parent.spec), RYN_OK);
        EXPECT_EQ(made.spec, parent.spec);
        made.spec = nullptr;
        EXPECT_EQ(parent.names(), "lib,c,-,-");
    }
}

TEST(SpecifierOfParent, AcceptsARelativePathAsFile) {
    Project project;
    Made parent;
    Made made;
    ASSERT_EQ(makeSpec(parent, project, {"c", "v", nullptr}), RYN_OK);
    ASSERT_EQ(makeSpec(made, project, {nullptr, nullptr, "a/b/f"}, nullptr, parent.spec), RYN_OK);
    EXPECT_EQ(made.names(), "lib,c,v,a/b/f");
    EXPECT_EQ(made.text(), project.path("lib/c/v/a/b/f"));
}

TEST(SpecifierOfParent, RejectsAParentOfAnotherImplementation) {
    Project project;
    for (const auto create : {vekFSCreatePathSpec, vekFSStdioCreatePathSpec}) {
        vekFSSpec *native = nullptr;
        ASSERT_EQ(create("lib", &native), 0);
        for (const bool query : {true, false}) {
            Made made;
            EXPECT_EQ(makeEither(query, made, project, {"c", nullptr, nullptr}, "lib", native),
                      RYN_INVALID_PARAMETER);
            EXPECT_EQ(makeEither(query, made, project, {}, nullptr, native), RYN_INVALID_PARAMETER);
        }
        vekFSFreeSpec(native);
    }
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

TEST(SpecifierOfParent, RejectsAParentWithoutALibrary) {
    Project project;
    Made parent;
    ASSERT_EQ(makeSpec(parent, project, {"c", "v", nullptr}), RYN_OK);
    char *&library = reinterpret_cast<Extension *>(parent.spec->path)->library;
    char *const kept = library;
    library = nullptr;
    for (const bool query : {true, false}) {
        Made made;
        for (const Names &names : {Names{nullptr, nullptr, "f"}, Names{nullptr, "v", nullptr},
                                   Names{"c", nullptr, nullptr}, Names{}}) {
            EXPECT_EQ(makeEither(query, made, project, names, "lib", parent.spec), RYN_INVALID_PARAMETER);
        }
    }
    library = kept;
}

// ---- arguments

TEST(GetSpec, NullHandleIsInvalidAndNotReported) {
    Project project;
    vekFSSpec *spec = nullptr;
    Made parent;
    ASSERT_EQ(makeSpec(parent, project), RYN_OK);
    ASSERT_NE(*rynGetCurHandle(), nullptr);
    EXPECT_EQ(rynGetSpec(nullptr, 4, "lib", nullptr, nullptr, nullptr, nullptr, RYN_SPEC_NATIVE, &spec),
              RYN_INVALID_PARAMETER);
    EXPECT_EQ(rynGetSpec(nullptr, 4, nullptr, nullptr, nullptr, nullptr, parent.spec, RYN_SPEC_NATIVE, &spec),
              RYN_INVALID_PARAMETER);
    EXPECT_EQ(
        rynGetSpec(project.handle, 4, "lib", nullptr, nullptr, nullptr, nullptr, RYN_SPEC_NATIVE, nullptr),
        RYN_INVALID_PARAMETER);
    EXPECT_EQ(ryni_mkspec(nullptr, "lib", nullptr, nullptr, nullptr, nullptr, &spec), RYN_INVALID_PARAMETER);
    EXPECT_EQ(ryni_mkspec(project.handle, "lib", nullptr, nullptr, nullptr, nullptr, nullptr),
              RYN_INVALID_PARAMETER);
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

TEST(GetSpec, NeedsALibraryOrAParent) {
    Project project;
    Made made;
    EXPECT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"c", "v", "f"}, nullptr), RYN_INVALID_PARAMETER);
    EXPECT_EQ(makeSpec(made, project, {"c", "v", "f"}, nullptr), RYN_INVALID_PARAMETER);
}

TEST(GetSpec, ReturnsTheErrorsOfGetPath) {
    Project project("E");
    project.put("e", "c/v/f");
    Made made;
    EXPECT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"c", "v", "f"}), RYN_NO_SUCH_CELL);
    EXPECT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {nullptr, "v", nullptr}), RYN_INVALID_PATH);
    EXPECT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {}, "other"), RYN_LIBRARY_NOT_DEFINED);
    EXPECT_EQ(recorded.fatals, ErrorReports{});
    EXPECT_EQ(getSpec(made, project, 10), RYN_INVALID_PARAMETER);
    EXPECT_EQ(recorded.fatals,
              (ErrorReports{{RYN_INVALID_PARAMETER, "rynGetPath() - 2", "rynGetPath() - 2"}}));
}

TEST(GetSpec, UsesThePathOfTheMode) {
    Project project("E");
    project.put("el", "c/v/f");
    Made made;
    ASSERT_EQ(getSpec(made, project, RYN_PATH_READ, {"c", "v", "f"}), RYN_OK);
    EXPECT_EQ(made.text(), project.path("etmp/c/v/f"));
    ASSERT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"c", "v", "f"}), RYN_OK);
    EXPECT_EQ(made.text(), project.path("lib/c/v/f"));
    ASSERT_EQ(getSpec(made, project, RYN_PATH_WRITE_LIBRARY, {"d", "v", "f"}), RYN_OK);
    EXPECT_EQ(made.text(), project.path("lib/d/v/f"));
    EXPECT_TRUE(project.box.exists("lib/d/v"));
}

TEST(GetSpec, EveryFailedAllocationIsAMemoryError) {
    for (const unsigned flags : {0U, 1U}) {
        Project project;
        project.put("l", "c/v/f");
        int failures = 0;
        for (int nth = 1; nth < 100; ++nth) {
            Made made;
            faults::failAllocation(nth);
            if (getSpec(made, project, RYN_PATH_READ_LIBRARY, {"c", "v", "f"}, "lib", nullptr, flags) == 0) {
                break;
            }
            EXPECT_EQ(made.code, RYN_MEMORY_ERROR) << nth;
            ++failures;
        }
        EXPECT_EQ(failures, 2 + 2 + 4); // inner specifier; outer one and its record; names
        EXPECT_EQ(recorded.fatals, ErrorReports{});
    }
}

TEST(MakeSpec, MakesNoSystemCall) {
    Project project("E");
    rmdir("lib");
    Made made;
    ASSERT_EQ(makeSpec(made, project, {"c", "v", "f"}), RYN_OK);
    EXPECT_EQ(made.text(), project.path("lib/c/v/f"));
    EXPECT_EQ(made.innerImplementation(), "native");
}

TEST(MakeSpec, ReturnsTheErrorsOfLibraryAndPath) {
    Project project;
    Made made;
    EXPECT_EQ(makeSpec(made, project, {}, "other"), RYN_LIBRARY_NOT_DEFINED);
    EXPECT_EQ(makeSpec(made, project, {nullptr, "v", nullptr}), RYN_INVALID_PATH);
    const std::size_t limit = 4092 - project.path("lib").size();
    EXPECT_EQ(makeSpec(made, project, {std::string(limit, 'c').c_str(), nullptr, nullptr}), RYN_OK);
    for (const std::size_t length : {limit + 1, std::size_t{4095}, std::size_t{4096}, std::size_t{4097}}) {
        EXPECT_EQ(makeSpec(made, project, {std::string(length, 'c').c_str(), nullptr, nullptr}),
                  RYN_INVALID_PATH);
    }
}

TEST(MakeSpec, EveryFailedAllocationIsAMemoryError) {
    Project project;
    int failures = 0;
    for (int nth = 1; nth < 100; ++nth) {
        Made made;
        faults::failAllocation(nth);
        if (makeSpec(made, project, {"c", "v", "f"}) == 0) {
            break;
        }
        EXPECT_EQ(made.code, RYN_MEMORY_ERROR) << nth;
        ++failures;
    }
    EXPECT_EQ(failures, 2 + 2 + 4);
}

// ---- rynIsSpecDir()

TEST(IsSpecDir, IsTrueForDirectoriesOnly) {
    Project project;
    project.put("l", "c/f");
    project.box.link("lib/c/d", "../c").link("lib/c/l", "f").link("lib/c/broken", "nowhere");
    project.box.fifo("lib/c/fifo");
    struct Row {
        const char *file;
        int directory;
    };
    for (const Row &row : {Row{nullptr, 1}, Row{"f", 0}, Row{"d", 1}, Row{"l", 0}, Row{"broken", 0},
                           Row{"fifo", 0}, Row{"x", 0}}) {
        Made made;
        ASSERT_EQ(makeSpec(made, project, {"c", nullptr, row.file}), RYN_OK);
        EXPECT_EQ(rynIsSpecDir(made.spec), row.directory) << row.file;
        EXPECT_EQ(rynIsSpecDir(extensionOf(made.spec).inner), row.directory) << row.file;
    }
    EXPECT_EQ(rynIsSpecDir(nullptr), 0);
}

TEST(IsSpecDir, IsFalseIfTheModeCannotBeRead) {
    Packed project;
    Made made;
    ASSERT_EQ(makeSpec(made, project, {"c", nullptr, nullptr}), RYN_OK);
    EXPECT_EQ(rynIsSpecDir(made.spec), 1);
    archives.modeStatus = VEK_FS_NOT_SUPPORTED;
    EXPECT_EQ(rynIsSpecDir(made.spec), 0);
}

// ---- packed libraries

TEST(PackedLibrary, ExistsWhenItHasAnArchive) {
    Project project;
    EXPECT_EQ(ryniZipExists(project.handle, "lib"), 0);
    project.pack("lib.pack");
    EXPECT_EQ(ryniZipExists(project.handle, "lib"), 1);
    EXPECT_EQ(ryniZipExists(nullptr, "lib"), 1);
    EXPECT_EQ(ryniZipExists(project.handle, "other"), 0);
    EXPECT_EQ(ryniZipExists(project.handle, nullptr), 0);
    project.release();
    EXPECT_EQ(ryniZipExists(nullptr, "lib"), 0);
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

TEST(PackedLibrary, ReadModesUseTheArchive) {
    for (const unsigned mode : {0U, 4U}) {
        Packed project;
        Made made;
        ASSERT_EQ(getSpec(made, project, mode, {"c", "v", "f"}), RYN_OK);
        EXPECT_EQ(made.innerImplementation(), "archive");
        EXPECT_EQ(made.text(), "archive:lib/c/v/f");
        EXPECT_EQ(made.names(), "lib,c,v,f");
        EXPECT_EQ(archives.calls, (Calls{"open " + project.path("lib.pack"), "spec lib/c/v/f"}));
        vekFSStat record = {};
        EXPECT_EQ(vekFS_stat(made.spec, &record), VEK_FS_OK);
        EXPECT_EQ(record.status.st_size, 4);
    }
}

TEST(PackedLibrary, IsOpenedOnce) {
    Packed project;
    for (int round = 0; round < 3; ++round) {
        Made made;
        EXPECT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY), RYN_OK);
        EXPECT_EQ(makeSpec(made, project), RYN_OK);
    }
    EXPECT_EQ(std::count(archives.calls.begin(), archives.calls.end(), "open " + project.path("lib.pack")),
              1);
    EXPECT_NE(project.record()->packedArchive, nullptr);
}

TEST(PackedLibrary, TopDirectoryIsTheLastComponentOfItsPath) {
    struct Row {
        const char *fullPath;
        const char *top;
    };
    for (const Row &row : {Row{"/a/b/real", "real"}, Row{"real", "real"}, Row{"/", ""}, Row{"/a/", ""}}) {
        Packed project;
        std::free(project.record()->fullPath);
        project.record()->fullPath = strdup(row.fullPath);
        Made made;
        ASSERT_EQ(makeSpec(made, project, {"c", nullptr, nullptr}), RYN_OK);
        EXPECT_EQ(made.text(), "archive:" + std::string(row.top) + "/c");
    }
}

TEST(PackedLibrary, UnpackedCopyInTemporaryDirectoryComesFirst) {
    for (const unsigned flags : {0U, 1U}) {
        Packed project("E");
        project.put("e", "c/v/f");
        Made made;
        ASSERT_EQ(getSpec(made, project, RYN_PATH_READ, {"c", "v", "f"}, "lib", nullptr, flags), RYN_OK);
        EXPECT_EQ(made.text(), project.path("etmp/c/v/f"));
        EXPECT_EQ(made.innerImplementation(), flags == 0 ? "native" : "vekFSStdio");
        EXPECT_EQ(archives.calls, Calls{});
        ASSERT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"c", "v", "f"}, "lib", nullptr, flags),
                  RYN_OK);
        EXPECT_EQ(made.text(), "archive:lib/c/v/f");
    }
}

TEST(PackedLibrary, FailureInTemporaryDirectoriesContinuesWithTheArchive) {
    Packed project("E");
    Made made;
    ASSERT_EQ(getSpec(made, project, RYN_PATH_READ, {"c", "v", "f"}),
              RYN_OK); // the cell is not in the temporary directory
    EXPECT_EQ(made.text(), "archive:lib/c/v/f");
    project.put("e", "c"); // a file instead of the cell directory
    ASSERT_EQ(getSpec(made, project, RYN_PATH_READ, {"c", "v", "f"}), RYN_OK);
    EXPECT_EQ(made.text(), "archive:lib/c/v/f");
    project.box.directory("gone");
    unlink("etmp/c");
    rmdir("etmp");
    ASSERT_EQ(getSpec(made, project, RYN_PATH_READ, {"c", "v", "f"}), RYN_OK);
    EXPECT_EQ(made.text(), "archive:lib/c/v/f");
}

TEST(PackedLibrary, OtherModesReturnTheCodeOfGetPath) {
    Packed project("E");
    project.put("e", "c/v/f");
    Made made;
    for (const unsigned mode : {1U, 5U, 6U, 7U, 9U, 10U}) {
        EXPECT_EQ(getSpec(made, project, mode, {"c", "v", "f"}), RYN_NOT_FOR_PACKED) << mode;
    }
    for (const unsigned mode : {2U, 3U, 8U}) {
        ASSERT_EQ(getSpec(made, project, mode, {"c", "v", "f"}), RYN_OK) << mode;
        EXPECT_EQ(made.text(), project.path("etmp/c/v/f")) << mode;
    }
    EXPECT_EQ(archives.calls, Calls{});
}

TEST(PackedLibrary, WithoutSupportItsDirectoryIsRead) {
    Project project;
    project.put("l", "c/v/f");
    project.pack("lib.pack");
    Made made;
    ASSERT_EQ(makeSpec(made, project, {"c", "v", "f"}), RYN_OK);
    EXPECT_EQ(made.text(), project.path("lib/c/v/f"));
    EXPECT_EQ(made.innerImplementation(), "native");
    EXPECT_EQ(archives.calls, Calls{});
    // rynGetPath() does not depend on RYN_FLAG_PACKED_LIBRARIES.
    for (const unsigned mode : {0U, 4U}) {
        EXPECT_EQ(getSpec(made, project, mode, {"c", "v", "f"}), RYN_NOT_FOR_PACKED);
    }
    project.handle->flags |= 0xffffffbfU;
    EXPECT_EQ(makeSpec(made, project, {"c", "v", "f"}), RYN_OK);
    EXPECT_EQ(made.innerImplementation(), "native");
    project.handle->flags |= 0x40U;
    EXPECT_EQ(makeSpec(made, project, {"c", "v", "f"}), RYN_SYSTEM_ERROR);
}

TEST(PackedLibrary, FailedOpenMakesItUnpacked) {
    for (const bool query : {true, false}) {
        Packed project;
        project.put("l", "c/v/f");
        archives.calls.clear();
        archives.contents.clear();
        Made made;
        EXPECT_EQ(makeEither(query, made, project, {"c", "v", "f"}, "lib", nullptr), RYN_SYSTEM_ERROR);
        EXPECT_EQ(project.record()->packedFile, nullptr);
        EXPECT_EQ(project.record()->packedArchive, nullptr);
        EXPECT_EQ(ryniZipExists(project.handle, "lib"), 0);
        ASSERT_EQ(makeEither(query, made, project, {"c", "v", "f"}, "lib", nullptr), RYN_OK);
        EXPECT_EQ(made.text(), project.path("lib/c/v/f"));
        EXPECT_EQ(archives.calls, project.onlyOpen());
    }
}

TEST(PackedLibrary, FailedArchiveSpecifierIsAMemoryError) {
    for (const bool query : {true, false}) {
        Packed project;
        archives.createStatus = VEK_FS_NOT_SUPPORTED;
        Made made;
        EXPECT_EQ(makeEither(query, made, project, {"c", nullptr, nullptr}, "lib", nullptr),
                  RYN_MEMORY_ERROR);
    }
}

TEST(PackedLibrary, EveryFailedAllocationIsAMemoryError) {
    for (const bool query : {true, false}) {
        Packed project;
        Made first;
        ASSERT_EQ(makeSpec(first, project), RYN_OK);
        int failures = 0;
        for (int nth = 1; nth < 100; ++nth) {
            Made made;
            faults::failAllocation(nth);
            if (makeEither(query, made, project, {"c", "v", "f"}, "lib", nullptr) == 0) {
                break;
            }
            EXPECT_EQ(made.code, RYN_MEMORY_ERROR) << nth;
            ++failures;
        }
        EXPECT_EQ(failures, 1 + 2 + 4);
        EXPECT_EQ(project.record()->packedFile, project.path("lib.pack"));
    }
}

// ---- paths inside an archive

TEST(PathInArchive, JoinsTheNamesThatAreGiven) {
    Packed project;
    struct Row {
        Names names;
        const char *path;
    };
    for (const Row &row : {Row{{}, "lib"}, Row{{"", "", ""}, "lib"}, Row{{"c", nullptr, nullptr}, "lib/c"},
                           Row{{"c", "v", nullptr}, "lib/c/v"}, Row{{"c", "v", "f"}, "lib/c/v/f"},
                           Row{{"c", nullptr, "f"}, "lib/c/f"}, Row{{nullptr, "v", nullptr}, "lib/v"},
                           Row{{nullptr, nullptr, "a/b"}, "lib/a/b"}}) {
        vek::PathText path;
        std::size_t needed = 0;
        const ryn::ObjectNames names = {row.names.cell, row.names.view, row.names.file};
        EXPECT_EQ(ryn::makePathInArchive(*project.record(), names, path, &needed), RYN_OK);
        EXPECT_EQ(path.view(), row.path);
        EXPECT_EQ(needed, std::strlen(row.path) + 1);
    }
}

TEST(PathInArchive, ReportsTheSizeItNeeds) {
    Packed project;
    for (const std::size_t size : {4095U, 4096U, 5000U}) {
        const std::string cell(size - std::strlen("lib/"), 'c');
        vek::PathText path;
        std::size_t needed = 0;
        EXPECT_EQ(ryn::makePathInArchive(*project.record(), {.cell = cell.c_str()}, path, &needed),
                  size < VEK_PATH_SIZE ? RYN_OK : RYN_BUFFER_TOO_SMALL);
        EXPECT_EQ(needed, size + 1);
        EXPECT_EQ(path.size(), size < VEK_PATH_SIZE ? size : 0);
    }
}

TEST(PathInArchive, HasAtMost4095Characters) {
    for (const bool query : {true, false}) {
        Packed project("", Existence::Unchecked);
        Made made;
        const std::size_t limit = 4095 - std::strlen("lib/");
        for (const std::size_t length : {limit + 1, limit + 2, std::size_t{4095}, std::size_t{4096}}) {
            const std::string cell(length, 'c');
            EXPECT_EQ(makeEither(query, made, project, {cell.c_str(), nullptr, nullptr}, "lib", nullptr),
                      RYN_BUFFER_TOO_SMALL)
                << length;
        }
        const std::string longest(limit, 'c');
        EXPECT_EQ(makeEither(query, made, project, {longest.c_str(), nullptr, nullptr}, "lib", nullptr),
                  RYN_OK);
    }
}

TEST(PathInArchive, MakeSpecFormsItBeforeOpeningTheArchive) {
    Packed project;
    archives.contents.clear();
    Made made;
    EXPECT_EQ(makeSpec(made, project, {std::string(4095, 'c').c_str(), nullptr, nullptr}),
              RYN_BUFFER_TOO_SMALL);
    EXPECT_EQ(archives.calls, Calls{});
    EXPECT_EQ(
        getSpec(made, project, RYN_PATH_READ_LIBRARY, {std::string(4095, 'c').c_str(), nullptr, nullptr}),
        RYN_SYSTEM_ERROR);
}

// ---- objects that are not in the archive

TEST(ObjectInArchive, NeedNotExistIfPathsNeedNotExist) {
    Packed project("", Existence::Unchecked);
    archives.statStatus["lib"] = EIO;
    Made made;
    EXPECT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"x", "y", "z"}), RYN_OK);
    EXPECT_EQ(archives.calls, (Calls{"open " + project.path("lib.pack"), "spec lib/x/y/z"}));
}

TEST(ObjectInArchive, ReturnsTheMissingLevel) {
    Packed project;
    Made made;
    EXPECT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"c", "v", "x"}), RYN_NO_SUCH_FILE);
    EXPECT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"c", "x", "f"}), RYN_NO_SUCH_VIEW);
    EXPECT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"c", "x", nullptr}), RYN_NO_SUCH_VIEW);
    EXPECT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"x", "v", "f"}), RYN_NO_SUCH_CELL);
    EXPECT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"x", nullptr, nullptr}), RYN_NO_SUCH_CELL);
    EXPECT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"x", "", "f"}), RYN_NO_SUCH_CELL);
    EXPECT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {nullptr, nullptr, "x"}), RYN_NO_SUCH_FILE);
    archives.statStatus["lib"] = ENOENT;
    for (const Names &names : {Names{"x", "v", "f"}, Names{"x", nullptr, nullptr},
                               Names{nullptr, "x", nullptr}, Names{nullptr, nullptr, "x"}, Names{}}) {
        EXPECT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, names), RYN_NO_SUCH_DIRECTORY);
    }
}

TEST(ObjectInArchive, ReturnsTheDeniedLevel) {
    struct Row {
        const char *path;
        int denied;
    };
    const std::vector<Row> rows = {{"lib", RYN_PERMISSION_DENIED_LIBRARY},
                                   {"lib/c", RYN_PERMISSION_DENIED_CELL},
                                   {"lib/c/v", RYN_PERMISSION_DENIED_VIEW},
                                   {"lib/c/v/f", RYN_PERMISSION_DENIED_FILE}};
    for (std::size_t first = 0; first < rows.size(); ++first) {
        Packed project;
        for (std::size_t level = first; level < rows.size(); ++level) {
            archives.statStatus[rows[level].path] = EACCES;
        }
        Made made;
        EXPECT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"c", "v", "f"}), rows[first].denied);
        archives.statStatus[rows[first].path] = EIO;
        EXPECT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"c", "v", "f"}), RYN_SYSTEM_ERROR);
    }
}

TEST(ObjectInArchive, FreesTheSpecifierOfEveryLevel) {
    Packed project;
    archives.statStatus = {{"lib", ENOENT}, {"lib/c", ENOENT}, {"lib/c/v", ENOENT}, {"lib/c/v/f", ENOENT}};
    Made made;
    EXPECT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"c", "v", "f"}), RYN_NO_SUCH_DIRECTORY);
    for (const char *path : {"lib", "lib/c", "lib/c/v", "lib/c/v/f"}) {
        EXPECT_EQ(std::count(archives.calls.begin(), archives.calls.end(), std::string("spec ") + path), 1);
        EXPECT_EQ(std::count(archives.calls.begin(), archives.calls.end(), std::string("free ") + path), 1);
    }
}

TEST(ObjectInArchive, StopsAtTheFirstExistingLevel) {
    Packed project;
    Made made;
    EXPECT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"c", "v", "x"}), RYN_NO_SUCH_FILE);
    EXPECT_EQ(archives.calls, (Calls{"open " + project.path("lib.pack"), "spec lib/c/v/x", "free lib/c/v/x",
                                     "spec lib/c/v", "free lib/c/v"}));
}

// ---- rynInvalidatePackedLib()

TEST(InvalidatePackedLib, RenamesTheArchive) {
    for (const unsigned support : {0U, unsigned{RYN_FLAG_PACKED_LIBRARIES}}) {
        Project project("", Existence::Checked, support);
        project.put("l", "c/v/f");
        project.box.file("lib.pack", "packed");
        project.pack(project.path("lib.pack"));
        EXPECT_EQ(rynInvalidatePackedLib(project.handle, "lib"), RYN_OK);
        EXPECT_FALSE(project.box.exists("lib.pack"));
        EXPECT_EQ(project.box.read("lib.pack%"), "packed");
        EXPECT_EQ(project.record()->packedFile, nullptr);
        Made made;
        ASSERT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY, {"c", "v", "f"}), RYN_OK);
        EXPECT_EQ(made.text(), project.path("lib/c/v/f"));
        EXPECT_EQ(archives.calls, Calls{});
    }
}

TEST(InvalidatePackedLib, ClosesAnOpenArchive) {
    Packed project;
    {
        Made made;
        ASSERT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY), RYN_OK);
    }
    archives.calls.clear();
    EXPECT_EQ(rynInvalidatePackedLib(project.handle, "lib"), RYN_OK);
    EXPECT_EQ(archives.calls, Calls{"close " + project.path("lib.pack")});
    EXPECT_EQ(project.record()->packedArchive, nullptr);
    EXPECT_EQ(rynInvalidatePackedLib(project.handle, "lib"), RYN_LIBRARY_NOT_DEFINED);
}

TEST(InvalidatePackedLib, UnknownOrUnpackedLibraryIsNotDefined) {
    Project project;
    project.box.file("lib.pack", "").file("lib.pack%", "kept");
    EXPECT_EQ(rynInvalidatePackedLib(project.handle, "lib"), RYN_LIBRARY_NOT_DEFINED);
    EXPECT_EQ(rynInvalidatePackedLib(project.handle, "other"), RYN_LIBRARY_NOT_DEFINED);
    EXPECT_TRUE(project.box.exists("lib.pack"));
    EXPECT_EQ(project.box.read("lib.pack%"), "kept");
}

TEST(InvalidatePackedLib, FailedRenameChangesNothing) {
    Packed project;
    Made made;
    ASSERT_EQ(getSpec(made, project, RYN_PATH_READ_LIBRARY), RYN_OK);
    vekZip *const open = project.record()->packedArchive;
    archives.calls.clear();
    faults::fail("rename", 1, EACCES);
    EXPECT_EQ(rynInvalidatePackedLib(project.handle, "lib"), RYN_SYSTEM_ERROR);
    faults::failAllocation(1);
    EXPECT_EQ(rynInvalidatePackedLib(project.handle, "lib"), RYN_SYSTEM_ERROR);
    EXPECT_EQ(project.record()->packedFile, project.path("lib.pack"));
    EXPECT_EQ(project.record()->packedArchive, open);
    EXPECT_EQ(project.box.read("lib.pack"), "packed");
    EXPECT_EQ(archives.calls, Calls{});
    unlink("lib.pack");
    EXPECT_EQ(rynInvalidatePackedLib(project.handle, "lib"), RYN_SYSTEM_ERROR);
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

TEST(InvalidatePackedLib, AcceptsAnyFileName) {
    Project project;
    for (const std::string &name : {std::string("%s%n"), std::string("a b"), std::string(254, 'p')}) {
        project.box.file(name, "");
        project.pack(project.path(name));
        EXPECT_EQ(rynInvalidatePackedLib(project.handle, "lib"), RYN_OK);
        EXPECT_TRUE(project.box.exists(name + "%"));
    }
    for (const std::size_t length : {255U, 4095U, 4096U, 100'000U}) {
        project.pack(project.path(std::string(length, 'p')));
        EXPECT_EQ(rynInvalidatePackedLib(project.handle, "lib"), RYN_SYSTEM_ERROR) << length;
    }
}

TEST(InvalidatePackedLib, ReportsMissingArgumentsAndUsesTheDefaultHandle) {
    Project project;
    const ErrorReports report = {
        {RYN_INVALID_PARAMETER, "rynInvalidatePackedLib()", "rynInvalidatePackedLib()"}};
    EXPECT_EQ(rynInvalidatePackedLib(nullptr, "lib"), RYN_LIBRARY_NOT_DEFINED);
    EXPECT_EQ(rynInvalidatePackedLib(project.handle, nullptr), RYN_INVALID_PARAMETER);
    EXPECT_EQ(recorded.fatals, report);
    project.release();
    recorded.fatals.clear();
    EXPECT_EQ(rynInvalidatePackedLib(nullptr, "lib"), RYN_INVALID_PARAMETER);
    EXPECT_EQ(recorded.fatals, report);
}
