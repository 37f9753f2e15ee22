#pragma once

// A run loop: its modes with what they hold, and how it waits.
//
// The loop's mutex guards the modes and their contents, the run that is under way, and everything that is said about
// the loop from outside. Only the loop's thread waits, and only it uses what is marked so.
//
// Memory is needed to make a loop, to name a mode and to add an item to one, and those fail whole when there is none.
// Running, removing, invalidating and ending need none.

#include "ItemList.h"
#include "RunLoopItems.h"
#include "TimerSchedule.h"

#include "Support/Descriptor.h"
#include "Support/ProcessMark.h"
#include "Support/Waker.h"
#include "System/PortTable.h"

#include <CoreFoundation/CFRunLoop.h>

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include <sys/types.h>

namespace KXPlatform {

struct Mode;

/// One port or descriptor source in one mode, and whether it has something to deliver there.
struct Watch final : PortWatch {
    Watch(Mode& m, __CFRunLoopSource& s) : mode(m), source(s), node{this} {}

    std::shared_ptr<Waker> portChanged() noexcept override;
    /// Puts the watch at the end of its mode's list of the ready. False when it stood there.
    bool makeReady() noexcept;

    Mode& mode;
    __CFRunLoopSource& source;
    std::list<Watch*> node;  ///< holds the watch's place while it is not in the list
    std::list<Watch*>::iterator place;
    bool listed = false;       ///< with the two above and the list itself guarded by the mode's readyMutex
    std::uint32_t events = 0;  ///< of the descriptor, not served yet
    std::uint32_t serial = 0;  ///< of the wish they answer
};

/// A descriptor in a mode's epoll, on behalf of all watches that have it.
struct WatchedDescriptor {
    std::uint32_t serial = 0;  ///< tells the events of this entry from those of an earlier one
    std::uint32_t armed = 0;   ///< events that epoll will still report
    bool registered = false;
    std::vector<Watch*> watches;
};

/// A mode lives as long as its loop, as the platform has it; one that holds nothing keeps no descriptor.
struct Mode {
    Mode(Retained<const __CFString> n, std::shared_ptr<Waker> w) noexcept : name(std::move(n)), waker(std::move(w)) {}
    ~Mode();

    /// Nothing to wait for: observers alone keep no loop running.
    bool isEmpty() const noexcept { return signalSources.isEmpty() && watches.empty() && timers.isEmpty(); }
    bool hasReady() noexcept;
    /// Closes the epoll when the mode neither needs it nor runs.
    void closeUnlessUsed() noexcept;

    const Retained<const __CFString> name;
    const std::shared_ptr<Waker> waker;
    const ProcessMark mark;
    bool isCommon = false;
    unsigned runs = 0;  ///< under way in it

    ItemList<__CFRunLoopSource> signalSources;
    std::unordered_map<__CFRunLoopSource*, std::unique_ptr<Watch>> watches;
    ItemList<__CFRunLoopObserver> observers;
    std::atomic<CFOptionFlags> activities{0};  ///< that any observer wants
    TimerSchedule timers;                      ///< a timer that fires is parked meanwhile

    std::mutex readyMutex;
    std::list<Watch*> ready;

    Descriptor epoll;       ///< changed by the loop's thread, or while no run is under way
    bool hasTimer = false;  ///< the loop's timerfd is in the epoll
    std::uint32_t nextSerial = 1;
    std::unordered_map<int, WatchedDescriptor> descriptors;

    // The loop's thread alone:
    std::uint64_t scanned = 0;      ///< signals up to this one have been served
    std::uint64_t passes = 0;       ///< marks what one pass has found to do
    bool sourceServedLast = false;  ///< timers and ports take turns
    unsigned passesWithoutPoll = 0;
};

/// A run of a loop; the innermost one is where a stop goes.
struct Run {
    Mode& mode;
    Run* const outer;
    bool stopped = false;  ///< guarded by the loop's mutex
};

/// An item that a loop holds, and in which modes. A list, since what is taken from it moves on without needing memory.
struct Holding {
    Retained<const Object> item;
    bool isCommon = false;  ///< in the common modes, those to come included
    std::list<Mode*> modes;
};
using Holdings = std::unordered_map<const Object*, Holding>;

}  // namespace KXPlatform

struct __CFRunLoop : KXPlatform::Object {
    using Mode = KXPlatform::Mode;

    __CFRunLoop(std::shared_ptr<KXPlatform::Waker> w, pid_t t) noexcept;
    ~__CFRunLoop();

    bool isCurrent() const noexcept;
    /// The loop belongs to a parent of this process: it may not be locked, and its kernel objects are not to be
    /// touched.
    bool isInherited() const noexcept { return mark.isInherited(); }
    /// Ends a forked process that uses the loop of its parent.
    void checkProcess() const noexcept {
        if (isInherited()) KXPlatform::stopForkedUser("a run loop");
    }
    /// Makes a loop that waits look at its modes again; nothing to do for its own thread.
    void noteChange() noexcept;

    // With the mutex held:
    Mode* findMode(CFStringRef name) noexcept;
    /// Throws std::bad_alloc.
    Mode& makeMode(CFStringRef name);
    /// Null where the loop does not hold the item.
    KXPlatform::Holding* find(const KXPlatform::Object& item) noexcept;
    bool holds(const KXPlatform::Object& item, const Mode& mode) noexcept;

    /// Empties every mode and takes nothing in any more: the loop's thread ends.
    void close();

    std::mutex mutex;
    const std::shared_ptr<KXPlatform::Waker> waker;
    const pid_t thread;
    const KXPlatform::ProcessMark mark;
    bool closed = false;
    std::vector<std::unique_ptr<Mode>> modes;
    KXPlatform::Holdings holdings;
    KXPlatform::Run* current = nullptr;
    std::int64_t wakesAt = KXPlatform::kForever;  ///< by itself, as its timers were when it went to wait
    std::atomic<std::uint64_t> signals{1};        ///< counts signals to sources that this loop holds

    // The loop's thread alone:
    KXPlatform::Descriptor timer;
    std::int64_t timerSetTo = KXPlatform::kForever;
};

namespace KXPlatform {

/// Whether `name` stands for all of a loop's common modes.
bool isCommonModes(CFStringRef name);

/// The calling thread's number in the system.
pid_t currentThread() noexcept;

/// The loop that holds a timer or an observer. Needs the item's mutex.
template <class Item>
__CFRunLoop* loopOf(Item& item) noexcept {
    if (item.loop && item.loop->isInherited()) item.loop = nullptr;
    return item.loop;
}

// With the mutex held: an item comes to a mode (RunLoopModes.cpp), which throws std::bad_alloc with nothing changed, or
// leaves it.
void enter(__CFRunLoop& loop, Mode& mode, __CFRunLoopSource& source);
void enter(__CFRunLoop& loop, Mode& mode, __CFRunLoopObserver& observer);
void enter(__CFRunLoop& loop, Mode& mode, __CFRunLoopTimer& timer);
void leave(Mode& mode, __CFRunLoopSource& source) noexcept;
void leave(Mode& mode, __CFRunLoopObserver& observer) noexcept;
void leave(Mode& mode, __CFRunLoopTimer& timer) noexcept;

/// A loop that holds the source, the first in the order of their places in memory behind `last`; null behind the last
/// one. So all can be visited though none of them may be locked meanwhile. Takes the source's mutex.
Retained<__CFRunLoop> nextLoopOf(__CFRunLoopSource& source, const __CFRunLoop* last) noexcept;

/// Takes an item that has become invalid out of all of a loop's modes (RunLoopHoldings.cpp). Takes the mutex.
void removeEverywhere(__CFRunLoop& loop, __CFRunLoopSource& source);
void removeEverywhere(__CFRunLoop& loop, __CFRunLoopObserver& observer);
void removeEverywhere(__CFRunLoop& loop, __CFRunLoopTimer& timer);

// A timer in the schedules of its loop (CFRunLoopTimer.cpp), with the loop's and the timer's mutex held: parked while
// the timer fires, put in line with the deadline it has.
void park(__CFRunLoop& loop, __CFRunLoopTimer& timer) noexcept;
void schedule(__CFRunLoop& loop, __CFRunLoopTimer& timer) noexcept;

/// After a timer's call: a repeating one is put in line with its next date, in the loop that holds it by now; another
/// ends. Takes the locks.
void endFiring(__CFRunLoopTimer& timer);

// Waiting (RunLoopWait.cpp), on the loop's thread without its mutex. What descriptors have become ready is in the
// mode's list afterwards.
void waitForEvents(__CFRunLoop& loop, Mode& mode, std::int64_t until) noexcept;
void pollDescriptors(__CFRunLoop& loop, Mode& mode) noexcept;

// With the mutex held: a descriptor's watch begins (std::bad_alloc is thrown with nothing changed), ends, or goes on
// after what it reported has been taken.
void beginWatch(Mode& mode, Watch& watch);
void endWatch(Mode& mode, Watch& watch) noexcept;
void rearm(Mode& mode, Watch& watch) noexcept;

/// The owner of a descriptor source wants something else: tells every loop that holds it.
void interestChanged(__CFRunLoopSource& source) noexcept;

/// A run (RunLoopRun.cpp), on the loop's thread.
CFRunLoopRunResult runInMode(__CFRunLoop& loop, CFStringRef mode, CFTimeInterval seconds,
                             bool returnAfterSourceHandled);

}  // namespace KXPlatform
