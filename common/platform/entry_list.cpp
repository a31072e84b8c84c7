#include "common/platform/entry_list.h"

#include "common/base/owned.h"

#include <cerrno>

namespace vek {

DirectoryReading readDirectory(const char *path, EntryList &entries,
                               std::optional<DirectoryIdentity> *identity) {
    const OwnedDirectory stream(opendir(path));
    if (!stream) {
        return {DirectoryReading::Outcome::NotOpened, errno};
    }
    if (identity != nullptr) {
        *identity = DirectoryIdentity::of(dirfd(stream.get()));
    }
    while (const dirent *entry = readdir(stream.get())) {
        const std::string_view name(entry->d_name);
        if (!isDotOrDotDot(name) && !entries.add(entry->d_type, name)) {
            return {DirectoryReading::Outcome::NoMemory};
        }
    }
    return {};
}

} // namespace vek
