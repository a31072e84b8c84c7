#ifndef RYNI_PATH_CLEAN_H
#define RYNI_PATH_CLEAN_H

/// Normalizes the text of a path: removes redundant "/" and "." components, and resolves "..". These functions do not
/// read the file system.

#include "common/text/ascii.h"
#include "common/text/fixed_text.h"

#include <string_view>

namespace ryn {

/// Returns true if cleanPath() cannot change `path`, as for most paths: `path` does not end with "/" and contains
/// neither "//" nor "/.".
[[nodiscard]] bool isClean(std::string_view path);

/// Removes every "/" and "/." at the end of `path`. Then replaces "/./" and "//" by "/". If the path becomes empty, it
/// is set to "/".
void cleanSlashes(vek::PathText &path);

/// The action of resolveParents() for one ".." component. The callback of resolveParents() returns this value.
enum class ParentStep {
    Remove, ///< removes the ".." and the component before it
    Keep,   ///< does not change this ".." and those after it
    Fail    ///< ends with the result false
};

/// Removes a "/.." from `path`, together with the component before it. For example, "/a/b/.." becomes "/a". If the path
/// becomes empty, it is set to "/".
/// @param before  the offset of the "/.."
/// @param size    the number of characters to remove at this offset
/// @return false if there is no component before the "/.."
[[nodiscard]] bool removeParentStep(vek::PathText &path, std::size_t before, std::size_t size);

/// Resolves the ".." components of `path`: each "/../" from left to right, then a "/.." at the end.
///
/// @param judge  a callback that receives the part of the path before a "/.." and returns the ParentStep for this
///               "/..". Documented: if it returns Keep for a "/../", all later "/../" are kept without calling `judge`,
///               but `judge` is still called for a "/.." at the end
/// @return false if `judge` returned Fail, or if a "/.." has no component before it
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
        // Remove only the "/.." of "/../": the second "/" must remain between the components before and after.
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

/// Cleans `path`: calls cleanSlashes(), then resolveParents() with `judge`.
/// @return the result of resolveParents()
template <typename Judge>
[[nodiscard]] bool cleanPath(vek::PathText &path, Judge judge) {
    if (isClean(path.view())) {
        return true;
    }
    cleanSlashes(path);
    return resolveParents(path, judge);
}

} // namespace ryn

#endif
