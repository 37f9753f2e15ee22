#pragma once

/// A run-loop source that follows keys of the system's dynamic store: it keeps the current values of the keys its
/// clients registered for and calls a client when one of its keys changes.
///
///     class Tracker : public SCDynamicStoreClient {
///       public:
///         void callback(CFDictionaryRef values) override { ... }
///     };
///     SCDynamicStoreSetup setup;
///     setup.registerKey(CFSTR("Setup:/System"), boost::make_shared<Tracker>());
///     auto source = create_run_loop_source<RunLoopSourceSCDynamicStore>(null_hook(), setup);  // calls every client
///     source->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
///
/// Who owns what: the source keeps its clients, and the platform's objects keep neither (RunLoop.h). Clients are called
/// by the thread that makes the source, then by the threads of the run loops it is scheduled on, one at a time.

#include <KXCoreLib/CoreFoundation/ArrayRef.h>
#include <KXCoreLib/CoreFoundation/DictionaryRef.h>
#include <KXCoreLib/CoreFoundation/RunLoopSourceRef.h>
#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/Export.h>
#include <KXCoreLib/RunLoop.h>

#include <SystemConfiguration/SystemConfiguration.h>

#include <boost/smart_ptr/make_shared.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/unordered_map.hpp>

#include <atomic>
#include <thread>

namespace KXCore {

/// Is told of the values of keys that it was registered for.
class KX_EXPORT SCDynamicStoreClient {
  public:
    /// `values` holds the current value of every key that is watched, whoever registered it, as far as the keys are in
    /// the store. It is lent for the call. The source is locked meanwhile: calling copyCache() on it from here waits
    /// for ever. Running the run loop from here is allowed; what the store tells of meanwhile is dispatched when the
    /// call has returned.
    virtual void callback(CFDictionaryRef values) = 0;

    virtual ~SCDynamicStoreClient();
};

/// Who is to be told of what.
struct KX_EXPORT SCDynamicStoreSetup {
    /// A key or pattern with each client that wants it. A client may have several keys, and a key several clients.
    using Registrations = boost::unordered_multimap<CoreFoundation::StringRef, boost::shared_ptr<SCDynamicStoreClient>>;

    /// Registers `client` for exactly this key. Pairs that are registered twice count once.
    void registerKey(CFStringRef key, const boost::shared_ptr<SCDynamicStoreClient>& client);

    Registrations keys;
    /// The values of keys that match these are kept too, but their changes call no client.
    Registrations patterns;
};

class KX_EXPORT RunLoopSourceSCDynamicStore : public RunLoopSource {
  public:
    explicit RunLoopSourceSCDynamicStore(const SCDynamicStoreSetup& setup);
    virtual ~RunLoopSourceSCDynamicStore();

    /// Connects to the store, reads the values and calls every client once with them, on this thread: to be called
    /// once, before scheduling; later calls do nothing. Ends the process when there is no store or the keys cannot be
    /// watched; throws a CFException when another platform object cannot be made.
    static void initialize(const boost::shared_ptr<RunLoopSourceSCDynamicStore>& source);

    void scheduleWithRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int depth) override;
    void unscheduleFromRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int depth) override;

    /// Is called after the clients whenever something changed; does nothing.
    virtual void callback();

    /// The values as they were when the store last told of a change. Any thread, but not from a client.
    CoreFoundation::DictionaryRef copyCache() const;

    /// Reads the values of these keys anew and calls every client of one of them, each once. Called by the run loop.
    /// From a client it returns at once: the keys are served when the client has returned.
    void dispatch(CFArrayRef changedKeys);

  private:
    SCDynamicStoreRef getStore() const noexcept;
    void dispatchLocked(CFArrayRef changedKeys);

    CoreFoundation::TypeRef store;  ///< an SCDynamicStoreRef; empty until initialize()
    CoreFoundation::RunLoopSourceRef runLoopSource;
    const SCDynamicStoreSetup::Registrations keys;
    const SCDynamicStoreSetup::Registrations patterns;
    mutable boost::mutex lock;  ///< guards the cache, and is held while clients are called
    CoreFoundation::MutableDictionaryRef cache;
    std::atomic<std::thread::id> dispatcher{};  ///< the thread that calls clients now
    CoreFoundation::MutableArrayRef arrived;    ///< keys that changed while it did: the dispatcher's alone
};

/// Stands for a source without a hook of its own.
struct null_hook {};

/// A new source, initialized.
template <class Source, class Setup>
boost::shared_ptr<Source> create_run_loop_source(const null_hook&, const Setup& setup) {
    boost::shared_ptr<Source> source = boost::make_shared<Source>(setup);
    Source::initialize(source);
    return source;
}

}  // namespace KXCore
