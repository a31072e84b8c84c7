// Which file names are looked up along the search list.

#include "search/pux.h"
#include "search/puxi_list.h"
#include "tests/search/search_list.h"
#include "tests/support/capture.h"
#include "tests/support/child.h"
#include "tests/support/faults.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <malloc.h>
#include <string>
#include <string_view>
#include <vector>

namespace faults = test::faults;
using test::CList;

namespace {

constexpr int kYes = PUX_OK;
constexpr int kNo = PUX_FILE_NOT_FOUND;

class LookupConfig : public ::testing::Test {
  protected:
    test::SearchProcess process;
    test::Sandbox &box = process.box;
    CList list{{"d"}};

    LookupConfig() { box.directory("d"); }
    ~LookupConfig() override { puxReleaseHandle(nullptr); }

    void config(const std::string &content) { box.file("d/puxLookupConfig", content); }

    int ask(const std::string &name) { return puxUsePuxFor(list, name.c_str()); }

    /// The result for `name` and a file with this content.
    int ask(const std::string &content, const std::string &name) {
        config(content);
        return ask(name);
    }
};

} // namespace

// The content of the file.

TEST_F(LookupConfig, MissingFileGivesNo) {
    EXPECT_EQ(ask("foo"), kNo);
}

TEST_F(LookupConfig, EmptyFileGivesNo) {
    EXPECT_EQ(ask("", "foo"), kNo);
    EXPECT_EQ(ask("\n\n \n", "foo"), kNo);
    EXPECT_EQ(ask("", ""), kNo);
}

TEST_F(LookupConfig, AllGivesYesForEveryName) {
    for (const char *name : {"foo", "a b", "", "ALL", "#"}) {
        EXPECT_EQ(ask("ALL\n", name), kYes) << name;
    }
}

TEST_F(LookupConfig, ExcludeMakesAnExceptionFromAll) {
    const std::string content = "ALL\nEXCLUDE foo\n";
    EXPECT_EQ(ask(content, "foo"), kNo);
    for (const char *name : {"bar", "fo", "fooo", "FOO", " foo", ""}) {
        EXPECT_EQ(ask(content, name), kYes) << name;
    }
}

TEST_F(LookupConfig, IncludeMakesAnExceptionFromNone) {
    const std::string content = "NONE\nINCLUDE foo\n";
    EXPECT_EQ(ask(content, "foo"), kYes);
    for (const char *name : {"bar", "fo", "fooo", "FOO", " foo", "INCLUDE", ""}) {
        EXPECT_EQ(ask(content, name), kNo) << name;
    }
    EXPECT_EQ(ask("INCLUDE foo\n", "foo"), kYes);
}

TEST_F(LookupConfig, NamesAreComparedByCase) {
    // Given every spelling of a name except the one that is queried
    constexpr unsigned kLetters = 10;
    for (const unsigned asked : {0U, 1U, 0x155U, 0x2aaU, 0x3ffU}) {
        std::string included;
        std::string excluded = "ALL\n";
        std::string name;
        for (unsigned spelling = 0; spelling < 1U << kLetters; ++spelling) {
            std::string spelled = "abcdefghij";
            for (unsigned letter = 0; letter < kLetters; ++letter) {
                if ((spelling >> letter & 1U) != 0) {
                    spelled.replace(letter, 1, 1, "ABCDEFGHIJ"[letter]);
                }
            }
            if (spelling == asked) {
                name = spelled;
            } else {
                included += spelled + "\n";
                excluded += "EXCLUDE " + spelled + "\n";
            }
        }
        // Then none of them is it
        EXPECT_EQ(ask(included, name), kNo) << name;
        EXPECT_EQ(ask(excluded, name), kYes) << name;
    }
}

TEST_F(LookupConfig, LaterLineAboutANameWins) {
    EXPECT_EQ(ask("EXCLUDE foo\nINCLUDE foo\n", "foo"), kYes);
    EXPECT_EQ(ask("INCLUDE foo\nEXCLUDE foo\n", "foo"), kNo);
    EXPECT_EQ(ask("ALL\nINCLUDE foo\nEXCLUDE foo\n", "foo"), kNo);
    EXPECT_EQ(ask("ALL\nEXCLUDE foo\nINCLUDE foo\n", "foo"), kYes);
    EXPECT_EQ(ask("INCLUDE foo\nEXCLUDE foo\nfoo\n", "foo"), kYes);
    EXPECT_EQ(ask("INCLUDE foo\nEXCLUDE bar\n", "foo"), kYes);
    EXPECT_EQ(ask("ALL\nEXCLUDE foo\nINCLUDE bar\n", "foo"), kNo);
}

TEST_F(LookupConfig, RepeatedLineChangesNothing) {
    EXPECT_EQ(ask("INCLUDE foo\nINCLUDE foo\nfoo\n", "foo"), kYes);
    EXPECT_EQ(ask("INCLUDE foo\nINCLUDE foo\nfoo\nEXCLUDE foo\n", "foo"), kNo);
    EXPECT_EQ(ask("ALL\nEXCLUDE foo\nEXCLUDE foo\nINCLUDE foo\nALL\n", "foo"), kYes);
}

TEST_F(LookupConfig, AllAndNoneOverrideEveryEarlierLine) {
    EXPECT_EQ(ask("INCLUDE foo\nNONE\n", "foo"), kNo);
    EXPECT_EQ(ask("EXCLUDE foo\nALL\n", "foo"), kYes);
    EXPECT_EQ(ask("ALL\nNONE\n", "foo"), kNo);
    EXPECT_EQ(ask("NONE\nALL\n", "foo"), kYes);
    EXPECT_EQ(ask("INCLUDE foo\nALL\nEXCLUDE foo\n", "foo"), kNo);
    // What NONE wiped does not come back with ALL, and the other way round.
    EXPECT_EQ(ask("EXCLUDE foo\nNONE\nALL\n", "foo"), kYes);
    EXPECT_EQ(ask("INCLUDE foo\nALL\nNONE\n", "foo"), kNo);
}

TEST_F(LookupConfig, CommandsAreWordsInAnyCase) {
    EXPECT_EQ(ask("all\n", "foo"), kYes);
    EXPECT_EQ(ask("aLl\n", "foo"), kYes);
    EXPECT_EQ(ask("ALL\nnone\n", "foo"), kNo);
    EXPECT_EQ(ask("include foo\n", "foo"), kYes);
    EXPECT_EQ(ask("ALL\nExclude foo\n", "foo"), kNo);
    EXPECT_EQ(ask("all\n", "all"), kYes);
    EXPECT_EQ(ask("ALL\nnone\n", "none"), kNo);
}

TEST_F(LookupConfig, OtherWordIsAFileNameToInclude) {
    const std::string content = "foo bar\n-x\nALLOW\nINCLUDED y\nNON\n";
    for (const char *name : {"foo", "-x", "ALLOW", "INCLUDED", "NON"}) {
        EXPECT_EQ(ask(content, name), kYes) << name;
    }
    for (const char *name : {"bar", "foo bar", "y", "allow", "other"}) {
        EXPECT_EQ(ask(content, name), kNo) << name;
    }
}

TEST_F(LookupConfig, NameOfACommandMayHoldBlanks) {
    const std::string content = "INCLUDE \t a b\tc \t\r\n";
    EXPECT_EQ(ask(content, "a b\tc"), kYes);
    EXPECT_EQ(ask(content, "a"), kNo);
    EXPECT_EQ(ask("ALL\nEXCLUDE a b", "a b"), kNo);
    EXPECT_EQ(ask("INCLUDE ALL\n", "ALL"), kYes);
    EXPECT_EQ(ask("INCLUDE ALL\n", "foo"), kNo);
    EXPECT_EQ(ask("INCLUDE # x\n", "# x"), kYes);
}

TEST_F(LookupConfig, CommandWithoutItsNameIsIgnored) {
    for (const char *line : {"INCLUDE\n", "INCLUDE \t\n", "INCLUDE"}) {
        for (const char *name : {"", "INCLUDE", "foo"}) {
            EXPECT_EQ(ask(line, name), kNo) << line;
        }
    }
    for (const char *line : {"ALL\nEXCLUDE\n", "ALL\nEXCLUDE \t\n", "ALL\nEXCLUDE"}) {
        for (const char *name : {"", "EXCLUDE", "foo"}) {
            EXPECT_EQ(ask(line, name), kYes) << line;
        }
    }
}

TEST_F(LookupConfig, WordsAfterAllAndNoneAreIgnored) {
    EXPECT_EQ(ask("EXCLUDE foo\nALL foo\n", "foo"), kYes);
    EXPECT_EQ(ask("ALL foo\n", "bar"), kYes);
    EXPECT_EQ(ask("INCLUDE foo\nNONE foo\n", "foo"), kNo);
}

TEST_F(LookupConfig, CommentsAreIgnored) {
    const std::string content = "# ALL\n#ALL\n;ALL\n ; ALL\n--ALL\n\t-- ALL\n--\n#\n;\n";
    for (const char *name : {"ALL", "#", ";", "--", "--ALL", "#ALL", "foo"}) {
        EXPECT_EQ(ask(content, name), kNo) << name;
    }
}

TEST_F(LookupConfig, WhiteSpaceAroundALineDoesNotCount) {
    EXPECT_EQ(ask(" \t\v\f\rfoo \t\v\f\r\n", "foo"), kYes);
    EXPECT_EQ(ask("ALL\r\nEXCLUDE\v\ffoo\r\n", "foo"), kNo);
    EXPECT_EQ(ask("ALL\nEXCLUDE foo", "foo"), kNo);
}

TEST_F(LookupConfig, PrintsNothing) {
    test::Capture capture;
    ask("ALL\nnonsense\nEXCLUDE\n", "foo");
    ask("INCLUDE foo\n", "foo");
    box.directory("none");
    EXPECT_EQ(capture.out() + capture.err(), "");
}

// The file.

TEST_F(LookupConfig, FileIsTheFirstOneOnTheList) {
    CList both({"a", "b"});
    box.directory("a").file("b/veksetup/puxLookupConfig", "foo\n");
    EXPECT_EQ(puxUsePuxFor(both, "foo"), kYes);
    box.file("b/puxLookupConfig", "NONE\n");
    EXPECT_EQ(puxUsePuxFor(both, "foo"), kNo);
    box.file("b/.tolvane/puxLookupConfig", "ALL\n");
    EXPECT_EQ(puxUsePuxFor(both, "foo"), kYes);
    box.file("a/puxLookupConfig", "");
    EXPECT_EQ(puxUsePuxFor(both, "foo"), kNo);
}

TEST_F(LookupConfig, FileIsReadAnewByEveryCall) {
    EXPECT_EQ(ask("foo\n", "foo"), kYes);
    EXPECT_EQ(ask("NONE\n", "foo"), kNo);
    EXPECT_EQ(ask("ALL\n", "foo"), kYes);
    EXPECT_EQ(ask("", "foo"), kNo);
}

TEST_F(LookupConfig, NullListIsTheDefaultList) {
    box.file("home/puxLookupConfig", "foo\n");
    process.environment({{"HOME", box.path("home")}});
    EXPECT_EQ(puxUsePuxFor(nullptr, "foo"), kYes);
    EXPECT_EQ(puxUsePuxFor(nullptr, "bar"), kNo);
    EXPECT_NE(pux::processSettings().list, nullptr);
}

TEST_F(LookupConfig, NullNameIsInvalid) {
    config("ALL\n");
    EXPECT_EQ(puxUsePuxFor(list, nullptr), PUX_INVALID_PARAMETER);
    EXPECT_EQ(puxUsePuxFor(nullptr, nullptr), PUX_INVALID_PARAMETER);
}

TEST(LookupConfigStart, NeedsAnInitializedProcess) {
    const test::Sandbox box;
    CList list({"d"});
    EXPECT_EQ(puxUsePuxFor(list, "foo"), PUX_NOT_INITIALIZED);
    EXPECT_EQ(puxUsePuxFor(nullptr, "foo"), PUX_NOT_INITIALIZED);
}

TEST_F(LookupConfig, CodeOfTheSearchIsPassedOn) {
    CList tooLong({std::string(1024, 'x')});
    EXPECT_EQ(puxUsePuxFor(tooLong, "foo"), PUX_BUFFER_TOO_SMALL);
    box.file("d/puxLookupConfig", "ALL\n", 0000);
    test::asUnprivileged([this] {
        EXPECT_EQ(ask("foo"), PUX_PERMISSION_DENIED);
        puxReleaseHandle(nullptr);
    });
    process.environment({});
    puxReleaseHandle(nullptr);
    ASSERT_EQ(0, chdir("/"));
    faults::failAllocation(1);
    EXPECT_EQ(ask("foo"), PUX_MEMORY_ERROR);
}

TEST_F(LookupConfig, PathOfTheFileHasAtMost1023Characters) {
    constexpr std::size_t below = std::string_view("/.tolvane/puxLookupConfig").size();
    for (const std::size_t length : {1023U, 1024U, 1025U}) {
        const std::string directory = test::directoryOfLength(box, length - below);
        box.file(directory + "/.tolvane/puxLookupConfig", "ALL\n");
        CList here({box.path(directory)});
        EXPECT_EQ(puxUsePuxFor(here, "foo"), length == 1023 ? kYes : PUX_BUFFER_TOO_SMALL) << length;
    }
}

TEST_F(LookupConfig, FileThatCannotBeOpenedIsDenied) {
    EXPECT_EQ(ask("ALL\n", "foo"), kYes);
    for (const char *call : {"open", "fstat"}) {
        for (const int error : {EACCES, EMFILE, ENOENT}) {
            faults::reset();
            faults::fail(call, 1, error);
            EXPECT_EQ(ask("foo"), PUX_PERMISSION_DENIED) << call;
            EXPECT_EQ(faults::count(call), 1);
        }
    }
}

TEST_F(LookupConfig, OtherThanRegularFilesAreEmpty) {
    box.directory("d/puxLookupConfig");
    EXPECT_EQ(ask("foo"), kNo);
    CList fifo({"e"});
    box.fifo("e/puxLookupConfig");
    EXPECT_EQ(puxUsePuxFor(fifo, "foo"), kNo);
    CList device({"f"});
    box.link("f/puxLookupConfig", "/dev/zero");
    EXPECT_EQ(puxUsePuxFor(device, "foo"), kNo);
    CList loop({"g"});
    box.link("g/puxLookupConfig", "puxLookupConfig");
    EXPECT_EQ(puxUsePuxFor(loop, "foo"), PUX_PERMISSION_DENIED);
}

TEST_F(LookupConfig, LinesAfterAReadErrorAreIgnored) {
    const std::string comment = "#" + std::string(4090, 'x') + "\n"; // the first read() ends after this line
    EXPECT_EQ(ask("ALL\n" + comment + "EXCLUDE foo\n", "foo"), kNo);
    faults::fail("read", 2, EIO);
    EXPECT_EQ(ask("foo"), kYes);
    faults::fail("read", 1, EIO);
    EXPECT_EQ(ask("foo"), kNo);
}

// Long lines, and bytes of any kind.

TEST_F(LookupConfig, LongLineIsReadOnAsFurtherLines) {
    EXPECT_EQ(ask(std::string(1019, ' ') + "word\n", "word"), kYes);
    EXPECT_EQ(ask(std::string(1020, ' ') + "word\n", "word"), kNo);
    EXPECT_EQ(ask(std::string(1020, ' ') + "word\n", "wor"), kYes);
    EXPECT_EQ(ask(std::string(1020, ' ') + "word\n", "d"), kYes);
    EXPECT_EQ(ask("#" + std::string(1022, 'x') + "ALL\n", "foo"), kYes);
    EXPECT_EQ(ask("#" + std::string(1021, 'x') + "ALL\n", "foo"), kNo);
    EXPECT_EQ(ask("#" + std::string(1'000'000, 'x') + "\nfoo\n", "foo"), kYes);
}

TEST_F(LookupConfig, NameOf1024CharactersIsNeverFound) {
    const std::string longest(1023, 'x');
    EXPECT_EQ(ask(longest + "\n", longest), kYes);
    EXPECT_EQ(ask(longest + "x\n", longest), kYes);
    EXPECT_EQ(ask(longest + "x\n", longest + "x"), kNo);
    EXPECT_EQ(ask("ALL\nEXCLUDE " + std::string(1015, 'x') + "\n", std::string(1015, 'x')), kNo);
    EXPECT_EQ(ask("ALL\nEXCLUDE " + std::string(1016, 'x') + "\n", std::string(1016, 'x')), kYes);
    for (const std::size_t length : {1024U, 4096U, 1'000'000U}) {
        const std::string tooLong(length, 'x');
        EXPECT_EQ(ask(tooLong + "\n", tooLong), kNo) << length;
        EXPECT_EQ(ask("ALL\nEXCLUDE " + tooLong + "\n", tooLong), kYes) << length;
    }
}

TEST_F(LookupConfig, BytesOfAnyKindMakeAName) {
    EXPECT_EQ(ask("\xc3\xa4\n", "\xc3\xa4"), kYes);
    EXPECT_EQ(ask("INCLUDE \x01\xff\xfe\n", "\x01\xff\xfe"), kYes);
    EXPECT_EQ(ask("\xa0x\n", "\xa0x"), kYes);
    // Wherever the caller's name lies in memory
    const std::string name(48, '\xe9');
    config(name + "\n");
    for (std::size_t offset = 0; offset < 8; ++offset) {
        const std::string shifted = std::string(offset, ' ') + name;
        EXPECT_EQ(puxUsePuxFor(list, shifted.c_str() + offset), kYes) << offset;
    }
}

TEST_F(LookupConfig, NulEndsALine) {
    const std::string content("foo\0bar\nALL\0\nEXCLUDE x\0y\n", 25);
    EXPECT_EQ(ask(content.substr(0, 8), "foo"), kYes);
    EXPECT_EQ(ask(content.substr(0, 8), "bar"), kNo);
    EXPECT_EQ(ask(content, "bar"), kYes);
    EXPECT_EQ(ask(content, "x"), kNo);
}

// Large files, and no memory.

TEST_F(LookupConfig, ThousandsOfNamesAreRead) {
    std::string content;
    for (int i = 0; i < 5000; ++i) {
        content += (i % 2 == 0 ? "INCLUDE name" : "EXCLUDE name") + std::to_string(i) + "\n";
    }
    config(content);
    for (const int i : {0, 1, 190, 191, 192, 193, 767, 768, 4998, 4999}) {
        EXPECT_EQ(ask("name" + std::to_string(i)), i % 2 == 0 ? kYes : kNo) << i;
    }
    config("ALL\n" + content);
    EXPECT_EQ(ask("name3333"), kNo);
    EXPECT_EQ(ask("name5000"), kYes);
    config(content + "ALL\n");
    EXPECT_EQ(ask("name3333"), kYes);
    config(content + "NONE\nname3333\n");
    EXPECT_EQ(ask("name3332"), kNo);
    EXPECT_EQ(ask("name3333"), kYes);
}

TEST_F(LookupConfig, TenMegabytesOfNamesAreRead) {
    std::string content = "ALL\n";
    for (int i = 0; content.size() < 10'000'000; ++i) {
        content += (i % 2 == 0 ? "I" : "exclude I") + std::to_string(i) + "\n";
    }
    EXPECT_EQ(ask(content, "I100001"), kNo);
}

TEST_F(LookupConfig, ArbitraryBytesAreReadAsLines) {
    std::string content;
    content.resize(10'000'000);
    uint32_t state = 1;
    for (char &byte : content) {
        state = state * 1664525U + 1013904223U;
        byte = static_cast<char>(state >> 24U);
    }
    EXPECT_EQ(ask(content, "foo"), kNo);
    EXPECT_EQ(ask(content + "\nfoo\n", "foo"), kYes);
    EXPECT_EQ(ask(content + "\nALL\nexclude foo\n", "foo"), kNo);
}

TEST_F(LookupConfig, NeedsNoMoreMemoryForMoreLines) {
    const auto allocations = [this](const std::string &content) {
        config(content);
        EXPECT_EQ(ask("foo"), kYes); // what a process does once is done
        faults::reset();
        EXPECT_EQ(ask("foo"), kYes);
        return faults::count("malloc");
    };
    std::string content = "foo\n";
    const int few = allocations(content);
    for (int i = 0; i < 1000; ++i) {
        content += (i % 2 == 0 ? "name" : "EXCLUDE name") + std::to_string(i) + "\n";
    }
    EXPECT_EQ(allocations(content), few);
}

TEST_F(LookupConfig, FailedAllocationIsNeverAnotherAnswer) {
    config("INCLUDE a\nALL\nEXCLUDE foo\n");
    faults::reset();
    EXPECT_EQ(ask("foo"), kNo);
    const int allocations = faults::count("malloc");
    for (int nth = 1; nth <= allocations; ++nth) {
        faults::failAllocation(nth);
        const int code = ask("foo");
        EXPECT_TRUE(code == kNo || code == PUX_MEMORY_ERROR || code == PUX_PERMISSION_DENIED)
            << nth << " " << code;
        faults::reset();
    }
}

TEST_F(LookupConfig, NothingIsKeptBetweenCalls) {
    config("a\nEXCLUDE b\nALL\na\nEXCLUDE a\n");
    const auto askOften = [this] {
        for (int i = 0; i < 100; ++i) {
            EXPECT_EQ(ask("a"), kNo);
        }
    };
    askOften(); // the allocator has its own memory now
    const std::size_t before = mallinfo2().uordblks;
    askOften();
    EXPECT_EQ(mallinfo2().uordblks, before);
}
