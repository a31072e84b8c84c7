#ifndef COMMON_PATH_COMPONENTS_H
#define COMMON_PATH_COMPONENTS_H

#include <cstddef>
#include <string_view>

namespace vek {

/// Iterates over the components of a path, without copying them. Every "/" separates two components: "/a" has the
/// components "" and "a"; "a//b/" has "a", "", "b" and "". The empty path has one empty component.
class PathComponents {
  public:
    /// @param path  is not copied, so its characters must remain valid during the iteration
    explicit PathComponents(std::string_view path) : rest_(path) {}

    /// Stores the next component in `component`. @return false if there are no more components
    [[nodiscard]] bool next(std::string_view &component) {
        if (isEnd_) {
            return false;
        }
        const std::size_t slash = rest_.find('/');
        isEnd_ = slash == std::string_view::npos;
        component = {rest_.data(), isEnd_ ? rest_.size() : slash};
        rest_.remove_prefix(isEnd_ ? rest_.size() : slash + 1);
        return true;
    }

    /// @return true if the last component has been stored by next()
    [[nodiscard]] bool isEnd() const { return isEnd_; }

  private:
    std::string_view rest_;
    bool isEnd_ = false;
};

} // namespace vek

#endif
