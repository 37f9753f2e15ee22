#include <KXCoreLib/CoreFoundation/RunLoopObserverRef.h>
#include <KXCoreLib/CoreFoundation/RunLoopRef.h>
#include <KXCoreLib/CoreFoundation/RunLoopSourceRef.h>
#include <KXCoreLib/CoreFoundation/RunLoopTimerRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

namespace {

RunLoopSourceRef newSource(void (*perform)(void*)) {
    CFRunLoopSourceContext context{};
    context.perform = perform;
    return RunLoopSourceRef::create(kCFAllocatorDefault, 0, &context);
}

RunLoopObserverRef newObserver() {
    return RunLoopObserverRef::create(
        kCFAllocatorDefault, kCFRunLoopEntry, false, 4, [](CFRunLoopObserverRef, CFRunLoopActivity, void*) {}, nullptr);
}

}  // namespace

template <>
RunLoopRef KXCore::CoreFoundation::sample() {
    return RunLoopRef::getCurrent();
}
INSTANTIATE_TYPED_TEST_SUITE_P(RunLoopRef, TypedWrapper, RunLoopRef);

FORWARDS(RunLoopRef, getTypeID, CFRunLoopGetTypeID);
FORWARDS(RunLoopRef, getCurrent, CFRunLoopGetCurrent);
FORWARDS(RunLoopRef, getMain, CFRunLoopGetMain);
FORWARDS(RunLoopRef, copyCurrentMode, CFRunLoopCopyCurrentMode);
FORWARDS(RunLoopRef, copyAllModes, CFRunLoopCopyAllModes);
FORWARDS(RunLoopRef, addCommonMode, CFRunLoopAddCommonMode);
FORWARDS(RunLoopRef, getNextTimerFireDate, CFRunLoopGetNextTimerFireDate);
FORWARDS(RunLoopRef, run, CFRunLoopRun);
FORWARDS(RunLoopRef, runInMode, CFRunLoopRunInMode);
FORWARDS(RunLoopRef, isWaiting, CFRunLoopIsWaiting);
FORWARDS(RunLoopRef, wakeUp, CFRunLoopWakeUp);
FORWARDS(RunLoopRef, stop, CFRunLoopStop);
FORWARDS(RunLoopRef, containsSource, CFRunLoopContainsSource);
FORWARDS(RunLoopRef, addSource, CFRunLoopAddSource);
FORWARDS(RunLoopRef, removeSource, CFRunLoopRemoveSource);
FORWARDS(RunLoopRef, containsObserver, CFRunLoopContainsObserver);
FORWARDS(RunLoopRef, addObserver, CFRunLoopAddObserver);
FORWARDS(RunLoopRef, removeObserver, CFRunLoopRemoveObserver);
FORWARDS(RunLoopRef, containsTimer, CFRunLoopContainsTimer);
FORWARDS(RunLoopRef, addTimer, CFRunLoopAddTimer);
FORWARDS(RunLoopRef, removeTimer, CFRunLoopRemoveTimer);

TEST(RunLoopRef, HoldsRunsAndStops) {
    const RunLoopRef loop = RunLoopRef::getCurrent();
    EXPECT_EQ(loop, RunLoopRef::getMain());
    const CFStringRef mode = kCFRunLoopDefaultMode;
    const RunLoopSourceRef source = newSource([](void*) {});
    const RunLoopTimerRef timer = RunLoopTimerRef::create(
        kCFAllocatorDefault, 1e10, 0, 0, 0, [](CFRunLoopTimerRef, void*) {}, nullptr);
    const RunLoopObserverRef observer = newObserver();
    loop.addSource(source.get(), mode);
    loop.addTimer(timer.get(), mode);
    loop.addObserver(observer.get(), mode);
    EXPECT_TRUE(loop.containsSource(source.get(), mode));
    EXPECT_TRUE(loop.containsTimer(timer.get(), mode));
    EXPECT_TRUE(loop.containsObserver(observer.get(), mode));
    EXPECT_EQ(loop.getNextTimerFireDate(mode), 1e10);
    source.signal();
    loop.wakeUp();
    EXPECT_FALSE(loop.isWaiting());
    EXPECT_EQ(RunLoopRef::runInMode(mode, 60, true), kCFRunLoopRunHandledSource);
    EXPECT_FALSE(observer.isValid());
    loop.removeSource(source.get(), mode);
    loop.removeTimer(timer.get(), mode);
    EXPECT_FALSE(loop.containsSource(source.get(), mode));
    EXPECT_FALSE(loop.containsTimer(timer.get(), mode));
    const RunLoopObserverRef another = newObserver();
    loop.addObserver(another.get(), mode);
    loop.removeObserver(another.get(), mode);
    EXPECT_FALSE(loop.containsObserver(another.get(), mode));
    RunLoopRef::run();  // nothing is left to wait for
    loop.stop();
}

TEST(RunLoopRef, GetsACommonMode) {
    const RunLoopRef loop = RunLoopRef::getCurrent();
    const CFIndex before = loop.copyAllModes().getCount();
    loop.addCommonMode(CFSTR("a common mode"));
    EXPECT_EQ(loop.copyAllModes().getCount(), before + 1);
}

TEST(RunLoopRef, TellsItsModeWhileItRuns) {
    const RunLoopSourceRef source = newSource([](void*) {
        EXPECT_EQ(RunLoopRef::getCurrent().copyCurrentMode().copyStdString(), "a mode");
        RunLoopRef::getCurrent().stop();
    });
    RunLoopRef::getCurrent().addSource(source.get(), CFSTR("a mode"));
    source.signal();
    EXPECT_EQ(RunLoopRef::runInMode(CFSTR("a mode"), 60, false), kCFRunLoopRunStopped);
    source.invalidate();
}

TEST(RunLoopRef, HasNoModeWhileItDoesNotRun) {
    expectFailsToCreate("CFRunLoopCopyCurrentMode", [] { RunLoopRef::getCurrent().copyCurrentMode(); });
}
