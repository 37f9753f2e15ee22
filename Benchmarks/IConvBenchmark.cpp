// The converter beside the C library's iconv, called directly with the whole text and room for all of it, and ICU's
// string functions. Rates are of input bytes. The text is mostly Latin with accents, some Cyrillic and Chinese, and a
// few characters outside the first plane.

#include <KXCoreLib/IConv.h>

#include <benchmark/benchmark.h>
#include <unicode/ustring.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The C library's own, which the platform's header has under other names.
extern "C" {
void* libraryIconvOpen(const char*, const char*) __asm__("iconv_open");
std::size_t libraryIconv(void*, char**, std::size_t*, char**, std::size_t*) __asm__("iconv");
int libraryIconvClose(void*) __asm__("iconv_close");
}

namespace {

using KXCore::IConv;
using Bytes = std::vector<unsigned char>;

constexpr std::string_view kMixed =
    "Der Zugriff auf das Ger\xC3\xA4t wurde verweigert. L'acc\xC3\xA8s au p\xC3\xA9riph\xC3\xA9rique a "
    "\xC3\xA9t\xC3\xA9 "
    "refus\xC3\xA9. \xD0\x94\xD0\xBE\xD1\x81\xD1\x82\xD1\x83\xD0\xBF \xD0\xBA \xD1\x83\xD1\x81\xD1\x82\xD1\x80\xD0\xBE"
    "\xD0\xB9\xD1\x81\xD1\x82\xD0\xB2\xD1\x83 \xD0\xB7\xD0\xB0\xD0\xBF\xD1\x80\xD0\xB5\xD1\x89\xD1\x91\xD0\xBD. "
    "\xE8\xAE\xBF\xE9\x97\xAE\xE8\xA2\xAB\xE6\x8B\x92\xE7\xBB\x9D\xE3\x80\x82 \xF0\x9F\x94\x92 /Volumes/USB "
    "DISK/report.txt ";

/// Hardly anything in ASCII.
constexpr std::string_view kDense =
    "\xD0\x94\xD0\xBE\xD1\x81\xD1\x82\xD1\x83\xD0\xBF \xD0\xBA \xD1\x83\xD1\x81\xD1\x82\xD1\x80\xD0\xBE\xD0\xB9"
    "\xD1\x81\xD1\x82\xD0\xB2\xD1\x83 \xD0\xB7\xD0\xB0\xD0\xBF\xD1\x80\xD0\xB5\xD1\x89\xD1\x91\xD0\xBD. \xE8\xAE"
    "\xBF\xE9\x97\xAE\xE8\xA2\xAB\xE6\x8B\x92\xE7\xBB\x9D\xE3\x80\x82\xE8\xA8\xAD\xE5\x82\x99\xE3\x81\xB8\xE3\x81"
    "\xAE\xE3\x82\xA2\xE3\x82\xAF\xE3\x82\xBB\xE3\x82\xB9\xE3\x81\x8C\xE6\x8B\x92\xE5\x90\xA6\xE3\x81\x95\xE3\x82"
    "\x8C\xE3\x81\xBE\xE3\x81\x97\xE3\x81\x9F\xE3\x80\x82 \xD0\x94\xD0\xBE\xD1\x81\xD1\x82\xD1\x83\xD0\xBF \xD0"
    "\xBA \xD1\x83\xD1\x81\xD1\x82\xD1\x80\xD0\xBE\xD0\xB9\xD1\x81\xD1\x82\xD0\xB2\xD1\x83 \xD0\xB7\xD0\xB0\xD0"
    "\xBF\xD1\x80\xD0\xB5\xD1\x89\xD1\x91\xD0\xBD \xD0\xB0\xD0\xB4\xD0\xBC\xD0\xB8\xD0\xBD\xD0\xB8\xD1\x81\xD1"
    "\x82\xD1\x80\xD0\xB0\xD1\x82\xD0\xBE\xD1\x80\xD0\xBE\xD0\xBC \xF0\x9F\x94\x92 ";

/// Valid UTF-8 of `length` bytes.
std::string textOf(std::size_t length, std::string_view sample) {
    std::string text;
    while (text.size() + sample.size() <= length) text += sample;
    text.append(length - text.size(), '.');
    return text;
}

std::string converted(const char* to, const char* from, const std::string& text) {
    std::string out;
    IConv(to, from)(KXCore::IConvCppContainerSource(text), KXCore::IConvCppContainerSink(out));
    return out;
}

void finish(benchmark::State& state, std::size_t bytes) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

/// A sink that keeps nothing but moves every piece: what a conversion costs without a container that grows.
class CopySink : public KXCore::IConvSink {
  public:
    explicit CopySink(std::size_t size) : bytes_(size) {}
    void operator()(unsigned char* data, unsigned long length) const override {
        if (length > bytes_.size() - at_) std::abort();
        if (length != 0) std::memcpy(bytes_.data() + at_, data, length);
        at_ += length;
    }
    void rewind() { at_ = 0; }

  private:
    mutable Bytes bytes_;
    mutable std::size_t at_ = 0;
};

void ours(benchmark::State& state, const char* to, const char* from, std::string_view sample) {
    const std::string text = converted(from, "UTF-8", textOf(static_cast<std::size_t>(state.range(0)), sample));
    IConv converter(to, from);
    CopySink sink(4 * text.size());
    for (auto _ : state) {
        sink.rewind();
        converter(IConv::MemSource(text.data(), text.size()), sink);
        benchmark::ClobberMemory();
    }
    finish(state, text.size());
}

void intoString(benchmark::State& state, const char* to, const char* from, std::string_view sample) {
    const std::string text = converted(from, "UTF-8", textOf(static_cast<std::size_t>(state.range(0)), sample));
    const Bytes input(text.begin(), text.end());
    IConv converter(to, from);
    for (auto _ : state) {
        std::string output;
        converter(input, output);
        benchmark::DoNotOptimize(output.data());
    }
    finish(state, text.size());
}

void library(benchmark::State& state, const char* to, const char* from, std::string_view sample) {
    const std::string text = converted(from, "UTF-8", textOf(static_cast<std::size_t>(state.range(0)), sample));
    std::string out(4 * text.size() + 16, '\0');
    void* const handle = libraryIconvOpen(to, from);
    for (auto _ : state) {
        char* in = const_cast<char*>(text.data());
        char* at = out.data();
        std::size_t left = text.size();
        std::size_t room = out.size();
        benchmark::DoNotOptimize(libraryIconv(handle, &in, &left, &at, &room));
        benchmark::ClobberMemory();
    }
    libraryIconvClose(handle);
    finish(state, text.size());
}

void icuFromUTF8(benchmark::State& state, std::string_view sample) {
    const std::string text = textOf(static_cast<std::size_t>(state.range(0)), sample);
    std::vector<UChar> out(text.size() + 1);
    for (auto _ : state) {
        std::int32_t length = 0;
        UErrorCode error = U_ZERO_ERROR;
        u_strFromUTF8(out.data(), static_cast<std::int32_t>(out.size()), &length, text.data(),
                      static_cast<std::int32_t>(text.size()), &error);
        benchmark::DoNotOptimize(length);
        benchmark::ClobberMemory();
    }
    finish(state, text.size());
}

void icuToUTF8(benchmark::State& state, std::string_view sample) {
    const std::string text = converted("UTF-16LE", "UTF-8", textOf(static_cast<std::size_t>(state.range(0)), sample));
    std::string out(2 * text.size() + 1, '\0');
    for (auto _ : state) {
        std::int32_t length = 0;
        UErrorCode error = U_ZERO_ERROR;
        u_strToUTF8(out.data(), static_cast<std::int32_t>(out.size()), &length,
                    reinterpret_cast<const UChar*>(text.data()), static_cast<std::int32_t>(text.size() / 2), &error);
        benchmark::DoNotOptimize(length);
        benchmark::ClobberMemory();
    }
    finish(state, text.size());
}

template <class Function, class... Arguments>
void add(const std::string& name, Function function, Arguments... arguments) {
    benchmark::RegisterBenchmark(name.c_str(), function, arguments...)->Arg(1024)->Arg(1 << 20);
}

/// Ours and the C library's, from one encoding to another.
void addPair(const std::string& what, const char* to, const char* from, std::string_view sample) {
    add("BM_" + what + "/KXCoreLib", ours, to, from, sample);
    add("BM_" + what + "/libc_iconv", library, to, from, sample);
}

const bool registered = [] {
    for (const auto& [kind, sample] : {std::pair("", kMixed), std::pair("Dense", kDense)}) {
        const std::string prefix = kind;
        addPair(prefix + "UTF8ToUTF16LE", "UTF-16LE", "UTF-8", sample);
        add("BM_" + prefix + "UTF8ToUTF16LE/ICU", icuFromUTF8, sample);
        addPair(prefix + "UTF16LEToUTF8", "UTF-8", "UTF-16LE", sample);
        add("BM_" + prefix + "UTF16LEToUTF8/ICU", icuToUTF8, sample);
        addPair(prefix + "UTF8ToWide", "WCHAR_T", "UTF-8", sample);
        addPair(prefix + "WideToUTF8", "UTF-8", "WCHAR_T", sample);
        addPair(prefix + "UTF8ToGB18030", "GB18030", "UTF-8", sample);
        addPair(prefix + "GB18030ToUTF8", "UTF-8", "GB18030", sample);
    }
    add("BM_UTF16LEToUTF8String/KXCoreLib", intoString, "UTF-8", "UTF-16LE", kMixed);
    return true;
}();

}  // namespace
