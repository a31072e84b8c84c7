#include "common/expressions/veki_regexp_automaton.h"

// Builds and simulates the position automaton (Glushkov construction) of a regular expression. A position is a part of
// the program that consumes one character. A depth-first search through the nodes that consume no character (epsilon
// closure) computes which positions can follow a position. "^" matches only at the beginning of the subject, and "$"
// only at the end. Therefore closures are computed separately for the beginning, the middle and the end.

#include <bit>
#include <cstring>

namespace vek {

bool PositionAutomaton::build(const unsigned char *program, std::size_t programSize) {
    if (programSize > kProgramMax) {
        return false;
    }
    program_ = program;
    Closure atEnd;
    Closure ofEmptySubject;
    if (!close(kFirstNode, {.begin = true, .end = false}, startAtBegin_) ||
        !close(kFirstNode, {.begin = false, .end = false}, start_) ||
        !close(kFirstNode, {.begin = false, .end = true}, atEnd) ||
        !close(kFirstNode, {.begin = true, .end = true}, ofEmptySubject)) {
        return false;
    }
    isEmptyMatchAtEnd_ = atEnd.isEnd;
    isEmptyMatch_ = ofEmptySubject.isEnd;
    for (unsigned position = 0; position < count_; ++position) { // follow() increments count_
        if (!follow(position)) {
            return false;
        }
    }
    return true;
}

bool PositionAutomaton::follow(unsigned position) {
    const Set self = Set{1} << position;
    const Position &source = positions_[position];
    if (source.isBeforeCharacter) {
        followers_[position] = self << 1U;
        return true;
    }
    const std::size_t next = nodeAfter(program_, source.node);
    const bool isRepeated = source.isRepeated;
    Closure closure;
    Closure atEnd;
    if (!close(next, {.begin = false, .end = false}, closure) ||
        !close(next, {.begin = false, .end = true}, atEnd)) {
        return false;
    }
    followers_[position] = closure.positions | (isRepeated ? self : 0);
    final_ |= closure.isEnd ? self : 0;
    finalAtEnd_ |= atEnd.isEnd ? self : 0;
    return true;
}

bool PositionAutomaton::close(std::size_t node, const Anchors &anchors, Closure &closure) {
    marks_.fill(Mark::New);
    return collect(node, anchors, closure);
}

bool PositionAutomaton::collect(std::size_t node, const Anchors &anchors, Closure &closure) {
    if (marks_[node] != Mark::New) {
        return marks_[node] == Mark::Done; // reaching an open node again is a loop that consumes nothing
    }
    marks_[node] = Mark::Open;
    const std::size_t operand = node + kNodeHead;
    const std::size_t next = nodeAfter(program_, node);
    bool isDone = true;
    switch (opcodeAt(program_, node)) {
    case Opcode::End:
        closure.isEnd = true;
        break;
    case Opcode::Bol:
        isDone = !anchors.begin || collect(next, anchors, closure);
        break;
    case Opcode::Eol:
        isDone = !anchors.end || collect(next, anchors, closure);
        break;
    case Opcode::Any:
    case Opcode::AnyOf:
    case Opcode::AnyBut:
        isDone = addFirstPosition(node, node, closure);
        break;
    case Opcode::Exactly:
        isDone = program_[operand] == '\0' ? collect(next, anchors, closure)
                                           : addFirstPosition(node, node, closure);
        break;
    case Opcode::Branch:
        isDone = collect(operand, anchors, closure) &&
                 (opcodeAt(program_, next) != Opcode::Branch || collect(next, anchors, closure));
        break;
    case Opcode::Star:
        isDone = addFirstPosition(operand, node, closure) && collect(next, anchors, closure);
        break;
    case Opcode::Plus:
        isDone = addFirstPosition(operand, node, closure);
        break;
    default: // NOTHING, BACK, OPEN and CLOSE
        isDone = collect(next, anchors, closure);
        break;
    }
    marks_[node] = Mark::Done;
    return isDone;
}

/// Adds the first position of the node at offset `node`, which consumes a character, to `closure`. The first call for
/// a node creates its positions: one for each character of a literal, one for any other node.
/// @param continuation  the node after which matching continues: `node` itself, or, if `node` is the operand of a STAR
///                      or PLUS, that STAR or PLUS
/// @return false if there are too many positions
bool PositionAutomaton::addFirstPosition(std::size_t node, std::size_t continuation, Closure &closure) {
    if (first_[node] == 0) {
        first_[node] = static_cast<std::uint8_t>(count_ + 1);
        const bool isRepeated = continuation != node;
        const bool isLiteral = opcodeAt(program_, node) == Opcode::Exactly && !isRepeated;
        Position position = {static_cast<std::uint16_t>(continuation), isRepeated, false};
        if (!isLiteral) {
            if (!addPosition(position)) {
                return false;
            }
            allowCharacters(node, Set{1} << (count_ - 1));
        }
        for (const unsigned char *at = program_ + node + kNodeHead; isLiteral && *at != '\0'; ++at) {
            position.isBeforeCharacter = at[1] != '\0';
            if (!addPosition(position)) {
                return false;
            }
            allowed_[*at] |= Set{1} << (count_ - 1);
        }
    }
    closure.positions |= Set{1} << (first_[node] - 1U);
    return true;
}

bool PositionAutomaton::addPosition(const Position &position) {
    if (count_ == kPositionsMax) {
        return false;
    }
    positions_[count_++] = position;
    return true;
}

/// Adds `position` to allowed_[c] for each character c that the node at offset `node` matches. `position` is a set
/// with one element: the only position of this node.
void PositionAutomaton::allowCharacters(std::size_t node, Set position) {
    const Opcode opcode = opcodeAt(program_, node);
    const auto *text = program_ + node + kNodeHead;
    if (opcode == Opcode::Any || opcode == Opcode::AnyBut) {
        for (Set &allowed : allowed_) {
            allowed |= position;
        }
    }
    if (opcode == Opcode::Exactly) {
        allowed_[*text] |= position;
        return;
    }
    for (; opcode != Opcode::Any && *text != '\0'; ++text) {
        Set &allowed = allowed_[*text];
        allowed = opcode == Opcode::AnyOf ? allowed | position : allowed & ~position;
    }
}

PositionAutomaton::Set PositionAutomaton::followersOf(Set active) const {
    Set followers = 0;
    for (; active != 0; active &= active - 1) {
        followers |= followers_[static_cast<unsigned>(std::countr_zero(active))];
    }
    return followers;
}

bool PositionAutomaton::canMatch(std::string_view subject, std::size_t start) const {
    Set active = 0;
    Set followers = 0;
    for (std::size_t i = start; i < subject.size(); ++i) {
        const Closure &begin = i == 0 ? startAtBegin_ : start_;
        const Set next = (followers | begin.positions) & allowed_[static_cast<unsigned char>(subject[i])];
        if (next != active) {
            active = next;
            followers = followersOf(active);
        }
        if (begin.isEnd || (active & final_) != 0) {
            return true;
        }
    }
    return (active & finalAtEnd_) != 0 || (subject.empty() ? isEmptyMatch_ : isEmptyMatchAtEnd_);
}

} // namespace vek
