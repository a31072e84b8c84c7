// Receives the errors of all layers in one place.
//
// Usage: handle_errors PATH ENTRY
//
// Reads the first vek.lib along the search list, with the directory in SCRATCH as the root of temporary directories, and
// tests whether the library in LIBRARY is defined. Then it looks up an entry of the path, expands the references in it,
// and opens it. Every error becomes one line on standard error: the layer, the code, its text, and what it is about. The
// exit status is the number of errors, at most 100; 101 after a usage error.
//
// Handlers of the process receive errors of tag files, and messages without a code. Handlers of a registry receive
// diagnostics, errors and misuse. The other layers call no handler: searches and interpolation return codes, and the
// file-system layer returns errno values or codes of its own.

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <iostream>
#include <string>

#include <vek/pux.h>
#include <vek/ryn.h>
#include <vek/tov.h>
#include <vek/vek.h>
#include <vek/vek_fs.h>
#include <vek/vek_interp.h>

namespace {

// Handlers have no argument for the caller's data, so the count is global.
int errorCount = 0;

void report(const char *layer, int code, const char *text, const char *about) {
    ++errorCount;
    std::cerr << layer << ' ' << code << " (" << text << "): " << (about == nullptr ? "" : about) << '\n';
}

// ---- handlers of the process

void onTagError(int code, const char *text, const char *where, int line) {
    std::string about = text == nullptr ? "" : text;
    if (where != nullptr) {
        about.append(": ").append(where);
    }
    if (line != 0) {
        about.append(", line ").append(std::to_string(line));
    }
    report("tag file", code, tovGetErrorMsg(code), about.c_str());
}

// Messages without a code. They end with a newline.
void onMessage(const char *message) {
    std::string about = message;
    about.erase(std::min(about.find_last_not_of('\n') + 1, about.size()));
    report("message", 0, "no code", about.c_str());
}

// ---- handlers of a registry

// A diagnostic of a library definition file. 0 continues with the next line.
int onDiagnostic(int code, const char *object, const char *file, int line) {
    const std::string about =
        std::string(file) + ", line " + std::to_string(line) + ": " + (object == nullptr ? "" : object);
    report("vek.lib", code, rynGetErrorMsg(code), about.c_str());
    return 0;
}

// An error of rynSetImplicitTmp().
int onRegistryError(int code, const char *text, const char * /*sameText*/) {
    report("registry", code, rynGetErrorMsg(code), text);
    return 0;
}

// A mistake of the program: a null argument, or a handle that does not exist.
int onMisuse(int code, const char *text, const char * /*sameText*/) {
    report("misuse", code, rynGetErrorMsg(code), text);
    return 0;
}

// An attribute that this program does not know. A result other than 0 makes it the diagnostic RYN_INVALID_ATTRIBUTE.
int onUnknownAttribute(const char * /*attribute*/, const char * /*value*/, const char * /*file*/,
                       int /*line*/) {
    return 1;
}

// ---- layers that return codes

void readLibraries() {
    std::array<char, VEK_SEARCH_PATH_SIZE> file{};
    if (const int code = puxSearch(nullptr, "vek.lib", file.data(), file.size()); code != PUX_OK) {
        report("search", code, puxGetErrorMsg(code), "vek.lib");
        return;
    }
    rynInitOptions options{};
    options.errorHandler = onRegistryError;
    options.unknownAssignHook = onUnknownAttribute;
    rynHandle registry = nullptr;
    if (const int code =
            rynInitEx(file.data(), 0, onDiagnostic, onMisuse, &options, sizeof options, &registry);
        code != RYN_OK) {
        report("vek.lib", code, rynGetErrorMsg(code), file.data());
        return;
    }
    if (const char *const scratch = std::getenv("SCRATCH"); scratch != nullptr) {
        vekBuildDirPath(scratch);
        rynSetImplicitTmp(registry, scratch, RYN_IMPLICIT_ONLY, nullptr);
    }
    // Misuse if the variable is not set. A program should test that before.
    const char *const library = std::getenv("LIBRARY");
    if (const int code = rynIsDefined(registry, library); code == RYN_LIBRARY_NOT_DEFINED) {
        report("registry", code, rynGetErrorMsg(code), library);
    }
    rynReleaseHandle(registry);
}

void openFile(const char *path) {
    vekFSFile *file = nullptr;
    const int status = vekFS_openFile(path, O_RDONLY, &file);
    if (status != VEK_FS_OK) {
        std::array<char, 256> text{};
        vekFS_strerror(status, text.data(), text.size(), nullptr);
        report("file system", status, text.data(), path);
        return;
    }
    vekFS_close(file);
}

void expand(const char *path) {
    std::array<char, VEK_PATH_SIZE> text{};
    std::array<char, 256> reason{};
    vekInterpArgs args{};
    args.line = VEK_INTERP_NO_LINE;
    args.errorBuffer = reason.data();
    args.errorBufferSize = reason.size();
    if (vekInterpolate(path, text.data(), text.size(), &args, sizeof args) == 0) {
        report("interpolation", args.errorCode, reason.data(), path);
    }
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 3) {
        std::cerr << "usage: handle_errors PATH ENTRY\n";
        return 101;
    }
    vekInit(&argc, argv);
    vekRegErrorFunc(onMessage);
    tovRegisterErrorHandler(onTagError);

    readLibraries();
    static_cast<void>(tovLookupEntryX(argv[1], argv[2], nullptr));
    expand(argv[1]);
    openFile(argv[1]);
    return std::min(errorCount, 100);
}
