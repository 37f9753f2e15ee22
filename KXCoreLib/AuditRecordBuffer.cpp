// The binary form of an audit record.
//
//     record  := header text*14 padding
//     header  := magic[8] total:u32 headerLength:u32 recordId:i64 eventId:i32 pid:i32 status:i32 reserved:u32
//     text    := 8-bit characters, NUL
//     padding := zero bytes up to a multiple of 4
//
// Integers are little-endian. `total` counts everything, so that a reader steps from record to record.

#include "AuditRecordHeader.h"

#include <KXCoreLib/AuditRecord.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>
#include <span>
#include <stdexcept>
#include <type_traits>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace KXCore {
namespace {

/// The shared empty text.
constexpr char kEmpty[] = "";

constexpr std::size_t kBlock = 64;

/// A bit for each of the 64 bytes that is zero, the first byte's being the lowest.
std::uint64_t nulsInBlock(const unsigned char* bytes) noexcept {
    std::uint64_t nuls = 0;
#ifdef __SSE2__
    for (unsigned i = 0; i < kBlock; i += 16) {
        const __m128i piece = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + i));
        const auto found = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(piece, _mm_setzero_si128())));
        nuls |= std::uint64_t{found} << i;
    }
#else
    constexpr std::uint64_t low7 = 0x7F7F7F7F7F7F7F7F;
    for (unsigned i = 0; i < kBlock; i += 8) {
        std::uint64_t word;
        std::memcpy(&word, bytes + i, sizeof word);
        // The top bit of each byte that is zero, and of no other; the product gathers them in the top byte.
        const std::uint64_t found = ~(((word & low7) + low7) | word | low7) >> 7;
        nuls |= (found * 0x0102040810204080 >> 56) << i;
    }
#endif
    return nuls;
}

/// Cuts `bytes` at its NULs: the texts before the first `texts.size()` of them, in order, and the empty text for each
/// that is missing. One pass for all: at the usual dozen characters a text, a search for each alone costs more than the
/// bytes do.
void cutTexts(std::span<const unsigned char> bytes, std::span<const char*> texts) noexcept {
    const auto* const begin = reinterpret_cast<const char*>(bytes.data());
    const char* start = begin;
    std::size_t found = 0;
    for (std::size_t at = 0; at < bytes.size(); at += kBlock) {
        const unsigned char* block = bytes.data() + at;
        unsigned char last[kBlock];
        if (bytes.size() - at < kBlock) {
            std::memset(last, 0xFF, sizeof last);
            std::memcpy(last, block, bytes.size() - at);
            block = last;
        }
        for (std::uint64_t nuls = nulsInBlock(block); nuls != 0; nuls &= nuls - 1) {
            texts[found++] = start;
            start = begin + at + static_cast<unsigned>(std::countr_zero(nuls)) + 1;
            if (found == texts.size()) return;
        }
    }
    while (found < texts.size()) texts[found++] = kEmpty;
}

/// Copies at least one byte. Texts are short: a call for each costs more than the moves.
inline void copyText(unsigned char* to, const char* from, std::size_t size) noexcept {
    // Pieces of constant size, the last one over the end of the one before.
    const auto copyPieces = [&]<std::size_t piece>(std::integral_constant<std::size_t, piece>) {
        for (std::size_t at = 0; at + piece < size; at += piece) std::memcpy(to + at, from + at, piece);
        std::memcpy(to + size - piece, from + size - piece, piece);
    };
    if (size > 128) {
        std::memcpy(to, from, size);
    } else if (size >= 16) {
        copyPieces(std::integral_constant<std::size_t, 16>());
    } else if (size >= 8) {
        copyPieces(std::integral_constant<std::size_t, 8>());
    } else if (size >= 4) {
        copyPieces(std::integral_constant<std::size_t, 4>());
    } else {
        for (std::size_t at = 0; at < size; ++at) to[at] = static_cast<unsigned char>(from[at]);
    }
}

}  // namespace

const char* read_c_string(const std::vector<unsigned char>& buffer, unsigned long& position,
                          unsigned long limit) noexcept {
    const unsigned long end = limit < buffer.size() ? limit : buffer.size();
    if (position < end) {
        const unsigned char* const text = buffer.data() + position;
        if (const void* const nul = std::memchr(text, 0, end - position)) {
            position = static_cast<unsigned long>(static_cast<const unsigned char*>(nul) - buffer.data()) + 1;
            return reinterpret_cast<const char*>(text);
        }
    }
    position = limit;
    return kEmpty;
}

void AuditRecord::append_to_buffer(std::vector<unsigned char>& buffer) const {
    const char* const texts[kTextCount] = {
        computer_name_str_, get_date_str(),       get_type_str(),        get_user_uuid_str(), sid_str_,
        user_name_str_,     process_name_str_,    get_device_type_str(), action_str_,         name_str_,
        information_str_,   get_schema_tag_str(), reason_str_,           extra_str_,
    };
    std::size_t sizes[kTextCount];
    std::size_t total = sizeof(AuditRecordHeader);
    for (unsigned i = 0; i < kTextCount; ++i) total += sizes[i] = std::strlen(texts[i]) + 1;
    total = (total + 3) & ~std::size_t{3};
    if (total > std::numeric_limits<std::uint32_t>::max()) throw std::length_error("AuditRecord::append_to_buffer");

    const std::size_t start = buffer.size();
    std::vector<unsigned char> old;
    if (buffer.capacity() - start < total) {
        // The texts may lie in the buffer itself: its old bytes stay until they are copied.
        old.reserve(start + std::max(start, total));
        old.assign(buffer.begin(), buffer.end());
        old.swap(buffer);
    }
    buffer.resize(start + total);

    unsigned char* out = buffer.data() + start;
    // Field by field to its place: a header put together elsewhere and moved as a whole waits for its own last stores.
    const auto put = [&out](auto value) {
        std::memcpy(out, &value, sizeof value);
        out += sizeof value;
    };
    put(AuditRecordHeader::kMagic);
    put(static_cast<std::uint32_t>(total));
    put(static_cast<std::uint32_t>(sizeof(AuditRecordHeader)));
    put(std::int64_t{record_id_});
    put(std::int32_t{event_id_});
    put(std::int32_t{pid_});
    put(std::int32_t{status_});
    put(std::uint32_t{0});
    for (unsigned i = 0; i < kTextCount; ++i) {
        copyText(out, texts[i], sizes[i]);
        out += sizes[i];
    }
}

unsigned long AuditRecord::read_from_buffer(const std::vector<unsigned char>& buffer, unsigned long offset) noexcept {
    if (offset > buffer.size()) return kNoRecord;
    AuditRecordHeader header;
    if (header.read(std::span(buffer).subspan(offset)) != AuditRecordHeader::Fault::None) return kNoRecord;

    const char* texts[kTextCount];
    cutTexts(std::span(buffer).subspan(offset + header.headerLength, header.total - header.headerLength), texts);
    record_id_ = header.recordID;
    event_id_ = header.eventID;
    pid_ = header.pid;
    status_ = header.status;
    set_texts(texts);
    return offset + header.total;
}

void AuditRecord::set_texts(const char* const (&texts)[kTextCount]) noexcept {
    computer_name_.reset();
    clear_valid(DateValid | TypeValid | UserUUIDValid | DeviceTypeValid | SchemaTagValid);
    computer_name_str_ = texts[0];
    date_str_ = texts[1];
    type_str_ = texts[2];
    user_uuid_str_ = texts[3];
    sid_str_ = texts[4];
    user_name_str_ = texts[5];
    process_name_str_ = texts[6];
    device_type_str_ = texts[7];
    action_str_ = texts[8];
    name_str_ = texts[9];
    information_str_ = texts[10];
    schema_tag_str_ = texts[11];
    reason_str_ = texts[12];
    extra_str_ = texts[13];
}

}  // namespace KXCore
