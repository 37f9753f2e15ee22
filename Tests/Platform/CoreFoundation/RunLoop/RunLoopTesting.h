#pragma once

// What tests of run loops share: items that note their calls, a thread that runs its loop, waiting with a bound.

#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <condition_variable>
#include <functional>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace RunLoopTesting {

inline constexpr double kSoon = 30;  // seconds: long enough that only a failure waits for its end
inline const double kInfinity = std::numeric_limits<double>::infinity();
inline const double kNaN = std::numeric_limits<double>::quiet_NaN();

inline void invalidate(CFRunLoopSourceRef source) { CFRunLoopSourceInvalidate(source); }
inline void invalidate(CFRunLoopTimerRef timer) { CFRunLoopTimerInvalidate(timer); }
inline void invalidate(CFRunLoopObserverRef observer) { CFRunLoopObserverInvalidate(observer); }
inline void invalidate(CFTypeRef) {}

/// An owned reference. What a loop may hold is invalidated with it, since its info ends with the test.
template <class Ref>
struct Own {
    explicit Own(Ref r) : ref(r) {}
    ~Own() { reset(); }
    Own(const Own&) = delete;
    operator Ref() const { return ref; }
    void reset() {
        if (!ref) return;
        invalidate(ref);
        CFRelease(ref);
        ref = nullptr;
    }
    Ref ref;
};

/// What a source, timer or observer does, and how often it did; counts the references that its context holds.
struct Action {
    std::function<void()> run;
    std::atomic<int> calls{0};
    std::atomic<int> held{0};

    void call() {
        ++calls;
        if (run) run();
    }
    static Action* of(const void* info) { return static_cast<Action*>(const_cast<void*>(info)); }
    static const void* retain(const void* info) {
        ++of(info)->held;
        return info;
    }
    static void release(const void* info) { --of(info)->held; }
    static void perform(void* info) { of(info)->call(); }
    static void fire(CFRunLoopTimerRef, void* info) { of(info)->call(); }
    static void observe(CFRunLoopObserverRef, CFRunLoopActivity, void* info) { of(info)->call(); }
};

inline CFRunLoopSourceRef newSource(Action& action, CFIndex order = 0) {
    CFRunLoopSourceContext context{};
    context.info = &action;
    context.retain = Action::retain;
    context.release = Action::release;
    context.perform = Action::perform;
    return CFRunLoopSourceCreate(nullptr, order, &context);
}

inline CFRunLoopTimerRef newTimer(Action& action, double delay, double interval = 0) {
    CFRunLoopTimerContext context{0, &action, Action::retain, Action::release, nullptr};
    return CFRunLoopTimerCreate(nullptr, CFAbsoluteTimeGetCurrent() + delay, interval, 0, 0, Action::fire, &context);
}

inline CFRunLoopObserverRef newObserver(Action& action, CFOptionFlags activities, bool repeats = true,
                                        CFIndex order = 0) {
    CFRunLoopObserverContext context{0, &action, Action::retain, Action::release, nullptr};
    return CFRunLoopObserverCreate(nullptr, activities, repeats, order, Action::observe, &context);
}

inline CFRunLoopRunResult runOnce(CFStringRef mode = kCFRunLoopDefaultMode) {
    return CFRunLoopRunInMode(mode, 0, false);
}

/// Waits for something with a bound.
class Gate {
  public:
    void open() {
        const std::lock_guard lock(mutex_);
        open_ = true;
        condition_.notify_all();
    }
    bool wait() {
        std::unique_lock lock(mutex_);
        return condition_.wait_for(lock, std::chrono::seconds(60), [&] { return open_; });
    }

  private:
    std::mutex mutex_;
    std::condition_variable condition_;
    bool open_ = false;
};

/// A thread that runs its loop, kept alive by a source of its own, until the object goes.
class LoopThread {
  public:
    LoopThread() {
        thread_ = std::thread([this] {
            loop = CFRunLoopGetCurrent();
            CFRetain(loop);
            Action idle;
            Own keep(newSource(idle));
            CFRunLoopAddSource(loop, keep, kCFRunLoopDefaultMode);
            Action ready;
            ready.run = [this] { ready_.open(); };
            Own first(newTimer(ready, 0));
            CFRunLoopAddTimer(loop, first, kCFRunLoopDefaultMode);
            while (!ended_) CFRunLoopRun();
        });
        EXPECT_TRUE(ready_.wait());
    }
    ~LoopThread() {
        end();
        CFRelease(loop);
    }
    void end() {
        if (!thread_.joinable()) return;
        ended_ = true;
        // The loop may stand between two runs, where a stop has no effect.
        Action stop;
        stop.run = [this] { CFRunLoopStop(loop); };
        Own timer(newTimer(stop, 0, 0.01));
        CFRunLoopAddTimer(loop, timer, kCFRunLoopDefaultMode);
        thread_.join();
        CFRunLoopTimerInvalidate(timer);
    }
    CFRunLoopRef loop = nullptr;

  private:
    Gate ready_;
    std::atomic<bool> ended_{false};
    std::thread thread_;
};

/// Runs a test's body on a thread with a loop of its own.
inline void onOwnLoop(const std::function<void()>& body) { std::thread(body).join(); }

}  // namespace RunLoopTesting
