#include "common/base/owned.h"

#include "tests/support/faults.h"
#include "tests/support/sandbox.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <utility>

namespace {

bool isOpen(int descriptor) {
    return fcntl(descriptor, F_GETFD) != -1;
}

int openAny() {
    const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
    EXPECT_GE(descriptor, 0);
    return descriptor;
}

TEST(OwnedDescriptor, ClosesAtTheEndOfItsScope) {
    const int number = openAny();
    {
        const vek::OwnedDescriptor owned(number);
        EXPECT_TRUE(owned.valid());
        EXPECT_EQ(number, owned.get());
        EXPECT_TRUE(isOpen(number));
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(OwnedDescriptor, OwnsNothingWithoutAValidDescriptor) {
    test::faults::reset();
    {
        const vek::OwnedDescriptor none;
        const vek::OwnedDescriptor failed(-1);
        EXPECT_FALSE(none.valid());
        EXPECT_FALSE(failed.valid());
    }
    EXPECT_EQ(0, test::faults::count("close"));
}

TEST(OwnedDescriptor, LeavesAReleasedDescriptorOpen) {
    const int number = openAny();
    {
        vek::OwnedDescriptor owned(number);
        EXPECT_EQ(number, owned.release());
        EXPECT_FALSE(owned.valid());
    }
    EXPECT_TRUE(isOpen(number));
    close(number);
}

TEST(OwnedDescriptor, MovesItsDescriptor) {
    const int number = openAny();
    vek::OwnedDescriptor first(number);
    vek::OwnedDescriptor second(std::move(first));
    EXPECT_EQ(number, second.get());
    const int other = openAny();
    second = vek::OwnedDescriptor(other);
    EXPECT_EQ(other, second.get());
    EXPECT_FALSE(isOpen(number));
}

TEST(OwnedDescriptor, ReturnsTheResultOfCloseAndClosesOnce) {
    test::faults::reset();
    {
        vek::OwnedDescriptor owned(openAny());
        test::faults::fail("close", 1, EIO);
        EXPECT_EQ(-1, owned.close());
        EXPECT_EQ(EIO, errno);
        EXPECT_FALSE(owned.valid());
    }
    EXPECT_EQ(1, test::faults::count("close"));
}

TEST(OwnedStream, ClosesAtTheEndOfItsScope) {
    int number = -1;
    {
        const vek::OwnedStream stream(std::fopen("/dev/null", "re"));
        ASSERT_TRUE(stream);
        number = fileno(stream.get());
        EXPECT_TRUE(isOpen(number));
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(OwnedDirectory, ClosesAtTheEndOfItsScope) {
    const test::Sandbox box;
    int number = -1;
    {
        const vek::OwnedDirectory directory(opendir(box.path().c_str()));
        ASSERT_TRUE(directory);
        number = dirfd(directory.get());
        EXPECT_TRUE(isOpen(number));
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(CopyText, CopiesTextWithoutANul) {
    const std::string_view part("abcdef", 3);
    const vek::OwnedText copy = vek::copyText(part);
    EXPECT_STREQ("abc", copy.get());
    EXPECT_STREQ("", vek::copyText("").get());
}

TEST(CopyText, ReturnsNullIfMemoryIsExhausted) {
    test::faults::failAllocation(1);
    EXPECT_EQ(nullptr, vek::copyText("abc"));
}

} // namespace
