// Any pattern and any text: the first line is the pattern, the second the text. What is read is printed, and what was
// printed is read and printed again.

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <string_view>

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

CFStringRef text(std::string_view utf8) {
    return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                   static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false);
}

CFDateFormatterRef make(CFStringRef locale, CFStringRef pattern, bool isLenient) {
    const CFLocaleRef made = CFLocaleCreate(nullptr, locale);
    const CFDateFormatterRef formatter =
        CFDateFormatterCreate(nullptr, made, kCFDateFormatterNoStyle, kCFDateFormatterNoStyle);
    CFRelease(made);
    CFDateFormatterSetFormat(formatter, pattern);
    CFDateFormatterSetProperty(formatter, kCFDateFormatterIsLenient, isLenient ? kCFBooleanTrue : kCFBooleanFalse);
    return formatter;
}

void check(CFDateFormatterRef formatter, CFStringRef string) {
    CFRange range{0, CFStringGetLength(string)};
    CFAbsoluteTime at = 0;
    if (!CFDateFormatterGetAbsoluteTimeFromString(formatter, string, &range, &at)) return;
    require(range.location == 0 && range.length > 0 && range.length <= CFStringGetLength(string));
    const CFStringRef printed = CFDateFormatterCreateStringWithAbsoluteTime(nullptr, formatter, at);
    if (!printed) return;
    CFDateFormatterGetAbsoluteTimeFromString(formatter, printed, nullptr, &at);
    CFRelease(printed);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(bytes), std::min<std::size_t>(size, 300));
    const std::size_t end = std::min(input.find('\n'), input.size());
    const CFStringRef pattern = text(input.substr(0, end));
    const CFStringRef string = text(input.substr(std::min(end + 1, input.size())));
    if (pattern && string) {
        for (const CFStringRef locale : {CFSTR("en_US_POSIX"), CFSTR("th_TH")}) {
            for (const bool isLenient : {false, true}) {
                const CFDateFormatterRef formatter = make(locale, pattern, isLenient);
                check(formatter, string);
                CFRelease(formatter);
            }
        }
        const CFStringRef made = CFDateFormatterCreateDateFormatFromTemplate(nullptr, pattern, 0, nullptr);
        if (made) CFRelease(made);
    }
    if (pattern) CFRelease(pattern);
    if (string) CFRelease(string);
    return 0;
}
