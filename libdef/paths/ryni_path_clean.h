#ifndef RYNI_PATH_CLEAN_H
#define RYNI_PATH_CLEAN_H

/// Cleans the text of a path without file system calls: removes repeated "/" and "." components, and resolves "..".

#include "common/text/ascii.h"
#include "common/text/fixed_text.h"

#include <string_view>

namespace ryn {

/// Removes every "/" and "/." at the end of a path, then replaces "/./" and "//" by "/". An empty result becomes "/".
void cleanSlashes(vek::PathText &path);

/// What resolveParents() does with a "..".
enum class ParentStep {
    Remove, ///< removes the ".." and the component before it
    Keep,   ///< does not change this ".." and those after it
    Fail    ///< ends with the result false
};

/// Removes the `size` characters at offset `before` (the "/.."), and the component that ends there. An empty result
/// becomes "/".
/// @return false if no component ends at offset `before`
[[nodiscard]] bool removeParentStep(vek::PathText &path, std::size_t before, std::size_t size);

/// Resolves each "/../" of `path` from left to right, and then a "/.." at the end.
///
/// @param judge  called with the part of the path before a "/.."; returns the ParentStep for it. Documented: after
///               Keep, the remaining "/../" stay, but a "/.." at the end is still judged
/// @return false if `judge` returned Fail, or there is no component to remove
template <typename Judge>
[[nodiscard]] bool resolveParents(vek::PathText &path, Judge judge) {
    constexpr std::string_view kInside = "/../";
    constexpr std::string_view kTrailing = "/..";
    for (;;) {
        const std::size_t at = path.view().find(kInside);
        if (at == std::string_view::npos) {
            break;
        }
        const ParentStep step = judge(std::string_view(path.c_str(), at));
        if (step == ParentStep::Keep) {
            break;
        }
        // Remove "/.." only: the "/" after it separates the components that remain.
        if (step == ParentStep::Fail || !removeParentStep(path, at, kTrailing.size())) {
            return false;
        }
    }
    if (!vek::endsWith(path.view(), kTrailing)) {
        return true;
    }
    const std::size_t at = path.size() - kTrailing.size();
    const ParentStep step = judge(std::string_view(path.c_str(), at));
    return step == ParentStep::Keep ||
           (step == ParentStep::Remove && removeParentStep(path, at, kTrailing.size()));
}

} // namespace ryn

#endif
