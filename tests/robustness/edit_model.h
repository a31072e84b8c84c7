#ifndef TESTS_ROBUSTNESS_EDIT_MODEL_H
#define TESTS_ROBUSTNESS_EDIT_MODEL_H

#include <string>
#include <utility>
#include <vector>

namespace test {

/// One -addentry or -clearentry.
struct EditStep {
    std::string name;
    std::string value;
    bool clears = false;

    /// The arguments of the tool.
    [[nodiscard]] std::vector<std::string> arguments() const {
        return clears ? std::vector<std::string>{"-clearentry", name}
                      : std::vector<std::string>{"-addentry", name, value};
    }
};

/// The settings of a tag file, and a second implementation of the documented rules of edits. Names and values are
/// single words, and keywords are in upper case.
class EditModel {
  public:
    using Entries = std::vector<std::pair<std::string, std::string>>;

    /// @param text  a tag file without errors; null for none
    explicit EditModel(const std::string *text);

    void apply(const EditStep &step);

    /// The lines that steps of one group change: a keyword's own, or those of all application entries. A step changes
    /// the lines of its own group only.
    [[nodiscard]] std::string part(const std::string &group) const;

    /// All lines after the template.
    [[nodiscard]] std::string settings() const;

    auto operator<=>(const EditModel &) const = default; // NOLINT(modernize-use-nullptr): false alarm

  private:
    bool exists_ = false;
    bool library_ = false;
    bool libcheck_ = false;
    std::string dmtype_;
    std::string nameSpace_;
    Entries entries_;
};

/// @return the group of an entry: its name if it is a keyword, otherwise ""
std::string groupOf(const std::string &name);

/// Whether the steps, in some order, lead from one model to the other. Each group is tested separately, by
/// dynamic programming over all subsets of its steps: O(2^n) for n steps.
bool isOutcomeOfSomeOrder(const EditModel &start, const std::vector<EditStep> &steps, const EditModel &end);

} // namespace test

#endif
