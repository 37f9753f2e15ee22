// The runs of an attributed string beside a std::map of the runs' beginnings, which must move all that follow where
// text is replaced.

#include <CoreFoundation/CFAttributedString.h>
#include <CoreFoundation/CFNumber.h>

#include <benchmark/benchmark.h>

#include <map>
#include <random>

namespace {

CFMutableAttributedStringRef make(CFIndex runs) {
    const CFMutableStringRef text = CFStringCreateMutable(nullptr, 0);
    CFStringPad(text, CFSTR("x"), 2 * runs, 0);
    const CFAttributedStringRef plain = CFAttributedStringCreate(nullptr, text, nullptr);
    const CFMutableAttributedStringRef made = CFAttributedStringCreateMutableCopy(nullptr, 0, plain);
    CFRelease(plain);
    CFRelease(text);
    for (CFIndex i = 0; i < runs; ++i) CFAttributedStringSetAttribute(made, {2 * i, 1}, CFSTR("a"), kCFBooleanTrue);
    return made;
}

std::map<CFIndex, CFTypeRef> makeMap(CFIndex runs) {
    std::map<CFIndex, CFTypeRef> made;
    for (CFIndex i = 0; i < 2 * runs; ++i) made[i] = i % 2 == 0 ? kCFBooleanTrue : nullptr;
    return made;
}

void findOurs(benchmark::State& state) {
    const CFMutableAttributedStringRef string = make(state.range(0));
    std::minstd_rand random(1);
    for (auto _ : state) {
        CFRange range;
        const auto at = static_cast<CFIndex>(random() % static_cast<unsigned long>(2 * state.range(0)));
        benchmark::DoNotOptimize(CFAttributedStringGetAttributes(string, at, &range));
    }
    CFRelease(string);
}
BENCHMARK(findOurs)->Name("BM_FindRun/KXPlatform")->Arg(100)->Arg(100'000);

void findMap(benchmark::State& state) {
    const std::map<CFIndex, CFTypeRef> runs = makeMap(state.range(0));
    std::minstd_rand random(1);
    for (auto _ : state) {
        const auto at = static_cast<CFIndex>(random() % static_cast<unsigned long>(2 * state.range(0)));
        benchmark::DoNotOptimize(std::prev(runs.upper_bound(at))->second);
    }
}
BENCHMARK(findMap)->Name("BM_FindRun/Map")->Arg(100)->Arg(100'000);

void setOurs(benchmark::State& state) {
    const CFMutableAttributedStringRef string = make(state.range(0));
    std::minstd_rand random(1);
    for (auto _ : state) {
        const auto at = static_cast<CFIndex>(random() % static_cast<unsigned long>(2 * state.range(0)));
        CFAttributedStringSetAttribute(string, {at, 1}, CFSTR("b"), kCFBooleanTrue);
        CFAttributedStringRemoveAttribute(string, {at, 1}, CFSTR("b"));
    }
    CFRelease(string);
}
BENCHMARK(setOurs)->Name("BM_SetAttribute/KXPlatform")->Arg(100)->Arg(100'000);

}  // namespace
