#include "tagfile/tovi_record_table.h"

#include "tagfile/tovi_cache.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

using tov::RecordTable;

namespace {

constexpr int kLong = 200; // records of one chain; more than are searched without an index

class RecordTableTest : public testing::Test {
  protected:
    ~RecordTableTest() override {
        table.clear([](PathlinkObj *) {});
    }

    PathlinkObj *record(const std::string &path) {
        paths_.push_back(path);
        return &records_.emplace_back(PathlinkObj{nullptr, paths_.back().data(), nullptr});
    }
    PathlinkObj *inserted(const std::string &path) {
        PathlinkObj *made = record(path);
        table.insert(made);
        return made;
    }
    /// Inserts into the documented array, as other code may do.
    PathlinkObj *insertedDirectly(const std::string &path) {
        PathlinkObj *made = record(path);
        PathlinkObj *&head = chains[tov::bucketOf(path.c_str())];
        made->next = head;
        head = made;
        return made;
    }
    /// Different paths that belong to one chain.
    static std::vector<std::string> pathsOfOneChain(int count) {
        std::vector<std::string> paths;
        for (int number = 0; static_cast<int>(paths.size()) < count; ++number) {
            const std::string path = "/lib" + std::to_string(number) + "/vekinfo.tag";
            if (tov::bucketOf(path.c_str()) == 7) {
                paths.push_back(path);
            }
        }
        return paths;
    }
    void expectAllFound(const std::vector<std::string> &paths) {
        for (const std::string &path : paths) {
            const PathlinkObj *found = table.find(path.c_str());
            ASSERT_NE(nullptr, found) << path;
            EXPECT_EQ(path, found->path);
        }
        EXPECT_EQ(nullptr, table.find("/lib/none"));
        EXPECT_EQ(nullptr, table.find(paths.back().substr(1).c_str()));
    }

    std::array<PathlinkObj *, TOVI_BUCKETS> chains = {};
    RecordTable<PathlinkObj> table{chains.data()};

  private:
    std::deque<std::string> paths_;
    std::deque<PathlinkObj> records_;
};

} // namespace

TEST_F(RecordTableTest, FindsEveryRecordWhileChainsGrow) {
    const std::vector<std::string> paths = pathsOfOneChain(kLong);
    for (std::size_t count = 0; count < paths.size(); ++count) {
        EXPECT_EQ(nullptr, table.find(paths[count].c_str()));
        const PathlinkObj *record = inserted(paths[count]);
        EXPECT_EQ(record, table.find(paths[count].c_str()));
        EXPECT_EQ(count + 1, table.size());
    }
    expectAllFound(paths);
}

TEST_F(RecordTableTest, FindsRecordsOfAllChains) {
    std::vector<std::string> paths;
    for (int number = 0; number < 20'000; ++number) {
        paths.push_back("/d/" + std::to_string(number));
        inserted(paths.back());
    }
    expectAllFound(paths);
}

TEST_F(RecordTableTest, FindsRecordsThatOtherCodeInserts) {
    const std::vector<std::string> paths = pathsOfOneChain(kLong);
    for (const std::string &path : paths) {
        EXPECT_EQ(nullptr, table.find(path.c_str()));
        const PathlinkObj *record = insertedDirectly(path);
        EXPECT_EQ(record, table.find(path.c_str()));
    }
    expectAllFound(paths);
}

TEST_F(RecordTableTest, MissesRecordsThatOtherCodeRemovesAtTheHead) {
    std::vector<std::string> paths = pathsOfOneChain(kLong);
    for (const std::string &path : paths) {
        inserted(path);
    }
    expectAllFound(paths);
    PathlinkObj *&head = chains[7];
    while (paths.size() > 2) {
        head = head->next;
        EXPECT_EQ(nullptr, table.find(paths.back().c_str()));
        paths.pop_back();
        expectAllFound(paths);
    }
    head = nullptr;
    EXPECT_EQ(nullptr, table.find(paths[0].c_str()));
    const PathlinkObj *record = inserted(paths[0]);
    EXPECT_EQ(record, table.find(paths[0].c_str()));
    EXPECT_EQ(nullptr, table.find(paths[1].c_str()));
}

TEST_F(RecordTableTest, TheRecordInsertedLastHidesOthersOfItsPath) {
    const std::vector<std::string> paths = pathsOfOneChain(kLong);
    const PathlinkObj *first = inserted(paths[0]);
    for (const std::string &path : paths) {
        inserted(path);
    }
    expectAllFound(paths);
    PathlinkObj *last = insertedDirectly(paths[0]);
    PathlinkObj *again = insertedDirectly(paths[0]);
    for (int at = 1; at < kLong; ++at) {
        insertedDirectly("/lib" + std::to_string(at) + paths[0]); // into any chain
    }
    EXPECT_EQ(again, table.find(paths[0].c_str()));
    EXPECT_EQ(again, table.remove(paths[0].c_str()));
    EXPECT_EQ(last, table.remove(paths[0].c_str()));
    EXPECT_NE(nullptr, table.remove(paths[0].c_str()));
    EXPECT_EQ(first, table.find(paths[0].c_str()));
    EXPECT_EQ(first, table.remove(paths[0].c_str()));
    EXPECT_EQ(nullptr, table.find(paths[0].c_str()));
    EXPECT_EQ(nullptr, table.remove(paths[0].c_str()));
}

TEST_F(RecordTableTest, WithoutMemoryForTheIndexChainsAreSearched) {
    const std::vector<std::string> paths = pathsOfOneChain(kLong);
    for (int nth = 1; nth <= 5; ++nth) {
        for (const std::string &path : paths) {
            inserted(path);
        }
        test::faults::failAllocationsFrom(nth);
        expectAllFound(paths);
        test::faults::reset();
        expectAllFound(paths);
        table.clear([](PathlinkObj *) {});
    }
}

TEST_F(RecordTableTest, ClearDestroysAllRecords) {
    const std::vector<std::string> paths = pathsOfOneChain(kLong);
    for (const std::string &path : paths) {
        inserted(path);
    }
    expectAllFound(paths);
    int destroyed = 0;
    table.clear([&](PathlinkObj *) { ++destroyed; });
    EXPECT_EQ(kLong, destroyed);
    EXPECT_EQ(0U, table.size());
    EXPECT_EQ(nullptr, table.find(paths[0].c_str()));
    const PathlinkObj *record = inserted(paths[0]);
    EXPECT_EQ(record, table.find(paths[0].c_str()));
}

TEST(TagCacheTest, ASecondCacheIsIndependentOfTheGlobals) {
    std::array<VekinfoObj *, TOVI_BUCKETS> objects = {};
    std::array<PathlinkObj *, TOVI_BUCKETS> links = {};
    VekinfoObj *last = nullptr;
    tov::TagCache cache(objects.data(), links.data(), &last);
    const tov::CacheSearch search = tov::findOrRead(cache, "/dev/null", nullptr);
    ASSERT_FALSE(search.report.isError());
    EXPECT_EQ(search.object, last);
    EXPECT_EQ(search.object, objects[tov::bucketOf("/dev/null")]);
    EXPECT_EQ(nullptr, tempVekinfoFromHash);
    EXPECT_EQ(nullptr, vekinfoHashTable[tov::bucketOf("/dev/null")]);
    tov::resetCache(cache);
    EXPECT_EQ(nullptr, last);
    EXPECT_EQ(nullptr, objects[tov::bucketOf("/dev/null")]);
}
