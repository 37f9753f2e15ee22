#include <KXCoreLib/CoreFoundationWrappers.h>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace KXCore::CoreFoundation;

namespace {

CFRunLoopSourceContext sourceContext() {
    CFRunLoopSourceContext context{};
    context.perform = [](void*) {};
    return context;
}

RunLoopSourceRef newSource(CFIndex order = 0) {
    CFRunLoopSourceContext context = sourceContext();
    return RunLoopSourceRef::create(kCFAllocatorDefault, order, &context);
}

RunLoopTimerRef newTimer(CFAbsoluteTime date, CFTimeInterval interval) {
    return RunLoopTimerRef::create(
        kCFAllocatorDefault, date, interval, 0, 3, [](CFRunLoopTimerRef, void*) {}, nullptr);
}

RunLoopObserverRef newObserver() {
    return RunLoopObserverRef::create(
        kCFAllocatorDefault, kCFRunLoopEntry, false, 4, [](CFRunLoopObserverRef, CFRunLoopActivity, void*) {}, nullptr);
}

void take(CFMachPortRef, void*, CFIndex, void*) {}
void end(CFMachPortRef, void*) {}

template <class Ref>
void checkAssign(const Ref& sample) {
    EXPECT_EQ(Ref::typeID, Ref::getTypeID());
    EXPECT_EQ(CFGetTypeID(sample.get()), Ref::typeID);
    Ref ref;
    ref.assign(sample.get());
    EXPECT_EQ(ref.get(), sample.get());
    testing::internal::CaptureStderr();
    try {
        ref.assign(CFSTR("a string"));
        ADD_FAILURE() << "assigned a string";
    } catch (const CFException& exception) {
        EXPECT_STREQ(exception.what(), "unexpected pointer type");
    }
    EXPECT_NE(testing::internal::GetCapturedStderr().find(std::string("]expected ") + Ref::typeName + "\n"),
              std::string::npos);
    EXPECT_EQ(ref.get(), sample.get());
}

/// What a failed creation says.
template <class Create>
std::string failureOf(Create create) {
    testing::internal::CaptureStderr();
    try {
        create();
        ADD_FAILURE() << "nothing was thrown";
    } catch (const CFException& exception) {
        EXPECT_STREQ(exception.what(), "failed to create object");
    }
    const std::string line = testing::internal::GetCapturedStderr();
    return line.substr(line.find(']') + 1);
}

}  // namespace

TEST(RunLoopWrappers, KnowTheirTypes) {
    checkAssign(RunLoopRef::getCurrent());
    checkAssign(newSource());
    checkAssign(newTimer(0, 0));
    checkAssign(newObserver());
    checkAssign(MachPortRef::create(kCFAllocatorDefault, take, nullptr, nullptr));
    checkAssign(FileDescriptorRef::create(kCFAllocatorDefault, 0, false, nullptr, nullptr));
}

TEST(RunLoopWrappers, CreatorsThrowWhenThePlatformMakesNothing) {
    EXPECT_EQ(failureOf([] { RunLoopSourceRef::create(nullptr, 0, nullptr); }),
              "failed to create object: CFRunLoopSourceCreate\n");
    CFRunLoopTimerContext timer{};
    timer.version = 9;
    EXPECT_EQ(failureOf([&] { RunLoopTimerRef::create(nullptr, 0, 0, 0, 0, nullptr, &timer); }),
              "failed to create object: CFRunLoopTimerCreate\n");
    CFRunLoopObserverContext observer{};
    observer.version = 9;
    EXPECT_EQ(failureOf([&] { RunLoopObserverRef::create(nullptr, 0, false, 0, nullptr, &observer); }),
              "failed to create object: CFRunLoopObserverCreate\n");
    CFMachPortContext port{};
    port.version = 9;
    EXPECT_EQ(failureOf([&] { MachPortRef::create(nullptr, take, &port, nullptr); }),
              "failed to create object: CFMachPortCreate\n");
    EXPECT_EQ(failureOf([] { MachPortRef::createWithPort(nullptr, 0, take, nullptr, nullptr); }),
              "failed to create object: CFMachPortCreateWithPort\n");
    EXPECT_EQ(failureOf([] { MachPortRef::createRunLoopSource(nullptr, nullptr, 0); }),
              "failed to create object: CFMachPortCreateRunLoopSource\n");
    EXPECT_EQ(failureOf([] { FileDescriptorRef::create(nullptr, -1, false, nullptr, nullptr); }),
              "failed to create object: CFFileDescriptorCreate\n");
    EXPECT_EQ(failureOf([] { FileDescriptorRef::createRunLoopSource(nullptr, nullptr, 0); }),
              "failed to create object: CFFileDescriptorCreateRunLoopSource\n");
    EXPECT_EQ(failureOf([] { RunLoopRef::getCurrent().copyCurrentMode(); }),
              "failed to create object: CFRunLoopCopyCurrentMode\n");
}

TEST(RunLoopWrappers, ALoopHoldsRunsAndStops) {
    const RunLoopRef loop = RunLoopRef::getCurrent();
    EXPECT_EQ(loop, RunLoopRef::getMain());
    const CFStringRef mode = kCFRunLoopDefaultMode;
    const RunLoopSourceRef source = newSource();
    const RunLoopTimerRef timer = newTimer(1e10, 0);
    const RunLoopObserverRef observer = newObserver();
    loop.addSource(source.get(), mode);
    loop.addTimer(timer.get(), mode);
    loop.addObserver(observer.get(), mode);
    EXPECT_TRUE(loop.containsSource(source.get(), mode));
    EXPECT_TRUE(loop.containsTimer(timer.get(), mode));
    EXPECT_TRUE(loop.containsObserver(observer.get(), mode));
    EXPECT_EQ(loop.getNextTimerFireDate(mode), 1e10);
    loop.addCommonMode(CFSTR("common"));
    EXPECT_EQ(loop.copyAllModes().getCount(), 2);
    source.signal();
    loop.wakeUp();
    EXPECT_FALSE(loop.isWaiting());
    EXPECT_EQ(RunLoopRef::runInMode(mode, 60, true), kCFRunLoopRunHandledSource);
    EXPECT_FALSE(observer.isValid());
    loop.removeSource(source.get(), mode);
    loop.removeTimer(timer.get(), mode);
    loop.addObserver(newObserver().get(), mode);
    loop.removeObserver(observer.get(), mode);
    EXPECT_FALSE(loop.containsSource(source.get(), mode));
    EXPECT_FALSE(loop.containsTimer(timer.get(), mode));
    RunLoopRef::run();  // nothing is left to wait for
    loop.stop();
}

TEST(RunLoopWrappers, ARunningLoopTellsItsMode) {
    CFRunLoopSourceContext context{};
    context.perform = [](void*) {
        EXPECT_EQ(RunLoopRef::getCurrent().copyCurrentMode().copyStdString(), "a mode");
        RunLoopRef::getCurrent().stop();
    };
    const RunLoopSourceRef source = RunLoopSourceRef::create(kCFAllocatorDefault, 0, &context);
    RunLoopRef::getCurrent().addSource(source.get(), CFSTR("a mode"));
    source.signal();
    EXPECT_EQ(RunLoopRef::runInMode(CFSTR("a mode"), 60, false), kCFRunLoopRunStopped);
    source.invalidate();
}

TEST(RunLoopWrappers, ItemsTellWhatTheyAre) {
    const RunLoopSourceRef source = newSource(2);
    EXPECT_EQ(source.getOrder(), 2);
    CFRunLoopSourceContext sourceInfo{};
    source.getContext(&sourceInfo);
    EXPECT_EQ(sourceInfo.version, 0);
    EXPECT_NE(sourceInfo.perform, nullptr);
    EXPECT_TRUE(source.isValid());
    source.invalidate();
    EXPECT_FALSE(source.isValid());

    const RunLoopTimerRef timer = newTimer(100, 5);
    EXPECT_EQ(timer.getNextFireDate(), 100);
    timer.setNextFireDate(200);
    EXPECT_EQ(timer.getNextFireDate(), 200);
    EXPECT_EQ(timer.getInterval(), 5);
    EXPECT_TRUE(timer.doesRepeat());
    EXPECT_EQ(timer.getOrder(), 3);
    timer.setTolerance(0.5);
    EXPECT_EQ(timer.getTolerance(), 0.5);
    CFRunLoopTimerContext timerInfo{};
    timer.getContext(&timerInfo);
    EXPECT_EQ(timerInfo.info, nullptr);
    timer.invalidate();
    EXPECT_FALSE(timer.isValid());

    const RunLoopObserverRef observer = newObserver();
    EXPECT_EQ(observer.getActivities(), CFOptionFlags{kCFRunLoopEntry});
    EXPECT_FALSE(observer.doesRepeat());
    EXPECT_EQ(observer.getOrder(), 4);
    CFRunLoopObserverContext observerInfo{};
    observer.getContext(&observerInfo);
    observer.invalidate();
    EXPECT_FALSE(observer.isValid());
}

TEST(RunLoopWrappers, PortsAndDescriptorsTellWhatTheyAre) {
    Boolean shouldFreeInfo = true;
    const MachPortRef port = MachPortRef::create(kCFAllocatorDefault, take, nullptr, &shouldFreeInfo);
    EXPECT_FALSE(shouldFreeInfo);
    EXPECT_NE(port.getPort(), 0u);
    EXPECT_EQ(MachPortRef::createWithPort(kCFAllocatorDefault, port.getPort(), take, nullptr, &shouldFreeInfo), port);
    EXPECT_TRUE(shouldFreeInfo);
    port.setInvalidationCallBack(end);
    EXPECT_EQ(port.getInvalidationCallBack(), end);
    const RunLoopSourceRef source = MachPortRef::createRunLoopSource(kCFAllocatorDefault, port.get(), 0);
    EXPECT_EQ(port.createRunLoopSource(kCFAllocatorDefault, 0), source);
    CFMachPortContext portInfo{};
    port.getContext(&portInfo);
    port.invalidate();
    EXPECT_FALSE(port.isValid());
    EXPECT_FALSE(source.isValid());

    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const FileDescriptorRef descriptor =
        FileDescriptorRef::create(kCFAllocatorDefault, ends[1], true, nullptr, nullptr);
    EXPECT_EQ(descriptor.getNativeDescriptor(), ends[1]);
    const RunLoopSourceRef watched = FileDescriptorRef::createRunLoopSource(kCFAllocatorDefault, descriptor.get(), 0);
    EXPECT_EQ(descriptor.createRunLoopSource(kCFAllocatorDefault, 0), watched);
    descriptor.enableCallBacks(kCFFileDescriptorWriteCallBack);
    descriptor.disableCallBacks(kCFFileDescriptorWriteCallBack);
    CFFileDescriptorContext descriptorInfo{};
    descriptor.getContext(&descriptorInfo);
    EXPECT_TRUE(descriptor.isValid());
    descriptor.invalidate();
    EXPECT_FALSE(watched.isValid());
    char byte;
    EXPECT_EQ(::read(ends[0], &byte, 1), 0);  // the other end has been closed
    ::close(ends[0]);
}
