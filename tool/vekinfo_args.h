#ifndef VEKINFO_ARGS_H
#define VEKINFO_ARGS_H

/// Command line of the tool `vekinfo`: parses the options and runs the action that they select, such as `-lookup`. One
/// run of the tool performs one action.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Results of tovProcessVekinfoArgs(), which can also return TOV_... codes.
enum { VEKINFO_OK = 0, VEKINFO_EDIT_FAILED = 3, VEKINFO_USAGE_ERROR = 9 };

/// 1 if the command line contains `-verbose` or `-v`, otherwise 0.
extern unsigned char verboseFlag;
/// 1 if the command line contains `-path`, otherwise 0.
extern unsigned char gotTestPath;
/// The path after the option `-path`: a pointer into the argument vector. Null if the option is not given.
extern const char *testPath;

/// Prints the usage text on standard output.
void vekinfoCmdUsage(void);

/// Copies the pointers of `args` to `names`, up to the first argument that begins with "-" or the end of `args`.
///
/// @param args   a null-terminated argument vector
/// @param names  receives the pointers and, if there is at least one, a final null; must have room for as many pointers
///               as `args`, including the null
/// @param count  receives the number of copied pointers, without the final null
void getLookupEntrynames(char **args, char **names, int *count);

/// Parses the argument vector and runs the action that it selects.
///
/// @param argv  the program's argument vector, including argument 0
/// @return VEKINFO_OK; VEKINFO_USAGE_ERROR; VEKINFO_EDIT_FAILED if `-addentry` or `-clearentry` failed; the TOV_...
///         code of a failed `-show`; or TOV_MEMORY_ERROR, which is also reported
int tovProcessVekinfoArgs(char **argv);

VEK_END_DECLS

#endif
