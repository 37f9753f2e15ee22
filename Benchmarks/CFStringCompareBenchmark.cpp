// Comparing: bytes beside memcmp's and strcasecmp's, other text beside ICU's own comparison of UTF-16.

#include <CoreFoundation/CoreFoundation.h>
#include <benchmark/benchmark.h>

#include <unicode/uchar.h>
#include <unicode/ustring.h>

#include <cstring>
#include <string>

#include <strings.h>

namespace {

struct Pair {
    std::u16string a, b;
    CFStringRef first, second;

    Pair(std::u16string left, std::u16string right) : a(std::move(left)), b(std::move(right)) {
        first = make(a);
        second = make(b);
    }
    ~Pair() {
        CFRelease(first);
        CFRelease(second);
    }
    static CFStringRef make(const std::u16string& text) {
        return CFStringCreateWithCharacters(nullptr, reinterpret_cast<const UniChar*>(text.data()),
                                            static_cast<CFIndex>(text.size()));
    }
};

std::u16string repeated(std::u16string_view word, std::size_t length) {
    std::u16string text;
    while (text.size() < length) text += word;
    return text;
}

Pair asciiPair() { return {repeated(u"Removable Drive ", 64), repeated(u"removable drive ", 64)}; }
Pair cyrillicPair() { return {repeated(u"\u0414\u0438\u0441\u043A ", 64), repeated(u"\u0434\u0438\u0441\u043A ", 64)}; }

template <class Work>
void measure(benchmark::State& state, const Pair& pair, Work work) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(work(pair));
        benchmark::ClobberMemory();
    }
}

void BM_CompareCaselessASCII_KXPlatform(benchmark::State& state) {
    const Pair pair = asciiPair();
    measure(state, pair, [](const Pair& p) { return CFStringCompare(p.first, p.second, kCFCompareCaseInsensitive); });
}
BENCHMARK(BM_CompareCaselessASCII_KXPlatform)->Name("BM_CompareCaselessASCII/KXPlatform");

void BM_CompareCaselessASCII_strcasecmp(benchmark::State& state) {
    const Pair pair = asciiPair();
    const std::string a(pair.a.begin(), pair.a.end()), b(pair.b.begin(), pair.b.end());
    for (auto _ : state) {
        benchmark::DoNotOptimize(strcasecmp(a.c_str(), b.c_str()));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_CompareCaselessASCII_strcasecmp)->Name("BM_CompareCaselessASCII/strcasecmp");

void BM_CompareLiterally_KXPlatform(benchmark::State& state) {
    const Pair pair(repeated(u"\u0434\u0438\u0441\u043A ", 64), repeated(u"\u0434\u0438\u0441\u043A ", 64));
    measure(state, pair, [](const Pair& p) { return CFStringCompare(p.first, p.second, 0); });
}
BENCHMARK(BM_CompareLiterally_KXPlatform)->Name("BM_CompareLiterally/KXPlatform");

void BM_CompareLiterally_ICU(benchmark::State& state) {
    const Pair pair(repeated(u"\u0434\u0438\u0441\u043A ", 64), repeated(u"\u0434\u0438\u0441\u043A ", 64));
    measure(state, pair, [](const Pair& p) {
        return u_strCompare(p.a.data(), static_cast<int32_t>(p.a.size()), p.b.data(), static_cast<int32_t>(p.b.size()),
                            false);
    });
}
BENCHMARK(BM_CompareLiterally_ICU)->Name("BM_CompareLiterally/ICU");

void BM_CompareCaselessEquivalent_KXPlatform(benchmark::State& state) {
    const Pair pair = cyrillicPair();
    measure(state, pair, [](const Pair& p) {
        return CFStringCompare(p.first, p.second, kCFCompareCaseInsensitive | kCFCompareNonliteral);
    });
}
BENCHMARK(BM_CompareCaselessEquivalent_KXPlatform)->Name("BM_CompareCaselessEquivalent/KXPlatform");

void BM_CompareCaselessEquivalent_ICU(benchmark::State& state) {
    const Pair pair = cyrillicPair();
    measure(state, pair, [](const Pair& p) {
        UErrorCode status = U_ZERO_ERROR;
        return u_strCaseCompare(p.a.data(), static_cast<int32_t>(p.a.size()), p.b.data(),
                                static_cast<int32_t>(p.b.size()), U_FOLD_CASE_DEFAULT, &status);
    });
}
// ICU's comparison folds case only; ours keeps canonical equivalence too.
BENCHMARK(BM_CompareCaselessEquivalent_ICU)->Name("BM_CompareCaselessEquivalent/ICU");

}  // namespace
