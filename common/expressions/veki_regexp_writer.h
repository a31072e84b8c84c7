#ifndef VEKI_REGEXP_WRITER_H
#define VEKI_REGEXP_WRITER_H

/// ProgramWriter writes the node program of a regular expression for the compiler.

#include "common/expressions/veki_regexp.h"

#include <cstddef>
#include <cstring>

namespace vek {

/// A fragment of the program (Thompson's construction): the offsets of its first and its last node. The distance of the
/// last node is not set yet.
struct Fragment {
    std::size_t first = 0;
    std::size_t last = 0;
    unsigned flags = 0; ///< properties that only the compiler uses
};

/// Appends nodes to a program. If the program is null, writes nothing and only computes the size.
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

    /// Appends a node with distance 0. @return its offset
    std::size_t node(Opcode opcode) {
        const std::size_t at = size_;
        byte(static_cast<unsigned char>(opcode));
        byte(0);
        byte(0);
        return at;
    }

    /// Inserts a node before `fragment`, whose nodes move to higher offsets. The new node becomes its first node.
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

    /// Makes `target` the next node of `node`.
    void link(std::size_t node, std::size_t target) {
        if (program_ != nullptr) {
            const std::size_t distance = target > node ? target - node : node - target;
            program_[node + 1] = static_cast<unsigned char>(distance >> 8);
            program_[node + 2] = static_cast<unsigned char>(distance & 0xFF);
        }
    }

    /// Adds `node` to the patch list whose last node is `previous`. A patch list contains the nodes whose next node
    /// is not known yet. It is stored in their distances: each is the distance to the previous node of the list, 0 in
    /// the first.
    void addToPatchList(std::size_t node, std::size_t previous) { link(node, previous); }

    /// Makes `target` the next node of every node in the patch list whose last node is `last`.
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
