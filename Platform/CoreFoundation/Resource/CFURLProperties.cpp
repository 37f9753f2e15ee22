// Properties of the file that a URL stands for, and what the URL object remembers of them.

#include "CFURLObject.h"
#include "FileProperties.h"
#include "URLErrors.h"

#include <CoreFoundation/CFNumber.h>

#include <cerrno>
#include <mutex>
#include <new>
#include <vector>

using namespace KXPlatform;

namespace KXPlatform {

/// Values by key; kCFNull for a value that the file was found not to have. What the caller set for a time stands there
/// like what was read.
struct URLProperties {
    std::mutex mutex;
    Retained<__CFDictionary> values;
};

void endURLProperties(URLProperties* properties) noexcept { delete properties; }

}  // namespace KXPlatform

namespace {

using Value = Retained<const Object>;

bool isKey(CFStringRef key) noexcept { return isOfType(key, TypeID::String); }

/// The URL's memory of properties, made if it has none. Throws std::bad_alloc.
URLProperties& propertiesOf(CFURLRef url) {
    if (URLProperties* const there = url->properties.load(std::memory_order_acquire)) return *there;
    auto made = std::make_unique<URLProperties>();
    URLProperties* other = nullptr;
    if (!url->properties.compare_exchange_strong(other, made.get(), std::memory_order_acq_rel)) return *other;
    return *made.release();
}

Value remembered(CFURLRef url, CFStringRef key) noexcept {
    URLProperties* const properties = url->properties.load(std::memory_order_acquire);
    if (!properties) return {};
    const std::lock_guard lock(properties->mutex);
    return Value::retaining(object(CFDictionaryGetValue(properties->values.get(), key)));
}

/// Throws std::bad_alloc.
void remember(CFURLRef url, CFStringRef key, CFTypeRef value) {
    URLProperties& properties = propertiesOf(url);
    Value before;  // released when the lock is: it may be an object of the caller's
    const std::lock_guard lock(properties.mutex);
    if (!properties.values) {
        properties.values = Retained<__CFDictionary>::adopting(CFDictionaryCreateMutable(
            nullptr, 0, &kCFCopyStringDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
        if (!properties.values) throw std::bad_alloc();
    }
    before = Value::retaining(object(CFDictionaryGetValue(properties.values.get(), key)));
    CFDictionarySetValue(properties.values.get(), key, value ? value : kCFNull);
}

void forget(CFURLRef url, CFStringRef key) noexcept {
    URLProperties* const properties = url->properties.load(std::memory_order_acquire);
    if (!properties) return;
    Value before;
    const std::lock_guard lock(properties->mutex);
    before = Value::retaining(object(CFDictionaryGetValue(properties->values.get(), key)));
    CFDictionaryRemoveValue(properties->values.get(), key);
}

void forgetAll(CFURLRef url) noexcept {
    URLProperties* const properties = url->properties.load(std::memory_order_acquire);
    if (!properties) return;
    Retained<__CFDictionary> before;
    const std::lock_guard lock(properties->mutex);
    std::swap(before, properties->values);
}

/// The value of one property, empty where the file has none. False, with an error, when it cannot be read. `file` is
/// made when it is first needed. Throws std::bad_alloc.
bool readProperty(CFURLRef url, CFStringRef key, std::optional<FileFacts>& file, Value& value, CFErrorRef* error) {
    value = remembered(url, key);
    if (value) {
        if (value.get() == object(kCFNull)) value = Value();
        return true;
    }
    if (!file) {
        std::string path;
        if (!filePath(url, path)) {
            reportFileError(error, ReadUnsupportedScheme, url);
            return false;
        }
        file.emplace(std::move(path));
    }
    const ReadProperty read = readerOf(key);
    if (!read) return true;
    if (!file->status()) {
        reportFileError(error, readErrorOf(file->error()), url, file->error());
        return false;
    }
    value = Value::adopting(object(read(*file)));
    remember(url, key, value.get());
    return true;
}

/// 0 or an errno; the value that the URL remembers is forgotten. Throws std::bad_alloc.
int writeProperty(CFURLRef url, FileFacts& file, CFStringRef key, CFTypeRef value) {
    const WriteProperty write = writerOf(key);
    if (!write) return 0;
    if (!file.status()) return file.error();
    const int error = write(file, value);
    if (error == 0) forget(url, key);
    return error;
}

/// The error of the first property that could not be set, with the keys of all that were not.
void reportUnset(CFErrorRef* error, CFURLRef url, int cause, const std::vector<const void*>& keys) noexcept {
    if (!error) return;
    CFErrorRef plain = nullptr;
    reportFileError(&plain, writeErrorOf(cause), url, cause);
    const auto held = Retained<__CFError>::adopting(plain);
    const auto unset = Retained<const __CFArray>::adopting(CFArrayCreate(
        nullptr, const_cast<const void**>(keys.data()), static_cast<CFIndex>(keys.size()), &kCFTypeArrayCallBacks));
    const auto info = Retained<const __CFDictionary>::adopting(CFErrorCopyUserInfo(plain));
    const auto more =
        Retained<__CFDictionary>::adopting(info ? CFDictionaryCreateMutableCopy(nullptr, 0, info.get()) : nullptr);
    if (more && unset) CFDictionarySetValue(more.get(), kCFURLKeysOfUnsetValuesKey, unset.get());
    *error = CFErrorCreate(nullptr, kCFErrorDomainCocoa, CFErrorGetCode(plain), more.get());
}

}  // namespace

Boolean CFURLCopyResourcePropertyForKey(CFURLRef url, CFStringRef key, void* propertyValueTypeRefPtr,
                                        CFErrorRef* error) try {
    auto* const place = static_cast<CFTypeRef*>(propertyValueTypeRefPtr);
    if (place) *place = nullptr;
    if (error) *error = nullptr;
    if (!checked(url) || !isKey(key)) return false;
    std::optional<FileFacts> file;
    Value value;
    if (!readProperty(url, key, file, value, error)) return false;
    if (place) *place = value.release();
    return true;
} catch (const std::bad_alloc&) {
    reportFileError(error, ReadUnknown, url, ENOMEM);
    return false;
}

CFDictionaryRef CFURLCopyResourcePropertiesForKeys(CFURLRef url, CFArrayRef keys, CFErrorRef* error) try {
    if (error) *error = nullptr;
    if (!checked(url) || !isOfType(keys, TypeID::Array)) return nullptr;
    auto made = Retained<__CFDictionary>::adopting(
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    if (!made) throw std::bad_alloc();
    std::optional<FileFacts> file;
    for (CFIndex i = 0; i < CFArrayGetCount(keys); ++i) {
        const auto key = static_cast<CFStringRef>(CFArrayGetValueAtIndex(keys, i));
        Value value;
        if (!isKey(key)) continue;
        if (!readProperty(url, key, file, value, error)) return nullptr;
        if (value) CFDictionarySetValue(made.get(), key, value.get());
    }
    return made.release();
} catch (const std::bad_alloc&) {
    reportFileError(error, ReadUnknown, url, ENOMEM);
    return nullptr;
}

Boolean CFURLSetResourcePropertyForKey(CFURLRef url, CFStringRef key, CFTypeRef propertyValue, CFErrorRef* error) try {
    if (error) *error = nullptr;
    if (!checked(url) || !isKey(key)) return false;
    std::string path;
    if (!filePath(url, path)) {
        reportFileError(error, WriteUnsupportedScheme, url);
        return false;
    }
    FileFacts file(std::move(path));
    const int cause = writeProperty(url, file, key, propertyValue);
    if (cause != 0) reportFileError(error, writeErrorOf(cause), url, cause);
    return cause == 0;
} catch (const std::bad_alloc&) {
    reportFileError(error, WriteUnknown, url, ENOMEM);
    return false;
}

Boolean CFURLSetResourcePropertiesForKeys(CFURLRef url, CFDictionaryRef keyedPropertyValues, CFErrorRef* error) try {
    if (error) *error = nullptr;
    if (!checked(url) || !isOfType(keyedPropertyValues, TypeID::Dictionary)) return false;
    std::string path;
    if (!filePath(url, path)) {
        reportFileError(error, WriteUnsupportedScheme, url);
        return false;
    }
    FileFacts file(std::move(path));
    const auto count = static_cast<std::size_t>(CFDictionaryGetCount(keyedPropertyValues));
    std::vector<const void*> keys(count), values(count);
    CFDictionaryGetKeysAndValues(keyedPropertyValues, keys.data(), values.data());
    // The name last: the other properties are set by the name that the file has.
    for (std::size_t i = 0; i + 1 < count; ++i) {
        if (!CFEqual(keys[i], kCFURLNameKey)) continue;
        std::swap(keys[i], keys.back());
        std::swap(values[i], values.back());
    }
    for (std::size_t i = 0; i < count; ++i) {
        const auto key = static_cast<CFStringRef>(keys[i]);
        const int cause = isKey(key) ? writeProperty(url, file, key, values[i]) : 0;
        if (cause == 0) continue;
        keys.erase(keys.begin(), keys.begin() + static_cast<std::ptrdiff_t>(i));
        reportUnset(error, url, cause, keys);
        return false;
    }
    return true;
} catch (const std::bad_alloc&) {
    reportFileError(error, WriteUnknown, url, ENOMEM);
    return false;
}

void CFURLClearResourcePropertyCacheForKey(CFURLRef url, CFStringRef key) {
    if (checked(url) && isKey(key)) forget(url, key);
}

void CFURLClearResourcePropertyCache(CFURLRef url) {
    if (checked(url)) forgetAll(url);
}

void CFURLSetTemporaryResourcePropertyForKey(CFURLRef url, CFStringRef key, CFTypeRef propertyValue) try {
    if (!checked(url) || !isKey(key)) return;
    if (propertyValue)
        remember(url, key, propertyValue);
    else
        forget(url, key);
} catch (const std::bad_alloc&) {
    return;
}

Boolean CFURLResourceIsReachable(CFURLRef url, CFErrorRef* error) try {
    if (error) *error = nullptr;
    if (!checked(url)) return false;
    std::string path;
    if (!filePath(url, path)) {
        reportFileError(error, ReadUnsupportedScheme, url);
        return false;
    }
    FileFacts file(std::move(path));
    if (!file.status()) reportFileError(error, readErrorOf(file.error()), url, file.error());
    return file.status() != nullptr;
} catch (const std::bad_alloc&) {
    reportFileError(error, ReadUnknown, url, ENOMEM);
    return false;
}

CFURLRef CFURLCreateFileReferenceURL(CFAllocatorRef, CFURLRef url, CFErrorRef* error) {
    if (error) *error = nullptr;
    if (!checked(url)) return nullptr;
    const bool isFile = equalsIgnoringCase(schemeOf(url), "file");
    reportFileError(error, isFile ? FeatureUnsupported : ReadUnsupportedScheme, url);
    return nullptr;
}

CFURLRef CFURLCreateFilePathURL(CFAllocatorRef allocator, CFURLRef url, CFErrorRef* error) try {
    if (error) *error = nullptr;
    if (!checked(url)) return nullptr;
    std::string path;
    if (!filePath(url, path)) {
        reportFileError(error, ReadUnsupportedScheme, url);
        return nullptr;
    }
    if (!url->base) return static_cast<CFURLRef>(CFRetain(url));
    return createURL(allocator, absoluteText(url), url->encoding, nullptr);
} catch (const std::bad_alloc&) {
    reportFileError(error, ReadUnknown, url, ENOMEM);
    return nullptr;
}
