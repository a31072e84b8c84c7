#ifndef RYNI_REUSE_H
#define RYNI_REUSE_H

#include "common/base/owned.h"
#include "common/containers/intrusive_hash.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ryn {

/// Counts directories by path: a trie of path components, whose edges are in one hash table. Each operation takes
/// O(length of the path), however many directories there are. A directory counts once for each addition.
class DirectoryIndex {
  public:
    DirectoryIndex() = default;
    DirectoryIndex(const DirectoryIndex &) = delete;
    DirectoryIndex &operator=(const DirectoryIndex &) = delete;
    ~DirectoryIndex();

    /// Allocates the first buckets. @return false if memory is exhausted
    [[nodiscard]] bool allocate() { return nodes_.allocate(); }

    /// @return false, and the counts are unchanged, if memory is exhausted
    [[nodiscard]] bool add(std::string_view path);

    /// Reverts one add() of `path`.
    void remove(std::string_view path);

    /// @return the number of directories that are `path`, contain it, or lie in it
    [[nodiscard]] int count(std::string_view path) const;

  private:
    /// A path, as a component below its parent. A node exists while a directory is at or below it.
    struct Node {
        Node *nextInIndex;
        Node *parent;
        const char *component; ///< stored after the node
        std::size_t size;
        int exact; ///< directories that are this path
        int below; ///< directories that are this path or lie in it
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
