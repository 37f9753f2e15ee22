#include <KXCoreLib/SCDynamicStore.h>

#include "Deletions.h"
#include "Platform/SystemConfiguration/StoreTesting.h"

#include <KXCoreLib/CoreFoundationWrappers.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <sys/inotify.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <stdexcept>
#include <thread>
#include <type_traits>

using namespace KXCore;
using namespace StoreTesting;
using CoreFoundation::DictionaryRef;

namespace {

/// Whether the platform is to refuse the keys that a session wants to hear of.
bool keysAreRefused = false;

/// Whether the platform is to make no run-loop source, and no copy of values.
bool sourcesAreRefused = false, copiesAreRefused = false;

/// Whether the system is to have no inotify descriptor left.
bool watchesAreRefused = false;

/// What the platform was given for the session that was made last, and for its run-loop source.
struct Given {
    SCDynamicStoreCallBack callback = nullptr;
    SCDynamicStoreContext context{};
    CFIndex order = -1;
};
Given given;

}  // namespace

/// These stand before the system's and the platform's.
extern "C" __attribute__((visibility("default"))) int inotify_init1(int flags) noexcept {
    static const auto next = reinterpret_cast<decltype(&inotify_init1)>(dlsym(RTLD_NEXT, "inotify_init1"));
    if (!watchesAreRefused) return next(flags);
    errno = EMFILE;
    return -1;
}
extern "C" __attribute__((visibility("default"))) Boolean SCDynamicStoreSetNotificationKeys(SCDynamicStoreRef store,
                                                                                            CFArrayRef keys,
                                                                                            CFArrayRef patterns) {
    static const auto next = reinterpret_cast<decltype(&SCDynamicStoreSetNotificationKeys)>(
        dlsym(RTLD_NEXT, "SCDynamicStoreSetNotificationKeys"));
    return !keysAreRefused && next(store, keys, patterns);
}
extern "C" __attribute__((visibility("default"))) SCDynamicStoreRef SCDynamicStoreCreate(
    CFAllocatorRef allocator, CFStringRef name, SCDynamicStoreCallBack callback, SCDynamicStoreContext* context) {
    static const auto next =
        reinterpret_cast<decltype(&SCDynamicStoreCreate)>(dlsym(RTLD_NEXT, "SCDynamicStoreCreate"));
    given = {};
    given.callback = callback;
    if (context) given.context = *context;
    return next(allocator, name, callback, context);
}
extern "C" __attribute__((visibility("default"))) CFRunLoopSourceRef SCDynamicStoreCreateRunLoopSource(
    CFAllocatorRef allocator, SCDynamicStoreRef store, CFIndex order) {
    static const auto next = reinterpret_cast<decltype(&SCDynamicStoreCreateRunLoopSource)>(
        dlsym(RTLD_NEXT, "SCDynamicStoreCreateRunLoopSource"));
    given.order = order;
    return sourcesAreRefused ? nullptr : next(allocator, store, order);
}
extern "C" __attribute__((visibility("default"))) CFDictionaryRef SCDynamicStoreCopyMultiple(SCDynamicStoreRef store,
                                                                                             CFArrayRef keys,
                                                                                             CFArrayRef patterns) {
    static const auto next =
        reinterpret_cast<decltype(&SCDynamicStoreCopyMultiple)>(dlsym(RTLD_NEXT, "SCDynamicStoreCopyMultiple"));
    return copiesAreRefused ? nullptr : next(store, keys, patterns);
}

namespace {

static_assert(!std::is_copy_constructible_v<RunLoopSourceSCDynamicStore>);
static_assert(std::is_base_of_v<RunLoopSource, RunLoopSourceSCDynamicStore>);
static_assert(std::is_abstract_v<SCDynamicStoreClient>);

/// Keeps a copy of what it was told.
class Client : public SCDynamicStoreClient {
  public:
    void callback(CFDictionaryRef values) override {
        ++calls;
        last = DictionaryRef::createCopy(nullptr, values);
        thread = std::this_thread::get_id();
        if (action) action();
    }

    std::string value(const std::string& key) const {
        const auto* const found = static_cast<CFStringRef>(last.getValue(text(key)));
        return found ? Held::utf8(found) : "<none>";
    }

    std::atomic<int> calls{0};
    DictionaryRef last;
    std::thread::id thread;
    std::function<void()> action;
};

using ClientPointer = boost::shared_ptr<Client>;
using SourcePointer = boost::shared_ptr<RunLoopSourceSCDynamicStore>;

SourcePointer make(const SCDynamicStoreSetup& setup) {
    return create_run_loop_source<RunLoopSourceSCDynamicStore>(null_hook(), setup);
}

class DynamicStoreSource : public testing::Test {
  protected:
    ClientPointer add(std::initializer_list<const char*> keys) {
        const auto client = boost::make_shared<Client>();
        for (const char* const key : keys) setup.registerKey(text(key), client);
        return client;
    }

    static SourcePointer scheduled(const SCDynamicStoreSetup& setup) {
        const SourcePointer source = make(setup);
        source->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
        return source;
    }

    bool set(const std::string& key, const std::string& value) { return session.setText(key, value); }

    TestStore store;
    Session session;
    SCDynamicStoreSetup setup;
};

}  // namespace

// ---- Setup

TEST_F(DynamicStoreSource, RegistersAnyNumberOfKeysAndClients) {
    const ClientPointer first = add({"a", "b", "a"}), second = add({"a"});
    EXPECT_EQ(setup.keys.size(), 4u);
    EXPECT_EQ(setup.keys.count(CoreFoundation::StringRef::retain(CFSTR("a"))), 3u);
    EXPECT_TRUE(setup.patterns.empty());
    EXPECT_EQ(setup.keys.max_load_factor(), 1.0f);
}

TEST_F(DynamicStoreSource, FindsEqualKeysThatAreOtherObjects) {
    const ClientPointer client = add({"key"});
    const auto copy = Held::mutableString(u"key");
    EXPECT_EQ(setup.keys.count(CoreFoundation::StringRef::retain(copy.get())), 1u);
}

// ---- The first delivery

TEST_F(DynamicStoreSource, CallsEachClientOnceWhenItIsMadeOnThatThread) {
    ASSERT_TRUE(set("a", "1") && set("b", "2"));
    const ClientPointer first = add({"a", "b", "a"}), second = add({"b"}), ofPattern = boost::make_shared<Client>();
    setup.patterns.emplace(CoreFoundation::StringRef::retain(CFSTR("c.")), ofPattern);
    ASSERT_TRUE(set("c1", "3"));
    const SourcePointer source = make(setup);
    for (const ClientPointer& client : {first, second, ofPattern}) {
        EXPECT_EQ(client->calls, 1);
        EXPECT_EQ(client->thread, std::this_thread::get_id());
        EXPECT_EQ(client->value("a") + client->value("b") + client->value("c1"), "123")
            << "all values, not just its own";
    }
}

TEST_F(DynamicStoreSource, LeavesKeysOutThatAreNotThere) {
    const ClientPointer client = add({"a", "b"});
    ASSERT_TRUE(set("a", "1") && set("other", "2"));
    const SourcePointer source = make(setup);
    EXPECT_EQ(client->last.getCount(), 1);
}

TEST_F(DynamicStoreSource, IsMadeWithoutAnyKey) {
    const SourcePointer source = scheduled(setup);
    EXPECT_EQ(source->copyCache().getCount(), 0);
}

TEST_F(DynamicStoreSource, IsInitializedOnce) {
    const ClientPointer client = add({"a"});
    const SourcePointer source = make(setup);
    RunLoopSourceSCDynamicStore::initialize(source);
    EXPECT_EQ(client->calls, 1);
}

TEST_F(DynamicStoreSource, IsEmptyBeforeItIsInitialized) {
    const ClientPointer client = add({"a"});
    const auto source = boost::make_shared<RunLoopSourceSCDynamicStore>(setup);
    EXPECT_EQ(source->copyCache().getCount(), 0);
    source->dispatch(array({"a"}));
    EXPECT_EQ(client->calls, 0);
}

TEST_F(DynamicStoreSource, KeepsTheSetupItWasMadeFrom) {
    const ClientPointer client = add({"a"});
    const SourcePointer source = scheduled(setup);
    setup.keys.clear();
    ASSERT_TRUE(set("a", "1"));
    EXPECT_TRUE(Session::runUntil([&] { return client->value("a") == "1"; }));
}

TEST_F(DynamicStoreSource, PassesAClientsExceptionOnAndIsReady) {
    const ClientPointer client = add({"a"});
    client->action = [] { throw std::runtime_error("no"); };
    const auto source = boost::make_shared<RunLoopSourceSCDynamicStore>(setup);
    EXPECT_THROW(RunLoopSourceSCDynamicStore::initialize(source), std::runtime_error);
    EXPECT_THROW(source->dispatch(array({"a"})), std::runtime_error);
    client->action = nullptr;
    source->dispatch(array({"a"}));  // the lock was given back
    EXPECT_EQ(client->calls, 3);
}

// ---- Changes

TEST_F(DynamicStoreSource, FollowsChangesWhileItIsScheduled) {
    const ClientPointer client = add({"a"});
    const SourcePointer source = scheduled(setup);
    ASSERT_TRUE(set("a", "1"));
    ASSERT_TRUE(Session::runUntil([&] { return client->calls == 2; }));
    EXPECT_EQ(client->value("a"), "1");
    EXPECT_EQ(Held::utf8(static_cast<CFStringRef>(source->copyCache().getValue(CFSTR("a")))), "1");
    source->unscheduleFromRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
    ASSERT_TRUE(session.watch({"a"}));
    ASSERT_TRUE(set("a", "2"));
    ASSERT_TRUE(session.hears("a"));
    EXPECT_EQ(client->calls, 2);
    source->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
    EXPECT_TRUE(Session::runUntil([&] { return client->value("a") == "2"; }));
}

TEST_F(DynamicStoreSource, TakesARemovedKeyOutOfItsCache) {
    ASSERT_TRUE(set("a", "1") && set("b", "2"));
    const ClientPointer client = add({"a", "b"});
    const SourcePointer source = scheduled(setup);
    ASSERT_TRUE(session.remove("a"));
    ASSERT_TRUE(Session::runUntil([&] { return client->calls == 2; }));
    EXPECT_EQ(client->value("a"), "<none>");
    EXPECT_EQ(client->value("b"), "2");
    EXPECT_EQ(source->copyCache().getCount(), 1);
}

TEST_F(DynamicStoreSource, CallsAClientOnceForTwoKeysThatChangeTogether) {
    const ClientPointer both = add({"a", "b"}), one = add({"a"}), other = add({"c"});
    const SourcePointer source = scheduled(setup);
    ASSERT_TRUE(
        SCDynamicStoreSetMultiple(session, dictionary({{"a", CFSTR("1")}, {"b", CFSTR("2")}}), nullptr, nullptr));
    ASSERT_TRUE(Session::runUntil([&] { return both->calls >= 2; }));
    ASSERT_TRUE(set("c", "3"));
    ASSERT_TRUE(Session::runUntil([&] { return other->calls >= 2; }));
    EXPECT_EQ(both->calls, 2);
    EXPECT_EQ(both->value("a") + both->value("b"), "12");
    EXPECT_EQ(one->calls, 2);
    EXPECT_EQ(other->calls, 2) << "only clients of what has changed are called";
}

TEST_F(DynamicStoreSource, KeepsValuesThatPatternsMatchButCallsNoClientOfTheirs) {
    const ClientPointer client = add({"a"}), ofPattern = boost::make_shared<Client>();
    setup.patterns.emplace(CoreFoundation::StringRef::retain(CFSTR("b.*|a")), ofPattern);
    const SourcePointer source = scheduled(setup);
    ASSERT_TRUE(set("b1", "1"));
    ASSERT_TRUE(set("b\xC3\xBC", "2"));
    ASSERT_TRUE(set("a", "3"));
    ASSERT_TRUE(Session::runUntil([&] { return client->value("a") == "3"; }));
    EXPECT_EQ(client->value("b1"), "1");
    EXPECT_EQ(client->value("b\xC3\xBC"), "2");
    EXPECT_EQ(ofPattern->calls, 1) << "the first delivery";
}

TEST_F(DynamicStoreSource, ShowsClientsTheCacheItselfAndOthersCopies) {
    CFDictionaryRef shown = nullptr;
    struct Shown : SCDynamicStoreClient {
        explicit Shown(CFDictionaryRef& o) : out(o) {}
        void callback(CFDictionaryRef values) override { out = values; }
        CFDictionaryRef& out;
    };
    setup.registerKey(CFSTR("a"), boost::make_shared<Shown>(shown));
    const SourcePointer source = make(setup);
    const CFDictionaryRef cache = shown;
    const DictionaryRef before = source->copyCache();
    EXPECT_NE(before.get(), cache);
    ASSERT_TRUE(set("a", "1"));
    source->dispatch(array({"a"}));
    EXPECT_EQ(shown, cache);
    EXPECT_EQ(before.getCount(), 0) << "a copy stays as it was";
    EXPECT_EQ(source->copyCache().getCount(), 1);
}

TEST_F(DynamicStoreSource, CallsItsOwnHookAfterTheClients) {
    struct Hooked final : RunLoopSourceSCDynamicStore {
        using RunLoopSourceSCDynamicStore::RunLoopSourceSCDynamicStore;
        void callback() override { callsBefore = client->calls; }
        Client* client = nullptr;
        int callsBefore = -1;
    };
    const ClientPointer client = add({"a"});
    const auto source = create_run_loop_source<Hooked>(null_hook(), setup);
    source->client = client.get();
    EXPECT_EQ(source->callsBefore, -1) << "not at the first delivery";
    source->dispatch(array({"b"}));
    EXPECT_EQ(source->callsBefore, 1) << "whether or not a client was called";
    source->dispatch(array({"a"}));
    EXPECT_EQ(source->callsBefore, 2);
}

// The change that comes in the nested run is not lost, and its client not called until the first call has ended.
TEST_F(DynamicStoreSource, LetsAClientRunTheLoop) {
    const ClientPointer client = add({"a", "b"});
    const SourcePointer source = scheduled(setup);
    int depth = 0, deepest = 0;
    client->action = [&] {
        deepest = std::max(deepest, ++depth);
        if (client->value("b") == "<none>") {
            EXPECT_TRUE(set("b", "1"));
            EXPECT_TRUE(session.hears("b"));
            CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, false);
        }
        --depth;
    };
    ASSERT_TRUE(session.watch({"b"}));
    ASSERT_TRUE(set("a", "1"));
    EXPECT_TRUE(Session::runUntil([&] { return client->value("b") == "1"; }));
    EXPECT_EQ(client->calls, 3) << "the first delivery, the one for a and the one for b";
    EXPECT_EQ(deepest, 1);
    EXPECT_EQ(source->copyCache().getCount(), 2) << "the lock was given back";
}

TEST_F(DynamicStoreSource, ServesKeysThatAClientDispatchesWhenItHasReturned) {
    const ClientPointer client = add({"a"}), other = add({"b"});
    const SourcePointer source = make(setup);
    client->action = [&] {
        source->dispatch(array({"b", "c"}));
        EXPECT_EQ(other->calls, 1);
    };
    source->dispatch(array({"a"}));
    EXPECT_EQ(other->calls, 2);
    EXPECT_EQ(client->calls, 2);
}

TEST_F(DynamicStoreSource, KeepsWhatArrivedForLaterWhenAClientThrows) {
    const ClientPointer client = add({"a"}), other = add({"b"});
    const SourcePointer source = make(setup);
    client->action = [&] {
        source->dispatch(array({"b"}));
        throw std::runtime_error("no");
    };
    EXPECT_THROW(source->dispatch(array({"a"})), std::runtime_error);
    EXPECT_EQ(other->calls, 1);
    source->dispatch(array({"c"}));
    EXPECT_EQ(other->calls, 2);
}

TEST_F(DynamicStoreSource, ChangesNothingForKeysThatCannotBeRead) {
    ASSERT_TRUE(set("a", "1"));
    const ClientPointer client = add({"a"});
    const SourcePointer source = make(setup);
    const void* wrong[] = {kCFNull};
    source->dispatch(hold(CFArrayCreate(nullptr, wrong, 1, &kCFTypeArrayCallBacks)));
    EXPECT_EQ(client->calls, 1);
    EXPECT_EQ(source->copyCache().getCount(), 1);
    source->dispatch(array({}));
    EXPECT_EQ(client->calls, 1);
}

// ---- Life

TEST_F(DynamicStoreSource, IsNotKeptByThePlatform) {
    const ClientPointer client = add({"a"});
    SourcePointer source = scheduled(setup);
    setup.keys.clear();
    const boost::weak_ptr<RunLoopSourceSCDynamicStore> watched = source;
    ASSERT_TRUE(set("a", "1"));  // on its way when the source goes
    source.reset();
    EXPECT_TRUE(watched.expired());
    EXPECT_EQ(client.use_count(), 1);
    ASSERT_TRUE(session.watch({"b"}));
    ASSERT_TRUE(set("b", "1"));
    ASSERT_TRUE(session.hears("b"));
    EXPECT_EQ(client->calls, 1);
}

TEST_F(DynamicStoreSource, IgnoresACallbackThatArrivesWhenItHasEnded) {
    const ClientPointer client = add({"a"});
    SourcePointer source = make(setup);
    const Given to = given;
    // As a run loop that is just calling it holds it.
    to.context.retain(to.context.info);
    source.reset();
    to.callback(session, array({"a"}), to.context.info);
    EXPECT_EQ(client->calls, 1);
    Deletions::await(to.context.info);
    to.context.release(to.context.info);
    EXPECT_TRUE(Deletions::came()) << "the platform has given its own reference up";
}

TEST_F(DynamicStoreSource, IsOfOrderZero) {
    const SourcePointer source = make(setup);
    EXPECT_EQ(given.order, 0);
}

TEST_F(DynamicStoreSource, MayLoseItsLastPointerInAClient) {
    const ClientPointer client = add({"a"});
    SourcePointer source = scheduled(setup);
    const boost::weak_ptr<RunLoopSourceSCDynamicStore> watched = source;
    client->action = [&] { source.reset(); };
    ASSERT_TRUE(set("a", "1"));
    ASSERT_TRUE(Session::runUntil([&] { return client->calls == 2; }));
    EXPECT_TRUE(watched.expired());
}

TEST_F(DynamicStoreSource, GivesCopiesOfItsCacheToOtherThreadsWhileItDispatches) {
    const ClientPointer client = add({"a", "b"});
    const SourcePointer source = scheduled(setup);
    std::atomic<bool> done{false};
    std::atomic<int> torn{0};
    std::thread reader([&] {
        while (!done) {
            const DictionaryRef copy = source->copyCache();
            // Set together, seen together.
            if (copy.containsKey(CFSTR("a")) != copy.containsKey(CFSTR("b"))) ++torn;
        }
    });
    for (int i = 0; i < 30; ++i) {
        const auto value = text(std::to_string(i));
        ASSERT_TRUE(
            SCDynamicStoreSetMultiple(session, dictionary({{"a", value.get()}, {"b", value.get()}}), nullptr, nullptr));
        ASSERT_TRUE(Session::runUntil([&] { return client->value("b") == std::to_string(i); }));
        ASSERT_TRUE(SCDynamicStoreSetMultiple(session, nullptr, array({"a", "b"}), nullptr));
        ASSERT_TRUE(Session::runUntil([&] { return client->value("b") == "<none>"; }));
    }
    done = true;
    reader.join();
    EXPECT_EQ(torn, 0);
}

TEST_F(DynamicStoreSource, WaitsWithItsCacheUntilClientsHaveBeenCalled) {
    const ClientPointer client = add({"a"});
    const SourcePointer source = make(setup);
    std::atomic<bool> copied{false};
    std::thread reader;
    bool copiedMeanwhile = false;
    client->action = [&] {
        reader = std::thread([&] {
            source->copyCache();
            copied = true;
        });
        // However long it took, the other thread would not get it now.
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        copiedMeanwhile = copied;
    };
    source->dispatch(array({"a"}));
    reader.join();
    EXPECT_FALSE(copiedMeanwhile);
    EXPECT_TRUE(copied);
}

TEST_F(DynamicStoreSource, DispatchesFromSeveralRunLoopsOneAtATime) {
    std::atomic<int> inside{0}, overlaps{0};
    const ClientPointer client = add({"a"});
    const SourcePointer source = make(setup);
    client->action = [&] {
        if (++inside != 1) ++overlaps;
        std::this_thread::yield();
        --inside;
    };
    std::atomic<bool> done{false};
    std::vector<std::thread> loops;
    for (int i = 0; i < 3; ++i) {
        loops.emplace_back([&] {
            source->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
            while (!done) CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.01, true);
            source->unscheduleFromRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
        });
    }
    const auto isSeen = [&](const std::string& value) {
        const DictionaryRef cache = source->copyCache();
        const auto* const found = static_cast<CFStringRef>(cache.getValue(CFSTR("a")));
        return found && Held::utf8(found) == value;
    };
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    for (int i = 0; i < 50; ++i) {
        ASSERT_TRUE(set("a", std::to_string(i)));
        while (!isSeen(std::to_string(i)) && std::chrono::steady_clock::now() < end) std::this_thread::yield();
        EXPECT_TRUE(isSeen(std::to_string(i)));
    }
    done = true;
    for (std::thread& loop : loops) loop.join();
    EXPECT_EQ(overlaps, 0);
}

// ---- Failures

TEST_F(DynamicStoreSource, EndsTheProcessWhenThereIsNoStore) {
    const std::string file = store.path() + "-file";
    TestStore::write(file, "");
    setenv("KXPLATFORM_DYNAMIC_STORE", file.c_str(), 1);
    EXPECT_DEATH(make(setup), "\\[.{24}\\]KXCoreLib/SCDynamicStore:138: abort\\(\\) called\n");
}

TEST_F(DynamicStoreSource, EndsTheProcessWhenItsKeysCannotBeWatched) {
    const ClientPointer client = add({"a"});
    EXPECT_DEATH(
        {
            keysAreRefused = true;
            make(setup);
        },
        "\\[.{24}\\]KXCoreLib/SCDynamicStore:144: abort\\(\\) called\n");
    setup.patterns.emplace(CoreFoundation::StringRef::retain(CFSTR("(")), client);
    EXPECT_DEATH(make(setup), "KXCoreLib/SCDynamicStore:144: abort");
}

TEST_F(DynamicStoreSource, ReportsWhichObjectThePlatformDidNotMake) {
    const auto reported = [&](bool& isRefused) {
        const auto source = boost::make_shared<RunLoopSourceSCDynamicStore>(setup);
        isRefused = true;
        ::testing::internal::CaptureStderr();
        EXPECT_THROW(RunLoopSourceSCDynamicStore::initialize(source), CoreFoundation::CFException);
        isRefused = false;
        return ::testing::internal::GetCapturedStderr();
    };
    EXPECT_THAT(reported(sourcesAreRefused), testing::HasSubstr("object: SCDynamicStoreCreateRunLoopSource\n"));
    EXPECT_THAT(reported(copiesAreRefused), testing::HasSubstr("object: SCDynamicStoreCopyMultiple\n"));
}

TEST_F(DynamicStoreSource, ThrowsWhenThePlatformHasNoDescriptorForIt) {
    const ClientPointer client = add({"a"});
    const auto source = boost::make_shared<RunLoopSourceSCDynamicStore>(setup);
    watchesAreRefused = true;
    bool thrown = false;
    try {
        RunLoopSourceSCDynamicStore::initialize(source);
    } catch (const CoreFoundation::CFException&) {
        thrown = true;
    }
    watchesAreRefused = false;
    EXPECT_TRUE(thrown);
    EXPECT_EQ(client->calls, 0);
    RunLoopSourceSCDynamicStore::initialize(source);
    EXPECT_EQ(client->calls, 1) << "and can be initialized once there is one";
}
