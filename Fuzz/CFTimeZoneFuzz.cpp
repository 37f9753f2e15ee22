// Any bytes as the file of a time zone: what is accepted is asked at all kinds of times, and what is said of one time
// must agree with the rest.

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

namespace {

void require(bool holds) {
    if (!holds) std::abort();
}

void askAt(CFTimeZoneRef zone, CFAbsoluteTime at) {
    const CFTimeInterval offset = CFTimeZoneGetSecondsFromGMT(zone, at);
    require(offset > -26 * 3600 && offset < 27 * 3600);
    const CFTimeInterval saving = CFTimeZoneGetDaylightSavingTimeOffset(zone, at);
    require(saving == 0 || CFTimeZoneIsDaylightSavingTime(zone, at));
    const CFStringRef abbreviation = CFTimeZoneCopyAbbreviation(zone, at);
    require(abbreviation != nullptr);
    CFRelease(abbreviation);
    const CFAbsoluteTime next = CFTimeZoneGetNextDaylightSavingTimeTransition(zone, at);
    if (next != 0) {
        require(next > at);
        if (next > 1e15 || next < -1e15) return;  // where seconds are not told apart
        require(CFTimeZoneGetDaylightSavingTimeOffset(zone, next) != saving);
        require(CFTimeZoneGetDaylightSavingTimeOffset(zone, next - 1) == saving);
    }
    CFAbsoluteTimeGetGregorianDate(at, zone);
    CFGregorianDateGetAbsoluteTime({2024, 2, 29, 2, 30, 0}, zone);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const CFDataRef data = CFDataCreate(nullptr, bytes, static_cast<CFIndex>(size));
    const CFTimeZoneRef zone = CFTimeZoneCreate(nullptr, CFSTR("Fuzz"), data);
    CFRelease(data);
    if (!zone) return 0;
    for (const double at : {-1e18, -1e12, -4e9, -1e9, 0.0, 1.5, 7e8, 1.5e9, 4e9, 1e12, 1e18}) askAt(zone, at);
    if (size >= sizeof(std::int64_t)) {
        std::int64_t at;
        std::memcpy(&at, bytes + size - sizeof at, sizeof at);
        askAt(zone, static_cast<double>(at));
    }
    CFRelease(zone);
    return 0;
}
