#ifndef VEK_H
#define VEK_H

/// Includes every header of the common layer.

#include "common/base/vek_api.h"
#include "common/base/vek_error.h"
#include "common/base/vek_version.h"
#include "common/containers/vek_hash.h"
#include "common/containers/vek_string_hash.h"
#include "common/expressions/vek_regexp.h"
#include "common/platform/vek_file.h"
#include "common/platform/vek_init.h"
#include "common/platform/vek_install_root.h"
#include "common/platform/vek_path.h"
#include "common/platform/vek_tmp.h"
#include "common/text/vek_strlist.h"

#endif
