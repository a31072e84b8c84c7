#ifndef VEK_API_H
#define VEK_API_H

/// Declarations that every public header needs: C linkage, the export attribute, buffer sizes.

#include <stddef.h>

#ifdef __cplusplus
#define VEK_BEGIN_DECLS extern "C" {
#define VEK_END_DECLS }
#else
#define VEK_BEGIN_DECLS
#define VEK_END_DECLS
#endif

// VEK_EXTENSION precedes a declaration that is not valid C99, so that -Wpedantic does not report it.
#if defined(__GNUC__)
#define VEK_API __attribute__((visibility("default")))
#define VEK_EXTENSION __extension__
#else
#define VEK_API
#define VEK_EXTENSION
#endif

/// Size in bytes of a buffer for a path or a line, including the NUL. Paths and lines have at most 4095
/// characters.
#define VEK_PATH_SIZE 4096

/// Size in bytes of a buffer for a search result or a converted path, including the NUL.
#define VEK_SEARCH_PATH_SIZE 1024

#endif
