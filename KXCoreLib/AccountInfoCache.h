#pragma once

// The process-wide cache behind AccountInfo::get. One mutex guards the set of records; it is held while searching,
// evicting and inserting, never while the name service is asked.

#include <KXCoreLib/AccountInfo.h>
#include <KXCoreLib/SystemInfo.h>

#include <boost/intrusive/unordered_set.hpp>
#include <boost/thread/mutex.hpp>
#include <cstdint>
#include <memory>

namespace KXCore {

/// What every record is made as: the account, and what the cache needs to keep it. The members are written before the
/// record is shared and, but for the link, never after.
struct AccountInfo2
    : AccountInfo,
      boost::intrusive::unordered_set_base_hook<boost::intrusive::link_mode<boost::intrusive::safe_link>> {
    AccountInfo2(AccountType type, unsigned id, const UUID& uuid, const char* sid, const char* name)
        : AccountInfo(type, id, uuid, sid, name) {}

    std::int64_t expiry = 0;                    ///< seconds since 1970
    boost::intrusive_ptr<NetBiosName> netbios;  ///< what the display name begins with, or null
    std::uint32_t failures = 0;                 ///< incomplete answers in a row
};

class AccountInfoCache {
  public:
    AccountInfoCache();
    ~AccountInfoCache();
    AccountInfoCache(const AccountInfoCache&) = delete;
    AccountInfoCache& operator=(const AccountInfoCache&) = delete;

    /// The account with this identity: from the cache while the answer is fresh, else as the system's databases have it
    /// now. Never null.
    boost::intrusive_ptr<AccountInfo> get(const UUID& uuid);

  private:
    /// Of all 16 bytes: the first 8, which are the hash of a record for others (hash_value), are the same for all users
    /// that the computer itself knows, and would put them into one bucket.
    static std::size_t hashOf(const UUID& uuid) noexcept;

    struct HashByUUID {
        std::size_t operator()(const UUID& uuid) const noexcept { return hashOf(uuid); }
    };
    struct UUIDOf {
        using type = UUID;
        const UUID& operator()(const AccountInfo2& account) const noexcept { return account.getUUID(); }
    };
    using Set = boost::intrusive::unordered_set<
        AccountInfo2, boost::intrusive::key_of_value<UUIDOf>, boost::intrusive::hash<HashByUUID>,
        boost::intrusive::equal<std::equal_to<UUID>>, boost::intrusive::power_2_buckets<true>,
        boost::intrusive::incremental<true>, boost::intrusive::constant_time_size<true>>;
    using RecordPtr = boost::intrusive_ptr<AccountInfo2>;

    static constexpr std::size_t kFirstBuckets = 32;

    void insert(const RecordPtr& record);
    RecordPtr takeOut(const Set::const_iterator& at) noexcept;
    RecordPtr evictOne() noexcept;
    void growByABucket();

    boost::mutex mutex_;
    std::size_t bucketCount_ = kFirstBuckets;
    std::unique_ptr<Set::bucket_type[]> buckets_;
    Set set_;
};

}  // namespace KXCore
