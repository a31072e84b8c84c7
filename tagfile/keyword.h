#ifndef TAGFILE_KEYWORD_H
#define TAGFILE_KEYWORD_H

/// The keywords of tag files. One row of one table holds everything that the system knows about a keyword: how its
/// line is parsed, how an edit sets and clears it, what queries, files and reports show. To add a keyword is to add a
/// row; a row with an empty column does not compile.

#include "tagfile/tov.h"

#include <span>
#include <string_view>

namespace tov {

inline constexpr const char *kVeklibrary = "VEKLIBRARY";
inline constexpr const char *kVeklibcheck = "VEKLIBCHECK";
inline constexpr const char *kDmtype = "DMTYPE";
inline constexpr const char *kNamespace = "NAMESPACE";

/// What `vekinfo -lookup` does for a keyword. No value is 0, so that a row without one is found.
enum class LookupForm {
    Value = 1,    ///< prints the value that tovLookupEntryX() finds, or that there is none
    LibraryMark,  ///< looks upward only, and prints which tag file marks a library
    LibraryCheck, ///< prints the setting for the working directory, or its default
    NameSpace     ///< prints the value or the machine's own, always
};

/// One keyword. Functions that return a text return null if there is none.
struct Keyword {
    std::string_view name;
    int wordCount; ///< the words that its line must have; the last of two is the value
    bool (*isValid)(std::string_view value);
    bool (*set)(VekinfoObj &obj, const char *value); ///< returns false if memory is exhausted
    void (*clear)(VekinfoObj &obj);
    bool (*isPresent)(const VekinfoObj &obj); ///< whether a file that was read before counts as defining it
    const char *(*value)(const VekinfoObj &obj);        ///< what queries return
    const char *(*writtenValue)(const VekinfoObj &obj); ///< what follows the name in the file; null: no line
    const char *(*shownValue)(const VekinfoObj &obj);   ///< what `-show` prints after the name; null: no line
    LookupForm lookup;
    const char *syntaxError; ///< the text of its report

    /// Whether every column is filled.
    [[nodiscard]] constexpr bool isComplete() const {
        return !name.empty() && wordCount > 0 && isValid != nullptr && set != nullptr && clear != nullptr &&
               isPresent != nullptr && value != nullptr && writtenValue != nullptr && shownValue != nullptr &&
               lookup != LookupForm() && syntaxError != nullptr;
    }

    /// Whether a line of `count` words of which the last one is `word` is allowed.
    [[nodiscard]] bool allows(int count, std::string_view word) const {
        return count == wordCount && isValid(word);
    }
};

/// A table of keywords. All code of the layer is given the table that it works with, so that a test can give it
/// another one.
class Keywords {
  public:
    constexpr explicit Keywords(std::span<const Keyword> rows) : rows_(rows) {}

    /// @return the row of a name, compared without case; null if the name is no keyword
    [[nodiscard]] const Keyword *find(std::string_view name) const;

    [[nodiscard]] auto begin() const { return rows_.begin(); }
    [[nodiscard]] auto end() const { return rows_.end(); }

  private:
    std::span<const Keyword> rows_; ///< in the order in which they are written
};

/// The system's own keywords.
extern const Keywords kKeywords;

} // namespace tov

#endif
