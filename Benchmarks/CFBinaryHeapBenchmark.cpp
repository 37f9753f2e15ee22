// A heap of integers behind pointers beside std::priority_queue of the same with a comparison through a pointer.

#include <CoreFoundation/CFBinaryHeap.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <queue>
#include <random>
#include <vector>

namespace {

const std::vector<const void*>& values() {
    static const std::vector<const void*> all = [] {
        std::mt19937_64 random(1);
        std::vector<const void*> made(10'000);
        for (const void*& value : made) value = reinterpret_cast<const void*>(random() >> 1);
        return made;
    }();
    return all;
}

CFComparisonResult compare(const void* a, const void* b, void*) {
    return a < b ? kCFCompareLessThan : a > b ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

void ours(benchmark::State& state) {
    const CFBinaryHeapCallBacks callBacks{0, nullptr, nullptr, nullptr, compare};
    for (auto _ : state) {
        const CFBinaryHeapRef heap = CFBinaryHeapCreate(nullptr, 0, &callBacks, nullptr);
        for (const void* const value : values()) CFBinaryHeapAddValue(heap, value);
        while (CFBinaryHeapGetCount(heap) > 0) {
            benchmark::DoNotOptimize(CFBinaryHeapGetMinimum(heap));
            CFBinaryHeapRemoveMinimumValue(heap);
        }
        CFRelease(heap);
    }
}
BENCHMARK(ours)->Name("BM_FillAndDrain/KXPlatform");

struct IsGreater {
    CFComparisonResult (*compare)(const void*, const void*, void*);
    bool operator()(const void* a, const void* b) const { return compare(a, b, nullptr) == kCFCompareGreaterThan; }
};

void standardQueue(benchmark::State& state) {
    CFComparisonResult (*function)(const void*, const void*, void*) = compare;
    benchmark::DoNotOptimize(function);
    for (auto _ : state) {
        std::priority_queue<const void*, std::vector<const void*>, IsGreater> queue(IsGreater{function});
        for (const void* const value : values()) queue.push(value);
        while (!queue.empty()) {
            benchmark::DoNotOptimize(queue.top());
            queue.pop();
        }
    }
}
BENCHMARK(standardQueue)->Name("BM_FillAndDrain/PriorityQueue");

}  // namespace
