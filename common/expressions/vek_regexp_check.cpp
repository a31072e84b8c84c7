#include "common/expressions/veki_regexp.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <initializer_list>

// Implements checkProgram(), which validates a compiled regular expression, so that the matcher never reads outside
// the program. Two linear passes: the first stores the offsets of the nodes in a bitmap. The second checks that the
// next node of each node is at one of these offsets.

using vek::Opcode;

namespace {

/// The layout of a node, which is one instruction of a compiled program. Plain: only an opcode and the distance to the
/// next node. Text: a NUL-terminated string follows. Repetition (STAR and PLUS): another node follows as the operand.
/// End: the last node. Unknown: not a valid opcode.
enum class Shape { Unknown, Plain, Text, Repetition, End };

Shape shapeOf(Opcode opcode) {
    switch (opcode) {
    case Opcode::End:
        return Shape::End;
    case Opcode::Bol:
    case Opcode::Eol:
    case Opcode::Any:
    case Opcode::Branch:
    case Opcode::Back:
    case Opcode::Nothing:
        return Shape::Plain;
    case Opcode::AnyOf:
    case Opcode::AnyBut:
    case Opcode::Exactly:
        return Shape::Text;
    case Opcode::Star:
    case Opcode::Plus:
        return Shape::Repetition;
    default:
        break;
    }
    for (const Opcode kind : {Opcode::Open, Opcode::Close}) {
        if (opcode > kind && opcode <= groupOpcode(kind, vek::kGroupsMax)) {
            return Shape::Plain;
        }
    }
    return Shape::Unknown;
}

/// @return true if a node with `opcode` is allowed as the operand of STAR ("*") and PLUS ("+"): ANY, ANYOF, ANYBUT and
///         EXACTLY
bool matchesOneCharacter(Opcode opcode) {
    return opcode == Opcode::Any || shapeOf(opcode) == Shape::Text;
}

/// @return the offset of the first byte after the node at offset `node`, which must not be STAR or PLUS
std::size_t endOfNode(const unsigned char *program, std::size_t node) {
    const std::size_t operand = node + vek::kNodeHead;
    if (shapeOf(vek::opcodeAt(program, node)) != Shape::Text) {
        return operand;
    }
    const auto *text = reinterpret_cast<const char *>(program + operand);
    const std::size_t rest = operand < vek::kProgramLimit ? vek::kProgramLimit - operand : 0;
    return operand + strnlen(text, rest) + 1;
}

/// @return the offset of the first byte after the node at offset `node`. For STAR and PLUS, whose operand is the node
///         that follows in memory, the offset of the first byte after the operand
std::size_t endWithOperand(const unsigned char *program, std::size_t node) {
    const bool repetition = shapeOf(vek::opcodeAt(program, node)) == Shape::Repetition;
    return endOfNode(program, repetition ? node + vek::kNodeHead : node);
}

/// A set of byte offsets in a compiled program, stored as a bitmap.
class OffsetSet {
  public:
    void add(std::size_t offset) { words_[offset / 64] |= bit(offset); }
    [[nodiscard]] bool has(std::size_t offset) const { return (words_[offset / 64] & bit(offset)) != 0; }

  private:
    static std::uint64_t bit(std::size_t offset) { return std::uint64_t{1} << offset % 64; }

    std::array<std::uint64_t, vek::kProgramLimit / 64 + 1> words_{};
};

/// Reads the nodes of `program` in memory order up to END, and stores the offset of END in `end`. Adds the offsets of
/// the nodes to `nodes`, except those of the operands of STAR and PLUS, which are never the next node of another node.
///
/// The loop ends within the program even if one byte of the program is damaged. END consists of three zero bytes. The
/// loop reads one of them as the opcode END, as the NUL of a text, or as a distance of 0, which is an error.
/// @return null, or the text of the error
const char *collectNodes(const unsigned char *program, OffsetSet &nodes, std::size_t &end) {
    std::size_t node = vek::kFirstNode;
    for (; node + vek::kNodeHead < vek::kProgramLimit; node = endWithOperand(program, node)) {
        const Shape shape = shapeOf(vek::opcodeAt(program, node));
        if (shape == Shape::Unknown) {
            return vek::kMemoryCorruption;
        }
        if (shape != Shape::End && vek::distanceAt(program, node) == 0) {
            return vek::kCorruptedPointers;
        }
        nodes.add(node);
        if (shape == Shape::End) {
            end = node;
            return nullptr;
        }
        if (shape == Shape::Repetition &&
            !matchesOneCharacter(vek::opcodeAt(program, node + vek::kNodeHead))) {
            return "internal foulup";
        }
    }
    return vek::kMemoryCorruption;
}

/// @return true if the offset of the next node of `node` is in `nodes` and is not greater than `end`, the offset of
///         END
bool hasValidNext(const OffsetSet &nodes, const unsigned char *program, std::size_t node, std::size_t end) {
    const bool back = vek::opcodeAt(program, node) == Opcode::Back;
    if (back && vek::distanceAt(program, node) >= node) {
        return false;
    }
    const std::size_t next = vek::nodeAfter(program, node);
    return next <= end && nodes.has(next);
}

} // namespace

const char *vek::checkProgram(const unsigned char *program, std::size_t *size) {
    OffsetSet nodes;
    std::size_t end = 0;
    const char *error = collectNodes(program, nodes, end);
    if (error != nullptr) {
        return error;
    }
    for (std::size_t node = kFirstNode; node < end; node = endWithOperand(program, node)) {
        if (!hasValidNext(nodes, program, node, end)) {
            return kCorruptedPointers;
        }
    }
    *size = end + kNodeHead;
    return nullptr;
}
