#ifndef RYNI_OWNED_TEXT_H
#define RYNI_OWNED_TEXT_H

/// Owned strings: fields of records that are null or a string of malloc().

#include "libdef/ryn.h"

#include <string_view>

namespace ryn {

/// Replaces an owned string by a copy of `text`. The memory is reused if the old string is not shorter.
///
/// @param text  may lie in `field`
/// @return false, and the string is unchanged, if memory is exhausted
[[nodiscard]] bool replaceText(char *&field, std::string_view text);

} // namespace ryn

VEK_BEGIN_DECLS

/// ryn::replaceText() with the documented result.
/// @return RYN_OK, or RYN_MEMORY_ERROR. Documented: `*field` is then null
int ryniStrcpy(char **field, const char *text);

VEK_END_DECLS

#endif
