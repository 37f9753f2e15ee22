#include "AuditTime.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <chrono>
#include <ctime>
#include <limits>

#include "TextSearch.h"

namespace kxtool {
namespace {

constexpr std::int64_t kSecond = 1000;
constexpr std::int64_t kMinute = 60 * kSecond;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;

/// Takes `count` digits off `text`; no value where there are fewer.
std::optional<std::int64_t> TakeDigits(std::string_view& text, std::size_t count) {
    std::int64_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (i >= text.size() || text[i] < '0' || text[i] > '9') return std::nullopt;
        value = 10 * value + (text[i] - '0');
    }
    text.remove_prefix(count);
    return value;
}

bool Take(std::string_view& text, char c) {
    if (!text.starts_with(c)) return false;
    text.remove_prefix(1);
    return true;
}

/// Days from 1970-01-01 to a day of the Gregorian calendar; no value for a day that it does not have.
std::optional<std::int64_t> DaysOf(std::int64_t year, std::int64_t month, std::int64_t day) {
    const std::chrono::year_month_day date{std::chrono::year(static_cast<int>(year)),
                                           std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day))};
    if (!date.ok()) return std::nullopt;
    return std::chrono::sys_days(date).time_since_epoch().count();
}

std::optional<std::int64_t> TakeDate(std::string_view& text) {
    const auto year = TakeDigits(text, 4);
    if (!year || !Take(text, '-')) return std::nullopt;
    const auto month = TakeDigits(text, 2);
    if (!month || !Take(text, '-')) return std::nullopt;
    const auto day = TakeDigits(text, 2);
    return day ? DaysOf(*year, *month, *day) : std::nullopt;
}

/// Milliseconds since midnight: "14:00", "14:00:05"; a fraction is taken by TakeFraction().
std::optional<std::int64_t> TakeTimeOfDay(std::string_view& text) {
    const auto hour = TakeDigits(text, 2);
    if (!hour || *hour > 23 || !Take(text, ':')) return std::nullopt;
    const auto minute = TakeDigits(text, 2);
    if (!minute || *minute > 59) return std::nullopt;
    std::int64_t second = 0;
    if (Take(text, ':')) {
        const auto digits = TakeDigits(text, 2);
        if (!digits || *digits > 60) return std::nullopt;
        second = *digits;
    }
    return *hour * kHour + *minute * kMinute + second * kSecond;
}

/// ".123" in milliseconds, what is smaller being cut off; 0 where there is none, no value for a point alone.
std::optional<std::int64_t> TakeFraction(std::string_view& text) {
    std::int64_t fraction = 0;
    if (!Take(text, '.')) return fraction;
    if (text.empty()) return std::nullopt;
    for (std::int64_t unit = 100; const auto digit = TakeDigits(text, 1); unit /= 10) fraction += *digit * unit;
    return fraction;
}

/// "@1794758564.5"
std::optional<std::int64_t> TakeSecondsSince1970(std::string_view& text) {
    if (!Take(text, '@')) return std::nullopt;
    const std::int64_t sign = text.starts_with('-') ? -1 : 1;
    std::int64_t seconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    constexpr std::int64_t kFarthest = 1'000'000'000'000;
    if (error != std::errc() || seconds < -kFarthest || seconds > kFarthest) return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    const auto fraction = TakeFraction(text);
    if (!fraction) return std::nullopt;
    return seconds * kSecond + sign * *fraction;
}

// ---- Zones

std::int64_t FloorOf(std::int64_t value, std::int64_t unit) { return value / unit - (value % unit < 0 ? 1 : 0); }

/// How far the local time is ahead of UTC at a time.
std::int64_t OffsetAt(std::int64_t time) {
    // Zones change at whole quarters of an hour, and records come in order: most ask for the quarter of the one before.
    constexpr std::int64_t kQuarter = 15 * kMinute;
    static thread_local std::int64_t lastQuarter = std::numeric_limits<std::int64_t>::min();
    static thread_local std::int64_t lastOffset = 0;
    const std::int64_t quarter = FloorOf(time, kQuarter);
    if (quarter == lastQuarter) return lastOffset;
    const std::time_t seconds = FloorOf(time, kSecond);
    std::tm local{};
    lastOffset = localtime_r(&seconds, &local) ? local.tm_gmtoff * kSecond : 0;
    lastQuarter = quarter;
    return lastOffset;
}

/// The time at which clocks in `zone` show `shown` (milliseconds, as if it were UTC).
std::int64_t TimeAtClock(std::int64_t shown, Zone zone) {
    if (zone == Zone::UTC) return shown;
    const std::int64_t seconds = FloorOf(shown, kSecond);
    const std::time_t asUTC = seconds;
    std::tm clock{};
    gmtime_r(&asUTC, &clock);
    clock.tm_isdst = -1;
    return std::mktime(&clock) * kSecond + (shown - seconds * kSecond);
}

std::int64_t ClockAt(std::int64_t time, Zone zone) { return zone == Zone::UTC ? time : time + OffsetAt(time); }

/// "Z", "+01:00", "-0330", " UTC": the offset from UTC, if the text goes on with one.
std::optional<std::int64_t> TakeZone(std::string_view& text) {
    while (Take(text, ' ')) {
    }
    if (Take(text, 'Z') || Take(text, 'z')) return 0;
    if (text == "UTC" || text == "utc" || text == "GMT") {
        text = {};
        return 0;
    }
    const bool isWest = text.starts_with('-');
    if (!isWest && !text.starts_with('+')) return std::nullopt;
    std::string_view rest = text.substr(1);
    const auto hours = TakeDigits(rest, 2);
    Take(rest, ':');
    const auto minutes = TakeDigits(rest, 2);
    if (!hours || *hours > 18 || !minutes || *minutes > 59) return std::nullopt;
    text = rest;
    return (isWest ? -1 : 1) * (*hours * kHour + *minutes * kMinute);
}

std::string OffsetText(std::int64_t offset) {
    if (offset == 0) return "Z";
    const std::int64_t minutes = (offset < 0 ? -offset : offset) / kMinute;
    return fmt::format("{}{:02}:{:02}", offset < 0 ? '-' : '+', minutes / 60, minutes % 60);
}

/// "2026-11-15T16:02:42" of what a clock shows.
std::string ClockText(std::int64_t shown) {
    const std::int64_t days = FloorOf(shown, kDay);
    const std::chrono::year_month_day date{std::chrono::sys_days(std::chrono::days(days))};
    const std::int64_t rest = (shown - days * kDay) / kSecond;
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", int{date.year()}, unsigned{date.month()},
                       unsigned{date.day()}, rest / 3600, rest / 60 % 60, rest % 60);
}

// ---- What people say

bool TakeWord(std::string_view& text, std::string_view word) {
    if (!text.starts_with(word)) return false;
    const std::string_view rest = text.substr(word.size());
    if (!rest.empty() && std::isalpha(static_cast<unsigned char>(rest.front()))) return false;
    text = rest;
    return true;
}

std::string_view TakeSpaces(std::string_view& text) {
    while (Take(text, ' ')) {
    }
    return text;
}

std::optional<std::int64_t> TakeUnit(std::string_view& text) {
    struct Unit {
        std::string_view word;
        std::int64_t length;
    };
    // Longer words first: none is taken for the beginning of another.
    static constexpr Unit kUnits[] = {
        {"seconds", kSecond}, {"second", kSecond}, {"sec", kSecond}, {"minutes", kMinute}, {"minute", kMinute},
        {"min", kMinute},     {"hours", kHour},    {"hour", kHour},  {"days", kDay},       {"day", kDay},
        {"weeks", 7 * kDay},  {"week", 7 * kDay},  {"s", kSecond},   {"m", kMinute},       {"h", kHour},
        {"d", kDay},          {"w", 7 * kDay},
    };
    TakeSpaces(text);
    for (const Unit& unit : kUnits) {
        if (!text.starts_with(unit.word)) continue;
        text.remove_prefix(unit.word.size());
        return unit.length;
    }
    return std::nullopt;
}

/// "1h", "1h30m", "2 days": how long.
std::optional<std::int64_t> TakeLength(std::string_view& text) {
    constexpr std::int64_t kMost = 1'000'000;  // of any unit
    std::int64_t total = 0;
    bool any = false;
    while (!TakeSpaces(text).empty() && text.front() >= '0' && text.front() <= '9') {
        std::int64_t count = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
        if (error != std::errc() || count > kMost) return std::nullopt;
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        const auto unit = TakeUnit(text);
        if (!unit) return std::nullopt;
        total += count * *unit;
        any = true;
    }
    return any ? std::optional(total) : std::nullopt;
}

/// Days since 1970 of the day that a word names, as seen from the day `today`.
std::optional<std::int64_t> TakeDayWord(std::string_view& text, std::int64_t today) {
    if (TakeWord(text, "today")) return today;
    if (TakeWord(text, "yesterday")) return today - 1;
    if (TakeWord(text, "tomorrow")) return today + 1;
    static constexpr std::array<std::string_view, 7> kWeekdays{"thursday", "friday",  "saturday", "sunday",
                                                               "monday",   "tuesday", "wednesday"};  // 1970-01-01 first
    for (std::size_t i = 0; i < kWeekdays.size(); ++i) {
        if (!TakeWord(text, kWeekdays[i]) && !TakeWord(text, kWeekdays[i].substr(0, 3))) continue;
        const std::int64_t back = ((today - static_cast<std::int64_t>(i)) % 7 + 7) % 7;
        return today - back;
    }
    return std::nullopt;
}

/// A day, by its date or a word, with or without a time of day and a zone; or a time of day alone.
std::optional<std::int64_t> TakeCalendar(std::string_view text, Zone zone, std::int64_t now) {
    const std::int64_t today = FloorOf(ClockAt(now, zone), kDay);
    std::int64_t day = today;
    bool wantsTime = false;
    if (const auto word = TakeDayWord(text, today)) {
        day = *word;
    } else if (text.size() > 4 && text[4] == '-') {
        const auto date = TakeDate(text);
        if (!date) return std::nullopt;
        day = *date;
        if (Take(text, 't')) wantsTime = true;
    } else {
        wantsTime = true;
    }
    TakeSpaces(text);
    std::int64_t ofDay = 0;
    if (wantsTime || (text.size() > 2 && text[2] == ':')) {
        const auto time = TakeTimeOfDay(text);
        const auto fraction = time ? TakeFraction(text) : std::nullopt;
        if (!fraction) return std::nullopt;
        ofDay = *time + *fraction;
    }
    const std::int64_t shown = day * kDay + ofDay;
    const auto offset = text.empty() ? std::nullopt : TakeZone(text);
    if (!text.empty()) return std::nullopt;
    return offset ? shown - *offset : TimeAtClock(shown, zone);
}

/// Whether it is a date with a time of day in the form of records, whose fraction begins at the place returned.
std::optional<std::size_t> PlaceOfFraction(std::string_view text) {
    std::string_view rest = text;
    if (!TakeDate(rest) || !Take(rest, 'T') || !TakeTimeOfDay(rest)) return std::nullopt;
    const std::size_t place = text.size() - rest.size();
    if (Take(rest, '.')) {
        if (rest.empty()) return std::nullopt;
        while (TakeDigits(rest, 1)) {
        }
    }
    return rest.empty() ? std::optional(place) : std::nullopt;
}

}  // namespace

std::optional<std::int64_t> TimeOf(std::string_view text) {
    std::int64_t time = 0;
    if (text.starts_with('@')) {
        const auto seconds = TakeSecondsSince1970(text);
        if (!seconds) return std::nullopt;
        time = *seconds;
    } else {
        const auto days = TakeDate(text);
        if (!days) return std::nullopt;
        time = *days * kDay;
        if (Take(text, 'T') || Take(text, ' ')) {
            const auto ofDay = TakeTimeOfDay(text);
            if (!ofDay) return std::nullopt;
            time += *ofDay;
        }
        const auto fraction = TakeFraction(text);
        if (!fraction) return std::nullopt;
        time += *fraction;
    }
    Take(text, 'Z');
    if (!text.empty()) return std::nullopt;
    return time;
}

std::optional<std::int64_t> TimeMeant(std::string_view said, Zone zone, std::int64_t now) {
    const std::string lower = LowerCased(said);
    std::string_view text = lower;
    TakeSpaces(text);
    while (text.ends_with(' ')) text.remove_suffix(1);
    if (text == "now") return now;
    if (text.starts_with('@')) {
        const auto time = TakeSecondsSince1970(text);
        Take(text, 'z');
        return text.empty() ? time : std::nullopt;
    }
    const bool isBefore = Take(text, '-');
    if (isBefore || Take(text, '+')) {
        const auto length = TakeLength(text);
        if (!length || !text.empty()) return std::nullopt;
        return isBefore ? now - *length : now + *length;
    }
    if (text.ends_with(" ago")) {
        text.remove_suffix(4);
        const auto length = TakeLength(text);
        return length && text.empty() ? std::optional(now - *length) : std::nullopt;
    }
    return TakeCalendar(text, zone, now);
}

std::int64_t Now() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

std::string TimeText(std::int64_t time, Zone zone) {
    const std::int64_t shown = ClockAt(time, zone);
    return fmt::format("{}.{:03}{}", ClockText(shown), shown - FloorOf(shown, kSecond) * kSecond,
                       OffsetText(shown - time));
}

int HourOf(std::int64_t time, Zone zone) {
    const std::int64_t shown = ClockAt(time, zone);
    return static_cast<int>((shown - FloorOf(shown, kDay) * kDay) / kHour);
}

std::string DateShown(std::string_view recordDate, Zone zone) {
    const auto place = PlaceOfFraction(recordDate);
    if (!place) return std::string(recordDate);
    const std::int64_t time = *TimeOf(recordDate.substr(0, *place));
    const std::int64_t shown = ClockAt(time, zone);
    if (shown == time) return std::string(recordDate) + "Z";
    return ClockText(shown) + std::string(recordDate.substr(*place)) + OffsetText(shown - time);
}

std::string DateWithZone(std::string_view recordDate) { return DateShown(recordDate, Zone::UTC); }

std::string RecordDate(std::string_view text) {
    std::string_view rest = text;
    const auto days = TakeDate(rest);
    if (!days || !Take(rest, 'T')) return std::string(text);
    const auto ofDay = TakeTimeOfDay(rest);
    const std::string_view fraction = rest;
    if (!ofDay || !TakeFraction(rest)) return std::string(text);
    const std::string_view digits = fraction.substr(0, fraction.size() - rest.size());
    if (!rest.empty() && rest.front() == ' ') return std::string(text);
    const auto offset = TakeZone(rest);
    if (!offset || !rest.empty()) return std::string(text);
    if (*offset == 0) return std::string(text.substr(0, text.size() - fraction.size())) + std::string(digits);
    return ClockText(*days * kDay + *ofDay - *offset) + std::string(digits);
}

}  // namespace kxtool
