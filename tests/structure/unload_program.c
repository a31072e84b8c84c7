// Loads a library, lets it initialize the search files, and unloads it. The environment must stay usable.
//
// Usage: unload_program LIBRARY    LIBRARY: libvek.so, or a plugin with a function startPlugin()

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int fail(const char *what, const char *detail) {
    printf("failed: %s: %s\n", what, detail == NULL ? "(null)" : detail);
    return EXIT_FAILURE;
}

/// Calls puxInitialize() in an open library. @return its result, or -1 if the functions are missing
static int initialize(void *library) {
    // POSIX lets a void * be read as a function pointer, ISO C does not.
    int (*startPlugin)(const char *) = NULL;
    int (*start)(const char *) = NULL;
    int (*initializeSearch)(char ***) = NULL;
    *(void **)&startPlugin = dlsym(library, "startPlugin");
    if (startPlugin != NULL) {
        return startPlugin("unload_program");
    }
    *(void **)&start = dlsym(library, "vekInitNonVEKApp");
    *(void **)&initializeSearch = dlsym(library, "puxInitialize");
    if (start == NULL || initializeSearch == NULL) {
        return -1;
    }
    start("unload_program");
    return initializeSearch(NULL);
}

static int use(const char *path) {
    void *library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) {
        return fail("dlopen", dlerror());
    }
    if (initialize(library) != 0) {
        return fail("puxInitialize", path);
    }
    return dlclose(library) == 0 ? EXIT_SUCCESS : fail("dlclose", dlerror());
}

int main(int argc, char **argv) {
    if (argc != 2) {
        return fail("usage", "unload_program LIBRARY");
    }
    for (int round = 0; round < 2; ++round) {
        if (use(argv[1]) != EXIT_SUCCESS) {
            return EXIT_FAILURE;
        }
        // getenv() of a missing name reads every string of the environment.
        const char *architecture = getenv("VEK_ARCH");
        if (architecture == NULL || strcmp(architecture, "lnx86") != 0) {
            return fail("VEK_ARCH", architecture);
        }
        if (getenv("VEK_NO_SUCH_VARIABLE") != NULL) {
            return fail("VEK_NO_SUCH_VARIABLE", "is set");
        }
    }
    return EXIT_SUCCESS;
}
