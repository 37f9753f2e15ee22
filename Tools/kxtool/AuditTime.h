#pragma once

// Times of audit records, and times as people say them. A time is counted in milliseconds since 1970, in UTC.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kxtool {

enum class Zone { Local, UTC };

/// The time that a record's text tells, in UTC: "2026-11-15", "2026-11-15T16:02", with seconds and their fraction, with
/// a Z, or "@" and seconds since 1970. No value for any other text.
std::optional<std::int64_t> TimeOf(std::string_view text);

/// The time that a person means:
///
///     now, today, yesterday, tomorrow, monday ... sunday (the last one that began), each with a time of day after it;
///     -1h, -1h30m, "2 days ago": that long before `now`, in s, m, h, d, w or their words;
///     14:00: today; 2026-11-21, "2026-11-21 14:00", with seconds and fraction, with Z, +01:00 or "UTC" after it;
///     @1794758564: seconds since 1970.
///
/// What has no zone of its own is in `zone`. No value for any other text, and for a day that does not exist.
std::optional<std::int64_t> TimeMeant(std::string_view text, Zone zone, std::int64_t now);

std::int64_t Now();

/// "2026-11-15T17:02:42.123+01:00", or with Z where that is what the zone comes to.
std::string TimeText(std::int64_t time, Zone zone);

/// The hour of the day at a time, 0 to 23.
int HourOf(std::int64_t time, Zone zone);

/// A record's date for people: in `zone` and marked so. A text that is no such time is returned as it is.
std::string DateShown(std::string_view recordDate, Zone zone);

/// A record's date with the Z that records leave out; a text that is no such time is returned as it is.
std::string DateWithZone(std::string_view recordDate);

/// The form in which records hold a date that may have a zone: UTC without one. A text that is no such time is returned
/// as it is.
std::string RecordDate(std::string_view text);

}  // namespace kxtool
