#pragma once

// A URL as this platform's sources see it.

#include "CoreFoundation/Object/Object.h"
#include "CoreFoundation/Object/Retained.h"
#include "CoreFoundation/String/CFStringObject.h"
#include "URLParts.h"
#include "URLText.h"

#include <CoreFoundation/CFURL.h>

#include <memory>
#include <string>
#include <string_view>

namespace KXPlatform {

extern const Class kURLClass;
struct URLProperties;

/// The cache of properties, made when there is something to keep (CFURLProperties.cpp).
void endURLProperties(URLProperties* properties) noexcept;

}  // namespace KXPlatform

struct __CFURL : KXPlatform::Object {
    __CFURL(CFStringRef t, const KXPlatform::URLParts& p, CFStringEncoding e, CFURLRef b) noexcept;
    ~__CFURL();

    std::string_view text() const noexcept { return {string->text.ascii, static_cast<std::size_t>(string->length)}; }
    KXPlatform::ParsedURL parsed() const noexcept { return {text(), parts}; }
    std::string_view part(const KXPlatform::URLPart& place) const noexcept { return place.of(text()); }

    const CFStringRef string;  ///< retained; ASCII
    const KXPlatform::URLParts parts;
    const CFStringEncoding encoding;
    const CFURLRef base;  ///< retained; absolute as far as it can be, so that no chain of bases grows
    mutable std::atomic<KXPlatform::URLProperties*> properties{nullptr};
};

namespace KXPlatform {

using URL = Retained<const __CFURL>;

inline CFURLRef checked(CFURLRef url) noexcept { return url && url->cls == &kURLClass ? url : nullptr; }

/// A URL of an ASCII text and a base, which may be null. Null when the text is no URL or there is no memory.
CFURLRef createURL(CFAllocatorRef allocator, std::string_view text, CFStringEncoding encoding, CFURLRef base) noexcept;

/// The same for a string whose parts are known; takes over the reference to it.
CFURLRef createURLOwning(CFAllocatorRef allocator, CFStringRef string, const URLParts& parts, CFStringEncoding encoding,
                         CFURLRef base) noexcept;

/// The file URL of a path as the system has it; relative to `base`, or the working directory where that is null.
CFURLRef createFileURL(CFAllocatorRef allocator, std::string_view path, bool isDirectory, CFURLRef base) noexcept;

/// The text of a URL resolved against its base. Throws std::bad_alloc.
std::string absoluteText(CFURLRef url);

/// The scheme of a URL, or of its base.
std::string_view schemeOf(CFURLRef url) noexcept;

/// The path of a file URL as the system takes it, resolved against its base, without the slash of a directory. False
/// for another scheme or host and for a path that holds a 0. Throws std::bad_alloc.
bool filePath(CFURLRef url, std::string& path);

/// The text of a part without its escapes, all of which are replaced, in the URL's encoding; null as well when they are
/// no text in it.
CFStringRef createUnescaped(CFAllocatorRef allocator, std::string_view part, CFStringEncoding encoding) noexcept;

/// The bytes of a string in an encoding. False when it lacks a character. Throws std::bad_alloc.
bool encodedBytes(CFStringRef string, CFStringEncoding encoding, std::string& bytes);

}  // namespace KXPlatform
