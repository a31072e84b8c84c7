#ifndef VEKI_REGEXP_WRITER_H
#define VEKI_REGEXP_WRITER_H

/// ProgramWriter: appends nodes to the compiled program of a regular expression, and stores in each node the distance
/// to its next node. The compiler uses this class.

#include "common/expressions/veki_regexp.h"

#include <cstddef>
#include <cstring>

namespace vek {

/// The nodes that were written for a part of the pattern (a fragment of Thompson's construction): the offsets of the
/// first and the last of these nodes. The last node does not yet contain the distance to its next node.
struct Fragment {
    std::size_t first = 0;
    std::size_t last = 0;
    unsigned flags = 0; ///< properties that only the compiler uses
};

/// Appends nodes to the compiled program at `program`. If `program` is null, only computes the size in bytes.
class ProgramWriter {
  public:
    explicit ProgramWriter(unsigned char *program) : program_(program) {}

    [[nodiscard]] std::size_t size() const { return size_; }

    void byte(unsigned char value) {
        if (program_ != nullptr) {
            program_[size_] = value;
        }
        ++size_;
    }
    void text(const char *begin, std::size_t length) {
        if (program_ != nullptr) {
            std::memcpy(program_ + size_, begin, length);
        }
        size_ += length;
    }

    /// Appends a node with `opcode` and the distance 0. @return the offset of the node
    std::size_t node(Opcode opcode) {
        const std::size_t at = size_;
        byte(static_cast<unsigned char>(opcode));
        byte(0);
        byte(0);
        return at;
    }

    /// Inserts a node with `opcode` before the nodes of `fragment`, which move up by kNodeHead bytes. The
    /// inserted node becomes the first node of `fragment`.
    void insertBefore(Fragment &fragment, Opcode opcode) {
        if (program_ != nullptr) {
            unsigned char *at = program_ + fragment.first;
            std::memmove(at + kNodeHead, at, size_ - fragment.first);
            at[0] = static_cast<unsigned char>(opcode);
            at[1] = 0;
            at[2] = 0;
        }
        size_ += kNodeHead;
        fragment.last += kNodeHead;
    }

    /// Makes `target` the next node of `node`: stores the distance between these two offsets in `node`.
    void link(std::size_t node, std::size_t target) {
        if (program_ != nullptr) {
            const std::size_t distance = target > node ? target - node : node - target;
            program_[node + 1] = static_cast<unsigned char>(distance >> 8);
            program_[node + 2] = static_cast<unsigned char>(distance & 0xFF);
        }
    }

    /// Adds `node` to the patch list (backpatching) whose last element is `previous`. A patch list is a linked list of
    /// the nodes whose next node is not known yet. Until the next node is known, the distance in each node points back
    /// to the previous element of the list. The first element has the distance 0.
    void addToPatchList(std::size_t node, std::size_t previous) { link(node, previous); }

    /// Makes `target` the next node of every node in the patch list whose last element is `last`. The list no longer
    /// exists afterwards. See addToPatchList().
    void patch(std::size_t last, std::size_t target) {
        for (std::size_t node = last; program_ != nullptr;) {
            const std::size_t distance = distanceAt(program_, node);
            link(node, target);
            if (distance == 0) {
                break;
            }
            node -= distance;
        }
    }

  private:
    unsigned char *program_;
    std::size_t size_ = 0;
};

} // namespace vek

#endif
