#pragma once

// An SQLite VFS that stands before the system's own and becomes the default: it counts what is asked of the disk, makes
// the n-th request of a kind fail (or all from it on), or cuts the power at the n-th write, after which the files hold
// what was synced.

#include <sqlite3.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>

namespace faulty {

enum Request { Read, Write, Sync, Open, Delete, RequestCount };

inline const char* nameOf(Request request) {
    constexpr const char* names[] = {"read", "write", "sync", "open", "delete"};
    return names[request];
}

struct Plan {
    Request request = Read;
    int failAt = 0;  ///< the request of that kind that fails, from 1; 0 for none
    bool failsFromThenOn = false;
    int cutAtWrite = 0;  ///< the write after which the power goes, from 1; 0 for never
};

struct State {
    Plan plan;
    int counts[RequestCount] = {};
    bool hit = false;
    /// What each file holds on the disk, as far as it was synced. A file that was never synced is not there.
    std::map<std::string, std::string> synced;
};

inline State& state() {
    static State instance;
    return instance;
}

inline sqlite3_vfs* real() {
    static sqlite3_vfs* const vfs = sqlite3_vfs_find("unix");
    return vfs;
}

/// Counts a request; true when it is the one to fail.
inline bool fails(Request request) {
    State& s = state();
    const int number = ++s.counts[request];
    const bool now = s.plan.failAt != 0 && s.plan.request == request &&
                     (number == s.plan.failAt || (s.plan.failsFromThenOn && number > s.plan.failAt));
    s.hit |= now;
    return now;
}

inline std::string contents(const std::string& path) {
    std::string bytes;
    const int fd = ::open(path.c_str(), O_RDONLY);
    if (fd < 0) return bytes;
    char buffer[65536];
    for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0;) bytes.append(buffer, static_cast<std::size_t>(n));
    ::close(fd);
    return bytes;
}

/// The power goes: every file falls back to what was synced, and the process is no more.
[[noreturn]] inline void cutPower(const std::string& folder) {
    for (const char* name : {"stream", "stream-journal"}) {
        const std::string path = folder + "/" + name;
        const auto found = state().synced.find(path);
        if (found == state().synced.end()) {
            ::unlink(path.c_str());
            continue;
        }
        const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (::write(fd, found->second.data(), found->second.size()) < 0) _exit(99);
        ::close(fd);
    }
    _exit(0);
}

struct File {
    sqlite3_file base;
    sqlite3_file* under;
    const char* path;  // SQLite keeps the name for as long as the file is open
};

inline sqlite3_file* under(sqlite3_file* file) { return reinterpret_cast<File*>(file)->under; }

inline int xClose(sqlite3_file* file) {
    const int result = under(file)->pMethods->xClose(under(file));
    sqlite3_free(under(file));
    return result;
}
inline int xRead(sqlite3_file* file, void* to, int length, sqlite3_int64 at) {
    if (fails(Read)) return SQLITE_IOERR_READ;
    return under(file)->pMethods->xRead(under(file), to, length, at);
}
inline int xWrite(sqlite3_file* file, const void* from, int length, sqlite3_int64 at) {
    if (fails(Write)) return SQLITE_FULL;
    const int result = under(file)->pMethods->xWrite(under(file), from, length, at);
    State& s = state();
    if (s.plan.cutAtWrite != 0 && s.counts[Write] == s.plan.cutAtWrite) {
        const std::string path = reinterpret_cast<File*>(file)->path;
        cutPower(path.substr(0, path.rfind('/')));
    }
    return result;
}
inline int xTruncate(sqlite3_file* file, sqlite3_int64 size) {
    return under(file)->pMethods->xTruncate(under(file), size);
}
inline int xSync(sqlite3_file* file, int flags) {
    if (fails(Sync)) return SQLITE_IOERR_FSYNC;
    const int result = under(file)->pMethods->xSync(under(file), flags);
    const char* const path = reinterpret_cast<File*>(file)->path;
    if (path && state().plan.cutAtWrite != 0) state().synced[path] = contents(path);
    return result;
}
inline int xFileSize(sqlite3_file* file, sqlite3_int64* size) {
    return under(file)->pMethods->xFileSize(under(file), size);
}
inline int xLock(sqlite3_file* file, int level) { return under(file)->pMethods->xLock(under(file), level); }
inline int xUnlock(sqlite3_file* file, int level) { return under(file)->pMethods->xUnlock(under(file), level); }
inline int xCheckReservedLock(sqlite3_file* file, int* result) {
    return under(file)->pMethods->xCheckReservedLock(under(file), result);
}
inline int xFileControl(sqlite3_file* file, int operation, void* argument) {
    return under(file)->pMethods->xFileControl(under(file), operation, argument);
}
inline int xSectorSize(sqlite3_file* file) { return under(file)->pMethods->xSectorSize(under(file)); }
inline int xDeviceCharacteristics(sqlite3_file*) { return 0; }

inline int xOpen(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
    static const sqlite3_io_methods methods = {1,
                                               xClose,
                                               xRead,
                                               xWrite,
                                               xTruncate,
                                               xSync,
                                               xFileSize,
                                               xLock,
                                               xUnlock,
                                               xCheckReservedLock,
                                               xFileControl,
                                               xSectorSize,
                                               xDeviceCharacteristics,
                                               nullptr,
                                               nullptr,
                                               nullptr,
                                               nullptr,
                                               nullptr,
                                               nullptr};
    file->pMethods = nullptr;
    if (fails(Open)) return SQLITE_CANTOPEN;
    File* const made = reinterpret_cast<File*>(file);
    made->under = static_cast<sqlite3_file*>(sqlite3_malloc(real()->szOsFile));
    made->path = name;
    const int result = real()->xOpen(real(), name, made->under, flags, outFlags);
    if (result != SQLITE_OK) {
        sqlite3_free(made->under);
        return result;
    }
    file->pMethods = &methods;
    return SQLITE_OK;
}
inline int xDelete(sqlite3_vfs*, const char* name, int syncFolder) {
    if (fails(Delete)) return SQLITE_IOERR_DELETE;
    // Taken as done for good, as file systems do that keep their own changes in order. SQLite relies on that here: it
    // does not sync the folder when it deletes a journal.
    state().synced.erase(name);
    return real()->xDelete(real(), name, syncFolder);
}

/// Makes this VFS the default of the process, from now on.
inline void install(const Plan& plan) {
    static sqlite3_vfs vfs = *real();
    vfs.szOsFile = static_cast<int>(sizeof(File));
    vfs.zName = "faulty";
    vfs.pNext = nullptr;
    vfs.xOpen = xOpen;
    vfs.xDelete = xDelete;
    state() = State();
    state().plan = plan;
    sqlite3_vfs_register(&vfs, 1);
}

inline void uninstall() { sqlite3_vfs_register(real(), 1); }

}  // namespace faulty
