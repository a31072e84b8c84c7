#include "libdef/language/ryni_statement.h"

#include "common/base/owned.h"
#include "common/platform/vek_path.h"
#include "common/text/fixed_text.h"
#include "libdef/access/ryni_library_path.h"
#include "libdef/access/ryni_tmp.h"
#include "libdef/paths/ryni_full_path.h"
#include "libdef/paths/ryni_library_reuse.h"
#include "libdef/paths/ryni_nsl_path.h"
#include "libdef/registry/ryni_owned_text.h"
#include "libdef/registry/ryni_settings.h"
#include "tagfile/tov.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

// Executes DEFINE, SOFTDEFINE and UNDEFINE. A definition has three steps: compute and check the directory; create the
// library, or change the existing library of that name; record the location of the statement and check whether
// another library uses the directory.

namespace ryn {
namespace {

struct FreeLibrary {
    void operator()(rynLibrary *library) const { freeLibrary(library); }
};
using OwnedLibrary = std::unique_ptr<rynLibrary, FreeLibrary>;

/// Diagnoses `code` with a text that is formatted like that of printf(), of any length. If memory is exhausted, the
/// text is that of rynGetErrorMsg().
/// @return the result of the warning handler
[[gnu::format(printf, 3, 4)]] int diagnoseWith(const Command &command, int code, const char *format, ...) {
    char *text = nullptr;
    va_list values;
    va_start(values, format);
    const int length = vasprintf(&text, format, values);
    va_end(values);
    const vek::OwnedText owner(length < 0 ? nullptr : text);
    return command.diagnose(code, owner ? owner.get() : rynGetErrorMsg(code));
}

/// @return the path of the file that last defined `library`; "" if none is recorded
const char *definingFile(const rynLibrary &library) {
    return library.definedIn != nullptr ? library.definedIn->path : "";
}

/// A DEFINE or SOFTDEFINE: its arguments, and the paths that are computed from its directory argument.
struct Definition {
    const Command &command;
    bool isSoft; ///< SOFTDEFINE: a missing directory is not diagnosed
    const char *name;
    vek::PathText full;
    vek::PathText nsl;
};

/// Computes the full path and the nsl path of the directory.
Ending generatePaths(Definition &definition) {
    const Command &command = definition.command;
    vek::PathText error;
    vekCanonicalizeDirSep(command.argument(1));
    int status =
        generateFullPath(command.argument(1), command.directory, definition.full, error, command.registry);
    if (status == RYN_OK) {
        status = generateNslPath(definition.full.c_str(), definition.nsl, error, command.registry,
                                 definition.isSoft ? Existence::NotChecked : Existence::Checked);
    }
    return status == RYN_OK ? Ending() : command.diagnose(status, error.c_str());
}

/// Checks, if paths must exist, that the directory can be used, and that it has a VEKLIBRARY entry if that is
/// required. If a SOFTDEFINE fails the first check, it ends without a diagnostic.
Ending checkDirectory(const Definition &definition) {
    const Command &command = definition.command;
    if (ryniCheckPathNoneExistWarnFlag(command.registry) == 0) {
        return {};
    }
    const char *const nsl = definition.nsl.c_str();
    const int status = ryniIsGoodLibPath(command.registry, nsl, 0);
    if (status != RYN_OK) {
        return definition.isSoft ? RYN_OK : command.diagnose(status, nsl);
    }
    if (ryni_doVekLibCheck() != 0 && tovIsLibrary(nsl) == 0) {
        return diagnoseWith(command, RYN_NO_VEKLIBRARY_ENTRY,
                            "%s line %d:\n    directory %s of LIB %s\n"
                            "    does not have a VEKLIBRARY entry in its vekinfo.tag file.",
                            command.file->path, command.line, nsl, definition.name);
    }
    return {};
}

/// Creates the library and inserts it into the registry.
/// @param inserted  receives the library if the statement continues
Ending insertNew(const Definition &definition, rynLibrary *&inserted) {
    const Command &command = definition.command;
    const char *const full = definition.full.c_str();
    const char *const nsl = definition.nsl.c_str();
    OwnedLibrary library(newLibrary(definition.name));
    if (!library) {
        return command.diagnose(RYN_MEMORY_ERROR, definition.name);
    }
    if (!replaceText(library->fullPath, full)) {
        return command.diagnose(RYN_MEMORY_ERROR, full);
    }
    if (!replaceText(library->nslPath, nsl)) {
        return command.diagnose(RYN_MEMORY_ERROR, nsl);
    }
    vek::PathText error;
    const int status = error.fill([&](char *errorOut, std::size_t) {
        return ryniUpdateImplicit(command.registry, library.get(), nullptr, nullptr, errorOut);
    });
    if (status != RYN_OK) {
        return command.diagnose(status, error.c_str());
    }
    if (sInsert_lib(command.registry, library.get()) != RYN_OK) {
        return command.diagnose(RYN_MEMORY_ERROR, nsl);
    }
    inserted = library.release();
    return {};
}

/// Diagnoses that the statement redefines `library`.
/// @return nullopt to continue the statement; the result of the warning handler if that is not 0
Ending warnOfRedefinition(const Definition &definition, const rynLibrary &library) {
    const Command &command = definition.command;
    const char *const name = definition.name;
    const char *const here = command.file->path;
    const char *const earlier = definingFile(library);
    const int line = command.line;
    const int earlierLine = library.definedAtLine;
    int status = RYN_OK;
    if (std::strcmp(here, earlier) == 0) {
        status = diagnoseWith(command, RYN_REDEFINED_IN_SAME_FILE,
                              "library %s from %s line %d, redefines\n"
                              "    library %s from same file line %d defined earlier.",
                              name, here, line, library.name, earlierLine);
    } else {
        status = diagnoseWith(command, RYN_REDEFINED,
                              "library %s defined in %s at line %d, redefines\n"
                              "    library %s defined in %s at line %d.\n"
                              "Insert UNDEFINE %s\n"
                              "before DEFINE %s on line %d\n"
                              "    of %s\n"
                              "Or remove or comment out DEFINE %s on line %d\n"
                              "    of %s\n"
                              "to suppress this warning message.",
                              name, here, line, library.name, earlier, earlierLine, name, name, line, here,
                              library.name, earlierLine, earlier);
    }
    return status == RYN_OK ? Ending() : status;
}

/// Changes `library`, which has the same name, to the new directory and moves it to the end of the definition order.
Ending redefine(const Definition &definition, rynLibrary &library) {
    const Command &command = definition.command;
    const char *const nsl = definition.nsl.c_str();
    Ending ended = checkCase(command, library, definition.name);
    if (!ended) {
        ended = warnOfRedefinition(definition, library);
    }
    if (ended) {
        return ended;
    }
    if (std::strcmp(library.name, definition.name) != 0) {
        respell(*command.registry, library, definition.name);
    }
    if (std::strcmp(library.fullPath, definition.full.c_str()) != 0) {
        library.flags |= kPathChanged;
    }
    // Documented: a redefinition stores the nsl path of the new directory as the full path of the library. The nsl
    // path of the library stays that of the first definition.
    if (!replaceText(library.fullPath, nsl)) {
        return command.diagnose(RYN_MEMORY_ERROR, nsl);
    }
    if (!moveToEnd(*command.registry, library)) {
        return command.diagnose(RYN_INTERNAL_ERROR, "lost library on list");
    }
    return {};
}

int define(const Command &command, bool isSoft) {
    Definition definition = {
        .command = command, .isSoft = isSoft, .name = command.argument(0), .full = {}, .nsl = {}};
    Ending ended = generatePaths(definition);
    if (!ended) {
        ended = checkDirectory(definition);
    }
    if (ended) {
        return *ended;
    }
    rynLibrary *library = ryni_get_libp(command.registry, definition.name);
    ended = library == nullptr ? insertNew(definition, library) : redefine(definition, *library);
    if (ended) {
        return *ended;
    }
    if (recordDefinition(*library, command.file, command.line) != RYN_OK) {
        return command.diagnose(RYN_MEMORY_ERROR, definition.name);
    }
    return checkReuse(command, library->nslPath);
}

} // namespace

int executeDefine(const Command &command) {
    return define(command, false);
}

int executeSoftDefine(const Command &command) {
    return define(command, true);
}

int executeUndefine(const Command &command) {
    const char *const name = command.argument(0);
    rynLibrary *const library = ryni_get_libp(command.registry, name);
    if (library == nullptr) {
        return RYN_OK;
    }
    if (const Ending ended = checkCase(command, *library, name)) {
        return *ended;
    }
    const OwnedLibrary removed(library);
    if (!removeLibrary(*command.registry, *library)) {
        return command.diagnose(RYN_INTERNAL_ERROR, "lost library on list in undefine");
    }
    return RYN_OK;
}

Ending checkCase(const Command &command, const rynLibrary &library, const char *name) {
    if (std::strcmp(library.name, name) == 0) {
        return {};
    }
    const int status = diagnoseWith(command, RYN_DIFFERS_ONLY_BY_CASE,
                                    "library %s from %s line %d, differs only by case from\n"
                                    "    library %s from %s line %d defined earlier.",
                                    name, command.file->path, command.line, library.name,
                                    definingFile(library), library.definedAtLine);
    return status == RYN_OK ? Ending() : status;
}

int checkReuse(const Command &command, const char *nslPath) {
    const int count = ryniLibPathReused(command.registry, nslPath, nullptr, 0);
    return count == 1 ? RYN_OK : command.diagnose(RYN_DIRECTORY_REUSED, nslPath);
}

} // namespace ryn
