#ifndef VEKINFO_ARGS_H
#define VEKINFO_ARGS_H

/// The command line of `vekinfo`. One run performs one action.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Results of tovProcessVekinfoArgs(), besides those of the actions.
enum { VEKINFO_OK = 0, VEKINFO_EDIT_FAILED = 3, VEKINFO_USAGE_ERROR = 9 };

/// 1 if `-verbose` or `-v` was given.
extern unsigned char verboseFlag;
/// 1 if `-path` was given, and its operand (not a copy).
extern unsigned char gotTestPath;
extern const char *testPath;

/// Prints the usage text on standard output.
void vekinfoCmdUsage(void);

/// Stores the arguments from `args` up to the next one that begins with "-", or the end of the vector, in `names`.
///
/// @param names  receives the arguments (not copies) and a final null; has room for as many pointers as the vector
/// @param count  receives their number
void getLookupEntrynames(char **args, char **names, int *count);

/// Reads the argument vector and runs the action that it selects.
///
/// @param argv  the program's argument vector, argument 0 included
/// @return 0 on success, VEKINFO_USAGE_ERROR, VEKINFO_EDIT_FAILED, or the status of the show action
int tovProcessVekinfoArgs(char **argv);

VEK_END_DECLS

#endif
