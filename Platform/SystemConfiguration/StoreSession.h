#pragma once

// What a session of the store knows: which keys it hears of, and what has become of them. Any thread may call.

#include "StoreDirectory.h"
#include "StoreKey.h"
#include "StoreWatch.h"

#include <memory>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

namespace KXPlatform {

class StoreSession {
  public:
    using Keys = std::unordered_set<std::string>;

    explicit StoreSession(StoreDirectory&& directory) noexcept : directory_(std::move(directory)) {}

    const StoreDirectory& directory() const noexcept { return directory_; }

    /// Becomes readable when takeChanges() may have something to give; -1 when the process has no descriptors left.
    int newsDescriptor();

    /// From now on changes of these keys count. False when they cannot be watched.
    bool setInterest(Keys keys, std::vector<KeyPattern> patterns);

    /// The keys of interest that have changed since the last call, each once.
    std::vector<std::string> takeChanges();

  private:
    bool isOfInterest(const std::string& key) const;
    bool openWatch();
    std::vector<std::string> presentKeys() const;

    const StoreDirectory directory_;
    std::mutex mutex_;
    std::unique_ptr<StoreWatch> watch_;
    Keys keys_;
    std::vector<KeyPattern> patterns_;
    SystemNames names_;  ///< as they were when changes were last taken
    Keys known_;         ///< keys of interest that were there: what may be gone when news is lost
};

}  // namespace KXPlatform
