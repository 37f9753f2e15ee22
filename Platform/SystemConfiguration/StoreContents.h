#pragma once

// What is in the store's file: which keys, where their values stand, and what has changed since the last look.
//
// Reading needs no lock. The file only grows, a batch counts only once it is whole, and what stands in it stays as it
// is, so an object always shows the store as it was after some batch. A file that has been replaced is read to its end
// before the new one is opened, which goes on where it ended: no change is missed.
//
// One thread at a time may use an object.

#include "StoreFormat.h"

#include "Support/Descriptor.h"

#include <sys/stat.h>
#include <sys/types.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace KXPlatform {

class StoreContents {
  public:
    struct Entry {
        bool isHidden = false;  ///< the value is the origin of what the key hides
        off_t offset = 0;       ///< of the value in the file
        std::size_t size = 0;
    };
    using Index = std::map<std::string, Entry, std::less<>>;

    /// What has changed.
    struct News {
        std::vector<std::string> keys;  ///< set, removed or given notice of; one may be there several times
        bool isLost = false;            ///< keys that are not in the store may have been given notice of, too

        bool isEmpty() const noexcept { return keys.empty() && !isLost; }
    };

    static constexpr const char* kFileName = "contents";

    /// Takes in what has been written since the last time to the file in `folder`; -1 when there is no folder. Adds to
    /// `news`. Returns a status; after a failure nothing is missed the next time.
    int update(int folder, News& news);

    const Index& index() const noexcept { return index_; }

    /// The file the entries of the index point into. A holder may read them however the store changes; null when there
    /// is none.
    const std::shared_ptr<const Descriptor>& file() const noexcept { return file_; }

    /// Whether a batch can be written to the file's end. A file that is missing, damaged at its beginning or mostly of
    /// the past must be replaced.
    bool isAppendable() const noexcept;

    /// Where the next batch goes.
    struct Tail {
        dev_t device = 0;
        ino_t inode = 0;
        off_t end = 0;  ///< what follows it in the file is part of no batch
    };
    const Tail& tail() const noexcept { return tail_; }

    /// What the header of a file that takes this one's place says; for the first of all files its identity is to be
    /// made up.
    std::uint64_t identity() const noexcept { return header_.identity; }
    std::uint64_t sequence() const noexcept { return sequence_; }
    bool hasIdentity() const noexcept { return isReadable_; }

  private:
    class Reader;

    bool isOf(const struct stat& status) const noexcept;
    int open(int folder, News& news);
    void readOn(off_t size, News* news);
    void take(const StoreChange& change, off_t offset, News* news);
    off_t stateEnd() const noexcept;

    std::shared_ptr<const Descriptor> file_;
    Tail tail_;
    StoreHeader header_;
    bool isReadable_ = false;  ///< the header is one
    std::uint64_t sequence_ = 0;
    std::size_t live_ = 0;  ///< bytes that a new file would need for the state
    Index index_;
};

/// The bytes of a value; empty when they cannot be read.
std::string readValue(const Descriptor& file, const StoreContents::Entry& entry);

}  // namespace KXPlatform
