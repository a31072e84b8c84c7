#include "common/text/vek_strlist.h"

#include "tests/support/c_list.h"
#include "tests/support/capture.h"
#include "tests/support/faults.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

/// A string list that is freed at the end of its scope.
class List {
  public:
    List() = default;
    explicit List(char **list) : list_(list) {}
    List(const Strings &strings) {
        int count = 0;
        int size = 0;
        for (const std::string &string : strings) {
            list_ = vekFastAddToStrlist(list_, string.c_str(), &count, &size);
        }
    }
    List(const List &) = delete;
    List &operator=(const List &) = delete;
    ~List() { vekFreeStrlist(list_); }

    [[nodiscard]] char **get() const { return list_; }
    [[nodiscard]] Strings content() const { return test::strings(list_); }

  private:
    char **list_ = nullptr;
};

std::string repeated(const std::string &line, int times) {
    std::string lines;
    for (int i = 0; i < times; ++i) {
        lines += line;
    }
    return lines;
}

constexpr char kUnmatched[] = "vek_regexp compilation: unmatched ()\n";

TEST(VekFilterStrlist, KeepsMatchingStringsInTheirOrder) {
    const List strings({"cell.v", "readme", "top.vhd", "cell.v", "x.vhdl"});
    const List patterns({"\\.vhd$", "^cell"});
    const List found(vekFilterStrlist(strings.get(), patterns.get()));
    EXPECT_EQ(found.content(), (Strings{"cell.v", "top.vhd", "cell.v"}));
    EXPECT_NE(found.get()[0], strings.get()[0]);
}

TEST(VekFilterStrlist, StringThatMatchesTwoPatternsIsKeptOnce) {
    const List strings({"ab"});
    const List patterns({"a", "b"});
    EXPECT_EQ(List(vekFilterStrlist(strings.get(), patterns.get())).content(), (Strings{"ab"}));
}

TEST(VekFilterStrlist, WithoutPatternsTheListItselfIsReturned) {
    const List strings({"a"});
    char *none[] = {nullptr};
    EXPECT_EQ(vekFilterStrlist(strings.get(), nullptr), strings.get());
    EXPECT_EQ(vekFilterStrlist(strings.get(), none), strings.get());
    EXPECT_EQ(vekFilterStrlist(nullptr, none), nullptr);
    EXPECT_EQ(vekFilterStrlist(none, none), none);
}

TEST(VekFilterStrlist, NothingFoundIsNull) {
    const List strings({"a", "b"});
    const List patterns({"c"});
    char *none[] = {nullptr};
    EXPECT_EQ(vekFilterStrlist(strings.get(), patterns.get()), nullptr);
    EXPECT_EQ(vekFilterStrlist(none, patterns.get()), nullptr);
    EXPECT_EQ(vekFilterStrlist(nullptr, patterns.get()), nullptr);
}

TEST(VekFilterStrlist, InvalidPatternIsReportedOnceForEachString) {
    test::Capture capture;
    const List strings({"a", "b", "ab", "c"});
    const List patterns({"a", "(", "b"});
    const List found(vekFilterStrlist(strings.get(), patterns.get()));
    EXPECT_EQ(found.content(), (Strings{"a", "b", "ab"}));
    EXPECT_EQ(capture.err(), repeated(kUnmatched, 2)); // "b" and "c"; "a" matches both others before
}

TEST(VekFilterStrlist, UnusedPatternsAreNotCompiled) {
    test::Capture capture;
    const List strings({"a", "aa"});
    const List patterns({"a", "("});
    const List bad({"("});
    EXPECT_EQ(List(vekFilterStrlist(strings.get(), patterns.get())).content(), (Strings{"a", "aa"}));
    EXPECT_EQ(vekFilterStrlist(nullptr, bad.get()), nullptr);
    EXPECT_EQ(capture.err(), "");
}

TEST(VekFilterStrlist, CompilesEachPatternOnce) {
    const Strings few(10, "no");
    const Strings many(10000, "no");
    const List patterns({"a(b|c)*d", "^x", "("});
    test::Capture capture;
    std::vector<int> allocations;
    for (const Strings &strings : {few, many}) {
        const List list(strings);
        test::faults::reset();
        EXPECT_EQ(vekFilterStrlist(list.get(), patterns.get()), nullptr);
        allocations.push_back(test::faults::count("malloc"));
    }
    EXPECT_EQ(allocations[0], allocations[1]);
    EXPECT_EQ(capture.err(), repeated(kUnmatched, 10010));
}

TEST(VekFilterStrlist, HundredThousandStringsAreComparedWithAHundredAlternatives) {
    std::string alternatives = "zz";
    for (int i = 0; i < 99; ++i) {
        alternatives += "|y" + std::to_string(i);
    }
    const List strings(Strings(100000, "x1"));
    const List patterns({alternatives, "^x"});
    const List found(vekFilterStrlist(strings.get(), patterns.get()));
    EXPECT_EQ(vekGetStrlistSize(found.get()), 100000);
}

TEST(VekFilterStrlist, ReturnsEverythingOrNullIfAnAllocationFails) {
    test::Capture capture;
    const List strings({"a", "b", "c", "d"});
    const List patterns({"a", "[b-d]"});
    int nth = 1;
    for (bool failed = true; failed; ++nth) {
        test::faults::failAllocation(nth);
        const List found(vekFilterStrlist(strings.get(), patterns.get()));
        failed = found.get() == nullptr;
        if (!failed) {
            EXPECT_EQ(found.content(), (Strings{"a", "b", "c", "d"}));
        }
        ASSERT_LT(nth, 100);
    }
    EXPECT_GT(nth, 6);
}

TEST(VekFilterStrlist, ExhaustedMemoryInACompilationIsReported) {
    test::Capture capture;
    const List strings({"a", "b"});
    const List patterns({"a"});
    test::faults::failAllocation(2);
    EXPECT_EQ(vekFilterStrlist(strings.get(), patterns.get()), nullptr);
    EXPECT_EQ(capture.err(), "vek_regexp compilation: out of space\n");
}

} // namespace
