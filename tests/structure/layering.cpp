#include "tests/structure/layering.h"

#include <algorithm>
#include <array>
#include <map>

namespace {

struct Layer {
    std::string_view name;
    std::vector<std::string_view> dependencies;
    /// Each subfolder may include from itself and from those before it.
    std::vector<std::string_view> subfolders;
};

const std::vector<Layer> &layers() {
    static const std::vector<Layer> table = {
        {"common", {}, {"base", "containers", "expressions", "text", "platform"}},
        {"fs", {"common"}, {}},
        {"search", {"common"}, {}},
        {"tagfile", {"search", "common"}, {}},
        {"libdef",
         {"tagfile", "search", "fs", "common"},
         {"registry", "paths", "access", "language", "iteration"}},
        {"tool", {"libdef", "tagfile", "search", "fs", "common"}, {}},
    };
    return table;
}

constexpr std::array internalPrefixes = {"veki_", "puxi_", "tovi_", "ryni_"};

constexpr std::array forbiddenHeaders = {
    "any",       "deque",  "exception", "filesystem",    "forward_list",  "fstream",  "functional", "future",
    "iomanip",   "ios",    "iostream",  "istream",       "list",          "locale",   "map",        "new",
    "ostream",   "queue",  "regex",     "set",           "sstream",       "stack",    "stdexcept",  "string",
    "strstream", "thread", "typeinfo",  "unordered_map", "unordered_set", "valarray", "vector",
};

const Layer *findLayer(std::string_view name) {
    const auto found = std::find_if(layers().begin(), layers().end(),
                                    [&](const Layer &layer) { return layer.name == name; });
    return found == layers().end() ? nullptr : &*found;
}

bool dependsOn(const Layer &layer, std::string_view target) {
    return std::find(layer.dependencies.begin(), layer.dependencies.end(), target) !=
           layer.dependencies.end();
}

std::string_view firstComponent(std::string_view path) {
    return path.substr(0, path.find('/'));
}

std::string_view afterFirstComponent(std::string_view path) {
    const std::size_t slash = path.find('/');
    return slash == std::string_view::npos ? std::string_view() : path.substr(slash + 1);
}

bool isInternal(std::string_view header) {
    const std::string_view name = header.substr(header.rfind('/') + 1);
    return std::any_of(internalPrefixes.begin(), internalPrefixes.end(),
                       [&](std::string_view prefix) { return name.starts_with(prefix); });
}

std::string problem(std::string_view source, std::string_view included, std::string_view reason) {
    return std::string(source) + " includes " + std::string(included) + ": " + std::string(reason);
}

/// These folders have one subfolder for each layer, and a subfolder "support".
bool hasLayerSubfolders(std::string_view folder) {
    return folder == "tests" || folder == "fuzz";
}

/// Sources that belong to no layer (bench, examples, parts of tests and fuzz) may include every public header.
std::string problemOutsideLayers(std::string_view source, std::string_view included) {
    if (hasLayerSubfolders(firstComponent(source)) &&
        firstComponent(afterFirstComponent(source)) == "support") {
        return problem(source, included, "support code must not depend on a layer");
    }
    return isInternal(included) ? problem(source, included, "the header is internal to its layer") : "";
}

/// The rank of the file's subfolder in its layer; nothing for a file at the layer's root.
std::size_t subfolderRank(const Layer &layer, std::string_view path) {
    const std::string_view subfolder = firstComponent(afterFirstComponent(path));
    return static_cast<std::size_t>(std::find(layer.subfolders.begin(), layer.subfolders.end(), subfolder) -
                                    layer.subfolders.begin());
}

/// The path without the extension and without the "i" of an internal header.
std::string unitOf(std::string_view path) {
    std::string unit(path.substr(0, path.rfind('.')));
    const std::size_t name = unit.rfind('/') + 1;
    if (isInternal(unit)) {
        unit.erase(unit.find('_', name) - 1, 1);
    }
    return unit;
}

using Graph = std::map<std::string, std::set<std::string>>;

/// All units that `unit` includes, directly or through others. Depth-first search.
std::set<std::string> reachableFrom(const Graph &graph, const std::string &unit) {
    std::set<std::string> reached;
    std::vector<std::string> open = {unit};
    while (!open.empty()) {
        const auto found = graph.find(open.back());
        open.pop_back();
        if (found == graph.end()) {
            continue;
        }
        for (const std::string &next : found->second) {
            if (reached.insert(next).second) {
                open.push_back(next);
            }
        }
    }
    return reached;
}

} // namespace

std::string includeProblem(std::string_view source, std::string_view included) {
    const std::string_view top = firstComponent(source);
    const std::string_view folder =
        hasLayerSubfolders(top) ? firstComponent(afterFirstComponent(source)) : top;
    const std::string_view target = firstComponent(included);
    const Layer *const layer = findLayer(folder);
    if (hasLayerSubfolders(target)) {
        const std::string_view shared = firstComponent(afterFirstComponent(included));
        const bool isAllowed =
            shared == "support" || shared == folder || (layer != nullptr && dependsOn(*layer, shared));
        return top == target && isAllowed ? "" : problem(source, included, "the dependency is not allowed");
    }
    if (layer == nullptr) {
        return problemOutsideLayers(source, included);
    }
    if (findLayer(target) == nullptr) {
        return problem(source, included, "the path does not begin at the root of the repository");
    }
    if (target == layer->name) {
        return "";
    }
    if (!dependsOn(*layer, target)) {
        return problem(source, included, "the dependency is not allowed");
    }
    return isInternal(included) ? problem(source, included, "the header is internal to its layer") : "";
}

std::string subfolderProblem(std::string_view source, std::string_view included) {
    const Layer *const layer = findLayer(firstComponent(source));
    if (layer == nullptr || firstComponent(included) != layer->name) {
        return "";
    }
    const std::size_t none = layer->subfolders.size();
    const std::size_t from = subfolderRank(*layer, source);
    const std::size_t to = subfolderRank(*layer, included);
    return from != none && to != none && to > from
               ? problem(source, included, "the dependency between the subfolders is not allowed")
               : "";
}

std::string systemIncludeProblem(std::string_view source, std::string_view included) {
    const bool isForbidden =
        std::find(forbiddenHeaders.begin(), forbiddenHeaders.end(), included) != forbiddenHeaders.end();
    return findLayer(firstComponent(source)) != nullptr && isForbidden
               ? problem(source, included, "it throws, or allocates without reporting a failure")
               : "";
}

std::set<Include> cyclicIncludes(const std::vector<Include> &includes) {
    Graph graph;
    for (const Include &include : includes) {
        graph[unitOf(include.source)].insert(unitOf(include.included));
    }
    std::map<std::string, std::set<std::string>> reachable;
    for (const auto &[unit, targets] : graph) {
        reachable[unit] = reachableFrom(graph, unit);
    }
    std::set<Include> cyclic;
    for (const Include &include : includes) {
        const std::string from = unitOf(include.source);
        const std::string to = unitOf(include.included);
        if (from != to && reachable[to].contains(from)) {
            cyclic.insert(include);
        }
    }
    return cyclic;
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
