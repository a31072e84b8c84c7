#ifndef TESTS_ROBUSTNESS_TOOL_PROJECT_H
#define TESTS_ROBUSTNESS_TOOL_PROJECT_H

#include <ostream>
#include <string>
#include <vector>

#include "tests/robustness/in_memory.h"
#include "tests/robustness/world.h"
#include "tests/support/environment.h"
#include "tests/support/sandbox.h"

namespace test {

/// One way to run the tool, in the directory of the project.
struct Action {
    std::string name;
    std::vector<std::string> arguments; ///< the program's name excluded
    bool writes = false;

    friend std::ostream &operator<<(std::ostream &out, const Action &action) { return out << action.name; }
};

/// Every action of the tool.
const std::vector<Action> &actions();

/// A project that the tool works on: tag files with and without entries, and a `vek.lib` with three libraries, of which
/// one has no tag file, one an unmarked one that does not end in a newline, and one is complete.
class ToolProject {
  public:
    ToolProject();

    void restore();
    [[nodiscard]] Tree tree() const { return treeOf(box.path()); }
    [[nodiscard]] const Tree &treeAtFirst() const { return first_; }
    [[nodiscard]] const Environment &environment() const { return environment_; }
    [[nodiscard]] std::string directory() const { return box.path("proj"); }

    /// The whole command line of an action.
    [[nodiscard]] static std::vector<std::string> commandLine(const Action &action);

    [[maybe_unused]] InMemory inMemory;
    Sandbox box;

  private:
    void build();

    Tree first_;
    Environment environment_;
};

} // namespace test

#endif
