// Word splitting: an input is a text. The words are compared with a model that reads character by character.

#include "common/text/owned_strlist.h"
#include "fuzz/support/target.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using Words = std::vector<std::string>;

bool isSpace(char c) {
    return c != '\0' && std::strchr(" \t\n\v\f\r", c) != nullptr;
}

Words modelOf(std::string_view text) {
    constexpr std::size_t kLongest = 4095;
    Words words;
    std::size_t at = 0;
    const auto current = [&] { return at < text.size() ? text[at] : '\0'; };
    for (;;) {
        while (isSpace(current())) {
            ++at;
        }
        if (at == text.size()) {
            return words;
        }
        char quote = '\0';
        if (current() == '\'') {
            quote = text[at++];
        }
        if (current() == '"') {
            quote = text[at++];
        }
        const auto ends = [&] {
            return quote == '\0' ? isSpace(current()) : current() == quote || current() == '\n';
        };
        std::string word;
        while (at < text.size() && word.size() < kLongest && (word.empty() || !ends())) {
            word.push_back(text[at++]);
        }
        if (at < text.size() && ends()) {
            ++at;
        }
        words.push_back(word);
    }
}

Words wordsOf(char **list) {
    Words words;
    for (; list != nullptr && *list != nullptr; ++list) {
        words.emplace_back(*list);
    }
    return words;
}

std::string shown(const Words &words) {
    std::string text;
    for (const std::string &word : words) {
        text += "<" + word + ">";
    }
    return text;
}

} // namespace

namespace fuzz {

void prepare(Box & /*box*/) {}

void run(Box & /*box*/, Input input) {
    // Long enough for two words of the largest length.
    std::string text(input.rest().substr(0, std::size_t{2} * VEK_PATH_SIZE + 100));
    text.resize(std::strlen(text.c_str()));
    int count = 0;
    vek::OwnedStrlist list(vekStrToStrlist(text.c_str(), &count, nullptr));
    const Words words = wordsOf(list.get());
    const Words expected = modelOf(text);
    if (words != expected) {
        fail("words are split as defined", shown(words), shown(expected));
    }
    require(static_cast<std::size_t>(count) == words.size(), "the count is that of the words");

    // Words are appended to a given list.
    list.reset(vekStrToStrlist(text.c_str(), &count, list.release()));
    require(static_cast<std::size_t>(count) == 2 * words.size() && vekGetStrlistSize(list.get()) == count,
            "words are added behind those that are there");

    const std::unique_ptr<char, void (*)(void *)> joined(vekStrlistToStr(list.get(), "+"), std::free);
    std::string expectedJoin;
    for (int round = 0; round < 2; ++round) {
        for (const std::string &word : words) {
            expectedJoin += "+" + word;
        }
    }
    require(joined && joined.get() == expectedJoin, "a joined list is its strings behind separators");
    vekSortStrlist(list.get(), count);
    const vek::OwnedStrlist copy(vekCopyStrlist(list.get()));
    require(wordsOf(copy.get()) == wordsOf(list.get()), "a copy has the same strings");
}

} // namespace fuzz
