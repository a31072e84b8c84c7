// Prints the codes and texts of all layers as the library returns them, one line each: layer, code, text. page_text
// compares them with the manual pages.

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <vek/pux.h>
#include <vek/ryn.h>
#include <vek/tov.h>
#include <vek/vek.h>
#include <vek/vek_fs.h>
#include <vek/vek_interp.h>

static void print(const char *layer, int code, const char *text) {
    printf("%s %d %s\n", layer, code, text);
}

static void print_status(int status) {
    char text[80];
    vekFS_strerror(status, text, sizeof text, NULL);
    print("fs", status, text);
}

// Interpolates `in`, which fails, and prints the first line of the message.
static void print_message(const char *in, char *out, size_t size, unsigned flags) {
    char message[200] = "";
    vekInterpArgs args = {0};
    args.flags = flags;
    args.fileName = "FILE";
    args.line = VEK_INTERP_NO_LINE;
    args.errorBuffer = message;
    args.errorBufferSize = sizeof message;
    vekInterpolate(in, out, size, &args, sizeof args);
    message[strcspn(message, "\n")] = '\0';
    print("interp", args.errorCode, message);
}

static void print_messages(void) {
    char out[200];
    print_message("text", out, 2, 0);
    print_message("$NAME", out, sizeof out, 0);
    print_message("~USER", out, sizeof out, 0);
    print_message("~USER and more", out, sizeof out, 0);
    print_message("$CYCLE", out, sizeof out, VEK_INTERP_RECURSIVE);
    print_message(NULL, out, sizeof out, 0);
    print_message("text", NULL, 0, 0);
    print_message("$(", out, sizeof out, 0);
    print_message("${", out, sizeof out, 0);
    print_message("$(compute:THIS_TOOL_INST_ROOT)", out, sizeof out, 0);
    print_message("$(compute:THIS_FILE_INST_ROOT)", out, sizeof out, 0);
    print_message("$(inst_root_with:PATH)", out, sizeof out, 0);
}

// Usage: env -i CYCLE='$CYCLE' PATH=/no/such/directory code_tables
int main(int argc, char **argv) {
    vekInit(&argc, argv);
    for (int code = 0; code <= TOV_INVALID_ERROR_NUMBER; ++code) {
        print("tov", code, tovGetErrorMsg(code));
    }
    for (int code = 0; code <= RYN_INVALID_ERROR_NUMBER; ++code) {
        print("ryn", code, rynGetErrorMsg(code));
    }
    for (int code = 0; code <= PUX_NOT_INITIALIZED; ++code) {
        print("pux", code, puxGetErrorMsg(code));
    }
    print_status(VEK_FS_OK);
    print_status(VEK_FS_BAD_STATUS);
    print_status(VEK_FS_BUFFER_TOO_SMALL);
    print_status(VEK_FS_NOT_SUPPORTED);
    print_messages();
    return EXIT_SUCCESS;
}
