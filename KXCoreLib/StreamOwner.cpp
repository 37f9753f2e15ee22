#include "StreamOwner.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <string_view>
#include <system_error>
#include <utility>

namespace KXCore {
namespace {

using Kind = StreamError::Kind;

/// What the file holds, always of the same length: "owner NAME PID" and "lost NUMBER", each padded to a line of 32.
constexpr std::size_t kLine = 32;

[[noreturn]] void fail(const std::string& path, int code) {
    throw StreamError(code == EACCES || code == EPERM || code == ELOOP ? Kind::NotAllowed
                      : code == ENOENT                                 ? Kind::Missing
                                                                       : Kind::Failed,
                      path, code == ELOOP ? "is a symbolic link" : std::generic_category().message(code));
}

struct Content {
    std::string program;
    pid_t pid = 0;
    unsigned long long lost = 0;
};

template <typename Number>
Number numberOf(std::string_view text) {
    Number number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

Content contentOf(int file) {
    std::array<char, 2 * kLine> bytes{};
    Content content;
    const ssize_t count = pread(file, bytes.data(), bytes.size(), 0);
    if (count != static_cast<ssize_t>(bytes.size())) return content;
    const std::string_view owner(bytes.data(), kLine), lost(bytes.data() + kLine, kLine);
    if (!owner.starts_with("owner ") || !lost.starts_with("lost ")) return content;
    const std::string_view name = owner.substr(6, owner.find(' ', 6) - 6);
    content.program = name;
    content.pid = numberOf<pid_t>(owner.substr(std::min(6 + name.size() + 1, owner.size())));
    content.lost = numberOf<unsigned long long>(lost.substr(5));
    return content;
}

std::string ownerText(const std::string& program, pid_t pid) {
    return program.empty() || pid <= 0 ? std::string("another program owns it")
                                       : program + " (process " + std::to_string(pid) + ") owns it";
}

}  // namespace

StreamOwnedError::StreamOwnedError(const std::string& path, const std::string& program, pid_t pid)
    : StreamError(Kind::Locked, path, ownerText(program, pid)), program_(program), pid_(pid) {}

StreamOwner::StreamOwner(const std::string& path, const std::string& program)
    : StreamOwner(path, program, Made::IfMissing) {}

StreamOwner::StreamOwner(const std::string& path, const std::string& program, Made made) : program_(program) {
    const std::string name = path + ".lock";
    const int how = O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | (made == Made::IfMissing ? O_CREAT : 0);
    file_ = open(name.c_str(), how, 0600);
    if (file_ < 0) fail(name, errno);
    try {
        struct stat status {};
        if (fstat(file_, &status) != 0) fail(name, errno);
        if (!S_ISREG(status.st_mode)) throw StreamError(Kind::NotAFile, name, "is not a regular file");
        if (made == Made::IfMissing && status.st_uid != geteuid()) {
            throw StreamError(Kind::NotAllowed, name, "belongs to the user " + std::to_string(status.st_uid));
        }
        lock(path);
        write(program, contentOf(file_).lost);
    } catch (...) {
        close(file_);
        throw;
    }
}

std::optional<StreamOwner> StreamOwner::forAMoment(const std::string& path, const std::string& program) {
    try {
        return StreamOwner(path, program, Made::Never);
    } catch (const StreamError& error) {
        if (error.kind() == Kind::Missing) return std::nullopt;
        throw;
    }
}

StreamOwner::~StreamOwner() {
    if (file_ >= 0) close(file_);
}

StreamOwner::StreamOwner(StreamOwner&& other) noexcept
    : file_(std::exchange(other.file_, -1)), program_(std::move(other.program_)) {}

StreamOwner& StreamOwner::operator=(StreamOwner&& other) noexcept {
    std::swap(file_, other.file_);
    std::swap(program_, other.program_);
    return *this;
}

void StreamOwner::lock(const std::string& path) const {
    while (flock(file_, LOCK_EX | LOCK_NB) != 0) {
        if (errno == EINTR) continue;
        if (errno != EWOULDBLOCK) fail(path + ".lock", errno);
        const Content content = contentOf(file_);
        // The file still names the one before, while a new owner is about to write its name.
        const bool lives = content.pid > 0 && (kill(content.pid, 0) == 0 || errno == EPERM);
        throw StreamOwnedError(path, lives ? content.program : "", lives ? content.pid : 0);
    }
}

void StreamOwner::write(const std::string& program, unsigned long long lost) const {
    std::array<char, 2 * kLine + 1> bytes{};
    std::snprintf(bytes.data(), bytes.size(), "owner %.12s %-*d\nlost %-26llu\n", program.c_str(),
                  static_cast<int>(kLine - 8 - std::min<std::size_t>(program.size(), 12)), static_cast<int>(getpid()),
                  lost);
    // On a full disk a new file stays empty: then it names nobody, and locks all the same.
    [[maybe_unused]] const ssize_t count = pwrite(file_, bytes.data(), 2 * kLine, 0);
}

unsigned long long StreamOwner::lost() const { return contentOf(file_).lost; }

void StreamOwner::setLost(unsigned long long count) const { write(program_, count); }

}  // namespace KXCore
