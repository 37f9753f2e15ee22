#pragma once

/// Services on threads of their own, each with a name and a run loop.
///
/// A service derives from BackgroundThread. StartBackgroundThread gives it a thread under a name; a thread that has the
/// name already is stopped first. Stopping is a message: a notification to the thread's event port stops its run loop,
/// run() returns, and the stopper joins the thread, for as long as that takes.
///
/// Who owns what: a service that has been started belongs to the registry, which disposes of it by destroy() once its
/// thread has ended and nobody else refers to it.
///
/// Threads: the functions may be called from any thread at any time, right after a start too: a thread that is stopped
/// before it has begun runs init() and run(), and is stopped as soon as it runs its loop. A service may stop itself,
/// and is then detached, not joined.
///
/// Nested runs: a stop ends the inner run only. Where a callback runs the loop again, in a common mode, it is that run
/// which ends; the outer run goes on and the stopper waits. A run that ends as kCFRunLoopRunStopped says so: the
/// callback passes the stop on with CFRunLoopStop(CFRunLoopGetCurrent()).
///
/// When the system refuses a thread, a port, a join or the message of a stop, the process ends with a line in the log.
/// When there is no memory for anything else, std::bad_alloc passes on: a start has then disposed of the service, and a
/// stop has stopped nothing.

#include <KXCoreLib/Atomic.h>
#include <KXCoreLib/Export.h>
#include <KXCoreLib/MachPort.h>
#include <KXCoreLib/RunLoop.h>
#include <KXCoreLib/Singleton.h>

#include <boost/core/noncopyable.hpp>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <boost/thread/mutex.hpp>

#include <atomic>
#include <string>
#include <unordered_map>
#include <vector>

#include <pthread.h>
#include <time.h>

namespace KXCore {

/// A service with a thread.
class KX_EXPORT BackgroundThread : private boost::noncopyable {
  public:
    BackgroundThread() = default;
    virtual ~BackgroundThread();

    /// On the new thread, before run(): makes the source by which `port` stops the thread's run loop, and schedules it
    /// in the common modes. `port` is not owned. An override calls this one with the port that it was given.
    virtual void init(unsigned int port);

    /// On the new thread: what the service does, which is to run the current run loop until it is stopped. The thread
    /// ends when this returns; it stays registered until it is stopped.
    virtual void run() = 0;

    /// Asks the thread to stop, and does not wait. Any thread, any number of times, once the service has been started.
    /// Ends the process when there is no port to ask by: the service was never started, or its port has died.
    virtual void stop();

    /// Called when the last reference to the thread has gone, on whichever thread that was: deletes the object. An
    /// object that is not on the heap overrides it.
    virtual void destroy();

  private:
    friend class BackgroundThreadProxy;

    boost::shared_ptr<RunLoopSourceEventPort> terminationSource;  // of the thread itself: made and used there only
    std::atomic<mach_port_t> terminationPort{MACH_PORT_NULL};     // set by the proxy, before there is a thread
};

/// One system thread with its service: started, run and joined through this.
class KX_EXPORT BackgroundThreadProxy : public atomic_refcounted {
  public:
    /// Takes over `thread`.
    BackgroundThreadProxy(BackgroundThread* thread, const char* name);
    ~BackgroundThreadProxy() override;

    /// Starts the thread, which holds a reference to this object until it ends.
    void startThread();

    /// The thread: names itself, then init() and run() of the service. `proxy` comes with a reference, which is given
    /// up at the end, also when the service throws; the exception passes on.
    static void* threadProc(void* proxy);

    /// Asks the service to stop.
    void stopThread() { thread->stop(); }

    /// Joins the thread, or detaches it when it is the calling one. Once.
    void waitThread();

  private:
    pthread_t handle{};
    std::string name;
    BackgroundThread* thread;
    EventPort port;
};

/// The registry of running services by their names.
class KX_EXPORT BackgroundThreadsManager : private boost::noncopyable {
  public:
    BackgroundThreadsManager();

    void startBackgroundThread(const char* name, BackgroundThread* thread);
    void stopBackgroundThread(const char* name);
    void stopBackgroundThreads();

    /// Stops all, then waits for all, so that they wind down side by side.
    static void stopThreads(const std::vector<boost::intrusive_ptr<BackgroundThreadProxy>>& proxies);

  private:
    boost::mutex lock;  // of the two below; never held while a thread is stopped or joined
    std::unordered_map<std::string, boost::intrusive_ptr<BackgroundThreadProxy>> threads;
    std::string key;
};

extern template KX_EXPORT BackgroundThreadsManager& GetSingletonInstance<BackgroundThreadsManager, int>();

/// Starts `thread`, which belongs to the registry from now on, under `name`. A thread of that name is stopped and
/// joined before. The system shows as much of the name as it keeps.
KX_EXPORT void StartBackgroundThread(const char* name, BackgroundThread* thread);

/// Stops the thread of that name and waits for its end; does nothing when there is none.
KX_EXPORT void StopBackgroundThread(const char* name);

/// Stops every registered thread and waits for all of them.
KX_EXPORT void StopBackgroundThreads();

/// An event that is reset by the one waiter it wakes.
class KX_EXPORT BackgroundThreadEvent {
  public:
    BackgroundThreadEvent() = default;
    BackgroundThreadEvent(const BackgroundThreadEvent&) = delete;
    BackgroundThreadEvent& operator=(const BackgroundThreadEvent&) = delete;
    /// Leaves the condition and the mutex as they are: the thread that signalled last may still be inside.
    virtual ~BackgroundThreadEvent();

    /// Sets the event and wakes one waiter. Signals until somebody waits are one.
    void signal();

    /// Waits until the event is set or `deadline` (a date of CLOCK_REALTIME; null: none) has passed, and resets it.
    /// 0, or 65535 when the deadline passed first. A waiter may also be woken for nothing: then the result is 0 too,
    /// and the event is not reset. So check what the event stands for.
    unsigned wait(const timespec* deadline);

  private:
    std::atomic<bool> signalled{false};
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
};

}  // namespace KXCore
