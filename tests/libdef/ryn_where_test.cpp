// Locations of libraries, attributes and files; definition queries.

#include "tests/libdef/project_support.h"
#include "tests/support/faults.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <unistd.h>

namespace faults = test::faults;
using test::Definitions;
using test::ErrorReports;
using test::recorded;

namespace {

/// The location that a Where query stores, or its code.
struct Location {
    int code;
    std::string file;
    int line;

    bool operator==(const Location &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Location &location) {
    return out << "{" << location.code << ", " << location.file << ", " << location.line << "}";
}

/// Calls a Where query with outputs that are not null.
template <typename Query, typename... Arguments>
Location locate(Query query, Arguments... arguments) {
    const char *file = "untouched";
    int line = -1;
    const int code = query(arguments..., &file, &line);
    return {code, test::textOf(file), line};
}

Location failed(int code) {
    return {code, "(null)", 0};
}

/// Two libraries in two files, attributes, a global temporary root.
struct Project : Definitions {
    Project() {
        box.directory("a").directory("b").directory("t").directory("g");
        box.file("sub/more.lib", "# more\nDEFINE b ../b\n\nASSIGN b tmp ../t\n");
        EXPECT_EQ(load("DEFINE a a\nINCLUDE sub/more.lib\nASSIGN a color red\nASSIGN a Color blue\n"
                       "ASSIGN a shape round\n"),
                  0);
        EXPECT_EQ(recorded.diagnostics, test::Diagnostics{});
    }
    [[nodiscard]] std::string top() const { return path("vek.lib"); }
    [[nodiscard]] std::string more() const { return path("sub/more.lib"); }
};

} // namespace

// ---- libraries

TEST(WhereDefined, ReturnsFileAndLine) {
    const Project project;
    EXPECT_EQ(locate(rynWhereDefined, project.handle, "a"), (Location{RYN_OK, project.top(), 1}));
    EXPECT_EQ(locate(rynWhereDefined, project.handle, "b"), (Location{RYN_OK, project.more(), 2}));
}

TEST(WhereDefined, ReturnsTheLatestDefinition) {
    Definitions definitions;
    definitions.box.directory("a").directory("b");
    definitions.box.file("first.lib", "DEFINE a a\n");
    definitions.box.file("second.lib", "\n\nDEFINE a b\n");
    ASSERT_EQ(definitions.load("INCLUDE first.lib\nINCLUDE second.lib\n"), 0);
    EXPECT_EQ(locate(rynWhereDefined, definitions.handle, "a"),
              (Location{RYN_OK, definitions.path("second.lib"), 3}));
}

TEST(WhereDefined, PointsIntoTheRegistry) {
    const Project project;
    const char *file = nullptr;
    int line = 0;
    ASSERT_EQ(rynWhereDefined(project.handle, "a", &file, &line), 0);
    EXPECT_EQ(file, project.handle->files.head->path);
}

TEST(WhereDefined, WithoutLocationIsAnInternalError) {
    const Project project;
    project.library("a")->definedIn = nullptr;
    EXPECT_EQ(locate(rynWhereDefined, project.handle, "a"), failed(RYN_INTERNAL_ERROR));
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

TEST(WhereDefined, UnknownNameIsNotDefined) {
    const Project project;
    for (const char *name : {"c", "", "A", "a "}) {
        EXPECT_EQ(locate(rynWhereDefined, project.handle, name), failed(RYN_LIBRARY_NOT_DEFINED)) << name;
        EXPECT_EQ(rynIsDefined(project.handle, name), RYN_LIBRARY_NOT_DEFINED) << name;
    }
}

TEST(IsDefined, FollowsTheCaseRule) {
    const Project project;
    EXPECT_EQ(rynIsDefined(project.handle, "a"), 0);
    EXPECT_EQ(rynIsDefined(project.handle, "b"), 0);
    EXPECT_EQ(rynIsDefined(project.handle, "A"), RYN_LIBRARY_NOT_DEFINED);
    Definitions definitions(test::Environment{{"VEK_ALT_NMP", "match"}});
    definitions.box.directory("a");
    ASSERT_EQ(definitions.load("DEFINE Lib a\n"), 0);
    EXPECT_EQ(rynIsDefined(definitions.handle, "lIB"), 0);
    EXPECT_EQ(locate(rynWhereDefined, definitions.handle, "LIB"),
              (Location{RYN_OK, definitions.path("vek.lib"), 1}));
}

// ---- attributes

TEST(WhereAssigned, ReturnsTheStatementThatLastSetIt) {
    const Project project;
    EXPECT_EQ(locate(rynWhereAssigned, project.handle, "a", "COLOR"), (Location{RYN_OK, project.top(), 4}));
    EXPECT_EQ(locate(rynWhereAssigned, project.handle, "a", "SHAPE"), (Location{RYN_OK, project.top(), 5}));
    EXPECT_EQ(locate(rynWhereAssigned, project.handle, "b", "TMP"), (Location{RYN_OK, project.more(), 4}));
}

TEST(WhereAssigned, SearchesTheNameInUpperCase) {
    const Project project;
    for (const char *name : {"tmp", "TMP", "tMp"}) {
        EXPECT_EQ(locate(rynWhereAssigned, project.handle, "b", name), (Location{RYN_OK, project.more(), 4}))
            << name;
        EXPECT_EQ(rynIsAssigned(project.handle, "b", name), 0) << name;
    }
    for (const char *name : {"", "TM", "TMPX", " TMP"}) {
        EXPECT_EQ(locate(rynWhereAssigned, project.handle, "b", name), failed(RYN_ATTRIBUTE_NOT_ASSIGNED))
            << name;
        EXPECT_EQ(rynIsAssigned(project.handle, "b", name), RYN_ATTRIBUTE_NOT_ASSIGNED) << name;
    }
}

TEST(WhereAssigned, ComparesTheStoredNameExactly) {
    const Project project;
    project.library("b")->attributes->name[0] = 't';
    EXPECT_EQ(rynIsAssigned(project.handle, "b", "tMP"), RYN_ATTRIBUTE_NOT_ASSIGNED);
    EXPECT_EQ(rynIsAssigned(project.handle, "b", "TMP"), RYN_ATTRIBUTE_NOT_ASSIGNED);
}

TEST(WhereAssigned, AcceptsAnyBytes) {
    const Project project;
    EXPECT_EQ(rynIsAssigned(project.handle, "b", "\xe4\xff\x80"), RYN_ATTRIBUTE_NOT_ASSIGNED);
    EXPECT_EQ(rynIsAssigned(project.handle, "b", std::string(100'000, 'x').c_str()),
              RYN_ATTRIBUTE_NOT_ASSIGNED);
}

TEST(WhereAssigned, WithoutFileIsAnInternalError) {
    const Project project;
    project.library("b")->attributes->file = nullptr;
    EXPECT_EQ(locate(rynWhereAssigned, project.handle, "b", "tmp"), failed(RYN_INTERNAL_ERROR));
    EXPECT_EQ(rynIsAssigned(project.handle, "b", "tmp"), 0);
}

TEST(WhereAssigned, ChecksTheLibraryBeforeTheAttribute) {
    const Project project;
    EXPECT_EQ(locate(rynWhereAssigned, project.handle, "c", "tmp"), failed(RYN_LIBRARY_NOT_DEFINED));
    EXPECT_EQ(locate(rynWhereAssigned, project.handle, "a", "tmp"), failed(RYN_ATTRIBUTE_NOT_ASSIGNED));
    EXPECT_EQ(rynIsAssigned(project.handle, "c", "tmp"), RYN_LIBRARY_NOT_DEFINED);
}

// ---- the global temporary root

TEST(WhereGlobalExplicitTmp, ReturnsTheNewestStatement) {
    Definitions definitions;
    definitions.box.directory("a").directory("g").directory("h");
    definitions.box.file("more.lib", "\nASSIGN AllLibs TmpRootDir h\n");
    ASSERT_EQ(definitions.load("DEFINE a a\nASSIGN AllLibs TmpRootDir g\nINCLUDE more.lib\n"), 0);
    EXPECT_EQ(locate(rynWhereGlobalExplicitTmp, definitions.handle),
              (Location{RYN_OK, definitions.path("more.lib"), 2}));
}

TEST(WhereGlobalExplicitTmp, IsNotAssignedWithoutOne) {
    const Project project;
    EXPECT_EQ(locate(rynWhereGlobalExplicitTmp, project.handle), failed(RYN_ATTRIBUTE_NOT_ASSIGNED));
}

TEST(WhereGlobalExplicitTmp, AcceptsNullOutputs) {
    Definitions definitions;
    definitions.box.directory("g");
    ASSERT_EQ(definitions.load("ASSIGN AllLibs TmpRootDir g\n"), 0);
    EXPECT_EQ(rynWhereGlobalExplicitTmp(definitions.handle, nullptr, nullptr), 0);
    int line = -1;
    EXPECT_EQ(rynWhereGlobalExplicitTmp(definitions.handle, nullptr, &line), 0);
    EXPECT_EQ(line, 1);
    const char *file = nullptr;
    EXPECT_EQ(rynWhereGlobalExplicitTmp(definitions.handle, &file, nullptr), 0);
    EXPECT_EQ(definitions.path("vek.lib"), test::textOf(file));
}

// ---- files

TEST(WhereIncluded, ReturnsTheIncludeStatement) {
    const Project project;
    for (const std::string &name : {project.more(), std::string("sub/more.lib"),
                                    std::string("./sub//../sub/more.lib"), project.path("sub/./more.lib")}) {
        EXPECT_EQ(locate(rynWhereIncluded, project.handle, name.c_str()),
                  (Location{RYN_OK, project.top(), 2}))
            << name;
        EXPECT_EQ(rynIsIncluded(project.handle, name.c_str()), 0) << name;
    }
}

TEST(WhereIncluded, TopFileHasNoLocation) {
    const Project project;
    EXPECT_EQ(locate(rynWhereIncluded, project.handle, "vek.lib"), (Location{RYN_OK, "(null)", 0}));
    EXPECT_EQ(rynIsIncluded(project.handle, "vek.lib"), 0);
}

TEST(WhereIncluded, ComparesNslPaths) {
    Project project;
    project.box.link("alias", "sub").link("one.lib", "alias/more.lib");
    EXPECT_EQ(locate(rynWhereIncluded, project.handle, "alias/more.lib"),
              (Location{RYN_OK, project.top(), 2}));
    EXPECT_EQ(locate(rynWhereIncluded, project.handle, "one.lib"), (Location{RYN_OK, project.top(), 2}));
}

TEST(WhereIncluded, RelativePathCountsFromTheWorkingDirectory) {
    const Project project;
    ASSERT_EQ(chdir("sub"), 0);
    EXPECT_EQ(locate(rynWhereIncluded, project.handle, "more.lib"), (Location{RYN_OK, project.top(), 2}));
    EXPECT_EQ(rynIsIncluded(project.handle, "../vek.lib"), 0);
    EXPECT_EQ(rynIsIncluded(project.handle, "sub/more.lib"), RYN_FILE_NOT_INCLUDED);
}

TEST(WhereIncluded, ExpandsVariables) {
    const Project project;
    test::setEnvironment({{"WHERE", project.path("sub")}});
    EXPECT_EQ(rynIsIncluded(project.handle, "$WHERE/more.lib"), 0);
    EXPECT_EQ(rynIsIncluded(project.handle, "${WHERE}/more.lib"), 0);
}

TEST(WhereIncluded, OtherFileIsNotIncluded) {
    const Project project;
    for (const char *name : {"a", "nothing", "/", "", "sub/more.lib/x"}) {
        EXPECT_EQ(locate(rynWhereIncluded, project.handle, name), failed(RYN_FILE_NOT_INCLUDED)) << name;
        EXPECT_EQ(rynIsIncluded(project.handle, name), RYN_FILE_NOT_INCLUDED) << name;
    }
}

TEST(WhereIncluded, ReturnsTheCodesOfPathGeneration) {
    Project project;
    project.box.link("self", "self").link("one", "two/x").link("two", "one");
    const auto expectCode = [&](const char *name, int code) {
        EXPECT_EQ(locate(rynWhereIncluded, project.handle, name), failed(code)) << name;
        EXPECT_EQ(rynIsIncluded(project.handle, name), code) << name;
    };
    expectCode("~nosuchuser/x", RYN_INVALID_PATH);
    expectCode("/../x", RYN_INTERNAL_ERROR);
    expectCode("self", RYN_INTERNAL_ERROR);
    expectCode("one/x", RYN_INTERNAL_ERROR);
    expectCode("$UNSET/vek.lib", RYN_INTERNAL_ERROR);
    test::setEnvironment({{"A", "$B"}, {"B", "${A}"}, {"LONG", std::string(4092, '/')}});
    expectCode("$A/vek.lib", RYN_INVALID_PATH);
    expectCode("$LONG/abc", RYN_INVALID_PATH);
    expectCode("$LONG/ab", RYN_FILE_NOT_INCLUDED);
    for (const std::size_t length : {4096U, 4097U, 100'000U}) {
        expectCode(std::string(length, '/').c_str(), RYN_INVALID_PATH);
    }
    expectCode(std::string(4095, '/').c_str(), RYN_FILE_NOT_INCLUDED);
    rynSetPathNoneExistWarnFlag(1);
    expectCode("nothing", RYN_INVALID_PATH);
    rynSetPathNoneExistWarnFlag(0);
}

TEST(WhereIncluded, FailedGetcwdIsASystemError) {
    const Project project;
    faults::failFrom("getcwd", 1, ENOENT);
    EXPECT_EQ(locate(rynWhereIncluded, project.handle, "vek.lib"), failed(RYN_SYSTEM_ERROR));
    EXPECT_EQ(rynIsIncluded(project.handle, "vek.lib"), RYN_SYSTEM_ERROR);
    // A rooted path does not need the working directory.
    EXPECT_EQ(rynIsIncluded(project.handle, project.top().c_str()), 0);
}

TEST(WhereIncluded, EmptyRegistryHasNoFiles) {
    Definitions definitions;
    ASSERT_EQ(rynInit(nullptr, 0, nullptr, test::recordFatal, &definitions.handle), 0);
    EXPECT_EQ(rynIsIncluded(definitions.handle, "vek.lib"), RYN_FILE_NOT_INCLUDED);
}

TEST(WhereIncluded, SkipsARecordWithoutAPath) {
    const Project project;
    rynIncludedFile nameless = {project.handle->files.head, nullptr, nullptr, nullptr, 0};
    rynIncludedFile *const head = project.handle->files.head;
    project.handle->files.head = &nameless;
    EXPECT_EQ(rynIsIncluded(project.handle, "vek.lib"), 0);
    project.handle->files.head = head;
}

// ---- temporary directories

TEST(LibHasTmp, DistinguishesTheKinds) {
    constexpr unsigned kAll = RYN_TMP_EXPLICIT | RYN_TMP_GLOBAL | RYN_TMP_IMPLICIT;
    struct Row {
        const char *library;
        bool implicit;
        unsigned kinds; ///< RYN_TMP_... of the library
    };
    for (const Row &row : {Row{"own", false, RYN_TMP_EXPLICIT}, Row{"other", false, RYN_TMP_GLOBAL},
                           Row{"own", true, RYN_TMP_EXPLICIT | RYN_TMP_IMPLICIT},
                           Row{"other", true, RYN_TMP_GLOBAL | RYN_TMP_IMPLICIT}}) {
        Definitions definitions;
        definitions.box.directory("a").directory("b").directory("t").directory("g").directory("i");
        ASSERT_EQ(definitions.load("DEFINE own a\nASSIGN own TMP t\nDEFINE other b\n"
                                   "ASSIGN AllLibs TmpRootDir g\n"),
                  0);
        if (row.implicit) {
            ASSERT_EQ(rynSetImplicitTmp(definitions.handle, definitions.path("i").c_str(), RYN_IMPLICIT_ONLY,
                                        nullptr),
                      0);
        }
        for (unsigned which = 0; which <= kAll; ++which) {
            const int expected = (which & row.kinds) != 0 ? 0 : RYN_ATTRIBUTE_NOT_ASSIGNED;
            EXPECT_EQ(rynLibHasTmp(definitions.handle, row.library, which), expected)
                << row.library << row.implicit << which;
        }
        EXPECT_EQ(rynLibHasTmp(definitions.handle, row.library, ~kAll), RYN_ATTRIBUTE_NOT_ASSIGNED);
    }
}

TEST(LibHasTmp, IsNotAssignedWithoutAny) {
    const Project project;
    EXPECT_EQ(rynLibHasTmp(project.handle, "a", 7), RYN_ATTRIBUTE_NOT_ASSIGNED);
    // The global flag without a path is not a temporary directory.
    project.library("a")->flags |= ryn::kTmpFromGlobal;
    EXPECT_EQ(rynLibHasTmp(project.handle, "a", 7), RYN_ATTRIBUTE_NOT_ASSIGNED);
}

TEST(LibHasTmp, ReportsNothing) {
    Project project;
    EXPECT_EQ(rynLibHasTmp(project.handle, "c", 7), RYN_LIBRARY_NOT_DEFINED);
    EXPECT_EQ(rynLibHasTmp(project.handle, nullptr, 7), RYN_INVALID_PARAMETER);
    EXPECT_EQ(rynLibHasTmp(nullptr, "b", RYN_TMP_EXPLICIT), 0);
    project.release();
    EXPECT_EQ(rynLibHasTmp(nullptr, "b", 7), RYN_INVALID_PARAMETER);
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

// ---- arguments

namespace {

/// Calls every query of this file with a null handle and valid names.
struct Call {
    const char *context;
    std::function<int(rynHandle)> call;
};

const char *fileOut;
int lineOut;

const std::vector<Call> kCalls = {
    {"rynWhereDefined()", [](rynHandle handle) { return rynWhereDefined(handle, "a", &fileOut, &lineOut); }},
    {"rynWhereAssigned()",
     [](rynHandle handle) { return rynWhereAssigned(handle, "a", "color", &fileOut, &lineOut); }},
    {"rynWhereGlobalExplicitTmp()",
     [](rynHandle handle) { return rynWhereGlobalExplicitTmp(handle, &fileOut, &lineOut); }},
    {"rynWhereIncluded()",
     [](rynHandle handle) { return rynWhereIncluded(handle, "vek.lib", &fileOut, &lineOut); }},
    {"rynIsDefined()", [](rynHandle handle) { return rynIsDefined(handle, "a"); }},
    {"rynIsAssigned()", [](rynHandle handle) { return rynIsAssigned(handle, "a", "color"); }},
    {"rynIsIncluded()", [](rynHandle handle) { return rynIsIncluded(handle, "vek.lib"); }},
};

} // namespace

TEST(WhereQueries, NullHandleIsTheDefaultHandleOrReported) {
    Project project;
    for (const Call &call : kCalls) {
        const int expected =
            call.context == std::string("rynWhereGlobalExplicitTmp()") ? RYN_ATTRIBUTE_NOT_ASSIGNED : 0;
        EXPECT_EQ(call.call(nullptr), expected) << call.context;
    }
    project.release();
    for (const Call &call : kCalls) {
        recorded.fatals.clear();
        fileOut = "untouched";
        lineOut = -1;
        EXPECT_EQ(call.call(nullptr), RYN_INVALID_PARAMETER) << call.context;
        EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_INVALID_PARAMETER, call.context, call.context}}));
        if (call.context[3] == 'W') {
            EXPECT_EQ(fileOut, nullptr) << call.context;
            EXPECT_EQ(lineOut, 0) << call.context;
        }
    }
}

TEST(WhereQueries, ReportMissingArguments) {
    const Project project;
    const char *file = nullptr;
    int line = 0;
    const auto expectReport = [](int code, const char *context) {
        EXPECT_EQ(code, RYN_INVALID_PARAMETER);
        EXPECT_EQ(recorded.fatals, (ErrorReports{{RYN_INVALID_PARAMETER, context, context}}));
        recorded.fatals.clear();
    };
    rynHandle handle = project.handle;
    expectReport(rynWhereDefined(handle, nullptr, &file, &line), "rynWhereDefined()");
    expectReport(rynWhereDefined(handle, "a", nullptr, &line), "rynWhereDefined()");
    expectReport(rynWhereDefined(handle, "a", &file, nullptr), "rynWhereDefined()");
    expectReport(rynWhereAssigned(handle, nullptr, "x", &file, &line), "rynWhereAssigned()");
    expectReport(rynWhereAssigned(handle, "a", nullptr, &file, &line), "rynWhereAssigned()");
    expectReport(rynWhereAssigned(handle, "a", "x", nullptr, &line), "rynWhereAssigned()");
    expectReport(rynWhereAssigned(handle, "a", "x", &file, nullptr), "rynWhereAssigned()");
    expectReport(rynWhereIncluded(handle, nullptr, &file, &line), "rynWhereIncluded()");
    expectReport(rynWhereIncluded(handle, "x", nullptr, &line), "rynWhereIncluded()");
    expectReport(rynWhereIncluded(handle, "x", &file, nullptr), "rynWhereIncluded()");
    expectReport(rynIsDefined(handle, nullptr), "rynIsDefined()");
    expectReport(rynIsAssigned(handle, nullptr, "x"), "rynIsAssigned()");
    expectReport(rynIsAssigned(handle, "a", nullptr), "rynIsAssigned()");
    expectReport(rynIsIncluded(handle, nullptr), "rynIsIncluded()");
}

TEST(WhereQueries, SingleStatementHasAnEmptyPath) {
    Project project;
    project.box.directory("c").file("late.lib", "DEFINE d d\n");
    const Location statement = {RYN_OK, "", 0};
    rynAddCommand(project.handle, "DEFINE c c");
    EXPECT_EQ(locate(rynWhereDefined, project.handle, "c"), statement);
    rynAddCommand(project.handle, "ASSIGN a COLOR green");
    EXPECT_EQ(locate(rynWhereAssigned, project.handle, "a", "color"), statement);
    rynAddCommand(project.handle, "ASSIGN AllLibs TmpRootDir g");
    EXPECT_EQ(locate(rynWhereGlobalExplicitTmp, project.handle), statement);
    rynAddCommand(project.handle, "INCLUDE late.lib");
    EXPECT_EQ(locate(rynWhereIncluded, project.handle, "late.lib"), statement);
    EXPECT_EQ(locate(rynWhereDefined, project.handle, "d"), (Location{RYN_OK, project.path("late.lib"), 1}));
    EXPECT_EQ(rynIsIncluded(project.handle, ""), RYN_FILE_NOT_INCLUDED);
}

TEST(WhereQueries, ClearTheirOutputsBeforeTheyFail) {
    const Project project;
    EXPECT_EQ(locate(rynWhereDefined, project.handle, static_cast<const char *>(nullptr)),
              failed(RYN_INVALID_PARAMETER));
    EXPECT_EQ(locate(rynWhereAssigned, project.handle, "a", static_cast<const char *>(nullptr)),
              failed(RYN_INVALID_PARAMETER));
    EXPECT_EQ(locate(rynWhereIncluded, project.handle, static_cast<const char *>(nullptr)),
              failed(RYN_INVALID_PARAMETER));
    int line = -1;
    EXPECT_EQ(rynWhereDefined(project.handle, "a", nullptr, &line), RYN_INVALID_PARAMETER);
    EXPECT_EQ(line, 0);
    const char *file = "untouched";
    EXPECT_EQ(rynWhereDefined(project.handle, "a", &file, nullptr), RYN_INVALID_PARAMETER);
    EXPECT_EQ(file, nullptr);
}
