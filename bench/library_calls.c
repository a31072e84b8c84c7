// The system calls that a check of small libraries cannot avoid, one after the other, as a measure for the tool: for each
// of COUNT libraries named library0000, library0001, ... in the working directory, one readlink() of the definition file's
// path, and the calls that read the tag file, probe the case sensitivity and read the directory.
//
// Usage: library_calls COUNT

#define _GNU_SOURCE
#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

static char buffer[32768];

/// Ends the program if a call has failed.
static long checked(const char *call, long result) {
    if (result < 0) {
        perror(call);
        exit(1);
    }
    return result;
}

static int opened(const char *path, int flags) {
    return (int)checked("open", open(path, flags | O_CLOEXEC, 0666));
}

static void readTag(const char *tag) {
    struct stat status;
    checked("stat", stat(tag, &status));
    const int file = opened(tag, O_RDONLY);
    checked("fstat", fstat(file, &status));
    while (checked("read", read(file, buffer, 4096)) > 0) {
    }
    checked("fstat", fstat(file, &status)); // or the two calls that lock and unlock
    close(file);
}

static int created(const char *path) {
    const int file = opened(path, O_WRONLY | O_CREAT | O_EXCL);
    checked("pwrite", pwrite(file, path, 20, 0));
    return file;
}

static void probe(const char *directory) {
    char lower[64];
    char mixed[64];
    struct stat status;
    struct rlimit limit;
    checked("stat", stat(directory, &status));
    checked("access", access(directory, W_OK));
    checked("getrlimit", getrlimit(RLIMIT_FSIZE, &limit));
    const int process = (int)getpid();
    snprintf(lower, sizeof lower, "%s/loweronetwothreefour.%d", directory, process);
    snprintf(mixed, sizeof mixed, "%s/LowerOneTwoThreeFour.%d", directory, process);
    const int first = created(lower);
    const int second = created(mixed);
    const int again = opened(lower, O_RDONLY);
    checked("read", read(again, buffer, 127));
    close(again);
    checked("unlink", unlink(mixed));
    close(second);
    checked("unlink", unlink(lower));
    close(first);
}

static void readDirectory(const char *directory) {
    const int file = opened(directory, O_RDONLY | O_DIRECTORY);
    while (checked("getdents64", getdents64(file, buffer, sizeof buffer)) > 0) {
    }
    close(file);
}

int main(int argc, char **argv) {
    const long count = argc == 2 ? strtol(argv[1], NULL, 10) : 0;
    for (long i = 0; i < count; ++i) {
        char directory[32];
        char tag[64];
        snprintf(directory, sizeof directory, "library%04ld", i);
        snprintf(tag, sizeof tag, "%s/vekinfo.tag", directory);
        (void)!readlink(directory, buffer, sizeof buffer); // fails, because it is no link
        readTag(tag);
        probe(directory);
        readDirectory(directory);
    }
    return 0;
}
