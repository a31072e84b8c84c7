#ifndef TOOL_PROGRESS_H
#define TOOL_PROGRESS_H

#include <cstddef>

namespace vekinfo {

/// Shows the progress of a long action in one line on the terminal. The line appears after two seconds. It is erased
/// before any other output and written again afterwards. See progress.cpp.
class Progress {
  public:
    /// Replaces stdout and stderr and starts the thread that writes the line. Does nothing if standard error is not a
    /// terminal that can erase a line, if standard output is a pipe or socket, or if memory or threads are exhausted.
    Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;
    /// Ends the thread, erases the line and restores stdout and stderr.
    ~Progress();

    /// @return false if the constructor did nothing; set() then has no effect
    [[nodiscard]] bool isShown() const { return line_ != nullptr; }

    /// Sets the content of the line.
    /// @param done     the number of libraries that have been checked
    /// @param count    the number of all libraries
    /// @param library  the name of the library that is checked next
    void set(std::size_t done, std::size_t count, const char *library);

  private:
    class Line;

    Line *line_ = nullptr; ///< null if the constructor did nothing
};

} // namespace vekinfo

#endif
