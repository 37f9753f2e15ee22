#pragma once

namespace KXCore {

/// The identity of a user or a group: 16 bytes, in the order in which they are written as text (RFC 4122). All zero
/// means none. A plain value; any thread.
struct UUID {
    unsigned char bytes[16];

    [[nodiscard]] constexpr bool isNull() const noexcept {
        for (const unsigned char byte : bytes) {
            if (byte != 0) return false;
        }
        return true;
    }

    friend constexpr bool operator==(const UUID&, const UUID&) noexcept = default;
};
static_assert(sizeof(UUID) == 16);

}  // namespace KXCore
