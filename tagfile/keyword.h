#ifndef TAGFILE_KEYWORD_H
#define TAGFILE_KEYWORD_H

/// The table of keywords of tag files. One row holds all properties of a keyword: the functions that validate, set and
/// clear it, and its text in queries, in the file and in the output of `vekinfo`. To add a keyword, add a row. A row
/// with an empty column does not compile.

#include "tagfile/tov.h"

#include <span>
#include <string_view>

namespace tov {

inline constexpr const char *kVeklibrary = "VEKLIBRARY";
inline constexpr const char *kVeklibcheck = "VEKLIBCHECK";
inline constexpr const char *kDmtype = "DMTYPE";
inline constexpr const char *kNamespace = "NAMESPACE";

/// How `vekinfo -lookup` looks up and prints a keyword. No value is 0, so that isComplete() detects a row without one.
enum class LookupForm {
    Value = 1,   ///< prints the result of tovLookupEntryX(), or a message if there is none
    LibraryMark, ///< does not search the search list; prints the path of the tag file that defines the keyword
    LibraryCheck, ///< prints the value for the working directory; if no file defines it, its default
    NameSpace     ///< prints the value; if no file defines it, the default of the platform
};

/// One row of the table. The functions that return a text return null if the object does not set the keyword.
struct Keyword {
    std::string_view name;
    int wordCount; ///< number of words of the keyword's line: 1, or 2 if it has a value
    bool (*isValid)(std::string_view value);
    bool (*set)(VekinfoObj &obj, const char *value); ///< returns false if memory is exhausted
    void (*clear)(VekinfoObj &obj);
    bool (*isPresent)(const VekinfoObj &obj);    ///< returns whether a cached object defines the keyword
    const char *(*value)(const VekinfoObj &obj); ///< returns the value as queries return it
    const char *(*writtenValue)(
        const VekinfoObj &obj);                       ///< the text after the name in the file; null: no line
    const char *(*shownValue)(const VekinfoObj &obj); ///< the same for the output of `vekinfo -show`
    LookupForm lookup;
    const char *syntaxError; ///< the text of the report for an invalid line

    /// Returns true if every column is filled. A static_assert() tests this for each row.
    [[nodiscard]] constexpr bool isComplete() const {
        return !name.empty() && wordCount > 0 && isValid != nullptr && set != nullptr && clear != nullptr &&
               isPresent != nullptr && value != nullptr && writtenValue != nullptr && shownValue != nullptr &&
               lookup != LookupForm() && syntaxError != nullptr;
    }

    /// Returns true if a line of this keyword may have `count` words, the last of which is `word`.
    [[nodiscard]] bool allows(int count, std::string_view word) const {
        return count == wordCount && isValid(word);
    }
};

/// A table of keywords. The functions of this layer take the table as an argument, so that a test can use another one.
class Keywords {
  public:
    constexpr explicit Keywords(std::span<const Keyword> rows) : rows_(rows) {}

    /// @return the row of the keyword `name`, compared without case; null if `name` is no keyword
    [[nodiscard]] const Keyword *find(std::string_view name) const;

    [[nodiscard]] auto begin() const { return rows_.begin(); }
    [[nodiscard]] auto end() const { return rows_.end(); }

  private:
    std::span<const Keyword> rows_; ///< in the order in which an edit writes them to the file
};

/// The keywords of the file format.
extern const Keywords kKeywords;

} // namespace tov

#endif
