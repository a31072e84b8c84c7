#include "libdef/language/ryni_parse.h"

#include "common/base/owned.h"
#include "common/platform/line_reader.h"
#include "common/text/ascii.h"
#include "common/text/fixed_text.h"
#include "libdef/access/ryni_tmp.h"
#include "libdef/language/ryni_file_text.h"
#include "libdef/language/ryni_statement.h"
#include "libdef/paths/ryni_nsl_path.h"
#include "libdef/registry/ryni_error.h"
#include "libdef/registry/ryni_settings.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

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

/// One file that is being read. Its includer is suspended.
struct Level {
    Level *includer;
    int openIncluders; ///< how many of its includers hold a descriptor
    rynIncludedFile *file;
    vek::OwnedText directory;
    ryn::FileText text;
    int line;
    int status; ///< of its last line
};

struct FreeLevel {
    void operator()(Level *level) const {
        std::destroy_at(level);
        std::free(level);
    }
};
using OwnedLevel = std::unique_ptr<Level, FreeLevel>;

/// Includers with a long rest that keep their descriptors. Few: a statement may need descriptors, too.
constexpr int kMaxOpenIncluders = 4;

/// Reads a file and the files that it includes. They are levels of a list, so that the depth of INCLUDEs is limited
/// neither by the stack nor by the number of descriptors.
class Reader {
  public:
    explicit Reader(rynRegistry *registry) : registry_(registry) {}
    ~Reader() {
        while (level_ != nullptr) {
            pop(); // Not reached: read() returns after it has closed the last file
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
        int status = record(path, file);
        if (status != RYN_OK) {
            return status;
        }
        auto *const memory = static_cast<Level *>(std::malloc(sizeof(Level)));
        if (memory == nullptr) {
            return reportNoMemory();
        }
        OwnedLevel level(
            std::construct_at(memory, Level{.includer = level_,
                                            .openIncluders = level_ == nullptr ? 0 : openUpTo(*level_),
                                            .file = file,
                                            .directory = directoryOf(path),
                                            .text = {},
                                            .line = 0,
                                            .status = RYN_OK}));
        status = level->directory ? level->text.open(path) : RYN_MEMORY_ERROR;
        if (status != RYN_OK) {
            return status == RYN_MEMORY_ERROR ? reportNoMemory() : ryni_do_fatal(registry_, status, path);
        }
        level_ = level.release();
        return RYN_OK;
    }

    /// The levels that hold a descriptor while a file that `level` includes is read.
    static int openUpTo(const Level &level) { return level.openIncluders + (level.text.isOpen() ? 1 : 0); }

    int reportNoMemory() { return ryni_do_fatal(registry_, RYN_MEMORY_ERROR, "ryni_parse_veklib_file()"); }

    void include(const char *path) {
        if (!level_->text.suspend(level_->openIncluders < kMaxOpenIncluders)) {
            return; // the reading of this level has ended
        }
        const int status = enter(path);
        if (status != RYN_OK) {
            level_->status = status;
        }
    }

    /// Computes the nsl path of a file and appends the file's record.
    int record(const char *path, rynIncludedFile *&file) {
        vek::PathText nsl;
        vek::PathText error;
        const int status = ryn::generateNslPath(path, nsl, error, registry_);
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

    /// @return false at the end of the file, and after the first line whose status is not 0
    bool executeNextLine(vek::OwnedText &included) {
        if (level_->status != RYN_OK || !level_->text.next(line_)) {
            return false;
        }
        const Place place = {level_->file, level_->directory.get(), ++level_->line};
        level_->status = executeLine(registry_, line_.data(), place, false, included);
        return true;
    }

    /// Ends the reading of the innermost file and continues with its includer. @return the file's result
    int leave() {
        const int result = resultOf(*level_);
        const OwnedLevel level = pop();
        if (level_ == nullptr) {
            return result; // the caller records where the first file was included
        }
        if (result == RYN_OK) {
            level->file->includedFrom = level_->file;
            level->file->line = level_->line;
            level_->text.resume(level_->file->path);
        } else {
            level_->status = result;
        }
        return result;
    }

    int resultOf(const Level &level) {
        switch (level.text.error()) {
        case RYN_OK:
            break;
        case RYN_MEMORY_ERROR:
            return reportNoMemory();
        default:
            return ryni_do_fatal(registry_, RYN_SYSTEM_ERROR, level.file->path);
        }
        const int rootStatus = sAddGlobalTmppath(registry_, level.directory.get());
        if (ryni_useDefaultWarn() != 0) {
            // With the default handler every diagnostic is a failure, though reading went on after it.
            return ryni_getLastErr();
        }
        return level.status != RYN_OK ? level.status : rootStatus;
    }

    OwnedLevel pop() {
        OwnedLevel level(level_);
        level_ = level->includer;
        return level;
    }

    rynRegistry *registry_;
    Level *level_ = nullptr; ///< the innermost file
    vek::LineBuffer line_ = {};
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
    rynRegistry *registry = ryn::registryOf(handle);
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
