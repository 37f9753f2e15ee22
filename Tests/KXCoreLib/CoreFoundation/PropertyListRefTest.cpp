#include <KXCoreLib/CoreFoundation/DictionaryRef.h>
#include <KXCoreLib/CoreFoundation/PropertyListRef.h>

#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using namespace KXCore::CoreFoundation;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

FORWARDS(PropertyListRef, createFromXMLData, CFPropertyListCreateFromXMLData);
FORWARDS(PropertyListRef, createXMLData, CFPropertyListCreateXMLData);
FORWARDS(PropertyListRef, createDeepCopy, CFPropertyListCreateDeepCopy);
FORWARDS(PropertyListRef, isValid, CFPropertyListIsValid);
FORWARDS(PropertyListRef, writeToStream, CFPropertyListWriteToStream);
FORWARDS(PropertyListRef, createFromStream, CFPropertyListCreateFromStream);
FORWARDS(PropertyListRef, createWithData, CFPropertyListCreateWithData);
FORWARDS(PropertyListRef, createWithStream, CFPropertyListCreateWithStream);
FORWARDS(PropertyListRef, write, CFPropertyListWrite);
FORWARDS(PropertyListRef, createData, CFPropertyListCreateData);

TEST(PropertyListRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFPropertyListCreateDeepCopy",
         [](CFAllocatorRef a) {
             PropertyListRef::createDeepCopy(a, bytesOf("abc").get(), kCFPropertyListMutableContainersAndLeaves);
         }},
        {"CFPropertyListCreateXMLData",
         [](CFAllocatorRef a) { PropertyListRef::createXMLData(a, bytesOf("abc").get()); }},
    });
}

TEST(PropertyListRef, IsWrittenAndRead) {
    MutableDictionaryRef dictionary = DictionaryRef::createMutable(kCFAllocatorDefault, 0);
    dictionary.setValue(text("Größe").get(), number(7).get());
    for (const CFPropertyListFormat written : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
        const DataRef data = PropertyListRef::createData(kCFAllocatorDefault, dictionary.get(), written, 0);
        CFPropertyListFormat read{};
        const PropertyListRef list =
            PropertyListRef::createWithData(kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, &read);
        EXPECT_EQ(list, dictionary);
        EXPECT_EQ(read, written);
        EXPECT_EQ(CFGetRetainCount(list.get()), 1);
    }
}

TEST(PropertyListRef, IsWrittenAndReadByTheOlderOperations) {
    const ArrayRef array = numbers({1, 2});
    const DataRef data = PropertyListRef::createXMLData(kCFAllocatorDefault, array.get());
    EXPECT_EQ(PropertyListRef::createFromXMLData(kCFAllocatorDefault, data.get(), kCFPropertyListImmutable), array);
}

TEST(PropertyListRef, IsCopiedDeeply) {
    MutableArrayRef inner = numbers({1});
    MutableArrayRef outer = ArrayRef::createMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
    outer.appendValue(inner.get());
    const PropertyListRef copy =
        PropertyListRef::createDeepCopy(kCFAllocatorDefault, outer.get(), kCFPropertyListMutableContainers);
    inner.removeAllValues();
    ArrayRef array;
    array.assign(copy.get());
    EXPECT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(array.getValueAtIndex(0))), 1);
}

TEST(PropertyListRef, TellsWhetherItCanBeWritten) {
    EXPECT_TRUE(PropertyListRef::retain(text("x").get()).isValid(kCFPropertyListXMLFormat_v1_0));
    EXPECT_FALSE(PropertyListRef::retain(kCFNull).isValid(kCFPropertyListXMLFormat_v1_0));
}

TEST(PropertyListRef, IsAssignedAnObjectOfAnyTypeAndNull) {
    PropertyListRef list;
    list.assign(text("x").get());
    EXPECT_EQ(CFGetTypeID(list.get()), CFStringGetTypeID());
    list.assign(bytesOf("x").get());
    EXPECT_EQ(CFGetTypeID(list.get()), CFDataGetTypeID());
    list.assign(nullptr);
    EXPECT_FALSE(list);
}

TEST(PropertyListRef, FillsTheHolderAndReleasesWhatItHeld) {
    const ErrorRef old = ErrorRef::create(nullptr, kCFErrorDomainPOSIX, 2, nullptr);
    ErrorRef error = old;
    EXPECT_EQ(CFGetRetainCount(old.get()), 2);
    PropertyListRef list;
    const Failure failure = failureOf([&] {
        list = PropertyListRef::createWithData(kCFAllocatorDefault, bytesOf("<plist><dict>").get(), 0, nullptr, &error);
    });
    EXPECT_EQ(failure.what, "");
    EXPECT_EQ(failure.message, "");
    EXPECT_FALSE(list);
    ASSERT_TRUE(error);
    EXPECT_EQ(error.getCode(), kCFPropertyListReadCorruptError);
    EXPECT_EQ(CFGetRetainCount(error.get()), 1);
    EXPECT_EQ(CFGetRetainCount(old.get()), 1);
}

TEST(PropertyListRef, LeavesTheHolderEmptyAfterASuccess) {
    ErrorRef error = ErrorRef::create(nullptr, kCFErrorDomainPOSIX, 2, nullptr);
    CFPropertyListFormat format{};
    const PropertyListRef list = PropertyListRef::createWithData(
        kCFAllocatorDefault, bytesOf("<plist><true/></plist>").get(), 0, &format, &error);
    EXPECT_EQ(list.get(), kCFBooleanTrue);
    EXPECT_EQ(format, kCFPropertyListXMLFormat_v1_0);
    EXPECT_FALSE(error);
}

TEST(PropertyListRef, WithoutAHolderThrowsAndShowsTheError) {
    const Failure failure = failureOf(
        [] { PropertyListRef::createWithData(kCFAllocatorDefault, bytesOf("<plist><dict>").get(), 0, nullptr); });
    EXPECT_EQ(failure.what, "unexpected error occured");
    EXPECT_THAT(failure.message, StartsWith("unexpected error occured:\n"));
    EXPECT_THAT(failure.message, HasSubstr("3840")) << "the error is shown";
}

TEST(PropertyListRef, TellsWhyItCannotBeWritten) {
    // A null object has no place in a property list.
    ErrorRef error;
    const DataRef none =
        PropertyListRef::createData(kCFAllocatorDefault, kCFNull, kCFPropertyListXMLFormat_v1_0, 0, &error);
    EXPECT_FALSE(none);
    EXPECT_TRUE(error);
    const Failure failure = failureOf(
        [] { PropertyListRef::createData(kCFAllocatorDefault, kCFNull, kCFPropertyListBinaryFormat_v1_0, 0); });
    EXPECT_EQ(failure.what, "unexpected error occured");
}

TEST(PropertyListRef, TellsWhyAStreamFails) {
    const CFPropertyListFormat xml = kCFPropertyListXMLFormat_v1_0;
    const PropertyListRef list = PropertyListRef::retain(kCFBooleanTrue);
    ErrorRef error;
    EXPECT_FALSE(PropertyListRef::createWithStream(nullptr, nullptr, 0, 0, nullptr, &error));
    EXPECT_TRUE(error);
    error = ErrorRef();
    EXPECT_EQ(list.write(nullptr, xml, 0, &error), 0);
    EXPECT_TRUE(error);
    EXPECT_EQ(failureOf([] { PropertyListRef::createWithStream(nullptr, nullptr, 0, 0, nullptr); }).what,
              "unexpected error occured");
    EXPECT_EQ(failureOf([&] { list.write(nullptr, xml, 0); }).what, "unexpected error occured");
}

TEST(PropertyListRef, FillsTheHolderOfATextToo) {
    StringRef reason = text("an old reason");
    const PropertyListRef list =
        PropertyListRef::createFromXMLData(kCFAllocatorDefault, bytesOf("<plist><dict>").get(), 0, &reason);
    EXPECT_FALSE(list);
    ASSERT_TRUE(reason);
    EXPECT_THAT(reason.copyStdString(), Not(HasSubstr("old")));
}

TEST(PropertyListRef, WithoutAHolderThrowsAndLogsTheText) {
    const Failure failure =
        failureOf([] { PropertyListRef::createFromXMLData(kCFAllocatorDefault, bytesOf("<plist><dict>").get(), 0); });
    EXPECT_EQ(failure.what, "failed to create object");
    EXPECT_THAT(failure.message, StartsWith("failed to create object: CFPropertyListCreateFromXMLData, error( "));
    EXPECT_THAT(failure.message, testing::EndsWith(" )\n"));
}

TEST(PropertyListRef, TellsInATextWhyAStreamFails) {
    const PropertyListRef list = PropertyListRef::retain(kCFBooleanTrue);
    StringRef reason;
    EXPECT_FALSE(PropertyListRef::createFromStream(nullptr, nullptr, 0, 0, nullptr, &reason));
    EXPECT_TRUE(reason);
    reason = StringRef();
    EXPECT_EQ(list.writeToStream(nullptr, kCFPropertyListXMLFormat_v1_0, &reason), 0);
    EXPECT_TRUE(reason);
    EXPECT_THAT(failureOf([] { PropertyListRef::createFromStream(nullptr, nullptr, 0, 0, nullptr); }).message,
                StartsWith("failed to create object: CFPropertyListCreateFromStream, error( "));
    EXPECT_THAT(failureOf([&] { list.writeToStream(nullptr, kCFPropertyListXMLFormat_v1_0); }).message,
                StartsWith("failed to create object: CFPropertyListWriteToStream, error( "));
}

TEST(PropertyListRef, LeavesTheHolderOfATextEmptyAfterASuccess) {
    StringRef reason = text("an old reason");
    EXPECT_TRUE(PropertyListRef::createFromXMLData(nullptr, bytesOf("<plist><true/></plist>").get(), 0, &reason));
    EXPECT_FALSE(reason);
}
