#include <KXCoreLib/RunLoop.h>

#include "Log.h"

namespace KXCore {

using CoreFoundation::FileDescriptorRef;
using CoreFoundation::MachPortRef;
using CoreFoundation::RunLoopSourceRef;
using CoreFoundation::RunLoopTimerRef;

namespace {

constexpr char kFile[] = "KXCoreLib/RunLoop";

void _TimerCallBack(CFRunLoopTimerRef, void* info) { call_bridged_source<RunLoopSourceTimer>(info); }
void _EventPortCallBack(CFMachPortRef, void*, CFIndex, void* info) {
    call_bridged_source<RunLoopSourceEventPort>(info);
}
void _MachPortCallBack(CFMachPortRef, void*, CFIndex, void* info) { call_bridged_source<RunLoopSourceMachPort>(info); }
void _FileDescriptorCallBack(CFFileDescriptorRef, CFOptionFlags, void* info) {
    call_bridged_source<RunLoopSourceFileDescriptor>(info);
}

/// The platform ignores the null object that it is handed then; without a log line nobody would find out why no event
/// comes.
void logUninitialized(const char* source) noexcept {
    LogLine("%s::scheduleWithRunLoop: the source was not initialized, nothing is scheduled\n", source);
}

/// A context that makes a platform object hold `bridge`.
template <class Context, class T>
Context contextOf(const boost::intrusive_ptr<rl_bridge<T>>& bridge) {
    Context context{};
    context.info = bridge.get();
    context.retain = cf_retain_callback<rl_bridge<T>>;
    context.release = cf_release_callback<rl_bridge<T>>;
    return context;
}

/// The platform's object for a port. Where there is one already it would never call the source: the process ends, at
/// `line`.
template <class T>
MachPortRef makeMachPort(const boost::shared_ptr<T>& source, mach_port_t port, CFMachPortCallBack callout, int line) {
    const auto bridge = rl_bridge<T>::make_bridge(source);
    auto context = contextOf<CFMachPortContext>(bridge);
    Boolean shouldFreeInfo = false;
    MachPortRef made = MachPortRef::createWithPort(kCFAllocatorDefault, port, callout, &context, &shouldFreeInfo);
    if (shouldFreeInfo) FatalExit(kFile, line);
    return made;
}

}  // namespace

void detail::LogEscapingException(const char* text) noexcept {
    LogLine("a CFException leaves a run-loop callback (%s)\n", text ? text : "");
}

// ---- Composites

void RunLoopSource::scheduleWithRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int depth) {
    struct Scheduler final : Enumerator {
        Scheduler(CFRunLoopRef r, CFStringRef m) : runLoop(r), mode(m) {}
        void enumerate(RunLoopSource* source) const override {
            if (source) source->scheduleWithRunLoop(runLoop, mode, 0);
        }
        const CFRunLoopRef runLoop;
        const CFStringRef mode;
    };
    enumerateSubComponents(Scheduler(runLoop, mode), depth);
}

void RunLoopSource::unscheduleFromRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int depth) {
    struct UnScheduler final : Enumerator {
        UnScheduler(CFRunLoopRef r, CFStringRef m) : runLoop(r), mode(m) {}
        void enumerate(RunLoopSource* source) const override {
            if (source) source->unscheduleFromRunLoop(runLoop, mode, 0);
        }
        const CFRunLoopRef runLoop;
        const CFStringRef mode;
    };
    enumerateSubComponents(UnScheduler(runLoop, mode), depth);
}

void RunLoopSource::enumerateSubComponents(const Enumerator&, int) {}

// ---- Timers

RunLoopSourceTimer::RunLoopSourceTimer(double fireDate, double interval) : fireDate_(fireDate), interval_(interval) {}

RunLoopSourceTimer::~RunLoopSourceTimer() {
    if (timer_) timer_.invalidate();
}

void RunLoopSourceTimer::initialize(const boost::shared_ptr<RunLoopSourceTimer>& source) {
    if (source->timer_) return;
    const auto bridge = rl_bridge<RunLoopSourceTimer>::make_bridge(source);
    auto context = contextOf<CFRunLoopTimerContext>(bridge);
    source->timer_ = RunLoopTimerRef::create(kCFAllocatorDefault, source->fireDate_, source->interval_, 0, 0,
                                             _TimerCallBack, &context);
}

void RunLoopSourceTimer::scheduleWithRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int) {
    if (!timer_) logUninitialized("RunLoopSourceTimer");
    CFRunLoopAddTimer(runLoop, timer_.get(), mode);
}

void RunLoopSourceTimer::unscheduleFromRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int) {
    CFRunLoopRemoveTimer(runLoop, timer_.get(), mode);
}

// ---- Event ports

RunLoopSourceEventPort::RunLoopSourceEventPort(unsigned int port) : port_(port) {}
RunLoopSourceEventPort::RunLoopSourceEventPort(const EventPort& port) : port_(port.getPort()) {}

RunLoopSourceEventPort::~RunLoopSourceEventPort() {
    if (machPort_) machPort_.invalidate();
}

void RunLoopSourceEventPort::initialize(const boost::shared_ptr<RunLoopSourceEventPort>& source) {
    if (source->machPort_) return;
    MachPortRef made = makeMachPort(source, source->port_, _EventPortCallBack, 179);
    source->runLoopSource_ = MachPortRef::createRunLoopSource(kCFAllocatorDefault, made.get(), 0);
    source->machPort_ = std::move(made);
}

void RunLoopSourceEventPort::scheduleWithRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int) {
    if (!runLoopSource_) logUninitialized("RunLoopSourceEventPort");
    CFRunLoopAddSource(runLoop, runLoopSource_.get(), mode);
}

void RunLoopSourceEventPort::unscheduleFromRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int) {
    CFRunLoopRemoveSource(runLoop, runLoopSource_.get(), mode);
}

// ---- Ports

RunLoopSourceMachPort::RunLoopSourceMachPort(unsigned int port) : port_(port) {}
RunLoopSourceMachPort::RunLoopSourceMachPort(const MachPort& port) : port_(port.getPort()) {}

RunLoopSourceMachPort::~RunLoopSourceMachPort() {
    if (machPort_) machPort_.invalidate();
}

void RunLoopSourceMachPort::initialize(const boost::shared_ptr<RunLoopSourceMachPort>& source) {
    if (source->machPort_) return;
    MachPortRef made = makeMachPort(source, source->port_, _MachPortCallBack, 261);
    source->runLoopSource_ = MachPortRef::createRunLoopSource(kCFAllocatorDefault, made.get(), 0);
    source->machPort_ = std::move(made);
}

void RunLoopSourceMachPort::scheduleWithRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int) {
    if (!runLoopSource_) logUninitialized("RunLoopSourceMachPort");
    CFRunLoopAddSource(runLoop, runLoopSource_.get(), mode);
}

void RunLoopSourceMachPort::unscheduleFromRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int) {
    CFRunLoopRemoveSource(runLoop, runLoopSource_.get(), mode);
}

// ---- Descriptors

RunLoopSourceFileDescriptor::RunLoopSourceFileDescriptor(int fd) : fd_(fd) {}

RunLoopSourceFileDescriptor::~RunLoopSourceFileDescriptor() {
    if (!fileDescriptor_) return;
    runLoopSource_.invalidate();
    fileDescriptor_.invalidate();
}

void RunLoopSourceFileDescriptor::initialize(const boost::shared_ptr<RunLoopSourceFileDescriptor>& source) {
    if (source->fileDescriptor_) return;
    const auto bridge = rl_bridge<RunLoopSourceFileDescriptor>::make_bridge(source);
    const auto context = contextOf<CFFileDescriptorContext>(bridge);
    FileDescriptorRef made =
        FileDescriptorRef::create(kCFAllocatorDefault, source->fd_, false, _FileDescriptorCallBack, &context);
    source->runLoopSource_ = FileDescriptorRef::createRunLoopSource(kCFAllocatorDefault, made.get(), 0);
    source->fileDescriptor_ = std::move(made);
}

void RunLoopSourceFileDescriptor::scheduleWithRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int) {
    if (!runLoopSource_) logUninitialized("RunLoopSourceFileDescriptor");
    CFRunLoopAddSource(runLoop, runLoopSource_.get(), mode);
}

void RunLoopSourceFileDescriptor::unscheduleFromRunLoop(CFRunLoopRef runLoop, CFStringRef mode, int) {
    CFRunLoopRemoveSource(runLoop, runLoopSource_.get(), mode);
}

}  // namespace KXCore
