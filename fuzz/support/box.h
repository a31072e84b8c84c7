#ifndef VEK_FUZZ_SUPPORT_BOX_H
#define VEK_FUZZ_SUPPORT_BOX_H

#include <string>
#include <string_view>
#include <sys/types.h>

namespace fuzz {

/// The directory tree of a fuzz target: made at start, in $TMPDIR, in memory (/dev/shm) or in /tmp, and removed at
/// exit. It may not be entered under another name, so that paths in it are free of symbolic links of others.
///
/// While an input runs, nothing outside the box can be created, changed or removed by the code under test: what
/// tries to (open() to write, mkdir(), unlink(), rename(), chmod()) fails with EACCES, as in a directory of
/// somebody else. Names are relative to the box; a builder that fails ends the process.
class Box {
  public:
    Box();
    ~Box();
    Box(const Box &) = delete;
    Box &operator=(const Box &) = delete;

    [[nodiscard]] const std::string &root() const { return root_; }
    [[nodiscard]] std::string path(std::string_view name) const;

    /// Makes `name` a file of this content. A file that is there keeps its inode.
    void file(const char *name, std::string_view content, mode_t mode = 0644) const;
    void directory(const char *name) const;
    void link(const char *name, const char *target) const;
    /// Removes a file, if it is there.
    void remove(const char *name) const;
    /// Removes an empty directory, if it is there.
    void removeDirectory(const char *name) const;
    /// Removes everything in the directory `name`.
    void empty(const char *name) const;

    [[nodiscard]] bool exists(const char *name) const;
    [[nodiscard]] std::string read(const char *name) const;

    /// Makes the box the working directory and confines writing to it, until leave().
    void enter() const;
    void leave() const;

  private:
    std::string root_;
    int directory_;
    int cameFrom_;
};

} // namespace fuzz

#endif
