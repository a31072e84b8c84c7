#ifndef VEK_FUZZ_SUPPORT_INPUT_H
#define VEK_FUZZ_SUPPORT_INPUT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace fuzz {

/// Ends a section of an input that has several.
inline constexpr char kSection = '\x1e';

/// Stands, with the two bytes behind it, for many of one character: kRepeat, the character, a count. Long lines and
/// paths are reached that way.
inline constexpr char kRepeat = '\x1f';

/// The bytes of an input with its repetitions written out.
std::string expandRepetitions(const std::uint8_t *data, std::size_t size);

/// Hands an input out from front to back. What is not there is zero, or empty.
class Input {
  public:
    explicit Input(std::string_view text) : rest_(text) {}

    [[nodiscard]] bool empty() const { return rest_.empty(); }
    unsigned byte();
    std::string_view section() { return upTo(kSection); }
    std::string_view line() { return upTo('\n'); }
    std::string_view rest();

  private:
    /// Takes what stands before `end`, and `end` with it.
    std::string_view upTo(char end);

    std::string_view rest_;
};

} // namespace fuzz

#endif
