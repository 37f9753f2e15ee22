#include <KXCoreLib/ThreadUtils.h>

#include "Log.h"
#include "Notification.h"

#include <cerrno>

namespace KXCore {
namespace {

constexpr char kFile[] = "KXCoreLib/ThreadUtils";

struct ThreadTerminationHook {
    void callback() { CFRunLoopStop(CFRunLoopGetCurrent()); }
};

}  // namespace

// ---- The service

BackgroundThread::~BackgroundThread() = default;

void BackgroundThread::init(unsigned int port) {
    terminationPort = port;
    const auto source = boost::make_shared<bind_run_loop_source<RunLoopSourceEventPort, ThreadTerminationHook>>(port);
    RunLoopSourceEventPort::initialize(source);
    terminationSource = source;
    source->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopCommonModes, 0);
}

void BackgroundThread::stop() {
    // The port, not the source: init() may be making that at this moment. The port keeps the message until then.
    if (kx_send_notification_msg(terminationPort) != KERN_SUCCESS) FatalExit(kFile, 113);
}

void BackgroundThread::destroy() { delete this; }

// ---- Its thread

BackgroundThreadProxy::BackgroundThreadProxy(BackgroundThread* service, const char* threadName)
    : name(threadName), thread(service), port(MACH_PORT_NULL) {
    thread->terminationPort = port.getPort();
}

BackgroundThreadProxy::~BackgroundThreadProxy() { thread->destroy(); }

void BackgroundThreadProxy::startThread() {
    intrusive_ptr_add_ref(this);
    if (pthread_create(&handle, nullptr, threadProc, this) != 0) {
        intrusive_ptr_release(this);
        FatalExit(kFile, 42);
    }
}

void* BackgroundThreadProxy::threadProc(void* proxy) {
    const boost::intrusive_ptr<BackgroundThreadProxy> self(static_cast<BackgroundThreadProxy*>(proxy), false);
    pthread_setname_np(self->name.c_str());
    self->thread->init(self->port.getPort());
    self->thread->run();
    return nullptr;
}

void BackgroundThreadProxy::waitThread() {
    // A service that stops itself does not wait for itself.
    const int result = pthread_equal(pthread_self(), handle) ? pthread_detach(handle) : pthread_join(handle, nullptr);
    if (result != 0) FatalExit(kFile, 78);
}

// ---- The registry

namespace {

/// What `work` returns. `thread` has been taken over: where there is no memory to go on with, it is disposed of.
template <class Work>
decltype(auto) orDispose(BackgroundThread* thread, Work work) {
    try {
        return work();
    } catch (...) {
        thread->destroy();
        throw;
    }
}

}  // namespace

BackgroundThreadsManager::BackgroundThreadsManager() { threads.max_load_factor(1.0F); }

void BackgroundThreadsManager::startBackgroundThread(const char* name, BackgroundThread* thread) {
    const auto proxy = orDispose(thread, [&] {
        return boost::intrusive_ptr<BackgroundThreadProxy>(new BackgroundThreadProxy(thread, name), false);
    });
    for (;;) {
        {
            const boost::unique_lock<boost::mutex> guard(lock);
            key = name;
            if (threads.find(key) == threads.end()) {
                // Its place first: no memory for it, and there is no thread that nobody could stop. The lock hides the
                // order.
                threads.emplace(key, proxy);
                proxy->startThread();
                return;
            }
        }
        stopBackgroundThread(name);
    }
}

void BackgroundThreadsManager::stopBackgroundThread(const char* name) {
    std::vector<boost::intrusive_ptr<BackgroundThreadProxy>> found;
    {
        const boost::unique_lock<boost::mutex> guard(lock);
        key = name;
        const auto place = threads.find(key);
        if (place != threads.end()) {
            found.push_back(place->second);
            threads.erase(place);
        }
    }
    stopThreads(found);
}

void BackgroundThreadsManager::stopBackgroundThreads() {
    std::vector<boost::intrusive_ptr<BackgroundThreadProxy>> all;
    {
        const boost::unique_lock<boost::mutex> guard(lock);
        all.reserve(threads.size());
        for (const auto& [name, proxy] : threads) all.push_back(proxy);
        threads.clear();
    }
    stopThreads(all);
}

void BackgroundThreadsManager::stopThreads(const std::vector<boost::intrusive_ptr<BackgroundThreadProxy>>& proxies) {
    for (const auto& proxy : proxies) proxy->stopThread();
    for (const auto& proxy : proxies) proxy->waitThread();
}

template BackgroundThreadsManager& GetSingletonInstance<BackgroundThreadsManager, int>();

void StartBackgroundThread(const char* name, BackgroundThread* thread) {
    auto& manager = orDispose(thread, GetSingletonInstance<BackgroundThreadsManager, int>);
    manager.startBackgroundThread(name, thread);
}

void StopBackgroundThread(const char* name) {
    GetSingletonInstance<BackgroundThreadsManager, int>().stopBackgroundThread(name);
}

void StopBackgroundThreads() { GetSingletonInstance<BackgroundThreadsManager, int>().stopBackgroundThreads(); }

// ---- Events

BackgroundThreadEvent::~BackgroundThreadEvent() = default;

void BackgroundThreadEvent::signal() {
    // Changes nothing and yet writes: what this thread did before is seen by the waiter that takes the earlier signal.
    bool isSet = true;
    if (signalled.compare_exchange_strong(isSet, true)) return;
    pthread_mutex_lock(&mutex);
    const bool isFirst = !signalled.exchange(true);
    pthread_mutex_unlock(&mutex);
    if (isFirst) pthread_cond_signal(&condition);
}

unsigned BackgroundThreadEvent::wait(const timespec* deadline) {
    constexpr unsigned kTimedOut = 0xFFFF;
    int result = 0;
    pthread_mutex_lock(&mutex);
    if (!signalled.load()) {
        result =
            deadline ? pthread_cond_timedwait(&condition, &mutex, deadline) : pthread_cond_wait(&condition, &mutex);
    }
    const bool wasSignalled = signalled.exchange(false);
    pthread_mutex_unlock(&mutex);
    return !wasSignalled && result == ETIMEDOUT ? kTimedOut : 0;
}

}  // namespace KXCore

kern_return_t kx_allocate_notification_port(mach_port_t* port) {
    mach_port_t name = MACH_PORT_NULL;
    kern_return_t result = mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &name);
    if (result != KERN_SUCCESS) return result;
    result = KXCore::LimitToOneMessage(name);
    if (result != KERN_SUCCESS) {
        mach_port_deallocate(mach_task_self(), name);
        return result;
    }
    *port = name;
    return KERN_SUCCESS;
}

kern_return_t kx_send_notification_msg(mach_port_t port) {
    const kern_return_t result = KXCore::SendNotification(port);
    return result == MACH_SEND_TIMED_OUT ? MACH_MSG_SUCCESS : result;
}
