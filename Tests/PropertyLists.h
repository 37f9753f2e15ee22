#pragma once

// Property lists for tests, written as they read:
//
//     list({dict({{"Type", text("allow")}, {"AccessMask", number(5)}})})

#include <KXCoreLib/CoreFoundationWrappers.h>

#include <string>
#include <utility>
#include <vector>

namespace plist {

using KXCore::CoreFoundation::PropertyListRef;

inline PropertyListRef text(const std::string& utf8) {
    using KXCore::CoreFoundation::StringRef;
    return PropertyListRef::retain(StringRef::createWithStdString(nullptr, utf8, kCFStringEncodingUTF8).get());
}

inline PropertyListRef number(long long value) {
    return PropertyListRef::adopt(CFNumberCreate(nullptr, kCFNumberLongLongType, &value));
}

inline PropertyListRef real(double value) {
    return PropertyListRef::adopt(CFNumberCreate(nullptr, kCFNumberDoubleType, &value));
}

inline PropertyListRef boolean(bool value) { return PropertyListRef::retain(value ? kCFBooleanTrue : kCFBooleanFalse); }

inline PropertyListRef date(double absoluteTime) { return PropertyListRef::adopt(CFDateCreate(nullptr, absoluteTime)); }

inline PropertyListRef data(const std::string& bytes) {
    return PropertyListRef::adopt(
        CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
}

inline PropertyListRef list(const std::vector<PropertyListRef>& elements) {
    const CFMutableArrayRef made = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    for (const PropertyListRef& element : elements) CFArrayAppendValue(made, element.get());
    return PropertyListRef::adopt(made);
}

inline PropertyListRef dict(const std::vector<std::pair<std::string, PropertyListRef>>& entries) {
    const CFMutableDictionaryRef made =
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    for (const auto& [key, value] : entries) CFDictionarySetValue(made, text(key).get(), value.get());
    return PropertyListRef::adopt(made);
}

}  // namespace plist
