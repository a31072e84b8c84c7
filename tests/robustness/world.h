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

/// Every name below a directory, with what is there: a file's mode and content, a link's target, a directory's
/// mode.
using Tree = std::map<std::string, std::string>;
Tree treeOf(const std::string &directory);

/// A small installation with a project in it, and a registry of the project's libraries: what the calls of the
/// tables (cases.h) work on. The library reports to the world, which keeps quiet.
///
///     inst/tools/bin/   the installation, `tool` is the running program
///     proj/             vekinfo.tag, vek.lib (includes more.lib), the libraries lib and other, tmp/lib, itmp/lib
///     proj/lib/         vekinfo.tag, dm.tag, cell1/view1/{data.db,sub/deep.db}, cell2, readme.txt
///     proj/link         a link to lib; olink one to otherlib, which is the library other
///     site/             .tolvane/find.txt, vekinfo.tag
///     empty/            nothing
class World {
  public:
    /// Whether the library has been asked anything yet, as it is to make the registry. What it finds out about the
    /// installation it keeps.
    enum class Start { Asked, Fresh };

    explicit World(Start start = Start::Asked);
    ~World();
    World(const World &) = delete;
    World &operator=(const World &) = delete;

    /// The library forgets what it may forget. The registry is a new one.
    void renew();

    /// The tree is as at the beginning.
    void restoreTree();

    [[nodiscard]] Tree tree() const { return treeOf(box.path()); }
    [[nodiscard]] const Tree &treeAtFirst() const { return first_; }
    [[nodiscard]] std::string path(std::string_view relative = {}) const { return box.path(relative); }

    /// `text` with "@" in the place of the world's directory; "null" for null.
    [[nodiscard]] std::string shown(const char *text) const;

    /// The names of the codes reported since the last call: "" or, for instance, " reports TOV_SYSTEM_ERROR".
    static std::string takeReports();

    /// An answer with the codes that were reported on the way to it.
    static std::string reported(const std::string &answer) { return answer + takeReports(); }

    /// A warning handler that records and goes on.
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
