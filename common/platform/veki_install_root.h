#ifndef VEKI_INSTALL_ROOT_H
#define VEKI_INSTALL_ROOT_H

/// The steps of installation-root discovery.

#include "common/base/vek_api.h"

VEK_BEGIN_DECLS

/// Looks for the root of the running tool, starting from vekiExecutableName, and keeps it in vekiRootPath, which
/// is null afterwards when there is none. Errors go to standard error.
void vekiGetInstallRoot(void);

/// Runs the discovery unless a root is cached.
/// @return vekiRootPath, borrowed; null when there is no root
const char *vekiFindInstallRoot(void);

/// @return the rooted, clean path of the executable that the last discovery found, borrowed until the next one;
///         empty when it found none
const char *vekiFullExecutablePath(void);

/// Forgets the tools directory, so that the next query looks for it again.
void vekiForgetToolsDirectory(void);

/// Reads a command table: lines of fields, each blank or tab between two fields.
///
/// @param nameAsInvoked  its part behind the last "/" is what the first field of a line is compared with
/// @return the fifth field of the first line that has both, as a heap string that the caller frees; null when
///         there is none or the file cannot be opened
char *vekiGetRealPath(const char *nameAsInvoked, const char *tableFile);

VEK_END_DECLS

#ifdef __cplusplus

#include "common/text/fixed_text.h"

#include <string_view>

namespace vek {

/// The path of an executable: an executable name of full length fits.
using ExecutableText = FixedText<4098>;

/// Walks through a list of directories separated by ":". An empty element stands for ".", and an empty list has
/// one such element.
class DirectoryList {
  public:
    /// @param list  borrowed for the life of the walk; null has no element
    explicit DirectoryList(const char *list) : rest_(list) {}

    /// @return whether there was one more element, which `directory` then holds
    [[nodiscard]] bool next(std::string_view &directory);

  private:
    const char *rest_;
};

/// Finds the executable that starting `name` would run and makes its path rooted and clean.
///
/// @param path  receives it; empty when the search along `PATH` fails or the path is too long
void findExecutable(std::string_view name, ExecutableText &path);

/// The directory in which findRoot() begins.
enum class WalkFrom { Path, Parent };

/// Walks up `path` to the nearest directory that holds the marker of an installation; the last one tried is the
/// empty text, which stands for the root directory.
///
/// @param root  receives that directory, a prefix of `path`
/// @return whether there is one
[[nodiscard]] bool findRoot(std::string_view path, WalkFrom from, std::string_view &root);

/// Joins the pieces of a path in a caller's buffer, where `sub` may lie, too.
/// @return whether they and a NUL fitted; else the buffer is as it was
[[nodiscard]] bool joinInBuffer(char *buf, std::size_t size, std::string_view directory,
                                std::string_view separator, std::string_view sub);

/// A heap copy by vekiMalloc(), which the caller frees; null when that fails.
[[nodiscard]] char *copyReported(std::string_view text);

} // namespace vek

#endif

#endif
