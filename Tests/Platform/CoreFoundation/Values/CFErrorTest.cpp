#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/Values.h"

#include <gtest/gtest.h>

#include <cerrno>

using namespace Held;
using namespace Values;

namespace {

/// An error of a domain with one pair of user info; null: none.
Holder<CFErrorRef> error(CFStringRef domain, CFIndex code, CFStringRef key = nullptr, CFTypeRef value = nullptr) {
    const void *keys[] = {key}, *values[] = {value};
    return hold(CFErrorCreateWithUserInfoKeysAndValues(nullptr, domain, code, keys, values, key ? 1 : 0));
}

Holder<CFErrorRef> error(CFStringRef domain, CFIndex code, CFStringRef key1, CFTypeRef value1, CFStringRef key2,
                         CFTypeRef value2) {
    const void *keys[] = {key1, key2}, *values[] = {value1, value2};
    return hold(CFErrorCreateWithUserInfoKeysAndValues(nullptr, domain, code, keys, values, 2));
}

std::string message(CFErrorRef error) { return taken(CFErrorCopyDescription(error)); }

TEST(CFError, HasTheDomainsAndKeysOfThePlatform) {
    EXPECT_EQ(utf8(kCFErrorDomainPOSIX), "NSPOSIXErrorDomain");
    EXPECT_EQ(utf8(kCFErrorDomainOSStatus), "NSOSStatusErrorDomain");
    EXPECT_EQ(utf8(kCFErrorDomainMach), "NSMachErrorDomain");
    EXPECT_EQ(utf8(kCFErrorDomainCocoa), "NSCocoaErrorDomain");
    EXPECT_EQ(utf8(kCFErrorLocalizedDescriptionKey), "NSLocalizedDescription");
    EXPECT_EQ(utf8(kCFErrorLocalizedFailureKey), "NSLocalizedFailure");
    EXPECT_EQ(utf8(kCFErrorLocalizedFailureReasonKey), "NSLocalizedFailureReason");
    EXPECT_EQ(utf8(kCFErrorLocalizedRecoverySuggestionKey), "NSLocalizedRecoverySuggestion");
    EXPECT_EQ(utf8(kCFErrorDescriptionKey), "NSDescription");
    EXPECT_EQ(utf8(kCFErrorUnderlyingErrorKey), "NSUnderlyingError");
    EXPECT_EQ(utf8(kCFErrorURLKey), "NSURL");
    EXPECT_EQ(utf8(kCFErrorFilePathKey), "NSFilePath");
}

TEST(CFError, HoldsDomainCodeAndUserInfo) {
    const auto info =
        hold(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    CFDictionarySetValue(info, CFSTR("key"), CFSTR("value"));
    const auto failure = hold(CFErrorCreate(nullptr, CFSTR("Domain"), -7, info));
    CFDictionaryRemoveAllValues(info);
    EXPECT_EQ(CFGetTypeID(failure), CFErrorGetTypeID());
    EXPECT_EQ(utf8(CFErrorGetDomain(failure)), "Domain");
    EXPECT_EQ(CFErrorGetCode(failure), -7);
    const auto held = hold(CFErrorCopyUserInfo(failure));
    EXPECT_EQ(CFDictionaryGetCount(held), 1);
    EXPECT_EQ(CFDictionaryGetValue(held, CFSTR("key")), CFSTR("value"));
}

TEST(CFError, CopiesItsDomain) {
    const auto domain = mutableString(u"Domain");
    const auto failure = hold(CFErrorCreate(nullptr, domain, 1, nullptr));
    CFStringAppend(domain, CFSTR("!"));
    EXPECT_EQ(utf8(CFErrorGetDomain(failure)), "Domain");
}

TEST(CFError, AlwaysHasAUserInfo) {
    const auto failure = hold(CFErrorCreate(nullptr, CFSTR("Domain"), 1, nullptr));
    const auto info = hold(CFErrorCopyUserInfo(failure));
    ASSERT_NE(info.get(), nullptr);
    EXPECT_EQ(CFDictionaryGetCount(info), 0);
}

TEST(CFError, NeedsADomain) {
    EXPECT_EQ(CFErrorCreate(nullptr, nullptr, 1, nullptr), nullptr);
    EXPECT_EQ(CFErrorCreate(nullptr, reinterpret_cast<CFStringRef>(kCFBooleanTrue), 1, nullptr), nullptr);
    EXPECT_EQ(CFErrorCreateWithUserInfoKeysAndValues(nullptr, nullptr, 1, nullptr, nullptr, 0), nullptr);
    EXPECT_EQ(CFErrorCreateWithUserInfoKeysAndValues(nullptr, CFSTR("D"), 1, nullptr, nullptr, 1), nullptr);
    EXPECT_EQ(CFErrorCreateWithUserInfoKeysAndValues(nullptr, CFSTR("D"), 1, nullptr, nullptr, -1), nullptr);
}

// ---- Texts

TEST(CFError, GivesTheDescriptionItWasMadeWith) {
    EXPECT_EQ(message(error(CFSTR("D"), 1, kCFErrorLocalizedDescriptionKey, CFSTR("It broke."))), "It broke.");
    EXPECT_EQ(message(error(CFSTR("D"), 1, kCFErrorLocalizedDescriptionKey, CFSTR("It broke."),
                            kCFErrorLocalizedFailureReasonKey, CFSTR("Rust."))),
              "It broke.");
}

TEST(CFError, FormsADescriptionFromTheReason) {
    const auto failure = error(CFSTR("D"), 1, kCFErrorLocalizedFailureReasonKey, CFSTR("The disk is full."));
    EXPECT_EQ(message(failure), "The operation couldn’t be completed. The disk is full.");
    EXPECT_EQ(taken(CFErrorCopyFailureReason(failure)), "The disk is full.");
}

TEST(CFError, FormsADescriptionFromTheFailure) {
    EXPECT_EQ(message(error(CFSTR("D"), 1, kCFErrorLocalizedFailureKey, CFSTR("Not saved."))), "Not saved.");
    EXPECT_EQ(message(error(CFSTR("D"), 1, kCFErrorLocalizedFailureKey, CFSTR("Not saved."),
                            kCFErrorLocalizedFailureReasonKey, CFSTR("The disk is full."))),
              "Not saved. The disk is full.");
}

TEST(CFError, FormsADescriptionFromDomainAndCode) {
    EXPECT_EQ(message(error(CFSTR("Domain"), -42)), "The operation couldn’t be completed. (Domain error -42.)");
    EXPECT_EQ(message(error(CFSTR("Domain"), 5, kCFErrorDescriptionKey, CFSTR("jammed"))),
              "The operation couldn’t be completed. (Domain error 5 - jammed)");
}

TEST(CFError, CallsTheDomainsOfTheSystemByShortNames) {
    EXPECT_EQ(message(error(kCFErrorDomainCocoa, 3840)), "The operation couldn’t be completed. (Cocoa error 3840.)");
    EXPECT_EQ(message(error(kCFErrorDomainOSStatus, -50)),
              "The operation couldn’t be completed. (OSStatus error -50.)");
    EXPECT_EQ(message(error(kCFErrorDomainMach, 4, kCFErrorDescriptionKey, CFSTR("invalid argument"))),
              "The operation couldn’t be completed. (Mach error 4 - invalid argument)");
    EXPECT_EQ(message(error(kCFErrorDomainPOSIX, CFIndex{1} << 40)),
              "The operation couldn’t be completed. (POSIX error 1099511627776.)");
}

TEST(CFError, KnowsTheReasonsOfTheSystem) {
    const auto failure = error(kCFErrorDomainPOSIX, ENOENT);
    EXPECT_EQ(taken(CFErrorCopyFailureReason(failure)), "No such file or directory");
    EXPECT_EQ(message(failure), "The operation couldn’t be completed. No such file or directory");
    const auto explained = error(kCFErrorDomainPOSIX, ENOENT, kCFErrorLocalizedFailureReasonKey, CFSTR("It went."));
    EXPECT_EQ(taken(CFErrorCopyFailureReason(explained)), "It went.");
    EXPECT_EQ(CFErrorCopyFailureReason(error(CFSTR("Domain"), ENOENT)), nullptr);
    EXPECT_EQ(CFErrorCopyFailureReason(error(kCFErrorDomainPOSIX, CFIndex{1} << 40)), nullptr);
}

TEST(CFError, GivesARecoverySuggestionOnlyIfItHasOne) {
    EXPECT_EQ(CFErrorCopyRecoverySuggestion(error(kCFErrorDomainPOSIX, ENOENT)), nullptr);
    EXPECT_EQ(taken(CFErrorCopyRecoverySuggestion(
                  error(CFSTR("D"), 1, kCFErrorLocalizedRecoverySuggestionKey, CFSTR("Try again.")))),
              "Try again.");
}

TEST(CFError, PassesOverTextsThatAreNone) {
    EXPECT_EQ(message(error(CFSTR("D"), 1, kCFErrorLocalizedDescriptionKey, kCFBooleanTrue)),
              "The operation couldn’t be completed. (D error 1.)");
    EXPECT_EQ(CFErrorCopyRecoverySuggestion(error(CFSTR("D"), 1, kCFErrorLocalizedRecoverySuggestionKey, kCFNull)),
              nullptr);
}

TEST(CFError, DescribesItself) {
    EXPECT_EQ(description(error(CFSTR("Domain"), 1)),
              "Error Domain=Domain Code=1 \"The operation couldn’t be completed. (Domain error 1.)\"");
    EXPECT_EQ(description(error(CFSTR("Domain"), 1, kCFErrorLocalizedDescriptionKey, CFSTR("It broke."), CFSTR("Line"),
                                kCFBooleanTrue)),
              "Error Domain=Domain Code=1 \"It broke.\" UserInfo={NSLocalizedDescription=It broke., Line=" +
                  description(kCFBooleanTrue) + "}");
}

// ---- Equality, null and memory

TEST(CFError, IsEqualByDomainCodeAndUserInfo) {
    const auto domain = Values::string("Domain");
    EXPECT_TRUE(CFEqual(error(CFSTR("Domain"), 1), error(domain, 1)));
    EXPECT_EQ(CFHash(error(CFSTR("Domain"), 1)), CFHash(error(domain, 1)));
    EXPECT_TRUE(CFEqual(error(domain, 1), hold(CFErrorCreate(nullptr, domain, 1, nullptr))));
    EXPECT_FALSE(CFEqual(error(domain, 1), error(domain, 2)));
    EXPECT_FALSE(CFEqual(error(domain, 1), error(CFSTR("Other"), 1)));
    EXPECT_FALSE(CFEqual(error(domain, 1), error(domain, 1, CFSTR("a"), CFSTR("b"))));
    EXPECT_TRUE(CFEqual(error(domain, 1, CFSTR("a"), CFSTR("b")), error(domain, 1, CFSTR("a"), CFSTR("b"))));
    EXPECT_FALSE(CFEqual(error(domain, 1, CFSTR("a"), CFSTR("b")), error(domain, 1)));
}

TEST(CFError, IsNullSafe) {
    EXPECT_EQ(CFErrorGetDomain(nullptr), nullptr);
    EXPECT_EQ(CFErrorGetCode(nullptr), 0);
    EXPECT_EQ(CFErrorCopyDescription(nullptr), nullptr);
    EXPECT_EQ(CFErrorCopyFailureReason(nullptr), nullptr);
    EXPECT_EQ(CFErrorCopyRecoverySuggestion(nullptr), nullptr);
    EXPECT_NE(hold(CFErrorCopyUserInfo(nullptr)).get(), nullptr);
}

TEST(CFError, IsNullWithoutMemory) {
    const auto domain = mutableString(u"Domain");
    const void *keys[] = {CFSTR("a")}, *values[] = {CFSTR("b")};
    TestAllocator allocator;
    for (long granted = 0; granted < 3; ++granted) {
        allocator.failAfter(granted);
        EXPECT_EQ(CFErrorCreateWithUserInfoKeysAndValues(allocator, domain, 1, keys, values, 1), nullptr);
        EXPECT_EQ(allocator.blocks(), 0);
    }
    allocator.failAfter(3);
    hold(CFErrorCreateWithUserInfoKeysAndValues(allocator, domain, 1, keys, values, 1));
    EXPECT_EQ(allocator.blocks(), 0);
}

}  // namespace

TEST(CFError, SurvivesNullArguments) {
    using namespace NullArguments;
    EXPECT_EQ(CFErrorCreate(nullptr, nullptr, 1, nullptr), nullptr);
    EXPECT_EQ(CFErrorGetDomain(nullptr), nullptr);
    EXPECT_EQ(CFErrorGetCode(nullptr), 0);
    take(CFErrorCopyUserInfo(nullptr));
    EXPECT_EQ(CFErrorCopyDescription(nullptr), nullptr);
    EXPECT_EQ(CFErrorCopyFailureReason(nullptr), nullptr);
    EXPECT_EQ(CFErrorCopyRecoverySuggestion(nullptr), nullptr);
    for (const CFIndex code : kIndexes) {
        const auto error = hold(CFErrorCreate(nullptr, kCFErrorDomainPOSIX, code, nullptr));
        EXPECT_NE(Values::taken(CFErrorCopyDescription(error)), "");
        take(CFCopyDescription(error));
    }
    attack([](bool noDomain, bool noKeys, bool noValues, Length count) {
        const void* const pairs[] = {kObjects[0], kObjects[1]};
        const auto made =
            hold(CFErrorCreateWithUserInfoKeysAndValues(nullptr, noDomain ? nullptr : kCFErrorDomainCocoa, 1,
                                                        orNull(noKeys, pairs), orNull(noValues, pairs), count.value));
        EXPECT_EQ(made.get() != nullptr, !noDomain && (count.value == 0 || (count.value > 0 && !noKeys && !noValues)));
    });
}
