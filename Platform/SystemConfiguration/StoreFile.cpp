#include "StoreFile.h"

#include "Support/Descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace KXPlatform {
namespace {

std::string stampOf(const struct stat& status) {
    std::string stamp;
    for (const long long number :
         {static_cast<long long>(status.st_dev), static_cast<long long>(status.st_ino),
          static_cast<long long>(status.st_size), static_cast<long long>(status.st_mtim.tv_sec),
          static_cast<long long>(status.st_mtim.tv_nsec), static_cast<long long>(status.st_ctim.tv_sec),
          static_cast<long long>(status.st_ctim.tv_nsec)}) {
        stamp.append(std::to_string(number)).append(" ");
    }
    return stamp;
}

}  // namespace

std::optional<PlainFile> readPlainFile(const std::string& path, std::size_t limit) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status;
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    if (status.st_size < 0 || static_cast<std::size_t>(status.st_size) > limit) return std::nullopt;

    // Room for one byte more than was promised: a file that grows meanwhile is noticed.
    std::string bytes(static_cast<std::size_t>(status.st_size) + 1, '\0');
    std::size_t size = 0;
    while (size < bytes.size()) {
        const ssize_t count = ::read(file.get(), bytes.data() + size, bytes.size() - size);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::nullopt;
        if (count == 0) break;
        size += static_cast<std::size_t>(count);
    }
    if (size == bytes.size()) return std::nullopt;
    bytes.resize(size);
    return PlainFile{std::move(bytes), stampOf(status)};
}

}  // namespace KXPlatform
