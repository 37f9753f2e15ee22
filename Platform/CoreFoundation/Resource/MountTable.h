#pragma once

// The file systems that this process sees, as the kernel lists them.

#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

namespace KXPlatform {

struct Mount {
    dev_t device = 0;
    std::string point;    ///< the folder it is mounted at
    std::string options;  ///< of this mount: "rw,noexec"
    std::string type;     ///< "ext4"
    std::string source;   ///< "/dev/sda1"

    /// Not one of the kernel's own: it holds files of somebody's.
    bool isBrowsable() const noexcept;
    bool isReadOnly() const noexcept;
    bool isNetwork() const noexcept;
};

/// Reads one line of /proc/self/mountinfo; false for one that is none. Throws std::bad_alloc.
bool parseMount(std::string_view line, Mount& mount);

/// All of them, the last mounted last; of two at one place, the upper one alone. None where the table cannot be read.
/// Throws std::bad_alloc.
void readMountTable(std::vector<Mount>& mounts);

/// The file system that a path without symbolic links lies in: of those with this device the one whose place is the
/// longest that the path lies below; null where there is none.
const Mount* findMount(const std::vector<Mount>& mounts, std::string_view path, dev_t device) noexcept;

}  // namespace KXPlatform
