#include "DomainService.h"

#include "TemporaryFolder.h"

#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <vector>

namespace DomainService {
namespace {

struct Account {
    std::uint32_t id;
    Kind kind;
    std::string sid;
};

struct State {
    TemporaryFolder folder;
    int listener = -1;
    std::vector<int> waiting;  ///< connections that fill the queue
    std::vector<Account> accounts;
    int error = 0;
    unsigned questions = 0;
    unsigned timeout = 0;

    sockaddr_un address() const {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string path = folder / "nss";
        std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
        return address;
    }

    void stop() {
        for (const int fd : waiting) close(fd);
        waiting.clear();
        if (listener >= 0) close(listener);
        listener = -1;
    }
};

State& state() {
    static State state;
    return state;
}

int realConnect(int fd, const sockaddr* address, socklen_t length) {
    return static_cast<int>(syscall(SYS_connect, fd, address, length));
}

int connectToDaemon(int fd) {
    const sockaddr_un address = state().address();
    return realConnect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

/// Whether accounts are to be looked at.
bool asked(unsigned timeout) {
    ++state().questions;
    state().timeout = timeout;
    return state().error == 0;
}

int sidOf(std::uint32_t id, Kind kind, unsigned timeout, char** sid, int* type) {
    if (!asked(timeout)) return state().error;
    for (const Account& account : state().accounts) {
        if (account.id != id || (account.kind != kind && account.kind != Kind::Both)) continue;
        *sid = strdup(account.sid.c_str());
        *type = static_cast<int>(account.kind);
        return 0;
    }
    return ENOENT;
}

}  // namespace

void reset() {
    removeSocket();
    State& s = state();
    s.accounts.clear();
    s.error = 0;
    s.questions = s.timeout = 0;
    s.listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = s.address();
    if (bind(s.listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(s.listener, 100) != 0) {
        std::abort();
    }
}

void add(std::uint32_t id, Kind kind, const std::string& sid) { state().accounts.push_back({id, kind, sid}); }

void failWith(int error) { state().error = error; }

void removeSocket() {
    stopDaemon();
    std::filesystem::remove(state().folder / "nss");
}

void stopDaemon() { state().stop(); }

void fillQueue() {
    listen(state().listener, 0);
    while (true) {
        const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        state().waiting.push_back(fd);
        if (connectToDaemon(fd) != 0) return;
    }
}

unsigned questions() { return state().questions; }
unsigned lastTimeout() { return state().timeout; }

}  // namespace DomainService

extern "C" {

int connect(int fd, const sockaddr* address, socklen_t length) {
    constexpr char daemon[] = "/var/lib/sss/pipes/nss";
    if (address->sa_family == AF_UNIX && length >= offsetof(sockaddr_un, sun_path) + sizeof daemon &&
        std::strcmp(reinterpret_cast<const sockaddr_un*>(address)->sun_path, daemon) == 0) {
        return DomainService::connectToDaemon(fd);
    }
    return DomainService::realConnect(fd, address, length);
}

int sss_nss_getsidbyuid_timeout(std::uint32_t uid, unsigned timeout, char** sid, int* type) {
    return DomainService::sidOf(uid, DomainService::Kind::User, timeout, sid, type);
}

int sss_nss_getsidbygid_timeout(std::uint32_t gid, unsigned timeout, char** sid, int* type) {
    return DomainService::sidOf(gid, DomainService::Kind::Group, timeout, sid, type);
}

int sss_nss_getidbysid_timeout(const char* sid, unsigned timeout, std::uint32_t* id, int* type) {
    if (!DomainService::asked(timeout)) return DomainService::state().error;
    for (const auto& account : DomainService::state().accounts) {
        if (account.sid != sid) continue;
        *id = account.id;
        *type = static_cast<int>(account.kind);
        return 0;
    }
    return ENOENT;
}
}
