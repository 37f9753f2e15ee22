// A tokenizer's way over a text beside ICU's break iterator over the same units.

#include <CoreFoundation/CFStringTokenizer.h>

#include <benchmark/benchmark.h>

#include <unicode/ubrk.h>

#include <cstdint>
#include <string>

namespace {

const std::u16string& text() {
    static const std::u16string all = [] {
        std::u16string made;
        for (int i = 0; i < 500; ++i) made += u"The quick brown fox \u00FCberspringt 42 lazy dogs, doesn't it? ";
        return made;
    }();
    return all;
}

void words(benchmark::State& state, CFOptionFlags unit) {
    const CFStringRef string = CFStringCreateWithCharacters(nullptr, reinterpret_cast<const UniChar*>(text().data()),
                                                            static_cast<CFIndex>(text().size()));
    const CFRange all{0, CFStringGetLength(string)};
    const CFStringTokenizerRef tokenizer = CFStringTokenizerCreate(nullptr, string, all, unit, nullptr);
    for (auto _ : state) {
        CFStringTokenizerSetString(tokenizer, string, all);
        CFIndex length = 0;
        while (CFStringTokenizerAdvanceToNextToken(tokenizer) != kCFStringTokenizerTokenNone)
            length += CFStringTokenizerGetCurrentTokenRange(tokenizer).length;
        benchmark::DoNotOptimize(length);
    }
    CFRelease(tokenizer);
    CFRelease(string);
}

void icu(benchmark::State& state, UBreakIteratorType type) {
    UErrorCode status = U_ZERO_ERROR;
    const auto size = static_cast<std::int32_t>(text().size());
    UBreakIterator* const breaks = ubrk_open(type, "", text().data(), size, &status);
    for (auto _ : state) {
        ubrk_setText(breaks, text().data(), size, &status);
        std::int32_t length = 0;
        for (std::int32_t from = 0, to = ubrk_next(breaks); to != UBRK_DONE; from = to, to = ubrk_next(breaks))
            if (type != UBRK_WORD || ubrk_getRuleStatus(breaks) >= UBRK_WORD_NONE_LIMIT) length += to - from;
        benchmark::DoNotOptimize(length);
    }
    ubrk_close(breaks);
}

BENCHMARK_CAPTURE(words, words, CFOptionFlags{kCFStringTokenizerUnitWord})->Name("BM_Words/KXPlatform");
BENCHMARK_CAPTURE(icu, words, UBRK_WORD)->Name("BM_Words/ICU");
BENCHMARK_CAPTURE(words, sentences, CFOptionFlags{kCFStringTokenizerUnitSentence})->Name("BM_Sentences/KXPlatform");
BENCHMARK_CAPTURE(icu, sentences, UBRK_SENTENCE)->Name("BM_Sentences/ICU");

}  // namespace
