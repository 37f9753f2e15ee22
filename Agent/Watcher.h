#pragma once

#include "Auditor.h"

#include <KXCoreLib/ThreadUtils.h>

namespace agent {

/// The thread that sees devices come and go, in a folder or as the kernel tells, and has each audited.
class Watcher : public KXCore::BackgroundThread {
  public:
    /// Begins to watch at once, so that nothing is missed before the thread runs. Throws std::system_error where that
    /// cannot be. Both outlive the thread.
    Watcher(const Configuration& configuration, Auditor& auditor);
    ~Watcher() override;

    void run() override;

  private:
    void auditWhatIsThere();
    void readEvents();
    void readFolder();
    void readKernel();
    void auditFile(const char* action, const std::string& name);

    const Configuration& configuration_;
    Auditor& auditor_;
    const int fd_;
};

}  // namespace agent
