#ifndef VEKI_REGEXP_WRITER_H
#define VEKI_REGEXP_WRITER_H

/// How the compiler of regular expressions lays down a node program.

#include "common/expressions/veki_regexp.h"

#include <cstddef>
#include <cstring>

namespace vek {

/// A part of the program: where it begins, and its last node, whose distance is still to be set.
struct Stretch {
    std::size_t first = 0;
    std::size_t last = 0;
    unsigned flags = 0; ///< what the compiler knows about it
};

/// Writes nodes one behind the other. Without memory it only measures.
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

    /// @return where the node is
    std::size_t node(Opcode opcode) {
        const std::size_t at = size_;
        byte(static_cast<unsigned char>(opcode));
        byte(0);
        byte(0);
        return at;
    }

    /// Puts a node in front of the stretch, which moves behind it.
    void insertBefore(Stretch &stretch, Opcode opcode) {
        if (program_ != nullptr) {
            unsigned char *at = program_ + stretch.first;
            std::memmove(at + kNodeHead, at, size_ - stretch.first);
            at[0] = static_cast<unsigned char>(opcode);
            at[1] = 0;
            at[2] = 0;
        }
        size_ += kNodeHead;
        stretch.last += kNodeHead;
    }

    /// Sets the distance of `node` so that `target` comes next.
    void link(std::size_t node, std::size_t target) {
        if (program_ != nullptr) {
            const std::size_t distance = target > node ? target - node : node - target;
            program_[node + 1] = static_cast<unsigned char>(distance >> 8);
            program_[node + 2] = static_cast<unsigned char>(distance & 0xFF);
        }
    }

    /// While alternatives are read, their last nodes wait for what follows the last alternative. Until then
    /// the distance of each leads back to the one before it, and is 0 in the first.
    void await(std::size_t node, std::size_t before) { link(node, before); }

    /// Links every node that waits, from the last one on.
    void linkAwaiting(std::size_t last, std::size_t target) {
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
