#include <KXCoreLib/AccountInfo.h>

#include "AccountInfoCache.h"

#include <KXCoreLib/Singleton.h>

#include <membership.h>

#include <cstring>

namespace KXCore {

UUID GetUserUUID(unsigned uid) noexcept {
    UUID uuid{};
    return mbr_uid_to_uuid(uid, uuid.bytes) == 0 ? uuid : UUID{};
}

UUID GetGroupUUID(unsigned gid) noexcept {
    UUID uuid{};
    return mbr_gid_to_uuid(gid, uuid.bytes) == 0 ? uuid : UUID{};
}

AccountInfo::AccountInfo(AccountType type, unsigned id, const UUID& uuid, const char* sid, const char* name)
    : type_(type), id_(id), uuid_(uuid), sid_(sid ? sid : ""), name_(name ? name : "") {}

boost::intrusive_ptr<AccountInfo> AccountInfo::create(AccountType type, unsigned id, const UUID& uuid, const char* sid,
                                                      const char* name) {
    // Born with the one reference that the caller now holds.
    return {new AccountInfo2(type, id, uuid, sid, name), /*add_ref=*/false};
}

boost::intrusive_ptr<AccountInfo> AccountInfo::get(const UUID& uuid) {
    return GetSingletonInstance<AccountInfoCache, int>().get(uuid);
}

bool AccountInfo::allFieldsValid() const noexcept {
    return type_ != AccountTypeUnknown && id_ != kUnknownID && !uuid_.isNull() && !sid_.empty() && !name_.empty();
}

void intrusive_ptr_add_ref(const AccountInfo* account) noexcept {
    account->count_.fetch_add(1, std::memory_order_relaxed);
}

void intrusive_ptr_release(const AccountInfo* account) noexcept {
    // Acquire pairs with the other owners' releases: nobody is still reading what is deleted.
    if (account->count_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete static_cast<const AccountInfo2*>(account);
}

std::size_t hash_value(const AccountInfo& account) noexcept {
    std::uint64_t first;
    std::memcpy(&first, account.getUUID().bytes, sizeof first);
    return first;
}

}  // namespace KXCore
