#include "Description.h"

#include <cstdarg>
#include <cstdio>
#include <utility>

namespace KXPlatform {

Description::Description() noexcept : text_(CFStringCreateMutable(kCFAllocatorSystemDefault, 0)) {}

Description::~Description() { CFRelease(text_); }

void Description::format(const char* format, ...) noexcept {
    // The longest piece that any type forms is a double in full: 309 digits before the point and 20 after it.
    char piece[512];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(piece, sizeof piece, format, arguments);
    va_end(arguments);
    if (!text_ || length <= 0) return;
    const CFIndex whole = CFStringGetLength(text_) + length;
    CFStringAppendCString(text_, piece, kCFStringEncodingASCII);
    expect(whole);
}

void Description::append(CFStringRef text) noexcept {
    if (!text) return format("(null)");
    if (!text_) return;
    const CFIndex whole = CFStringGetLength(text_) + CFStringGetLength(text);
    CFStringAppend(text_, text);
    expect(whole);
}

void Description::appendHeading(CFTypeRef cf) noexcept { appendHeading(typeName(object(cf)->cls->typeID), cf); }

void Description::appendHeading(const char* name, CFTypeRef cf) noexcept {
    format("<%s %p [%p]>", name, cf, static_cast<const void*>(CFGetAllocator(cf)));
}

void Description::expect(CFIndex length) noexcept {
    if (CFStringGetLength(text_) != length) CFRelease(std::exchange(text_, nullptr));
}

CFStringRef Description::take() noexcept { return std::exchange(text_, nullptr); }

}  // namespace KXPlatform
