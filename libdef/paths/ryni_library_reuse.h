#ifndef RYNI_LIBRARY_REUSE_H
#define RYNI_LIBRARY_REUSE_H

#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Counts the directories of libraries that overlap with `path`: that are equal to it, inside it, or contain it.
/// Includes explicit temporary directories of libraries.
/// Takes O(length of `path`) if `matchesOut` is null, otherwise O(number of libraries).
///
/// @param path        an absolute path in which all symbolic links are resolved
/// @param matchesOut  null, or an array of `capacity` pointers. Receives the matching libraries in definition order, at
///                    most `capacity` - 1, and then a null pointer. A library is stored twice if both of its
///                    directories match. Nothing is stored if no library matches
/// @return the number of matching directories
int ryniLibPathReused(rynRegistry *registry, const char *path, rynLibrary **matchesOut, int capacity);

VEK_END_DECLS

#endif
