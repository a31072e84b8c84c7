#include "tests/libdef/archive_support.h"

#include "fs/vek_fs.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

struct vekZip {
    std::string archive;
    std::string directory;

    vekZip(std::string archivePath, std::string contents)
        : archive(std::move(archivePath)), directory(std::move(contents)) {}
};

namespace test {

ArchiveLayer archives;

namespace {

struct {
    bool typesHidden;
    bool failing;
    int entriesLeft;
    int error;
} reading;

std::vector<std::unique_ptr<vekZip>> openArchives;

/// What a specifier of an archive holds instead of a path.
struct Inside {
    std::string path;     ///< in the archive
    std::string realPath; ///< of the file with its contents
};

Inside &insideOf(const vekFSSpec *spec) {
    return *reinterpret_cast<Inside *>(spec->path);
}

int freeSpec(vekFSSpec *spec) {
    archives.calls.push_back("free " + insideOf(spec).path);
    delete &insideOf(spec);
    std::free(spec);
    return archives.freeStatus;
}

int getSpecString(const vekFSSpec *spec, char *buffer, size_t size, size_t *needed) {
    const std::string text = "archive:" + insideOf(spec).path;
    if (needed != nullptr) {
        *needed = text.size() + 1;
    }
    if (text.size() >= size) {
        return VEK_FS_BUFFER_TOO_SMALL;
    }
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return VEK_FS_OK;
}

int statInside(vekFSSpec *spec, vekFSStat *record) {
    const auto status = archives.statStatus.find(insideOf(spec).path);
    if (status != archives.statStatus.end()) {
        return status->second;
    }
    record->spec = spec;
    return ::stat(insideOf(spec).realPath.c_str(), &record->status) == 0 ? VEK_FS_OK : errno;
}

int getFileMode(const vekFSStat *record, mode_t *mode) {
    const auto given = archives.modes.find(insideOf(record->spec).path);
    *mode = given == archives.modes.end() ? record->status.st_mode : given->second;
    return archives.modeStatus;
}

// The native directory operations read the path of a native specifier, so they get a temporary one.

int openDirectory(vekFSSpec *spec, vekFSDir **directory) {
    vekFSSpec plain = {};
    plain.path = insideOf(spec).realPath.data();
    const int status = vekFSiOpendir(&plain, directory);
    if (status == VEK_FS_OK) {
        (*directory)->spec = spec;
        (*directory)->entry->spec = spec;
    }
    return status;
}

/// Replaces the entry record by one of two fields. The bytes after it look like the type of a file.
int openDirectoryWithOwnHolder(vekFSSpec *spec, vekFSDir **directory) {
    const int status = openDirectory(spec, directory);
    if (status == VEK_FS_OK) {
        void *const memory = std::malloc(sizeof(vekFSDirent));
        std::memset(memory, DT_REG, sizeof(vekFSDirent));
        auto *const holder = static_cast<vekFSDirent *>(memory);
        holder->buffer = (*directory)->entry->buffer;
        holder->spec = spec;
        std::free((*directory)->entry);
        (*directory)->entry = holder;
    }
    return status;
}

int readIntoOwnHolder(vekFSDir *directory, vekFSDirent **entry) {
    const dirent *const found = ::readdir(directory->stream);
    if (found != nullptr) {
        std::memcpy(&directory->entry->buffer->name[0], &found->d_name[0], std::strlen(found->d_name) + 1);
        *entry = directory->entry;
    }
    return VEK_FS_OK;
}

int getDirentName(const vekFSDirent *entry, char *buffer, size_t size, size_t *needed) {
    const int status = vekFSiGetDirentName(entry, buffer, size, needed);
    if (status != VEK_FS_OK || archives.nameBytes == 0 || std::strcmp(buffer, "long") != 0) {
        return status;
    }
    *needed = archives.nameBytes + 1;
    if (*needed > size) {
        return VEK_FS_BUFFER_TOO_SMALL;
    }
    std::memset(buffer, 'x', archives.nameBytes);
    buffer[archives.nameBytes] = '\0';
    return VEK_FS_OK;
}

constexpr vekFSIODef makeTable(bool hasOwnReaddir) {
    vekFSIODef table = {};
    table.name = "archive";
    table.freeSpec = freeSpec;
    table.getSpecString = getSpecString;
    table.stat = statInside;
    table.lstat = statInside;
    table.getFileMode = getFileMode;
    table.opendir = hasOwnReaddir ? openDirectoryWithOwnHolder : openDirectory;
    table.readdir = hasOwnReaddir ? readIntoOwnHolder : vekFSiReaddir;
    table.closedir = vekFSiClosedir;
    table.getDirentName = getDirentName;
    return table;
}

constexpr vekFSIODef table = makeTable(false);
constexpr vekFSIODef tableWithOwnReaddir = makeTable(true);

class ResetBetweenTests : public ::testing::EmptyTestEventListener {
    void OnTestStart(const ::testing::TestInfo & /*info*/) override { reset(); }
    void OnTestEnd(const ::testing::TestInfo & /*info*/) override { reset(); }
    static void reset() {
        archives = {};
        openArchives.clear();
        reading = {};
    }
};

[[maybe_unused]] const bool resets = [] {
    ::testing::UnitTest::GetInstance()->listeners().Append(new ResetBetweenTests);
    return true;
}();

} // namespace

void hideEntryTypes(bool hidden) {
    reading.typesHidden = hidden;
}

void failReadingAfter(int entries, int error) {
    reading.failing = true;
    reading.entriesLeft = entries;
    reading.error = error;
}

} // namespace test

using test::archives;
using test::openArchives;
using test::reading;

extern "C" {

dirent *__real_readdir(DIR *stream);

dirent *__wrap_readdir(DIR *stream) {
    if (reading.failing && reading.entriesLeft-- <= 0) {
        errno = reading.error;
        return nullptr;
    }
    dirent *const entry = __real_readdir(stream);
    if (entry != nullptr && reading.typesHidden) {
        entry->d_type = DT_UNKNOWN;
    }
    return entry;
}

int __wrap_vekZipOpenZip(const char *path, vekZip **zip) {
    archives.calls.push_back(std::string("open ") + path);
    const auto found = archives.contents.find(path);
    if (found == archives.contents.end()) {
        return VEK_FS_NOT_SUPPORTED;
    }
    *zip = openArchives.emplace_back(std::make_unique<vekZip>(path, found->second)).get();
    return VEK_FS_OK;
}

int __wrap_vekZipCloseZip(vekZip *zip) {
    archives.calls.push_back("close " + zip->archive);
    std::erase_if(openArchives, [zip](const auto &open) { return open.get() == zip; });
    return VEK_FS_OK;
}

int __wrap_vekZipCreateSpec(vekZip *zip, const char *path, vekFSSpec **spec) {
    archives.calls.push_back(std::string("spec ") + path);
    if (archives.createStatus != 0) {
        return archives.createStatus;
    }
    auto *made = static_cast<vekFSSpec *>(std::calloc(1, sizeof(vekFSSpec)));
    if (made == nullptr) {
        return ENOMEM;
    }
    made->path = reinterpret_cast<char *>(new test::Inside{path, zip->directory + "/" + path});
    made->implementation = archives.hasOwnReaddir ? &test::tableWithOwnReaddir : &test::table;
    *spec = made;
    return VEK_FS_OK;
}
}
