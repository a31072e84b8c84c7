/// The Tcl package `vek`: the subcommands of the ensemble `vek`, as commands of the namespace ::vek.

#include "vek_tcl.h"

#include <vek/vek_version.h>

/// The only name that the shared object exports.
extern __attribute__((visibility("default"))) int Vek_Init(Tcl_Interp *interp);

static void createCommands(Tcl_Interp *interp, Tcl_Namespace *nameSpace, const Command *commands) {
    for (const Command *command = commands; command->name != NULL; ++command) {
        Tcl_Obj *name = Tcl_ObjPrintf("::vek::%s", command->name);
        Tcl_IncrRefCount(name);
        Tcl_CreateObjCommand(interp, Tcl_GetString(name), vekTclRun, (void *)command, NULL);
        Tcl_DecrRefCount(name);
        Tcl_Export(interp, nameSpace, command->name, 0);
    }
}

static Tcl_HashTable *createRegistries(void) {
    Tcl_HashTable *registries = (Tcl_HashTable *)ckalloc(sizeof *registries);
    Tcl_InitHashTable(registries, TCL_STRING_KEYS);
    return registries;
}

int Vek_Init(Tcl_Interp *interp) {
    if (Tcl_InitStubs(interp, TCL_VERSION, 0) == NULL) {
        return TCL_ERROR;
    }
    Tcl_Namespace *nameSpace = Tcl_FindNamespace(interp, "::vek", NULL, TCL_GLOBAL_ONLY);
    if (nameSpace == NULL) {
        nameSpace = Tcl_CreateNamespace(interp, "::vek", NULL, NULL);
    }
    if (nameSpace == NULL) {
        return TCL_ERROR;
    }
    if (Tcl_GetAssocData(interp, "vek", NULL) == NULL) {
        Tcl_SetAssocData(interp, "vek", vekTclDeleteInterpreter, createRegistries());
    }
    vekTclInitializeLibrary(interp);
    createCommands(interp, nameSpace, vekTclTagCommands);
    createCommands(interp, nameSpace, vekTclRegistryCommands);
    createCommands(interp, nameSpace, vekTclDesignCommands);
    createCommands(interp, nameSpace, vekTclSearchCommands);
    Tcl_CreateEnsemble(interp, "::vek", nameSpace, TCL_ENSEMBLE_PREFIX);
    return Tcl_PkgProvide(interp, "vek", VEK_VERSION);
}
