#include <KXCoreLib/CoreFoundationWrappers.h>

#include "CoreFoundation/WrapperSignatures.h"
#include "CoreFoundation/WrapperTesting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <boost/functional/hash.hpp>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <thread>
#include <type_traits>
#include <unordered_set>
#include <utility>
#include <vector>

using namespace KXCore::CoreFoundation;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {

DataRef someData() { return bytesOf("abc"); }

ErrorRef someError() { return ErrorRef::create(kCFAllocatorDefault, kCFErrorDomainPOSIX, 2, nullptr); }

}  // namespace

// The life of a wrapper.

TEST(WrapperLife, StartsEmpty) {
    const DataRef empty;
    EXPECT_FALSE(empty);
    EXPECT_EQ(empty.get(), nullptr);
}

TEST(WrapperLife, AdoptTakesOverTheReference) {
    const CFDataRef raw = CFDataCreate(kCFAllocatorDefault, nullptr, 0);
    CFRetain(raw);
    {
        const DataRef data = DataRef::adopt(raw);
        EXPECT_EQ(data.get(), raw);
        EXPECT_TRUE(data);
        EXPECT_EQ(CFGetRetainCount(raw), 2);
    }
    EXPECT_EQ(CFGetRetainCount(raw), 1);
    CFRelease(raw);
}

TEST(WrapperLife, RetainAddsAReference) {
    const CFDataRef raw = CFDataCreate(kCFAllocatorDefault, nullptr, 0);
    {
        const DataRef data = DataRef::retain(raw);
        EXPECT_EQ(CFGetRetainCount(raw), 2);
    }
    EXPECT_EQ(CFGetRetainCount(raw), 1);
    CFRelease(raw);
}

TEST(WrapperLife, AdoptAndRetainOfNullGiveAnEmptyWrapper) {
    EXPECT_FALSE(DataRef::adopt(nullptr));
    EXPECT_FALSE(DataRef::retain(nullptr));
    EXPECT_FALSE(TypeRef::adopt(nullptr));
    EXPECT_FALSE(TypeRef::retain(nullptr));
}

TEST(WrapperLife, ACopyRetains) {
    const DataRef data = someData();
    {
        const DataRef copy = data;
        EXPECT_EQ(copy.get(), data.get());
        EXPECT_EQ(countOf(data), 2);
    }
    EXPECT_EQ(countOf(data), 1);
}

TEST(WrapperLife, AMoveEmptiesItsSource) {
    DataRef data = someData();
    const CFDataRef raw = data.get();
    const DataRef moved = std::move(data);
    EXPECT_FALSE(data);
    EXPECT_EQ(moved.get(), raw);
    EXPECT_EQ(countOf(moved), 1);
}

TEST(WrapperLife, CopyAssignmentReleasesTheOldObject) {
    const DataRef old = someData();
    const DataRef other = someData();
    DataRef data = old;
    data = other;
    EXPECT_EQ(countOf(old), 1);
    EXPECT_EQ(countOf(other), 2);
}

TEST(WrapperLife, MoveAssignmentReleasesTheOldObjectAndEmptiesItsSource) {
    const DataRef old = someData();
    DataRef data = old;
    DataRef other = someData();
    data = std::move(other);
    EXPECT_EQ(countOf(old), 1);
    EXPECT_EQ(countOf(data), 1);
    EXPECT_FALSE(other);
}

TEST(WrapperLife, AssigningAWrapperToItselfChangesNothing) {
    DataRef data = someData();
    DataRef& same = data;
    data = same;
    EXPECT_EQ(countOf(data), 1);
    data = std::move(same);
    ASSERT_TRUE(data);
    EXPECT_EQ(countOf(data), 1);
}

TEST(WrapperLife, AnEmptyWrapperCanBeCopiedMovedAndAssigned) {
    DataRef empty;
    DataRef copy = empty;
    DataRef moved = std::move(copy);
    DataRef data = someData();
    data = moved;
    EXPECT_FALSE(data);
}

TEST(WrapperLife, SwapExchangesWithoutCounting) {
    DataRef a = someData();
    DataRef b;
    std::swap(a, b);
    EXPECT_FALSE(a);
    EXPECT_EQ(countOf(b), 1);
}

TEST(WrapperLife, ACreatedObjectIsHeldOnce) { EXPECT_EQ(countOf(numbers({})), 1); }

TEST(WrapperLife, AMutableWrapperGivesItsObjectToAnImmutableOne) {
    MutableDataRef changing = DataRef::createMutable(kCFAllocatorDefault, 0);
    const DataRef view = changing;
    EXPECT_EQ(countOf(view), 2);
    const DataRef taken = std::move(changing);
    EXPECT_FALSE(changing);
    EXPECT_EQ(countOf(taken), 2);
}

TEST(TypeRefAssign, RetainsTheNewAndReleasesTheOldObject) {
    const DataRef first = someData();
    const DataRef second = someData();
    TypeRef any;
    any.assign(first.get());
    EXPECT_EQ(countOf(first), 2);
    any.assign(second.get());
    EXPECT_EQ(countOf(first), 1);
    EXPECT_EQ(countOf(second), 2);
    any.assign(nullptr);
    EXPECT_EQ(countOf(second), 1);
    EXPECT_FALSE(any);
}

TEST(TypeRefAssign, OfTheHeldObjectLeavesItsCount) {
    TypeRef any = someData();
    any.assign(any.get());
    EXPECT_EQ(countOf(any), 1);
}

// Equality and hash.

TEST(WrapperEquality, IsThatOfTheObjects) {
    EXPECT_EQ(someData(), someData());
    EXPECT_NE(someData(), DataRef::createWithStdVector(kCFAllocatorDefault, {1, 2}));
    EXPECT_EQ(text("grün"), StringRef::createMutableCopy(kCFAllocatorDefault, 0, text("grün").get()));
    EXPECT_NE(TypeRef(number(1)), TypeRef(text("1")));
    EXPECT_EQ(PropertyListRef::retain(text("x").get()), text("x"));
}

TEST(WrapperEquality, EmptyWrappersAreEqualAndUnequalToAnyObject) {
    EXPECT_EQ(DataRef(), DataRef());
    EXPECT_NE(DataRef(), someData());
    EXPECT_NE(someData(), DataRef());
}

TEST(WrapperHash, AgreesWithEquality) {
    EXPECT_EQ(std::hash<StringRef>()(text("abc")), std::hash<StringRef>()(text("abc")));
    EXPECT_EQ(std::hash<StringRef>()(text("abc")), CFHash(text("abc").get()));
    EXPECT_EQ(std::hash<TypeRef>()(TypeRef()), 0u);
    std::unordered_set<StringRef> set{text("a"), text("b"), text("a"), StringRef()};
    EXPECT_EQ(set.size(), 3u);
    EXPECT_TRUE(set.contains(text("b")));
}

TEST(WrapperHash, ServesBoostsContainersAndEveryClass) {
    const StringRef string = text("abc");
    EXPECT_EQ(boost::hash<StringRef>()(string), CFHash(string.get()));
    EXPECT_EQ(boost::hash<DataRef>()(DataRef()), 0u);
    const MutableStringRef copy = StringRef::createMutableCopy(nullptr, 0, string.get());
    EXPECT_EQ(std::hash<MutableStringRef>()(copy), std::hash<StringRef>()(string));
    EXPECT_EQ(std::hash<TypeRef>()(TypeRef(copy)), std::hash<StringRef>()(string));
}

// Misuse that a compiler must refuse.

template <class Ref, class Raw>
constexpr bool hasNamedWaysOnly =
    !std::is_convertible_v<Raw, Ref> && !std::is_constructible_v<Ref, Raw> && !std::is_assignable_v<Ref&, Raw> &&
    !std::is_convertible_v<Ref, Raw> && !std::is_constructible_v<Raw, Ref> && !std::is_convertible_v<Ref, bool> &&
    !std::is_assignable_v<Ref&, std::nullptr_t>;
static_assert(hasNamedWaysOnly<StringRef, CFStringRef>);
static_assert(hasNamedWaysOnly<MutableStringRef, CFMutableStringRef>);
static_assert(hasNamedWaysOnly<ErrorRef, CFErrorRef>);
static_assert(hasNamedWaysOnly<PropertyListRef, CFPropertyListRef>);
static_assert(hasNamedWaysOnly<TypeRef, CFTypeRef>);
static_assert(!std::is_assignable_v<TypeRef&, TypeRef> && !std::is_assignable_v<TypeRef&, NumberRef>);
static_assert(!std::is_constructible_v<StringRef, NumberRef> && !std::is_assignable_v<StringRef&, NumberRef>);
static_assert(!std::is_constructible_v<StringRef, TypeRef> && !std::is_assignable_v<StringRef&, TypeRef>);
static_assert(!std::is_constructible_v<MutableStringRef, StringRef>);
static_assert(!std::is_assignable_v<MutableStringRef&, StringRef>);
static_assert(std::is_convertible_v<MutableStringRef, StringRef> && std::is_convertible_v<StringRef, TypeRef>);
static_assert(!std::is_invocable_v<decltype(&StringRef::adopt), CFNumberRef>);
static_assert(!std::is_invocable_v<decltype(&MutableStringRef::adopt), CFStringRef>);

// The check of signatures tells apart what it must.

static_assert(forwards<ArrayRef, CFIndex (ArrayRef::*)() const, decltype(&CFArrayGetCount)>);
static_assert(!forwards<ArrayRef, CFIndex (*)(), decltype(&CFArrayGetCount)>);
static_assert(!forwards<ArrayRef, CFIndex (*)(CFArrayRef), decltype(&CFArrayGetCount)>, "the object comes first");
static_assert(!forwards<DataRef, CFIndex (DataRef::*)() const, decltype(&CFArrayGetCount)>);
static_assert(!forwards<MutableArrayRef, void (MutableArrayRef::*)(CFIndex), decltype(&CFArrayAppendValue)>);
static_assert(forwards<ArrayRef, ArrayRef (*)(CFAllocatorRef, CFArrayRef), decltype(&CFArrayCreateCopy)>);
static_assert(!forwards<ArrayRef, ArrayRef (ArrayRef::*)(CFAllocatorRef) const, decltype(&CFArrayCreateCopy)>);
static_assert(!forwards<UUIDRef, DataRef (*)(CFAllocatorRef), decltype(&CFUUIDCreate)>);
static_assert(owns<UUIDRef (*)(CFAllocatorRef), decltype(&CFUUIDCreate)>("CFUUIDCreate"));
static_assert(!owns<CFUUIDRef (*)(CFAllocatorRef), decltype(&CFUUIDCreate)>("CFUUIDCreate"));

// Typed assignment.

namespace {

/// As a static object of a program sees it.
const CFTypeID typeIDAtStart = StringRef::typeID;

}  // namespace

TEST(TypeIdentifiers, AreFilledWhenTheLibraryIsLoaded) { EXPECT_EQ(typeIDAtStart, CFStringGetTypeID()); }

TEST(TypedAssign, NamesThePlatformType) {
    EXPECT_STREQ(AllocatorRef::typeName, "CFAllocatorRef");
    EXPECT_STREQ(StringRef::typeName, "CFStringRef");
    EXPECT_STREQ(UUIDRef::typeName, "CFUUIDRef");
}

TEST(TypedAssign, OfTheHeldObjectLeavesItsCount) {
    DataRef data = someData();
    data.assign(data.get());
    EXPECT_EQ(countOf(data), 1);
}

TEST(TypedAssign, ReleasesTheOldObject) {
    const DataRef old = someData();
    DataRef data = old;
    data.assign(someData().get());
    EXPECT_EQ(countOf(old), 1);
    EXPECT_EQ(countOf(data), 1);
}

TEST(TypedAssign, OfAMutableWrapperChecksTheImmutableType) {
    MutableStringRef string = StringRef::createMutable(kCFAllocatorDefault, 0);
    EXPECT_EQ(failureOf([&] { string.assign(number(1).get()); }).what, "unexpected pointer type");
    EXPECT_TRUE(string);
}

// The reporters.

TEST(Reporters, FailedToCreateObjectNamesTheFunction) {
    const Failure failure = failureOf([] { __FailedToCreateObject("CFExampleCreate"); });
    EXPECT_EQ(failure.message, "failed to create object: CFExampleCreate\n");
    EXPECT_EQ(failure.what, "failed to create object");
}

TEST(Reporters, FailedToCreateObjectWithErrorDescriptionTellsBoth) {
    const Failure failure =
        failureOf([] { __FailedToCreateObjectWithErrorDescription("CFExampleCreate", "no end tag"); });
    EXPECT_EQ(failure.message, "failed to create object: CFExampleCreate, error( no end tag )\n");
    EXPECT_EQ(failure.what, "failed to create object");
}

TEST(Reporters, UnexpectedErrorOccuredShowsTheError) {
    const ErrorRef error = someError();
    const Failure failure = failureOf([&] { __UnexpectedErrorOccured(error.get()); });
    EXPECT_THAT(failure.message, StartsWith("unexpected error occured:\n"));
    EXPECT_THAT(failure.message, HasSubstr("NSPOSIXErrorDomain"));
    EXPECT_EQ(failure.what, "unexpected error occured");
    EXPECT_EQ(countOf(error), 1);
}

TEST(Reporters, UnexpectedErrorOccuredStandsAMissingError) {
    const Failure failure = failureOf([] { __UnexpectedErrorOccured(nullptr); });
    EXPECT_THAT(failure.message, StartsWith("unexpected error occured:\n"));
    EXPECT_EQ(failure.what, "unexpected error occured");
}

TEST(Reporters, UnexpectedPointerTypeShowsTheObject) {
    const Failure failure = failureOf([] { __UnexpectedPointerType(text("hello").get(), "CFNumberRef"); });
    EXPECT_THAT(failure.message, StartsWith("expected CFNumberRef\n"));
    EXPECT_THAT(failure.message, HasSubstr("hello"));
    EXPECT_EQ(failure.what, "unexpected pointer type");
}

TEST(Reporters, ALineBeginsWithTheTime) {
    testing::internal::CaptureStderr();
    EXPECT_THROW(__FailedToCreateObject("CFExampleCreate"), CFExceptionImpl);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                MatchesRegex("\\[[A-Z][a-z][a-z] [A-Z][a-z][a-z] [ 0-9][0-9] [0-9:]+ [0-9]+\\]"
                             "failed to create object: CFExampleCreate\n"));
}

TEST(CFExceptionThrown, IsNoStandardException) {
    static_assert(!std::is_base_of_v<std::exception, CFException>);
    static_assert(std::is_abstract_v<CFException> && std::has_virtual_destructor_v<CFException>);
    static_assert(sizeof(CFExceptionImpl) == 2 * sizeof(void*));
    const auto caughtBy = [] {
        try {
            DataRef().assign(nullptr);
        } catch (const std::exception&) {
            return "std::exception";
        } catch (const CFException&) {
            return "CFException";
        }
        return "nothing";
    };
    testing::internal::CaptureStderr();
    EXPECT_STREQ(caughtBy(), "CFException");
    testing::internal::GetCapturedStderr();
}

/// Slot `slot` of the class's table, as the platform's C++ ABI lays it out.
template <class Method>
Method slotOf(const CFException& exception, int slot) {
    const void* table = nullptr;
    std::memcpy(&table, static_cast<const void*>(&exception), sizeof table);
    Method method = nullptr;
    std::memcpy(&method, static_cast<const char*>(table) + static_cast<std::size_t>(slot) * sizeof method,
                sizeof method);
    return method;
}

__attribute__((no_sanitize("undefined"))) const char* callFirstSlot(const CFException& exception) {
    return slotOf<const char* (*)(const CFException*)>(exception, 0)(&exception);
}

TEST(CFExceptionThrown, HasItsTextInTheFirstSlot) {
    static const char message[] = "a constant text";
    EXPECT_EQ(callFirstSlot(CFExceptionImpl(message)), message);
}

TEST(CFExceptionThrown, KeepsTheTextItWasGiven) {
    static const char message[] = "a constant text";
    const CFExceptionImpl exception(message);
    const CFExceptionImpl copy = exception;
    EXPECT_EQ(static_cast<const CFException&>(copy).what(), message);
}

// Threads.

TEST(WrapperThreads, HoldOneObjectThroughWrappersOfTheirOwn) {
    const DataRef data = someData();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([copy = data]() mutable {
            for (int round = 0; round < 20000; ++round) {
                DataRef another = copy;
                TypeRef any;
                any.assign(another.get());
                copy = std::move(another);
                if (copy.getLength() != 3) std::abort();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    threads.clear();
    EXPECT_EQ(countOf(data), 1);
}

TEST(WrapperThreads, FailEachOnTheirOwn) {
    testing::internal::CaptureStderr();
    std::atomic<int> caught = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&caught] {
            for (int round = 0; round < 50; ++round) {
                try {
                    StringRef().assign(nullptr);
                } catch (const CFException&) {
                    ++caught;
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    const std::string lines = testing::internal::GetCapturedStderr();
    EXPECT_EQ(caught, 200);
    std::size_t reports = 0;
    for (std::size_t at = 0; (at = lines.find("]expected CFStringRef\n", at)) != std::string::npos; ++at) ++reports;
    EXPECT_EQ(reports, 200u) << "every line stands whole";
}
