#ifndef RYNI_PATH_CLEAN_H
#define RYNI_PATH_CLEAN_H

#include "common/text/ascii.h"
#include "common/text/fixed_text.h"

#include <string_view>

/// Copies `text`, cut to 4095 characters, into `out` of VEK_PATH_SIZE bytes. A null `out` is left out.
void ryniStoreCut(char *out, std::string_view text);

/// Takes trailing "/" and "/." off, then "/./" and "//" out of a path.
void ryniCleanSlashes(vek::PathText &path);

/// What becomes of one ".." in a path.
enum class ParentStep {
    Remove, ///< the component before it goes, and it too
    Keep,   ///< it stays, with all that follow
    Fail    ///< there is nothing before it
};

/// Takes "/../" and then a trailing "/.." out of a path, each with the component before it.
///
/// @param judge  called with the part before each; ParentStep::Keep ends the first of the two steps, or leaves
///               the trailing one
/// @return false when ParentStep::Fail was met
template <typename Judge>
bool ryniResolveParents(vek::PathText &path, Judge judge);

/// Removes the `size` characters of text behind `before`, with the last component of what is before them. What is
/// left empty becomes "/".
/// @return false when nothing is before them
bool ryniRemoveParentStep(vek::PathText &path, std::size_t before, std::size_t size);

template <typename Judge>
bool ryniResolveParents(vek::PathText &path, Judge judge) {
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
        // The "/" behind the ".." stays.
        if (step == ParentStep::Fail || !ryniRemoveParentStep(path, at, kInside.size() - 1)) {
            return false;
        }
    }
    if (!vek::endsWith(path.view(), kTrailing)) {
        return true;
    }
    const std::size_t at = path.size() - kTrailing.size();
    switch (judge(std::string_view(path.c_str(), at))) {
    case ParentStep::Keep:
        return true;
    case ParentStep::Fail:
        return false;
    case ParentStep::Remove:
        break;
    }
    return ryniRemoveParentStep(path, at, kTrailing.size());
}

#endif
