#ifndef VEKINFO_ARGS_H
#define VEKINFO_ARGS_H

/// The command line of `vekinfo`: one action a run.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Results of tovProcessVekinfoArgs() beside those of the actions.
enum { VEKINFO_OK = 0, VEKINFO_EDIT_FAILED = 3, VEKINFO_USAGE_ERROR = 9 };

/// 1 when `-verbose` or `-v` was given.
extern unsigned char verboseFlag;
/// 1 when `-path` was given, and its operand: the argument itself.
extern unsigned char gotTestPath;
extern const char *testPath;

/// Prints the usage text on standard output.
void vekinfoCmdUsage(void);

/// Takes the arguments from `args` on up to the next one that begins with "-" or the end of the vector.
///
/// @param names  receives them, not copied, and a null behind; holds as many pointers as the vector
/// @param count  receives their number
void getLookupEntrynames(char **args, char **names, int *count);

/// Scans the argument vector and runs the action it selects.
///
/// @param argv  the program's argument vector, argument 0 included
/// @return 0 on success, VEKINFO_USAGE_ERROR, VEKINFO_EDIT_FAILED, or the status of the show action
int tovProcessVekinfoArgs(char **argv);

VEK_END_DECLS

#endif
