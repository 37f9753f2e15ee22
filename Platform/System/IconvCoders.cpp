#include "IconvCoders.h"

#include <langinfo.h>
#include <strings.h>
#include <unicode/unorm2.h>
#include <unicode/utf16.h>

#include <cerrno>
#include <utility>

// The C library's own, which this platform's header has under other names.
extern "C" {
void* libraryIconvOpen(const char*, const char*) __asm__("iconv_open");
std::size_t libraryIconv(void*, char**, std::size_t*, char**, std::size_t*) __asm__("iconv");
int libraryIconvClose(void*) __asm__("iconv_close");
}

namespace KXPlatform {

Decoder::~Decoder() = default;
Encoder::~Encoder() = default;

namespace {

bool is(std::string_view name, std::string_view other) {
    return name.size() == other.size() && strncasecmp(name.data(), other.data(), name.size()) == 0;
}

bool begins(std::string_view name, std::string_view with) { return is(name.substr(0, with.size()), with); }

/// A conversion of the C library to or from its wide characters, which are code points here.
class LibraryConversion {
  public:
    LibraryConversion(const char* to, const char* from) noexcept : handle_(libraryIconvOpen(to, from)) {}
    ~LibraryConversion() {
        if (*this) libraryIconvClose(handle_);
    }
    LibraryConversion(const LibraryConversion&) = delete;
    LibraryConversion& operator=(const LibraryConversion&) = delete;

    explicit operator bool() const noexcept { return handle_ != reinterpret_cast<void*>(-1); }

    Stop convert(Input& in, Output& out) noexcept {
        char* from = reinterpret_cast<char*>(const_cast<unsigned char*>(in.at));
        std::size_t left = in.left();
        char* to = reinterpret_cast<char*>(out.at);
        std::size_t room = out.room();
        const Stop stop = answer(libraryIconv(handle_, &from, &left, &to, &room));
        in.at = in.end - left;
        out.at = out.end - room;
        return stop;
    }

    Stop finish(Output& out) noexcept {
        char* to = reinterpret_cast<char*>(out.at);
        std::size_t room = out.room();
        const Stop stop = answer(libraryIconv(handle_, nullptr, nullptr, &to, &room));
        out.at = out.end - room;
        return stop;
    }

    void reset() noexcept { libraryIconv(handle_, nullptr, nullptr, nullptr, nullptr); }

  private:
    static Stop answer(std::size_t result) noexcept {
        if (result != static_cast<std::size_t>(-1)) return Stop::UsedUp;
        return errno == E2BIG ? Stop::Full : errno == EINVAL ? Stop::Incomplete : Stop::Invalid;
    }

    void* handle_;
};

Output placesAsBytes(char32_t* out, char32_t* end) noexcept {
    return {reinterpret_cast<unsigned char*>(out), reinterpret_cast<unsigned char*>(end)};
}

Input charactersAsBytes(const char32_t* in, const char32_t* end) noexcept {
    return {reinterpret_cast<const unsigned char*>(in), reinterpret_cast<const unsigned char*>(end)};
}

template <class Text>
class UnicodeDecoder final : public Decoder {
  public:
    Stop decode(Input& in, char32_t*& out, char32_t* end) noexcept override {
        Output places = placesAsBytes(out, end);
        const Stop stop = convertText<Text, UTF32LEText>(in, places);
        out = reinterpret_cast<char32_t*>(places.at);
        return stop;
    }
    void finish(char32_t*&, char32_t*) noexcept override {}
    void reset() noexcept override {}
    std::size_t unit() const noexcept override { return sizeof(typename Text::Unit); }
};

template <class Text>
class UnicodeEncoder final : public Encoder {
  public:
    Stop encode(const char32_t*& in, const char32_t* end, Output& out) noexcept override {
        Input characters = charactersAsBytes(in, end);
        const Stop stop = convertText<UTF32LEText, Text>(characters, out);
        in = reinterpret_cast<const char32_t*>(characters.at);
        return stop;
    }
    Stop finish(Output&) noexcept override { return Stop::UsedUp; }
    void reset() noexcept override {}
    std::size_t longest() const noexcept override { return kLongestCharacter; }
};

class LibraryDecoder final : public Decoder {
  public:
    explicit LibraryDecoder(const std::string& from) noexcept
        : conversion_("WCHAR_T", from.c_str()), unit_(unitOf(from)) {}

    explicit operator bool() const noexcept { return static_cast<bool>(conversion_); }

    Stop decode(Input& in, char32_t*& out, char32_t* end) noexcept override {
        Output places = placesAsBytes(out, end);
        const Stop stop = conversion_.convert(in, places);
        keepCharacters(out, places);
        return stop;
    }

    void finish(char32_t*& out, char32_t* end) noexcept override {
        Output places = placesAsBytes(out, end);
        conversion_.finish(places);
        keepCharacters(out, places);
    }

    void reset() noexcept override { conversion_.reset(); }
    std::size_t unit() const noexcept override { return unit_; }

  private:
    /// Some of the library's decoders let values through that are no characters.
    static void keepCharacters(char32_t*& out, const Output& places) noexcept {
        out = std::remove_if(out, reinterpret_cast<char32_t*>(places.at), [](char32_t c) { return !isCharacter(c); });
    }

    static std::size_t unitOf(std::string_view name) noexcept {
        for (const char* const wide : {"UTF-32", "UTF32", "UCS-4", "UCS4", "ISO-10646/UCS4"}) {
            if (begins(name, wide)) return 4;
        }
        for (const char* const half : {"UTF-16", "UTF16", "UCS-2", "UCS2", "UNICODE", "ISO-10646/UCS2"}) {
            if (begins(name, half)) return 2;
        }
        return 1;
    }

    LibraryConversion conversion_;
    std::size_t unit_;
};

class LibraryEncoder final : public Encoder {
  public:
    explicit LibraryEncoder(const std::string& to) noexcept : conversion_(to.c_str(), "WCHAR_T") {}

    explicit operator bool() const noexcept { return static_cast<bool>(conversion_); }

    Stop encode(const char32_t*& in, const char32_t* end, Output& out) noexcept override {
        Input characters = charactersAsBytes(in, end);
        const Stop stop = conversion_.convert(characters, out);
        in = reinterpret_cast<const char32_t*>(characters.at);
        return stop;
    }
    Stop finish(Output& out) noexcept override { return conversion_.finish(out); }
    void reset() noexcept override { conversion_.reset(); }
    std::size_t longest() const noexcept override { return 16; }  // a mark, the shifts of ISO 2022 and the character

  private:
    LibraryConversion conversion_;
};

const UNormalizer2* normalForm(const UNormalizer2* (*instance)(UErrorCode*)) noexcept {
    UErrorCode error = U_ZERO_ERROR;
    const UNormalizer2* const form = instance(&error);
    if (U_SUCCESS(error)) return form;
    errno = EINVAL;
    return nullptr;
}

template <class Coder>
std::unique_ptr<Coder> ifOpen(std::unique_ptr<Coder> coder) {
    if (!*coder) coder.reset();
    return coder;
}

}  // namespace

Charset Charset::named(std::string_view name) {
    if (name.empty() || is(name, "char")) name = nl_langinfo(CODESET);
    if (is(name, "UTF-8") || is(name, "UTF8")) return {.kind = UTF8};
    if (is(name, "UTF-8-MAC") || is(name, "UTF8-MAC")) return {.kind = UTF8, .decomposed = true};
    if (is(name, "UTF-16LE") || is(name, "UTF16LE")) return {.kind = UTF16LE};
    if (is(name, "UTF-32LE") || is(name, "UTF32LE")) return {.kind = UTF32LE};
    if (is(name, "wchar_t")) return {.kind = UTF32LE};
    return {.kind = Library, .nativeName = std::string(name)};
}

std::unique_ptr<Decoder> makeDecoder(const Charset& from) {
    switch (from.kind) {
        case Charset::UTF8:
            return std::make_unique<UnicodeDecoder<UTF8Text>>();
        case Charset::UTF16LE:
            return std::make_unique<UnicodeDecoder<UTF16LEText>>();
        case Charset::UTF32LE:
            return std::make_unique<UnicodeDecoder<UTF32LEText>>();
        case Charset::Library:
            break;
    }
    return ifOpen(std::make_unique<LibraryDecoder>(from.nativeName));
}

std::unique_ptr<Encoder> makeEncoder(const Charset& to, bool transliterating) {
    switch (to.kind) {
        case Charset::UTF8:
            return std::make_unique<UnicodeEncoder<UTF8Text>>();
        case Charset::UTF16LE:
            return std::make_unique<UnicodeEncoder<UTF16LEText>>();
        case Charset::UTF32LE:
            return std::make_unique<UnicodeEncoder<UTF32LEText>>();
        case Charset::Library:
            break;
    }
    return ifOpen(std::make_unique<LibraryEncoder>(to.nativeName + (transliterating ? "//TRANSLIT" : "")));
}

DirectConversion directConversion(Charset::Kind from, Charset::Kind to) noexcept {
    static constexpr DirectConversion table[3][3] = {
        {convertText<UTF8Text, UTF8Text>, convertText<UTF8Text, UTF16LEText>, convertText<UTF8Text, UTF32LEText>},
        {convertText<UTF16LEText, UTF8Text>, convertText<UTF16LEText, UTF16LEText>,
         convertText<UTF16LEText, UTF32LEText>},
        {convertText<UTF32LEText, UTF8Text>, convertText<UTF32LEText, UTF16LEText>,
         convertText<UTF32LEText, UTF32LEText>},
    };
    return table[from][to];
}

std::unique_ptr<Normaliser> Normaliser::composing() {
    const UNormalizer2* const form = normalForm(unorm2_getNFCInstance);
    return form ? std::make_unique<Normaliser>(form) : nullptr;
}

std::unique_ptr<Normaliser> Normaliser::decomposing() {
    const UNormalizer2* const form = normalForm(unorm2_getNFDInstance);
    return form ? std::make_unique<Normaliser>(form) : nullptr;
}

void Normaliser::put(char32_t c, CharacterQueue& out) noexcept {
    if (count_ == kMostHeld ||
        (count_ != 0 && (c < 0x80 || unorm2_hasBoundaryBefore(form_, static_cast<UChar32>(c))))) {
        finish(out);
    }
    held_[count_++] = c;
}

void Normaliser::finish(CharacterQueue& out) noexcept {
    const std::size_t count = std::exchange(count_, 0);
    if (count == 0) return;
    if (count == 1 && held_[0] < 0x80) {
        out.push(held_[0]);
        return;
    }
    std::array<UChar, 2 * kMostHeld> units{};
    std::int32_t length = 0;
    for (std::size_t i = 0; i < count; ++i) U16_APPEND_UNSAFE(units, length, static_cast<UChar32>(held_[i]));
    std::array<UChar, kMostFromOne * 2 * kMostHeld> normal;
    UErrorCode error = U_ZERO_ERROR;
    const std::int32_t normalLength =
        unorm2_normalize(form_, units.data(), length, normal.data(), static_cast<std::int32_t>(normal.size()), &error);
    if (U_FAILURE(error)) {
        for (std::size_t i = 0; i < count; ++i) out.push(held_[i]);
        return;
    }
    for (std::int32_t i = 0; i < normalLength;) {
        UChar32 c;
        U16_NEXT_UNSAFE(normal, i, c);
        out.push(static_cast<char32_t>(c));
    }
}

}  // namespace KXPlatform
