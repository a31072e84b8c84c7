#include "tests/robustness/edit_model.h"

#include <algorithm>
#include <map>
#include <set>
#include <sstream>

namespace test {

EditModel::EditModel(const std::string *text) : exists_(text != nullptr) {
    std::istringstream lines(text == nullptr ? "" : *text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string name;
        std::string value;
        if (!(words >> name) || name[0] == '#' || name[0] == ';') {
            continue;
        }
        words >> value;
        if (name == "VEKLIBRARY") {
            library_ = true;
        } else if (name == "VEKLIBCHECK") {
            libcheck_ = value == "ON";
        } else if (name == "DMTYPE") {
            dmtype_ = value;
        } else if (name == "NAMESPACE") {
            nameSpace_ = value;
        } else {
            entries_.emplace_back(name, value);
        }
    }
}

void EditModel::apply(const EditStep &step) {
    if (step.clears && !exists_) {
        return;
    }
    exists_ = true;
    if (step.name == "VEKLIBRARY") {
        library_ = !step.clears;
    } else if (step.name == "VEKLIBCHECK") {
        libcheck_ = !step.clears && step.value == "ON";
    } else if (step.name == "DMTYPE") {
        dmtype_ = step.clears ? "" : step.value;
    } else if (step.name == "NAMESPACE") {
        nameSpace_ = step.clears ? "" : step.value;
    } else {
        std::erase_if(entries_, [&](const auto &entry) { return entry.first != step.name; });
        if (!step.clears) {
            entries_.emplace_back(step.name, step.value);
        }
    }
}

std::string EditModel::part(const std::string &group) const {
    if (group == "VEKLIBRARY") {
        return library_ ? "VEKLIBRARY\n" : "";
    }
    if (group == "VEKLIBCHECK") {
        return libcheck_ ? "VEKLIBCHECK ON\n" : "";
    }
    if (group == "DMTYPE") {
        return dmtype_.empty() ? "" : "DMTYPE " + dmtype_ + "\n";
    }
    if (group == "NAMESPACE") {
        return nameSpace_.empty() ? "" : "NAMESPACE " + nameSpace_ + "\n";
    }
    std::string text;
    for (const auto &[name, value] : entries_) {
        text.append(name).append(" ").append(value).append("\n");
    }
    return text;
}

std::string EditModel::settings() const {
    std::string text;
    for (const char *group : {"VEKLIBRARY", "VEKLIBCHECK", "DMTYPE", "NAMESPACE", ""}) {
        text += part(group);
    }
    return text;
}

std::string groupOf(const std::string &name) {
    const bool isKeyword =
        name == "VEKLIBRARY" || name == "VEKLIBCHECK" || name == "DMTYPE" || name == "NAMESPACE";
    return isKeyword ? name : "";
}

namespace {

bool isOutcomeInGroup(const EditModel &start, const std::vector<EditStep> &steps, const std::string &group,
                      const EditModel &end) {
    // For each set of executed steps (one bit per step), the models that they can lead to.
    std::map<unsigned, std::set<EditModel>> reached = {{0U, {start}}};
    for (std::size_t done = 0; done < steps.size(); ++done) {
        std::map<unsigned, std::set<EditModel>> next;
        for (const auto &[mask, models] : reached) {
            for (std::size_t i = 0; i < steps.size(); ++i) {
                if ((mask & (1U << i)) != 0) {
                    continue;
                }
                for (EditModel model : models) {
                    model.apply(steps[i]);
                    next[mask | (1U << i)].insert(model);
                }
            }
        }
        reached = std::move(next);
    }
    const std::set<EditModel> &outcomes = reached.begin()->second;
    return std::any_of(outcomes.begin(), outcomes.end(),
                       [&](const EditModel &model) { return model.part(group) == end.part(group); });
}

} // namespace

bool isOutcomeOfSomeOrder(const EditModel &start, const std::vector<EditStep> &steps, const EditModel &end) {
    std::map<std::string, std::vector<EditStep>> groups = {
        {"VEKLIBRARY", {}}, {"VEKLIBCHECK", {}}, {"DMTYPE", {}}, {"NAMESPACE", {}}, {"", {}}};
    for (const EditStep &step : steps) {
        groups[groupOf(step.name)].push_back(step);
    }
    return std::all_of(groups.begin(), groups.end(), [&](const auto &group) {
        return isOutcomeInGroup(start, group.second, group.first, end);
    });
}

} // namespace test
