#include "common/text/ascii.h"
#include "common/text/fixed_text.h"
#include "common/text/vek_strlist.h"

#include <initializer_list>

namespace {

/// A word of at most 4095 characters.
using Word = vek::PathText;

/// Iterates over the words of a text.
class WordScanner {
  public:
    explicit WordScanner(const char *text) : at_(text) {}

    /// @return false if there are no more words; otherwise `word` receives the next one
    bool next(Word &word) {
        while (vek::isSpace(*at_)) {
            ++at_;
        }
        if (*at_ == '\0') {
            return false;
        }
        openQuotes();
        word.clear();
        addFirst(word);
        while (!atEndOfWord() && word.append(*at_)) {
            ++at_;
        }
        // If the word was too long, this character is the first of the next word.
        if (*at_ != '\0' && atEndOfWord()) {
            ++at_;
        }
        return true;
    }

  private:
    /// Documented: a double quote after a single quote opens the word; then only a double quote ends it.
    void openQuotes() {
        quote_ = '\0';
        for (const char quote : {'\'', '"'}) {
            if (*at_ == quote) {
                quote_ = quote;
                ++at_;
            }
        }
    }

    /// Documented: the first character after the quote always belongs to the word, so two quotes give a word of one quote.
    /// A quote at the end of the text gives an empty word.
    void addFirst(Word &word) {
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
            break; // the list has the words so far
        }
        list = longer;
    }
    return list;
}
