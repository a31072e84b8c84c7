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

// Reads library definition files (vek.lib) line by line and executes their statements. A linked list on the heap
// contains the file being read, the file that includes it, and so on to the first file. There is no recursion, and a
// file is usually closed while a file that it includes is read (ryni_file_text.h). Therefore neither the stack nor the
// number of file descriptors limits the depth of INCLUDEs.

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

/// @return the row of kKeywords with the name `word`, in upper or lower case; null if there is none
const Keyword *findKeyword(std::string_view word) {
    for (const Keyword &keyword : kKeywords) {
        if (vek::equalNoCase(word, keyword.name)) {
            return &keyword;
        }
    }
    return nullptr;
}

/// Returns true if the statement has as many arguments as its keyword requires. More arguments are allowed if the first
/// additional argument begins with "#": it begins a comment such as "#text", which the lexer does not remove, because
/// no white space follows the "#".
bool hasRightArguments(const Keyword &keyword, const Statement &statement) {
    if (statement.count <= keyword.arguments) {
        return statement.count == keyword.arguments;
    }
    return *statement.arguments[static_cast<std::size_t>(keyword.arguments)] == '#';
}

/// Executes a statement. Calls the warning handler if the keyword is unknown or the number of arguments is wrong.
/// @return the status of the statement: RYN_OK to continue with the next line of the file
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

/// The location of one line of a library definition file.
struct Location {
    rynIncludedFile *file; ///< the registry's record of the file
    const char *directory; ///< base directory of relative paths in the line
    int line;              ///< number of the line
};

/// Splits one line into tokens and executes its statement. INCLUDE and SOFTINCLUDE only store the path of the included
/// file in `toRead`; the caller must read that file.
/// @param toRead  receives the path of the included file; unchanged if the line includes no file
/// @return the status of the statement: RYN_OK to continue with the next line of the file
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

/// @return the path of the directory that contains the file `path` (a full path); null if memory is exhausted
vek::OwnedText directoryOf(const char *path) {
    const std::string_view text(path);
    const std::size_t slash = text.rfind('/');
    return vek::copyText({path, slash == 0 ? 1 : slash});
}

/// One library definition file whose lines are being executed. The file is suspended while a file that it includes is
/// read. The levels form a linked list from the innermost file, which is read now, to the first file.
struct Level {
    Level *includer;          ///< the file that includes this one; null for the first file
    int openIncluders;        ///< number of suspended files with an open descriptor
    rynIncludedFile *file;    ///< the registry's record of the file
    vek::OwnedText directory; ///< base directory of relative paths in the file
    FileText text;
    int line;   ///< number of the last executed line
    int status; ///< status of the last executed line or included file
};

struct FreeLevel {
    void operator()(Level *level) const {
        std::destroy_at(level);
        std::free(level);
    }
};
using OwnedLevel = std::unique_ptr<Level, FreeLevel>;

/// Maximum number of suspended files that stay open. Only files with more than FileText::kMaxHeld unread bytes stay
/// open. If this many files are open, the next one is closed when it is suspended, and opened again when it is resumed.
/// The number is small, because statements also need file descriptors.
constexpr int kMaxOpenIncluders = 4;

/// Reads one library definition file and all files that it includes, and executes their statements in a registry.
class Reader {
  public:
    /// @param progress  records the libraries to which the global temporary root (the directory that contains a
    ///                  temporary directory for each library) was applied. The end of each file then applies the root
    ///                  only to new and changed libraries. If `progress` is null, it applies the root to all libraries
    Reader(rynRegistry *registry, RootProgress *progress) : registry_(registry), progress_(progress) {}
    ~Reader() {
        while (level_ != nullptr) {
            pop(); // Not reached: read() returns after it has closed the last file
        }
    }
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

    /// Reads the file `path` and all files that it includes, and executes their statements.
    /// @param recordOut  null, or receives the registry's record of the file `path`; unchanged if the file cannot be
    ///                   opened
    /// @return the status of the file, as described at rynInitEx()
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
    /// Adds a record of the file `path` to the registry, opens the file, and makes it the innermost file: the next line
    /// is read from it.
    /// @return RYN_OK, or an error code, which was reported with ryni_do_fatal()
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

    /// @return the number of open descriptors: that of `level` and those of the files that include it, directly or not
    static int openUpTo(const Level &level) { return level.openIncluders + (level.text.isOpen() ? 1 : 0); }

    int reportNoMemory() { return ryni_do_fatal(registry_, RYN_MEMORY_ERROR, "ryni_parse_veklib_file()"); }

    /// Suspends the innermost file and opens the file `path`, which it includes. If that fails, the error code becomes
    /// the status of the including file, so that the including file ends, too.
    void include(const char *path) {
        if (!level_->text.suspend(level_->openIncluders < kMaxOpenIncluders)) {
            return; // the error ends this level
        }
        const int status = enter(path);
        if (status != RYN_OK) {
            level_->status = status;
        }
    }

    /// Computes the nsl path of the file `path` (full path without symbolic links) and adds a record with both paths to
    /// the registry's list of files.
    /// @param file  receives the record
    /// @return RYN_OK, or an error code, which was reported with ryni_do_fatal()
    int record(const char *path, rynIncludedFile *&file) {
        vek::PathText nsl;
        vek::PathText error;
        const int status = generateNslPath(path, nsl, error, registry_);
        if (status == RYN_INTERNAL_ERROR && std::string_view(path).find('/') == std::string_view::npos) {
            return ryni_do_fatal(registry_, status, "ryni_parse_veklib_file() - 1");
        }
        if (status != RYN_OK) {
            return ryni_do_fatal(registry_, status, error.c_str());
        }
        const char *context = nullptr;
        file = addFile(*registry_, path, nsl.c_str(), context);
        return file != nullptr ? RYN_OK : ryni_do_fatal(registry_, RYN_MEMORY_ERROR, context);
    }

    /// Reads the next line of the innermost file and executes it.
    /// @param included  receives the path of the file to include; unchanged if the line includes no file
    /// @return false if no line was executed: at the end of the file, after a read error, or because the previous line,
    ///         or the file that it included, ended with a status other than RYN_OK
    bool executeNextLine(vek::OwnedText &included) {
        if (level_->status != RYN_OK || !level_->text.next(line_)) {
            return false;
        }
        const Location location = {level_->file, level_->directory.get(), ++level_->line};
        level_->status = executeLine(registry_, line_.data(), location, false, included);
        return true;
    }

    /// Ends the innermost file and resumes the file that includes it. If the status of the innermost file is not
    /// RYN_OK, it becomes the status of the including file, so that the including file ends, too.
    /// @return the status of the file that ended
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

    /// Executes the actions at the end of a file. If the file was read without an error, applies the global temporary
    /// root: sets and creates the temporary directories of the libraries.
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
            // Documented: if this process ever created a registry with the default warning handler, the status of every
            // file is the code of the last diagnostic that this handler received since enter() last opened a file.
            // `level.status` and `rootStatus` are ignored.
            return ryni_getLastErr();
        }
        return level.status != RYN_OK ? level.status : rootStatus;
    }

    /// Removes the innermost file from the list and returns it.
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
    // Documented: the location of a statement given to rynAddCommand() is line 0 of a file record with empty paths. The
    // record is static, because libraries and attributes keep pointers to it.
    static char emptyPath[1];
    static rynIncludedFile pseudoFile = {
        .next = nullptr, .path = emptyPath, .nslPath = emptyPath, .includedFrom = nullptr, .line = 0};
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
