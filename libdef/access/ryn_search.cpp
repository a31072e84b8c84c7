// Implements rynSearch(), rynFullSearch() and rynFindWritable(), which search for configuration files in the
// directories of a search list (pux.h) and of a library.
// Each function builds a search list and finds the directories of the library. It passes both to a search function of
// pux.h, which searches the directories of the library in the place of the entry "@LIBRARY".

#include "libdef/ryn.h"

#include "common/text/fixed_text.h"
#include "common/text/owned_strlist.h"
#include "libdef/access/ryni_get_path.h"
#include "libdef/access/ryni_query.h"
#include "libdef/access/ryni_tmp.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_settings.h"
#include "search/pux.h"

#include <array>
#include <cstddef>
#include <memory>

namespace {

/// One kind of directory that a library can have, and the rynGetPath() modes that return the path of that directory.
struct DirectoryKind {
    unsigned temporary; ///< RYN_TMP_... flags, one of which must apply; 0 for the library's own directory
    unsigned readMode;  ///< the mode to search for existing files
    unsigned writeMode; ///< the mode to search for a writable directory
};

/// The kinds of library directories in search order: explicit or global temporary directory, implicit temporary
/// directory, the library's own directory.
/// The second row uses RYN_PATH_WRITE also as its read mode, because no read mode returns only the implicit temporary
/// directory. The modes of the first row try the implicit temporary directory before the explicit one. If a library has
/// both, both rows can therefore return the implicit one, which is then searched twice. This is intended.
constexpr std::array<DirectoryKind, 3> kDirectoryKinds = {{
    {RYN_TMP_EXPLICIT | RYN_TMP_GLOBAL, RYN_PATH_READ_TMP, RYN_PATH_WRITE_TMP},
    {RYN_TMP_IMPLICIT, RYN_PATH_WRITE, RYN_PATH_WRITE},
    {0, RYN_PATH_READ_LIBRARY, RYN_PATH_WRITE_LIBRARY},
}};

/// The directories of one library in search order, as a null-terminated array of paths. The object owns the paths.
class LibraryDirectories {
  public:
    /// @param library  the name of the library; if it is null or rynQuery() does not find the library, the array stays
    ///                 empty
    /// @param mode     the member that contains the rynGetPath() mode: DirectoryKind::readMode or
    ///                 DirectoryKind::writeMode
    LibraryDirectories(rynHandle handle, const char *library, unsigned DirectoryKind::*mode) {
        if (library == nullptr) {
            return;
        }
        rynRegistry *const registry = ryn::registryOf(handle);
        if (registry == nullptr) {
            ryni_do_fatal(registry, RYN_INVALID_PARAMETER, "rynQuery()");
            return;
        }
        rynLibrary *const record = ryni_get_libp(registry, library);
        if (record == nullptr || ryn::queryObject(registry, *record, RYN_QUERY_EXISTS, {}) != RYN_OK) {
            return;
        }
        for (const DirectoryKind &kind : kDirectoryKinds) {
            if (kind.temporary == 0 || ryn::hasTmp(*record, kind.temporary)) {
                add(*registry, *record, kind.*mode);
            }
        }
    }
    LibraryDirectories(const LibraryDirectories &) = delete;
    LibraryDirectories &operator=(const LibraryDirectories &) = delete;

    [[nodiscard]] char **list() { return list_.data(); }

  private:
    void add(const rynRegistry &registry, const rynLibrary &library, unsigned mode) {
        vek::PathText &path = paths_[count_];
        if (ryn::findPath(&registry, library, mode, {}, path) == RYN_OK) {
            list_[count_++] = const_cast<char *>(path.c_str());
        }
    }

    std::array<vek::PathText, kDirectoryKinds.size()> paths_;
    std::array<char *, kDirectoryKinds.size() + 1> list_ = {};
    std::size_t count_ = 0;
};

struct ReleaseSearchList {
    void operator()(char **list) const { static_cast<void>(puxReleaseHandle(list)); }
};
using OwnedSearchList = std::unique_ptr<char *, ReleaseSearchList>;

/// Creates the default search list: the directories in which configuration files are searched for.
/// @return the search list; null if puxInitialize() fails
OwnedSearchList openSearchList() {
    char **list = nullptr;
    return OwnedSearchList(puxInitialize(&list) == PUX_OK ? list : nullptr);
}

/// A null-terminated array with one directory path, or with none if the constructor receives null. It is an argument
/// for functions that take a `char **` and do not modify the strings.
class OneDirectory {
  public:
    explicit OneDirectory(const char *directory) : list_{const_cast<char *>(directory), nullptr} {}

    /// @return the null-terminated array; null if the constructor received null
    [[nodiscard]] char **list() { return list_[0] == nullptr ? nullptr : list_.data(); }

  private:
    std::array<char *, 2> list_;
};

struct Translation {
    int searched;
    int code;
};

constexpr std::array<Translation, 5> kTranslations = {{
    {PUX_OK, RYN_OK},
    {PUX_INVALID_PARAMETER, RYN_INVALID_PARAMETER},
    {PUX_BUFFER_TOO_SMALL, RYN_BUFFER_TOO_SMALL},
    {PUX_FILE_NOT_FOUND, RYN_NO_SUCH_FILE},
    {PUX_PERMISSION_DENIED, RYN_PERMISSION_DENIED_FILE},
}};

/// Converts `searched`, a PUX_ code that a search returned, to the RYN_ code with the same meaning.
int translated(int searched) {
    for (const Translation &translation : kTranslations) {
        if (translation.searched == searched) {
            return translation.code;
        }
    }
    return RYN_INTERNAL_ERROR; // Not reached: the table has every code of a search
}

} // namespace

int rynSearch(rynHandle handle, const char *name, const char *directory, const char *library, char *path,
              size_t size) {
    return rynSearchList(handle, name, OneDirectory(directory).list(), library, path, size);
}

int rynSearchList(rynHandle handle, const char *name, char **directories, const char *library, char *path,
                  size_t size) {
    const OwnedSearchList searchList = openSearchList();
    if (!searchList) {
        return RYN_INTERNAL_ERROR;
    }
    LibraryDirectories libraries(handle, library, &DirectoryKind::readMode);
    return translated(puxSearchEx(searchList.get(), name, directories, libraries.list(), path, size));
}

int rynFullSearch(rynHandle handle, const char *name, const char *directory, const char *library,
                  char ***paths) {
    return rynFullSearchList(handle, name, OneDirectory(directory).list(), library, paths);
}

int rynFullSearchList(rynHandle handle, const char *name, char **directories, const char *library,
                      char ***paths) {
    if (paths == nullptr) {
        return RYN_INVALID_PARAMETER;
    }
    *paths = nullptr;
    const OwnedSearchList searchList = openSearchList();
    if (!searchList) {
        return RYN_INTERNAL_ERROR;
    }
    LibraryDirectories libraries(handle, library, &DirectoryKind::readMode);
    std::array<char, VEK_PATH_SIZE> path; // NOLINT(cppcoreguidelines-pro-type-member-init)
    vek::StrlistBuilder found;
    // Call puxSearchEx() once for each directory of the library. If there is none, nothing is searched, not even the
    // other directories of the search list.
    for (char **directory = libraries.list(); *directory != nullptr; ++directory) {
        OneDirectory libraryDirectory(*directory);
        const int searched = puxSearchEx(searchList.get(), name, directories, libraryDirectory.list(),
                                         path.data(), path.size());
        if (searched == PUX_OK && !found.add(path.data())) {
            return RYN_MEMORY_ERROR;
        }
    }
    *paths = found.take().release();
    return *paths == nullptr ? RYN_NO_SUCH_FILE : RYN_OK;
}

int rynFindWritable(rynHandle handle, const char *name, const char *library, char *path, size_t size) {
    const OwnedSearchList searchList = openSearchList();
    if (!searchList) {
        return RYN_INTERNAL_ERROR;
    }
    LibraryDirectories libraries(handle, library, &DirectoryKind::writeMode);
    return translated(puxFindWritableEx(searchList.get(), name, libraries.list(), path, size));
}
