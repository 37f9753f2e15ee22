#include <KXCoreLib/CoreFoundation/RunLoopRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID RunLoopRef::getTypeID() { return CFRunLoopGetTypeID(); }
RunLoopRef RunLoopRef::getCurrent() { return retain(CFRunLoopGetCurrent()); }
RunLoopRef RunLoopRef::getMain() { return retain(CFRunLoopGetMain()); }
StringRef RunLoopRef::copyCurrentMode() const { return KX_CREATE(StringRef, CFRunLoopCopyCurrentMode)(get()); }
ArrayRef RunLoopRef::copyAllModes() const { return KX_CREATE(ArrayRef, CFRunLoopCopyAllModes)(get()); }
void RunLoopRef::addCommonMode(CFRunLoopMode mode) const { CFRunLoopAddCommonMode(get(), mode); }

CFAbsoluteTime RunLoopRef::getNextTimerFireDate(CFRunLoopMode mode) const {
    return CFRunLoopGetNextTimerFireDate(get(), mode);
}

void RunLoopRef::run() { CFRunLoopRun(); }

CFRunLoopRunResult RunLoopRef::runInMode(CFRunLoopMode mode, CFTimeInterval seconds, Boolean returnAfterSourceHandled) {
    return CFRunLoopRunInMode(mode, seconds, returnAfterSourceHandled);
}

Boolean RunLoopRef::isWaiting() const { return CFRunLoopIsWaiting(get()); }
void RunLoopRef::wakeUp() const { CFRunLoopWakeUp(get()); }
void RunLoopRef::stop() const { CFRunLoopStop(get()); }

Boolean RunLoopRef::containsSource(CFRunLoopSourceRef source, CFRunLoopMode mode) const {
    return CFRunLoopContainsSource(get(), source, mode);
}

void RunLoopRef::addSource(CFRunLoopSourceRef source, CFRunLoopMode mode) const {
    CFRunLoopAddSource(get(), source, mode);
}

void RunLoopRef::removeSource(CFRunLoopSourceRef source, CFRunLoopMode mode) const {
    CFRunLoopRemoveSource(get(), source, mode);
}

Boolean RunLoopRef::containsObserver(CFRunLoopObserverRef observer, CFRunLoopMode mode) const {
    return CFRunLoopContainsObserver(get(), observer, mode);
}

void RunLoopRef::addObserver(CFRunLoopObserverRef observer, CFRunLoopMode mode) const {
    CFRunLoopAddObserver(get(), observer, mode);
}

void RunLoopRef::removeObserver(CFRunLoopObserverRef observer, CFRunLoopMode mode) const {
    CFRunLoopRemoveObserver(get(), observer, mode);
}

Boolean RunLoopRef::containsTimer(CFRunLoopTimerRef timer, CFRunLoopMode mode) const {
    return CFRunLoopContainsTimer(get(), timer, mode);
}

void RunLoopRef::addTimer(CFRunLoopTimerRef timer, CFRunLoopMode mode) const { CFRunLoopAddTimer(get(), timer, mode); }

void RunLoopRef::removeTimer(CFRunLoopTimerRef timer, CFRunLoopMode mode) const {
    CFRunLoopRemoveTimer(get(), timer, mode);
}

}  // namespace KXCore::CoreFoundation
