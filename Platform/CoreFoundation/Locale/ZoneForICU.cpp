#include "ZoneForICU.h"

#include "CoreFoundation/String/CFStringObject.h"
#include "CoreFoundation/Values/CalendarDays.h"

#include <unicode/calendar.h>
#include <unicode/tzrule.h>
#include <unicode/tztrans.h>

#include <cmath>
#include <limits>

namespace KXPlatform {
namespace {

constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kAlways = std::numeric_limits<std::int64_t>::min();

std::int64_t secondsOf(UDate date) noexcept { return secondsSince1970(date / 1000 - kCFAbsoluteTimeIntervalSince1970); }
UDate dateOf(std::int64_t seconds) noexcept { return static_cast<double>(seconds) * 1000; }

/// An offset as ICU splits it. ICU knows daylight saving forward only, and names times accordingly: of a zone that
/// turns its clocks back in winter its summer is taken for the daylight saving time.
struct Split {
    std::int32_t raw;
    std::int32_t saving;
};

Split splitOf(const ZoneData& zone, const ZoneData::Period& period) noexcept {
    if (period.saving > 0) return {period.offset - period.saving, period.saving};
    if (!zone.hasNegativeSaving()) return {period.offset, 0};
    if (period.saving < 0) return {period.offset, 0};
    for (const std::int64_t around : {period.end, period.start}) {
        if (around == kNever || around == kAlways) continue;
        const ZoneData::Period next = zone.at(around == period.end ? around : around - 1);
        if (next.saving < 0) return {period.offset + next.saving, -next.saving};
    }
    return {period.offset, 0};
}

/// Made by ICU's operator new, which gives null without memory and does not throw.
class ZoneForICU final : public icu::BasicTimeZone {
  public:
    explicit ZoneForICU(const __CFTimeZone* tz) : tz_(Retained<const __CFTimeZone>::retaining(tz)) {
        const TextView name = view(tz->name.get());
        setID(name.isWide() ? icu::UnicodeString(asUTF16(name.wide), static_cast<std::int32_t>(name.length))
                            : icu::UnicodeString(name.ascii, static_cast<std::int32_t>(name.length), US_INV));
    }

    const __CFTimeZone* zone() const noexcept { return tz_.get(); }

    ZoneForICU* clone() const override { return new ZoneForICU(*this); }
    bool operator==(const icu::TimeZone& that) const override {
        const auto* const other = dynamic_cast<const ZoneForICU*>(&that);
        return other && icu::TimeZone::operator==(that) && CFEqual(tz_.get(), other->tz_.get());
    }
    UBool hasSameRules(const icu::TimeZone& other) const override {
        const auto* const same = dynamic_cast<const ZoneForICU*>(&other);
        return same && CFEqual(tz_->data.get(), same->tz_->data.get());
    }

    static UClassID getStaticClassID() {
        static char id = 0;
        return &id;
    }
    UClassID getDynamicClassID() const override { return getStaticClassID(); }

    // ---- Offsets, in milliseconds

    void getOffset(UDate date, UBool local, std::int32_t& rawOffset, std::int32_t& dstOffset,
                   UErrorCode& status) const override {
        if (U_FAILURE(status)) return;
        std::int64_t time = secondsOf(date);
        ZoneData::Period period = data().at(time);
        if (local) {
            const std::int32_t offset = offsetOfWallTime(time, [&](std::int64_t at) { return data().offsetAt(at); });
            time -= offset;
            period = data().at(time);
            // A wall time that is skipped is one of the period before, although it comes to lie in this one.
            if (period.offset != offset && period.start != kAlways) period = data().at(period.start - 1);
        }
        const Split split = splitOf(data(), period);
        rawOffset = split.raw * 1000;
        dstOffset = split.saving * 1000;
    }
    void getOffsetFromLocal(UDate date, UTimeZoneLocalOption, UTimeZoneLocalOption, std::int32_t& rawOffset,
                            std::int32_t& dstOffset, UErrorCode& status) const override {
        getOffset(date, true, rawOffset, dstOffset, status);
    }
    std::int32_t getOffset(std::uint8_t era, std::int32_t year, std::int32_t month, std::int32_t day,
                           std::uint8_t dayOfWeek, std::int32_t millis, UErrorCode& status) const override {
        return getOffset(era, year, month, day, dayOfWeek, millis, 31, status);
    }
    std::int32_t getOffset(std::uint8_t era, std::int32_t year, std::int32_t month, std::int32_t day, std::uint8_t,
                           std::int32_t millis, std::int32_t, UErrorCode& status) const override {
        if (U_FAILURE(status)) return 0;
        const std::int64_t properYear = era == 0 ? 1 - std::int64_t{year} : year;
        const std::int64_t days = dayNumber(properYear, month + 1, day) - kDayOf1970;
        std::int32_t raw = 0, saving = 0;
        getOffset(dateOf(days * 86400) + millis, true, raw, saving, status);
        return raw + saving;
    }
    void setRawOffset(std::int32_t) override {}
    std::int32_t getRawOffset() const override { return now().raw * 1000; }

    UBool useDaylightTime() const override { return data().hasDaylight(); }
    UBool inDaylightTime(UDate date, UErrorCode& status) const override {
        return U_SUCCESS(status) && splitOf(data(), data().at(secondsOf(date))).saving != 0;
    }
    std::int32_t getDSTSavings() const override {
        // That of the next daylight saving time, within a year and a half; an hour where there is none.
        std::int64_t at = secondsOf(icu::Calendar::getNow());
        const std::int64_t last = at + std::int64_t{86400} * 550;
        for (ZoneData::Period period = data().at(at); period.start <= last; period = data().at(period.end)) {
            if (const Split split = splitOf(data(), period); split.saving != 0) return split.saving * 1000;
            if (period.end == kNever) break;
        }
        return 3600 * 1000;
    }

    // ---- Changes

    UBool getNextTransition(UDate base, UBool inclusive, icu::TimeZoneTransition& result) const override {
        const std::int64_t time = static_cast<std::int64_t>(secondsOf(base));
        const ZoneData::Period period = data().at(time);
        if (inclusive && period.start == time && dateOf(time) == base) return describe(period.start, result);
        return describe(period.end, result);
    }
    UBool getPreviousTransition(UDate base, UBool inclusive, icu::TimeZoneTransition& result) const override {
        const std::int64_t time = secondsOf(base);
        const ZoneData::Period period = data().at(time);
        if (period.start != time || inclusive || dateOf(time) != base) return describe(period.start, result);
        return describe(data().at(time - 1).start, result);
    }
    // There are as many rules as changes: nobody can be given them all.
    std::int32_t countTransitionRules(UErrorCode&) const override { return 0; }
    void getTimeZoneRules(const icu::InitialTimeZoneRule*& initial, const icu::TimeZoneRule* trsrules[],
                          std::int32_t& trscount, UErrorCode& status) const override {
        initial = nullptr;
        if (trscount > 0) trsrules[0] = nullptr;
        trscount = 0;
        if (U_SUCCESS(status)) status = U_UNSUPPORTED_ERROR;
    }

  private:
    ZoneForICU(const ZoneForICU&) = default;

    const ZoneData& data() const noexcept { return tz_->zone; }
    Split now() const noexcept { return splitOf(data(), data().at(secondsOf(icu::Calendar::getNow()))); }

    /// Fills `result` with the change at `time`; false where there is none.
    bool describe(std::int64_t time, icu::TimeZoneTransition& result) const {
        if (time == kNever || time == kAlways) return false;
        const auto ruleAt = [&](std::int64_t at) {
            const ZoneData::Period period = data().at(at);
            const Split split = splitOf(data(), period);
            return new icu::InitialTimeZoneRule(icu::UnicodeString(period.abbreviation, -1, US_INV), split.raw * 1000,
                                                split.saving * 1000);
        };
        icu::TimeZoneRule* const from = ruleAt(time - 1);
        icu::TimeZoneRule* const to = ruleAt(time);
        result.setTime(dateOf(time));
        result.adoptFrom(from);
        result.adoptTo(to);
        return from && to;
    }

    Retained<const __CFTimeZone> tz_;
};

}  // namespace

std::unique_ptr<icu::BasicTimeZone> makeZoneForICU(const __CFTimeZone* tz) noexcept {
    return std::unique_ptr<icu::BasicTimeZone>(new ZoneForICU(tz));
}

const __CFTimeZone* zoneBehind(const icu::TimeZone& zone) noexcept {
    const auto* const ours = dynamic_cast<const ZoneForICU*>(&zone);
    return ours ? ours->zone() : nullptr;
}

}  // namespace KXPlatform
