// Put before the C library, it makes a slow disk: each sync takes KX_SYNC_MICROSECONDS longer. It also adds a byte to the
// file KX_SYNC_LOG, so that syncs can be counted.

#define _GNU_SOURCE
#include <dlfcn.h>
#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

static int slow(const char* name, int file) {
    const char* const time = getenv("KX_SYNC_MICROSECONDS");
    const char* const log = getenv("KX_SYNC_LOG");
    if (time) usleep((useconds_t)strtoul(time, NULL, 10));
    if (log) {
        const int to = open(log, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        if (to >= 0 && write(to, ".", 1) != 1) abort();
        close(to);
    }
    int (*next)(int);
    *(void**)&next = dlsym(RTLD_NEXT, name);
    return next(file);
}

__attribute__((visibility("default"))) int fsync(int file) { return slow("fsync", file); }
__attribute__((visibility("default"))) int fdatasync(int file) { return slow("fdatasync", file); }
