#ifndef TOOL_PROGRESS_H
#define TOOL_PROGRESS_H

#include <cstddef>

namespace vekinfo {

/// A progress line on the terminal, shown during a long action. The line appears two seconds after the construction of
/// the object. It is erased before any other output and written again after the output. The destructor erases the line.
class Progress {
  public:
    /// Replaces the variables `stdout` and `stderr` by streams that erase the progress line before each output, and
    /// starts a thread that writes the progress line. Does nothing if standard error is not a terminal that can erase a
    /// line, if standard output is a pipe or socket, or if memory or threads are exhausted.
    Progress();
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;
    /// Ends the thread that the constructor started, erases the progress line and restores `stdout` and `stderr`.
    ~Progress();

    /// Returns true if the constructor started the thread; false if the constructor did nothing, so that set() has no
    /// effect.
    [[nodiscard]] bool isShown() const { return line_ != nullptr; }

    /// Sets the text of the progress line, which contains all three arguments.
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
