#ifndef RYNI_LIBRARY_REUSE_H
#define RYNI_LIBRARY_REUSE_H

#include "libdef/registry/ryni_registry.h"

VEK_BEGIN_DECLS

/// Counts the library directories and explicit temporary directories that are `path`, lie in it, or hold it. O(length
/// of `path`) without `matchesOut`, otherwise O(number of libraries).
///
/// @param path        an nsl path
/// @param matchesOut  null, or an array of `capacity` pointers; receives the first capacity - 1 libraries in definition
///                    order, one with two matching directories twice, and a null after each
int ryniLibPathReused(rynRegistry *registry, const char *path, rynLibrary **matchesOut, int capacity);

VEK_END_DECLS

#endif
