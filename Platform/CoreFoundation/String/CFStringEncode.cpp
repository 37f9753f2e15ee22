#include "CFStringEncoding.h"
#include "Support/UnicodeText.h"

#include <unicode/ucnv.h>
#include <unicode/unorm2.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

namespace KXPlatform {

namespace {

constexpr bool kHostIsBig = std::endian::native == std::endian::big;

/// A character of a text and the units it takes. A surrogate without its other half is a character that no encoding
/// but UTF-16 has.
struct Character {
    std::uint32_t value;
    CFIndex units;

    bool isLone() const noexcept { return isSurrogate(value); }
};

Character characterAt(const TextView& text, CFIndex index) noexcept {
    const UniChar unit = text[index];
    if (isLeadSurrogate(unit) && index + 1 < text.length && isTrailSurrogate(text[index + 1]))
        return {ofSurrogates(unit, text[index + 1]), 2};
    return {unit, 1};
}

/// What a base and the marks after it are in an encoding of one byte a unit, where that is one byte.
struct Composed {
    std::optional<UInt8> byte;
    CFIndex units;
};

template <class ByteOf>
Composed compose(const TextView& text, CFIndex at, ByteOf byteOf) noexcept {
    Composed best{byteOf(text[at]), 1};
    UErrorCode error = U_ZERO_ERROR;
    const UNormalizer2* const nfc = unorm2_getNFCInstance(&error);
    UChar32 character = text[at];
    for (CFIndex next = at + 1; nfc && next < text.length; ++next) {
        character = unorm2_composePair(nfc, character, text[next]);
        if (character < 0 || character > 0xFFFF) break;
        if (const std::optional<UInt8> byte = byteOf(static_cast<UniChar>(character))) best = {byte, next + 1 - at};
    }
    return best;
}

/// Unit by unit: a surrogate pair is two that the encoding lacks. `composes`: a base and its marks are tried as one.
template <class ByteOf>
CFIndex encodeEightBit(const TextView& text, std::string_view loss, bool composes, ByteSink& sink,
                       ByteOf byteOf) noexcept {
    constexpr auto isMark = [](UniChar unit) { return unit >= 0x300 && unit < 0x370; };
    CFIndex at = 0;
    while (at < text.length) {
        const Composed next = composes && at + 1 < text.length && isMark(text[at + 1]) ? compose(text, at, byteOf)
                                                                                       : Composed{byteOf(text[at]), 1};
        if (!next.byte && loss.empty()) break;
        if (!sink.write(next.byte ? static_cast<const void*>(&*next.byte) : loss.data(), 1)) break;
        at += next.units;
    }
    return at;
}

CFIndex encodeDirect(const TextView& text, UniChar limit, std::string_view loss, ByteSink& sink) noexcept {
    return encodeEightBit(text, loss, limit == 0x100, sink, [limit](UniChar unit) -> std::optional<UInt8> {
        if (unit >= limit) return std::nullopt;
        return static_cast<UInt8>(unit);
    });
}

/// Half of a surrogate pair ends it.
CFIndex encodeUTF8(std::span<const UniChar> text, ByteSink& sink) noexcept {
    const auto* const begin = reinterpret_cast<const unsigned char*>(text.data());
    Input in{begin, begin + text.size_bytes()};
    for (;;) {
        unsigned char counted[1024];  // what is only counted is written here
        Output out = sink.buffer ? Output{sink.buffer + sink.used, sink.buffer + sink.capacity}
                                 : Output{counted, counted + sizeof counted};
        const unsigned char* const start = out.at;
        const Stop stop = convertText<UTF16LEText, UTF8Text>(in, out);
        sink.used += out.at - start;
        if (stop != Stop::Full || sink.buffer) break;
    }
    return static_cast<CFIndex>(in.at - begin) / static_cast<CFIndex>(sizeof(UniChar));
}

bool isSwapped(ByteOrder order) noexcept {
    return order != ByteOrder::Marked && (order == ByteOrder::Big) != kHostIsBig;
}

void store16(std::uint16_t unit, bool swapped, UInt8* out) noexcept {
    if (swapped) unit = __builtin_bswap16(unit);
    std::memcpy(out, &unit, sizeof unit);
}

void store32(std::uint32_t character, bool swapped, UInt8* out) noexcept {
    if (swapped) character = __builtin_bswap32(character);
    std::memcpy(out, &character, sizeof character);
}

/// Every unit can be written; only the room may end.
CFIndex encodeUTF16(const TextView& text, ByteOrder order, bool isExternal, ByteSink& sink) noexcept {
    const bool swapped = isSwapped(order);
    const std::uint16_t mark = 0xFEFF;
    if (isExternal && order == ByteOrder::Marked && !sink.write(&mark, 2)) return 0;
    if (!sink.buffer) {
        sink.used += text.length * 2;
        return text.length;
    }
    CFIndex count = std::min(text.length, (sink.capacity - sink.used) / 2);
    if (count > 0 && count < text.length && characterAt(text, count - 1).units == 2) --count;
    UInt8* const out = sink.buffer + sink.used;
    for (CFIndex i = 0; i < count; ++i) store16(text[i], swapped, out + 2 * i);
    sink.used += count * 2;
    return count;
}

CFIndex encodeUTF32(const TextView& text, ByteOrder order, UInt8 lossByte, bool isExternal, ByteSink& sink) noexcept {
    const bool swapped = isSwapped(order);
    const std::uint32_t mark = 0xFEFF;
    if (isExternal && order == ByteOrder::Marked && !sink.write(&mark, 4)) return 0;
    CFIndex at = 0;
    while (at < text.length) {
        Character character = characterAt(text, at);
        if (character.isLone()) {
            if (lossByte == 0) break;
            character.value = lossByte;
        }
        UInt8 bytes[4];
        store32(character.value, swapped, bytes);
        if (!sink.write(bytes, sizeof bytes)) break;
        at += character.units;
    }
    return at;
}

/// The escapes that DecodedText reads: octal below 0x100, hexadecimal above.
CFIndex encodeEscaped(const TextView& text, ByteSink& sink) noexcept {
    const auto digitOf = [](unsigned value) { return static_cast<UInt8>("0123456789abcdef"[value & 15]); };
    CFIndex at = 0;
    for (; at < text.length; ++at) {
        const UniChar unit = text[at];
        UInt8 bytes[6] = {'\\'};
        CFIndex count = 2;
        if (unit == '\\') {
            bytes[1] = '\\';
        } else if (unit < 0x80) {
            bytes[0] = static_cast<UInt8>(unit);
            count = 1;
        } else if (unit < 0x100) {
            for (unsigned i = 0; i < 3; ++i) bytes[1 + i] = digitOf((unit >> (6 - 3 * i)) & 7u);
            count = 4;
        } else {
            bytes[1] = 'u';
            for (unsigned i = 0; i < 4; ++i) bytes[2 + i] = digitOf(static_cast<unsigned>(unit) >> (12 - 4 * i));
            count = 6;
        }
        if (!sink.write(bytes, count)) break;
    }
    return at;
}

struct ConverterClose {
    void operator()(UConverter* converter) const noexcept { ucnv_close(converter); }
};

/// One pass of an ICU converter over a text. Encodings with a state (shift sequences) owe a closing sequence at the
/// end, which must fit as well.
class ConverterRun {
  public:
    explicit ConverterRun(const char* name) noexcept : converter_(ucnv_open(name, &error_)) {
        if (U_FAILURE(error_)) return;
        ucnv_setFromUCallBack(converter_.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error_);
        ucnv_setFallback(converter_.get(), false);
    }

    /// Converts as much of `text` as leaves `reserve` bytes of `sink` free, then closes.
    CFIndex run(const TextView& text, UInt8 lossByte, CFIndex reserve, ByteSink& sink) noexcept {
        if (U_FAILURE(error_)) return 0;
        const CFIndex limit = sink.capacity - reserve;
        CFIndex at = 0;
        while (at < text.length) {
            const Character character = characterAt(text, at);
            char bytes[64];
            CFIndex count = convert(character, bytes, sizeof bytes);
            // The converter keeps its shift state over a character it lacks, so the loss byte is shifted for too.
            if (count < 0 && lossByte != 0) count = convert({lossByte, 1}, bytes, sizeof bytes);
            if (count < 0 || (sink.buffer && sink.used + count > limit)) break;
            if (!sink.write(bytes, count)) break;
            at += character.units;
        }
        char* to = closing_;
        const char16_t* from = nullptr;
        UErrorCode error = U_ZERO_ERROR;
        ucnv_fromUnicode(converter_.get(), &to, closing_ + sizeof closing_, &from, nullptr, nullptr, true, &error);
        return sink.write(closing_, to - closing_) ? at : -1;
    }

  private:
    CFIndex convert(Character character, char* out, std::size_t size) noexcept {
        char16_t units[2];
        const char16_t* from = units;
        if (character.isLone()) return -1;
        UTF16LEText::encode(character.value, reinterpret_cast<unsigned char*>(units));
        UErrorCode error = U_ZERO_ERROR;
        char* to = out;
        ucnv_fromUnicode(converter_.get(), &to, out + size, &from, units + character.units, nullptr, false, &error);
        return U_SUCCESS(error) ? to - out : -1;
    }

    UErrorCode error_ = U_ZERO_ERROR;
    std::unique_ptr<UConverter, ConverterClose> converter_;
    char closing_[32];
};

CFIndex encodeConverted(const TextView& text, const Encoding& encoding, UInt8 lossByte, ByteSink& sink) noexcept {
    constexpr CFIndex kLongestClosing = 8;
    const CFIndex start = sink.used;
    const CFIndex converted = ConverterRun(encoding.converter).run(text, lossByte, 0, sink);
    if (converted >= 0) return converted;
    // The text fitted but not its closing sequence: stop early enough.
    sink.used = start;
    return std::max<CFIndex>(0, ConverterRun(encoding.converter).run(text, lossByte, kLongestClosing, sink));
}

}  // namespace

bool ByteSink::write(const void* bytes, CFIndex count) noexcept {
    if (!hasRoom(count)) return false;
    if (buffer && count > 0) std::memcpy(buffer + used, bytes, static_cast<std::size_t>(count));
    used += count;
    return true;
}

CFIndex encode(TextView text, const Encoding& encoding, UInt8 lossByte, bool isExternal, ByteSink& sink) noexcept {
    const char lossText = static_cast<char>(lossByte);
    const std::string_view loss(&lossText, lossByte != 0 ? 1 : 0);
    if (!text.isWide() && encoding.holdsASCII) {
        const CFIndex count = sink.buffer ? std::min(text.length, sink.capacity - sink.used) : text.length;
        sink.write(text.ascii, count);
        return count;
    }
    switch (encoding.codec) {
        case Codec::Direct:
            return encodeDirect(text, encoding.number == kCFStringEncodingASCII ? 0x80 : 0x100, loss, sink);
        case Codec::Table: {
            const ByteTable* const table = byteTable(encoding);
            if (!table) return 0;
            return encodeEightBit(text, loss, encoding.number == kCFStringEncodingWindowsLatin1, sink,
                                  [table](UniChar unit) { return table->byte(unit); });
        }
        case Codec::UTF8:
            return encodeUTF8(text.wideView(), sink);
        case Codec::UTF16:
            return encodeUTF16(text, encoding.order, isExternal, sink);
        case Codec::UTF32:
            return encodeUTF32(text, encoding.order, lossByte, isExternal, sink);
        case Codec::NonLossyASCII:
            return encodeEscaped(text, sink);
        case Codec::Converter:
            return encodeConverted(text, encoding, lossByte, sink);
    }
    return 0;
}

}  // namespace KXPlatform
