#include "common/expressions/veki_regexp.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <initializer_list>

// Checks a program in two linear passes: the first collects the offsets of all nodes, the second tests that the next node
// of each is one of them.

using vek::Opcode;

namespace {

/// The layout of a node.
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

/// Whether a node can be the operand of STAR and PLUS.
bool matchesOneCharacter(Opcode opcode) {
    return opcode == Opcode::Any || shapeOf(opcode) == Shape::Text;
}

/// The end of a node that is not a repetition.
std::size_t endOfNode(const unsigned char *program, std::size_t node) {
    const std::size_t operand = node + vek::kNodeHead;
    if (shapeOf(vek::opcodeAt(program, node)) != Shape::Text) {
        return operand;
    }
    const auto *text = reinterpret_cast<const char *>(program + operand);
    const std::size_t rest = operand < vek::kProgramLimit ? vek::kProgramLimit - operand : 0;
    return operand + strnlen(text, rest) + 1;
}

/// The end of a node, with the operand of a repetition.
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

/// Reads the nodes in memory order up to END and collects their offsets, except for operands of repetitions.
///
/// The three bytes of END are 0. If any single byte is damaged, one of them is read as an opcode, as the end of a text or,
/// if the opcode of END is damaged, as a distance of 0. So the loop ends within the program.
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

/// Whether the next node of `node` is one of `nodes`.
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
