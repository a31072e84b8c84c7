#ifndef VEK_VERSION_H
#define VEK_VERSION_H

/// The version of the headers that a program is compiled with. The shared library has the major number in its
/// soname: a program runs with any later version that has the same major number.

#include "common/base/vek_api.h"

#define VEK_VERSION "6.2.0"
#define VEK_VERSION_MAJOR 6
#define VEK_VERSION_MINOR 2
#define VEK_VERSION_PATCH 0

#endif
