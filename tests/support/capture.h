#ifndef VEK_TESTS_SUPPORT_CAPTURE_H
#define VEK_TESTS_SUPPORT_CAPTURE_H

#include <string>

namespace test {

/// Redirects standard output and standard error of this process and its children to files while in scope. If the test has
/// failed, the captured text is printed at the end.
class Capture {
  public:
    Capture();
    ~Capture();
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;

    /// Everything that was written to standard output so far, after a flush.
    [[nodiscard]] std::string out();

    /// Everything that was written to standard error so far.
    [[nodiscard]] std::string err();

  private:
    struct Stream {
        int number;
        int saved;
        int caught;
    };
    static Stream redirect(int number);
    static void restore(const Stream &stream);
    static std::string content(const Stream &stream);

    Stream out_;
    Stream err_;
};

} // namespace test

#endif
