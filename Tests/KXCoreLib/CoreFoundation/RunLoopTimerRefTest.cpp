#include <KXCoreLib/CoreFoundation/RunLoopTimerRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

namespace {

RunLoopTimerRef newTimer(CFAbsoluteTime date, CFTimeInterval interval) {
    return RunLoopTimerRef::create(
        kCFAllocatorDefault, date, interval, 0, 3, [](CFRunLoopTimerRef, void*) {}, nullptr);
}

}  // namespace

template <>
RunLoopTimerRef KXCore::CoreFoundation::sample() {
    return newTimer(0, 0);
}
INSTANTIATE_TYPED_TEST_SUITE_P(RunLoopTimerRef, TypedWrapper, RunLoopTimerRef);

FORWARDS(RunLoopTimerRef, getTypeID, CFRunLoopTimerGetTypeID);
FORWARDS(RunLoopTimerRef, create, CFRunLoopTimerCreate);
FORWARDS(RunLoopTimerRef, getNextFireDate, CFRunLoopTimerGetNextFireDate);
FORWARDS(RunLoopTimerRef, setNextFireDate, CFRunLoopTimerSetNextFireDate);
FORWARDS(RunLoopTimerRef, getInterval, CFRunLoopTimerGetInterval);
FORWARDS(RunLoopTimerRef, doesRepeat, CFRunLoopTimerDoesRepeat);
FORWARDS(RunLoopTimerRef, getOrder, CFRunLoopTimerGetOrder);
FORWARDS(RunLoopTimerRef, invalidate, CFRunLoopTimerInvalidate);
FORWARDS(RunLoopTimerRef, isValid, CFRunLoopTimerIsValid);
FORWARDS(RunLoopTimerRef, getContext, CFRunLoopTimerGetContext);
FORWARDS(RunLoopTimerRef, getTolerance, CFRunLoopTimerGetTolerance);
FORWARDS(RunLoopTimerRef, setTolerance, CFRunLoopTimerSetTolerance);

TEST(RunLoopTimerRef, TellsWhatItIs) {
    const RunLoopTimerRef timer = newTimer(100, 5);
    EXPECT_EQ(timer.getNextFireDate(), 100);
    timer.setNextFireDate(200);
    EXPECT_EQ(timer.getNextFireDate(), 200);
    EXPECT_EQ(timer.getInterval(), 5);
    EXPECT_TRUE(timer.doesRepeat());
    EXPECT_EQ(timer.getOrder(), 3);
    timer.setTolerance(0.5);
    EXPECT_EQ(timer.getTolerance(), 0.5);
    CFRunLoopTimerContext got{};
    timer.getContext(&got);
    EXPECT_EQ(got.info, nullptr);
    timer.invalidate();
    EXPECT_FALSE(timer.isValid());
}

TEST(RunLoopTimerRef, IsNotCreatedWithAnUnknownContext) {
    CFRunLoopTimerContext context{};
    context.version = 9;
    expectFailsToCreate("CFRunLoopTimerCreate",
                        [&] { RunLoopTimerRef::create(nullptr, 0, 0, 0, 0, nullptr, &context); });
}
