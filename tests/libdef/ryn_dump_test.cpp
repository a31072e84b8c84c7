// Whole dumps of registries.

#include "libdef/registry/ryni_registry.h"

#include "libdef/registry/ryni_owned_text.h"
#include "tests/libdef/libdef_support.h"
#include "tests/support/capture.h"
#include "tests/support/faults.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>

using test::Capture;
using test::Definitions;
using test::Diagnostics;
using test::Environment;
using test::recorded;

namespace {

/// The part of the dump that begins with "Hash Table Stats:" or the consistency checks.
std::string behindLibraries(const std::string &dump) {
    const std::size_t stats = dump.find("\nHash Table Stats:\n");
    const std::size_t error = dump.find("ERROR: ");
    return dump.substr(std::min(stats, error));
}

/// `text` with every "@" replaced by `directory`.
std::string inDirectory(const std::string &directory, const std::string &text) {
    std::string result;
    for (const char c : text) {
        result += c == '@' ? directory : std::string(1, c);
    }
    return result;
}

TEST(RynDump, EmptyRegistryShowsItsHeadings) {
    Definitions definitions;
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &definitions.handle), 0);
    EXPECT_EQ(definitions.dump(), "\nVEK.LIB files:\n\nLibraries:\n\nHash Table Stats:\n\n");
}

TEST(RynDump, ReportsThatThereIsNoRegistry) {
    Definitions definitions;
    EXPECT_EQ(test::dumpOf(nullptr), "Invalid handle.\n");
    Capture capture;
    rynDumpEverything(nullptr, nullptr);
    EXPECT_EQ(capture.out(), "Invalid handle.\n");
    EXPECT_EQ(capture.err(), "");
}

TEST(RynDump, NullIsTheDefaultHandleOrStandardOutput) {
    Definitions definitions;
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &definitions.handle), 0);
    Capture capture;
    rynDumpEverything(nullptr, nullptr);
    EXPECT_EQ(capture.out(), "\nVEK.LIB files:\n\nLibraries:\n\nHash Table Stats:\n\n");
    EXPECT_EQ(test::dumpOf(nullptr), definitions.dump());
}

TEST(RynDump, ShowsTheEffectOfEveryStatement) {
    Definitions definitions;
    definitions.box.directory("real").directory("t").directory("root").directory("implicit").directory("own");
    definitions.box.link("link", "real").link("tlink", "t").link("rlink", "root").link("ilink", "implicit");
    definitions.box.file("sub/more.lib", "\nDEFINE ab here\nINCLUDE last.lib\nDEFINE lib there\n");
    definitions.box.file("last.lib", "").link("more.lib", "sub/more.lib");
    ASSERT_EQ(definitions.load("DEFINE a link/x\nINCLUDE more.lib\nASSIGN a COLOR \"dark red\"\n"
                               "ASSIGN a SIZE \"\"\nASSIGN a color green\n\n"
                               "DEFINE 0a pack # in the bucket of lib\nASSIGN 0a TMP tlink\n"
                               "ASSIGN AllLibs TmpRootDir own\nASSIGN AllLibs TmpRootDir rlink\n"),
              0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    ASSERT_EQ(rynSetImplicitTmp(definitions.handle, "ilink", RYN_IMPLICIT_ONLY, nullptr), 0);
    ASSERT_EQ(ryniStrcpy(&definitions.library("0a")->packedFile, "/some/packed.file"), 0);

    EXPECT_EQ(definitions.dump(), inDirectory(definitions.path(), R"(
VEK.LIB files:
@/vek.lib
  (@/vek.lib)
@/more.lib
  (@/sub/more.lib)
  included from @/vek.lib line 2
@/last.lib
  (@/last.lib)
  included from @/more.lib line 3

Libraries:
a @/link/x
    (@/real/x)
  Defined at @/vek.lib line 1
  FromGlobal TMPDIR    at @/rlink/a
           (@/root/a)
  IMPLICIT  at @/ilink/a
           (@/implicit/a)
  Attributes:
    SIZE )"
                                                                  "\n"
                                                                  R"(    COLOR green
ab @/here
    (@/here)
  Defined at @/more.lib line 2
  FromGlobal TMPDIR    at @/rlink/ab
           (@/root/ab)
  IMPLICIT  at @/ilink/ab
           (@/implicit/ab)
lib @/there
    (@/there)
  Defined at @/more.lib line 4
  FromGlobal TMPDIR    at @/rlink/lib
           (@/root/lib)
  IMPLICIT  at @/ilink/lib
           (@/implicit/lib)
0a @/pack
    (@/pack)
  Defined at @/vek.lib line 7
  PACKEDLIB at /some/packed.file
  TMPDIR    at @/tlink
           (@/t)
  IMPLICIT  at @/ilink/0a
           (@/implicit/0a)
  Attributes:
    TMP @/tlink

Hash Table Stats:
  1 0alib
 97 a
160 ab
Global Explicit Tmp:
  TMPROOTDIR rlink
    line 10 @/vek.lib
  TMPROOTDIR own
    line 9 @/vek.lib

)"));
}

TEST(RynDump, RedefinitionShowsBothPathsAndAllLocations) {
    Definitions definitions;
    definitions.box.directory("one").directory("two").link("first", "one").link("second", "two");
    definitions.box.file("more.lib", "\n\n\nDEFINE a second\n");
    ASSERT_EQ(definitions.load("DEFINE a first\nDEFINE b b\nINCLUDE more.lib\n"), 0);
    EXPECT_EQ(definitions.dump(), inDirectory(definitions.path(), R"(
VEK.LIB files:
@/vek.lib
  (@/vek.lib)
@/more.lib
  (@/more.lib)
  included from @/vek.lib line 3

Libraries:
b @/b
    (@/b)
  Defined at @/vek.lib line 2
a @/two
    (@/one)
  Defined at @/more.lib line 4

Hash Table Stats:
 97 a
 98 b

)"));
}

TEST(RynDump, AddedStatementHasAnEmptyFile) {
    Definitions definitions;
    definitions.box.directory("t");
    ASSERT_EQ(rynInit(nullptr, 0, test::recordWarning, nullptr, &definitions.handle), 0);
    rynAddCommand(definitions.handle, "DEFINE a /x");
    rynAddCommand(definitions.handle, "ASSIGN AllLibs TmpRootDir t");
    EXPECT_EQ(definitions.dump(), inDirectory(definitions.path(), R"(
VEK.LIB files:

Libraries:
a /x
    (/x)
  Defined at  line 0
  FromGlobal TMPDIR    at @/t/a
           (@/t/a)

Hash Table Stats:
 97 a
Global Explicit Tmp:
  TMPROOTDIR t
    line 0 )"
                                                                  "\n\n"));
}

TEST(RynDump, AbsentValuesAreEmpty) {
    Definitions definitions;
    definitions.box.directory("t");
    ASSERT_EQ(definitions.load("DEFINE a a\nASSIGN a X 1\nASSIGN AllLibs TmpRootDir t\n"), 0);
    for (rynAttribute *attribute :
         {definitions.library("a")->attributes, definitions.handle->globalExplicitTmp}) {
        free(attribute->value);
        attribute->value = nullptr;
    }
    const std::string dump = definitions.dump();
    EXPECT_NE(dump.find("  Attributes:\n    X \n"), std::string::npos);
    EXPECT_NE(dump.find("Global Explicit Tmp:\n  TMPROOTDIR \n    line 3 "), std::string::npos);
}

TEST(RynDump, BucketsAreInOrderWithTheNewestNameFirst) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE \xff z\nDEFINE lib a\nDEFINE \x01 b\nDEFINE \"\" c\nDEFINE 0a d\n"
                               "DEFINE \x10\x7f e\nDEFINE \x80\x7f f\n"),
              0);
    // The empty name is before "\xff" in the bucket.
    EXPECT_EQ(behindLibraries(definitions.dump()),
              "\nHash Table Stats:\n  0 \xff\n  1 0a\x01lib\n 95 \x10\x7f\n128 \x80\x7f\n\n");
}

TEST(RynDump, NamesAreNotUsedAsFormats) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE %s%n %d\nASSIGN %s%n %x \"%s %n\"\n"), 0);
    const std::string dump = definitions.dump();
    EXPECT_NE(dump.find("%s%n " + definitions.path("%d") + "\n"), std::string::npos);
    EXPECT_NE(dump.find("    %X %s %n\n"), std::string::npos);
}

// ---- consistency

TEST(RynDump, LibraryMissingInItsBucketIsReported) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE lib a\nDEFINE x b\nDEFINE 0a c\n"), 0);
    rynRegistry *registry = definitions.handle;
    rynLibrary *head = registry->buckets[1];

    registry->buckets[1] = head->nextInBucket;
    EXPECT_EQ(behindLibraries(definitions.dump()),
              "ERROR: library 0a is not on hash table.\n\nHash Table Stats:\n  1 lib\n120 x\n\n");
    registry->buckets[1] = nullptr;
    EXPECT_EQ(behindLibraries(definitions.dump()), "ERROR: library lib is not on hash table.\n"
                                                   "ERROR: library 0a is not on hash table.\n"
                                                   "\nHash Table Stats:\n120 x\n\n");
    registry->buckets[1] = head;
    EXPECT_EQ(behindLibraries(definitions.dump()), "\nHash Table Stats:\n  1 0alib\n120 x\n\n");
}

TEST(RynDump, InconsistenciesAreReportedEvenIfMemoryIsExhausted) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE lib a\nDEFINE x b\nDEFINE 0a c\n"), 0);
    rynRegistry *registry = definitions.handle;
    rynLibrary *head = registry->buckets[1];
    registry->buckets[1] = head->nextInBucket;
    rynLibrary *first = registry->libraries.head;
    registry->libraries.head = first->nextInOrder;
    std::array<char, 1000> text = {};
    FILE *const stream = fmemopen(text.data(), text.size(), "w");
    ASSERT_NE(stream, nullptr);
    static_cast<void>(std::setvbuf(stream, nullptr, _IONBF, 0));
    test::faults::failAllocationsFrom(1);
    rynDumpEverything(registry, stream);
    test::faults::reset();
    ASSERT_EQ(std::fclose(stream), 0);
    EXPECT_EQ(behindLibraries(text.data()), "ERROR: library 0a is not on hash table.\n"
                                            "ERROR: library lib is not on list.\n"
                                            "\nHash Table Stats:\n  1 lib\n120 x\n\n");
    registry->buckets[1] = head;
    registry->libraries.head = first;
}

TEST(RynDump, LibraryInAWrongBucketIsReported) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE x b\n"), 0);
    rynRegistry *registry = definitions.handle;
    registry->buckets[7] = registry->buckets[120];
    registry->buckets[120] = nullptr;
    EXPECT_EQ(behindLibraries(definitions.dump()),
              "ERROR: library x is not on hash table.\n\nHash Table Stats:\n  7 x\n\n");
    registry->buckets[120] = registry->buckets[7];
    registry->buckets[7] = nullptr;
}

TEST(RynDump, LibrariesMissingInTheOrderAreReportedInBucketOrder) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE lib a\nDEFINE x b\nDEFINE 0a c\nDEFINE y d\n"), 0);
    rynLibraryList &order = definitions.handle->libraries;
    const rynLibraryList whole = order;
    rynLibrary *second = order.head->nextInOrder;

    order.head->nextInOrder = order.tail;
    EXPECT_EQ(behindLibraries(definitions.dump()),
              "ERROR: library 0a is not on list.\nERROR: library x is not on list.\n"
              "\nHash Table Stats:\n  1 0alib\n120 x\n121 y\n\n");
    order.head->nextInOrder = second;
    order.head = order.tail;
    EXPECT_EQ(behindLibraries(definitions.dump()),
              "ERROR: library 0a is not on list.\nERROR: library lib is not on list.\n"
              "ERROR: library x is not on list.\n\nHash Table Stats:\n  1 0alib\n120 x\n121 y\n\n");
    order = {nullptr, nullptr};
    EXPECT_EQ(behindLibraries(definitions.dump()),
              "ERROR: library 0a is not on list.\nERROR: library lib is not on list.\n"
              "ERROR: library x is not on list.\nERROR: library y is not on list.\n"
              "\nHash Table Stats:\n  1 0alib\n120 x\n121 y\n\n");
    order = whole;
    EXPECT_EQ(behindLibraries(definitions.dump()), "\nHash Table Stats:\n  1 0alib\n120 x\n121 y\n\n");
}

TEST(RynDump, ReportsLibrariesMissingInBucketsBeforeThoseMissingInOrder) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE x b\nDEFINE y d\n"), 0);
    rynRegistry *registry = definitions.handle;
    rynLibrary *x = registry->libraries.head;
    registry->libraries.head = x->nextInOrder;
    rynLibrary *y = registry->buckets[121];
    registry->buckets[121] = nullptr;
    EXPECT_EQ(behindLibraries(definitions.dump()), "ERROR: library y is not on hash table.\n"
                                                   "ERROR: library x is not on list.\n"
                                                   "\nHash Table Stats:\n120 x\n\n");
    registry->libraries.head = x;
    registry->buckets[121] = y;
}

TEST(RynDump, ExpectedBucketFollowsTheCurrentCaseSetting) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE Lib a\nDEFINE x b\n"), 0);
    rynHandle first = definitions.handle;
    definitions.handle = nullptr;
    setenv("VEK_ALT_NMP", "match", 1);
    ASSERT_EQ(definitions.load(""), 0);
    EXPECT_EQ(behindLibraries(test::dumpOf(first)),
              "ERROR: library Lib is not on hash table.\n\nHash Table Stats:\n120 x\n129 Lib\n\n");
    rynReleaseHandle(first);
}

} // namespace
