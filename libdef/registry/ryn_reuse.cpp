#include "libdef/registry/ryni_reuse.h"

#include "common/containers/intrusive_hash.h"
#include "common/text/path_components.h"
#include "libdef/registry/ryni_index_hash.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

namespace {

/// One path, as a component below the path in front of it. A node exists while a directory is at or below it.
struct Node {
    Node *link;
    Node *parent;
    const char *component;
    std::size_t size;
    int exact; ///< directories that are this path
    int below; ///< directories that are this path or lie in it
    uint32_t hash;

    [[nodiscard]] std::string_view name() const { return {component, size}; }
};

/// What the node of a component below `parent` is found by.
struct NodeKey {
    Node *parent;
    std::string_view component;
    uint32_t hash;
};

struct NodeTraits {
    static Node *&link(Node &node) { return node.link; }
    static uint32_t hash(const Node &node) { return node.hash; }
    static uint32_t hash(const NodeKey &key) { return key.hash; }
    static bool matches(const Node &node, const NodeKey &key) {
        return node.hash == key.hash && node.parent == key.parent && node.name() == key.component;
    }
};

} // namespace

struct rynDirectoryIndex {
    vek::IntrusiveHash<Node, NodeTraits> nodes;
    Node root;
};

namespace {

NodeKey keyOf(Node *parent, std::string_view component) {
    return {parent, component, ryniIndexHash(component, reinterpret_cast<uintptr_t>(parent))};
}

/// Adds the node of a key that is not in the index. The component is stored after the node.
Node *add(rynDirectoryIndex &index, const NodeKey &key) {
    const std::size_t size = key.component.size();
    auto *node = static_cast<Node *>(std::malloc(sizeof(Node) + size));
    if (node == nullptr) {
        return nullptr;
    }
    char *text = reinterpret_cast<char *>(node + 1);
    if (size != 0) {
        std::memcpy(text, key.component.data(), size);
    }
    *node = {nullptr, key.parent, text, size, 0, 0, key.hash};
    static_cast<void>(index.nodes.insert(*node)); // cannot fail: the index was allocated
    return node;
}

/// Frees `node` and the nodes above it as far as nothing lies there any more.
void prune(rynDirectoryIndex *index, Node *node) {
    while (node != &index->root && node->below == 0) {
        Node *parent = node->parent;
        index->nodes.remove(*node);
        std::free(node);
        node = parent;
    }
}

/// @return the node of `path`, made where it was missing; null when memory is exhausted
Node *reach(rynDirectoryIndex *index, const char *path) {
    Node *node = &index->root;
    vek::PathComponents components{std::string_view(path)};
    std::string_view component;
    while (components.next(component)) {
        const NodeKey key = keyOf(node, component);
        Node *child = index->nodes.find(key);
        if (child == nullptr) {
            child = add(*index, key);
        }
        if (child == nullptr) {
            prune(index, node);
            return nullptr;
        }
        node = child;
    }
    return node;
}

void countUpward(Node *node, int change) {
    node->exact += change;
    for (; node != nullptr; node = node->parent) {
        node->below += change;
    }
}

} // namespace

rynDirectoryIndex *ryniNewDirectoryIndex(void) {
    auto *index = static_cast<rynDirectoryIndex *>(std::malloc(sizeof(rynDirectoryIndex)));
    if (index == nullptr) {
        return nullptr;
    }
    std::construct_at(index);
    if (!index->nodes.allocate()) {
        ryniFreeDirectoryIndex(index);
        return nullptr;
    }
    return index;
}

void ryniFreeDirectoryIndex(rynDirectoryIndex *index) {
    if (index == nullptr) {
        return;
    }
    index->nodes.clear([](Node &node) { std::free(&node); });
    std::destroy_at(index);
    std::free(index);
}

int ryniAddDirectory(rynDirectoryIndex *index, const char *path) {
    Node *node = reach(index, path);
    if (node == nullptr) {
        return 0;
    }
    countUpward(node, 1);
    return 1;
}

void ryniDropDirectory(rynDirectoryIndex *index, const char *path) {
    Node *node = &index->root;
    vek::PathComponents components{std::string_view(path)};
    std::string_view component;
    while (node != nullptr && components.next(component)) {
        node = index->nodes.find(keyOf(node, component));
    }
    if (node != nullptr) {
        countUpward(node, -1);
        prune(index, node);
    }
}

int ryniCountDirectories(rynDirectoryIndex *index, const char *path) {
    Node *node = &index->root;
    int count = 0;
    vek::PathComponents components{std::string_view(path)};
    std::string_view component;
    while (components.next(component)) {
        node = index->nodes.find(keyOf(node, component));
        if (node == nullptr) {
            return count;
        }
        count += components.isEnd() ? node->below : node->exact;
    }
    return count;
}
