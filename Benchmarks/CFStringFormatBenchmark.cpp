// Texts put together by a format, beside snprintf (which makes bytes in a buffer at hand) and GLib's string (which
// makes a text of its own, as we do).

#include <CoreFoundation/CoreFoundation.h>
#include <benchmark/benchmark.h>

#include <glib.h>

#include <cstdio>

namespace {

constexpr int kDevice = 1234;
constexpr long long kSerial = 123456789012345;
constexpr double kShare = 97.125;
constexpr const char* kName = "removable drive";

void BM_FormatRecord_KXPlatform(benchmark::State& state) {
    const CFStringRef format = CFSTR("device %d (%s): serial %llx, %.2f%% full");
    for (auto _ : state) CFRelease(CFStringCreateWithFormat(nullptr, nullptr, format, kDevice, kName, kSerial, kShare));
}
BENCHMARK(BM_FormatRecord_KXPlatform)->Name("BM_FormatRecord/KXPlatform");

void BM_FormatRecord_snprintf(benchmark::State& state) {
    char buffer[128];
    for (auto _ : state) {
        std::snprintf(buffer, sizeof buffer, "device %d (%s): serial %llx, %.2f%% full", kDevice, kName, kSerial,
                      kShare);
        benchmark::DoNotOptimize(buffer);
    }
}
BENCHMARK(BM_FormatRecord_snprintf)->Name("BM_FormatRecord/snprintf");

void BM_FormatRecord_GLib(benchmark::State& state) {
    for (auto _ : state) {
        GString* const text = g_string_new(nullptr);
        g_string_printf(text, "device %d (%s): serial %llx, %.2f%% full", kDevice, kName, kSerial, kShare);
        g_string_free(text, TRUE);
    }
}
BENCHMARK(BM_FormatRecord_GLib)->Name("BM_FormatRecord/GLib");

void BM_FormatInteger_KXPlatform(benchmark::State& state) {
    for (auto _ : state) CFRelease(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%d"), kDevice));
}
BENCHMARK(BM_FormatInteger_KXPlatform)->Name("BM_FormatInteger/KXPlatform");

void BM_FormatInteger_GLib(benchmark::State& state) {
    for (auto _ : state) g_free(g_strdup_printf("%d", kDevice));
}
BENCHMARK(BM_FormatInteger_GLib)->Name("BM_FormatInteger/GLib");

void BM_AppendFormat_KXPlatform(benchmark::State& state) {
    const CFMutableStringRef text = CFStringCreateMutable(nullptr, 0);
    for (auto _ : state) {
        for (int i = 0; i < 100; ++i) CFStringAppendFormat(text, nullptr, CFSTR("%d %s;"), i, kName);
        CFStringReplaceAll(text, CFSTR(""));
    }
    CFRelease(text);
}
BENCHMARK(BM_AppendFormat_KXPlatform)->Name("BM_AppendFormat/KXPlatform");

void BM_AppendFormat_GLib(benchmark::State& state) {
    GString* const text = g_string_new(nullptr);
    for (auto _ : state) {
        for (int i = 0; i < 100; ++i) g_string_append_printf(text, "%d %s;", i, kName);
        g_string_truncate(text, 0);
    }
    g_string_free(text, TRUE);
}
BENCHMARK(BM_AppendFormat_GLib)->Name("BM_AppendFormat/GLib");

}  // namespace
