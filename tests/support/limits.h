#ifndef VEK_TESTS_SUPPORT_LIMITS_H
#define VEK_TESTS_SUPPORT_LIMITS_H

#include <vector>

#include <sys/resource.h>

namespace test {

/// A soft limit of this process that has another value while the object is in scope.
class SoftLimit {
  public:
    SoftLimit(__rlimit_resource resource, rlim_t value);
    ~SoftLimit();
    SoftLimit(const SoftLimit &) = delete;
    SoftLimit &operator=(const SoftLimit &) = delete;

  private:
    __rlimit_resource resource_;
    rlimit before_ = {};
};

/// While in scope, the process cannot start threads and children. Has no effect for root (see child.h, asUnprivileged()).
class NoThreads {
    SoftLimit threads_{RLIMIT_NPROC, 0};
};

/// While in scope, the process can open only few further descriptors.
class FewDescriptors {
  public:
    /// @param free  the number of descriptors that can be opened; the process must have less than 64 - `free` open ones
    explicit FewDescriptors(int free);
    ~FewDescriptors();
    FewDescriptors(const FewDescriptors &) = delete;
    FewDescriptors &operator=(const FewDescriptors &) = delete;

  private:
    SoftLimit limit_{RLIMIT_NOFILE, 64};
    std::vector<int> used_;
};

} // namespace test

#endif
