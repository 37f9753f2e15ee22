#pragma once

// What the tests of the wrappers share: an object of each type, an allocator without memory, and what a failed
// operation said.

#include <KXCoreLib/CoreFoundationWrappers.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace KXCore::CoreFoundation {

/// An object of the class's type that nothing else holds; a constant where the type has only these.
template <class Ref>
Ref sample();

template <>
inline AllocatorRef sample() {
    return AllocatorRef::retain(kCFAllocatorSystemDefault);
}
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
inline ErrorRef sample() {
    return ErrorRef::create(kCFAllocatorDefault, kCFErrorDomainPOSIX, 2, nullptr);
}
template <>
inline NullRef sample() {
    return NullRef::retain(kCFNull);
}
template <>
inline NumberRef sample() {
    const double value = 1234.5678;
    return NumberRef::create(kCFAllocatorDefault, kCFNumberDoubleType, &value);
}
template <>
inline SetRef sample() {
    return SetRef::create(kCFAllocatorDefault, nullptr, 0, &kCFTypeSetCallBacks);
}
template <>
inline StringRef sample() {
    return StringRef::createWithStdString(kCFAllocatorDefault, "a text that is no constant", kCFStringEncodingUTF8);
}
template <>
inline UUIDRef sample() {
    return UUIDRef::create(kCFAllocatorDefault);
}

inline StringRef text(const std::string& utf8) {
    return StringRef::createWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(utf8.data()),
                                      static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false);
}

inline NumberRef number(int value) { return NumberRef::create(kCFAllocatorDefault, kCFNumberIntType, &value); }

inline bool isRange(CFRange range, CFIndex location, CFIndex length) {
    return range.location == location && range.length == length;
}

inline int intValue(CFTypeRef number) {
    int value = -1;
    CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberIntType, &value);
    return value;
}

/// What became of an operation that was expected to fail.
struct Failure {
    std::string what;     ///< of the CFException; empty when nothing was thrown
    std::string message;  ///< what went to the standard error stream, without the time that heads it
};

inline Failure failureOf(const std::function<void()>& operation) {
    Failure failure;
    testing::internal::CaptureStderr();
    try {
        operation();
    } catch (const CFException& exception) {
        failure.what = exception.what();
    }
    failure.message = testing::internal::GetCapturedStderr();
    // "[Sun Nov 15 16:02:44 2026]"
    if (failure.message.size() > 26 && failure.message[0] == '[' && failure.message[25] == ']') {
        failure.message.erase(0, 26);
    }
    return failure;
}

}  // namespace KXCore::CoreFoundation
