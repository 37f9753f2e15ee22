#include "ZoneRule.h"

#include "CoreFoundation/Values/CalendarDays.h"

#include <algorithm>
#include <cstdlib>

namespace KXPlatform {
namespace {

constexpr std::int64_t kDay = 86400;

/// No computer's time is further away than this; a year's distance from it still counts in 64 bits.
constexpr std::int64_t kFarthest = std::int64_t{1} << 58;

bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }
bool isLetter(char c) noexcept { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

}  // namespace

/// Takes the parts of a rule from the front of its text.
class ZoneRule::Reader {
  public:
    explicit Reader(std::string_view text) : rest_(text) {}

    bool isAtEnd() const noexcept { return rest_.empty(); }

    bool isAt(char c) const noexcept { return rest_.starts_with(c); }

    bool take(char c) noexcept {
        if (!isAt(c)) return false;
        rest_.remove_prefix(1);
        return true;
    }

    /// Three letters or more, or three characters or more in angle brackets.
    bool takeName(std::string& name) {
        const bool isQuoted = take('<');
        std::size_t size = 0;
        while (
            size < rest_.size() &&
            (isLetter(rest_[size]) || (isQuoted && (isDigit(rest_[size]) || rest_[size] == '+' || rest_[size] == '-'))))
            ++size;
        if (size < 3) return false;
        name = rest_.substr(0, size);
        rest_.remove_prefix(size);
        return !isQuoted || take('>');
    }

    bool takeNumber(int lowest, int highest, int& number) noexcept {
        if (rest_.empty() || !isDigit(rest_.front())) return false;
        number = 0;
        for (int digits = 0; !rest_.empty() && isDigit(rest_.front()); ++digits) {
            if (digits == 3) return false;
            number = number * 10 + (rest_.front() - '0');
            rest_.remove_prefix(1);
        }
        return number >= lowest && number <= highest;
    }

    /// [+-]hh[:mm[:ss]] in seconds.
    bool takeTime(int mostHours, std::int32_t& seconds) noexcept {
        const bool isNegative = take('-');
        if (!isNegative) take('+');
        int hours = 0, minutes = 0, rest = 0;
        if (!takeNumber(0, mostHours, hours)) return false;
        if (take(':')) {
            if (!takeNumber(0, 59, minutes)) return false;
            if (take(':') && !takeNumber(0, 59, rest)) return false;
        }
        seconds = (hours * 60 + minutes) * 60 + rest;
        if (isNegative) seconds = -seconds;
        return true;
    }

    bool takeChange(Change& change) noexcept {
        int month = 0, week = 0, day = 0;
        if (take('M')) {
            if (!takeNumber(1, 12, month) || !take('.') || !takeNumber(1, 5, week) || !take('.') ||
                !takeNumber(0, 6, day)) {
                return false;
            }
            change.form = Change::Form::WeekdayOfMonth;
        } else if (take('J')) {
            if (!takeNumber(1, 365, day)) return false;
            change.form = Change::Form::JulianWithoutLeapDay;
        } else {
            if (!takeNumber(0, 365, day)) return false;
            change.form = Change::Form::DayOfYear;
        }
        change.month = static_cast<std::int8_t>(month);
        change.week = static_cast<std::int8_t>(week);
        change.day = static_cast<std::int16_t>(day);
        return !take('/') || takeTime(167, change.second);
    }

  private:
    std::string_view rest_;
};

std::optional<ZoneRule> ZoneRule::read(std::string_view text) {
    Reader reader(text);
    ZoneRule rule;
    std::int32_t west = 0;
    if (!reader.takeName(rule.standard_.abbreviation) || !reader.takeTime(24, west)) return {};
    rule.standard_.offset = -west;
    if (reader.isAtEnd()) return rule;

    rule.hasDaylight_ = true;
    if (!reader.takeName(rule.daylight_.abbreviation)) return {};
    rule.daylight_.offset = rule.standard_.offset + 3600;
    if (!reader.isAtEnd() && !reader.isAt(',')) {
        if (!reader.takeTime(24, west)) return {};
        rule.daylight_.offset = -west;
    }
    // Without dates the rule is that of the United States, as in other systems.
    if (reader.isAtEnd()) reader = Reader(",M3.2.0,M11.1.0");
    if (!reader.take(',')) return {};
    if (!reader.takeChange(rule.start_) || !reader.take(',') || !reader.takeChange(rule.end_) || !reader.isAtEnd())
        return {};
    rule.classify();
    return rule;
}

std::int64_t ZoneRule::Change::inYear(std::int64_t year) const noexcept {
    std::int64_t found = dayNumber(year, 1, 1);
    switch (form) {
        case Form::JulianWithoutLeapDay:
            found += day - 1 + (day >= 60 && isLeap(year) ? 1 : 0);
            break;
        case Form::DayOfYear:
            found += day;
            break;
        case Form::WeekdayOfMonth: {
            const std::int64_t first = found + daysBeforeMonth(year, month);
            found = first + floorModulo(day - weekdayOf(first), 7) + 7 * (week - 1);
            if (found >= first + daysInMonth(year, month)) found -= 7;
            break;
        }
    }
    return (found - kDayOf1970) * kDay + second;
}

std::array<ZoneRule::Turn, 2> ZoneRule::turnsIn(std::int64_t year) const noexcept {
    const Turn start{start_.inYear(year) - standard_.offset, true};
    const Turn end{end_.inYear(year) - daylight_.offset, false};
    return end.time <= start.time ? std::array{end, start} : std::array{start, end};
}

bool ZoneRule::Change::isWellInside() const noexcept {
    // Within a week and a day of the year's end, an hour of the rule (up to 167 either way) may reach another year.
    return form == Form::WeekdayOfMonth ? month > 1 && month < 12 : day > 15 && day < 350;
}

void ZoneRule::classify() noexcept {
    if (!hasDaylight_) return;
    course_ = Course::Irregular;
    // Then they come in the same order every year.
    if (start_.isWellInside() && end_.isWellInside() && std::abs(start_.roughDay() - end_.roughDay()) > 45) {
        course_ = Course::Regular;
        return;
    }
    bool isNever = true, isAlways = true;
    for (std::int64_t year = 2000; year < 2028; ++year) {
        const std::int64_t end = end_.inYear(year) - daylight_.offset;
        isNever = isNever && end == start_.inYear(year) - standard_.offset;
        isAlways = isAlways && end == start_.inYear(year + 1) - standard_.offset;
    }
    if (isNever) course_ = Course::AlwaysStandard;
    if (isAlways) course_ = Course::AlwaysDaylight;
}

ZoneRule::Span ZoneRule::at(std::int64_t time) const noexcept {
    if (course_ == Course::AlwaysStandard) return {};
    if (course_ == Course::AlwaysDaylight) return {.isDaylight = true};
    time = std::clamp(time, -kFarthest, kFarthest);
    const std::int64_t year = calendarDay(floorDivide(time + standard_.offset, kDay) + kDayOf1970).year;
    return course_ == Course::Regular ? regularAt(time, year) : irregularAt(time, year);
}

ZoneRule::Span ZoneRule::regularAt(std::int64_t time, std::int64_t year) const noexcept {
    const std::array<Turn, 2> turns = turnsIn(year);
    if (time < turns[0].time) return {turnsIn(year - 1)[1].time, turns[0].time, turns[1].toDaylight};
    if (time < turns[1].time) return {turns[0].time, turns[1].time, turns[0].toDaylight};
    return {turns[1].time, turnsIn(year + 1)[0].time, turns[1].toDaylight};
}

ZoneRule::Span ZoneRule::irregularAt(std::int64_t time, std::int64_t year) const noexcept {
    // A change may lie a week outside its year, and two may come in another order from year to year.
    std::array<Turn, 10> all{};
    for (std::size_t i = 0; i < all.size(); i += 2) {
        const std::array<Turn, 2> turns = turnsIn(year - 2 + static_cast<std::int64_t>(i / 2));
        std::copy(turns.begin(), turns.end(), all.begin() + static_cast<std::ptrdiff_t>(i));
    }
    std::stable_sort(all.begin(), all.end(), [](const Turn& a, const Turn& b) { return a.time < b.time; });
    Span span{.isDaylight = !all.front().toDaylight};
    for (const Turn& turn : all) {
        if (turn.toDaylight == span.isDaylight) continue;
        if (turn.time > time) {
            span.end = turn.time;
            break;
        }
        span = {.start = turn.time, .isDaylight = turn.toDaylight};
    }
    return span;
}

}  // namespace KXPlatform
