// Bit vectors beside boost::dynamic_bitset.

#include <CoreFoundation/CFBitVector.h>

#include <benchmark/benchmark.h>
#include <boost/dynamic_bitset.hpp>

#include <cstddef>

namespace {

constexpr CFIndex kCount = 100'000;

CFMutableBitVectorRef make() {
    const CFMutableBitVectorRef bits = CFBitVectorCreateMutable(nullptr, 0);
    CFBitVectorSetCount(bits, kCount);
    for (CFIndex i = 0; i < kCount; i += 3) CFBitVectorSetBitAtIndex(bits, i, 1);
    return bits;
}

boost::dynamic_bitset<> makeBoosts() {
    boost::dynamic_bitset<> bits(kCount);
    for (std::size_t i = 0; i < kCount; i += 3) bits.set(i);
    return bits;
}

void countOurs(benchmark::State& state) {
    const CFMutableBitVectorRef bits = make();
    for (auto _ : state) benchmark::DoNotOptimize(CFBitVectorGetCountOfBit(bits, {0, kCount}, 1));
    CFRelease(bits);
}
BENCHMARK(countOurs)->Name("BM_Count/KXPlatform");

void countBoost(benchmark::State& state) {
    const boost::dynamic_bitset<> bits = makeBoosts();
    for (auto _ : state) benchmark::DoNotOptimize(bits.count());
}
BENCHMARK(countBoost)->Name("BM_Count/DynamicBitset");

void walkOurs(benchmark::State& state) {
    const CFMutableBitVectorRef bits = make();
    for (auto _ : state) {
        CFIndex sum = 0;
        for (CFIndex at = CFBitVectorGetFirstIndexOfBit(bits, {0, kCount}, 1); at != kCFNotFound;
             at = CFBitVectorGetFirstIndexOfBit(bits, {at + 1, kCount - at - 1}, 1))
            sum += at;
        benchmark::DoNotOptimize(sum);
    }
    CFRelease(bits);
}
BENCHMARK(walkOurs)->Name("BM_Walk/KXPlatform");

void walkBoost(benchmark::State& state) {
    const boost::dynamic_bitset<> bits = makeBoosts();
    for (auto _ : state) {
        std::size_t sum = 0;
        for (std::size_t at = bits.find_first(); at != bits.npos; at = bits.find_next(at)) sum += at;
        benchmark::DoNotOptimize(sum);
    }
}
BENCHMARK(walkBoost)->Name("BM_Walk/DynamicBitset");

void flipOurs(benchmark::State& state) {
    const CFMutableBitVectorRef bits = make();
    for (auto _ : state) CFBitVectorFlipBits(bits, {0, kCount});
    CFRelease(bits);
}
BENCHMARK(flipOurs)->Name("BM_Flip/KXPlatform");

void flipBoost(benchmark::State& state) {
    boost::dynamic_bitset<> bits = makeBoosts();
    for (auto _ : state) benchmark::DoNotOptimize(bits.flip());
}
BENCHMARK(flipBoost)->Name("BM_Flip/DynamicBitset");

}  // namespace
