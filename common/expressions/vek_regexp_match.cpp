#include "common/expressions/vek_regexp.h"
#include "common/expressions/veki_regexp.h"
#include "common/expressions/veki_regexp_walk.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <string_view>

using vek::Opcode;
using vek::Retreat;

namespace {

/// No position.
constexpr std::size_t kUnset = std::string_view::npos;

/// Looks for one expression in one subject. The result is that of trying alternatives in their order and the
/// longest repetition first, going back to the last choice at every dead end.
class Matcher {
  public:
    enum class Outcome { NoMatch, Match, Error };

    Matcher(const unsigned char *program, std::size_t programSize, std::string_view subject)
        : program_(program), programSize_(programSize), subject_(subject),
          workBeforeMemory_(8 * subject.size() + 1024) {}

    /// Tries to match from `start` on.
    Outcome tryAt(std::size_t start);

    /// After Outcome::Error: what is wrong.
    [[nodiscard]] const char *error() const { return error_; }

    /// After Outcome::Match: where each group begins and ends.
    void copyPositions(vek_regexp &expression) const;

  private:
    enum class Step { Onward, DeadEnd, End, Error };

    /// Slots of the groups: the beginnings, then the ends.
    static constexpr std::size_t kSlots = std::size_t{2} * VEK_REGEXP_GROUPS;

    Step step();
    Step resume();
    Step choose();
    Step repeat(std::size_t least);
    Step leaveRepetition(std::size_t node, std::size_t most, std::size_t floor);
    Step setSlot(std::size_t slot);

    Step onwardIf(bool condition) {
        if (!condition) {
            return Step::DeadEnd;
        }
        node_ = vek::nodeAfter(program_, node_);
        return Step::Onward;
    }
    Step consume(std::size_t characters) {
        position_ += characters;
        if (characters > 0) {
            idle_ = 0;
        }
        return onwardIf(true);
    }
    Step fail(const char *error) {
        error_ = error;
        return Step::Error;
    }
    Step retreatLater(const Retreat &retreat) {
        return retreats_.push(retreat) ? Step::Onward : fail(vek::kRegexpOutOfSpace);
    }

    /// The literal or set of a node.
    [[nodiscard]] const char *textOf(std::size_t node) const {
        return reinterpret_cast<const char *>(program_ + node + vek::kNodeHead);
    }
    Step matchLiteral(const char *literal);
    [[nodiscard]] bool acceptsCharacter(std::size_t node, std::size_t position) const;
    [[nodiscard]] bool failsAtOnce(std::size_t node) const;
    std::size_t lastUntriedRound(std::size_t least);
    void noteWork(std::size_t amount);

    const unsigned char *program_;
    std::size_t programSize_;
    std::string_view subject_;

    // Where the walk is.
    std::size_t node_ = 0;
    std::size_t position_ = 0;
    std::uint16_t idle_ = 0; ///< steps since the last character
    std::array<std::size_t, kSlots> slots_{};
    vek::RetreatStack retreats_;

    // What is kept from try to try.
    vek::ChoiceMemory memory_;
    std::size_t work_ = 0;
    std::size_t workBeforeMemory_; ///< most matches end before it, and never need the memory
    const char *error_ = nullptr;
};

Matcher::Outcome Matcher::tryAt(std::size_t start) {
    node_ = vek::kFirstNode;
    position_ = start;
    idle_ = 0;
    slots_.fill(kUnset);
    retreats_.clear();
    Step last = Step::Onward;
    while (last == Step::Onward) {
        last = step();
        if (last == Step::DeadEnd) {
            last = resume();
        }
    }
    if (last == Step::End) {
        slots_[0] = start;
        slots_[VEK_REGEXP_GROUPS] = position_;
        return Outcome::Match;
    }
    return last == Step::Error ? Outcome::Error : Outcome::NoMatch;
}

void Matcher::copyPositions(vek_regexp &expression) const {
    for (std::size_t group = 0; group < VEK_REGEXP_GROUPS; ++group) {
        const std::size_t start = slots_[group];
        const std::size_t end = slots_[VEK_REGEXP_GROUPS + group];
        expression.startp[group] = start == kUnset ? nullptr : subject_.data() + start;
        expression.endp[group] = end == kUnset ? nullptr : subject_.data() + end;
    }
}

/// Matches the node the walk has come to.
Matcher::Step Matcher::step() {
    // Between two characters no way through a whole program comes to a node twice.
    if (++idle_ > programSize_) {
        return fail(vek::kCorruptedPointers);
    }
    const Opcode opcode = vek::opcodeAt(program_, node_);
    switch (opcode) {
    case Opcode::End:
        return Step::End;
    case Opcode::Bol:
        return onwardIf(position_ == 0);
    case Opcode::Eol:
        return onwardIf(position_ == subject_.size());
    case Opcode::Back:
    case Opcode::Nothing:
        return onwardIf(true);
    case Opcode::Any:
    case Opcode::AnyOf:
    case Opcode::AnyBut:
        return acceptsCharacter(node_, position_) ? consume(1) : Step::DeadEnd;
    case Opcode::Exactly:
        return matchLiteral(textOf(node_));
    case Opcode::Branch:
        return choose();
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

/// Goes back to the last choice that has something left, and gives up the groups set since.
Matcher::Step Matcher::resume() {
    while (!retreats_.empty()) {
        const Retreat retreat = retreats_.pop();
        switch (retreat.kind) {
        case Retreat::Kind::Slot:
            slots_[retreat.node] = retreat.position;
            break;
        case Retreat::Kind::Alternative:
            node_ = retreat.node;
            position_ = retreat.position;
            idle_ = retreat.idle;
            return Step::Onward;
        case Retreat::Kind::FewerRounds: {
            idle_ = retreat.idle;
            const Step left = leaveRepetition(retreat.node, retreat.position, retreat.floor);
            if (left != Step::DeadEnd) {
                return left;
            }
            break;
        }
        }
    }
    return Step::DeadEnd;
}

/// BRANCH: this alternative now, the next one later.
Matcher::Step Matcher::choose() {
    std::size_t next = vek::nodeAfter(program_, node_);
    while (vek::opcodeAt(program_, next) == Opcode::Branch && failsAtOnce(node_ + vek::kNodeHead)) {
        node_ = next;
        next = vek::nodeAfter(program_, node_);
    }
    if (vek::opcodeAt(program_, next) == Opcode::Branch) {
        noteWork(1);
        if (memory_.has(node_, position_)) {
            return Step::DeadEnd;
        }
        memory_.add(node_, position_);
        const auto other = static_cast<std::uint16_t>(next);
        const Retreat retreat{position_, 0, other, idle_, Retreat::Kind::Alternative};
        if (retreatLater(retreat) == Step::Error) {
            return Step::Error;
        }
    }
    node_ += vek::kNodeHead;
    return Step::Onward;
}

/// STAR and PLUS: as many rounds as there are, but at least `least`.
Matcher::Step Matcher::repeat(std::size_t least) {
    if (memory_.has(node_, position_)) {
        return Step::DeadEnd;
    }
    const std::size_t most = lastUntriedRound(least);
    const std::size_t floor = position_ + least;
    noteWork(1 + (most - position_));
    return leaveRepetition(node_, most, floor);
}

/// Where the last round of the repetition ends that is worth trying to go on from.
///
/// The walk through a run of characters remembers every place of it: a repetition that began at any of them
/// would end where this one does. When it comes to such a place, it has found a run that was gone through
/// before, and of the places to go on from only those are new that the earlier repetition could not end at.
std::size_t Matcher::lastUntriedRound(std::size_t least) {
    const std::size_t operand = node_ + vek::kNodeHead;
    std::size_t end = position_;
    for (;;) {
        memory_.add(node_, end);
        if (!acceptsCharacter(operand, end)) {
            return end;
        }
        ++end;
        if (memory_.has(node_, end)) {
            return end - 1 + least;
        }
    }
}

/// Goes on behind the repetition `node`, from the last place between `floor` and `most` where that can lead
/// on; the places before it are left for later.
Matcher::Step Matcher::leaveRepetition(std::size_t node, std::size_t most, std::size_t floor) {
    const std::size_t next = vek::nodeAfter(program_, node);
    std::size_t leave = most;
    if (vek::opcodeAt(program_, next) == Opcode::Exactly && leave >= floor) {
        const char needed = *textOf(next);
        while (leave > floor && (leave == subject_.size() || subject_[leave] != needed)) {
            --leave;
        }
    }
    if (leave < floor) {
        return Step::DeadEnd;
    }
    if (leave > floor) {
        const auto again = static_cast<std::uint16_t>(node);
        const Retreat retreat{leave - 1, floor, again, idle_, Retreat::Kind::FewerRounds};
        if (retreatLater(retreat) == Step::Error) {
            return Step::Error;
        }
    }
    const std::size_t least = vek::opcodeAt(program_, node) == Opcode::Plus ? 1 : 0;
    if (leave > floor - least) {
        idle_ = 0;
    }
    position_ = leave;
    node_ = next;
    return Step::Onward;
}

/// OPEN and CLOSE. A later round of a repeated group writes over the earlier one, and going back brings the
/// earlier one back.
Matcher::Step Matcher::setSlot(std::size_t slot) {
    const auto number = static_cast<std::uint16_t>(slot);
    const Retreat retreat{slots_[slot], 0, number, 0, Retreat::Kind::Slot};
    slots_[slot] = position_;
    return retreatLater(retreat) == Step::Error ? Step::Error : onwardIf(true);
}

Matcher::Step Matcher::matchLiteral(const char *literal) {
    std::size_t length = 0;
    while (literal[length] != '\0') {
        if (position_ + length == subject_.size() || subject_[position_ + length] != literal[length]) {
            return Step::DeadEnd;
        }
        ++length;
    }
    return consume(length);
}

/// Whether the one-character node matches the character at `position`.
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

/// Whether the node needs a character that is not here: most alternatives of a long list end like that, and
/// are not worth a retreat each.
bool Matcher::failsAtOnce(std::size_t node) const {
    switch (vek::opcodeAt(program_, node)) {
    case Opcode::Any:
    case Opcode::AnyOf:
    case Opcode::AnyBut:
    case Opcode::Exactly:
        return !acceptsCharacter(node, position_);
    default:
        return false;
    }
}

void Matcher::noteWork(std::size_t amount) {
    work_ += amount;
    if (work_ > workBeforeMemory_) {
        workBeforeMemory_ = std::numeric_limits<std::size_t>::max();
        memory_.open(programSize_, subject_.size());
    }
}

/// Whether `subject` holds the literal that every match holds.
bool holdsRequiredLiteral(const vek_regexp &expression, std::string_view subject) {
    if (expression.regmust == nullptr || expression.regmlen <= 0) {
        return true;
    }
    const std::string_view literal(expression.regmust, static_cast<std::size_t>(expression.regmlen));
    return subject.find(literal) != std::string_view::npos;
}

/// Tries at each place where a match may begin, from left to right.
Matcher::Outcome search(const vek_regexp &expression, Matcher &matcher, std::string_view subject) {
    std::size_t start = 0;
    for (;;) {
        if (expression.reganch == 0 && expression.regstart != '\0') {
            start = subject.find(expression.regstart, start);
        }
        if (start > subject.size()) {
            return Matcher::Outcome::NoMatch;
        }
        const Matcher::Outcome outcome = matcher.tryAt(start);
        if (outcome != Matcher::Outcome::NoMatch || expression.reganch != 0) {
            return outcome;
        }
        ++start;
    }
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
    if (!holdsRequiredLiteral(*prog, text)) {
        return 0;
    }
    std::size_t programSize = 0;
    const char *damage = vek::checkProgram(program, &programSize);
    if (damage != nullptr) {
        return matchError(damage);
    }
    Matcher matcher(program, programSize, text);
    switch (search(*prog, matcher, text)) {
    case Matcher::Outcome::Match:
        matcher.copyPositions(*prog);
        return 1;
    case Matcher::Outcome::Error:
        return matchError(matcher.error());
    default:
        return 0;
    }
}
