#pragma once

// Conversion between text and bytes of an encoding.
//
// The encodings that programs meet every day are converted by hand: ASCII, Latin 1, UTF-8, UTF-16, UTF-32 and, by
// table, every encoding of one byte a character. The rest go through ICU's converters.

#include "CFStringObject.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace KXPlatform {

/// How an encoding is converted.
enum class Codec : std::uint8_t {
    Direct,  ///< one byte a character, with the character's own number
    Table,   ///< one byte a character, by a table
    UTF8,
    UTF16,
    UTF32,
    NonLossyASCII,  ///< what is not ASCII written as escapes
    Converter,      ///< by an ICU converter
};

enum class ByteOrder : std::uint8_t { Marked, Big, Little };  ///< Marked: a mark tells; the host's where there is none

struct Encoding {
    CFStringEncoding number;
    Codec codec;
    ByteOrder order = ByteOrder::Marked;  ///< of UTF16 and UTF32
    bool holdsASCII = true;               ///< ASCII text is its own representation
    std::uint8_t maximum = 1;             ///< bytes that one UTF-16 unit takes at most
    const char* converter = nullptr;      ///< the name of ICU's converter, where there is one
};

/// The row of an encoding; null for one that cannot be converted.
const Encoding* findEncoding(CFStringEncoding encoding) noexcept;

/// All rows, sorted by number.
std::span<const Encoding> allEncodings() noexcept;

/// The bytes as text where they are ASCII and `encoding` leaves ASCII as it is: the way of most text, and the shortest.
inline std::optional<std::string_view> plainText(std::span<const UInt8> bytes, const Encoding* encoding) noexcept {
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    if (!encoding || !encoding->holdsASCII || !isASCII(text.data(), text.size())) return std::nullopt;
    return text;
}

/// The character of each byte of a one-byte encoding, and back. Bytes without a character give kNone.
class ByteTable {
  public:
    static constexpr UniChar kNone = 0xFFFF;

    explicit ByteTable(std::span<const UniChar, 256> units) noexcept;

    UniChar unit(UInt8 byte) const noexcept { return units_[byte]; }
    std::optional<UInt8> byte(UniChar unit) const noexcept;

  private:
    struct Pair {
        UniChar unit;
        UInt8 byte;
    };
    UniChar units_[256];
    Pair pairs_[256];  ///< of all characters, sorted
    std::size_t count_ = 0;
};

/// The table of a one-byte encoding, made on its first use; null when there is no memory or no such table.
const ByteTable* byteTable(const Encoding& encoding) noexcept;

/// What bytes of an encoding say. Looks at the bytes, which must outlive it, to measure their text, so that whoever
/// wants it makes room for exactly that much and has it written there.
class DecodedText {
  public:
    /// A leading mark of byte order is dropped from UTF-8, and from UTF-16 and UTF-32 of no fixed order when
    /// `isExternal`.
    DecodedText(std::span<const UInt8> bytes, CFStringEncoding encoding, bool isExternal) noexcept;

    /// False when the bytes are known not to be text of the encoding. Whether they are UTF-8, copyTo tells.
    bool isValid() const noexcept { return valid_; }
    bool isASCII() const noexcept { return ascii_; }
    /// The text when it is ASCII and the bytes themselves are it.
    bool isPlain() const noexcept { return plain_; }
    std::string_view plain() const noexcept { return {reinterpret_cast<const char*>(bytes_.data()), bytes_.size()}; }
    CFIndex length() const noexcept { return length_; }

    /// Write length() units, the first only for ASCII text. False when the bytes are not text of the encoding.
    [[nodiscard]] bool copyTo(char* ascii) const noexcept { return copyToAny(ascii); }
    [[nodiscard]] bool copyTo(UniChar* units) const noexcept { return copyToAny(units); }

  private:
    template <class Unit>
    bool copyToAny(Unit* out) const noexcept;
    void judgeUTF16(bool isExternal) noexcept;
    void judgeUTF32() noexcept;
    void judgeConverted() noexcept;

    std::span<const UInt8> bytes_;
    const Encoding* encoding_;
    const ByteTable* table_ = nullptr;
    bool valid_ = false;
    bool ascii_ = false;
    bool plain_ = false;
    bool swapped_ = false;
    CFIndex length_ = 0;
    std::u16string converted_;
};

/// A new immutable string with that text. Null when the bytes are no such text or there is no memory.
CFStringRef createDecoded(CFAllocatorRef allocator, const DecodedText& decoded) noexcept;

/// Where encoded bytes go. Without a buffer they are only counted.
struct ByteSink {
    UInt8* buffer;
    CFIndex capacity;
    CFIndex used = 0;

    bool hasRoom(CFIndex count) const noexcept { return !buffer || count <= capacity - used; }
    void put(UInt8 byte) noexcept {
        if (buffer) buffer[used] = byte;
        ++used;
    }
    bool write(const void* bytes, CFIndex count) noexcept;
};

/// Converts `text` from its start, as far as it can be converted and there is room, and tells how many units that was.
/// A `lossByte` other than 0 takes the place of each character that the encoding lacks, of each unit in encodings of
/// one byte a unit; nothing takes the place of half a surrogate pair in UTF-8. No character is split, but for pairs
/// lost.
CFIndex encode(TextView text, const Encoding& encoding, UInt8 lossByte, bool isExternal, ByteSink& sink) noexcept;

}  // namespace KXPlatform
