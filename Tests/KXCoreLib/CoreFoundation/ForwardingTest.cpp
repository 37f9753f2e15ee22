// How the sources of the wrappers call the platform: on functions of the test's own.

#include "CoreFoundation/Forwarding.h"

#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

namespace {

/// What the functions below return, in the form of each.
struct Platform {
    CFStringRef made = nullptr;
    CFIndex result = 0;
    CFErrorRef error = nullptr;
    CFStringRef text = nullptr;
    CFDictionaryRef dictionary = nullptr;
} platform;

template <class Raw>
Raw owned(Raw raw) {
    if (raw) CFRetain(raw);
    return raw;
}

CFStringRef CFExampleCreate(CFAllocatorRef) { return owned(platform.made); }

CFTypeRef CFExampleCopyProperty(CFStringRef) { return owned(platform.made); }

CFStringRef CFExampleCreateOrError(CFAllocatorRef, CFErrorRef* error) {
    *error = owned(platform.error);
    return owned(platform.made);
}

CFIndex CFExampleTry(CFIndex, CFErrorRef* error) {
    *error = owned(platform.error);
    return platform.result;
}

CFIndex CFExampleTryOrText(CFStringRef* text) {
    *text = owned(platform.text);
    return platform.result;
}

CFStringRef CFExampleCreateOrDictionary(CFAllocatorRef, CFDictionaryRef* dictionary) {
    *dictionary = owned(platform.dictionary);
    return owned(platform.made);
}

void CFExampleCreatePair(CFIndex, CFStringRef* first, CFStringRef* second) {
    if (first) *first = owned(platform.made);
    if (second) *second = owned(platform.text);
}

Boolean CFExampleCopyThrough(void* property) {
    if (property) *static_cast<CFTypeRef*>(property) = owned(platform.made);
    return true;
}

/// Each test begins with a platform that returns nothing.
class Forwarding : public testing::Test {
  protected:
    Forwarding() { platform = Platform(); }

    const StringRef some = text("some object");
    const StringRef old = text("what the holder held");
    const ErrorRef error = ErrorRef::create(nullptr, kCFErrorDomainPOSIX, 2, nullptr);
};

constexpr auto isPositive = [](CFIndex result) { return result > 0; };

}  // namespace

// Creation.

TEST_F(Forwarding, CreatedObjectsAreOwned) {
    platform.made = some.get();
    {
        const StringRef made = KX_CREATE(StringRef, CFExampleCreate)(nullptr);
        EXPECT_EQ(made.get(), some.get());
        EXPECT_EQ(countOf(some), 2);
    }
    EXPECT_EQ(countOf(some), 1);
}

TEST_F(Forwarding, AFailureToCreateNamesTheFunction) {
    expectFailsToCreate("CFExampleCreate", [] { KX_CREATE(StringRef, CFExampleCreate)(nullptr); });
}

TEST_F(Forwarding, ObjectsOfAnyTypeAreCreatedToo) {
    platform.made = some.get();
    const TypeRef made = KX_CREATE(TypeRef, CFExampleCopyProperty)(nullptr);
    EXPECT_EQ(made, some);
    EXPECT_EQ(countOf(some), 2);
    platform.made = nullptr;
    expectFailsToCreate("CFExampleCopyProperty", [] { KX_CREATE(TypeRef, CFExampleCopyProperty)(nullptr); });
}

// Errors.

TEST_F(Forwarding, AHolderTakesTheErrorInPlaceOfAnException) {
    platform.error = error.get();
    ErrorRef previous = ErrorRef::create(nullptr, kCFErrorDomainPOSIX, 3, nullptr);
    ErrorRef holder = previous;
    EXPECT_FALSE(KX_TRY_CREATE(StringRef, CFExampleCreateOrError, &holder)(nullptr));
    EXPECT_EQ(holder.get(), error.get());
    EXPECT_EQ(countOf(error), 2);
    EXPECT_EQ(countOf(previous), 1) << "what the holder held is released";
}

TEST_F(Forwarding, AHolderIsEmptyAfterASuccess) {
    platform.made = some.get();
    ErrorRef holder = error;
    EXPECT_EQ(KX_TRY_CREATE(StringRef, CFExampleCreateOrError, &holder)(nullptr), some);
    EXPECT_FALSE(holder);
    EXPECT_EQ(countOf(error), 1);
}

TEST_F(Forwarding, WithoutAHolderAFailureIsAnExceptionAndTheErrorIsReleased) {
    platform.error = error.get();
    ErrorRef* const none = nullptr;
    const Failure failure = failureOf([&] { KX_TRY_CREATE(StringRef, CFExampleCreateOrError, none)(nullptr); });
    EXPECT_EQ(failure.what, "unexpected error occured");
    EXPECT_EQ(countOf(error), 1);
}

TEST_F(Forwarding, WithoutAHolderAnErrorBesideAResultIsNoFailure) {
    platform.made = some.get();
    platform.error = error.get();
    ErrorRef* const none = nullptr;
    EXPECT_EQ(KX_TRY_CREATE(StringRef, CFExampleCreateOrError, none)(nullptr), some);
    EXPECT_EQ(countOf(error), 1);
}

TEST_F(Forwarding, AFailureWithoutAnErrorIsReportedToo) {
    ErrorRef* const none = nullptr;
    EXPECT_EQ(failureOf([&] { KX_TRY(CFExampleTry, isNotZero, none)(1); }).what, "unexpected error occured");
}

TEST_F(Forwarding, TheOperationSaysWhatASuccessIs) {
    ErrorRef* const none = nullptr;
    for (const CFIndex success : {1, 2}) {
        platform.result = success;
        EXPECT_EQ(KX_TRY(CFExampleTry, isPositive, none)(1), success);
        EXPECT_EQ(KX_TRY(CFExampleTry, isNot<CFIndex{3}>, none)(1), success);
        EXPECT_EQ(KX_TRY(CFExampleTry, isNotZero, none)(1), success);
    }
    platform.result = 3;
    EXPECT_EQ(failureOf([&] { KX_TRY(CFExampleTry, isNot<CFIndex{3}>, none)(1); }).what, "unexpected error occured");
    platform.result = -1;
    EXPECT_EQ(failureOf([&] { KX_TRY(CFExampleTry, isPositive, none)(1); }).what, "unexpected error occured");
    ErrorRef holder;
    EXPECT_EQ(KX_TRY(CFExampleTry, isPositive, &holder)(1), -1) << "with a holder nothing is thrown";
}

// Errors as a text and as a dictionary.

TEST_F(Forwarding, AHolderTakesTheText) {
    platform.text = some.get();
    StringRef holder = old;
    EXPECT_EQ(KX_TRY(CFExampleTryOrText, isNotZero, &holder)(), 0);
    EXPECT_EQ(holder.get(), some.get());
    EXPECT_EQ(countOf(some), 2);
    EXPECT_EQ(countOf(old), 1);
}

TEST_F(Forwarding, WithoutAHolderTheTextIsLogged) {
    platform.text = some.get();
    StringRef* const none = nullptr;
    const Failure failure = failureOf([&] { KX_TRY(CFExampleTryOrText, isNotZero, none)(); });
    EXPECT_EQ(failure.what, "failed to create object");
    EXPECT_EQ(failure.message, "failed to create object: CFExampleTryOrText, error( some object )\n");
    EXPECT_EQ(countOf(some), 1);
    platform.text = nullptr;
    EXPECT_EQ(failureOf([&] {
                  KX_TRY(CFExampleTryOrText, isNotZero, none)
                  ();
              }).message,
              "failed to create object: CFExampleTryOrText, error( unknown )\n");
}

TEST_F(Forwarding, AHolderTakesTheDictionary) {
    const DictionaryRef reasons = DictionaryRef::create(nullptr, nullptr, nullptr, 0);
    platform.dictionary = reasons.get();
    DictionaryRef holder;
    EXPECT_FALSE(KX_TRY_CREATE(StringRef, CFExampleCreateOrDictionary, &holder, CFSTR("Reason"))(nullptr));
    EXPECT_EQ(holder.get(), reasons.get());
    EXPECT_EQ(countOf(reasons), 2);
}

TEST_F(Forwarding, WithoutAHolderTheTextOfTheDictionaryIsLogged) {
    DictionaryRef* const none = nullptr;
    const auto failure = [&] {
        return failureOf([&] {
            KX_TRY_CREATE(StringRef, CFExampleCreateOrDictionary, none, CFSTR("Reason"))(nullptr);
        });
    };
    EXPECT_EQ(failure().message, "failed to create object: CFExampleCreateOrDictionary, error( unknown )\n");
    MutableDictionaryRef reasons = DictionaryRef::createMutable(nullptr, 0);
    platform.dictionary = reasons.get();
    EXPECT_EQ(failure().message, "failed to create object: CFExampleCreateOrDictionary, error( unknown )\n");
    reasons.setValue(CFSTR("Reason"), number(7).get());
    EXPECT_EQ(failure().message, "failed to create object: CFExampleCreateOrDictionary, error( unknown )\n")
        << "what is no text is not shown as one";
    reasons.setValue(CFSTR("Reason"), some.get());
    EXPECT_EQ(failure().message, "failed to create object: CFExampleCreateOrDictionary, error( some object )\n");
    EXPECT_EQ(failure().what, "failed to create object");
    EXPECT_EQ(countOf(reasons), 1);
}

// Objects that come back through pointers.

TEST_F(Forwarding, AWrapperIsFilledThroughAPointer) {
    platform.made = some.get();
    TypeRef property = old;
    EXPECT_TRUE(CFExampleCopyThrough(Filled(&property)));
    EXPECT_EQ(property.get(), some.get());
    EXPECT_EQ(countOf(some), 2);
    EXPECT_EQ(countOf(old), 1);
    platform.made = nullptr;
    EXPECT_TRUE(CFExampleCopyThrough(Filled(&property)));
    EXPECT_FALSE(property);
    EXPECT_EQ(countOf(some), 1);
    TypeRef* const none = nullptr;
    EXPECT_TRUE(CFExampleCopyThrough(Filled(none)));
}

TEST_F(Forwarding, APairIsCreatedIntoWrappers) {
    platform.made = some.get();
    platform.text = old.get();
    StringRef first;
    StringRef second;
    KX_CREATE_INTO(CFExampleCreatePair)(1, &first, &second);
    EXPECT_EQ(first.get(), some.get());
    EXPECT_EQ(second.get(), old.get());
    EXPECT_EQ(countOf(some), 2);
}

TEST_F(Forwarding, APairThatIsNotCreatedIsAFailureOfItsFunction) {
    platform.made = some.get();
    StringRef first;
    StringRef second = old;
    expectFailsToCreate("CFExampleCreatePair", [&] { KX_CREATE_INTO(CFExampleCreatePair)(1, &first, &second); });
    EXPECT_FALSE(second);
    EXPECT_EQ(countOf(some), 2) << "what was created is the caller's";
    StringRef* const none = nullptr;
    EXPECT_NO_THROW(KX_CREATE_INTO(CFExampleCreatePair)(1, &first, none)) << "what nobody asked for is not missing";
}
