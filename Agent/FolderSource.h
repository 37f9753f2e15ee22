#pragma once

#include "DeviceSource.h"
#include "Settings.h"

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <utility>

namespace agent {

/// A folder in which each entry is a device: for tests and drop boxes. The owner of the entry is the user. A folder
/// that is removed and made again, or mounted over, is watched again.
class FolderSource final : public DeviceSource {
  public:
    /// Watches from now on. Throws std::system_error where that cannot be.
    FolderSource(std::string folder, const Settings& settings);
    ~FolderSource() override;

    int descriptor() const override { return fd_; }
    void begin(Auditor& auditor, const Presence::Devices& reported) override;
    void read(Auditor& auditor) override;
    void look(Auditor& auditor) override;

  private:
    /// An entry that was reported.
    struct Entry {
        std::string identity;
        std::optional<uid_t> owner;
    };

    bool watch();
    void watchAgain(Auditor& auditor);
    void compare(Auditor& auditor, const char* action);
    void arrive(Auditor& auditor, const std::string& name, const char* action);
    void remove(Auditor& auditor, const std::string& name);
    std::string pathOf(const std::string& name) const { return folder_ + "/" + name; }

    const std::string folder_;
    const Settings& settings_;
    const int fd_;
    int watch_ = -1;   ///< of the folder; -1 while there is none
    int parent_ = -1;  ///< of the folder above it, in which it may be made again
    std::pair<dev_t, ino_t> watched_{};
    std::map<std::string, Entry> entries_;  ///< by name
};

}  // namespace agent
