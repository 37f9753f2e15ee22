#include "StoreSession.h"

#include <algorithm>

namespace KXPlatform {

bool StoreSession::isOfInterest(const std::string& key) const {
    return keys_.contains(key) ||
           std::any_of(patterns_.begin(), patterns_.end(), [&](const KeyPattern& p) { return p.matches(key); });
}

bool StoreSession::openWatch() {
    if (!watch_) {
        auto made = std::make_unique<StoreWatch>(directory_);
        if (!made->isOpen()) return false;
        watch_ = std::move(made);
    }
    return true;
}

int StoreSession::newsDescriptor() {
    const std::lock_guard lock(mutex_);
    return openWatch() ? watch_->descriptor() : -1;
}

std::vector<std::string> StoreSession::presentKeys() const {
    std::vector<std::string> keys = directory_.keys(names_);
    std::erase_if(keys, [&](const std::string& key) { return !isOfInterest(key); });
    return keys;
}

bool StoreSession::setInterest(Keys keys, std::vector<KeyPattern> patterns) {
    const std::lock_guard lock(mutex_);
    if (keys.empty() && patterns.empty()) {
        if (watch_) watch_->stop();
        keys_.clear();
        patterns_.clear();
        known_.clear();
        return true;
    }
    if (!openWatch() || !watch_->start()) return false;
    keys_.swap(keys);
    patterns_.swap(patterns);
    const bool wantsNames = std::any_of(kPublishedKeys.begin(), kPublishedKeys.end(),
                                        [&](const PublishedKey& row) { return isOfInterest(row.key); });
    if (wantsNames && !watch_->startNames()) return false;
    // After the watches are in place: what changes from here on is heard of.
    names_ = readSystemNames();
    known_.clear();
    for (std::string& key : presentKeys()) known_.insert(std::move(key));
    return true;
}

std::vector<std::string> StoreSession::takeChanges() {
    const std::lock_guard lock(mutex_);
    if (!watch_ || (keys_.empty() && patterns_.empty())) return {};
    StoreWatch::News news = watch_->take();

    std::vector<std::string> changed;
    Keys seen;
    const auto add = [&](const std::string& key) {
        if (seen.insert(key).second) changed.push_back(key);
    };
    for (const std::string& key : news.keys) {
        if (!isOfInterest(key)) continue;
        add(key);
        if (directory_.hasFile(key)) {
            known_.insert(key);
        } else {
            known_.erase(key);
        }
    }
    if (news.names) {
        const SystemNames before = std::exchange(names_, readSystemNames());
        for (const PublishedKey& row : kPublishedKeys) {
            // Where a client's value hides the published one nothing has changed.
            const auto then = directory_.value(row.key, before), now = directory_.value(row.key, names_);
            const bool isSame = then.get() == now.get() || (then && now && CFEqual(then.get(), now.get()));
            if (!isSame && isOfInterest(row.key)) add(row.key);
        }
    }
    if (news.lost) {
        for (const std::string& key : known_) add(key);
        known_.clear();
        for (const std::string& key : presentKeys()) {
            add(key);
            known_.insert(key);
        }
    }
    return changed;
}

}  // namespace KXPlatform
