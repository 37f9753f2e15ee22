// Membership in a set beside ICU's, frozen as ours is, for characters of different blocks.

#include <CoreFoundation/CFCharacterSet.h>

#include <benchmark/benchmark.h>

#include <unicode/uset.h>

#include <cstdint>
#include <string_view>

namespace {

constexpr std::u16string_view kTexts[] = {u"The quick brown fox, 42 times",
                                          u"\u0411\u044B\u0441\u0442\u0440\u0430\u044F \u043B\u0438\u0441\u0430",
                                          u"\u6771\u4EAC\u306B\u884C\u304F\u3002\u65E5\u672C\u8A9E"};

void ours(benchmark::State& state) {
    const CFCharacterSetRef set = CFCharacterSetGetPredefined(kCFCharacterSetLetter);
    const std::u16string_view text = kTexts[state.range(0)];
    for (auto _ : state) {
        int count = 0;
        for (const char16_t c : text) count += CFCharacterSetIsCharacterMember(set, c);
        benchmark::DoNotOptimize(count);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(ours)->Name("BM_IsMember/KXPlatform")->DenseRange(0, 2);

void icu(benchmark::State& state) {
    UErrorCode status = U_ZERO_ERROR;
    USet* const set = uset_openPattern(u"[[:L:][:M:]]", -1, &status);
    uset_freeze(set);
    const std::u16string_view text = kTexts[state.range(0)];
    for (auto _ : state) {
        int count = 0;
        for (const char16_t c : text) count += uset_contains(set, c);
        benchmark::DoNotOptimize(count);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
    uset_close(set);
}
BENCHMARK(icu)->Name("BM_IsMember/ICU")->DenseRange(0, 2);

}  // namespace
