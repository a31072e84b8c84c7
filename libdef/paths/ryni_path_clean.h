#ifndef RYNI_PATH_CLEAN_H
#define RYNI_PATH_CLEAN_H

/// Textual clean-up of paths: "/", "." and ".." components.

#include "common/text/ascii.h"
#include "common/text/fixed_text.h"

#include <string_view>

namespace ryn {

/// Removes every "/" and "/." at the end of a path, then replaces "/./" and "//" by "/". An empty result becomes "/".
void cleanSlashes(vek::PathText &path);

/// What resolveParents() does with one "..".
enum class ParentStep {
    Remove, ///< removes it and the component before it
    Keep,   ///< leaves this one and all after it
    Fail    ///< returns false
};

/// Removes the `size` characters after offset `before`, and the last component before them. An empty result becomes
/// "/".
/// @return false if there is no component before them
[[nodiscard]] bool removeParentStep(vek::PathText &path, std::size_t before, std::size_t size);

/// Resolves every "/../", from the first on, and then a "/.." at the end.
///
/// @param judge  called with the part before the "/.."; returns a ParentStep. Documented: Keep for a "/../" does not
///               prevent the test of the "/.." at the end
/// @return false if a step failed
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
        // The second "/" stays: it separates what is left.
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
