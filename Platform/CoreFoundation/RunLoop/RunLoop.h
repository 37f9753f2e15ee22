#pragma once

// A run loop: its modes with what they hold, and how it waits.
//
// The loop's mutex guards the modes and their contents, the run that is under way, and everything that is said about
// the loop from outside. Only the loop's thread waits, and only it uses what is marked so.

#include "RunLoopItems.h"
#include "TimerSchedule.h"

#include "Support/Waker.h"
#include "System/PortTable.h"

#include <CoreFoundation/CFRunLoop.h>

#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
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

struct Mode {
    Mode(CFStringRef n, std::shared_ptr<Waker> w);
    ~Mode();

    /// Nothing to wait for: observers alone keep no loop running.
    bool isEmpty() const noexcept { return sources.empty() && timers.empty(); }
    bool hasReady() noexcept;

    const Retained<const __CFString> name;
    const std::shared_ptr<Waker> waker;
    bool isCommon = false;

    std::unordered_map<__CFRunLoopSource*, std::unique_ptr<Watch>> sources;  ///< no watch for a Signal
    std::vector<__CFRunLoopSource*> signalSources;                           ///< in order
    std::vector<__CFRunLoopObserver*> observers;                             ///< in order
    std::atomic<CFOptionFlags> activities{0};                                ///< that any observer wants

    TimerSchedule schedule;
    std::unordered_map<__CFRunLoopTimer*, TimerPlace> timers;  ///< one that fires stands in no schedule meanwhile

    std::mutex readyMutex;
    std::list<Watch*> ready;

    int epoll = -1;
    bool hasTimer = false;  ///< the loop's timerfd is in the epoll
    std::uint32_t nextSerial = 1;
    std::unordered_map<int, WatchedDescriptor> descriptors;

    // The loop's thread alone:
    std::uint64_t scanned = 0;      ///< signals up to this one have been served
    bool sourceServedLast = false;  ///< timers and ports take turns
    unsigned passesWithoutPoll = 0;
};

/// A run of a loop; the innermost one is where a stop goes.
struct Run {
    Mode& mode;
    Run* const outer;
    bool stopped = false;  ///< guarded by the loop's mutex
};

/// What is to be done once no lock is held: call-backs of sources that came or went, references to drop.
class Deferred {
  public:
    /// `source` has come to or gone from `mode`; a Signal's call-back will be told.
    void scheduled(CFRunLoopRef loop, __CFRunLoopSource& source, const Mode& mode);
    void cancelled(CFRunLoopRef loop, __CFRunLoopSource& source, const Mode& mode);

    /// The reference to `object` is given up when the Deferred goes.
    void drop(const Object* object) { dropped_.push_back(Retained<const Object>::adopting(object)); }

    void call();

  private:
    struct Call {
        void (*function)(void*, CFRunLoopRef, CFRunLoopMode);
        Info info;
        Retained<__CFRunLoop> loop;
        Retained<const __CFString> mode;
    };

    std::vector<Call> calls_;
    std::vector<Retained<const Object>> dropped_;
};

}  // namespace KXPlatform

struct __CFRunLoop : KXPlatform::Object {
    using Mode = KXPlatform::Mode;
    using Deferred = KXPlatform::Deferred;

    __CFRunLoop(std::shared_ptr<KXPlatform::Waker> w, pid_t t) noexcept;
    ~__CFRunLoop();

    bool isCurrent() const noexcept;
    /// Makes a loop that waits look at its modes again; nothing to do for its own thread.
    void noteChange() noexcept;

    // With the mutex held:
    Mode* findMode(CFStringRef name) noexcept;
    Mode& makeMode(CFStringRef name);

    /// Empties every mode and takes nothing in any more: the loop's thread ends.
    void close();

    std::mutex mutex;
    const std::shared_ptr<KXPlatform::Waker> waker;
    const pid_t thread;
    bool closed = false;
    std::vector<std::unique_ptr<Mode>> modes;
    std::unordered_set<CFTypeRef> commonItems;  ///< retained
    KXPlatform::Run* current = nullptr;
    std::int64_t wakesAt = KXPlatform::kForever;  ///< by itself, as its timers were when it went to wait
    std::atomic<std::uint64_t> signals{1};        ///< counts signals to sources that this loop holds

    // The loop's thread alone:
    int timer = -1;
    std::int64_t timerSetTo = KXPlatform::kForever;
};

namespace KXPlatform {

/// Whether `name` stands for all of a loop's common modes.
bool isCommonModes(CFStringRef name);

/// The calling thread's number in the system.
pid_t currentThread() noexcept;

/// Takes an item that has become invalid out of all of a loop's modes. Takes the mutex.
void removeEverywhere(__CFRunLoop& loop, __CFRunLoopSource& source);
void removeEverywhere(__CFRunLoop& loop, __CFRunLoopObserver& observer);
void removeEverywhere(__CFRunLoop& loop, __CFRunLoopTimer& timer);

// A timer in the schedules of its loop (CFRunLoopTimer.cpp), with the loop's and the timer's mutex held: taken out
// while the timer fires, put back with the deadline it has then.
void park(__CFRunLoop& loop, __CFRunLoopTimer& timer) noexcept;
void unpark(__CFRunLoop& loop, __CFRunLoopTimer& timer) noexcept;

/// After a timer's call: a repeating one is put back with its next date, into the loop that holds it by now; another
/// ends. Takes the locks.
void endFiring(__CFRunLoopTimer& timer);

// Waiting (RunLoopWait.cpp), on the loop's thread without its mutex. What descriptors have become ready is in the
// mode's list afterwards.
void waitForEvents(__CFRunLoop& loop, Mode& mode, std::int64_t until);
void pollDescriptors(__CFRunLoop& loop, Mode& mode);

// With the mutex held: a descriptor's watch begins, ends, or goes on after what it reported has been taken.
void beginWatch(Mode& mode, Watch& watch);
void endWatch(Mode& mode, Watch& watch) noexcept;
void rearm(Mode& mode, Watch& watch) noexcept;

/// The owner of a descriptor source wants something else: tells every loop that holds it.
void interestChanged(__CFRunLoopSource& source) noexcept;

/// A run (RunLoopRun.cpp), on the loop's thread.
CFRunLoopRunResult runInMode(__CFRunLoop& loop, CFStringRef mode, CFTimeInterval seconds,
                             bool returnAfterSourceHandled);

}  // namespace KXPlatform
