#pragma once

// Users and groups of a test's own, seen through the real getpwnam, getgrgid and so on.
//
// The test program links nss_wrapper before the C library; the wrapper reads these files in place of the system's. It
// takes their names from the environment once, so one process has one NameService at a time, in one place.

#include "TemporaryFolder.h"

#include <grp.h>
#include <pwd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#if defined(__SANITIZE_THREAD__)
/// The wrapper's own locks and memory are not what the tests look at.
extern "C" __attribute__((used, visibility("default"))) inline const char* __tsan_default_suppressions() {
    return "called_from_lib:libnss_wrapper.so\nmutex:libnss_wrapper.so\nmutex:_dl_call_fini\nmutex:__run_postfork_"
           "handlers\nrace:libnss_wrapper.so\n";
}
#endif

class NameService {
  public:
    NameService(const std::string& users, const std::string& groups) {
        setenv("NSS_WRAPPER_PASSWD", (folder() / "passwd").c_str(), 1);
        setenv("NSS_WRAPPER_GROUP", (folder() / "group").c_str(), 1);
        write("passwd", users);
        write("group", groups);
        readNow();
    }

    /// Lines of passwd(5).
    void setUsers(const std::string& lines) {
        write("passwd", lines);
        readNow();
    }
    /// Lines of group(5).
    void setGroups(const std::string& lines) {
        write("group", lines);
        readNow();
    }

  private:
    /// Has the wrapper read its files: threads that ask while it reads find half of them.
    static void readNow() {
        getpwuid(0);
        getgrgid(0);
    }

    static const TemporaryFolder& folder() {
        static const TemporaryFolder folder;
        return folder;
    }

    static void write(const char* name, const std::string& lines) {
        // The wrapper reads a file again when its time differs, by whole seconds.
        static std::filesystem::file_time_type time = std::filesystem::file_time_type::clock::now();
        time += std::chrono::seconds(2);
        const std::string path = folder() / name;
        std::ofstream(path) << lines;
        std::filesystem::last_write_time(path, time);
    }
};
