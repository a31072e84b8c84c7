#include "common/base/owned.h"
#include "common/base/print.h"
#include "common/expressions/vek_regexp.h"
#include "common/expressions/veki_regexp.h"
#include "common/expressions/veki_regexp_writer.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>

using vek::Fragment;
using vek::Opcode;
using vek::ProgramWriter;

// Compiler for regular expressions: a recursive descent parser that writes the compiled program (nodes) in one pass.
// The parser runs twice: the first run computes the size of the program, the second run writes it. Alternatives become
// BRANCH nodes. "*" and "+" become STAR and PLUS if their operand is one node that matches one character; otherwise
// they become a loop of BRANCH and BACK nodes.

// Documented: the fields of vek_regexp have these offsets in bytes. They must not change, because existing programs
// read the fields of a compiled expression directly.
static_assert(offsetof(vek_regexp, startp) == 0);
static_assert(offsetof(vek_regexp, endp) == 80);
static_assert(offsetof(vek_regexp, regstart) == 160);
static_assert(offsetof(vek_regexp, reganch) == 161);
static_assert(offsetof(vek_regexp, regmust) == 168);
static_assert(offsetof(vek_regexp, regmlen) == 176);
static_assert(offsetof(vek_regexp, program) == 180);

namespace {

constexpr char kSpecialCharacters[] = "^$.[()|?+*\\";

/// Properties of a fragment.
enum Flags : unsigned {
    kNoFlags = 0,
    kHasWidth = 1,             ///< HASWIDTH: the fragment never matches the empty string
    kSimple = 2,               ///< SIMPLE: the fragment is one node that matches one character
    kStartsWithRepetition = 4, ///< SPSTART: the fragment begins with a repetition
};

constexpr unsigned with(unsigned flags, unsigned mask) {
    return flags & mask;
}

/// Parses one pattern and writes the compiled program to `program`. If `program` is null, only computes its size in
/// bytes.
class Compiler {
  public:
    Compiler(const char *pattern, unsigned char *program) : at_(pattern), out_(program) {}

    /// Parses the whole pattern.
    /// @return false if the pattern is not valid; error() then returns the text of the error
    [[nodiscard]] bool run() {
        out_.byte(vek::kProgramMagic);
        Fragment whole;
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

    bool alternatives(Opcode ender, Fragment &all);
    bool alternative(Fragment &sequence);
    bool piece(Fragment &piece);
    bool atom(Fragment &atom);
    bool group(Fragment &group);
    bool set(Fragment &set);
    bool range(unsigned char first, unsigned char last);
    bool escaped(Fragment &literal);
    bool literalRun(Fragment &literal);

    Fragment single(Opcode opcode, unsigned flags);
    Fragment literal(const char *begin, std::size_t length);
    void repeatSimple(Fragment &piece, Opcode opcode);
    void repeatAnyTimes(Fragment &piece);
    void repeatAtLeastOnce(Fragment &piece);
    void makeOptional(Fragment &piece);

    const char *at_;
    ProgramWriter out_;
    const char *error_ = nullptr;
    unsigned flags_ = kNoFlags;
    int groups_ = 0;
};

/// Parses alternatives separated by "|" up to the end of the group or pattern. Stores the offsets of the first and
/// last node in `all`. The last node has the opcode `ender` (CLOSE of the group, or END); after the nodes of each
/// alternative, matching continues at this last node.
/// @return false if the pattern is not valid
bool Compiler::alternatives(Opcode ender, Fragment &all) {
    all = {out_.size(), 0, kHasWidth};
    std::size_t branch = 0;
    std::size_t waiting = 0;
    for (bool first = true;; first = false, ++at_) {
        const std::size_t node = out_.node(Opcode::Branch);
        Fragment sequence;
        if (!alternative(sequence)) {
            return false;
        }
        if (!first) {
            out_.link(branch, node);
            out_.addToPatchList(sequence.last, waiting);
        }
        branch = node;
        waiting = sequence.last;
        all.flags = with(all.flags & sequence.flags, kHasWidth) |
                    with(all.flags | sequence.flags, kStartsWithRepetition);
        if (*at_ != '|') {
            break;
        }
    }
    all.last = out_.node(ender);
    out_.link(branch, all.last);
    out_.patch(waiting, all.last);
    return true;
}

/// Parses one alternative: a sequence of atoms, each with an optional "*", "+" or "?", up to "|", ")" or the end of
/// the pattern. Stores the offsets of the first and last node in `sequence`. An empty alternative becomes the node
/// NOTHING.
bool Compiler::alternative(Fragment &sequence) {
    if (atEndOfAlternative()) {
        sequence = single(Opcode::Nothing, kNoFlags);
        return true;
    }
    if (!piece(sequence)) {
        return false;
    }
    while (!atEndOfAlternative()) {
        Fragment next;
        if (!piece(next)) {
            return false;
        }
        out_.link(sequence.last, next.first);
        sequence.last = next.last;
        sequence.flags |= with(next.flags, kHasWidth);
    }
    return true;
}

/// Parses one atom, such as a literal, a set or a group, and the "*", "+" or "?" after it, if there is one.
bool Compiler::piece(Fragment &piece) {
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

void Compiler::repeatSimple(Fragment &piece, Opcode opcode) {
    out_.insertBefore(piece, opcode);
    piece.last = piece.first; // the next node is that of STAR or PLUS; their operand has none
}

/// Writes "*" after an operand that is not one node for one character, such as a group. The result has two
/// alternatives. The first one is `piece` followed by BACK, which returns to the BRANCH before `piece`. The second one
/// is NOTHING, which ends the loop.
void Compiler::repeatAnyTimes(Fragment &piece) {
    out_.insertBefore(piece, Opcode::Branch);
    const std::size_t back = out_.node(Opcode::Back);
    out_.link(piece.last, back);
    out_.link(back, piece.first);
    const std::size_t exit = out_.node(Opcode::Branch);
    out_.link(piece.first, exit);
    piece.last = out_.node(Opcode::Nothing);
    out_.link(exit, piece.last);
}

/// Writes "+" after an operand that is not one node for one character, such as a group. The result is `piece`,
/// followed by two alternatives: BACK, which returns to the beginning of `piece`; or NOTHING, which ends the loop.
void Compiler::repeatAtLeastOnce(Fragment &piece) {
    const std::size_t again = out_.node(Opcode::Branch);
    out_.link(piece.last, again);
    const std::size_t back = out_.node(Opcode::Back);
    out_.link(back, piece.first);
    const std::size_t exit = out_.node(Opcode::Branch);
    out_.link(again, exit);
    piece.last = out_.node(Opcode::Nothing);
    out_.link(exit, piece.last);
}

/// Writes "?" as two alternatives: `piece`, or the node NOTHING, which matches the empty string. The next node of
/// `piece` is this node NOTHING, so both alternatives continue after it.
void Compiler::makeOptional(Fragment &piece) {
    out_.insertBefore(piece, Opcode::Branch);
    const std::size_t without = out_.node(Opcode::Branch);
    out_.link(piece.first, without);
    const std::size_t nothing = out_.node(Opcode::Nothing);
    out_.link(without, nothing);
    out_.link(piece.last, nothing);
    piece.last = nothing;
}

bool Compiler::atom(Fragment &atom) {
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
    // Not reached: alternative() stops at these characters and does not call atom() for them
    case '\0':
    case '|':
    case ')':
        return fail("internal urp");
    default:
        return literalRun(atom);
    }
}

bool Compiler::group(Fragment &group) {
    // Testing the number of groups before the recursive call limits the depth of the recursion to kGroupsMax, even for
    // a pattern of many "(".
    if (groups_ == vek::kGroupsMax) {
        return fail("too many ()");
    }
    ++at_;
    const int number = ++groups_;
    const std::size_t open = out_.node(groupOpcode(Opcode::Open, number));
    Fragment inner;
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

bool Compiler::set(Fragment &set) {
    ++at_;
    const bool complement = *at_ == '^';
    if (complement) {
        ++at_;
    }
    set = single(complement ? Opcode::AnyBut : Opcode::AnyOf, kHasWidth | kSimple);
    // "]" and "-" are ordinary members of the set if they are its first character: "[]a]" contains "]" and "a".
    if (*at_ == ']' || *at_ == '-') {
        out_.text(at_++, 1);
    }
    while (*at_ != '\0' && *at_ != ']') {
        const bool joins = at_[0] == '-' && at_[1] != '\0' && at_[1] != ']';
        if (!joins) {
            out_.text(at_++, 1);
            continue;
        }
        // Documented: "x-y" adds the range from "x" to "y" even if "x" is the end of an earlier range. "[a-c-e]" is
        // therefore the same set as "[a-e]".
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

/// Adds the characters after `first`, up to and including `last`, to the set. The caller has already added `first`.
/// @return false if the range is not valid
bool Compiler::range(unsigned char first, unsigned char last) {
    // Documented: a range whose end is one less than its start, such as "b-a", adds nothing and is not an error.
    if (first > last + 1) {
        return fail("invalid [] range");
    }
    for (int member = first + 1; member <= last; ++member) {
        out_.byte(static_cast<unsigned char>(member));
    }
    return true;
}

bool Compiler::escaped(Fragment &literal) {
    ++at_;
    if (*at_ == '\0') {
        return fail("trailing \\");
    }
    literal = this->literal(at_++, 1);
    return true;
}

/// Parses ordinary characters up to the next special character, and stores them as one literal. A repetition after
/// them applies only to the last ordinary character. Therefore the literal ends before that character, and the next
/// call parses it alone.
bool Compiler::literalRun(Fragment &literal) {
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

Fragment Compiler::literal(const char *begin, std::size_t length) {
    const Fragment literal = single(Opcode::Exactly, kHasWidth | (length == 1 ? kSimple : kNoFlags));
    out_.text(begin, length);
    out_.byte('\0');
    return literal;
}

Fragment Compiler::single(Opcode opcode, unsigned flags) {
    const std::size_t node = out_.node(opcode);
    return {node, node, flags};
}

/// Sets `regmust` of `expression` to the longest literal that every match contains, and `regmlen` to its length in
/// bytes. Follows the next-node distances from the first node to END. This skips literals inside groups and
/// alternatives, which a match need not contain.
void findRequiredLiteral(vek_regexp &expression, const unsigned char *program) {
    std::size_t longest = 0;
    std::size_t node = vek::kFirstNode + vek::kNodeHead;
    for (; vek::opcodeAt(program, node) != Opcode::End; node = vek::nodeAfter(program, node)) {
        if (vek::opcodeAt(program, node) != Opcode::Exactly) {
            continue;
        }
        char *literal = expression.program + node + vek::kNodeHead;
        const std::size_t length = std::strlen(literal);
        if (length >= longest) { // of two equally long literals, the later one is used
            longest = length;
            expression.regmust = literal;
            expression.regmlen = static_cast<int>(length);
        }
    }
}

/// Sets the fields `regstart`, `reganch` and `regmust` of `expression`. With these fields, the matcher can reject a
/// subject, or an offset at which a match could begin, without interpreting the program.
void fillHints(vek_regexp &expression, unsigned flags) {
    const auto *program = reinterpret_cast<const unsigned char *>(expression.program);
    if (vek::opcodeAt(program, vek::nodeAfter(program, vek::kFirstNode)) != Opcode::End) {
        return; // with several alternatives, no hint applies to all matches
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
    Compiler measured(pattern, nullptr);
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
    Compiler written(pattern, reinterpret_cast<unsigned char *>(block->program));
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
    // Documented: prints the message on standard error, and does not call the error hook of vekReportError().
    vek::printError("vek_regexp compilation: %s\n", msg == nullptr ? "" : msg);
}
