#ifndef TOOL_PROGRESS_H
#define TOOL_PROGRESS_H

#include <cstddef>

namespace vekinfo {

/// One line on the terminal that shows how far a long action is. It appears after two seconds, is erased before any
/// other output, and is written again after it. See progress.cpp.
class Progress {
  public:
    /// Shows nothing unless standard error is a terminal that can erase a line, and standard output is no pipe.
    Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;
    /// Erases the line.
    ~Progress();

    /// @return false if nothing is shown
    [[nodiscard]] bool isShown() const { return line_ != nullptr; }

    /// @param done     the number of libraries that are done
    /// @param count    the number of all libraries
    /// @param library  the name of the next one
    void set(std::size_t done, std::size_t count, const char *library);

  private:
    class Line;

    Line *line_ = nullptr; ///< null if nothing is shown
};

} // namespace vekinfo

#endif
