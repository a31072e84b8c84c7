#ifndef RYNI_REUSE_H
#define RYNI_REUSE_H

#include "common/containers/hash_index.h"
#include "common/containers/memory_pool.h"
#include "common/text/fixed_text.h"

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
    /// @param pool  the nodes of the trie are allocated from it; it must exist longer than this object
    explicit DirectoryIndex(vek::MemoryPool &pool) : pool_(&pool) {}
    DirectoryIndex(const DirectoryIndex &) = delete;
    DirectoryIndex &operator=(const DirectoryIndex &) = delete;

    /// Allocates the first slots of the hash table. Afterwards, add() fails only if it cannot allocate a node of the
    /// trie, or if all slots are used and it cannot allocate more.
    /// @return false if memory is exhausted
    [[nodiscard]] bool allocate() { return nodes_.reserve(1); }

    /// Adds the directory `path`, even if the multiset already contains it.
    /// @return false if memory is exhausted; nothing is changed then
    [[nodiscard]] bool add(std::string_view path);

    /// Removes the directory `path` once: undoes one call of add(). The path must have been added.
    void remove(std::string_view path);

    /// Counts the directories in this multiset that overlap with `path`: that are equal to it, contain it, or are
    /// inside it.
    [[nodiscard]] int count(std::string_view path) const;

    /// Calls vek::HashIndex::prefetch() for the hash that add() will need for `path`, if `path` is in the same directory
    /// as the path that was added last.
    void prefetch(std::string_view path) const;

  private:
    /// A node of the trie. It represents the directory whose path is that of `parent`, extended by `component`. A node
    /// exists only while the multiset contains this directory or a directory inside it.
    struct Node {
        Node *parent;
        uint32_t size; ///< of the component, which is in the same allocation, after the node; no NUL
        int exact;     ///< number of added directories with exactly this path
        int below;     ///< number of added directories with this path or inside it

        [[nodiscard]] std::string_view component() const {
            return {reinterpret_cast<const char *>(this + 1), size};
        }
        static std::size_t sizeWith(std::string_view component) { return sizeof(Node) + component.size(); }
    };

    /// Where a search begins: at `node`, for the components of `rest`.
    struct Start {
        Node *node;
        std::string_view rest;
    };

    [[nodiscard]] Start startOf(std::string_view path) const;
    [[nodiscard]] Node *find(const Node *parent, std::string_view component, uint32_t hash) const;
    Node *insert(Node *parent, std::string_view component, uint32_t hash);
    Node *reach(std::string_view path);
    void prune(Node *node);
    static void count(Node *node, int change);

    vek::MemoryPool *pool_;
    vek::HashIndex<Node> nodes_; ///< by parent and component
    Node *root_ = &rootNode_;
    Node rootNode_ = {};
    Node *last_ =
        nullptr; ///< the parent directory of the path that was added last, where the next one often is; or null
    vek::PathText lastPath_; ///< the path of last_
};

} // namespace ryn

#endif
