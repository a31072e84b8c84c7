// Implements DirectoryIndex: a trie of path components, which counts the directories that are equal to, above or below
// a path. Each node stores how many directories have its path, and how many have its path or a path below it.

#include "libdef/registry/ryni_reuse.h"

#include "common/text/ascii.h"
#include "libdef/registry/ryni_index_hash.h"

#include <algorithm>

namespace {

/// Iterator over the components of a path, which is split at every "/". The components of "/a/b" are "", "a" and "b".
/// DirectoryIndex stores one node of its trie for each component.
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

/// Computes the hash of a trie node from its component and the address of its parent.
uint32_t hashOf(const void *parent, std::string_view component) {
    return ryn::indexHash(component, reinterpret_cast<uintptr_t>(parent));
}

} // namespace

namespace ryn {

bool DirectoryIndex::add(std::string_view path) {
    Node *const node = reach(path);
    if (node == nullptr) {
        return false;
    }
    count(node, 1);
    if (last_ != node->parent) {
        const bool hasParentPath =
            path.size() > node->size &&
            lastPath_.assign(std::string_view(path.data(), path.size() - node->size - 1));
        last_ = hasParentPath ? node->parent : nullptr;
    }
    return true;
}

void DirectoryIndex::remove(std::string_view path) {
    Node *node = root_;
    for (Components components(path); !components.done() && node != nullptr;) {
        const std::string_view component = components.next();
        node = find(node, component, hashOf(node, component));
    }
    if (node != nullptr) {
        count(node, -1);
        prune(node);
    }
}

int DirectoryIndex::count(std::string_view path) const {
    const Start start = startOf(path);
    const Node *node = start.node;
    bool isFound = true;
    for (Components components(start.rest); isFound && !components.done();) {
        const std::string_view component = components.next();
        const Node *const child = find(node, component, hashOf(node, component));
        isFound = child != nullptr;
        node = isFound ? child : node;
    }
    int count = isFound ? node->below - node->exact : 0;
    for (; node != nullptr; node = node->parent) {
        count += node->exact;
    }
    return count;
}

void DirectoryIndex::prefetch(std::string_view path) const {
    const Start start = startOf(path);
    nodes_.prefetch(hashOf(start.node, start.rest));
}

/// Returns where the search for `path` begins: at the parent directory of the path that was added last, if `path` is
/// inside it; otherwise at the root.
DirectoryIndex::Start DirectoryIndex::startOf(std::string_view path) const {
    const std::size_t known = lastPath_.size();
    if (last_ != nullptr && path.size() > known && path[known] == '/' &&
        vek::startsWith(path, lastPath_.view())) {
        return {last_, {path.data() + known + 1, path.size() - known - 1}};
    }
    return {root_, path};
}

/// Returns the child of `parent` for `component`; null if there is none.
/// @param hash  the value of hashOf(parent, component)
DirectoryIndex::Node *DirectoryIndex::find(const Node *parent, std::string_view component,
                                           uint32_t hash) const {
    return nodes_.find(hash, [parent, component](const Node &node) {
        return node.parent == parent && node.component() == component;
    });
}

/// Creates the child of `parent` for `component`.
/// @param hash  the value of hashOf(parent, component)
/// @return the child; null if memory is exhausted
DirectoryIndex::Node *DirectoryIndex::insert(Node *parent, std::string_view component, uint32_t hash) {
    const std::size_t size = Node::sizeWith(component);
    auto *const node = static_cast<Node *>(pool_->allocate(size));
    if (node == nullptr) {
        return nullptr;
    }
    if (!nodes_.insert(hash, *node)) {
        pool_->release(node, size);
        return nullptr;
    }
    *node = {.parent = parent, .size = static_cast<uint32_t>(component.size()), .exact = 0, .below = 0};
    std::copy(component.begin(), component.end(), reinterpret_cast<char *>(node + 1));
    return node;
}

/// Finds the trie node of the directory `path`. Creates this node and those of its ancestor directories if they do not
/// exist.
/// @return the node; null if memory is exhausted, and then no new node is kept
DirectoryIndex::Node *DirectoryIndex::reach(std::string_view path) {
    const Start start = startOf(path);
    Node *node = start.node;
    for (Components components(start.rest); !components.done();) {
        const std::string_view component = components.next();
        const uint32_t hash = hashOf(node, component);
        Node *child = find(node, component, hash);
        if (child == nullptr) {
            child = insert(node, component, hash);
        }
        if (child == nullptr) {
            prune(node);
            return nullptr;
        }
        node = child;
    }
    return node;
}

/// Frees the trie nodes that are no longer needed: `node`, then its parent, and so on. Stops at the first node whose
/// directory is in the index, or which has such a directory below it.
void DirectoryIndex::prune(Node *node) {
    while (node != root_ && node->below == 0) {
        Node *const parent = node->parent;
        last_ = last_ == node ? nullptr : last_;
        nodes_.remove(hashOf(parent, node->component()), *node);
        pool_->release(node, Node::sizeWith(node->component()));
        node = parent;
    }
}

/// Updates the counters of the trie when a directory is added at `node` (`change` is 1) or removed (`change` is -1).
/// The member `exact` counts the directories with the path of its node. The member `below` counts these directories and
/// all directories inside them.
void DirectoryIndex::count(Node *node, int change) {
    node->exact += change;
    for (; node != nullptr; node = node->parent) {
        node->below += change;
    }
}

} // namespace ryn
