// Strings beside GLib's and the standard library's: making and freeing short ones, counting references, converting
// between UTF-8 and UTF-16, hashing, appending.

#include <CoreFoundation/CoreFoundation.h>
#include <benchmark/benchmark.h>
#include <glib.h>
#include <malloc.h>
#include <unicode/ustring.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace {

std::string shortText(const benchmark::State& state) {
    return std::string(static_cast<std::size_t>(state.range(0)), 'k');
}

void report(benchmark::State& state, std::size_t bytes) { state.counters["memory"] = static_cast<double>(bytes); }

// ---- Making and freeing

void BM_CreateShort_KXPlatform(benchmark::State& state) {
    const std::string text = shortText(state);
    for (auto _ : state) {
        const CFStringRef made = CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingUTF8);
        benchmark::DoNotOptimize(made);
        CFRelease(made);
    }
    const CFStringRef made = CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingUTF8);
    report(state, malloc_usable_size(const_cast<__CFString*>(made)));
    CFRelease(made);
}

void BM_CreateShort_GString(benchmark::State& state) {
    const std::string text = shortText(state);
    for (auto _ : state) {
        GString* const made = g_string_new(text.c_str());
        benchmark::DoNotOptimize(made);
        g_string_free(made, true);
    }
    GString* const made = g_string_new(text.c_str());
    report(state, sizeof *made + malloc_usable_size(made->str));  // the record itself comes from a slice
    g_string_free(made, true);
}

void BM_CreateShort_StdString(benchmark::State& state) {
    const std::string text = shortText(state);
    for (auto _ : state) {
        const auto made = std::make_shared<const std::string>(text.c_str());
        benchmark::DoNotOptimize(made.get());
    }
    const auto* const made = new std::string(text.c_str());
    const bool isInside = made->capacity() < sizeof(std::string) / 2;
    report(state, 16 + malloc_usable_size(const_cast<std::string*>(made)) +
                      (isInside ? 0 : malloc_usable_size(const_cast<char*>(made->data()))));
    delete made;
}

BENCHMARK(BM_CreateShort_KXPlatform)->Name("BM_CreateShortString/KXPlatform")->Arg(7)->Arg(24)->Arg(100);
BENCHMARK(BM_CreateShort_GString)->Name("BM_CreateShortString/GString")->Arg(7)->Arg(24)->Arg(100);
BENCHMARK(BM_CreateShort_StdString)->Name("BM_CreateShortString/std::shared_ptr<string>")->Arg(7)->Arg(24)->Arg(100);

// ---- Counting references

void BM_RetainRelease_KXPlatform(benchmark::State& state) {
    const CFStringRef text = CFStringCreateWithCString(nullptr, "text", kCFStringEncodingUTF8);
    for (auto _ : state) {
        CFRetain(text);
        CFRelease(text);
    }
    CFRelease(text);
}

void BM_RetainRelease_Atomics(benchmark::State& state) {
    std::atomic<std::uint32_t> count{1};
    for (auto _ : state) {
        count.fetch_add(1, std::memory_order_relaxed);
        benchmark::DoNotOptimize(count.fetch_sub(1, std::memory_order_acq_rel));
    }
}

void BM_RetainRelease_GRefString(benchmark::State& state) {
    char* const text = g_ref_string_new("text");
    for (auto _ : state) {
        g_ref_string_acquire(text);
        g_ref_string_release(text);
    }
    g_ref_string_release(text);
}

BENCHMARK(BM_RetainRelease_KXPlatform)->Name("BM_RetainRelease/KXPlatform");
BENCHMARK(BM_RetainRelease_Atomics)->Name("BM_RetainRelease/two atomic operations");
BENCHMARK(BM_RetainRelease_GRefString)->Name("BM_RetainRelease/GRefString");

// ---- Converting

/// About 4,096 bytes of UTF-8: ASCII, ASCII with a letter of two bytes here and there, Cyrillic, Japanese, emoji.
std::string utf8Of(std::int64_t kind) {
    constexpr std::string_view kParts[] = {"The quick brown fox jumps. ",
                                           "Les \xC3\xA9l\xC3\xA8ves sont arriv\xC3\xA9s. ",
                                           "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82 ",
                                           "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\xE6\x96\x87", "\xF0\x9F\x98\x80"};
    std::string text;
    while (text.size() < 4096) text += kParts[kind];
    return text;
}

constexpr const char* kKinds[] = {"ASCII", "Latin", "Cyrillic", "Japanese", "emoji"};

void setBytes(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(bytes));
    state.SetLabel(kKinds[state.range(0)]);
}

void BM_FromUTF8_KXPlatform(benchmark::State& state) {
    const std::string text = utf8Of(state.range(0));
    for (auto _ : state) {
        const CFStringRef made =
            CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                    static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false);
        benchmark::DoNotOptimize(made);
        CFRelease(made);
    }
    setBytes(state, text.size());
}

void BM_FromUTF8_GLib(benchmark::State& state) {
    const std::string text = utf8Of(state.range(0));
    for (auto _ : state) {
        gunichar2* const made =
            g_utf8_to_utf16(text.data(), static_cast<glong>(text.size()), nullptr, nullptr, nullptr);
        benchmark::DoNotOptimize(made);
        g_free(made);
    }
    setBytes(state, text.size());
}

void BM_FromUTF8_ICU(benchmark::State& state) {
    const std::string text = utf8Of(state.range(0));
    for (auto _ : state) {
        // As a caller of it must: room for the worst case, since its length is not known before.
        const std::unique_ptr<char16_t[]> made(new char16_t[text.size()]);
        UErrorCode error = U_ZERO_ERROR;
        std::int32_t length = 0;
        u_strFromUTF8(made.get(), static_cast<std::int32_t>(text.size()), &length, text.data(),
                      static_cast<std::int32_t>(text.size()), &error);
        benchmark::DoNotOptimize(made.get());
    }
    setBytes(state, text.size());
}

BENCHMARK(BM_FromUTF8_KXPlatform)->Name("BM_FromUTF8/KXPlatform")->DenseRange(0, 4);
BENCHMARK(BM_FromUTF8_GLib)->Name("BM_FromUTF8/GLib")->DenseRange(0, 4);
BENCHMARK(BM_FromUTF8_ICU)->Name("BM_FromUTF8/ICU")->DenseRange(0, 4);

void BM_ToUTF8_KXPlatform(benchmark::State& state) {
    const std::string text = utf8Of(state.range(0));
    const CFStringRef string = CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingUTF8);
    std::string out(text.size() + 1, '\0');
    for (auto _ : state) {
        CFStringGetCString(string, out.data(), static_cast<CFIndex>(out.size()), kCFStringEncodingUTF8);
        benchmark::DoNotOptimize(out.data());
    }
    CFRelease(string);
    setBytes(state, text.size());
}

void BM_ToUTF8_ICU(benchmark::State& state) {
    const std::string text = utf8Of(state.range(0));
    std::u16string units(text.size(), u'\0');
    UErrorCode error = U_ZERO_ERROR;
    std::int32_t length = 0;
    u_strFromUTF8(units.data(), static_cast<std::int32_t>(units.size()), &length, text.data(),
                  static_cast<std::int32_t>(text.size()), &error);
    std::string out(text.size() + 1, '\0');
    for (auto _ : state) {
        u_strToUTF8(out.data(), static_cast<std::int32_t>(out.size()), nullptr, units.data(), length, &error);
        benchmark::DoNotOptimize(out.data());
    }
    setBytes(state, text.size());
}

BENCHMARK(BM_ToUTF8_KXPlatform)->Name("BM_ToUTF8/KXPlatform")->DenseRange(0, 4);
BENCHMARK(BM_ToUTF8_ICU)->Name("BM_ToUTF8/ICU")->DenseRange(0, 4);

// ---- Hashing and appending

void BM_Hash_KXPlatform(benchmark::State& state) {
    const CFStringRef text = CFStringCreateWithCString(nullptr, shortText(state).c_str(), kCFStringEncodingUTF8);
    for (auto _ : state) benchmark::DoNotOptimize(CFHash(text));
    CFRelease(text);
}

void BM_Hash_GLib(benchmark::State& state) {
    const std::string text = shortText(state);
    for (auto _ : state) benchmark::DoNotOptimize(g_str_hash(text.c_str()));
}

void BM_Hash_Std(benchmark::State& state) {
    const std::string text = shortText(state);
    for (auto _ : state) benchmark::DoNotOptimize(std::hash<std::string>{}(text));
}

BENCHMARK(BM_Hash_KXPlatform)->Name("BM_StringHash/KXPlatform")->Arg(7)->Arg(24)->Arg(100);
BENCHMARK(BM_Hash_GLib)->Name("BM_StringHash/GLib")->Arg(7)->Arg(24)->Arg(100);
BENCHMARK(BM_Hash_Std)->Name("BM_StringHash/std")->Arg(7)->Arg(24)->Arg(100);

void BM_Append_KXPlatform(benchmark::State& state) {
    for (auto _ : state) {
        const CFMutableStringRef text = CFStringCreateMutable(nullptr, 0);
        for (int i = 0; i < 100; ++i) CFStringAppendCString(text, "some words ", kCFStringEncodingUTF8);
        benchmark::DoNotOptimize(text);
        CFRelease(text);
    }
}

void BM_Append_GString(benchmark::State& state) {
    for (auto _ : state) {
        GString* const text = g_string_new(nullptr);
        for (int i = 0; i < 100; ++i) g_string_append(text, "some words ");
        benchmark::DoNotOptimize(text);
        g_string_free(text, true);
    }
}

BENCHMARK(BM_Append_KXPlatform)->Name("BM_StringAppend/KXPlatform");
BENCHMARK(BM_Append_GString)->Name("BM_StringAppend/GString");

}  // namespace
