// libvek(3) states how much memory the data of large files need. The limits here are those figures and a fifth.

#include "common/vek.h"
#include "libdef/ryn.h"
#include "tagfile/tov.h"
#include "tests/support/sandbox.h"

#include <gtest/gtest.h>

#include <malloc.h>
#include <string>

// Defined by the address sanitizer, whose allocator mallinfo2() does not see.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes() __attribute__((weak));

namespace {

std::size_t allocatedBytes() {
    if (__sanitizer_get_current_allocated_bytes != nullptr) {
        return __sanitizer_get_current_allocated_bytes();
    }
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

std::string numbered(int count, const std::string &before, const std::string &after) {
    std::string text;
    for (int i = 100'000; i < 100'000 + count; ++i) {
        text += before + std::to_string(i) + after + std::to_string(i) + "\n";
    }
    return text;
}

int acceptDiagnostic(int /*code*/, const char * /*object*/, const char * /*file*/, int /*line*/) {
    return 0;
}

/// The bytes that a registry of `text` holds.
std::size_t sizeOfRegistry(test::Sandbox &box, const std::string &text) {
    box.file("vek.lib", text);
    const std::size_t before = allocatedBytes();
    rynHandle registry = nullptr;
    EXPECT_EQ(rynInitialize("vek.lib", acceptDiagnostic, &registry), RYN_OK);
    const std::size_t size = allocatedBytes() - before;
    rynReleaseHandle(registry);
    return size;
}

TEST(Memory, ApplicationEntryNeeds80Bytes) {
    constexpr int kEntries = 100'000;
    test::Sandbox box;
    box.file("vekinfo.tag", numbered(kEntries, "A_LONG_ENTRY_NAME", " a_long_value_too_"));
    const std::size_t before = allocatedBytes();
    VekinfoObj obj = {};
    int found = 0;
    ASSERT_EQ(tovGetVekinfoAtLoc("vekinfo.tag", nullptr, &obj, &found), TOV_OK);
    EXPECT_LE((allocatedBytes() - before) / kEntries, 96U);
    tovResetCache();
}

TEST(Memory, LibraryNeeds600Bytes) {
    constexpr int kLibraries = 20'000;
    test::Sandbox box;
    const std::string text = numbered(kLibraries, "DEFINE library", " /data/libraries/of/the/site/library");
    EXPECT_LE(sizeOfRegistry(box, text) / kLibraries, 720U);
}

TEST(Memory, AttributeNeeds120Bytes) {
    constexpr int kAttributes = 5'000;
    test::Sandbox box;
    const std::string text = "DEFINE lib lib\n" + numbered(kAttributes, "ASSIGN lib KEY", " value");
    EXPECT_LE(sizeOfRegistry(box, text) / kAttributes, 144U);
}

TEST(Memory, CommentsNeedNothing) {
    test::Sandbox box;
    const std::size_t empty = sizeOfRegistry(box, "");
    EXPECT_LE(sizeOfRegistry(box, numbered(100'000, "# A comment in line ", " of ")), empty + 4096);
}

} // namespace
