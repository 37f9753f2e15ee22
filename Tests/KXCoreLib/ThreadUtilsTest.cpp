#include <KXCoreLib/ThreadUtils.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dirent.h>
#include <dlfcn.h>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

// Calls of the system, to see them or to make them fail. This program's definitions come before the C library's.

namespace {

std::atomic<int> joinResult{0};  // what pthread_join reports in place of joining, unless 0

std::atomic<int> waits{0}, broadcasts{0};  // on conditions
std::atomic<pthread_cond_t*> lastCondition{nullptr};
std::atomic<pthread_mutex_t*> lastMutex{nullptr};
std::atomic<int> unlockedWaits{0};  // with a mutex that nobody held

// What this thread does before it waits on a condition, with the mutex held; and what happens while it waits for a
// deadline, which passes right after that.
thread_local const std::function<void()>* beforeWait = nullptr;
thread_local const std::function<void()>* untilDeadline = nullptr;

thread_local long newsLeft = -1;  // how many requests of memory this thread is granted; below 0: all

template <class Function>
Function* systems(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void noteWait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    lastCondition = condition;
    lastMutex = mutex;
    if (pthread_mutex_trylock(mutex) == 0) {
        pthread_mutex_unlock(mutex);
        ++unlockedWaits;
    }
    if (beforeWait) (*beforeWait)();
    ++waits;
}

}  // namespace

// Not inline: the compiler would take malloc and delete, or new and free, for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (newsLeft == 0) return nullptr;
    if (newsLeft > 0) --newsLeft;
    return std::malloc(size);
}
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (void* const memory = operator new(size, std::nothrow)) return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

extern "C" int pthread_join(pthread_t thread, void** result) {
    if (joinResult != 0) return joinResult;
    return systems<int(pthread_t, void**)>("pthread_join")(thread, result);
}

extern "C" int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    noteWait(condition, mutex);
    return systems<int(pthread_cond_t*, pthread_mutex_t*)>("pthread_cond_wait")(condition, mutex);
}

extern "C" int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
    noteWait(condition, mutex);
    if (untilDeadline) {
        pthread_mutex_unlock(mutex);
        (*untilDeadline)();
        pthread_mutex_lock(mutex);
        return ETIMEDOUT;
    }
    return systems<int(pthread_cond_t*, pthread_mutex_t*, const timespec*)>("pthread_cond_timedwait")(condition, mutex,
                                                                                                      deadline);
}

extern "C" int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
    ++broadcasts;
    return systems<int(pthread_cond_t*)>("pthread_cond_broadcast")(condition);
}

namespace {

using namespace KXCore;
using testing::ElementsAre;

static_assert(std::has_virtual_destructor_v<BackgroundThreadEvent>);
static_assert(std::is_same_v<decltype(std::declval<BackgroundThreadEvent&>().wait(nullptr)), unsigned>);

timespec fromNow(std::chrono::nanoseconds delay) {
    const auto date = std::chrono::system_clock::now().time_since_epoch() + delay;
    const auto seconds = std::chrono::floor<std::chrono::seconds>(date);
    return {static_cast<time_t>(seconds.count()), static_cast<long>(std::chrono::nanoseconds(date - seconds).count())};
}

/// Waits until something is so, with a bound.
template <class Condition>
void waitUntil(Condition isSo) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!isSo()) {
        ASSERT_LT(std::chrono::steady_clock::now(), end);
        std::this_thread::yield();
    }
}

void waitFor(const std::atomic<bool>& flag) {
    waitUntil([&] { return flag.load(); });
}

/// What services note, in the order of events.
class Log {
  public:
    void add(const std::string& line) {
        const std::lock_guard lock(mutex_);
        lines_.push_back(line);
    }
    std::vector<std::string> lines() const {
        const std::lock_guard lock(mutex_);
        return lines_;
    }

  private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

/// Runs its loop until it is stopped, and shows what it is doing.
struct Service : BackgroundThread {
    explicit Service(std::string i = "", Log* l = nullptr) : id(std::move(i)), log(l) { ++alive; }
    ~Service() override {
        --alive;
        note("end");
    }
    void init(unsigned int p) override {
        port = p;
        char name[64] = "";
        pthread_getname_np(pthread_self(), name, sizeof name);
        threadName = name;
        BackgroundThread::init(p);
    }
    void run() override {
        note("run");
        ready = true;
        if (before) before();
        CFRunLoopRun();
        if (after) after();
        note("return");
    }
    void note(const char* what) const {
        if (log) log->add(id + what);
    }

    inline static std::atomic<int> alive{0};
    const std::string id;
    Log* const log;
    std::atomic<unsigned> port{0};
    std::string threadName;
    std::atomic<bool> ready{false};
    std::function<void()> before, after;
};

/// Starts a service and waits until it may be stopped. Borrowed: the registry owns it.
Service* start(const char* name, Service* service = new Service) {
    StartBackgroundThread(name, service);
    waitFor(service->ready);
    return service;
}

bool lives(mach_port_t port) { return mach_port_mod_refs(mach_task_self(), port, MACH_PORT_RIGHT_RECEIVE, 0) == 0; }

/// Uses the registry, on a thread of its own: a lock that keeps it out is a failure then and no deadlock.
void useTheRegistry() {
    if (testing::Test::HasFailure()) return;
    const auto done = std::make_shared<std::atomic<bool>>(false);
    std::thread([done] {
        StopBackgroundThread("nobody");
        StartBackgroundThread("somebody", new Service);
        StopBackgroundThread("somebody");
        *done = true;
    }).detach();
    waitFor(*done);
}

int countOf(const char* folder) {
    int count = 0;
    DIR* const directory = ::opendir(folder);
    while (::readdir(directory)) ++count;
    ::closedir(directory);
    return count;
}

class BackgroundThreads : public testing::Test {
  protected:
    void TearDown() override {
        StopBackgroundThreads();
        EXPECT_EQ(Service::alive, 0);
    }
};

}  // namespace

// ---- Start and stop

TEST_F(BackgroundThreads, RunUntilTheyAreStopped) {
    Log log;
    Service* const service = start("one", new Service("", &log));
    const unsigned port = service->port;
    EXPECT_TRUE(lives(port));
    StopBackgroundThread("one");
    EXPECT_THAT(log.lines(), ElementsAre("run", "return", "end"));
    EXPECT_EQ(Service::alive, 0);
    EXPECT_FALSE(lives(port));
}

TEST_F(BackgroundThreads, BearTheirNameAsFarAsTheSystemKeepsIt) {
    EXPECT_EQ(start("short")->threadName, "short");
    EXPECT_EQ(start("a name of more than fifteen bytes")->threadName, "a name of more ");
    EXPECT_EQ(start("")->threadName, "");
    const std::string huge(100000, 'x');
    EXPECT_EQ(start(huge.c_str())->threadName, std::string(15, 'x'));
    EXPECT_EQ(start("\xff%s\n/")->threadName, "\xff%s\n/");
    StopBackgroundThread(huge.c_str());
    EXPECT_EQ(Service::alive, 4);
    StopBackgroundThread("");
    EXPECT_EQ(Service::alive, 3);
}

TEST_F(BackgroundThreads, NamesThatTheSystemCutsAlikeStayTwo) {
    start("sixteen bytes oneA");
    start("sixteen bytes oneB");
    EXPECT_EQ(Service::alive, 2);
}

TEST_F(BackgroundThreads, AnUnknownNameStopsNothing) {
    start("known");
    StopBackgroundThread("unknown");
    StopBackgroundThread("");
    EXPECT_EQ(Service::alive, 1);
}

TEST_F(BackgroundThreads, ASecondOneOfANameReplacesTheFirst) {
    Log log;
    start("name", new Service("first ", &log));
    start("name", new Service("second ", &log));
    EXPECT_THAT(log.lines(), ElementsAre("first run", "first return", "first end", "second run"));
    StopBackgroundThread("name");
    EXPECT_EQ(log.lines().size(), 6u);
}

TEST_F(BackgroundThreads, AllAreStoppedBeforeAnyIsJoined) {
    // Each waits in its end until all have been stopped: were they joined one by one, this would never end.
    constexpr int kThreads = 8;
    std::atomic<int> stopped{0};
    std::atomic<bool> allStopped{false};
    for (int i = 0; i < kThreads; ++i) {
        auto* const service = new Service;
        service->after = [&] {
            if (++stopped == kThreads) allStopped = true;
            waitFor(allStopped);
        };
        start(std::to_string(i).c_str(), service);
    }
    StopBackgroundThreads();
    EXPECT_TRUE(allStopped);
    EXPECT_EQ(Service::alive, 0);
    StopBackgroundThreads();
}

TEST_F(BackgroundThreads, StopsOfOneWhoseLoopIsBusyAreOne) {
    std::atomic<bool> go{false};
    auto* const service = new Service;
    service->before = [&] { waitFor(go); };
    start("busy", service);
    service->stop();
    service->stop();
    go = true;
    StopBackgroundThread("busy");
    EXPECT_EQ(Service::alive, 0);
}

TEST_F(BackgroundThreads, AreStoppedInEveryCommonMode) {
    struct OtherMode : Service {
        void run() override {
            CFRunLoopAddCommonMode(CFRunLoopGetCurrent(), CFSTR("other"));
            ready = true;
            result = CFRunLoopRunInMode(CFSTR("other"), 60, false);
        }
        std::atomic<CFRunLoopRunResult>& result;
        explicit OtherMode(std::atomic<CFRunLoopRunResult>& r) : result(r) {}
    };
    std::atomic<CFRunLoopRunResult> result{};
    start("other", new OtherMode(result));
    StopBackgroundThread("other");
    EXPECT_EQ(result, kCFRunLoopRunStopped);
}

TEST_F(BackgroundThreads, OneThatReturnedByItselfStaysRegistered) {
    struct Brief : Service {
        void run() override { ready = true; }
    };
    start("brief", new Brief);
    EXPECT_EQ(Service::alive, 1);
    StopBackgroundThread("brief");
    EXPECT_EQ(Service::alive, 0);
}

TEST_F(BackgroundThreads, MayStopThemselves) {
    std::atomic<bool> returned{false};
    auto* const service = new Service;
    service->before = [&] {
        StopBackgroundThread("self");  // detached: its end is waited for by nobody
        returned = true;
    };
    StartBackgroundThread("self", service);
    waitFor(returned);
    waitUntil([] { return Service::alive == 0; });
}

TEST_F(BackgroundThreads, MayUseTheRegistryWhileTheyAreStoppedAndJoined) {
    struct Busy : Service {
        Busy() { after = useTheRegistry; }
        void stop() override {
            useTheRegistry();
            Service::stop();
        }
    };
    start("by name", new Busy);
    StopBackgroundThread("by name");
    start("replaced", new Busy);
    start("replaced", new Busy);
    start("another", new Busy);
    StopBackgroundThreads();
    EXPECT_EQ(Service::alive, 0);
}

TEST_F(BackgroundThreads, AStopEndsTheInnerRunOnly) {
    struct Nested : Service {
        struct Call final : RunLoopSourceEventPort {
            explicit Call(Nested& n) : RunLoopSourceEventPort(n.call), nested(n) {}
            void callback() override { nested.called(); }
            Nested& nested;
        };
        void run() override {
            const auto source = boost::make_shared<Call>(*this);
            RunLoopSourceEventPort::initialize(source);
            source->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
            CFRunLoopRun();
        }
        void called() {
            if (++calls > 1) return;
            ready = true;
            inner = CFRunLoopRunInMode(kCFRunLoopDefaultMode, 60, false);
            call.signal();  // for the outer run
        }
        EventPort call{0};
        std::atomic<int> calls{0};
        std::atomic<CFRunLoopRunResult> inner{};
    };
    auto* const service = new Nested;
    service->call.signal();
    start("nested", service);
    service->stop();
    waitUntil([&] { return service->calls == 2; });
    EXPECT_EQ(service->inner, kCFRunLoopRunStopped);
    StopBackgroundThread("nested");
    EXPECT_EQ(Service::alive, 0);
}

TEST_F(BackgroundThreads, AnInnerRunThatWasStoppedMayPassTheStopOn) {
    struct Nested : Service {
        struct Call final : RunLoopSourceEventPort {
            using RunLoopSourceEventPort::RunLoopSourceEventPort;
            void callback() override {
                if (CFRunLoopRunInMode(kCFRunLoopDefaultMode, 60, false) == kCFRunLoopRunStopped) {
                    CFRunLoopStop(CFRunLoopGetCurrent());
                }
            }
        };
        void run() override {
            const auto source = boost::make_shared<Call>(call);
            RunLoopSourceEventPort::initialize(source);
            source->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
            call.signal();
            CFRunLoopRun();
        }
        EventPort call{0};
    };
    StartBackgroundThread("nested", new Nested);
    StopBackgroundThread("nested");
    EXPECT_EQ(Service::alive, 0);
}

TEST_F(BackgroundThreads, AreDisposedOfByTheirDestroy) {
    struct OnTheStack : Service {
        void destroy() override { destroyed = true; }
        std::atomic<bool> destroyed{false};
    } service;
    StartBackgroundThread("stack", &service);
    waitFor(service.ready);
    StopBackgroundThread("stack");
    EXPECT_TRUE(service.destroyed);
}

TEST_F(BackgroundThreads, OneManagerServesTheProcess) {
    auto& manager = GetSingletonInstance<BackgroundThreadsManager, int>();
    EXPECT_EQ((&GetSingletonInstance<BackgroundThreadsManager, int>()), &manager);
    auto* const service = new Service;
    manager.startBackgroundThread("direct", service);
    waitFor(service->ready);
    manager.stopBackgroundThread("direct");
    EXPECT_EQ(Service::alive, 0);
    BackgroundThreadsManager own;
    own.stopBackgroundThreads();
    BackgroundThreadsManager::stopThreads({});
}

TEST_F(BackgroundThreads, AProxyGivesItsReferenceUpWhenTheServiceThrows) {
    struct Failing : Service {
        void run() override { throw std::runtime_error("from a service"); }
    };
    std::thread([] {
        // The entry as the system would call it, with the reference that it takes over.
        auto* const proxy = new BackgroundThreadProxy(new Failing, "failing");
        EXPECT_THROW(BackgroundThreadProxy::threadProc(proxy), std::runtime_error);
        EXPECT_EQ(Service::alive, 0);
    }).join();
}

TEST_F(BackgroundThreads, TheServiceEndsWithTheLastReferenceToItsProxy) {
    auto* const service = new Service;
    boost::intrusive_ptr<BackgroundThreadProxy> proxy(new BackgroundThreadProxy(service, "kept"), false);
    proxy->startThread();
    waitFor(service->ready);
    proxy->stopThread();
    proxy->waitThread();
    EXPECT_EQ(Service::alive, 1);
    EXPECT_TRUE(lives(service->port));
    const unsigned port = service->port;
    proxy.reset();
    EXPECT_EQ(Service::alive, 0);
    EXPECT_FALSE(lives(port));
}

// ---- Stops that come before the thread has begun

TEST_F(BackgroundThreads, MayBeStoppedRightAfterTheirStart) {
    for (int i = 0; i < 200; ++i) {
        StartBackgroundThread("fresh", new Service);
        StopBackgroundThread("fresh");
        ASSERT_EQ(Service::alive, 0);
    }
}

TEST_F(BackgroundThreads, MayBeReplacedRightAfterTheirStart) {
    for (int i = 0; i < 200; ++i) StartBackgroundThread("fresh", new Service);
    EXPECT_EQ(Service::alive, 1);
}

TEST_F(BackgroundThreads, MayAllBeStoppedRightAfterTheirStart) {
    for (int i = 0; i < 50; ++i) {
        for (const char* const name : {"one", "two", "three", "four", "five"}) StartBackgroundThread(name, new Service);
        StopBackgroundThreads();
        ASSERT_EQ(Service::alive, 0);
    }
}

TEST_F(BackgroundThreads, AStopBeforeInitIsHeardByTheRunThatFollows) {
    struct Late : Service {
        void init(unsigned int p) override {
            waitFor(go);
            Service::init(p);
        }
        std::atomic<bool> go{false};
    };
    std::atomic<bool> returned{false};
    auto* const service = new Late;
    service->after = [&] { returned = true; };
    StartBackgroundThread("late", service);
    service->stop();
    service->stop();
    service->go = true;
    waitFor(returned);
}

TEST_F(BackgroundThreads, AStopGoesToThePortThatInitWasGiven) {
    std::thread([] {
        const EventPort port(0);
        Service service;
        service.init(port.getPort());
        service.stop();
        EXPECT_EQ(port.signal(), MACH_SEND_TIMED_OUT);  // one is waiting
        service.run();
    }).join();
}

// ---- No memory

namespace {

/// Runs `work` with 0, 1, 2... requests of memory granted to it until they are enough; `after` follows each that
/// failed. Returns how many it took.
template <class Work, class After>
long refuseEachRequest(Work work, After after) {
    for (long granted = 0;; ++granted) {
        try {
            newsLeft = granted;
            work();
            newsLeft = -1;
            return granted;
        } catch (const std::bad_alloc&) {
            newsLeft = -1;
            after();
        }
    }
}

}  // namespace

TEST_F(BackgroundThreads, AStartWithoutMemoryDisposesOfTheServiceAndStartsNothing) {
    { const EventPort first(0); }  // what the system needs for its first port is its own
    const std::string name(100, 'n');
    Service* service = new Service;
    const long requests = refuseEachRequest([&] { StartBackgroundThread(name.c_str(), service); },
                                            [&] {
                                                EXPECT_EQ(Service::alive, 0);
                                                StopBackgroundThread(name.c_str());
                                                service = new Service;
                                            });
    EXPECT_GE(requests, 3);  // the proxy, its name, its place
    EXPECT_EQ(Service::alive, 1);
}

TEST_F(BackgroundThreads, AStopWithoutMemoryStopsNothing) {
    struct Told : Service {
        void stop() override {
            newsLeft = -1;  // the message itself is another matter: without memory for it the process ends
            Service::stop();
        }
    };
    const std::string name(1000, 'n');
    start(name.c_str(), new Told);
    EXPECT_GE(refuseEachRequest([&] { StopBackgroundThread(name.c_str()); }, [] { EXPECT_EQ(Service::alive, 1); }), 1);
    EXPECT_EQ(Service::alive, 0);
    start("one", new Told);
    start("two", new Told);
    EXPECT_GE(refuseEachRequest([] { StopBackgroundThreads(); }, [] { EXPECT_EQ(Service::alive, 2); }), 1);
    EXPECT_EQ(Service::alive, 0);
}

// ---- Fatal ends

TEST(BackgroundThreadDeathTest, AThreadThatTheSystemRefusesEndsTheProcess) {
    EXPECT_DEATH(
        {
            pthread_attr_t attributes;
            pthread_attr_init(&attributes);
            pthread_attr_setstacksize(&attributes, std::size_t{1} << 47);  // more than there is
            pthread_setattr_default_np(&attributes);
            StartBackgroundThread("refused", new Service);
        },
        R"(\]KXCoreLib/ThreadUtils:42: abort\(\) called)");
}

TEST(BackgroundThreadDeathTest, AThreadThatCannotBeDetachedEndsTheProcess) {
    EXPECT_DEATH(
        {
            auto* const service = new Service;
            auto* const proxy = new BackgroundThreadProxy(service, "twice");
            std::atomic<bool> started{false};
            service->before = [&] {
                waitFor(started);
                proxy->waitThread();
                proxy->waitThread();
            };
            proxy->startThread();
            started = true;
            for (;;) std::this_thread::yield();
        },
        R"(\]KXCoreLib/ThreadUtils:78: abort\(\) called)");
}

TEST(BackgroundThreadDeathTest, AThreadThatCannotBeJoinedEndsTheProcess) {
    EXPECT_DEATH(
        {
            start("unjoinable");
            joinResult = EINVAL;
            StopBackgroundThread("unjoinable");
        },
        R"(\]KXCoreLib/ThreadUtils:78: abort\(\) called)");
}

TEST(BackgroundThreadDeathTest, AStopThatHasNowhereToGoEndsTheProcess) {
    EXPECT_DEATH(Service().stop(), R"(\]KXCoreLib/ThreadUtils:113: abort\(\) called)");
    EXPECT_DEATH(
        {
            Service* const service = start("no port");
            mach_port_destroy(mach_task_self(), service->port);
            service->stop();
        },
        R"(\]KXCoreLib/ThreadUtils:113: abort\(\) called)");
}

// ---- Many at once

TEST_F(BackgroundThreads, AThousandStartsAndStopsLeaveNothingBehind) {
    start("warm");
    StopBackgroundThread("warm");
    const int descriptors = countOf("/proc/self/fd");
    const int threads = countOf("/proc/self/task");
    std::vector<unsigned> ports;
    for (int i = 0; i < 1000; ++i) {
        ports.push_back(start("again")->port);
        StopBackgroundThread("again");
    }
    EXPECT_EQ(countOf("/proc/self/fd"), descriptors);
    waitUntil([&] { return countOf("/proc/self/task") <= threads; });  // one that is joined may still be on its way out
    for (const unsigned port : ports) ASSERT_FALSE(lives(port));
}

TEST_F(BackgroundThreads, RacingStartsOfOneNameLeaveOne) {
    for (int round = 0; round < 50; ++round) {
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t) threads.emplace_back([] { StartBackgroundThread("contended", new Service); });
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(Service::alive, 1);
    }
    StopBackgroundThread("contended");
}

TEST_F(BackgroundThreads, AreStartedAndStoppedFromSeveralThreads) {
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([t] {
            const std::string name = "service " + std::to_string(t);
            for (int i = 0; i < 50; ++i) {
                start(name.c_str());
                StopBackgroundThread(name.c_str());
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(Service::alive, 0);
}

// ---- Events

TEST(BackgroundThreadEvent, IsResetByTheWaiterItWakes) {
    BackgroundThreadEvent event;
    event.signal();
    event.signal();
    EXPECT_EQ(event.wait(nullptr), 0u);
    const timespec past{0, 0};
    EXPECT_EQ(event.wait(&past), 65535u);
    event.signal();
    EXPECT_EQ(event.wait(&past), 0u);
}

TEST(BackgroundThreadEvent, WaitsUntilTheDeadline) {
    BackgroundThreadEvent event;
    const timespec soon = fromNow(std::chrono::milliseconds(5));
    EXPECT_EQ(event.wait(&soon), 65535u);
    const timespec now = fromNow(std::chrono::nanoseconds(0));
    EXPECT_TRUE(now.tv_sec > soon.tv_sec || now.tv_nsec >= soon.tv_nsec);
}

TEST(BackgroundThreadEvent, ADeadlineThatIsNoDateIsNoTimeOut) {
    BackgroundThreadEvent event;
    const timespec wrong{0, -1};
    EXPECT_EQ(event.wait(&wrong), 0u);
    const timespec past{0, 0};
    EXPECT_EQ(event.wait(&past), 65535u);
}

TEST(BackgroundThreadEvent, CarriesWhatWasWrittenBeforeEachOfTheSignalsThatAreOne) {
    // From the signaller to the waiter only the event orders the two integers, which are plain. `posted` does not: it
    // keeps the end of one round's signal, which may wake a waiter for nothing, out of the next round.
    BackgroundThreadEvent event;
    std::atomic<int> posted{0}, taken{0};
    int first = 0, second = 0;
    std::thread waiter([&] {
        for (int i = 1; i <= 1000; ++i) {
            waitUntil([&] { return posted.load(std::memory_order_relaxed) == i; });
            EXPECT_EQ(event.wait(nullptr), 0u);
            EXPECT_EQ(first, i);
            EXPECT_EQ(second, i);
            taken.store(i, std::memory_order_release);
        }
    });
    for (int i = 1; i <= 1000; ++i) {
        first = i;
        event.signal();
        second = i;
        event.signal();
        posted.store(i, std::memory_order_relaxed);
        waitUntil([&] { return taken.load(std::memory_order_acquire) == i; });
    }
    waiter.join();
}

TEST(BackgroundThreadEvent, ASignalThatComesWithTheDeadlineIsTaken) {
    BackgroundThreadEvent event;
    const std::function<void()> signal = [&] { event.signal(); };
    const timespec past{0, 0};
    untilDeadline = &signal;
    const unsigned result = event.wait(&past);
    untilDeadline = nullptr;
    EXPECT_EQ(result, 0u);
    EXPECT_EQ(event.wait(&past), 65535u);
}

TEST(BackgroundThreadEvent, ASignalDoesNotOvertakeAWaiterThatIsAboutToSleep) {
    BackgroundThreadEvent event;
    std::atomic<bool> signalled{false};
    std::thread signaller;
    bool hasOvertaken = false;
    const std::function<void()> signal = [&] {
        signaller = std::thread([&] {
            event.signal();
            signalled = true;
        });
        // However long it took, the signal would not be through now.
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        hasOvertaken = signalled;
    };
    const timespec late = fromNow(std::chrono::seconds(60));
    unlockedWaits = 0;
    beforeWait = &signal;
    const unsigned result = event.wait(&late);
    beforeWait = nullptr;
    signaller.join();
    EXPECT_EQ(result, 0u);
    EXPECT_FALSE(hasOvertaken);
    EXPECT_EQ(unlockedWaits, 0);
}

TEST(BackgroundThreadEvent, AWaiterThatIsWokenForNothingReturnsAndResetsNothing) {
    BackgroundThreadEvent event;
    std::atomic<unsigned> result{1};
    waits = 0;
    std::thread waiter([&] { result = event.wait(nullptr); });
    waitUntil([] { return waits == 1; });
    // The waiter holds the mutex until it sleeps.
    pthread_mutex_lock(lastMutex);
    pthread_mutex_unlock(lastMutex);
    pthread_cond_broadcast(lastCondition);
    waitUntil([&] { return result != 1 || waits > 1; });
    EXPECT_EQ(waits, 1);
    event.signal();
    waiter.join();
    EXPECT_EQ(result, 0u);
    const timespec past{0, 0};
    EXPECT_EQ(event.wait(&past), 0u);
}

TEST(BackgroundThreadEvent, ASignalWakesOneWaiter) {
    constexpr int kWaiters = 4;
    BackgroundThreadEvent event;
    std::atomic<int> returned{0};
    waits = 0;
    std::vector<std::thread> waiters;
    for (int t = 0; t < kWaiters; ++t) {
        waiters.emplace_back([&] {
            event.wait(nullptr);
            ++returned;
        });
    }
    waitUntil([] { return waits == kWaiters; });
    pthread_mutex_lock(lastMutex);
    pthread_mutex_unlock(lastMutex);
    broadcasts = 0;
    for (int t = 1; t <= kWaiters; ++t) {
        event.signal();
        waitUntil([&] { return returned >= t; });
    }
    EXPECT_EQ(broadcasts, 0);
    for (std::thread& waiter : waiters) waiter.join();
}

TEST(BackgroundThreadEvent, WakesEachWaiterOncePerSignalItTakes) {
    BackgroundThreadEvent event;
    std::atomic<int> left{100};
    std::atomic<bool> done{false};
    std::vector<std::thread> waiters;
    for (int t = 0; t < 4; ++t) {
        waiters.emplace_back([&] {
            while (!done) {
                const timespec soon = fromNow(std::chrono::milliseconds(20));
                if (event.wait(&soon) == 0) --left;
            }
        });
    }
    while (left > 0) {
        event.signal();
        std::this_thread::yield();
    }
    done = true;
    for (std::thread& waiter : waiters) waiter.join();
    EXPECT_LE(left, 0);
}
