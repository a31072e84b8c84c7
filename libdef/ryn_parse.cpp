#include "libdef/ryni_parse.h"

#include "common/ascii.h"
#include "common/fixed_text.h"
#include "common/open_text.h"
#include "common/vek_path.h"
#include "libdef/ryni_error.h"
#include "libdef/ryni_path.h"
#include "libdef/ryni_statement.h"
#include "libdef/ryni_tmp.h"

#include <array>
#include <cstdio>
#include <cstdlib>
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

/// One file being read. Includes nest, so what is large lives on the heap.
class Reading {
  public:
    Reading(rynRegistry *registry, rynIncludedFile *file) : registry_(registry), file_(file) {}

    /// @return false when reading could not begin, or broke off; status() is then a reported failure
    bool run() {
        const vek::OwnedStream stream = vek::openForReading(file_->path);
        const vek::Owned<Buffers> buffers(static_cast<Buffers *>(std::malloc(sizeof(Buffers))));
        if (!stream || !buffers) {
            return fail(!stream);
        }
        copyDirectory(buffers->directory);
        executeLines(stream.get(), *buffers);
        if (std::ferror(stream.get()) != 0) {
            return fail(true);
        }
        const int rootStatus = sAddGlobalTmppath(registry_, buffers->directory);
        status_ = status_ != RYN_OK ? status_ : rootStatus;
        return true;
    }

    [[nodiscard]] int status() const { return status_; }

  private:
    struct Buffers {
        char directory[VEK_PATH_SIZE];
        char line[VEK_PATH_SIZE];
    };

    void copyDirectory(char *directory) const {
        const std::string_view path(file_->path);
        const std::size_t slash = path.rfind('/');
        static_cast<void>(vek::copyToBuffer({path.data(), slash == 0 ? 1 : slash}, directory, VEK_PATH_SIZE));
    }

    /// Stops at the first line whose status is not 0.
    void executeLines(FILE *stream, Buffers &buffers) {
        for (int number = 1; status_ == RYN_OK; ++number) {
            if (vek_fgets(buffers.line, sizeof buffers.line, stream) == nullptr) {
                return;
            }
            status_ = ryni_process_command(registry_, buffers.line, buffers.directory, file_, number, 0);
        }
    }

    bool fail(bool system) {
        status_ = system ? ryni_do_fatal(registry_, RYN_SYSTEM_ERROR, file_->path)
                         : ryni_do_fatal(registry_, RYN_MEMORY_ERROR, "ryni_parse_veklib_file()");
        return false;
    }

    rynRegistry *registry_;
    rynIncludedFile *file_;
    int status_ = RYN_OK;
};

/// Computes the nsl path of a file and appends the file's record. Kept out of its caller, whose frame stays on
/// the stack while includes nest.
///
/// @param status  receives the code of a failure, which has been reported
[[gnu::noinline]] rynIncludedFile *recordFile(rynRegistry *registry, const char *path, int &status) {
    vek::PathText nsl;
    vek::PathText error;
    status = ryni_generate_nsl_path(path, nsl.data(), error.data(), registry);
    if (status != RYN_OK) {
        ryni_do_fatal(registry, status, error.c_str());
        return nullptr;
    }
    const char *context = nullptr;
    rynIncludedFile *file = ryniAddFile(registry, path, nsl.c_str(), &context);
    if (file == nullptr) {
        status = ryni_do_fatal(registry, RYN_MEMORY_ERROR, context);
    }
    return file;
}

} // namespace

int ryni_parse_veklib_file(const char *path, rynRegistry *registry, rynIncludedFile **recordOut) {
    ryni_setLastErr(RYN_OK);
    int status = RYN_OK;
    rynIncludedFile *file = recordFile(registry, path, status);
    if (file == nullptr) {
        return status;
    }
    Reading reading(registry, file);
    if (!reading.run()) {
        return reading.status();
    }
    if (recordOut != nullptr) {
        *recordOut = file;
    }
    // With the default handler every diagnostic is a failure, though reading went on after it.
    return ryni_useDefaultWarn() != 0 ? ryni_getLastErr() : reading.status();
}

int ryni_process_command(rynRegistry *registry, const char *line, const char *directory,
                         rynIncludedFile *file, int lineNumber, int applyTmpNow) {
    const vek::Owned<ryniStatement> statement(
        static_cast<ryniStatement *>(std::malloc(sizeof(ryniStatement))));
    if (!statement) {
        return registry->warningHandler(RYN_MEMORY_ERROR, line, file->path, lineNumber);
    }
    const ryniCommand command = {
        registry, file, directory, lineNumber, applyTmpNow != 0, statement->arguments};
    switch (ryniLex(line, *statement)) {
    case Lexed::Nothing:
        return RYN_OK;
    case Lexed::SyntaxError:
        return command.diagnose(RYN_SYNTAX_ERROR, statement->copy);
    case Lexed::Statement:
        break;
    }
    return execute(command, *statement);
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
