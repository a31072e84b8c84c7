#ifndef VEKI_REGEXP_H
#define VEKI_REGEXP_H

/// The node program of a compiled expression, as the compiler writes it and the matcher reads it.
///
/// A program is one magic byte and then nodes, the last of them END. A node is an opcode byte and a distance
/// of two bytes, high byte first, to the node that comes next, counted from the node's first byte (backwards
/// for BACK, 0 for none); a literal or a set with its NUL follows in EXACTLY, ANYOF and ANYBUT. What BRANCH
/// tries, and what STAR and PLUS repeat, is the node right behind them.

#include "common/expressions/vek_regexp.h"

#include <cstddef>

namespace vek {

enum class Opcode : unsigned char {
    End = 0,     ///< END: the expression has matched
    Bol = 1,     ///< BOL: the beginning of the subject
    Eol = 2,     ///< EOL: the end of the subject
    Any = 3,     ///< ANY: any one character
    AnyOf = 4,   ///< ANYOF: one character of the set
    AnyBut = 5,  ///< ANYBUT: one character outside the set
    Branch = 6,  ///< BRANCH: an alternative; the next node is another one, or what follows them all
    Back = 7,    ///< BACK: on to an earlier node
    Exactly = 8, ///< EXACTLY: the literal
    Nothing = 9, ///< NOTHING: the empty string
    Star = 10,   ///< STAR: the one-character node behind it, any number of times
    Plus = 11,   ///< PLUS: the same, at least once
    Open = 20,   ///< OPEN n is 20 + n: group n begins
    Close = 30,  ///< CLOSE n is 30 + n: group n ends
};

inline constexpr unsigned char kProgramMagic = 0234;
/// Where the first node is, and how far a node's operand is from its beginning.
inline constexpr std::size_t kFirstNode = 1;
inline constexpr std::size_t kNodeHead = 3;
/// A program is shorter than this, so every distance fits in its two bytes.
inline constexpr std::size_t kProgramLimit = 32767;
/// Groups that a pattern may have.
inline constexpr int kGroupsMax = VEK_REGEXP_GROUPS - 1;

/// What a failed allocation is reported as; compared by its address.
inline constexpr char kRegexpOutOfSpace[] = "out of space";

/// OPEN or CLOSE of a group.
constexpr Opcode groupOpcode(Opcode kind, int group) {
    return static_cast<Opcode>(static_cast<int>(kind) + group);
}

inline Opcode opcodeAt(const unsigned char *program, std::size_t node) {
    return static_cast<Opcode>(program[node]);
}

/// The distance from `node` to the one that comes next.
inline std::size_t distanceAt(const unsigned char *program, std::size_t node) {
    return static_cast<std::size_t>(program[node + 1]) << 8 | program[node + 2];
}

/// The node that comes next.
inline std::size_t nodeAfter(const unsigned char *program, std::size_t node) {
    const std::size_t distance = distanceAt(program, node);
    return opcodeAt(program, node) == Opcode::Back ? node - distance : node + distance;
}

/// Compiles without reporting.
///
/// @param expression  receives the expression, which the caller frees with free()
/// @return null, or the text of the error, which has static storage; `expression` is then left alone
const char *compileRegexp(const char *pattern, vek_regexp **expression);

inline constexpr char kMemoryCorruption[] = "memory corruption";
inline constexpr char kCorruptedPointers[] = "corrupted pointers";

/// Checks that `program` is made of whole nodes up to its END and that every node leads to another one, so
/// that following them stays inside. Loops that match nothing are not looked for.
///
/// @param size  receives the number of its bytes
/// @return null, or the text of the error
const char *checkProgram(const unsigned char *program, std::size_t *size);

} // namespace vek

#endif
