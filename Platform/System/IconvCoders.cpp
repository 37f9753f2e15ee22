#include "IconvCoders.h"

#include "Support/FileNameForm.h"

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

std::size_t Encoder::ready(const char32_t* in, const char32_t* end) const noexcept {
    return static_cast<std::size_t>(end - in);
}

bool Encoder::holdsBack() const noexcept { return false; }

bool Encoder::mayBeCut() const noexcept { return true; }

namespace {

bool is(std::string_view name, std::string_view other) {
    return name.size() == other.size() && strncasecmp(name.data(), other.data(), name.size()) == 0;
}

bool begins(std::string_view name, std::string_view with) { return is(name.substr(0, with.size()), with); }

/// A conversion of the C library to or from its wide characters, which are code points here.
///
/// What it converts depends on where calls cut a text: of its decoders, those of EUC-JISX0213 and SHIFT_JISX0213 lose
/// their way when the output is full; of its encoders, those of ISO-2022-CN shift twice then, and those of IBM1390 and
/// IBM1399 forget at the end of the input a character that the next one would join. So decoders get no more input than
/// their output surely holds, encoders that shift no more either, and no pair is cut.
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

Output placesAsBytes(char32_t* out, std::size_t places) noexcept {
    return {reinterpret_cast<unsigned char*>(out), reinterpret_cast<unsigned char*>(out + places)};
}

Input charactersAsBytes(const char32_t* in, const char32_t* end) noexcept {
    return {reinterpret_cast<const unsigned char*>(in), reinterpret_cast<const unsigned char*>(end)};
}

template <class Text>
class UnicodeDecoder final : public Decoder {
  public:
    Stop decode(Input& in, char32_t*& out, std::size_t places) noexcept override {
        Output output = placesAsBytes(out, places);
        const Stop stop = convertText<Text, UTF32LEText>(in, output);
        out = reinterpret_cast<char32_t*>(output.at);
        return stop;
    }
    void finish(char32_t*&) noexcept override {}
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
        : conversion_("WCHAR_T", from.c_str()), unit_(unitOf(from)), charactersOfByte_(is(from, "TSCII") ? 4 : 1) {}

    explicit operator bool() const noexcept { return static_cast<bool>(conversion_); }

    Stop decode(Input& in, char32_t*& out, std::size_t places) noexcept override {
        const unsigned char* const begin = in.at;
        std::size_t offered = std::min(std::max<std::size_t>(places / charactersOfByte_, 1), in.left());
        for (;;) {
            Input part{begin, begin + offered};
            Output output = placesAsBytes(out, places + kMore);
            const Stop stop = conversion_.convert(part, output);
            in.at = part.at;
            const bool hasGiven = output.at != reinterpret_cast<unsigned char*>(out);
            if (in.at != begin || hasGiven || stop != Stop::Incomplete || offered == in.left()) {
                keepCharacters(out, output);
                return part.end == in.end || stop == Stop::Invalid ? stop : Stop::Full;
            }
            ++offered;  // the character goes on beyond the part
        }
    }

    void finish(char32_t*& out) noexcept override {
        Output output = placesAsBytes(out, kMore);
        conversion_.finish(output);
        keepCharacters(out, output);
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
    std::size_t charactersOfByte_;  ///< the most that one byte stands for
};

class LibraryEncoder final : public Encoder {
  public:
    explicit LibraryEncoder(const std::string& to) noexcept
        : conversion_(to.c_str(), "WCHAR_T"), mayBeCut_(to.find("2022") == std::string::npos) {
        if (conversion_) losesPairs_ = encodesPairs(1) && !encodesPairs(2);
    }

    explicit operator bool() const noexcept { return static_cast<bool>(conversion_); }

    std::size_t ready(const char32_t* in, const char32_t* end) const noexcept override {
        const std::size_t count = static_cast<std::size_t>(end - in);
        if (!losesPairs_) return count;
        std::size_t sure = 0;
        while (sure < count && (!beginsPair(in[sure]) || sure + 1 < count)) {
            sure += sure + 1 < count && isPair(in[sure], in[sure + 1]) ? 2 : 1;
        }
        return sure;
    }

    bool holdsBack() const noexcept override { return losesPairs_; }
    bool mayBeCut() const noexcept override { return mayBeCut_; }

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
    /// The pairs of characters that are one in JIS X 0213.
    static bool isPair(char32_t first, char32_t second) noexcept {
        switch (second) {
            case 0x309A:
                return first >= 0x304B && first <= 0x31F7 &&
                       std::u32string_view(
                           U"\u304B\u304D\u304F\u3051\u3053\u30AB\u30AD\u30AF\u30B1\u30B3\u30BB"
                           U"\u30C4\u30C8\u31F7")
                               .find(first) != std::u32string_view::npos;
            case 0x0300:
                return first == 0x00E6 || isVowelOfPair(first);
            case 0x0301:
                return isVowelOfPair(first);
            case 0x02E5:
                return first == 0x02E9;
            case 0x02E9:
                return first == 0x02E5;
            default:
                return false;
        }
    }

    static bool isVowelOfPair(char32_t c) noexcept { return c == 0x0254 || c == 0x028C || c == 0x0259 || c == 0x025A; }

    static bool beginsPair(char32_t c) noexcept {
        return isPair(c, 0x309A) || isPair(c, 0x0300) || isPair(c, 0x02E5) || isPair(c, 0x02E9);
    }

    /// Whether the library encodes a pair that is offered by so many calls.
    bool encodesPairs(int calls) noexcept {
        const char32_t pair[] = {0x304B, 0x309A};
        unsigned char bytes[64];
        Output out{bytes, bytes + sizeof bytes};
        Stop stop = Stop::UsedUp;
        for (int call = 0; call < calls && stop == Stop::UsedUp; ++call) {
            Input in = charactersAsBytes(pair + 2 * call / calls, pair + 2 * (call + 1) / calls);
            stop = conversion_.convert(in, out);
        }
        conversion_.reset();
        return stop == Stop::UsedUp;
    }

    LibraryConversion conversion_;
    bool mayBeCut_;            ///< shifts by escape sequences are not sure to survive it
    bool losesPairs_ = false;  ///< of a pair that two calls cut, the second character becomes invalid
};

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

std::unique_ptr<Normaliser> Normaliser::composing() { return make(fileNameComposer(), true); }

std::unique_ptr<Normaliser> Normaliser::decomposing() { return make(fileNameDecomposer(), false); }

std::unique_ptr<Normaliser> Normaliser::make(const UNormalizer2* form, bool isComposing) {
    if (form) return std::make_unique<Normaliser>(form, isComposing);
    errno = ENOMEM;
    return nullptr;
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
    if (count == 1 && (held_[0] < 0x80 || unorm2_isInert(form_, static_cast<UChar32>(held_[0])))) {
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
    std::int32_t i = 0;
    if (isComposing_ && normal[0] == leftAloneWithSolidus(held_[0])) {
        out.push(held_[0]);
        out.push(0x0338);
        i = 1;
    }
    while (i < normalLength) {
        UChar32 c;
        U16_NEXT_UNSAFE(normal, i, c);
        out.push(static_cast<char32_t>(c));
    }
}

}  // namespace KXPlatform
