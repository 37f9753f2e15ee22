#pragma once

#include <KXCoreLib/CoreFoundation/ArrayRef.h>
#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFRunLoop.h>

namespace KXCore::CoreFoundation {

/// The run loop of a thread. Another thread may add and remove what it runs, stop it and wake it; only its own thread
/// runs it, which is why run and runInMode are static. (What takes a block, performBlock, has no operation.)
class KX_EXPORT RunLoopRef : public TypedRef<RunLoopRef, CFRunLoopRef> {
  public:
    static constexpr const char* typeName = "CFRunLoopRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID() { return CFRunLoopGetTypeID(); }

    /// The calling thread's.
    static RunLoopRef getCurrent() { return retain(CFRunLoopGetCurrent()); }
    static RunLoopRef getMain() { return retain(CFRunLoopGetMain()); }
    /// The mode that the loop runs in. Throws when it does not run.
    StringRef copyCurrentMode() const {
        return StringRef::created(CFRunLoopCopyCurrentMode(get()), "CFRunLoopCopyCurrentMode");
    }
    ArrayRef copyAllModes() const { return ArrayRef::created(CFRunLoopCopyAllModes(get()), "CFRunLoopCopyAllModes"); }

    void addCommonMode(CFRunLoopMode mode) const { CFRunLoopAddCommonMode(get(), mode); }
    /// 0 when the mode has no timer.
    CFAbsoluteTime getNextTimerFireDate(CFRunLoopMode mode) const { return CFRunLoopGetNextTimerFireDate(get(), mode); }

    static void run() { CFRunLoopRun(); }
    static CFRunLoopRunResult runInMode(CFRunLoopMode mode, CFTimeInterval seconds, Boolean returnAfterSourceHandled) {
        return CFRunLoopRunInMode(mode, seconds, returnAfterSourceHandled);
    }
    Boolean isWaiting() const { return CFRunLoopIsWaiting(get()); }
    void wakeUp() const { CFRunLoopWakeUp(get()); }
    void stop() const { CFRunLoopStop(get()); }

    Boolean containsSource(CFRunLoopSourceRef source, CFRunLoopMode mode) const {
        return CFRunLoopContainsSource(get(), source, mode);
    }
    void addSource(CFRunLoopSourceRef source, CFRunLoopMode mode) const { CFRunLoopAddSource(get(), source, mode); }
    void removeSource(CFRunLoopSourceRef source, CFRunLoopMode mode) const {
        CFRunLoopRemoveSource(get(), source, mode);
    }
    Boolean containsObserver(CFRunLoopObserverRef observer, CFRunLoopMode mode) const {
        return CFRunLoopContainsObserver(get(), observer, mode);
    }
    void addObserver(CFRunLoopObserverRef observer, CFRunLoopMode mode) const {
        CFRunLoopAddObserver(get(), observer, mode);
    }
    void removeObserver(CFRunLoopObserverRef observer, CFRunLoopMode mode) const {
        CFRunLoopRemoveObserver(get(), observer, mode);
    }
    Boolean containsTimer(CFRunLoopTimerRef timer, CFRunLoopMode mode) const {
        return CFRunLoopContainsTimer(get(), timer, mode);
    }
    void addTimer(CFRunLoopTimerRef timer, CFRunLoopMode mode) const { CFRunLoopAddTimer(get(), timer, mode); }
    void removeTimer(CFRunLoopTimerRef timer, CFRunLoopMode mode) const { CFRunLoopRemoveTimer(get(), timer, mode); }
};
static_assert(isPlainRef<RunLoopRef>);

}  // namespace KXCore::CoreFoundation
