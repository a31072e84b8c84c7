#ifndef VEK_TESTS_FS_SUPPORT_H
#define VEK_TESTS_FS_SUPPORT_H

#include "fs/vek_fs.h"

#include <functional>
#include <string>

namespace test {

/// A specifier that is freed at the end of its scope.
class Spec {
  public:
    using Maker = int (*)(const char *path, vekFSSpec **spec);

    explicit Spec(const std::string &path, Maker maker = vekFSCreatePathSpec);
    ~Spec();
    Spec(const Spec &) = delete;
    Spec &operator=(const Spec &) = delete;

    operator vekFSSpec *() const { return spec_; } // NOLINT(google-explicit-constructor)
    vekFSSpec *operator->() const { return spec_; }

  private:
    vekFSSpec *spec_ = nullptr;
};

/// Counts the allocations and descriptors that were created and not released since its construction.
class Balance {
  public:
    Balance();
    [[nodiscard]] int allocations() const;
    [[nodiscard]] int descriptors() const;

  private:
    int taken_;
    int freed_;
    int open_;
};

/// Runs `attempt` with its first, second, ... allocation failing, until it succeeds. Expects that each failure is
/// ENOMEM and that everything is released. @return the number of failed allocations
int failEveryAllocation(const std::function<int()> &attempt);

/// The next readdir() returns an entry with this name and type.
void nextEntry(const std::string &name, unsigned char type);

/// The next readdir() fails with this error.
void nextEntryFails(int error);

} // namespace test

#endif
