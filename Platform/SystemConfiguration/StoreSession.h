#pragma once

// What a session of the store knows: which keys it hears of, and what has become of them.

#include "Store.h"

#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

namespace KXPlatform {

class StoreWatch;

/// The keys that a session hears of.
struct StoreInterest {
    std::unordered_set<std::string> keys;
    std::vector<KeyPattern> patterns;

    bool isEmpty() const noexcept { return keys.empty() && patterns.empty(); }
    bool includes(const std::string& key) const { return keys.contains(key) || matchesAny(patterns, key); }
    bool includesNames() const;
};

class StoreSession {
  public:
    explicit StoreSession(std::shared_ptr<Store> store);
    ~StoreSession();
    StoreSession(const StoreSession&) = delete;
    StoreSession& operator=(const StoreSession&) = delete;

    // ---- Any thread

    Store& store() const noexcept { return *store_; }

    /// From now on changes of these keys count. Returns a status; after a failure those from before do.
    int setInterest(StoreInterest interest);

    /// News will ring this outlet too, while somebody keeps it. Returns a status.
    int addOutlet(const std::shared_ptr<StoreOutlet>& outlet);

    bool hasChanges() const;

    /// The keys of interest that have changed since the last call, each once.
    std::vector<std::string> takeChanges();

    // ---- With the stores' mutex held

    void addNews(const StoreContents::News& news, Outlets& due);
    bool isListening() const noexcept { return !interest_.isEmpty(); }
    bool wantsNames() const noexcept { return wantsNames_; }

  private:
    int openWatch();

    const std::shared_ptr<Store> store_;
    std::shared_ptr<StoreWatch> watch_;
    StoreInterest interest_;
    bool wantsNames_ = false;
    std::vector<std::string> changes_;         ///< in order
    std::unordered_set<std::string> changed_;  ///< the same keys
    bool mustRing_ = false;                    ///< for one of them
    std::vector<std::weak_ptr<StoreOutlet>> outlets_;
};

}  // namespace KXPlatform
