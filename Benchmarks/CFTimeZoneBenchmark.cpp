// How far a zone is ahead of Greenwich at a time: beside localtime_r and ICU's own zone. Times of the last fifty years,
// which the file lists, and of the next, where the rule goes on. And what it takes to open a zone.

#include <CoreFoundation/CoreFoundation.h>
#include <benchmark/benchmark.h>

#include <unicode/timezone.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <random>

namespace {

constexpr std::size_t kTimes = 1024;

std::array<std::int64_t, kTimes> times(std::int64_t from, std::int64_t to) {
    std::mt19937_64 random(7);
    std::array<std::int64_t, kTimes> all{};
    for (std::int64_t& time : all)
        time = from + static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(to - from));
    return all;
}

constexpr std::int64_t kNow = 1'735'689'600;
constexpr std::int64_t kFiftyYears = 1'577'836'800;
const std::array<std::int64_t, kTimes> kListed = times(kNow - kFiftyYears, kNow);
const std::array<std::int64_t, kTimes> kByRule = times(kNow + kFiftyYears, kNow + 2 * kFiftyYears);

CFTimeZoneRef berlin() { return CFTimeZoneCreateWithName(nullptr, CFSTR("Europe/Berlin"), false); }

void ours(benchmark::State& state, const std::array<std::int64_t, kTimes>& all) {
    const CFTimeZoneRef zone = berlin();
    std::size_t i = 0;
    for (auto _ : state) {
        const double at = static_cast<double>(all[i++ % kTimes]) - kCFAbsoluteTimeIntervalSince1970;
        benchmark::DoNotOptimize(CFTimeZoneGetSecondsFromGMT(zone, at));
    }
    CFRelease(zone);
}

void library(benchmark::State& state, const std::array<std::int64_t, kTimes>& all) {
    ::setenv("TZ", "Europe/Berlin", 1);
    ::tzset();
    std::size_t i = 0;
    for (auto _ : state) {
        const std::time_t time = all[i++ % kTimes];
        std::tm local{};
        benchmark::DoNotOptimize(::localtime_r(&time, &local)->tm_gmtoff);
    }
}

void icus(benchmark::State& state, const std::array<std::int64_t, kTimes>& all) {
    const std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone("Europe/Berlin"));
    std::size_t i = 0;
    for (auto _ : state) {
        std::int32_t raw = 0, saving = 0;
        UErrorCode status = U_ZERO_ERROR;
        zone->getOffset(static_cast<double>(all[i++ % kTimes]) * 1000, false, raw, saving, status);
        benchmark::DoNotOptimize(raw + saving);
    }
}

BENCHMARK_CAPTURE(ours, listed, kListed)->Name("BM_OffsetListed/KXPlatform");
BENCHMARK_CAPTURE(library, listed, kListed)->Name("BM_OffsetListed/localtime_r");
BENCHMARK_CAPTURE(icus, listed, kListed)->Name("BM_OffsetListed/ICU");
BENCHMARK_CAPTURE(ours, rule, kByRule)->Name("BM_OffsetByRule/KXPlatform");
BENCHMARK_CAPTURE(library, rule, kByRule)->Name("BM_OffsetByRule/localtime_r");
BENCHMARK_CAPTURE(icus, rule, kByRule)->Name("BM_OffsetByRule/ICU");

void BM_Open_KXPlatform(benchmark::State& state) {
    for (auto _ : state) CFRelease(berlin());
}
BENCHMARK(BM_Open_KXPlatform)->Name("BM_OpenZone/KXPlatform");

void BM_Open_ICU(benchmark::State& state) {
    for (auto _ : state) delete icu::TimeZone::createTimeZone("Europe/Berlin");
}
BENCHMARK(BM_Open_ICU)->Name("BM_OpenZone/ICU");

}  // namespace
