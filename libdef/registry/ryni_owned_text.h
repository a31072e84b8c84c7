#ifndef RYNI_OWNED_TEXT_H
#define RYNI_OWNED_TEXT_H

#include "libdef/ryn.h"

VEK_BEGIN_DECLS

/// Stores a copy of `text` in the owned string `*field`. The memory is reused if the old string is not shorter.
///
/// @param field  points to null or a string of malloc()
/// @param text   may lie in `*field`
/// @return RYN_OK, or RYN_MEMORY_ERROR. Documented: `*field` is then null
int ryniStrcpy(char **field, const char *text);

VEK_END_DECLS

#endif
