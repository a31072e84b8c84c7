#ifndef RYNI_REUSE_H
#define RYNI_REUSE_H

#include "common/base/owned.h"
#include "common/containers/intrusive_hash.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ryn {

/// A multiset of directory paths: a path that was added twice is counted twice. count() returns how many of them are
/// equal to, above or below a given path, so that libraries that share a directory are detected.
/// The data structure is a trie of path components. One hash table contains all nodes, with the key (parent,
/// component). Each operation takes O(length of the path), which does not depend on the number of directories.
class DirectoryIndex {
  public:
    DirectoryIndex() = default;
    DirectoryIndex(const DirectoryIndex &) = delete;
    DirectoryIndex &operator=(const DirectoryIndex &) = delete;
    ~DirectoryIndex();

    /// Allocates the first buckets of the hash table. Afterwards add() can only fail because it cannot allocate a node.
    /// @return false if memory is exhausted
    [[nodiscard]] bool allocate() { return nodes_.allocate(); }

    /// Adds the directory `path`, even if the multiset already contains it.
    /// @return false if memory is exhausted; nothing is changed then
    [[nodiscard]] bool add(std::string_view path);

    /// Removes the directory `path` once: undoes one call of add(). The path must have been added.
    void remove(std::string_view path);

    /// Counts the directories in this multiset that overlap with `path`: that are equal to it, contain it, or are
    /// inside it.
    [[nodiscard]] int count(std::string_view path) const;

  private:
    /// A node of the trie. It represents the directory whose path is that of `parent`, extended by `component`. A node
    /// exists only while the multiset contains this directory or a directory inside it.
    struct Node {
        Node *nextInIndex;
        Node *parent;
        const char *component; ///< in the same allocation, after the node; no NUL
        std::size_t size;
        int exact; ///< number of added directories with exactly this path
        int below; ///< number of added directories with this path or inside it
        uint32_t hash;

        [[nodiscard]] std::string_view name() const { return {component, size}; }
    };
    struct Key {
        const Node *parent;
        std::string_view component;
        uint32_t hash;
    };
    struct Traits {
        static Node *&link(Node &node) { return node.nextInIndex; }
        static uint32_t hash(const Node &node) { return node.hash; }
        static uint32_t hash(const Key &key) { return key.hash; }
        static bool matches(const Node &node, const Key &key) {
            return node.hash == key.hash && node.parent == key.parent && node.name() == key.component;
        }
    };

    static Key keyOf(const Node *parent, std::string_view component);
    Node *insert(Node *parent, const Key &key);
    Node *reach(std::string_view path);
    void prune(Node *node);
    static void count(Node *node, int change);

    vek::IntrusiveHash<Node, Traits> nodes_;
    Node root_ = {};
};

} // namespace ryn

#endif
