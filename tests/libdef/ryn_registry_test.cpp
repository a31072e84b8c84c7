// The records of a registry: their layout, the name index beside the buckets, the definition order, ownership.

#include "libdef/registry/ryni_registry.h"

#include "libdef/language/ryni_parse.h"
#include "libdef/paths/ryni_library_reuse.h"
#include "libdef/registry/ryni_index_hash.h"
#include "libdef/registry/ryni_indexes.h"
#include "libdef/registry/ryni_owned_text.h"
#include "tests/libdef/libdef_support.h"
#include "tests/libdef/pool_support.h"
#include "tests/support/faults.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

using test::Definitions;
using test::Diagnostics;
using test::Environment;
using test::recorded;
namespace faults = test::faults;

namespace {

using Names = std::vector<std::string>;

/// The size of a node of the directory index whose component is one character.
constexpr std::size_t kNodeSize = 25;

// ---- layout

static_assert(offsetof(rynIncludedFile, next) == 0 && offsetof(rynIncludedFile, path) == 8 &&
              offsetof(rynIncludedFile, nslPath) == 16 && offsetof(rynIncludedFile, includedFrom) == 24 &&
              offsetof(rynIncludedFile, line) == 32);
static_assert(offsetof(rynAttribute, next) == 0 && offsetof(rynAttribute, name) == 8 &&
              offsetof(rynAttribute, value) == 16 && offsetof(rynAttribute, file) == 24 &&
              offsetof(rynAttribute, line) == 32);
static_assert(offsetof(rynDefinition, next) == 0 && offsetof(rynDefinition, file) == 8 &&
              offsetof(rynDefinition, line) == 16);
static_assert(offsetof(rynLibrary, nextInBucket) == 0 && offsetof(rynLibrary, nextInOrder) == 8 &&
              offsetof(rynLibrary, attributes) == 16 && offsetof(rynLibrary, name) == 24 &&
              offsetof(rynLibrary, fullPath) == 32 && offsetof(rynLibrary, explicitTmp) == 40 &&
              offsetof(rynLibrary, implicitTmp) == 48 && offsetof(rynLibrary, nslPath) == 56 &&
              offsetof(rynLibrary, explicitTmpNsl) == 64 && offsetof(rynLibrary, implicitTmpNsl) == 72 &&
              offsetof(rynLibrary, definedIn) == 80 && offsetof(rynLibrary, definedAtLine) == 88 &&
              offsetof(rynLibrary, flags) == 92 && offsetof(rynLibrary, history) == 96 &&
              offsetof(rynLibrary, packedFile) == 112 && offsetof(rynLibrary, packedArchive) == 120);
static_assert(ryn::kPathChanged == 1 && ryn::kTmpFromGlobal == 2);
static_assert(offsetof(rynLink, next) == 0 && offsetof(rynLink, path) == 8 &&
              offsetof(rynLink, target) == 16 && offsetof(rynLink, length) == 24 &&
              offsetof(rynLink, error) == 28);
static_assert(ryn::kBuckets == 256);
static_assert(offsetof(rynRegistry, flags) == 0 && offsetof(rynRegistry, umask) == 4 &&
              offsetof(rynRegistry, currentDirectory) == 8 && offsetof(rynRegistry, warningHandler) == 16 &&
              offsetof(rynRegistry, errorHandler) == 24 && offsetof(rynRegistry, fatalHandler) == 32 &&
              offsetof(rynRegistry, unknownAssignHook) == 40 && offsetof(rynRegistry, files) == 48 &&
              offsetof(rynRegistry, libraries) == 64 && offsetof(rynRegistry, buckets) == 80 &&
              offsetof(rynRegistry, links) == 80 + 8 * 256 &&
              offsetof(rynRegistry, implicitTmpFlags) == 80 + 16 * 256 &&
              offsetof(rynRegistry, implicitTmpDirectory) == 88 + 16 * 256 &&
              offsetof(rynRegistry, globalExplicitTmp) == 96 + 16 * 256);

// ---- the hash

TEST(RynRegistry, BucketIsTheFoldedHashOfTheName) {
    EXPECT_EQ(ryn::bucketOf("", false), 0U);
    EXPECT_EQ(ryn::bucketOf("a", false), 97U);
    // 97 * 2 ^ 98
    EXPECT_EQ(ryn::bucketOf("ab", false), 160U);
    // ((108 * 2 ^ 105) * 2 ^ 98) is 256, which folds to 1.
    EXPECT_EQ(ryn::bucketOf("lib", false), 1U);
    EXPECT_EQ(ryn::bucketOf("0a", false), 1U);
    EXPECT_EQ(ryn::bucketOf("Lib", false), 129U);
    // The hash of the first of eight characters is shifted by 7 bits: 1 becomes 128.
    EXPECT_EQ(ryn::bucketOf("\x01@@@@@@@", false), ryn::bucketOf("@@@@@@@", false) ^ (128U));
}

TEST(RynRegistry, BucketIgnoresCaseOnRequest) {
    EXPECT_EQ(ryn::bucketOf("Lib", true), 1U);
    EXPECT_EQ(ryn::bucketOf("LIB", true), 1U);
    EXPECT_EQ(ryn::bucketOf("lib", true), 1U);
    EXPECT_NE(ryn::bucketOf("LIB", false), 1U);
}

TEST(RynRegistry, BytesAboveAsciiAreSignedInTheHash) {
    // 0xe9 is -23 as a signed byte: the three upper bytes that are folded in are 0xff.
    for (const bool ignoreCase : {false, true}) {
        EXPECT_EQ(ryn::bucketOf("\xe9", ignoreCase), 0xe9U ^ 0xffU) << ignoreCase;
        EXPECT_EQ(ryn::bucketOf("\xff", ignoreCase), 0U) << ignoreCase;
        EXPECT_EQ(ryn::bucketOf("\x80", ignoreCase), 0x7fU) << ignoreCase;
    }
}

/// The hash as it is described, one step at a time.
unsigned bucketOf(const std::string &name) {
    unsigned long long hash = 0;
    for (const char c : name) {
        hash =
            (hash * 2) ^ static_cast<unsigned long long>(static_cast<long long>(static_cast<signed char>(c)));
    }
    return static_cast<unsigned>((hash ^ (hash / 0x100) ^ (hash / 0x10000) ^ (hash / 0x1000000)) % 256);
}

TEST(RynRegistry, HashDropsTheFirstBitsOfLongNames) {
    std::string name;
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(ryn::bucketOf(name.c_str(), false), bucketOf(name)) << name;
        name += static_cast<char>(1 + (i * 37) % 255);
    }
}

/// A library whose record and strings are allocated with malloc().
rynLibrary *madeByCaller(const std::string &name, const char *path) {
    auto *const library = static_cast<rynLibrary *>(std::calloc(1, sizeof(rynLibrary)));
    library->name = strdup(name.c_str());
    library->fullPath = path == nullptr ? nullptr : strdup(path);
    library->nslPath = path == nullptr ? nullptr : strdup(path);
    return library;
}

// ---- buckets and order

TEST(RynRegistry, NewLibraryIsFirstInBucketAndLastInOrder) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE lib a\nDEFINE x b\nDEFINE 0a c\n"), 0);
    const rynLibrary *first = definitions.handle->buckets[1];
    ASSERT_NE(first, nullptr);
    EXPECT_STREQ(first->name, "0a");
    ASSERT_NE(first->nextInBucket, nullptr);
    EXPECT_STREQ(first->nextInBucket->name, "lib");
    EXPECT_EQ(first->nextInBucket->nextInBucket, nullptr);
    EXPECT_EQ(definitions.names(), (Names{"lib", "x", "0a"}));
    EXPECT_EQ(definitions.handle->libraries.tail, first);
}

TEST(RynRegistry, RedefinitionKeepsThePositionInTheBucket) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE lib a\nDEFINE 0a c\nDEFINE lib d\n"), 0);
    EXPECT_STREQ(definitions.handle->buckets[1]->name, "0a");
    EXPECT_STREQ(definitions.handle->buckets[1]->nextInBucket->name, "lib");
}

TEST(RynRegistry, LibraryInsertedByACallCanBeRedefined) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE lib a\n"), 0);
    rynLibrary *library = madeByCaller("own", "/x");
    ASSERT_EQ(sInsert_lib(definitions.handle, library), 0);

    EXPECT_EQ(ryni_process_command(definitions.handle, "DEFINE own b", definitions.path().c_str(),
                                   definitions.handle->files.head, 2, 0),
              0);

    EXPECT_EQ(definitions.library("own"), library);
    EXPECT_EQ(library->fullPath, definitions.path("b"));
}

TEST(RynRegistry, InsertsALibraryMadeByTheCaller) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE lib a\n"), 0);
    rynLibrary *library = madeByCaller("0a", "/x");
    EXPECT_EQ(sInsert_lib(definitions.handle, library), 0);
    EXPECT_EQ(definitions.library("0a"), library);
    EXPECT_EQ(definitions.handle->libraries.tail, library);
    EXPECT_EQ(definitions.handle->buckets[1], library);
    EXPECT_EQ(ryniLibPathReused(definitions.handle, "/x", nullptr, 0), 1);
}

TEST(RynRegistry, LibraryMadeByTheCallerCanBeUndefined) {
    // The sanitizers report memory that is not freed, or is freed in the wrong way.
    Definitions definitions;
    ASSERT_EQ(definitions.load(""), 0);
    ASSERT_EQ(sInsert_lib(definitions.handle, madeByCaller("own", "/x")), 0);
    rynAddCommand(definitions.handle, "UNDEFINE own");
    EXPECT_EQ(definitions.library("own"), nullptr);
    EXPECT_EQ(ryniLibPathReused(definitions.handle, "/x", nullptr, 0), 0);
}

TEST(RynRegistry, MemoryOfUndefinedLibrariesIsUsedAgain) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE lib a\n"), 0);
    test::leavePieces(definitions.handle->indexes->pool, {});
    const int before = faults::count("malloc");
    for (int i = 0; i < 1000; ++i) {
        rynAddCommand(definitions.handle, "UNDEFINE lib");
        rynAddCommand(definitions.handle, "DEFINE lib a");
    }
    EXPECT_NE(definitions.library("lib"), nullptr);
    EXPECT_EQ(faults::count("malloc"), before + 1000) << "only the full paths";
}

TEST(RynRegistry, InsertsNothingIfTheReuseIndexFails) {
    Definitions definitions;
    ASSERT_EQ(definitions.load(""), 0);
    // The nodes: "" and "x" of the directory, then "t" and "x" of the temporary directory.
    for (std::size_t nodes = 0; nodes < 4; ++nodes) {
        rynLibrary *library = madeByCaller("x", "/x");
        ASSERT_EQ(ryniStrcpy(&library->explicitTmpNsl, "/t/x"), 0);
        test::leavePieces(definitions.handle->indexes->pool, std::vector<std::size_t>(nodes, kNodeSize));
        faults::failAllocation(1);
        EXPECT_EQ(sInsert_lib(definitions.handle, library), RYN_MEMORY_ERROR) << nodes;
        faults::reset();
        EXPECT_EQ(definitions.handle->libraries.head, nullptr);
        EXPECT_EQ(definitions.library("x"), nullptr);
        EXPECT_EQ(ryniLibPathReused(definitions.handle, "/x", nullptr, 0), 0);
        EXPECT_EQ(ryniLibPathReused(definitions.handle, "/t", nullptr, 0), 0);
        ryn::freeLibrary(*definitions.handle, *library);
    }
}

TEST(RynRegistry, InsertsNothingIfTheNameIndexIsFull) {
    Definitions definitions;
    ASSERT_EQ(definitions.load(""), 0);
    // The index cannot grow, and one of its 32 slots must stay free. Libraries without a path allocate nothing else.
    const auto nameOf = [](int i) { return "lib" + std::to_string(i); };
    for (int i = 0; i < 31; ++i) {
        rynLibrary *library = madeByCaller(nameOf(i), nullptr);
        faults::failAllocationsFrom(1);
        ASSERT_EQ(sInsert_lib(definitions.handle, library), RYN_OK) << i;
        faults::reset();
    }
    rynLibrary *const last = definitions.handle->libraries.tail;
    rynLibrary *refused = madeByCaller("refused", nullptr);
    faults::failAllocationsFrom(1);
    EXPECT_EQ(sInsert_lib(definitions.handle, refused), RYN_MEMORY_ERROR);
    faults::reset();
    EXPECT_EQ(definitions.handle->libraries.tail, last);
    EXPECT_EQ(definitions.library("refused"), nullptr);
    for (int i = 0; i < 31; ++i) {
        EXPECT_NE(definitions.library(nameOf(i).c_str()), nullptr) << i;
    }
    EXPECT_EQ(sInsert_lib(definitions.handle, refused), RYN_OK);
    EXPECT_EQ(definitions.library("refused"), refused);
}

TEST(RynRegistry, NewLibraryIsNullIfMemoryIsExhausted) {
    Definitions definitions;
    ASSERT_EQ(definitions.load(""), 0);
    test::leavePieces(definitions.handle->indexes->pool, {});
    faults::failAllocation(1);
    EXPECT_EQ(ryn::newLibrary(*definitions.handle, "name", "/x"), nullptr);
    faults::reset();
}

// ---- files

TEST(RynRegistry, AddsNoFileIfTheFileIndexIsFull) {
    Definitions definitions;
    ASSERT_EQ(definitions.load(""), 0); // adds the first file
    const auto pathOf = [](int i) { return "/file" + std::to_string(i); };
    const char *context = nullptr;
    const auto add = [&](int i) {
        faults::failAllocation(4); // after the record and two copies of the path: the index grows
        const rynIncludedFile *const file =
            ryn::addFile(*definitions.handle, pathOf(i).c_str(), pathOf(i).c_str(), context);
        faults::reset();
        return file;
    };
    for (int i = 1; i < 31; ++i) {
        ASSERT_NE(add(i), nullptr) << i;
    }
    const rynIncludedFile *const last = definitions.handle->files.tail;
    EXPECT_EQ(add(31), nullptr); // one of the 32 slots must stay free
    EXPECT_STREQ(context, "ryni_parse_veklib_file()");
    EXPECT_EQ(definitions.handle->files.tail, last);
    for (int i = 1; i <= 31; ++i) {
        EXPECT_EQ(ryn::findFile(*definitions.handle, pathOf(i).c_str()) != nullptr, i < 31) << i;
    }
}

// ---- lookup

TEST(RynRegistry, FindsEachOfManyLibraries) {
    Definitions definitions;
    std::string text;
    const auto line = [](const char *keyword, int i) {
        return std::string(keyword) + " lib" + std::to_string(i) +
               (*keyword == 'D' ? " d/" + std::to_string(i) : "") + "\n";
    };
    for (int i = 0; i < 5000; ++i) {
        text += line("DEFINE", i);
    }
    for (int i = 0; i < 5000; i += 3) {
        text += line("UNDEFINE", i);
    }
    ASSERT_EQ(definitions.load(text), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    for (int i = 0; i < 5000; ++i) {
        const std::string name = "lib" + std::to_string(i);
        const rynLibrary *library = definitions.library(name.c_str());
        ASSERT_EQ(library == nullptr, i % 3 == 0) << name;
        ASSERT_TRUE(library == nullptr || library->name == name);
    }
    EXPECT_EQ(definitions.library("lib5000"), nullptr);
    EXPECT_EQ(definitions.library("LIB1"), nullptr);
    EXPECT_EQ(definitions.library(""), nullptr);
    EXPECT_EQ(definitions.dump().find("ERROR"), std::string::npos);
}

TEST(RynRegistry, DistinguishesNamesOfAnyBytes) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE \xe4 a\nDEFINE \xc4 b\nDEFINE [ c\nDEFINE { d\n"), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_EQ(definitions.library("\xe4")->fullPath, definitions.path("a"));
    EXPECT_EQ(definitions.library("\xc4")->fullPath, definitions.path("b"));
    EXPECT_EQ(definitions.library("[")->fullPath, definitions.path("c"));
    EXPECT_EQ(definitions.library("{")->fullPath, definitions.path("d"));
}

TEST(RynRegistry, IgnoresTheCaseOfAsciiLettersOnly) {
    Definitions definitions(Environment{{"VEK_ALT_NMP", "match"}});
    ASSERT_EQ(definitions.load("DEFINE a\xe4 a\nDEFINE [ c\nDEFINE { d\n"), 0);
    EXPECT_EQ(recorded.diagnostics, Diagnostics{});
    EXPECT_NE(definitions.library("A\xe4"), nullptr);
    EXPECT_EQ(definitions.library("a\xc4"), nullptr);
    EXPECT_EQ(definitions.library("{")->fullPath, definitions.path("d"));
}

TEST(RynRegistry, ChangedCaseSettingFindsTheFirstMatchInTheBucket) {
    Definitions definitions;
    // Both spellings have the same bucket, with and without regard to case.
    ASSERT_EQ(ryn::bucketOf("abcdefghi", false), ryn::bucketOf("AbcdefghI", false));
    ASSERT_EQ(definitions.load("DEFINE abcdefghi a\nDEFINE AbcdefghI b\nDEFINE x c\nDEFINE abcdefghi d\n"),
              0);
    rynHandle first = definitions.handle;
    definitions.handle = nullptr;
    EXPECT_STREQ(ryni_get_libp(first, "abcdefghi")->name, "abcdefghi");
    EXPECT_STREQ(ryni_get_libp(first, "AbcdefghI")->name, "AbcdefghI");

    setenv("VEK_ALT_NMP", "match", 1);
    ASSERT_EQ(definitions.load(""), 0);
    EXPECT_STREQ(ryni_get_libp(first, "abcdefghi")->name, "AbcdefghI");
    EXPECT_STREQ(ryni_get_libp(first, "ABCDEFGHI")->name, "AbcdefghI");
    rynAddCommand(first, "UNDEFINE AbcdefghI");
    EXPECT_STREQ(ryni_get_libp(first, "ABCDEFGHI")->name, "abcdefghi");
    rynReleaseHandle(first);
}

TEST(RynRegistry, UndefineRemovesTheExactSpellingInABucket) {
    for (const char *removed : {"abcdefghi", "AbcdefghI"}) {
        Definitions definitions;
        ASSERT_EQ(ryn::bucketOf("abcdefghi", false), ryn::bucketOf("AbcdefghI", false));
        ASSERT_EQ(definitions.load("DEFINE abcdefghi a\nDEFINE AbcdefghI b\n"), 0);
        rynAddCommand(definitions.handle, (std::string("UNDEFINE ") + removed).c_str());
        const std::string left = removed[0] == 'a' ? "AbcdefghI" : "abcdefghi";
        EXPECT_EQ(definitions.names(), Names{left});
        EXPECT_EQ(definitions.library(removed), nullptr);
        EXPECT_EQ(definitions.library(left.c_str()), definitions.handle->libraries.head);
        EXPECT_EQ(definitions.dump().find("ERROR"), std::string::npos);
        // The removed one can be defined again, and the other one removed.
        rynAddCommand(definitions.handle, (std::string("DEFINE ") + removed + " c").c_str());
        EXPECT_EQ(definitions.names(), (Names{left, removed}));
        rynAddCommand(definitions.handle, ("UNDEFINE " + left).c_str());
        EXPECT_EQ(definitions.names(), Names{removed});
    }
}

TEST(RynRegistry, ChangedCaseSettingMissesLibrariesInOtherBuckets) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE Lib a\n"), 0);
    rynHandle first = definitions.handle;
    definitions.handle = nullptr;
    setenv("VEK_ALT_NMP", "match", 1);
    ASSERT_EQ(definitions.load(""), 0);
    EXPECT_EQ(ryni_get_libp(first, "Lib"), nullptr);
    rynReleaseHandle(first);
}

// ---- exhausted memory

TEST(RynRegistry, ExhaustedMemoryKeepsTheExplicitDirectory) {
    Definitions definitions;
    definitions.box.directory("t").directory("u");
    ASSERT_EQ(definitions.load("DEFINE a a\nASSIGN a TMP t\n"), 0);
    rynLibrary *library = definitions.library("a");
    const std::string t = definitions.path("t");
    const auto expectFailure = [&](int nth) {
        faults::failAllocation(nth);
        EXPECT_EQ(ryn::setExplicitTmp(*definitions.handle, *library, "/x/y", "/x/y"), RYN_MEMORY_ERROR)
            << nth;
        faults::reset();
        EXPECT_EQ(library->explicitTmp, t);
        EXPECT_EQ(library->explicitTmpNsl, t);
        EXPECT_EQ(ryniLibPathReused(definitions.handle, t.c_str(), nullptr, 0), 1);
        EXPECT_EQ(ryniLibPathReused(definitions.handle, "/x", nullptr, 0), 0);
    };
    expectFailure(1);
    expectFailure(2);
    for (std::size_t nodes = 0; nodes < 2; ++nodes) { // those of "x" and "y", after the two copies
        test::leavePieces(definitions.handle->indexes->pool, std::vector<std::size_t>(nodes, kNodeSize));
        expectFailure(3);
    }
    EXPECT_EQ(ryn::setExplicitTmp(*definitions.handle, *library, "/x/y", "/x/z"), 0);
    EXPECT_STREQ(library->explicitTmp, "/x/y");
    EXPECT_STREQ(library->explicitTmpNsl, "/x/z");
    EXPECT_EQ(ryniLibPathReused(definitions.handle, t.c_str(), nullptr, 0), 0);
    EXPECT_EQ(ryniLibPathReused(definitions.handle, "/x", nullptr, 0), 1);
    EXPECT_EQ(ryn::setExplicitTmp(*definitions.handle, *library, nullptr, nullptr), 0);
    EXPECT_EQ(library->explicitTmp, nullptr);
    EXPECT_EQ(ryniLibPathReused(definitions.handle, "/x", nullptr, 0), 0);
}

TEST(RynRegistry, DefinitionLineIsStoredEvenIfTheHistoryCannotGrow) {
    Definitions definitions;
    ASSERT_EQ(definitions.load("DEFINE a a\n"), 0);
    rynLibrary *library = definitions.library("a");
    test::leavePieces(definitions.handle->indexes->pool, {});
    faults::failAllocation(1);
    EXPECT_EQ(ryn::recordDefinition(*definitions.handle, *library, definitions.handle->files.head, 5),
              RYN_MEMORY_ERROR);
    EXPECT_EQ(library->definedAtLine, 5);
    EXPECT_EQ(library->history.head, library->history.tail);
    EXPECT_EQ(ryn::recordDefinition(*definitions.handle, *library, definitions.handle->files.head, 6), 0);
    EXPECT_EQ(library->history.tail->line, 6);
    EXPECT_EQ(library->history.head->next, library->history.tail);
    EXPECT_EQ(library->history.tail->next, nullptr);
}

// ---- release

TEST(RynRegistry, ReleaseFreesEverything) {
    // The leak sanitizer reports what is not freed.
    Definitions definitions;
    definitions.box.directory("t")
        .directory("implicit")
        .directory("root")
        .link("link", "t")
        .file("more.lib", "");
    ASSERT_EQ(definitions.load(
                  "DEFINE a link\nDEFINE a b\nDEFINE b c\nASSIGN b TMP t\nASSIGN b X 1\nINCLUDE more.lib\n"
                  "ASSIGN AllLibs TmpRootDir root\nDEFINE c e\n"),
              0);
    ASSERT_EQ(rynSetImplicitTmp(definitions.handle, "implicit", RYN_IMPLICIT_ONLY, nullptr), 0);
    rynLibrary *library = definitions.library("c");
    ASSERT_EQ(ryniStrcpy(&library->packedFile, "/packed"), 0);
    definitions.release();
    ryn::freeRegistry(nullptr);
}

} // namespace
