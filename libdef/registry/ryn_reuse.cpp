#include "libdef/registry/ryni_reuse.h"

#include "common/base/owned.h"
#include "common/containers/vek_hash.h"
#include "libdef/registry/ryni_index_hash.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
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

int isSameNode(const void *entry, const void *key) {
    const auto *node = static_cast<const Node *>(entry);
    const auto *wanted = static_cast<const Node *>(key);
    return node->hash == wanted->hash && node->parent == wanted->parent && node->name() == wanted->name() ? 1
                                                                                                          : 0;
}

uint32_t hashNode(const void *key, const vekHashTable * /*table*/) {
    return static_cast<const Node *>(key)->hash;
}

/// Takes a path apart at every "/", so that "/a" begins with an empty component: one path holds another exactly
/// when its components begin the other's.
class Components {
  public:
    explicit Components(std::string_view path) : rest_(path) {}

    [[nodiscard]] bool done() const { return done_; }

    std::string_view next() {
        const std::size_t slash = rest_.find('/');
        done_ = slash == std::string_view::npos;
        const std::string_view component(rest_.data(), done_ ? rest_.size() : slash);
        rest_.remove_prefix(done_ ? rest_.size() : slash + 1);
        return component;
    }

  private:
    std::string_view rest_;
    bool done_ = false;
};

} // namespace

struct rynDirectoryIndex {
    vekHashTable nodes;
    Node root;
};

namespace {

/// What the node of a component below `parent` is found by.
Node keyOf(Node *parent, std::string_view component) {
    const uint32_t hash = ryniIndexHash(component, reinterpret_cast<uintptr_t>(parent));
    return {nullptr, parent, component.data(), component.size(), 0, 0, hash};
}

Node *find(rynDirectoryIndex *index, const Node &key) {
    return static_cast<Node *>(vekHashProbe(&index->nodes, &key));
}

/// Makes the node that find() has just not found.
Node *add(rynDirectoryIndex *index, const Node &key) {
    vek::Owned<Node> node(static_cast<Node *>(std::malloc(sizeof(Node) + key.size)));
    if (!node) {
        return nullptr;
    }
    char *text = reinterpret_cast<char *>(node.get() + 1);
    std::memcpy(text, key.component, key.size);
    *node = key;
    node->component = text;
    vekHashCreateAfterProbe(&index->nodes, node.get());
    return node.release();
}

/// Frees `node` and the nodes above it as far as nothing lies there any more.
void prune(rynDirectoryIndex *index, Node *node) {
    while (node != &index->root && node->below == 0) {
        Node *parent = node->parent;
        std::free(vekHashDelete(&index->nodes, node));
        node = parent;
    }
}

/// @return the node of `path`, made where it was missing; null when memory is exhausted
Node *reach(rynDirectoryIndex *index, const char *path) {
    Node *node = &index->root;
    for (Components components(path); !components.done();) {
        const Node key = keyOf(node, components.next());
        Node *child = find(index, key);
        if (child == nullptr) {
            child = add(index, key);
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
    auto *index = static_cast<rynDirectoryIndex *>(std::calloc(1, sizeof(rynDirectoryIndex)));
    if (index == nullptr) {
        return nullptr;
    }
    vekHashAllocTable(&index->nodes, 0, 1, offsetof(Node, link), isSameNode, hashNode);
    if (index->nodes.buckets == nullptr) {
        std::free(index);
        return nullptr;
    }
    return index;
}

void ryniFreeDirectoryIndex(rynDirectoryIndex *index) {
    if (index == nullptr) {
        return;
    }
    for (int bucket = 0; bucket < index->nodes.bucketCount; ++bucket) {
        auto *node = static_cast<Node *>(index->nodes.buckets[bucket]);
        while (node != nullptr) {
            Node *next = node->link;
            std::free(node);
            node = next;
        }
    }
    vekHashFreeTable(&index->nodes);
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
    for (Components components(path); !components.done() && node != nullptr;) {
        node = find(index, keyOf(node, components.next()));
    }
    if (node != nullptr) {
        countUpward(node, -1);
        prune(index, node);
    }
}

int ryniCountDirectories(rynDirectoryIndex *index, const char *path) {
    Node *node = &index->root;
    int count = 0;
    for (Components components(path); !components.done();) {
        node = find(index, keyOf(node, components.next()));
        if (node == nullptr) {
            return count;
        }
        count += components.done() ? node->below : node->exact;
    }
    return count;
}
