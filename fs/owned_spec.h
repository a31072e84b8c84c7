#ifndef FS_OWNED_SPEC_H
#define FS_OWNED_SPEC_H

#include "fs/vek_fs.h"

#include <memory>

namespace vek {

struct FreeSpec {
    void operator()(vekFSSpec *spec) const { static_cast<void>(vekFSFreeSpec(spec)); }
};

/// Smart pointer that owns a file specifier (vekFSSpec): its destructor calls vekFSFreeSpec().
using OwnedSpec = std::unique_ptr<vekFSSpec, FreeSpec>;

} // namespace vek

#endif
