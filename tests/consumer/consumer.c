/* A program on the headers as they are installed, and on nothing else of the repository. */

#include <stdio.h>

#include <vek/tov.h>
#include <vek/vek.h>

#if __has_include("common/vek.h")
#error "the internal headers are visible"
#endif

int main(int argc, char **argv) {
    vekInit(&argc, argv);
    const char *value = tovGetDmType(argc > 1 ? argv[1] : ".");
    printf("vek %s: DMTYPE %s\n", VEK_VERSION, value != NULL ? value : "not found");
    return 0;
}
