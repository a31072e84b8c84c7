#ifndef VEK_TCL_H
#define VEK_TCL_H

/// Internal to the Tcl package: the call of one command, conversion of text, results and errors.

#include <stdbool.h>
#include <stddef.h>
#include <tcl.h>
#include <vek/ryn.h>

// Tcl 9 counts in Tcl_Size, which later versions of 8.6 define, too.
#ifndef TCL_SIZE_MAX
#ifndef Tcl_Size
typedef int Tcl_Size;
#endif
#endif

/// The most arguments that one command converts: a registry's library, cell, view and file, and an option.
enum { MAX_TEXTS = 8 };

/// One library definition file that a script has opened.
typedef struct Registry {
    rynHandle handle;
    Tcl_Obj *diagnostics; ///< a list of reports
} Registry;

typedef struct Call Call;

/// One subcommand. `run` gets the arguments after the name of the command, and their number.
typedef struct Command {
    const char *name;
    const char *usage;
    int fewest; ///< number of arguments
    int most;   ///< -1 if there are options
    int (*run)(Call *call, int count, Tcl_Obj *const *arguments);
} Command;

/// One command at work. It holds the lock that lets one command of the process into the library, so it runs no
/// script.
struct Call {
    Tcl_Interp *interp;
    const Command *command;
    Tcl_Obj *const *words;        ///< the command as the script has it
    Tcl_HashTable *registries;    ///< of this interpreter: name to Registry
    Tcl_Obj *reports;             ///< a list of what the library has reported, each a dict
    bool stopAtDiagnostic;        ///< whether the first diagnostic of a vek.lib ends the reading
    Tcl_Obj *reportsVariable;     ///< receives `reports` after the command, or null
    Tcl_DString texts[MAX_TEXTS]; ///< arguments in the encoding of the system
    int textCount;
};

extern const Command vekTclTagCommands[];
extern const Command vekTclRegistryCommands[];
extern const Command vekTclDesignCommands[];
extern const Command vekTclSearchCommands[];

// ---- text (vek_tcl_text.c)

/// @return the characters that `bytes`, a name or value in the encoding of the system, stand for. A byte that is
///         no character becomes one of U+DC80 to U+DCFF. Null gives the empty string
Tcl_Obj *vekTclCharacters(const char *bytes);

/// Appends the bytes that `text` stands for to the initialized `bytes`: the reverse of vekTclCharacters().
/// @return TCL_OK, or TCL_ERROR with the reason as the result of `interp`
int vekTclBytes(Tcl_Interp *interp, Tcl_Obj *text, Tcl_DString *bytes);

/// Adds a copy of `text` to a string list, with the counters of vekFastAddToStrlist(). Without memory it ends the
/// process, as Tcl does.
char **vekTclAddText(char **list, const char *text, int *count, int *size);

/// @return the strings of a string list, which it frees
Tcl_Obj *vekTclTakeList(char **list);

/// Appends `element`, which it takes over, to `list`.
void vekTclAppend(Tcl_Obj *list, Tcl_Obj *element);

/// Puts `value`, which it takes over, in `dict`.
void vekTclPut(Tcl_Obj *dict, const char *key, Tcl_Obj *value);

// ---- one call (vek_tcl_call.c)

/// Runs a Command, which is the data.
int vekTclRun(void *data, Tcl_Interp *interp, int count, Tcl_Obj *const *words);

/// Initializes the library under the name of the program that runs Tcl, from which the installation root is looked
/// for. Changes nothing if the program has done so.
void vekTclInitializeLibrary(Tcl_Interp *interp);

/// Deletes the registries of an interpreter, which are the data.
void vekTclDeleteInterpreter(void *data, Tcl_Interp *interp);

/// @return an argument in the encoding of the system, valid until the end of the call; null with an error as the
///         result of the interpreter
const char *vekTclText(Call *call, Tcl_Obj *argument);

/// The same for the optional argument at `index`: empty if there are fewer.
const char *vekTclOptionalText(Call *call, int count, Tcl_Obj *const *arguments, int index);

/// An option at the front of the arguments. A table of them ends with a name that is null.
typedef struct Option {
    const char *name;
    enum { OPTION_FLAG, OPTION_BOOLEAN, OPTION_CHOICE, OPTION_VALUE } kind;
    void *value; ///< a bool, a bool, the int index of a choice, a Tcl_Obj *; unchanged if not given
    const char *const *choices; ///< of OPTION_CHOICE: static, and ends with null
} Option;

/// Takes the options from the front of `*arguments`, of which at least `fewest` are left.
int vekTclOptions(Call *call, const Option *options, int fewest, int *count, Tcl_Obj *const **arguments);

/// Reports a wrong number of arguments and returns TCL_ERROR.
int vekTclWrongCount(Call *call);

/// The handlers of the library layer, for the time of a call and after it.
int vekTclOnWarning(int code, const char *object, const char *file, int line);
int vekTclOnError(int code, const char *text, const char *sameText);

/// Makes everything be read again: tag files, resolved links, setup.loc.
/// @return a code of the search-file layer
int vekTclForget(void);

// Each of these stores an error as the result of the interpreter and returns TCL_ERROR.

/// `{VEK layer code}`. The message is the text of the code and, if it is not empty, `context`.
int vekTclFailCode(Call *call, const char *layer, int code, const char *text, const char *context);

/// A code of the library layer. If the library has reported it, the context is what it reported.
int vekTclFailRyn(Call *call, int code, const char *context);

/// A code of the search-file layer.
int vekTclFailPux(Call *call, int code, const char *context);

/// The first report.
int vekTclFailReport(Call *call);

/// `{VEK VALUE kind}`.
int vekTclFailValue(Tcl_Interp *interp, const char *kind, Tcl_Obj *message);

/// @return the number of reports
int vekTclReportCount(Call *call);

void vekTclClearReports(Call *call);

// ---- registries (vek_tcl_registry.c)

/// @return the registry that `name` names; null with an error as the result of the interpreter
Registry *vekTclRegistry(Call *call, Tcl_Obj *name);

/// Releases every registry in the table.
void vekTclReleaseRegistries(Tcl_HashTable *registries);

#endif
