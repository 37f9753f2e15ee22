#include "CFURLObject.h"

#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/Object/Hashing.h"
#include "CoreFoundation/String/CFStringEncoding.h"
#include "CoreFoundation/String/CFStringFormatOutput.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>

using namespace KXPlatform;

// ---- The class

__CFURL::__CFURL(CFStringRef t, const URLParts& p, CFStringEncoding e, CFURLRef b) noexcept
    : Object(kURLClass), string(t), parts(p), encoding(e), base(b) {}

__CFURL::~__CFURL() {
    endURLProperties(properties.load(std::memory_order_acquire));
    release(string);
    release(base);
}

namespace {

bool equalURLs(const Object* object1, const Object* object2) {
    const auto* const a = static_cast<const __CFURL*>(object1);
    const auto* const b = static_cast<const __CFURL*>(object2);
    if (a->text() != b->text()) return false;
    return a->base == b->base || (a->base && b->base && a->base->text() == b->base->text());
}

CFHashCode hashURL(const Object* object) {
    const auto* const url = static_cast<const __CFURL*>(object);
    return CFHash(url->string) + (url->base ? CFHash(url->base) * 31 : 0);
}

CFStringRef describeURL(const Object* object) {
    const auto* const url = static_cast<const __CFURL*>(object);
    Description description;
    description.appendHeading(url);
    description.format("{string = ");
    description.append(url->string);
    description.format(", encoding = %u, base = ", static_cast<unsigned>(url->encoding));
    description.append(url->base ? url->base->string : nullptr);
    description.format("}");
    return description.take();
}

/// Takes over the reference to `string`, which may be null.
CFURLRef createOwning(CFAllocatorRef allocator, CFStringRef string, CFStringEncoding encoding, CFURLRef base) noexcept {
    // What is no ASCII cannot stand in a URL.
    const bool isASCII = string && (!string->isWide() || string->length == 0);
    const std::optional<URLParts> parts = isASCII ? parseURL(view(string).asciiView()) : std::nullopt;
    if (parts) return createURLOwning(allocator, string, *parts, encoding, base);
    release(string);
    return nullptr;
}

CFStringRef createString(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length,
                         CFStringEncoding encoding) noexcept {
    return bytes || length == 0 ? CFStringCreateWithBytes(allocator, bytes, length, encoding, false) : nullptr;
}

bool isMissing(CFURLRef base) noexcept { return base && !checked(base); }

}  // namespace

namespace KXPlatform {

constinit const Class kURLClass{TypeID::URL, finalizeAs<__CFURL>, equalURLs, hashURL, describeURL};

CFURLRef createURL(CFAllocatorRef allocator, std::string_view text, CFStringEncoding encoding, CFURLRef base) noexcept {
    return createOwning(allocator, createASCII(allocator, text), encoding, base);
}

CFURLRef createURLOwning(CFAllocatorRef allocator, CFStringRef string, const URLParts& parts, CFStringEncoding encoding,
                         CFURLRef base) noexcept {
    auto owned = Retained<const __CFString>::adopting(string);
    if (!string || (string->length == 0 && !base)) return nullptr;
    const bool keepsBase = base && !parts.scheme;
    auto kept = URL::adopting(keepsBase ? CFURLCopyAbsoluteURL(base) : nullptr);
    if (keepsBase && !kept) return nullptr;
    const CFURLRef made = make<__CFURL>(allocator, 0, string, parts, encoding, kept.get());
    if (!made) return nullptr;
    owned.release();
    kept.release();
    return made;
}

std::string absoluteText(CFURLRef url) {
    return url->base ? resolveURL(url->parsed(), url->base->parsed(), Resolution::Standard) : std::string(url->text());
}

std::string_view schemeOf(CFURLRef url) noexcept {
    if (!url->parts.scheme && url->base) url = url->base;
    return url->part(url->parts.scheme);
}

}  // namespace KXPlatform

CFTypeID CFURLGetTypeID() { return number(TypeID::URL); }

// ---- Creating

CFURLRef CFURLCreateWithBytes(CFAllocatorRef allocator, const UInt8* URLBytes, CFIndex length,
                              CFStringEncoding encoding, CFURLRef baseURL) {
    if (isMissing(baseURL)) return nullptr;
    return createOwning(allocator, createString(allocator, URLBytes, length, encoding), encoding, baseURL);
}

CFURLRef CFURLCreateWithString(CFAllocatorRef allocator, CFStringRef URLString, CFURLRef baseURL) {
    if (!isOfType(URLString, TypeID::String) || isMissing(baseURL)) return nullptr;
    return createOwning(allocator, CFStringCreateCopy(allocator, URLString), kCFStringEncodingUTF8, baseURL);
}

CFURLRef CFURLCreateAbsoluteURLWithBytes(CFAllocatorRef alloc, const UInt8* relativeURLBytes, CFIndex length,
                                         CFStringEncoding encoding, CFURLRef baseURL,
                                         Boolean useCompatibilityMode) try {
    if (isMissing(baseURL) || length < 0 || (!relativeURLBytes && length > 0)) return nullptr;
    std::string_view text(reinterpret_cast<const char*>(relativeURLBytes), static_cast<std::size_t>(length));
    Retained<const __CFString> decoded;
    if (encoding != kCFStringEncodingUTF8 || !isASCII(text.data(), text.size())) {
        decoded = Retained<const __CFString>::adopting(createString(alloc, relativeURLBytes, length, encoding));
        if (!decoded || decoded->isWide()) return nullptr;
        text = view(decoded.get()).asciiView();
    }
    const std::optional<URLParts> parts = parseURL(text);
    if (!parts || (text.empty() && !baseURL)) return nullptr;
    const auto base = URL::adopting(baseURL ? CFURLCopyAbsoluteURL(baseURL) : nullptr);
    if (baseURL && !base) return nullptr;
    const Resolution resolution = useCompatibilityMode ? Resolution::Lenient : Resolution::Older;
    const ParsedURL url{text, *parts};
    if (!base || !isRelative(url, base->parsed(), resolution))
        return parts->scheme ? createURL(alloc, text, encoding, nullptr) : nullptr;
    if (!base->parts.scheme) return nullptr;
    return createURL(alloc, resolveURL(url, base->parsed(), resolution), encoding, nullptr);
} catch (const std::bad_alloc&) {
    return nullptr;
}

CFURLRef CFURLCopyAbsoluteURL(CFURLRef relativeURL) try {
    if (!checked(relativeURL)) return nullptr;
    if (!relativeURL->base) return static_cast<CFURLRef>(CFRetain(relativeURL));
    return createURL(CFGetAllocator(relativeURL), absoluteText(relativeURL), relativeURL->encoding, nullptr);
} catch (const std::bad_alloc&) {
    return nullptr;
}

// ---- The text

CFStringRef CFURLGetString(CFURLRef anURL) { return checked(anURL) ? anURL->string : nullptr; }

CFURLRef CFURLGetBaseURL(CFURLRef anURL) { return checked(anURL) ? anURL->base : nullptr; }

CFDataRef CFURLCreateData(CFAllocatorRef allocator, CFURLRef url, CFStringEncoding encoding,
                          Boolean /* escapeWhitespace: there is none */) {
    return checked(url) ? CFStringCreateExternalRepresentation(allocator, url->string, encoding, 0) : nullptr;
}

CFIndex CFURLGetBytes(CFURLRef url, UInt8* buffer, CFIndex bufferLength) {
    if (!checked(url)) return 0;
    const std::string_view text = url->text();
    const auto length = static_cast<CFIndex>(text.size());
    if (!buffer) return length;
    if (bufferLength < length) return -1;
    std::memcpy(buffer, text.data(), text.size());
    return length;
}

// ---- What this system has none of

Boolean CFURLIsFileReferenceURL(CFURLRef) { return false; }

CFURLRef CFURLCreateFromFSRef(CFAllocatorRef, const struct FSRef*) { return nullptr; }

Boolean CFURLGetFSRef(CFURLRef, struct FSRef*) { return false; }

Boolean CFURLStartAccessingSecurityScopedResource(CFURLRef) { return false; }

void CFURLStopAccessingSecurityScopedResource(CFURLRef) {}
