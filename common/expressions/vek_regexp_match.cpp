#include "common/expressions/vek_regexp.h"

// Matcher for regular expressions. It interprets the compiled program by backtracking: it tries alternatives from left
// to right, and the longest repetition first. If a node does not match, the matcher returns to the last node at which
// another way to match remains. This order must not change, because programs depend on the group positions that result
// from the order.
//
// These optimizations avoid slow searches. None of them changes a result:
// - A subject that does not contain the literal `regmust` is rejected. An offset is skipped if no match can begin with
//   the character at this offset.
// - If the pattern begins with a repetition of one character and an attempt to match fails, the next attempt does not
//   begin at a character that the repetition has matched.
// - After about two steps for each character, a position automaton (Glushkov construction) tests in O(n) steps whether
//   there is any match. If so, the matcher then memoizes (node, position) pairs, and the search takes O(nodes x
//   positions) steps.

#include "common/expressions/veki_regexp.h"
#include "common/expressions/veki_regexp_automaton.h"
#include "common/expressions/veki_regexp_backtrack.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <string_view>

using vek::BacktrackPoint;
using vek::Opcode;

namespace {

constexpr std::size_t kUnset = std::string_view::npos;

/// One search for the first match of a compiled expression (`program`) in one string (`subject`). vek_regexec()
/// creates one object for each call.
class Matcher {
  public:
    enum class Outcome { NoMatch, Match, Error };

    Matcher(const unsigned char *program, std::size_t programSize, std::string_view subject)
        : program_(program), programSize_(programSize), subject_(subject),
          stepsUntilCheck_(kStepsPerCharacter * subject.size() + kStepsMin) {}

    /// Searches for the first match. Tries only offset 0 if `reganch` of `expression` is set, and only offsets of the
    /// character `regstart` if that is set.
    Outcome search(const vek_regexp &expression);

    /// @return the text of the error; valid only after search() has returned Outcome::Error
    [[nodiscard]] const char *error() const { return error_; }

    /// Stores the start and the end of each group in `startp` and `endp` of `expression`. Must be called only after
    /// search() has returned Outcome::Match.
    void copyPositions(vek_regexp &expression) const;

  private:
    /// The result of executing one node. Continue: execute the next node. Backtrack: the node does not match. End: the
    /// match is complete. Error: error_ is set. NoMatchAtAll: no match begins at offset start_ or after it.
    enum class Step { Continue, Backtrack, End, Error, NoMatchAtAll };

    /// checkForAnyMatch() is called after kStepsMin steps plus this number of steps for each character of the subject.
    /// It is 2, because a match without backtracking takes about two steps for each character.
    static constexpr std::size_t kStepsPerCharacter = 2;
    /// checkForAnyMatch() is called after this number of steps plus kStepsPerCharacter steps for each character. It is
    /// 256, because building the automaton in checkForAnyMatch() takes about as long as 256 steps.
    static constexpr std::size_t kStepsMin = 256;
    /// The number of elements in slots_: the start offset of each group, followed by the end offset of each group.
    static constexpr std::size_t kSlots = std::size_t{2} * VEK_REGEXP_GROUPS;
    static constexpr std::size_t kNoNode = 0;

    void findFirstNode();
    Step matchAt(std::size_t start);
    Step step();
    Step backtrack();
    Step chooseAlternative();
    Step repeat(std::size_t minimum);
    Step leaveRepetition(std::size_t node, std::size_t last, std::size_t minimum);
    Step setSlot(std::size_t slot);
    Step matchLiteral(const char *literal);

    Step continueIf(bool condition) {
        if (!condition) {
            return Step::Backtrack;
        }
        node_ = vek::nodeAfter(program_, node_);
        return Step::Continue;
    }
    Step consume(std::size_t characters) {
        position_ += characters;
        if (characters > 0) {
            idle_ = 0;
        }
        return continueIf(true);
    }
    Step fail(const char *error) {
        error_ = error;
        return Step::Error;
    }
    Step addBacktrackPoint(const BacktrackPoint &point) {
        return points_.push(point) ? Step::Continue : fail(vek::kRegexpOutOfSpace);
    }

    /// @return the NUL-terminated literal or set of characters of the node at offset `node`
    [[nodiscard]] const char *textOf(std::size_t node) const {
        return reinterpret_cast<const char *>(program_ + node + vek::kNodeHead);
    }
    [[nodiscard]] bool acceptsCharacter(std::size_t node, std::size_t position) const;
    [[nodiscard]] bool needsOtherCharacter(std::size_t node, std::size_t position) const;
    std::size_t endOfRepetition(std::size_t minimum);
    [[nodiscard]] std::size_t lastExit(std::size_t next, std::size_t last, std::size_t minimum) const;
    /// Adds `count` to the number of steps of this search. If the number then exceeds stepsUntilCheck_, calls
    /// checkForAnyMatch(), which tests whether continuing can succeed. Most searches end before that.
    /// @return Step::Continue, or the result of checkForAnyMatch()
    Step countSteps(std::size_t count) {
        steps_ += count;
        return steps_ <= stepsUntilCheck_ ? Step::Continue : checkForAnyMatch();
    }
    Step checkForAnyMatch();

    const unsigned char *program_;
    std::size_t programSize_;
    std::string_view subject_;

    // State of one attempt to match, which begins at offset start_ of the subject. matchAt() resets it.
    std::size_t node_ = 0;
    std::size_t position_ = 0;
    std::uint16_t idle_ = 0; ///< the number of steps since the last character was consumed
    std::array<std::size_t, kSlots> slots_{};
    vek::BacktrackStack points_;

    // State of the whole search, which makes one attempt to match at each possible start offset.
    std::size_t start_ = 0;
    std::size_t firstNode_ = kNoNode;  ///< the first node of every match, not counting OPEN and BRANCH
    std::size_t repetition_ = kNoNode; ///< equal to firstNode_ if that is STAR or PLUS
    std::size_t runEnd_ = 0;           ///< the end of the characters that repetition_ matches at start_
    vek::VisitedSet visited_;
    std::size_t steps_ = 0;
    std::size_t stepsUntilCheck_;
    const char *error_ = nullptr;
};

/// Sets firstNode_ to the offset of the first node that every match executes, not counting BRANCH and OPEN. If that
/// node is STAR or PLUS, sets repetition_ to the same offset. Both remain kNoNode if the pattern, or a group at its
/// beginning, has several alternatives.
void Matcher::findFirstNode() {
    const std::size_t next = vek::nodeAfter(program_, vek::kFirstNode);
    if (vek::opcodeAt(program_, vek::kFirstNode) != Opcode::Branch ||
        vek::opcodeAt(program_, next) != Opcode::End) {
        return;
    }
    std::size_t node = vek::kFirstNode + vek::kNodeHead;
    while (vek::opcodeAt(program_, node) > Opcode::Open && vek::opcodeAt(program_, node) < Opcode::Close) {
        node = vek::nodeAfter(program_, node);
        if (vek::opcodeAt(program_, node) == Opcode::Branch) { // enter only groups with one alternative
            if (vek::opcodeAt(program_, vek::nodeAfter(program_, node)) == Opcode::Branch) {
                return;
            }
            node += vek::kNodeHead;
        }
    }
    firstNode_ = node;
    const Opcode opcode = vek::opcodeAt(program_, node);
    repetition_ = opcode == Opcode::Star || opcode == Opcode::Plus ? node : kNoNode;
}

/// Tries to match at each offset of the subject, from left to right, until an attempt succeeds or an error occurs.
Matcher::Outcome Matcher::search(const vek_regexp &expression) {
    const bool isAnchored = expression.reganch != 0;
    if (!isAnchored && expression.regstart == '\0') {
        findFirstNode();
    }
    for (std::size_t start = 0;; ++start) {
        if (!isAnchored && expression.regstart != '\0') {
            start = subject_.find(expression.regstart, start);
        }
        if (start > subject_.size()) {
            return Outcome::NoMatch;
        }
        Step last = Step::Backtrack;
        runEnd_ = start;
        if (firstNode_ == kNoNode || !needsOtherCharacter(firstNode_, start)) {
            last = matchAt(start);
        }
        if (last == Step::End || last == Step::Error) {
            return last == Step::End ? Outcome::Match : Outcome::Error;
        }
        if (isAnchored || last == Step::NoMatchAtAll) {
            return Outcome::NoMatch;
        }
        // If the pattern begins with a repetition, such as "a*", skip the characters that the repetition has matched.
        // An attempt that begins at one of them would also fail: after the repetition, it would continue at a position
        // at which this attempt has already failed.
        start = runEnd_;
    }
}

Matcher::Step Matcher::matchAt(std::size_t start) {
    start_ = start;
    node_ = vek::kFirstNode;
    position_ = start;
    idle_ = 0;
    slots_.fill(kUnset);
    points_.clear();
    Step last = Step::Continue;
    while (last == Step::Continue) {
        last = step();
        if (last == Step::Backtrack) {
            last = backtrack();
        }
    }
    if (last == Step::End) {
        slots_[0] = start;
        slots_[VEK_REGEXP_GROUPS] = position_;
    }
    return last;
}

void Matcher::copyPositions(vek_regexp &expression) const {
    for (std::size_t group = 0; group < VEK_REGEXP_GROUPS; ++group) {
        const std::size_t start = slots_[group];
        const std::size_t end = slots_[VEK_REGEXP_GROUPS + group];
        expression.startp[group] = start == kUnset ? nullptr : subject_.data() + start;
        expression.endp[group] = end == kUnset ? nullptr : subject_.data() + end;
    }
}

/// Executes the node at offset node_ of the program, at offset position_ of the subject.
Matcher::Step Matcher::step() {
    // In a valid program, no node is executed twice without consuming a character in between. If idle_, the number of
    // steps since the last consumed character, exceeds the program size in bytes, a damaged program contains an
    // endless loop.
    if (++idle_ > programSize_) {
        return fail(vek::kCorruptedPointers);
    }
    const Opcode opcode = vek::opcodeAt(program_, node_);
    switch (opcode) {
    case Opcode::End:
        return Step::End;
    case Opcode::Bol:
        return continueIf(position_ == 0);
    case Opcode::Eol:
        return continueIf(position_ == subject_.size());
    case Opcode::Back:
    case Opcode::Nothing:
        return continueIf(true);
    case Opcode::Any:
    case Opcode::AnyOf:
    case Opcode::AnyBut:
        return acceptsCharacter(node_, position_) ? consume(1) : Step::Backtrack;
    case Opcode::Exactly:
        return matchLiteral(textOf(node_));
    case Opcode::Branch:
        return chooseAlternative();
    case Opcode::Star:
        return repeat(0);
    case Opcode::Plus:
        return repeat(1);
    default:
        break;
    }
    const std::size_t group = static_cast<std::size_t>(opcode) % 10;
    return setSlot(opcode < Opcode::Close ? group : VEK_REGEXP_GROUPS + group);
}

/// Pops backtrack points from points_ until matching can continue at one of them. A popped point of the kind Slot
/// restores the previous start or end of one group.
/// @return Step::Continue if matching continues, at the new values of node_ and position_; Step::Backtrack if no
///         backtrack point remains; Step::Error if memory is exhausted
Matcher::Step Matcher::backtrack() {
    while (!points_.empty()) {
        const BacktrackPoint point = points_.pop();
        switch (point.kind) {
        case BacktrackPoint::Kind::Slot:
            slots_[point.node] = point.position;
            break;
        case BacktrackPoint::Kind::Alternative:
            node_ = point.node;
            position_ = point.position;
            idle_ = point.idle;
            return Step::Continue;
        case BacktrackPoint::Kind::Repetition: {
            idle_ = point.idle;
            const Step left = leaveRepetition(point.node, point.position, point.minimum);
            if (left != Step::Backtrack) {
                return left;
            }
            break;
        }
        }
    }
    return Step::Backtrack;
}

/// Executes BRANCH, an alternative: continues with this alternative, and pushes a backtrack point for the next one.
/// Skips alternatives that cannot match the current character.
Matcher::Step Matcher::chooseAlternative() {
    std::size_t next = vek::nodeAfter(program_, node_);
    while (vek::opcodeAt(program_, next) == Opcode::Branch &&
           needsOtherCharacter(node_ + vek::kNodeHead, position_)) {
        node_ = next;
        next = vek::nodeAfter(program_, node_);
    }
    if (vek::opcodeAt(program_, next) == Opcode::Branch) {
        const Step counted = countSteps(1);
        if (counted != Step::Continue || visited_.has(node_, position_)) {
            return counted != Step::Continue ? counted : Step::Backtrack;
        }
        visited_.add(node_, position_);
        const auto other = static_cast<std::uint16_t>(next);
        const BacktrackPoint point{position_, 0, other, idle_, BacktrackPoint::Kind::Alternative};
        if (addBacktrackPoint(point) == Step::Error) {
            return Step::Error;
        }
    }
    node_ += vek::kNodeHead;
    return Step::Continue;
}

/// Executes STAR (`minimum` 0) or PLUS (`minimum` 1): matches the operand as often as possible, at least `minimum`
/// times.
Matcher::Step Matcher::repeat(std::size_t minimum) {
    if (visited_.has(node_, position_)) {
        return Step::Backtrack;
    }
    const std::size_t last = endOfRepetition(minimum);
    if (node_ == repetition_ && position_ == start_) {
        runEnd_ = last;
    }
    const Step counted = countSteps(1 + (last - position_));
    return counted == Step::Continue ? leaveRepetition(node_, last, position_ + minimum) : counted;
}

/// Matches the operand of the STAR or PLUS node at node_ as often as possible, from position_ on.
///
/// With memoization, visited_ contains each position that this node has reached. The function stops at a position that
/// it has already reached in an earlier call: the next node has already been tried at all later positions. With STAR,
/// it has also been tried at this position. With PLUS, it may not have been tried there, so the repetition can end
/// there.
/// @return the last position at which the repetition can end and the next node may not have been tried yet
std::size_t Matcher::endOfRepetition(std::size_t minimum) {
    const std::size_t operand = node_ + vek::kNodeHead;
    std::size_t end = position_;
    if (!visited_.isOpen()) {
        while (acceptsCharacter(operand, end)) {
            ++end;
        }
        return end;
    }
    for (;;) {
        visited_.add(node_, end);
        if (!acceptsCharacter(operand, end)) {
            return end;
        }
        ++end;
        if (visited_.has(node_, end)) {
            return end - 1 + minimum;
        }
    }
}

/// Finds the last position from `minimum` to `last` at which `next`, the node after a repetition, can match. Tests
/// only "$", nodes for one character, and the first character of a literal; any other node counts as matching.
/// @return the position; `minimum` - 1 if there is none
std::size_t Matcher::lastExit(std::size_t next, std::size_t last, std::size_t minimum) const {
    switch (vek::opcodeAt(program_, next)) {
    case Opcode::Eol:
        return last == subject_.size() ? last : minimum - 1;
    case Opcode::Exactly: {
        const char needed = *textOf(next);
        while (needed != '\0' && last + 1 > minimum &&
               (last == subject_.size() || subject_[last] != needed)) {
            --last;
        }
        return last;
    }
    case Opcode::Any:
    case Opcode::AnyOf:
    case Opcode::AnyBut:
        while (last + 1 > minimum && !acceptsCharacter(next, last)) {
            --last;
        }
        return last;
    default:
        return last;
    }
}

/// Ends the repetition `node` (STAR or PLUS) and continues with its next node: at the last position from `minimum` to
/// `last` at which the next node can match. Pushes a backtrack point for the earlier positions.
/// @return Step::Backtrack if there is no such position; Step::Error if memory is exhausted; otherwise Step::Continue
Matcher::Step Matcher::leaveRepetition(std::size_t node, std::size_t last, std::size_t minimum) {
    const std::size_t next = vek::nodeAfter(program_, node);
    const std::size_t leave = last + 1 > minimum ? lastExit(next, last, minimum) : last;
    if (leave + 1 <= minimum) { // `leave` is `minimum` - 1, which wraps around if `minimum` is 0
        return Step::Backtrack;
    }
    if (leave > minimum) {
        const auto again = static_cast<std::uint16_t>(node);
        const BacktrackPoint point{leave - 1, minimum, again, idle_, BacktrackPoint::Kind::Repetition};
        if (addBacktrackPoint(point) == Step::Error) {
            return Step::Error;
        }
    }
    const std::size_t least = vek::opcodeAt(program_, node) == Opcode::Plus ? 1 : 0;
    if (leave > minimum - least) {
        idle_ = 0;
    }
    position_ = leave;
    node_ = next;
    return Step::Continue;
}

/// Executes OPEN or CLOSE: stores position_ as the start or end of a group, in slots_[slot]. Pushes a backtrack point
/// that restores the previous value. If the group is repeated, this is the value from the previous repetition.
Matcher::Step Matcher::setSlot(std::size_t slot) {
    const auto number = static_cast<std::uint16_t>(slot);
    const BacktrackPoint point{slots_[slot], 0, number, 0, BacktrackPoint::Kind::Slot};
    slots_[slot] = position_;
    return addBacktrackPoint(point) == Step::Error ? Step::Error : continueIf(true);
}

Matcher::Step Matcher::matchLiteral(const char *literal) {
    std::size_t length = 0;
    while (literal[length] != '\0') {
        if (position_ + length == subject_.size() || subject_[position_ + length] != literal[length]) {
            return Step::Backtrack;
        }
        ++length;
    }
    return consume(length);
}

/// Tests whether the node at offset `node`, such as ANY, ANYOF or EXACTLY, accepts the character at `position`.
/// @return true if the character is accepted; for EXACTLY, if it equals the first character of the literal
bool Matcher::acceptsCharacter(std::size_t node, std::size_t position) const {
    if (position == subject_.size()) {
        return false;
    }
    const char character = subject_[position];
    const char *text = textOf(node);
    switch (vek::opcodeAt(program_, node)) {
    case Opcode::Any:
        return true;
    case Opcode::AnyOf:
        return std::strchr(text, character) != nullptr;
    case Opcode::AnyBut:
        return std::strchr(text, character) == nullptr;
    default:
        return *text == character;
    }
}

/// Tests the next character before the node is executed. With many alternatives, most fail this test, and no backtrack
/// point is needed for them.
/// @return true if the node at offset `node` cannot match at `position`; false if it may match
bool Matcher::needsOtherCharacter(std::size_t node, std::size_t position) const {
    switch (vek::opcodeAt(program_, node)) {
    case Opcode::Plus:
        return !acceptsCharacter(node + vek::kNodeHead, position);
    case Opcode::Any:
    case Opcode::AnyOf:
    case Opcode::AnyBut:
    case Opcode::Exactly:
        return !acceptsCharacter(node, position);
    default:
        return false;
    }
}

/// Tests with a position automaton whether any match begins at start_ or after it. Is called at most once in a search.
/// If there is a match, or the automaton cannot be built, begins to memoize visited (node, position) pairs.
/// @return Step::NoMatchAtAll if there is no match, otherwise Step::Continue
[[gnu::noinline]] Matcher::Step Matcher::checkForAnyMatch() {
    stepsUntilCheck_ = std::numeric_limits<std::size_t>::max();
    vek::PositionAutomaton automaton;
    if (automaton.build(program_, programSize_) && !automaton.canMatch(subject_, start_)) {
        return Step::NoMatchAtAll;
    }
    visited_.open(programSize_, subject_.size());
    return Step::Continue;
}

/// @return true if `subject` contains the literal `regmust` of `expression`, or if `regmust` is null
bool containsRequiredLiteral(const vek_regexp &expression, std::string_view subject) {
    if (expression.regmust == nullptr || expression.regmlen <= 0) {
        return true;
    }
    const std::string_view literal(expression.regmust, static_cast<std::size_t>(expression.regmlen));
    return subject.find(literal) != std::string_view::npos;
}

int matchError(const char *error) {
    vek_regerror(error);
    return 0;
}

} // namespace

int vek_regexec(vek_regexp *prog, const char *subject) {
    if (prog == nullptr || subject == nullptr) {
        return matchError("NULL parameter");
    }
    const auto *program = reinterpret_cast<const unsigned char *>(prog->program);
    if (program[0] != vek::kProgramMagic) {
        return matchError("corrupted program");
    }
    std::fill(std::begin(prog->startp), std::end(prog->startp), nullptr);
    std::fill(std::begin(prog->endp), std::end(prog->endp), nullptr);
    const std::string_view text(subject);
    if (!containsRequiredLiteral(*prog, text)) {
        return 0;
    }
    std::size_t programSize = 0;
    const char *damage = vek::checkProgram(program, &programSize);
    if (damage != nullptr) {
        return matchError(damage);
    }
    Matcher matcher(program, programSize, text);
    switch (matcher.search(*prog)) {
    case Matcher::Outcome::Match:
        matcher.copyPositions(*prog);
        return 1;
    case Matcher::Outcome::Error:
        return matchError(matcher.error());
    default:
        return 0;
    }
}
