#pragma once

// A test's own action in the place of the sleep of whoever waits for a locked file, so that no test waits for a clock.

#include "FaultyFiles.h"

#include <sqlite3.h>

#include <functional>
#include <utility>

/// While it lives, the action runs wherever an operation would sleep until a locked file is free: on the waiting
/// thread, inside SQLite for connections that were opened meanwhile, outside it where the library waits itself.
class InsteadOfSleeping {
  public:
    explicit InsteadOfSleeping(std::function<void()> action) {
        doInstead() = std::move(action);
        vfs_.zName = "sleepless";
        vfs_.xSleep = [](sqlite3_vfs*, int microseconds) {
            milliseconds = microseconds / 1000;
            doInstead()();
            return microseconds;
        };
        sqlite3_vfs_register(&vfs_, 1);
    }
    ~InsteadOfSleeping() {
        sqlite3_vfs_register(faulty::real(), 1);
        sqlite3_vfs_unregister(&vfs_);
        doInstead() = [] {};  // connections that were opened meanwhile may still ask
    }
    InsteadOfSleeping(const InsteadOfSleeping&) = delete;
    InsteadOfSleeping& operator=(const InsteadOfSleeping&) = delete;

    /// How long this thread would have slept last.
    static inline thread_local int milliseconds = 0;

  private:
    static std::function<void()>& doInstead() {
        static std::function<void()> action;
        return action;
    }

    static inline sqlite3_vfs vfs_ = *faulty::real();  // outlives the connections that were opened on it
};
