#include "common/expressions/veki_regexp.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <initializer_list>

using vek::Opcode;

namespace {

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

/// Whether a node matches one character, as those under STAR and PLUS must.
bool matchesOneCharacter(Opcode opcode) {
    return opcode == Opcode::Any || shapeOf(opcode) == Shape::Text;
}

/// Where the node ends that is no repetition.
std::size_t endOfNode(const unsigned char *program, std::size_t node) {
    const std::size_t operand = node + vek::kNodeHead;
    if (shapeOf(vek::opcodeAt(program, node)) != Shape::Text) {
        return operand;
    }
    const auto *text = reinterpret_cast<const char *>(program + operand);
    const std::size_t room = operand < vek::kProgramLimit ? vek::kProgramLimit - operand : 0;
    return operand + strnlen(text, room) + 1;
}

/// Where the node ends, with the one that it repeats.
std::size_t endOfStep(const unsigned char *program, std::size_t node) {
    const bool repetition = shapeOf(vek::opcodeAt(program, node)) == Shape::Repetition;
    return endOfNode(program, repetition ? node + vek::kNodeHead : node);
}

/// Places in a program.
class PlaceSet {
  public:
    void add(std::size_t place) { words_[place / 64] |= bit(place); }
    [[nodiscard]] bool has(std::size_t place) const { return (words_[place / 64] & bit(place)) != 0; }

  private:
    static std::uint64_t bit(std::size_t place) { return std::uint64_t{1} << place % 64; }

    std::array<std::uint64_t, vek::kProgramLimit / 64 + 1> words_{};
};

/// Reads the nodes in the order in which they lie, up to END, and collects those that others may lead to.
///
/// The three bytes of END are 0. Whatever byte before them is damaged, the walk meets one of them as an
/// opcode or as the end of a text; and when its opcode is damaged, the distance 0 behind it ends the walk.
const char *collectNodes(const unsigned char *program, PlaceSet &nodes, std::size_t &end) {
    std::size_t node = vek::kFirstNode;
    for (; node + vek::kNodeHead < vek::kProgramLimit; node = endOfStep(program, node)) {
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

/// Whether the node that comes after `node` is one of `nodes`.
bool leadsTo(const PlaceSet &nodes, const unsigned char *program, std::size_t node, std::size_t end) {
    const bool back = vek::opcodeAt(program, node) == Opcode::Back;
    if (back && vek::distanceAt(program, node) >= node) {
        return false;
    }
    const std::size_t next = vek::nodeAfter(program, node);
    return next <= end && nodes.has(next);
}

} // namespace

const char *vek::checkProgram(const unsigned char *program, std::size_t *size) {
    PlaceSet nodes;
    std::size_t end = 0;
    const char *error = collectNodes(program, nodes, end);
    if (error != nullptr) {
        return error;
    }
    for (std::size_t node = kFirstNode; node < end; node = endOfStep(program, node)) {
        if (!leadsTo(nodes, program, node, end)) {
            return kCorruptedPointers;
        }
    }
    *size = end + kNodeHead;
    return nullptr;
}
