#include "StoreFormat.h"

#include "StoreKey.h"

#include <boost/crc.hpp>

namespace KXPlatform {
namespace {

constexpr std::string_view kMagic = "KXStore1";

static_assert(kLongestKey == UINT8_MAX, "the size of a key is one byte");

std::uint32_t crcOf(std::string_view bytes) {
    boost::crc_32_type crc;
    crc.process_bytes(bytes.data(), bytes.size());
    return crc.checksum();
}

template <class Number>
void append(std::string& bytes, Number number) {
    for (std::size_t i = 0; i < sizeof number; ++i) bytes += static_cast<char>(number >> (8 * i) & 0xFF);
}

/// Takes a number from the beginning of `bytes`, which holds one.
template <class Number>
Number take(std::string_view& bytes) {
    Number number = 0;
    for (std::size_t i = sizeof number; i-- > 0;) {
        number = static_cast<Number>(std::uint64_t{number} << 8 | static_cast<unsigned char>(bytes[i]));
    }
    bytes.remove_prefix(sizeof number);
    return number;
}

bool takesValue(StoreChange::Kind kind) {
    return kind == StoreChange::Kind::Value || kind == StoreChange::Kind::Hidden;
}

/// Takes a change from the beginning of `bytes`.
std::optional<StoreChange> takeChange(std::string_view& bytes) {
    if (bytes.size() < kChangeHeadSize) return std::nullopt;
    const auto kind = take<std::uint8_t>(bytes);
    const std::size_t keySize = take<std::uint8_t>(bytes);
    const std::size_t valueSize = take<std::uint32_t>(bytes);
    if (kind < 1 || kind > 5 || valueSize > kLargestValue || bytes.size() < keySize + valueSize) return std::nullopt;
    const StoreChange change{static_cast<StoreChange::Kind>(kind), bytes.substr(0, keySize),
                             bytes.substr(keySize, valueSize)};
    if (!takesValue(change.kind) && valueSize != 0) return std::nullopt;
    bytes.remove_prefix(keySize + valueSize);
    return change;
}

}  // namespace

std::string encodeHeader(const StoreHeader& header) {
    std::string bytes(kMagic);
    append(bytes, header.identity);
    append(bytes, header.sequence);
    append(bytes, header.stateSize);
    append(bytes, crcOf(bytes));
    return bytes;
}

std::optional<StoreHeader> decodeHeader(std::string_view bytes) {
    if (bytes.size() < kHeaderSize || !bytes.starts_with(kMagic)) return std::nullopt;
    const std::uint32_t crc = crcOf(bytes.substr(0, kHeaderSize - sizeof(std::uint32_t)));
    bytes.remove_prefix(kMagic.size());
    StoreHeader header;
    header.identity = take<std::uint64_t>(bytes);
    header.sequence = take<std::uint64_t>(bytes);
    header.stateSize = take<std::uint64_t>(bytes);
    if (take<std::uint32_t>(bytes) != crc || header.stateSize > INT64_MAX - kHeaderSize) return std::nullopt;
    return header;
}

void encodeChange(const StoreChange& change, std::string& changes) {
    append(changes, static_cast<std::uint8_t>(change.kind));
    append(changes, static_cast<std::uint8_t>(change.key.size()));
    append(changes, static_cast<std::uint32_t>(change.value.size()));
    changes.append(change.key).append(change.value);
}

std::string encodeBatch(std::string_view changes) {
    std::string bytes;
    bytes.reserve(kBatchHeadSize + changes.size());
    append(bytes, static_cast<std::uint32_t>(changes.size()));
    append(bytes, crcOf(changes));
    return bytes.append(changes);
}

std::optional<std::size_t> decodeBatchSize(std::string_view head) {
    if (head.size() < kBatchHeadSize) return std::nullopt;
    const std::size_t size = take<std::uint32_t>(head);
    return size < kChangeHeadSize || size > kLargestBatch ? std::nullopt : std::optional(size);
}

std::optional<std::vector<StoreChange>> decodeBatch(std::string_view batch) {
    const auto size = decodeBatchSize(batch);
    if (!size || batch.size() != kBatchHeadSize + *size) return std::nullopt;
    batch.remove_prefix(sizeof(std::uint32_t));
    if (take<std::uint32_t>(batch) != crcOf(batch)) return std::nullopt;
    std::vector<StoreChange> changes;
    while (!batch.empty()) {
        const auto change = takeChange(batch);
        if (!change) return std::nullopt;
        changes.push_back(*change);
    }
    return changes;
}

}  // namespace KXPlatform
