#include "tests/structure/layering.h"

#include <algorithm>
#include <array>
#include <vector>

namespace {

struct Room {
    std::string_view name;
    std::vector<std::string_view> mayInclude;
};

// The table of arrows (docs/architecture.md).
const std::vector<Room> &rooms() {
    static const std::vector<Room> table = {
        {"common", {}},
        {"fs", {"common"}},
        {"search", {"common"}},
        {"tagfile", {"search", "common"}},
        {"libdef", {"tagfile", "search", "fs", "common"}},
        {"tool", {"libdef", "tagfile", "search", "fs", "common"}},
    };
    return table;
}

constexpr std::array insidePrefixes = {"veki_", "puxi_", "tovi_", "ryni_"};

// Of the C++ library, the layers use what needs neither exceptions nor hidden allocation.
constexpr std::array refusedHeaders = {
    "any",       "deque",  "exception", "filesystem",    "forward_list",  "fstream",  "functional", "future",
    "iomanip",   "ios",    "iostream",  "istream",       "list",          "locale",   "map",        "new",
    "ostream",   "queue",  "regex",     "set",           "sstream",       "stack",    "stdexcept",  "string",
    "strstream", "thread", "typeinfo",  "unordered_map", "unordered_set", "valarray", "vector",
};

const Room *roomNamed(std::string_view name) {
    const auto found =
        std::find_if(rooms().begin(), rooms().end(), [&](const Room &room) { return room.name == name; });
    return found == rooms().end() ? nullptr : &*found;
}

bool mayInclude(const Room &room, std::string_view target) {
    return std::find(room.mayInclude.begin(), room.mayInclude.end(), target) != room.mayInclude.end();
}

std::string_view firstStep(std::string_view path) {
    return path.substr(0, path.find('/'));
}

std::string_view afterFirstStep(std::string_view path) {
    const std::size_t slash = path.find('/');
    return slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
}

bool isInside(std::string_view header) {
    const std::string_view name = header.substr(header.rfind('/') + 1);
    return std::any_of(insidePrefixes.begin(), insidePrefixes.end(),
                       [&](std::string_view prefix) { return name.starts_with(prefix); });
}

std::string problem(std::string_view source, std::string_view included, std::string_view what) {
    return std::string(source) + " includes " + std::string(included) + ": " + std::string(what);
}

// Folders that mirror the rooms, with a support of their own beside them.
bool isMirror(std::string_view folder) {
    return folder == "tests" || folder == "fuzz";
}

// A source outside the rooms (bench, examples) stands above all of them, as a user's program does; so does what
// tests/ and fuzz/ hold beside the rooms' own tests and targets.
std::string problemFromOutside(std::string_view source, std::string_view included) {
    if (isMirror(firstStep(source)) && firstStep(afterFirstStep(source)) == "support") {
        return problem(source, included, "the support knows no layer");
    }
    return isInside(included) ? problem(source, included, "a layer's inside") : "";
}

} // namespace

std::string includeProblem(std::string_view source, std::string_view included) {
    const std::string_view top = firstStep(source);
    const std::string_view folder = isMirror(top) ? firstStep(afterFirstStep(source)) : top;
    const std::string_view target = firstStep(included);
    const Room *const room = roomNamed(folder);
    if (isMirror(target)) {
        const std::string_view shared = firstStep(afterFirstStep(included));
        const bool within =
            shared == "support" || shared == folder || (room != nullptr && mayInclude(*room, shared));
        return top == target && within ? "" : problem(source, included, "against the arrows");
    }
    if (room == nullptr) {
        return problemFromOutside(source, included);
    }
    if (roomNamed(target) == nullptr) {
        return problem(source, included, "not written from the root of the repository");
    }
    if (target == room->name) {
        return "";
    }
    if (!mayInclude(*room, target)) {
        return problem(source, included, "against the arrows");
    }
    return isInside(included) ? problem(source, included, "another layer's inside") : "";
}

std::string systemIncludeProblem(std::string_view source, std::string_view included) {
    const bool refused =
        std::find(refusedHeaders.begin(), refusedHeaders.end(), included) != refusedHeaders.end();
    return roomNamed(firstStep(source)) != nullptr && refused
               ? problem(source, included, "throws, or allocates behind one's back")
               : "";
}

std::string_view includeOf(std::string_view line) {
    constexpr std::string_view blanks = " \t";
    const auto skipBlanks = [&] {
        line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    };
    skipBlanks();
    if (!line.starts_with('#')) {
        return {};
    }
    line.remove_prefix(1);
    skipBlanks();
    if (!line.starts_with("include")) {
        return {};
    }
    line.remove_prefix(std::string_view("include").size());
    skipBlanks();
    if (!line.starts_with('"') && !line.starts_with('<')) {
        return {};
    }
    return line.substr(0, line.find(line.front() == '<' ? '>' : '"', 1));
}
