#ifndef VEK_TESTS_SUPPORT_REAL_CALLS_H
#define VEK_TESTS_SUPPORT_REAL_CALLS_H

#include <cstdarg>
#include <cstdio>
#include <ctime>

#include <dirent.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/types.h>

// The original functions of the fault points, with the names that the linker option --wrap gives them. The test support
// calls these, so that its calls neither fail nor are counted.
extern "C" {
void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
void *__real_reallocarray(void *block, size_t count, size_t size);
char *__real_strdup(const char *text);
char *__real_strndup(const char *text, size_t size);
[[gnu::format(printf, 2, 0)]] int __real_vasprintf(char **text, const char *format, va_list arguments);
int __real_open(const char *path, int flags, ...);
FILE *__real_fopen(const char *path, const char *mode);
FILE *__real_fdopen(int descriptor, const char *mode);
ssize_t __real_read(int descriptor, void *buffer, size_t size);
ssize_t __real_write(int descriptor, const void *data, size_t size);
ssize_t __real_pwrite(int descriptor, const void *data, size_t size, off_t offset);
int __real_close(int descriptor);
int __real_fclose(FILE *stream);
int __real_fflush(FILE *stream);
int __real_fputs(const char *text, FILE *stream);
size_t __real_fwrite(const void *data, size_t size, size_t count, FILE *stream);
char *__real_fgets(char *buffer, int size, FILE *stream);
size_t __real_fread(void *buffer, size_t size, size_t count, FILE *stream);
off_t __real_ftello(FILE *stream);
int __real_fseeko(FILE *stream, off_t offset, int whence);
FILE *__real_fmemopen(void *buffer, size_t size, const char *mode);
int __real_fsync(int descriptor);
int __real_fdatasync(int descriptor);
int __real_ftruncate(int descriptor, off_t size);
int __real_fallocate(int descriptor, int mode, off_t offset, off_t size);
int __real_posix_fallocate(int descriptor, off_t offset, off_t size);
int __real_stat(const char *path, struct stat *status);
int __real_lstat(const char *path, struct stat *status);
int __real_fstat(int descriptor, struct stat *status);
ssize_t __real_readlink(const char *path, char *buffer, size_t size);
DIR *__real_opendir(const char *path);
int __real_mkdir(const char *path, mode_t mode);
int __real_rmdir(const char *path);
int __real_unlink(const char *path);
int __real_rename(const char *from, const char *to);
int __real_chmod(const char *path, mode_t mode);
int __real_fchmod(int descriptor, mode_t mode);
char *__real_getcwd(char *buffer, size_t size);
struct passwd *__real_getpwnam(const char *name);
int __real_access(const char *path, int mode);
int __real_fcntl(int descriptor, int command, ...);
int __real_openat(int directory, const char *path, int flags, ...);
int __real_unlinkat(int directory, const char *path, int flags);
int __real_nanosleep(const struct timespec *duration, struct timespec *remaining);
int __real_clock_gettime(clockid_t clock, struct timespec *now);
ssize_t __real_pread(int descriptor, void *buffer, size_t size, off_t offset);
}

#endif
