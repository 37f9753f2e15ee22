// Finding a word at the end of a text: bytes beside memmem and std::string, UTF-16 beside ICU's u_strFindFirst.

#include <CoreFoundation/CoreFoundation.h>
#include <benchmark/benchmark.h>

#include <unicode/ustring.h>

#include <cstring>
#include <string>

namespace {

constexpr std::size_t kLength = 16384;

std::u16string haystack(std::u16string_view word, std::u16string_view last) {
    std::u16string text;
    while (text.size() < kLength) text += word;
    return text.append(last);
}

CFStringRef make(std::u16string_view text) {
    return CFStringCreateWithCharacters(nullptr, reinterpret_cast<const UniChar*>(text.data()),
                                        static_cast<CFIndex>(text.size()));
}

void find(benchmark::State& state, const std::u16string& text, std::u16string_view word, CFStringCompareFlags flags) {
    const CFStringRef in = make(text), what = make(word);
    for (auto _ : state) benchmark::DoNotOptimize(CFStringFind(in, what, flags));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
    CFRelease(in);
    CFRelease(what);
}

const std::u16string kASCII = haystack(u"removable drives ", u"floppy");
const std::u16string kCyrillic =
    haystack(u"\u0441\u044A\u0435\u043C\u043D\u044B\u0435 ", u"\u0434\u0438\u0441\u043A\u0438");
constexpr std::u16string_view kWord = u"\u0434\u0438\u0441\u043A\u0438";

void BM_FindASCII_KXPlatform(benchmark::State& state) { find(state, kASCII, u"floppy", 0); }
BENCHMARK(BM_FindASCII_KXPlatform)->Name("BM_FindASCII/KXPlatform");

void BM_FindASCII_string(benchmark::State& state) {
    const std::string text(kASCII.begin(), kASCII.end()), word = "floppy";
    for (auto _ : state) {
        benchmark::DoNotOptimize(text.find(word));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_FindASCII_string)->Name("BM_FindASCII/string");

void BM_FindASCIICaseless_KXPlatform(benchmark::State& state) {
    find(state, kASCII, u"FLOPPY", kCFCompareCaseInsensitive);
}
BENCHMARK(BM_FindASCIICaseless_KXPlatform)->Name("BM_FindASCIICaseless/KXPlatform");

void BM_FindASCIICaseless_strcasestr(benchmark::State& state) {
    const std::string text(kASCII.begin(), kASCII.end());
    for (auto _ : state) {
        benchmark::DoNotOptimize(strcasestr(text.c_str(), "FLOPPY"));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_FindASCIICaseless_strcasestr)->Name("BM_FindASCIICaseless/strcasestr");

void BM_FindUTF16_KXPlatform(benchmark::State& state) { find(state, kCyrillic, kWord, 0); }
BENCHMARK(BM_FindUTF16_KXPlatform)->Name("BM_FindUTF16/KXPlatform");

void BM_FindUTF16_ICU(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(u_strFindFirst(kCyrillic.data(), static_cast<int32_t>(kCyrillic.size()), kWord.data(),
                                                static_cast<int32_t>(kWord.size())));
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kCyrillic.size()));
}
BENCHMARK(BM_FindUTF16_ICU)->Name("BM_FindUTF16/ICU");

void BM_FindUTF16Alike_KXPlatform(benchmark::State& state) {
    find(state, kCyrillic, kWord, kCFCompareCaseInsensitive | kCFCompareNonliteral);
}
BENCHMARK(BM_FindUTF16Alike_KXPlatform)->Name("BM_FindUTF16Alike/KXPlatform");

}  // namespace
