#include <KXCoreLib/CoreFoundation/RunLoopSourceRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

template <>
RunLoopSourceRef KXCore::CoreFoundation::sample() {
    CFRunLoopSourceContext context{};
    return RunLoopSourceRef::create(kCFAllocatorDefault, 2, &context);
}
INSTANTIATE_TYPED_TEST_SUITE_P(RunLoopSourceRef, TypedWrapper, RunLoopSourceRef);

FORWARDS(RunLoopSourceRef, getTypeID, CFRunLoopSourceGetTypeID);
FORWARDS(RunLoopSourceRef, create, CFRunLoopSourceCreate);
FORWARDS(RunLoopSourceRef, getOrder, CFRunLoopSourceGetOrder);
FORWARDS(RunLoopSourceRef, invalidate, CFRunLoopSourceInvalidate);
FORWARDS(RunLoopSourceRef, isValid, CFRunLoopSourceIsValid);
FORWARDS(RunLoopSourceRef, getContext, CFRunLoopSourceGetContext);
FORWARDS(RunLoopSourceRef, signal, CFRunLoopSourceSignal);

TEST(RunLoopSourceRef, TellsWhatItIs) {
    CFRunLoopSourceContext context{};
    context.perform = [](void*) {};
    const RunLoopSourceRef source = RunLoopSourceRef::create(kCFAllocatorDefault, 2, &context);
    EXPECT_EQ(source.getOrder(), 2);
    CFRunLoopSourceContext got{};
    source.getContext(&got);
    EXPECT_EQ(got.version, 0);
    EXPECT_NE(got.perform, nullptr);
    EXPECT_TRUE(source.isValid());
    source.invalidate();
    EXPECT_FALSE(source.isValid());
}

TEST(RunLoopSourceRef, IsNotCreatedWithoutAContext) {
    expectFailsToCreate("CFRunLoopSourceCreate", [] { RunLoopSourceRef::create(nullptr, 0, nullptr); });
}
