#ifndef VEK_TESTS_SUPPORT_CAPTURE_H
#define VEK_TESTS_SUPPORT_CAPTURE_H

#include <string>

namespace test {

/// Catches what this process and its children write to standard output and standard error while it lives,
/// at the level of the descriptors. When the test has failed, what was caught is written out at the end.
class Capture {
  public:
    Capture();
    ~Capture();
    Capture(const Capture &) = delete;
    Capture &operator=(const Capture &) = delete;

    /// Everything that came to standard output so far, after a flush.
    [[nodiscard]] std::string out();

    /// Everything that came to standard error so far.
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
