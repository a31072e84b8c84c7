#include "libdef/language/ryni_statement.h"

#include "common/text/ascii.h"
#include "common/text/fixed_text.h"
#include "libdef/access/ryni_library_path.h"
#include "libdef/access/ryni_tmp.h"
#include "libdef/registry/ryni_attributes.h"

#include <string_view>

// Implements the statements ASSIGN and UNASSIGN of library definition files (vek.lib). ASSIGN has three cases:
// - `ASSIGN AllLibs TmpRootDir PATH` sets the global temporary root: a directory with one subdirectory for each
//   library.
// - `ASSIGN library TMP PATH` sets the explicit temporary directory of one library.
// - Any other attribute is stored in the library. The unknown-ASSIGN hook, a callback of the program, can reject it.

namespace ryn {
namespace {

constexpr std::string_view kAllLibraries = "AllLibs";
constexpr std::string_view kGlobalRoot = "TmpRootDir";
constexpr std::string_view kTmp = "TMP";

/// Converts `name` to upper case in place.
/// @return `name`
char *toUpperCase(char *name) {
    for (char *at = name; *at != '\0'; ++at) {
        *at = vek::toUpper(*at);
    }
    return name;
}

int assignGlobalRoot(const Command &command, const char *attribute, const char *value) {
    rynAttribute *const root = newAttribute(attribute, value, command.file, command.line);
    if (root == nullptr) {
        return command.diagnose(RYN_MEMORY_ERROR, attribute);
    }
    root->next = command.registry->globalExplicitTmp;
    command.registry->globalExplicitTmp = root;
    setGlobalTmpLocation(command.file->path, command.line);
    return command.applyTmpNow ? sAddGlobalTmppath(command.registry, command.directory) : RYN_OK;
}

int assignTmp(const Command &command, rynLibrary &library, const char *attribute, const char *value) {
    vek::PathText full;
    vek::PathText nsl;
    vek::PathText error;
    const int status = makeLibraryPath(command.registry, value, command.directory, full, nsl, error);
    if (status != RYN_OK) {
        return command.diagnose(status, error.c_str());
    }
    setTmpFromGlobal(*command.registry, library, false);
    if (!setAttribute(library, attribute, full.c_str(), command.file, command.line) ||
        setExplicitTmp(*command.registry, library, full.c_str(), nsl.c_str()) != RYN_OK) {
        return command.diagnose(RYN_MEMORY_ERROR, attribute);
    }
    return checkReuse(command, nsl.c_str());
}

int assignOther(const Command &command, const char *name, const char *attribute, const char *value) {
    const rynUnknownAssignHook hook = command.registry->unknownAssignHook;
    if (hook != nullptr && hook(attribute, value, command.file->path, command.line) != 0) {
        return command.diagnose(RYN_INVALID_ATTRIBUTE, attribute);
    }
    // Look up the library again, because the unknown-ASSIGN hook, a callback of the program, could have removed the
    // library from the registry.
    rynLibrary *const library = ryni_get_libp(command.registry, name);
    if (library == nullptr) {
        return command.diagnose(RYN_LIBRARY_NOT_DEFINED, name);
    }
    return setAttribute(*library, attribute, value, command.file, command.line)
               ? RYN_OK
               : command.diagnose(RYN_MEMORY_ERROR, attribute);
}

} // namespace

int executeAssign(const Command &command) {
    const char *const name = command.argument(0);
    const char *const attribute = toUpperCase(command.argument(1));
    const char *const value = command.argument(2);
    if (name == kAllLibraries && vek::equalNoCase(attribute, kGlobalRoot)) {
        return assignGlobalRoot(command, attribute, value);
    }
    rynLibrary *const library = ryni_get_libp(command.registry, name);
    if (library == nullptr) {
        return command.diagnose(RYN_LIBRARY_NOT_DEFINED, name);
    }
    if (const Ending ended = checkCase(command, *library, name)) {
        return *ended;
    }
    return attribute == kTmp ? assignTmp(command, *library, attribute, value)
                             : assignOther(command, name, attribute, value);
}

int executeUnassign(const Command &command) {
    rynLibrary *library = nullptr;
    if (const Ending ended = findDefined(command, library)) {
        return *ended;
    }
    rynAttribute *const attribute = findAttribute(*library, toUpperCase(command.argument(1)));
    if (attribute == nullptr) {
        return RYN_OK;
    }
    removeAttribute(*library, attribute);
    // Documented: UNASSIGN of any assigned attribute, not only of TMP, also removes the library's explicit temporary
    // directory.
    return setExplicitTmp(*command.registry, *library, nullptr, nullptr);
}

} // namespace ryn
