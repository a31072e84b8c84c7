#include "search/pux.h"

#include "common/base/owned.h"
#include "common/containers/vek_hash.h"
#include "common/containers/vek_string_hash.h"
#include "common/platform/open_text.h"
#include "common/text/ascii.h"
#include "common/text/fixed_text.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

namespace {

constexpr const char *kConfigName = "puxLookupConfig";
constexpr int kDefaultSize = 0;

/// A file name, as an entry of a table and as a key. Its characters and their NUL stand behind it, in as much
/// memory as they take.
struct FileName {
    FileName *next;

    [[nodiscard]] char *text() { return static_cast<char *>(static_cast<void *>(this + 1)); }
    [[nodiscard]] const char *text() const {
        return static_cast<const char *>(static_cast<const void *>(this + 1));
    }
};

using OwnedName = vek::Owned<FileName>;

/// @return the file name, which the table that takes it links; null when memory is exhausted
OwnedName makeName(std::string_view text) {
    const std::size_t size = text.size() + 1;
    OwnedName name(static_cast<FileName *>(std::malloc(sizeof(FileName) + size)));
    if (name) {
        static_cast<void>(vek::copyToBuffer(text, name->text(), size));
    }
    return name;
}

uint32_t hashName(const void *key, const vekHashTable * /*table*/) {
    return vekHashString32(static_cast<const FileName *>(key)->text());
}

int equalNames(const void *entry, const void *key) {
    const char *const name = static_cast<const FileName *>(entry)->text();
    return std::strcmp(name, static_cast<const FileName *>(key)->text()) == 0 ? 1 : 0;
}

/// A set of file names, which it owns.
class NameTable {
  public:
    NameTable() { allocate(); }
    ~NameTable() { release(); }
    NameTable(const NameTable &) = delete;
    NameTable &operator=(const NameTable &) = delete;
    NameTable(NameTable &&) = delete;
    NameTable &operator=(NameTable &&) = delete;

    /// Whether there was memory for it. Without, there is nothing that could be done with it.
    [[nodiscard]] bool isAllocated() const { return table_.buckets != nullptr; }

    void add(OwnedName name) {
        if (vekHashCreate(&table_, name.get()) == nullptr) {
            static_cast<void>(name.release()); // the table's now; one that was there already goes
        }
    }

    void remove(const FileName &name) {
        const OwnedName removed(static_cast<FileName *>(vekHashDelete(&table_, &name)));
    }

    [[nodiscard]] bool contains(const FileName &name) { return vekHashProbe(&table_, &name) != nullptr; }

    /// Empties the table, and makes it as small as it was at first: a file that fills and empties it over and
    /// over costs no more than what it fills in. @return whether there was memory for that
    [[nodiscard]] bool clear() {
        if (table_.entryCount != 0) {
            release();
            allocate();
        }
        return isAllocated();
    }

  private:
    void allocate() {
        vekHashAllocTable(&table_, kDefaultSize, kDefaultSize, offsetof(FileName, next), equalNames,
                          hashName);
    }

    void release() {
        for (int32_t i = 0; i < table_.bucketCount; ++i) {
            while (table_.buckets[i] != nullptr) {
                remove(*static_cast<const FileName *>(table_.buckets[i]));
            }
        }
        vekHashFreeTable(&table_);
    }

    vekHashTable table_ = {};
};

enum class Command { All, None, Include, Exclude };

struct CommandWord {
    std::string_view word;
    Command command;
};

/// The words of a configuration file, in any case. Every other word is a file name to include.
constexpr std::array<CommandWord, 4> kCommandWords = {{{"ALL", Command::All},
                                                       {"NONE", Command::None},
                                                       {"INCLUDE", Command::Include},
                                                       {"EXCLUDE", Command::Exclude}}};

std::string_view withoutSpace(std::string_view text) {
    while (!text.empty() && vek::isSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && vek::isSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

bool beginsComment(std::string_view line) {
    return line.empty() || line.front() == '#' || line.front() == ';' || vek::startsWith(line, "--");
}

/// What a configuration file says, line by line.
class LookupConfig {
  public:
    [[nodiscard]] bool isAllocated() const { return included_.isAllocated() && excluded_.isAllocated(); }

    /// Does what a line says. @return whether there was memory for it
    [[nodiscard]] bool execute(std::string_view line) {
        const std::string_view text = withoutSpace(line);
        if (beginsComment(text)) {
            return true;
        }
        std::size_t end = 0;
        while (end < text.size() && !vek::isSpace(text[end])) {
            ++end;
        }
        const std::string_view word(text.data(), end);
        const std::string_view rest(text.data() + end, text.size() - end);
        for (const CommandWord &known : kCommandWords) {
            if (vek::equalNoCase(word, known.word)) {
                return execute(known.command, withoutSpace(rest));
            }
        }
        return move(word, excluded_, included_);
    }

    [[nodiscard]] bool looksUp(const FileName &name) {
        return included_.contains(name) || (all_ && !excluded_.contains(name));
    }

  private:
    [[nodiscard]] bool execute(Command command, std::string_view name) {
        switch (command) {
        case Command::All:
        case Command::None:
            all_ = command == Command::All;
            return included_.clear() && excluded_.clear();
        case Command::Include:
            return move(name, excluded_, included_);
        case Command::Exclude:
            return move(name, included_, excluded_);
        }
        return true;
    }

    /// No name is no command.
    [[nodiscard]] static bool move(std::string_view text, NameTable &from, NameTable &to) {
        if (text.empty()) {
            return true;
        }
        OwnedName name = makeName(text);
        if (!name) {
            return false;
        }
        from.remove(*name);
        to.add(std::move(name));
        return true;
    }

    bool all_ = false;
    NameTable included_;
    NameTable excluded_;
};

} // namespace

int puxUsePuxFor(char **list, const char *fileName) {
    if (fileName == nullptr) {
        return PUX_INVALID_PARAMETER;
    }
    std::array<char, VEK_SEARCH_PATH_SIZE> path; // NOLINT(cppcoreguidelines-pro-type-member-init)
    if (const int code = puxSearch(list, kConfigName, path.data(), path.size()); code != PUX_OK) {
        return code;
    }
    LookupConfig config;
    const OwnedName name = makeName(fileName);
    if (!config.isAllocated() || !name) {
        return PUX_MEMORY_ERROR;
    }
    const vek::OwnedStream file = vek::openForReading(path.data());
    if (!file) {
        return PUX_PERMISSION_DENIED;
    }
    std::array<char, 1024> line; // NOLINT(cppcoreguidelines-pro-type-member-init): fgets() fills it
    while (std::fgets(line.data(), static_cast<int>(line.size()), file.get()) != nullptr) {
        if (!config.execute(line.data())) {
            return PUX_MEMORY_ERROR;
        }
    }
    return config.looksUp(*name) ? PUX_OK : PUX_FILE_NOT_FOUND;
}
