#pragma once

#include "Auditor.h"
#include "Presence.h"

namespace agent {

/// Where devices are seen to come and go. Lives on the run loop of the watcher's thread.
class DeviceSource {
  public:
    virtual ~DeviceSource() = default;

    /// What becomes readable when something happened. It stays the same.
    virtual int descriptor() const = 0;

    /// Reports what is there already and not in `reported`.
    virtual void begin(Auditor& auditor, const Presence::Devices& reported) = 0;
    /// Reports what happened.
    virtual void read(Auditor& auditor) = 0;
    /// Is called about once a second.
    virtual void look(Auditor&) {}
};

}  // namespace agent
