// A formatter beside ICU's called directly, with the same pattern in the same locale and zone: printing, parsing, and
// making one, for a locale and a zone that are there, to print a first date. The counter is the memory of one formatter
// that has printed.

#include <CoreFoundation/CoreFoundation.h>
#include <benchmark/benchmark.h>

#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include <malloc.h>

#include <memory>
#include <vector>

namespace {

constexpr CFAbsoluteTime kTime = 730'909'845;  // 2024-02-29 14:30:45 UTC
constexpr UDate kDate = (kTime + 978'307'200) * 1000;
constexpr const char16_t* kPattern = u"EEEE, d. MMMM y HH:mm:ss";

CFDateFormatterRef ours() {
    static const CFLocaleRef locale = CFLocaleCreate(nullptr, CFSTR("de_DE"));
    static const CFTimeZoneRef zone = CFTimeZoneCreateWithName(nullptr, CFSTR("Europe/Berlin"), false);
    const CFDateFormatterRef made =
        CFDateFormatterCreate(nullptr, locale, kCFDateFormatterNoStyle, kCFDateFormatterNoStyle);
    CFDateFormatterSetFormat(made, CFSTR("EEEE, d. MMMM y HH:mm:ss"));
    CFDateFormatterSetProperty(made, kCFDateFormatterTimeZone, zone);
    return made;
}

std::unique_ptr<icu::SimpleDateFormat> icus() {
    static const icu::Locale locale("de_DE");
    static const icu::TimeZone* const zone = icu::TimeZone::createTimeZone("Europe/Berlin");
    UErrorCode status = U_ZERO_ERROR;
    auto made = std::make_unique<icu::SimpleDateFormat>(kPattern, locale, status);
    made->setTimeZone(*zone);
    return made;
}

void BM_Print_KXPlatform(benchmark::State& state) {
    const CFDateFormatterRef made = ours();
    for (auto _ : state) CFRelease(CFDateFormatterCreateStringWithAbsoluteTime(nullptr, made, kTime));
    CFRelease(made);
}
BENCHMARK(BM_Print_KXPlatform)->Name("BM_PrintDate/KXPlatform");

void BM_Print_ICU(benchmark::State& state) {
    const auto made = icus();
    for (auto _ : state) {
        icu::UnicodeString text;
        benchmark::DoNotOptimize(made->format(kDate, text).length());
    }
}
BENCHMARK(BM_Print_ICU)->Name("BM_PrintDate/ICU");

void BM_Parse_KXPlatform(benchmark::State& state) {
    const CFDateFormatterRef made = ours();
    const CFStringRef text = CFDateFormatterCreateStringWithAbsoluteTime(nullptr, made, kTime);
    for (auto _ : state) {
        CFAbsoluteTime at = 0;
        benchmark::DoNotOptimize(CFDateFormatterGetAbsoluteTimeFromString(made, text, nullptr, &at));
    }
    CFRelease(text);
    CFRelease(made);
}
BENCHMARK(BM_Parse_KXPlatform)->Name("BM_ParseDate/KXPlatform");

void BM_Parse_ICU(benchmark::State& state) {
    const auto made = icus();
    made->setLenient(false);
    icu::UnicodeString text;
    made->format(kDate, text);
    for (auto _ : state) {
        icu::ParsePosition position(0);
        benchmark::DoNotOptimize(made->parse(text, position));
    }
}
BENCHMARK(BM_Parse_ICU)->Name("BM_ParseDate/ICU");

/// The memory that `make` keeps for one of what it makes.
template <class Make>
double memoryOf(Make make) {
    constexpr std::size_t kCount = 100;
    std::vector<decltype(make())> kept;
    kept.reserve(kCount);
    kept.push_back(make());  // what is made once and shared
    const std::size_t before = ::mallinfo2().uordblks;
    for (std::size_t i = 1; i < kCount; ++i) kept.push_back(make());
    return static_cast<double>(::mallinfo2().uordblks - before) / (kCount - 1);
}

void BM_Make_KXPlatform(benchmark::State& state) {
    struct Release {
        void operator()(CFDateFormatterRef made) const { CFRelease(made); }
    };
    using Owned = std::unique_ptr<__CFDateFormatter, Release>;
    const auto make = [] {
        Owned made(ours());
        CFRelease(CFDateFormatterCreateStringWithAbsoluteTime(nullptr, made.get(), kTime));
        return made;
    };
    for (auto _ : state) make();
    state.counters["bytes"] = memoryOf(make);
}
BENCHMARK(BM_Make_KXPlatform)->Name("BM_MakeFormatter/KXPlatform");

void BM_Make_ICU(benchmark::State& state) {
    const auto make = [] {
        auto made = icus();
        icu::UnicodeString text;
        made->format(kDate, text);
        return made;
    };
    for (auto _ : state) make();
    state.counters["bytes"] = memoryOf(make);
}
BENCHMARK(BM_Make_ICU)->Name("BM_MakeFormatter/ICU");

}  // namespace
