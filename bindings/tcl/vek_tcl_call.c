/// The call of one command: one command of the process at a time is in the library, whose caches and settings are
/// process-wide. Meanwhile the error handlers of the library are those of this package; they collect what is
/// reported in the call. Afterwards they are what they were.

#include "vek_tcl.h"

#include <pthread.h>
#include <stdio.h>
#include <string.h>
#include <vek/pux.h>
#include <vek/tov.h>
#include <vek/vek_init.h>

/// The call that is in the library, in its thread.
static _Thread_local Call *currentCall;
static pthread_mutex_t libraryLock = PTHREAD_MUTEX_INITIALIZER;

// ---- what the library reports

static void addReport(const char *layer, int code, const char *message, const char *object, const char *file,
                      int line) {
    Tcl_Obj *report = Tcl_NewDictObj();
    vekTclPut(report, "layer", Tcl_NewStringObj(layer, -1));
    vekTclPut(report, "code", Tcl_NewIntObj(code));
    vekTclPut(report, "message", Tcl_NewStringObj(message, -1));
    vekTclPut(report, "object", vekTclCharacters(object));
    vekTclPut(report, "file", vekTclCharacters(file));
    vekTclPut(report, "line", Tcl_NewIntObj(line));
    vekTclAppend(currentCall->reports, report);
}

static void onTagError(int code, const char *text, const char *where, int line) {
    if (currentCall != NULL) {
        addReport("TOV", code, tovGetErrorMsg(code), text, where, line);
    }
}

int vekTclOnWarning(int code, const char *object, const char *file, int line) {
    if (currentCall == NULL) {
        return 0;
    }
    addReport("RYN", code, rynGetErrorMsg(code), object, file, line);
    return currentCall->stopAtDiagnostic ? code : 0;
}

/// The library keeps the first handler that any registry was given for calls without a registry. So this one may
/// be called for another user of the library, and then writes what the library does without a handler.
int vekTclOnError(int code, const char *text, const char *sameText) {
    (void)sameText;
    if (currentCall != NULL) {
        addReport("RYN", code, rynGetErrorMsg(code), text, NULL, 0);
    } else {
        fprintf(stderr, "*ERROR* - RYN internal error - %s - %s\n", rynGetErrorMsg(code), text);
    }
    return 0;
}

int vekTclReportCount(Call *call) {
    Tcl_Size count = 0;
    Tcl_ListObjLength(NULL, call->reports, &count);
    return (int)count;
}

void vekTclClearReports(Call *call) {
    Tcl_SetListObj(call->reports, 0, NULL);
}

int vekTclForget(void) {
    tovResetCache();
    return puxInitialize(NULL);
}

// ---- errors

static int fail(Call *call, const char *layer, Tcl_Obj *code, Tcl_Obj *message) {
    Tcl_Obj *errorCode = Tcl_NewListObj(0, NULL);
    vekTclAppend(errorCode, Tcl_NewStringObj("VEK", -1));
    vekTclAppend(errorCode, Tcl_NewStringObj(layer, -1));
    vekTclAppend(errorCode, code);
    Tcl_SetObjErrorCode(call->interp, errorCode);
    Tcl_SetObjResult(call->interp, message);
    return TCL_ERROR;
}

int vekTclFailCode(Call *call, const char *layer, int code, const char *text, const char *context) {
    Tcl_Obj *message = Tcl_NewStringObj(text, -1);
    if (context != NULL && *context != '\0') {
        Tcl_AppendToObj(message, ": ", -1);
        Tcl_Obj *about = vekTclCharacters(context);
        Tcl_AppendObjToObj(message, about);
        Tcl_DecrRefCount(about);
    }
    return fail(call, layer, Tcl_NewIntObj(code), message);
}

static Tcl_Obj *reportValue(Tcl_Obj *report, const char *key) {
    Tcl_Obj *name = Tcl_NewStringObj(key, -1);
    Tcl_Obj *value = NULL;
    Tcl_DictObjGet(NULL, report, name, &value);
    Tcl_DecrRefCount(name);
    return value;
}

static bool isEmpty(Tcl_Obj *text) {
    return *Tcl_GetString(text) == '\0';
}

/// "message: object: file line N", as far as the report has them.
static int failReport(Call *call, Tcl_Obj *report) {
    Tcl_Obj *message = Tcl_DuplicateObj(reportValue(report, "message"));
    static const char *const kParts[] = {"object", "file"};
    for (size_t i = 0; i < sizeof kParts / sizeof kParts[0]; ++i) {
        Tcl_Obj *part = reportValue(report, kParts[i]);
        if (!isEmpty(part)) {
            Tcl_AppendToObj(message, ": ", -1);
            Tcl_AppendObjToObj(message, part);
        }
    }
    int line = 0;
    Tcl_GetIntFromObj(NULL, reportValue(report, "line"), &line);
    if (line != 0) {
        Tcl_AppendPrintfToObj(message, " line %d", line);
    }
    return fail(call, Tcl_GetString(reportValue(report, "layer")), reportValue(report, "code"), message);
}

int vekTclFailReport(Call *call) {
    Tcl_Obj *report = NULL;
    Tcl_ListObjIndex(NULL, call->reports, 0, &report);
    if (report == NULL) { // a failure is always reported: there was no memory to do so
        return vekTclFailCode(call, "TOV", TOV_MEMORY_ERROR, tovGetErrorMsg(TOV_MEMORY_ERROR), NULL);
    }
    return failReport(call, report);
}

int vekTclFailRyn(Call *call, int code, const char *context) {
    for (int i = 0; i < vekTclReportCount(call); ++i) {
        Tcl_Obj *report = NULL;
        Tcl_ListObjIndex(NULL, call->reports, i, &report);
        int reported = 0;
        Tcl_GetIntFromObj(NULL, reportValue(report, "code"), &reported);
        if (reported == code && strcmp(Tcl_GetString(reportValue(report, "layer")), "RYN") == 0) {
            return failReport(call, report);
        }
    }
    return vekTclFailCode(call, "RYN", code, rynGetErrorMsg(code), context);
}

int vekTclFailPux(Call *call, int code, const char *context) {
    return vekTclFailCode(call, "PUX", code, puxGetErrorMsg(code), context);
}

int vekTclFailValue(Tcl_Interp *interp, const char *kind, Tcl_Obj *message) {
    Tcl_SetErrorCode(interp, "VEK", "VALUE", kind, (char *)NULL);
    Tcl_SetObjResult(interp, message);
    return TCL_ERROR;
}

// ---- arguments

const char *vekTclText(Call *call, Tcl_Obj *argument) {
    if (call->textCount == MAX_TEXTS) {
        Tcl_Panic("vek: more than %d texts in one command", MAX_TEXTS);
    }
    Tcl_DString *text = &call->texts[call->textCount++];
    Tcl_DStringInit(text);
    return vekTclBytes(call->interp, argument, text) == TCL_OK ? Tcl_DStringValue(text) : NULL;
}

const char *vekTclOptionalText(Call *call, int count, Tcl_Obj *const *arguments, int index) {
    return index < count ? vekTclText(call, arguments[index]) : "";
}

int vekTclWrongCount(Call *call) {
    Tcl_WrongNumArgs(call->interp, 1, call->words, call->command->usage);
    return TCL_ERROR;
}

static int failOption(Call *call, const Option *options, Tcl_Obj *given) {
    Tcl_Obj *message = Tcl_ObjPrintf("bad option \"%s\": must be ", Tcl_GetString(given));
    for (const Option *option = options; option->name != NULL; ++option) {
        const char *separator = option == options ? "" : option[1].name == NULL ? " or " : ", ";
        Tcl_AppendStringsToObj(message, separator, option->name, (char *)NULL);
    }
    Tcl_SetErrorCode(call->interp, "TCL", "LOOKUP", "INDEX", "option", Tcl_GetString(given), (char *)NULL);
    Tcl_SetObjResult(call->interp, message);
    return TCL_ERROR;
}

static int setOption(Call *call, const Option *option, Tcl_Obj *value) {
    int number = 0;
    switch (option->kind) {
    case OPTION_FLAG:
        *(bool *)option->value = true;
        return TCL_OK;
    case OPTION_BOOLEAN:
        if (Tcl_GetBooleanFromObj(call->interp, value, &number) != TCL_OK) {
            return TCL_ERROR;
        }
        *(bool *)option->value = number != 0;
        return TCL_OK;
    case OPTION_CHOICE:
        return Tcl_GetIndexFromObj(call->interp, value, option->choices, option->name + 1, TCL_EXACT,
                                   option->value);
    case OPTION_VALUE:
        *(Tcl_Obj **)option->value = value;
        return TCL_OK;
    }
    return TCL_ERROR;
}

int vekTclOptions(Call *call, const Option *options, int fewest, int *count, Tcl_Obj *const **arguments) {
    while (*count > fewest && *Tcl_GetString(**arguments) == '-') {
        const Option *option = options;
        while (option->name != NULL && strcmp(option->name, Tcl_GetString(**arguments)) != 0) {
            ++option;
        }
        if (option->name == NULL) {
            return failOption(call, options, **arguments);
        }
        const int size = option->kind == OPTION_FLAG ? 1 : 2;
        if (*count - size < fewest) {
            return vekTclWrongCount(call);
        }
        if (setOption(call, option, (*arguments)[size - 1]) != TCL_OK) {
            return TCL_ERROR;
        }
        *count -= size;
        *arguments += size;
    }
    return TCL_OK;
}

// ---- one call

static void begin(Call *call, Tcl_Interp *interp, const Command *command, Tcl_Obj *const *words) {
    *call = (Call){.interp = interp,
                   .command = command,
                   .words = words,
                   .registries = Tcl_GetAssocData(interp, "vek", NULL)};
    call->reports = Tcl_NewListObj(0, NULL);
    Tcl_IncrRefCount(call->reports);
}

static int runInLibrary(Call *call, int count) {
    pthread_mutex_lock(&libraryLock);
    currentCall = call;
    const tovErrorHandler previous = tovRegisterErrorHandler(onTagError);
    const int status = call->command->run(call, count, call->words + 1);
    tovRegisterErrorHandler(previous);
    currentCall = NULL;
    pthread_mutex_unlock(&libraryLock);
    return status;
}

/// Storing may run a trace, which is a script: only after the library has been left.
static int storeReports(Call *call) {
    Tcl_Obj *result = Tcl_GetObjResult(call->interp);
    Tcl_IncrRefCount(result);
    const bool isStored =
        Tcl_ObjSetVar2(call->interp, call->reportsVariable, NULL, call->reports, TCL_LEAVE_ERR_MSG) != NULL;
    if (isStored) {
        Tcl_SetObjResult(call->interp, result);
    }
    Tcl_DecrRefCount(result);
    return isStored ? TCL_OK : TCL_ERROR;
}

static void end(Call *call) {
    for (int i = 0; i < call->textCount; ++i) {
        Tcl_DStringFree(&call->texts[i]);
    }
    Tcl_DecrRefCount(call->reports);
}

int vekTclRun(void *data, Tcl_Interp *interp, int count, Tcl_Obj *const *words) {
    const Command *command = data;
    Call call;
    begin(&call, interp, command, words);
    int status = TCL_ERROR;
    if (count - 1 < command->fewest || (command->most >= 0 && count - 1 > command->most)) {
        vekTclWrongCount(&call);
    } else if (call.registries == NULL) {
        Tcl_SetObjResult(interp, Tcl_NewStringObj("the interpreter is being deleted", -1));
    } else {
        status = runInLibrary(&call, count - 1);
    }
    if (status == TCL_OK && call.reportsVariable != NULL) {
        status = storeReports(&call);
    }
    end(&call);
    return status;
}

void vekTclInitializeLibrary(Tcl_Interp *interp) {
    const char *executable = Tcl_GetNameOfExecutable();
    Tcl_Obj *name = Tcl_NewStringObj(executable == NULL ? "" : executable, -1);
    Tcl_DString bytes;
    Tcl_DStringInit(&bytes);
    Tcl_IncrRefCount(name);
    if (vekTclBytes(interp, name, &bytes) != TCL_OK) {
        Tcl_DStringSetLength(&bytes, 0);
        Tcl_ResetResult(interp);
    }
    pthread_mutex_lock(&libraryLock);
    vekInitNonVEKApp(Tcl_DStringValue(&bytes));
    pthread_mutex_unlock(&libraryLock);
    Tcl_DecrRefCount(name);
    Tcl_DStringFree(&bytes);
}

void vekTclDeleteInterpreter(void *data, Tcl_Interp *interp) {
    (void)interp;
    Tcl_HashTable *registries = data;
    pthread_mutex_lock(&libraryLock);
    vekTclReleaseRegistries(registries);
    pthread_mutex_unlock(&libraryLock);
    Tcl_DeleteHashTable(registries);
    ckfree((char *)registries);
}
