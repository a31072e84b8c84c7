#ifndef RYNI_ATTRIBUTES_H
#define RYNI_ATTRIBUTES_H

/// Finds, sets, removes and frees the attributes of a library, which ASSIGN statements set.

#include "libdef/registry/ryni_records.h"

#include <string_view>

namespace ryn {

/// Allocates an attribute that is in no list yet, with copies of `name` and `value`. `file` and `line` are the
/// location of the ASSIGN.
/// @return null if memory is exhausted
rynAttribute *newAttribute(std::string_view name, std::string_view value, rynIncludedFile *file, int line);
/// Frees the record of an attribute, but removes it from no list and no index.
void freeAttribute(rynAttribute *attribute);

/// @param name  in upper case
/// @return the attribute `name` of `library`, or null
rynAttribute *findAttribute(const rynLibrary &library, std::string_view name);

/// Sets the value and the location (`file`, `line`) of the attribute `name`. A new attribute becomes the first of the
/// list.
/// @return false if memory is exhausted; nothing is changed then
[[nodiscard]] bool setAttribute(rynLibrary &library, std::string_view name, std::string_view value,
                                rynIncludedFile *file, int line);

/// Removes `attribute` from `library`, whose attribute it must be, and frees it.
void removeAttribute(rynLibrary &library, rynAttribute *attribute);

/// Frees all attributes of `library` and their hash table.
void freeAttributes(rynLibrary &library);

} // namespace ryn

#endif
