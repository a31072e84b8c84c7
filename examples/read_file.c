// Prints a file of a view, with the size of the file and the numbers of its lines, through the file-system layer.
//
// Usage: read_file LIBRARY CELL VIEW FILE
//
// A specifier names the file together with its implementation: the program does not depend on the kind of storage. The
// exit status is 1 if the file cannot be read, 2 after a usage error.

#include <fcntl.h>
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <vek/pux.h>
#include <vek/ryn.h>
#include <vek/vek.h>
#include <vek/vek_fs.h>

// Without a handler, a diagnostic would make rynInit() fail.
static int ignore_diagnostic(int code, const char *object, const char *file, int line) {
    (void)code, (void)object, (void)file, (void)line;
    return 0;
}

static int fail(const char *what, const char *reason) {
    fprintf(stderr, "read_file: %s: %s\n", what, reason);
    return EXIT_FAILURE;
}

static int fail_with_status(const char *what, int status) {
    char reason[256] = "";
    vekFS_strerror(status, reason, sizeof reason, NULL);
    return fail(what, reason);
}

// A line that is longer than the buffer comes in pieces; only its first piece is numbered.
static int print_lines(vekFSFile *file) {
    char text[256];
    char *line = NULL;
    int number = 0;
    int begins = 1;
    for (;;) {
        const int status = vekFS_fgets(text, sizeof text, file, &line);
        if (status != VEK_FS_OK || line == NULL) {
            return status;
        }
        if (begins) {
            printf("%4d  ", ++number);
        }
        fputs(line, stdout);
        begins = strchr(line, '\n') != NULL;
    }
}

static int print_file(vekFSSpec *spec) {
    char name[VEK_PATH_SIZE];
    int status = vekFSGetSpecString(spec, name, sizeof name, NULL);
    if (status != VEK_FS_OK) {
        return fail_with_status("the specifier", status);
    }
    vekFSStat record;
    int64_t size = 0;
    status = vekFS_stat(spec, &record);
    if (status == VEK_FS_OK) {
        status = vekFS_getFileSize(&record, &size);
    }
    if (status != VEK_FS_OK) {
        return fail_with_status(name, status);
    }
    printf("%s: %" PRId64 " bytes\n", name, size);

    vekFSFile *file = NULL;
    status = vekFS_open(spec, O_RDONLY, &file);
    if (status != VEK_FS_OK) {
        return fail_with_status(name, status);
    }
    const int read_status = print_lines(file);
    const int close_status = vekFS_close(file);
    if (close_status != VEK_FS_OK) {
        vekFS_close(file); // frees the handle
    }
    if (read_status != VEK_FS_OK || close_status != VEK_FS_OK) {
        return fail_with_status(name, read_status != VEK_FS_OK ? read_status : close_status);
    }
    return EXIT_SUCCESS;
}

int main(int argc, char **argv) {
    if (argc != 5) {
        fprintf(stderr, "usage: read_file LIBRARY CELL VIEW FILE\n");
        return 2;
    }
    vekInit(&argc, argv);
    rynSetPathNoneExistWarnFlag(1);

    char definitions[VEK_SEARCH_PATH_SIZE];
    int code = puxSearch(NULL, "vek.lib", definitions, sizeof definitions);
    if (code != PUX_OK) {
        return fail("vek.lib", puxGetErrorMsg(code));
    }
    rynHandle registry = NULL;
    code = rynInit(definitions, 0, ignore_diagnostic, NULL, &registry);
    if (code != RYN_OK) {
        return fail(definitions, rynGetErrorMsg(code));
    }
    vekFSSpec *spec = NULL;
    // Streams: vekFS_fgets() does not work on native files.
    code =
        rynGetSpec(registry, RYN_PATH_READ, argv[1], argv[2], argv[3], argv[4], NULL, RYN_SPEC_STDIO, &spec);
    const int status = code == RYN_OK ? print_file(spec) : fail(argv[4], rynGetErrorMsg(code));
    if (spec != NULL) {
        vekFSFreeSpec(spec);
    }
    rynReleaseHandle(registry);
    return status;
}
