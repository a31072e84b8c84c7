// A C program on the public headers alone: it compiles as C11, and the C driver links it with libvek.a.

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "common/vek.h"
#include "search/pux.h"
#include "search/vek_interp.h"
#include "tagfile/tov.h"

static int failures = 0;

static void expect(const char *what, int holds) {
    if (!holds) {
        printf("failed: %s\n", what);
        ++failures;
    }
}

static char reported[100] = "";

static void remember(const char *message) {
    strncpy(reported, message, sizeof reported - 1);
}

_Static_assert(sizeof(vekInterpArgs) == 56, "the record has one layout in every language");

int main(int argc, char **argv) {
    expect("vekInit", vekInit(&argc, argv) == 0 && vekInitDone() == 1);

    char *copy = vekCopyString("text");
    expect("vekCopyString", copy != NULL && strcmp(copy, "text") == 0);
    free(copy);

    expect("vekIsRooted", vekIsRooted("/a") == 1 && vekIsRooted("a") == 0);
    expect("vekHashString32", vekHashString32("a") != vekHashString32("b"));

    vek_regexp *expression = vek_regcomp("a(b*)c");
    expect("vek_regexec", expression != NULL && vek_regexec(expression, "xabbc") == 1);
    free(expression);

    expect("vekRegErrorFunc", vekRegErrorFunc(remember) == NULL && vekGetErrorFunc() == remember);
    vekReportError("message");
    expect("vekReportError", strcmp(reported, "message") == 0);

    expect("tovGetErrorMsg", tovGetErrorMsg(0) != NULL);
    expect("puxGetErrorMsg", puxGetErrorMsg(0) != NULL);

    char out[VEK_PATH_SIZE];
    vekInterpolate("plain", out, sizeof out, NULL, 0);
    expect("vekInterpolate", strcmp(out, "plain") == 0);

    char where[VEK_PATH_SIZE];
    expect("tovGetNameSpaceX", tovGetNameSpaceX("/", where) != NULL);
    return failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
