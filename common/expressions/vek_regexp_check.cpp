#include "common/expressions/veki_regexp.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <initializer_list>

// checkProgram() tests a node program in two linear passes. The first pass collects the offsets of all nodes. The
// second pass tests that each distance leads to one of these offsets.

using vek::Opcode;

namespace {

/// The layout of a node: Plain is the head only, Text has a string with a NUL, Repetition has an operand.
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

/// @return true if a node with this opcode can be the operand of STAR and PLUS
bool matchesOneCharacter(Opcode opcode) {
    return opcode == Opcode::Any || shapeOf(opcode) == Shape::Text;
}

/// @return the offset after a node that is not a repetition
std::size_t endOfNode(const unsigned char *program, std::size_t node) {
    const std::size_t operand = node + vek::kNodeHead;
    if (shapeOf(vek::opcodeAt(program, node)) != Shape::Text) {
        return operand;
    }
    const auto *text = reinterpret_cast<const char *>(program + operand);
    const std::size_t rest = operand < vek::kProgramLimit ? vek::kProgramLimit - operand : 0;
    return operand + strnlen(text, rest) + 1;
}

/// @return the offset after a node; if the node is a repetition, the offset after its operand
std::size_t endWithOperand(const unsigned char *program, std::size_t node) {
    const bool repetition = shapeOf(vek::opcodeAt(program, node)) == Shape::Repetition;
    return endOfNode(program, repetition ? node + vek::kNodeHead : node);
}

/// A set of offsets in a program.
class OffsetSet {
  public:
    void add(std::size_t offset) { words_[offset / 64] |= bit(offset); }
    [[nodiscard]] bool has(std::size_t offset) const { return (words_[offset / 64] & bit(offset)) != 0; }

  private:
    static std::uint64_t bit(std::size_t offset) { return std::uint64_t{1} << offset % 64; }

    std::array<std::uint64_t, vek::kProgramLimit / 64 + 1> words_{};
};

/// Reads the nodes in memory order up to END and adds their offsets to `nodes`, except those of operands of
/// repetitions. Stores the offset of END in `end`.
///
/// The loop ends within the program even if any single byte is damaged: the three bytes of END are 0, and one of them
/// is then read as the opcode END, as the NUL of a text or as an invalid distance of 0.
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

/// @return true if the distance of `node` leads to an offset in `nodes` that is not after `end`
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
