#pragma once

// The names of this computer as the system knows them, and the keys of the store under which they are published.

#include "CoreFoundation/Object/Retained.h"

#include <CoreFoundation/CFDictionary.h>

#include <array>
#include <string>
#include <string_view>

namespace KXPlatform {

/// Each in UTF-8 without control characters; empty where there is none.
struct SystemNames {
    std::string computer;
    std::string netbios;

    bool operator==(const SystemNames&) const = default;
};

/// What is published under a key: a dictionary of one entry, when the name is there.
struct PublishedKey {
    const char* key;
    const char* entry;
    std::string SystemNames::*name;
};

inline constexpr std::array<PublishedKey, 3> kPublishedKeys{{
    {"Setup:/System", "ComputerName", &SystemNames::computer},
    {"State:/Network/NetBIOS", "RegisteredName", &SystemNames::netbios},
    {"State:/Network/Global/SMB", "NetBIOSName", &SystemNames::netbios},
}};

/// The names as they are now.
SystemNames readSystemNames();

/// The value published under a key; null when there is none.
Retained<const __CFDictionary> publishedValue(const SystemNames& names, std::string_view key);

/// The folder with the files that names are read from: /etc, unless the environment variable KXPLATFORM_ETC names
/// another.
std::string configurationFolder();

/// Where in that folder they are. "samba" may itself come and go.
inline constexpr const char* kMachineInfoFile = "machine-info";
inline constexpr const char* kSambaFolder = "samba";
inline constexpr const char* kSambaFile = "smb.conf";

/// PRETTY_HOSTNAME of a machine-info file; empty when it says none.
std::string prettyHostName(std::string_view machineInfo);

/// `netbios name` of the global section of a configuration of the SMB server, with %h standing for the host's name and
/// other variables unknown; empty when it says none. Files that it includes are not read.
std::string netbiosName(std::string_view configuration, std::string_view host);

}  // namespace KXPlatform
