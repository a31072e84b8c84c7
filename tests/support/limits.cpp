#include "tests/support/limits.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/support/real_calls.h"

namespace test {

SoftLimit::SoftLimit(__rlimit_resource resource, rlim_t value) : resource_(resource) {
    EXPECT_EQ(0, getrlimit(resource, &before_));
    const rlimit limit = {value, before_.rlim_max};
    EXPECT_EQ(0, setrlimit(resource, &limit));
}

SoftLimit::~SoftLimit() {
    EXPECT_EQ(0, setrlimit(resource_, &before_));
}

FewDescriptors::FewDescriptors(int free) {
    for (int next = dup(0); next >= 0; next = dup(0)) {
        used_.push_back(next);
    }
    for (int i = 0; i < free; ++i) {
        __real_close(used_.back());
        used_.pop_back();
    }
}

FewDescriptors::~FewDescriptors() {
    for (const int each : used_) {
        __real_close(each);
    }
}

} // namespace test
