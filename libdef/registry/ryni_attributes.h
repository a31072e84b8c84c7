#ifndef RYNI_ATTRIBUTES_H
#define RYNI_ATTRIBUTES_H

/// The attributes of a library: names and values that ASSIGN statements of a library definition file set. These
/// functions find, set, remove and free attributes.

#include "libdef/registry/ryni_records.h"

#include <string_view>

namespace ryn {

/// Allocates an attribute with copies of `name` and `value`. Does not insert the attribute into a list.
/// @param file, line  the location of the ASSIGN statement
/// @return the attribute; null if memory is exhausted
rynAttribute *newAttribute(std::string_view name, std::string_view value, rynIncludedFile *file, int line);
/// Frees the memory of `attribute`. Does not remove it from a list or hash table, so the caller must do that.
void freeAttribute(rynAttribute *attribute);

/// Finds the attribute `name` of `library`.
/// @param name  must be in upper case, because all names are stored in upper case
/// @return the attribute; null if `library` has no attribute with this name
rynAttribute *findAttribute(const rynLibrary &library, std::string_view name);

/// Sets the attribute `name` of `library` to `value`. If the attribute does not exist, creates it and inserts it at the
/// front of the list of attributes.
/// @param file, line  the location of the ASSIGN statement, which is stored with the value
/// @return false if memory is exhausted; nothing is changed then
[[nodiscard]] bool setAttribute(rynLibrary &library, std::string_view name, std::string_view value,
                                rynIncludedFile *file, int line);

/// Removes `attribute` from the list and the hash table of `library`, and frees it. It must be an attribute of
/// `library`.
void removeAttribute(rynLibrary &library, rynAttribute *attribute);

/// Frees all attributes of `library`, and the hash table that contains them.
void freeAttributes(rynLibrary &library);

} // namespace ryn

#endif
