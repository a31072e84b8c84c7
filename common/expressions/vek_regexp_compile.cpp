#include "common/base/owned.h"
#include "common/base/print_error.h"
#include "common/expressions/vek_regexp.h"
#include "common/expressions/veki_regexp.h"
#include "common/expressions/veki_regexp_writer.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

using vek::Opcode;
using vek::ProgramWriter;
using vek::Stretch;

// Callers that look at the program depend on where it begins, and on what stands before it.
static_assert(offsetof(vek_regexp, startp) == 0);
static_assert(offsetof(vek_regexp, endp) == 80);
static_assert(offsetof(vek_regexp, regstart) == 160);
static_assert(offsetof(vek_regexp, reganch) == 161);
static_assert(offsetof(vek_regexp, regmust) == 168);
static_assert(offsetof(vek_regexp, regmlen) == 176);
static_assert(offsetof(vek_regexp, program) == 180);

namespace {

constexpr char kSpecialCharacters[] = "^$.[()|?+*\\";

/// What is known about a stretch of nodes.
enum Flags : unsigned {
    kNoFlags = 0,
    kHasWidth = 1,             ///< HASWIDTH: it never matches the empty string
    kSimple = 2,               ///< SIMPLE: one node that matches one character
    kStartsWithRepetition = 4, ///< SPSTART: "*" or "+" applies to its beginning
};

constexpr unsigned with(unsigned flags, unsigned mask) {
    return flags & mask;
}

/// Reads a pattern from left to right, once, and writes its program.
class Translation {
  public:
    Translation(const char *pattern, unsigned char *program) : at_(pattern), out_(program) {}

    /// @return whether the pattern is an expression; else error() says what is wrong
    [[nodiscard]] bool run() {
        out_.byte(vek::kProgramMagic);
        Stretch whole;
        if (!alternatives(Opcode::End, whole)) {
            return false;
        }
        flags_ = whole.flags;
        if (*at_ == ')') {
            return fail("unmatched ()");
        }
        return *at_ == '\0' || fail("junk on end");
    }

    [[nodiscard]] const char *error() const { return error_; }
    [[nodiscard]] std::size_t size() const { return out_.size(); }
    [[nodiscard]] unsigned flags() const { return flags_; }

  private:
    [[nodiscard]] bool fail(const char *error) {
        error_ = error;
        return false;
    }

    [[nodiscard]] bool atRepetition() const { return *at_ == '*' || *at_ == '+' || *at_ == '?'; }
    [[nodiscard]] bool atEndOfAlternative() const { return *at_ == '\0' || *at_ == '|' || *at_ == ')'; }

    bool alternatives(Opcode ender, Stretch &all);
    bool alternative(Stretch &sequence);
    bool piece(Stretch &piece);
    bool atom(Stretch &atom);
    bool group(Stretch &group);
    bool set(Stretch &set);
    bool range(unsigned char first, unsigned char last);
    bool escaped(Stretch &literal);
    bool literalRun(Stretch &literal);

    Stretch single(Opcode opcode, unsigned flags);
    Stretch literal(const char *begin, std::size_t length);
    void repeatSimple(Stretch &piece, Opcode opcode);
    void repeatAnyTimes(Stretch &piece);
    void repeatAtLeastOnce(Stretch &piece);
    void makeOptional(Stretch &piece);

    const char *at_;
    ProgramWriter out_;
    const char *error_ = nullptr;
    unsigned flags_ = kNoFlags;
    int groups_ = 0;
};

/// Alternatives between "|", up to the end of the group or pattern, and the node behind them.
bool Translation::alternatives(Opcode ender, Stretch &all) {
    all = {out_.size(), 0, kHasWidth};
    std::size_t branch = 0;
    std::size_t awaiting = 0;
    for (bool first = true;; first = false, ++at_) {
        const std::size_t node = out_.node(Opcode::Branch);
        Stretch sequence;
        if (!alternative(sequence)) {
            return false;
        }
        if (!first) {
            out_.link(branch, node);
            out_.await(sequence.last, awaiting);
        }
        branch = node;
        awaiting = sequence.last;
        all.flags = with(all.flags & sequence.flags, kHasWidth) |
                    with(all.flags | sequence.flags, kStartsWithRepetition);
        if (*at_ != '|') {
            break;
        }
    }
    all.last = out_.node(ender);
    out_.link(branch, all.last);
    out_.linkAwaiting(awaiting, all.last);
    return true;
}

/// Pieces up to the end of the alternative, one behind the other; an empty one is NOTHING.
bool Translation::alternative(Stretch &sequence) {
    if (atEndOfAlternative()) {
        sequence = single(Opcode::Nothing, kNoFlags);
        return true;
    }
    if (!piece(sequence)) {
        return false;
    }
    while (!atEndOfAlternative()) {
        Stretch next;
        if (!piece(next)) {
            return false;
        }
        out_.link(sequence.last, next.first);
        sequence.last = next.last;
        sequence.flags |= with(next.flags, kHasWidth);
    }
    return true;
}

/// An atom and what repeats it.
bool Translation::piece(Stretch &piece) {
    if (!atom(piece)) {
        return false;
    }
    if (!atRepetition()) {
        return true;
    }
    const char repetition = *at_++;
    if (repetition != '?' && with(piece.flags, kHasWidth) == 0) {
        return fail("*+ operand could be empty");
    }
    if (atRepetition()) {
        return fail("nested *?+");
    }
    const bool simple = with(piece.flags, kSimple) != 0;
    switch (repetition) {
    case '*':
        simple ? repeatSimple(piece, Opcode::Star) : repeatAnyTimes(piece);
        piece.flags = kStartsWithRepetition;
        break;
    case '+':
        simple ? repeatSimple(piece, Opcode::Plus) : repeatAtLeastOnce(piece);
        piece.flags = kHasWidth | kStartsWithRepetition;
        break;
    default:
        makeOptional(piece);
        piece.flags = with(piece.flags, kStartsWithRepetition);
        break;
    }
    return true;
}

void Translation::repeatSimple(Stretch &piece, Opcode opcode) {
    out_.insertBefore(piece, opcode);
    piece.last = piece.first; // the repeated node itself has no next one
}

/// One alternative is the piece and back to the choice, the other is nothing.
void Translation::repeatAnyTimes(Stretch &piece) {
    out_.insertBefore(piece, Opcode::Branch);
    const std::size_t back = out_.node(Opcode::Back);
    out_.link(piece.last, back);
    out_.link(back, piece.first);
    const std::size_t exit = out_.node(Opcode::Branch);
    out_.link(piece.first, exit);
    piece.last = out_.node(Opcode::Nothing);
    out_.link(exit, piece.last);
}

/// The piece, and then the choice between going back to it and nothing.
void Translation::repeatAtLeastOnce(Stretch &piece) {
    const std::size_t again = out_.node(Opcode::Branch);
    out_.link(piece.last, again);
    const std::size_t back = out_.node(Opcode::Back);
    out_.link(back, piece.first);
    const std::size_t exit = out_.node(Opcode::Branch);
    out_.link(again, exit);
    piece.last = out_.node(Opcode::Nothing);
    out_.link(exit, piece.last);
}

/// One alternative is the piece, the other is nothing; both go on at the same node.
void Translation::makeOptional(Stretch &piece) {
    out_.insertBefore(piece, Opcode::Branch);
    const std::size_t without = out_.node(Opcode::Branch);
    out_.link(piece.first, without);
    const std::size_t nothing = out_.node(Opcode::Nothing);
    out_.link(without, nothing);
    out_.link(piece.last, nothing);
    piece.last = nothing;
}

bool Translation::atom(Stretch &atom) {
    switch (*at_) {
    case '^':
        ++at_;
        atom = single(Opcode::Bol, kNoFlags);
        return true;
    case '$':
        ++at_;
        atom = single(Opcode::Eol, kNoFlags);
        return true;
    case '.':
        ++at_;
        atom = single(Opcode::Any, kHasWidth | kSimple);
        return true;
    case '(':
        return group(atom);
    case '[':
        return set(atom);
    case '\\':
        return escaped(atom);
    case '*':
    case '+':
    case '?':
        return fail("?+* follows nothing");
    // Not reached: callers end an expression before these characters
    case '\0':
    case '|':
    case ')':
        return fail("internal urp");
    default:
        return literalRun(atom);
    }
}

bool Translation::group(Stretch &group) {
    // Tested before going deeper, so that no pattern nests deeper than there are groups.
    if (groups_ == vek::kGroupsMax) {
        return fail("too many ()");
    }
    ++at_;
    const int number = ++groups_;
    const std::size_t open = out_.node(groupOpcode(Opcode::Open, number));
    Stretch inner;
    if (!alternatives(groupOpcode(Opcode::Close, number), inner)) {
        return false;
    }
    if (*at_ != ')') {
        return fail("unmatched ()");
    }
    ++at_;
    out_.link(open, inner.first);
    group = {open, inner.last, inner.flags};
    return true;
}

bool Translation::set(Stretch &set) {
    ++at_;
    const bool complement = *at_ == '^';
    if (complement) {
        ++at_;
    }
    set = single(complement ? Opcode::AnyBut : Opcode::AnyOf, kHasWidth | kSimple);
    // In the first place "]" and "-" are members like any other.
    if (*at_ == ']' || *at_ == '-') {
        out_.text(at_++, 1);
    }
    while (*at_ != '\0' && *at_ != ']') {
        const bool joins = at_[0] == '-' && at_[1] != '\0' && at_[1] != ']';
        if (!joins) {
            out_.text(at_++, 1);
            continue;
        }
        // The "-" joins its neighbours in the pattern, also when the left one has ended a range.
        if (!range(static_cast<unsigned char>(at_[-1]), static_cast<unsigned char>(at_[1]))) {
            return false;
        }
        at_ += 2;
    }
    out_.byte('\0');
    if (*at_ != ']') {
        return fail("unmatched []");
    }
    ++at_;
    return true;
}

/// Adds what follows `first`, which is in the set already, up to `last`.
bool Translation::range(unsigned char first, unsigned char last) {
    // A range that ends just before its start is let through, and adds nothing.
    if (first > last + 1) {
        return fail("invalid [] range");
    }
    for (int member = first + 1; member <= last; ++member) {
        out_.byte(static_cast<unsigned char>(member));
    }
    return true;
}

bool Translation::escaped(Stretch &literal) {
    ++at_;
    if (*at_ == '\0') {
        return fail("trailing \\");
    }
    literal = this->literal(at_++, 1);
    return true;
}

/// Ordinary characters up to a special one. A repetition takes only the last of them.
bool Translation::literalRun(Stretch &literal) {
    const char *begin = at_;
    std::size_t length = std::strcspn(begin, kSpecialCharacters);
    if (length == 0) {
        return fail("internal disaster"); // Not reached: the caller has handled special characters
    }
    at_ += length;
    if (length > 1 && atRepetition()) {
        --length;
        --at_;
    }
    literal = this->literal(begin, length);
    return true;
}

Stretch Translation::literal(const char *begin, std::size_t length) {
    const Stretch literal = single(Opcode::Exactly, kHasWidth | (length == 1 ? kSimple : kNoFlags));
    out_.text(begin, length);
    out_.byte('\0');
    return literal;
}

Stretch Translation::single(Opcode opcode, unsigned flags) {
    const std::size_t node = out_.node(opcode);
    return {node, node, flags};
}

/// Points regmust at the longest literal that every match holds: those outside groups and choices, which are
/// the ones on the chain from the first node to the end.
void findRequiredLiteral(vek_regexp &expression, const unsigned char *program) {
    std::size_t longest = 0;
    std::size_t node = vek::kFirstNode + vek::kNodeHead;
    for (; vek::opcodeAt(program, node) != Opcode::End; node = vek::nodeAfter(program, node)) {
        if (vek::opcodeAt(program, node) != Opcode::Exactly) {
            continue;
        }
        char *literal = expression.program + node + vek::kNodeHead;
        const std::size_t length = std::strlen(literal);
        if (length >= longest) { // of two equally long ones the later
            longest = length;
            expression.regmust = literal;
            expression.regmlen = static_cast<int>(length);
        }
    }
}

/// Fills in what lets the matcher refuse a subject, or a place in it, without a try.
void fillHints(vek_regexp &expression, unsigned flags) {
    const auto *program = reinterpret_cast<const unsigned char *>(expression.program);
    if (vek::opcodeAt(program, vek::nodeAfter(program, vek::kFirstNode)) != Opcode::End) {
        return; // more than one alternative: nothing is common to all matches
    }
    const std::size_t first = vek::kFirstNode + vek::kNodeHead;
    if (vek::opcodeAt(program, first) == Opcode::Exactly) {
        expression.regstart = expression.program[first + vek::kNodeHead];
    } else if (vek::opcodeAt(program, first) == Opcode::Bol) {
        expression.reganch = 1;
    }
    if (with(flags, kStartsWithRepetition) != 0) {
        findRequiredLiteral(expression, program);
    }
}

} // namespace

const char *vek::compileRegexp(const char *pattern, vek_regexp **expression) {
    if (pattern == nullptr) {
        return "NULL argument";
    }
    Translation measured(pattern, nullptr);
    if (!measured.run()) {
        return measured.error();
    }
    if (measured.size() >= kProgramLimit) {
        return "vek_regexp too big";
    }
    constexpr std::size_t header = offsetof(vek_regexp, program);
    Owned<vek_regexp> block(static_cast<vek_regexp *>(std::malloc(header + measured.size())));
    if (!block) {
        return kRegexpOutOfSpace;
    }
    std::memset(block.get(), 0, header);
    Translation written(pattern, reinterpret_cast<unsigned char *>(block->program));
    if (!written.run()) {
        return written.error(); // Not reached: the first translation of the same pattern has succeeded
    }
    fillHints(*block, written.flags());
    *expression = block.release();
    return nullptr;
}

vek_regexp *vek_regcomp(const char *pattern) {
    vek_regexp *expression = nullptr;
    const char *error = vek::compileRegexp(pattern, &expression);
    if (error != nullptr) {
        vek_regerror(error);
        return nullptr;
    }
    return expression;
}

void vek_regerror(const char *msg) {
    // Documented: printed on standard error, not reported through the error hook.
    vek::printError("vek_regexp compilation: %s\n", msg == nullptr ? "" : msg);
}
