#include "ReplacedFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "Errors.h"

namespace kxtool {
namespace {

/// The permissions of a file that is made: those that the process leaves to others.
mode_t NewMode() {
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

bool WriteAll(int file, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = write(file, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

}  // namespace

void ReplaceFile(const std::string& path, std::string_view bytes) {
    const auto refuse = [&](int code) {
        throw BadInput(fmt::format("cannot write {}: {}", path, std::generic_category().message(code)));
    };
    std::error_code missing;
    const std::filesystem::path found = std::filesystem::canonical(path, missing);
    const std::string target = missing ? path : found.string();
    struct stat status;
    const bool exists = stat(target.c_str(), &status) == 0;
    if (exists && !S_ISREG(status.st_mode)) {  // a device or a pipe is written to, and not replaced
        const int file = open(target.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
        if (file < 0) refuse(errno);
        const bool written = WriteAll(file, bytes);
        const int code = errno;
        close(file);
        if (!written) refuse(code);
        return;
    }
    std::string name = target + ".XXXXXX";
    const int file = mkstemp(name.data());
    if (file < 0) refuse(errno);
    const bool written =
        WriteAll(file, bytes) && fchmod(file, exists ? status.st_mode & 07777 : NewMode()) == 0 && fsync(file) == 0;
    const int code = errno;
    close(file);
    if (!written || rename(name.c_str(), target.c_str()) != 0) {
        const int reason = written ? errno : code;
        unlink(name.c_str());
        refuse(reason);
    }
}

}  // namespace kxtool
