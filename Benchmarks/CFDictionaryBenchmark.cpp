// Dictionaries of texts beside GLib's hash table and the standard one: made, read and freed, with the texts made for
// the purpose or at hand before; and read only. Each text is found by another one that is equal to it.

#include <CoreFoundation/CoreFoundation.h>
#include <benchmark/benchmark.h>
#include <glib.h>
#include <malloc.h>

#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

namespace {

/// Keys as property lists have them.
std::vector<std::string> makeKeys(std::int64_t count) {
    std::vector<std::string> keys;
    for (std::int64_t i = 0; i < count; ++i) keys.push_back("DeviceAttribute" + std::to_string(i));
    return keys;
}

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

CFStringRef makeString(const std::string& text) {
    return CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingUTF8);
}

std::vector<CFStringRef> makeStrings(const std::vector<std::string>& texts) {
    std::vector<CFStringRef> strings;
    for (const std::string& text : texts) strings.push_back(makeString(text));
    return strings;
}

void release(const std::vector<CFStringRef>& strings) {
    for (const CFStringRef string : strings) CFRelease(string);
}

// ---- Made with their texts, read and freed

CFMutableDictionaryRef makeDictionary(const std::vector<std::string>& keys) {
    const CFMutableDictionaryRef dictionary =
        CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    for (const std::string& text : keys) {
        const CFStringRef key = makeString(text), value = makeString(text);
        CFDictionarySetValue(dictionary, key, value);
        CFRelease(value);
        CFRelease(key);
    }
    return dictionary;
}

void BM_MakeReadFree_KXPlatform(benchmark::State& state) {
    const std::vector<std::string> keys = makeKeys(state.range(0));
    const std::vector<CFStringRef> sought = makeStrings(keys);
    for (auto _ : state) {
        const CFMutableDictionaryRef dictionary = makeDictionary(keys);
        for (const CFStringRef key : sought) benchmark::DoNotOptimize(CFDictionaryGetValue(dictionary, key));
        CFRelease(dictionary);
    }
    report(
        state, [&keys] { return makeDictionary(keys); }, CFRelease);
    release(sought);
}

/// The same once the process has had a second thread, from when on references are counted by locked operations. To be
/// run last: it is so for good.
void BM_MakeReadFree_KXPlatformAmongThreads(benchmark::State& state) {
    std::thread([] {}).join();
    BM_MakeReadFree_KXPlatform(state);
}

GHashTable* makeHashTable(const std::vector<std::string>& keys) {
    GHashTable* const table = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free);
    for (const std::string& text : keys) g_hash_table_insert(table, g_strdup(text.c_str()), g_strdup(text.c_str()));
    return table;
}

void BM_MakeReadFree_GHashTable(benchmark::State& state) {
    const std::vector<std::string> keys = makeKeys(state.range(0));
    for (auto _ : state) {
        GHashTable* const table = makeHashTable(keys);
        for (const std::string& key : keys) benchmark::DoNotOptimize(g_hash_table_lookup(table, key.c_str()));
        g_hash_table_destroy(table);
    }
    report(
        state, [&keys] { return makeHashTable(keys); }, g_hash_table_destroy);
}

void BM_MakeReadFree_UnorderedMap(benchmark::State& state) {
    const std::vector<std::string> keys = makeKeys(state.range(0));
    const auto make = [&keys] {
        auto map = std::make_unique<std::unordered_map<std::string, std::string>>();
        for (const std::string& text : keys) map->emplace(text, text);
        return map;
    };
    for (auto _ : state) {
        const auto map = make();
        for (const std::string& key : keys) benchmark::DoNotOptimize(map->find(key));
    }
    report(state, make, [](auto& map) { map.reset(); });
}

// ---- Made of texts at hand, read and freed

void BM_FillReadFree_KXPlatform(benchmark::State& state) {
    const std::vector<std::string> texts = makeKeys(state.range(0));
    const std::vector<CFStringRef> keys = makeStrings(texts), sought = makeStrings(texts);
    const auto make = [&keys] {
        const CFMutableDictionaryRef dictionary =
            CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
        for (const CFStringRef key : keys) CFDictionarySetValue(dictionary, key, key);
        return dictionary;
    };
    for (auto _ : state) {
        const CFMutableDictionaryRef dictionary = make();
        for (const CFStringRef key : sought) benchmark::DoNotOptimize(CFDictionaryGetValue(dictionary, key));
        CFRelease(dictionary);
    }
    report(state, make, CFRelease);
    release(keys);
    release(sought);
}

void BM_FillReadFree_KXPlatformImmutable(benchmark::State& state) {
    const std::vector<std::string> texts = makeKeys(state.range(0));
    const std::vector<CFStringRef> keys = makeStrings(texts), sought = makeStrings(texts);
    std::vector<const void*> values(keys.begin(), keys.end());
    const auto make = [&values] {
        return CFDictionaryCreate(nullptr, values.data(), values.data(), static_cast<CFIndex>(values.size()),
                                  &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    };
    for (auto _ : state) {
        const CFDictionaryRef dictionary = make();
        for (const CFStringRef key : sought) benchmark::DoNotOptimize(CFDictionaryGetValue(dictionary, key));
        CFRelease(dictionary);
    }
    report(state, make, CFRelease);
    release(keys);
    release(sought);
}

void BM_FillReadFree_GHashTable(benchmark::State& state) {
    const std::vector<std::string> keys = makeKeys(state.range(0)), sought = keys;
    const auto make = [&keys] {
        GHashTable* const table = g_hash_table_new(g_str_hash, g_str_equal);
        for (const std::string& key : keys) {
            char* const text = const_cast<char*>(key.c_str());
            g_hash_table_insert(table, text, text);
        }
        return table;
    };
    for (auto _ : state) {
        GHashTable* const table = make();
        for (const std::string& key : sought) benchmark::DoNotOptimize(g_hash_table_lookup(table, key.c_str()));
        g_hash_table_destroy(table);
    }
    report(state, make, g_hash_table_destroy);
}

void BM_FillReadFree_UnorderedMap(benchmark::State& state) {
    const std::vector<std::string> keys = makeKeys(state.range(0)), sought = keys;
    const auto make = [&keys] {
        auto map = std::make_unique<std::unordered_map<std::string_view, const std::string*>>();
        for (const std::string& key : keys) map->emplace(key, &key);
        return map;
    };
    for (auto _ : state) {
        const auto map = make();
        for (const std::string& key : sought) benchmark::DoNotOptimize(map->find(key));
    }
    report(state, make, [](auto& map) { map.reset(); });
}

// ---- Read

void BM_Read_KXPlatform(benchmark::State& state) {
    const std::vector<std::string> keys = makeKeys(state.range(0));
    const std::vector<CFStringRef> sought = makeStrings(keys);
    const CFMutableDictionaryRef dictionary = makeDictionary(keys);
    for (auto _ : state)
        for (const CFStringRef key : sought) benchmark::DoNotOptimize(CFDictionaryGetValue(dictionary, key));
    state.SetItemsProcessed(state.iterations() * state.range(0));
    CFRelease(dictionary);
    release(sought);
}

void BM_Read_GHashTable(benchmark::State& state) {
    const std::vector<std::string> keys = makeKeys(state.range(0));
    GHashTable* const table = makeHashTable(keys);
    for (auto _ : state)
        for (const std::string& key : keys) benchmark::DoNotOptimize(g_hash_table_lookup(table, key.c_str()));
    state.SetItemsProcessed(state.iterations() * state.range(0));
    g_hash_table_destroy(table);
}

void BM_Read_UnorderedMap(benchmark::State& state) {
    const std::vector<std::string> keys = makeKeys(state.range(0));
    std::unordered_map<std::string, std::string> map;
    for (const std::string& text : keys) map.emplace(text, text);
    for (auto _ : state)
        for (const std::string& key : keys) benchmark::DoNotOptimize(map.find(key));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void sizes(benchmark::internal::Benchmark* benchmark) { benchmark->Arg(14)->Arg(1000); }

BENCHMARK(BM_MakeReadFree_KXPlatform)->Name("BM_MakeReadFree/KXPlatform")->Apply(sizes);
BENCHMARK(BM_MakeReadFree_GHashTable)->Name("BM_MakeReadFree/GHashTable")->Apply(sizes);
BENCHMARK(BM_MakeReadFree_UnorderedMap)->Name("BM_MakeReadFree/UnorderedMap")->Apply(sizes);
BENCHMARK(BM_FillReadFree_KXPlatform)->Name("BM_FillReadFree/KXPlatform")->Apply(sizes);
BENCHMARK(BM_FillReadFree_KXPlatformImmutable)->Name("BM_FillReadFree/KXPlatformImmutable")->Apply(sizes);
BENCHMARK(BM_FillReadFree_GHashTable)->Name("BM_FillReadFree/GHashTable")->Apply(sizes);
BENCHMARK(BM_FillReadFree_UnorderedMap)->Name("BM_FillReadFree/UnorderedMap")->Apply(sizes);
BENCHMARK(BM_Read_KXPlatform)->Name("BM_Read/KXPlatform")->Apply(sizes);
BENCHMARK(BM_Read_GHashTable)->Name("BM_Read/GHashTable")->Apply(sizes);
BENCHMARK(BM_Read_UnorderedMap)->Name("BM_Read/UnorderedMap")->Apply(sizes);

BENCHMARK(BM_MakeReadFree_KXPlatformAmongThreads)->Name("BM_MakeReadFree/KXPlatformAmongThreads")->Apply(sizes);

}  // namespace
