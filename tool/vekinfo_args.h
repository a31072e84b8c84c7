#ifndef VEKINFO_ARGS_H
#define VEKINFO_ARGS_H

/// The command line of `vekinfo`. One run performs one action.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Results of tovProcessVekinfoArgs(), in addition to TOV_... codes.
enum { VEKINFO_OK = 0, VEKINFO_EDIT_FAILED = 3, VEKINFO_USAGE_ERROR = 9 };

/// 1 if `-verbose` or `-v` was given.
extern unsigned char verboseFlag;
/// 1 if `-path` was given.
extern unsigned char gotTestPath;
/// The operand of `-path`: a pointer to the argument, not a copy. Null if `-path` was not given.
extern const char *testPath;

/// Prints the usage text on standard output.
void vekinfoCmdUsage(void);

/// Stores in `names` the arguments of `args` before the first one that begins with "-".
///
/// @param args   a null-terminated argument vector
/// @param names  receives pointers to the arguments (not copies) and, after at least one, a final null; must have room
///               for as many pointers as `args`, including the null
/// @param count  receives the number of arguments
void getLookupEntrynames(char **args, char **names, int *count);

/// Reads the argument vector and runs the action that it selects.
///
/// @param argv  the program's argument vector, including argument 0
/// @return VEKINFO_OK; VEKINFO_USAGE_ERROR; VEKINFO_EDIT_FAILED if `-addentry` or `-clearentry` failed; the TOV_...
///         code of a failed `-show`; or TOV_MEMORY_ERROR, which is also reported
int tovProcessVekinfoArgs(char **argv);

VEK_END_DECLS

#endif
