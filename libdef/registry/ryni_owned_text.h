#ifndef RYNI_OWNED_TEXT_H
#define RYNI_OWNED_TEXT_H

/// Functions that replace a string that a record owns: a `char *` field that is null or points to memory from malloc().

#include "libdef/ryn.h"

#include <string_view>

namespace ryn {

/// Replaces the string that `field` points to by a copy of `text`. Overwrites the old string if it is at least as long
/// as `text`. Otherwise allocates a new string and frees the old one.
///
/// @param text  may be a part of the old string
/// @return false if memory is exhausted; the old string is unchanged then
[[nodiscard]] bool replaceText(char *&field, std::string_view text);

} // namespace ryn

VEK_BEGIN_DECLS

/// Replaces the string `*field` by a copy of `text`, like ryn::replaceText(). Documented: if memory is exhausted, frees
/// the old string and sets `*field` to null.
/// @return RYN_OK or RYN_MEMORY_ERROR
int ryniStrcpy(char **field, const char *text);

VEK_END_DECLS

#endif
