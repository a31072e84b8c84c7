// rynDumpContext().

#include "tests/libdef/iteration_support.h"
#include "tests/support/capture.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>

using test::Definitions;
using test::Iteration;
using test::Project;

namespace {

std::string dumpOf(const rynContext *context) {
    return test::written([context](FILE *stream) { rynDumpContext(context, stream); });
}

} // namespace

TEST(ContextDump, OfLibraries) {
    Definitions definitions;
    definitions.box.directory("a").directory("b");
    ASSERT_EQ(definitions.load("DEFINE first a\nDEFINE second b\n"), RYN_OK);
    Iteration iteration;
    ASSERT_EQ(rynIterateLibs(definitions.handle, iteration.out()), RYN_OK);
    EXPECT_EQ(dumpOf(iteration.context),
              "\nIteration context over Libraries.\n  Next item is first.\nfirst\nsecond\n\n");
}

TEST(ContextDump, ShowsTheWholeListAndTheNextItem) {
    Definitions definitions;
    definitions.box.directory("a").directory("b");
    ASSERT_EQ(definitions.load("DEFINE first a\nDEFINE second b\n"), RYN_OK);
    Iteration iteration;
    ASSERT_EQ(rynIterateLibs(definitions.handle, iteration.out()), RYN_OK);
    const char *name = nullptr;
    ASSERT_EQ(rynNextLib(iteration.context, &name), RYN_OK);
    EXPECT_EQ(dumpOf(iteration.context),
              "\nIteration context over Libraries.\n  Next item is second.\nfirst\nsecond\n\n");
    ASSERT_EQ(rynNextLib(iteration.context, &name), RYN_OK);
    EXPECT_EQ(dumpOf(iteration.context),
              "\nIteration context over Libraries.\n  Next item is <end>.\nfirst\nsecond\n\n");
}

TEST(ContextDump, OfDirectories) {
    for (const test::DiskIterator &iterator : test::diskIterators) {
        Project project("E");
        const std::string name = iterator.legal ? "name" : "name.x";
        const std::string other = iterator.legal ? "other" : "other.x";
        project.put("l", test::levelOf(iterator.type) + name);
        project.put("e", test::levelOf(iterator.type) + other);
        Iteration iteration;
        ASSERT_EQ(iteration.begin(project, iterator.type), RYN_OK);
        const std::string head = std::string("\nIteration context over ") + iterator.title + ".\n";
        const std::string list = other + "\n" + name + "\n\n";
        EXPECT_EQ(dumpOf(iteration.context), head + "  Next item is " + other + ".\n" + list);
        static_cast<void>(iteration.rest());
        EXPECT_EQ(dumpOf(iteration.context), head + "  Next item is <end>.\n" + list);
    }
}

TEST(ContextDump, OfDeepListsShowsPaths) {
    Project project;
    project.put("l", "c/v/a/b/c.txt");
    Iteration iteration;
    ASSERT_EQ(iteration.begin(project, RYNI_CONTEXT_ALL_VIEW_FILES), RYN_OK);
    EXPECT_EQ(dumpOf(iteration.context),
              "\nIteration context over All View Files.\n  Next item is a/b/c.txt.\na/b/c.txt\n\n");
}

TEST(ContextDump, OfAnEmptyList) {
    Project project;
    Iteration iteration;
    ASSERT_EQ(iteration.begin(project, RYNI_CONTEXT_CELLS), RYN_OK);
    EXPECT_EQ(dumpOf(iteration.context), "\nIteration context over Cells.\n  Next item is <end>.\n\n");
    ASSERT_EQ(rynIterateAttrs(project.handle, "lib", iteration.out()), RYN_OK);
    EXPECT_EQ(dumpOf(iteration.context), "\nIteration context over Attributes.\n  Next item is <end>.\n\n");
}

TEST(ContextDump, OfVekLibFiles) {
    Definitions definitions;
    definitions.box.directory("real").link("alias", "real").file("real/more.lib", "\nINCLUDE last.lib\n");
    definitions.box.file("real/last.lib", "");
    ASSERT_EQ(definitions.load("\n\nINCLUDE alias/more.lib\n"), RYN_OK);
    Iteration iteration;
    ASSERT_EQ(rynIterateVekLibFiles(definitions.handle, iteration.out()), RYN_OK);
    const std::string top = definitions.path("vek.lib");
    const std::string more = definitions.path("alias/more.lib");
    const std::string last = definitions.path("alias/last.lib");
    const std::string list = "    " + top + "\n\t(" + top + ")\n" + //
                             "    " + more + "\n\t(" + definitions.path("real/more.lib") +
                             ")\n\tincluded from: " + top + "\n\ton line: 3\n" + //
                             "    " + last + "\n\t(" + definitions.path("real/last.lib") +
                             ")\n\tincluded from: " + more + "\n\ton line: 2\n\n";
    EXPECT_EQ(dumpOf(iteration.context),
              "\nIteration context over vek.lib Files.\n  Next item is " + top + ".\n" + list);
    const char *name = nullptr;
    ASSERT_EQ(rynNextFile(iteration.context, &name), RYN_OK);
    EXPECT_EQ(dumpOf(iteration.context),
              "\nIteration context over vek.lib Files.\n  Next item is " + more + ".\n" + list);
}

TEST(ContextDump, OfVekLibFilesWithoutPaths) {
    rynIncludedFile includer = {nullptr, nullptr, nullptr, nullptr, 0};
    std::array<char, 5> path = {'p', 'a', 't', 'h', '\0'};
    rynIncludedFile second = {nullptr, path.data(), nullptr, &includer, -7};
    rynIncludedFile first = {&second, nullptr, path.data(), nullptr, 3};
    rynContext context = {nullptr, 7, &first, &second};
    EXPECT_EQ(dumpOf(&context),
              "\nIteration context over vek.lib Files.\n  Next item is path.\n"
              "    full.path=NULL\n\t(path)\n"
              "    path\n\t(nsl.path=NULL)\n\tincluded from: full.path=NULL\n\ton line: -7\n\n");
    context.cursor = &first;
    EXPECT_EQ(dumpOf(&context).find("\nIteration context over vek.lib Files.\n  Next item is .\n"), 0U);
}

TEST(ContextDump, OfAttributes) {
    Definitions definitions;
    definitions.box.directory("a");
    ASSERT_EQ(definitions.load("DEFINE a a\nASSIGN a one 1\nASSIGN a two \"a b\"\nASSIGN a three 3\n"),
              RYN_OK);
    rynAttribute *const newest = definitions.library("a")->attributes;
    std::free(newest->value);
    newest->value = nullptr;
    Iteration iteration;
    ASSERT_EQ(rynIterateAttrs(definitions.handle, "a", iteration.out()), RYN_OK);
    EXPECT_EQ(dumpOf(iteration.context),
              "\nIteration context over Attributes.\n  Next item is THREE.\nTHREE \nTWO a b\nONE 1\n\n");
}

TEST(ContextDump, PrintsTextsUnchanged) {
    Project project;
    project.put("l", "100%s%n");
    Iteration iteration;
    ASSERT_EQ(iteration.begin(project, RYNI_CONTEXT_LIBRARY_FILES), RYN_OK);
    EXPECT_EQ(dumpOf(iteration.context),
              "\nIteration context over Library Files.\n  Next item is 100%s%n.\n100%s%n\n\n");
}

TEST(ContextDump, OfNoContext) {
    EXPECT_EQ(dumpOf(nullptr), "Invalid context.\n");
}

TEST(ContextDump, OfAnUnknownType) {
    for (const int type : {9, 10, 2'000'000'000, -1}) {
        const rynContext context = {nullptr, type, nullptr, nullptr};
        std::array<char, 100> expected = {};
        std::snprintf(expected.data(), expected.size(), "Invalid context type %d at 0x%08x\n", type,
                      static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(&context)));
        EXPECT_EQ(dumpOf(&context), expected.data());
    }
}

TEST(ContextDump, NullStreamIsStandardOutputAndIsFlushed) {
    Project project;
    Iteration iteration;
    ASSERT_EQ(iteration.begin(project, RYNI_CONTEXT_CELLS), RYN_OK);
    test::Capture capture;
    rynDumpContext(iteration.context, nullptr);
    rynDumpContext(nullptr, nullptr);
    EXPECT_EQ(capture.out(), "\nIteration context over Cells.\n  Next item is <end>.\n\nInvalid context.\n");
    EXPECT_EQ(capture.err(), "");
    FILE *const file = std::fopen("dump", "w");
    rynDumpContext(iteration.context, file);
    EXPECT_EQ(project.box.read("dump"), "\nIteration context over Cells.\n  Next item is <end>.\n\n");
    std::fclose(file);
}
