#pragma once

// Where the system keeps its time zones: the folder /usr/share/zoneinfo, or the one that TZDIR names, and which of them
// is the computer's own.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KXPlatform {

/// The folder, as the environment had it when it was first asked for or refreshed. Any thread.
std::string zoneFolder();

/// Whether `name` can be a zone's: it leads nowhere but below the folder.
bool isZoneName(std::string_view name) noexcept;

/// The bytes of the file of a zone. Null where the name is none, or there is no file that may be one.
std::optional<std::string> readZoneFile(std::string_view name);

/// The names of all zones in the folder, sorted; of the copies in "posix" and "right" none.
std::vector<std::string> zoneNames();

/// The computer's own zone.
struct SystemZone {
    std::string name;
    std::string file;
};

/// What TZ says: a name, the path of a file in the folder, or a rule (ZoneRule.h); then /etc/localtime and
/// /etc/timezone; else "GMT". Looks at the environment: not while another thread changes it.
SystemZone findSystemZone();

/// Looks at the environment anew for zoneFolder().
void refreshZoneFolder();

}  // namespace KXPlatform
