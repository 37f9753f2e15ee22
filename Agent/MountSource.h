#pragma once

#include "DeviceSource.h"
#include "Udev.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace agent {

/// The volumes that are mounted, wherever they are: the kernel's mount table, which reports its changes.
class MountSource final : public DeviceSource {
  public:
    /// Throws std::system_error where the table cannot be watched.
    MountSource();
    ~MountSource() override;

    int descriptor() const override { return changes_; }
    void begin(Auditor& auditor, const Presence::Devices& reported) override;
    void read(Auditor& auditor) override;

  private:
    struct Mount {
        std::string point;
        std::string type;
        std::string source;
        std::string identity;
        std::string options;
        dev_t device = 0;
        bool isReadOnly = false;
    };
    static std::optional<Mount> mountIn(const std::string& line);
    std::vector<Mount> volumes() const;
    void compare(Auditor& auditor, const char* action);
    void arrive(Auditor& auditor, const Mount& mount, const char* action);

    struct Volume {
        std::string identity;
        std::optional<uid_t> user;
        int deviceType = 0;
    };

    int table_;
    int changes_;
    UdevPointer<udev> udev_;
    std::map<std::string, Volume> volumes_;  ///< that were reported, by mount point
};

}  // namespace agent
