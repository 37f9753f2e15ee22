#pragma once

// What the tests of property-list navigation share: lists in the making, and what an error says.

#include <KXCoreLib/PList.h>

#include "CoreFoundation/WrapperTesting.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace KXCore {

using namespace CoreFoundation;

inline constexpr auto Optional = ItemKind::Optional;
inline constexpr auto Required = ItemKind::Required;

/// A value of each type that a list holds.
template <class Ref>
Ref sample();
template <>
inline ArrayRef sample() {
    return ArrayRef::create(kCFAllocatorDefault, nullptr, 0, &kCFTypeArrayCallBacks);
}
template <>
inline BooleanRef sample() {
    return BooleanRef::retain(kCFBooleanTrue);
}
template <>
inline DataRef sample() {
    return DataRef::createWithStdVector(kCFAllocatorDefault, {1, 2, 3});
}
template <>
inline DateRef sample() {
    return DateRef::create(kCFAllocatorDefault, 1000.25);
}
template <>
inline DictionaryRef sample() {
    return DictionaryRef::create(kCFAllocatorDefault, nullptr, nullptr, 0);
}
template <>
inline NumberRef sample() {
    const double value = 1234.5678;
    return NumberRef::create(kCFAllocatorDefault, kCFNumberDoubleType, &value);
}
template <>
inline StringRef sample() {
    return text("a text that is no constant");
}

/// A dictionary in the making.
class Dict {
  public:
    Dict& set(const char* key, const TypeRef& value) {
        dictionary_.setValue(text(key).get(), value.get());
        return *this;
    }
    Dict& set(const char* key, const Dict& value) { return set(key, value.dictionary_); }
    const MutableDictionaryRef& ref() const { return dictionary_; }

  private:
    MutableDictionaryRef dictionary_ = DictionaryRef::createMutable(kCFAllocatorDefault, 0);
};

template <class... Values>
ArrayRef arrayOf(const Values&... values) {
    MutableArrayRef array = ArrayRef::createMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
    (array.appendValue(values.get()), ...);
    return array;
}

inline NumberRef real(double value) { return NumberRef::create(kCFAllocatorDefault, kCFNumberDoubleType, &value); }

inline NumberRef integer(long long value) {
    return NumberRef::create(kCFAllocatorDefault, kCFNumberLongLongType, &value);
}

inline PListAndInfo info(const TypeRef& list) { return {PropertyListRef::retain(list.get()), L"info"}; }
inline PListAndInfo info(const Dict& list) { return info(list.ref()); }

/// Where an error of the given class says it happened.
template <class Error, class Operation>
std::wstring locationOf(Operation operation) {
    try {
        operation();
    } catch (const Error& error) {
        return error.getLocationInfo();
    } catch (const PListError& error) {
        ADD_FAILURE() << "another error: " << error.what();
    }
    return L"(no error)";
}

template <class Operation>
std::int32_t expectedTypeOf(Operation operation) {
    try {
        operation();
    } catch (const PListUnexpectedTypeError& error) {
        return error.getExpectedType();
    }
    return 0;
}

}  // namespace KXCore
