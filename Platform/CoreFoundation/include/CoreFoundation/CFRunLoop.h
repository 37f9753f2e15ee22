#pragma once

/// Run loops with their sources, timers and observers.
///
/// Each thread has one loop, made when it is first asked for. A loop runs in one mode at a time: only the sources,
/// timers and observers of that mode count meanwhile. What is added under kCFRunLoopCommonModes is in every mode that
/// was made common, now or later; the default mode is. A loop retains what is added to it, once however many modes that
/// is for.
///
/// Any thread may call any function here, for any loop; callbacks come on the loop's own thread, and no lock is held
/// around them: they may call anything here, and run the loop again. A callback's `info` stays retained while it runs.
/// A mode's name is kept as long as its loop. In a process that was forked, the loops of the parent are only looked at:
/// a function that would change or run one ends the child with a line on standard error, and invalidating leaves the
/// parent's loop as it is.
///
/// Nothing else fails loudly: null where an object is asked for has no effect and returns null, 0 or false, and so does
/// an addition for which there is no memory. See docs/run-loops.md.

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDate.h>

CF_EXTERN_C_BEGIN

/// The name of a port, as <mach/port.h> has it too.
typedef unsigned int mach_port_t;

typedef CFStringRef CFRunLoopMode;
typedef struct __CFRunLoop* CFRunLoopRef;
typedef struct __CFRunLoopSource* CFRunLoopSourceRef;
typedef struct __CFRunLoopObserver* CFRunLoopObserverRef;
typedef struct __CFRunLoopTimer* CFRunLoopTimerRef;
/// Why a run returned: the mode holds no source and no timer any more, the loop was stopped, the time is over, or a
/// source was handled and that was asked for.
CF_ENUM_TYPE(SInt32, CFRunLoopRunResult){
    kCFRunLoopRunFinished = 1,
    kCFRunLoopRunStopped = 2,
    kCFRunLoopRunTimedOut = 3,
    kCFRunLoopRunHandledSource = 4,
};

typedef CFOptionFlags CFRunLoopActivity;

CF_ANONYMOUS_ENUM(CFRunLoopActivity){
    kCFRunLoopEntry = 1,
    kCFRunLoopBeforeTimers = 2,
    kCFRunLoopBeforeSources = 4,
    kCFRunLoopBeforeWaiting = 32,
    kCFRunLoopAfterWaiting = 64,
    kCFRunLoopExit = 128,
    kCFRunLoopAllActivities = 268435455,
};

/// A source that is signalled, version 0. It copies this record and retains `info`. `schedule` is told of each mode of
/// each loop that the source comes to, `cancel` of each that it leaves, both on the thread that does it; `perform` runs
/// once on the loop for all signals before it. Each function may be null.
typedef struct CFRunLoopSourceContext {
    CFIndex version;
    void* info;
    const void* (*retain)(const void*);
    void (*release)(const void*);
    CFStringRef (*copyDescription)(const void*);
    Boolean (*equal)(const void*, const void*);
    CFHashCode (*hash)(const void*);
    void (*schedule)(void*, CFRunLoopRef, CFRunLoopMode);
    void (*cancel)(void*, CFRunLoopRef, CFRunLoopMode);
    void (*perform)(void*);
} CFRunLoopSourceContext;

/// A source that is a port, version 1. `getPort` is asked once, when the source comes to its first loop. `perform` gets
/// a message, its size in bytes, an allocator and `info`; it owns nothing of that. What it returns, allocated with that
/// allocator, is sent as a message and freed; null is no reply.
typedef struct CFRunLoopSourceContext1 {
    CFIndex version;
    void* info;
    const void* (*retain)(const void*);
    void (*release)(const void*);
    CFStringRef (*copyDescription)(const void*);
    Boolean (*equal)(const void*, const void*);
    CFHashCode (*hash)(const void*);
    mach_port_t (*getPort)(void*);
    void* (*perform)(void*, CFIndex, CFAllocatorRef, void*);
} CFRunLoopSourceContext1;

/// Version 0. The observer retains `info`.
typedef struct CFRunLoopObserverContext {
    CFIndex version;
    void* info;
    const void* (*retain)(const void*);
    void (*release)(const void*);
    CFStringRef (*copyDescription)(const void*);
} CFRunLoopObserverContext;

/// Called on the loop's thread with what the loop is about to do and the context's `info`.
typedef void (*CFRunLoopObserverCallBack)(CFRunLoopObserverRef, CFRunLoopActivity, void*);
/// Version 0. The timer retains `info`.
typedef struct CFRunLoopTimerContext {
    CFIndex version;
    void* info;
    const void* (*retain)(const void*);
    void (*release)(const void*);
    CFStringRef (*copyDescription)(const void*);
} CFRunLoopTimerContext;

/// Called on the loop's thread with the context's `info`.
typedef void (*CFRunLoopTimerCallBack)(CFRunLoopTimerRef, void*);

CF_EXPORT const CFRunLoopMode kCFRunLoopDefaultMode;
CF_EXPORT const CFRunLoopMode kCFRunLoopCommonModes;

// ---- Loops

CF_EXPORT CFTypeID CFRunLoopGetTypeID(void);
/// The calling thread's loop, borrowed. It ends with its thread, which first takes everything out of it. Null when
/// there is no memory for it.
CF_EXPORT CFRunLoopRef CFRunLoopGetCurrent(void);
/// The main thread's loop, borrowed; it lives as long as the process.
CF_EXPORT CFRunLoopRef CFRunLoopGetMain(void);
/// The mode that the loop runs in, owned by the caller; null while it does not run.
CF_EXPORT CFRunLoopMode CFRunLoopCopyCurrentMode(CFRunLoopRef rl);
/// The names of all modes that the loop has had, as an array of strings that the caller owns.
CF_EXPORT CFArrayRef CFRunLoopCopyAllModes(CFRunLoopRef rl);
/// Makes a mode one of the common ones, for good. What was added under kCFRunLoopCommonModes comes to it.
CF_EXPORT void CFRunLoopAddCommonMode(CFRunLoopRef rl, CFRunLoopMode mode);
/// The date of the timer of this mode that fires next; 0 when there is none.
CF_EXPORT CFAbsoluteTime CFRunLoopGetNextTimerFireDate(CFRunLoopRef rl, CFRunLoopMode mode);
/// Runs the calling thread's loop in the default mode until it is stopped or the mode holds no source and no timer.
CF_EXPORT void CFRunLoopRun(void);
/// Runs the calling thread's loop in `mode`, which is not kCFRunLoopCommonModes, for `seconds` at most. What is no
/// positive number of seconds means one pass without waiting. With `returnAfterSourceHandled` it returns after the
/// first pass that handled a source. Finished at once when the mode holds no source and no timer. May be called in a
/// callback; a stop then ends this run and not the one around it.
CF_EXPORT CFRunLoopRunResult CFRunLoopRunInMode(CFRunLoopMode mode, CFTimeInterval seconds,
                                                Boolean returnAfterSourceHandled);
/// Whether the loop sleeps until something happens.
CF_EXPORT Boolean CFRunLoopIsWaiting(CFRunLoopRef rl);
/// Ends the loop's sleep, or makes its next one end at once. A loop does not notice by itself that a source was
/// signalled or that the last one was removed.
CF_EXPORT void CFRunLoopWakeUp(CFRunLoopRef rl);
/// Ends the innermost run of the loop once what it is doing is done; without effect on a loop that does not run.
CF_EXPORT void CFRunLoopStop(CFRunLoopRef rl);

// ---- What a loop holds

/// Whether the source was added to this mode, or under the common modes when that is asked.
CF_EXPORT Boolean CFRunLoopContainsSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode mode);
/// Adds a source to a mode. Without effect when it is there already or invalid. A source may be in several loops.
CF_EXPORT void CFRunLoopAddSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode mode);
/// Takes a source out of a mode, or of all common ones. It stays valid. A callback on another thread may still be
/// running.
CF_EXPORT void CFRunLoopRemoveSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode mode);
/// Whether the observer was added to this mode, or under the common modes when that is asked.
CF_EXPORT Boolean CFRunLoopContainsObserver(CFRunLoopRef rl, CFRunLoopObserverRef observer, CFRunLoopMode mode);
/// Adds an observer to a mode. Without effect when it is there already, invalid, or in another loop.
CF_EXPORT void CFRunLoopAddObserver(CFRunLoopRef rl, CFRunLoopObserverRef observer, CFRunLoopMode mode);
/// Takes an observer out of a mode, or of all common ones. It stays valid.
CF_EXPORT void CFRunLoopRemoveObserver(CFRunLoopRef rl, CFRunLoopObserverRef observer, CFRunLoopMode mode);
/// Whether the timer was added to this mode, or under the common modes when that is asked.
CF_EXPORT Boolean CFRunLoopContainsTimer(CFRunLoopRef rl, CFRunLoopTimerRef timer, CFRunLoopMode mode);
/// Adds a timer to a mode. Without effect when it is there already, invalid, or in another loop.
CF_EXPORT void CFRunLoopAddTimer(CFRunLoopRef rl, CFRunLoopTimerRef timer, CFRunLoopMode mode);
/// Takes a timer out of a mode, or of all common ones. It stays valid.
CF_EXPORT void CFRunLoopRemoveTimer(CFRunLoopRef rl, CFRunLoopTimerRef timer, CFRunLoopMode mode);

// ---- Sources

CF_EXPORT CFTypeID CFRunLoopSourceGetTypeID(void);
/// A source of `context`, whose version says which of the two records it is; the caller owns it. Sources of a lower
/// `order` are served first in a pass. Null for a null context, another version, or without memory.
CF_EXPORT CFRunLoopSourceRef CFRunLoopSourceCreate(CFAllocatorRef allocator, CFIndex order,
                                                   CFRunLoopSourceContext* context);
CF_EXPORT CFIndex CFRunLoopSourceGetOrder(CFRunLoopSourceRef source);
/// Takes the source out of all loops and releases its info. It stays invalid; no callback begins afterwards, but one
/// that has begun on another thread may still be running.
CF_EXPORT void CFRunLoopSourceInvalidate(CFRunLoopSourceRef source);
CF_EXPORT Boolean CFRunLoopSourceIsValid(CFRunLoopSourceRef source);
/// Writes the context, whose `version` must be the source's, to `context`; info is not retained.
CF_EXPORT void CFRunLoopSourceGetContext(CFRunLoopSourceRef source, CFRunLoopSourceContext* context);
/// Has a source of version 0 performed in the next pass of each loop that holds it. Does not wake them:
/// CFRunLoopWakeUp.
CF_EXPORT void CFRunLoopSourceSignal(CFRunLoopSourceRef source);

// ---- Observers

CF_EXPORT CFTypeID CFRunLoopObserverGetTypeID(void);
/// An observer of `activities`, a union of CFRunLoopActivity values; the caller owns it. One that does not repeat
/// becomes invalid after its first callback. Lower orders are called first. Null for a context of another version, or
/// without memory.
CF_EXPORT CFRunLoopObserverRef CFRunLoopObserverCreate(CFAllocatorRef allocator, CFOptionFlags activities,
                                                       Boolean repeats, CFIndex order,
                                                       CFRunLoopObserverCallBack callout,
                                                       CFRunLoopObserverContext* context);
CF_EXPORT CFOptionFlags CFRunLoopObserverGetActivities(CFRunLoopObserverRef observer);
CF_EXPORT Boolean CFRunLoopObserverDoesRepeat(CFRunLoopObserverRef observer);
CF_EXPORT CFIndex CFRunLoopObserverGetOrder(CFRunLoopObserverRef observer);
/// Takes the observer out of its loop and releases its info.
CF_EXPORT void CFRunLoopObserverInvalidate(CFRunLoopObserverRef observer);
CF_EXPORT Boolean CFRunLoopObserverIsValid(CFRunLoopObserverRef observer);
/// Writes the context, whose `version` must be 0, to `context`; info is not retained.
CF_EXPORT void CFRunLoopObserverGetContext(CFRunLoopObserverRef observer, CFRunLoopObserverContext* context);

// ---- Timers

CF_EXPORT CFTypeID CFRunLoopTimerGetTypeID(void);
/// A timer for `fireDate`, at once when that is past, and then every `interval` seconds, once when that is not
/// positive; the caller owns it. `flags` is not used. Of timers that are due, the earlier date fires first, and of
/// equal dates the lower order. Null when a date or an interval is no number, for a context of another version, or
/// without memory.
CF_EXPORT CFRunLoopTimerRef CFRunLoopTimerCreate(CFAllocatorRef allocator, CFAbsoluteTime fireDate,
                                                 CFTimeInterval interval, CFOptionFlags flags, CFIndex order,
                                                 CFRunLoopTimerCallBack callout, CFRunLoopTimerContext* context);
/// 0 once the timer is invalid.
CF_EXPORT CFAbsoluteTime CFRunLoopTimerGetNextFireDate(CFRunLoopTimerRef timer);
/// Moves the timer; later repetitions count from the new date. In its own callback it sets the next date. Without
/// effect when the date is no number.
CF_EXPORT void CFRunLoopTimerSetNextFireDate(CFRunLoopTimerRef timer, CFAbsoluteTime fireDate);
/// In seconds; 0 for a timer that does not repeat.
CF_EXPORT CFTimeInterval CFRunLoopTimerGetInterval(CFRunLoopTimerRef timer);
CF_EXPORT Boolean CFRunLoopTimerDoesRepeat(CFRunLoopTimerRef timer);
CF_EXPORT CFIndex CFRunLoopTimerGetOrder(CFRunLoopTimerRef timer);
/// Takes the timer out of its loop and releases its info. A timer that does not repeat becomes invalid by firing.
CF_EXPORT void CFRunLoopTimerInvalidate(CFRunLoopTimerRef timer);
CF_EXPORT Boolean CFRunLoopTimerIsValid(CFRunLoopTimerRef timer);
/// Writes the context, whose `version` must be 0, to `context`; info is not retained.
CF_EXPORT void CFRunLoopTimerGetContext(CFRunLoopTimerRef timer, CFRunLoopTimerContext* context);
CF_EXPORT CFTimeInterval CFRunLoopTimerGetTolerance(CFRunLoopTimerRef timer);
/// By how many seconds the timer may be late, so that the loop wakes less often; 0 for what is no positive number. Of a
/// repeating timer at most half of the interval is used.
CF_EXPORT void CFRunLoopTimerSetTolerance(CFRunLoopTimerRef timer, CFTimeInterval tolerance);

CF_EXTERN_C_END
