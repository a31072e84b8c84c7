#include "libdef/ryn.h"

#include "common/platform/system_path.h"
#include "common/platform/vek_path.h"
#include "common/text/ascii.h"
#include "libdef/paths/ryni_path_text.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_settings.h"

#include <cstring>
#include <string_view>

namespace {

int invalidParameter(const rynRegistry *registry, const char *context) {
    return ryni_do_fatal(registry, RYN_INVALID_PARAMETER, context);
}

/// Where a place is delivered. A null pointer is not wanted.
void deliver(const rynIncludedFile *from, int fromLine, const char **file, int *line) {
    if (file != nullptr) {
        *file = from == nullptr ? nullptr : from->path;
    }
    if (line != nullptr) {
        *line = fromLine;
    }
}

/// Attribute names are stored in upper case.
bool equalsUpperCase(std::string_view stored, std::string_view name) {
    if (stored.size() != name.size()) {
        return false;
    }
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (stored[i] != vek::toUpper(name[i])) {
            return false;
        }
    }
    return true;
}

const rynAttribute *findAttribute(const rynLibrary &library, const char *name) {
    const rynAttribute *attribute = library.attributes;
    while (attribute != nullptr && !equalsUpperCase(attribute->name, name)) {
        attribute = attribute->next;
    }
    return attribute;
}

/// @return RYN_OK with the attribute, RYN_LIBRARY_NOT_DEFINED or RYN_ATTRIBUTE_NOT_ASSIGNED
int findAssigned(rynRegistry *registry, const char *library, const char *name,
                 const rynAttribute *&attribute) {
    const rynLibrary *record = ryni_get_libp(registry, library);
    if (record == nullptr) {
        return RYN_LIBRARY_NOT_DEFINED;
    }
    attribute = findAttribute(*record, name);
    return attribute == nullptr ? RYN_ATTRIBUTE_NOT_ASSIGNED : RYN_OK;
}

/// Makes the nsl path of a file as a caller names it.
int makeNslPath(rynRegistry *registry, const char *path, vek::PathText &nsl) {
    vek::PathText text;
    vek::PathText full;
    vek::PathText directory;
    if (!text.assign(path)) {
        return RYN_INVALID_PATH;
    }
    text.edit(vekCanonicalizeDirSep);
    if (vekIsRooted(text.c_str()) == 0 && !vek::readWorkingDirectory(directory)) {
        return RYN_SYSTEM_ERROR;
    }
    vek::PathText error;
    const int status = ryn::generateFullPath(text.c_str(), directory.c_str(), full, error, registry);
    return status != RYN_OK ? status : ryn::generateNslPath(full.c_str(), nsl, error, registry);
}

int findIncluded(rynRegistry *registry, const char *path, const rynIncludedFile *&file) {
    vek::PathText nsl;
    const int status = makeNslPath(registry, path, nsl);
    if (status != RYN_OK) {
        return status;
    }
    file = registry->files.head;
    while (file != nullptr && (file->nslPath == nullptr || std::strcmp(file->nslPath, nsl.c_str()) != 0)) {
        file = file->next;
    }
    return file == nullptr ? RYN_FILE_NOT_INCLUDED : RYN_OK;
}

} // namespace

int rynWhereDefined(rynHandle handle, const char *library, const char **file, int *line) {
    deliver(nullptr, 0, file, line);
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || library == nullptr || file == nullptr || line == nullptr) {
        return invalidParameter(registry, "rynWhereDefined()");
    }
    const rynLibrary *record = ryni_get_libp(registry, library);
    if (record == nullptr) {
        return RYN_LIBRARY_NOT_DEFINED;
    }
    if (record->definedIn == nullptr) {
        return RYN_INTERNAL_ERROR;
    }
    deliver(record->definedIn, record->definedAtLine, file, line);
    return RYN_OK;
}

int rynWhereAssigned(rynHandle handle, const char *library, const char *attribute, const char **file,
                     int *line) {
    deliver(nullptr, 0, file, line);
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || library == nullptr || attribute == nullptr || file == nullptr ||
        line == nullptr) {
        return invalidParameter(registry, "rynWhereAssigned()");
    }
    const rynAttribute *assigned = nullptr;
    const int status = findAssigned(registry, library, attribute, assigned);
    if (status != RYN_OK) {
        return status;
    }
    if (assigned->file == nullptr) {
        return RYN_INTERNAL_ERROR;
    }
    deliver(assigned->file, assigned->line, file, line);
    return RYN_OK;
}

int rynWhereGlobalExplicitTmp(rynHandle handle, const char **file, int *line) {
    deliver(nullptr, 0, file, line);
    const rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr) {
        return invalidParameter(registry, "rynWhereGlobalExplicitTmp()");
    }
    const rynAttribute *root = registry->globalExplicitTmp;
    if (root == nullptr) {
        return RYN_ATTRIBUTE_NOT_ASSIGNED;
    }
    deliver(root->file, root->line, file, line);
    return RYN_OK;
}

int rynWhereIncluded(rynHandle handle, const char *path, const char **file, int *line) {
    deliver(nullptr, 0, file, line);
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || path == nullptr || file == nullptr || line == nullptr) {
        return invalidParameter(registry, "rynWhereIncluded()");
    }
    const rynIncludedFile *included = nullptr;
    const int status = findIncluded(registry, path, included);
    if (status == RYN_OK) {
        deliver(included->includedFrom, included->line, file, line);
    }
    return status;
}

int rynIsDefined(rynHandle handle, const char *library) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || library == nullptr) {
        return invalidParameter(registry, "rynIsDefined()");
    }
    return ryni_get_libp(registry, library) == nullptr ? RYN_LIBRARY_NOT_DEFINED : RYN_OK;
}

int rynIsAssigned(rynHandle handle, const char *library, const char *attribute) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || library == nullptr || attribute == nullptr) {
        return invalidParameter(registry, "rynIsAssigned()");
    }
    const rynAttribute *assigned = nullptr;
    return findAssigned(registry, library, attribute, assigned);
}

int rynIsIncluded(rynHandle handle, const char *path) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || path == nullptr) {
        return invalidParameter(registry, "rynIsIncluded()");
    }
    const rynIncludedFile *included = nullptr;
    return findIncluded(registry, path, included);
}

int rynLibHasTmp(rynHandle handle, const char *library, unsigned which) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || library == nullptr) {
        return RYN_INVALID_PARAMETER;
    }
    const rynLibrary *record = ryni_get_libp(registry, library);
    if (record == nullptr) {
        return RYN_LIBRARY_NOT_DEFINED;
    }
    const bool hasExplicit = record->explicitTmp != nullptr;
    const bool fromGlobal = (record->flags & RYNI_LIB_TMP_FROM_GLOBAL) != 0;
    const bool has = ((which & RYN_TMP_EXPLICIT) != 0 && hasExplicit && !fromGlobal) ||
                     ((which & RYN_TMP_GLOBAL) != 0 && hasExplicit && fromGlobal) ||
                     ((which & RYN_TMP_IMPLICIT) != 0 && record->implicitTmp != nullptr);
    return has ? RYN_OK : RYN_ATTRIBUTE_NOT_ASSIGNED;
}
