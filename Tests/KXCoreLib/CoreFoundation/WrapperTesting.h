#pragma once

// What the tests of the wrappers share: objects to work on, an allocator without memory, and what a failed operation
// reported.

#include <KXCoreLib/CoreFoundation/AllocatorRef.h>
#include <KXCoreLib/CoreFoundation/ArrayRef.h>
#include <KXCoreLib/CoreFoundation/CFException.h>
#include <KXCoreLib/CoreFoundation/DataRef.h>
#include <KXCoreLib/CoreFoundation/NumberRef.h>
#include <KXCoreLib/CoreFoundation/StringRef.h>

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <string>

namespace KXCore::CoreFoundation {

inline StringRef text(const std::string& utf8) {
    return StringRef::createWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(utf8.data()),
                                      static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false);
}

inline DataRef bytesOf(const std::string& text) {
    return DataRef::createWithStdVector(kCFAllocatorDefault, {text.begin(), text.end()});
}

inline NumberRef number(int value) { return NumberRef::create(kCFAllocatorDefault, kCFNumberIntType, &value); }

inline int intValue(CFTypeRef number) {
    int value = -1;
    CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberIntType, &value);
    return value;
}

/// An array of numbers.
inline MutableArrayRef numbers(std::initializer_list<int> values) {
    MutableArrayRef array = ArrayRef::createMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
    for (const int value : values) array.appendValue(number(value).get());
    return array;
}

inline bool isRange(CFRange range, CFIndex location, CFIndex length) {
    return range.location == location && range.length == length;
}

/// How many references its object has.
inline CFIndex countOf(const TypeRef& ref) { return CFGetRetainCount(ref.get()); }

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

/// Expects that `operation` creates nothing and reports it as a failure of `function`.
inline void expectFailsToCreate(const std::string& function, const std::function<void()>& operation) {
    const Failure failure = failureOf(operation);
    EXPECT_EQ(failure.what, "failed to create object");
    EXPECT_EQ(failure.message, "failed to create object: " + function + "\n");
}

/// An allocator whose every allocation fails.
inline const AllocatorRef& noMemory() {
    static const AllocatorRef allocator = [] {
        CFAllocatorContext context{};
        context.allocate = [](CFIndex, CFOptionFlags, void*) -> void* { return nullptr; };
        context.deallocate = [](void*, void*) {};
        return AllocatorRef::create(kCFAllocatorDefault, &context);
    }();
    return allocator;
}

/// A creating operation, and the function that it reports when it fails.
struct Creation {
    const char* function;
    void (*create)(CFAllocatorRef allocator);
};

/// Expects that each creates with memory, and without it reports a failure of its function.
inline void expectFailuresWithoutMemory(std::initializer_list<Creation> creations) {
    for (const Creation& creation : creations) {
        SCOPED_TRACE(creation.function);
        EXPECT_NO_THROW(creation.create(kCFAllocatorDefault));
        expectFailsToCreate(creation.function, [&] { creation.create(noMemory().get()); });
    }
}

}  // namespace KXCore::CoreFoundation
