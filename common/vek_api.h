#ifndef VEK_API_H
#define VEK_API_H

/// What every public header needs: C linkage, the export mark, the sizes callers allocate.

#include <stddef.h>

#ifdef __cplusplus
#define VEK_BEGIN_DECLS extern "C" {
#define VEK_END_DECLS }
#else
#define VEK_BEGIN_DECLS
#define VEK_END_DECLS
#endif

#if defined(__GNUC__)
#define VEK_API __attribute__((visibility("default")))
#else
#define VEK_API
#endif

/// Bytes of a path or line buffer, the NUL included: paths and lines hold at most 4095 characters.
#define VEK_PATH_SIZE 4096

/// Bytes of a buffer for a search result or a converted path, the NUL included.
#define VEK_SEARCH_PATH_SIZE 1024

#endif
