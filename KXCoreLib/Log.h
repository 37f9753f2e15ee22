#pragma once

// How the library speaks up: one line on the standard error stream, headed by the local time, and for a broken
// invariant the end of the process. There are no levels, no log object and no configuration.
//
// Every function may be called from any thread.

namespace KXCore {

/// The current local time as ctime gives it ("Sun Nov 15 16:02:44 2026\n"), or a fixed text that says why there is
/// none. Points to the system's one buffer: use it at once, and only where no other thread asks for the time.
const char* CurrentTimeCStr() noexcept;

/// Writes "[" time "]" and the message, which brings its own newline, as one piece.
[[gnu::format(printf, 1, 2)]] void LogLine(const char* format, ...) noexcept;

/// Says where and ends the process: "[" time "]file:line: abort() called". Nothing is unwound. `file` and `line` are
/// constants at the check: they are what a reader of a crash report searches for, so they never move with the code.
[[noreturn]] void FatalExit(const char* file, int line) noexcept;

}  // namespace KXCore
