#pragma once

#include <sys/types.h>
#include <cstdint>
#include <optional>
#include <string>

namespace agent {

/// What the access-control list of the configuration speaks about.
enum Access : std::uint32_t { Read = 1, Write = 2, Eject = 4 };

/// Something that happened to a device.
struct DeviceEvent {
    std::string action{};  ///< "arrive", "present", "remove"
    std::string name{};
    std::string information{};    ///< where it is
    std::string identity{};       ///< what it is: tells it from another one that is at the same place later
    int deviceType = 0;           ///< as AuditRecord counts them
    std::optional<uid_t> user{};  ///< whose event it is; no value: nobody knows
    std::uint32_t access = 0;     ///< what the user would get
};

}  // namespace agent
