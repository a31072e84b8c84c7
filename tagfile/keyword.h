#ifndef TAGFILE_KEYWORD_H
#define TAGFILE_KEYWORD_H

/// Table of the keywords of tag files (`vekinfo.tag`): VEKLIBRARY, VEKLIBCHECK, DMTYPE and NAMESPACE.
///
/// Each row describes one keyword: functions that validate, set and clear its value, and functions that return the
/// value as text. A new keyword needs only a new row. If a field of a row is not set, a static_assert() fails.

#include "tagfile/tov.h"

#include <span>
#include <string_view>

namespace tov {

inline constexpr const char *kVeklibrary = "VEKLIBRARY";
inline constexpr const char *kVeklibcheck = "VEKLIBCHECK";
inline constexpr const char *kDmtype = "DMTYPE";
inline constexpr const char *kNamespace = "NAMESPACE";

/// Selects how the command `vekinfo -lookup` searches for a keyword and prints its value. No enumerator is 0, because 0
/// marks a table row in which this field was forgotten: isComplete() then returns false.
enum class LookupForm {
    Value = 1,    ///< prints the value that tovLookupEntryX() returns, or a message if it returns null
    LibraryMark,  ///< searches only upward, not along the search list; prints the path of the tag file found
    LibraryCheck, ///< prints the value for the working directory, or the default if no tag file defines it
    NameSpace     ///< prints the value, or the default of the platform if no tag file defines it
};

/// One row of the keyword table: the name of a keyword, its functions and its fixed texts. In all functions, `obj` is
/// the parsed form of one tag file.
struct Keyword {
    std::string_view name;
    int wordCount; ///< number of words in a line with this keyword: 2 if the keyword has a value, otherwise 1
    bool (*isValid)(std::string_view value);
    bool (*set)(VekinfoObj &obj, const char *value); ///< returns false if memory is exhausted
    void (*clear)(VekinfoObj &obj);
    bool (*isPresent)(const VekinfoObj &obj);    ///< returns true if `obj` defines the keyword
    const char *(*value)(const VekinfoObj &obj); ///< the value that queries return if isPresent() is true
    const char *(*writtenValue)(
        const VekinfoObj &obj); ///< the value as an edit writes it; null: it writes no line
    const char *(*shownValue)(const VekinfoObj &obj); ///< the value as `vekinfo -show` prints it, or null
    LookupForm lookup;
    const char *syntaxError; ///< the error text for an invalid line with this keyword

    /// Returns true if all fields of the row are set, that is, none of them is empty, 0 or null. A static_assert() in
    /// tov_keyword.cpp calls isComplete() for each row.
    [[nodiscard]] constexpr bool isComplete() const {
        return !name.empty() && wordCount > 0 && isValid != nullptr && set != nullptr && clear != nullptr &&
               isPresent != nullptr && value != nullptr && writtenValue != nullptr && shownValue != nullptr &&
               lookup != LookupForm() && syntaxError != nullptr;
    }

    /// Returns true if a line with this keyword is valid.
    /// @param count  the number of words in the line, including the keyword
    /// @param word   the last word of the line
    [[nodiscard]] bool allows(int count, std::string_view word) const {
        return count == wordCount && isValid(word);
    }
};

/// A read-only view of the rows of a keyword table. Functions that need the keywords take a `Keywords` object as an
/// argument, so that a test can pass a different table.
class Keywords {
  public:
    constexpr explicit Keywords(std::span<const Keyword> rows) : rows_(rows) {}

    /// Returns the row of the keyword with this name (ASCII case is ignored), or null if `name` is not a keyword.
    [[nodiscard]] const Keyword *find(std::string_view name) const;

    [[nodiscard]] auto begin() const { return rows_.begin(); }
    [[nodiscard]] auto end() const { return rows_.end(); }

  private:
    std::span<const Keyword> rows_; ///< in the order in which an edit writes them to the file
};

/// The table of the keywords that tag files can contain. Code outside of tests uses this table.
extern const Keywords kKeywords;

} // namespace tov

#endif
