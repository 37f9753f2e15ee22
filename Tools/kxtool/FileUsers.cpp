#include "FileUsers.h"

#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <filesystem>
#include <system_error>

namespace kxtool {

std::optional<long> OtherUserOf(const std::string& path) {
    namespace fs = std::filesystem;
    struct stat wanted;
    if (stat(path.c_str(), &wanted) != 0) return std::nullopt;
    std::error_code ignored;  // processes end, and others' are not shown to everybody
    for (const fs::directory_entry& process : fs::directory_iterator("/proc", ignored)) {
        const std::string name = process.path().filename().string();
        long id = 0;
        const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), id);
        if (error != std::errc() || end != name.data() + name.size() || id == getpid()) continue;
        std::error_code hidden;
        fs::directory_iterator files(process.path() / "fd", hidden);
        for (; !hidden && files != fs::directory_iterator(); files.increment(hidden)) {
            struct stat found;
            const bool isSame = stat(files->path().c_str(), &found) == 0 && found.st_dev == wanted.st_dev &&
                                found.st_ino == wanted.st_ino;
            if (isSame) return id;
        }
    }
    return std::nullopt;
}

}  // namespace kxtool
