// Linked into a program, not preloaded: the sanitizers' libraries insist on being the first.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

// Looked up once, before a process that is being started calls it on a small stack.
#define FIND_REAL(name)                                                                            \
    static __typeof__(&name) real;                                                                 \
    if (!real)                                                                                     \
    real = (__typeof__(&name))dlsym(RTLD_NEXT, #name)

// Of the thread that asked for it: the toolkit's own go on meanwhile.
static _Thread_local const char* failing;
static _Thread_local const char* below;
static _Thread_local int left;
static _Thread_local int number;
static _Thread_local pid_t owner;

void zelFailDisk(const char* call, int count, int error, const char* folder) {
    failing = call;
    left = count;
    number = error;
    below = folder;
    owner = getpid();
}

static int fails(const char* call, const char* path) {
    if (!failing || strcmp(call, failing) != 0 || strncmp(path, below, strlen(below)) != 0)
        return 0;
    if (left > 1) {
        --left;
        return 0;
    }
    errno = number;
    return 1;
}

// Not in a process that is being started: it shares this one's memory, and its stack has four
// kilobytes.
static int failsFor(const char* call, int fd) {
    char name[32];
    static _Thread_local char path[PATH_MAX];
    if (!failing || getpid() != owner)
        return 0;
    snprintf(name, sizeof name, "/proc/self/fd/%d", fd);
    const ssize_t size = readlink(name, path, sizeof path - 1);
    path[size < 0 ? 0 : size] = 0;
    return fails(call, path);
}

int open64(const char* path, int flags, ...) {
    FIND_REAL(open64);
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = va_arg(arguments, mode_t);
    va_end(arguments);
    return fails("open", path) ? -1 : real(path, flags, mode);
}

ssize_t write(int fd, const void* bytes, size_t size) {
    FIND_REAL(write);
    return failsFor("write", fd) ? -1 : real(fd, bytes, size);
}

// As with a real one, the descriptor is gone all the same.
int close(int fd) {
    FIND_REAL(close);
    const int failed = failsFor("close", fd);
    const int result = real(fd);
    if (!failed)
        return result;
    errno = number;
    return -1;
}

int renameat2(int from, const char* path, int to, const char* name, unsigned flags) {
    FIND_REAL(renameat2);
    return fails("rename", path) || fails("link", path) ? -1 : real(from, path, to, name, flags);
}

int link(const char* path, const char* name) {
    FIND_REAL(link);
    return fails("link", path) ? -1 : real(path, name);
}
