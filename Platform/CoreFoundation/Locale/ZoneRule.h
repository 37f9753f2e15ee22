#pragma once

// The rule by which a time zone changes between standard and daylight saving time year after year, in the form of the
// environment variable TZ (POSIX.1-2017, 8.3, with the hours from -167 to 167 of RFC 9636, 3.3.2):
//
//     CET-1CEST,M3.5.0,M10.5.0/3
//     <-03>3<-02>,M3.5.0/-2,M10.5.0/-1
//     JST-9
//
// Times are seconds since 1970-01-01 00:00:00 UTC, leap seconds not counted.

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace KXPlatform {

class ZoneRule {
  public:
    /// Null when `text` is no such rule.
    static std::optional<ZoneRule> read(std::string_view text);

    /// One of the two times that a rule knows.
    struct Side {
        std::string abbreviation;
        std::int32_t offset = 0;  ///< seconds east of Greenwich
    };

    /// What holds at a time, and from when to when. Where there is no end, or no start, it is that of int64_t.
    struct Span {
        std::int64_t start = std::numeric_limits<std::int64_t>::min();
        std::int64_t end = std::numeric_limits<std::int64_t>::max();
        bool isDaylight = false;
    };

    const Side& standard() const noexcept { return standard_; }
    const Side& daylight() const noexcept { return daylight_; }
    bool hasDaylight() const noexcept { return hasDaylight_; }
    std::int32_t saving() const noexcept { return hasDaylight_ ? daylight_.offset - standard_.offset : 0; }

    Span at(std::int64_t time) const noexcept;

  private:
    /// A day of each year and the second of it, in the wall time that ends.
    struct Change {
        enum class Form : std::uint8_t { JulianWithoutLeapDay, DayOfYear, WeekdayOfMonth };
        Form form = Form::DayOfYear;
        std::int16_t day = 0;  ///< 1 to 365, 0 to 365, or the weekday from 0 for Sunday
        std::int8_t month = 0;
        std::int8_t week = 0;  ///< 5: the last one
        std::int32_t second = 7200;

        /// Seconds from 1970 of the wall clock.
        std::int64_t inYear(std::int64_t year) const noexcept;
        /// Whether it lies in the same place of every year to within a week, far from both ends of the year.
        bool isWellInside() const noexcept;
        int roughDay() const noexcept { return form == Form::WeekdayOfMonth ? (month - 1) * 30 + week * 7 : day; }
    };

    class Reader;

    /// A change of the rule, in time.
    struct Turn {
        std::int64_t time;
        bool toDaylight;
    };

    std::array<Turn, 2> turnsIn(std::int64_t year) const noexcept;
    Span regularAt(std::int64_t time, std::int64_t year) const noexcept;
    Span irregularAt(std::int64_t time, std::int64_t year) const noexcept;
    /// What of the changes holds for every year.
    void classify() noexcept;

    Side standard_;
    Side daylight_;
    Change start_;  ///< of daylight saving
    Change end_;
    bool hasDaylight_ = false;
    enum class Course : std::uint8_t { Regular, Irregular, AlwaysStandard, AlwaysDaylight };
    Course course_ = Course::AlwaysStandard;
};

}  // namespace KXPlatform
