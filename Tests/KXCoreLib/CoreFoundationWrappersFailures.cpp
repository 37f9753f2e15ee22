// How operations of the wrappers fail: creation without memory, getters without an object, errors with and without a
// holder.

#include <KXCoreLib/CoreFoundationWrappers.h>

#include "WrapperSamples.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <string>
#include <vector>

using namespace KXCore::CoreFoundation;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

DataRef bytesOf(const std::string& text) {
    return DataRef::createWithStdVector(kCFAllocatorDefault, {text.begin(), text.end()});
}

/// An allocator whose every allocation fails.
const AllocatorRef& noMemory() {
    static const AllocatorRef allocator = [] {
        CFAllocatorContext context{};
        context.allocate = [](CFIndex, CFOptionFlags, void*) -> void* { return nullptr; };
        context.deallocate = [](void*, void*) {};
        return AllocatorRef::create(kCFAllocatorDefault, &context);
    }();
    return allocator;
}

struct Creation {
    const char* function;
    void (*create)(CFAllocatorRef allocator);
};

StringRef formatted(CFAllocatorRef allocator, CFStringRef format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    try {
        StringRef made = StringRef::createWithFormatAndArguments(allocator, nullptr, format, arguments);
        va_end(arguments);
        return made;
    } catch (...) {
        va_end(arguments);
        throw;
    }
}

constexpr UniChar kUnits[] = {'a', 0x20AC};
constexpr UInt8 kBytes[] = {2, 'a', 'b', 0};
constexpr UInt8 kData[] = "some bytes";

const Creation kCreations[] = {
    {"CFAllocatorCreate",
     [](CFAllocatorRef allocator) {
         CFAllocatorContext context{};
         context.allocate = [](CFIndex, CFOptionFlags, void*) -> void* { return nullptr; };
         AllocatorRef::create(allocator, &context);
     }},
    {"CFArrayCreate", [](CFAllocatorRef a) { ArrayRef::create(a, nullptr, 0, nullptr); }},
    {"CFArrayCreateMutable", [](CFAllocatorRef a) { ArrayRef::createMutable(a, 0, nullptr); }},
    {"CFArrayCreateMutableCopy", [](CFAllocatorRef a) { ArrayRef::createMutableCopy(a, 0, sample<ArrayRef>().get()); }},
    {"CFDataCreate", [](CFAllocatorRef a) { DataRef::create(a, kData, sizeof kData); }},
    {"CFDataCreate", [](CFAllocatorRef a) { DataRef::createWithStdVector(a, {}); }},
    {"CFDataCreateWithBytesNoCopy",
     [](CFAllocatorRef a) { DataRef::createWithBytesNoCopy(a, kData, sizeof kData, kCFAllocatorNull); }},
    {"CFDataCreateMutable", [](CFAllocatorRef a) { DataRef::createMutable(a, 0); }},
    {"CFDataCreateMutableCopy", [](CFAllocatorRef a) { DataRef::createMutableCopy(a, 0, sample<DataRef>().get()); }},
    {"CFDateCreate", [](CFAllocatorRef a) { DateRef::create(a, 0); }},
    {"CFDictionaryCreate", [](CFAllocatorRef a) { DictionaryRef::create(a, nullptr, nullptr, 0); }},
    {"CFDictionaryCreate", [](CFAllocatorRef a) { DictionaryRef::create(a, nullptr, nullptr, 0, nullptr, nullptr); }},
    {"CFDictionaryCreateMutable", [](CFAllocatorRef a) { DictionaryRef::createMutable(a, 0); }},
    {"CFDictionaryCreateMutable", [](CFAllocatorRef a) { DictionaryRef::createMutable(a, 0, nullptr, nullptr); }},
    {"CFDictionaryCreateMutableCopy",
     [](CFAllocatorRef a) { DictionaryRef::createMutableCopy(a, 0, sample<DictionaryRef>().get()); }},
    {"CFErrorCreate", [](CFAllocatorRef a) { ErrorRef::create(a, kCFErrorDomainPOSIX, 1, nullptr); }},
    {"CFErrorCreateWithUserInfoKeysAndValues",
     [](CFAllocatorRef a) {
         ErrorRef::createWithUserInfoKeysAndValues(a, kCFErrorDomainPOSIX, 1, nullptr, nullptr, 0);
     }},
    {"CFNumberCreate",
     [](CFAllocatorRef a) {
         const double value = 0.123;
         NumberRef::create(a, kCFNumberDoubleType, &value);
     }},
    {"CFSetCreate", [](CFAllocatorRef a) { SetRef::create(a, nullptr, 0, nullptr); }},
    {"CFSetCreateMutable", [](CFAllocatorRef a) { SetRef::createMutable(a, 0, nullptr); }},
    {"CFSetCreateMutableCopy", [](CFAllocatorRef a) { SetRef::createMutableCopy(a, 0, sample<SetRef>().get()); }},
    {"CFStringCreateWithCString",
     [](CFAllocatorRef a) { StringRef::createWithCString(a, "text", kCFStringEncodingUTF8); }},
    {"CFStringCreateWithCString",
     [](CFAllocatorRef a) { StringRef::createWithStdString(a, "text", kCFStringEncodingUTF8); }},
    {"CFStringCreateWithCStringNoCopy",
     [](CFAllocatorRef a) { StringRef::createWithCStringNoCopy(a, "text", kCFStringEncodingUTF8, kCFAllocatorNull); }},
    {"CFStringCreateWithBytes",
     [](CFAllocatorRef a) { StringRef::createWithBytes(a, kBytes, 3, kCFStringEncodingUTF8, false); }},
    {"CFStringCreateWithBytesNoCopy",
     [](CFAllocatorRef a) {
         StringRef::createWithBytesNoCopy(a, kBytes, 3, kCFStringEncodingUTF8, false, kCFAllocatorNull);
     }},
    {"CFStringCreateWithCharacters", [](CFAllocatorRef a) { StringRef::createWithCharacters(a, kUnits, 2); }},
    {"CFStringCreateWithCharactersNoCopy",
     [](CFAllocatorRef a) { StringRef::createWithCharactersNoCopy(a, kUnits, 2, kCFAllocatorNull); }},
    {"CFStringCreateWithPascalString",
     [](CFAllocatorRef a) { StringRef::createWithPascalString(a, kBytes, kCFStringEncodingMacRoman); }},
    {"CFStringCreateWithPascalStringNoCopy",
     [](CFAllocatorRef a) {
         StringRef::createWithPascalStringNoCopy(a, kBytes, kCFStringEncodingMacRoman, kCFAllocatorNull);
     }},
    {"CFStringCreateWithFileSystemRepresentation",
     [](CFAllocatorRef a) { StringRef::createWithFileSystemRepresentation(a, "/tmp"); }},
    {"CFStringCreateFromExternalRepresentation",
     [](CFAllocatorRef a) {
         StringRef::createFromExternalRepresentation(a, sample<DataRef>().get(), kCFStringEncodingUTF8);
     }},
    {"CFStringCreateExternalRepresentation",
     [](CFAllocatorRef a) {
         StringRef::createExternalRepresentation(a, text("text").get(), kCFStringEncodingUTF8, 0);
     }},
    {"CFStringCreateWithSubstring",
     [](CFAllocatorRef a) { StringRef::createWithSubstring(a, text("some text").get(), CFRangeMake(1, 4)); }},
    {"CFStringCreateByCombiningStrings",
     [](CFAllocatorRef a) {
         const StringRef strings[] = {text("one"), text("two")};
         const void* values[] = {strings[0].get(), strings[1].get()};
         const ArrayRef both = ArrayRef::create(kCFAllocatorDefault, values, 2, &kCFTypeArrayCallBacks);
         StringRef::createByCombiningStrings(a, both.get(), text(", ").get());
     }},
    {"CFStringCreateArrayBySeparatingStrings",
     [](CFAllocatorRef a) { StringRef::createArrayBySeparatingStrings(a, text("a,b").get(), text(",").get()); }},
    {"CFStringCreateArrayWithFindResults",
     [](CFAllocatorRef a) {
         StringRef::createArrayWithFindResults(a, text("a,b").get(), text(",").get(), CFRangeMake(0, 3), 0);
     }},
    {"CFStringCreateMutable", [](CFAllocatorRef a) { StringRef::createMutable(a, 0); }},
    {"CFStringCreateMutableCopy",
     [](CFAllocatorRef a) { StringRef::createMutableCopy(a, 0, text("some text").get()); }},
    {"CFStringCreateMutableWithExternalCharactersNoCopy",
     [](CFAllocatorRef a) {
         StringRef::createMutableWithExternalCharactersNoCopy(a, nullptr, 0, 0, kCFAllocatorNull);
     }},
    {"CFStringCreateWithFormat",
     [](CFAllocatorRef a) { StringRef::createWithFormat(a, nullptr, text("%d").get(), 7); }},
    {"CFStringCreateWithFormatAndArguments", [](CFAllocatorRef a) { formatted(a, text("%d").get(), 7); }},
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
    {"CFPropertyListCreateDeepCopy",
     [](CFAllocatorRef a) {
         PropertyListRef::createDeepCopy(a, sample<DataRef>().get(), kCFPropertyListMutableContainersAndLeaves);
     }},
    {"CFPropertyListCreateXMLData",
     [](CFAllocatorRef a) { PropertyListRef::createXMLData(a, sample<DataRef>().get()); }},
};

class CreationWithoutMemory : public testing::TestWithParam<Creation> {};

}  // namespace

TEST_P(CreationWithoutMemory, IsAFailureOfItsFunction) {
    const Failure failure = failureOf([] { GetParam().create(noMemory().get()); });
    EXPECT_EQ(failure.message, std::string("failed to create object: ") + GetParam().function + "\n");
    EXPECT_EQ(failure.what, "failed to create object");
}

TEST_P(CreationWithoutMemory, WouldSucceedWithIt) { EXPECT_NO_THROW(GetParam().create(kCFAllocatorDefault)); }

INSTANTIATE_TEST_SUITE_P(Functions, CreationWithoutMemory, testing::ValuesIn(kCreations),
                         [](const auto& tested) { return std::to_string(tested.index) + "_" + tested.param.function; });

// Creation of what cannot be.

TEST(CreationFailure, BytesThatAreNotOfTheEncoding) {
    const Failure failure =
        failureOf([] { StringRef::createWithCString(kCFAllocatorDefault, "\xFF", kCFStringEncodingUTF8); });
    EXPECT_EQ(failure.message, "failed to create object: CFStringCreateWithCString\n");
    EXPECT_EQ(failure.what, "failed to create object");
}

TEST(CreationFailure, CharactersThatTheEncodingLacks) {
    const Failure failure = failureOf([] {
        StringRef::createExternalRepresentation(kCFAllocatorDefault, text("ü").get(), kCFStringEncodingASCII, 0);
    });
    EXPECT_EQ(failure.message, "failed to create object: CFStringCreateExternalRepresentation\n");
}

TEST(CreationFailure, NothingFound) {
    const Failure failure = failureOf([] {
        StringRef::createArrayWithFindResults(kCFAllocatorDefault, text("abc").get(), text("x").get(),
                                              CFRangeMake(0, 3), 0);
    });
    EXPECT_EQ(failure.message, "failed to create object: CFStringCreateArrayWithFindResults\n");
}

TEST(CreationFailure, AnErrorWithoutAReason) {
    const ErrorRef error = sample<ErrorRef>();
    EXPECT_EQ(failureOf([&] { error.copyRecoverySuggestion(); }).message,
              "failed to create object: CFErrorCopyRecoverySuggestion\n");
}

TEST(CreationFailure, OfACopyOfNothing) {
    const auto failed = [](const char* function) { return std::string("failed to create object: ") + function + "\n"; };
    EXPECT_EQ(failureOf([] { ArrayRef().createCopy(nullptr); }).message, failed("CFArrayCreateCopy"));
    EXPECT_EQ(failureOf([] { DataRef().createCopy(nullptr); }).message, failed("CFDataCreateCopy"));
    EXPECT_EQ(failureOf([] { DictionaryRef().createCopy(nullptr); }).message, failed("CFDictionaryCreateCopy"));
    EXPECT_EQ(failureOf([] { SetRef().createCopy(nullptr); }).message, failed("CFSetCreateCopy"));
    EXPECT_EQ(failureOf([] { StringRef().createCopy(nullptr); }).message, failed("CFStringCreateCopy"));
    EXPECT_EQ(failureOf([] { ErrorRef().copyDescription(); }).message, failed("CFErrorCopyDescription"));
    EXPECT_EQ(failureOf([] { ErrorRef().copyFailureReason(); }).message, failed("CFErrorCopyFailureReason"));
}

TEST(CreationFailure, LeavesTheCountsOfItsArguments) {
    const StringRef string = text("ü and some more text");
    const CFIndex count = CFGetRetainCount(string.get());
    failureOf(
        [&] { StringRef::createExternalRepresentation(kCFAllocatorDefault, string.get(), kCFStringEncodingASCII, 0); });
    failureOf([&] { StringRef::createMutableCopy(noMemory().get(), 0, string.get()); });
    EXPECT_EQ(CFGetRetainCount(string.get()), count);
}

// Getters without an object.

TEST(GetterWithoutAnObject, GivesAnEmptyWrapper) {
    const Failure failure = failureOf([] {
        EXPECT_FALSE(StringRef::getNameOfEncoding(0x0EEE0EEE));
        EXPECT_FALSE(ErrorRef().getDomain());
    });
    EXPECT_EQ(failure.what, "");
    EXPECT_EQ(failure.message, "");
}

TEST(GetterOfAnObject, RetainsIt) {
    const ErrorRef error = ErrorRef::create(nullptr, sample<StringRef>().get(), 1, nullptr);
    const CFStringRef raw = CFErrorGetDomain(error.get());
    const CFIndex count = CFGetRetainCount(raw);
    {
        const StringRef domain = error.getDomain();
        EXPECT_EQ(domain.get(), raw);
        EXPECT_EQ(CFGetRetainCount(raw), count + 1);
    }
    EXPECT_EQ(CFGetRetainCount(raw), count);
}

// Error holders.

TEST(ErrorHolder, TakesTheErrorAndReleasesWhatItHeld) {
    const ErrorRef old = sample<ErrorRef>();
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

TEST(ErrorHolder, IsEmptyAfterASuccess) {
    ErrorRef error = sample<ErrorRef>();
    CFPropertyListFormat format{};
    const PropertyListRef list = PropertyListRef::createWithData(
        kCFAllocatorDefault, bytesOf("<plist><true/></plist>").get(), 0, &format, &error);
    EXPECT_EQ(list.get(), kCFBooleanTrue);
    EXPECT_EQ(format, kCFPropertyListXMLFormat_v1_0);
    EXPECT_FALSE(error);
}

TEST(ErrorHolder, LeftOutMakesAFailureAnException) {
    const Failure failure = failureOf(
        [] { PropertyListRef::createWithData(kCFAllocatorDefault, bytesOf("<plist><dict>").get(), 0, nullptr); });
    EXPECT_EQ(failure.what, "unexpected error occured");
    EXPECT_THAT(failure.message, StartsWith("unexpected error occured:\n"));
    EXPECT_THAT(failure.message, HasSubstr("3840")) << "the error is shown";
}

TEST(ErrorHolder, ServesTheWritingOfDataToo) {
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

TEST(ErrorHolder, ServesStreamsToo) {
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

TEST(ErrorHolder, ServesValidatedFormats) {
    ErrorRef error;
    const StringRef good = StringRef::createStringWithValidatedFormat(kCFAllocatorDefault, nullptr, text("%d").get(),
                                                                      text("<%d>").get(), &error, 42);
    EXPECT_EQ(good, text("<42>"));
    EXPECT_FALSE(error);
    const StringRef bad = StringRef::createStringWithValidatedFormat(kCFAllocatorDefault, nullptr, text("%d").get(),
                                                                     text("<%s>").get(), &error, 42);
    EXPECT_FALSE(bad);
    EXPECT_TRUE(error);
    ErrorRef* const none = nullptr;
    EXPECT_EQ(failureOf([&] {
                  StringRef::createStringWithValidatedFormat(kCFAllocatorDefault, nullptr, text("%d").get(),
                                                             text("%s").get(), none, 42);
              }).what,
              "unexpected error occured");
}

TEST(ErrorTextHolder, TakesTheText) {
    StringRef reason = text("an old reason");
    const PropertyListRef list =
        PropertyListRef::createFromXMLData(kCFAllocatorDefault, bytesOf("<plist><dict>").get(), 0, &reason);
    EXPECT_FALSE(list);
    ASSERT_TRUE(reason);
    EXPECT_THAT(reason.copyStdString(), Not(HasSubstr("old")));
}

TEST(ErrorTextHolder, LeftOutMakesAFailureAnExceptionWithTheText) {
    const Failure failure =
        failureOf([] { PropertyListRef::createFromXMLData(kCFAllocatorDefault, bytesOf("<plist><dict>").get(), 0); });
    EXPECT_EQ(failure.what, "failed to create object");
    EXPECT_THAT(failure.message, StartsWith("failed to create object: CFPropertyListCreateFromXMLData, error( "));
    EXPECT_THAT(failure.message, testing::EndsWith(" )\n"));
}

TEST(ErrorTextHolder, ServesStreamsToo) {
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

TEST(ErrorTextHolder, IsEmptyAfterASuccess) {
    StringRef reason = text("an old reason");
    EXPECT_TRUE(PropertyListRef::createFromXMLData(nullptr, bytesOf("<plist><true/></plist>").get(), 0, &reason));
    EXPECT_FALSE(reason);
}

TEST(ErrorOutlet, ReportsAFailureWithoutAnError) {
    EXPECT_EQ(failureOf([] { ErrorOutlet(nullptr).settle(CFIndex{0}); }).what, "unexpected error occured");
    EXPECT_EQ(failureOf([] { ErrorTextOutlet("CFExample", nullptr).settle(CFIndex{0}); }).message,
              "failed to create object: CFExample, error( unknown )\n");
    EXPECT_EQ(ErrorOutlet(nullptr).settle(CFIndex{7}), 7);
}

TEST(ErrorOutlet, OwnsTheErrorThatNobodyTakes) {
    const ErrorRef error = sample<ErrorRef>();
    const auto callThatFails = [&](ErrorRef* holder, CFIndex result) {
        ErrorOutlet outlet(holder);
        *outlet.out() = ErrorRef(error).get();
        CFRetain(error.get());
        return outlet.settle(result);
    };
    failureOf([&] { callThatFails(nullptr, 0); });
    EXPECT_EQ(CFGetRetainCount(error.get()), 1);
    EXPECT_EQ(callThatFails(nullptr, 5), 5) << "an error beside a result is no failure";
    EXPECT_EQ(CFGetRetainCount(error.get()), 1);
    ErrorRef holder;
    EXPECT_EQ(callThatFails(&holder, 0), 0);
    EXPECT_EQ(CFGetRetainCount(error.get()), 2);
}
