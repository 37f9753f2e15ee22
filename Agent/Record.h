#pragma once

#include "Device.h"
#include "Policy.h"

#include <cstdint>
#include <string>
#include <vector>

namespace agent {

/// The bytes of an audit record, with what the agent must know of it beside them.
struct Record {
    std::vector<unsigned char> bytes{};
    std::string place{};     ///< where the device is; empty when the record is of no device
    std::string identity{};  ///< which device is there now; empty when it went
    std::uint64_t lost = 0;  ///< how many events the record stands for that were dropped
};

/// What happened to a device, and how it was decided. One that observes refuses nothing.
Record recordOf(const DeviceEvent& event, const Decision& decision, bool observes);

/// That `count` events were dropped.
Record recordOfLoss(std::uint64_t count);

/// That the kernel dropped events, nobody knows how many.
Record recordOfOverflow(const std::string& where);

}  // namespace agent
