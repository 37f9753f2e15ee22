#include "CodecsVector.h"

#include "CodecsTables.h"

#if defined(__x86_64__) && !defined(KX_CODECS_BY_TABLES_ONLY)

#include <immintrin.h>

namespace KXCore {
namespace {

/// A look-up that the processor makes for 16 bytes at once, by the low four bits of each.
using Row = std::array<std::uint8_t, 16>;

/// An alphabet by the halves of its characters' codes. A character is a member when the bit of its high half is set in
/// the entry of its low half; its value is its code plus the difference that its high half gives (modulo 256).
struct Alphabet {
    Row members{};     ///< by low half: the high halves, as bits, that make a character of the alphabet with it
    Row bit{};         ///< by high half: its bit; none from 8 up, so that no code above 0x7F is a member
    Row difference{};  ///< by high half, see rowOf
};

/// Where the difference of a character stands: at its high half, which all its neighbours share. Base64's "/" alone
/// has another difference than "+", with which it shares the half: it takes the row above, which no character has.
constexpr std::size_t rowOf(std::size_t code) { return (code >> 4) - (code == '/' ? 1 : 0); }

constexpr Alphabet alphabetOf(const DecodeTable& table) {
    Alphabet alphabet;
    for (std::size_t code = 0; code < 128; ++code) {
        if (table[code] >= kPadding) continue;
        alphabet.members[code & 15] |= static_cast<std::uint8_t>(1 << (code >> 4));
        alphabet.difference[rowOf(code)] = static_cast<std::uint8_t>(table[code] - code);
    }
    for (std::size_t half = 0; half < 8; ++half) alphabet.bit[half] = static_cast<std::uint8_t>(1 << half);
    return alphabet;
}

/// Whether the rows say of every byte what the table says.
constexpr bool agrees(const Alphabet& alphabet, const DecodeTable& table) {
    for (std::size_t code = 0; code < 256; ++code) {
        const bool member = (alphabet.members[code & 15] & alphabet.bit[code >> 4]) != 0;
        if (member != (table[code] < kPadding)) return false;
        if (member && static_cast<std::uint8_t>(code + alphabet.difference[rowOf(code)]) != table[code]) return false;
    }
    return true;
}

constexpr Alphabet kHex = alphabetOf(hex_dtab);
constexpr Alphabet kBase64 = alphabetOf(b64_dtab);
static_assert(agrees(kHex, hex_dtab) && agrees(kBase64, b64_dtab));

constexpr Row kHexDigits = [] {
    Row row{};
    for (std::size_t value = 0; value < row.size(); ++value) row[value] = static_cast<std::uint8_t>(hex_etab[value]);
    return row;
}();

/// Values from 52 up each have an entry of their own here, value - 51; the lower-case letters (26 to 51) share entry 0
/// and the upper-case letters, moved out of the others' way, entry 13.
constexpr std::size_t kUpperCaseEntry = 13;
constexpr std::size_t encodeEntry(std::size_t value) {
    return value < 26 ? kUpperCaseEntry : value < 52 ? 0 : value - 51;
}

/// By that entry: the character's code less the value.
constexpr Row kBase64Differences = [] {
    Row row{};
    for (std::size_t value = 0; value < b64_etab.size(); ++value) {
        row[encodeEntry(value)] = static_cast<std::uint8_t>(static_cast<std::uint8_t>(b64_etab[value]) - value);
    }
    return row;
}();
static_assert([] {
    for (std::size_t value = 0; value < b64_etab.size(); ++value) {
        const auto code = static_cast<std::uint8_t>(value + kBase64Differences[encodeEntry(value)]);
        if (code != static_cast<std::uint8_t>(b64_etab[value])) return false;
    }
    return true;
}());

#define KX_AVX2 [[gnu::target("avx2")]]

KX_AVX2 inline __m128i load16(const unsigned char* from) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
}

KX_AVX2 inline __m256i load32(const unsigned char* from) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
}

KX_AVX2 inline void store32(void* to, __m256i value) { _mm256_storeu_si256(static_cast<__m256i*>(to), value); }

KX_AVX2 inline __m256i rowInBothLanes(const Row& row) { return _mm256_broadcastsi128_si256(load16(row.data())); }

KX_AVX2 inline __m256i lowHalves(__m256i bytes) { return _mm256_and_si256(bytes, _mm256_set1_epi8(15)); }

KX_AVX2 inline __m256i highHalves(__m256i bytes) { return lowHalves(_mm256_srli_epi16(bytes, 4)); }

/// Whether every character is of the alphabet.
KX_AVX2 inline bool areMembers(const Alphabet& alphabet, __m256i characters) {
    const __m256i halves = _mm256_shuffle_epi8(rowInBothLanes(alphabet.members), lowHalves(characters));
    const __m256i bits = _mm256_shuffle_epi8(rowInBothLanes(alphabet.bit), highHalves(characters));
    const __m256i missing = _mm256_cmpeq_epi8(_mm256_and_si256(halves, bits), _mm256_setzero_si256());
    return _mm256_testz_si256(missing, missing) != 0;
}

KX_AVX2 std::size_t hexEncode(const unsigned char* bytes, std::size_t length, char* text) {
    const __m256i digits = rowInBothLanes(kHexDigits);
    std::size_t done = 0;
    for (; length - done >= 32; done += 32) {
        const __m256i in = load32(bytes + done);
        const __m256i high = _mm256_shuffle_epi8(digits, highHalves(in));
        const __m256i low = _mm256_shuffle_epi8(digits, lowHalves(in));
        const __m256i first = _mm256_unpacklo_epi8(high, low);   // bytes 0-7 and 16-23
        const __m256i second = _mm256_unpackhi_epi8(high, low);  // bytes 8-15 and 24-31
        store32(text + 2 * done, _mm256_permute2x128_si256(first, second, 0x20));
        store32(text + 2 * done + 32, _mm256_permute2x128_si256(first, second, 0x31));
    }
    return done;
}

KX_AVX2 std::size_t hexDecode(const unsigned char* text, std::size_t length, unsigned char* bytes) {
    const __m256i differences = rowInBothLanes(kHex.difference);
    const __m256i weights = _mm256_set1_epi16(0x0110);  // 16 for the first digit of a pair, 1 for the second
    std::size_t done = 0;
    for (; length - done >= 32; done += 32) {
        const __m256i in = load32(text + done);
        if (!areMembers(kHex, in)) break;
        const __m256i values = _mm256_add_epi8(in, _mm256_shuffle_epi8(differences, highHalves(in)));
        const __m256i pairs = _mm256_maddubs_epi16(values, weights);
        const __m256i packed = _mm256_permute4x64_epi64(_mm256_packus_epi16(pairs, pairs), _MM_SHUFFLE(3, 1, 2, 0));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes + done / 2), _mm256_castsi256_si128(packed));
    }
    return done;
}

/// In an order of bytes: none, which gives zero.
constexpr char kNone = -1;

KX_AVX2 std::size_t base64Encode(const unsigned char* bytes, std::size_t length, char* text) {
    // Each group of three bytes as one number, the first byte on top: low byte last in memory.
    const __m256i order = _mm256_setr_epi8(2, 1, 0, kNone, 5, 4, 3, kNone, 8, 7, 6, kNone, 11, 10, 9, kNone,  //
                                           2, 1, 0, kNone, 5, 4, 3, kNone, 8, 7, 6, kNone, 11, 10, 9, kNone);
    const __m256i differences = rowInBothLanes(kBase64Differences);
    std::size_t done = 0;
    // 24 bytes a turn, read as two halves of 12, the second with 4 bytes of what follows.
    for (; length - done >= 28; done += 24) {
        const __m256i in =
            _mm256_shuffle_epi8(_mm256_set_m128i(load16(bytes + done + 12), load16(bytes + done)), order);
        const __m256i values = _mm256_or_si256(
            _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi32(in, 18), _mm256_set1_epi32(0x0000003F)),
                            _mm256_and_si256(_mm256_srli_epi32(in, 4), _mm256_set1_epi32(0x00003F00))),
            _mm256_or_si256(_mm256_and_si256(_mm256_slli_epi32(in, 10), _mm256_set1_epi32(0x003F0000)),
                            _mm256_and_si256(_mm256_slli_epi32(in, 24), _mm256_set1_epi32(0x3F000000))));
        const __m256i upperCase = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), values);
        const __m256i entries = _mm256_or_si256(_mm256_subs_epu8(values, _mm256_set1_epi8(51)),
                                                _mm256_and_si256(upperCase, _mm256_set1_epi8(kUpperCaseEntry)));
        store32(text + done / 3 * 4, _mm256_add_epi8(values, _mm256_shuffle_epi8(differences, entries)));
    }
    return done;
}

KX_AVX2 std::size_t base64Decode(const unsigned char* text, std::size_t length, unsigned char* bytes) {
    const __m256i differences = rowInBothLanes(kBase64.difference);
    const __m256i order = _mm256_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, kNone, kNone, kNone, kNone,  //
                                           2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, kNone, kNone, kNone, kNone);
    const __m256i together = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7);
    std::size_t done = 0;
    for (; length - done >= 32; done += 32) {
        const __m256i in = load32(text + done);
        if (!areMembers(kBase64, in)) break;
        const __m256i slashes = _mm256_cmpeq_epi8(in, _mm256_set1_epi8('/'));  // -1 for each: the row above
        const __m256i rows = _mm256_add_epi8(highHalves(in), slashes);
        const __m256i values = _mm256_add_epi8(in, _mm256_shuffle_epi8(differences, rows));
        const __m256i twelveBits = _mm256_maddubs_epi16(values, _mm256_set1_epi16(0x0140));   // v0 * 64 + v1
        const __m256i groups = _mm256_madd_epi16(twelveBits, _mm256_set1_epi32(0x00011000));  // ... * 4096 + ...
        const __m256i packed = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(groups, order), together);
        unsigned char* const out = bytes + done / 4 * 3;
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(packed));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 16), _mm256_extracti128_si256(packed, 1));
    }
    return done;
}

#undef KX_AVX2

inline bool canUseVectors(std::size_t length) { return length >= kVectorBlock && __builtin_cpu_supports("avx2"); }

}  // namespace

std::size_t HexEncodeBlocks(const unsigned char* bytes, std::size_t length, char* text) noexcept {
    return canUseVectors(length) ? hexEncode(bytes, length, text) : 0;
}

std::size_t HexDecodeBlocks(const unsigned char* text, std::size_t length, unsigned char* bytes) noexcept {
    return canUseVectors(length) ? hexDecode(text, length, bytes) : 0;
}

std::size_t Base64EncodeBlocks(const unsigned char* bytes, std::size_t length, char* text) noexcept {
    return canUseVectors(length) ? base64Encode(bytes, length, text) : 0;
}

std::size_t Base64DecodeBlocks(const unsigned char* text, std::size_t length, unsigned char* bytes) noexcept {
    return canUseVectors(length) ? base64Decode(text, length, bytes) : 0;
}

}  // namespace KXCore

#else

namespace KXCore {

std::size_t HexEncodeBlocks(const unsigned char*, std::size_t, char*) noexcept { return 0; }
std::size_t HexDecodeBlocks(const unsigned char*, std::size_t, unsigned char*) noexcept { return 0; }
std::size_t Base64EncodeBlocks(const unsigned char*, std::size_t, char*) noexcept { return 0; }
std::size_t Base64DecodeBlocks(const unsigned char*, std::size_t, unsigned char*) noexcept { return 0; }

}  // namespace KXCore

#endif
