#pragma once

// What the tests of property lists share: making lists from literals, reading and writing them from and to text.

#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace PropertyListTesting {

struct Release {
    void operator()(CFTypeRef object) const noexcept { CFRelease(object); }
};

/// Owns one reference.
template <class T>
class Held {
  public:
    Held() = default;
    explicit Held(T object) : object_(object) {}
    Held(Held&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    Held& operator=(Held&& other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~Held() { CFRelease(object_); }
    T get() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }

  private:
    T object_ = nullptr;
};

using List = Held<CFTypeRef>;

inline List text(std::string_view utf8) {
    return List(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                        static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false));
}
inline List text(std::u16string_view units) {
    return List(CFStringCreateWithCharacters(nullptr, reinterpret_cast<const UniChar*>(units.data()),
                                             static_cast<CFIndex>(units.size())));
}
inline List integer(std::int64_t value) { return List(CFNumberCreate(nullptr, kCFNumberSInt64Type, &value)); }
inline List real(double value) { return List(CFNumberCreate(nullptr, kCFNumberFloat64Type, &value)); }
inline List boolean(bool value) { return List(CFRetain(value ? kCFBooleanTrue : kCFBooleanFalse)); }
inline List date(double value) { return List(CFDateCreate(nullptr, value)); }
inline Held<CFDataRef> bytes(std::string_view content) {
    return Held<CFDataRef>(
        CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(content.data()), static_cast<CFIndex>(content.size())));
}
inline List dataOf(std::string_view content) { return List(CFRetain(bytes(content).get())); }

template <class... Items>
List array(const Items&... items) {
    const void* values[sizeof...(Items) + 1] = {items.get()...};
    return List(CFArrayCreate(nullptr, values, sizeof...(Items), &kCFTypeArrayCallBacks));
}

inline List dictionary(std::vector<std::pair<List, List>> entries) {
    std::vector<const void*> keys;
    std::vector<const void*> values;
    for (const auto& [key, value] : entries) {
        keys.push_back(key.get());
        values.push_back(value.get());
    }
    return List(CFDictionaryCreate(nullptr, keys.data(), values.data(), static_cast<CFIndex>(keys.size()),
                                   &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}
template <class... Pairs>
List dict(Pairs... pairs) {
    std::vector<std::pair<List, List>> entries;
    (entries.push_back(std::move(pairs)), ...);
    return dictionary(std::move(entries));
}
inline std::pair<List, List> entry(std::string_view key, List value) { return {text(key), std::move(value)}; }

inline std::string utf8(CFTypeRef string) {
    if (!string || CFGetTypeID(string) != CFStringGetTypeID()) return "<no string>";
    const CFStringRef s = static_cast<CFStringRef>(string);
    CFIndex size = 0;
    CFStringGetBytes(s, CFRangeMake(0, CFStringGetLength(s)), kCFStringEncodingUTF8, '?', false, nullptr, 0, &size);
    std::string result(static_cast<std::size_t>(size), '\0');
    CFStringGetBytes(s, CFRangeMake(0, CFStringGetLength(s)), kCFStringEncodingUTF8, '?', false,
                     reinterpret_cast<UInt8*>(result.data()), size, nullptr);
    return result;
}

inline std::string content(CFDataRef data) {
    return {reinterpret_cast<const char*>(CFDataGetBytePtr(data)), static_cast<std::size_t>(CFDataGetLength(data))};
}

/// What a reader or writer answered.
struct Outcome {
    List list;
    CFPropertyListFormat format{};
    CFIndex code = 0;
    std::string domain;
    std::string reason;  ///< the error's description for developers

    explicit operator bool() const { return static_cast<bool>(list); }
};

inline void takeError(CFErrorRef error, Outcome& outcome) {
    const Held<CFErrorRef> held(error);
    if (!error) return;
    outcome.code = CFErrorGetCode(error);
    outcome.domain = utf8(CFErrorGetDomain(error));
    const Held<CFDictionaryRef> info(CFErrorCopyUserInfo(error));
    outcome.reason = utf8(CFDictionaryGetValue(info.get(), CFSTR("NSDebugDescription")));
}

inline Outcome read(std::string_view document, CFOptionFlags options = kCFPropertyListImmutable,
                    CFAllocatorRef allocator = nullptr) {
    // In memory of its exact size, so that reading past its end is seen.
    const std::unique_ptr<UInt8[]> exact(new UInt8[document.size()]);
    document.copy(reinterpret_cast<char*>(exact.get()), document.size());
    const Held<CFDataRef> input(
        CFDataCreateWithBytesNoCopy(nullptr, exact.get(), static_cast<CFIndex>(document.size()), kCFAllocatorNull));
    Outcome outcome;
    CFErrorRef error = nullptr;
    outcome.list = List(CFPropertyListCreateWithData(allocator, input.get(), options, &outcome.format, &error));
    EXPECT_EQ(outcome.list.get() == nullptr, error != nullptr) << document;
    takeError(error, outcome);
    return outcome;
}

inline Outcome write(CFTypeRef list, CFPropertyListFormat format, CFAllocatorRef allocator = nullptr) {
    Outcome outcome;
    CFErrorRef error = nullptr;
    outcome.list = List(CFPropertyListCreateData(allocator, list, format, 0, &error));
    EXPECT_EQ(outcome.list.get() == nullptr, error != nullptr);
    takeError(error, outcome);
    return outcome;
}

inline std::string written(CFTypeRef list, CFPropertyListFormat format) {
    const Outcome outcome = write(list, format);
    return outcome ? content(static_cast<CFDataRef>(outcome.list.get())) : "<" + outcome.reason + ">";
}
inline std::string writtenXML(CFTypeRef list) { return written(list, kCFPropertyListXMLFormat_v1_0); }
inline std::string writtenBinary(CFTypeRef list) { return written(list, kCFPropertyListBinaryFormat_v1_0); }

inline constexpr std::string_view kXMLHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
inline constexpr std::string_view kXMLTail = "</plist>\n";

/// A document as the writer makes it around `body`.
inline std::string document(std::string_view body) {
    return std::string(kXMLHead) + std::string(body) + std::string(kXMLTail);
}

/// The written XML without what stands around every value.
inline std::string body(CFTypeRef list) {
    const std::string xml = writtenXML(list);
    if (!xml.starts_with(kXMLHead) || !xml.ends_with(kXMLTail)) return xml;
    return xml.substr(kXMLHead.size(), xml.size() - kXMLHead.size() - kXMLTail.size());
}

/// Reads an XML element and answers what it is when written again.
inline std::string reread(std::string_view element) {
    const Outcome outcome = read(element);
    return outcome ? body(outcome.list.get()) : "refused: " + outcome.reason;
}

inline testing::AssertionResult isRefused(std::string_view text, std::string_view reasonPart = {}) {
    const Outcome outcome = read(text);
    if (outcome) return testing::AssertionFailure() << "was read as " << body(outcome.list.get());
    if (outcome.code != kCFPropertyListReadCorruptError) return testing::AssertionFailure() << "code " << outcome.code;
    if (outcome.domain != "NSCocoaErrorDomain") return testing::AssertionFailure() << "domain " << outcome.domain;
    if (outcome.reason.find(reasonPart) == std::string::npos) {
        return testing::AssertionFailure() << "the reason is: " << outcome.reason;
    }
    if (outcome.reason.empty()) return testing::AssertionFailure() << "no reason";
    return testing::AssertionSuccess();
}

/// An allocator that gives memory `successes` times and then never again.
class FailingAllocator {
  public:
    explicit FailingAllocator(int successes) : left_(successes) {
        CFAllocatorContext context{};
        context.info = this;
        context.allocate = [](CFIndex size, CFOptionFlags, void* info) -> void* {
            return static_cast<FailingAllocator*>(info)->left_-- > 0 ? malloc(static_cast<std::size_t>(size)) : nullptr;
        };
        context.reallocate = [](void* memory, CFIndex size, CFOptionFlags, void* info) -> void* {
            return static_cast<FailingAllocator*>(info)->left_-- > 0 ? realloc(memory, static_cast<std::size_t>(size))
                                                                     : nullptr;
        };
        context.deallocate = [](void* memory, void*) { free(memory); };
        allocator_ = Held<CFAllocatorRef>(CFAllocatorCreate(nullptr, &context));
    }
    CFAllocatorRef get() const { return allocator_.get(); }

  private:
    int left_;
    Held<CFAllocatorRef> allocator_;
};

}  // namespace PropertyListTesting
