// URLs beside liburiparser, GLib's GUri and libcurl's URL interface: parsed, asked for host, path and query, and freed;
// resolved against a base; and a file's path turned into a URL and back.

#include <CoreFoundation/CoreFoundation.h>
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <glib.h>
#include <uriparser/Uri.h>

#include <cstring>
#include <string>

namespace {

constexpr char kURL[] = "https://user@www.example.com:8443/one/two/three/file.html?key=value&other=a%20b#part";
constexpr char kBase[] = "https://www.example.com/one/two/three/file.html?key=value";
constexpr char kRelative[] = "../../four/./five.html?x=y#z";
constexpr char kPath[] = "/usr/share/doc/a package/README of it.txt";

const UInt8* bytes(const char* text) { return reinterpret_cast<const UInt8*>(text); }

// ---- Parsed and read

void BM_Parse_KXPlatform(benchmark::State& state) {
    for (auto _ : state) {
        const CFURLRef url =
            CFURLCreateWithBytes(nullptr, bytes(kURL), sizeof kURL - 1, kCFStringEncodingUTF8, nullptr);
        for (const CFStringRef part :
             {CFURLCopyHostName(url), CFURLCopyPath(url), CFURLCopyQueryString(url, nullptr)}) {
            benchmark::DoNotOptimize(part);
            CFRelease(part);
        }
        CFRelease(url);
    }
}

std::string textOf(const UriTextRangeA& range) { return {range.first, range.afterLast}; }

void BM_Parse_uriparser(benchmark::State& state) {
    for (auto _ : state) {
        UriUriA uri;
        const char* error = nullptr;
        uriParseSingleUriA(&uri, kURL, &error);
        // Its path is a list of segments.
        std::string path;
        for (const UriPathSegmentA* segment = uri.pathHead; segment; segment = segment->next)
            (path += '/').append(segment->text.first, segment->text.afterLast);
        benchmark::DoNotOptimize(path);
        benchmark::DoNotOptimize(textOf(uri.hostText));
        benchmark::DoNotOptimize(textOf(uri.query));
        uriFreeUriMembersA(&uri);
    }
}

void BM_Parse_GUri(benchmark::State& state) {
    for (auto _ : state) {
        GUri* const uri = g_uri_parse(kURL, G_URI_FLAGS_ENCODED, nullptr);
        benchmark::DoNotOptimize(g_uri_get_host(uri));
        benchmark::DoNotOptimize(g_uri_get_path(uri));
        benchmark::DoNotOptimize(g_uri_get_query(uri));
        g_uri_unref(uri);
    }
}

void BM_Parse_curl(benchmark::State& state) {
    for (auto _ : state) {
        CURLU* const url = curl_url();
        curl_url_set(url, CURLUPART_URL, kURL, 0);
        for (const CURLUPart part : {CURLUPART_HOST, CURLUPART_PATH, CURLUPART_QUERY}) {
            char* text = nullptr;
            curl_url_get(url, part, &text, 0);
            benchmark::DoNotOptimize(text);
            curl_free(text);
        }
        curl_url_cleanup(url);
    }
}

// ---- Resolved

void BM_Resolve_KXPlatform(benchmark::State& state) {
    const CFURLRef base = CFURLCreateWithBytes(nullptr, bytes(kBase), sizeof kBase - 1, kCFStringEncodingUTF8, nullptr);
    for (auto _ : state) {
        const CFURLRef url = CFURLCreateAbsoluteURLWithBytes(nullptr, bytes(kRelative), sizeof kRelative - 1,
                                                             kCFStringEncodingUTF8, base, true);
        benchmark::DoNotOptimize(CFURLGetString(url));
        CFRelease(url);
    }
    CFRelease(base);
}

void BM_Resolve_uriparser(benchmark::State& state) {
    UriUriA base;
    const char* error = nullptr;
    uriParseSingleUriA(&base, kBase, &error);
    for (auto _ : state) {
        UriUriA relative, whole;
        uriParseSingleUriA(&relative, kRelative, &error);
        uriAddBaseUriA(&whole, &relative, &base);
        char text[256];
        uriToStringA(text, &whole, sizeof text, nullptr);
        benchmark::DoNotOptimize(text);
        uriFreeUriMembersA(&whole);
        uriFreeUriMembersA(&relative);
    }
    uriFreeUriMembersA(&base);
}

void BM_Resolve_GUri(benchmark::State& state) {
    GUri* const base = g_uri_parse(kBase, G_URI_FLAGS_ENCODED, nullptr);
    for (auto _ : state) {
        GUri* const uri = g_uri_parse_relative(base, kRelative, G_URI_FLAGS_ENCODED, nullptr);
        char* const text = g_uri_to_string(uri);
        benchmark::DoNotOptimize(text);
        g_free(text);
        g_uri_unref(uri);
    }
    g_uri_unref(base);
}

void BM_Resolve_curl(benchmark::State& state) {
    CURLU* const base = curl_url();
    curl_url_set(base, CURLUPART_URL, kBase, 0);
    for (auto _ : state) {
        CURLU* const url = curl_url_dup(base);
        curl_url_set(url, CURLUPART_URL, kRelative, 0);
        char* text = nullptr;
        curl_url_get(url, CURLUPART_URL, &text, 0);
        benchmark::DoNotOptimize(text);
        curl_free(text);
        curl_url_cleanup(url);
    }
    curl_url_cleanup(base);
}

// ---- A file's path there and back

void BM_Path_KXPlatform(benchmark::State& state) {
    for (auto _ : state) {
        const CFURLRef url = CFURLCreateFromFileSystemRepresentation(nullptr, bytes(kPath), sizeof kPath - 1, false);
        UInt8 path[256];
        CFURLGetFileSystemRepresentation(url, true, path, sizeof path);
        benchmark::DoNotOptimize(path);
        CFRelease(url);
    }
}

void BM_Path_uriparser(benchmark::State& state) {
    for (auto _ : state) {
        char text[3 * sizeof kPath + 8], path[256];
        uriUnixFilenameToUriStringA(kPath, text);
        uriUriStringToUnixFilenameA(text, path);
        benchmark::DoNotOptimize(path);
    }
}

void BM_Path_GLib(benchmark::State& state) {
    for (auto _ : state) {
        char* const text = g_filename_to_uri(kPath, nullptr, nullptr);
        char* const path = g_filename_from_uri(text, nullptr, nullptr);
        benchmark::DoNotOptimize(path);
        g_free(path);
        g_free(text);
    }
}

BENCHMARK(BM_Parse_KXPlatform);
BENCHMARK(BM_Parse_uriparser);
BENCHMARK(BM_Parse_GUri);
BENCHMARK(BM_Parse_curl);
BENCHMARK(BM_Resolve_KXPlatform);
BENCHMARK(BM_Resolve_uriparser);
BENCHMARK(BM_Resolve_GUri);
BENCHMARK(BM_Resolve_curl);
BENCHMARK(BM_Path_KXPlatform);
BENCHMARK(BM_Path_uriparser);
BENCHMARK(BM_Path_GLib);

}  // namespace
