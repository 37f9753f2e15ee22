// Bags of numbers beside a map of counts, std::unordered_map, and a sorted one, boost::container::flat_multiset.

#include <CoreFoundation/CFBag.h>

#include <benchmark/benchmark.h>
#include <boost/container/flat_set.hpp>

#include <cstddef>
#include <unordered_map>

namespace {

constexpr std::size_t kValues = 1000;
constexpr std::size_t kTimes = 3;

const void* value(std::size_t i) { return reinterpret_cast<const void*>((i * 2654435761u) | 1); }

void ours(benchmark::State& state) {
    for (auto _ : state) {
        const CFMutableBagRef bag = CFBagCreateMutable(nullptr, 0, nullptr);
        for (std::size_t time = 0; time < kTimes; ++time)
            for (std::size_t i = 0; i < kValues; ++i) CFBagAddValue(bag, value(i));
        CFIndex count = 0;
        for (std::size_t i = 0; i < kValues; ++i) count += CFBagGetCountOfValue(bag, value(i));
        benchmark::DoNotOptimize(count);
        CFRelease(bag);
    }
}
BENCHMARK(ours)->Name("BM_FillReadFree/KXPlatform");

void unorderedMap(benchmark::State& state) {
    for (auto _ : state) {
        std::unordered_map<const void*, std::size_t> bag;
        for (std::size_t time = 0; time < kTimes; ++time)
            for (std::size_t i = 0; i < kValues; ++i) ++bag[value(i)];
        std::size_t count = 0;
        for (std::size_t i = 0; i < kValues; ++i) count += bag.find(value(i))->second;
        benchmark::DoNotOptimize(count);
    }
}
BENCHMARK(unorderedMap)->Name("BM_FillReadFree/UnorderedMap");

void flatMultiset(benchmark::State& state) {
    for (auto _ : state) {
        boost::container::flat_multiset<const void*> bag;
        for (std::size_t time = 0; time < kTimes; ++time)
            for (std::size_t i = 0; i < kValues; ++i) bag.insert(value(i));
        std::size_t count = 0;
        for (std::size_t i = 0; i < kValues; ++i) count += bag.count(value(i));
        benchmark::DoNotOptimize(count);
    }
}
BENCHMARK(flatMultiset)->Name("BM_FillReadFree/FlatMultiset");

}  // namespace
