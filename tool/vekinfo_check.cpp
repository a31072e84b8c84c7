// The actions -checklibrary and -configurelibrary: go through the libraries of a vek.lib in definition order. For each
// library, compare or write its tag file, and then scan its directories.

#include "tool/vekinfo_check.h"

#include "common/base/print.h"
#include "common/platform/line_reader.h"
#include "common/platform/open_text.h"
#include "common/platform/vek_file.h"
#include "common/platform/vek_path.h"
#include "common/text/ascii.h"
#include "common/text/fixed_text.h"
#include "common/text/owned_strlist.h"
#include "libdef/ryn.h"
#include "search/pux.h"
#include "tagfile/keyword.h"
#include "tagfile/tag_path.h"
#include "tagfile/tov.h"
#include "tool/progress.h"
#include "tool/read_ahead.h"
#include "tool/vekinfo_append.h"
#include "tool/vekinfo_args.h"
#include "tool/vekinfo_scan.h"

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <memory>
#include <string_view>

static struct {
    rynHandle registry; ///< Documented: the registry is never released
} checked;

namespace {

struct EndIteration {
    void operator()(rynContext *context) const { rynIterateEnd(context); }
};
using OwnedContext = std::unique_ptr<rynContext, EndIteration>;

/// Prints that `function` failed with the RYN_... code `code`. @return 1, the result of the whole check
int warn(const char *function, int code) {
    vek::printError("WARNING: Problem found in %s: %s\n", function, rynGetErrorMsg(code));
    return 1;
}

/// Returns true if `nameSpace` contradicts the case sensitivity of the file system of `dir`. Returns false without a
/// test of the file system if the tag file sets no namespace.
bool hasWrongNameSpace(const char *dir, std::uint32_t nameSpace, vekinfo::ReadAhead &readAhead) {
    if (nameSpace != TOV_NAMESPACE_NT && nameSpace != TOV_NAMESPACE_UNIX) {
        return false;
    }
    switch (readAhead.probe(dir)) {
    case VEK_CASE_SENSITIVE:
        return nameSpace == TOV_NAMESPACE_NT;
    case VEK_CASE_INSENSITIVE:
        return nameSpace == TOV_NAMESPACE_UNIX;
    default:
        return false;
    }
}

void reportDefined(const char *libName, const char *dir, std::uint32_t nameSpace,
                   vekinfo::ReadAhead &readAhead) {
    if (verboseFlag != 0) {
        vek::print(stdout, "The library %s at %s has a vekinfo.tag definition.\n", libName, dir);
    }
    if (hasWrongNameSpace(dir, nameSpace, readAhead)) {
        vek::print(stdout, "Warning: Library %s at %s has incorrect namespace in vekinfo.tag file\n", libName,
                   dir);
    }
}

/// Appends the missing entries to the tag file `tagPath` of a library.
/// @param isKnown  false if the tag file exists but could not be read; this is an error, and nothing is appended
/// @return TOV_OK, or the code of the error, which has been reported
int configureLibrary(const char *libName, const char *dir, const char *tagPath, bool isKnown,
                     vekinfo::ReadAhead &readAhead) {
    using Kind = tov::AppendResult::Kind;
    if (vekFileWritable(dir) == 0) {
        return tovPrintError(TOV_ACCESS_ERROR, "path not writable", dir, 0);
    }
    const tov::AppendResult result = isKnown ? vekinfo::appendLibraryEntries(dir, tagPath, readAhead)
                                             : tov::AppendResult{.kind = Kind::Failed};
    if (result.kind == Kind::Failed) {
        return tovPrintError(TOV_SYSTEM_ERROR, "error opening for append", tagPath, 0);
    }
    if (result.kind == Kind::Rejected) {
        return tovPrintError(TOV_SYNTAX_ERROR, result.syntaxError, tagPath, 0);
    }
    tovResetCache(); // it may contain the old content, which another library with the same directory would see
    if (result.kind == Kind::Defined) {
        reportDefined(libName, dir, result.nameSpace, readAhead); // another process has appended the entry
    } else if (verboseFlag != 0) {
        vek::print(stdout, "Library:%s at:%s had no VEKLIBRARY vekinfo.tag entry.\n", libName, dir);
    }
    return TOV_OK;
}

std::string_view firstWord(std::string_view line) {
    while (!line.empty() && vek::isSpace(line.front())) {
        line.remove_prefix(1);
    }
    std::size_t size = 0;
    while (size < line.size() && !vek::isSpace(line[size])) {
        ++size;
    }
    return {line.data(), size};
}

const char *orNull(const char *text) {
    return text == nullptr ? "(null)" : text;
}

int tagCodeOf(int libraryCode) {
    const auto index = static_cast<std::size_t>(libraryCode);
    const bool known = libraryCode >= 0 && index < std::size(ryn_to_tov_errorcode_map);
    return known ? ryn_to_tov_errorcode_map[index] : TOV_INVALID_ERROR_NUMBER;
}

int verifyLibrary(const char *libName, const char *dir, int configure, vekinfo::ReadAhead &readAhead) {
    const vek::OwnedText tagPath = vek::joinText(dir, "/", tov::kTagFileName);
    if (!tagPath) {
        return tovPrintError(TOV_MEMORY_ERROR, "while checking a library", dir, 0);
    }
    VekinfoObj obj = {};
    bool isFound = false;
    int status = readAhead.readTag(tagPath.get(), obj, isFound);
    if (status == TOV_NO_SUCH_FILE && configure != 0 && vekFileExists(tagPath.get()) != 0) {
        // The file was created after the first attempt, or a network file system did not list it yet: read it again.
        status = readAhead.readTag(tagPath.get(), obj, isFound);
    }
    if (status == TOV_MEMORY_ERROR) {
        return status;
    }
    if (isFound) {
        reportDefined(libName, dir, obj.nameSpace, readAhead);
    } else if (configure != 0) {
        const bool isKnown = status != TOV_SYSTEM_ERROR;
        status = configureLibrary(libName, dir, tagPath.get(), isKnown, readAhead);
        if (status != TOV_OK) {
            return status;
        }
    }
    vekinfo::scanSubdirs(dir, true, {}, readAhead);
    return TOV_OK;
}

/// @return the number of libraries; 0 if memory is exhausted
std::size_t countLibraries() {
    rynContext *libraries = nullptr;
    if (rynIterateLibs(checked.registry, &libraries) != RYN_OK) {
        return 0;
    }
    const OwnedContext owner(libraries);
    std::size_t count = 0;
    for (const char *name = nullptr; rynNextLib(libraries, &name) == RYN_OK;) {
        ++count;
    }
    return count;
}

/// Gets the directory of the library `name`. @return RYN_OK, or the code of the error, which is not reported
int directoryOf(const char *name, vek::PathText &directory) {
    return directory.fill([name](char *buffer, std::size_t size) {
        return rynGetPath(checked.registry, RYN_PATH_READ, name, nullptr, nullptr, nullptr, buffer, size);
    });
}

/// Announces the libraries that will be checked next, so that workers read them ahead.
class Lookahead {
  public:
    explicit Lookahead(vekinfo::ReadAhead &readAhead) : readAhead_(readAhead) {}

    /// Announces libraries while ReadAhead::wantsLibrary() returns true. Stops at a library without a path, because the
    /// check will also end there.
    /// @param current  the index of the library that is checked next
    void announce(std::size_t current) {
        while (!isEnded_ && readAhead_.wantsLibrary()) {
            isEnded_ = !announceNext(current);
        }
    }

  private:
    bool announceNext(std::size_t current) {
        if (!libraries_) {
            rynContext *libraries = nullptr;
            if (rynIterateLibs(checked.registry, &libraries) != RYN_OK) {
                return false;
            }
            libraries_.reset(libraries);
        }
        const char *name = nullptr;
        do { // pass over libraries that were checked without having been announced
            if (rynNextLib(libraries_.get(), &name) != RYN_OK) {
                return false;
            }
            ++next_;
        } while (next_ <= current);
        vek::PathText directory;
        if (directoryOf(name, directory) != RYN_OK) {
            return false;
        }
        const vek::OwnedText tagPath = vek::joinText(directory.view(), "/", tov::kTagFileName);
        return tagPath && readAhead_.announceLibrary(directory.c_str(), tagPath.get());
    }

    vekinfo::ReadAhead &readAhead_;
    OwnedContext libraries_;
    std::size_t next_ = 0; ///< the index of the library that `libraries_` returns next
    bool isEnded_ = false; ///< whether no more libraries can be announced
};

int verifyLibraries(rynContext *libraries, int configure, const vekinfo::WorkerSettings &settings,
                    vekinfo::Progress &progress) {
    vekinfo::ReadAhead readAhead(
        settings); // one for all libraries, so that its worker threads are started only once
    int result = TOV_OK;
    const std::size_t count = progress.isShown() ? countLibraries() : 0;
    Lookahead lookahead(readAhead);
    std::size_t done = 0;
    const char *name = nullptr;
    for (; rynNextLib(libraries, &name) == RYN_OK; ++done) {
        progress.set(done, count, name);
        if (configure == 0) {
            lookahead.announce(done);
        }
        vek::PathText directory;
        const int code = directoryOf(name, directory);
        if (code != RYN_OK) {
            return warn("rynGetPath", code);
        }
        result = verifyLibrary(name, directory.c_str(), configure, readAhead);
        readAhead.endLibrary(directory.c_str());
    }
    return result;
}

} // namespace

int testParseWarnHandler(int code, const char *text, const char *file, int line) {
    if (code != RYN_NO_VEKLIBRARY_ENTRY) {
        vek::printError("Error at line %d of %s \nmsg: \"%s\"\n\terrstr:\"%s\"\n", line, orNull(file),
                        orNull(text), rynGetErrorMsg(code));
    }
    return 0;
}

int testErrHandler(int code, const char *text, const char * /*sameText*/) {
    if (code != RYN_NO_VEKLIBRARY_ENTRY) {
        vek::printError("Error code %d found for %s:\n\t%s\n", code, orNull(text), rynGetErrorMsg(code));
    }
    return 0;
}

int lookForNoneTag(const char *dir) {
    const vek::OwnedText path = vek::joinText(dir, "/dm.tag");
    const vek::OwnedDescriptor file = path ? vek::openForReading(path.get()) : vek::OwnedDescriptor();
    vek::LineReader lines(file.get());
    vek::LineBuffer line; // NOLINT(cppcoreguidelines-pro-type-member-init): next() fills it
    return lines.next(line) && firstWord(line.data()) == "none" ? 1 : 0;
}

int tovVerifyVekinfo(const char *libName, const char *dir, int configure) {
    vekinfo::ReadAhead readAhead;
    return verifyLibrary(libName, dir, configure, readAhead);
}

int tovVeklibCheck(const char *libFile, int configure) {
    return vekinfo::checkLibraries(libFile, configure, {});
}

int vekinfo::checkLibraries(const char *libFile, int configure, const WorkerSettings &settings) {
    Progress progress;
    const int code = rynInit(libFile, 0, testParseWarnHandler, testErrHandler, &checked.registry);
    if (code != RYN_OK) {
        return tagCodeOf(code);
    }
    rynContext *libraries = nullptr;
    const int status = rynIterateLibs(checked.registry, &libraries);
    if (status != RYN_OK) {
        return warn("rynIterateLibs", status);
    }
    const OwnedContext owner(libraries);
    return verifyLibraries(libraries, configure, settings, progress);
}

int tovCheckOrConfigLibrary(int configure) {
    // Ignore SIGXFSZ until the process ends: a write beyond RLIMIT_FSIZE must not end it during a probe, and no thread
    // may change the signal dispositions while other threads run.
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    static_cast<void>(sigaction(SIGXFSZ, &ignore, nullptr));
    char **files = nullptr;
    const int status = puxFullSearch(nullptr, "vek.lib", "veksetup", &files);
    if (status != PUX_OK) {
        if (status == PUX_MEMORY_ERROR) {
            tovPrintError(TOV_MEMORY_ERROR, "while looking for vek.lib", nullptr, 0);
        }
        return 0;
    }
    const vek::OwnedStrlist owner(files);
    tovVeklibCheck(files[0], configure);
    return 0;
}
