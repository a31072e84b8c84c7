// A program for the fault points of preload_faults.cpp: makes a few calls in this order and prints the result
// of each. Its argument is the directory to use.

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static void say(const char *call, int good) {
    int error = errno;
    printf("%s: %s\n", call, good ? "done" : strerror(error));
}

int main(int count, char **arguments) {
    if (count != 2 || chdir(arguments[1]) != 0) {
        return 2;
    }
    int file = open("Name", O_WRONLY | O_CREAT | O_TRUNC, 0644);
    say("open", file >= 0);
    for (int round = 0; round < 3; ++round) {
        say("write", write(file, "text", 4) == 4);
    }
    say("close", close(file) == 0);
    say("same name", access("nAME", F_OK) == 0);
    for (int round = 0; round < 3; ++round) {
        char *volatile block = malloc(10);
        say("malloc", block != NULL);
        free(block);
    }
    char *volatile copy = strdup("text");
    say("strdup", copy != NULL);
    free(copy);
    return 0;
}
