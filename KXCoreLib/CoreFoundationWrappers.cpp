#include <KXCoreLib/CoreFoundationWrappers.h>

#include "Log.h"

#include <array>
#include <cstdarg>

namespace KXCore::CoreFoundation {

CFException::~CFException() = default;

const char* CFExceptionImpl::what() const noexcept { return message_; }

void __FailedToCreateObject(const char* name) {
    LogLine("failed to create object: %s\n", name);
    throw CFExceptionImpl("failed to create object");
}

void __FailedToCreateObjectWithErrorDescription(const char* name, const char* description) {
    LogLine("failed to create object: %s, error( %s )\n", name, description);
    throw CFExceptionImpl("failed to create object");
}

void __UnexpectedErrorOccured(CFErrorRef error) {
    LogLine("unexpected error occured:\n");
    CFShow(error);
    throw CFExceptionImpl("unexpected error occured");
}

void __UnexpectedPointerType(CFTypeRef object, const char* typeName) {
    LogLine("expected %s\n", typeName);
    CFShow(object);
    throw CFExceptionImpl("unexpected pointer type");
}

// The type identifiers, asked for when the library is loaded: the platform hands them out at run time.
const CFTypeID AllocatorRef::typeID = CFAllocatorGetTypeID();
const CFTypeID ArrayRef::typeID = CFArrayGetTypeID();
const CFTypeID BooleanRef::typeID = CFBooleanGetTypeID();
const CFTypeID DataRef::typeID = CFDataGetTypeID();
const CFTypeID DateRef::typeID = CFDateGetTypeID();
const CFTypeID DictionaryRef::typeID = CFDictionaryGetTypeID();
const CFTypeID ErrorRef::typeID = CFErrorGetTypeID();
const CFTypeID FileDescriptorRef::typeID = CFFileDescriptorGetTypeID();
const CFTypeID MachPortRef::typeID = CFMachPortGetTypeID();
const CFTypeID NullRef::typeID = CFNullGetTypeID();
const CFTypeID NumberRef::typeID = CFNumberGetTypeID();
const CFTypeID RunLoopObserverRef::typeID = CFRunLoopObserverGetTypeID();
const CFTypeID RunLoopRef::typeID = CFRunLoopGetTypeID();
const CFTypeID RunLoopSourceRef::typeID = CFRunLoopSourceGetTypeID();
const CFTypeID RunLoopTimerRef::typeID = CFRunLoopTimerGetTypeID();
const CFTypeID SetRef::typeID = CFSetGetTypeID();
const CFTypeID StringRef::typeID = CFStringGetTypeID();
const CFTypeID UUIDRef::typeID = CFUUIDGetTypeID();

void TypeRef::assignOfType(CFTypeID typeID, const char* typeName, CFTypeRef p) {
    if (!p || CFGetTypeID(p) != typeID) __UnexpectedPointerType(p, typeName);
    assign(p);
}

StringRef StringRef::formatAny(CFAllocatorRef allocator, CFDictionaryRef formatOptions, CFStringRef format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const CFStringRef made = CFStringCreateWithFormatAndArguments(allocator, formatOptions, format, arguments);
    va_end(arguments);
    return created(made, "CFStringCreateWithFormat");
}

StringRef StringRef::formatValidated(CFAllocatorRef allocator, CFDictionaryRef formatOptions,
                                     CFStringRef validFormatSpecifiers, CFStringRef format, ErrorRef* error, ...) {
    ErrorOutlet outlet(error);
    std::va_list arguments;
    va_start(arguments, error);
    const CFStringRef made = CFStringCreateStringWithValidatedFormatAndArguments(
        allocator, formatOptions, validFormatSpecifiers, format, arguments, outlet.out());
    va_end(arguments);
    return outlet.adopt<StringRef>(made);
}

StringRef StringRef::createStringWithValidatedFormatAndArguments(CFAllocatorRef allocator,
                                                                 CFDictionaryRef formatOptions,
                                                                 CFStringRef validFormatSpecifiers, CFStringRef format,
                                                                 std::va_list arguments, ErrorRef* error) {
    ErrorOutlet outlet(error);
    return outlet.adopt<StringRef>(CFStringCreateStringWithValidatedFormatAndArguments(
        allocator, formatOptions, validFormatSpecifiers, format, arguments, outlet.out()));
}

void MutableStringRef::appendAny(CFDictionaryRef formatOptions, CFStringRef format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    CFStringAppendFormatAndArguments(get(), formatOptions, format, arguments);
    va_end(arguments);
}

void StringRef::copyStdString(std::string& out) const {
    const CFIndex length = getLength();
    if (const char* const text = getCStringPtr(kCFStringEncodingUTF8)) {
        // Kept as ASCII: a byte for each unit, a NUL within the text among them.
        out.assign(text, static_cast<std::size_t>(length));
        return;
    }
    out.clear();
    std::array<UInt8, 512> buffer;
    for (CFIndex location = 0; location < length;) {
        CFIndex used = 0;
        const CFIndex converted = getBytes(CFRangeMake(location, length - location), kCFStringEncodingUTF8, 0, false,
                                           buffer.data(), static_cast<CFIndex>(buffer.size()), &used);
        if (converted <= 0) break;
        out.append(buffer.begin(), buffer.begin() + used);
        location += converted;
    }
}

std::string StringRef::copyStdString() const {
    std::string text;
    copyStdString(text);
    return text;
}

}  // namespace KXCore::CoreFoundation
