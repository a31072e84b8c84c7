#ifndef VEK_TESTS_SUPPORT_C_LIST_H
#define VEK_TESTS_SUPPORT_C_LIST_H

/// Null-terminated arrays of C strings, such as argument vectors and string lists.

#include <string>
#include <utility>
#include <vector>

namespace test {

/// A null-terminated array of strings that a call borrows and may change.
class CList {
  public:
    CList(std::vector<std::string> strings) : strings_(std::move(strings)) {
        pointers_.reserve(strings_.size() + 1);
        for (std::string &text : strings_) {
            pointers_.push_back(text.data());
        }
        pointers_.push_back(nullptr);
    }
    CList(const CList &) = delete;
    CList &operator=(const CList &) = delete;

    operator char **() { return pointers_.data(); }

  private:
    std::vector<std::string> strings_;
    std::vector<char *> pointers_;
};

/// @return copies of the strings of `list`; none if it is null
inline std::vector<std::string> strings(const char *const *list) {
    std::vector<std::string> copies;
    for (; list != nullptr && *list != nullptr; ++list) {
        copies.emplace_back(*list);
    }
    return copies;
}

} // namespace test

#endif
