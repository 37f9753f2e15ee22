#pragma once

// What can still be read of a damaged stream file: its pages are read one by one, without SQLite, which gives up a
// table at the first page that contradicts it. Nothing on the disk changes and no lock is taken.
//
// A stream only loses items from its beginning, so its ids have no gaps: an id that is missing between others was there
// and is lost.

#include "StreamError.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace KXCore {

class StreamSalvage {
  public:
    /// Looks through the file at `path`. Throws a StreamError when it cannot be read, or has no page of a stream.
    explicit StreamSalvage(const std::string& path);
    ~StreamSalvage();
    StreamSalvage(const StreamSalvage&) = delete;
    StreamSalvage& operator=(const StreamSalvage&) = delete;

    /// An item whose place is known; its bytes may still be damaged.
    struct Place {
        long long id;
        std::uint32_t page;
        std::uint32_t cell;  ///< where it begins in the page
    };

    /// In the order of their ids, each once.
    const std::vector<Place>& places() const noexcept { return places_; }

    /// The item's bytes; no value when a page that they go on in is damaged or missing.
    std::optional<std::string> read(const Place& place) const;

    struct Loss {
        long long items = 0;  ///< that must have been there and have no place
        bool isExact = true;  ///< false: pages at the beginning or the end are gone, and the figure is an estimate
    };
    const Loss& loss() const noexcept { return loss_; }

  private:
    class Pages;
    class Walk;

    const std::unique_ptr<Pages> pages_;
    std::vector<Place> places_;
    Loss loss_;
};

}  // namespace KXCore
