// Regular expressions: the first line of an input is the pattern, the others are subjects. Compilation, matches and
// groups are compared with a model that tries all possibilities.

#include "common/expressions/vek_regexp.h"
#include "common/text/vek_strlist.h"
#include "fuzz/support/target.h"

#include <array>
#include <bitset>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace {

using Groups = std::array<std::optional<std::size_t>, std::size_t{2} * VEK_REGEXP_GROUPS>;

/// A node of the model.
struct Node {
    enum class Kind { One, Begin, End, Save, Choice, Match };
    Kind kind;
    std::bitset<256> members;    ///< One
    std::size_t slot = 0;        ///< Save
    const Node *next = nullptr;  ///< what follows; the first choice
    const Node *other = nullptr; ///< Choice: the second one
};

/// A pattern as nodes, built from the end: each part gets the node that follows it.
class Pattern {
  public:
    explicit Pattern(std::string_view text) : text_(text) {
        const std::optional<Part> whole = alternatives();
        if (whole && at_ == text_.size()) {
            Node *end = add(Node::Kind::Match);
            first_ = link(*whole, end);
        }
    }

    /// Null if the pattern is not valid.
    [[nodiscard]] const Node *first() const { return first_; }

  private:
    /// A part of the expression, as a tree.
    struct Part {
        enum class Kind { Empty, One, Begin, End, Group, Sequence, Alternatives, Star, Plus, Option };
        Kind kind = Kind::Empty;
        std::bitset<256> members;
        std::size_t group = 0;
        bool hasWidth = false;
        std::vector<Part> parts;
    };

    [[nodiscard]] bool atEnd() const { return at_ == text_.size(); }
    [[nodiscard]] bool at(std::string_view any) const {
        return !atEnd() && any.find(text_[at_]) != std::string_view::npos;
    }

    std::optional<Part> alternatives() {
        Part all;
        all.kind = Part::Kind::Alternatives;
        all.hasWidth = true;
        do {
            Part sequence;
            sequence.kind = Part::Kind::Sequence;
            while (!atEnd() && !at("|)")) {
                std::optional<Part> next = piece();
                if (!next) {
                    return std::nullopt;
                }
                sequence.hasWidth = sequence.hasWidth || next->hasWidth;
                sequence.parts.push_back(std::move(*next));
            }
            all.hasWidth = all.hasWidth && sequence.hasWidth;
            all.parts.push_back(std::move(sequence));
        } while (at("|") && ++at_ != 0);
        return all;
    }

    std::optional<Part> piece() {
        std::optional<Part> repeated = atom();
        if (!repeated || !at("*+?")) {
            return repeated;
        }
        const char repetition = text_[at_++];
        if (at("*+?") || (repetition != '?' && !repeated->hasWidth)) {
            return std::nullopt;
        }
        Part part;
        part.kind = repetition == '*'   ? Part::Kind::Star
                    : repetition == '+' ? Part::Kind::Plus
                                        : Part::Kind::Option;
        part.hasWidth = repetition == '+';
        part.parts.push_back(std::move(*repeated));
        return part;
    }

    static Part one(const std::bitset<256> &members) {
        Part part;
        part.kind = Part::Kind::One;
        part.members = members;
        part.hasWidth = true;
        return part;
    }
    static Part literal(char c) { return one(std::bitset<256>().set(static_cast<unsigned char>(c))); }
    static Part anchor(Part::Kind kind) {
        Part part;
        part.kind = kind;
        return part;
    }

    std::optional<Part> atom() {
        const char c = text_[at_++];
        switch (c) {
        case '*':
        case '+':
        case '?':
            return std::nullopt;
        case '^':
            return anchor(Part::Kind::Begin);
        case '$':
            return anchor(Part::Kind::End);
        case '.':
            return one(std::bitset<256>().set());
        case '\\':
            return atEnd() ? std::nullopt : std::optional(literal(text_[at_++]));
        case '[':
            return set();
        case '(':
            return group();
        default:
            return literal(c);
        }
    }

    std::optional<Part> group() {
        Part part;
        part.kind = Part::Kind::Group;
        part.group = ++groups_;
        if (groups_ >= VEK_REGEXP_GROUPS) {
            return std::nullopt;
        }
        std::optional<Part> inner = alternatives();
        if (!inner || !at(")")) {
            return std::nullopt;
        }
        ++at_;
        part.hasWidth = inner->hasWidth;
        part.parts.push_back(std::move(*inner));
        return part;
    }

    std::optional<Part> set() {
        std::bitset<256> members;
        const bool complement = at("^");
        at_ += complement ? 1 : 0;
        if (at("]-")) {
            members.set(static_cast<unsigned char>(text_[at_++]));
        }
        while (!atEnd() && !at("]")) {
            const auto member = static_cast<unsigned char>(text_[at_]);
            const bool joins = member == '-' && at_ + 1 < text_.size() && text_[at_ + 1] != ']';
            if (!joins) {
                members.set(member);
                ++at_;
                continue;
            }
            const auto from = static_cast<unsigned char>(text_[at_ - 1]);
            const auto to = static_cast<unsigned char>(text_[at_ + 1]);
            if (from > to + 1) {
                return std::nullopt;
            }
            // The left end is already in the set, unless it is the end of an empty range.
            for (unsigned c = from + 1U; c <= to; ++c) {
                members.set(c);
            }
            at_ += 2;
        }
        if (atEnd()) {
            return std::nullopt;
        }
        ++at_;
        return one(complement ? ~members : members);
    }

    Node *add(Node::Kind kind) {
        nodes_.push_back(std::make_unique<Node>());
        nodes_.back()->kind = kind;
        return nodes_.back().get();
    }
    Node *add(Node::Kind kind, const Node *next) {
        Node *node = add(kind);
        node->next = next;
        return node;
    }
    const Node *save(std::size_t slot, const Node *next) {
        Node *node = add(Node::Kind::Save, next);
        node->slot = slot;
        return node;
    }
    const Node *choice(const Node *first, const Node *second) {
        Node *node = add(Node::Kind::Choice, first);
        node->other = second;
        return node;
    }

    const Node *link(const Part &part, const Node *next) {
        switch (part.kind) {
        case Part::Kind::Empty:
            return next;
        case Part::Kind::One: {
            Node *node = add(Node::Kind::One, next);
            node->members = part.members;
            return node;
        }
        case Part::Kind::Begin:
            return add(Node::Kind::Begin, next);
        case Part::Kind::End:
            return add(Node::Kind::End, next);
        case Part::Kind::Group:
            return save(2 * part.group, link(part.parts[0], save(2 * part.group + 1, next)));
        case Part::Kind::Sequence:
            for (std::size_t i = part.parts.size(); i-- > 0;) {
                next = link(part.parts[i], next);
            }
            return next;
        case Part::Kind::Alternatives: {
            const Node *all = link(part.parts.back(), next);
            for (std::size_t i = part.parts.size() - 1; i-- > 0;) {
                all = choice(link(part.parts[i], next), all);
            }
            return all;
        }
        case Part::Kind::Star:
        case Part::Kind::Plus: {
            Node *again = add(Node::Kind::Choice);
            again->next = link(part.parts[0], again);
            again->other = next;
            return part.kind == Part::Kind::Star ? again : again->next;
        }
        case Part::Kind::Option:
            return choice(link(part.parts[0], next), next);
        }
        return nullptr;
    }

    std::string_view text_;
    std::size_t at_ = 0;
    std::size_t groups_ = 0;
    std::vector<std::unique_ptr<Node>> nodes_;
    const Node *first_ = nullptr;
};

/// Searches the first match by trying all possibilities, up to a number of steps.
class Search {
  public:
    enum class Result { Match, None, TooLong };

    Search(const Node *first, std::string_view subject) : subject_(subject) {
        for (std::size_t from = 0; from <= subject.size() && result_ == Result::None; ++from) {
            groups_.fill(std::nullopt);
            if (walk(first, from)) {
                groups_[0] = from;
                result_ = Result::Match;
            }
        }
    }

    [[nodiscard]] Result result() const { return result_; }
    [[nodiscard]] const Groups &groups() const { return groups_; }

  private:
    bool walk(const Node *node, std::size_t at) {
        for (;; node = node->next) {
            if (++steps_ > kMaxSteps) {
                result_ = Result::TooLong;
                return false;
            }
            switch (node->kind) {
            case Node::Kind::Match:
                groups_[1] = at;
                return true;
            case Node::Kind::One:
                if (at == subject_.size() || !node->members[static_cast<unsigned char>(subject_[at])]) {
                    return false;
                }
                ++at;
                break;
            case Node::Kind::Begin:
                if (at != 0) {
                    return false;
                }
                break;
            case Node::Kind::End:
                if (at != subject_.size()) {
                    return false;
                }
                break;
            case Node::Kind::Choice:
                if (walk(node->next, at)) {
                    return true;
                }
                return result_ != Result::TooLong && walk(node->other, at);
            case Node::Kind::Save: {
                const std::optional<std::size_t> before = groups_[node->slot];
                groups_[node->slot] = at;
                if (walk(node->next, at)) {
                    return true;
                }
                groups_[node->slot] = before;
                return false;
            }
            }
        }
    }

    static constexpr int kMaxSteps = 3000;
    std::string_view subject_;
    Groups groups_;
    Result result_ = Result::None;
    int steps_ = 0;
};

struct Free {
    void operator()(vek_regexp *expression) const { std::free(expression); }
};
using OwnedRegexp = std::unique_ptr<vek_regexp, Free>;

Groups groupsOf(const vek_regexp &expression, const char *subject) {
    Groups groups;
    for (std::size_t i = 0; i < VEK_REGEXP_GROUPS; ++i) {
        if (expression.startp[i] != nullptr && expression.endp[i] != nullptr) {
            groups[2 * i] = static_cast<std::size_t>(expression.startp[i] - subject);
            groups[2 * i + 1] = static_cast<std::size_t>(expression.endp[i] - subject);
        }
    }
    return groups;
}

/// Like the library, ignores a group that has begun but not ended.
Groups whole(Groups groups) {
    for (std::size_t i = 0; i < groups.size(); i += 2) {
        if (!groups[i] || !groups[i + 1]) {
            groups[i].reset();
            groups[i + 1].reset();
        }
    }
    return groups;
}

void match(vek_regexp &expression, const Node *model, const std::string &pattern,
           const std::string &subject) {
    const int matched = vek_regexec(&expression, subject.c_str());
    fuzz::require(matched == 0 || matched == 1, "a match is 1 or 0", pattern, subject);
    if (model == nullptr) {
        return;
    }
    const Search search(model, subject);
    if (search.result() == Search::Result::TooLong) {
        return;
    }
    const bool expected = search.result() == Search::Result::Match;
    fuzz::require((matched == 1) == expected, "what matches is what trying everything finds", pattern,
                  subject);
    fuzz::require(matched == 0 || groupsOf(expression, subject.c_str()) == whole(search.groups()),
                  "groups lie where trying everything finds them", pattern, subject);
}

void filter(std::string &pattern, std::string &subject) {
    std::array<char *, 3> strings = {subject.data(), pattern.data(), nullptr};
    std::array<char *, 2> patterns = {pattern.data(), nullptr};
    vekFreeStrlist(vekFilterStrlist(strings.data(), patterns.data()));
}

} // namespace

namespace fuzz {

void prepare(Box & /*box*/) {}

void run(Box & /*box*/, Input input) {
    // Limits the pattern, so that its program has less than the largest size.
    constexpr std::size_t kShort = 300;
    // Longer subjects take more time and find nothing more.
    constexpr std::size_t kLongestSubject = 256;
    std::string pattern(input.line());
    pattern.resize(std::strlen(pattern.c_str()));
    const OwnedRegexp expression(vek_regcomp(pattern.c_str()));
    const bool isShort = pattern.size() <= kShort;
    const std::optional<Pattern> model =
        isShort ? std::optional<Pattern>(std::in_place, pattern) : std::nullopt;
    require(!model || (expression != nullptr) == (model->first() != nullptr),
            "what compiles is what the syntax allows", pattern);
    for (int subjects = 0; subjects < 8 && !input.empty(); ++subjects) {
        std::string subject(input.line().substr(0, kLongestSubject));
        subject.resize(std::strlen(subject.c_str()));
        if (expression) {
            match(*expression, model ? model->first() : nullptr, pattern, subject);
        } else {
            filter(pattern, subject);
        }
    }
}

} // namespace fuzz
