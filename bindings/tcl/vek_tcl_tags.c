/// Commands on tag files: lookup, tags, and the edits. Each reads what is on disk, as a new run of vekinfo does.

#include "vek_tcl.h"

#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <vek/pux.h>
#include <vek/tov.h>
#include <vek/vek_strlist.h>

static const char kTagFileName[] = "vekinfo.tag";

/// A directory, "/" and the name of the tag file.
typedef char TagPath[VEK_PATH_SIZE + sizeof kTagFileName];

/// @return false if `directory` has more characters than a path may have
static bool makeTagPath(const char *directory, TagPath path) {
    snprintf(path, sizeof(TagPath), "%s/%s", directory, kTagFileName);
    return strlen(directory) < VEK_PATH_SIZE;
}

static int lowerCase(char character) {
    return character >= 'A' && character <= 'Z' ? character - 'A' + 'a' : character;
}

/// For ASCII only, as the library compares names; strcasecmp() depends on the locale.
static bool equalNoCase(const char *left, const char *right) {
    while (*left != '\0' && lowerCase(*left) == lowerCase(*right)) {
        ++left;
        ++right;
    }
    return *left == *right;
}

// ---- lookup

typedef struct Answer {
    const char *value; ///< null if no file defines the entry
    char file[VEK_PATH_SIZE];
} Answer;

static void lookUpLibrary(const char *path, Answer *answer) {
    char directory[VEK_PATH_SIZE];
    VekinfoObj object;
    int isFound = 0;
    if (tovNormalizePath(path, directory) == TOV_OK &&
        tovLocalSearchElement(directory, "VEKLIBRARY", &object, &isFound) == TOV_OK && isFound != 0) {
        answer->value = "";
        snprintf(answer->file, sizeof answer->file, "%s", object.path);
    }
}

/// Without a search list none is searched: the library would use one that it built earlier.
static void lookUpEntry(const char *path, const char *name, Answer *answer) {
    if (vekTclForget() == PUX_OK) {
        answer->value = tovLookupEntryX(path, name, answer->file);
        return;
    }
    answer->value = tovLookupEntry(path, name, answer->file);
    if (answer->value != NULL && *answer->value == '\0') {
        answer->value = NULL;
    }
}

/// What `vekinfo -lookup` reports for one name.
static void lookUp(const char *path, const char *name, Answer *answer) {
    answer->value = NULL;
    if (equalNoCase(name, "VEKLIBRARY")) {
        vekTclForget();
        lookUpLibrary(path, answer);
        return;
    }
    lookUpEntry(equalNoCase(name, "VEKLIBCHECK") ? "." : path, name, answer);
    if (answer->value == NULL && equalNoCase(name, "NAMESPACE")) {
        answer->file[0] = '\0';
        answer->value = "LibraryUnix";
    }
}

static int lookupCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    Tcl_Obj *variable = NULL;
    const Option options[] = {{"-errors", OPTION_VALUE, &variable, NULL}, {0}};
    if (vekTclOptions(call, options, 2, &count, &arguments) != TCL_OK) {
        return TCL_ERROR;
    }
    if (count != 2) {
        return vekTclWrongCount(call);
    }
    const char *path = vekTclText(call, arguments[0]);
    const char *name = path == NULL ? NULL : vekTclText(call, arguments[1]);
    if (name == NULL) {
        return TCL_ERROR;
    }
    Answer answer;
    lookUp(path, name, &answer);
    if (variable == NULL && vekTclReportCount(call) > 0) {
        return vekTclFailReport(call);
    }
    call->reportsVariable = variable;
    Tcl_Obj *result = Tcl_NewDictObj();
    if (answer.value != NULL) {
        vekTclPut(result, "value", vekTclCharacters(answer.value));
        vekTclPut(result, "file", vekTclCharacters(answer.file));
    }
    Tcl_SetObjResult(call->interp, result);
    return TCL_OK;
}

// ---- tags

/// The nearest tag file at or above `directory`, as `vekinfo -show` finds it: the file of the root directory is
/// not looked at. `directory` is cut on the way.
static bool findTagFile(char *directory, TagPath path) {
    while (*directory != '\0') {
        struct stat status;
        if (makeTagPath(directory, path) && stat(path, &status) == 0) {
            return true;
        }
        char *slash = strrchr(directory, '/');
        if (slash == NULL) {
            return false;
        }
        *slash = '\0';
    }
    return false;
}

/// @return a list of names and values, in the order of the file, from the entries that `isWanted` chooses
static Tcl_Obj *entriesOf(const VekinfoObj *object, bool (*isWanted)(const char *entry, const char *name),
                          const char *name) {
    Tcl_Obj *entries = Tcl_NewListObj(0, NULL);
    for (int i = 0; object->names != NULL && object->names[i] != NULL; ++i) {
        if (isWanted == NULL || isWanted(object->names[i], name)) {
            vekTclAppend(entries, vekTclCharacters(object->names[i]));
            vekTclAppend(entries, vekTclCharacters(object->values[i]));
        }
    }
    return entries;
}

static Tcl_Obj *tagsOf(const VekinfoObj *object) {
    Tcl_Obj *tags = Tcl_NewDictObj();
    vekTclPut(tags, "file", vekTclCharacters(object->path));
    vekTclPut(tags, "library", Tcl_NewBooleanObj(object->library == 1));
    if (object->libcheck != TOV_UNSET) {
        vekTclPut(tags, "libcheck", Tcl_NewStringObj(object->libcheck == 1 ? "ON" : "OFF", -1));
    }
    if (object->dmtype != NULL) {
        vekTclPut(tags, "dmtype", vekTclCharacters(object->dmtype));
    }
    if (object->nameSpace != TOV_NAMESPACE_UNSET) {
        const bool isNt = object->nameSpace == TOV_NAMESPACE_NT;
        vekTclPut(tags, "namespace", Tcl_NewStringObj(isNt ? "LibraryNT" : "LibraryUnix", -1));
    }
    vekTclPut(tags, "entries", entriesOf(object, NULL, NULL));
    return tags;
}

static int failEmptyDirectory(Call *call) {
    return vekTclFailValue(call->interp, "EMPTY", Tcl_NewStringObj("the name of the directory is empty", -1));
}

static int tagsCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    bool isExact = false;
    const Option options[] = {{"-exact", OPTION_FLAG, &isExact, NULL}, {0}};
    if (vekTclOptions(call, options, 1, &count, &arguments) != TCL_OK) {
        return TCL_ERROR;
    }
    if (count != 1) {
        return vekTclWrongCount(call);
    }
    const char *path = vekTclText(call, arguments[0]);
    if (path == NULL) {
        return TCL_ERROR;
    }
    if (isExact && *path == '\0') {
        return failEmptyDirectory(call);
    }
    vekTclForget();
    TagPath tagPath;
    if (isExact) {
        makeTagPath(path, tagPath);
    } else {
        char directory[VEK_PATH_SIZE];
        if (tovNormalizePath(path, directory) != TOV_OK) {
            return vekTclFailReport(call);
        }
        if (!findTagFile(directory, tagPath)) {
            return TCL_OK;
        }
    }
    VekinfoObj object;
    int isFound = 0;
    const int code = tovGetVekinfoAtLoc(tagPath, NULL, &object, &isFound);
    if (code == TOV_NO_SUCH_FILE) {
        return TCL_OK;
    }
    if (code != TOV_OK) {
        return vekTclFailReport(call);
    }
    Tcl_SetObjResult(call->interp, tagsOf(&object));
    return TCL_OK;
}

// ---- edits

static bool isBlank(char character) {
    return character == ' ' || (character >= '\t' && character <= '\r');
}

/// Whether a word that the reader of a tag file splits off is `text`, after white space.
static bool isWord(const char *text) {
    const bool isComment = *text == '#' || *text == ';' || strncmp(text, "--", 2) == 0;
    while (*text != '\0' && !isBlank(*text)) {
        ++text;
    }
    return !isComment && *text == '\0';
}

/// A tag file has no quotes: a name or value that is not one word would be read as something else.
static int failEntry(Call *call, Tcl_Obj *text) {
    return vekTclFailValue(call->interp, "ENTRY",
                           Tcl_ObjPrintf("\"%s\" cannot be written in a tag file", Tcl_GetString(text)));
}

static bool isKeyword(const char *name) {
    static const char *const kKeywords[] = {"VEKLIBRARY", "VEKLIBCHECK", "DMTYPE", "NAMESPACE"};
    for (size_t i = 0; i < sizeof kKeywords / sizeof kKeywords[0]; ++i) {
        if (equalNoCase(name, kKeywords[i])) {
            return true;
        }
    }
    return false;
}

static bool isOther(const char *entry, const char *name) {
    return !equalNoCase(entry, name);
}

/// What an edit of the entry `name` drops from the file: the application entries with other names, unless `name`
/// is a keyword; and VEKLIBCHECK OFF, which is never written.
static Tcl_Obj *droppedBy(const char *name, const VekinfoObj *object) {
    Tcl_Obj *dropped = Tcl_NewListObj(0, NULL);
    if (object->libcheck == 0 && !equalNoCase(name, "VEKLIBCHECK")) {
        vekTclAppend(dropped, Tcl_NewStringObj("VEKLIBCHECK", -1));
        vekTclAppend(dropped, Tcl_NewStringObj("OFF", -1));
    }
    if (!isKeyword(name)) {
        Tcl_Obj *entries = entriesOf(object, isOther, name);
        Tcl_ListObjAppendList(NULL, dropped, entries);
        Tcl_DecrRefCount(entries);
    }
    return dropped;
}

static int failDrops(Call *call, Tcl_Obj *dropped) {
    Tcl_SetErrorCode(call->interp, "VEK", "DROPS", Tcl_GetString(dropped), (char *)NULL);
    Tcl_SetObjResult(call->interp, Tcl_ObjPrintf("the edit would drop other entries (%s): use -dropothers",
                                                 Tcl_GetString(dropped)));
    return TCL_ERROR;
}

/// An edit of one entry.
typedef struct Edit {
    bool mayDrop;
    const char *directory;
    const char *name;
    const char *value;
} Edit;

static int parseEdit(Call *call, int most, int count, Tcl_Obj *const *arguments, Edit *edit) {
    const Option options[] = {{"-dropothers", OPTION_FLAG, &edit->mayDrop, NULL}, {0}};
    if (vekTclOptions(call, options, 2, &count, &arguments) != TCL_OK) {
        return TCL_ERROR;
    }
    if (count > most) {
        return vekTclWrongCount(call);
    }
    edit->directory = vekTclText(call, arguments[0]);
    edit->name = edit->directory == NULL ? NULL : vekTclText(call, arguments[1]);
    edit->value = edit->name == NULL ? NULL : vekTclOptionalText(call, count, arguments, 2);
    if (edit->value == NULL) {
        return TCL_ERROR;
    }
    if (*edit->directory == '\0') {
        return failEmptyDirectory(call);
    }
    const size_t length = strlen(edit->name) + 1 + strlen(edit->value);
    if (*edit->name == '\0' || !isWord(edit->name) || length >= VEK_PATH_SIZE) {
        return failEntry(call, arguments[1]);
    }
    return isWord(edit->value) ? TCL_OK : failEntry(call, arguments[2]);
}

/// Reads what an edit will change. `*dropped` receives what it drops.
/// @return TOV_OK; TOV_NO_SUCH_FILE; or a reported code
static int readForEdit(const Edit *edit, Tcl_Obj **dropped) {
    TagPath tagPath;
    makeTagPath(edit->directory, tagPath);
    vekTclForget();
    VekinfoObj object;
    int isFound = 0;
    const int code = tovGetVekinfoAtLoc(tagPath, NULL, &object, &isFound);
    *dropped = code == TOV_OK ? droppedBy(edit->name, &object) : Tcl_NewListObj(0, NULL);
    return code;
}

/// A value that a keyword does not allow is refused before the file is written: the library would write the file
/// without the entry. A word and what may follow it are as the library reads them.
static int checkKeywordValue(Call *call, const Edit *edit) {
    static const struct {
        const char *name;
        const char *first;
        const char *second;
    } kRules[] = {
        {"VEKLIBCHECK", "ON", "OFF"}, {"NAMESPACE", "LibraryNT", "LibraryUnix"}, {"DMTYPE", NULL, NULL}};
    for (size_t i = 0; i < sizeof kRules / sizeof kRules[0]; ++i) {
        if (!equalNoCase(edit->name, kRules[i].name)) {
            continue;
        }
        const bool isAllowed = kRules[i].first == NULL ? *edit->value != '\0'
                                                       : equalNoCase(edit->value, kRules[i].first) ||
                                                             equalNoCase(edit->value, kRules[i].second);
        if (!isAllowed) {
            char context[64];
            snprintf(context, sizeof context, "%s line in %s file", kRules[i].name, kTagFileName);
            return vekTclFailCode(call, "TOV", TOV_SYNTAX_ERROR, tovGetErrorMsg(TOV_SYNTAX_ERROR), context);
        }
    }
    return TCL_OK;
}

/// Performs an edit if it drops nothing or may. The result is what it dropped.
static int runEdit(Call *call, const Edit *edit, bool createsFile, int (*perform)(const Edit *edit)) {
    Tcl_Obj *dropped = NULL;
    const int code = readForEdit(edit, &dropped);
    Tcl_IncrRefCount(dropped);
    int status = TCL_OK;
    Tcl_Size droppedWords = 0;
    Tcl_ListObjLength(NULL, dropped, &droppedWords);
    if (code != TOV_OK && code != TOV_NO_SUCH_FILE && !(createsFile && edit->mayDrop)) {
        status = vekTclFailReport(call);
    } else if (droppedWords > 0 && !edit->mayDrop) {
        status = failDrops(call, dropped);
    } else {
        vekTclClearReports(call); // those of a file that could not be read and may be replaced
        status = perform(edit) == 0 ? vekTclFailReport(call) : TCL_OK;
    }
    if (status == TCL_OK) {
        Tcl_SetObjResult(call->interp, dropped);
    }
    Tcl_DecrRefCount(dropped);
    return status;
}

static int performAdd(const Edit *edit) {
    return tovAddEntry(edit->directory, edit->name, edit->value);
}

static int addEntryCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    Edit edit = {0};
    if (parseEdit(call, 3, count, arguments, &edit) != TCL_OK || checkKeywordValue(call, &edit) != TCL_OK) {
        return TCL_ERROR;
    }
    return runEdit(call, &edit, true, performAdd);
}

static int performClear(const Edit *edit) {
    return tovRemoveEntry(edit->directory, edit->name);
}

static int clearEntryCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    Edit edit = {0};
    if (parseEdit(call, 2, count, arguments, &edit) != TCL_OK) {
        return TCL_ERROR;
    }
    return runEdit(call, &edit, false, performClear);
}

/// @return the strings of the Tcl list `lines` as a string list; null with an error, or if there are none
static char **linesOf(Call *call, Tcl_Obj *lines, bool *isFailed) {
    Tcl_Size count = 0;
    Tcl_Obj **elements = NULL;
    char **list = NULL;
    int used = 0;
    int size = 0;
    *isFailed = Tcl_ListObjGetElements(call->interp, lines, &count, &elements) != TCL_OK;
    for (Tcl_Size i = 0; i < count && !*isFailed; ++i) {
        Tcl_DString line;
        Tcl_DStringInit(&line);
        if (vekTclBytes(call->interp, elements[i], &line) != TCL_OK) {
            *isFailed = true;
        } else if (strchr(Tcl_DStringValue(&line), '\n') != NULL ||
                   Tcl_DStringLength(&line) >= VEK_PATH_SIZE - 1) {
            *isFailed = failEntry(call, elements[i]) != TCL_OK;
        } else {
            list = vekTclAddText(list, Tcl_DStringValue(&line), &used, &size);
        }
        Tcl_DStringFree(&line);
    }
    return list;
}

static int createTagsCommand(Call *call, int count, Tcl_Obj *const *arguments) {
    (void)count;
    const char *directory = vekTclText(call, arguments[0]);
    if (directory == NULL || *directory == '\0') {
        return directory == NULL ? TCL_ERROR : failEmptyDirectory(call);
    }
    bool isFailed = false;
    char **lines = linesOf(call, arguments[1], &isFailed);
    if (!isFailed && tovCreateInfoFile(directory, lines) == 0) {
        isFailed = true;
        vekTclFailReport(call);
    }
    vekFreeStrlist(lines);
    return isFailed ? TCL_ERROR : TCL_OK;
}

const Command vekTclTagCommands[] = {
    {"lookup", "?-errors variable? path name", 2, -1, lookupCommand},
    {"tags", "?-exact? path", 1, -1, tagsCommand},
    {"addentry", "?-dropothers? directory name ?value?", 2, -1, addEntryCommand},
    {"clearentry", "?-dropothers? directory name", 2, -1, clearEntryCommand},
    {"createtags", "directory lines", 2, 2, createTagsCommand},
    {0},
};
