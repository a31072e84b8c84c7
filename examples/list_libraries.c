// Lists every library of the first vek.lib on the search list, with its directory, namespace and DM type.
//
// Usage: list_libraries
//
// The search list begins with the working directory. The exit status is 1 if there is no vek.lib or it cannot be read.

#include <stdio.h>
#include <stdlib.h>

#include <vek/pux.h>
#include <vek/ryn.h>
#include <vek/tov.h>
#include <vek/vek.h>

// Receives diagnostics of the definition file. 0 continues with the next line.
static int warn(int code, const char *object, const char *file, int line) {
    fprintf(stderr, "%s:%d: %s: %s\n", file, line, rynGetErrorMsg(code), object == NULL ? "" : object);
    return 0;
}

static int fail(const char *what, const char *reason) {
    fprintf(stderr, "list_libraries: %s: %s\n", what, reason);
    return EXIT_FAILURE;
}

static void print_library(rynHandle registry, const char *library) {
    char directory[VEK_PATH_SIZE];
    const int code =
        rynGetPath(registry, RYN_PATH_READ_LIBRARY, library, NULL, NULL, NULL, directory, sizeof directory);
    printf("%s\n", library);
    if (code != RYN_OK) {
        printf("    directory  unknown: %s\n", rynGetErrorMsg(code));
        return;
    }
    if (!vekFileIsDirectory(directory)) {
        printf("    directory  %s (missing)\n", directory);
        return;
    }
    const char *const dm_type = tovGetDmType(directory);
    printf("    directory  %s\n", directory);
    printf("    namespace  %s\n", tovGetNameSpace(directory));
    printf("    DM type    %s\n", dm_type == NULL ? "(not set)" : dm_type);
}

static int print_libraries(rynHandle registry) {
    rynContext *libraries = NULL;
    const int code = rynIterateLibs(registry, &libraries);
    if (code != RYN_OK) {
        return fail("the libraries", rynGetErrorMsg(code));
    }
    const char *library = NULL;
    while (rynNextLib(libraries, &library) == RYN_OK) {
        print_library(registry, library);
    }
    rynIterateEnd(libraries);
    return EXIT_SUCCESS;
}

int main(int argc, char **argv) {
    vekInit(&argc, argv);

    char file[VEK_SEARCH_PATH_SIZE];
    int code = puxSearch(NULL, "vek.lib", file, sizeof file);
    if (code != PUX_OK) {
        return fail("vek.lib", puxGetErrorMsg(code));
    }
    rynHandle registry = NULL;
    code = rynInit(file, 0, warn, NULL, &registry);
    if (code != RYN_OK) {
        return fail(file, rynGetErrorMsg(code));
    }
    const int status = print_libraries(registry);
    rynReleaseHandle(registry);
    return status;
}
