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

// Reads library definition files line by line. The file being read and the files that include it form a linked list
// of levels, instead of recursive calls. The including files are suspended (ryni_file_text.h). Therefore the depth of
// INCLUDEs is limited neither by the stack nor by the number of descriptors.

namespace ryn {
namespace {

struct Keyword {
    std::string_view name;
    int arguments; ///< number of arguments required
    int (*execute)(const Command &);
};

constexpr std::array<Keyword, 7> kKeywords = {{
    {"DEFINE", 2, executeDefine},
    {"SOFTDEFINE", 2, executeSoftDefine},
    {"UNDEFINE", 1, executeUndefine},
    {"INCLUDE", 1, executeInclude},
    {"SOFTINCLUDE", 1, executeSoftInclude},
    {"ASSIGN", 3, executeAssign},
    {"UNASSIGN", 2, executeUnassign},
}};

/// @return the keyword `word`, in any case, or null
const Keyword *findKeyword(std::string_view word) {
    for (const Keyword &keyword : kKeywords) {
        if (vek::equalNoCase(word, keyword.name)) {
            return &keyword;
        }
    }
    return nullptr;
}

/// Returns whether the statement has the arguments that its keyword requires. More arguments are allowed if the first
/// of them begins with "#", because they are a comment.
bool hasRightArguments(const Keyword &keyword, const Statement &statement) {
    if (statement.count <= keyword.arguments) {
        return statement.count == keyword.arguments;
    }
    return *statement.arguments[static_cast<std::size_t>(keyword.arguments)] == '#';
}

/// Executes a statement, or diagnoses an unknown keyword or a wrong number of arguments.
/// @return the status of the statement
int execute(const Command &command, const Statement &statement) {
    const Keyword *keyword = findKeyword(statement.keyword);
    if (keyword == nullptr) {
        return command.diagnose(RYN_SYNTAX_ERROR, statement.keyword);
    }
    if (!hasRightArguments(*keyword, statement)) {
        return command.diagnose(RYN_SYNTAX_ERROR, statement.copy);
    }
    return keyword->execute(command);
}

/// The location of a line: its file, the base directory of relative paths in it, and its number.
struct Location {
    rynIncludedFile *file;
    const char *directory;
    int line;
};

/// Executes one line. An included file is not read here, but by the caller.
/// @param toRead  receives the path of the file to include; unchanged if there is none
/// @return the status of the statement
int executeLine(rynRegistry *registry, const char *line, const Location &location, bool applyTmpNow,
                vek::OwnedText &toRead) {
    Statement statement; // NOLINT(cppcoreguidelines-pro-type-member-init): lex() fills it
    const Command command = {registry,    location.file, location.directory, location.line,
                             applyTmpNow, toRead,        statement.arguments};
    switch (lex(line, statement)) {
    case Lexed::Nothing:
        return RYN_OK;
    case Lexed::SyntaxError:
        return command.diagnose(RYN_SYNTAX_ERROR, statement.copy);
    case Lexed::Statement:
        break;
    }
    return execute(command, statement);
}

/// @return the directory of the full path `path`; null if memory is exhausted
vek::OwnedText directoryOf(const char *path) {
    const std::string_view text(path);
    const std::size_t slash = text.rfind('/');
    return vek::copyText({path, slash == 0 ? 1 : slash});
}

/// A file that is being read. `includer` is the level of the file that includes it; that file is suspended.
struct Level {
    Level *includer;
    int openIncluders; ///< number of suspended files with an open descriptor
    rynIncludedFile *file;
    vek::OwnedText directory;
    FileText text;
    int line;
    int status; ///< of the last line or included file
};

struct FreeLevel {
    void operator()(Level *level) const {
        std::destroy_at(level);
        std::free(level);
    }
};
using OwnedLevel = std::unique_ptr<Level, FreeLevel>;

/// Maximum number of suspended files that keep their descriptors because the rest of them is long. It is small,
/// because statements need descriptors, too.
constexpr int kMaxOpenIncluders = 4;

/// Reads a file and the files that it includes.
class Reader {
  public:
    /// @param progress  records to which libraries the creation of the registry has applied the global temporary
    ///                  root; null to apply the root to all libraries after each file
    Reader(rynRegistry *registry, RootProgress *progress) : registry_(registry), progress_(progress) {}
    ~Reader() {
        while (level_ != nullptr) {
            pop(); // Not reached: read() returns after it has closed the last file
        }
    }
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

    /// Reads the file `path` and the files that it includes.
    /// @param recordOut  null, or receives the record of the file; unchanged if the file cannot be opened
    /// @return the status of the file
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
    /// Adds the record of the file `path`, opens the file and makes it the innermost level.
    /// @return RYN_OK, or the code of a failure that has been reported
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
    } // NOLINT(clang-analyzer-unix.Malloc): `level_` owns the memory

    /// @return the number of open descriptors of `level` and its includers
    static int openUpTo(const Level &level) { return level.openIncluders + (level.text.isOpen() ? 1 : 0); }

    int reportNoMemory() { return ryni_do_fatal(registry_, RYN_MEMORY_ERROR, "ryni_parse_veklib_file()"); }

    /// Suspends the innermost file and opens the included file `path`. A failure becomes the status of the including
    /// file.
    void include(const char *path) {
        if (!level_->text.suspend(level_->openIncluders < kMaxOpenIncluders)) {
            return; // the error ends this level
        }
        const int status = enter(path);
        if (status != RYN_OK) {
            level_->status = status;
        }
    }

    /// Computes the nsl path of the file `path` and appends a record of the file to the registry.
    /// @param file  receives the record
    /// @return RYN_OK, or the code of a failure that has been reported
    int record(const char *path, rynIncludedFile *&file) {
        vek::PathText nsl;
        vek::PathText error;
        const int status = generateNslPath(path, nsl, error, registry_);
        if (status == RYN_INTERNAL_ERROR && std::strchr(path, '/') == nullptr) {
            return ryni_do_fatal(registry_, status, "ryni_parse_veklib_file() - 1");
        }
        if (status != RYN_OK) {
            return ryni_do_fatal(registry_, status, error.c_str());
        }
        const char *context = nullptr;
        file = addFile(*registry_, path, nsl.c_str(), context);
        return file != nullptr ? RYN_OK : ryni_do_fatal(registry_, RYN_MEMORY_ERROR, context);
    }

    /// Reads and executes the next line of the innermost file.
    /// @param included  receives the path of the file to include, if any
    /// @return false at the end of the file, and after a line or included file whose status is not RYN_OK
    bool executeNextLine(vek::OwnedText &included) {
        if (level_->status != RYN_OK || !level_->text.next(line_)) {
            return false;
        }
        const Location location = {level_->file, level_->directory.get(), ++level_->line};
        level_->status = executeLine(registry_, line_.data(), location, false, included);
        return true;
    }

    /// Closes the innermost file and continues with the file that includes it. If the status is not RYN_OK, that file
    /// ends, too.
    /// @return the status of the file
    int leave() {
        const int result = resultOf(*level_);
        const OwnedLevel level = pop();
        if (level_ == nullptr) {
            return result; // ryni_process_command() records the INCLUDE of an outermost file
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

    /// Applies the global temporary root at the end of a file.
    /// @return the status of the file
    int resultOf(const Level &level) {
        switch (level.text.error()) {
        case RYN_OK:
            break;
        case RYN_MEMORY_ERROR:
            return reportNoMemory();
        default:
            return ryni_do_fatal(registry_, RYN_SYSTEM_ERROR, level.file->path);
        }
        const int rootStatus = applyGlobalRoot(*registry_, level.directory.get(), progress_);
        if (ryni_useDefaultWarn() != 0) {
            // Documented: once a registry with the default warning handler was created in this process, the status of
            // each file is the last diagnostic that this handler has received since enter() opened a file. Other
            // statuses are not returned.
            return ryni_getLastErr();
        }
        return level.status != RYN_OK ? level.status : rootStatus;
    }

    /// Removes the innermost level from the list and returns it.
    OwnedLevel pop() {
        OwnedLevel level(level_);
        level_ = level->includer;
        return level;
    }

    rynRegistry *registry_;
    RootProgress *progress_;
    Level *level_ = nullptr; ///< the innermost file
    vek::LineBuffer line_ = {};
};

} // namespace

int readTopFile(rynRegistry &registry, const char *path, RootProgress &progress) {
    return Reader(&registry, &progress).read(path, nullptr);
}

} // namespace ryn

int ryni_parse_veklib_file(const char *path, rynRegistry *registry, rynIncludedFile **recordOut) {
    return ryn::Reader(registry, nullptr).read(path, recordOut);
}

int ryni_process_command(rynRegistry *registry, const char *line, const char *directory,
                         rynIncludedFile *file, int lineNumber, int applyTmpNow) {
    vek::OwnedText included;
    int status = ryn::executeLine(registry, line, {file, directory, lineNumber}, applyTmpNow != 0, included);
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
    // Documented: statements of rynAddCommand() have a file record with empty paths. It is static, because libraries
    // and attributes keep pointers to it.
    static char emptyPath[1];
    static rynIncludedFile pseudoFile = {.next = nullptr,
                                         .path = emptyPath,
                                         .nslPath = emptyPath,
                                         .includedFrom = nullptr,
                                         .line = 0,
                                         .nextInIndex = nullptr,
                                         .nslHash = 0};
    rynRegistry *const registry = ryn::registryOf(handle);
    if (registry == nullptr || text == nullptr) {
        ryni_do_fatal(registry, RYN_INVALID_PARAMETER, "rynAddCommand()");
        return;
    }
    const rynWarningHandler handler = registry->warningHandler;
    registry->warningHandler = ryn::silentWarning;
    ryni_process_command(registry, text, registry->currentDirectory, &pseudoFile, 0, 1);
    registry->warningHandler = handler;
}
