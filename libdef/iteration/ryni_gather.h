#ifndef RYNI_GATHER_H
#define RYNI_GATHER_H

#include "common/platform/walk_guard.h"
#include "libdef/iteration/ryni_iterate.h"

/// ryniGatherNames() for RYNI_CONTEXT_ALL_VIEW_FILES, with another limit of ways through links. The limit holds for
/// each source.
int ryniGatherDeepNames(rynRegistry *registry, const ryniSources &sources, const vek::LinkLimit &limit,
                        rynElement **list);

#endif
