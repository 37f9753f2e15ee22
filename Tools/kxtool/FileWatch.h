#pragma once

// Wakes who follows a stream when its file changes.

#include <memory>
#include <string>

#include "Interruption.h"

namespace kxtool {

class FileWatch {
  public:
    /// Watches the file at `path`, what takes its place, and its journal.
    explicit FileWatch(const std::string& path);
    ~FileWatch();
    FileWatch(const FileWatch&) = delete;
    FileWatch& operator=(const FileWatch&) = delete;

    enum class Event { Changed, TimeOut, Interrupted };

    /// Waits until something changed since the last call, the time is over, or the work is interrupted. A negative time
    /// has no end.
    Event wait(const Interruption& interruption, int milliseconds);

  private:
    struct State;
    const std::unique_ptr<State> state_;
};

}  // namespace kxtool
