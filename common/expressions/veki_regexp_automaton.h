#ifndef VEKI_REGEXP_AUTOMATON_H
#define VEKI_REGEXP_AUTOMATON_H

#include "common/expressions/veki_regexp.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vek {

/// Decides whether a subject contains any match of a program, without its groups: the position automaton (Glushkov
/// construction) of the program, simulated with one bit for each position (bit-parallel NFA simulation). It takes O(n)
/// steps for n characters. A step takes a few instructions while the set of active positions does not change.
///
/// A position is a place in the program that consumes one character: a one-character node, or one character of a
/// literal. It is active if the characters read so far can end there.
class PositionAutomaton {
  public:
    /// Builds the automaton of a program that checkProgram() accepts.
    /// @return false if it has too many positions or nodes, or a loop that consumes no character; the automaton must not
    ///         be used then
    [[nodiscard]] bool build(const unsigned char *program, std::size_t programSize);

    /// @return false if no match begins at offset `start` of `subject` or after it
    [[nodiscard]] bool canMatch(std::string_view subject, std::size_t start) const;

  private:
    using Set = std::uint64_t; ///< one bit for each position
    static constexpr unsigned kPositionsMax = 64;
    static constexpr std::size_t kProgramMax = 512; ///< limits the recursion of collect() to 170 nodes

    struct Position {
        std::uint16_t node;     ///< the program continues after this node
        bool isRepeated;        ///< by STAR or PLUS
        bool isBeforeCharacter; ///< the program continues with the next position, in the same literal
    };
    /// Which anchors match at a place in the subject.
    struct Anchors {
        bool begin;
        bool end;
    };
    /// What a place in the program leads to without consuming a character.
    struct Closure {
        Set positions = 0;
        bool isEnd = false; ///< the end of the program
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
    std::array<std::uint8_t, kProgramMax> first_{}; ///< the first position of each node, plus one
    std::array<Mark, kProgramMax> marks_;           ///< of the depth-first search of collect()
    Closure startAtBegin_;
    Closure start_;
    bool isEmptyMatch_ = false;      ///< the empty subject matches
    bool isEmptyMatchAtEnd_ = false; ///< a match can begin and end at the end of a subject
    Set final_ = 0;                  ///< the positions after which a match can end
    Set finalAtEnd_ = 0;             ///< the same at the end of the subject
};

} // namespace vek

#endif
