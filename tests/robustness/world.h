#ifndef TESTS_ROBUSTNESS_WORLD_H
#define TESTS_ROBUSTNESS_WORLD_H

#include <map>
#include <string>

#include "fs/vek_fs.h"
#include "libdef/ryn.h"
#include "tests/robustness/in_memory.h"
#include "tests/support/environment.h"
#include "tests/support/sandbox.h"

namespace test {

/// Every name below a directory with a description: mode and content of a file, target of a link, mode of a directory.
using Tree = std::map<std::string, std::string>;
Tree treeOf(const std::string &directory);

/// `tree` without the files that the library creates to test a directory. They remain if unlink() fails.
Tree withoutTestFiles(Tree tree);

/// A small installation with a project and a registry of its libraries, for the calls of the tables in cases.h.
/// Reported codes are collected and messages suppressed.
///
///     inst/tools/bin/   the installation, `tool` is the running program
///     proj/             vekinfo.tag, vek.lib (includes more.lib), the libraries lib and other, tmp/lib, itmp/lib
///     proj/lib/         vekinfo.tag, dm.tag, cell1/view1/{data.db,sub/deep.db}, cell2, readme.txt
///     proj/link         a link to lib; olink one to otherlib, which is the library other
///     site/             .tolvane/find.txt, vekinfo.tag
///     empty/            nothing
class World {
  public:
    /// Whether a registry is made, which caches the installation in the process.
    enum class Start { Asked, Fresh };

    explicit World(Start start = Start::Asked);
    ~World();
    World(const World &) = delete;
    World &operator=(const World &) = delete;

    /// Clears the caches that can be cleared, and makes a new registry.
    void renew();

    /// Restores the initial files.
    void restoreTree();

    [[nodiscard]] Tree tree() const { return treeOf(box.path()); }
    [[nodiscard]] const Tree &treeAtFirst() const { return first_; }
    [[nodiscard]] std::string path(std::string_view relative = {}) const { return box.path(relative); }

    /// `text` with "@" in place of the directory of the world; "null" for null.
    [[nodiscard]] std::string shown(const char *text) const;

    /// The names of the codes reported since the last call: "" or, for instance, " reports TOV_SYSTEM_ERROR".
    static std::string takeReports();

    /// A result followed by the codes that were reported.
    static std::string reported(const std::string &result) { return result + takeReports(); }

    /// A warning handler that records the code and continues.
    static int recordWarning(int code, const char *object, const char *file, int line);

    [[maybe_unused]] InMemory inMemory;
    Sandbox box;
    rynHandle registry = nullptr;

  private:
    void build();
    void forget();

    Tree first_;
};

} // namespace test

#endif
