#pragma once

#include "Device.h"
#include "Recorder.h"
#include "Settings.h"

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <tuple>

namespace agent {

/// Decides an event and hands its record to the recorder. One thread.
class Auditor {
  public:
    /// Both outlive the auditor.
    Auditor(const Settings& settings, Recorder& recorder) : settings_(settings), recorder_(recorder) {}

    void audit(const DeviceEvent& event);
    /// The kernel had more events than it keeps.
    void auditOverflow(const std::string& where) { recorder_.submit(recordOfOverflow(where)); }

  private:
    const Decision& decisionOn(const std::optional<uid_t>& user, std::uint32_t access, const Policy& policy);

    const Settings& settings_;
    Recorder& recorder_;

    // Events that come together share what the name service said; it is asked again after a moment.
    std::shared_ptr<const Configuration> configuration_;
    std::chrono::steady_clock::time_point decidedAt_{};
    std::map<std::pair<std::optional<uid_t>, std::uint32_t>, Decision> decisions_;
};

}  // namespace agent
