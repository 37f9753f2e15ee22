#include "ZoneAbbreviations.h"

#include "CoreFoundation/String/CFStringObject.h"

#include <iterator>

namespace KXPlatform {
namespace {

struct Abbreviation {
    StringConstant text;
    StringConstant zone;
};

constinit const Abbreviation kAbbreviations[] = {
    {StringConstant("ADT"), StringConstant("America/Halifax")},
    {StringConstant("AKDT"), StringConstant("America/Juneau")},
    {StringConstant("AKST"), StringConstant("America/Juneau")},
    {StringConstant("ART"), StringConstant("America/Argentina/Buenos_Aires")},
    {StringConstant("AST"), StringConstant("America/Halifax")},
    {StringConstant("BDT"), StringConstant("Asia/Dhaka")},
    {StringConstant("BRST"), StringConstant("America/Sao_Paulo")},
    {StringConstant("BRT"), StringConstant("America/Sao_Paulo")},
    {StringConstant("BST"), StringConstant("Europe/London")},
    {StringConstant("CAT"), StringConstant("Africa/Harare")},
    {StringConstant("CDT"), StringConstant("America/Chicago")},
    {StringConstant("CEST"), StringConstant("Europe/Paris")},
    {StringConstant("CET"), StringConstant("Europe/Paris")},
    {StringConstant("CLST"), StringConstant("America/Santiago")},
    {StringConstant("CLT"), StringConstant("America/Santiago")},
    {StringConstant("COT"), StringConstant("America/Bogota")},
    {StringConstant("CST"), StringConstant("America/Chicago")},
    {StringConstant("EAT"), StringConstant("Africa/Addis_Ababa")},
    {StringConstant("EDT"), StringConstant("America/New_York")},
    {StringConstant("EEST"), StringConstant("Europe/Athens")},
    {StringConstant("EET"), StringConstant("Europe/Athens")},
    {StringConstant("EST"), StringConstant("America/New_York")},
    {StringConstant("GMT"), StringConstant("GMT")},
    {StringConstant("GST"), StringConstant("Asia/Dubai")},
    {StringConstant("HKT"), StringConstant("Asia/Hong_Kong")},
    {StringConstant("HST"), StringConstant("Pacific/Honolulu")},
    {StringConstant("ICT"), StringConstant("Asia/Bangkok")},
    {StringConstant("IRST"), StringConstant("Asia/Tehran")},
    {StringConstant("IST"), StringConstant("Asia/Kolkata")},
    {StringConstant("JST"), StringConstant("Asia/Tokyo")},
    {StringConstant("KST"), StringConstant("Asia/Seoul")},
    {StringConstant("MDT"), StringConstant("America/Denver")},
    {StringConstant("MSD"), StringConstant("Europe/Moscow")},
    {StringConstant("MSK"), StringConstant("Europe/Moscow")},
    {StringConstant("MST"), StringConstant("America/Denver")},
    {StringConstant("NDT"), StringConstant("America/St_Johns")},
    {StringConstant("NST"), StringConstant("America/St_Johns")},
    {StringConstant("NZDT"), StringConstant("Pacific/Auckland")},
    {StringConstant("NZST"), StringConstant("Pacific/Auckland")},
    {StringConstant("PDT"), StringConstant("America/Los_Angeles")},
    {StringConstant("PET"), StringConstant("America/Lima")},
    {StringConstant("PHT"), StringConstant("Asia/Manila")},
    {StringConstant("PKT"), StringConstant("Asia/Karachi")},
    {StringConstant("PST"), StringConstant("America/Los_Angeles")},
    {StringConstant("SGT"), StringConstant("Asia/Singapore")},
    {StringConstant("TRT"), StringConstant("Europe/Istanbul")},
    {StringConstant("UTC"), StringConstant("UTC")},
    {StringConstant("WAT"), StringConstant("Africa/Lagos")},
    {StringConstant("WEST"), StringConstant("Europe/Lisbon")},
    {StringConstant("WET"), StringConstant("Europe/Lisbon")},
    {StringConstant("WIT"), StringConstant("Asia/Jakarta")},
};

}  // namespace

CFDictionaryRef createAbbreviations() noexcept {
    const void* texts[std::size(kAbbreviations)];
    const void* zones[std::size(kAbbreviations)];
    for (std::size_t i = 0; i < std::size(kAbbreviations); ++i) {
        texts[i] = &kAbbreviations[i].text;
        zones[i] = &kAbbreviations[i].zone;
    }
    return CFDictionaryCreate(kCFAllocatorSystemDefault, texts, zones, static_cast<CFIndex>(std::size(kAbbreviations)),
                              &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
}

}  // namespace KXPlatform
