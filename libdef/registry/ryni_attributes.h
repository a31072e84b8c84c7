#ifndef RYNI_ATTRIBUTES_H
#define RYNI_ATTRIBUTES_H

/// The attributes of a library.

#include "libdef/registry/ryni_records.h"

#include <string_view>

namespace ryn {

/// @return an attribute in no list; null if memory is exhausted
rynAttribute *newAttribute(std::string_view name, std::string_view value, rynIncludedFile *file, int line);
void freeAttribute(rynAttribute *attribute);

/// @param name  in upper case
/// @return the attribute of that name, or null
rynAttribute *findAttribute(const rynLibrary &library, std::string_view name);

/// Sets the value and location of the attribute `name`. A new attribute becomes the first of the list.
/// @return false, and nothing is changed, if memory is exhausted
[[nodiscard]] bool setAttribute(rynLibrary &library, std::string_view name, std::string_view value,
                                rynIncludedFile *file, int line);

/// Removes and frees `attribute`, which is one of the library's.
void removeAttribute(rynLibrary &library, rynAttribute *attribute);

/// Frees all attributes and their index.
void freeAttributes(rynLibrary &library);

} // namespace ryn

#endif
