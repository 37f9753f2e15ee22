#include "CFStringEncoding.h"
#include "Support/UnicodeText.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

namespace KXPlatform {

namespace {

constexpr bool kHostIsBig = std::endian::native == std::endian::big;

std::uint16_t load16(const UInt8* at, bool swapped) noexcept {
    std::uint16_t unit;
    std::memcpy(&unit, at, sizeof unit);
    return swapped ? __builtin_bswap16(unit) : unit;
}

std::uint32_t load32(const UInt8* at, bool swapped) noexcept {
    std::uint32_t character;
    std::memcpy(&character, at, sizeof character);
    return swapped ? __builtin_bswap32(character) : character;
}

/// The UTF-16 units that UTF-8 text takes: one for each byte that begins a character, one more for each of those that
/// take a surrogate pair. Of other bytes, no fewer than their first part that is UTF-8 takes.
CFIndex countUnits(std::span<const UInt8> bytes) noexcept {
    constexpr std::size_t kBlock = 240;  // so many fit in a byte-sized sum, which lets the compiler use wide registers
    CFIndex units = 0;
    while (!bytes.empty()) {
        const auto block = bytes.first(std::min(bytes.size(), kBlock / 2));
        UInt8 sum = 0;
        for (const UInt8 byte : block) sum = static_cast<UInt8>(sum + ((byte & 0xC0) != 0x80) + (byte >= 0xF0));
        units += sum;
        bytes = bytes.subspan(block.size());
    }
    return units;
}

/// Writes the units of UTF-8 text to `out`, of which countUnits said there are `count`. False where the bytes are not
/// UTF-8.
bool convertUTF8(std::span<const UInt8> bytes, UniChar* out, CFIndex count) noexcept {
    Input in{bytes.data(), bytes.data() + bytes.size()};
    Output units{reinterpret_cast<unsigned char*>(out), reinterpret_cast<unsigned char*>(out + count)};
    return convertText<UTF8Text, UTF16LEText>(in, units) == Stop::UsedUp;
}

int digit(UInt8 byte, int base) noexcept {
    int value = base;
    if (byte >= '0' && byte <= '9') value = byte - '0';
    if (byte >= 'a' && byte <= 'f') value = byte - 'a' + 10;
    if (byte >= 'A' && byte <= 'F') value = byte - 'A' + 10;
    return value < base ? value : -1;
}

/// Reads a number of `count` digits; -1 when they are not all there.
long readDigits(const UInt8*& at, const UInt8* end, int count, int base) noexcept {
    if (end - at < count) return -1;
    long value = 0;
    for (; count > 0; --count) {
        const int next = digit(*at++, base);
        if (next < 0) return -1;
        value = value * base + next;
    }
    return value;
}

/// ASCII with `\\` for a backslash, `\ooo` for a unit below 0x100 and `\uxxxx` for any.
bool unescape(std::span<const UInt8> bytes, std::u16string& out) {
    out.reserve(bytes.size());
    const UInt8* at = bytes.data();
    const UInt8* const end = at + bytes.size();
    while (at != end) {
        const UInt8 byte = *at++;
        if (byte >= 0x80) return false;
        if (byte != '\\') {
            out.push_back(byte);
            continue;
        }
        if (at == end) return false;
        long unit = '\\';
        if (*at == 'u')
            unit = readDigits(++at, end, 4, 16);
        else if (*at == '\\')
            ++at;
        else
            unit = readDigits(at, end, 3, 8);
        if (unit < 0) return false;
        out.push_back(static_cast<char16_t>(unit));
    }
    return true;
}

struct ConverterClose {
    void operator()(UConverter* converter) const noexcept { ucnv_close(converter); }
};

bool convertFrom(const char* name, std::span<const UInt8> bytes, std::u16string& out) {
    UErrorCode error = U_ZERO_ERROR;
    const std::unique_ptr<UConverter, ConverterClose> converter(ucnv_open(name, &error));
    if (U_FAILURE(error)) return false;
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
    auto* from = reinterpret_cast<const char*>(bytes.data());
    const char* const end = from + bytes.size();
    char16_t chunk[1024];
    do {
        error = U_ZERO_ERROR;
        char16_t* to = chunk;
        ucnv_toUnicode(converter.get(), &to, chunk + std::size(chunk), &from, end, nullptr, true, &error);
        out.append(chunk, static_cast<std::size_t>(to - chunk));
    } while (error == U_BUFFER_OVERFLOW_ERROR);
    return U_SUCCESS(error);
}

}  // namespace

DecodedText::DecodedText(std::span<const UInt8> bytes, CFStringEncoding number, bool isExternal) noexcept
    : bytes_(bytes), encoding_(findEncoding(number)) {
    if (!encoding_) return;
    if (encoding_->codec == Codec::UTF8 && bytes_.size() >= 3 && std::memcmp(bytes_.data(), "\xEF\xBB\xBF", 3) == 0)
        bytes_ = bytes_.subspan(3);
    if (encoding_->holdsASCII && KXPlatform::isASCII(reinterpret_cast<const char*>(bytes_.data()), bytes_.size())) {
        valid_ = ascii_ = plain_ = true;
        length_ = static_cast<CFIndex>(bytes_.size());
        return;
    }
    switch (encoding_->codec) {
        case Codec::Direct:
            valid_ = true;
            length_ = static_cast<CFIndex>(bytes_.size());
            break;
        case Codec::Table:
            table_ = byteTable(*encoding_);
            valid_ = ascii_ = table_ != nullptr;
            for (std::size_t i = 0; valid_ && i < bytes_.size(); ++i) {
                const UniChar unit = table_->unit(bytes_[i]);
                valid_ = unit != ByteTable::kNone;
                ascii_ = ascii_ && unit < 0x80;
            }
            length_ = static_cast<CFIndex>(bytes_.size());
            break;
        case Codec::UTF8:
            // Whether it is UTF-8 shows as it is converted: nothing is looked at twice.
            length_ = countUnits(bytes_);
            valid_ = true;
            break;
        case Codec::UTF16:
            judgeUTF16(isExternal);
            break;
        case Codec::UTF32:
            judgeUTF32();
            break;
        case Codec::NonLossyASCII:
        case Codec::Converter:
            judgeConverted();
            break;
    }
}

void DecodedText::judgeUTF16(bool isExternal) noexcept {
    bytes_ = bytes_.first(bytes_.size() & ~std::size_t{1});  // half a unit at the end is lost
    if (encoding_->order == ByteOrder::Marked) {
        if (isExternal && bytes_.size() >= 2) {
            const std::uint16_t first = load16(bytes_.data(), false);
            const bool isMarked = first == 0xFEFF || first == 0xFFFE;
            swapped_ = isMarked ? first != 0xFEFF : !kHostIsBig;
            if (isMarked) bytes_ = bytes_.subspan(2);
        }
    } else {
        swapped_ = (encoding_->order == ByteOrder::Big) != kHostIsBig;
    }
    std::uint16_t seen = 0;
    for (std::size_t i = 0; i < bytes_.size(); i += 2) seen |= load16(bytes_.data() + i, swapped_);
    length_ = static_cast<CFIndex>(bytes_.size() / 2);
    ascii_ = seen < 0x80;
    valid_ = true;
}

void DecodedText::judgeUTF32() noexcept {
    if (bytes_.size() % 4 != 0) return;
    if (encoding_->order == ByteOrder::Marked) {
        const std::uint32_t first = bytes_.empty() ? 0 : load32(bytes_.data(), false);
        const bool isMarked = first == 0xFEFF || first == 0xFFFE0000;
        swapped_ = isMarked ? first != 0xFEFF : !kHostIsBig;
        if (isMarked) bytes_ = bytes_.subspan(4);
    } else {
        swapped_ = (encoding_->order == ByteOrder::Big) != kHostIsBig;
    }
    std::uint32_t seen = 0;
    for (std::size_t i = 0; i < bytes_.size(); i += 4) {
        const std::uint32_t character = load32(bytes_.data() + i, swapped_);
        if (!isCharacter(character)) return;
        length_ += character >= 0x10000 ? 2 : 1;
        seen |= character;
    }
    ascii_ = seen < 0x80;
    valid_ = true;
}

void DecodedText::judgeConverted() noexcept {
    try {
        valid_ = encoding_->codec == Codec::NonLossyASCII ? unescape(bytes_, converted_)
                                                          : convertFrom(encoding_->converter, bytes_, converted_);
    } catch (const std::bad_alloc&) {
        valid_ = false;
    }
    ascii_ = KXPlatform::isASCII(asUnits(converted_.data()), converted_.size());
    length_ = static_cast<CFIndex>(converted_.size());
}

template <class Unit>
bool DecodedText::copyToAny(Unit* out) const noexcept {
    const UInt8* const bytes = bytes_.data();
    const std::size_t size = bytes_.size();
    if (plain_ || encoding_->codec == Codec::Direct) {
        for (std::size_t i = 0; i < size; ++i) out[i] = static_cast<Unit>(bytes[i]);
        return true;
    }
    switch (encoding_->codec) {
        case Codec::Direct:
            break;
        case Codec::Table:
            for (std::size_t i = 0; i < size; ++i) out[i] = static_cast<Unit>(table_->unit(bytes[i]));
            break;
        case Codec::UTF8:
            if constexpr (sizeof(Unit) == sizeof(UniChar)) return convertUTF8(bytes_, out, length_);
            return false;  // ASCII of it is plain
        case Codec::UTF16:
            for (std::size_t i = 0; i < size; i += 2) out[i / 2] = static_cast<Unit>(load16(bytes + i, swapped_));
            break;
        case Codec::UTF32:
            for (std::size_t i = 0; i < size; i += 4) {
                const char32_t character = load32(bytes + i, swapped_);
                if constexpr (sizeof(Unit) == sizeof(UniChar)) {
                    out += UTF16LEText::encode(character, reinterpret_cast<unsigned char*>(out)) / sizeof(Unit);
                } else {
                    *out++ = static_cast<Unit>(character);
                }
            }
            break;
        case Codec::NonLossyASCII:
        case Codec::Converter:
            for (const char16_t unit : converted_) *out++ = static_cast<Unit>(unit);
            break;
    }
    return true;
}

template bool DecodedText::copyToAny(char*) const noexcept;
template bool DecodedText::copyToAny(UniChar*) const noexcept;

}  // namespace KXPlatform
