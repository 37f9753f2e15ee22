#pragma once

// The header of a record in a buffer, for the library and for programs that say why a buffer cannot be read. The whole
// form stands in AuditRecordBuffer.cpp and, byte by byte, in docs/audit-record.md.

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

static_assert(std::endian::native == std::endian::little, "the header is read and written in the host's byte order");

namespace KXCore {

struct AuditRecordHeader {
    static constexpr std::array<char, 8> kMagic = {'A', 'U', 'D', 'I', 'T', 'R', 'E', 'C'};

    std::array<char, 8> magic;
    std::uint32_t total;
    std::uint32_t headerLength;
    std::int64_t recordID;
    std::int32_t eventID;
    std::int32_t pid;
    std::int32_t status;
    std::uint32_t reserved;

    /// What is wrong with a record's beginning.
    enum class Fault {
        None,
        NoMagic,         ///< something else starts here
        CutOff,          ///< fewer bytes than a header has
        ShortHeader,     ///< `headerLength` is below the size of this header
        ShortRecord,     ///< `total` is below `headerLength`
        RecordGoesPast,  ///< `total` is more than there is
    };

    /// Reads the header at the beginning of `bytes`, as far as there is one.
    Fault read(std::span<const unsigned char> bytes) noexcept {
        if (bytes.size() < sizeof *this) {
            const bool isOther =
                bytes.size() >= kMagic.size() && std::memcmp(bytes.data(), kMagic.data(), kMagic.size()) != 0;
            return isOther ? Fault::NoMagic : Fault::CutOff;
        }
        std::memcpy(this, bytes.data(), sizeof *this);
        if (magic != kMagic) return Fault::NoMagic;
        if (headerLength < sizeof *this) return Fault::ShortHeader;
        if (total < headerLength) return Fault::ShortRecord;
        if (total > bytes.size()) return Fault::RecordGoesPast;
        return Fault::None;
    }
};
static_assert(sizeof(AuditRecordHeader) == 40 && std::has_unique_object_representations_v<AuditRecordHeader>);

}  // namespace KXCore
