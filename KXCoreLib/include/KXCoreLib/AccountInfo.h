#pragma once

#include <KXCoreLib/Export.h>
#include <KXCoreLib/UUID.h>

#include <atomic>
#include <boost/core/noncopyable.hpp>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <string>

namespace KXCore {

/// What an account is.
enum AccountType : std::uint32_t {
    AccountTypeUnknown = 0,
    AccountTypeGroup = 103,  ///< 'g'
    AccountTypeUser = 117,   ///< 'u'
};

/// The identity of the user or group that the system knows by a number: what CustomACL::checkAccess and
/// AccountInfo::get take. A number that belongs to nobody has an identity too, made from the number; all zero when the
/// system gives none. Any thread; may block while the name service is asked.
KX_EXPORT UUID GetUserUUID(unsigned uid) noexcept;
KX_EXPORT UUID GetGroupUUID(unsigned gid) noexcept;

/// One user or group account. Immutable, counted, and shared by pointer; any thread.
class KX_EXPORT AccountInfo : boost::noncopyable {
  public:
    /// The id of an account that has none or whose id is not known.
    static constexpr unsigned kUnknownID = 0xFFFFFFFF;

    /// A new record. Null `sid` or `name` (NUL-terminated texts, copied) become the empty text.
    static boost::intrusive_ptr<AccountInfo> create(AccountType type, unsigned id, const UUID& uuid, const char* sid,
                                                    const char* name);

    /// The account with the identity `uuid` (GetUserUUID() for that of a uid), as the system's databases have it. Never null: what is not known of an
    /// account is missing from its record. Answers are kept for twelve hours; a lasting failure to find everything is
    /// tried again after 15 seconds, and up to 10 minutes later each time, while somebody asks; a record whose name is
    /// headed by the computer's name is made anew when that name changes. May block while the name service is asked.
    static boost::intrusive_ptr<AccountInfo> get(const UUID& uuid);

    /// Whether nothing is missing: a type, an id, an identity, a SID and a name.
    [[nodiscard]] bool allFieldsValid() const noexcept;

    [[nodiscard]] AccountType getType() const noexcept { return type_; }
    /// The uid of a user, the gid of a group, else kUnknownID.
    [[nodiscard]] unsigned getID() const noexcept { return id_; }
    [[nodiscard]] const UUID& getUUID() const noexcept { return uuid_; }
    /// The Windows security identifier as text ("S-1-5-..."), or "". It lives as long as the record.
    [[nodiscard]] const char* getSID() const noexcept { return sid_.c_str(); }
    /// The name for people, headed by the computer's NetBIOS name and "\" where the account has no domain of its own,
    /// or "". It lives as long as the record.
    [[nodiscard]] const char* getName() const noexcept { return name_.c_str(); }

  protected:
    AccountInfo(AccountType type, unsigned id, const UUID& uuid, const char* sid, const char* name);
    ~AccountInfo() = default;

  private:
    friend KX_EXPORT void intrusive_ptr_add_ref(const AccountInfo* account) noexcept;
    friend KX_EXPORT void intrusive_ptr_release(const AccountInfo* account) noexcept;

    mutable std::atomic<std::int32_t> count_{1};
    AccountType type_;
    unsigned id_;
    UUID uuid_;
    std::string sid_;
    std::string name_;
};

KX_EXPORT void intrusive_ptr_add_ref(const AccountInfo* account) noexcept;
KX_EXPORT void intrusive_ptr_release(const AccountInfo* account) noexcept;

/// The first 8 bytes of the identity as one integer, in the processor's byte order. Identities made at random spread
/// well by it; those of the computer's own users differ in their last bytes only, and all have the same.
KX_EXPORT std::size_t hash_value(const AccountInfo& account) noexcept;

}  // namespace KXCore
