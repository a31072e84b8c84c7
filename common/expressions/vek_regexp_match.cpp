#include "common/expressions/vek_regexp.h"

// The matcher interprets the node program by backtracking: it tries alternatives in their order, and the longest
// repetition first. If a node does not match, it returns to the latest choice. Programs depend on the groups that this
// order gives.
//
// These optimizations avoid slow searches. None of them changes a result:
// - Before a match is tried, the subject is searched for the literal `regmust`, and the first character is compared.
// - If a match that begins with a repetition of one character fails, no match can begin at the other characters of this
//   repetition. The search continues after them.
// - After about two steps for each character of the subject, the position automaton tests in O(n) steps whether there
//   is any match. If so, visited states are stored from then on, and the search takes O(nodes x positions) steps.

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

/// Searches one expression in one subject.
class Matcher {
  public:
    enum class Outcome { NoMatch, Match, Error };

    Matcher(const unsigned char *program, std::size_t programSize, std::string_view subject)
        : program_(program), programSize_(programSize), subject_(subject),
          stepsUntilCheck_(kStepsPerCharacter * subject.size() + kStepsMin) {}

    /// Searches the first match. Uses the hints `reganch` and `regstart` of `expression`.
    Outcome search(const vek_regexp &expression);

    /// @return the text of the error after search() returned Outcome::Error
    [[nodiscard]] const char *error() const { return error_; }

    /// Stores the group positions in `expression`. Must be called only after search() returned Outcome::Match.
    void copyPositions(vek_regexp &expression) const;

  private:
    /// The result of one step. End: the match is complete. NoMatchAtAll: no match begins at start_ or after it.
    enum class Step { Continue, Backtrack, End, Error, NoMatchAtAll };

    /// checkForAnyMatch() is called after this number of steps for each character, plus kStepsMin. A match that does
    /// not backtrack takes about two steps for each character.
    static constexpr std::size_t kStepsPerCharacter = 2;
    /// Steps before checkForAnyMatch() that do not depend on the subject. Building the automaton takes about as long.
    static constexpr std::size_t kStepsMin = 256;
    /// The number of slots: one for the start of each group, followed by one for the end of each group.
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

    /// @return the literal or set of the node at offset `node`
    [[nodiscard]] const char *textOf(std::size_t node) const {
        return reinterpret_cast<const char *>(program_ + node + vek::kNodeHead);
    }
    [[nodiscard]] bool acceptsCharacter(std::size_t node, std::size_t position) const;
    [[nodiscard]] bool needsOtherCharacter(std::size_t node, std::size_t position) const;
    std::size_t endOfRepetition(std::size_t minimum);
    [[nodiscard]] std::size_t lastExit(std::size_t next, std::size_t last, std::size_t minimum) const;
    /// Adds `count` to the steps of the search, and calls checkForAnyMatch() when there are too many. Most searches end
    /// before that.
    Step countSteps(std::size_t count) {
        steps_ += count;
        return steps_ <= stepsUntilCheck_ ? Step::Continue : checkForAnyMatch();
    }
    Step checkForAnyMatch();

    const unsigned char *program_;
    std::size_t programSize_;
    std::string_view subject_;

    // The state of an attempt to match at start_.
    std::size_t node_ = 0;
    std::size_t position_ = 0;
    std::uint16_t idle_ = 0; ///< the number of steps since the last character was consumed
    std::array<std::size_t, kSlots> slots_{};
    vek::BacktrackStack points_;

    // The state of the search, which tries several starts.
    std::size_t start_ = 0;
    std::size_t firstNode_ = kNoNode;  ///< the first node of every match, not counting OPEN and BRANCH
    std::size_t repetition_ = kNoNode; ///< equal to firstNode_ if that is STAR or PLUS
    std::size_t runEnd_ = 0;           ///< the end of the characters that repetition_ matches at start_
    vek::VisitedSet visited_;
    std::size_t steps_ = 0;
    std::size_t stepsUntilCheck_;
    const char *error_ = nullptr;
};

/// Sets firstNode_ and repetition_. They stay kNoNode if the program begins with several alternatives.
void Matcher::findFirstNode() {
    const std::size_t next = vek::nodeAfter(program_, vek::kFirstNode);
    if (vek::opcodeAt(program_, vek::kFirstNode) != Opcode::Branch ||
        vek::opcodeAt(program_, next) != Opcode::End) {
        return;
    }
    std::size_t node = vek::kFirstNode + vek::kNodeHead;
    while (vek::opcodeAt(program_, node) > Opcode::Open && vek::opcodeAt(program_, node) < Opcode::Close) {
        const std::size_t inner = vek::nodeAfter(program_, node);
        if (inner <= node) {
            return;
        }
        node = inner;
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

/// Tries to match at each offset of the subject, from left to right.
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
        // Skip the other characters that the first repetition matches: a match that begins at one of them would leave
        // the repetition at a position that has already been tried.
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

/// Executes the node node_ at position_.
Matcher::Step Matcher::step() {
    // In a correct program, no node is executed twice without consuming a character in between. More steps than bytes
    // therefore mean a loop in a damaged program.
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

/// Returns to the latest backtrack point at which matching can continue, and restores the groups that were set since.
/// @return Step::Backtrack if there is none
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

/// Executes BRANCH: continues with this alternative and adds a backtrack point for the next one. Skips alternatives
/// that cannot match the current character.
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

/// Executes STAR or PLUS: matches the operand as often as possible, at least `minimum` times.
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

/// @return the last position at which leaving the repetition has not been tried yet. Without a visited set, this is the
///         end of the characters that the operand matches
///
/// With a visited set, each position that the operand matches is added to it, because a repetition that began there
/// would end at the same position. If a position is already in the set, a repetition that began there has tried to
/// leave at every position from there on. PLUS cannot leave at the position where it began, so for PLUS that one
/// remains.
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

/// @return the last position from `minimum` to `last` at which the node `next` can match; `minimum` - 1 if there is
///         none
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

/// Continues after the repetition `node`, at the last position from `minimum` to `last` at which its next node can
/// match. Adds a backtrack point for the positions before that one.
/// @return Step::Backtrack if there is no such position
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

/// Executes OPEN or CLOSE: stores position_ in `slot`. If the group is repeated, this overwrites the position of the
/// earlier repetition. A backtrack point restores it.
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

/// @return true if `node`, which matches one character, matches the one at `position`. For a literal, only its first
///         character is compared.
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

/// Tests one character in advance: in a long list of alternatives, most fail at once and then need no backtrack point.
/// @return true if `node` certainly does not match at `position`; false if it can match
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

/// Runs the position automaton, once in a search. If there can be a match, begins to store visited states.
/// @return Step::NoMatchAtAll if no match begins at start_ or after it, otherwise Step::Continue
[[gnu::noinline]] Matcher::Step Matcher::checkForAnyMatch() {
    stepsUntilCheck_ = std::numeric_limits<std::size_t>::max();
    vek::PositionAutomaton automaton;
    if (automaton.build(program_, programSize_) && !automaton.canMatch(subject_, start_)) {
        return Step::NoMatchAtAll;
    }
    visited_.open(programSize_, subject_.size());
    return Step::Continue;
}

/// @return true if `subject` contains the literal `regmust`, or if there is no such literal
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
