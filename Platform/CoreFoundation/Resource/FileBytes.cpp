#include "FileBytes.h"

#include "Support/Descriptor.h"

#include <cerrno>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

namespace KXPlatform {

namespace {

int writeAll(int descriptor, std::string_view bytes) noexcept {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return written < 0 ? errno : EIO;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

/// A new file beside `path`, under a name that nothing had.
Descriptor makeBeside(const std::string& path, std::string& name) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        unsigned random = 0;
        if (::getrandom(&random, sizeof random, 0) != sizeof random) return {};
        name = path.substr(0, path.rfind('/') + 1) + "." + std::to_string(random) + ".new";
        Descriptor made(::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
        if (made || errno != EEXIST) return made;
    }
    return {};
}

}  // namespace

int readFile(const std::string& path, std::size_t most, std::string& bytes) {
    bytes.clear();
    // A pipe without a writer, or a device, must not hold the caller up.
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file) return errno;
    struct stat status;
    if (::fstat(file.get(), &status) != 0) return errno;
    if (S_ISDIR(status.st_mode)) return EISDIR;
    if (S_ISREG(status.st_mode)) {
        if (static_cast<std::size_t>(status.st_size) > most) return EFBIG;
        bytes.reserve(static_cast<std::size_t>(status.st_size));
    }
    char part[65536];
    for (;;) {
        const ssize_t size = ::read(file.get(), part, sizeof part);
        if (size < 0 && errno == EINTR) continue;
        if (size < 0) return errno;
        if (size == 0) return 0;
        if (static_cast<std::size_t>(size) > most - bytes.size()) return EFBIG;
        bytes.append(part, static_cast<std::size_t>(size));
    }
}

int replaceFile(const std::string& path, std::string_view bytes) {
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(path.c_str(), nullptr), &std::free);
    const std::string target = real ? real.get() : path;
    struct stat status;
    const bool isThere = ::stat(target.c_str(), &status) == 0;
    if (isThere && !S_ISREG(status.st_mode)) return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    // The folder may let anybody replace the file; its mode may not let them write it.
    if (isThere && ::access(target.c_str(), W_OK) != 0) return errno;

    std::string name;
    Descriptor made = makeBeside(target, name);
    if (!made) return errno;
    int error = writeAll(made.get(), bytes);
    if (error == 0 && isThere && ::fchmod(made.get(), status.st_mode & 07777) != 0) error = errno;
    if (!made.close() && error == 0) error = errno;
    if (error == 0 && ::rename(name.c_str(), target.c_str()) != 0) error = errno;
    if (error != 0) ::unlink(name.c_str());
    return error;
}

}  // namespace KXPlatform
