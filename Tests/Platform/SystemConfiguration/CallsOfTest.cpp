#include "CallsOfTest.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>

namespace {

/// The same function of the C library.
template <class Function>
Function* next(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void die() {
    if (CallsOfTest::last) CallsOfTest::last();
    raise(SIGKILL);
}

/// Whether this call is the deadly one.
bool isLast() { return ++CallsOfTest::made == CallsOfTest::deadly; }

}  // namespace

#define EXPORTED extern "C" __attribute__((visibility("default")))

EXPORTED int openat(int folder, const char* path, int flags, ...) {
    static const auto real = next(&openat, "openat");
    if (isLast()) die();
    va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = flags & O_CREAT ? static_cast<mode_t>(va_arg(arguments, int)) : 0;
    va_end(arguments);
    return real(folder, path, flags, mode);
}

EXPORTED int fcntl(int file, int command, ...) {
    static const auto real = next(&fcntl, "fcntl");
    if (isLast()) die();
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    return real(file, command, argument);
}

EXPORTED ssize_t pwrite(int file, const void* bytes, size_t size, off_t offset) {
    static const auto real = next(&pwrite, "pwrite");
    const bool isDeadly = isLast();
    if (!isDeadly && CallsOfTest::writeError == 0) return real(file, bytes, size, offset);
    // What the system may do as well: a part of it.
    if (size > 1) {
        const ssize_t done = real(file, bytes, size / 2, offset);
        if (isDeadly) die();
        return done;
    }
    if (isDeadly) die();
    errno = CallsOfTest::writeError;
    return -1;
}

EXPORTED ssize_t pread(int file, void* bytes, size_t size, off_t offset) {
    static const auto real = next(&pread, "pread");
    ++CallsOfTest::reads;
    return real(file, bytes, size, offset);
}

EXPORTED int ftruncate(int file, off_t size) noexcept {
    static const auto real = next(&ftruncate, "ftruncate");
    if (isLast()) die();
    return real(file, size);
}

EXPORTED int fchmod(int file, mode_t mode) noexcept {
    static const auto real = next(&fchmod, "fchmod");
    if (isLast()) die();
    return real(file, mode);
}

EXPORTED int renameat(int from, const char* name, int to, const char* newName) noexcept {
    static const auto real = next(&renameat, "renameat");
    if (isLast()) die();
    return real(from, name, to, newName);
}

EXPORTED int unlinkat(int folder, const char* name, int flags) noexcept {
    static const auto real = next(&unlinkat, "unlinkat");
    if (isLast()) die();
    return real(folder, name, flags);
}

EXPORTED int mkdirat(int folder, const char* name, mode_t mode) noexcept {
    static const auto real = next(&mkdirat, "mkdirat");
    if (isLast()) die();
    return real(folder, name, mode);
}
