#pragma once

// What a program does to a stream file that somebody named, beside appending and discarding through the library: make
// its table, wait until nobody writes, give back free space. Takes nothing but a stream, and deletes no file.
//
// The rules of StreamInspector.h hold here too: failures are StreamErrors, and making an object opens and closes the
// file.

#include "StreamInspector.h"

#include <chrono>
#include <string>

namespace KXCore {

class StreamMaintenance {
  public:
    /// Opens the stream at `path` for writing; a change that was left unfinished is taken back.
    explicit StreamMaintenance(const std::string& path,
                               std::chrono::milliseconds patience = StreamInspector::kPatience);

    /// Whether a stream can be made at `path`: nothing stands there, or an empty file that can be written.
    static bool hasRoom(const std::string& path);

    /// Makes the table of a stream in the empty file at `path`.
    static void makeTable(const std::string& path);

    /// Looks through this connection.
    const StreamInspector& inspector() const noexcept { return inspector_; }

    /// Waits until no other process is about to write.
    void awaitWriters() const;

    /// Gives the pages that hold nothing back to the file system. The file is locked meanwhile, and others wait; a
    /// library that opens it then deletes it, should it wait in vain.
    void compact() const;

    /// The same for a file that others use: gives up, and leaves the file as it was, where that would keep it locked
    /// for longer than others wait. Returns whether it was done.
    bool compactBriefly() const;

  private:
    const StreamInspector inspector_;
};

}  // namespace KXCore
