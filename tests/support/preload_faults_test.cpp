#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/child.h"
#include "tests/support/sandbox.h"

namespace {

const std::string sound = "open: done\nwrite: done\nwrite: done\nwrite: done\nclose: done\n"
                          "same name: No such file or directory\n"
                          "malloc: done\nmalloc: done\nmalloc: done\nstrdup: done\n";

test::Outcome runWith(const test::Sandbox &box, const test::Environment &environment) {
    return test::run({VEK_TEST_FAULTY_PROGRAM, box.path()},
                     test::ChildOptions{.environment = environment, .preload = true});
}

// `sound`, with the given lines (counted from 0) different.
std::string soundBut(const std::vector<std::pair<int, std::string>> &changes) {
    std::string text;
    std::size_t at = 0;
    for (int line = 0; at < sound.size(); ++line) {
        const std::size_t end = sound.find('\n', at) + 1;
        std::string content = sound.substr(at, end - at);
        for (const auto &[changed, instead] : changes) {
            content = changed == line ? instead + "\n" : content;
        }
        text += content;
        at = end;
    }
    return text;
}

} // namespace

TEST(PreloadFaults, DoNothingWithoutVariables) {
    const test::Sandbox box;

    const test::Outcome outcome = runWith(box, {});

    EXPECT_EQ(outcome.out, sound);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(box.read("Name"), "texttexttext");
}

TEST(PreloadFaults, OnlyTheNthCallFails) {
    const test::Sandbox box;

    const test::Outcome outcome = runWith(box, {{"VEK_TEST_FAIL", "write:2:ENOSPC"}});

    EXPECT_EQ(outcome.out, soundBut({{2, "write: No space left on device"}}));
    EXPECT_EQ(box.read("Name"), "texttext");
}

TEST(PreloadFaults, PlusFailsEveryLaterCall) {
    const test::Sandbox box;

    const test::Outcome outcome = runWith(box, {{"VEK_TEST_FAIL", "write:2:EIO+"}});

    EXPECT_EQ(outcome.out, soundBut({{2, "write: Input/output error"}, {3, "write: Input/output error"}}));
}

TEST(PreloadFaults, NthAllocationFails) {
    const test::Sandbox box;

    // The first allocation is the buffer of standard output.
    const test::Outcome outcome = runWith(box, {{"VEK_TEST_FAIL_MALLOC", "3"}});

    EXPECT_EQ(outcome.out, soundBut({{7, "malloc: Cannot allocate memory"}}));
}

TEST(PreloadFaults, EveryLaterAllocationFails) {
    const test::Sandbox box;

    const test::Outcome outcome = runWith(box, {{"VEK_TEST_FAIL_MALLOC", "4+"}});

    EXPECT_EQ(outcome.out,
              soundBut({{8, "malloc: Cannot allocate memory"}, {9, "strdup: Cannot allocate memory"}}));
}

TEST(PreloadFaults, CaselessDirectoryFindsNamesInAnyCase) {
    const test::Sandbox box;

    const test::Outcome outcome = runWith(box, {{"VEK_TEST_CASELESS_DIR", box.path()}});

    EXPECT_EQ(outcome.out, soundBut({{5, "same name: done"}}));
    EXPECT_EQ(box.list(), std::vector<std::string>{"name"});
}

TEST(PreloadFaults, InvalidVariableIsRejected) {
    const test::Sandbox box;

    for (const char *const value :
         {"", "write", "write:1", "write:0:EIO", "write:x:EIO", "write:1:EODD", "odd:1:EIO"}) {
        const test::Outcome outcome = runWith(box, {{"VEK_TEST_FAIL", value}});
        EXPECT_EQ(outcome.status, 126) << value;
        EXPECT_NE(outcome.err.find("VEK_TEST_FAIL"), std::string::npos) << value;
    }
    EXPECT_EQ(runWith(box, {{"VEK_TEST_FAIL_MALLOC", "many"}}).status, 126);
}
