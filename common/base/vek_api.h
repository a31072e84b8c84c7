#ifndef VEK_API_H
#define VEK_API_H

/// Definitions that every public header needs: C linkage, exported symbols, and sizes of buffers.

#include <stddef.h>

#ifdef __cplusplus
#define VEK_BEGIN_DECLS extern "C" {
#define VEK_END_DECLS }
#else
#define VEK_BEGIN_DECLS
#define VEK_END_DECLS
#endif

// VEK_API exports a function from the shared library. VEK_EXTENSION precedes a declaration that is not valid
// C99, so that the compiler does not warn about it with the option -Wpedantic.
#if defined(__GNUC__)
#define VEK_API __attribute__((visibility("default")))
#define VEK_EXTENSION __extension__
#else
#define VEK_API
#define VEK_EXTENSION
#endif

/// Size in bytes of a buffer for a path or a line of text, including the NUL. Paths and lines therefore have at
/// most 4095 characters.
#define VEK_PATH_SIZE 4096

/// Size in bytes, including the NUL, of a buffer for the result of a function in pux.h that searches for a file
/// or converts a path.
#define VEK_SEARCH_PATH_SIZE 1024

#endif
