// The functions of a calendar that take a description of components.

#include "CFCalendarObject.h"
#include "CoreFoundation/Object/Range.h"

#include <array>
#include <cmath>
#include <cstdarg>
#include <limits>

using namespace KXPlatform;

namespace {

/// A letter of a description.
struct Component {
    char letter;
    UCalendarDateFields field;
    int toPublic;  ///< what ICU's value lacks to ours
};

/// In the order in which components are set: of those that contradict each other a later one counts.
constexpr Component kComponents[] = {
    {'G', UCAL_ERA, 0},          {'Y', UCAL_YEAR_WOY, 0},      {'y', UCAL_YEAR, 0},
    {'w', UCAL_WEEK_OF_YEAR, 0}, {'W', UCAL_WEEK_OF_MONTH, 0}, {'F', UCAL_DAY_OF_WEEK_IN_MONTH, 0},
    {'E', UCAL_DAY_OF_WEEK, 0},  {'Q', UCAL_MONTH, 0},         {'M', UCAL_MONTH, 1},
    {'d', UCAL_DATE, 0},         {'H', UCAL_HOUR_OF_DAY, 0},   {'m', UCAL_MINUTE, 0},
    {'s', UCAL_SECOND, 0},
};
constexpr std::size_t kCount = std::size(kComponents);

/// The index of a letter; kCount for what is none.
std::size_t indexOf(char letter) noexcept {
    if (letter == 'h') letter = 'H';
    std::size_t i = 0;
    while (i < kCount && kComponents[i].letter != letter) ++i;
    return i;
}

bool isDescription(const char* description) noexcept {
    if (!description) return false;
    for (; *description; ++description)
        if (indexOf(*description) == kCount) return false;
    return true;
}

int valueOf(CalendarInUse& calendar, const Component& component) noexcept {
    const int value = calendar.get(component.field);
    return component.letter == 'Q' ? value / 3 + 1 : value + component.toPublic;
}

/// The values given for components; an empty one was not given.
using Values = std::array<std::optional<int>, kCount>;

bool areWithinLimits(const icu::Calendar& calendar, const Values& values) noexcept {
    for (std::size_t i = 0; i < kCount; ++i) {
        if (!values[i]) continue;
        const Component& component = kComponents[i];
        if (component.letter == 'Q') {
            if (*values[i] < 1 || *values[i] > 4) return false;
            continue;
        }
        // The last of a month's weekdays may be counted from its end, -1.
        const int value = *values[i] - component.toPublic;
        const int least = component.letter == 'F' ? -1 : calendar.getMinimum(component.field);
        if (value < least || value > calendar.getMaximum(component.field)) return false;
    }
    return true;
}

/// The time of `values`. False for those that no time has.
bool compose(CalendarInUse& calendar, const Values& values, CFAbsoluteTime& at) noexcept {
    if (!areWithinLimits(*calendar.operator->(), values)) return false;
    calendar->clear();
    const auto given = [&](char letter) -> const std::optional<int>& { return values[indexOf(letter)]; };
    if (!given('y') && !given('Y')) calendar->set(UCAL_YEAR, 1);
    for (std::size_t i = 0; i < kCount; ++i) {
        if (!values[i]) continue;
        const Component& component = kComponents[i];
        if (component.letter == 'Q') {
            if (!given('M')) calendar->set(UCAL_MONTH, (*values[i] - 1) * 3);
        } else {
            calendar->set(component.field, *values[i] - component.toPublic);
        }
    }
    const CFAbsoluteTime composed = calendar.time();
    // ICU rolls over what the month, or the year, does not have.
    for (const char letter : {'M', 'd'}) {
        const Component& component = kComponents[indexOf(letter)];
        if (given(letter) && valueOf(calendar, component) != *given(letter)) return false;
    }
    if (calendar.hasFailed() || !isReached(composed)) return false;
    at = composed;
    return true;
}

/// No component is shorter, in days.
double leastDays(const Component& component) noexcept {
    switch (component.letter) {
        case 'y':
        case 'Y':
            return 353;
        case 'Q':
            return 3 * 29;
        case 'M':
            return 29;
        case 'w':
        case 'W':
        case 'F':
            return 7;
        default:
            return 0;
    }
}

/// Moves `at` by one component. False beyond what calendars reach.
bool addComponent(CalendarInUse& calendar, const Component& component, int amount, bool wraps,
                  CFAbsoluteTime& at) noexcept {
    const double fraction = at - std::floor(at);
    calendar.moveTo(at);
    std::int64_t steps = amount;
    if (component.letter == 'Q') steps *= 3;
    if (steps < std::numeric_limits<std::int32_t>::min() || steps > std::numeric_limits<std::int32_t>::max())
        return false;
    if (wraps)
        calendar->roll(component.field, static_cast<std::int32_t>(steps), calendar.status());
    else
        calendar.add(component.field, static_cast<std::int32_t>(steps));
    const CFAbsoluteTime moved = calendar.time() + fraction;
    if (calendar.hasFailed() || !isReached(moved)) return false;
    // Of more than it can count, ICU adds some. (A day that is cut off at the end of a month may be some days less.)
    constexpr double kDay = 86400;
    if (!wraps && std::abs(moved - at) < (leastDays(component) * std::abs(static_cast<double>(amount)) - 40) * kDay)
        return false;
    at = moved;
    return true;
}

/// How long a component always is; 0 where that depends.
double secondsOf(const Component& component) noexcept {
    switch (component.letter) {
        case 'H':
            return 3600;
        case 'm':
            return 60;
        case 's':
            return 1;
        default:
            return 0;
    }
}

/// How many of a component lie between two times; the first is moved by them.
bool takeDifference(CalendarInUse& calendar, const Component& component, CFAbsoluteTime& from, CFAbsoluteTime to,
                    int& count) noexcept {
    if (const double seconds = secondsOf(component); seconds != 0) {
        const double whole = std::trunc((to - from) / seconds);
        if (!(std::abs(whole) <= std::numeric_limits<int>::max())) return false;
        count = static_cast<int>(whole);
        from += whole * seconds;
        return true;
    }
    calendar.moveTo(from);
    // Fractions of seconds must not make a unit whole that is not.
    const double fraction = from - std::floor(from);
    const UDate target = dateOfSecond(to >= from ? to - fraction : std::ceil(to - fraction));
    count = calendar->fieldDifference(target, component.field, calendar.status());
    if (component.letter == 'Q') {
        count /= 3;
        calendar.moveTo(from);
        calendar.add(UCAL_MONTH, count * 3);
    }
    from = calendar.time() + fraction;
    return !calendar.hasFailed();
}

}  // namespace

Boolean CFCalendarComposeAbsoluteTime(CFCalendarRef calendar, CFAbsoluteTime* at, const char* componentDesc, ...) {
    if (!KXPlatform::calendar(calendar) || !at || !isDescription(componentDesc)) return false;
    Values values;
    std::va_list arguments;
    va_start(arguments, componentDesc);
    for (const char* letter = componentDesc; *letter; ++letter) values[indexOf(*letter)] = va_arg(arguments, int);
    va_end(arguments);
    CalendarInUse inUse(calendar, 0);
    return compose(inUse, values, *at);
}

Boolean CFCalendarDecomposeAbsoluteTime(CFCalendarRef calendar, CFAbsoluteTime at, const char* componentDesc, ...) {
    if (!KXPlatform::calendar(calendar) || !isReached(at) || !isDescription(componentDesc)) return false;
    CalendarInUse inUse(calendar, at);
    std::va_list arguments;
    va_start(arguments, componentDesc);
    for (const char* letter = componentDesc; *letter; ++letter) {
        const int value = valueOf(inUse, kComponents[indexOf(*letter)]);
        if (int* const place = va_arg(arguments, int*); place && !inUse.hasFailed()) *place = value;
    }
    va_end(arguments);
    return !inUse.hasFailed();
}

Boolean CFCalendarAddComponents(CFCalendarRef calendar, CFAbsoluteTime* at, CFOptionFlags options,
                                const char* componentDesc, ...) {
    if (!KXPlatform::calendar(calendar) || !at || !isReached(*at) || !isDescription(componentDesc)) return false;
    CalendarInUse inUse(calendar, *at);
    CFAbsoluteTime moved = *at;
    bool isDone = true;
    std::va_list arguments;
    va_start(arguments, componentDesc);
    for (const char* letter = componentDesc; *letter && isDone; ++letter) {
        isDone = addComponent(inUse, kComponents[indexOf(*letter)], va_arg(arguments, int),
                              (options & kCFCalendarComponentsWrap) != 0, moved);
    }
    va_end(arguments);
    if (isDone) *at = moved;
    return isDone;
}

Boolean CFCalendarGetComponentDifference(CFCalendarRef calendar, CFAbsoluteTime startingAT, CFAbsoluteTime resultAT,
                                         CFOptionFlags, const char* componentDesc, ...) {
    if (!KXPlatform::calendar(calendar) || !isReached(startingAT) || !isReached(resultAT) ||
        !isDescription(componentDesc)) {
        return false;
    }
    CalendarInUse inUse(calendar, startingAT);
    CFAbsoluteTime from = startingAT;
    bool isDone = true;
    std::va_list arguments;
    va_start(arguments, componentDesc);
    for (const char* letter = componentDesc; *letter && isDone; ++letter) {
        int count = 0;
        isDone = takeDifference(inUse, kComponents[indexOf(*letter)], from, resultAT, count);
        if (int* const place = va_arg(arguments, int*); place && isDone) *place = count;
    }
    va_end(arguments);
    return isDone;
}
