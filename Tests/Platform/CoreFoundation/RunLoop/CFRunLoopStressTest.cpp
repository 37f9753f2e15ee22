// Loops, and threads that do anything to them at any moment: items come, go, are moved, signalled and invalidated while
// they fire, and loops end under all of it.

#include "RunLoopTesting.h"

#include <mach/mach.h>

#include <array>
#include <memory>
#include <random>

#include <sys/eventfd.h>
#include <unistd.h>

using namespace RunLoopTesting;

namespace {

constexpr std::size_t kLoops = 3;
constexpr std::size_t kItems = 12;
constexpr int kThreads = 3;
constexpr int kOperations = 5000;

std::array<CFStringRef, 5> modes() {
    return {kCFRunLoopDefaultMode, kCFRunLoopCommonModes, CFSTR("first"), CFSTR("second"), CFSTR("common too")};
}

/// What the callbacks of an item are given; dead memory here is found by the sanitizers.
struct Info {
    std::atomic<int> held{0};
    std::atomic<int> calls{0};

    static Info& of(const void* info) { return *static_cast<Info*>(const_cast<void*>(info)); }
    static const void* retain(const void* info) {
        ++of(info).held;
        return info;
    }
    static void release(const void* info) { --of(info).held; }
    static void* retainMutable(void* info) { return const_cast<void*>(retain(info)); }
    static void releaseMutable(void* info) { release(info); }
    static void call(const void* info) {
        EXPECT_GT(of(info).held, 0);
        ++of(info).calls;
    }
};

/// Something that loops hold, one of each kind.
class Item {
  public:
    explicit Item(Info& info) {
        CFRunLoopSourceContext context{};
        context.info = &info;
        context.retain = Info::retain;
        context.release = Info::release;
        context.schedule = [](void* i, CFRunLoopRef, CFRunLoopMode) { Info::call(i); };
        context.cancel = [](void* i, CFRunLoopRef, CFRunLoopMode) { Info::call(i); };
        context.perform = [](void* i) { Info::call(i); };
        source_ = CFRunLoopSourceCreate(nullptr, 0, &context);

        CFRunLoopTimerContext timerContext{0, &info, Info::retain, Info::release, nullptr};
        const auto fire = [](CFRunLoopTimerRef timer, void* i) {
            Info::call(i);
            if (Info::of(i).calls % 7 == 0) CFRunLoopTimerInvalidate(timer);
            if (Info::of(i).calls % 5 == 0) CFRunLoopTimerSetNextFireDate(timer, CFAbsoluteTimeGetCurrent());
        };
        once_ = CFRunLoopTimerCreate(nullptr, CFAbsoluteTimeGetCurrent() + 0.0002, 0, 0, 0, fire, &timerContext);
        repeating_ = CFRunLoopTimerCreate(nullptr, CFAbsoluteTimeGetCurrent(), 0.0001, 0, 0, fire, &timerContext);

        CFRunLoopObserverContext observerContext{0, &info, Info::retain, Info::release, nullptr};
        observer_ = CFRunLoopObserverCreate(
            nullptr, kCFRunLoopAllActivities, true, 0,
            [](CFRunLoopObserverRef, CFRunLoopActivity, void* i) { Info::call(i); }, &observerContext);

        CFMachPortContext portContext{0, &info, Info::retain, Info::release, nullptr};
        port_ = CFMachPortCreate(
            nullptr, [](CFMachPortRef, void*, CFIndex, void* i) { Info::call(i); }, &portContext, nullptr);
        portSource_ = CFMachPortCreateRunLoopSource(nullptr, port_, 0);

        CFFileDescriptorContext descriptorContext{0, &info, Info::retainMutable, Info::releaseMutable, nullptr};
        descriptor_ = CFFileDescriptorCreate(
            nullptr, ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), true,
            [](CFFileDescriptorRef f, CFOptionFlags, void* i) {
                Info::call(i);
                EXPECT_GE(::write(CFFileDescriptorGetNativeDescriptor(f), &kOne, sizeof kOne), 0);
                CFFileDescriptorEnableCallBacks(f, kCFFileDescriptorReadCallBack);
            },
            &descriptorContext);
        descriptorSource_ = CFFileDescriptorCreateRunLoopSource(nullptr, descriptor_, 0);
    }
    ~Item() {
        invalidate();
        // The loops that ended or were emptied have let go of everything.
        for (const CFTypeRef object : std::initializer_list<CFTypeRef>{source_, once_, repeating_, observer_, port_,
                                                                       portSource_, descriptor_, descriptorSource_}) {
            CFRelease(object);
        }
    }
    Item(const Item&) = delete;

    void invalidate() {
        CFRunLoopSourceInvalidate(source_);
        CFRunLoopTimerInvalidate(once_);
        CFRunLoopTimerInvalidate(repeating_);
        CFRunLoopObserverInvalidate(observer_);
        CFMachPortInvalidate(port_);
        CFFileDescriptorInvalidate(descriptor_);
    }

    void operate(std::mt19937& random, CFRunLoopRef loop) {
        const CFStringRef mode = modes()[random() % modes().size()];
        const CFRunLoopSourceRef sources[] = {source_, portSource_, descriptorSource_};
        const CFRunLoopSourceRef source = sources[random() % 3];
        const CFRunLoopTimerRef timer = random() % 2 ? once_ : repeating_;
        switch (random() % 16) {
            case 0:
            case 1:
            case 2:
                return CFRunLoopAddSource(loop, source, mode);
            case 3:
            case 4:
                return CFRunLoopAddTimer(loop, timer, mode);
            case 5:
                return CFRunLoopAddObserver(loop, observer_, mode);
            case 6:
                return CFRunLoopRemoveSource(loop, source, mode);
            case 7:
                return CFRunLoopRemoveTimer(loop, timer, mode);
            case 8:
                return CFRunLoopRemoveObserver(loop, observer_, mode);
            case 9:
                CFRunLoopSourceSignal(source_);
                return CFRunLoopWakeUp(loop);
            case 10:
                return CFRunLoopTimerSetNextFireDate(
                    timer, CFAbsoluteTimeGetCurrent() + 1e-5 * static_cast<double>(random() % 10));
            case 11:
                return CFRunLoopTimerSetTolerance(timer, 1e-5 * static_cast<double>(random() % 10));
            case 12: {
                mach_msg_header_t message{MACH_MSG_TYPE_MAKE_SEND, 24, CFMachPortGetPort(port_), 0, 0, 0};
                mach_msg(&message, MACH_SEND_MSG | MACH_SEND_TIMEOUT, 24, 0, 0, 0, 0);
                return;
            }
            case 13:
                return CFFileDescriptorEnableCallBacks(
                    descriptor_, random() % 2 ? kCFFileDescriptorReadCallBack : kCFFileDescriptorWriteCallBack);
            case 14:
                CFRunLoopContainsSource(loop, source, mode);
                CFRunLoopGetNextTimerFireDate(loop, mode);
                return CFRunLoopAddCommonMode(loop, CFSTR("common too"));
            default:
                if (random() % 8 == 0) invalidate();
                return CFRunLoopStop(loop);
        }
    }

  private:
    static constexpr std::uint64_t kOne = 1;

    CFRunLoopSourceRef source_ = nullptr;
    CFRunLoopTimerRef once_ = nullptr;
    CFRunLoopTimerRef repeating_ = nullptr;
    CFRunLoopObserverRef observer_ = nullptr;
    CFMachPortRef port_ = nullptr;
    CFRunLoopSourceRef portSource_ = nullptr;
    CFFileDescriptorRef descriptor_ = nullptr;
    CFRunLoopSourceRef descriptorSource_ = nullptr;
};

/// A place whose content any thread may use or replace.
template <class T>
class Shared {
  public:
    std::shared_ptr<T> get() const {
        const std::lock_guard lock(mutex_);
        return content_;
    }
    void set(std::shared_ptr<T> content) {
        const std::lock_guard lock(mutex_);
        content_.swap(content);
    }

  private:
    mutable std::mutex mutex_;
    std::shared_ptr<T> content_;
};

std::shared_ptr<__CFRunLoop> currentLoop() {
    const CFRunLoopRef loop = CFRunLoopGetCurrent();
    CFRetain(loop);
    return {loop, CFRelease};
}

}  // namespace

TEST(CFRunLoopStress, AnythingMayHappenToALoopAtAnyMoment) {
    Info info;
    {
        std::array<Shared<__CFRunLoop>, kLoops> loops;
        std::array<Shared<Item>, kItems> items;
        for (auto& item : items) item.set(std::make_shared<Item>(info));
        std::atomic<bool> done{false};
        std::vector<std::thread> runners;
        std::atomic<std::size_t> ready{0};
        for (std::size_t i = 0; i < kLoops; ++i) {
            runners.emplace_back([&, i] {
                // A thread after the other, each of which ends with what its loop holds then.
                for (int life = 0; !done; ++life) {
                    std::thread([&] {
                        loops[i].set(currentLoop());
                        if (life == 0) ++ready;
                        for (int run = 0; run < 20 && !done; ++run) {
                            const CFStringRef mode = run % 3 ? kCFRunLoopDefaultMode : CFSTR("first");
                            if (CFRunLoopRunInMode(mode, 0.0005, run % 2 == 0) == kCFRunLoopRunFinished) {
                                std::this_thread::yield();
                            }
                        }
                    }).join();
                }
            });
        }
        while (ready < kLoops) std::this_thread::yield();
        std::vector<std::thread> users;
        for (int t = 0; t < kThreads; ++t) {
            users.emplace_back([&, t] {
                std::mt19937 random(static_cast<unsigned>(t));
                for (int i = 0; i < kOperations; ++i) {
                    Shared<Item>& item = items[random() % kItems];
                    item.get()->operate(random, loops[random() % kLoops].get().get());
                    if (random() % 32 == 0) item.set(std::make_shared<Item>(info));
                }
            });
        }
        for (std::thread& user : users) user.join();
        done = true;
        for (std::thread& runner : runners) runner.join();
        EXPECT_GT(info.calls, 0);
    }
    EXPECT_EQ(info.held, 0);
}
