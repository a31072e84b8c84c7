#ifndef VEKI_REGEXP_AUTOMATON_H
#define VEKI_REGEXP_AUTOMATON_H

#include "common/expressions/veki_regexp.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vek {

/// Tests whether a subject contains a match of a program, without finding the groups. This is the position automaton
/// (Glushkov construction) of the program, simulated with one bit for each position (bit-parallel NFA simulation). It
/// takes O(n) steps for n characters. A step takes a few instructions while the set of active positions does not
/// change.
///
/// A position is an element of the program that consumes one character: a node that matches one character, or one
/// character of a literal. It is active if a partial match can end with this element at the current character.
class PositionAutomaton {
  public:
    /// Builds the automaton of a program that checkProgram() accepts.
    /// @return false if the program has too many positions or bytes, or a loop that consumes no character; canMatch()
    ///         must then not be called
    [[nodiscard]] bool build(const unsigned char *program, std::size_t programSize);

    /// @return false if no match begins at offset `start` of `subject` or after it
    [[nodiscard]] bool canMatch(std::string_view subject, std::size_t start) const;

  private:
    using Set = std::uint64_t; ///< one bit for each position
    static constexpr unsigned kPositionsMax = 64;
    /// In bytes. Limits the recursion of collect() to 170 nodes.
    static constexpr std::size_t kProgramMax = 512;

    struct Position {
        std::uint16_t node;     ///< the program continues after this node
        bool isRepeated;        ///< the position is the operand of STAR or PLUS
        bool isBeforeCharacter; ///< the position is in a literal, but is not its last character
    };
    /// Whether an offset is the beginning of the subject, where "^" matches, and whether it is the end, where "$"
    /// matches.
    struct Anchors {
        bool begin;
        bool end;
    };
    /// What can be reached from a node without consuming a character (epsilon closure).
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
