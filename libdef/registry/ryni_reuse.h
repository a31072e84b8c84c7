#ifndef RYNI_REUSE_H
#define RYNI_REUSE_H

/// Counts directories by path, so that reuse is found without looking at every library. A directory counts once
/// for every time it was added.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

typedef struct rynDirectoryIndex rynDirectoryIndex;

/// @return an empty index; null when memory is exhausted
rynDirectoryIndex *ryniNewDirectoryIndex(void);
/// Null is allowed.
void ryniFreeDirectoryIndex(rynDirectoryIndex *index);

/// @return 0 when memory is exhausted; the counts are then as they were
int ryniAddDirectory(rynDirectoryIndex *index, const char *path);
/// Takes back one ryniAddDirectory() of `path`.
void ryniDropDirectory(rynDirectoryIndex *index, const char *path);

/// @return how many directories are `path`, hold it, or lie in it
int ryniCountDirectories(rynDirectoryIndex *index, const char *path);

VEK_END_DECLS

#endif
