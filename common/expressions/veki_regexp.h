#ifndef VEKI_REGEXP_H
#define VEKI_REGEXP_H

/// The format of a compiled regular expression (vek_regexp::program): bytecode that the compiler writes and the
/// matcher interprets.
///
/// A program is a magic byte, followed by nodes; the last node is END. A node is an opcode byte and a distance, a
/// 16-bit big-endian number. The distance is the number of bytes from this node forwards to its next node; for BACK,
/// backwards. A distance of 0 means that there is no next node. After EXACTLY, ANYOF and ANYBUT comes a NUL-terminated
/// literal or set of characters. The operand of BRANCH, STAR and PLUS is the node that follows in memory.

#include "common/expressions/vek_regexp.h"

#include <cstddef>

namespace vek {

enum class Opcode : unsigned char {
    End = 0,    ///< END: the expression has matched
    Bol = 1,    ///< BOL: matches at the beginning of the subject
    Eol = 2,    ///< EOL: matches at the end of the subject
    Any = 3,    ///< ANY: any one character
    AnyOf = 4,  ///< ANYOF: one character of the set
    AnyBut = 5, ///< ANYBUT: one character outside the set
    Branch =
        6, ///< BRANCH: an alternative; the next node is the next alternative, or the node after all of them
    Back = 7,    ///< BACK: continue at an earlier node
    Exactly = 8, ///< EXACTLY: the literal
    Nothing = 9, ///< NOTHING: the empty string
    Star = 10,   ///< STAR: the one-character operand, any number of times
    Plus = 11,   ///< PLUS: the same, at least once
    Open = 20,   ///< 20 + n is OPEN n: group n begins
    Close = 30,  ///< 30 + n is CLOSE n: group n ends
};

inline constexpr unsigned char kProgramMagic = 0234;
/// The offset of the first node in a program. Byte 0 is kProgramMagic.
inline constexpr std::size_t kFirstNode = 1;
/// The offset of the operand or text in a node, in bytes: one byte for the opcode and two bytes for the distance.
inline constexpr std::size_t kNodeHead = 3;
/// A compiled program must have fewer bytes than this, so that the distance between any two nodes fits into two bytes.
inline constexpr std::size_t kProgramLimit = 32767;
/// The largest number of groups "()" in a pattern. Group 0, the whole match, is not included.
inline constexpr int kGroupsMax = VEK_REGEXP_GROUPS - 1;

/// The error text that compileRegexp() returns if memory is exhausted. Callers compare the returned pointer with this
/// array, so a copy of the text must not be returned.
inline constexpr char kRegexpOutOfSpace[] = "out of space";

/// @return the opcode `kind` + `group`: OPEN n or CLOSE n, where n is `group`. `kind` is Opcode::Open or Opcode::Close
constexpr Opcode groupOpcode(Opcode kind, int group) {
    return static_cast<Opcode>(static_cast<int>(kind) + group);
}

inline Opcode opcodeAt(const unsigned char *program, std::size_t node) {
    return static_cast<Opcode>(program[node]);
}

/// @return the distance, in bytes, from the node at offset `node` to its next node; 0 if there is no next node
inline std::size_t distanceAt(const unsigned char *program, std::size_t node) {
    return static_cast<std::size_t>(program[node + 1]) << 8 | program[node + 2];
}

/// @return the offset of the next node of the node at offset `node`: before it for BACK, after it for all other
///         opcodes
inline std::size_t nodeAfter(const unsigned char *program, std::size_t node) {
    const std::size_t distance = distanceAt(program, node);
    return opcodeAt(program, node) == Opcode::Back ? node - distance : node + distance;
}

/// Compiles `pattern` like vek_regcomp(), but returns the error text instead of printing it.
///
/// @param expression  receives the expression, which the caller frees with free(); unchanged after an error
/// @return null for success, otherwise the text of the error, a constant string
const char *compileRegexp(const char *pattern, vek_regexp **expression);

inline constexpr char kMemoryCorruption[] = "memory corruption";
inline constexpr char kCorruptedPointers[] = "corrupted pointers";

/// Checks that `program` consists of complete nodes up to END, and that each distance points to the first byte of a
/// node. If so, a matcher never reads outside the program. A loop that consumes no character is not detected.
///
/// @param size  receives the size of the program in bytes; unchanged after an error
/// @return null if the program is valid, otherwise the text of the error
const char *checkProgram(const unsigned char *program, std::size_t *size);

} // namespace vek

#endif
