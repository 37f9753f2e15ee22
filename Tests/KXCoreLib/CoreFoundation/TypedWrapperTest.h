#pragma once

// What holds for every class whose objects are of one platform type. The test of a class runs it on a sample:
//
//     template <>
//     ArrayRef KXCore::CoreFoundation::sample() {
//         return ArrayRef::create(kCFAllocatorDefault, nullptr, 0, &kCFTypeArrayCallBacks);
//     }
//     INSTANTIATE_TYPED_TEST_SUITE_P(ArrayRef, TypedWrapper, ArrayRef);

#include "WrapperTesting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <utility>

namespace KXCore::CoreFoundation {

/// An object of the class's type; a constant where the type has only these.
template <class Ref>
Ref sample();

template <class Ref>
class TypedWrapper : public testing::Test {};
TYPED_TEST_SUITE_P(TypedWrapper);

TYPED_TEST_P(TypedWrapper, HasThePlatformsTypeIdentifierAndName) {
    EXPECT_EQ(TypeParam::typeID, CFGetTypeID(sample<TypeParam>().get()));
    EXPECT_EQ(TypeParam::typeID, TypeParam::getTypeID());
    EXPECT_THAT(TypeParam::typeName, testing::MatchesRegex("CF[A-Za-z]+Ref"));
}

TYPED_TEST_P(TypedWrapper, IsAssignedAnObjectOfItsType) {
    const TypeParam object = sample<TypeParam>();
    TypeParam ref;
    ref.assign(object.get());
    EXPECT_EQ(ref.get(), object.get());
}

TYPED_TEST_P(TypedWrapper, RefusesNullAndKeepsItsObject) {
    const TypeParam object = sample<TypeParam>();
    TypeParam ref = object;
    const Failure failure = failureOf([&] { ref.assign(nullptr); });
    EXPECT_EQ(failure.what, "unexpected pointer type");
    EXPECT_THAT(failure.message, testing::StartsWith(std::string("expected ") + TypeParam::typeName + "\n"));
    EXPECT_EQ(ref.get(), object.get());
}

TYPED_TEST_P(TypedWrapper, RefusesAnObjectOfAnotherTypeAndKeepsItsOwn) {
    const TypeParam object = sample<TypeParam>();
    TypeParam ref = object;
    const StringRef string = text("another");
    const NumberRef other = number(77);
    const bool isNumber = std::is_same_v<TypeParam, NumberRef>;
    const CFTypeRef wrong = isNumber ? CFTypeRef(string.get()) : CFTypeRef(other.get());
    const CFIndex count = CFGetRetainCount(wrong);
    const Failure failure = failureOf([&] { ref.assign(wrong); });
    EXPECT_EQ(failure.what, "unexpected pointer type");
    EXPECT_THAT(failure.message, testing::StartsWith(std::string("expected ") + TypeParam::typeName + "\n"));
    EXPECT_THAT(failure.message, testing::HasSubstr(isNumber ? "another" : "77")) << "the object is shown";
    EXPECT_EQ(ref.get(), object.get());
    EXPECT_EQ(CFGetRetainCount(wrong), count);
}

TYPED_TEST_P(TypedWrapper, IsCopiedMovedAndComparedWithItsObject) {
    const TypeParam object = sample<TypeParam>();
    TypeParam copy = object;
    EXPECT_EQ(copy.get(), object.get());
    EXPECT_EQ(copy, object);
    const TypeParam moved = std::move(copy);
    EXPECT_EQ(moved.get(), object.get());
    EXPECT_FALSE(copy);
    EXPECT_NE(copy, object);
}

REGISTER_TYPED_TEST_SUITE_P(TypedWrapper, HasThePlatformsTypeIdentifierAndName, IsAssignedAnObjectOfItsType,
                            RefusesNullAndKeepsItsObject, RefusesAnObjectOfAnotherTypeAndKeepsItsOwn,
                            IsCopiedMovedAndComparedWithItsObject);

}  // namespace KXCore::CoreFoundation
