#pragma once

#include "Record.h"

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace agent {

/// Which devices were reported as there, so that an agent that is started again does not report them again: a text file
/// beside the stream that is good for one boot of the computer. It is never synced: what a loss of power takes, the
/// next boot would not believe.
///
/// A note is written after its record is on the disk and before anybody reads the record there. A process that dies in
/// between leaves the record at the end of the stream, where the next one looks for it. The last of the room on a disk
/// is the stream's: on a full one notes are put off.
class Presence {
  public:
    /// What is where: identities of devices by their places.
    using Devices = std::map<std::string, std::string>;

    /// Reads the file at `path`, or begins anew.
    explicit Presence(std::string path);
    ~Presence();
    Presence(const Presence&) = delete;
    Presence& operator=(const Presence&) = delete;

    /// Adds what the last records in the stream say, `newestFirst`, and rewrites the file.
    void catchUp(const std::vector<std::vector<unsigned char>>& newestFirst);

    const Devices& devices() const { return devices_; }

    /// Notes records that were stored.
    void note(std::span<const Record> records);

  private:
    void take(const std::string& place, const std::string& identity);
    void rewrite();
    bool hasRoom() const;

    const std::string path_;
    const std::string boot_;
    Devices devices_;
    std::size_t lines_ = 0;  ///< in the file
    bool isBehind_ = true;   ///< the file does not hold all notes
    int file_ = -1;
};

}  // namespace agent
