#ifndef VEK_H
#define VEK_H

/// Includes every header of the common layer.

#include "common/vek_api.h"
#include "common/vek_error.h"
#include "common/vek_file.h"
#include "common/vek_hash.h"
#include "common/vek_init.h"
#include "common/vek_install_root.h"
#include "common/vek_path.h"
#include "common/vek_regexp.h"
#include "common/vek_string_hash.h"
#include "common/vek_strlist.h"
#include "common/vek_tmp.h"
#include "common/vek_version.h"

#endif
