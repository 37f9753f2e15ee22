#pragma once

#include "Configuration.h"

#include <KXCoreLib/MachPort.h>
#include <KXCoreLib/StreamStorage.h>

namespace agent {

/// Decides an event and puts its record into the stream: the way from the device to the disk. One thread.
class Auditor {
  public:
    /// `delivery` is signalled when there is something to deliver. All three outlive the auditor.
    Auditor(const Configuration& configuration, KXCore::StreamStorage& stream, const KXCore::EventPort& delivery);

    /// When this returns the record is on the disk.
    void audit(const DeviceEvent& event);

  private:
    const Configuration& configuration_;
    KXCore::StreamStorage& stream_;
    const KXCore::EventPort& delivery_;
    std::vector<unsigned char> buffer_;
};

}  // namespace agent
