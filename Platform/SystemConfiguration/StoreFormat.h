#pragma once

// The bytes of the store's file.
//
//     file    = header state batch*
//     header  = "KXStore1" identity(8) sequence(8) stateSize(8) crc(4)
//     state   = batch*                            of stateSize bytes: the store after its first `sequence` batches
//     batch   = size(4) crc(4) change+            the changes made together, of `size` bytes
//     change  = kind(1) keySize(1) valueSize(4) key value
//
// Numbers have their least byte first. A crc is the CRC-32 of the header before it, or of the batch after it. A batch
// counts when all of it is there and its crc is right: what a writer that died left of one does not.
//
// The file only grows, until a new one takes its place that begins with the state the old one ended in. `identity` is a
// random number that goes on from file to file, so that a store that was begun anew is told from one that was
// rewritten.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KXPlatform {

/// Bytes of a value in binary form.
inline constexpr std::size_t kLargestValue = std::size_t{1} << 20;

/// Bytes of the changes made together.
inline constexpr std::size_t kLargestBatch = std::size_t{64} << 20;

inline constexpr std::size_t kHeaderSize = 36;
inline constexpr std::size_t kBatchHeadSize = 8;

/// Bytes of a change beside its key and value.
inline constexpr std::size_t kChangeHeadSize = 6;

struct StoreHeader {
    std::uint64_t identity = 0;
    std::uint64_t sequence = 0;
    std::uint64_t stateSize = 0;
};

struct StoreChange {
    enum class Kind : std::uint8_t {
        Value = 1,   ///< the key has the value
        Gone = 2,    ///< the key has no value in the store
        Hidden = 3,  ///< what is published for the key does not count while its origin is the value
        Shown = 4,   ///< it counts again; said to nobody, since the change of the origin has been told
        Notice = 5,  ///< who watches the key is told
    };

    Kind kind;
    std::string_view key;
    std::string_view value = {};
};

std::string encodeHeader(const StoreHeader& header);
std::optional<StoreHeader> decodeHeader(std::string_view bytes);

/// Adds a change to `changes`.
void encodeChange(const StoreChange& change, std::string& changes);

/// A batch of these encoded changes.
std::string encodeBatch(std::string_view changes);

/// The size of the changes that follow the head of a batch; nothing when it is no size.
std::optional<std::size_t> decodeBatchSize(std::string_view head);

/// The changes of a batch, which point into it; nothing when it is damaged. `batch` is head and changes.
std::optional<std::vector<StoreChange>> decodeBatch(std::string_view batch);

}  // namespace KXPlatform
