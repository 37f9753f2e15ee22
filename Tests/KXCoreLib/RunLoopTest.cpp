#include <KXCoreLib/RunLoop.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>
#include <atomic>
#include <chrono>
#include <cmath>
#include <functional>
#include <limits>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace KXCore;
using CoreFoundation::CFException;
using testing::ElementsAre;

constexpr double kSoon = 30;  // seconds: only a failure waits for its end

static_assert(!std::is_copy_constructible_v<RunLoopSource> && !std::has_virtual_destructor_v<RunLoopSource>);

/// Memory that a test gave to sources: the block of a source goes with the last reference to it, the bridge's weak one
/// included.
std::atomic<int> blocks{0};

template <class T>
struct Counting {
    using value_type = T;
    Counting() = default;
    template <class U>
    Counting(const Counting<U>&) {}
    T* allocate(std::size_t n) {
        ++blocks;
        return std::allocator<T>().allocate(n);
    }
    void deallocate(T* p, std::size_t n) {
        --blocks;
        std::allocator<T>().deallocate(p, n);
    }
    bool operator==(const Counting&) const { return true; }
};

std::atomic<int> alive{0};

/// A leaf that counts its calls and runs what a test wants in them.
template <class Leaf>
class Probe final : public Leaf {
  public:
    template <class... Args>
    explicit Probe(Args&&... args) : Leaf(std::forward<Args>(args)...) {
        ++alive;
    }
    ~Probe() { --alive; }
    void callback() override {
        ++calls;
        if (action) action();
    }
    using Leaf::enumerateSubComponents;
    CFRunLoopSourceRef platformSource() const { return this->runLoopSource_.get(); }

    std::atomic<int> calls{0};
    std::function<void()> action;
};

struct TimerProbe final : RunLoopSourceTimer {
    using RunLoopSourceTimer::RunLoopSourceTimer;
    void callback() override {}
    CFRunLoopTimerRef platformTimer() const { return timer_.get(); }
};

template <class Leaf, class... Args>
boost::shared_ptr<Probe<Leaf>> make(Args&&... args) {
    return boost::allocate_shared<Probe<Leaf>>(Counting<Probe<Leaf>>(), std::forward<Args>(args)...);
}

template <class Leaf, class... Args>
boost::shared_ptr<Probe<Leaf>> scheduled(Args&&... args) {
    auto source = make<Leaf>(std::forward<Args>(args)...);
    Leaf::initialize(source);
    source->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
    return source;
}

using Timer = RunLoopSourceTimer;
using Event = RunLoopSourceEventPort;
using Port = RunLoopSourceMachPort;
using Descriptor = RunLoopSourceFileDescriptor;

CFRunLoopRunResult run(double seconds = 0) { return CFRunLoopRunInMode(kCFRunLoopDefaultMode, seconds, true); }

double inTime(double seconds) { return CFAbsoluteTimeGetCurrent() + seconds; }

bool lives(mach_port_t port) { return mach_port_mod_refs(mach_task_self(), port, MACH_PORT_RIGHT_RECEIVE, 0) == 0; }

int countOf(const char* folder) {
    int count = 0;
    DIR* const directory = ::opendir(folder);
    while (::readdir(directory)) ++count;
    ::closedir(directory);
    return count;
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

struct Pipe {
    Pipe() { EXPECT_EQ(::pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0); }
    ~Pipe() {
        ::close(ends[0]);
        ::close(ends[1]);
    }
    void write() const { EXPECT_EQ(::write(ends[1], "x", 1), 1); }
    void read() const {
        char byte;
        EXPECT_EQ(::read(ends[0], &byte, 1), 1);
    }
    int ends[2];
};

class RunLoopSources : public testing::Test {
  protected:
    void TearDown() override {
        EXPECT_EQ(alive, 0);
        EXPECT_EQ(blocks, 0) << "a bridge has outlived its source and the platform's objects";
    }
};

}  // namespace

// ---- Delivery

TEST_F(RunLoopSources, ATimerFiresOnItsDate) {
    const auto timer = scheduled<Timer>(inTime(0.001), 0.0);
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunFinished);
    EXPECT_EQ(timer->calls, 1);
}

TEST_F(RunLoopSources, ATimerWithAnIntervalFiresAgain) {
    const auto timer = scheduled<Timer>(inTime(0), 0.0005);
    timer->action = [&] {
        if (timer->calls == 3) CFRunLoopStop(CFRunLoopGetCurrent());
    };
    EXPECT_EQ(run(kSoon), kCFRunLoopRunStopped);
    EXPECT_EQ(timer->calls, 3);
    EXPECT_TRUE(CFRunLoopTimerDoesRepeat(timer->getTimer()));
}

TEST_F(RunLoopSources, ATimerWithANegativeIntervalFiresOnce) {
    for (const double interval : {-0.0001, -1.0}) {
        const auto timer = scheduled<Timer>(inTime(0), interval);
        EXPECT_FALSE(CFRunLoopTimerDoesRepeat(timer->getTimer()));
        timer->action = [&] {
            if (timer->calls > 1) CFRunLoopStop(CFRunLoopGetCurrent());
        };
        EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunFinished);
        EXPECT_EQ(timer->calls, 1);
        EXPECT_FALSE(CFRunLoopTimerIsValid(timer->getTimer()));
    }
}

TEST_F(RunLoopSources, SignalsOfAnEventPortAreOneCallUntilItCame) {
    const EventPort port(0);
    const auto source = scheduled<Event>(port);
    for (int i = 0; i < 5; ++i) port.signal();
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(run(), kCFRunLoopRunTimedOut);
    EXPECT_EQ(source->calls, 1);
    port.signal();
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(source->calls, 2);
}

TEST_F(RunLoopSources, EachMessageOfAPortIsACall) {
    const MachPort port(0);
    const auto source = scheduled<Port>(port);
    for (int i = 0; i < 3; ++i) ASSERT_EQ(kx_send_notification_msg(port.getPort()), KERN_SUCCESS);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(source->calls, 3);
}

TEST_F(RunLoopSources, TakeTheirPortByNameToo) {
    const EventPort event(0);
    const MachPort port(0);
    const auto first = scheduled<Event>(event.getPort());
    const auto second = scheduled<Port>(port.getPort());
    event.signal();
    kx_send_notification_msg(port.getPort());
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(first->calls, 1);
    EXPECT_EQ(second->calls, 1);
}

TEST_F(RunLoopSources, ADescriptorIsWatchedForWhatItsOwnerEnables) {
    const Pipe pipe;
    const auto source = scheduled<Descriptor>(pipe.ends[0]);
    pipe.write();
    EXPECT_EQ(run(0.001), kCFRunLoopRunTimedOut);
    EXPECT_EQ(source->calls, 0);
    CFFileDescriptorEnableCallBacks(source->getFileDescriptor(), kCFFileDescriptorReadCallBack);
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(run(0.001), kCFRunLoopRunTimedOut);
    EXPECT_EQ(source->calls, 1);
    source->action = [&] { pipe.read(); };
    CFFileDescriptorEnableCallBacks(source->getFileDescriptor(), kCFFileDescriptorReadCallBack);
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(source->calls, 2);
}

TEST_F(RunLoopSources, AreDeliveredInTheirModeUntilUnscheduled) {
    const EventPort port(0);
    auto source = make<Event>(port);
    Event::initialize(source);
    const CFStringRef mode = CFSTR("of their own");
    source->scheduleWithRunLoop(CFRunLoopGetCurrent(), mode, 7);
    port.signal();
    EXPECT_EQ(run(), kCFRunLoopRunFinished);
    EXPECT_EQ(CFRunLoopRunInMode(mode, kSoon, true), kCFRunLoopRunHandledSource);
    source->unscheduleFromRunLoop(CFRunLoopGetCurrent(), mode, -7);
    port.signal();
    EXPECT_EQ(CFRunLoopRunInMode(mode, kSoon, true), kCFRunLoopRunFinished);
    EXPECT_EQ(source->calls, 1);

    const auto timer = scheduled<Timer>(inTime(-1), 0.0);
    timer->unscheduleFromRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
    const Pipe pipe;
    const auto descriptor = scheduled<Descriptor>(pipe.ends[1]);
    CFFileDescriptorEnableCallBacks(descriptor->getFileDescriptor(), kCFFileDescriptorWriteCallBack);
    descriptor->unscheduleFromRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
    const MachPort machPort(0);
    const auto messages = scheduled<Port>(machPort);
    messages->unscheduleFromRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
    EXPECT_EQ(run(), kCFRunLoopRunFinished);
    EXPECT_EQ(timer->calls + descriptor->calls + messages->calls, 0);
}

// ---- Composites

TEST_F(RunLoopSources, ACompositeSchedulesItsPartsAtDepthZero) {
    struct Part final : RunLoopSource {
        explicit Part(std::vector<std::string>& l) : log(l) {}
        void scheduleWithRunLoop(CFRunLoopRef rl, CFStringRef mode, int depth) override {
            EXPECT_EQ(rl, CFRunLoopGetCurrent());
            EXPECT_EQ(mode, kCFRunLoopDefaultMode);
            log.push_back("+" + std::to_string(depth));
        }
        void unscheduleFromRunLoop(CFRunLoopRef rl, CFStringRef mode, int depth) override {
            EXPECT_EQ(rl, CFRunLoopGetCurrent());
            EXPECT_EQ(mode, kCFRunLoopDefaultMode);
            log.push_back("-" + std::to_string(depth));
        }
        std::vector<std::string>& log;
    };
    struct Whole final : RunLoopSource {
        Whole(RunLoopSource* a, RunLoopSource* b, std::vector<std::string>& l) : first(a), second(b), log(l) {}
        void enumerateSubComponents(const Enumerator& enumerator, int depth) override {
            log.push_back("parts at " + std::to_string(depth));
            enumerator.enumerate(first);
            enumerator.enumerate(nullptr);
            enumerator.enumerate(second);
        }
        RunLoopSource *first, *second;
        std::vector<std::string>& log;
    };
    std::vector<std::string> log;
    Part one(log), two(log);
    Whole inner(&two, nullptr, log), whole(&one, &inner, log);
    whole.scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 5);
    EXPECT_THAT(log, ElementsAre("parts at 5", "+0", "parts at 0", "+0"));
    log.clear();
    whole.unscheduleFromRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 6);
    EXPECT_THAT(log, ElementsAre("parts at 6", "-0", "parts at 0", "-0"));
}

TEST_F(RunLoopSources, ALeafHasNoParts) {
    struct Nobody final : RunLoopSource::Enumerator {
        void enumerate(RunLoopSource*) const override { ADD_FAILURE(); }
    };
    make<Timer>(0.0, 0.0)->enumerateSubComponents(Nobody(), 0);
}

// ---- Initialization

TEST_F(RunLoopSources, InitializingTwiceMakesNothingNew) {
    const auto timer = boost::make_shared<TimerProbe>(inTime(1000), 0.0);
    EXPECT_EQ(timer->platformTimer(), nullptr);
    Timer::initialize(timer);
    const CFRunLoopTimerRef made = timer->platformTimer();
    ASSERT_NE(made, nullptr);
    Timer::initialize(timer);
    EXPECT_EQ(timer->platformTimer(), made);
    EXPECT_EQ(CFGetRetainCount(made), 1);

    const EventPort port(0);
    const auto event = make<Event>(port);
    Event::initialize(event);
    const CFMachPortRef object = event->getMachPort();
    ASSERT_NE(object, nullptr);
    EXPECT_EQ(CFMachPortGetPort(object), port.getPort());
    Event::initialize(event);
    EXPECT_EQ(event->getMachPort(), object);

    const MachPort messages(0);
    const auto source = scheduled<Port>(messages);
    ASSERT_NE(source->getMachPort(), nullptr);
    EXPECT_EQ(CFMachPortGetPort(source->getMachPort()), messages.getPort());
    Port::initialize(source);
    kx_send_notification_msg(messages.getPort());
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(source->calls, 1);

    const Pipe pipe;
    const auto descriptor = make<Descriptor>(pipe.ends[0]);
    Descriptor::initialize(descriptor);
    const CFFileDescriptorRef watched = descriptor->getFileDescriptor();
    Descriptor::initialize(descriptor);
    EXPECT_EQ(descriptor->getFileDescriptor(), watched);
    EXPECT_EQ(CFFileDescriptorGetNativeDescriptor(watched), pipe.ends[0]);
}

TEST_F(RunLoopSources, WhatThePlatformRefusesIsAnExceptionAndLeavesTheSourceUninitialized) {
    mach_port_t stale = MACH_PORT_NULL;
    ASSERT_EQ(kx_allocate_notification_port(&stale), KERN_SUCCESS);
    mach_port_deallocate(mach_task_self(), stale);
    for (const mach_port_t port : {MACH_PORT_NULL, MACH_PORT_DEAD, 12345u, stale}) {
        const auto event = make<Event>(port);
        EXPECT_THROW(Event::initialize(event), CFException);
        EXPECT_EQ(event->getMachPort(), nullptr);
        const auto source = make<Port>(port);
        EXPECT_THROW(Port::initialize(source), CFException);
        source->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
    }
    for (const int fd : {-1, 1000000}) {
        const auto descriptor = make<Descriptor>(fd);
        EXPECT_THROW(Descriptor::initialize(descriptor), CFException);
        EXPECT_EQ(descriptor->getFileDescriptor(), nullptr);
    }
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THROW(Timer::initialize(make<Timer>(nan, 0.0)), CFException);
    EXPECT_THROW(Timer::initialize(make<Timer>(0.0, nan)), CFException);
    EXPECT_EQ(run(), kCFRunLoopRunFinished);
}

TEST_F(RunLoopSources, TimersTakeEveryDateAndInterval) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double interval : {0.0, -1.0, -infinity, infinity, 1e-300}) {
        for (const double date : {0.0, -1e300, -infinity}) {
            const auto timer = scheduled<Timer>(date, interval);
            run();
            EXPECT_EQ(timer->calls, 1) << date << " " << interval;
        }
        for (const double date : {1e300, infinity}) {
            const auto timer = scheduled<Timer>(date, interval);
            run();
            EXPECT_EQ(timer->calls, 0) << date << " " << interval;
        }
    }
}

TEST(RunLoopSourceDeathTest, ASecondSourceForAPortEndsTheProcess) {
    const EventPort port(0);
    const auto event = [&] { return boost::make_shared<Probe<Event>>(port); };
    const auto messages = [&] { return boost::make_shared<Probe<Port>>(port.getPort()); };
    const auto first = event();
    Event::initialize(first);
    EXPECT_DEATH(Event::initialize(event()), R"(\]KXCoreLib/RunLoop:179: abort\(\) called)");
    EXPECT_DEATH(Port::initialize(messages()), R"(\]KXCoreLib/RunLoop:261: abort\(\) called)");
}

TEST_F(RunLoopSources, APortMayHaveAnotherSourceAfterTheFirst) {
    const EventPort port(0);
    { scheduled<Event>(port); }
    { scheduled<Port>(port.getPort()); }
    const auto last = scheduled<Event>(port);
    port.signal();
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(last->calls, 1);
}

// ---- Lifetimes

TEST_F(RunLoopSources, NothingKeepsASourceAliveButItsOwners) {
    const EventPort port(0);
    const Pipe pipe;
    {
        const auto timer = scheduled<Timer>(inTime(-1), 0.001);
        const auto event = scheduled<Event>(port);
        const auto descriptor = scheduled<Descriptor>(pipe.ends[1]);
        CFFileDescriptorEnableCallBacks(descriptor->getFileDescriptor(), kCFFileDescriptorWriteCallBack);
        port.signal();
        EXPECT_EQ(timer.use_count(), 1);
        EXPECT_EQ(event.use_count(), 1);
        EXPECT_EQ(descriptor.use_count(), 1);
    }
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(blocks, 0);
    EXPECT_EQ(run(kSoon), kCFRunLoopRunFinished);
}

TEST_F(RunLoopSources, LeaveTheirPortAndDescriptorToTheOwner) {
    const EventPort port(0);
    const Pipe pipe;
    { scheduled<Event>(port); }
    { scheduled<Port>(port.getPort()); }
    { scheduled<Descriptor>(pipe.ends[0]); }
    EXPECT_TRUE(lives(port.getPort()));
    EXPECT_NE(::fcntl(pipe.ends[0], F_GETFD), -1);
}

TEST_F(RunLoopSources, AreOfOrderZero) {
    const EventPort port(0);
    const MachPort messages(0);
    const Pipe pipe;
    EXPECT_EQ(CFRunLoopSourceGetOrder(scheduled<Event>(port)->platformSource()), 0);
    EXPECT_EQ(CFRunLoopSourceGetOrder(scheduled<Port>(messages)->platformSource()), 0);
    EXPECT_EQ(CFRunLoopSourceGetOrder(scheduled<Descriptor>(pipe.ends[0])->platformSource()), 0);
}

TEST_F(RunLoopSources, LeaveThePlatformsObjectsInvalidWhoeverStillHoldsThem) {
    const EventPort port(0);
    const MachPort messages(0);
    const Pipe pipe;
    auto timer = scheduled<Timer>(inTime(1000), 0.0);
    auto event = scheduled<Event>(port);
    auto source = scheduled<Port>(messages);
    auto descriptor = scheduled<Descriptor>(pipe.ends[0]);
    const auto heldTimer = CoreFoundation::RunLoopTimerRef::retain(timer->getTimer());
    const auto heldEvent = CoreFoundation::MachPortRef::retain(event->getMachPort());
    const auto heldPort = CoreFoundation::MachPortRef::retain(source->getMachPort());
    const auto heldDescriptor = CoreFoundation::FileDescriptorRef::retain(descriptor->getFileDescriptor());
    const auto heldSource = CoreFoundation::RunLoopSourceRef::retain(descriptor->platformSource());
    timer.reset();
    event.reset();
    source.reset();
    descriptor.reset();
    EXPECT_FALSE(CFRunLoopTimerIsValid(heldTimer.get()));
    EXPECT_FALSE(CFMachPortIsValid(heldEvent.get()));
    EXPECT_FALSE(CFMachPortIsValid(heldPort.get()));
    EXPECT_FALSE(CFFileDescriptorIsValid(heldDescriptor.get()));
    EXPECT_FALSE(CFRunLoopSourceIsValid(heldSource.get()));
}

TEST_F(RunLoopSources, MayEndInTheirOwnCall) {
    const EventPort port(0);
    const Pipe pipe;
    auto timer = scheduled<Timer>(inTime(-1), 0.001);
    auto event = scheduled<Event>(port);
    auto descriptor = scheduled<Descriptor>(pipe.ends[1]);
    int calls = 0;
    const auto end = [&calls](auto& source) {
        source->action = [&source, &calls] {
            source.reset();  // the one who calls still holds it
            EXPECT_GT(alive, 0);
            ++calls;
        };
    };
    end(timer);
    end(event);
    end(descriptor);
    port.signal();
    CFFileDescriptorEnableCallBacks(descriptor->getFileDescriptor(), kCFFileDescriptorWriteCallBack);
    EXPECT_EQ(CFRunLoopRunInMode(kCFRunLoopDefaultMode, kSoon, false), kCFRunLoopRunFinished);
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(alive, 0);
}

TEST_F(RunLoopSources, AnEventForASourceThatHasEndedIsIgnored) {
    auto source = make<Event>(1u);
    const auto bridge = rl_bridge<RunLoopSourceEventPort>::make_bridge(source);
    call_bridged_source<RunLoopSourceEventPort>(bridge.get());
    EXPECT_EQ(source->calls, 1);
    EXPECT_EQ(source.use_count(), 1);
    source.reset();
    EXPECT_EQ(alive, 0);
    call_bridged_source<RunLoopSourceEventPort>(bridge.get());
    EXPECT_EQ(bridge->lock(), nullptr);
    const auto empty = rl_bridge<RunLoopSourceEventPort>::make_bridge(boost::shared_ptr<RunLoopSourceEventPort>());
    call_bridged_source<RunLoopSourceEventPort>(empty.get());
}

TEST_F(RunLoopSources, BridgesAreCountedByTheContextFunctionsOfEitherSignature) {
    using Bridge = rl_bridge<RunLoopSourceFileDescriptor>;
    auto source = make<Descriptor>(0);
    auto bridge = Bridge::make_bridge(source);
    void* (*retain)(void*) = cf_retain_callback<Bridge>;
    const void* (*retainConst)(const void*) = cf_retain_callback<Bridge>;
    void (*release)(void*) = cf_release_callback<Bridge>;
    void (*releaseConst)(const void*) = cf_release_callback<Bridge>;
    Bridge* const raw = bridge.get();
    EXPECT_EQ(retain(raw), raw);
    EXPECT_EQ(retainConst(raw), raw);
    EXPECT_EQ(cf_retain_callback<Bridge>(raw), raw);
    cf_release_callback<Bridge>(raw);
    bridge.reset();
    source.reset();
    EXPECT_EQ(blocks, 1);
    release(raw);
    EXPECT_EQ(blocks, 1);
    releaseConst(raw);
    EXPECT_EQ(blocks, 0);
}

TEST_F(RunLoopSources, AnExceptionPassesOnAndTheSourceLivesOn) {
    const EventPort port(0);
    const Pipe pipe;
    const auto fail = [] { throw std::runtime_error("from a callback"); };
    const auto timer = scheduled<Timer>(inTime(-1), 1000.0);
    timer->action = fail;
    EXPECT_THROW(run(), std::runtime_error);
    const auto event = scheduled<Event>(port);
    event->action = fail;
    port.signal();
    EXPECT_THROW(run(), std::runtime_error);
    const auto descriptor = scheduled<Descriptor>(pipe.ends[1]);
    descriptor->action = fail;
    CFFileDescriptorEnableCallBacks(descriptor->getFileDescriptor(), kCFFileDescriptorWriteCallBack);
    EXPECT_THROW(run(), std::runtime_error);
    EXPECT_EQ(timer.use_count(), 1);
    EXPECT_EQ(event.use_count(), 1);
    EXPECT_EQ(descriptor.use_count(), 1);
    event->action = nullptr;
    port.signal();
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(event->calls, 2);
}

TEST_F(RunLoopSources, AnExceptionFromASourceThatEndsInItsCallEndsItToo) {
    const EventPort port(0);
    auto event = scheduled<Event>(port);
    event->action = [&event] {
        event.reset();
        throw std::runtime_error("from a callback");
    };
    port.signal();
    EXPECT_THROW(run(kSoon), std::runtime_error);
    EXPECT_EQ(alive, 0);
}

TEST_F(RunLoopSources, EndWithTheirPortGone) {
    auto port = std::make_unique<EventPort>(0);
    const auto event = scheduled<Event>(*port);
    port->signal();
    port.reset();
    EXPECT_EQ(run(kSoon), kCFRunLoopRunFinished);
    EXPECT_EQ(event->calls, 0);
}

// ---- Bound sources

namespace {

int bound = 0;

struct Counter {
    void callback() { ++bound; }
};

struct Callable {
    void operator()() const { bound += 10; }
};

}  // namespace

TEST_F(RunLoopSources, ABoundSourceRunsItsHandler) {
    bound = 0;
    const EventPort port(0);
    const auto event = boost::make_shared<bind_run_loop_source<RunLoopSourceEventPort, Counter>>(port);
    Event::initialize(event);
    event->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
    port.signal();
    EXPECT_EQ(run(kSoon), kCFRunLoopRunHandledSource);
    EXPECT_EQ(bound, 1);
    const auto timer = boost::make_shared<bind_run_loop_source<RunLoopSourceTimer, Callable>>(inTime(-1), 0.0);
    Timer::initialize(timer);
    timer->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
    run();
    EXPECT_EQ(bound, 11);
}

// ---- Many threads

namespace {

/// Runs its loop until the object goes.
class LoopThread {
  public:
    LoopThread()
        : thread_([this] {
              const EventPort port(0);
              const auto keep = scheduled<Event>(port);
              loop_ = static_cast<CFRunLoopRef>(const_cast<void*>(CFRetain(CFRunLoopGetCurrent())));
              while (!done_) CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.01, false);
          }) {
        while (!loop_) std::this_thread::yield();
    }
    ~LoopThread() {
        done_ = true;
        CFRunLoopWakeUp(loop_);
        thread_.join();
        CFRelease(loop_);
    }
    CFRunLoopRef loop() const { return loop_; }

  private:
    std::atomic<CFRunLoopRef> loop_{nullptr};
    std::atomic<bool> done_{false};
    std::thread thread_;
};

}  // namespace

TEST_F(RunLoopSources, EndOnAnyThreadWhileTheirEventsArrive) {
    { const LoopThread warm; }
    const int descriptors = countOf("/proc/self/fd");
    const int threadCount = countOf("/proc/self/task");
    std::atomic<int> calls{0};
    {
        const LoopThread first, second;
        std::vector<std::thread> threads;
        for (int t = 0; t < 3; ++t) {
            threads.emplace_back([&, t] {
                const auto count = [&calls] { ++calls; };
                for (int i = 0; i < 300; ++i) {
                    const CFRunLoopRef loop = (i + t) % 2 ? first.loop() : second.loop();
                    const EventPort port(0);
                    // Closed once nothing watches it any more, wherever the source ends.
                    const auto pipe = std::make_shared<Pipe>();
                    auto timer = make<Timer>(CFAbsoluteTimeGetCurrent(), i % 2 ? 0.00001 : 0.0);
                    auto event = make<Event>(port);
                    const boost::shared_ptr<Probe<Descriptor>> descriptor(
                        new Probe<Descriptor>(pipe->ends[1]), [pipe](Probe<Descriptor>* ended) { delete ended; });
                    timer->action = event->action = descriptor->action = count;
                    Timer::initialize(timer);
                    Event::initialize(event);
                    Descriptor::initialize(descriptor);
                    timer->scheduleWithRunLoop(loop, kCFRunLoopCommonModes, 0);
                    event->scheduleWithRunLoop(first.loop(), kCFRunLoopDefaultMode, 0);
                    event->scheduleWithRunLoop(second.loop(), kCFRunLoopDefaultMode, 0);
                    descriptor->scheduleWithRunLoop(loop, kCFRunLoopDefaultMode, 0);
                    CFFileDescriptorEnableCallBacks(descriptor->getFileDescriptor(), kCFFileDescriptorWriteCallBack);
                    port.signal();
                    if (i % 3 == 0) std::this_thread::yield();
                    if (i % 50 == 0) waitUntil([&] { return event->calls > 0; });  // the others may end unheard
                    if (i % 5 == 0) std::thread([event = std::move(event)]() mutable { event.reset(); }).join();
                }
            });
        }
        for (std::thread& thread : threads) thread.join();
    }
    EXPECT_EQ(countOf("/proc/self/fd"), descriptors);
    waitUntil([&] { return countOf("/proc/self/task") <= threadCount; });  // one that is joined may be on its way out
    EXPECT_GE(calls, 3 * 6);
}

TEST_F(RunLoopSources, EverySignalIsFollowedByACallWhoeverSignals) {
    // Each producer signals and waits until it has been heard: one signal lost and it waits for good.
    const LoopThread runner;
    constexpr int kProducers = 4, kSignals = 2000;
    const EventPort port(0);
    std::atomic<int> posted[kProducers] = {}, heard[kProducers] = {};
    const auto source = make<Event>(port);
    source->action = [&] {
        for (int p = 0; p < kProducers; ++p) heard[p] = posted[p].load();
    };
    Event::initialize(source);
    source->scheduleWithRunLoop(runner.loop(), kCFRunLoopDefaultMode, 0);
    std::vector<std::thread> producers;
    for (int p = 0; p < kProducers; ++p) {
        producers.emplace_back([&, p] {
            for (int i = 1; i <= kSignals && !HasFailure(); ++i) {
                posted[p] = i;
                port.signal();
                waitUntil([&] { return heard[p] >= i; });
            }
        });
    }
    for (std::thread& producer : producers) producer.join();
}

TEST_F(RunLoopSources, TheLastPointerMayGoToAThreadThatRacesWithTheCall) {
    const LoopThread runner;
    for (int i = 0; i < 2000; ++i) {
        const EventPort port(0);
        auto event = make<Event>(port);
        Event::initialize(event);
        event->scheduleWithRunLoop(runner.loop(), kCFRunLoopDefaultMode, 0);
        port.signal();
        if (i % 2) std::this_thread::yield();
        event.reset();
    }
}
