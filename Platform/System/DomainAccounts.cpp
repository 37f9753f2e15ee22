#include "DomainAccounts.h"

#include "Support/Descriptor.h"

#include <membership.h>

#include <dlfcn.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace KXPlatform {
namespace {

/// A silent daemon blocks the calls without a time-out for good.
constexpr unsigned kTimeoutInMilliseconds = 1000;

/// Where SSSD listens for the name service.
constexpr char kSocket[] = "/var/lib/sss/pipes/nss";

enum class IDType : int { NotSpecified, User, Group, Both };

/// SSSD's library, loaded when it is first asked for: most computers have none.
struct Library {
    using SIDOf = int (*)(std::uint32_t id, unsigned timeout, char** sid, IDType* type);
    using IDOf = int (*)(const char* sid, unsigned timeout, std::uint32_t* id, IDType* type);

    Library() noexcept {
        void* const library = dlopen("libsss_nss_idmap.so.0", RTLD_NOW | RTLD_LOCAL);
        if (!library) return;
        sidOfUser = reinterpret_cast<SIDOf>(dlsym(library, "sss_nss_getsidbyuid_timeout"));
        sidOfGroup = reinterpret_cast<SIDOf>(dlsym(library, "sss_nss_getsidbygid_timeout"));
        idOf = reinterpret_cast<IDOf>(dlsym(library, "sss_nss_getidbysid_timeout"));
    }

    static const Library& get() {
        static const Library library;
        return library;
    }

    SIDOf sidOfUser = nullptr;
    SIDOf sidOfGroup = nullptr;
    IDOf idOf = nullptr;
};

/// Whether the daemon takes connections: 0, ENOENT when there is none, else why not. The library's own "not found"
/// does not tell an unknown account from a daemon that is not there.
int askDaemon() noexcept {
    const Descriptor connection(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!connection) return errno;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    static_assert(sizeof kSocket <= sizeof address.sun_path);
    std::memcpy(address.sun_path, kSocket, sizeof kSocket);
    const auto* const daemon = reinterpret_cast<const sockaddr*>(&address);
    const int error = connect(connection.get(), daemon, sizeof address) == 0 ? 0 : errno;
    return error == ENOTDIR ? ENOENT : error;
}

int sidOf(Library::SIDOf function, std::uint32_t id, std::string& sid) {
    if (!function) return ENOENT;
    if (const int error = askDaemon()) return error;
    char* text = nullptr;
    IDType type = IDType::NotSpecified;
    const int error = function(id, kTimeoutInMilliseconds, &text, &type);
    const std::unique_ptr<char, decltype(&std::free)> owned(text, &std::free);
    if (error != 0) return error;
    if (!text) return ENOENT;
    sid = text;
    return 0;
}

}  // namespace

int domainSIDOfUser(uid_t uid, std::string& sid) { return sidOf(Library::get().sidOfUser, uid, sid); }

int domainSIDOfGroup(gid_t gid, std::string& sid) { return sidOf(Library::get().sidOfGroup, gid, sid); }

int domainAccountOfSID(const char* sid, id_t& id, int& idType) {
    const Library::IDOf function = Library::get().idOf;
    if (!function) return ENOENT;
    if (const int error = askDaemon()) return error;
    std::uint32_t found = 0;
    IDType type = IDType::NotSpecified;
    if (const int error = function(sid, kTimeoutInMilliseconds, &found, &type)) return error;
    if (type == IDType::NotSpecified) return ENOENT;
    id = found;
    // A user whose private group shares its id is a user.
    idType = type == IDType::Group ? ID_TYPE_GID : ID_TYPE_UID;
    return 0;
}

}  // namespace KXPlatform
