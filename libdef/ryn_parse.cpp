#include "libdef/ryni_parse.h"

#include "common/ascii.h"
#include "common/fixed_text.h"
#include "common/open_text.h"
#include "common/owned.h"
#include "common/vek_path.h"
#include "libdef/ryni_error.h"
#include "libdef/ryni_path.h"
#include "libdef/ryni_statement.h"
#include "libdef/ryni_tmp.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <sys/stat.h>
#include <sys/types.h>
#include <utility>

namespace {

struct Keyword {
    std::string_view name;
    int arguments; ///< how many it needs
    int (*execute)(const ryniCommand &);
};

constexpr std::array<Keyword, 7> kKeywords = {{
    {"DEFINE", 2, ryniDefine},
    {"SOFTDEFINE", 2, ryniSoftDefine},
    {"UNDEFINE", 1, ryniUndefine},
    {"INCLUDE", 1, ryniInclude},
    {"SOFTINCLUDE", 1, ryniSoftInclude},
    {"ASSIGN", 3, ryniAssign},
    {"UNASSIGN", 2, ryniUnassign},
}};

const Keyword *findKeyword(std::string_view word) {
    for (const Keyword &keyword : kKeywords) {
        if (vek::equalNoCase(word, keyword.name)) {
            return &keyword;
        }
    }
    return nullptr;
}

/// More arguments than needed are fine when they are a comment.
bool hasRightArguments(const Keyword &keyword, const ryniStatement &statement) {
    if (statement.count <= keyword.arguments) {
        return statement.count == keyword.arguments;
    }
    return *statement.arguments[static_cast<std::size_t>(keyword.arguments)] == '#';
}

int execute(const ryniCommand &command, const ryniStatement &statement) {
    const Keyword *keyword = findKeyword(statement.keyword);
    if (keyword == nullptr) {
        return command.diagnose(RYN_SYNTAX_ERROR, statement.keyword);
    }
    if (!hasRightArguments(*keyword, statement)) {
        return command.diagnose(RYN_SYNTAX_ERROR, statement.copy);
    }
    return keyword->execute(command);
}

/// Where a line stands.
struct Place {
    rynIncludedFile *file;
    const char *directory;
    int line;
};

/// Executes one line, up to the reading of a file that it includes.
///
/// @param toRead  receives the path of that file
int executeLine(rynRegistry *registry, const char *line, const Place &place, bool applyTmpNow,
                vek::OwnedText &toRead) {
    ryniStatement statement; // NOLINT(cppcoreguidelines-pro-type-member-init): ryniLex() fills it
    const ryniCommand command = {registry,    place.file, place.directory,    place.line,
                                 applyTmpNow, toRead,     statement.arguments};
    switch (ryniLex(line, statement)) {
    case Lexed::Nothing:
        return RYN_OK;
    case Lexed::SyntaxError:
        return command.diagnose(RYN_SYNTAX_ERROR, statement.copy);
    case Lexed::Statement:
        break;
    }
    return execute(command, statement);
}

vek::OwnedText directoryOf(const char *path) {
    const std::string_view text(path);
    const std::size_t slash = text.rfind('/');
    return vek::copyText({path, slash == 0 ? 1 : slash});
}

/// One file that is being read.
struct Level {
    Level *includer;
    rynIncludedFile *file;
    FILE *stream;
    char *rest; ///< what the stream reads, when it reads memory
    char *directory;
    int line;
    int status; ///< of its last line
};

void freeLevel(Level *level) {
    static_cast<void>(std::fclose(level->stream));
    std::free(level->rest);
    std::free(level->directory);
    std::free(level);
}

/// What is left of a file, as a stream over the memory that `rest` receives.
/// @param lost  receives whether the file is no longer where it was, as it is else where that cannot be had
/// @return null where that cannot be had
vek::OwnedStream restInMemory(FILE *file, vek::OwnedText &rest, bool &lost) {
    lost = false;
    struct stat status = {};
    const off_t at = ftello(file);
    if (at < 0 || fstat(fileno(file), &status) != 0 || status.st_size < at) {
        return nullptr;
    }
    const auto size = static_cast<std::size_t>(status.st_size - at);
    rest.reset(static_cast<char *>(std::malloc(size + 1)));
    vek::OwnedStream memory;
    if (rest && std::fread(rest.get(), 1, size, file) == size) {
        memory.reset(fmemopen(rest.get(), size, "r"));
    }
    if (!memory) {
        lost = fseeko(file, at, SEEK_SET) != 0;
    }
    return memory;
}

/// Closes a file that includes others; it is read on from memory. Nesting is limited by nothing but memory then: no
/// more than one file is open at a time. A file whose rest cannot be had stays open.
/// @return false when the rest is lost
bool closeEarly(Level &level) {
    if (level.rest != nullptr) {
        return true;
    }
    vek::OwnedText rest;
    bool lost = false;
    vek::OwnedStream memory = restInMemory(level.stream, rest, lost);
    if (memory) {
        static_cast<void>(std::fclose(level.stream));
        level.stream = memory.release();
        level.rest = rest.release();
    }
    return !lost;
}

/// Reads a file and, where they are included, others. They nest in a list, not on the stack.
class Reader {
  public:
    explicit Reader(rynRegistry *registry) : registry_(registry) {}
    ~Reader() {
        while (level_ != nullptr) {
            freeLevel(pop());
        }
    }
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

    /// @param recordOut  null, or receives the record of the file once it is open
    /// @return the result of the file
    int read(const char *path, rynIncludedFile **recordOut) {
        int result = enter(path);
        if (recordOut != nullptr && level_ != nullptr) {
            *recordOut = level_->file;
        }
        while (level_ != nullptr) {
            vek::OwnedText included;
            if (!executeNextLine(included)) {
                result = leave();
            } else if (included) {
                include(included.get());
            }
        }
        return result;
    }

  private:
    /// Begins to read a file. @return RYN_OK, or the code of a failure, which has been reported
    int enter(const char *path) {
        ryni_setLastErr(RYN_OK);
        rynIncludedFile *file = nullptr;
        const int status = record(path, file);
        if (status != RYN_OK) {
            return status;
        }
        vek::OwnedStream stream = vek::openForReading(path);
        if (!stream) {
            return ryni_do_fatal(registry_, RYN_SYSTEM_ERROR, path);
        }
        vek::OwnedText directory = directoryOf(path);
        auto *level = static_cast<Level *>(std::malloc(sizeof(Level)));
        if (!directory || level == nullptr) {
            std::free(level);
            return ryni_do_fatal(registry_, RYN_MEMORY_ERROR, "ryni_parse_veklib_file()");
        }
        *level = {level_, file, stream.release(), nullptr, directory.release(), 0, RYN_OK};
        level_ = level;
        return RYN_OK;
    }

    void include(const char *path) {
        const char *includer = level_->file->path;
        const int status =
            closeEarly(*level_) ? enter(path) : ryni_do_fatal(registry_, RYN_SYSTEM_ERROR, includer);
        if (status != RYN_OK) {
            level_->status = status;
        }
    }

    /// Computes the nsl path of a file and appends the file's record.
    int record(const char *path, rynIncludedFile *&file) {
        vek::PathText nsl;
        vek::PathText error;
        const int status = ryni_generate_nsl_path(path, nsl.data(), error.data(), registry_);
        if (status == RYN_INTERNAL_ERROR && std::strchr(path, '/') == nullptr) {
            return ryni_do_fatal(registry_, status, "ryni_parse_veklib_file() - 1");
        }
        if (status != RYN_OK) {
            return ryni_do_fatal(registry_, status, error.c_str());
        }
        const char *context = nullptr;
        file = ryniAddFile(registry_, path, nsl.c_str(), &context);
        return file != nullptr ? RYN_OK : ryni_do_fatal(registry_, RYN_MEMORY_ERROR, context);
    }

    /// @return false at the end of the file, and behind the first line whose status is not 0
    bool executeNextLine(vek::OwnedText &included) {
        if (level_->status != RYN_OK ||
            vek_fgets(line_, static_cast<int>(sizeof line_), level_->stream) == nullptr) {
            return false;
        }
        const Place place = {level_->file, level_->directory, ++level_->line};
        level_->status = executeLine(registry_, line_, place, false, included);
        return true;
    }

    /// Ends the reading of the innermost file, and tells its includer how it went. @return its result
    int leave() {
        const int result = resultOf(*level_);
        Level *level = pop();
        if (level_ == nullptr) {
            // The first file's includer, if any, is the caller's.
        } else if (result == RYN_OK) {
            level->file->includedFrom = level_->file;
            level->file->line = level_->line;
        } else {
            level_->status = result;
        }
        freeLevel(level);
        return result;
    }

    int resultOf(const Level &level) {
        if (std::ferror(level.stream) != 0) {
            return ryni_do_fatal(registry_, RYN_SYSTEM_ERROR, level.file->path);
        }
        const int rootStatus = sAddGlobalTmppath(registry_, level.directory);
        if (ryni_useDefaultWarn() != 0) {
            // With the default handler every diagnostic is a failure, though reading went on after it.
            return ryni_getLastErr();
        }
        return level.status != RYN_OK ? level.status : rootStatus;
    }

    Level *pop() {
        Level *level = level_;
        level_ = level->includer;
        return level;
    }

    rynRegistry *registry_;
    Level *level_ = nullptr; ///< the innermost file
    char line_[VEK_PATH_SIZE] = {};
};

} // namespace

int ryni_parse_veklib_file(const char *path, rynRegistry *registry, rynIncludedFile **recordOut) {
    return Reader(registry).read(path, recordOut);
}

int ryni_process_command(rynRegistry *registry, const char *line, const char *directory,
                         rynIncludedFile *file, int lineNumber, int applyTmpNow) {
    vek::OwnedText included;
    int status = executeLine(registry, line, {file, directory, lineNumber}, applyTmpNow != 0, included);
    if (!included) {
        return status;
    }
    rynIncludedFile *record = nullptr;
    status = ryni_parse_veklib_file(included.get(), registry, &record);
    if (status == RYN_OK) {
        record->includedFrom = file;
        record->line = lineNumber;
    }
    return status;
}

void rynAddCommand(rynHandle handle, const char *text) {
    static struct {
        char empty[1];
        rynIncludedFile file;
    } pseudo;
    rynRegistry *registry = ryniRegistryOf(handle);
    if (registry == nullptr || text == nullptr) {
        ryni_do_fatal(registry, RYN_INVALID_PARAMETER, "rynAddCommand()");
        return;
    }
    pseudo.file.path = pseudo.empty;
    pseudo.file.nslPath = pseudo.empty;
    const rynWarningHandler handler = registry->warningHandler;
    registry->warningHandler = ryniSilentWarning;
    ryni_process_command(registry, text, registry->currentDirectory, &pseudo.file, 0, 1);
    registry->warningHandler = handler;
}
