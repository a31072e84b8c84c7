/// Commands on what lies on disk: the cells, views and files of a library, and the paths of design objects.

#include "vek_tcl.h"

#include <stdio.h>
#include <string.h>
#include <vek/vek_strlist.h>

/// A library with an optional cell, view and file in it; what is not given is empty.
typedef struct Object {
    const Registry *registry;
    const char *library;
    const char *cell;
    const char *view;
    const char *file;
} Object;

/// Reads "registry library ?cell? ?view? ?file?".
static int parseObject(Call *call, int count, Tcl_Obj *const *arguments, Object *object) {
    const char **const parts[] = {&object->library, &object->cell, &object->view, &object->file};
    object->registry = vekTclRegistry(call, arguments[0]);
    if (object->registry == NULL) {
        return TCL_ERROR;
    }
    for (int i = 0; i < 4; ++i) {
        *parts[i] = vekTclOptionalText(call, count, arguments, i + 1);
        if (*parts[i] == NULL) {
            return TCL_ERROR;
        }
    }
    return TCL_OK;
}

/// The given names, joined by "/": the object of an error message.
static int failObject(Call *call, int code, const Object *object) {
    const char *const parts[] = {object->cell, object->view, object->file};
    Tcl_DString context;
    Tcl_DStringInit(&context);
    Tcl_DStringAppend(&context, object->library, -1);
    for (size_t i = 0; i < sizeof parts / sizeof parts[0]; ++i) {
        if (*parts[i] != '\0') {
            Tcl_DStringAppend(&context, "/", 1);
            Tcl_DStringAppend(&context, parts[i], -1);
        }
    }
    const int status = vekTclFailRyn(call, code, Tcl_DStringValue(&context));
    Tcl_DStringFree(&context);
    return status;
}

// ---- iteration

static const char *const kPlaces[] = {"any", "library", "temporary", NULL};
static const unsigned kSources[] = {0, RYN_SOURCE_LIBRARY, RYN_SOURCE_TMP};

typedef struct Iteration {
    unsigned source;
    bool isRecursive;
    int count; ///< of the arguments after the options
    Object object;
} Iteration;

/// Reads the options and "registry library ?cell? ?view?", of which `fewest` to `most` must be there.
static int parseIteration(Call *call, bool mayRecurse, int fewest, int most, Iteration *iteration, int count,
                          Tcl_Obj *const *arguments) {
    int place = 0;
    const Option options[] = {{"-recursive", OPTION_FLAG, &iteration->isRecursive, NULL},
                              {"-in", OPTION_CHOICE, &place, kPlaces},
                              {0}};
    if (vekTclOptions(call, mayRecurse ? options : options + 1, fewest, &count, &arguments) != TCL_OK) {
        return TCL_ERROR;
    }
    iteration->source = kSources[place];
    iteration->count = count;
    return count > most ? vekTclWrongCount(call) : parseObject(call, count, arguments, &iteration->object);
}

/// Ends an iteration that was created with `code`. The result are its items, sorted: the library has them in the
/// order of the directory.
static int takeItems(Call *call, const Object *object, int code, rynContext *context,
                     int (*next)(rynContext *context, const char **name)) {
    if (code != RYN_OK) {
        return failObject(call, code, object);
    }
    char **items = NULL;
    int count = 0;
    int size = 0;
    const char *name = NULL;
    while (next(context, &name) == RYN_OK) {
        items = vekTclAddText(items, name, &count, &size);
    }
    rynIterateEnd(context);
    vekSortStrlist(items, count);
    Tcl_SetObjResult(call->interp, vekTclTakeList(items));
    return TCL_OK;
}

static int cellsCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    Iteration iteration = {0};
    if (parseIteration(call, false, 2, 2, &iteration, count, arguments) != TCL_OK) {
        return TCL_ERROR;
    }
    const Object *object = &iteration.object;
    rynContext *context = NULL;
    const int code = rynXIterateCells(object->registry->handle, iteration.source, object->library, &context);
    return takeItems(call, object, code, context, rynNextCell);
}

static int viewsCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    Iteration iteration = {0};
    if (parseIteration(call, false, 3, 3, &iteration, count, arguments) != TCL_OK) {
        return TCL_ERROR;
    }
    const Object *object = &iteration.object;
    rynContext *context = NULL;
    const int code =
        rynXIterateViews(object->registry->handle, iteration.source, object->library, object->cell, &context);
    return takeItems(call, object, code, context, rynNextView);
}

static int iterateFiles(const Iteration *iteration, rynContext **context) {
    const Object *object = &iteration->object;
    rynHandle handle = object->registry->handle;
    switch (iteration->count) {
    case 2:
        return rynXIterateLibFiles(handle, iteration->source, object->library, context);
    case 3:
        return rynXIterateCellFiles(handle, iteration->source, object->library, object->cell, context);
    default:
        return (iteration->isRecursive ? rynXIterateAllViewFiles : rynXIterateViewFiles)(
            handle, iteration->source, object->library, object->cell, object->view, context);
    }
}

static int filesCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    Iteration iteration = {0};
    if (parseIteration(call, true, 2, 4, &iteration, count, arguments) != TCL_OK) {
        return TCL_ERROR;
    }
    if (iteration.isRecursive && iteration.count < 4) {
        return vekTclWrongCount(call); // only the files of a view have an iteration over all levels
    }
    rynContext *context = NULL;
    const int code = iterateFiles(&iteration, &context);
    return takeItems(call, &iteration.object, code, context, rynNextFile);
}

// ---- paths

static int findCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    static const char *const kAccesses[] = {"read", "write", "replace", NULL};
    static const unsigned kModes[][3] = {{RYN_PATH_READ, RYN_PATH_READ_LIBRARY, RYN_PATH_READ_TMP},
                                         {RYN_PATH_WRITE, RYN_PATH_WRITE_LIBRARY, RYN_PATH_WRITE_TMP},
                                         {RYN_PATH_REPLACE, RYN_PATH_REPLACE_LIBRARY, RYN_PATH_REPLACE_TMP}};
    int access = 0;
    int place = 0;
    const Option options[] = {
        {"-access", OPTION_CHOICE, &access, kAccesses}, {"-in", OPTION_CHOICE, &place, kPlaces}, {0}};
    if (vekTclOptions(call, options, 2, &count, &arguments) != TCL_OK) {
        return TCL_ERROR;
    }
    if (count > 5) {
        return vekTclWrongCount(call);
    }
    Object object;
    if (parseObject(call, count, arguments, &object) != TCL_OK) {
        return TCL_ERROR;
    }
    char path[VEK_PATH_SIZE];
    const int code = rynGetPath(object.registry->handle, kModes[access][place], object.library, object.cell,
                                object.view, object.file, path, sizeof path);
    if (code != RYN_OK) {
        return failObject(call, code, &object);
    }
    Tcl_SetObjResult(call->interp, vekTclCharacters(path));
    return TCL_OK;
}

/// Whether a code of rynQuery() means that an object does not exist or fails a check.
static bool isRefusal(int code) {
    return code == RYN_NO_SUCH_DIRECTORY || (code >= RYN_NO_SUCH_CELL && code <= RYN_NO_SUCH_FILE) ||
           (code >= RYN_PERMISSION_DENIED && code <= RYN_PERMISSION_DENIED_FILE);
}

static int existsCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    static const char *const kAccesses[] = {"any", "read", "write", "execute", NULL};
    static const unsigned kChecks[] = {RYN_QUERY_EXISTS, RYN_QUERY_READABLE, RYN_QUERY_WRITABLE,
                                       RYN_QUERY_EXECUTABLE};
    static const unsigned kQueryPlaces[] = {0, RYN_QUERY_LIBRARY, RYN_QUERY_TMP};
    int access = 0;
    int place = 0;
    const Option options[] = {
        {"-access", OPTION_CHOICE, &access, kAccesses}, {"-in", OPTION_CHOICE, &place, kPlaces}, {0}};
    if (vekTclOptions(call, options, 2, &count, &arguments) != TCL_OK) {
        return TCL_ERROR;
    }
    if (count > 5) {
        return vekTclWrongCount(call);
    }
    Object object;
    if (parseObject(call, count, arguments, &object) != TCL_OK) {
        return TCL_ERROR;
    }
    const int code = rynQuery(object.registry->handle, kChecks[access] | kQueryPlaces[place], object.library,
                              object.cell, object.view, object.file);
    if (code != RYN_OK && !isRefusal(code)) {
        return failObject(call, code, &object);
    }
    Tcl_SetObjResult(call->interp, Tcl_NewBooleanObj(code == RYN_OK));
    return TCL_OK;
}

const Command vekTclDesignCommands[] = {
    {"cells", "?-in place? registry library", 2, -1, cellsCommand},
    {"views", "?-in place? registry library cell", 3, -1, viewsCommand},
    {"files", "?-in place? ?-recursive? registry library ?cell? ?view?", 2, -1, filesCommand},
    {"find", "?-access access? ?-in place? registry library ?cell? ?view? ?file?", 2, -1, findCommand},
    {"exists", "?-access access? ?-in place? registry library ?cell? ?view? ?file?", 2, -1, existsCommand},
    {0},
};
