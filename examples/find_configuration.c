// Finds a configuration file along the search list: the directories, the file that applies, all files with the name, and
// the file that a tool writes changed settings to.
//
// Usage: find_configuration NAME
//
// The exit status is 1 if there is no such file, or if it cannot be read; 2 after a usage error.

#include <stdio.h>
#include <stdlib.h>

#include <vek/pux.h>
#include <vek/vek.h>

static void print_list(const char *title, char **list) {
    printf("%s\n", title);
    for (; *list != NULL; ++list) {
        printf("    %s\n", *list);
    }
}

int main(int argc, char **argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: find_configuration NAME\n");
        return 2;
    }
    vekInit(&argc, argv);
    const char *const name = argv[1];

    char **directories = NULL;
    int code = puxInitialize(&directories);
    if (code != PUX_OK) {
        fprintf(stderr, "find_configuration: the search list: %s\n", puxGetErrorMsg(code));
        return EXIT_FAILURE;
    }
    print_list("search list", directories);

    // The path is set if the file exists and cannot be read: the next match does not apply then.
    char path[VEK_SEARCH_PATH_SIZE] = "";
    code = puxSearch(directories, name, path, sizeof path);
    printf("applies\n    %s\n", code == PUX_OK ? path : puxGetErrorMsg(code));
    const int status = code == PUX_OK ? EXIT_SUCCESS : EXIT_FAILURE;

    char **matches = NULL;
    if (puxFullSearch(directories, name, NULL, &matches) == PUX_OK) {
        print_list("all", matches);
        vekFreeStrlist(matches);
    }

    code = puxFindWritable(directories, name, path, sizeof path);
    printf("can be written\n    %s\n", code == PUX_OK ? path : puxGetErrorMsg(code));

    puxReleaseHandle(directories);
    return status;
}
