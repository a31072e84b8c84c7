/// Commands for registries, the content of library definition files. A script names a registry by a word, "vek1", that is
/// valid in the interpreter that opened it, until `vek close` or the end of the interpreter.

#include "vek_tcl.h"

#include <stdio.h>
#include <string.h>
#include <vek/pux.h>
#include <vek/vek_strlist.h>

// ---- names of registries

Registry *vekTclRegistry(Call *call, Tcl_Obj *name) {
    const Tcl_HashEntry *entry = Tcl_FindHashEntry(call->registries, Tcl_GetString(name));
    if (entry == NULL) {
        Tcl_SetErrorCode(call->interp, "VEK", "REGISTRY", Tcl_GetString(name), (char *)NULL);
        Tcl_SetObjResult(call->interp, Tcl_ObjPrintf("\"%s\" is not an open registry", Tcl_GetString(name)));
        return NULL;
    }
    return Tcl_GetHashValue(entry);
}

/// Takes over the registry. Names are not used twice, so that a registry that was closed is not mistaken for a new
/// one, and one of another interpreter not for one of this.
static Tcl_Obj *addRegistry(Call *call, rynHandle handle) {
    static unsigned long lastNumber; // under the lock of the library
    Tcl_Obj *name = Tcl_ObjPrintf("vek%lu", ++lastNumber);
    Registry *registry = (Registry *)ckalloc(sizeof *registry);
    *registry = (Registry){handle, call->reports};
    Tcl_IncrRefCount(registry->diagnostics);
    int isNew = 0;
    Tcl_SetHashValue(Tcl_CreateHashEntry(call->registries, Tcl_GetString(name), &isNew), registry);
    return name;
}

static void releaseRegistry(Registry *registry) {
    rynReleaseHandle(registry->handle);
    Tcl_DecrRefCount(registry->diagnostics);
    ckfree((char *)registry);
}

void vekTclReleaseRegistries(Tcl_HashTable *registries) {
    Tcl_HashSearch search;
    for (Tcl_HashEntry *entry = Tcl_FirstHashEntry(registries, &search); entry != NULL;
         entry = Tcl_NextHashEntry(&search)) {
        releaseRegistry(Tcl_GetHashValue(entry));
    }
}

static int closeCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    (void)count;
    Registry *registry = vekTclRegistry(call, arguments[0]);
    if (registry == NULL) {
        return TCL_ERROR;
    }
    Tcl_DeleteHashEntry(Tcl_FindHashEntry(call->registries, Tcl_GetString(arguments[0])));
    releaseRegistry(registry);
    return TCL_OK;
}

static int registriesCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    (void)count;
    (void)arguments;
    Tcl_Obj *names = Tcl_NewListObj(0, NULL);
    Tcl_HashSearch search;
    for (Tcl_HashEntry *entry = Tcl_FirstHashEntry(call->registries, &search); entry != NULL;
         entry = Tcl_NextHashEntry(&search)) {
        vekTclAppend(names, Tcl_NewStringObj(Tcl_GetHashKey(call->registries, entry), -1));
    }
    Tcl_SetObjResult(call->interp, names);
    return TCL_OK;
}

// ---- opening

/// What `vek open` is asked for.
typedef struct Opening {
    bool checksExistence;
    bool isStrict;
    bool implicitOnly;
    Tcl_Obj *implicitDirectory;
    const char *file; ///< null for the one on the search list
} Opening;

/// @return the first vek.lib along the search list, which the caller frees; null with an error
static char **findDefinitionFile(Call *call, int listCode) {
    char **files = NULL;
    const int code = listCode != PUX_OK ? listCode : puxFullSearch(NULL, "vek.lib", "veksetup", &files);
    if (code == PUX_FILE_NOT_FOUND) {
        vekTclFailRyn(call, RYN_VEKLIB_NOT_FOUND, NULL);
    } else if (code != PUX_OK) {
        vekTclFailPux(call, code, "vek.lib");
    }
    return files;
}

/// Closes what was not opened as asked for.
static int failOpening(Call *call, rynHandle handle, int code, const char *context) {
    if (handle != NULL) {
        rynReleaseHandle(handle);
    }
    return vekTclFailRyn(call, code, context);
}

/// A registry that is created becomes the default handle of the process, which may be another user's: that is put
/// back.
static int createRegistry(const Opening *opening, const char *file, rynHandle *handle) {
    while (rynStatCacheCtl(0) > 0) {
        // Each call counts down; at 0 the stat cache is empty. Creation sets the counter from the environment.
    }
    rynHandle *defaultHandle = rynGetCurHandle();
    rynHandle previous = defaultHandle == NULL ? NULL : *defaultHandle;
    const rynInitOptions options = {.errorHandler = vekTclOnError};
    const unsigned flags = (unsigned)RYN_FLAG_OWN_EXISTENCE_CHECK |
                           (opening->checksExistence ? 0U : (unsigned)RYN_FLAG_EXISTENCE_CHECK_OFF);
    const int code = rynInitEx(file, flags, vekTclOnWarning, vekTclOnError, &options, sizeof options, handle);
    defaultHandle = rynGetCurHandle();
    if (defaultHandle != NULL) {
        *defaultHandle = previous;
    }
    return code;
}

static int openFile(Call *call, const Opening *opening, const char *file, const char *implicitDirectory) {
    call->stopAtDiagnostic = opening->isStrict;
    rynHandle handle = NULL;
    const int code = createRegistry(opening, file, &handle);
    if (code != RYN_OK) {
        return failOpening(call, NULL, code, file);
    }
    // If another user of the library relies on its default handler, the status of a handler is not the result.
    if (opening->isStrict && vekTclReportCount(call) > 0) {
        rynReleaseHandle(handle);
        return vekTclFailReport(call);
    }
    if (implicitDirectory != NULL) {
        const unsigned flags = opening->implicitOnly ? RYN_IMPLICIT_ONLY : RYN_IMPLICIT_FIRST;
        const int implicitCode = rynSetImplicitTmp(handle, implicitDirectory, flags, NULL);
        if (implicitCode != RYN_OK) {
            return failOpening(call, handle, implicitCode, implicitDirectory);
        }
    }
    Tcl_SetObjResult(call->interp, addRegistry(call, handle));
    return TCL_OK;
}

static int openCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    Opening opening = {.checksExistence = true};
    const Option options[] = {{"-existence", OPTION_BOOLEAN, &opening.checksExistence, NULL},
                              {"-implicitonly", OPTION_BOOLEAN, &opening.implicitOnly, NULL},
                              {"-implicittmp", OPTION_VALUE, &opening.implicitDirectory, NULL},
                              {"-strict", OPTION_BOOLEAN, &opening.isStrict, NULL},
                              {0}};
    if (vekTclOptions(call, options, 0, &count, &arguments) != TCL_OK) {
        return TCL_ERROR;
    }
    if (count > 1) {
        return vekTclWrongCount(call);
    }
    const char *implicitDirectory = NULL;
    if (opening.implicitDirectory != NULL) {
        implicitDirectory = vekTclText(call, opening.implicitDirectory);
        if (implicitDirectory == NULL) {
            return TCL_ERROR;
        }
    }
    const int listCode = vekTclForget();
    if (count == 1) {
        const char *file = vekTclText(call, arguments[0]);
        return file == NULL ? TCL_ERROR : openFile(call, &opening, file, implicitDirectory);
    }
    char **files = findDefinitionFile(call, listCode);
    const int status = files == NULL ? TCL_ERROR : openFile(call, &opening, files[0], implicitDirectory);
    vekFreeStrlist(files);
    return status;
}

static int diagnosticsCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    (void)count;
    const Registry *registry = vekTclRegistry(call, arguments[0]);
    if (registry == NULL) {
        return TCL_ERROR;
    }
    Tcl_SetObjResult(call->interp, registry->diagnostics);
    return TCL_OK;
}

// ---- content of the files

static int librariesCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    (void)count;
    const Registry *registry = vekTclRegistry(call, arguments[0]);
    if (registry == NULL) {
        return TCL_ERROR;
    }
    rynContext *context = NULL;
    const int code = rynIterateLibs(registry->handle, &context);
    if (code != RYN_OK) {
        return vekTclFailRyn(call, code, NULL);
    }
    Tcl_Obj *names = Tcl_NewListObj(0, NULL);
    const char *name = NULL;
    while (rynNextLib(context, &name) == RYN_OK) {
        vekTclAppend(names, vekTclCharacters(name));
    }
    rynIterateEnd(context);
    Tcl_SetObjResult(call->interp, names);
    return TCL_OK;
}

static Tcl_Obj *placeOf(const char *file, int line) {
    Tcl_Obj *place = Tcl_NewDictObj();
    vekTclPut(place, "file", vekTclCharacters(file));
    vekTclPut(place, "line", Tcl_NewIntObj(line));
    return place;
}

static int definitionsCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    (void)count;
    const Registry *registry = vekTclRegistry(call, arguments[0]);
    if (registry == NULL) {
        return TCL_ERROR;
    }
    rynContext *context = NULL;
    const int code = rynIterateVekLibFiles(registry->handle, &context);
    if (code != RYN_OK) {
        return vekTclFailRyn(call, code, NULL);
    }
    Tcl_Obj *files = Tcl_NewListObj(0, NULL);
    const char *path = NULL;
    while (rynNextFile(context, &path) == RYN_OK) {
        Tcl_Obj *file = Tcl_NewDictObj();
        vekTclPut(file, "file", vekTclCharacters(path));
        const char *includer = NULL;
        int line = 0;
        if (rynWhereIncluded(registry->handle, path, &includer, &line) == RYN_OK && includer != NULL) {
            vekTclPut(file, "includedby", placeOf(includer, line));
        }
        vekTclAppend(files, file);
    }
    rynIterateEnd(context);
    Tcl_SetObjResult(call->interp, files);
    return TCL_OK;
}

static int whereCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    const Registry *registry = vekTclRegistry(call, arguments[0]);
    const char *library = registry == NULL ? NULL : vekTclText(call, arguments[1]);
    const char *attribute = library == NULL ? NULL : vekTclOptionalText(call, count, arguments, 2);
    if (attribute == NULL) {
        return TCL_ERROR;
    }
    const char *file = NULL;
    int line = 0;
    const int code = count == 2 ? rynWhereDefined(registry->handle, library, &file, &line)
                                : rynWhereAssigned(registry->handle, library, attribute, &file, &line);
    if (code != RYN_OK) {
        return vekTclFailRyn(call, code, code == RYN_ATTRIBUTE_NOT_ASSIGNED ? attribute : library);
    }
    Tcl_SetObjResult(call->interp, placeOf(file, line));
    return TCL_OK;
}

/// @return a dict of names and values, the oldest first; null with an error
static Tcl_Obj *attributesOf(Call *call, rynHandle handle, const char *library) {
    rynContext *context = NULL;
    const int code = rynIterateAttrs(handle, library, &context);
    if (code != RYN_OK) {
        vekTclFailRyn(call, code, library);
        return NULL;
    }
    Tcl_Obj *attributes = Tcl_NewDictObj();
    const char *name = NULL;
    const char *value = NULL;
    while (rynNextAttr(context, &name, &value) == RYN_OK) {
        Tcl_DictObjPut(NULL, attributes, vekTclCharacters(name), vekTclCharacters(value));
    }
    rynIterateEnd(context);
    return attributes;
}

static int attributesCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    (void)count;
    const Registry *registry = vekTclRegistry(call, arguments[0]);
    const char *library = registry == NULL ? NULL : vekTclText(call, arguments[1]);
    Tcl_Obj *attributes = library == NULL ? NULL : attributesOf(call, registry->handle, library);
    if (attributes == NULL) {
        return TCL_ERROR;
    }
    Tcl_SetObjResult(call->interp, attributes);
    return TCL_OK;
}

/// The kinds of temporary directories that a library has, and the first that exists.
static Tcl_Obj *temporaryOf(rynHandle handle, const char *library) {
    static const struct {
        const char *name;
        unsigned kind;
    } kKinds[] = {{"explicit", RYN_TMP_EXPLICIT}, {"global", RYN_TMP_GLOBAL}, {"implicit", RYN_TMP_IMPLICIT}};
    Tcl_Obj *kinds = Tcl_NewListObj(0, NULL);
    for (size_t i = 0; i < sizeof kKinds / sizeof kKinds[0]; ++i) {
        if (rynLibHasTmp(handle, library, kKinds[i].kind) == RYN_OK) {
            vekTclAppend(kinds, Tcl_NewStringObj(kKinds[i].name, -1));
        }
    }
    Tcl_Obj *temporary = Tcl_NewDictObj();
    vekTclPut(temporary, "kinds", kinds);
    char directory[VEK_PATH_SIZE];
    if (rynGetPath(handle, RYN_PATH_READ_TMP, library, NULL, NULL, NULL, directory, sizeof directory) ==
        RYN_OK) {
        vekTclPut(temporary, "directory", vekTclCharacters(directory));
    }
    return temporary;
}

static int libraryCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    (void)count;
    const Registry *registry = vekTclRegistry(call, arguments[0]);
    const char *library = registry == NULL ? NULL : vekTclText(call, arguments[1]);
    if (library == NULL) {
        return TCL_ERROR;
    }
    char directory[VEK_PATH_SIZE];
    const int code = rynGetPath(registry->handle, RYN_PATH_READ_LIBRARY, library, NULL, NULL, NULL, directory,
                                sizeof directory);
    Tcl_Obj *attributes = code == RYN_OK ? attributesOf(call, registry->handle, library) : NULL;
    if (attributes == NULL) {
        return code == RYN_OK ? TCL_ERROR : vekTclFailRyn(call, code, library);
    }
    const char *file = NULL;
    int line = 0;
    rynWhereDefined(registry->handle, library, &file, &line);
    Tcl_Obj *result = Tcl_NewDictObj();
    vekTclPut(result, "directory", vekTclCharacters(directory));
    vekTclPut(result, "defined", placeOf(file, line));
    vekTclPut(result, "temporary", temporaryOf(registry->handle, library));
    vekTclPut(result, "attributes", attributes);
    Tcl_SetObjResult(call->interp, result);
    return TCL_OK;
}

const Command vekTclRegistryCommands[] = {
    {"open", "?-existence boolean? ?-implicittmp directory? ?-implicitonly boolean? ?-strict boolean? ?file?",
     0, -1, openCommand},
    {"close", "registry", 1, 1, closeCommand},
    {"registries", "", 0, 0, registriesCommand},
    {"diagnostics", "registry", 1, 1, diagnosticsCommand},
    {"definitions", "registry", 1, 1, definitionsCommand},
    {"libraries", "registry", 1, 1, librariesCommand},
    {"library", "registry library", 2, 2, libraryCommand},
    {"attributes", "registry library", 2, 2, attributesCommand},
    {"where", "registry library ?attribute?", 2, 3, whereCommand},
    {0},
};
