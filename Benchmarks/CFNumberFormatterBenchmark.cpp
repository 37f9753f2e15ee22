// Number formatters beside ICU called directly with the same style and locale.

#include <CoreFoundation/CFNumberFormatter.h>

#include <benchmark/benchmark.h>

#include <unicode/unum.h>

#include <cstdint>
#include <string_view>

namespace {

CFNumberFormatterRef makeOurs() {
    const CFLocaleRef locale = CFLocaleCreate(nullptr, CFSTR("de_DE"));
    const CFNumberFormatterRef made = CFNumberFormatterCreate(nullptr, locale, kCFNumberFormatterDecimalStyle);
    CFRelease(locale);
    return made;
}

UNumberFormat* makeICUs() {
    UErrorCode status = U_ZERO_ERROR;
    return unum_open(UNUM_DECIMAL, nullptr, 0, "de_DE", nullptr, &status);
}

void createOurs(benchmark::State& state) {
    for (auto _ : state) CFRelease(makeOurs());
}
BENCHMARK(createOurs)->Name("BM_MakeFormatter/KXPlatform");

void createICU(benchmark::State& state) {
    for (auto _ : state) unum_close(makeICUs());
}
BENCHMARK(createICU)->Name("BM_MakeFormatter/ICU");

void formatOurs(benchmark::State& state) {
    const CFNumberFormatterRef formatter = makeOurs();
    const double value = 1234567.891;
    const CFNumberRef number = CFNumberCreate(nullptr, kCFNumberDoubleType, &value);
    for (auto _ : state) CFRelease(CFNumberFormatterCreateStringWithNumber(nullptr, formatter, number));
    CFRelease(number);
    CFRelease(formatter);
}
BENCHMARK(formatOurs)->Name("BM_PrintNumber/KXPlatform");

void formatICU(benchmark::State& state) {
    UNumberFormat* const formatter = makeICUs();
    for (auto _ : state) {
        char16_t text[64];
        UErrorCode status = U_ZERO_ERROR;
        benchmark::DoNotOptimize(unum_formatDouble(formatter, 1234567.891, text, 64, nullptr, &status));
    }
    unum_close(formatter);
}
BENCHMARK(formatICU)->Name("BM_PrintNumber/ICU");

void parseOurs(benchmark::State& state) {
    const CFNumberFormatterRef formatter = makeOurs();
    for (auto _ : state) {
        double value = 0;
        CFNumberFormatterGetValueFromString(formatter, CFSTR("1.234.567,891"), nullptr, kCFNumberDoubleType, &value);
        benchmark::DoNotOptimize(value);
    }
    CFRelease(formatter);
}
BENCHMARK(parseOurs)->Name("BM_ParseNumber/KXPlatform");

void parseICU(benchmark::State& state) {
    UNumberFormat* const formatter = makeICUs();
    constexpr std::u16string_view text = u"1.234.567,891";
    for (auto _ : state) {
        UErrorCode status = U_ZERO_ERROR;
        std::int32_t position = 0;
        benchmark::DoNotOptimize(
            unum_parseDouble(formatter, text.data(), static_cast<std::int32_t>(text.size()), &position, &status));
    }
    unum_close(formatter);
}
BENCHMARK(parseICU)->Name("BM_ParseNumber/ICU");

}  // namespace
