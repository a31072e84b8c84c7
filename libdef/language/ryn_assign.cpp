#include "libdef/language/ryni_statement.h"

#include "common/text/ascii.h"
#include "common/text/fixed_text.h"
#include "libdef/access/ryni_library_path.h"
#include "libdef/access/ryni_tmp.h"

#include <cstring>
#include <string_view>

namespace {

constexpr std::string_view kAllLibraries = "AllLibs";
constexpr std::string_view kGlobalRoot = "TmpRootDir";
constexpr std::string_view kTmp = "TMP";

/// @return `name` itself, in upper case
char *toUpperCase(char *name) {
    for (char *at = name; *at != '\0'; ++at) {
        *at = vek::toUpper(*at);
    }
    return name;
}

rynAttribute **findAttribute(rynLibrary &library, const char *name) {
    rynAttribute **link = &library.attributes;
    while (*link != nullptr && std::strcmp((*link)->name, name) != 0) {
        link = &(*link)->next;
    }
    return link;
}

void pushFront(rynAttribute *&head, rynAttribute *attribute) {
    attribute->next = head;
    head = attribute;
}

int assignGlobalRoot(const ryniCommand &command, const char *attribute, const char *value) {
    rynAttribute *root = ryniNewAttribute(attribute, value, command.file, command.line);
    if (root == nullptr) {
        return command.diagnose(RYN_MEMORY_ERROR, attribute);
    }
    pushFront(command.registry->globalExplicitTmp, root);
    ryn::setGlobalTmpLocation(command.file->path, command.line);
    return command.applyTmpNow ? sAddGlobalTmppath(command.registry, command.directory) : RYN_OK;
}

/// Gives the library the attribute. @return false when memory is exhausted
bool store(const ryniCommand &command, rynLibrary &library, const char *name, const char *value) {
    rynAttribute *existing = *findAttribute(library, name);
    if (existing != nullptr) {
        if (ryniReplaceText(&existing->value, value) != RYN_OK) {
            return false;
        }
        existing->file = command.file;
        existing->line = command.line;
        return true;
    }
    rynAttribute *attribute = ryniNewAttribute(name, value, command.file, command.line);
    if (attribute == nullptr) {
        return false;
    }
    pushFront(library.attributes, attribute);
    return true;
}

int assignTmp(const ryniCommand &command, rynLibrary &library, const char *attribute, const char *value) {
    vek::PathText full;
    vek::PathText nsl;
    vek::PathText error;
    const int status = ryn::makeLibraryPath(command.registry, value, command.directory, full, nsl, error);
    if (status != RYN_OK) {
        return command.diagnose(status, error.c_str());
    }
    library.flags &= ~static_cast<uint32_t>(RYNI_LIB_TMP_FROM_GLOBAL);
    if (!store(command, library, attribute, full.c_str()) ||
        ryniSetExplicitTmp(command.registry, &library, full.c_str(), nsl.c_str()) != RYN_OK) {
        return command.diagnose(RYN_MEMORY_ERROR, attribute);
    }
    return ryniCheckReuse(command, nsl.c_str());
}

int assignOther(const ryniCommand &command, const char *name, const char *attribute, const char *value) {
    const rynUnknownAssignHook hook = command.registry->unknownAssignHook;
    if (hook != nullptr && hook(attribute, value, command.file->path, command.line) != 0) {
        return command.diagnose(RYN_INVALID_ATTRIBUTE, attribute);
    }
    // Looked up again: the hook may have given statements of its own to the registry.
    rynLibrary *library = ryni_get_libp(command.registry, name);
    if (library == nullptr) {
        return command.diagnose(RYN_LIBRARY_NOT_DEFINED, name);
    }
    return store(command, *library, attribute, value) ? RYN_OK
                                                      : command.diagnose(RYN_MEMORY_ERROR, attribute);
}

} // namespace

int ryniAssign(const ryniCommand &command) {
    const char *name = command.argument(0);
    const char *attribute = toUpperCase(command.argument(1));
    const char *value = command.argument(2);
    if (name == kAllLibraries && vek::equalNoCase(attribute, kGlobalRoot)) {
        return assignGlobalRoot(command, attribute, value);
    }
    rynLibrary *library = ryni_get_libp(command.registry, name);
    if (library == nullptr) {
        return command.diagnose(RYN_LIBRARY_NOT_DEFINED, name);
    }
    const int status = ryniCheckCase(command, *library, name);
    if (status != RYN_OK) {
        return status;
    }
    return attribute == kTmp ? assignTmp(command, *library, attribute, value)
                             : assignOther(command, name, attribute, value);
}

int ryniUnassign(const ryniCommand &command) {
    const char *name = command.argument(0);
    rynLibrary *library = ryni_get_libp(command.registry, name);
    if (library == nullptr) {
        return RYN_OK;
    }
    const int status = ryniCheckCase(command, *library, name);
    if (status != RYN_OK) {
        return status;
    }
    rynAttribute **link = findAttribute(*library, toUpperCase(command.argument(1)));
    rynAttribute *attribute = *link;
    if (attribute == nullptr) {
        return RYN_OK;
    }
    *link = attribute->next;
    ryniFreeAttribute(attribute);
    // Whatever the attribute was: every UNASSIGN takes the explicit temporary directory away.
    return ryniSetExplicitTmp(command.registry, library, nullptr, nullptr);
}
