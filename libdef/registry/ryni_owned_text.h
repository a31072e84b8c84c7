#ifndef RYNI_OWNED_TEXT_H
#define RYNI_OWNED_TEXT_H

/// Replaces owned strings: fields of records that are null or point to a string allocated with malloc().

#include "libdef/ryn.h"

#include <string_view>

namespace ryn {

/// Replaces the owned string in `field` by a copy of `text`. Reuses its memory if the old string is at least as long.
///
/// @param text  may be a part of the old string
/// @return false if memory is exhausted; the old string is unchanged then
[[nodiscard]] bool replaceText(char *&field, std::string_view text);

} // namespace ryn

VEK_BEGIN_DECLS

/// Replaces the owned string in `*field` by a copy of `text`, like ryn::replaceText(), but frees the old string also
/// after a failure.
/// @return RYN_OK or RYN_MEMORY_ERROR. Documented: after RYN_MEMORY_ERROR `*field` is null
int ryniStrcpy(char **field, const char *text);

VEK_END_DECLS

#endif
