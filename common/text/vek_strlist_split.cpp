#include "common/text/ascii.h"
#include "common/text/fixed_text.h"
#include "common/text/vek_strlist.h"

#include <initializer_list>

namespace {

/// A buffer for one word, which has at most 4095 characters.
using Word = vek::PathText;

/// Splits a text into words: next() returns one word after the other. For the rules of quotes, see the comment of
/// vekStrToStrlist() in vek_strlist.h.
class WordScanner {
  public:
    explicit WordScanner(const char *text) : at_(text) {}

    /// Stores the next word in `word`. @return false if there are no more words
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
        // Skip the quote or white space that ended the word. A word that was cut at 4095 characters has no such
        // character: the rest of it becomes the next word.
        if (*at_ != '\0' && atEndOfWord()) {
            ++at_;
        }
        return true;
    }

  private:
    /// Skips the opening quote, if there is one, and stores the quote in quote_. Documented: if a double quote follows
    /// an opening single quote, both are skipped. A double quote instead of a single quote then ends the word.
    void openQuotes() {
        quote_ = '\0';
        for (const char quote : {'\'', '"'}) {
            if (*at_ == quote) {
                quote_ = quote;
                ++at_;
            }
        }
    }

    /// Adds the first character to `word` without testing for a closing quote. Documented: two single quotes therefore
    /// give a word of one single quote. At the end of the text, `word` stays empty.
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
            break; // memory is exhausted; the list contains the words before this one
        }
        list = longer;
    }
    return list;
}
