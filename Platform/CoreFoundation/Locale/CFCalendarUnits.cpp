// Units of a calendar: which values they have, where they begin and end, and how they count in larger ones.

#include "CFCalendarObject.h"

#include <algorithm>
#include <cmath>

using namespace KXPlatform;

namespace {

constexpr CFIndex kNotFound = -1;
constexpr CFRange kNoRange = {kNotFound, kNotFound};

/// ICU's field for a unit; UCAL_FIELD_COUNT for what is none. Quarters are counted in months.
UCalendarDateFields fieldOf(CFCalendarUnit unit) noexcept {
    switch (unit) {
        case kCFCalendarUnitEra:
            return UCAL_ERA;
        case kCFCalendarUnitYear:
            return UCAL_YEAR;
        case kCFCalendarUnitQuarter:
        case kCFCalendarUnitMonth:
            return UCAL_MONTH;
        case kCFCalendarUnitDay:
            return UCAL_DATE;
        case kCFCalendarUnitHour:
            return UCAL_HOUR_OF_DAY;
        case kCFCalendarUnitMinute:
            return UCAL_MINUTE;
        case kCFCalendarUnitSecond:
            return UCAL_SECOND;
        case kCFCalendarUnitWeek:
        case kCFCalendarUnitWeekOfYear:
            return UCAL_WEEK_OF_YEAR;
        case kCFCalendarUnitWeekOfMonth:
            return UCAL_WEEK_OF_MONTH;
        case kCFCalendarUnitWeekday:
            return UCAL_DAY_OF_WEEK;
        case kCFCalendarUnitWeekdayOrdinal:
            return UCAL_DAY_OF_WEEK_IN_MONTH;
        case kCFCalendarUnitYearForWeekOfYear:
            return UCAL_YEAR_WOY;
        default:
            return UCAL_FIELD_COUNT;
    }
}

/// Larger units have larger ranks; those of one rank do not hold each other. -1 for what is none.
int rankOf(CFCalendarUnit unit) noexcept {
    switch (unit) {
        case kCFCalendarUnitSecond:
            return 0;
        case kCFCalendarUnitMinute:
            return 1;
        case kCFCalendarUnitHour:
            return 2;
        case kCFCalendarUnitDay:
        case kCFCalendarUnitWeekday:
        case kCFCalendarUnitWeekdayOrdinal:
            return 3;
        case kCFCalendarUnitWeek:
        case kCFCalendarUnitWeekOfYear:
        case kCFCalendarUnitWeekOfMonth:
            return 4;
        case kCFCalendarUnitMonth:
            return 5;
        case kCFCalendarUnitQuarter:
            return 6;
        case kCFCalendarUnitYear:
        case kCFCalendarUnitYearForWeekOfYear:
            return 7;
        case kCFCalendarUnitEra:
            return 8;
        default:
            return -1;
    }
}

bool doesNest(CFCalendarUnit smaller, CFCalendarUnit bigger) noexcept {
    return rankOf(smaller) >= 0 && rankOf(smaller) < rankOf(bigger);
}

/// The values of a unit from the first to the last.
CFRange between(CFIndex first, CFIndex last) noexcept { return {first, last - first + 1}; }

CFRange limits(icu::Calendar& calendar, CFCalendarUnit unit, bool isNarrow) noexcept {
    const UCalendarDateFields field = fieldOf(unit);
    if (field == UCAL_FIELD_COUNT) return kNoRange;
    if (unit == kCFCalendarUnitQuarter) return {1, 4};
    CFIndex first = isNarrow ? calendar.getGreatestMinimum(field) : calendar.getMinimum(field);
    CFIndex last = isNarrow ? calendar.getLeastMaximum(field) : calendar.getMaximum(field);
    if (unit == kCFCalendarUnitMonth) ++first, ++last;
    if (unit == kCFCalendarUnitWeekdayOrdinal) first = 1;  // ICU also counts from the end
    return between(first, last);
}

void setToMidnight(CalendarInUse& calendar) noexcept {
    for (const UCalendarDateFields field : {UCAL_HOUR_OF_DAY, UCAL_MINUTE, UCAL_SECOND, UCAL_MILLISECOND})
        calendar->set(field, 0);
    calendar.time();
}

void setToFirst(CalendarInUse& calendar, UCalendarDateFields field) noexcept {
    calendar->set(field, calendar->getActualMinimum(field, calendar.status()));
    calendar.time();
}

/// The first second of the era that `calendar` is in. Eras follow each other, so halving finds it.
CFAbsoluteTime startOfEra(CalendarInUse& calendar) noexcept {
    const int era = calendar.get(UCAL_ERA);
    double before = -kFarthestTime;
    double within = calendar.time();
    calendar.moveTo(before);
    if (calendar.get(UCAL_ERA) == era) return before;
    while (within - before > 1) {
        const double middle = std::floor(before + (within - before) / 2);
        calendar.moveTo(middle);
        (calendar.get(UCAL_ERA) == era ? within : before) = middle;
    }
    return within;
}

CFAbsoluteTime endOfEra(CalendarInUse& calendar) noexcept {
    const int era = calendar.get(UCAL_ERA);
    double within = calendar.time();
    double after = kFarthestTime;
    calendar.moveTo(after);
    if (calendar.get(UCAL_ERA) == era) return after;
    while (after - within > 1) {
        const double middle = std::floor(within + (after - within) / 2);
        calendar.moveTo(middle);
        (calendar.get(UCAL_ERA) == era ? within : after) = middle;
    }
    return after;
}

/// Moves `calendar` from the start of a unit to its end.
void moveToEnd(CalendarInUse& calendar, CFCalendarUnit unit) noexcept {
    switch (rankOf(unit)) {
        case 0:
            return calendar.add(UCAL_SECOND, 1);
        case 1:
            return calendar.add(UCAL_MINUTE, 1);
        case 2:
            return calendar.add(UCAL_HOUR_OF_DAY, 1);
        case 8:
            return calendar.moveTo(endOfEra(calendar));
        case 3:
            calendar.add(UCAL_DATE, 1);
            break;
        case 4:
            calendar.add(UCAL_DATE, 7);
            break;
        case 5:
            calendar.add(UCAL_MONTH, 1);
            break;
        case 6:
            calendar.add(UCAL_MONTH, 3);
            break;
        default:
            // Around the middle of the next year, whatever the number of its months.
            calendar.add(unit == kCFCalendarUnitYear ? UCAL_YEAR : UCAL_YEAR_WOY, 1);
            break;
    }
    // Where the clocks are changed at midnight, the next day does not begin at the hour of this one.
    moveToStart(calendar, unit);
}

bool rangeOf(CalendarInUse& calendar, CFCalendarUnit unit, TimeRange& range) noexcept {
    if (!moveToStart(calendar, unit)) return false;
    range.start = calendar.time();
    moveToEnd(calendar, unit);
    range.length = calendar.time() - range.start;
    return !calendar.hasFailed();
}

/// Whole days from one time to another, by the wall clock.
CFIndex daysBetween(CalendarInUse& calendar, CFAbsoluteTime from, CFAbsoluteTime to) noexcept {
    calendar.moveTo(from);
    const int first = calendar.get(UCAL_JULIAN_DAY);
    calendar.moveTo(to);
    return calendar.get(UCAL_JULIAN_DAY) - first;
}

CFIndex ordinality(CalendarInUse& calendar, CFCalendarUnit smaller, CFCalendarUnit bigger, CFAbsoluteTime at) noexcept {
    const bool isYear = rankOf(bigger) == rankOf(kCFCalendarUnitYear);
    switch (smaller) {
        case kCFCalendarUnitYear:
            return calendar.get(UCAL_YEAR);
        case kCFCalendarUnitYearForWeekOfYear:
            return calendar.get(UCAL_YEAR_WOY);
        case kCFCalendarUnitQuarter:
            return isYear ? calendar.get(UCAL_MONTH) / 3 + 1 : kNotFound;
        case kCFCalendarUnitMonth:
            if (bigger == kCFCalendarUnitQuarter) return calendar.get(UCAL_MONTH) % 3 + 1;
            return isYear ? calendar.get(UCAL_MONTH) + 1 : kNotFound;
        case kCFCalendarUnitWeek:
        case kCFCalendarUnitWeekOfYear:
        case kCFCalendarUnitWeekOfMonth:
            if (bigger == kCFCalendarUnitMonth) return calendar.get(UCAL_WEEK_OF_MONTH);
            if (isYear) return calendar.get(UCAL_WEEK_OF_YEAR);
            break;
        default:
            break;
    }
    TimeRange range{};
    if (!rangeOf(calendar, bigger, range)) return kNotFound;
    switch (smaller) {
        case kCFCalendarUnitSecond:
            return static_cast<CFIndex>(at - range.start) + 1;
        case kCFCalendarUnitMinute:
            return static_cast<CFIndex>((at - range.start) / 60) + 1;
        case kCFCalendarUnitHour:
            return static_cast<CFIndex>((at - range.start) / 3600) + 1;
        case kCFCalendarUnitDay:
            return daysBetween(calendar, range.start, at) + 1;
        case kCFCalendarUnitWeekday:
        case kCFCalendarUnitWeekdayOrdinal:
            // In a week, which of its days; in a larger unit, which of its days of this name.
            if (rankOf(bigger) == 4)
                return smaller == kCFCalendarUnitWeekday ? daysBetween(calendar, range.start, at) + 1 : 1;
            return daysBetween(calendar, range.start, at) / 7 + 1;
        default:  // weeks
            return daysBetween(calendar, range.start, at) / 7 + 1;
    }
}

/// The values of a unit from the first second of `range` to its last.
CFRange valuesIn(CalendarInUse& calendar, UCalendarDateFields field, const TimeRange& range) noexcept {
    calendar.moveTo(range.start);
    const int first = calendar.get(field);
    calendar.moveTo(range.start + range.length - 1);
    return between(first, calendar.get(field));
}

CFRange rangeIn(CalendarInUse& calendar, CFCalendarUnit smaller, CFCalendarUnit bigger) noexcept {
    // What a unit has in every larger one.
    switch (smaller) {
        case kCFCalendarUnitSecond:
        case kCFCalendarUnitMinute:
        case kCFCalendarUnitHour:
        case kCFCalendarUnitWeekday:
            return limits(*calendar.operator->(), smaller, false);
        case kCFCalendarUnitYear:
        case kCFCalendarUnitYearForWeekOfYear:
            return limits(*calendar.operator->(), smaller, false);
        case kCFCalendarUnitQuarter:
            return rankOf(bigger) == 7 ? CFRange{1, 4} : kNoRange;
        default:
            break;
    }
    if (rankOf(bigger) == 8) return limits(*calendar.operator->(), smaller, false);
    TimeRange range{};
    if (!rangeOf(calendar, bigger, range)) return kNoRange;
    const CFIndex days = daysBetween(calendar, range.start, range.start + range.length - 1) + 1;
    switch (smaller) {
        case kCFCalendarUnitDay:
            return {1, days};
        case kCFCalendarUnitWeekdayOrdinal:
            return {1, (days + 6) / 7};
        case kCFCalendarUnitMonth: {
            const CFRange months = valuesIn(calendar, UCAL_MONTH, range);
            return {months.location + 1, months.length};
        }
        case kCFCalendarUnitWeekOfMonth:
            if (bigger == kCFCalendarUnitMonth) return valuesIn(calendar, UCAL_WEEK_OF_MONTH, range);
            return limits(*calendar.operator->(), smaller, false);
        default: {  // weeks of the year
            if (rankOf(bigger) == 7) {
                calendar.moveTo(range.start + range.length / 2);
                return between(1, calendar->getActualMaximum(UCAL_WEEK_OF_YEAR, calendar.status()));
            }
            // A month's first days may lie in the last week of the year before, its last in the first of the next.
            CFRange weeks = valuesIn(calendar, UCAL_WEEK_OF_YEAR, range);
            if (weeks.length <= 0 || weeks.length > 20) weeks.length = (days + 6) / 7;
            return weeks;
        }
    }
}

}  // namespace

bool KXPlatform::moveToStart(CalendarInUse& calendar, CFCalendarUnit unit) noexcept {
    switch (rankOf(unit)) {
        case 0:
            break;
        case 1:
            calendar.moveTo(calendar.time() - calendar.get(UCAL_SECOND));
            break;
        case 2:
            calendar.moveTo(calendar.time() - calendar.get(UCAL_MINUTE) * 60 - calendar.get(UCAL_SECOND));
            break;
        case 3:
            setToMidnight(calendar);
            break;
        case 4: {
            const int first = calendar->getFirstDayOfWeek(calendar.status());
            calendar.add(UCAL_DATE, -((calendar.get(UCAL_DAY_OF_WEEK) - first + 7) % 7));
            setToMidnight(calendar);
            break;
        }
        case 5:
            setToFirst(calendar, UCAL_DATE);
            setToMidnight(calendar);
            break;
        case 6:
            setToFirst(calendar, UCAL_DATE);
            calendar.add(UCAL_MONTH, -(calendar.get(UCAL_MONTH) % 3));
            setToFirst(calendar, UCAL_DATE);
            setToMidnight(calendar);
            break;
        case 7:
            if (unit == kCFCalendarUnitYear) {
                setToFirst(calendar, UCAL_DAY_OF_YEAR);
            } else {
                const int year = calendar.get(UCAL_YEAR_WOY);
                const int first = calendar->getFirstDayOfWeek(calendar.status());
                calendar->clear();
                calendar->set(UCAL_YEAR_WOY, year);
                calendar->set(UCAL_WEEK_OF_YEAR, 1);
                calendar->set(UCAL_DAY_OF_WEEK, first);
                calendar.time();
            }
            setToMidnight(calendar);
            break;
        case 8:
            calendar.moveTo(startOfEra(calendar));
            break;
        default:
            return false;
    }
    return !calendar.hasFailed();
}

CFRange CFCalendarGetMinimumRangeOfUnit(CFCalendarRef calendar, CFCalendarUnit unit) {
    if (!KXPlatform::calendar(calendar)) return kNoRange;
    CalendarInUse inUse(calendar, 0);
    return limits(*inUse.operator->(), unit, true);
}

CFRange CFCalendarGetMaximumRangeOfUnit(CFCalendarRef calendar, CFCalendarUnit unit) {
    if (!KXPlatform::calendar(calendar)) return kNoRange;
    CalendarInUse inUse(calendar, 0);
    return limits(*inUse.operator->(), unit, false);
}

CFRange CFCalendarGetRangeOfUnit(CFCalendarRef calendar, CFCalendarUnit smallerUnit, CFCalendarUnit biggerUnit,
                                 CFAbsoluteTime at) {
    if (!KXPlatform::calendar(calendar) || !isReached(at) || !doesNest(smallerUnit, biggerUnit)) return kNoRange;
    CalendarInUse inUse(calendar, at);
    const CFRange range = rangeIn(inUse, smallerUnit, biggerUnit);
    return inUse.hasFailed() ? kNoRange : range;
}

CFIndex CFCalendarGetOrdinalityOfUnit(CFCalendarRef calendar, CFCalendarUnit smallerUnit, CFCalendarUnit biggerUnit,
                                      CFAbsoluteTime at) {
    if (!KXPlatform::calendar(calendar) || !isReached(at) || !doesNest(smallerUnit, biggerUnit)) return kNotFound;
    CalendarInUse inUse(calendar, at);
    const CFIndex found = ordinality(inUse, smallerUnit, biggerUnit, at);
    return inUse.hasFailed() ? kNotFound : found;
}

Boolean CFCalendarGetTimeRangeOfUnit(CFCalendarRef calendar, CFCalendarUnit unit, CFAbsoluteTime at,
                                     CFAbsoluteTime* startp, CFTimeInterval* tip) {
    if (!KXPlatform::calendar(calendar) || !isReached(at)) return false;
    CalendarInUse inUse(calendar, at);
    TimeRange range{};
    if (!rangeOf(inUse, unit, range)) return false;
    if (startp) *startp = range.start;
    if (tip) *tip = range.length;
    return true;
}
