#pragma once

// The store as this process sees it: one object for all sessions at one place.
//
// Everything about stores, their sessions and the watch is guarded by one mutex, which is never held while anybody
// waits for the store's lock, for another thread or for the caller's functions. Writers of the process take turns
// before they take the store's lock. A process that is forked finds both mutexes free.
//
// Who finds a change in the store's file, be it a reader, a writer or the watch, hands it to all sessions of the
// process before anything else is done with what was read.

#include "KeyPattern.h"
#include "StoreContents.h"
#include "StoreOutlet.h"
#include "StorePlace.h"
#include "StoreWriter.h"
#include "SystemNames.h"

#include "CoreFoundation/Object/Retained.h"

#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace KXPlatform {

class StoreSession;

class Store {
  public:
    enum class Operation { Set, Add, Remove, RemoveIfThere, Notify, Show };

    struct Change {
        Operation operation;
        std::string key;
        std::string bytes = {};  ///< the value's, for Set and Add; for Show the origin that is hidden
    };

    struct Found {
        std::string key;
        Retained<const Object> value;
    };

    explicit Store(StorePlace place) : place_(std::move(place)) {}
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    /// The store that this process uses, made when it is not there. Null, with the status set, when there can be none.
    static std::shared_ptr<Store> open();

    // ---- Any thread. Each returns a status.

    /// Adds those of the keys, and of all keys that a pattern matches, that have a value: all as they were at one time.
    int copyValues(std::span<const std::string> keys, const std::vector<KeyPattern>& patterns,
                   std::vector<Found>& found);

    /// Adds the keys that have a value and that the pattern matches. Reads no values.
    int listKeys(const KeyPattern& pattern, std::vector<std::string>& keys);

    /// Makes all of the changes or, when one cannot be made, none. Others see all of them or none, too.
    int apply(std::span<const Change> changes, Wait wait = Wait::Yes);

    // ---- With mutex() held. Sessions that have news then are added to `due`, to be rung once it is released.

    static std::mutex& mutex() noexcept;

    /// Every store of the process that a session listens to.
    static std::vector<std::shared_ptr<Store>> watched();

    /// Takes in what has changed.
    int refresh(Outlets& due);

    /// The name has changed. Adds what makes the keys count again that hid the name as it was before.
    void changeName(NameKind kind, const SystemName& before, const SystemName& now, Outlets& due,
                    std::vector<Change>& changes);

    void add(StoreSession& session) { sessions_.push_back(&session); }
    void remove(const StoreSession& session) noexcept { std::erase(sessions_, &session); }
    bool wantsNames() const noexcept;
    const StorePlace& place() const noexcept { return place_; }

  private:
    using Entry = StoreContents::Entry;

    const Entry* find(std::string_view key) const;
    bool isHidden(const Entry* entry, const std::string& origin) const;
    int plan(const Change& change, SystemNames& names, std::string& encoded) const;
    int applyLocked(std::span<const Change> changes, const std::shared_ptr<const Descriptor>& folder, Outlets& due,
                    bool& isThere);

    StorePlace place_;
    StoreContents contents_;
    StoreContents::News news_;  ///< found, and not yet handed to all sessions
    std::vector<StoreSession*> sessions_;
};

}  // namespace KXPlatform
