// The order of locks is the one that docs/architecture.md tells: what threads do with the libraries is recorded, and
// compared with its table.

#include "LockRecorder.h"
#include "Platform/SystemConfiguration/StoreTesting.h"

#include <KXCoreLib/AccountInfo.h>
#include <KXCoreLib/CoreFoundationWrappers.h>
#include <KXCoreLib/StreamStorage.h>
#include <KXCoreLib/SystemInfo.h>
#include <KXCoreLib/ThreadUtils.h>

#include <CoreFoundation/CFFileDescriptor.h>
#include <CoreFoundation/CFMachPort.h>
#include <CoreFoundation/CFSocket.h>
#include <CoreFoundation/CFUUID.h>

#include <gtest/gtest.h>

#include <mutex>
#include <optional>
#include <sstream>

#include <sys/socket.h>

using namespace KXCore;
using namespace lock_order;
using namespace StoreTesting;

namespace {

// ---- The table

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" `");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" `") - first + 1);
}

std::vector<std::string> split(const std::string& text, char by) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, by);) parts.push_back(trimmed(part));
    return parts;
}

/// The rows of the tables of locks, from a page: each with the mutex, what it guards, what is locked under it.
Pairs documentedPairs() {
    std::ifstream page(KX_SOURCE_DIR "/docs/architecture.md");
    Pairs pairs;
    bool isThere = false;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with("## ")) isThere = line == "## Locks";
        if (!isThere || !line.starts_with("| `")) continue;
        const std::vector<std::string> columns = split(line, '|');  // the first is empty
        for (const std::string& locked : split(columns.at(3), ',')) {
            if (locked != "nothing") pairs.emplace(columns.at(1), locked);
        }
    }
    return pairs;
}

// ---- What is done

void run(double seconds = 0) { CFRunLoopRunInMode(kCFRunLoopDefaultMode, seconds, true); }

struct Service final : BackgroundThread {
    void run() override { CFRunLoopRun(); }
};

Holder<CFMachPortRef> machPort() { return hold(CFMachPortCreate(nullptr, nullptr, nullptr, nullptr)); }

Holder<CFRunLoopTimerRef> timer(double after, double interval) {
    return hold(CFRunLoopTimerCreate(
        nullptr, CFAbsoluteTimeGetCurrent() + after, interval, 0, 0, [](CFRunLoopTimerRef, void*) {}, nullptr));
}

Holder<CFRunLoopSourceRef> signalSource() {
    CFRunLoopSourceContext context{};
    context.perform = [](void*) {};
    return hold(CFRunLoopSourceCreate(nullptr, 0, &context));
}

Holder<CFRunLoopObserverRef> observer() {
    return hold(CFRunLoopObserverCreate(
        nullptr, kCFRunLoopAllActivities, true, 0, [](CFRunLoopObserverRef, CFRunLoopActivity, void*) {}, nullptr));
}

/// Receives nothing, which locks the port.
void look(mach_port_t port) {
    mach_msg_header_t header{};
    mach_msg(&header, MACH_RCV_MSG | MACH_RCV_TIMEOUT, 0, sizeof header, port, 0, MACH_PORT_NULL);
}

/// Two ports beside each other tell where the others are.
void namePorts() {
    constexpr std::uint32_t kInARow = 256;
    mach_port_t first = MACH_PORT_NULL, second = MACH_PORT_NULL;
    mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &first);
    mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &second);
    const auto* const a = static_cast<const std::byte*>(nameLocked("port", [&] { look(first); }));
    const auto* const b = static_cast<const std::byte*>(nameLocked("port", [&] { look(second); }));
    const std::size_t size = static_cast<std::size_t>(b - a);
    nameRange(a - (first % kInARow) * size, kInARow * size, "port");
    mach_port_t third = MACH_PORT_NULL;
    nameLocked("port table", [&] { mach_port_allocate(mach_task_self(), MACH_PORT_RIGHT_RECEIVE, &third); });
}

/// What locks, and the objects whose mutexes have names, which stay.
struct Program {
    TestStore store;
    Session* session = nullptr;
    boost::shared_ptr<RunLoopSourceSCDynamicStore> updater;
    StreamStorage* stream = nullptr;
    StreamStorage* damaged = nullptr;
    BackgroundThreadEvent event;
    TemporaryFolder folder;

    void nameLoops() {
        nameLocked("main run loop", [] { CFRunLoopGetMain(); });
        const CFRunLoopRef loop = CFRunLoopGetMain();
        nameMemberLocked("run loop", loop, [&] { CFRunLoopStop(loop); });
        static const auto items = std::make_tuple(signalSource(), timer(1e6, 0), observer(), machPort());
        nameMemberLocked("source", std::get<0>(items).get(), [] { CFRunLoopSourceIsValid(std::get<0>(items)); });
        nameMemberLocked("timer", std::get<1>(items).get(), [] { CFRunLoopTimerIsValid(std::get<1>(items)); });
        nameMemberLocked("observer", std::get<2>(items).get(), [] { CFRunLoopObserverIsValid(std::get<2>(items)); });
        nameMemberLocked("CFMachPort", std::get<3>(items).get(), [] { CFMachPortIsValid(std::get<3>(items)); });
        nameLocked("CFMachPort registry", [] { machPort(); });
        static const auto descriptor = hold(CFFileDescriptorCreate(nullptr, 0, false, nullptr, nullptr));
        nameMemberLocked("CFFileDescriptor", descriptor.get(), [] { CFFileDescriptorIsValid(descriptor); });
        static std::optional<Held::Holder<CFSocketRef>> socket;
        nameLocked("CFSocket table", [] { socket = hold(CFSocketCreate(nullptr, 0, 0, 0, 0, nullptr, nullptr)); });
        nameMemberLocked("CFSocket", socket->get(), [] { CFSocketIsValid(*socket); });
        CFRunLoopAddTimer(loop, std::get<1>(items), kCFRunLoopDefaultMode);
        nameBehindWordLocked("ready list", kCFRunLoopDefaultMode, [] { run(); });
    }

    void nameStore() {
        nameLocked("string constants", [] { __CFStringMakeConstantString("A text that nothing else names."); });
        nameLocked("UUID constants", [] {
            CFUUIDGetConstantUUIDWithBytes(nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
        });
        nameLocked("type table", [] { SCDynamicStoreGetTypeID(); });
        nameLocked("store", [&] { session = new Session; });
        nameLocked("store writer", [&] { session->setText("a", "b"); });
        nameLocked("store outlet", [&] { session->watch({"a"}); });
    }

    void nameServices() {
        nameRange(&GetSingletonInstance<BackgroundThreadsManager, int>(), sizeof(BackgroundThreadsManager),
                  "BackgroundThreadsManager");
        nameRange(&GetSingletonInstance<SystemInfo, int>(), sizeof(SystemInfo), "SystemInfo");
        nameRange(&event, sizeof event, "BackgroundThreadEvent");
        nameLocked("RunLoopSourceSCDynamicStore", [&] { updater = GetSystemInfoUpdater(); });
        nameLocked("store outlet",
                   [&] { updater->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0); });
        nameLocked("AccountInfoCache", [] { AccountInfo::get(GetUserUUID(0)); });
        stream = new StreamStorage((folder / "stream").c_str(), FileAttributes());
        nameLocked("StreamStorage", [&] { stream->getFirstItemID(); });
        damaged = new StreamStorage(folder.write("damaged", "no stream, " + std::string(4096, 'x')).c_str(),
                                    FileAttributes());
        nameLocked("StreamStorage", [&] { damaged->getFirstItemID(); });
        nameLocked("log", [&] { damaged->openStorage(StreamModeReadWrite); });
    }

    void name() {
        namePorts();
        nameLoops();
        nameStore();
        nameServices();
    }

    void followNames() {
        for (const std::string name : {"ONE", "TWO"}) {
            session->setEntry("State:/Network/NetBIOS", "RegisteredName", name);
            EXPECT_TRUE(Session::runUntil([&] { return GetSystemNetBiosName()->getName() == name; }));
            AccountInfo::get(GetUserUUID(0));
            updater->copyCache();
        }
        session->remove("State:/Network/NetBIOS");
        // A name that changes outside of the store, and a value that hides the one before.
        session->remove("Setup:/System");
        store.setPrettyName("Three");
        Session other;
        EXPECT_TRUE(Session::runUntil([&] { return other.read("Setup:/System", "ComputerName") == "Three"; }));
        session->list(".*");
    }

    void changeStore() {
        Session other;
        nameLocked("store outlet", [&] { other.watch({"a"}, {"b.*"}); });
        std::thread writer([] {
            Session third;
            for (int i = 0; i < 20; ++i) third.setText("b", std::to_string(i));
            third.setText("a", "last");
        });
        EXPECT_TRUE(other.hears("a"));
        writer.join();
        other.stop();
    }

    void runThreads() {
        for (int i = 0; i < 3; ++i) {
            StartBackgroundThread("first", new Service);
            StartBackgroundThread("second", new Service);
            StartBackgroundThread("first", new Service);
            StopBackgroundThread("first");
            StopBackgroundThreads();
        }
        std::thread signaller([&] { event.signal(); });
        event.wait(nullptr);
        signaller.join();
    }

    void useStream() {
        stream->openStorage(StreamModeReadWrite);
        std::thread other([&] {
            for (int i = 0; i < 20; ++i) {
                stream->openStorage(StreamModeReadWrite);
                stream->syncStorage();
            }
        });
        for (int i = 0; i < 50; ++i) stream->appendItem(CFSTR("item"), 0);
        other.join();
        stream->appendItem(CFSTR("last"), 0);
        const std::unique_ptr<StreamCursor> cursor(
            stream->createStreamCursor(StreamCursorForward, stream->getFirstItemID(), nullptr));
        CoreFoundation::PropertyListRef item;
        while (cursor->getNextItem(nullptr, item) != 0) {
        }
        stream->discardItemsWithIDLessThanOrEqualTo(1);
        stream->closeStorage();
        // Opened again over a file that has become none meanwhile: repaired, which the log tells, in the old one's
        // place.
        folder.write("damaged", std::string(4096, 'x'));
        damaged->openStorage(StreamModeReadWrite);
    }

    /// Items come to a loop and leave it while it runs.
    void useItems(CFRunLoopRef loop) {
        for (int i = 0; i < 20; ++i) {
            const auto source = signalSource();
            const auto once = timer(0, 0);
            const auto often = timer(0, 0.001);
            const auto watcher = observer();
            const auto port = machPort();
            const auto portSource = hold(CFMachPortCreateRunLoopSource(nullptr, port, 0));
            int ends[2];
            ASSERT_EQ(pipe(ends), 0);
            const auto descriptor = hold(CFFileDescriptorCreate(
                nullptr, ends[0], true,
                [](CFFileDescriptorRef f, CFOptionFlags types, void*) { CFFileDescriptorEnableCallBacks(f, types); },
                nullptr));
            const auto descriptorSource = hold(CFFileDescriptorCreateRunLoopSource(nullptr, descriptor, 0));
            CFFileDescriptorEnableCallBacks(descriptor, kCFFileDescriptorReadCallBack);
            const auto socket =
                hold(CFSocketCreate(nullptr, 0, SOCK_DGRAM, 0, kCFSocketWriteCallBack, nullptr, nullptr));
            const auto socketSource = hold(CFSocketCreateRunLoopSource(nullptr, socket, 0));
            CFRunLoopAddSource(loop, socketSource, kCFRunLoopDefaultMode);
            kx_send_notification_msg(CFMachPortGetPort(port));  // waits when the source comes
            CFRunLoopAddSource(loop, source, kCFRunLoopCommonModes);
            CFRunLoopAddSource(loop, portSource, kCFRunLoopDefaultMode);
            CFRunLoopAddSource(loop, descriptorSource, kCFRunLoopDefaultMode);
            CFRunLoopAddObserver(loop, watcher, kCFRunLoopDefaultMode);
            CFRunLoopAddTimer(loop, once, kCFRunLoopDefaultMode);
            CFRunLoopAddTimer(loop, often, kCFRunLoopCommonModes);
            CFRunLoopSourceSignal(source);
            kx_send_notification_msg(CFMachPortGetPort(port));
            EXPECT_EQ(write(ends[1], "x", 1), 1);
            CFRunLoopWakeUp(loop);
            if (loop == CFRunLoopGetCurrent()) run(0.01);
            CFRunLoopTimerSetNextFireDate(often, CFAbsoluteTimeGetCurrent() + 1000);
            CFRunLoopTimerSetTolerance(often, 1);
            CFRunLoopGetNextTimerFireDate(loop, kCFRunLoopDefaultMode);
            CFRunLoopContainsSource(loop, source, kCFRunLoopDefaultMode);
            CFFileDescriptorDisableCallBacks(descriptor, kCFFileDescriptorReadCallBack);
            CFRunLoopRemoveTimer(loop, often, kCFRunLoopCommonModes);
            CFRunLoopRemoveObserver(loop, watcher, kCFRunLoopDefaultMode);
            CFRunLoopSourceInvalidate(source);
            if (i % 2) CFRunLoopSourceInvalidate(portSource);
            CFMachPortInvalidate(port);
            CFFileDescriptorInvalidate(descriptor);
            CFSocketInvalidate(socket);
            CFRunLoopTimerInvalidate(often);
            CFRunLoopTimerInvalidate(once);
            CFRunLoopObserverInvalidate(watcher);
            close(ends[1]);
        }
    }

    void runLoops() {
        useItems(CFRunLoopGetCurrent());
        std::atomic<CFRunLoopRef> loop{nullptr};
        const auto stop = signalSource();
        std::thread runner([&] {
            CFRunLoopAddSource(CFRunLoopGetCurrent(), stop, kCFRunLoopDefaultMode);
            loop = CFRunLoopGetCurrent();
            CFRunLoopRun();
        });
        while (!loop) std::this_thread::yield();
        const auto held = hold(static_cast<CFRunLoopRef>(const_cast<void*>(CFRetain(loop))));
        useItems(held);
        CFRunLoopSourceInvalidate(stop);  // the last that the loop runs for; only a pass of the loop notices
        CFRunLoopWakeUp(held);
        runner.join();
    }
};

std::string list(const Pairs& pairs) {
    std::string told;
    for (const auto& [held, locked] : pairs) told += "\n    " + held + " -> " + locked;
    return told;
}

Pairs without(const Pairs& some, const Pairs& others) {
    Pairs left;
    std::set_difference(some.begin(), some.end(), others.begin(), others.end(), std::inserter(left, left.end()));
    return left;
}

}  // namespace

TEST(LockOrder, OfTheDocumentHasNoCycle) {
    ASSERT_FALSE(documentedPairs().empty());
    EXPECT_EQ(findCycle(documentedPairs()), "");
}

TEST(LockOrder, IsTheDocumentedOne) {
    auto& program = *new Program;  // its mutexes keep their names until the process ends
    program.name();
    forgetPairs();  // of mutexes that had no name yet
    program.followNames();
    program.changeStore();
    program.runThreads();
    program.useStream();
    program.runLoops();
    // The session's own source and the updater's leave the loop, and the watch ends with the session.
    program.session->stop();
    program.updater->unscheduleFromRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);

    const Pairs recorded = recordedPairs();
    EXPECT_EQ(findCycle(recorded), "") << "Threads that do both at once wait for each other for ever.";
    EXPECT_EQ(list(without(recorded, documentedPairs())), "") << "The document does not tell of these.";
    // A client's dispatch finds news for other sessions, and names to be shown again, only by chance.
    Pairs unseen = without(documentedPairs(), recorded);
    for (const char* const locked : {"store writer", "store outlet", "source"}) {
        unseen.erase({"RunLoopSourceSCDynamicStore", locked});
    }
    EXPECT_EQ(list(unseen), "") << "The document tells of these, which do not happen.";
}

TEST(LockOrder, TellsOfTwoThatAreLockedInBothOrders) {
    static std::mutex first, second, third;
    nameRange(&first, sizeof first, "first");
    nameRange(&second, sizeof second, "second");
    nameRange(&third, sizeof third, "third");
    forgetPairs();
    {
        const std::lock_guard outer(first);
        const std::lock_guard middle(second);
        const std::lock_guard inner(third);
    }
    EXPECT_EQ(recordedPairs(), (Pairs{{"first", "second"}, {"first", "third"}, {"second", "third"}}));
    EXPECT_EQ(findCycle(recordedPairs()), "");
    {
        const std::lock_guard outer(third);
        const std::unique_lock tried(first, std::try_to_lock);  // waits for nobody
    }
    EXPECT_EQ(findCycle(recordedPairs()), "");
    {
        const std::lock_guard outer(third);
        const std::lock_guard inner(first);
    }
    EXPECT_NE(findCycle(recordedPairs()), "");
    forgetPairs();
}
