#include "common/text/ascii.h"
#include "common/text/fixed_text.h"
#include "common/text/vek_strlist.h"

#include <initializer_list>

namespace {

/// A word holds at most as many characters as a line.
using Word = vek::PathText;

/// Takes one word after the other from a text.
class WordScanner {
  public:
    explicit WordScanner(const char *text) : at_(text) {}

    /// @return whether there was another word, which is then in `word`
    bool next(Word &word) {
        while (vek::isSpace(*at_)) {
            ++at_;
        }
        if (*at_ == '\0') {
            return false;
        }
        openQuotes();
        word.clear();
        takeFirst(word);
        while (!atEndOfWord() && word.append(*at_)) {
            ++at_;
        }
        // What stopped a word of full length need not be its end: it begins the next word then.
        if (*at_ != '\0' && atEndOfWord()) {
            ++at_;
        }
        return true;
    }

  private:
    /// A double quote counts also right behind a single quote, and wins.
    void openQuotes() {
        quote_ = '\0';
        for (const char quote : {'\'', '"'}) {
            if (*at_ == quote) {
                quote_ = quote;
                ++at_;
            }
        }
    }

    /// The first character belongs to the word whatever it is, so that two quotes make a word of one quote. A
    /// quote at the very end has no such character, and makes an empty word.
    void takeFirst(Word &word) {
        if (*at_ != '\0' && word.append(*at_)) {
            ++at_;
        }
    }

    [[nodiscard]] bool atEndOfWord() const {
        if (*at_ == '\0') {
            return true;
        }
        return quote_ == '\0' ? vek::isSpace(*at_) : *at_ == quote_ || *at_ == '\n';
    }

    const char *at_;
    char quote_ = '\0';
};

} // namespace

char **vekStrToStrlist(const char *str, int *count, char **list) {
    if (str == nullptr) {
        return list;
    }
    WordScanner scanner(str);
    Word word;
    int size = *count;
    while (scanner.next(word)) {
        char **longer = vekFastAddToStrlist(list, word.c_str(), count, &size);
        if (longer == nullptr) {
            break; // the words so far are still in the list
        }
        list = longer;
    }
    return list;
}
