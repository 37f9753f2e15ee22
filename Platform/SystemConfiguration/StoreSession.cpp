#include "StoreSession.h"

#include "StoreWatch.h"

#include <SystemConfiguration/SCDynamicStore.h>

#include <algorithm>
#include <new>
#include <utility>

namespace KXPlatform {

bool StoreInterest::includesNames() const {
    return std::any_of(kPublishedKeys.begin(), kPublishedKeys.end(),
                       [&](const PublishedKey& row) { return includes(row.key); });
}

StoreSession::StoreSession(std::shared_ptr<Store> store) : store_(std::move(store)) {
    const std::lock_guard lock(Store::mutex());
    store_->add(*this);
}

StoreSession::~StoreSession() {
    std::shared_ptr<StoreWatch> watch;  // ends its thread when it goes, which takes the mutex
    const std::lock_guard lock(Store::mutex());
    store_->remove(*this);
    watch = std::move(watch_);
    if (watch && isListening()) watch->forgetUnwanted();
}

int StoreSession::openWatch() {
    int status = kSCStatusOK;
    std::shared_ptr<StoreWatch> watch = StoreWatch::shared(status);
    if (!watch) return status;
    const std::lock_guard lock(Store::mutex());
    watch_.swap(watch);
    return kSCStatusOK;
}

int StoreSession::addOutlet(const std::shared_ptr<StoreOutlet>& outlet) {
    if (const int status = openWatch(); status != kSCStatusOK) return status;
    const std::lock_guard lock(Store::mutex());
    std::erase_if(outlets_, [](const auto& each) { return each.expired(); });
    outlets_.push_back(outlet);
    return kSCStatusOK;
}

int StoreSession::setInterest(StoreInterest interest) {
    bool wantsNames = interest.includesNames();
    if (!interest.isEmpty()) {
        if (const int status = openWatch(); status != kSCStatusOK) return status;
    }
    Outlets due;
    int status = kSCStatusOK;
    {
        const std::lock_guard lock(Store::mutex());
        // What was so far is no news for the keys that are new.
        if (!interest.isEmpty()) store_->refresh(due);
        std::swap(interest, interest_);
        std::swap(wantsNames, wantsNames_);
        try {
            if (!interest_.isEmpty()) {
                status = watch_->update(due);
            } else if (watch_) {
                watch_->forgetUnwanted();
            }
        } catch (const std::bad_alloc&) {
            status = kSCStatusFailed;
        }
        if (status == kSCStatusOK) {
            std::erase_if(changes_, [&](const std::string& key) { return !interest_.includes(key); });
            std::erase_if(changed_, [&](const std::string& key) { return !interest_.includes(key); });
        } else {
            std::swap(interest, interest_);
            std::swap(wantsNames, wantsNames_);
        }
    }
    ring(due);
    return status;
}

bool StoreSession::hasChanges() const {
    const std::lock_guard lock(Store::mutex());
    return !changes_.empty();
}

std::vector<std::string> StoreSession::takeChanges() {
    Outlets due;
    std::vector<std::string> changes;
    {
        const std::lock_guard lock(Store::mutex());
        // What happened before the last of the changes is told with it, though the watch's thread has not come to it.
        if (watch_) watch_->catchUp(due);
        changed_.clear();
        changes.swap(changes_);
    }
    ring(due);
    return changes;
}

void StoreSession::addNews(const StoreContents::News& news, Outlets& due) {
    if (!isListening()) return;
    // What stops half-way for want of memory is done once more later: each step may be repeated.
    const auto add = [&](const std::string& key) {
        if (changed_.contains(key)) return;
        changes_.push_back(key);
        mustRing_ = true;
        changed_.insert(key);
    };
    for (const std::string& key : news.keys) {
        if (interest_.includes(key)) add(key);
    }
    if (news.isLost) {
        for (const std::string& key : interest_.keys) add(key);
    }
    if (!mustRing_) return;
    for (const auto& each : outlets_) {
        if (auto outlet = each.lock()) due.push_back(std::move(outlet));
    }
    mustRing_ = false;
}

}  // namespace KXPlatform
