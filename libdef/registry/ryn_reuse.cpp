// Implements DirectoryIndex: a trie of path components, which counts the directories that are equal to, above or below
// a path. Each node stores how many directories have its path, and how many have its path or a path below it.

#include "libdef/registry/ryni_reuse.h"

#include "libdef/registry/ryni_index_hash.h"

#include <cstdlib>
#include <cstring>

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

} // namespace

namespace ryn {

DirectoryIndex::~DirectoryIndex() {
    nodes_.clear([](Node &node) { std::free(&node); });
}

bool DirectoryIndex::add(std::string_view path) {
    Node *const node = reach(path);
    if (node == nullptr) {
        return false;
    }
    count(node, 1);
    return true;
}

void DirectoryIndex::remove(std::string_view path) {
    Node *node = &root_;
    for (Components components(path); !components.done() && node != nullptr;) {
        node = nodes_.find(keyOf(node, components.next()));
    }
    if (node != nullptr) {
        count(node, -1);
        prune(node);
    }
}

int DirectoryIndex::count(std::string_view path) const {
    const Node *node = &root_;
    int count = 0;
    for (Components components(path); !components.done();) {
        node = nodes_.find(keyOf(node, components.next()));
        if (node == nullptr) {
            return count;
        }
        count += components.done() ? node->below : node->exact;
    }
    return count;
}

DirectoryIndex::Key DirectoryIndex::keyOf(const Node *parent, std::string_view component) {
    return {parent, component, indexHash(component, reinterpret_cast<uintptr_t>(parent))};
}

/// Creates a node of the trie: the child of `parent` for the path component in `key`.
/// @return the node; null if memory is exhausted
DirectoryIndex::Node *DirectoryIndex::insert(Node *parent, const Key &key) {
    vek::Owned<Node> node(static_cast<Node *>(std::malloc(sizeof(Node) + key.component.size())));
    if (!node) {
        return nullptr;
    }
    char *const text = reinterpret_cast<char *>(node.get() + 1);
    std::memcpy(text, key.component.data(), key.component.size());
    *node = {nullptr, parent, text, key.component.size(), 0, 0, key.hash};
    return nodes_.insert(*node) ? node.release() : nullptr;
}

/// Finds the trie node of the directory `path`. Creates this node and those of its ancestor directories if they do not
/// exist.
/// @return the node; null if memory is exhausted, and then no new node is kept
DirectoryIndex::Node *DirectoryIndex::reach(std::string_view path) {
    Node *node = &root_;
    for (Components components(path); !components.done();) {
        const Key key = keyOf(node, components.next());
        Node *child = nodes_.find(key);
        if (child == nullptr) {
            child = insert(node, key);
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
    while (node != &root_ && node->below == 0) {
        Node *const parent = node->parent;
        nodes_.remove(*node);
        std::free(node);
        node = parent;
    }
}

/// Updates the counters of the trie when a directory is added at `node` (`change` is 1) or removed (`change` is -1).
/// `exact` is the number of directories with the path of a node. `below` also counts the directories inside.
void DirectoryIndex::count(Node *node, int change) {
    node->exact += change;
    for (; node != nullptr; node = node->parent) {
        node->below += change;
    }
}

} // namespace ryn
