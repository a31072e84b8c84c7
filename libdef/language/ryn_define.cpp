#include "libdef/language/ryni_statement.h"

#include "common/base/owned.h"
#include "common/platform/vek_path.h"
#include "common/text/fixed_text.h"
#include "libdef/access/ryni_library_path.h"
#include "libdef/access/ryni_tmp.h"
#include "libdef/paths/ryni_full_path.h"
#include "libdef/paths/ryni_library_reuse.h"
#include "libdef/paths/ryni_nsl_path.h"
#include "libdef/registry/ryni_owned_text.h"
#include "libdef/registry/ryni_settings.h"
#include "tagfile/tov.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>

namespace {

struct FreeLibrary {
    void operator()(rynLibrary *library) const { ryniFreeLibrary(library); }
};
using OwnedLibrary = std::unique_ptr<rynLibrary, FreeLibrary>;

/// Diagnoses with a composed text of any length.
[[gnu::format(printf, 3, 4)]] int diagnoseWith(const ryniCommand &command, int code, const char *format,
                                               ...) {
    char *text = nullptr;
    va_list values;
    va_start(values, format);
    const int length = vasprintf(&text, format, values);
    va_end(values);
    const vek::OwnedText owner(length < 0 ? nullptr : text);
    return command.diagnose(code, owner ? owner.get() : rynGetErrorMsg(code));
}

/// The file of a library's definition; empty for one that was inserted without a statement.
const char *definingFile(const rynLibrary &library) {
    return library.definedIn != nullptr ? library.definedIn->path : "";
}

/// The two forms of the directory that a DEFINE names.
struct Directory {
    vek::PathText full;
    vek::PathText nsl;
};

/// What the checks of a directory came to.
enum class Verdict {
    Good,
    Ended ///< the statement ends with the status
};

class Definition {
  public:
    Definition(const ryniCommand &command, bool soft)
        : command_(command), soft_(soft), name_(command.argument(0)), text_(command.argument(1)) {}

    int run() {
        if (findDirectory() == Verdict::Ended || checkDirectory() == Verdict::Ended) {
            return status_;
        }
        rynLibrary *library = ryni_get_libp(command_.registry, name_);
        library = library == nullptr ? define() : redefine(library);
        return library == nullptr ? status_ : record(library);
    }

  private:
    Verdict end(int status) {
        status_ = status;
        return Verdict::Ended;
    }

    Verdict findDirectory() {
        vek::PathText error;
        vekCanonicalizeDirSep(text_);
        int status =
            ryn::generateFullPath(text_, command_.directory, directory_.full, error, command_.registry);
        if (status == RYN_OK) {
            status = ryn::generateNslPath(directory_.full.c_str(), directory_.nsl, error, command_.registry,
                                          soft_ ? ryn::Existence::NotChecked : ryn::Existence::Checked);
        }
        return status == RYN_OK ? Verdict::Good : end(command_.diagnose(status, error.c_str()));
    }

    /// Only while paths must exist.
    Verdict checkDirectory() {
        if (ryniCheckPathNoneExistWarnFlag(command_.registry) == 0) {
            return Verdict::Good;
        }
        const char *nsl = directory_.nsl.c_str();
        const int status = ryniIsGoodLibPath(command_.registry, nsl, 0);
        if (status != RYN_OK) {
            return end(soft_ ? RYN_OK : command_.diagnose(status, nsl));
        }
        if (ryni_doVekLibCheck() != 0 && tovIsLibrary(nsl) == 0) {
            return end(diagnoseWith(command_, RYN_NO_VEKLIBRARY_ENTRY,
                                    "%s line %d:\n    directory %s of LIB %s\n"
                                    "    does not have a VEKLIBRARY entry in its vekinfo.tag file.",
                                    command_.file->path, command_.line, nsl, name_));
        }
        return Verdict::Good;
    }

    rynLibrary *fail(int code, const char *object) {
        status_ = command_.diagnose(code, object);
        return nullptr;
    }

    /// @return the new library in the registry; null when the statement ends
    rynLibrary *define() {
        OwnedLibrary library(ryniNewLibrary(name_));
        if (!library) {
            return fail(RYN_MEMORY_ERROR, name_);
        }
        if (ryniStrcpy(&library->fullPath, directory_.full.c_str()) != RYN_OK) {
            return fail(RYN_MEMORY_ERROR, directory_.full.c_str());
        }
        if (ryniStrcpy(&library->nslPath, directory_.nsl.c_str()) != RYN_OK) {
            return fail(RYN_MEMORY_ERROR, directory_.nsl.c_str());
        }
        vek::PathText error;
        const int status = error.fill([&](char *errorOut, std::size_t) {
            return ryniUpdateImplicit(command_.registry, library.get(), nullptr, nullptr, errorOut);
        });
        if (status != RYN_OK) {
            return fail(status, error.c_str());
        }
        if (sInsert_lib(command_.registry, library.get()) != RYN_OK) {
            return fail(RYN_MEMORY_ERROR, directory_.nsl.c_str());
        }
        return library.release();
    }

    /// @return the library; null when the statement ends
    rynLibrary *redefine(rynLibrary *library) {
        status_ = ryniCheckCase(command_, *library, name_);
        if (status_ == RYN_OK) {
            status_ = warnOfRedefinition(*library);
        }
        if (status_ != RYN_OK) {
            return nullptr;
        }
        // Both spellings are of one length: this takes no memory.
        static_cast<void>(ryniStrcpy(&library->name, name_));
        if (std::strcmp(library->fullPath, directory_.full.c_str()) != 0) {
            library->flags |= RYNI_LIB_PATH_CHANGED;
        }
        // The full path becomes the nsl path of the new directory, while the stored nsl path stays that of the
        // first definition: queries answer with the one, comparisons go on with the other.
        if (ryniReplaceText(&library->fullPath, directory_.nsl.c_str()) != RYN_OK) {
            return fail(RYN_MEMORY_ERROR, directory_.nsl.c_str());
        }
        if (ryniMoveToEnd(command_.registry, library) == 0) {
            return fail(RYN_INTERNAL_ERROR, "lost library on list");
        }
        return library;
    }

    int warnOfRedefinition(const rynLibrary &library) {
        const char *here = command_.file->path;
        const char *earlier = definingFile(library);
        const int line = command_.line;
        const int earlierLine = library.definedAtLine;
        if (std::strcmp(here, earlier) == 0) {
            return diagnoseWith(command_, RYN_REDEFINED_IN_SAME_FILE,
                                "library %s from %s line %d, redefines\n"
                                "    library %s from same file line %d defined earlier.",
                                name_, here, line, library.name, earlierLine);
        }
        return diagnoseWith(command_, RYN_REDEFINED,
                            "library %s defined in %s at line %d, redefines\n"
                            "    library %s defined in %s at line %d.\n"
                            "Insert UNDEFINE %s\n"
                            "before DEFINE %s on line %d\n"
                            "    of %s\n"
                            "Or remove or comment out DEFINE %s on line %d\n"
                            "    of %s\n"
                            "to suppress this warning message.",
                            name_, here, line, library.name, earlier, earlierLine, name_, name_, line, here,
                            library.name, earlierLine, earlier);
    }

    int record(rynLibrary *library) {
        if (ryniRecordDefinition(library, command_.file, command_.line) != RYN_OK) {
            return command_.diagnose(RYN_MEMORY_ERROR, name_);
        }
        return ryniCheckReuse(command_, library->nslPath);
    }

    const ryniCommand &command_;
    bool soft_; ///< SOFTDEFINE: a directory that does not exist is no diagnostic
    const char *name_;
    char *text_;
    Directory directory_;
    int status_ = RYN_OK;
};

} // namespace

int ryniCheckCase(const ryniCommand &command, const rynLibrary &library, const char *name) {
    if (std::strcmp(library.name, name) == 0) {
        return RYN_OK;
    }
    return diagnoseWith(command, RYN_DIFFERS_ONLY_BY_CASE,
                        "library %s from %s line %d, differs only by case from\n"
                        "    library %s from %s line %d defined earlier.",
                        name, command.file->path, command.line, library.name, definingFile(library),
                        library.definedAtLine);
}

int ryniCheckReuse(const ryniCommand &command, const char *nslPath) {
    const int count = ryniLibPathReused(command.registry, nslPath, nullptr, 0);
    return count == 1 ? RYN_OK : command.diagnose(RYN_DIRECTORY_REUSED, nslPath);
}

int ryniDefine(const ryniCommand &command) {
    return Definition(command, false).run();
}

int ryniSoftDefine(const ryniCommand &command) {
    return Definition(command, true).run();
}

int ryniUndefine(const ryniCommand &command) {
    const char *name = command.argument(0);
    rynLibrary *library = ryni_get_libp(command.registry, name);
    if (library == nullptr) {
        return RYN_OK;
    }
    const int status = ryniCheckCase(command, *library, name);
    if (status != RYN_OK) {
        return status;
    }
    const OwnedLibrary removed(library);
    if (ryniRemoveLibrary(command.registry, library) == 0) {
        return command.diagnose(RYN_INTERNAL_ERROR, "lost library on list in undefine");
    }
    return RYN_OK;
}
