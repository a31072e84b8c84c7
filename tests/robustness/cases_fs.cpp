#include "tests/robustness/cases.h"

#include <cstring>

#include <fcntl.h>

#include "fs/vek_fs.h"

namespace test {

namespace {

/// "" after success, otherwise the name of the step and its errno value or code.
std::string step(const char *name, int code) {
    if (code == VEK_FS_OK) {
        return "";
    }
    return std::string(name) + " " + (code > 0 ? strerrorname_np(code) : std::to_string(code));
}

/// Closes a file: after a failed close the second one frees it.
std::string close(vekFSFile *file) {
    const int code = vekFS_close(file);
    if (code != VEK_FS_OK) {
        vekFS_close(file);
    }
    return step("close", code);
}

using Open = int (*)(const char *path, int flags, vekFSFile **file);

std::string readWhole(const World &world, Open open) {
    vekFSFile *file = nullptr;
    const int code = open(world.path("proj/lib/readme.txt").c_str(), O_RDONLY, &file);
    if (code != VEK_FS_OK) {
        return step("open", code) + (file == nullptr ? "" : " undefined");
    }
    char buffer[64] = "";
    ssize_t count = 0;
    int64_t position = 0;
    std::string failure = step("seek", vekFS_seek(file, 2, SEEK_SET, &position));
    failure = failure.empty() ? step("tell", vekFS_tell(file, &position)) : failure;
    failure = failure.empty() ? step("rewind", vekFS_rewind(file)) : failure;
    failure = failure.empty() ? step("read", vekFS_read(file, buffer, sizeof buffer - 1, &count)) : failure;
    const std::string closing = close(file);
    failure = failure.empty() ? closing : failure;
    return failure.empty() ? buffer + std::to_string(position) : failure;
}

std::string readLines(const World &world) {
    vekFSFile *file = nullptr;
    const int code = vekFSStdio_openFile(world.path("proj/lib/readme.txt").c_str(), O_RDONLY, &file);
    if (code != VEK_FS_OK) {
        return step("open", code) + (file == nullptr ? "" : " undefined");
    }
    char buffer[64] = "";
    char *line = nullptr;
    int character = 0;
    std::string failure = step("fgets", vekFS_fgets(buffer, sizeof buffer, file, &line));
    failure = failure.empty() ? step("getc", vekFS_getc(file, &character)) : failure;
    failure = failure.empty() ? step("ungetc", vekFS_ungetc(character, file, &character)) : failure;
    const std::string closing = close(file);
    failure = failure.empty() ? closing : failure;
    return failure.empty() ? buffer + std::to_string(character) : failure;
}

std::string write(const World &world, Open open) {
    vekFSFile *file = nullptr;
    const int code = open(world.path("empty/new").c_str(), O_WRONLY | O_CREAT | O_TRUNC, &file);
    if (code != VEK_FS_OK) {
        return step("open", code) + (file == nullptr ? "" : " undefined");
    }
    ssize_t count = 0;
    std::string failure = step("write", vekFS_write(file, "text", 4, &count));
    failure = failure.empty() ? step("fsync", vekFS_fsync(file)) : failure;
    const std::string closing = close(file);
    failure = failure.empty() ? closing : failure;
    return failure.empty() ? std::to_string(count) : failure;
}

std::string list(vekFSDir *directory) {
    std::size_t total = 0;
    for (vekFSDirent *entry = nullptr;;) {
        const int code = vekFS_readdir(directory, &entry);
        if (code != VEK_FS_OK || entry == nullptr) {
            return code == VEK_FS_OK ? std::to_string(total) : step("readdir", code);
        }
        char name[256];
        std::size_t needed = 0;
        if (vekFS_getDirentName(entry, name, sizeof name, &needed) == VEK_FS_OK) {
            total += needed;
        }
    }
}

std::string listDirectory(const World &world) {
    vekFSSpec *spec = nullptr;
    int code = vekFSCreatePathSpec(world.path("proj/lib").c_str(), &spec);
    if (code != VEK_FS_OK) {
        return step("create", code) + (spec == nullptr ? "" : " undefined");
    }
    vekFSDir *directory = nullptr;
    code = vekFS_opendir(spec, &directory);
    std::string text = step("opendir", code) + (code == 0 || directory == nullptr ? "" : " undefined");
    if (directory != nullptr) {
        text = list(directory);
        vekFS_rewinddir(directory);
        code = vekFS_closedir(directory);
        if (code != VEK_FS_OK) {
            vekFS_closedir(directory);
            text = step("closedir", code);
        }
    }
    vekFSFreeSpec(spec);
    return text;
}

std::string listDirectly(const World &world) {
    const std::string path = world.path("proj/lib");
    vekFSSpec spec = {};
    std::string copy = path;
    spec.path = copy.data();
    vekFSDir *directory = nullptr;
    const int code = vekFSiOpendir(&spec, &directory);
    if (code != VEK_FS_OK) {
        return step("opendir", code) + (directory == nullptr ? "" : " undefined");
    }
    vekFSDirent *entry = nullptr;
    char name[256] = "";
    std::size_t needed = 0;
    vekFSiReaddir(directory, &entry);
    vekFSiRewinddir(directory);
    vekFSiReaddir(directory, &entry);
    const bool named =
        entry != nullptr && vekFSiGetDirentName(entry, name, sizeof name, &needed) == VEK_FS_OK;
    if (vekFSiClosedir(directory) != VEK_FS_OK) {
        vekFSiClosedir(directory);
        return "closedir";
    }
    return named ? "named" : "not named";
}

std::string status(const World &world, int (*create)(const char *, vekFSSpec **)) {
    vekFSSpec *spec = nullptr;
    const int code = create(world.path("proj/lib/readme.txt").c_str(), &spec);
    if (code != VEK_FS_OK) {
        return step("create", code) + (spec == nullptr ? "" : " undefined");
    }
    char text[4096] = "";
    std::size_t needed = 0;
    const char *name = nullptr;
    vekFSGetSpecString(spec, text, sizeof text, &needed);
    vekFSGetSpecIOImpName(spec, &name);
    vekFSStat record = {};
    vekFSStat itself = {};
    std::string failure = step("stat", vekFS_stat(spec, &record));
    failure = failure.empty() ? step("lstat", vekFS_lstat(spec, &itself)) : failure;
    if (failure.empty()) {
        mode_t mode = 0;
        gid_t group = 0;
        uid_t user = 0;
        int64_t size = 0;
        int64_t seconds = 0;
        const int sum = vekFS_getFileMode(&record, &mode) + vekFS_getFileGID(&record, &group) +
                        vekFS_getFileUID(&record, &user) + vekFS_getFileSize(&itself, &size) +
                        vekFS_getFileModTime(&itself, &seconds);
        failure = std::to_string(sum) + std::to_string(size);
    }
    vekFSFreeSpec(spec);
    return failure;
}

} // namespace

std::vector<Case> fsCases() {
    const std::vector<std::string> withoutMemory = {"open ENOMEM"};
    return {
        {{"vekFSCreatePathSpec", "vekFSFreeSpec", "vekFSGetSpecString", "vekFSGetSpecIOImpName", "vekFS_stat",
          "vekFS_lstat", "vekFS_getFileMode", "vekFS_getFileGID", "vekFS_getFileUID", "vekFS_getFileSize",
          "vekFS_getFileModTime"},
         [](World &w) { return status(w, vekFSCreatePathSpec); },
         {"create ENOMEM"}},
        {{"vekFSStdioCreatePathSpec"},
         [](World &w) { return status(w, vekFSStdioCreatePathSpec); },
         {"create ENOMEM"}},
        {{"vekFS_openFile", "vekFS_open", "vekFS_read", "vekFS_seek", "vekFS_tell", "vekFS_rewind",
          "vekFS_close"},
         [](World &w) { return readWhole(w, vekFS_openFile); },
         withoutMemory},
        {{"vekFSStdio_openFile"}, [](World &w) { return readWhole(w, vekFSStdio_openFile); }, withoutMemory},
        {{"vekFS_fgets", "vekFS_getc", "vekFS_ungetc"}, [](World &w) { return readLines(w); }, withoutMemory},
        {{"vekFS_write", "vekFS_fsync"},
         [](World &w) { return write(w, vekFS_openFile); },
         withoutMemory,
         true,
         true},
        {{"vekFS_write", "vekFS_fsync"},
         [](World &w) { return write(w, vekFSStdio_openFile); },
         withoutMemory,
         true,
         true},
        {{"vekFS_opendir", "vekFS_readdir", "vekFS_rewinddir", "vekFS_closedir", "vekFS_getDirentName"},
         [](World &w) { return listDirectory(w); },
         {"create ENOMEM", "opendir ENOMEM"}},
        {{"vekFSiOpendir", "vekFSiReaddir", "vekFSiRewinddir", "vekFSiClosedir", "vekFSiGetDirentName"},
         [](World &w) { return listDirectly(w); },
         {"opendir ENOMEM"}},
        {{"vekFS_strerror", "vekZipOpenZip", "vekZipCloseZip", "vekZipCreateSpec", "vekZip_zip",
          "vekZip_unzip"},
         [](World &) {
             char text[256] = "";
             vekFS_strerror(2, text, sizeof text, nullptr);
             vekZip *zip = nullptr;
             vekFSSpec *spec = nullptr;
             const int sum = vekZipOpenZip("a", &zip) + vekZipCloseZip(zip) +
                             vekZipCreateSpec(zip, "a", &spec) + vekZip_zip() + vekZip_unzip();
             return text + std::to_string(sum);
         }},
    };
}

} // namespace test
