#include "UnicodeText.h"

#include <array>
#include <bit>

#if defined(__x86_64__)

#include <immintrin.h>

namespace KXPlatform {
namespace {

#define KX_BLOCKS [[gnu::target("ssse3,popcnt"), gnu::always_inline]] inline

constexpr std::size_t kUnits = 8;
/// Two stores of 16 bytes, the second behind 12.
constexpr std::size_t kRoom = 28;

/// Which bytes of 16 to keep, the others at the end.
using Shuffle = std::array<std::uint8_t, 16>;

/// By a bit for each of eight units that is ASCII: of two bytes for each unit, the second of such a unit goes.
constexpr std::array<Shuffle, 256> kPairs = [] {
    std::array<Shuffle, 256> all{};
    for (unsigned plain = 0; plain < all.size(); ++plain) {
        std::size_t kept = 0;
        for (unsigned unit = 0; unit < kUnits; ++unit) {
            all[plain][kept++] = static_cast<std::uint8_t>(2 * unit);
            if ((plain >> unit & 1) == 0) all[plain][kept++] = static_cast<std::uint8_t>(2 * unit + 1);
        }
    }
    return all;
}();

/// By a bit for each of four units that has one byte (the upper four bits) and for each that has fewer than three (the
/// lower four): of four bytes for each unit, those that it has; they are the last before the fourth.
constexpr std::array<Shuffle, 256> kTriples = [] {
    std::array<Shuffle, 256> all{};
    for (unsigned sizes = 0; sizes < all.size(); ++sizes) {
        std::size_t kept = 0;
        for (unsigned unit = 0; unit < kUnits / 2; ++unit) {
            const unsigned missing = (sizes >> unit & 1) + (sizes >> (unit + 4) & 1);
            for (unsigned byte = missing; byte < 3; ++byte) {
                all[sizes][kept++] = static_cast<std::uint8_t>(4 * unit + byte);
            }
        }
    }
    return all;
}();

KX_BLOCKS __m128i load(const void* from) { return _mm_loadu_si128(static_cast<const __m128i*>(from)); }
KX_BLOCKS void store(void* to, __m128i value) { _mm_storeu_si128(static_cast<__m128i*>(to), value); }

/// The first where the mask has no bits, the second where it has all.
KX_BLOCKS __m128i choose(__m128i mask, __m128i first, __m128i second) {
    return _mm_or_si128(_mm_andnot_si128(mask, first), _mm_and_si128(mask, second));
}

/// Eight units below 0x800.
KX_BLOCKS unsigned char* putPairs(__m128i units, __m128i isPlain, unsigned char* out) {
    const __m128i lead = _mm_or_si128(_mm_srli_epi16(units, 6), _mm_set1_epi16(0xC0));
    const __m128i trail = _mm_or_si128(_mm_and_si128(units, _mm_set1_epi16(0x3F)), _mm_set1_epi16(0x80));
    const __m128i bytes = choose(isPlain, _mm_or_si128(lead, _mm_slli_epi16(trail, 8)), units);
    const auto plain = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(isPlain, _mm_setzero_si128())));
    store(out, _mm_shuffle_epi8(bytes, load(kPairs[plain].data())));
    return out + 2 * kUnits - static_cast<std::size_t>(std::popcount(plain));
}

/// Four units of 32 bits, no surrogates among them.
KX_BLOCKS unsigned char* putTriples(__m128i units, unsigned char* out) {
    const __m128i low = _mm_set1_epi32(0x3F);
    const __m128i isPlain = _mm_cmplt_epi32(units, _mm_set1_epi32(0x80));
    const __m128i isShort = _mm_cmplt_epi32(units, _mm_set1_epi32(0x800));
    const __m128i first = _mm_or_si128(_mm_srli_epi32(units, 12), _mm_set1_epi32(0xE0));
    const __m128i upper = _mm_srli_epi32(units, 6);
    const __m128i second = choose(isShort, _mm_or_si128(_mm_and_si128(upper, low), _mm_set1_epi32(0x80)),
                                  _mm_or_si128(upper, _mm_set1_epi32(0xC0)));
    const __m128i third = choose(isPlain, _mm_or_si128(_mm_and_si128(units, low), _mm_set1_epi32(0x80)), units);
    const __m128i bytes =
        _mm_or_si128(first, _mm_or_si128(_mm_slli_epi32(_mm_and_si128(second, _mm_set1_epi32(0xFF)), 8),
                                         _mm_slli_epi32(_mm_and_si128(third, _mm_set1_epi32(0xFF)), 16)));
    const auto plain = static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(isPlain)));
    const auto shorts = static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(isShort)));
    store(out, _mm_shuffle_epi8(bytes, load(kTriples[plain << 4 | shorts].data())));
    return out + 3 * (kUnits / 2) - static_cast<std::size_t>(std::popcount(plain) + std::popcount(shorts));
}

/// Whether no lane has a bit.
KX_BLOCKS bool isNone(__m128i mask) { return _mm_movemask_epi8(mask) == 0; }

}  // namespace

bool hasUTF16Blocks() noexcept { return __builtin_cpu_supports("ssse3") && __builtin_cpu_supports("popcnt"); }

[[gnu::target("ssse3,popcnt")]] void convertUTF16Blocks(Input& input, Output& output) noexcept {
    const unsigned char* in = input.at;
    unsigned char* out = output.at;
    const __m128i zero = _mm_setzero_si128();
    while (input.end - in >= static_cast<std::ptrdiff_t>(2 * kUnits) &&
           output.end - out >= static_cast<std::ptrdiff_t>(kRoom)) {
        const __m128i units = load(in);
        const __m128i upper = _mm_and_si128(units, _mm_set1_epi16(static_cast<short>(0xF800)));
        const __m128i isShort = _mm_cmpeq_epi16(upper, zero);
        if (_mm_movemask_epi8(isShort) == 0xFFFF) {
            const __m128i isPlain = _mm_cmpeq_epi16(_mm_srli_epi16(units, 7), zero);
            out = putPairs(units, isPlain, out);
        } else {
            if (!isNone(_mm_cmpeq_epi16(upper, _mm_set1_epi16(static_cast<short>(0xD800))))) break;
            out = putTriples(_mm_unpacklo_epi16(units, zero), out);
            out = putTriples(_mm_unpackhi_epi16(units, zero), out);
        }
        in += 2 * kUnits;
    }
    input.at = in;
    output.at = out;
}

}  // namespace KXPlatform

#else

namespace KXPlatform {

bool hasUTF16Blocks() noexcept { return false; }
void convertUTF16Blocks(Input&, Output&) noexcept {}

}  // namespace KXPlatform

#endif
