// From what a formatter has been told to ICU's formatter.

#include "CFDateFormatterObject.h"
#include "ZoneForICU.h"

#include <unicode/dtfmtsym.h>
#include <unicode/gregocal.h>

#include <utility>

namespace KXPlatform {
namespace {

icu::Locale localeOf(const DateSettings& settings) {
    const char* const name = icuName(settings.locale.get(), LocalePart::Time);
    return settings.calendar ? localeWithCalendar(name, settings.calendar) : icu::Locale(name);
}

icu::DateFormat::EStyle styleOf(CFDateFormatterStyle style, bool isRelative) noexcept {
    constexpr icu::DateFormat::EStyle kStyles[] = {icu::DateFormat::kNone, icu::DateFormat::kShort,
                                                   icu::DateFormat::kMedium, icu::DateFormat::kLong,
                                                   icu::DateFormat::kFull};
    const icu::DateFormat::EStyle found = kStyles[style];
    if (!isRelative || found == icu::DateFormat::kNone) return found;
    return static_cast<icu::DateFormat::EStyle>(found | icu::DateFormat::kRelative);
}

/// Relative dates are a matter of styles: a pattern of the program's own has no place for "yesterday".
std::unique_ptr<icu::DateFormat> makeFormat(const DateSettings& settings) {
    const icu::Locale locale = localeOf(settings);
    if (locale.isBogus()) return nullptr;
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::DateFormat> made;
    if (settings.pattern) {
        made = std::make_unique<icu::SimpleDateFormat>(unicodeString(settings.pattern.get()), locale, status);
    } else if (settings.dateStyle == kCFDateFormatterNoStyle && settings.timeStyle == kCFDateFormatterNoStyle) {
        made = std::make_unique<icu::SimpleDateFormat>(icu::UnicodeString(), locale, status);
    } else {
        made.reset(icu::DateFormat::createDateTimeInstance(styleOf(settings.dateStyle, settings.isRelative),
                                                           styleOf(settings.timeStyle, false), locale));
    }
    return U_SUCCESS(status) ? std::move(made) : nullptr;
}

bool adoptCalendar(icu::DateFormat& format, const DateSettings& settings) {
    std::unique_ptr<icu::BasicTimeZone> zone = makeZoneForICU(settings.zone.get());
    if (!zone || !format.getCalendar()) return false;
    format.adoptTimeZone(zone.release());
    // The formatter's own; there is no other way to it.
    auto& calendar = const_cast<icu::Calendar&>(*format.getCalendar());
    UErrorCode status = U_ZERO_ERROR;
    if (settings.firstWeekday) calendar.setFirstDayOfWeek(static_cast<UCalendarDaysOfWeek>(*settings.firstWeekday));
    if (settings.minimumDays) calendar.setMinimalDaysInFirstWeek(static_cast<std::uint8_t>(*settings.minimumDays));
    if (auto* const gregorian = dynamic_cast<icu::GregorianCalendar*>(&calendar);
        gregorian && settings.gregorianStart) {
        gregorian->setGregorianChange(dateOfSecond(*settings.gregorianStart), status);
    }
    return U_SUCCESS(status);
}

void writeSymbols(icu::DateFormatSymbols& all, const DateSymbols& which, const std::vector<icu::UnicodeString>& texts) {
    const auto count = static_cast<std::int32_t>(texts.size());
    switch (which.field) {
        case DateSymbols::Field::Era:
            return all.setEras(texts.data(), count);
        case DateSymbols::Field::LongEra:
            return all.setEraNames(texts.data(), count);
        case DateSymbols::Field::Month:
            return all.setMonths(texts.data(), count, which.context, which.width);
        case DateSymbols::Field::Quarter:
            return all.setQuarters(texts.data(), count, which.context, which.width);
        case DateSymbols::Field::Weekday: {
            // ICU's first weekday, which is Sunday, has the index 1.
            std::vector<icu::UnicodeString> days(1);
            days.insert(days.end(), texts.begin(), texts.end());
            return all.setWeekdays(days.data(), count + 1, which.context, which.width);
        }
        case DateSymbols::Field::AM:
        case DateSymbols::Field::PM: {
            std::int32_t known = 0;
            const icu::UnicodeString* const both = all.getAmPmStrings(known);
            std::vector<icu::UnicodeString> halves(both, both + known);
            halves.resize(2);
            halves[which.field == DateSymbols::Field::AM ? 0 : 1] = texts.front();
            return all.setAmPmStrings(halves.data(), 2);
        }
    }
}

using Field = DateSymbols::Field;
using Names = icu::DateFormatSymbols;

constexpr DateSymbols kSymbols[] = {
    {&kCFDateFormatterEraSymbols, Field::Era},
    {&kCFDateFormatterLongEraSymbols, Field::LongEra},
    {&kCFDateFormatterAMSymbol, Field::AM},
    {&kCFDateFormatterPMSymbol, Field::PM},
    {&kCFDateFormatterMonthSymbols, Field::Month, Names::FORMAT, Names::WIDE},
    {&kCFDateFormatterShortMonthSymbols, Field::Month, Names::FORMAT, Names::ABBREVIATED},
    {&kCFDateFormatterVeryShortMonthSymbols, Field::Month, Names::FORMAT, Names::NARROW},
    {&kCFDateFormatterStandaloneMonthSymbols, Field::Month, Names::STANDALONE, Names::WIDE},
    {&kCFDateFormatterShortStandaloneMonthSymbols, Field::Month, Names::STANDALONE, Names::ABBREVIATED},
    {&kCFDateFormatterVeryShortStandaloneMonthSymbols, Field::Month, Names::STANDALONE, Names::NARROW},
    {&kCFDateFormatterWeekdaySymbols, Field::Weekday, Names::FORMAT, Names::WIDE},
    {&kCFDateFormatterShortWeekdaySymbols, Field::Weekday, Names::FORMAT, Names::ABBREVIATED},
    {&kCFDateFormatterVeryShortWeekdaySymbols, Field::Weekday, Names::FORMAT, Names::NARROW},
    {&kCFDateFormatterStandaloneWeekdaySymbols, Field::Weekday, Names::STANDALONE, Names::WIDE},
    {&kCFDateFormatterShortStandaloneWeekdaySymbols, Field::Weekday, Names::STANDALONE, Names::ABBREVIATED},
    {&kCFDateFormatterVeryShortStandaloneWeekdaySymbols, Field::Weekday, Names::STANDALONE, Names::NARROW},
    {&kCFDateFormatterQuarterSymbols, Field::Quarter, Names::FORMAT, Names::WIDE},
    {&kCFDateFormatterShortQuarterSymbols, Field::Quarter, Names::FORMAT, Names::ABBREVIATED},
    {&kCFDateFormatterStandaloneQuarterSymbols, Field::Quarter, Names::STANDALONE, Names::WIDE},
    {&kCFDateFormatterShortStandaloneQuarterSymbols, Field::Quarter, Names::STANDALONE, Names::ABBREVIATED},
};

}  // namespace

const DateSymbols* symbolsOf(CFStringRef key) noexcept {
    for (const DateSymbols& symbols : kSymbols)
        if (CFEqual(*symbols.key, key)) return &symbols;
    return nullptr;
}

std::vector<icu::UnicodeString> readSymbols(const icu::DateFormatSymbols& all, const DateSymbols& which) {
    std::int32_t count = 0;
    const icu::UnicodeString* texts = nullptr;
    switch (which.field) {
        case Field::Era:
            texts = all.getEras(count);
            break;
        case Field::LongEra:
            texts = all.getEraNames(count);
            break;
        case Field::Month:
            texts = all.getMonths(count, which.context, which.width);
            break;
        case Field::Weekday:
            texts = all.getWeekdays(count, which.context, which.width);
            break;
        case Field::Quarter:
            texts = all.getQuarters(count, which.context, which.width);
            break;
        case Field::AM:
        case Field::PM:
            texts = all.getAmPmStrings(count);
            break;
    }
    if (!texts || count <= 0) return {};
    if (which.field == Field::AM) return {texts[0]};
    if (which.field == Field::PM) return {texts[count - 1]};
    return {texts + (which.field == Field::Weekday ? 1 : 0), texts + count};
}

std::unique_ptr<DateEngine> makeEngine(const DateSettings& settings) {
    auto engine = std::make_unique<DateEngine>();
    engine->format = makeFormat(settings);
    if (!engine->format || !adoptCalendar(*engine->format, settings)) return nullptr;
    UErrorCode status = U_ZERO_ERROR;
    if (auto* const simple = dynamic_cast<icu::SimpleDateFormat*>(engine->format.get())) {
        engine->simple = simple;
        if (settings.twoDigitStart) simple->set2DigitYearStart(dateOfSecond(*settings.twoDigitStart), status);
        if (!settings.symbols.empty()) {
            icu::DateFormatSymbols symbols(*simple->getDateFormatSymbols());
            for (const auto& [which, texts] : settings.symbols) writeSymbols(symbols, *which, texts);
            simple->setDateFormatSymbols(symbols);
        }
    }
    engine->format->setLenient(settings.isLenient);
    engine->calendar.reset(engine->format->getCalendar()->clone());
    if (settings.defaultDate) engine->defaultDate = dateOfSecond(*settings.defaultDate);
    if (!engine->calendar || U_FAILURE(status)) return nullptr;
    // Printing shows any time, and calendars other than lenient ones refuse some as they compute their fields.
    engine->calendar->setLenient(true);
    return engine;
}

icu::UnicodeString patternOfStyles(const DateSettings& settings) {
    DateSettings plain;
    plain.locale = settings.locale;
    plain.dateStyle = settings.dateStyle;
    plain.timeStyle = settings.timeStyle;
    plain.calendar = settings.calendar;
    icu::UnicodeString pattern;
    const std::unique_ptr<icu::DateFormat> format = makeFormat(plain);
    if (const auto* const simple = dynamic_cast<const icu::SimpleDateFormat*>(format.get()))
        simple->toPattern(pattern);
    else
        pattern.setToBogus();
    return pattern;
}

}  // namespace KXPlatform
