#include "libdef/language/ryni_statement.h"

#include "common/base/owned.h"
#include "common/platform/vek_path.h"
#include "common/text/composed_text.h"
#include "common/text/decimal.h"
#include "common/text/fixed_text.h"
#include "libdef/access/ryni_library_path.h"
#include "libdef/access/ryni_tmp.h"
#include "libdef/paths/ryni_full_path.h"
#include "libdef/paths/ryni_library_reuse.h"
#include "libdef/paths/ryni_nsl_path.h"
#include "libdef/registry/ryni_owned_text.h"
#include "libdef/registry/ryni_settings.h"
#include "tagfile/tov.h"

#include <cstring>
#include <memory>

// Implements the statements DEFINE, SOFTDEFINE and UNDEFINE of library definition files (vek.lib).
// `DEFINE name directory` has three steps:
// 1. Computes the paths of the directory and checks that the directory can be used.
// 2. Creates the library, or changes the existing library of that name.
// 3. Records the file and line of the statement, and checks whether another library uses the directory.
// SOFTDEFINE has the same steps, but ends without a diagnostic if the directory cannot be used.

namespace ryn {
namespace {

struct FreeLibrary {
    rynRegistry *registry;
    void operator()(rynLibrary *library) const { freeLibrary(*registry, *library); }
};
using OwnedLibrary = std::unique_ptr<rynLibrary, FreeLibrary>;

/// Calls the warning handler with `code` and the text that results from joining `pieces`. The text can have any length.
/// If memory is exhausted, the handler receives the text that rynGetErrorMsg() returns for `code`.
/// @return the value that the warning handler returned
template <typename... Pieces>
int diagnoseWith(const Command &command, int code, const Pieces &...pieces) {
    vek::ComposedText text;
    text.append(pieces...);
    const char *const composed = text.c_str();
    return command.diagnose(code, composed != nullptr ? composed : rynGetErrorMsg(code));
}

/// @return the path of the library definition file that last defined `library`; "" if no file is recorded
const char *definingFile(const rynLibrary &library) {
    return library.definedIn != nullptr ? library.definedIn->path : "";
}

/// One DEFINE or SOFTDEFINE statement while it is executed: its arguments, and the paths of its directory argument.
struct Definition {
    const Command &command;
    bool isSoft;        ///< true for SOFTDEFINE: a directory that cannot be used is not diagnosed
    const char *name;   ///< name of the library
    vek::PathText full; ///< full path of the directory: absolute and without "." components
    vek::PathText nsl;  ///< `full` without symbolic links
};

/// Computes the full path and the nsl path (full path without symbolic links) of the directory argument and stores them
/// in `definition`.
/// @return nullopt; after a failure, the value that the warning handler returned
Ending generatePaths(Definition &definition) {
    const Command &command = definition.command;
    vek::PathText error;
    vekCanonicalizeDirSep(command.argument(1));
    int status =
        generateFullPath(command.argument(1), command.directory, definition.full, error, command.registry);
    if (status == RYN_OK) {
        prefetchDefinition(*command.registry, definition.name, definition.full.view());
        status = generateNslPath(definition.full.c_str(), definition.nsl, error, command.registry,
                                 definition.isSoft ? Existence::NotChecked : Existence::Checked);
    }
    return status == RYN_OK ? Ending() : command.diagnose(status, error.c_str());
}

/// Checks the directory of the definition. Does nothing if paths need not exist (see rynSetPathNoneExistWarnFlag()). A
/// directory that cannot be used causes a diagnostic, except in a SOFTDEFINE. If VEKLIBCHECK is ON, a directory without
/// a VEKLIBRARY entry in its tag file also causes a diagnostic.
/// @return nullopt to continue the statement; otherwise the status with which the statement ends
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
        return diagnoseWith(command, RYN_NO_VEKLIBRARY_ENTRY, command.file->path, " line ",
                            vek::Decimal(command.line), ":\n    directory ", nsl, " of LIB ", definition.name,
                            "\n    does not have a VEKLIBRARY entry in its vekinfo.tag file.");
    }
    return {};
}

/// Creates the library with the name and the paths of `definition` and inserts it into the registry.
/// @param inserted  receives the library; unchanged after a failure
/// @return nullopt; after a failure, the value that the warning handler returned
Ending insertNew(const Definition &definition, rynLibrary *&inserted) {
    const Command &command = definition.command;
    rynRegistry *const registry = command.registry;
    OwnedLibrary library(newLibrary(*registry, definition.name, definition.nsl.view()),
                         FreeLibrary{registry});
    if (!library) {
        return command.diagnose(RYN_MEMORY_ERROR, definition.name);
    }
    if (!replaceText(library->fullPath, definition.full.view())) {
        return command.diagnose(RYN_MEMORY_ERROR, definition.full.c_str());
    }
    vek::PathText error;
    const int status = error.fill([&](char *errorOut, std::size_t) {
        return ryniUpdateImplicit(registry, library.get(), nullptr, nullptr, errorOut);
    });
    if (status != RYN_OK) {
        return command.diagnose(status, error.c_str());
    }
    if (sInsert_lib(registry, library.get()) != RYN_OK) {
        return command.diagnose(RYN_MEMORY_ERROR, definition.nsl.c_str());
    }
    inserted = library.release();
    return {};
}

/// Calls the warning handler, because the statement redefines `library`, which an earlier statement has defined.
/// @return nullopt to continue the statement; the value that the handler returned if that is not 0
Ending warnOfRedefinition(const Definition &definition, const rynLibrary &library) {
    const Command &command = definition.command;
    const char *const name = definition.name;
    const char *const here = command.file->path;
    const char *const earlier = definingFile(library);
    const vek::Decimal line(command.line);
    const vek::Decimal earlierLine(library.definedAtLine);
    int status = RYN_OK;
    if (std::strcmp(here, earlier) == 0) {
        status = diagnoseWith(command, RYN_REDEFINED_IN_SAME_FILE, "library ", name, " from ", here, " line ",
                              line, ", redefines\n    library ", library.name, " from same file line ",
                              earlierLine, " defined earlier.");
    } else {
        status = diagnoseWith(command, RYN_REDEFINED, "library ", name, " defined in ", here, " at line ",
                              line, ", redefines\n", "    library ", library.name, " defined in ", earlier,
                              " at line ", earlierLine, ".\n", "Insert UNDEFINE ", name, "\nbefore DEFINE ",
                              name, " on line ", line, "\n", "    of ", here, "\n",
                              "Or remove or comment out DEFINE ", library.name, " on line ", earlierLine,
                              "\n", "    of ", earlier, "\nto suppress this warning message.");
    }
    return status == RYN_OK ? Ending() : status;
}

/// Executes a definition of a name that is already defined: stores the new directory in `library`, the existing library
/// of that name, and moves `library` to the end of the definition order.
/// @return nullopt; otherwise the status with which the statement ends
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
    // Documented: after a redefinition, `fullPath` is the nsl path of the new directory (without symbolic links), and
    // `nslPath` is still the nsl path of the first definition's directory.
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
    if (recordDefinition(*command.registry, *library, command.file, command.line) != RYN_OK) {
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
    rynLibrary *library = nullptr;
    if (const Ending ended = findDefined(command, library)) {
        return *ended;
    }
    const OwnedLibrary removed(library, FreeLibrary{command.registry});
    if (!removeLibrary(*command.registry, *library)) {
        return command.diagnose(RYN_INTERNAL_ERROR, "lost library on list in undefine");
    }
    return RYN_OK;
}

Ending findDefined(const Command &command, rynLibrary *&library) {
    const char *const name = command.argument(0);
    library = ryni_get_libp(command.registry, name);
    return library == nullptr ? Ending(RYN_OK) : checkCase(command, *library, name);
}

Ending checkCase(const Command &command, const rynLibrary &library, const char *name) {
    if (std::strcmp(library.name, name) == 0) {
        return {};
    }
    const int status = diagnoseWith(
        command, RYN_DIFFERS_ONLY_BY_CASE, "library ", name, " from ", command.file->path, " line ",
        vek::Decimal(command.line), ", differs only by case from\n    library ", library.name, " from ",
        definingFile(library), " line ", vek::Decimal(library.definedAtLine), " defined earlier.");
    return status == RYN_OK ? Ending() : status;
}

int checkReuse(const Command &command, const char *nslPath) {
    const int count = ryniLibPathReused(command.registry, nslPath, nullptr, 0);
    return count == 1 ? RYN_OK : command.diagnose(RYN_DIRECTORY_REUSED, nslPath);
}

} // namespace ryn
