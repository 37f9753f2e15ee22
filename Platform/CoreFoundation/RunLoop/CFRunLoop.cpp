#include "RunLoop.h"

#include "CoreFoundation/String/CFStringObject.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace KXPlatform;

namespace KXPlatform {

bool isCommonModes(CFStringRef name) { return name == kCFRunLoopCommonModes || CFEqual(name, kCFRunLoopCommonModes); }

pid_t currentThread() noexcept {
    static thread_local const pid_t thread = static_cast<pid_t>(::syscall(SYS_gettid));
    return thread;
}

namespace {

constexpr Class kRunLoopClass{TypeID::RunLoop, finalizeAs<__CFRunLoop>, nullptr, nullptr, nullptr};

thread_local __CFRunLoop* loopOfThread = nullptr;

void endLoopOfThread(void* loop) {
    loopOfThread = nullptr;
    static_cast<__CFRunLoop*>(loop)->close();
    CFRelease(loop);
}

/// Its destructor ends the loop of a thread that ends. It is one of pthreads, which calls it again when something that
/// is destroyed after the loop asks for the thread's loop once more.
pthread_key_t loopKey() noexcept {
    static const pthread_key_t key = [] {
        pthread_key_t made{};
        pthread_key_create(&made, endLoopOfThread);
        return made;
    }();
    return key;
}

__CFRunLoop* makeLoop(pid_t thread) { return make<__CFRunLoop>(nullptr, 0, std::make_shared<Waker>(), thread); }

}  // namespace
}  // namespace KXPlatform

__CFRunLoop::__CFRunLoop(std::shared_ptr<Waker> w, pid_t t) noexcept
    : Object(kRunLoopClass), waker(std::move(w)), thread(t) {
    makeMode(kCFRunLoopDefaultMode).isCommon = true;
}

__CFRunLoop::~__CFRunLoop() {
    if (timer >= 0) ::close(timer);
}

bool __CFRunLoop::isCurrent() const noexcept { return thread == currentThread(); }

void __CFRunLoop::noteChange() noexcept {
    if (!isCurrent()) waker->wake();
}

Mode* __CFRunLoop::findMode(CFStringRef name) noexcept {
    for (const auto& mode : modes) {
        if (mode->name.get() == name || CFEqual(mode->name.get(), name)) return mode.get();
    }
    return nullptr;
}

Mode& __CFRunLoop::makeMode(CFStringRef name) {
    if (Mode* const found = findMode(name)) return *found;
    return *modes.emplace_back(std::make_unique<Mode>(name, waker));
}

static constinit const StringConstant defaultModeName("kCFRunLoopDefaultMode");
static constinit const StringConstant commonModesName("kCFRunLoopCommonModes");
const CFRunLoopMode kCFRunLoopDefaultMode = &defaultModeName;
const CFRunLoopMode kCFRunLoopCommonModes = &commonModesName;

CFTypeID CFRunLoopGetTypeID() { return number(TypeID::RunLoop); }

CFRunLoopRef CFRunLoopGetMain() {
    // Never freed: the main thread ends with the process.
    static __CFRunLoop* const main = makeLoop(::getpid());
    return main;
}

CFRunLoopRef CFRunLoopGetCurrent() {
    if (loopOfThread) return loopOfThread;
    if (currentThread() == ::getpid()) return loopOfThread = CFRunLoopGetMain();
    __CFRunLoop* const made = makeLoop(currentThread());
    if (made) {
        loopOfThread = made;
        pthread_setspecific(loopKey(), made);
    }
    return made;
}

CFRunLoopMode CFRunLoopCopyCurrentMode(CFRunLoopRef rl) {
    if (!rl) return nullptr;
    const std::lock_guard lock(rl->mutex);
    return rl->current ? static_cast<CFStringRef>(CFRetain(rl->current->mode.name.get())) : nullptr;
}

CFArrayRef CFRunLoopCopyAllModes(CFRunLoopRef rl) {
    if (!rl) return nullptr;
    const std::lock_guard lock(rl->mutex);
    std::vector<const void*> names;
    for (const auto& mode : rl->modes) names.push_back(mode->name.get());
    return CFArrayCreate(nullptr, names.data(), static_cast<CFIndex>(names.size()), &kCFTypeArrayCallBacks);
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
    return runInMode(*loop, mode, seconds, returnAfterSourceHandled);
}

Boolean CFRunLoopIsWaiting(CFRunLoopRef rl) { return rl && rl->waker->isSleeping(); }

// What ends a loop's run often ends its thread, and with it the loop: once the run can go on, only the waker is
// touched.

void CFRunLoopWakeUp(CFRunLoopRef rl) {
    if (!rl) return;
    const std::shared_ptr<Waker> waker = rl->waker;
    waker->wake();
}

void CFRunLoopStop(CFRunLoopRef rl) {
    if (!rl) return;
    const std::shared_ptr<Waker> waker = rl->isCurrent() ? nullptr : rl->waker;
    {
        const std::lock_guard lock(rl->mutex);
        if (!rl->current) return;
        rl->current->stopped = true;
    }
    if (waker) waker->wake();
}
