#include <KXCoreLib/CoreFoundation/RunLoopObserverRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

namespace {

RunLoopObserverRef newObserver() {
    return RunLoopObserverRef::create(
        kCFAllocatorDefault, kCFRunLoopEntry, false, 4, [](CFRunLoopObserverRef, CFRunLoopActivity, void*) {}, nullptr);
}

}  // namespace

template <>
RunLoopObserverRef KXCore::CoreFoundation::sample() {
    return newObserver();
}
INSTANTIATE_TYPED_TEST_SUITE_P(RunLoopObserverRef, TypedWrapper, RunLoopObserverRef);

FORWARDS(RunLoopObserverRef, getTypeID, CFRunLoopObserverGetTypeID);
FORWARDS(RunLoopObserverRef, create, CFRunLoopObserverCreate);
FORWARDS(RunLoopObserverRef, getActivities, CFRunLoopObserverGetActivities);
FORWARDS(RunLoopObserverRef, doesRepeat, CFRunLoopObserverDoesRepeat);
FORWARDS(RunLoopObserverRef, getOrder, CFRunLoopObserverGetOrder);
FORWARDS(RunLoopObserverRef, invalidate, CFRunLoopObserverInvalidate);
FORWARDS(RunLoopObserverRef, isValid, CFRunLoopObserverIsValid);
FORWARDS(RunLoopObserverRef, getContext, CFRunLoopObserverGetContext);

TEST(RunLoopObserverRef, TellsWhatItIs) {
    const RunLoopObserverRef observer = newObserver();
    EXPECT_EQ(observer.getActivities(), CFOptionFlags{kCFRunLoopEntry});
    EXPECT_FALSE(observer.doesRepeat());
    EXPECT_EQ(observer.getOrder(), 4);
    CFRunLoopObserverContext got{};
    observer.getContext(&got);
    EXPECT_EQ(got.info, nullptr);
    EXPECT_TRUE(observer.isValid());
    observer.invalidate();
    EXPECT_FALSE(observer.isValid());
}

TEST(RunLoopObserverRef, IsNotCreatedWithAnUnknownContext) {
    CFRunLoopObserverContext context{};
    context.version = 9;
    expectFailsToCreate("CFRunLoopObserverCreate",
                        [&] { RunLoopObserverRef::create(nullptr, 0, false, 0, nullptr, &context); });
}
