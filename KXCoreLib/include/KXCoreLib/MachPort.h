#pragma once

/// Ports that wake a thread in its run loop.
///
/// A notification is a message without content: its arrival is all it says. An event port holds one at most, so however
/// often it is signalled before its receiver wakes, the receiver is woken once, and a signal never waits. The receiving
/// side is RunLoopSourceEventPort (RunLoop.h).
///
/// Who owns what: a MachPort owns the right it names and gives it up when it is destroyed. Any thread may signal a port
/// at any time. C may include this header for the two functions at its end.

#include <KXCoreLib/Export.h>

#include <mach/mach.h>

#ifdef __cplusplus

#include <boost/core/noncopyable.hpp>

namespace KXCore {

/// Owns one reference to a port's right.
class KX_EXPORT MachPort : private boost::noncopyable {
  public:
    /// Takes over the right `name`; 0 makes a new port, with the right to receive from it. Ends the process when the
    /// system has no port left.
    explicit MachPort(unsigned int name);

    /// Gives the right up (mach_port_deallocate).
    ~MachPort();

    /// The port's name; it belongs to this object.
    mach_port_t getPort() const noexcept { return port; }

  private:
    mach_port_t port;
};

/// A port whose queue holds one message.
class KX_EXPORT EventPort : public MachPort {
  public:
    /// As MachPort. Ends the process when `name` is no port that this process receives from.
    explicit EventPort(unsigned int name);

    /// Sends a notification. 0, or MACH_SEND_TIMED_OUT when one is waiting already: both mean that the receiver will be
    /// woken. Anything else, a port that has died say, ends the process.
    kern_return_t signal() const;
};

static_assert(sizeof(EventPort) == sizeof(mach_port_t));

}  // namespace KXCore

#endif

KX_EXTERN_C_BEGIN

/// Makes a port whose queue holds one message and stores its name in `*port`; the caller owns the right to receive.
/// Returns 0, or what the system says against it; `*port` is untouched then.
KX_EXPORT kern_return_t kx_allocate_notification_port(mach_port_t* port);

/// Sends a notification to `port` without waiting. Returns 0, also when one is waiting there already, or what the
/// system says against it.
KX_EXPORT kern_return_t kx_send_notification_msg(mach_port_t port);

KX_EXTERN_C_END
