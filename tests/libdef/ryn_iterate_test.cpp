// Iteration contexts: creation, next-item functions, end.

#include "tests/libdef/archive_support.h"
#include "tests/libdef/iteration_support.h"
#include "tests/support/faults.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace faults = test::faults;
using test::Definitions;
using test::DiskIterator;
using test::diskIterators;
using test::ErrorReports;
using test::Existence;
using test::failed;
using test::gathered;
using test::Iteration;
using test::levelOf;
using test::NameList;
using test::Project;
using test::recorded;

namespace {

void expectReport(int code, const char *context, int expected = RYN_INVALID_PARAMETER) {
    EXPECT_EQ(code, expected) << context;
    EXPECT_EQ(recorded.fatals, (ErrorReports{{expected, context, context}}));
    recorded.fatals.clear();
}

/// The names that an iterator of the type finds if there is only the view `c/v`.
NameList directoriesAt(int type) {
    return type == 1 ? NameList{"c"} : type == 2 ? NameList{"v"} : NameList{};
}

/// A context of every type, indexed by type.
struct AllContexts {
    Project project{"E"};
    std::array<Iteration, 9> byType;

    AllContexts() {
        project.putDirectory("le", "c/v/s");
        project.put("l", "c/v/s/f.x");
        project.put("l", "c/v/f.x");
        project.put("l", "c/f.x");
        project.put("l", "f.x");
        EXPECT_EQ(rynIterateLibs(project.handle, byType[0].out()), RYN_OK);
        for (int type = 1; type <= 6; ++type) {
            EXPECT_EQ(byType[static_cast<std::size_t>(type)].begin(project, type), 0);
        }
        EXPECT_EQ(rynIterateVekLibFiles(project.handle, byType[7].out()), RYN_OK);
        EXPECT_EQ(rynIterateAttrs(project.handle, "lib", byType[8].out()), RYN_OK);
    }
};

} // namespace

// ---- contexts over lists of the registry

TEST(IterateLibs, ReturnsLibrariesInDefinitionOrder) {
    Definitions definitions;
    definitions.box.directory("a").directory("b").directory("c");
    ASSERT_EQ(definitions.load("DEFINE z a\nDEFINE a b\nDEFINE m c\n"), RYN_OK);
    Iteration iteration;
    ASSERT_EQ(rynIterateLibs(definitions.handle, iteration.out()), RYN_OK);
    EXPECT_EQ(iteration.context->handle, definitions.handle);
    EXPECT_EQ(iteration.context->type, RYNI_CONTEXT_LIBRARIES);
    EXPECT_EQ(iteration.context->list, definitions.handle->libraries.head);
    const char *name = nullptr;
    ASSERT_EQ(rynNextLib(iteration.context, &name), RYN_OK);
    EXPECT_EQ(name, definitions.library("z")->name);
    EXPECT_EQ(iteration.rest(), (NameList{"a", "m"}));
}

TEST(IterateLibs, OfAnEmptyRegistryIsComplete) {
    Definitions definitions;
    ASSERT_EQ(rynInit(nullptr, 0, nullptr, test::recordFatal, &definitions.handle), RYN_OK);
    Iteration iteration;
    ASSERT_EQ(rynIterateLibs(definitions.handle, iteration.out()), RYN_OK);
    const char *name = nullptr;
    EXPECT_EQ(rynNextLib(iteration.context, &name), RYN_ITERATION_COMPLETE);
    ASSERT_EQ(rynIterateVekLibFiles(definitions.handle, iteration.out()), RYN_OK);
    EXPECT_EQ(rynNextFile(iteration.context, &name), RYN_ITERATION_COMPLETE);
}

TEST(IterateVekLibFiles, ReturnsFullPathsInOrderOfOpening) {
    Definitions definitions;
    definitions.box.file("one.lib", "INCLUDE two.lib\n").file("two.lib", "").file("three.lib", "");
    ASSERT_EQ(definitions.load("INCLUDE one.lib\nINCLUDE three.lib\n"), RYN_OK);
    Iteration iteration;
    ASSERT_EQ(rynIterateVekLibFiles(definitions.handle, iteration.out()), RYN_OK);
    EXPECT_EQ(iteration.context->type, RYNI_CONTEXT_VEKLIB_FILES);
    EXPECT_EQ(iteration.rest(), (NameList{definitions.path("vek.lib"), definitions.path("one.lib"),
                                          definitions.path("two.lib"), definitions.path("three.lib")}));
}

TEST(IterateAttrs, ReturnsNamesAndValuesNewestFirst) {
    Definitions definitions;
    definitions.box.directory("a");
    ASSERT_EQ(definitions.load("DEFINE a a\nASSIGN a one 1\nASSIGN a two 2\n"), RYN_OK);
    definitions.library("a")->attributes->next->value[0] = '3';
    Iteration iteration;
    ASSERT_EQ(rynIterateAttrs(definitions.handle, "a", iteration.out()), RYN_OK);
    EXPECT_EQ(iteration.context->type, RYNI_CONTEXT_ATTRIBUTES);
    const char *name = nullptr;
    const char *value = nullptr;
    ASSERT_EQ(rynNextAttr(iteration.context, &name, &value), RYN_OK);
    EXPECT_STREQ(name, "TWO");
    EXPECT_STREQ(value, "2");
    ASSERT_EQ(rynNextAttr(iteration.context, &name, &value), RYN_OK);
    EXPECT_STREQ(name, "ONE");
    EXPECT_STREQ(value, "3");
    EXPECT_EQ(rynNextAttr(iteration.context, &name, &value), RYN_ITERATION_COMPLETE);
    EXPECT_EQ(rynNextAttr(iteration.context, &name, &value), RYN_ITERATION_COMPLETE);
}

TEST(IterateAttrs, AbsentValueIsNull) {
    Project project("E");
    std::free(project.record()->attributes->value);
    project.record()->attributes->value = nullptr;
    Iteration iteration;
    ASSERT_EQ(rynIterateAttrs(project.handle, "lib", iteration.out()), RYN_OK);
    const char *name = nullptr;
    const char *value = "untouched";
    ASSERT_EQ(rynNextAttr(iteration.context, &name, &value), RYN_OK);
    EXPECT_STREQ(name, "TMP");
    EXPECT_EQ(value, nullptr);
}

TEST(IterateAttrs, OfALibraryWithoutAnyIsComplete) {
    Project project;
    Iteration iteration;
    ASSERT_EQ(rynIterateAttrs(project.handle, "lib", iteration.out()), RYN_OK);
    const char *name = nullptr;
    const char *value = nullptr;
    EXPECT_EQ(rynNextAttr(iteration.context, &name, &value), RYN_ITERATION_COMPLETE);
    iteration.end();
    EXPECT_EQ(rynIterateAttrs(project.handle, "other", iteration.out()), RYN_LIBRARY_NOT_DEFINED);
    EXPECT_EQ(iteration.context, nullptr);
}

TEST(RegistryIterators, DoNotFreeTheListsOfTheRegistry) {
    Project project("E");
    const std::string before = project.dump();
    for (int round = 0; round < 2; ++round) {
        Iteration libraries;
        Iteration files;
        Iteration attributes;
        ASSERT_EQ(rynIterateLibs(project.handle, libraries.out()), RYN_OK);
        ASSERT_EQ(rynIterateVekLibFiles(project.handle, files.out()), RYN_OK);
        ASSERT_EQ(rynIterateAttrs(project.handle, "lib", attributes.out()), RYN_OK);
        EXPECT_EQ(libraries.rest(), NameList{"lib"});
        EXPECT_EQ(files.rest(), NameList{project.path("vek.lib")});
    }
    EXPECT_EQ(project.dump(), before);
}

TEST(RegistryIterators, CheckTheirArguments) {
    Project project;
    rynContext *context = nullptr;
    expectReport(rynIterateLibs(project.handle, nullptr), "rynIterateLibs()");
    expectReport(rynIterateVekLibFiles(project.handle, nullptr), "rynIterateVekLibFiles()");
    expectReport(rynIterateAttrs(project.handle, "lib", nullptr), "rynIterateAttrs()");
    context = reinterpret_cast<rynContext *>(&project);
    expectReport(rynIterateAttrs(project.handle, nullptr, &context), "rynIterateAttrs()");
    EXPECT_EQ(context, nullptr);
}

TEST(RegistryIterators, NullHandleIsTheDefaultHandle) {
    Project project("E");
    Iteration iteration;
    EXPECT_EQ(rynIterateLibs(nullptr, iteration.out()), RYN_OK);
    EXPECT_EQ(iteration.context->handle, project.handle);
    EXPECT_EQ(rynIterateVekLibFiles(nullptr, iteration.out()), RYN_OK);
    EXPECT_EQ(iteration.context->handle, project.handle);
    EXPECT_EQ(rynIterateAttrs(nullptr, "lib", iteration.out()), RYN_OK);
    EXPECT_EQ(iteration.context->handle, project.handle);
    iteration.end();
    project.release();
    recorded.fatals.clear();
    expectReport(rynIterateLibs(nullptr, iteration.out()), "rynIterateLibs()");
    EXPECT_EQ(iteration.context, nullptr);
    expectReport(rynIterateVekLibFiles(nullptr, iteration.out()), "rynIterateVekLibFiles()");
    EXPECT_EQ(iteration.context, nullptr);
    expectReport(rynIterateAttrs(nullptr, "lib", iteration.out()), "rynIterateAttrs()");
    EXPECT_EQ(iteration.context, nullptr);
}

TEST(RegistryIterators, ReportFailedAllocationOfTheContext) {
    Project project("E");
    for (int which = 0; which < 3; ++which) {
        Iteration iteration;
        rynContext **const out = iteration.out();
        faults::failAllocation(1);
        const int code = which == 0   ? rynIterateLibs(project.handle, out)
                         : which == 1 ? rynIterateVekLibFiles(project.handle, out)
                                      : rynIterateAttrs(project.handle, "lib", out);
        expectReport(code, "rynIterateLibFiles()", RYN_MEMORY_ERROR);
        EXPECT_EQ(iteration.context, nullptr);
    }
}

// ---- contexts over directories: arguments

TEST(DiskIterators, StoreHandleTypeListAndCursor) {
    for (const DiskIterator &iterator : diskIterators) {
        Project project;
        project.put("l", levelOf(iterator.type) + (iterator.legal ? "name" : "name.x"));
        Iteration iteration;
        ASSERT_EQ(iteration.begin(project, iterator.type), RYN_OK);
        EXPECT_EQ(iteration.context->handle, project.handle);
        EXPECT_EQ(iteration.context->type, iterator.type);
        EXPECT_NE(iteration.context->list, nullptr);
        EXPECT_EQ(iteration.context->cursor, iteration.context->list);
        const char *name = nullptr;
        EXPECT_EQ(iterator.next(iteration.context, &name), RYN_OK);
        EXPECT_EQ(name, static_cast<rynElement *>(iteration.context->list)->name);
        EXPECT_EQ(iteration.context->cursor, nullptr);
    }
}

TEST(DiskIterators, ReportMissingArgumentsWithTheirNames) {
    Project project;
    project.putDirectory("l", "c/v");
    rynHandle handle = project.handle;
    for (const DiskIterator &iterator : diskIterators) {
        SCOPED_TRACE(iterator.title);
        Iteration iteration;
        const auto expectBoth = [&](const char *library, const char *cell, const char *view) {
            expectReport(iterator.plain(handle, library, cell, view, iteration.out()), iterator.plainContext);
            EXPECT_EQ(iteration.context, nullptr);
            expectReport(iterator.extended(handle, 3, library, cell, view, iteration.out()),
                         iterator.extendedContext);
            EXPECT_EQ(iteration.context, nullptr);
        };
        expectReport(iterator.plain(handle, "lib", "c", "v", nullptr), iterator.plainContext);
        expectReport(iterator.extended(handle, 3, "lib", "c", "v", nullptr), iterator.extendedContext);
        expectBoth(nullptr, "c", "v");
        if (iterator.takesCell) {
            expectBoth("lib", nullptr, "v");
            expectBoth("lib", "", "v");
        }
        if (iterator.takesView) {
            expectBoth("lib", "c", nullptr);
            expectBoth("lib", "c", "");
        }
    }
}

TEST(DiskIterators, CheckArgumentsThenLibraryThenSources) {
    Project project;
    for (const DiskIterator &iterator : diskIterators) {
        SCOPED_TRACE(iterator.title);
        Iteration iteration;
        if (iterator.takesCell) {
            expectReport(iterator.extended(project.handle, 2, "other", "", "v", iteration.out()),
                         iterator.extendedContext);
        }
        EXPECT_EQ(iterator.extended(project.handle, 2, "other", "c", "v", iteration.out()),
                  RYN_LIBRARY_NOT_DEFINED);
        EXPECT_EQ(iteration.context, nullptr);
        EXPECT_EQ(iterator.plain(project.handle, "other", "c", "v", iteration.out()),
                  RYN_LIBRARY_NOT_DEFINED);
        EXPECT_EQ(iteration.context, nullptr);
        EXPECT_EQ(iterator.extended(project.handle, 2, "lib", "c", "v", iteration.out()),
                  RYN_NO_SUCH_DIRECTORY);
        EXPECT_EQ(iteration.context, nullptr);
        EXPECT_EQ(recorded.fatals, ErrorReports{});
    }
}

TEST(DiskIterators, NullHandleIsTheDefaultHandle) {
    Project project;
    project.putDirectory("l", "c/v");
    for (const DiskIterator &iterator : diskIterators) {
        Iteration iteration;
        EXPECT_EQ(iterator.plain(nullptr, "lib", "c", "v", iteration.out()), RYN_OK);
        EXPECT_EQ(iteration.context->handle, project.handle);
        EXPECT_EQ(iterator.extended(nullptr, 0, "lib", "c", "v", iteration.out()), RYN_OK);
        EXPECT_EQ(iteration.context->handle, project.handle);
    }
    project.release();
    recorded.fatals.clear();
    for (const DiskIterator &iterator : diskIterators) {
        Iteration iteration;
        expectReport(iterator.plain(nullptr, "lib", "c", "v", iteration.out()), iterator.plainContext);
        expectReport(iterator.extended(nullptr, 0, "lib", "c", "v", iteration.out()),
                     iterator.extendedContext);
        EXPECT_EQ(iteration.context, nullptr);
    }
}

// ---- contexts over directories: sources

TEST(DiskIterators, UseTheSelectedSources) {
    struct Row {
        unsigned source;
        bool library;
        bool temporary;
    };
    for (const DiskIterator &iterator : diskIterators) {
        for (const Row &row :
             {Row{0, true, true}, Row{1, true, false}, Row{2, false, true}, Row{3, true, true},
              Row{4, true, true}, Row{5, true, false}, Row{6, false, true}, Row{7, true, true},
              Row{0xfffffffcU, true, true}, Row{0xfffffffeU, false, true}}) {
            Project project("IE");
            const std::string suffix = iterator.legal ? "" : ".x";
            NameList expected;
            for (const char *letter : {"e", "i", "l"}) {
                project.put(letter, levelOf(iterator.type) + letter + suffix);
                if (*letter == 'l' ? row.library : row.temporary) {
                    expected.push_back(letter + suffix);
                }
            }
            EXPECT_EQ(gathered(project, iterator.type, row.source), expected)
                << iterator.title << " " << row.source;
        }
    }
}

TEST(DiskIterators, PlainFormsUseAllSources) {
    for (const DiskIterator &iterator : diskIterators) {
        Project project("IE");
        const std::string suffix = iterator.legal ? "" : ".x";
        for (const char *letter : {"e", "i", "l"}) {
            project.put(letter, levelOf(iterator.type) + letter + suffix);
        }
        Iteration iteration;
        ASSERT_EQ(iterator.plain(project.handle, "lib", "c", "v", iteration.out()), RYN_OK);
        EXPECT_EQ(iteration.sorted(), (NameList{"e" + suffix, "i" + suffix, "l" + suffix}));
    }
}

TEST(DiskIterators, UseTheTemporaryDirectoriesInForce) {
    struct Row {
        const char *temporaries;
        NameList expected;
    };
    for (const DiskIterator &iterator : diskIterators) {
        const std::string suffix = iterator.legal ? "" : ".x";
        for (const Row &row :
             {Row{"E", {"e"}}, Row{"I", {"i"}}, Row{"IE", {"e", "i"}}, Row{"O", {"i"}}, Row{"OE", {"i"}}}) {
            Project project(row.temporaries);
            for (const char *letter : {"e", "i", "l"}) {
                project.put(letter, levelOf(iterator.type) + letter + suffix);
            }
            NameList expected = row.expected;
            for (std::string &name : expected) {
                name += suffix;
            }
            EXPECT_EQ(gathered(project, iterator.type, RYN_SOURCE_TMP), expected)
                << iterator.title << row.temporaries;
            expected.push_back("l" + suffix);
            EXPECT_EQ(gathered(project, iterator.type), expected) << iterator.title << row.temporaries;
        }
    }
}

TEST(DiskIterators, SourceTmpNeedsATemporaryDirectory) {
    for (const DiskIterator &iterator : diskIterators) {
        Project project;
        project.putDirectory("l", "c/v");
        for (const unsigned source : {2U, 6U, 0xfffffffeU}) {
            EXPECT_EQ(gathered(project, iterator.type, source), failed(RYN_NO_SUCH_DIRECTORY))
                << iterator.title;
        }
    }
}

TEST(DiskIterators, LibraryWithoutASourceIsEmpty) {
    // Implicit only excludes the explicit directory, also without an implicit path.
    Project project("E");
    project.handle->implicitTmpFlags = RYN_IMPLICIT_ONLY;
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_CELLS, RYN_SOURCE_TMP), NameList{});
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_LIBRARY_FILES, RYN_SOURCE_TMP), NameList{});
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_VIEWS, RYN_SOURCE_TMP), failed(RYN_NO_SUCH_CELL));
    EXPECT_EQ(gathered(project, RYNI_CONTEXT_VIEW_FILES, RYN_SOURCE_TMP), failed(RYN_NO_SUCH_VIEW));
}

TEST(DiskIterators, MissingCellOrViewHasItsCode) {
    for (const char *temporaries : {"", "E", "I", "IE", "O"}) {
        Project project(temporaries);
        for (const DiskIterator &iterator : diskIterators) {
            if (!iterator.takesCell) {
                EXPECT_EQ(gathered(project, iterator.type), NameList{});
                continue;
            }
            // No source has the cell; then no source has the view.
            EXPECT_EQ(gathered(project, iterator.type),
                      failed(iterator.takesView ? RYN_NO_SUCH_VIEW : RYN_NO_SUCH_CELL))
                << iterator.title << temporaries;
        }
        project.putDirectory("lie", "c");
        EXPECT_EQ(gathered(project, RYNI_CONTEXT_VIEWS), NameList{});
        EXPECT_EQ(gathered(project, RYNI_CONTEXT_VIEW_FILES), failed(RYN_NO_SUCH_VIEW));
        EXPECT_EQ(gathered(project, RYNI_CONTEXT_ALL_VIEW_FILES), failed(RYN_NO_SUCH_VIEW));
    }
}

TEST(DiskIterators, UseTheSourcesThatHaveTheCell) {
    for (const char *letter : {"l", "i", "e"}) {
        Project project("IE");
        project.put(letter, "c/v/deep/f.x");
        project.put(letter, "c/v/f.x");
        project.put(letter, "c/f.x");
        EXPECT_EQ(gathered(project, RYNI_CONTEXT_VIEWS), NameList{"v"}) << letter;
        EXPECT_EQ(gathered(project, RYNI_CONTEXT_CELL_FILES), NameList{"f.x"}) << letter;
        EXPECT_EQ(gathered(project, RYNI_CONTEXT_VIEW_FILES), NameList{"f.x"}) << letter;
        EXPECT_EQ(gathered(project, RYNI_CONTEXT_ALL_VIEW_FILES), (NameList{"deep/f.x", "f.x"})) << letter;
    }
}

TEST(DiskIterators, FailAtOpenIfPathsNeedNotExist) {
    for (const DiskIterator &iterator : diskIterators) {
        if (iterator.takesCell) {
            Project project("", Existence::Unchecked);
            EXPECT_EQ(gathered(project, iterator.type), failed(RYN_SYSTEM_ERROR)) << iterator.title;
        }
        Project project("", Existence::Unchecked);
        rmdir("lib");
        EXPECT_EQ(gathered(project, iterator.type), failed(RYN_SYSTEM_ERROR)) << iterator.title;
    }
}

TEST(DiskIterators, MissingLibraryDirectoryHasItsCode) {
    for (const DiskIterator &iterator : diskIterators) {
        Project project("E");
        project.putDirectory("e", "c/v");
        rmdir("lib");
        EXPECT_EQ(gathered(project, iterator.type), failed(RYN_NO_SUCH_DIRECTORY)) << iterator.title;
        EXPECT_EQ(gathered(project, iterator.type, RYN_SOURCE_TMP), directoriesAt(iterator.type));
    }
}

TEST(DiskIterators, MissingTemporaryDirectoryIsAnError) {
    for (const DiskIterator &iterator : diskIterators) {
        for (const char *temporaries : {"I", "E"}) {
            Project project(temporaries);
            project.putDirectory("l", "c/v");
            rmdir(*temporaries == 'I' ? "itmp/lib" : "etmp");
            // Without a cell the directory is opened without a check; with a cell it is checked.
            EXPECT_EQ(gathered(project, iterator.type),
                      failed(iterator.takesCell ? RYN_NO_SUCH_DIRECTORY : RYN_SYSTEM_ERROR))
                << iterator.title << temporaries;
            EXPECT_EQ(gathered(project, iterator.type, RYN_SOURCE_LIBRARY), directoriesAt(iterator.type));
        }
    }
}

TEST(DiskIterators, LimitIs4092CharactersWithoutSeparators) {
    Project project("E", Existence::Unchecked);
    Iteration iteration;
    const std::size_t limit = 4092 - project.path("lib").size();
    const auto views = [&](std::size_t length, unsigned source) {
        return rynXIterateViews(project.handle, source, "lib", std::string(length, 'c').c_str(),
                                iteration.out());
    };
    EXPECT_EQ(views(limit, RYN_SOURCE_LIBRARY), RYN_SYSTEM_ERROR);
    EXPECT_EQ(iteration.context, nullptr);
    for (const std::size_t length : {limit + 2, std::size_t{4095}, std::size_t{4096}, std::size_t{100'000}}) {
        for (const unsigned source : {1U, 2U, 3U}) {
            EXPECT_EQ(views(length, source), RYN_INVALID_PATH);
            EXPECT_EQ(iteration.context, nullptr);
        }
    }
    EXPECT_EQ(views(limit + 1, RYN_SOURCE_LIBRARY), RYN_INVALID_PATH);
}

TEST(DiskIterators, ReturnTheDeniedLevel) {
    struct Row {
        const char *closed;
        int type;
        int code;
    };
    for (const Row &row : {Row{"lib", RYNI_CONTEXT_CELLS, RYN_PERMISSION_DENIED_LIBRARY},
                           Row{"lib", RYNI_CONTEXT_LIBRARY_FILES, RYN_PERMISSION_DENIED_LIBRARY},
                           Row{"lib", RYNI_CONTEXT_VIEWS, RYN_PERMISSION_DENIED_LIBRARY},
                           Row{"lib", RYNI_CONTEXT_CELL_FILES, RYN_PERMISSION_DENIED_LIBRARY},
                           Row{"lib", RYNI_CONTEXT_VIEW_FILES, RYN_PERMISSION_DENIED_LIBRARY},
                           Row{"lib", RYNI_CONTEXT_ALL_VIEW_FILES, RYN_PERMISSION_DENIED_LIBRARY},
                           Row{"lib/c", RYNI_CONTEXT_VIEWS, RYN_PERMISSION_DENIED_CELL},
                           Row{"lib/c", RYNI_CONTEXT_CELL_FILES, RYN_PERMISSION_DENIED_CELL},
                           Row{"lib/c", RYNI_CONTEXT_VIEW_FILES, RYN_PERMISSION_DENIED_CELL},
                           Row{"lib/c", RYNI_CONTEXT_ALL_VIEW_FILES, RYN_PERMISSION_DENIED_CELL},
                           Row{"lib/c/v", RYNI_CONTEXT_VIEW_FILES, RYN_PERMISSION_DENIED_VIEW},
                           Row{"lib/c/v", RYNI_CONTEXT_ALL_VIEW_FILES, RYN_PERMISSION_DENIED_VIEW},
                           Row{"etmp", RYNI_CONTEXT_CELLS, RYN_PERMISSION_DENIED},
                           Row{"etmp", RYNI_CONTEXT_VIEWS, RYN_PERMISSION_DENIED_LIBRARY},
                           Row{"etmp", RYNI_CONTEXT_ALL_VIEW_FILES, RYN_PERMISSION_DENIED_LIBRARY},
                           Row{"etmp/c", RYNI_CONTEXT_CELL_FILES, RYN_PERMISSION_DENIED_CELL},
                           Row{"etmp/c", RYNI_CONTEXT_VIEW_FILES, RYN_PERMISSION_DENIED_CELL},
                           Row{"etmp/c/v", RYNI_CONTEXT_VIEW_FILES, RYN_PERMISSION_DENIED_VIEW},
                           Row{"itmp/lib", RYNI_CONTEXT_LIBRARY_FILES, RYN_PERMISSION_DENIED},
                           Row{"itmp/lib/c", RYNI_CONTEXT_VIEWS, RYN_PERMISSION_DENIED_CELL},
                           Row{"itmp/lib/c/v", RYNI_CONTEXT_ALL_VIEW_FILES, RYN_PERMISSION_DENIED_VIEW}}) {
        Project project("IE");
        project.putDirectory("lie", "c/v");
        chmod(row.closed, 0);
        Project::asUnprivileged(
            [&] { EXPECT_EQ(gathered(project, row.type), failed(row.code)) << row.closed << row.type; });
    }
}

TEST(DiskIterators, ReportFailedAllocationOfTheContextWithOneName) {
    Project project;
    project.putDirectory("l", "c/v");
    for (const DiskIterator &iterator : diskIterators) {
        Iteration iteration;
        rynContext **const out = iteration.out();
        faults::failAllocation(1);
        expectReport(iterator.plain(project.handle, "lib", "c", "v", out), "rynIterateLibFiles()",
                     RYN_MEMORY_ERROR);
        EXPECT_EQ(iteration.context, nullptr);
    }
}

// ---- next-item functions

TEST(NextItem, StaysComplete) {
    AllContexts contexts;
    for (Iteration &iteration : contexts.byType) {
        const char *item = nullptr;
        const char *value = nullptr;
        const auto next = [&] {
            const int type = iteration.context->type;
            return type == 0   ? rynNextLib(iteration.context, &item)
                   : type == 1 ? rynNextCell(iteration.context, &item)
                   : type == 2 ? rynNextView(iteration.context, &item)
                   : type == 8 ? rynNextAttr(iteration.context, &item, &value)
                               : rynNextFile(iteration.context, &item);
        };
        EXPECT_EQ(next(), RYN_OK) << iteration.context->type;
        EXPECT_NE(item, nullptr);
        while (next() == 0) {
        }
        for (int round = 0; round < 3; ++round) {
            EXPECT_EQ(next(), RYN_ITERATION_COMPLETE) << iteration.context->type;
        }
    }
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

TEST(NextItem, EmptyLibraryIsCompleteAtOnce) {
    Project project;
    Iteration iteration;
    ASSERT_EQ(rynIterateCells(project.handle, "lib", iteration.out()), RYN_OK);
    const char *name = "untouched";
    EXPECT_EQ(rynNextCell(iteration.context, &name), RYN_ITERATION_COMPLETE);
    EXPECT_STREQ(name, "untouched");
}

TEST(NextItem, AcceptsContextsOfItsTypesOnly) {
    AllContexts contexts;
    struct Function {
        const char *context;
        int first;
        int last;
        std::function<int(rynContext *)> next;
    };
    const char *item = nullptr;
    const char *value = nullptr;
    for (const Function &function :
         {Function{"rynNextLib()", 0, 0, [&](rynContext *context) { return rynNextLib(context, &item); }},
          Function{"rynNextCell()", 1, 1, [&](rynContext *context) { return rynNextCell(context, &item); }},
          Function{"rynNextView()", 2, 2, [&](rynContext *context) { return rynNextView(context, &item); }},
          Function{"rynNextFile()", 3, 7, [&](rynContext *context) { return rynNextFile(context, &item); }},
          Function{"rynNextAttr()", 8, 8,
                   [&](rynContext *context) { return rynNextAttr(context, &item, &value); }}}) {
        for (Iteration &iteration : contexts.byType) {
            const int type = iteration.context->type;
            iteration.context->cursor = iteration.context->list;
            if (type >= function.first && type <= function.last) {
                EXPECT_EQ(function.next(iteration.context), RYN_OK) << function.context << type;
                EXPECT_EQ(recorded.fatals, ErrorReports{});
            } else {
                expectReport(function.next(iteration.context), function.context, RYN_WRONG_CONTEXT_TYPE);
                EXPECT_EQ(iteration.context->cursor, iteration.context->list);
            }
        }
        rynContext odd = {contexts.project.handle, 9, nullptr, nullptr};
        expectReport(function.next(&odd), function.context, RYN_WRONG_CONTEXT_TYPE);
        odd.type = -1;
        expectReport(function.next(&odd), function.context, RYN_WRONG_CONTEXT_TYPE);
        expectReport(function.next(nullptr), function.context);
    }
}

TEST(NextItem, ReportsAMissingResultPointerBeforeTheType) {
    AllContexts contexts;
    const char *text = nullptr;
    for (const Iteration &iteration : contexts.byType) {
        rynContext *context = iteration.context;
        expectReport(rynNextLib(context, nullptr), "rynNextLib()");
        expectReport(rynNextCell(context, nullptr), "rynNextCell()");
        expectReport(rynNextView(context, nullptr), "rynNextView()");
        expectReport(rynNextFile(context, nullptr), "rynNextFile()");
        expectReport(rynNextAttr(context, nullptr, &text), "rynNextAttr()");
        expectReport(rynNextAttr(context, &text, nullptr), "rynNextAttr()");
        expectReport(rynNextAttr(context, nullptr, nullptr), "rynNextAttr()");
    }
}

TEST(NextItem, ReportsToTheHandlerOfTheContextsRegistry) {
    Project project;
    Iteration iteration;
    ASSERT_EQ(rynIterateCells(project.handle, "lib", iteration.out()), RYN_OK);
    static int calls;
    calls = 0;
    project.handle->fatalHandler = [](int, const char *, const char *) { return ++calls; };
    const char *name = nullptr;
    EXPECT_EQ(rynNextView(iteration.context, &name), RYN_WRONG_CONTEXT_TYPE);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

TEST(NextItem, StringsAreValidAsLongAsTheContext) {
    Project project;
    project.put("l", "a");
    project.put("l", "b");
    Iteration iteration;
    ASSERT_EQ(rynIterateCells(project.handle, "lib", iteration.out()), RYN_OK);
    const char *first = nullptr;
    const char *second = nullptr;
    const char *third = nullptr;
    ASSERT_EQ(rynNextCell(iteration.context, &first), RYN_OK);
    const std::string copy = first;
    ASSERT_EQ(rynNextCell(iteration.context, &second), RYN_OK);
    EXPECT_EQ(rynNextCell(iteration.context, &third), RYN_ITERATION_COMPLETE);
    EXPECT_EQ(first, copy);
    EXPECT_NE(std::string(first), second);
}

// ---- rynIterateEnd()

TEST(IterateEnd, ReportsAMissingContext) {
    Project project;
    expectReport(rynIterateEnd(nullptr), "rynIterateEnd()");
    project.release();
    recorded.fatals.clear();
    expectReport(rynIterateEnd(nullptr), "rynIterateEnd()");
}

TEST(IterateEnd, FreesTheListAtAnyPosition) {
    Project project;
    for (int i = 0; i < 10; ++i) {
        project.put("l", "cell" + std::to_string(i));
    }
    for (int returned = 0; returned <= 11; ++returned) {
        rynContext *context = nullptr;
        ASSERT_EQ(rynIterateCells(project.handle, "lib", &context), RYN_OK);
        const char *name = nullptr;
        for (int i = 0; i < returned; ++i) {
            EXPECT_EQ(rynNextCell(context, &name), i < 10 ? 0 : RYN_ITERATION_COMPLETE);
        }
        EXPECT_EQ(rynIterateEnd(context), RYN_OK);
    }
    EXPECT_EQ(recorded.fatals, ErrorReports{});
}

TEST(IterateEnd, DoesNotFreeTheListsOfTheRegistry) {
    AllContexts contexts;
    for (Iteration &iteration : contexts.byType) {
        iteration.end();
    }
    EXPECT_NE(contexts.project.handle->libraries.head, nullptr);
    EXPECT_EQ(contexts.project.names(), NameList{"lib"});
    EXPECT_STREQ(contexts.project.record()->attributes->name, "TMP");
    EXPECT_EQ(contexts.project.path("vek.lib"), contexts.project.handle->files.head->path);
}
