#ifndef VEKI_REGEXP_WRITER_H
#define VEKI_REGEXP_WRITER_H

/// Writes a node program; used by the compiler of regular expressions.

#include "common/expressions/veki_regexp.h"

#include <cstddef>
#include <cstring>

namespace vek {

/// A fragment of the program (Thompson's construction): its first node, and its last one, whose distance is not set yet.
struct Fragment {
    std::size_t first = 0;
    std::size_t last = 0;
    unsigned flags = 0; ///< properties for the compiler
};

/// Appends nodes to a program. With a null program it only computes the size.
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

    /// Appends a node. @return its offset
    std::size_t node(Opcode opcode) {
        const std::size_t at = size_;
        byte(static_cast<unsigned char>(opcode));
        byte(0);
        byte(0);
        return at;
    }

    /// Inserts a node before the fragment, which moves.
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

    /// Sets the distance of `node` so that `target` is its next node.
    void link(std::size_t node, std::size_t target) {
        if (program_ != nullptr) {
            const std::size_t distance = target > node ? target - node : node - target;
            program_[node + 1] = static_cast<unsigned char>(distance >> 8);
            program_[node + 2] = static_cast<unsigned char>(distance & 0xFF);
        }
    }

    /// Adds `node` to a patch list: nodes that are linked when the node after the last alternative is known. The list is
    /// kept in their distances: each is the distance to the previous node of the list, 0 in the first one.
    void addToPatchList(std::size_t node, std::size_t previous) { link(node, previous); }

    /// Links every node of the patch list whose last node is `last`.
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
