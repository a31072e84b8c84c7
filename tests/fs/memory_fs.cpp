#include "tests/fs/memory_fs.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <set>
#include <vector>

namespace {

constexpr int64_t kModTime = 1'000'000'000;

/// The record in place of a specifier's path.
struct Target {
    test::MemoryFs *fs;
    std::string path;
};

struct OpenFile {
    std::string *content;
    int flags;
    std::size_t position = 0;
};

struct OpenDirectory {
    std::vector<std::string> names;
    std::size_t next = 0;
    vekFSDirent entry = {};
    vekFSEntryBuffer buffer = {};
};

Target &targetOf(const vekFSSpec *spec) {
    return *reinterpret_cast<Target *>(spec->path);
}

OpenFile &fileOf(vekFSFile *file) {
    return *static_cast<OpenFile *>(file->data);
}

OpenDirectory &directoryOf(vekFSDir *directory) {
    return *static_cast<OpenDirectory *>(directory->data);
}

int copyText(const std::string &text, char *buffer, size_t size, size_t *needed) {
    if (needed != nullptr) {
        *needed = text.size() + 1;
    }
    if (text.size() >= size) {
        return VEK_FS_BUFFER_TOO_SMALL;
    }
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return VEK_FS_OK;
}

/// The names in the directory `path`, without repeats.
std::set<std::string> namesIn(const test::MemoryFs &fs, const std::string &path) {
    std::set<std::string> names;
    for (const auto &[file, content] : fs.files) {
        if (file.starts_with(path + "/")) {
            const std::string rest = file.substr(path.size() + 1);
            names.insert(rest.substr(0, rest.find('/')));
        }
    }
    return names;
}

int freeSpec(vekFSSpec *spec) {
    delete &targetOf(spec);
    std::free(spec);
    return VEK_FS_OK;
}

int getSpecString(const vekFSSpec *spec, char *buffer, size_t size, size_t *needed) {
    return copyText("memory:" + targetOf(spec).path, buffer, size, needed);
}

int openFile(vekFSSpec *spec, int flags, vekFSFile **file) {
    Target &target = targetOf(spec);
    const bool exists = target.fs->files.contains(target.path);
    if (!exists && !namesIn(*target.fs, target.path).empty()) {
        return EISDIR;
    }
    if (!exists && (flags & O_CREAT) == 0) {
        return ENOENT;
    }
    std::string &content = target.fs->files[target.path];
    if ((flags & O_TRUNC) != 0) {
        content.clear();
    }
    *file = static_cast<vekFSFile *>(std::calloc(1, sizeof(vekFSFile)));
    (*file)->data = new OpenFile{&content, flags};
    (*file)->spec = spec;
    return VEK_FS_OK;
}

int getCharacter(vekFSFile *file, int *character) {
    OpenFile &open = fileOf(file);
    *character = open.position < open.content->size()
                     ? static_cast<unsigned char>((*open.content)[open.position++])
                     : EOF;
    return VEK_FS_OK;
}

int ungetCharacter(int character, vekFSFile *file, int *result) {
    OpenFile &open = fileOf(file);
    *result = open.position == 0 ? EOF : character;
    open.position -= open.position == 0 ? 0 : 1;
    return VEK_FS_OK;
}

int getLine(char *buffer, size_t size, vekFSFile *file, char **line) {
    OpenFile &open = fileOf(file);
    size_t length = 0;
    while (length + 1 < size && open.position < open.content->size()) {
        buffer[length] = (*open.content)[open.position++];
        if (buffer[length++] == '\n') {
            break;
        }
    }
    buffer[length] = '\0';
    *line = length == 0 ? nullptr : buffer;
    return VEK_FS_OK;
}

int readBytes(vekFSFile *file, void *buffer, size_t length, ssize_t *count) {
    OpenFile &open = fileOf(file);
    const size_t rest = open.content->size() - std::min(open.position, open.content->size());
    const size_t size = std::min(length, rest);
    std::memcpy(buffer, open.content->data() + (open.content->size() - rest), size);
    open.position += size;
    *count = static_cast<ssize_t>(size);
    return VEK_FS_OK;
}

int writeBytes(vekFSFile *file, const void *buffer, size_t length, ssize_t *count) {
    OpenFile &open = fileOf(file);
    if ((open.flags & O_ACCMODE) == O_RDONLY) {
        *count = -1;
        return EBADF;
    }
    open.content->resize(std::max(open.content->size(), open.position + length));
    std::memcpy(open.content->data() + open.position, buffer, length);
    open.position += length;
    *count = static_cast<ssize_t>(length);
    return VEK_FS_OK;
}

int tell(vekFSFile *file, int64_t *position) {
    *position = static_cast<int64_t>(fileOf(file).position);
    return VEK_FS_OK;
}

int seek(vekFSFile *file, int64_t offset, int whence, int64_t *position) {
    OpenFile &open = fileOf(file);
    int64_t base = 0;
    if (whence != SEEK_SET) {
        base = static_cast<int64_t>(whence == SEEK_CUR ? open.position : open.content->size());
    }
    if (base + offset < 0) {
        return EINVAL;
    }
    open.position = static_cast<size_t>(base + offset);
    return tell(file, position);
}

int rewindFile(vekFSFile *file) {
    fileOf(file).position = 0;
    return VEK_FS_OK;
}

int synchronize(vekFSFile * /*file*/) {
    return VEK_FS_OK;
}

int closeFile(vekFSFile *file) {
    delete &fileOf(file);
    std::free(file);
    return VEK_FS_OK;
}

int getStatus(vekFSSpec *spec, vekFSStat *record) {
    const Target &target = targetOf(spec);
    const auto found = target.fs->files.find(target.path);
    if (found == target.fs->files.end() && namesIn(*target.fs, target.path).empty()) {
        return ENOENT;
    }
    *record = {};
    record->spec = spec;
    if (found == target.fs->files.end()) {
        record->status.st_mode = S_IFDIR | 0755;
    } else {
        record->status.st_mode = S_IFREG | 0644;
        record->status.st_size = static_cast<off_t>(found->second.size());
    }
    return VEK_FS_OK;
}

int getMode(const vekFSStat *record, mode_t *mode) {
    *mode = record->status.st_mode;
    return VEK_FS_OK;
}

int getGroup(const vekFSStat * /*record*/, gid_t *gid) {
    *gid = 200;
    return VEK_FS_OK;
}

int getUser(const vekFSStat * /*record*/, uid_t *uid) {
    *uid = 100;
    return VEK_FS_OK;
}

int getSize(const vekFSStat *record, int64_t *size) {
    *size = record->status.st_size;
    return VEK_FS_OK;
}

int getModTime(const vekFSStat * /*record*/, int64_t *seconds) {
    *seconds = kModTime;
    return VEK_FS_OK;
}

int openDirectory(vekFSSpec *spec, vekFSDir **directory) {
    Target &target = targetOf(spec);
    if (target.fs->files.contains(target.path)) {
        return ENOTDIR;
    }
    const std::set<std::string> names = namesIn(*target.fs, target.path);
    if (names.empty()) {
        return ENOENT;
    }
    auto *open = new OpenDirectory{{names.begin(), names.end()}};
    open->names.insert(open->names.begin(), {".", ".."});
    open->entry = {.buffer = &open->buffer, .spec = spec, .type = DT_UNKNOWN};
    *directory = static_cast<vekFSDir *>(std::calloc(1, sizeof(vekFSDir)));
    (*directory)->data = open;
    (*directory)->spec = spec;
    (*directory)->entry = &open->entry;
    return VEK_FS_OK;
}

int readEntry(vekFSDir *directory, vekFSDirent **entry) {
    OpenDirectory &open = directoryOf(directory);
    if (open.next == open.names.size()) {
        return VEK_FS_OK;
    }
    const std::string &name = open.names[open.next++];
    static_cast<void>(copyText(name, &open.buffer.name[0], sizeof open.buffer.name, nullptr));
    *entry = &open.entry;
    return VEK_FS_OK;
}

int rewindDirectory(vekFSDir *directory) {
    directoryOf(directory).next = 0;
    return VEK_FS_OK;
}

int closeDirectory(vekFSDir *directory) {
    delete &directoryOf(directory);
    std::free(directory);
    return VEK_FS_OK;
}

int getEntryName(const vekFSDirent *entry, char *buffer, size_t size, size_t *needed) {
    return copyText(&entry->buffer->name[0], buffer, size, needed);
}

constexpr vekFSIODef kMemory = {
    .name = "memory",
    .freeSpec = freeSpec,
    .getSpecString = getSpecString,
    .open = openFile,
    .getc = getCharacter,
    .ungetc = ungetCharacter,
    .fgets = getLine,
    .read = readBytes,
    .write = writeBytes,
    .seek = seek,
    .tell = tell,
    .rewind = rewindFile,
    .fsync = synchronize,
    .close = closeFile,
    .stat = getStatus,
    .lstat = getStatus,
    .getFileMode = getMode,
    .getFileGID = getGroup,
    .getFileUID = getUser,
    .getFileSize = getSize,
    .getFileModTime = getModTime,
    .opendir = openDirectory,
    .readdir = readEntry,
    .rewinddir = rewindDirectory,
    .closedir = closeDirectory,
    .getDirentName = getEntryName,
};

} // namespace

int test::MemoryFs::createSpec(const std::string &path, vekFSSpec **spec) {
    *spec = static_cast<vekFSSpec *>(std::calloc(1, sizeof(vekFSSpec)));
    (*spec)->path = reinterpret_cast<char *>(new Target{this, path});
    (*spec)->implementation = &kMemory;
    return VEK_FS_OK;
}
