#ifndef VEKI_REGEXP_AUTOMATON_H
#define VEKI_REGEXP_AUTOMATON_H

#include "common/expressions/veki_regexp.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vek {

/// The position automaton (Glushkov construction) of a compiled regular expression, simulated with one bit for each
/// position (bit-parallel NFA simulation). It tests in O(n) steps whether a subject of n characters contains a match,
/// but does not find the groups.
///
/// A position is an element of the program that consumes one character: a node that matches one character, or one
/// character of a literal. It is active if a partial match can end with this element at the current character.
class PositionAutomaton {
  public:
    /// Builds the automaton of `program`, which checkProgram() must have accepted.
    /// @return false if the program has more than kPositionsMax positions or kProgramMax bytes, or a loop that
    ///         consumes no character. canMatch() must then not be called
    [[nodiscard]] bool build(const unsigned char *program, std::size_t programSize);

    /// @return true if a match of the program begins at offset `start` of `subject` or after it
    [[nodiscard]] bool canMatch(std::string_view subject, std::size_t start) const;

  private:
    using Set = std::uint64_t; ///< one bit for each position
    static constexpr unsigned kPositionsMax = 64;
    /// The largest size of a program in bytes. A node has at least 3 bytes, so the recursion of collect() is at most
    /// 170 calls deep.
    static constexpr std::size_t kProgramMax = 512;

    struct Position {
        std::uint16_t node;     ///< the program continues after this node
        bool isRepeated;        ///< the position is the operand of STAR or PLUS
        bool isBeforeCharacter; ///< the position is in a literal, but is not its last character
    };
    /// Properties of an offset in the subject. `begin` is true at the beginning of the subject, where "^" matches.
    /// `end` is true at the end of the subject, where "$" matches.
    struct Anchors {
        bool begin;
        bool end;
    };
    /// The epsilon closure of a node: the positions that can be reached from it without consuming a character.
    struct Closure {
        Set positions = 0;
        bool isEnd = false; ///< true if END can be reached
    };
    enum class Mark : std::uint8_t { New, Open, Done };

    [[nodiscard]] bool close(std::size_t node, const Anchors &anchors, Closure &closure);
    [[nodiscard]] bool collect(std::size_t node, const Anchors &anchors, Closure &closure);
    [[nodiscard]] bool addFirstPosition(std::size_t node, std::size_t continuation, Closure &closure);
    [[nodiscard]] bool addPosition(const Position &position);
    [[nodiscard]] bool follow(unsigned position);
    void allowCharacters(std::size_t node, Set position);
    [[nodiscard]] Set followersOf(Set active) const;

    const unsigned char *program_ = nullptr;
    unsigned count_ = 0;
    std::array<Position, kPositionsMax> positions_;
    std::array<Set, kPositionsMax> followers_;
    std::array<Set, 256> allowed_{};                ///< the positions that consume each character
    std::array<std::uint8_t, kProgramMax> first_{}; ///< 1 + the first position of each node; 0 if unset
    std::array<Mark, kProgramMax> marks_; ///< for each node, its mark in the depth-first search of collect()
    Closure startAtBegin_;
    Closure start_;
    bool isEmptyMatch_ = false;      ///< true if the empty subject matches
    bool isEmptyMatchAtEnd_ = false; ///< true if the end of a non-empty subject is an empty match
    Set final_ = 0;                  ///< the positions after which a match can end
    Set finalAtEnd_ = 0;             ///< the positions after which a match can end at the end of the subject
};

} // namespace vek

#endif
