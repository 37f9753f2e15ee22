#include <KXCoreLib/CoreFoundation/MachPortRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

namespace {

void take(CFMachPortRef, void*, CFIndex, void*) {}
void end(CFMachPortRef, void*) {}

}  // namespace

template <>
MachPortRef KXCore::CoreFoundation::sample() {
    return MachPortRef::create(kCFAllocatorDefault, take, nullptr, nullptr);
}
INSTANTIATE_TYPED_TEST_SUITE_P(MachPortRef, TypedWrapper, MachPortRef);

FORWARDS(MachPortRef, getTypeID, CFMachPortGetTypeID);
FORWARDS(MachPortRef, create, CFMachPortCreate);
FORWARDS(MachPortRef, createWithPort, CFMachPortCreateWithPort);
FORWARDS(MachPortRef, getPort, CFMachPortGetPort);
FORWARDS(MachPortRef, getContext, CFMachPortGetContext);
FORWARDS(MachPortRef, invalidate, CFMachPortInvalidate);
FORWARDS(MachPortRef, isValid, CFMachPortIsValid);
FORWARDS(MachPortRef, getInvalidationCallBack, CFMachPortGetInvalidationCallBack);
FORWARDS(MachPortRef, setInvalidationCallBack, CFMachPortSetInvalidationCallBack);
FORWARDS(MachPortRef, createRunLoopSource, CFMachPortCreateRunLoopSource);

TEST(MachPortRef, TellsWhatItIs) {
    Boolean shouldFreeInfo = true;
    const MachPortRef port = MachPortRef::create(kCFAllocatorDefault, take, nullptr, &shouldFreeInfo);
    EXPECT_FALSE(shouldFreeInfo);
    EXPECT_NE(port.getPort(), 0u);
    EXPECT_EQ(MachPortRef::createWithPort(kCFAllocatorDefault, port.getPort(), take, nullptr, &shouldFreeInfo), port);
    EXPECT_TRUE(shouldFreeInfo);
    port.setInvalidationCallBack(end);
    EXPECT_EQ(port.getInvalidationCallBack(), end);
    CFMachPortContext got{};
    port.getContext(&got);
    EXPECT_EQ(got.info, nullptr);
    const RunLoopSourceRef source = MachPortRef::createRunLoopSource(kCFAllocatorDefault, port.get(), 0);
    EXPECT_TRUE(source.isValid());
    EXPECT_TRUE(port.isValid());
    port.invalidate();
    EXPECT_FALSE(port.isValid());
    EXPECT_FALSE(source.isValid());
}

TEST(MachPortRef, ReportsWhatItFailsToCreate) {
    CFMachPortContext context{};
    context.version = 9;
    expectFailsToCreate("CFMachPortCreate", [&] { MachPortRef::create(nullptr, take, &context, nullptr); });
    expectFailsToCreate("CFMachPortCreateWithPort",
                        [] { MachPortRef::createWithPort(nullptr, 0, take, nullptr, nullptr); });
    expectFailsToCreate("CFMachPortCreateRunLoopSource", [] { MachPortRef::createRunLoopSource(nullptr, nullptr, 0); });
}
