// What a call through a wrapper costs, beside the call of the platform's function that it forwards to.

#include <KXCoreLib/CoreFoundationWrappers.h>

#include <benchmark/benchmark.h>

#include <string>

using namespace KXCore::CoreFoundation;

namespace {

StringRef text() {
    return StringRef::createWithStdString(kCFAllocatorDefault, "a text of some length", kCFStringEncodingUTF8);
}

ArrayRef array() {
    const StringRef string = text();
    const void* values[] = {string.get(), string.get(), string.get()};
    return ArrayRef::create(kCFAllocatorDefault, values, 3, &kCFTypeArrayCallBacks);
}

void BM_GetLength_Platform(benchmark::State& state) {
    const StringRef string = text();
    for (auto _ : state) benchmark::DoNotOptimize(CFStringGetLength(string.get()));
}

void BM_GetLength_Wrapper(benchmark::State& state) {
    const StringRef string = text();
    for (auto _ : state) benchmark::DoNotOptimize(string.getLength());
}

void BM_GetValueAtIndex_Platform(benchmark::State& state) {
    const ArrayRef values = array();
    for (auto _ : state) benchmark::DoNotOptimize(CFArrayGetValueAtIndex(values.get(), 1));
}

void BM_GetValueAtIndex_Wrapper(benchmark::State& state) {
    const ArrayRef values = array();
    for (auto _ : state) benchmark::DoNotOptimize(values.getValueAtIndex(1));
}

void BM_CreateAndRelease_Platform(benchmark::State& state) {
    const UInt8 bytes[16] = {};
    for (auto _ : state) {
        const CFDataRef data = CFDataCreate(kCFAllocatorDefault, bytes, sizeof bytes);
        benchmark::DoNotOptimize(data);
        CFRelease(data);
    }
}

void BM_CreateAndRelease_Wrapper(benchmark::State& state) {
    const UInt8 bytes[16] = {};
    for (auto _ : state) {
        const DataRef data = DataRef::create(kCFAllocatorDefault, bytes, sizeof bytes);
        benchmark::DoNotOptimize(data.get());
    }
}

void BM_CopyStdString_Wrapper(benchmark::State& state) {
    const StringRef string = text();
    std::string out;
    for (auto _ : state) {
        string.copyStdString(out);
        benchmark::DoNotOptimize(out.data());
    }
}

BENCHMARK(BM_GetLength_Platform)->Name("BM_WrapperGetLength/direct call");
BENCHMARK(BM_GetLength_Wrapper)->Name("BM_WrapperGetLength/KXCoreLib");
BENCHMARK(BM_GetValueAtIndex_Platform)->Name("BM_WrapperGetValueAtIndex/direct call");
BENCHMARK(BM_GetValueAtIndex_Wrapper)->Name("BM_WrapperGetValueAtIndex/KXCoreLib");
BENCHMARK(BM_CreateAndRelease_Platform)->Name("BM_WrapperCreateAndRelease/direct call");
BENCHMARK(BM_CreateAndRelease_Wrapper)->Name("BM_WrapperCreateAndRelease/KXCoreLib");
BENCHMARK(BM_CopyStdString_Wrapper)->Name("BM_WrapperCopyStdString/KXCoreLib");

}  // namespace
