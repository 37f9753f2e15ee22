#include <KXCoreLib/CoreFoundationWrappers.h>
#include <fmt/format.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "Command.h"
#include "Streams.h"

namespace kxtool {
namespace {

using namespace KXCore::CoreFoundation;

struct DateOptions {
    std::string text;
    std::string read;
    std::string pattern;
    std::string fields;
    CFDateFormatterStyle style = kCFDateFormatterNoStyle;
    std::string locale;
    std::string zone;
    std::string calendar;
    bool lenient = false;
    bool json = false;
};

StringRef Text(const std::string& utf8) {
    const CFStringRef made = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                                     static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false);
    if (!made) throw BadInput(Quoted(utf8) + " is not UTF-8");
    return StringRef::adopt(made);
}

/// What was created; what it is called in a message was asked for in vain where that is null.
template <class Ref, class Raw>
Ref Found(Raw made, const std::string& kind, const std::string& name) {
    if (!made) throw BadInput("there is no " + kind + " " + Quoted(name));
    return Ref::adopt(made);
}

TimeZoneRef Zone(const DateOptions& options) {
    if (options.zone.empty()) return TimeZoneRef::copyDefault();
    return Found<TimeZoneRef>(CFTimeZoneCreateWithName(nullptr, Text(options.zone).get(), true), "time zone",
                              options.zone);
}

LocaleRef Locale(const DateOptions& options) {
    if (options.locale.empty()) return LocaleRef::copyCurrent();
    return Found<LocaleRef>(CFLocaleCreate(nullptr, Text(options.locale).get()), "locale", options.locale);
}

void Prepare(const DateFormatterRef& formatter, const DateOptions& options, const TimeZoneRef& zone) {
    formatter.setProperty(kCFDateFormatterTimeZone, zone.get());
    if (options.lenient) formatter.setProperty(kCFDateFormatterIsLenient, kCFBooleanTrue);
    if (options.calendar.empty()) return;
    const auto calendar = Found<CalendarRef>(CFCalendarCreateWithIdentifier(nullptr, Text(options.calendar).get()),
                                             "calendar", options.calendar);
    formatter.setProperty(kCFDateFormatterCalendarName, calendar.getIdentifier().get());
}

DateFormatterRef ISO8601(const TimeZoneRef& zone, CFISO8601DateFormatOptions parts) {
    const DateFormatterRef formatter = DateFormatterRef::createISO8601Formatter(nullptr, parts);
    formatter.setProperty(kCFDateFormatterTimeZone, zone.get());
    return formatter;
}

/// The date that all of `text` is.
bool Read(const DateFormatterRef& formatter, const StringRef& text, CFAbsoluteTime& at) {
    CFRange range{0, text.getLength()};
    return formatter.getAbsoluteTimeFromString(text.get(), &range, &at) && range.length == text.getLength();
}

/// "@1709217045", seconds since 1970.
bool ReadSeconds(const std::string& text, CFAbsoluteTime& at) {
    if (text.size() < 2 || text.front() != '@') return false;
    char* end = nullptr;
    const double seconds = std::strtod(text.c_str() + 1, &end);
    at = seconds - kCFAbsoluteTimeIntervalSince1970;
    return *end == '\0' && std::isfinite(seconds);
}

CFAbsoluteTime Time(const DateOptions& options, const LocaleRef& locale, const TimeZoneRef& zone) {
    CFAbsoluteTime at = 0;
    if (options.text.empty()) return CFAbsoluteTimeGetCurrent();
    const StringRef text = Text(options.text);
    if (!options.read.empty()) {
        const DateFormatterRef formatter =
            DateFormatterRef::create(nullptr, locale.get(), kCFDateFormatterNoStyle, kCFDateFormatterNoStyle);
        formatter.setFormat(Text(options.read).get());
        Prepare(formatter, options, zone);
        if (Read(formatter, text, at)) return at;
        throw BadInput(Quoted(options.text) + " is no date of the form " + Quoted(options.read));
    }
    if (ReadSeconds(options.text, at)) return at;
    constexpr CFISO8601DateFormatOptions kForms[] = {
        kCFISO8601DateFormatWithInternetDateTime,
        kCFISO8601DateFormatWithInternetDateTime | kCFISO8601DateFormatWithFractionalSeconds,
        kCFISO8601DateFormatWithInternetDateTime & ~kCFISO8601DateFormatWithTimeZone, kCFISO8601DateFormatWithFullDate};
    for (const CFISO8601DateFormatOptions form : kForms) {
        if (Read(ISO8601(zone, form), text, at)) return at;
        if (Read(ISO8601(zone, form | kCFISO8601DateFormatWithSpaceBetweenDateAndTime), text, at)) return at;
    }
    throw BadInput(Quoted(options.text) + " is no date like 2024-02-29, 2024-02-29T14:30:45Z or @1709217045");
}

std::string Print(const DateFormatterRef& formatter, CFAbsoluteTime at) {
    const CFStringRef text = CFDateFormatterCreateStringWithAbsoluteTime(nullptr, formatter.get(), at);
    if (!text) throw BadInput("the date cannot be printed by this pattern");
    return StringRef::adopt(text).copyStdString();
}

DateFormatterRef Printer(const DateOptions& options, const LocaleRef& locale, const TimeZoneRef& zone) {
    const bool isPlain = options.pattern.empty() && options.fields.empty() && options.style == kCFDateFormatterNoStyle;
    if (isPlain && options.calendar.empty()) return ISO8601(zone, kCFISO8601DateFormatWithInternetDateTime);
    const DateFormatterRef formatter =
        DateFormatterRef::create(nullptr, locale.get(), isPlain ? kCFDateFormatterLongStyle : options.style,
                                 isPlain ? kCFDateFormatterLongStyle : options.style);
    if (!options.pattern.empty()) formatter.setFormat(Text(options.pattern).get());
    if (!options.fields.empty()) {
        formatter.setFormat(
            DateFormatterRef::createDateFormatFromTemplate(nullptr, Text(options.fields).get(), 0, locale.get()).get());
    }
    Prepare(formatter, options, zone);
    return formatter;
}

void RunDate(const DateOptions& options) {
    const LocaleRef locale = Locale(options);
    const TimeZoneRef zone = Zone(options);
    const CFAbsoluteTime at = Time(options, locale, zone);
    const std::string text = Print(Printer(options, locale, zone), at);
    if (!options.json) {
        Write(text + "\n");
        return;
    }
    const CFAbsoluteTime next = zone.getNextDaylightSavingTimeTransition(at);
    const DateFormatterRef iso = ISO8601(zone, kCFISO8601DateFormatWithInternetDateTime);
    const nlohmann::ordered_json line{
        {"text", text},
        {"iso8601", Print(iso, at)},
        {"unix", at + kCFAbsoluteTimeIntervalSince1970},
        {"locale", locale.getIdentifier().copyStdString()},
        {"zone", zone.getName().copyStdString()},
        {"abbreviation", zone.copyAbbreviation(at).copyStdString()},
        {"secondsFromGMT", zone.getSecondsFromGMT(at)},
        {"daylightSaving", zone.getDaylightSavingTimeOffset(at)},
        {"nextTransition", next == 0 ? nlohmann::ordered_json() : nlohmann::ordered_json(Print(iso, next))}};
    Write(line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n");
}

}  // namespace

void AddDate(CLI::App& tool) {
    const auto options = std::make_shared<DateOptions>();
    CLI::App* const command = tool.add_subcommand("date", "Print and read dates by locale, time zone and pattern");
    command->add_option("DATE", options->text,
                        "Of ISO 8601 (2024-02-29T14:30:45Z), of seconds since 1970 (@1709217045), or as --read says; "
                        "without it, now");
    command->add_option("--read", options->read,
                        "The pattern that DATE is written by, in letters of Unicode's UTS #35");
    CLI::Option* const pattern = command->add_option("--pattern", options->pattern, "The pattern to print it by");
    CLI::Option* const fields =
        command->add_option("--template", options->fields, "The fields to print as the locale writes them: yMMMd");
    CLI::Option* const style = command->add_option("--style", options->style, "The locale's own pattern to print it by")
                                   ->transform(CLI::CheckedTransformer(std::map<std::string, CFDateFormatterStyle>{
                                       {"short", kCFDateFormatterShortStyle},
                                       {"medium", kCFDateFormatterMediumStyle},
                                       {"long", kCFDateFormatterLongStyle},
                                       {"full", kCFDateFormatterFullStyle}}));
    pattern->excludes(fields)->excludes(style);
    fields->excludes(style);
    command->add_option("--locale", options->locale, "A locale (de_DE) instead of the current one");
    command->add_option("--zone", options->zone,
                        "A time zone (Europe/Berlin, CEST, GMT+5:30) instead of the computer's");
    command->add_option("--calendar", options->calendar, "Another calendar (hebrew) than the locale's");
    command->add_flag("--lenient", options->lenient, "Read 30 February as 1 March");
    command->add_flag("--json", options->json, "Print a line of JSON, with what the time zone says");
    command->footer(
        "Without a pattern, template, style or calendar the date is printed as ISO 8601.\n"
        "DATE is on the wall clock of the zone unless it names another one.\n\n"
        "Example:\n"
        "  kxtool date 2024-02-29T14:30:45Z --zone Asia/Tokyo --locale ja_JP --style full\n"
        "  kxtool date \"3. M\u00E4rz 2024\" --read \"d. MMMM y\" --locale de_DE\n");
    command->callback([options] { RunDate(*options); });
}

}  // namespace kxtool
