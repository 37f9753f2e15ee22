// Any text read as a number in several locales and styles, and any text as a format: what is read lies within the text,
// and is a number that can be written.

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

void read(CFNumberFormatterRef formatter, CFStringRef text, CFOptionFlags options) {
    CFRange range{0, CFStringGetLength(text)};
    const CFNumberRef number = CFNumberFormatterCreateNumberFromString(nullptr, formatter, text, &range, options);
    if (!number) return;
    require(range.location == 0 && range.length > 0 && range.length <= CFStringGetLength(text));
    const CFStringRef written = CFNumberFormatterCreateStringWithNumber(nullptr, formatter, number);
    require(written != nullptr);
    CFRelease(written);
    CFRelease(number);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    constexpr CFNumberFormatterStyle styles[] = {kCFNumberFormatterDecimalStyle, kCFNumberFormatterCurrencyStyle,
                                                 kCFNumberFormatterPercentStyle, kCFNumberFormatterScientificStyle};
    const CFStringRef names[] = {CFSTR("en_US"), CFSTR("de_DE"), CFSTR("ar_EG"), CFSTR("hi_IN")};
    if (size < 1) return 0;
    const std::size_t choice = data[0];
    // Formats of any length make numbers of any length.
    const CFStringRef text = CFStringCreateWithBytes(
        nullptr, data + 1, static_cast<CFIndex>(std::min<std::size_t>(size - 1, 4096)), kCFStringEncodingUTF8, false);
    if (!text) return 0;
    const CFLocaleRef locale = CFLocaleCreate(nullptr, names[choice % 4]);
    const CFNumberFormatterRef formatter = CFNumberFormatterCreate(nullptr, locale, styles[choice / 4 % 4]);
    if (choice & 0x10) CFNumberFormatterSetProperty(formatter, kCFNumberFormatterIsLenient, kCFBooleanTrue);
    read(formatter, text, 0);
    read(formatter, text, kCFNumberFormatterParseIntegersOnly);
    CFNumberFormatterSetFormat(formatter, text);
    require(CFNumberFormatterGetFormat(formatter) != nullptr);
    read(formatter, CFSTR("-1234.5"), 0);
    CFRelease(formatter);
    CFRelease(locale);
    CFRelease(text);
    return 0;
}
