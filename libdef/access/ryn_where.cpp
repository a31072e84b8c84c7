// Implements the functions that find statements and test what a registry contains: rynWhere...(), rynIsDefined(),
// rynIsAssigned(), rynIsIncluded() and rynLibHasTmp(). They search the records of the registry. The disk is only read
// to resolve the path of a library definition file.

#include "libdef/ryn.h"

#include "common/platform/system_path.h"
#include "common/platform/vek_path.h"
#include "common/text/ascii.h"
#include "common/text/fixed_text.h"
#include "libdef/access/ryni_tmp.h"
#include "libdef/paths/ryni_full_path.h"
#include "libdef/paths/ryni_nsl_path.h"
#include "libdef/registry/ryni_attributes.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_settings.h"

#include <string_view>

namespace {

/// Stores the path of the file `from` in `*file`, or null if `from` is null. Stores `fromLine` in `*line`. If the
/// pointer `file` or `line` is null, that value is not stored.
void storeLocation(const rynIncludedFile *from, int fromLine, const char **file, int *line) {
    if (file != nullptr) {
        *file = from == nullptr ? nullptr : from->path;
    }
    if (line != nullptr) {
        *line = fromLine;
    }
}

int reportInvalidParameter(const rynRegistry *registry, const char *context) {
    return ryni_do_fatal(registry, RYN_INVALID_PARAMETER, context);
}

/// Finds the attribute `name` of the library with the name `library`. Ignores the case of the attribute's name.
/// @param attribute  receives the attribute if the result is RYN_OK
/// @return RYN_OK, RYN_LIBRARY_NOT_DEFINED or RYN_ATTRIBUTE_NOT_ASSIGNED
int findAttribute(rynRegistry *registry, const char *library, std::string_view name,
                  const rynAttribute *&attribute) {
    const rynLibrary *record = ryni_get_libp(registry, library);
    if (record == nullptr) {
        return RYN_LIBRARY_NOT_DEFINED;
    }
    vek::PathText upperCase; // a name that does not fit cannot be assigned: lines of a file are shorter
    for (const char c : name) {
        if (!upperCase.append(vek::toUpper(c))) {
            return RYN_ATTRIBUTE_NOT_ASSIGNED;
        }
    }
    attribute = ryn::findAttribute(*record, upperCase.view());
    return attribute == nullptr ? RYN_ATTRIBUTE_NOT_ASSIGNED : RYN_OK;
}

/// Converts `path`, an argument of a public function, to an absolute path in which all symbolic links are resolved.
/// Documented: a relative `path` starts from the working directory of the process, not from that of the registry.
/// @param nsl  receives the absolute path
/// @return RYN_OK or an error code
int makeNslPath(rynRegistry *registry, const char *path, vek::PathText &nsl) {
    vek::PathText text;
    if (!text.assign(path)) {
        return RYN_INVALID_PATH;
    }
    text.edit(vekCanonicalizeDirSep);
    vek::PathText directory;
    if (vekIsRooted(text.c_str()) == 0 && !vek::readWorkingDirectory(directory)) {
        return RYN_SYSTEM_ERROR;
    }
    vek::PathText full;
    vek::PathText error;
    const int status = ryn::generateFullPath(text.c_str(), directory.c_str(), full, error, registry);
    return status != RYN_OK ? status : ryn::generateNslPath(full.c_str(), nsl, error, registry);
}

/// Finds the record of the library definition file `path` among the files that the registry has read.
/// @param file  receives the record if the result is RYN_OK
/// @return RYN_OK; RYN_FILE_NOT_INCLUDED if the registry has not read the file; or the error of makeNslPath()
int findIncluded(rynRegistry *registry, const char *path, const rynIncludedFile *&file) {
    vek::PathText nsl;
    const int status = makeNslPath(registry, path, nsl);
    if (status != RYN_OK) {
        return status;
    }
    file = ryn::findFile(*registry, nsl.c_str());
    return file == nullptr ? RYN_FILE_NOT_INCLUDED : RYN_OK;
}

} // namespace

int rynWhereDefined(rynHandle handle, const char *library, const char **file, int *line) {
    storeLocation(nullptr, 0, file, line);
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || library == nullptr || file == nullptr || line == nullptr) {
        return reportInvalidParameter(registry, "rynWhereDefined()");
    }
    const rynLibrary *record = ryni_get_libp(registry, library);
    if (record == nullptr) {
        return RYN_LIBRARY_NOT_DEFINED;
    }
    if (record->definedIn == nullptr) {
        return RYN_INTERNAL_ERROR;
    }
    storeLocation(record->definedIn, record->definedAtLine, file, line);
    return RYN_OK;
}

int rynWhereAssigned(rynHandle handle, const char *library, const char *attribute, const char **file,
                     int *line) {
    storeLocation(nullptr, 0, file, line);
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || library == nullptr || attribute == nullptr || file == nullptr ||
        line == nullptr) {
        return reportInvalidParameter(registry, "rynWhereAssigned()");
    }
    const rynAttribute *assigned = nullptr;
    const int status = findAttribute(registry, library, attribute, assigned);
    if (status != RYN_OK) {
        return status;
    }
    if (assigned->file == nullptr) {
        return RYN_INTERNAL_ERROR;
    }
    storeLocation(assigned->file, assigned->line, file, line);
    return RYN_OK;
}

int rynWhereGlobalExplicitTmp(rynHandle handle, const char **file, int *line) {
    storeLocation(nullptr, 0, file, line);
    const rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr) {
        return reportInvalidParameter(registry, "rynWhereGlobalExplicitTmp()");
    }
    const rynAttribute *root = registry->globalExplicitTmp;
    if (root == nullptr) {
        return RYN_ATTRIBUTE_NOT_ASSIGNED;
    }
    storeLocation(root->file, root->line, file, line);
    return RYN_OK;
}

int rynWhereIncluded(rynHandle handle, const char *path, const char **file, int *line) {
    storeLocation(nullptr, 0, file, line);
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || path == nullptr || file == nullptr || line == nullptr) {
        return reportInvalidParameter(registry, "rynWhereIncluded()");
    }
    const rynIncludedFile *included = nullptr;
    const int status = findIncluded(registry, path, included);
    if (status == RYN_OK) {
        storeLocation(included->includedFrom, included->line, file, line);
    }
    return status;
}

int rynIsDefined(rynHandle handle, const char *library) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || library == nullptr) {
        return reportInvalidParameter(registry, "rynIsDefined()");
    }
    return ryni_get_libp(registry, library) == nullptr ? RYN_LIBRARY_NOT_DEFINED : RYN_OK;
}

int rynIsAssigned(rynHandle handle, const char *library, const char *attribute) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || library == nullptr || attribute == nullptr) {
        return reportInvalidParameter(registry, "rynIsAssigned()");
    }
    const rynAttribute *assigned = nullptr;
    return findAttribute(registry, library, attribute, assigned);
}

int rynIsIncluded(rynHandle handle, const char *path) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || path == nullptr) {
        return reportInvalidParameter(registry, "rynIsIncluded()");
    }
    const rynIncludedFile *included = nullptr;
    return findIncluded(registry, path, included);
}

int rynLibHasTmp(rynHandle handle, const char *library, unsigned which) {
    rynRegistry *registry = ryn::registryOf(handle);
    if (registry == nullptr || library == nullptr) {
        return RYN_INVALID_PARAMETER; // Documented: this error is not reported.
    }
    const rynLibrary *record = ryni_get_libp(registry, library);
    if (record == nullptr) {
        return RYN_LIBRARY_NOT_DEFINED;
    }
    return ryn::hasTmp(*record, which) ? RYN_OK : RYN_ATTRIBUTE_NOT_ASSIGNED;
}
