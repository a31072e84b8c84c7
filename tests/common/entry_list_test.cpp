#include "common/platform/entry_list.h"

#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

#include <algorithm>
#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

namespace faults = test::faults;
using Outcome = vek::DirectoryReading::Outcome;

namespace {

using Entries = std::vector<std::pair<unsigned char, std::string>>;

Entries contentOf(const vek::EntryList &list) {
    Entries entries;
    for (std::size_t at = 0; !list.isEnd(at);) {
        const vek::EntryList::Entry entry = list.at(at);
        entries.emplace_back(entry.type, entry.name.data());
        at = entry.next;
    }
    return entries;
}

} // namespace

TEST(EntryList, EmptyListIsAtItsEnd) {
    const vek::EntryList list;

    EXPECT_TRUE(list.isEnd(0));
}

TEST(EntryList, ReturnsTypesAndNamesInTheirOrder) {
    vek::EntryList list;

    ASSERT_TRUE(list.add(DT_REG, "file"));
    ASSERT_TRUE(list.add(DT_DIR, "directory"));
    ASSERT_TRUE(list.add(DT_UNKNOWN, "other"));

    EXPECT_EQ(contentOf(list), (Entries{{DT_REG, "file"}, {DT_DIR, "directory"}, {DT_UNKNOWN, "other"}}));
}

TEST(EntryList, KeepsEveryTypeAndEveryByteOfAName) {
    vek::EntryList list;
    Entries expected;
    for (unsigned type = 0; type < 256; ++type) {
        const std::string name(type, static_cast<char>(type));
        expected.emplace_back(static_cast<unsigned char>(type), name);
        ASSERT_TRUE(list.add(static_cast<unsigned char>(type), name));
    }

    EXPECT_EQ(contentOf(list), expected);
}

TEST(EntryList, GrowsToAnyNumberOfEntries) {
    for (const std::size_t length : {0U, 1U, 254U, 255U, 4095U}) {
        vek::EntryList list;
        Entries expected;
        for (int i = 0; i < 3000; ++i) {
            expected.emplace_back(DT_REG, std::string(length, static_cast<char>('a' + i % 26)));
            ASSERT_TRUE(list.add(DT_REG, expected.back().second));
        }

        EXPECT_EQ(contentOf(list), expected) << length;
    }
}

TEST(EntryList, GrowsGeometrically) {
    vek::EntryList list;
    faults::reset();

    for (int i = 0; i < 1'000'000; ++i) {
        ASSERT_TRUE(list.add(DT_REG, "name"));
    }

    EXPECT_LE(faults::count("malloc"), 20);
}

TEST(EntryList, AcceptsAPartOfALongerText) {
    vek::EntryList list;

    ASSERT_TRUE(list.add(DT_REG, std::string_view("names", 4)));

    EXPECT_EQ(contentOf(list), (Entries{{DT_REG, "name"}}));
}

TEST(EntryList, IsUnchangedIfMemoryIsExhausted) {
    vek::EntryList list;
    faults::failAllocation(1);
    EXPECT_FALSE(list.add(DT_REG, "name"));
    EXPECT_TRUE(list.isEnd(0));

    Entries expected;
    faults::failAllocationsFrom(2);
    while (list.add(DT_DIR, std::to_string(expected.size()))) {
        expected.emplace_back(DT_DIR, std::to_string(expected.size()));
    }
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(contentOf(list), expected);
    EXPECT_FALSE(list.add(DT_REG, std::string(4096, 'x')));
    EXPECT_EQ(contentOf(list), expected);

    faults::reset();
    EXPECT_TRUE(list.add(DT_REG, "again"));
    expected.emplace_back(DT_REG, "again");
    EXPECT_EQ(contentOf(list), expected);
}

TEST(EntryList, IsEmptyAfterAMove) {
    vek::EntryList list;
    ASSERT_TRUE(list.add(DT_REG, "name"));

    const vek::EntryList moved(std::move(list));

    EXPECT_EQ(contentOf(moved), (Entries{{DT_REG, "name"}}));
    EXPECT_TRUE(list.isEnd(0)); // NOLINT(bugprone-use-after-move): this is what is tested
    EXPECT_TRUE(list.add(DT_LNK, "other"));
    EXPECT_EQ(contentOf(list), (Entries{{DT_LNK, "other"}}));
    EXPECT_EQ(contentOf(moved), (Entries{{DT_REG, "name"}}));
}

TEST(EntryList, KeepsItsMemoryWhenItIsCleared) {
    vek::EntryList list;
    ASSERT_TRUE(list.add(DT_LNK, std::string(5000, 'x')));
    const std::size_t capacity = list.capacity();

    list.clear();

    EXPECT_TRUE(list.isEnd(0));
    EXPECT_FALSE(list.mayHoldLinks());
    EXPECT_EQ(list.capacity(), capacity);
    ASSERT_TRUE(list.add(DT_REG, "name"));
    EXPECT_EQ(contentOf(list), (Entries{{DT_REG, "name"}}));
}

TEST(EntryList, MayHoldLinksUnlessAllTypesAreOthers) {
    for (const unsigned char type : {DT_LNK, DT_UNKNOWN}) {
        vek::EntryList list;
        EXPECT_FALSE(list.mayHoldLinks());
        ASSERT_TRUE(list.add(DT_REG, "a"));
        ASSERT_TRUE(list.add(DT_DIR, "b"));
        ASSERT_TRUE(list.add(DT_FIFO, "c"));
        EXPECT_FALSE(list.mayHoldLinks());
        ASSERT_TRUE(list.add(type, "d"));
        ASSERT_TRUE(list.add(DT_REG, "e"));
        EXPECT_TRUE(list.mayHoldLinks());
    }
}

TEST(ReadDirectory, ReadsEveryEntryExceptDots) {
    test::Sandbox box;
    box.directory("d/directory")
        .file("d/file", "")
        .link("d/link", "nowhere")
        .file("d/...", "")
        .file("d/.h", "");
    vek::EntryList list;

    EXPECT_EQ(vek::readDirectory("d", list).outcome, Outcome::Read);

    Entries entries = contentOf(list);
    std::sort(entries.begin(), entries.end());
    EXPECT_EQ(
        entries,
        (Entries{
            {DT_DIR, "directory"}, {DT_REG, "..."}, {DT_REG, ".h"}, {DT_REG, "file"}, {DT_LNK, "link"}}));
}

TEST(ReadDirectory, IdentifiesTheDirectory) {
    test::Sandbox box;
    box.directory("d").link("link", "d");
    vek::EntryList list;
    std::optional<vek::DirectoryIdentity> identity;

    EXPECT_EQ(vek::readDirectory("link", list, &identity).outcome, Outcome::Read);
    EXPECT_TRUE(identity.has_value());
    EXPECT_EQ(identity, vek::DirectoryIdentity::of("d"));

    faults::fail("fstat", 1, EIO);
    EXPECT_EQ(vek::readDirectory("link", list, &identity).outcome, Outcome::Read);
    EXPECT_EQ(identity, std::nullopt);
}

TEST(ReadDirectory, CallsNoFstatWithoutAnIdentityArgument) {
    test::Sandbox box;
    box.directory("d");
    vek::EntryList list;
    faults::reset();
    EXPECT_EQ(vek::readDirectory("d", list).outcome, Outcome::Read);
    EXPECT_EQ(faults::count("fstat") + faults::count("stat"), 0);
}

TEST(ReadDirectory, ReturnsTheErrorOfOpendir) {
    test::Sandbox box;
    box.file("file", "");
    vek::EntryList list;
    const auto errorOf = [&list](const char *path) {
        const vek::DirectoryReading reading = vek::readDirectory(path, list);
        EXPECT_EQ(reading.outcome, Outcome::NotOpened);
        return reading.error;
    };
    EXPECT_EQ(errorOf("none"), ENOENT);
    EXPECT_EQ(errorOf("file"), ENOTDIR);
    faults::fail("opendir", 1, ENOMEM);
    EXPECT_EQ(errorOf("."), ENOMEM);
    EXPECT_TRUE(list.isEnd(0));
}

TEST(ReadDirectory, ReturnsNoMemoryIfMemoryIsExhausted) {
    test::Sandbox box;
    box.file("d/file", "");
    vek::EntryList list;
    faults::failAllocation(1);
    EXPECT_EQ(vek::readDirectory("d", list).outcome, Outcome::NoMemory);
}

TEST(DotOrDotDot, AreExactlyTwoNames) {
    EXPECT_TRUE(vek::isDotOrDotDot("."));
    EXPECT_TRUE(vek::isDotOrDotDot(".."));
    for (const char *name : {"", "...", ".a", "..a", "a.", "a..", "a", "./", ". "}) {
        EXPECT_FALSE(vek::isDotOrDotDot(name)) << name;
    }
}
