#pragma once

/// Sources of a run loop: each delivers one kind of the platform's events to a callback() on the thread of the run loop
/// that it is scheduled on.
///
///     class Watcher final : public RunLoopSourceFileDescriptor {  // final: see RunLoopSource on destructors
///       public:
///         using RunLoopSourceFileDescriptor::RunLoopSourceFileDescriptor;
///         void callback() override { ... }
///     };
///     auto watcher = boost::make_shared<Watcher>(fd);
///     RunLoopSourceFileDescriptor::initialize(watcher);
///     watcher->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
///
/// Who owns what: sources are held by boost::shared_ptr, and own their platform objects. A platform object never keeps
/// its source alive: it holds a counted bridge (rl_bridge) that refers to the source weakly, so an event that arrives
/// when the last shared pointer has gone is ignored. Ports and descriptors stay their owner's: a source never
/// deallocates or closes them.
///
/// Threads: the last pointer to a source may go on any thread at any time, in its own callback() too, while events
/// arrive. Making, initializing and scheduling one source is one thread's business at a time. callback() is called by
/// every run loop that the source is scheduled on, by several at once if it is scheduled on several. An exception from
/// callback() passes on to whoever runs the loop; the text of a CFException is logged first. Scheduling a leaf that was
/// not initialized does nothing but log a line that says so.

#include <KXCoreLib/Atomic.h>
#include <KXCoreLib/CoreFoundation/CFException.h>
#include <KXCoreLib/CoreFoundation/FileDescriptorRef.h>
#include <KXCoreLib/CoreFoundation/MachPortRef.h>
#include <KXCoreLib/CoreFoundation/RunLoopRef.h>
#include <KXCoreLib/CoreFoundation/RunLoopSourceRef.h>
#include <KXCoreLib/CoreFoundation/RunLoopTimerRef.h>
#include <KXCoreLib/Export.h>
#include <KXCoreLib/MachPort.h>

#include <boost/core/noncopyable.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <boost/smart_ptr/weak_ptr.hpp>

#include <type_traits>
#include <utility>

namespace KXCore {

/// What can be scheduled on a run loop. A composite source overrides enumerateSubComponents() and is scheduled by
/// scheduling its parts; a leaf overrides the first two. There is no virtual destructor: the shared pointer that a
/// source was made with destroys it as what it is. (Declare the class that is made final, or clang warns of that.)
class KX_EXPORT RunLoopSource : private boost::noncopyable {
  public:
    /// Is shown the parts of a composite one by one.
    class KX_EXPORT Enumerator {
      public:
        /// Null is ignored.
        virtual void enumerate(RunLoopSource* source) const = 0;

      protected:
        ~Enumerator() = default;
    };

    /// Adds the source to a run loop in one mode, or takes it out. The base versions do so with each part, at depth 0;
    /// leaves ignore `depth`.
    virtual void scheduleWithRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int depth);
    virtual void unscheduleFromRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int depth);

    /// Shows every part to `enumerator`; the base version has none.
    virtual void enumerateSubComponents(const Enumerator& enumerator, int depth);

  protected:
    RunLoopSource() = default;
    ~RunLoopSource() = default;
};

/// Fires at a date and then, with an interval above 0, again and again.
class KX_EXPORT RunLoopSourceTimer : public RunLoopSource {
  public:
    /// `fireDate` in seconds since 2001-01-01 00:00:00 UTC (CFAbsoluteTimeGetCurrent), `interval` in seconds.
    RunLoopSourceTimer(double fireDate, double interval);

    /// Makes the platform's objects: to be called once, before scheduling; later calls do nothing. Throws a CFException
    /// when the platform makes none, and leaves the source as it was. The same holds for the other leaves.
    static void initialize(const boost::shared_ptr<RunLoopSourceTimer>& source);

    void scheduleWithRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int depth) override;
    void unscheduleFromRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int depth) override;
    virtual void callback() = 0;

    /// The platform's object, borrowed; null until initialize().
    CFRunLoopTimerRef getTimer() const noexcept { return timer_.get(); }

  protected:
    ~RunLoopSourceTimer();

    double fireDate_;
    double interval_;
    CoreFoundation::RunLoopTimerRef timer_;
};

/// Is called when an event port has been signalled. There can be one source for a port at a time: initializing another
/// ends the process.
class KX_EXPORT RunLoopSourceEventPort : public RunLoopSource {
  public:
    /// The port is not owned.
    explicit RunLoopSourceEventPort(unsigned int port);
    explicit RunLoopSourceEventPort(const EventPort& port);

    static void initialize(const boost::shared_ptr<RunLoopSourceEventPort>& source);

    void scheduleWithRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int depth) override;
    void unscheduleFromRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int depth) override;
    virtual void callback() = 0;

    /// The platform's object, borrowed; null until initialize().
    CFMachPortRef getMachPort() const noexcept { return machPort_.get(); }

  protected:
    ~RunLoopSourceEventPort();

    unsigned int port_;
    CoreFoundation::MachPortRef machPort_;
    CoreFoundation::RunLoopSourceRef runLoopSource_;
};

/// Is called when a port has a message, once for each; the message itself is not handed on.
class KX_EXPORT RunLoopSourceMachPort : public RunLoopSource {
  public:
    /// The port is not owned.
    explicit RunLoopSourceMachPort(unsigned int port);
    explicit RunLoopSourceMachPort(const MachPort& port);

    static void initialize(const boost::shared_ptr<RunLoopSourceMachPort>& source);

    void scheduleWithRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int depth) override;
    void unscheduleFromRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int depth) override;
    virtual void callback() = 0;

    /// The platform's object, borrowed; null until initialize().
    CFMachPortRef getMachPort() const noexcept { return machPort_.get(); }

  protected:
    ~RunLoopSourceMachPort();

    unsigned int port_;
    CoreFoundation::MachPortRef machPort_;
    CoreFoundation::RunLoopSourceRef runLoopSource_;
};

/// Is called when a descriptor is ready for what is enabled. Nothing is enabled to begin with, and each call disables
/// what it was for: the derived class enables the platform's object (fileDescriptor_) for reading or writing.
class KX_EXPORT RunLoopSourceFileDescriptor : public RunLoopSource {
  public:
    /// The descriptor is not owned.
    explicit RunLoopSourceFileDescriptor(int fd);

    static void initialize(const boost::shared_ptr<RunLoopSourceFileDescriptor>& source);

    void scheduleWithRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int depth) override;
    void unscheduleFromRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int depth) override;
    virtual void callback() = 0;

    /// The platform's object, borrowed; null until initialize().
    CFFileDescriptorRef getFileDescriptor() const noexcept { return fileDescriptor_.get(); }

  protected:
    ~RunLoopSourceFileDescriptor();

    int fd_;
    CoreFoundation::FileDescriptorRef fileDescriptor_;
    CoreFoundation::RunLoopSourceRef runLoopSource_;
};

/// What the platform's objects hold in a source's place: counted by them, from any thread, and referring to the source
/// weakly.
template <class T>
class rl_bridge : public atomic_refcounted {
  public:
    static boost::intrusive_ptr<rl_bridge> make_bridge(const boost::shared_ptr<T>& source) {
        return boost::intrusive_ptr<rl_bridge>(new rl_bridge(source), false);
    }

    /// The source, kept alive by the caller; null when it is being or has been destroyed.
    boost::shared_ptr<T> lock() const noexcept { return source.lock(); }

  private:
    explicit rl_bridge(const boost::shared_ptr<T>& s) noexcept : source(s) {}

    boost::weak_ptr<T> source;
};

/// The retain and release functions of a platform context whose info is a bridge `B`.
template <class B>
const void* cf_retain_callback(const void* info) {
    intrusive_ptr_add_ref(static_cast<const B*>(info));
    return info;
}
template <class B>
void cf_release_callback(const void* info) {
    intrusive_ptr_release(static_cast<const B*>(info));
}

/// The same for a context that declares them without const.
template <class B>
void* cf_retain_callback(void* info) {
    intrusive_ptr_add_ref(static_cast<const B*>(info));
    return info;
}
template <class B>
void cf_release_callback(void* info) {
    intrusive_ptr_release(static_cast<const B*>(info));
}

namespace detail {
/// Logs the text of a CFException on its way out of a callback: nothing else says it when the process ends by it.
KX_EXPORT void LogEscapingException(const char* text) noexcept;
}  // namespace detail

/// What every platform callback does with its info: calls the source, if it still lives, and keeps it alive meanwhile.
/// The last pointer to the source may be the one given up here. An exception passes on; a CFException is logged first.
template <class T>
void call_bridged_source(const void* info) {
    // The bridge is not touched again: the source's end may be the bridge's.
    const boost::shared_ptr<T> source = static_cast<const rl_bridge<T>*>(info)->lock();
    if (!source) return;
    try {
        source->callback();
    } catch (const CoreFoundation::CFException& exception) {
        detail::LogEscapingException(exception.what());
        throw;
    }
}

/// A leaf source whose callback() runs a handler: an object with a callback() of its own, or one that can be called.
///
///     struct Refresh { void callback() { ... } };
///     auto source = boost::make_shared<bind_run_loop_source<RunLoopSourceTimer, Refresh>>(fireDate, interval);
///
/// A handler that has something of its own, as a lambda has its captures, is given to the constructor; see also
/// MakeRunLoopSource().
template <class Source, class Handler>
class bind_run_loop_source final : public Source {
  public:
    /// Takes what `Source` is made from; the handler is made without arguments.
    template <class... Args>
    requires(!std::is_same_v<std::remove_cvref_t<Args>, Handler> && ...) explicit bind_run_loop_source(Args&&... args)
        : Source(std::forward<Args>(args)...), handler() {}

    /// Takes the handler, and after it what `Source` is made from.
    template <class... Args>
    explicit bind_run_loop_source(Handler h, Args&&... args)
        : Source(std::forward<Args>(args)...), handler(std::move(h)) {}

    void callback() override {
        if constexpr (requires(Handler & h) { h.callback(); }) {
            handler.callback();
        } else {
            handler();
        }
    }

  private:
    [[no_unique_address]] Handler handler;
};

/// A leaf source that runs `handler`, made of `args` and initialized: ready to be scheduled. The handler lives as long
/// as the source. Throws what initialize() throws.
///
///     auto source = MakeRunLoopSource<RunLoopSourceTimer>([&] { tick(); }, CFAbsoluteTimeGetCurrent() + 1, 1.0);
///     source->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
template <class Source, class Handler, class... Args>
boost::shared_ptr<Source> MakeRunLoopSource(Handler handler, Args&&... args) {
    const boost::shared_ptr<Source> source =
        boost::make_shared<bind_run_loop_source<Source, Handler>>(std::move(handler), std::forward<Args>(args)...);
    Source::initialize(source);
    return source;
}

}  // namespace KXCore
