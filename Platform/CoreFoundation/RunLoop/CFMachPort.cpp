#include "RunLoop.h"
#include "Support/NeverDestroyed.h"

#include <CoreFoundation/CFMachPort.h>

#include <unordered_map>

using namespace KXPlatform;

namespace {

void finalizePort(Object* object) noexcept;

constexpr Class kMachPortClass{TypeID::MachPort, finalizePort, nullptr, nullptr, nullptr};

}  // namespace

struct __CFMachPort : Object {
    __CFMachPort(mach_port_t p, bool o, CFMachPortCallBack c) noexcept
        : Object(kMachPortClass), port(p), ownsPort(o), callout(c) {
        flags |= kFound;  // by the name of its port
    }

    const mach_port_t port;
    const bool ownsPort;
    const CFMachPortCallBack callout;
    CFMachPortContext context{};

    std::mutex mutex;  // nothing is locked or called out under it
    bool valid = true;
    Info info;
    CFMachPortInvalidationCallBack invalidation = nullptr;
    __CFRunLoopSource* source = nullptr;  ///< not retained: it retains the port, and takes itself back when it goes
};

namespace {

/// The valid objects by their ports: there is one for a port. Not retained: an object takes itself out when it ends.
class Registry {
  public:
    static Registry& shared() noexcept {
        static NeverDestroyed<Registry> registry;
        return *registry;
    }

    Retained<__CFMachPort> find(mach_port_t port) {
        const std::lock_guard lock(mutex_);
        const auto found = ports_.find(port);
        return found == ports_.end() ? Retained<__CFMachPort>() : Retained<__CFMachPort>::trying(found->second);
    }

    /// The object already there, or null once `made` is. One that is ending gives way.
    Retained<__CFMachPort> add(__CFMachPort& made) {
        const std::lock_guard lock(mutex_);
        __CFMachPort*& place = ports_[made.port];
        Retained<__CFMachPort> there = Retained<__CFMachPort>::trying(place);
        if (!there) place = &made;
        return there;
    }

    void remove(__CFMachPort& port) noexcept {
        const std::lock_guard lock(mutex_);
        const auto found = ports_.find(port.port);
        if (found != ports_.end() && found->second == &port) ports_.erase(found);
    }

  private:
    std::mutex mutex_;
    std::unordered_map<mach_port_t, __CFMachPort*> ports_;
};

void finalizePort(Object* object) noexcept {
    auto* const port = static_cast<__CFMachPort*>(object);
    // No source is left, or it would have retained the port.
    Registry::shared().remove(*port);
    const bool destroysPort = port->ownsPort && port->valid;
    const mach_port_t name = port->port;
    port->~__CFMachPort();
    if (destroysPort) mach_port_destroy(mach_task_self(), name);
}

void forgetSource(void* owner, __CFRunLoopSource* source) noexcept {
    auto* const port = static_cast<__CFMachPort*>(owner);
    const std::lock_guard lock(port->mutex);
    if (port->source == source) port->source = nullptr;
}

void portDied(void* owner) { CFMachPortInvalidate(static_cast<CFMachPortRef>(owner)); }

constexpr SourceOwner kPortOwner{forgetSource, portDied, nullptr, nullptr, nullptr, nullptr};

mach_port_t portOfSource(void* owner) { return static_cast<__CFMachPort*>(owner)->port; }

void* deliverMessage(void* message, CFIndex size, CFAllocatorRef, void* owner) {
    auto* const port = static_cast<__CFMachPort*>(owner);
    Info info;
    {
        const std::lock_guard lock(port->mutex);
        if (!port->valid) return nullptr;
        info = port->info;
    }
    if (port->callout) port->callout(port, message, size, info.get());
    return nullptr;
}

/// A dead name, which only counts rights to send, is no port any more.
bool portLives(mach_port_t name) noexcept {
    const LockedPort port = PortTable::shared().find(name);
    return port && port->receive;
}

CFMachPortRef makePort(CFAllocatorRef allocator, mach_port_t name, bool owns, CFMachPortCallBack callout,
                       const CFMachPortContext* context, Boolean* shouldFreeInfo) {
    auto made = Retained<__CFMachPort>::adopting(make<__CFMachPort>(allocator, 0, name, owns, callout));
    made = Retained<__CFMachPort>::adopting(withContext(std::move(made), context));
    if (!made) return nullptr;
    try {
        if (Retained<__CFMachPort> there = Registry::shared().add(*made)) return there.release();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    if (shouldFreeInfo) *shouldFreeInfo = false;
    return made.release();
}

}  // namespace

CFTypeID CFMachPortGetTypeID() { return number(TypeID::MachPort); }

CFMachPortRef CFMachPortCreate(CFAllocatorRef allocator, CFMachPortCallBack callout, CFMachPortContext* context,
                               Boolean* shouldFreeInfo) {
    if (shouldFreeInfo) *shouldFreeInfo = true;
    if (context && context->version != 0) return nullptr;
    mach_port_t name = MACH_PORT_NULL;
    if (mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &name) != KERN_SUCCESS) return nullptr;
    mach_port_insert_right(mach_task_self(), name, name, MACH_MSG_TYPE_MAKE_SEND);
    const CFMachPortRef made = makePort(allocator, name, true, callout, context, shouldFreeInfo);
    if (!made) mach_port_destroy(mach_task_self(), name);
    return made;
}

CFMachPortRef CFMachPortCreateWithPort(CFAllocatorRef allocator, mach_port_t portNum, CFMachPortCallBack callout,
                                       CFMachPortContext* context, Boolean* shouldFreeInfo) {
    if (shouldFreeInfo) *shouldFreeInfo = true;
    if (context && context->version != 0) return nullptr;
    if (!portLives(portNum)) return nullptr;
    if (Retained<__CFMachPort> there = Registry::shared().find(portNum)) return there.release();
    return makePort(allocator, portNum, false, callout, context, shouldFreeInfo);
}

mach_port_t CFMachPortGetPort(CFMachPortRef port) { return port ? port->port : MACH_PORT_NULL; }

void CFMachPortGetContext(CFMachPortRef port, CFMachPortContext* context) {
    if (!port) return;
    const std::lock_guard lock(port->mutex);
    giveContext(context, port->context, port->info);
}

void CFMachPortInvalidate(CFMachPortRef port) {
    if (!port) return;
    const auto self = Retained<__CFMachPort>::retaining(port);
    Info released;
    Retained<__CFRunLoopSource> source;
    CFMachPortInvalidationCallBack invalidation;
    {
        const std::lock_guard lock(port->mutex);
        if (!port->valid) return;
        port->valid = false;
        source = Retained<__CFRunLoopSource>::trying(port->source);
        invalidation = port->invalidation;
        released.swap(port->info);
    }
    Registry::shared().remove(*port);
    if (source) CFRunLoopSourceInvalidate(source.get());
    if (invalidation) invalidation(port, released.get());
    if (port->ownsPort) mach_port_destroy(mach_task_self(), port->port);
}

Boolean CFMachPortIsValid(CFMachPortRef port) {
    if (!port) return false;
    {
        const std::lock_guard lock(port->mutex);
        if (!port->valid) return false;
    }
    if (portLives(port->port)) return true;
    CFMachPortInvalidate(port);
    return false;
}

CFMachPortInvalidationCallBack CFMachPortGetInvalidationCallBack(CFMachPortRef port) {
    if (!port) return nullptr;
    const std::lock_guard lock(port->mutex);
    return port->invalidation;
}

void CFMachPortSetInvalidationCallBack(CFMachPortRef port, CFMachPortInvalidationCallBack callout) {
    if (!port) return;
    Info info;
    {
        const std::lock_guard lock(port->mutex);
        if (port->valid) {
            port->invalidation = callout;
            return;
        }
        info = port->info;
    }
    if (callout) callout(port, info.get());  // what it waits for has happened
}

CFRunLoopSourceRef CFMachPortCreateRunLoopSource(CFAllocatorRef allocator, CFMachPortRef port, CFIndex order) {
    if (!CFMachPortIsValid(port)) return nullptr;
    const auto made = Retained<__CFRunLoopSource>::adopting(
        makeOwnedSource(allocator, order, kPortOwner, port, portOfSource, deliverMessage));
    const std::lock_guard lock(port->mutex);
    if (!port->valid || !made) return nullptr;
    if (auto there = Retained<__CFRunLoopSource>::trying(port->source)) return there.release();
    port->source = made.get();
    return Retained<__CFRunLoopSource>(made).release();
}
