#pragma once

// What a file of the system's time-zone database says (TZif, RFC 9636, versions 1 to 4), ready to be asked.
//
// Times are seconds since 1970-01-01 00:00:00 UTC, leap seconds not counted: where a file counts them, they are taken
// out as it is read.

#include "ZoneRule.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace KXPlatform {

class ZoneData {
  public:
    /// No file of the database comes near this size.
    static constexpr std::size_t kLargest = std::size_t{1} << 20;

    /// Null when the bytes are not whole and consistent. May throw std::bad_alloc.
    static std::optional<ZoneData> read(std::span<const std::uint8_t> bytes);

    /// What holds in a time zone from one change to the next.
    struct Period {
        std::int64_t start = std::numeric_limits<std::int64_t>::min();
        std::int64_t end = std::numeric_limits<std::int64_t>::max();
        std::int32_t offset = 0;  ///< seconds east of Greenwich
        std::int32_t saving = 0;  ///< how much of them is daylight saving; negative in some zones' winters
        bool isDaylight = false;
        const char* abbreviation = "";  ///< lives as long as the data
    };

    Period at(std::int64_t time) const noexcept;
    /// The quickest way to the most wanted part of at().
    std::int32_t offsetAt(std::int64_t time) const noexcept;

    /// Whether some period is one of daylight saving.
    bool hasDaylight() const noexcept;
    /// Whether some clocks are turned back from standard time for a while, as in Irish winters.
    bool hasNegativeSaving() const noexcept { return hasNegativeSaving_; }

  private:
    struct Type {
        std::int32_t offset;
        std::int32_t saving;
        std::uint16_t abbreviation;
        bool isDaylight;
    };
    class Reader;

    /// Index of the last change at or before `time`; -1 before the first.
    std::ptrdiff_t changeBefore(std::int64_t time) const noexcept;
    const Type& typeAfter(std::ptrdiff_t change) const noexcept {
        return types_[change < 0 ? 0 : ofChange_[static_cast<std::size_t>(change)]];
    }
    bool followsRule(std::ptrdiff_t change) const noexcept {
        return rule_ && change + 1 == static_cast<std::ptrdiff_t>(changes_.size());
    }
    Period fromRule(std::int64_t time, std::int64_t lastChange) const noexcept;
    bool isConsistent() const noexcept;
    void findSavings();

    std::vector<std::int64_t> changes_;    ///< ascending
    std::vector<std::uint16_t> ofChange_;  ///< the type that each change leads to
    std::vector<Type> types_;              ///< the first holds before the first change
    std::string abbreviations_;            ///< each ended by a NUL
    std::optional<ZoneRule> rule_;         ///< holds after the last change
    bool hasNegativeSaving_ = false;
};

/// A file of a zone whose changes, if any, all follow `rule`; empty: `abbreviation` and `offset` always hold. For
/// zones that no file describes.
std::string makeZoneFile(std::string_view rule, std::string_view abbreviation, std::int32_t offset);

}  // namespace KXPlatform
