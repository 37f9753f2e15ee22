#include <KXCoreLib/CoreFoundation/FileDescriptorRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

#include <unistd.h>

using namespace KXCore::CoreFoundation;

template <>
FileDescriptorRef KXCore::CoreFoundation::sample() {
    return FileDescriptorRef::create(kCFAllocatorDefault, 0, false, nullptr, nullptr);
}
INSTANTIATE_TYPED_TEST_SUITE_P(FileDescriptorRef, TypedWrapper, FileDescriptorRef);

FORWARDS(FileDescriptorRef, getTypeID, CFFileDescriptorGetTypeID);
FORWARDS(FileDescriptorRef, create, CFFileDescriptorCreate);
FORWARDS(FileDescriptorRef, getNativeDescriptor, CFFileDescriptorGetNativeDescriptor);
FORWARDS(FileDescriptorRef, getContext, CFFileDescriptorGetContext);
FORWARDS(FileDescriptorRef, enableCallBacks, CFFileDescriptorEnableCallBacks);
FORWARDS(FileDescriptorRef, disableCallBacks, CFFileDescriptorDisableCallBacks);
FORWARDS(FileDescriptorRef, invalidate, CFFileDescriptorInvalidate);
FORWARDS(FileDescriptorRef, isValid, CFFileDescriptorIsValid);
FORWARDS(FileDescriptorRef, createRunLoopSource, CFFileDescriptorCreateRunLoopSource);

TEST(FileDescriptorRef, TellsWhatItIsAndClosesItsDescriptor) {
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const FileDescriptorRef descriptor =
        FileDescriptorRef::create(kCFAllocatorDefault, ends[1], true, nullptr, nullptr);
    EXPECT_EQ(descriptor.getNativeDescriptor(), ends[1]);
    const RunLoopSourceRef source = FileDescriptorRef::createRunLoopSource(kCFAllocatorDefault, descriptor.get(), 0);
    EXPECT_TRUE(source.isValid());
    descriptor.enableCallBacks(kCFFileDescriptorWriteCallBack);
    descriptor.disableCallBacks(kCFFileDescriptorWriteCallBack);
    CFFileDescriptorContext got{};
    descriptor.getContext(&got);
    EXPECT_EQ(got.info, nullptr);
    EXPECT_TRUE(descriptor.isValid());
    descriptor.invalidate();
    EXPECT_FALSE(descriptor.isValid());
    EXPECT_FALSE(source.isValid());
    char byte;
    EXPECT_EQ(::read(ends[0], &byte, 1), 0) << "the other end is closed";
    ::close(ends[0]);
}

TEST(FileDescriptorRef, ReportsWhatItFailsToCreate) {
    expectFailsToCreate("CFFileDescriptorCreate",
                        [] { FileDescriptorRef::create(nullptr, -1, false, nullptr, nullptr); });
    expectFailsToCreate("CFFileDescriptorCreateRunLoopSource",
                        [] { FileDescriptorRef::createRunLoopSource(nullptr, nullptr, 0); });
}
