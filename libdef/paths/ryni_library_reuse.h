#ifndef RYNI_LIBRARY_REUSE_H
#define RYNI_LIBRARY_REUSE_H

#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Counts the library directories and explicit temporary directories that are equal to `path`, below it, or above it.
/// Takes O(length of `path`) if `matchesOut` is null, otherwise O(number of libraries).
///
/// @param path        an nsl path
/// @param matchesOut  null, or an array of `capacity` pointers. Receives the matching libraries in definition order, at
///                    most capacity - 1, and a null pointer after the last one. A library of which both directories
///                    match is stored twice. Without a match, nothing is written
/// @return the number of matching directories
int ryniLibPathReused(rynRegistry *registry, const char *path, rynLibrary **matchesOut, int capacity);

VEK_END_DECLS

#endif
