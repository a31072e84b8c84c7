#include "tests/fs/fs_support.h"

#include "tests/support/faults.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <gtest/gtest.h>

extern "C" {
void __real_free(void *memory);
dirent *__real_readdir(DIR *stream);
}

namespace {

struct {
    int freed = 0;
    bool replaced = false;
    int error = 0;
    // Longer than struct dirent: some file systems have longer names.
    alignas(dirent) char record[offsetof(dirent, d_name) + 8192] = {};
} state;

int openDescriptors() {
    int count = 0;
    DIR *const stream = opendir("/proc/self/fd");
    while (__real_readdir(stream) != nullptr) {
        ++count;
    }
    closedir(stream);
    return count;
}

} // namespace

extern "C" {

void __wrap_free(void *memory) {
    state.freed += memory != nullptr ? 1 : 0;
    __real_free(memory);
}

dirent *__wrap_readdir(DIR *stream) {
    if (!state.replaced) {
        return __real_readdir(stream);
    }
    state.replaced = false;
    if (state.error != 0) {
        errno = state.error;
        return nullptr;
    }
    return reinterpret_cast<dirent *>(state.record);
}
}

namespace test {

Spec::Spec(const std::string &path, Maker maker) {
    EXPECT_EQ(maker(path.c_str(), &spec_), 0);
}

Spec::~Spec() {
    EXPECT_EQ(vekFSFreeSpec(spec_), 0);
}

Balance::Balance() : taken_(faults::count("malloc")), freed_(state.freed), open_(openDescriptors()) {}

int Balance::allocations() const {
    return faults::count("malloc") - taken_ - (state.freed - freed_);
}

int Balance::descriptors() const {
    return openDescriptors() - open_;
}

int failEveryAllocation(const std::function<int()> &attempt) {
    for (int failures = 0; failures < 100; ++failures) {
        const Balance balance;
        faults::failAllocation(failures + 1);
        const int status = attempt();
        if (status == 0) {
            return failures;
        }
        EXPECT_EQ(status, ENOMEM) << "allocation " << failures + 1;
        EXPECT_EQ(balance.allocations(), 1) << "the failed one is the only one that was not freed";
        EXPECT_EQ(balance.descriptors(), 0);
    }
    ADD_FAILURE() << "never succeeds";
    return 0;
}

void nextEntry(const std::string &name, unsigned char type) {
    auto *const entry = reinterpret_cast<dirent *>(state.record);
    entry->d_type = type;
    entry->d_reclen = static_cast<unsigned short>(offsetof(dirent, d_name) + name.size() + 1);
    char *const text = state.record + offsetof(dirent, d_name);
    *std::copy(name.begin(), name.end(), text) = '\0';
    state.error = 0;
    state.replaced = true;
}

void nextEntryFails(int error) {
    state.error = error;
    state.replaced = true;
}

} // namespace test
