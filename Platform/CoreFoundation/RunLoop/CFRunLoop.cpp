#include "RunLoop.h"

#include "CoreFoundation/String/CFStringObject.h"

#include <algorithm>
#include <optional>

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace KXPlatform;

namespace KXPlatform {

bool isCommonModes(CFStringRef name) { return name == kCFRunLoopCommonModes || CFEqual(name, kCFRunLoopCommonModes); }

pid_t currentThread() noexcept {
    struct Known {
        pid_t thread = static_cast<pid_t>(::syscall(SYS_gettid));
        ProcessMark mark;
    };
    static thread_local Known known;
    if (known.mark.isInherited()) known = Known();
    return known.thread;
}

namespace {

constexpr Class kRunLoopClass{TypeID::RunLoop, finalizeAs<__CFRunLoop>, nullptr, nullptr, nullptr};

thread_local __CFRunLoop* loopOfThread = nullptr;

void endLoopOfThread(void* loop) {
    loopOfThread = nullptr;
    static_cast<__CFRunLoop*>(loop)->close();
    CFRelease(static_cast<__CFRunLoop*>(loop));
}

/// Its destructor ends the loop of a thread that ends. It is one of pthreads, which calls it again when something that
/// is destroyed after the loop asks for the thread's loop once more. Empty in a process that has no key left.
std::optional<pthread_key_t> loopKey() noexcept {
    static const std::optional<pthread_key_t> key = []() -> std::optional<pthread_key_t> {
        pthread_key_t made{};
        if (::pthread_key_create(&made, endLoopOfThread) != 0) return std::nullopt;
        return made;
    }();
    return key;
}

/// Null when there is no memory.
__CFRunLoop* makeLoop(pid_t thread) noexcept {
    try {
        auto made = Retained<__CFRunLoop>::adopting(make<__CFRunLoop>(nullptr, 0, std::make_shared<Waker>(), thread));
        if (made) made->makeMode(kCFRunLoopDefaultMode).isCommon = true;
        return made.release();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace
}  // namespace KXPlatform

__CFRunLoop::__CFRunLoop(std::shared_ptr<Waker> w, pid_t t) noexcept
    : Object(kRunLoopClass), waker(std::move(w)), thread(t) {}

__CFRunLoop::~__CFRunLoop() {
    // In a forked child the number may stand for another file by now.
    if (isInherited()) timer.release();
}

bool __CFRunLoop::isCurrent() const noexcept { return thread == currentThread(); }

void __CFRunLoop::noteChange() noexcept {
    if (!isCurrent()) waker->wake();
}

static constinit const StringConstant defaultModeName("kCFRunLoopDefaultMode");
static constinit const StringConstant commonModesName("kCFRunLoopCommonModes");
const CFRunLoopMode kCFRunLoopDefaultMode = &defaultModeName;
const CFRunLoopMode kCFRunLoopCommonModes = &commonModesName;

CFTypeID CFRunLoopGetTypeID() { return number(TypeID::RunLoop); }

CFRunLoopRef CFRunLoopGetMain() {
    // Never freed: the main thread ends with the process.
    static constinit std::atomic<__CFRunLoop*> main{nullptr};
    static constinit std::mutex making;
    if (__CFRunLoop* const made = main.load(std::memory_order_acquire)) return made;
    const std::lock_guard lock(making);
    if (!main.load(std::memory_order_relaxed)) main.store(makeLoop(::getpid()), std::memory_order_release);
    return main.load(std::memory_order_relaxed);
}

CFRunLoopRef CFRunLoopGetCurrent() {
    if (loopOfThread) return loopOfThread;
    if (currentThread() == ::getpid()) return loopOfThread = CFRunLoopGetMain();
    const std::optional<pthread_key_t> key = loopKey();
    if (!key) return nullptr;
    auto made = Retained<__CFRunLoop>::adopting(makeLoop(currentThread()));
    if (!made || ::pthread_setspecific(*key, made.get()) != 0) return nullptr;
    return loopOfThread = made.release();
}

CFRunLoopMode CFRunLoopCopyCurrentMode(CFRunLoopRef rl) {
    if (!rl || rl->isInherited()) return nullptr;
    const std::lock_guard lock(rl->mutex);
    return rl->current ? static_cast<CFStringRef>(CFRetain(rl->current->mode.name.get())) : nullptr;
}

CFArrayRef CFRunLoopCopyAllModes(CFRunLoopRef rl) {
    if (!rl || rl->isInherited()) return nullptr;
    try {
        std::vector<const void*> names;
        const std::lock_guard lock(rl->mutex);
        for (const auto& mode : rl->modes) names.push_back(mode->name.get());
        return CFArrayCreate(nullptr, names.data(), static_cast<CFIndex>(names.size()), &kCFTypeArrayCallBacks);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void CFRunLoopRun() {
    constexpr CFTimeInterval kLong = 1e10;
    CFRunLoopRunResult result;
    do {
        result = CFRunLoopRunInMode(kCFRunLoopDefaultMode, kLong, false);
    } while (result != kCFRunLoopRunStopped && result != kCFRunLoopRunFinished);
}

CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds, Boolean returnAfterSourceHandled) {
    __CFRunLoop* const loop = CFRunLoopGetCurrent();
    if (!loop || !mode || isCommonModes(mode)) return kCFRunLoopRunFinished;
    loop->checkProcess();
    return runInMode(*loop, mode, seconds, returnAfterSourceHandled);
}

Boolean CFRunLoopIsWaiting(CFRunLoopRef rl) { return rl && !rl->isInherited() && rl->waker->isSleeping(); }

// What ends a loop's run often ends its thread, and with it the loop: once the run can go on, only the waker is
// touched.

void CFRunLoopWakeUp(CFRunLoopRef rl) {
    if (!rl) return;
    rl->checkProcess();
    const std::shared_ptr<Waker> waker = rl->waker;
    waker->wake();
}

void CFRunLoopStop(CFRunLoopRef rl) {
    if (!rl) return;
    rl->checkProcess();
    const std::shared_ptr<Waker> waker = rl->isCurrent() ? nullptr : rl->waker;
    {
        const std::lock_guard lock(rl->mutex);
        if (!rl->current) return;
        rl->current->stopped = true;
    }
    if (waker) waker->wake();
}
