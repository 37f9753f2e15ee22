#pragma once

// The names of this computer as the system knows them, and the keys of the store under which they are published.

#include "CoreFoundation/Object/Retained.h"

#include <CoreFoundation/CFDictionary.h>

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace KXPlatform {

/// A name in UTF-8 without control characters.
struct SystemName {
    std::string text;    ///< empty where there is none
    std::string origin;  ///< which file it came from and as it was then: changes with the file, not only with the name

    bool operator==(const SystemName&) const = default;
};

enum class NameKind { Computer, NetBios };

/// The name as it is now. Each kind is read from one file.
SystemName readSystemName(NameKind kind);

/// The names as they were when each was first asked for: a file that nobody asks for is not opened.
class SystemNames {
  public:
    const SystemName& get(NameKind kind);

  private:
    std::array<std::optional<SystemName>, 2> names_;
};

/// What is published under a key: a dictionary of one entry, when the name is there.
struct PublishedKey {
    const char* key;
    const char* entry;
    NameKind name;
};

inline constexpr std::array<PublishedKey, 3> kPublishedKeys{{
    {"Setup:/System", "ComputerName", NameKind::Computer},
    {"State:/Network/NetBIOS", "RegisteredName", NameKind::NetBios},
    {"State:/Network/Global/SMB", "NetBIOSName", NameKind::NetBios},
}};

/// Null when nothing is published under the key.
const PublishedKey* publishedKey(std::string_view key) noexcept;

/// The value published for a name; null without one.
Retained<const __CFDictionary> publishedValue(const PublishedKey& key, const std::string& name);

/// The folder with the files that names are read from: /etc, unless the environment variable KXPLATFORM_ETC named
/// another when chooseConfigurationFolder() was called last.
std::string configurationFolder();

/// Reads that variable, on the thread of a program that opens the store: the watch's own thread must not read the
/// environment while the program sets it. The caller holds Store::mutex().
void chooseConfigurationFolder();

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
