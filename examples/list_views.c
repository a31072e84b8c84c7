// Lists the cells and views of a library, in its own directory and its temporary directories.
//
// Usage: list_views LIBRARY
//
// Reads the first vek.lib along the search list. The exit status is 1 if a part cannot be read, 2 after a usage error.

#include <stdio.h>
#include <stdlib.h>

#include <vek/pux.h>
#include <vek/ryn.h>
#include <vek/vek.h>

// Without a handler, a diagnostic would make rynInit() fail.
static int ignore_diagnostic(int code, const char *object, const char *file, int line) {
    (void)code, (void)object, (void)file, (void)line;
    return 0;
}

static int fail(const char *what, int code) {
    fprintf(stderr, "list_views: %s: %s\n", what, rynGetErrorMsg(code));
    return EXIT_FAILURE;
}

// The view's path in the first of these directories that contains it: the temporary ones, then the library's own.
static void print_view(rynHandle registry, const char *library, const char *cell, const char *view) {
    char path[VEK_PATH_SIZE];
    const int code = rynGetPath(registry, RYN_PATH_READ, library, cell, view, NULL, path, sizeof path);
    printf("    %s: %s\n", view, code == RYN_OK ? path : rynGetErrorMsg(code));
}

static int print_views(rynHandle registry, const char *library, const char *cell) {
    rynContext *views = NULL;
    const int code = rynIterateViews(registry, library, cell, &views);
    if (code != RYN_OK) {
        return fail(cell, code);
    }
    printf("%s\n", cell);
    const char *view = NULL;
    while (rynNextView(views, &view) == RYN_OK) {
        print_view(registry, library, cell, view);
    }
    rynIterateEnd(views);
    return EXIT_SUCCESS;
}

static int print_cells(rynHandle registry, const char *library) {
    rynContext *cells = NULL;
    const int code = rynIterateCells(registry, library, &cells);
    if (code != RYN_OK) {
        return fail(library, code);
    }
    int status = EXIT_SUCCESS;
    const char *cell = NULL;
    while (rynNextCell(cells, &cell) == RYN_OK) {
        if (print_views(registry, library, cell) != EXIT_SUCCESS) {
            status = EXIT_FAILURE;
        }
    }
    rynIterateEnd(cells);
    return status;
}

int main(int argc, char **argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: list_views LIBRARY\n");
        return 2;
    }
    vekInit(&argc, argv);

    // Before the registry is created. Without it, a cell that only one of the directories contains cannot be read, and
    // RYN_PATH_READ does not test where an object exists.
    rynSetPathNoneExistWarnFlag(1);

    char file[VEK_SEARCH_PATH_SIZE];
    if (puxSearch(NULL, "vek.lib", file, sizeof file) != PUX_OK) {
        return fail("vek.lib", RYN_VEKLIB_NOT_FOUND);
    }
    rynHandle registry = NULL;
    const int code = rynInit(file, 0, ignore_diagnostic, NULL, &registry);
    if (code != RYN_OK) {
        return fail(file, code);
    }
    const int status = print_cells(registry, argv[1]);
    rynReleaseHandle(registry);
    return status;
}
