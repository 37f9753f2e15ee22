#pragma once

// Hears of changes of the stores and of what the published names come from, for all sessions of the process: one
// inotify descriptor and one thread, which run while any session listens.
//
// The kernel tells of a new host name through poll() on /proc/sys/kernel/hostname, and says it only once to each open
// file: the thread waits there too.
//
// Guarded by the stores' mutex.

#include "Store.h"
#include "SystemNames.h"

#include "Support/Descriptor.h"
#include "Support/ProcessMark.h"

#include <array>
#include <memory>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

struct inotify_event;

namespace KXPlatform {

class StoreWatch {
  public:
    /// The watch of this process, begun when there is none. Null, with a status, when it cannot be. Takes the mutex.
    static std::shared_ptr<StoreWatch> shared(int& status);

    /// Ends the thread: never with the mutex held, unless the watch did not begin.
    ~StoreWatch();
    StoreWatch(const StoreWatch&) = delete;
    StoreWatch& operator=(const StoreWatch&) = delete;

    // ---- With the mutex held

    /// Watches what the sessions want to hear of now; what changes from here on is heard of. Returns a status.
    int update(Outlets& due);

    /// Takes in what has happened so far. False when there were no means for it: the rest will be done later.
    bool catchUp(Outlets& due);

    /// Sessions want less than before: stops watching what nobody wants. Watches too much where memory is out.
    void forgetUnwanted() noexcept;

    /// In a child that was forked: the watch has stayed with its parent.
    static void forget() noexcept;

  private:
    enum class Reason { Path, Contents, Computer, NetBios };

    /// What is of interest in a folder.
    struct Wish {
        std::string name;
        Reason reason;
    };
    using Wishes = std::unordered_multimap<int, Wish>;  ///< by inotify's number of the folder

    /// What is to be looked at again.
    struct Work {
        bool paths = false;
        bool stores = false;
        std::array<bool, 2> names{};  ///< by NameKind

        bool isThere() const noexcept { return paths || stores || names[0] || names[1]; }
    };

    StoreWatch() = default;
    int begin();

    int arm();
    int armPath(const std::string& path, Wishes& wishes);
    int armNames(Wishes& wishes);
    int watch(const std::string& folder, const std::string& name, Reason reason, Wishes& wishes);
    int follow(Outlets& due);

    void run();
    bool serve();
    void compareName(NameKind kind, Outlets& due);
    void readEvents();
    void note(const inotify_event& event);

    const ProcessMark process_;
    Descriptor inotify_;
    Descriptor wake_;      ///< an eventfd: the thread is to look at hostName_ and isEnding_
    Descriptor hostName_;  ///< stays open once names have been wanted
    Wishes wishes_;
    bool followsNames_ = false;
    std::array<SystemName, 2> names_;  ///< as the sessions know them, while they are followed
    Work work_;
    /// What hid names whose origin has changed; to be done without the mutex.
    std::vector<std::pair<std::weak_ptr<Store>, Store::Change>> outdated_;
    bool isEnding_ = false;
    std::unique_ptr<std::thread> thread_;
};

}  // namespace KXPlatform
