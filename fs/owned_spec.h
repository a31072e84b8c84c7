#ifndef FS_OWNED_SPEC_H
#define FS_OWNED_SPEC_H

#include "fs/vek_fs.h"

#include <memory>

namespace vek {

struct FreeSpec {
    void operator()(vekFSSpec *spec) const { static_cast<void>(vekFSFreeSpec(spec)); }
};

/// Owns a specifier, and frees it with vekFSFreeSpec() at the end of its scope.
using OwnedSpec = std::unique_ptr<vekFSSpec, FreeSpec>;

} // namespace vek

#endif
