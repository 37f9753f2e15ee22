// The operations that format strings.

#include <KXCoreLib/CoreFoundationWrappers.h>

#include <cstdarg>

namespace KXCore::CoreFoundation {

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

}  // namespace KXCore::CoreFoundation
