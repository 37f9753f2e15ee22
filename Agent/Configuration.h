#pragma once

#include "Policy.h"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace agent {

/// What the agent is told by its property list. docs/deployment.md tells it key by key.
///
///     Stream        the file in which records wait for their delivery
///     Watch         a folder in which devices arrive; without it, the system's own devices and volumes are watched
///     Type          the kind of the devices in that folder ("Removable" without it)
///     ACL           who may use them (see CustomACL.h), over the names read, write and eject
///     Unrestricted  true: everybody may use everything, and there is no ACL
///     Mode          "Enforce", or "Observe": refuse nothing, record what would have been refused
///     MaximumSize   of the stream, in bytes
///     MemoryLimit   of the events that cannot be written yet, in bytes
///     SyncDelay     how long events that arrive together wait for one another, in milliseconds
///     Status        the path of a socket that tells how the agent is doing
///     Deliver       where records go: an array that may hold "stdout"
struct Configuration {
    std::string stream;
    std::optional<std::string> watch;
    int deviceType = 0;
    Policy policy;
    bool observes = false;
    std::optional<long long> maximumSize;
    std::size_t memoryLimit = std::size_t{64} << 20;
    std::chrono::milliseconds syncDelay{5};
    std::optional<std::string> status;
    bool delivers = true;
};

/// Throws std::runtime_error with one line that names the place of what is wrong. Nothing is taken for granted: a key
/// that is not known, a value of another type and a missing list are all wrong.
Configuration readConfiguration(const char* path);

}  // namespace agent
