#include <KXCoreLib/CoreFoundation/ErrorRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

template <>
ErrorRef KXCore::CoreFoundation::sample() {
    return ErrorRef::create(kCFAllocatorDefault, kCFErrorDomainPOSIX, 2, nullptr);
}
INSTANTIATE_TYPED_TEST_SUITE_P(ErrorRef, TypedWrapper, ErrorRef);

FORWARDS(ErrorRef, getTypeID, CFErrorGetTypeID);
FORWARDS(ErrorRef, create, CFErrorCreate);
FORWARDS(ErrorRef, createWithUserInfoKeysAndValues, CFErrorCreateWithUserInfoKeysAndValues);
FORWARDS(ErrorRef, getDomain, CFErrorGetDomain);
FORWARDS(ErrorRef, getCode, CFErrorGetCode);
FORWARDS(ErrorRef, copyUserInfo, CFErrorCopyUserInfo);
FORWARDS(ErrorRef, copyDescription, CFErrorCopyDescription);
FORWARDS(ErrorRef, copyFailureReason, CFErrorCopyFailureReason);
FORWARDS(ErrorRef, copyRecoverySuggestion, CFErrorCopyRecoverySuggestion);

TEST(ErrorRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFErrorCreate", [](CFAllocatorRef a) { ErrorRef::create(a, kCFErrorDomainPOSIX, 1, nullptr); }},
        {"CFErrorCreateWithUserInfoKeysAndValues",
         [](CFAllocatorRef a) {
             ErrorRef::createWithUserInfoKeysAndValues(a, kCFErrorDomainPOSIX, 1, nullptr, nullptr, 0);
         }},
    });
}

TEST(ErrorRef, TellsWhatWentWrong) {
    const StringRef why = text("the disk is full");
    const StringRef how = text("delete something");
    const StringRef what = text("nothing was saved");
    const void* keys[] = {kCFErrorLocalizedDescriptionKey, kCFErrorLocalizedFailureReasonKey,
                          kCFErrorLocalizedRecoverySuggestionKey};
    const void* values[] = {what.get(), why.get(), how.get()};
    const ErrorRef error =
        ErrorRef::createWithUserInfoKeysAndValues(kCFAllocatorDefault, kCFErrorDomainPOSIX, 28, keys, values, 3);
    EXPECT_EQ(error.getDomain().get(), kCFErrorDomainPOSIX);
    EXPECT_EQ(error.getCode(), 28);
    EXPECT_EQ(error.copyDescription(), what);
    EXPECT_EQ(error.copyFailureReason(), why);
    EXPECT_EQ(error.copyRecoverySuggestion(), how);
    const DictionaryRef userInfo = error.copyUserInfo();
    EXPECT_EQ(userInfo.getCount(), 3);
    const ErrorRef same = ErrorRef::create(kCFAllocatorDefault, kCFErrorDomainPOSIX, 28, userInfo.get());
    EXPECT_EQ(same.copyDescription(), what);
}

TEST(ErrorRef, OfAGetterRetainsWhatItBorrowed) {
    const StringRef domain = text("a domain of our own");
    const ErrorRef error = ErrorRef::create(kCFAllocatorDefault, domain.get(), 1, nullptr);
    const CFIndex count = CFGetRetainCount(error.getDomain().get());
    const StringRef held = error.getDomain();
    EXPECT_EQ(CFGetRetainCount(held.get()), count);
    EXPECT_EQ(held, domain);
}

TEST(ErrorRef, GetterRetainsItsObject) {
    const ErrorRef error = ErrorRef::create(nullptr, text("a domain of our own").get(), 1, nullptr);
    const CFStringRef raw = CFErrorGetDomain(error.get());
    const CFIndex count = CFGetRetainCount(raw);
    {
        const StringRef domain = error.getDomain();
        EXPECT_EQ(domain.get(), raw);
        EXPECT_EQ(CFGetRetainCount(raw), count + 1);
    }
    EXPECT_EQ(CFGetRetainCount(raw), count);
}

TEST(ErrorRef, GetterOfNothingGivesAnEmptyWrapper) {
    const Failure failure = failureOf([] { EXPECT_FALSE(ErrorRef().getDomain()); });
    EXPECT_EQ(failure.what, "");
    EXPECT_EQ(failure.message, "");
}

TEST(ErrorRef, ReportsATextThatIsNotThere) {
    expectFailsToCreate("CFErrorCopyRecoverySuggestion", [] { sample<ErrorRef>().copyRecoverySuggestion(); });
    expectFailsToCreate("CFErrorCopyDescription", [] { ErrorRef().copyDescription(); });
    expectFailsToCreate("CFErrorCopyFailureReason", [] { ErrorRef().copyFailureReason(); });
}
