/// Commands on the search list: search, searchlist, searchable; and interpolate.

#include "vek_tcl.h"

#include <limits.h>
#include <stdint.h>
#include <string.h>
#include <vek/pux.h>
#include <vek/vek_interp.h>
#include <vek/vek_strlist.h>

// ---- search

/// What `vek search` is asked for.
typedef struct Search {
    bool findsAll;
    bool mustBeWritable;
    Tcl_Obj *groups;
    Tcl_Obj *registry;
    Tcl_Obj *library;
    const char *name;
    char **groupList;        ///< null for the default groups
    rynHandle handle;        ///< null without a library
    const char *libraryName; ///< null without a library
} Search;

static int failSearch(Call *call, const Search *search, int code) {
    return search->libraryName == NULL ? vekTclFailPux(call, code, search->name)
                                       : vekTclFailRyn(call, code, search->name);
}

/// The code for "not found" of the layer that searches.
static int notFoundCode(const Search *search) {
    return search->libraryName == NULL ? (int)PUX_FILE_NOT_FOUND : (int)RYN_NO_SUCH_FILE;
}

static int findAll(Call *call, const Search *search) {
    char **paths = NULL;
    const int code =
        search->libraryName == NULL
            ? puxFullSearchDirList(NULL, search->name, search->groupList, &paths)
            : rynFullSearchList(search->handle, search->name, search->groupList, search->libraryName, &paths);
    if (code != 0 && code != notFoundCode(search)) {
        return failSearch(call, search, code);
    }
    Tcl_SetObjResult(call->interp, vekTclTakeList(paths));
    return TCL_OK;
}

static int findFirst(Call *call, const Search *search) {
    char path[VEK_PATH_SIZE];
    int code = 0;
    if (search->mustBeWritable) {
        code = search->libraryName == NULL
                   ? puxFindWritable(NULL, search->name, path, sizeof path)
                   : rynFindWritable(search->handle, search->name, search->libraryName, path, sizeof path);
    } else {
        code = search->libraryName == NULL
                   ? puxSearchDirList(NULL, search->name, search->groupList, path, sizeof path)
                   : rynSearchList(search->handle, search->name, search->groupList, search->libraryName, path,
                                   sizeof path);
    }
    if (code != 0) {
        return failSearch(call, search, code);
    }
    Tcl_SetObjResult(call->interp, vekTclCharacters(path));
    return TCL_OK;
}

/// Makes a string list of the groups.
static int takeGroups(Call *call, Search *search) {
    Tcl_Size count = 0;
    Tcl_Obj **elements = NULL;
    if (search->groups == NULL) {
        return TCL_OK;
    }
    if (Tcl_ListObjGetElements(call->interp, search->groups, &count, &elements) != TCL_OK) {
        return TCL_ERROR;
    }
    int used = 0;
    int size = 0;
    int status = TCL_OK;
    for (Tcl_Size i = 0; i < count && status == TCL_OK; ++i) {
        Tcl_DString group;
        Tcl_DStringInit(&group);
        status = vekTclBytes(call->interp, elements[i], &group);
        if (status == TCL_OK) {
            search->groupList = vekTclAddText(search->groupList, Tcl_DStringValue(&group), &used, &size);
        }
        Tcl_DStringFree(&group);
    }
    return status;
}

/// A library that is not defined is an error: the library layer would search without it.
static int takeLibrary(Call *call, Search *search) {
    if (search->registry == NULL) {
        return TCL_OK;
    }
    const Registry *registry = vekTclRegistry(call, search->registry);
    const char *name = registry == NULL ? NULL : vekTclText(call, search->library);
    if (name == NULL) {
        return TCL_ERROR;
    }
    const int code = rynIsDefined(registry->handle, name);
    if (code != RYN_OK) {
        return vekTclFailRyn(call, code, name);
    }
    search->handle = registry->handle;
    search->libraryName = name;
    return TCL_OK;
}

static int failCombination(Call *call, const char *text) {
    return vekTclFailValue(call->interp, "OPTION", Tcl_NewStringObj(text, -1));
}

static int parseSearch(Call *call, int count, Tcl_Obj *const *arguments, Search *search) {
    const Option options[] = {{"-all", OPTION_FLAG, &search->findsAll, NULL},
                              {"-groups", OPTION_VALUE, &search->groups, NULL},
                              {"-library", OPTION_VALUE, &search->library, NULL},
                              {"-registry", OPTION_VALUE, &search->registry, NULL},
                              {"-writable", OPTION_FLAG, &search->mustBeWritable, NULL},
                              {0}};
    if (vekTclOptions(call, options, 1, &count, &arguments) != TCL_OK) {
        return TCL_ERROR;
    }
    if (count != 1) {
        return vekTclWrongCount(call);
    }
    if (search->mustBeWritable && (search->findsAll || search->groups != NULL)) {
        return failCombination(call, "-writable goes with neither -all nor -groups");
    }
    if ((search->library == NULL) != (search->registry == NULL)) {
        return failCombination(call, "-library and -registry go together");
    }
    search->name = vekTclText(call, arguments[0]);
    if (search->name == NULL || takeGroups(call, search) != TCL_OK) {
        return TCL_ERROR;
    }
    return takeLibrary(call, search);
}

static int searchCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    Search search = {0};
    int status = parseSearch(call, count, arguments, &search);
    if (status == TCL_OK) {
        const int code = vekTclForget();
        status = code != PUX_OK    ? vekTclFailPux(call, code, NULL)
                 : search.findsAll ? findAll(call, &search)
                                   : findFirst(call, &search);
    }
    vekFreeStrlist(search.groupList);
    return status;
}

static int searchListCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    (void)count;
    (void)arguments;
    char **list = NULL;
    const int code = puxInitialize(&list);
    if (code != PUX_OK) {
        return vekTclFailPux(call, code, NULL);
    }
    Tcl_Obj *directories = Tcl_NewListObj(0, NULL);
    for (char **directory = list; *directory != NULL; ++directory) {
        vekTclAppend(directories, vekTclCharacters(*directory));
    }
    puxReleaseHandle(list);
    Tcl_SetObjResult(call->interp, directories);
    return TCL_OK;
}

/// The decision of puxLookupConfig about a file name.
static int searchableCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    (void)count;
    const char *name = vekTclText(call, arguments[0]);
    if (name == NULL) {
        return TCL_ERROR;
    }
    int code = vekTclForget();
    if (code == PUX_OK) {
        code = puxUsePuxFor(NULL, name);
    }
    if (code != PUX_OK && code != PUX_FILE_NOT_FOUND) {
        return vekTclFailPux(call, code, "puxLookupConfig");
    }
    Tcl_SetObjResult(call->interp, Tcl_NewBooleanObj(code == PUX_OK));
    return TCL_OK;
}

// ---- interpolate

enum {
    MESSAGE_SIZE = 2 * VEK_PATH_SIZE,
    RECURSIVE_SIZE = 1 << 20 ///< with recursion, the library does not return the size that is needed
};

typedef struct Interpolation {
    bool isRecursive;
    Tcl_Obj *kept;
    Tcl_Obj *file;
    Tcl_Obj *line;
} Interpolation;

static int flagsOf(Call *call, const Interpolation *interpolation, uint32_t *flags) {
    static const char *const kKinds[] = {"variables", "homes", "computed", NULL};
    static const uint32_t kFlags[] = {VEK_INTERP_KEEP_VARIABLES, VEK_INTERP_KEEP_HOMES,
                                      VEK_INTERP_KEEP_COMPUTED};
    Tcl_Size count = 0;
    Tcl_Obj **kinds = NULL;
    if (interpolation->kept != NULL &&
        Tcl_ListObjGetElements(call->interp, interpolation->kept, &count, &kinds) != TCL_OK) {
        return TCL_ERROR;
    }
    *flags = interpolation->isRecursive ? VEK_INTERP_RECURSIVE : 0;
    for (Tcl_Size i = 0; i < count; ++i) {
        int kind = 0;
        if (Tcl_GetIndexFromObj(call->interp, kinds[i], kKinds, "kind of reference", TCL_EXACT, &kind) !=
            TCL_OK) {
            return TCL_ERROR;
        }
        *flags |= kFlags[kind];
    }
    return TCL_OK;
}

/// Interpolates into a buffer, which grows to the size that the library returns, and stores the result or the error.
static int interpolate(Call *call, const char *text, vekInterpArgs *record) {
    size_t size = (record->flags & VEK_INTERP_RECURSIVE) != 0 ? RECURSIVE_SIZE : strlen(text) + VEK_PATH_SIZE;
    char *buffer = ckalloc((unsigned)size);
    int isDone = vekInterpolate(text, buffer, size, record, sizeof *record);
    if (isDone == 0 && record->errorCode == VEK_INTERP_OUT_TOO_SMALL && record->neededSize > size) {
        size = record->neededSize;
        buffer = ckrealloc(buffer, (unsigned)size);
        isDone = vekInterpolate(text, buffer, size, record, sizeof *record);
    }
    if (isDone != 0) {
        Tcl_SetObjResult(call->interp, vekTclCharacters(buffer));
    } else {
        vekTclFailCode(call, "INTERP", record->errorCode, record->errorBuffer, NULL);
    }
    ckfree(buffer);
    return isDone != 0 ? TCL_OK : TCL_ERROR;
}

static int interpolateCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    Interpolation interpolation = {0};
    const Option options[] = {{"-file", OPTION_VALUE, &interpolation.file, NULL},
                              {"-keep", OPTION_VALUE, &interpolation.kept, NULL},
                              {"-line", OPTION_VALUE, &interpolation.line, NULL},
                              {"-recursive", OPTION_FLAG, &interpolation.isRecursive, NULL},
                              {0}};
    if (vekTclOptions(call, options, 1, &count, &arguments) != TCL_OK) {
        return TCL_ERROR;
    }
    if (count != 1) {
        return vekTclWrongCount(call);
    }
    char message[MESSAGE_SIZE] = "";
    vekInterpArgs record = {
        .line = VEK_INTERP_NO_LINE, .errorBuffer = message, .errorBufferSize = sizeof message};
    if (flagsOf(call, &interpolation, &record.flags) != TCL_OK) {
        return TCL_ERROR;
    }
    int line = 0;
    if (interpolation.line != NULL) {
        if (Tcl_GetIntFromObj(call->interp, interpolation.line, &line) != TCL_OK) {
            return TCL_ERROR;
        }
        record.line = (uint32_t)line;
    }
    if (interpolation.file != NULL) {
        record.fileName = vekTclText(call, interpolation.file);
        if (record.fileName == NULL) {
            return TCL_ERROR;
        }
    }
    const char *text = vekTclText(call, arguments[0]);
    return text == NULL ? TCL_ERROR : interpolate(call, text, &record);
}

const Command vekTclSearchCommands[] = {
    {"search", "?-all? ?-groups list? ?-registry registry -library library? ?-writable? name", 1, -1,
     searchCommand},
    {"searchlist", "", 0, 0, searchListCommand},
    {"searchable", "name", 1, 1, searchableCommand},
    {"interpolate", "?-file name? ?-keep kinds? ?-line number? ?-recursive? text", 1, -1, interpolateCommand},
    {0},
};
