#include "tagfile/tovi_cache.h"

#include "tagfile/tovi_object.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"
#include "tests/tagfile/tag_support.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <string>

namespace {

constexpr int kPresent = 0;
constexpr int kAbsent = 7;

std::size_t bucketOf(const std::string &key) {
    uint64_t hash = 0;
    for (const char byte : key) {
        hash = (hash << 1U) ^ static_cast<uint64_t>(static_cast<int64_t>(static_cast<signed char>(byte)));
    }
    return (hash ^ hash >> 8U ^ hash >> 16U ^ hash >> 24U) & 255U;
}

VekinfoObj *cachedObject(const char *path) {
    test::TagObject obj = test::emptyTagObject();
    obj->path = strdup(path);
    EXPECT_EQ(TOV_OK, tovVekinfoHashCreate(obj.get()));
    return obj.release();
}

PathlinkObj *cachedLink(const char *path, const char *target) {
    auto *link = static_cast<PathlinkObj *>(std::calloc(1, sizeof(PathlinkObj)));
    link->path = strdup(path);
    link->target = strdup(target);
    EXPECT_EQ(TOV_OK, tovLinkHashCreate(link));
    return link;
}

VekinfoObj *peekObject(const char *path) {
    std::string key = path;
    VekinfoObj probe;
    tovInitVekinfoObj(&probe);
    probe.path = key.data();
    return tovVekinfoHashPeek(&probe);
}

PathlinkObj *peekLink(const char *path) {
    std::string key = path;
    PathlinkObj probe = {};
    probe.path = key.data();
    return tovLinkHashPeek(&probe);
}

bool isEmpty() {
    for (std::size_t bucket = 0; bucket < TOVI_BUCKETS; ++bucket) {
        if (vekinfoHashTable[bucket] != nullptr || pathlinkHashTable[bucket] != nullptr) {
            return false;
        }
    }
    return true;
}

// ---- the tables

class Tables : public test::TagTest {};

TEST_F(Tables, StartEmptyWithAnEmptyLastObjectSlot) {
    EXPECT_TRUE(isEmpty());
    EXPECT_EQ(nullptr, tempVekinfoFromHash);
}

TEST_F(Tables, KeepRecordsInTheBucketOfTheirPath) {
    // "a" is 0x61; "ab" is 0x61 << 1 ^ 0x62; a byte above 127 counts with its sign.
    const struct {
        const char *path;
        std::size_t bucket;
    } known[] = {{"", 0}, {"a", 97}, {"ab", 160}, {"\x80", 127}, {"\xFF", 0}};
    for (const auto &entry : known) {
        EXPECT_EQ(entry.bucket, bucketOf(entry.path));
        EXPECT_EQ(cachedObject(entry.path), vekinfoHashTable[entry.bucket]) << entry.bucket;
        EXPECT_EQ(cachedLink(entry.path, "/t"), pathlinkHashTable[entry.bucket]) << entry.bucket;
    }
    for (const char *path : {"/proj/lib/vekinfo.tag", "/a/b/c", "/\xC3\xA4/vekinfo.tag",
                             "/a/rather/long/path/that/shifts/many/bits/out/at/the/left/vekinfo.tag"}) {
        EXPECT_EQ(cachedObject(path), vekinfoHashTable[bucketOf(path)]) << path;
        EXPECT_EQ(cachedLink(path, "/t"), pathlinkHashTable[bucketOf(path)]) << path;
    }
}

TEST_F(Tables, NewRecordsAreAtTheHeadOfTheirChain) {
    VekinfoObj *first = cachedObject("x");
    VekinfoObj *second = cachedObject("x");
    EXPECT_EQ(second, vekinfoHashTable[bucketOf("x")]);
    EXPECT_EQ(first, second->next);
    EXPECT_EQ(nullptr, first->next);
    EXPECT_EQ(second, peekObject("x"));

    PathlinkObj *firstLink = cachedLink("x", "/1");
    PathlinkObj *secondLink = cachedLink("x", "/2");
    EXPECT_EQ(secondLink, pathlinkHashTable[bucketOf("x")]);
    EXPECT_EQ(firstLink, secondLink->next);
    EXPECT_EQ(secondLink, peekLink("x"));
}

TEST_F(Tables, APeekFindsTheExactPathOnly) {
    VekinfoObj *obj = cachedObject("/d/vekinfo.tag");
    EXPECT_EQ(obj, peekObject("/d/vekinfo.tag"));
    EXPECT_EQ(nullptr, peekObject("/D/vekinfo.tag"));
    EXPECT_EQ(nullptr, peekObject("/d//vekinfo.tag"));
    EXPECT_EQ(nullptr, peekObject("/d/vekinfo.ta"));

    PathlinkObj *link = cachedLink("/l", "/t");
    EXPECT_EQ(link, peekLink("/l"));
    EXPECT_EQ(nullptr, peekLink("/L"));
    EXPECT_EQ(nullptr, peekLink("/l/"));
}

TEST_F(Tables, APeekSearchesTheWholeChain) {
    // Both keys fall into bucket 0.
    VekinfoObj *deep = cachedObject("");
    cachedObject("\xFF");
    EXPECT_EQ(deep, peekObject(""));
    PathlinkObj *deepLink = cachedLink("", "/t");
    cachedLink("\xFF", "/t");
    EXPECT_EQ(deepLink, peekLink(""));
}

TEST_F(Tables, ResetEmptiesBothTables) {
    box.file("vekinfo.tag", "A 1\n");
    VekinfoObj out;
    int found = 0;
    ASSERT_EQ(TOV_OK, tovGetVekinfoAtLoc("vekinfo.tag", "A", &out, &found));
    cachedLink("/l", "/t");
    cachedLink("/l", "/u");
    cachedLink("", "/t");
    ASSERT_NE(nullptr, pathlinkHashTable[0]);

    tovResetCache();

    EXPECT_TRUE(isEmpty());
    EXPECT_EQ(0U, tov::processCache().links.size());
    EXPECT_EQ(nullptr, tempVekinfoFromHash);
    box.file("vekinfo.tag", "A 2\n");
    ASSERT_EQ(TOV_OK, tovGetVekinfoAtLoc("vekinfo.tag", "A", &out, &found));
    EXPECT_EQ((test::Entries{"A=2"}), test::entriesOf(out));
}

// ---- the element test

class ElementExists : public testing::Test {
  protected:
    int ask(const char *element) { return tovVekinfoElementExists(obj.get(), element); }
    test::TagObject obj = test::emptyTagObject();
};

TEST_F(ElementExists, KeywordsAreAbsentFromAnEmptyObject) {
    for (const char *keyword : {"VEKLIBRARY", "VEKLIBCHECK", "DMTYPE", "NAMESPACE"}) {
        EXPECT_EQ(kAbsent, ask(keyword)) << keyword;
    }
}

TEST_F(ElementExists, KeywordsArePresentOnceSetInAnyCase) {
    obj->library = 1;
    obj->libcheck = 1;
    obj->dmtype = strdup("none");
    obj->nameSpace = 1;
    for (const char *keyword : {"VEKLIBRARY", "veklibrary", "VEKLIBCHECK", "VekLibCheck", "DMTYPE", "dmtype",
                                "NAMESPACE", "NameSpace"}) {
        EXPECT_EQ(kPresent, ask(keyword)) << keyword;
    }
}

TEST_F(ElementExists, AClearedFlagCountsAsPresent) {
    obj->library = 0;
    obj->libcheck = 0;
    EXPECT_EQ(kPresent, ask("VEKLIBRARY"));
    EXPECT_EQ(kPresent, ask("VEKLIBCHECK"));
}

TEST_F(ElementExists, KeywordPresenceDoesNotDependOnTheEntries) {
    test::addEntry(*obj, "FOO", "1");
    EXPECT_EQ(kAbsent, ask("DMTYPE"));
}

TEST_F(ElementExists, EntryIsPresentIfAnyNameDiffers) {
    test::addEntry(*obj, "A", "1");
    EXPECT_EQ(kPresent, ask("B"));
    test::addEntry(*obj, "B", "2");
    EXPECT_EQ(kPresent, ask("A"));
    EXPECT_EQ(kPresent, ask("B"));
    EXPECT_EQ(kPresent, ask("C"));
}

TEST_F(ElementExists, EntryIsAbsentIfEveryNameEqualsIt) {
    test::addEntry(*obj, "A", "1");
    EXPECT_EQ(kAbsent, ask("A"));
    EXPECT_EQ(kAbsent, ask("a"));
    test::addEntry(*obj, "a", "2");
    EXPECT_EQ(kAbsent, ask("A"));
}

TEST_F(ElementExists, AnApplicationEntryIsAbsentFromAnEmptyList) {
    EXPECT_EQ(kAbsent, ask("A"));
}

TEST_F(ElementExists, TheFirstEmptyNameEndsTheList) {
    test::addEntry(*obj, "A", "1");
    test::addEntry(*obj, "", "2");
    test::addEntry(*obj, "B", "3");
    EXPECT_EQ(kAbsent, ask("A"));
    EXPECT_EQ(kPresent, ask("C"));

    const test::TagObject other = test::emptyTagObject();
    test::addEntry(*other, "", "1");
    test::addEntry(*other, "B", "2");
    EXPECT_EQ(kAbsent, tovVekinfoElementExists(other.get(), "C"));
}

// ---- the file at one path

class AtLoc : public test::TagTest {
  protected:
    int get(const std::string &path, const char *element) {
        found = -1;
        return tovGetVekinfoAtLoc(path.c_str(), element, &out, &found);
    }
    VekinfoObj out = {};
    int found = -1;
};

TEST_F(AtLoc, MissingFileReturnsNoSuchFileWithoutAReport) {
    EXPECT_EQ(TOV_NO_SUCH_FILE, get(box.path("vekinfo.tag"), "A"));
    EXPECT_EQ(0, found);
    EXPECT_EQ(test::kNoReports, reports.take());
    EXPECT_TRUE(isEmpty());
}

TEST_F(AtLoc, FirstReadReturnsWhatTheParserFound) {
    const std::string path = box.path("vekinfo.tag");
    box.file("vekinfo.tag", "VEKLIBRARY\nDMTYPE Mrev\nA 1\n\n");

    EXPECT_EQ(TOV_OK, get(path, "a"));

    EXPECT_EQ(1, found);
    EXPECT_EQ(path, out.path);
    EXPECT_EQ(4U, out.line);
    EXPECT_EQ(1, out.library);
    EXPECT_EQ(255, out.libcheck);
    EXPECT_STREQ("Mrev", out.dmtype);
    EXPECT_EQ(0U, out.nameSpace);
    EXPECT_EQ((test::Entries{"A=1"}), test::entriesOf(out));
}

TEST_F(AtLoc, FirstReadWithoutTheElementFindsNothing) {
    box.file("vekinfo.tag", "A 1\n");
    EXPECT_EQ(TOV_OK, get("vekinfo.tag", "B"));
    EXPECT_EQ(0, found);
    EXPECT_EQ((test::Entries{"A=1"}), test::entriesOf(out)) << "the object is delivered all the same";
}

TEST_F(AtLoc, NullElementIsFoundFromTheSecondReadOn) {
    box.file("vekinfo.tag", "A 1\n");
    EXPECT_EQ(TOV_OK, get("vekinfo.tag", nullptr));
    EXPECT_EQ(0, found);
    EXPECT_EQ(TOV_OK, get("vekinfo.tag", nullptr));
    EXPECT_EQ(1, found);
}

// Documented: for a cached file, the test for application entries is inverted.
TEST_F(AtLoc, SecondReadInvertsTheTestOfApplicationEntries) {
    box.file("vekinfo.tag", "A 1\n");
    EXPECT_EQ(TOV_OK, get("vekinfo.tag", "A"));
    EXPECT_EQ(1, found);
    EXPECT_EQ(TOV_OK, get("vekinfo.tag", "A"));
    EXPECT_EQ(0, found);
    EXPECT_EQ((test::Entries{"A=1"}), test::entriesOf(out));
    EXPECT_EQ(TOV_OK, get("vekinfo.tag", "B"));
    EXPECT_EQ(1, found);
}

TEST_F(AtLoc, SecondReadFindsKeywordsThatAreSet) {
    box.file("vekinfo.tag", "DMTYPE none\n");
    get("vekinfo.tag", nullptr);
    EXPECT_EQ(TOV_OK, get("vekinfo.tag", "dmtype"));
    EXPECT_EQ(1, found);
    EXPECT_EQ(TOV_OK, get("vekinfo.tag", "NAMESPACE"));
    EXPECT_EQ(0, found);
}

TEST_F(AtLoc, ReturnedStringsBelongToTheCache) {
    box.file("vekinfo.tag", "DMTYPE none\nA 1\n");
    ASSERT_EQ(TOV_OK, get("vekinfo.tag", "A"));
    const VekinfoObj *cached = peekObject("vekinfo.tag");
    ASSERT_NE(nullptr, cached);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(cached->path, out.path);
        EXPECT_EQ(cached->dmtype, out.dmtype);
        EXPECT_EQ(cached->names, out.names);
        EXPECT_EQ(cached->values, out.values);
        ASSERT_EQ(TOV_OK, get("vekinfo.tag", "A"));
    }
}

TEST_F(AtLoc, LastObjectSlotHoldsTheReturnedObject) {
    box.file("vekinfo.tag", "A 1\n").file("d/vekinfo.tag", "B 1\n");
    get("vekinfo.tag", "A");
    EXPECT_EQ(peekObject("vekinfo.tag"), tempVekinfoFromHash);
    ASSERT_NE(nullptr, tempVekinfoFromHash);
    get("d/vekinfo.tag", "nothing");
    EXPECT_EQ(peekObject("d/vekinfo.tag"), tempVekinfoFromHash);
    get("vekinfo.tag", nullptr);
    EXPECT_EQ(peekObject("vekinfo.tag"), tempVekinfoFromHash);
}

TEST_F(AtLoc, FailedReadClearsTheLastObjectSlot) {
    box.file("vekinfo.tag", "A 1\n").file("bad/vekinfo.tag", "VEKLIBRARY yes\n");
    get("vekinfo.tag", "A");
    EXPECT_EQ(TOV_NO_SUCH_FILE, get("none/vekinfo.tag", "A"));
    EXPECT_EQ(nullptr, tempVekinfoFromHash);
    get("vekinfo.tag", "A");
    EXPECT_EQ(TOV_SYNTAX_ERROR, get("bad/vekinfo.tag", "A"));
    EXPECT_EQ(nullptr, tempVekinfoFromHash);
}

TEST_F(AtLoc, ReadingAFileKeepsTheObjectReturnedBefore) {
    box.file("vekinfo.tag", "A 1\n").file("d/vekinfo.tag", "VEKLIBRARY\nDMTYPE x\n");
    get("vekinfo.tag", "A");
    get("d/vekinfo.tag", "A");
    EXPECT_EQ(255, peekObject("vekinfo.tag")->library);
    EXPECT_EQ(nullptr, peekObject("vekinfo.tag")->dmtype);
}

TEST_F(AtLoc, FileWithSyntaxErrorIsNotCached) {
    box.file("vekinfo.tag", "A 1\nNAMESPACE Unix\n");
    const test::TagReports expected = {
        {TOV_SYNTAX_ERROR, "NAMESPACE line in vekinfo.tag file", "vekinfo.tag", 2}};
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(TOV_SYNTAX_ERROR, get("vekinfo.tag", "A"));
        EXPECT_EQ(0, found);
        EXPECT_EQ(expected, reports.take());
        EXPECT_TRUE(isEmpty());
    }
    box.file("vekinfo.tag", "A 1\nNAMESPACE LibraryUnix\n");
    EXPECT_EQ(TOV_OK, get("vekinfo.tag", "A"));
    EXPECT_EQ(1, found);
}

TEST_F(AtLoc, AnUnreadableFileIsReportedAndNotCached) {
    box.file("vekinfo.tag", "A 1\n", 0200);
    test::asUnprivileged([this] {
        EXPECT_EQ(TOV_SYSTEM_ERROR, get("vekinfo.tag", "A"));
        EXPECT_EQ(0, found);
        EXPECT_EQ((test::TagReports{{TOV_SYSTEM_ERROR, "while opening vekinfo.tag file", "vekinfo.tag", 0}}),
                  reports.take());
        EXPECT_TRUE(isEmpty());
    });
}

TEST_F(AtLoc, LinkCycleIsAMissingFile) {
    box.link("vekinfo.tag", "vekinfo.tag");
    EXPECT_EQ(TOV_NO_SUCH_FILE, get("vekinfo.tag", "A"));
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(AtLoc, ADirectoryOrPipeReadsAsAnEmptyFile) {
    box.directory("d/vekinfo.tag").fifo("f/vekinfo.tag").link("n/vekinfo.tag", "/dev/null");
    for (const char *path : {"d/vekinfo.tag", "f/vekinfo.tag", "n/vekinfo.tag"}) {
        EXPECT_EQ(TOV_OK, get(path, "A")) << path;
        EXPECT_EQ(0, found) << path;
        EXPECT_EQ(0U, out.line) << path;
    }
    EXPECT_EQ(test::kNoReports, reports.take());
}

TEST_F(AtLoc, ChangedFileIsNotReadAgain) {
    box.file("vekinfo.tag", "DMTYPE old\n");
    get("vekinfo.tag", "DMTYPE");
    box.file("vekinfo.tag", "DMTYPE new\n");
    EXPECT_EQ(TOV_OK, get("vekinfo.tag", "DMTYPE"));
    EXPECT_STREQ("old", out.dmtype);
    unlink("vekinfo.tag");
    EXPECT_EQ(TOV_OK, get("vekinfo.tag", "DMTYPE"));
    EXPECT_STREQ("old", out.dmtype);
}

TEST_F(AtLoc, TwoSpellingsOfAPathAreTwoObjects) {
    box.file("vekinfo.tag", "DMTYPE old\n");
    get("vekinfo.tag", "DMTYPE");
    box.file("vekinfo.tag", "DMTYPE new\n");
    EXPECT_EQ(TOV_OK, get("./vekinfo.tag", "DMTYPE"));
    EXPECT_STREQ("new", out.dmtype);
    EXPECT_STREQ("./vekinfo.tag", out.path);
    EXPECT_EQ(TOV_OK, get("vekinfo.tag", "DMTYPE"));
    EXPECT_STREQ("old", out.dmtype);
}

TEST_F(AtLoc, ManyFilesAreCached) {
    for (int at = 0; at < 600; ++at) {
        const std::string directory = "d" + std::to_string(at);
        box.file(directory + "/vekinfo.tag", "DMTYPE " + directory + "\n");
        get(directory + "/vekinfo.tag", nullptr);
    }
    for (int at = 0; at < 600; ++at) {
        const std::string directory = "d" + std::to_string(at);
        ASSERT_EQ(TOV_OK, get(directory + "/vekinfo.tag", nullptr));
        EXPECT_EQ(1, found);
        EXPECT_EQ(directory, out.dmtype);
    }
}

TEST_F(AtLoc, ExhaustedMemoryIsReportedAndNoPartialObjectCached) {
    box.file("vekinfo.tag", "DMTYPE m\nA 1\nB 2\n");
    int failures = 0;
    for (int nth = 1; nth <= 60; ++nth) {
        test::faults::failAllocation(nth);
        const int status = get("vekinfo.tag", "B");
        test::faults::reset();
        const test::TagReports collected = reports.take();
        if (status == 0) {
            EXPECT_EQ(1, found) << nth;
            EXPECT_STREQ("m", out.dmtype) << nth;
            EXPECT_EQ((test::Entries{"A=1", "B=2"}), test::entriesOf(out)) << nth;
        } else {
            ++failures;
            EXPECT_EQ(0, found) << nth;
            EXPECT_FALSE(collected.empty()) << nth;
            EXPECT_TRUE(isEmpty()) << nth;
            EXPECT_EQ(nullptr, tempVekinfoFromHash) << nth;
        }
        tovResetCache();
    }
    EXPECT_GT(failures, 0);
}

TEST_F(AtLoc, FailedAllocationOfTheRecordIsAMemoryError) {
    box.file("vekinfo.tag", "DMTYPE m\n");
    bool isReported = false;
    for (int nth = 1; nth <= 60 && !isReported; ++nth) {
        test::faults::failAllocation(nth);
        const int status = get("vekinfo.tag", "DMTYPE");
        test::faults::reset();
        for (const test::TagReport &report : reports.take()) {
            if (report.text == "while allocating vekinfo Obj.") {
                isReported = true;
                EXPECT_EQ(TOV_MEMORY_ERROR, report.code);
                EXPECT_EQ(TOV_MEMORY_ERROR, status);
            }
        }
        tovResetCache();
    }
    EXPECT_TRUE(isReported);
}

TEST_F(AtLoc, NullResultsAreNotWritten) {
    box.file("vekinfo.tag", "A 1\n");
    EXPECT_EQ(TOV_OK, tovGetVekinfoAtLoc("vekinfo.tag", "A", nullptr, &found));
    EXPECT_EQ(1, found);
    VekinfoObj given = {};
    EXPECT_EQ(TOV_OK, tovGetVekinfoAtLoc("vekinfo.tag", "A", &given, nullptr));
    EXPECT_EQ((test::Entries{"A=1"}), test::entriesOf(given));
    EXPECT_EQ(TOV_OK, tovGetVekinfoAtLoc("vekinfo.tag", nullptr, nullptr, nullptr));
}

} // namespace
