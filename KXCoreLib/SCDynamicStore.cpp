#include <KXCoreLib/SCDynamicStore.h>

#include "Log.h"

#include <boost/thread/lock_types.hpp>
#include <boost/unordered_set.hpp>

#include <utility>

namespace KXCore {

using CoreFoundation::ArrayRef;
using CoreFoundation::DictionaryRef;
using CoreFoundation::MutableArrayRef;
using CoreFoundation::MutableDictionaryRef;
using CoreFoundation::RunLoopSourceRef;
using CoreFoundation::StringRef;
using CoreFoundation::TypeRef;

using Registrations = SCDynamicStoreSetup::Registrations;

namespace {

constexpr char kFile[] = "KXCoreLib/SCDynamicStore";

/// Each client once, however many keys it has.
using Clients = boost::unordered_set<boost::shared_ptr<SCDynamicStoreClient>>;

MutableArrayRef noKeys() { return ArrayRef::createMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks); }

/// Each key once; empty when there is none.
MutableArrayRef _PrepareKeys(const Registrations& registrations) {
    if (registrations.empty()) return MutableArrayRef();
    MutableArrayRef keys = noKeys();
    // Equal keys stand together.
    const StringRef* previous = nullptr;
    for (const auto& [key, client] : registrations) {
        if (!previous || !(key == *previous)) keys.appendValue(key.get());
        previous = &key;
    }
    return keys;
}

/// Notes for its lifetime that this thread dispatches.
class DispatcherScope {
  public:
    explicit DispatcherScope(std::atomic<std::thread::id>& dispatcher) : dispatcher_(dispatcher) {
        dispatcher_.store(std::this_thread::get_id(), std::memory_order_relaxed);
    }
    ~DispatcherScope() { dispatcher_.store(std::thread::id(), std::memory_order_relaxed); }
    DispatcherScope(const DispatcherScope&) = delete;
    DispatcherScope& operator=(const DispatcherScope&) = delete;

  private:
    std::atomic<std::thread::id>& dispatcher_;
};

void addClients(const Registrations& registrations, Clients& clients) {
    for (const auto& [key, client] : registrations) clients.insert(client);
}

void callEach(const Clients& clients, CFDictionaryRef values) {
    for (const auto& client : clients) client->callback(values);
}

void _SCDynamicStoreCallBack(SCDynamicStoreRef, CFArrayRef changedKeys, void* info) {
    const auto* const bridge = static_cast<const rl_bridge<RunLoopSourceSCDynamicStore>*>(info);
    if (const auto source = bridge->lock()) source->dispatch(changedKeys);
}

}  // namespace

SCDynamicStoreClient::~SCDynamicStoreClient() = default;

void SCDynamicStoreSetup::registerKey(CFStringRef key, const boost::shared_ptr<SCDynamicStoreClient>& client) {
    keys.emplace(StringRef::retain(key), client);
}

RunLoopSourceSCDynamicStore::RunLoopSourceSCDynamicStore(const SCDynamicStoreSetup& setup)
    : keys(setup.keys),
      patterns(setup.patterns),
      cache(DictionaryRef::createMutable(kCFAllocatorDefault, 0)),
      arrived(noKeys()) {}

RunLoopSourceSCDynamicStore::~RunLoopSourceSCDynamicStore() {
    if (runLoopSource) runLoopSource.invalidate();
}

SCDynamicStoreRef RunLoopSourceSCDynamicStore::getStore() const noexcept {
    return static_cast<SCDynamicStoreRef>(store.get());
}

void RunLoopSourceSCDynamicStore::initialize(const boost::shared_ptr<RunLoopSourceSCDynamicStore>& source) {
    using Bridge = rl_bridge<RunLoopSourceSCDynamicStore>;
    if (source->store) return;
    const MutableArrayRef keys = _PrepareKeys(source->keys);
    const MutableArrayRef patterns = _PrepareKeys(source->patterns);

    const auto bridge = Bridge::make_bridge(source);
    SCDynamicStoreContext context{};
    context.info = bridge.get();
    context.retain = cf_retain_callback<Bridge>;
    context.release = cf_release_callback<Bridge>;
    const SCDynamicStoreRef connection =
        SCDynamicStoreCreate(kCFAllocatorDefault, CFSTR(""), _SCDynamicStoreCallBack, &context);
    if (!connection) FatalExit(kFile, 138);
    const TypeRef made = TypeRef::adopt(connection);
    source->runLoopSource = RunLoopSourceRef::created(
        SCDynamicStoreCreateRunLoopSource(kCFAllocatorDefault, connection, 0), "SCDynamicStoreCreateRunLoopSource");
    if (!SCDynamicStoreSetNotificationKeys(connection, keys.get(), patterns.get())) FatalExit(kFile, 144);
    // Only now: no change from here on is missed.
    const auto values = DictionaryRef::created(SCDynamicStoreCopyMultiple(connection, keys.get(), patterns.get()),
                                               "SCDynamicStoreCopyMultiple");
    {
        const boost::unique_lock<boost::mutex> held(source->lock);
        source->cache = DictionaryRef::createMutableCopy(kCFAllocatorDefault, 0, values.get());
    }
    source->store.assign(made.get());

    Clients clients;
    addClients(source->keys, clients);
    addClients(source->patterns, clients);
    callEach(clients, source->cache.get());
}

void RunLoopSourceSCDynamicStore::scheduleWithRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int) {
    CFRunLoopAddSource(runLoop, runLoopSource.get(), mode);
}

void RunLoopSourceSCDynamicStore::unscheduleFromRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int) {
    CFRunLoopRemoveSource(runLoop, runLoopSource.get(), mode);
}

void RunLoopSourceSCDynamicStore::callback() {}

DictionaryRef RunLoopSourceSCDynamicStore::copyCache() const {
    const boost::unique_lock<boost::mutex> held(lock);
    return DictionaryRef::createCopy(kCFAllocatorDefault, cache.get());
}

void RunLoopSourceSCDynamicStore::dispatch(CFArrayRef changedKeys) {
    if (dispatcher.load(std::memory_order_relaxed) == std::this_thread::get_id()) {
        // A client runs the loop: this thread has the lock, and serves these keys when the client has returned.
        arrived.appendArray(changedKeys, CFRangeMake(0, CFArrayGetCount(changedKeys)));
        return;
    }
    const boost::unique_lock<boost::mutex> held(lock);
    const DispatcherScope scope(dispatcher);
    dispatchLocked(changedKeys);
    while (arrived.getCount() > 0) {
        const MutableArrayRef next = std::exchange(arrived, noKeys());
        dispatchLocked(next.get());
    }
}

void RunLoopSourceSCDynamicStore::dispatchLocked(CFArrayRef changedKeys) {
    const auto values = DictionaryRef::adopt(SCDynamicStoreCopyMultiple(getStore(), changedKeys, nullptr));
    if (!values) return;  // a store that cannot be read has no news
    Clients clients;
    const CFIndex count = CFArrayGetCount(changedKeys);
    for (CFIndex i = 0; i < count; ++i) {
        const auto key = static_cast<CFStringRef>(CFArrayGetValueAtIndex(changedKeys, i));
        if (const void* const value = values.getValue(key)) {
            cache.setValue(key, value);
        } else {
            cache.removeValue(key);
        }
        const auto [first, last] = keys.equal_range(StringRef::retain(key));
        for (auto each = first; each != last; ++each) clients.insert(each->second);
    }
    callEach(clients, cache.get());
    callback();
}

}  // namespace KXCore
