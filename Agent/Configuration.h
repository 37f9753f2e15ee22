#pragma once

#include "Device.h"

#include <KXCoreLib/CustomACL.h>

#include <optional>
#include <string>

namespace agent {

/// What the agent is told by its property list:
///
///     Stream   the file in which records wait for their delivery
///     Watch    the folder in which devices arrive; without it, the kernel's own events are watched
///     Type     the kind of the devices in that folder ("Removable" without it)
///     ACL      who may use them (see CustomACL.h), over the names read, write and eject
struct Configuration {
    std::string stream;
    std::optional<std::string> watch;
    int deviceType = 0;
    KXCore::CustomACL acl;
};

/// Throws std::runtime_error with one line that names the place of what is wrong.
Configuration readConfiguration(const char* path);

}  // namespace agent
