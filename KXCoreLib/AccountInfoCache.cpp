#include "AccountInfoCache.h"

#include "NameLookUp.h"

#include <err.h>
#include <grp.h>
#include <membership.h>
#include <pwd.h>
#include <sys/time.h>
#include <boost/thread/lock_types.hpp>

#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace KXCore {
namespace {

/// The cache holds no more than this many records before one more is put in.
constexpr std::size_t kMostRecords = 1024;

/// How long after it expired an incomplete answer still counts as the last one in a row.
constexpr std::int64_t kRetryWindow = 600;

/// How long an answer is good, in seconds, by how many incomplete ones it makes in a row. The first incomplete answer
/// counts as none, and so is as good as a complete one.
constexpr std::int64_t lifetime(std::uint32_t failures) noexcept {
    constexpr std::int64_t ladder[] = {43200, 15, 30, 60, 120};
    return failures < std::size(ladder) ? ladder[failures] : 600;
}

std::int64_t now() noexcept {
    timeval time;
    if (gettimeofday(&time, nullptr) != 0) {
        warn("gettimeofday()");
        return 0;
    }
    return time.tv_sec;
}

/// What the system's databases say of an identity.
struct Answer {
    AccountType type = AccountTypeUnknown;
    unsigned id = AccountInfo::kUnknownID;
    std::string sid;
    std::string name;
    boost::intrusive_ptr<NetBiosName> netbios;  ///< what the name was headed with
};

Answer resolve(const UUID& uuid) {
    Answer answer;
    id_t id;
    int type;
    if (mbr_uuid_to_id(uuid.bytes, &id, &type) == 0) {
        answer.id = id;
        int ignored;
        if (type == ID_TYPE_UID) {
            answer.type = AccountTypeUser;
            LookUpName(
                getpwuid_r, static_cast<uid_t>(id), [&](const passwd& found) { answer.name = found.pw_name; }, ignored);
        } else if (type == ID_TYPE_GID) {
            answer.type = AccountTypeGroup;
            LookUpName(
                getgrgid_r, static_cast<gid_t>(id), [&](const group& found) { answer.name = found.gr_name; }, ignored);
        }
    }

    nt_sid_t sid;
    char text[256];
    if (mbr_uuid_to_sid(uuid.bytes, &sid) == 0 && mbr_sid_to_string(&sid, text) == 0) answer.sid = text;

    // A name with a backslash has a domain already.
    if (!answer.name.empty() && answer.name.find('\\') == std::string::npos) {
        answer.netbios = GetSystemNetBiosName();
        answer.name = std::string(answer.netbios->getName()) + '\\' + answer.name;
    }
    return answer;
}

}  // namespace

AccountInfoCache::AccountInfoCache()
    : buckets_(new Set::bucket_type[kFirstBuckets]), set_(Set::bucket_traits(buckets_.get(), kFirstBuckets)) {}

AccountInfoCache::~AccountInfoCache() {
    while (!set_.empty()) takeOut(set_.begin());
}

std::size_t AccountInfoCache::hashOf(const UUID& uuid) noexcept {
    std::uint64_t halves[2];
    std::memcpy(halves, uuid.bytes, sizeof halves);
    // What tells the computer's own accounts apart stands in the last bytes, which are the highest bits here, and the
    // set looks at the lowest: down, spread upwards by multiplying, and down again.
    constexpr std::uint64_t odd = 0x9E3779B97F4A7C15;
    std::uint64_t mixed = halves[0] * odd ^ halves[1];
    mixed = (mixed ^ mixed >> 32) * odd;
    return mixed ^ mixed >> 32;
}

boost::intrusive_ptr<AccountInfo> AccountInfoCache::get(const UUID& uuid) {
    const std::int64_t time = now();
    std::uint32_t retries = 0;
    {
        const boost::unique_lock<boost::mutex> lock(mutex_);
        if (const auto found = set_.find(uuid); found != set_.end()) {
            if (found->expiry <= time) {
                if (found->expiry + kRetryWindow > time) retries = found->failures + 1;
            } else if (!found->netbios || SystemNetBiosNameIs(found->netbios.get())) {
                return &*found;
            } else {
                retries = found->failures + 1;
            }
        }
    }

    Answer answer = resolve(uuid);
    const RecordPtr record(new AccountInfo2(answer.type, answer.id, uuid, answer.sid.c_str(), answer.name.c_str()),
                           /*add_ref=*/false);
    record->netbios = std::move(answer.netbios);
    record->failures = record->allFieldsValid() ? 0 : retries;
    record->expiry = time + lifetime(record->failures);
    insert(record);
    return record;
}

void AccountInfoCache::insert(const RecordPtr& record) {
    // What leaves the set is released after the lock.
    std::vector<RecordPtr> removed;
    const boost::unique_lock<boost::mutex> lock(mutex_);
    while (set_.size() > kMostRecords) {
        if (RecordPtr evicted = evictOne()) removed.push_back(std::move(evicted));
    }
    if (const auto other = set_.find(record->getUUID()); other != set_.end()) removed.push_back(takeOut(other));
    growByABucket();
    set_.insert(*record);
    intrusive_ptr_add_ref(record.get());
}

AccountInfoCache::RecordPtr AccountInfoCache::takeOut(const Set::const_iterator& at) noexcept {
    AccountInfo2* const record = const_cast<AccountInfo2*>(&*at);
    set_.erase(at);
    return {record, /*add_ref=*/false};
}

/// A random bucket's first record; null when that bucket is empty.
AccountInfoCache::RecordPtr AccountInfoCache::evictOne() noexcept {
    const std::size_t bucket = static_cast<std::size_t>(random()) % set_.bucket_count();
    const auto first = set_.begin(bucket);
    if (first == set_.end(bucket)) return nullptr;
    return takeOut(set_.iterator_to(*first));
}

/// Splits one bucket when there are as many records as buckets in use, so that growing never stops everybody at once.
void AccountInfoCache::growByABucket() {
    if (set_.size() < set_.split_count()) return;
    if (set_.split_count() == set_.bucket_count()) {
        const std::size_t doubled = bucketCount_ * 2;
        std::unique_ptr<Set::bucket_type[]> buckets(new Set::bucket_type[doubled]);
        if (!set_.incremental_rehash(Set::bucket_traits(buckets.get(), doubled))) return;
        buckets_ = std::move(buckets);
        bucketCount_ = doubled;
    }
    set_.incremental_rehash(true);
}

}  // namespace KXCore
