#pragma once

#include <KXCoreLib/CoreFoundation/ArrayRef.h>
#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFRunLoop.h>

namespace KXCore::CoreFoundation {

/// The run loop of a thread. Another thread may add and remove what it runs, stop it and wake it; only its own thread
/// runs it, which is why run and runInMode are static.
class KX_EXPORT RunLoopRef : public TypedRef<RunLoopRef, CFRunLoopRef> {
  public:
    static constexpr const char* typeName = "CFRunLoopRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// The calling thread's.
    static RunLoopRef getCurrent();
    static RunLoopRef getMain();
    /// The mode that the loop runs in. Throws when it does not run.
    StringRef copyCurrentMode() const;
    ArrayRef copyAllModes() const;

    void addCommonMode(CFRunLoopMode mode) const;
    /// 0 when the mode has no timer.
    CFAbsoluteTime getNextTimerFireDate(CFRunLoopMode mode) const;

    static void run();
    static CFRunLoopRunResult runInMode(CFRunLoopMode mode, CFTimeInterval seconds, Boolean returnAfterSourceHandled);
    Boolean isWaiting() const;
    void wakeUp() const;
    void stop() const;

    Boolean containsSource(CFRunLoopSourceRef source, CFRunLoopMode mode) const;
    void addSource(CFRunLoopSourceRef source, CFRunLoopMode mode) const;
    void removeSource(CFRunLoopSourceRef source, CFRunLoopMode mode) const;
    Boolean containsObserver(CFRunLoopObserverRef observer, CFRunLoopMode mode) const;
    void addObserver(CFRunLoopObserverRef observer, CFRunLoopMode mode) const;
    void removeObserver(CFRunLoopObserverRef observer, CFRunLoopMode mode) const;
    Boolean containsTimer(CFRunLoopTimerRef timer, CFRunLoopMode mode) const;
    void addTimer(CFRunLoopTimerRef timer, CFRunLoopMode mode) const;
    void removeTimer(CFRunLoopTimerRef timer, CFRunLoopMode mode) const;
};
static_assert(isPlainRef<RunLoopRef>);

}  // namespace KXCore::CoreFoundation
