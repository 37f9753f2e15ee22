#include "Description.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
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
    if (text_ && length > 0) CFStringAppendCString(text_, piece, kCFStringEncodingASCII);
}

void Description::append(CFStringRef text) noexcept {
    if (!text) return format("(null)");
    if (text_) CFStringAppend(text_, text);
}

void Description::appendHeading(const char* name, CFTypeRef object) noexcept {
    format("<%s %p [%p]>", name, object, static_cast<const void*>(CFGetAllocator(object)));
}

CFStringRef Description::take() noexcept { return std::exchange(text_, nullptr); }

CFMutableStringRef createDescriptionHead(CFTypeRef cf) noexcept {
    const CFMutableStringRef head = CFStringCreateMutable(kCFAllocatorSystemDefault, 0);
    if (!head) return nullptr;
    char text[128];
    std::snprintf(text, sizeof text, "<%s %p [%p]>", typeName(object(cf)->cls->typeID), cf,
                  static_cast<const void*>(CFGetAllocator(cf)));
    CFStringAppendCString(head, text, kCFStringEncodingASCII);
    if (CFStringGetLength(head) == static_cast<CFIndex>(std::strlen(text))) return head;
    CFRelease(head);
    return nullptr;
}

}  // namespace KXPlatform
