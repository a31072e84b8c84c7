#ifndef VEK_VERSION_H
#define VEK_VERSION_H

/// The version of these headers, with which a program is compiled. The soname of the shared library contains
/// only the major number. A compiled program therefore runs with every later version that has the same major
/// number.

#include "common/base/vek_api.h"

#define VEK_VERSION "6.2.0"
#define VEK_VERSION_MAJOR 6
#define VEK_VERSION_MINOR 2
#define VEK_VERSION_PATCH 0

#endif
