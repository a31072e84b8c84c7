// Prints where a tool writes a file of a view, and creates the directories of the cell and the view if they are missing.
//
// Usage: where_to_write LIBRARY CELL VIEW FILE
//
// The path is in the implicit temporary directory of the library, otherwise in its explicit or global one, otherwise in
// its own directory. An environment variable SCRATCH names a root for implicit temporary directories. The exit status is
// 1 if the file cannot be written there, 2 after a usage error.

#include <array>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <type_traits>

#include <vek/pux.h>
#include <vek/ryn.h>
#include <vek/vek.h>

namespace {

struct Release {
    void operator()(rynHandle registry) const { rynReleaseHandle(registry); }
};
using Registry = std::unique_ptr<std::remove_pointer_t<rynHandle>, Release>;

// Without a handler, a diagnostic would make rynInit() fail.
int ignoreDiagnostic(int /*code*/, const char * /*object*/, const char * /*file*/, int /*line*/) {
    return 0;
}

int fail(const std::string &what, int code) {
    std::cerr << "where_to_write: " << what << ": " << rynGetErrorMsg(code) << '\n';
    return EXIT_FAILURE;
}

// RYN_PATH_WRITE creates cells and views, but never the directory of a library.
int useScratch(rynHandle registry, const std::string &root, const std::string &library) {
    if (vekBuildDirPath((root + '/' + library).c_str()) == 0) {
        return RYN_SYSTEM_ERROR;
    }
    return rynSetImplicitTmp(registry, root.c_str(), RYN_IMPLICIT_ONLY, nullptr);
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 5) {
        std::cerr << "usage: where_to_write LIBRARY CELL VIEW FILE\n";
        return 2;
    }
    vekInit(&argc, argv);
    rynSetPathNoneExistWarnFlag(1);

    std::array<char, VEK_SEARCH_PATH_SIZE> definitions{};
    if (puxSearch(nullptr, "vek.lib", definitions.data(), definitions.size()) != PUX_OK) {
        return fail("vek.lib", RYN_VEKLIB_NOT_FOUND);
    }
    rynHandle handle = nullptr;
    int code = rynInit(definitions.data(), 0, ignoreDiagnostic, nullptr, &handle);
    if (code != RYN_OK) {
        return fail(definitions.data(), code);
    }
    const Registry registry(handle);

    if (const char *const scratch = std::getenv("SCRATCH"); scratch != nullptr) {
        code = useScratch(registry.get(), scratch, argv[1]);
        if (code != RYN_OK) {
            return fail(scratch, code);
        }
    }
    std::array<char, VEK_PATH_SIZE> path{};
    code = rynGetPath(registry.get(), RYN_PATH_WRITE, argv[1], argv[2], argv[3], argv[4], path.data(),
                      path.size());
    if (code != RYN_OK) {
        return fail(argv[1], code);
    }
    std::cout << path.data() << '\n';
    return EXIT_SUCCESS;
}
