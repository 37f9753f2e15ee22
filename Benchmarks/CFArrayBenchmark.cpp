// Arrays of counted objects beside GLib's pointer array and the standard vector: appended to, read and freed; used as
// a queue; and inserted into at random places.

#include <CoreFoundation/CoreFoundation.h>
#include <benchmark/benchmark.h>
#include <glib.h>
#include <malloc.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

/// Reports the memory that one of what `make` makes takes: of many, since the first ones come from what was freed.
template <class Make, class Free>
void report(benchmark::State& state, Make make, Free free) {
    constexpr std::size_t kCount = 256;
    std::vector<decltype(make())> all;
    all.reserve(kCount);
    const std::size_t before = mallinfo2().uordblks;
    for (std::size_t i = 0; i < kCount; ++i) all.push_back(make());
    state.counters["memory"] = static_cast<double>((mallinfo2().uordblks - before) / kCount);
    for (auto& one : all) free(one);
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

// ---- Appended to, read and freed: values are counted

CFMutableArrayRef makeArray(std::int64_t count, CFStringRef value) {
    const CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    for (std::int64_t i = 0; i < count; ++i) CFArrayAppendValue(array, value);
    return array;
}

void BM_AppendReadFree_KXPlatform(benchmark::State& state) {
    const CFStringRef value = CFStringCreateWithCString(nullptr, "value", kCFStringEncodingUTF8);
    for (auto _ : state) {
        const CFMutableArrayRef array = makeArray(state.range(0), value);
        for (CFIndex i = 0; i < state.range(0); ++i) benchmark::DoNotOptimize(CFArrayGetValueAtIndex(array, i));
        CFRelease(array);
    }
    report(
        state, [&] { return makeArray(state.range(0), value); }, CFRelease);
    CFRelease(value);
}

GPtrArray* makePtrArray(std::int64_t count, void* value) {
    GPtrArray* const array =
        g_ptr_array_new_with_free_func([](void* held) { g_bytes_unref(static_cast<GBytes*>(held)); });
    for (std::int64_t i = 0; i < count; ++i) g_ptr_array_add(array, g_bytes_ref(static_cast<GBytes*>(value)));
    return array;
}

void BM_AppendReadFree_GPtrArray(benchmark::State& state) {
    GBytes* const value = g_bytes_new_static("value", 5);
    for (auto _ : state) {
        GPtrArray* const array = makePtrArray(state.range(0), value);
        for (guint i = 0; i < array->len; ++i) benchmark::DoNotOptimize(g_ptr_array_index(array, i));
        g_ptr_array_unref(array);
    }
    report(
        state, [&] { return makePtrArray(state.range(0), value); }, g_ptr_array_unref);
    g_bytes_unref(value);
}

void BM_AppendReadFree_VectorOfSharedPtr(benchmark::State& state) {
    const auto value = std::make_shared<const std::string>("value");
    const auto make = [&] {
        auto array = std::make_unique<std::vector<std::shared_ptr<const std::string>>>();
        for (std::int64_t i = 0; i < state.range(0); ++i) array->push_back(value);
        return array;
    };
    for (auto _ : state) {
        const auto array = make();
        for (const auto& held : *array) benchmark::DoNotOptimize(held.get());
    }
    report(state, make, [](auto& array) { array.reset(); });
}

// ---- A queue: values go in at the end and out at the start

void BM_Queue_KXPlatform(benchmark::State& state) {
    const CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, nullptr);
    for (std::int64_t i = 0; i < state.range(0); ++i) CFArrayAppendValue(array, &state);
    for (auto _ : state) {
        CFArrayAppendValue(array, &state);
        CFArrayRemoveValueAtIndex(array, 0);
    }
    CFRelease(array);
}

void BM_Queue_GPtrArray(benchmark::State& state) {
    GPtrArray* const array = g_ptr_array_new();
    for (std::int64_t i = 0; i < state.range(0); ++i) g_ptr_array_add(array, &state);
    for (auto _ : state) {
        g_ptr_array_add(array, &state);
        g_ptr_array_remove_index(array, 0);
    }
    g_ptr_array_unref(array);
}

void BM_Queue_Vector(benchmark::State& state) {
    std::vector<void*> array(static_cast<std::size_t>(state.range(0)), &state);
    for (auto _ : state) {
        array.push_back(&state);
        array.erase(array.begin());
    }
}

// ---- Inserted into at random places, until it is full

void BM_InsertAnywhere_KXPlatform(benchmark::State& state) {
    for (auto _ : state) {
        std::minstd_rand random;
        const CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, nullptr);
        for (std::int64_t i = 0; i < state.range(0); ++i)
            CFArrayInsertValueAtIndex(array, static_cast<CFIndex>(random() % static_cast<unsigned long>(i + 1)),
                                      &state);
        CFRelease(array);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_InsertAnywhere_GPtrArray(benchmark::State& state) {
    for (auto _ : state) {
        std::minstd_rand random;
        GPtrArray* const array = g_ptr_array_new();
        for (std::int64_t i = 0; i < state.range(0); ++i)
            g_ptr_array_insert(array, static_cast<gint>(random() % static_cast<unsigned long>(i + 1)), &state);
        g_ptr_array_unref(array);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_InsertAnywhere_Vector(benchmark::State& state) {
    for (auto _ : state) {
        std::minstd_rand random;
        std::vector<void*> array;
        for (std::int64_t i = 0; i < state.range(0); ++i)
            array.insert(array.begin() + static_cast<std::ptrdiff_t>(random() % static_cast<unsigned long>(i + 1)),
                         &state);
        benchmark::DoNotOptimize(array.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void sizes(benchmark::internal::Benchmark* benchmark) { benchmark->Arg(14)->Arg(1000); }

BENCHMARK(BM_AppendReadFree_KXPlatform)->Name("BM_AppendReadFree/KXPlatform")->Apply(sizes);
BENCHMARK(BM_AppendReadFree_GPtrArray)->Name("BM_AppendReadFree/GPtrArray")->Apply(sizes);
BENCHMARK(BM_AppendReadFree_VectorOfSharedPtr)->Name("BM_AppendReadFree/VectorOfSharedPtr")->Apply(sizes);
BENCHMARK(BM_Queue_KXPlatform)->Name("BM_Queue/KXPlatform")->Apply(sizes);
BENCHMARK(BM_Queue_GPtrArray)->Name("BM_Queue/GPtrArray")->Apply(sizes);
BENCHMARK(BM_Queue_Vector)->Name("BM_Queue/Vector")->Apply(sizes);
BENCHMARK(BM_InsertAnywhere_KXPlatform)->Name("BM_InsertAnywhere/KXPlatform")->Apply(sizes);
BENCHMARK(BM_InsertAnywhere_GPtrArray)->Name("BM_InsertAnywhere/GPtrArray")->Apply(sizes);
BENCHMARK(BM_InsertAnywhere_Vector)->Name("BM_InsertAnywhere/Vector")->Apply(sizes);

}  // namespace
