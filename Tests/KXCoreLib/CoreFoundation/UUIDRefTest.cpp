#include <KXCoreLib/CoreFoundation/UUIDRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

template <>
UUIDRef KXCore::CoreFoundation::sample() {
    return UUIDRef::create(kCFAllocatorDefault);
}
INSTANTIATE_TYPED_TEST_SUITE_P(UUIDRef, TypedWrapper, UUIDRef);

FORWARDS(UUIDRef, getTypeID, CFUUIDGetTypeID);
FORWARDS(UUIDRef, create, CFUUIDCreate);
FORWARDS(UUIDRef, createWithBytes, CFUUIDCreateWithBytes);
FORWARDS(UUIDRef, createFromString, CFUUIDCreateFromString);
FORWARDS(UUIDRef, createString, CFUUIDCreateString);
FORWARDS(UUIDRef, getConstantUUIDWithBytes, CFUUIDGetConstantUUIDWithBytes);
FORWARDS(UUIDRef, getUUIDBytes, CFUUIDGetUUIDBytes);
FORWARDS(UUIDRef, createFromUUIDBytes, CFUUIDCreateFromUUIDBytes);

TEST(UUIDRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFUUIDCreate", [](CFAllocatorRef a) { UUIDRef::create(a); }},
        {"CFUUIDCreateWithBytes",
         [](CFAllocatorRef a) { UUIDRef::createWithBytes(a, 9, 9, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16); }},
        {"CFUUIDCreateFromString",
         [](CFAllocatorRef a) { UUIDRef::createFromString(a, text("68753A44-4D6F-1226-9C60-0050E4C00067").get()); }},
        {"CFUUIDCreateFromUUIDBytes",
         [](CFAllocatorRef a) {
             UUIDRef::createFromUUIDBytes(a, CFUUIDBytes{1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1});
         }},
        {"CFUUIDCreateString", [](CFAllocatorRef a) { UUIDRef::createString(a, sample<UUIDRef>().get()); }},
    });
}

TEST(UUIDRef, IsMadeOfATextAndOfBytes) {
    const UUIDRef uuid =
        UUIDRef::createFromString(kCFAllocatorDefault, text("68753A44-4D6F-1226-9C60-0050E4C00067").get());
    const CFUUIDBytes bytes = uuid.getUUIDBytes();
    EXPECT_EQ(bytes.byte0, 0x68);
    EXPECT_EQ(bytes.byte15, 0x67);
    EXPECT_EQ(UUIDRef::createFromUUIDBytes(kCFAllocatorDefault, bytes), uuid);
    EXPECT_EQ(UUIDRef::createString(kCFAllocatorDefault, uuid.get()), text("68753A44-4D6F-1226-9C60-0050E4C00067"));
    EXPECT_EQ(UUIDRef::createWithBytes(kCFAllocatorDefault, 0x68, 0x75, 0x3A, 0x44, 0x4D, 0x6F, 0x12, 0x26, 0x9C, 0x60,
                                       0x00, 0x50, 0xE4, 0xC0, 0x00, 0x67),
              uuid);
    EXPECT_EQ(UUIDRef::getConstantUUIDWithBytes(kCFAllocatorDefault, 0x68, 0x75, 0x3A, 0x44, 0x4D, 0x6F, 0x12, 0x26,
                                                0x9C, 0x60, 0x00, 0x50, 0xE4, 0xC0, 0x00, 0x67),
              uuid);
    EXPECT_NE(UUIDRef::create(kCFAllocatorDefault), UUIDRef::create(kCFAllocatorDefault));
}

TEST(UUIDRef, IsNotMadeOfAnotherText) {
    expectFailsToCreate("CFUUIDCreateFromString",
                        [] { UUIDRef::createFromString(nullptr, text("no identifier").get()); });
}
