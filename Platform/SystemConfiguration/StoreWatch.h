#pragma once

// Hears of changes of the store's files and of what the published names come from.
//
// One thread at a time may use an object, but for descriptor().

#include "HostNameWatch.h"
#include "StoreDirectory.h"
#include "Support/Descriptor.h"

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

struct inotify_event;

namespace KXPlatform {

class StoreWatch {
  public:
    /// What has happened since it was last asked for.
    struct News {
        std::vector<std::string> keys;  ///< changed, in order; one may be there several times
        bool lost = false;              ///< the system dropped some of the news: anything may have changed
        bool names = false;             ///< the published names may have changed
    };

    /// Watches nothing yet.
    explicit StoreWatch(const StoreDirectory& directory);

    /// False when the process has no descriptors left.
    bool isOpen() const noexcept { return epoll_ && inotify_; }

    /// Becomes readable when there is news.
    int descriptor() const noexcept { return epoll_.get(); }

    /// Watches the store from now on, until stop().
    bool start();
    /// Watches what the names come from as well.
    bool startNames();
    void stop() noexcept;

    /// The news so far. Changes that belong together are held back until all of them have been made.
    News take();

  private:
    enum class Folder { Values, Signals, Configuration, Samba };

    bool watch(Folder folder, const std::string& path, std::uint32_t events);
    bool watchStore();
    bool watchConfiguration();
    bool isWatching(Folder folder) const noexcept;
    void note(const inotify_event& event, News& news);

    const StoreDirectory directory_;
    Descriptor inotify_;
    std::unique_ptr<HostNameListener> hostName_;
    Descriptor epoll_;  ///< after what it watches, so that it goes first
    std::unordered_map<int, Folder> folders_;
    bool started_ = false;
    bool inBatch_ = false;
    std::vector<std::string> batch_;  ///< changes of a batch that is not complete
};

}  // namespace KXPlatform
