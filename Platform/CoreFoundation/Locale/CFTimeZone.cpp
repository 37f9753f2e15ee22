#include "CFTimeZoneObject.h"

#include "CFLocaleObject.h"
#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/String/CFStringObject.h"
#include "CoreFoundation/String/CFStringSupport.h"
#include "ZoneAbbreviations.h"
#include "ZoneFiles.h"
#include "ZoneForICU.h"

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cmath>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

using namespace KXPlatform;

static constinit const StringConstant didChange("kCFTimeZoneSystemTimeZoneDidChangeNotification");
const CFNotificationName kCFTimeZoneSystemTimeZoneDidChangeNotification = &didChange;

namespace {

void finalizeZone(Object* object) noexcept { finalizeAs<__CFTimeZone>(object); }

bool equalZones(const Object* object1, const Object* object2) {
    const auto* const zone1 = static_cast<const __CFTimeZone*>(object1);
    const auto* const zone2 = static_cast<const __CFTimeZone*>(object2);
    return CFEqual(zone1->name.get(), zone2->name.get()) && CFEqual(zone1->data.get(), zone2->data.get());
}

CFHashCode hashZone(const Object* object) { return CFHash(static_cast<const __CFTimeZone*>(object)->name.get()); }

CFStringRef describeZone(const Object* object) {
    const auto* const zone = static_cast<const __CFTimeZone*>(object);
    Description description;
    description.appendHeading(zone);
    description.format("{name = ");
    description.append(zone->name.get());
    description.format("}");
    return description.take();
}

}  // namespace

namespace KXPlatform {

constinit const Class kTimeZoneClass{TypeID::TimeZone, finalizeZone, equalZones, hashZone, describeZone};

std::int64_t secondsSince1970(CFAbsoluteTime at) noexcept {
    constexpr double kFarthest = 1e17;
    if (std::isnan(at)) at = 0;
    return static_cast<std::int64_t>(
        std::floor(std::clamp(at, -kFarthest, kFarthest) + kCFAbsoluteTimeIntervalSince1970));
}

}  // namespace KXPlatform

namespace {

// ---- Making

using Zone = Retained<const __CFTimeZone>;

/// A zone with data of its own. Null when the data are damaged or there is no memory. May throw std::bad_alloc.
const __CFTimeZone* makeZone(CFAllocatorRef allocator, CFStringRef name, Retained<const __CFData>&& data) {
    if (!data) return nullptr;
    std::optional<ZoneData> zone =
        ZoneData::read({CFDataGetBytePtr(data.get()), static_cast<std::size_t>(CFDataGetLength(data.get()))});
    auto kept = Retained<const __CFString>::adopting(CFStringCreateCopy(allocator, name));
    if (!zone || !kept) return nullptr;
    return make<__CFTimeZone>(allocator, 0, std::move(kept), std::move(data), std::move(*zone));
}

Retained<const __CFData> dataOf(CFAllocatorRef allocator, std::string_view bytes) noexcept {
    return Retained<const __CFData>::adopting(
        CFDataCreate(allocator, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
}

const __CFTimeZone* makeZone(CFAllocatorRef allocator, std::string_view name, std::string_view file) {
    const auto text = Retained<const __CFString>::adopting(createASCII(allocator, name));
    return text ? makeZone(allocator, text.get(), dataOf(allocator, file)) : nullptr;
}

/// A zone that is always `minutes` ahead of Greenwich.
const __CFTimeZone* makeFixedZone(CFAllocatorRef allocator, int minutes) {
    char name[16] = "GMT";
    char abbreviation[16] = "GMT";
    if (minutes != 0) {
        const char sign = minutes < 0 ? '-' : '+';
        const int hours = std::abs(minutes) / 60, rest = std::abs(minutes) % 60;
        std::snprintf(name, sizeof name, "GMT%c%02d%02d", sign, hours, rest);
        if (rest == 0)
            std::snprintf(abbreviation, sizeof abbreviation, "GMT%c%d", sign, hours);
        else
            std::snprintf(abbreviation, sizeof abbreviation, "GMT%c%d:%02d", sign, hours, rest);
    }
    return makeZone(allocator, std::string_view(name), makeZoneFile("", abbreviation, minutes * 60));
}

constexpr int kMostMinutes = 18 * 60;

/// The minutes of "GMT", "GMT+5", "GMT+0530" or "GMT+05:30".
std::optional<int> minutesOf(std::string_view name) noexcept {
    if (!name.starts_with("GMT")) return {};
    name.remove_prefix(3);
    if (name.empty()) return 0;
    const int sign = name.front() == '-' ? -1 : 1;
    if (name.front() != '+' && name.front() != '-') return {};
    name.remove_prefix(1);
    const std::size_t colon = name.find(':');
    std::string_view hours = name.substr(0, colon);
    std::string_view minutes = "00";
    if (colon != std::string_view::npos) {
        minutes = name.substr(colon + 1);
    } else if (name.size() == 4) {
        hours = name.substr(0, 2);
        minutes = name.substr(2);
    }
    const auto number = [](std::string_view digits) noexcept {
        int value = 0;
        for (const char c : digits) value = c < '0' || c > '9' ? 10000 : value * 10 + (c - '0');
        return value;
    };
    if (hours.empty() || hours.size() > 2 || minutes.size() != 2 || number(minutes) > 59) return {};
    const int all = number(hours) * 60 + number(minutes);
    if (all > kMostMinutes) return {};
    return sign * all;
}

/// The text of a name; null where it is no zone's.
std::optional<std::string> textOf(CFStringRef name) {
    const TextView text = isOfType(name, TypeID::String) ? view(name) : TextView{"", nullptr, 0};
    if (text.isWide()) return {};
    return std::string(text.asciiView());
}

const __CFTimeZone* makeNamedZone(CFAllocatorRef allocator, CFStringRef name) {
    const std::optional<std::string> text = textOf(name);
    if (!text) return nullptr;
    if (const std::optional<std::string> file = readZoneFile(*text)) return makeZone(allocator, *text, *file);
    const std::optional<int> minutes = minutesOf(*text);
    return minutes ? makeFixedZone(allocator, *minutes) : nullptr;
}

// ---- The zones and abbreviations of the program

struct Program {
    std::mutex mutex;
    Zone system;
    Zone chosen;
    Retained<const __CFDictionary> abbreviations;
};

Program& program() {
    static Program& only = *new Program;
    return only;
}

/// A copy of what stands in `place`, taken under the lock.
template <class T>
Retained<T> held(Retained<T> Program::*place) {
    const std::lock_guard lock(program().mutex);
    return program().*place;
}

/// Puts `value` in `place`; what stood there ends outside the lock.
template <class T>
void hold(Retained<T> Program::*place, Retained<T> value) {
    const std::lock_guard lock(program().mutex);
    std::swap(program().*place, value);
}

Zone systemZone() {
    if (Zone zone = held(&Program::system)) return zone;
    // Found without the lock, which is not held over files. Two threads find the same.
    const SystemZone found = findSystemZone();
    Zone made = Zone::adopting(makeZone(kCFAllocatorSystemDefault, found.name, std::string_view(found.file)));
    if (made) hold(&Program::system, made);
    return made;
}

Retained<const __CFDictionary> abbreviations() {
    if (auto dictionary = held(&Program::abbreviations)) return dictionary;
    auto made = Retained<const __CFDictionary>::adopting(createAbbreviations());
    if (!made) return made;
    const std::lock_guard lock(program().mutex);
    if (!program().abbreviations) program().abbreviations = made;
    return program().abbreviations;
}

bool holdsTextsOnly(CFDictionaryRef dictionary) noexcept {
    bool areTexts = true;
    CFDictionaryApplyFunction(
        dictionary,
        [](const void* key, const void* value, void* context) {
            if (!isOfType(key, TypeID::String) || !isOfType(value, TypeID::String))
                *static_cast<bool*>(context) = false;
        },
        &areTexts);
    return areTexts;
}

ZoneData::Period periodAt(const __CFTimeZone* zone, CFAbsoluteTime at) noexcept {
    return zone->zone.at(secondsSince1970(at));
}

/// The first change of the saving after `time`.
std::optional<std::int64_t> nextSavingChange(const ZoneData& zone, std::int64_t time) noexcept {
    const ZoneData::Period now = zone.at(time);
    ZoneData::Period period = now;
    // A rule repeats within 400 years: one that has not changed the saving after so many changes never does.
    constexpr int kMostChanges = 20'000;
    for (int i = 0; i < kMostChanges && period.end != std::numeric_limits<std::int64_t>::max(); ++i) {
        const ZoneData::Period next = zone.at(period.end);
        if (next.saving != now.saving) return period.end;
        if (next.end <= period.end) break;
        period = next;
    }
    return {};
}

}  // namespace

// ---- Exported

CFTypeID CFTimeZoneGetTypeID() { return number(TypeID::TimeZone); }

CFTimeZoneRef CFTimeZoneCopySystem() {
    return guarded<CFTimeZoneRef>(nullptr, [] { return systemZone().release(); });
}

void CFTimeZoneResetSystem() {
    guarded(false, [] {
        refreshZoneFolder();
        hold(&Program::system, Zone());
        return true;
    });
}

CFTimeZoneRef CFTimeZoneCopyDefault() {
    return guarded<CFTimeZoneRef>(nullptr, [] {
        Zone chosen = held(&Program::chosen);
        return chosen ? chosen.release() : systemZone().release();
    });
}

void CFTimeZoneSetDefault(CFTimeZoneRef tz) {
    if (tz && !timeZone(tz)) return;
    guarded(false, [tz] {
        hold(&Program::chosen, Zone::retaining(tz));
        return true;
    });
}

CFArrayRef CFTimeZoneCopyKnownNames() {
    return guarded<CFArrayRef>(nullptr, []() -> CFArrayRef {
        const std::vector<std::string> names = zoneNames();
        const auto list =
            Retained<__CFArray>::adopting(CFArrayCreateMutable(kCFAllocatorSystemDefault, 0, &kCFTypeArrayCallBacks));
        if (!list) return nullptr;
        for (const std::string& name : names) {
            const auto text = Retained<const __CFString>::adopting(createASCII(kCFAllocatorSystemDefault, name));
            if (!text) return nullptr;
            CFArrayAppendValue(list.get(), text.get());
        }
        if (CFArrayGetCount(list.get()) != static_cast<CFIndex>(names.size())) return nullptr;
        return CFArrayCreateCopy(kCFAllocatorSystemDefault, list.get());
    });
}

CFDictionaryRef CFTimeZoneCopyAbbreviationDictionary() {
    return guarded<CFDictionaryRef>(nullptr, [] { return abbreviations().release(); });
}

void CFTimeZoneSetAbbreviationDictionary(CFDictionaryRef dict) {
    if (!isOfType(dict, TypeID::Dictionary) || !holdsTextsOnly(dict)) return;
    guarded(false, [dict] {
        auto copy = Retained<const __CFDictionary>::adopting(CFDictionaryCreateCopy(kCFAllocatorSystemDefault, dict));
        if (copy) hold(&Program::abbreviations, std::move(copy));
        return true;
    });
}

CFTimeZoneRef CFTimeZoneCreate(CFAllocatorRef allocator, CFStringRef name, CFDataRef data) {
    if (!isOfType(name, TypeID::String) || CFStringGetLength(name) == 0) return nullptr;
    return guarded<CFTimeZoneRef>(nullptr, [=]() -> CFTimeZoneRef {
        if (!data) return makeNamedZone(allocator, name);
        if (!isOfType(data, TypeID::Data)) return nullptr;
        return makeZone(allocator, name, Retained<const __CFData>::adopting(CFDataCreateCopy(allocator, data)));
    });
}

CFTimeZoneRef CFTimeZoneCreateWithTimeIntervalFromGMT(CFAllocatorRef allocator, CFTimeInterval ti) {
    const double minutes = std::round(ti / 60);
    if (!(std::abs(minutes) <= kMostMinutes)) return nullptr;
    return guarded<CFTimeZoneRef>(nullptr, [=] { return makeFixedZone(allocator, static_cast<int>(minutes)); });
}

CFTimeZoneRef CFTimeZoneCreateWithName(CFAllocatorRef allocator, CFStringRef name, Boolean tryAbbrev) {
    return guarded<CFTimeZoneRef>(nullptr, [=]() -> CFTimeZoneRef {
        if (tryAbbrev && isOfType(name, TypeID::String)) {
            const auto known = abbreviations();
            const void* const meant = known ? CFDictionaryGetValue(known.get(), name) : nullptr;
            if (meant)
                if (const auto* const zone = makeNamedZone(allocator, static_cast<CFStringRef>(meant))) return zone;
        }
        return makeNamedZone(allocator, name);
    });
}

CFStringRef CFTimeZoneGetName(CFTimeZoneRef tz) { return timeZone(tz) ? tz->name.get() : nullptr; }

CFDataRef CFTimeZoneGetData(CFTimeZoneRef tz) { return timeZone(tz) ? tz->data.get() : nullptr; }

CFTimeInterval CFTimeZoneGetSecondsFromGMT(CFTimeZoneRef tz, CFAbsoluteTime at) {
    return timeZone(tz) ? tz->zone.offsetAt(secondsSince1970(at)) : 0;
}

CFStringRef CFTimeZoneCopyAbbreviation(CFTimeZoneRef tz, CFAbsoluteTime at) {
    if (!timeZone(tz)) return nullptr;
    const char* const text = periodAt(tz, at).abbreviation;
    return CFStringCreateWithCString(kCFAllocatorSystemDefault, text, kCFStringEncodingISOLatin1);
}

Boolean CFTimeZoneIsDaylightSavingTime(CFTimeZoneRef tz, CFAbsoluteTime at) {
    return timeZone(tz) && periodAt(tz, at).isDaylight;
}

CFTimeInterval CFTimeZoneGetDaylightSavingTimeOffset(CFTimeZoneRef tz, CFAbsoluteTime at) {
    return timeZone(tz) ? periodAt(tz, at).saving : 0;
}

CFAbsoluteTime CFTimeZoneGetNextDaylightSavingTimeTransition(CFTimeZoneRef tz, CFAbsoluteTime at) {
    if (!timeZone(tz)) return 0;
    const std::optional<std::int64_t> next = nextSavingChange(tz->zone, secondsSince1970(at));
    const CFAbsoluteTime found = next ? static_cast<double>(*next) - kCFAbsoluteTimeIntervalSince1970 : 0;
    return next && found > at ? found : 0;  // from beyond the ends of time nothing is later
}

CFStringRef CFTimeZoneCopyLocalizedName(CFTimeZoneRef tz, CFTimeZoneNameStyle style, CFLocaleRef locale) {
    if (!timeZone(tz) || style < kCFTimeZoneNameStyleStandard || style > kCFTimeZoneNameStyleShortGeneric)
        return nullptr;
    return guarded<CFStringRef>(nullptr, [=]() -> CFStringRef {
        const auto used = localeOrCurrent(locale);
        const auto zone = makeZoneForICU(tz);
        if (!used || !zone) return nullptr;
        constexpr icu::TimeZone::EDisplayType kTypes[] = {icu::TimeZone::LONG,         icu::TimeZone::SHORT,
                                                          icu::TimeZone::LONG,         icu::TimeZone::SHORT,
                                                          icu::TimeZone::LONG_GENERIC, icu::TimeZone::SHORT_GENERIC};
        const bool isDaylight =
            style == kCFTimeZoneNameStyleDaylightSaving || style == kCFTimeZoneNameStyleShortDaylightSaving;
        icu::UnicodeString name;
        zone->getDisplayName(isDaylight, kTypes[style], icu::Locale(icuName(used.get())), name);
        if (name.isBogus()) return nullptr;
        return createUTF16(kCFAllocatorSystemDefault, {name.getBuffer(), static_cast<std::size_t>(name.length())});
    });
}
