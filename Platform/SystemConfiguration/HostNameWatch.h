#pragma once

// Hears of changes of the kernel's host name.
//
// The kernel tells of them through poll() on /proc/sys/kernel/hostname, and says it only once to each open file: an
// epoll that looks at the file on the way to another epoll uses the news up, and nobody hears it. So while anybody
// listens, one thread of the process waits in poll() and passes the news on to what keeps it: eventfds.

#include "Support/Descriptor.h"

#include <memory>

namespace KXPlatform {

/// Becomes readable when the host name may have changed: it also does for a name that was set again, and for names of
/// other namespaces. May be made and destroyed on any thread.
class HostNameListener {
  public:
    HostNameListener();
    ~HostNameListener();
    HostNameListener(const HostNameListener&) = delete;
    HostNameListener& operator=(const HostNameListener&) = delete;

    /// -1 where there is no such news to be had.
    int descriptor() const noexcept { return news_.get(); }

  private:
    class Watch;

    Descriptor news_;
    std::shared_ptr<Watch> watch_;
};

}  // namespace KXPlatform
