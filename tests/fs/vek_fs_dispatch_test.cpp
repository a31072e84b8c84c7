#include "fs/vek_fs.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

/// The arguments of the last slot call, as numbers.
std::vector<std::uint64_t> received;

template <typename Argument>
std::uint64_t asNumber(Argument argument) {
    if constexpr (std::is_pointer_v<Argument>) {
        return reinterpret_cast<std::uintptr_t>(argument);
    } else {
        return static_cast<std::uint64_t>(argument);
    }
}

/// The status that a slot returns: one that no generic function returns itself.
constexpr int statusOfSlot(int number) {
    return 1000 + number;
}

template <int Number, typename... Arguments>
int slot(Arguments... arguments) {
    received = {asNumber(arguments)...};
    return statusOfSlot(Number);
}

constexpr vekFSIODef full = {
    "full",   slot<1>,  slot<2>,  slot<3>,  slot<4>,  slot<5>,  slot<6>,  slot<7>,  slot<8>,
    slot<9>,  slot<10>, slot<11>, slot<12>, slot<13>, slot<14>, slot<15>, slot<16>, slot<17>,
    slot<18>, slot<19>, slot<20>, slot<21>, slot<22>, slot<23>, slot<24>, slot<25>,
};
constexpr vekFSIODef empty = {.name = "empty",
                              .freeSpec = nullptr,
                              .getSpecString = nullptr,
                              .open = nullptr,
                              .getc = nullptr,
                              .ungetc = nullptr,
                              .fgets = nullptr,
                              .read = nullptr,
                              .write = nullptr,
                              .seek = nullptr,
                              .tell = nullptr,
                              .rewind = nullptr,
                              .fsync = nullptr,
                              .close = nullptr,
                              .stat = nullptr,
                              .lstat = nullptr,
                              .getFileMode = nullptr,
                              .getFileGID = nullptr,
                              .getFileUID = nullptr,
                              .getFileSize = nullptr,
                              .getFileModTime = nullptr,
                              .opendir = nullptr,
                              .readdir = nullptr,
                              .rewinddir = nullptr,
                              .closedir = nullptr,
                              .getDirentName = nullptr};

/// One object of each kind, all of one specifier, and a variable for each result.
class Dispatch : public ::testing::Test {
  protected:
    Dispatch() { file.descriptor = -1; }

    void bind(vekFSSpec *to) {
        file.spec = to;
        directory.spec = to;
        entry.spec = to;
        record.spec = to;
    }

    /// Expects that the operation passes its arguments to the slot, returns VEK_FS_NOT_SUPPORTED if the slot is empty, and
    /// EINVAL if an argument is null: with that slot, with an empty one, and natively.
    template <typename... Parameters>
    void expectSlot(int number, int (*operation)(Parameters...),
                    std::type_identity_t<Parameters>... arguments) {
        spec.implementation = &full;
        bind(&spec);
        received.clear();
        EXPECT_EQ(operation(arguments...), statusOfSlot(number));
        EXPECT_EQ(received, (std::vector<std::uint64_t>{asNumber(arguments)...})) << "slot " << number;

        received.clear();
        spec.implementation = &empty;
        EXPECT_EQ(operation(arguments...), VEK_FS_NOT_SUPPORTED) << "slot " << number;

        for (const vekFSIODef *const table : {&full, &empty, static_cast<const vekFSIODef *>(nullptr)}) {
            spec.implementation = table;
            expectNullsRefused(number, operation, std::tuple<Parameters...>(arguments...),
                               std::index_sequence_for<Parameters...>());
            constexpr bool ofSpecifier =
                ((std::is_same_v<Parameters, vekFSSpec *> || std::is_same_v<Parameters, const vekFSSpec *>) ||
                 ...);
            if constexpr (!ofSpecifier) {
                bind(nullptr);
                EXPECT_EQ(operation(arguments...), EINVAL) << "slot " << number << " without a specifier";
                bind(&spec);
            }
        }
        EXPECT_TRUE(received.empty()) << "no slot is called";
    }

    template <typename Operation, typename Arguments, std::size_t... Positions>
    void expectNullsRefused(int number, Operation operation, const Arguments &arguments,
                            std::index_sequence<Positions...> /*all*/) {
        (expectNullRefused<Positions>(number, operation, arguments), ...);
    }

    template <std::size_t Position, typename Operation, typename Arguments>
    void expectNullRefused(int number, Operation operation, Arguments arguments) {
        if constexpr (std::is_pointer_v<std::tuple_element_t<Position, Arguments>>) {
            if (static_cast<int>(Position) == optional) {
                return;
            }
            std::get<Position>(arguments) = nullptr;
            EXPECT_EQ(std::apply(operation, arguments), EINVAL)
                << "slot " << number << ", argument " << Position << ", "
                << (spec.implementation != nullptr ? spec.implementation->name : "native");
        }
    }

    char path[1] = "";
    vekFSSpec spec = {.path = path, .implementation = nullptr, .autoFree = 0};
    vekFSEntryBuffer entryBuffer = {};
    vekFSDirent entry = {.buffer = &entryBuffer, .spec = nullptr, .type = 0};
    vekFSFile file = {};
    vekFSDir directory = {.stream = nullptr, .spec = nullptr, .entry = &entry};
    vekFSStat record = {};

    char buffer[8] = {};
    size_t needed = 0;
    ssize_t count = 0;
    int64_t position = 0;
    int character = 0;
    char *line = nullptr;
    mode_t mode = 0;
    gid_t gid = 0;
    uid_t uid = 0;
    vekFSFile *newFile = nullptr;
    vekFSDir *newDirectory = nullptr;
    vekFSDirent *newEntry = nullptr;

    int optional = -1; ///< the position of an argument that may be null
};

TEST_F(Dispatch, SpecifierOperationsCallTheSpecifiersSlots) {
    expectSlot(1, vekFSFreeSpec, &spec);
    expectSlot(3, vekFS_open, &spec, 5, &newFile);
    expectSlot(14, vekFS_stat, &spec, &record);
    expectSlot(15, vekFS_lstat, &spec, &record);
    expectSlot(21, vekFS_opendir, &spec, &newDirectory);
}

TEST_F(Dispatch, TextOfASpecifierComesFromItsSlot) {
    optional = 3;
    expectSlot(2, vekFSGetSpecString, &spec, buffer, sizeof buffer, &needed);

    spec.implementation = &full;
    EXPECT_EQ(vekFSGetSpecString(&spec, buffer, sizeof buffer, nullptr), statusOfSlot(2));
    spec.implementation = &empty;
    EXPECT_EQ(vekFSGetSpecString(&spec, buffer, sizeof buffer, nullptr), VEK_FS_NOT_SUPPORTED);
}

TEST_F(Dispatch, FileOperationsCallTheSpecifiersSlots) {
    expectSlot(4, vekFS_getc, &file, &character);
    expectSlot(5, vekFS_ungetc, 'c', &file, &character);
    expectSlot(6, vekFS_fgets, buffer, sizeof buffer, &file, &line);
    expectSlot(7, vekFS_read, &file, buffer, sizeof buffer, &count);
    expectSlot(8, vekFS_write, &file, buffer, sizeof buffer, &count);
    expectSlot(9, vekFS_seek, &file, int64_t{1} << 40, SEEK_CUR, &position);
    expectSlot(10, vekFS_tell, &file, &position);
    expectSlot(11, vekFS_rewind, &file);
    expectSlot(12, vekFS_fsync, &file);
    expectSlot(13, vekFS_close, &file);
}

TEST_F(Dispatch, GettersCallTheSpecifiersSlots) {
    expectSlot(16, vekFS_getFileMode, &record, &mode);
    expectSlot(17, vekFS_getFileGID, &record, &gid);
    expectSlot(18, vekFS_getFileUID, &record, &uid);
    expectSlot(19, vekFS_getFileSize, &record, &position);
    expectSlot(20, vekFS_getFileModTime, &record, &position);
}

TEST_F(Dispatch, DirectoryOperationsCallTheSpecifiersSlots) {
    expectSlot(22, vekFS_readdir, &directory, &newEntry);
    expectSlot(23, vekFS_rewinddir, &directory);
    expectSlot(24, vekFS_closedir, &directory);
    expectSlot(25, vekFS_getDirentName, &entry, buffer, sizeof buffer, &needed);
}

TEST_F(Dispatch, NativeFilesHaveNoCharactersAndLines) {
    bind(&spec);
    EXPECT_EQ(vekFS_getc(&file, &character), VEK_FS_NOT_SUPPORTED);
    EXPECT_EQ(vekFS_ungetc('c', &file, &character), VEK_FS_NOT_SUPPORTED);
    EXPECT_EQ(vekFS_fgets(buffer, sizeof buffer, &file, &line), VEK_FS_NOT_SUPPORTED);
}

TEST_F(Dispatch, ResultsAreNullIfTheSlotIsEmpty) {
    spec.implementation = &empty;
    bind(&spec);
    newFile = &file;
    newDirectory = &directory;
    newEntry = &entry;
    EXPECT_EQ(vekFS_open(&spec, 0, &newFile), VEK_FS_NOT_SUPPORTED);
    EXPECT_EQ(vekFS_opendir(&spec, &newDirectory), VEK_FS_NOT_SUPPORTED);
    EXPECT_EQ(vekFS_readdir(&directory, &newEntry), VEK_FS_NOT_SUPPORTED);
    EXPECT_EQ(newFile, nullptr);
    EXPECT_EQ(newDirectory, nullptr);
    EXPECT_EQ(newEntry, nullptr);
}

TEST_F(Dispatch, ResultsAreNullIfTheObjectIsNull) {
    newFile = &file;
    newDirectory = &directory;
    newEntry = &entry;
    EXPECT_EQ(vekFS_open(nullptr, 0, &newFile), EINVAL);
    EXPECT_EQ(vekFS_opendir(nullptr, &newDirectory), EINVAL);
    EXPECT_EQ(vekFS_readdir(nullptr, &newEntry), EINVAL);
    EXPECT_EQ(newFile, nullptr);
    EXPECT_EQ(newDirectory, nullptr);
    EXPECT_EQ(newEntry, nullptr);
}

TEST_F(Dispatch, NameOfTheImplementationIsThatOfItsTable) {
    const char *name = nullptr;
    spec.implementation = &full;
    EXPECT_EQ(vekFSGetSpecIOImpName(&spec, &name), 0);
    EXPECT_STREQ(name, "full");
}

TEST(Records, HaveTheSpecifierAtADocumentedOffset) {
    EXPECT_EQ(offsetof(vekFSFile, spec), 8U);
    EXPECT_EQ(offsetof(vekFSFile, descriptor), 0U);
    EXPECT_EQ(offsetof(vekFSFile, stream), 0U);
    EXPECT_EQ(offsetof(vekFSDir, stream), 0U);
    EXPECT_EQ(offsetof(vekFSDir, spec), 8U);
    EXPECT_EQ(offsetof(vekFSDir, entry), 16U);
    EXPECT_EQ(offsetof(vekFSDirent, buffer), 0U);
    EXPECT_EQ(offsetof(vekFSDirent, spec), 8U);
    EXPECT_EQ(offsetof(vekFSStat, spec), 0U);
    EXPECT_EQ(offsetof(vekFSStat, status), 8U);
}

TEST(Records, HaveTheirFieldsInTheDocumentedOrder) {
    EXPECT_EQ(offsetof(vekFSSpec, path), 0U);
    EXPECT_EQ(offsetof(vekFSSpec, implementation), 8U);
    EXPECT_EQ(offsetof(vekFSSpec, autoFree), 16U);
    EXPECT_EQ(sizeof(vekFSSpec::autoFree), 4U);
    EXPECT_EQ(sizeof(vekFSFile::descriptor), 4U);
}

TEST(Records, TableHas26Slots) {
    EXPECT_EQ(sizeof(vekFSIODef), 26 * sizeof(void *));
    EXPECT_EQ(offsetof(vekFSIODef, name), 0U);
    EXPECT_EQ(offsetof(vekFSIODef, getc), 4 * sizeof(void *));
    EXPECT_EQ(offsetof(vekFSIODef, stat), 14 * sizeof(void *));
    EXPECT_EQ(offsetof(vekFSIODef, getDirentName), 25 * sizeof(void *));
}

} // namespace
