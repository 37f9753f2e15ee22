#pragma once

#include "DeviceSource.h"
#include "Udev.h"

namespace agent {

/// The devices of the computer, as udev reports them, or the kernel itself where no udev runs. The user is the one at
/// the seat.
class UdevSource final : public DeviceSource {
  public:
    /// Watches from now on. Throws std::system_error where that cannot be.
    UdevSource();

    int descriptor() const override { return udev_monitor_get_fd(monitor_.get()); }
    void begin(Auditor& auditor, const Presence::Devices& reported) override;
    void read(Auditor& auditor) override;

  private:
    void auditWhatIsThere(Auditor& auditor, const char* action);
    void audit(Auditor& auditor, udev_device* device, const char* action);

    UdevPointer<udev> udev_;
    UdevPointer<udev_monitor> monitor_;
    Presence::Devices devices_;  ///< that were reported
};

}  // namespace agent
