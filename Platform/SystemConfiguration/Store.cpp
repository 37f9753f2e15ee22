#include "Store.h"

#include "Status.h"
#include "StoreKey.h"
#include "StoreSession.h"
#include "StoreWatch.h"
#include "Support/NeverDestroyed.h"

#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFPropertyList.h>
#include <SystemConfiguration/SCDynamicStore.h>

#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <new>
#include <utility>

namespace KXPlatform {
namespace {

using Kind = StoreChange::Kind;

constinit std::mutex stateMutex;
constinit std::mutex writerMutex;

/// How often a change is begun anew when the store's folder is replaced meanwhile.
constexpr int kTries = 4;

/// The process's stores by place, as long as a session has one.
std::map<std::string, std::weak_ptr<Store>>& stores() {
    static NeverDestroyed<std::map<std::string, std::weak_ptr<Store>>> all;
    return *all;
}

/// A child that is forked gets the state between two operations. Writers are not waited for, since one of them may wait
/// for another process; in the child they are gone, and the store's lock with them.
void prepareFork() { stateMutex.lock(); }
void continueParent() { stateMutex.unlock(); }
void beginChild() {
    new (&writerMutex) std::mutex;
    StoreWatch::forget();
    stateMutex.unlock();
}

void followForks() {
    static const int registered = pthread_atfork(prepareFork, continueParent, beginChild);
    static_cast<void>(registered);
}

/// The property list in `bytes`, if it is one in XML or binary form. The old text style does not count: nearly any text
/// is a list of that kind.
Retained<const Object> parseList(std::string_view bytes) {
    const auto data = Retained<const __CFData>::adopting(CFDataCreateWithBytesNoCopy(
        nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()), kCFAllocatorNull));
    if (!data) return {};
    CFPropertyListFormat format = kCFPropertyListOpenStepFormat;
    CFErrorRef error = nullptr;
    auto list = Retained<const Object>::adopting(
        object(CFPropertyListCreateWithData(nullptr, data.get(), kCFPropertyListImmutable, &format, &error)));
    if (error) CFRelease(error);
    return format == kCFPropertyListOpenStepFormat ? Retained<const Object>() : list;
}

/// A key that is read, and what the store has for it.
struct Wanted {
    std::string key;
    std::optional<StoreContents::Entry> entry;
};

/// Reads values, once the mutex is free again.
class ValueReader {
  public:
    explicit ValueReader(std::shared_ptr<const Descriptor> file) noexcept : file_(std::move(file)) {}

    /// Null when the key has no value.
    Retained<const Object> read(const Wanted& wanted) {
        if (wanted.entry && !wanted.entry->isHidden) return parseList(readValue(*file_, *wanted.entry));
        const PublishedKey* const row = publishedKey(wanted.key);
        if (!row || hides(wanted, names_.get(row->name))) return {};
        return Retained<const Object>::adopting(object(publishedValue(*row, names_.get(row->name).text).release()));
    }

    bool hasValue(const Wanted& wanted) {
        if (wanted.entry && !wanted.entry->isHidden) return true;
        const PublishedKey* const row = publishedKey(wanted.key);
        return row && !hides(wanted, names_.get(row->name)) && !names_.get(row->name).text.empty();
    }

    /// What hid the names of other origins than they have now.
    const std::vector<Store::Change>& outdated() const noexcept { return outdated_; }

  private:
    bool hides(const Wanted& wanted, const SystemName& name) {
        if (!wanted.entry) return false;
        std::string origin = readValue(*file_, *wanted.entry);
        if (origin == name.origin) return true;
        outdated_.push_back({Store::Operation::Show, wanted.key, std::move(origin)});
        return false;
    }

    const std::shared_ptr<const Descriptor> file_;
    SystemNames names_;
    std::vector<Store::Change> outdated_;
};

}  // namespace

std::mutex& Store::mutex() noexcept { return stateMutex; }

// ---- The stores of the process

std::shared_ptr<Store> Store::open() {
    followForks();
    Outlets due;
    StorePlace place = StorePlace::ofProcess();
    const std::string name = place.name();
    std::shared_ptr<Store> store;
    int status;
    {
        const std::lock_guard lock(stateMutex);
        chooseConfigurationFolder();
        std::erase_if(stores(), [](const auto& entry) { return entry.second.expired(); });
        std::weak_ptr<Store>& known = stores()[name];
        store = known.lock();
        if (!store) known = store = std::make_shared<Store>(std::move(place));
        status = store->place_.make();
        // A store that nobody could make yet is empty, and its changes are refused.
        const bool isMissing =
            status == kSCStatusAccessError && store->place_.mayBeMissing() && store->place_.locate() == kSCStatusOK;
        if (status == kSCStatusOK || isMissing) status = store->refresh(due);
    }
    ring(due);
    return setStatus(status) ? store : nullptr;
}

std::vector<std::shared_ptr<Store>> Store::watched() {
    std::vector<std::shared_ptr<Store>> found;
    for (const auto& [name, each] : stores()) {
        const auto store = each.lock();
        if (store && std::any_of(store->sessions_.begin(), store->sessions_.end(),
                                 [](const StoreSession* session) { return session->isListening(); }))
            found.push_back(store);
    }
    return found;
}

bool Store::wantsNames() const noexcept {
    return std::any_of(sessions_.begin(), sessions_.end(),
                       [](const StoreSession* session) { return session->wantsNames(); });
}

int Store::refresh(Outlets& due) {
    int status = place_.locate();
    if (status == kSCStatusOK) status = contents_.update(place_.folder() ? place_.folder()->get() : -1, news_);
    if (!news_.isEmpty()) {
        for (StoreSession* const session : sessions_) session->addNews(news_, due);
        news_ = {};
    }
    return status;
}

const Store::Entry* Store::find(std::string_view key) const {
    const auto found = contents_.index().find(key);
    return found == contents_.index().end() ? nullptr : &found->second;
}

bool Store::isHidden(const Entry* entry, const std::string& origin) const {
    return entry && entry->isHidden && readValue(*contents_.file(), *entry) == origin;
}

void Store::changeName(NameKind kind, const SystemName& before, const SystemName& now, Outlets& due,
                       std::vector<Change>& changes) {
    for (const PublishedKey& row : kPublishedKeys) {
        const Entry* const entry = find(row.key);
        // Where a client's value hides the published one nothing has changed.
        if (row.name != kind || (entry && !entry->isHidden)) continue;
        const std::string then = isHidden(entry, before.origin) ? std::string() : before.text;
        const bool isHiddenNow = isHidden(entry, now.origin);
        if (then != (isHiddenNow ? std::string() : now.text)) news_.keys.emplace_back(row.key);
        if (entry && !isHiddenNow) {
            changes.push_back({Operation::Show, row.key, readValue(*contents_.file(), *entry)});
        }
    }
    refresh(due);
}

// ---- Reading

int Store::copyValues(std::span<const std::string> keys, const std::vector<KeyPattern>& patterns,
                      std::vector<Found>& found) {
    std::vector<Wanted> wanted;
    std::shared_ptr<const Descriptor> file;
    Outlets due;
    int status;
    {
        const std::lock_guard lock(stateMutex);
        status = refresh(due);
        file = contents_.file();
        const auto want = [&](const std::string& key) {
            const Entry* const entry = find(key);
            wanted.push_back({key, entry ? std::optional(*entry) : std::nullopt});
        };
        for (const std::string& key : keys) want(key);
        if (!patterns.empty()) {
            for (const PublishedKey& row : kPublishedKeys) {
                if (!find(row.key) && matchesAny(patterns, row.key)) want(row.key);
            }
            for (const auto& [key, entry] : contents_.index()) {
                if (matchesAny(patterns, key)) wanted.push_back({key, entry});
            }
        }
    }
    ring(due);
    if (status != kSCStatusOK) return status;
    ValueReader reader(std::move(file));
    for (Wanted& each : wanted) {
        if (auto value = reader.read(each)) found.push_back({std::move(each.key), std::move(value)});
    }
    // Who may write says so to all others; who may not has at least seen it himself.
    if (!reader.outdated().empty()) apply(reader.outdated(), Wait::No);
    return kSCStatusOK;
}

int Store::listKeys(const KeyPattern& pattern, std::vector<std::string>& keys) {
    std::vector<Wanted> published;
    std::shared_ptr<const Descriptor> file;
    Outlets due;
    int status;
    {
        const std::lock_guard lock(stateMutex);
        status = refresh(due);
        file = contents_.file();
        for (const PublishedKey& row : kPublishedKeys) {
            const Entry* const entry = find(row.key);
            if (!pattern.matches(row.key)) continue;
            published.push_back({row.key, entry ? std::optional(*entry) : std::nullopt});
        }
        for (const auto& [key, entry] : contents_.index()) {
            if (!entry.isHidden && !publishedKey(key) && pattern.matches(key)) keys.push_back(key);
        }
    }
    ring(due);
    if (status != kSCStatusOK) return status;
    ValueReader reader(std::move(file));
    for (Wanted& each : published) {
        if (reader.hasValue(each)) keys.push_back(std::move(each.key));
    }
    return kSCStatusOK;
}

// ---- Changing

/// Adds what is to be written for a change; nothing when nothing is.
int Store::plan(const Change& change, SystemNames& names, std::string& encoded) const {
    if (change.key.size() > kLongestKey || change.bytes.size() > kLargestValue) return kSCStatusInvalidArgument;
    const auto write = [&](Kind kind, std::string_view value = {}) {
        encodeChange({kind, change.key, value}, encoded);
        return encoded.size() <= kLargestBatch ? int{kSCStatusOK} : int{kSCStatusInvalidArgument};
    };
    if (change.operation == Operation::Set) return write(Kind::Value, change.bytes);
    if (change.operation == Operation::Notify) return write(Kind::Notice);

    const Entry* const entry = find(change.key);
    if (change.operation == Operation::Show) {
        return isHidden(entry, change.bytes) ? write(Kind::Shown) : int{kSCStatusOK};
    }
    const bool isSet = entry && !entry->isHidden;
    const PublishedKey* const row = publishedKey(change.key);
    const bool isPublished =
        !isSet && row && !names.get(row->name).text.empty() && !isHidden(entry, names.get(row->name).origin);
    switch (change.operation) {
        case Operation::Add:
            return isSet || isPublished ? int{kSCStatusKeyExists} : write(Kind::Value, change.bytes);
        case Operation::Remove:
            if (!isSet && !isPublished) return kSCStatusNoKey;
            break;
        default:
            if (!isSet && !isPublished) return kSCStatusOK;
            break;
    }
    return isSet ? write(Kind::Gone) : write(Kind::Hidden, names.get(row->name).origin);
}

int Store::apply(std::span<const Change> changes, Wait wait) {
    Outlets due;
    int status = kSCStatusFailed;
    {
        std::unique_lock writer(writerMutex, std::defer_lock);
        if (wait == Wait::Yes) {
            writer.lock();
        } else if (!writer.try_lock()) {
            return EAGAIN;
        }
        // Somebody may clean up the run-time folder: the store begins anew.
        bool isThere = false;
        for (int tries = 0; !isThere && tries < kTries; ++tries) {
            std::shared_ptr<const Descriptor> folder;
            {
                const std::lock_guard lock(stateMutex);
                status = place_.make();
                folder = place_.folder();
            }
            if (status != kSCStatusOK || !folder) break;
            const StoreLock lock(folder->get(), wait);
            isThere = static_cast<bool>(lock);
            status = lock ? applyLocked(changes, folder, due, isThere) : statusOfErrno(lock.error());
            if (!lock && lock.error() != ENOENT) break;
        }
    }
    ring(due);
    return status;
}

/// With the lock of `folder` held. `isThere` tells whether this is still the store's folder; if not, nothing is done.
int Store::applyLocked(std::span<const Change> changes, const std::shared_ptr<const Descriptor>& folder, Outlets& due,
                       bool& isThere) {
    std::string encoded;
    StoreContents::Tail tail;
    std::optional<StoreContents> whole;
    {
        const std::lock_guard lock(stateMutex);
        int status = refresh(due);
        isThere = place_.folder() == folder;
        if (!isThere) return kSCStatusFailed;
        SystemNames names;
        for (std::size_t i = 0; status == kSCStatusOK && i < changes.size(); ++i) {
            status = plan(changes[i], names, encoded);
        }
        if (status != kSCStatusOK || encoded.empty()) return status;
        tail = contents_.tail();
        if (!contents_.isAppendable()) whole = contents_;
    }
    const std::string batch = encodeBatch(encoded);
    const int status = whole ? rewriteWithBatch(folder->get(), *whole, batch) : appendBatch(folder->get(), tail, batch);
    try {
        const std::lock_guard lock(stateMutex);
        refresh(due);  // hands the news to the sessions of this process
    } catch (const std::bad_alloc&) {
        // The change is made; it will be read when there is memory for it.
    }
    return status;
}

}  // namespace KXPlatform
