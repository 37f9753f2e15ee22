#include "CFStringEncoding.h"

#include <CoreFoundation/CFStringEncodingExt.h>
#include <unicode/ucnv.h>

#include <algorithm>
#include <atomic>
#include <new>

namespace KXPlatform {

namespace {

constexpr Encoding direct(CFStringEncoding number) { return {.number = number, .codec = Codec::Direct}; }

constexpr Encoding byTable(CFStringEncoding number, const char* converter, bool holdsASCII = true) {
    return {.number = number, .codec = Codec::Table, .holdsASCII = holdsASCII, .converter = converter};
}

constexpr Encoding byConverter(CFStringEncoding number, const char* converter, std::uint8_t maximum,
                               bool holdsASCII = true) {
    return {.number = number,
            .codec = Codec::Converter,
            .holdsASCII = holdsASCII,
            .maximum = maximum,
            .converter = converter};
}

constexpr Encoding wide(CFStringEncoding number, Codec codec, ByteOrder order) {
    return {.number = number,
            .codec = codec,
            .order = order,
            .holdsASCII = false,
            .maximum = static_cast<std::uint8_t>(codec == Codec::UTF16 ? 2 : 4)};
}

constexpr bool kOwnASCII = false;  // what stands below 0x80 is not ASCII, or is escaped

// Names in the way of ICU; where ICU knows several tables for a name, the one that vendors' documents agree on.
constexpr Encoding kEncodings[] = {
    byTable(kCFStringEncodingMacRoman, "macos-0_2-10.2"),
    byConverter(kCFStringEncodingMacJapanese, "ibm-943_P15A-2003", 2),
    byConverter(kCFStringEncodingMacChineseTrad, "windows-950-2000", 2),
    byConverter(kCFStringEncodingMacKorean, "windows-949-2000", 2),
    byTable(kCFStringEncodingMacGreek, "macos-6_2-10.4"),
    byTable(kCFStringEncodingMacCyrillic, "macos-7_3-10.2"),
    byConverter(kCFStringEncodingMacChineseSimp, "ibm-1383_P110-1999", 2),
    byTable(kCFStringEncodingMacCentralEurRoman, "macos-29-10.2"),
    byTable(kCFStringEncodingMacTurkish, "macos-35-10.2"),
    byTable(kCFStringEncodingMacUkrainian, "macos-7_3-10.2"),
    wide(kCFStringEncodingUTF16, Codec::UTF16, ByteOrder::Marked),
    direct(kCFStringEncodingISOLatin1),
    byTable(kCFStringEncodingISOLatin2, "ISO-8859-2"),
    byTable(kCFStringEncodingISOLatin3, "ISO-8859-3"),
    byTable(kCFStringEncodingISOLatin4, "ISO-8859-4"),
    byTable(kCFStringEncodingISOLatinCyrillic, "ISO-8859-5"),
    byTable(kCFStringEncodingISOLatinArabic, "ISO-8859-6"),
    byTable(kCFStringEncodingISOLatinGreek, "ISO-8859-7"),
    byTable(kCFStringEncodingISOLatinHebrew, "ISO-8859-8"),
    byTable(kCFStringEncodingISOLatin5, "ISO-8859-9"),
    byTable(kCFStringEncodingISOLatin6, "iso-8859_10-1998"),
    byTable(kCFStringEncodingISOLatinThai, "ISO-8859-11"),
    byTable(kCFStringEncodingISOLatin7, "ISO-8859-13"),
    byTable(kCFStringEncodingISOLatin8, "iso-8859_14-1998"),
    byTable(kCFStringEncodingISOLatin9, "ISO-8859-15"),
    byTable(kCFStringEncodingDOSLatinUS, "ibm-437_P100-1995"),
    byTable(kCFStringEncodingDOSGreek, "ibm-737_P100-1997"),
    byTable(kCFStringEncodingDOSBalticRim, "ibm-775_P100-1996"),
    byTable(kCFStringEncodingDOSLatin1, "ibm-850_P100-1995"),
    byTable(kCFStringEncodingDOSGreek1, "ibm-851_P100-1995"),
    byTable(kCFStringEncodingDOSLatin2, "ibm-852_P100-1995"),
    byTable(kCFStringEncodingDOSCyrillic, "ibm-855_P100-1995"),
    byTable(kCFStringEncodingDOSTurkish, "ibm-857_P100-1995"),
    byTable(kCFStringEncodingDOSPortuguese, "ibm-860_P100-1995"),
    byTable(kCFStringEncodingDOSIcelandic, "ibm-861_P100-1995"),
    byTable(kCFStringEncodingDOSHebrew, "ibm-862_P100-1995"),
    byTable(kCFStringEncodingDOSCanadianFrench, "ibm-863_P100-1995"),
    byTable(kCFStringEncodingDOSArabic, "ibm-864_X110-1999", kOwnASCII),
    byTable(kCFStringEncodingDOSNordic, "ibm-865_P100-1995"),
    byTable(kCFStringEncodingDOSRussian, "ibm-866_P100-1995"),
    byTable(kCFStringEncodingDOSGreek2, "ibm-869_P100-1995"),
    byTable(kCFStringEncodingDOSThai, "windows-874-2000"),
    byConverter(kCFStringEncodingDOSJapanese, "ibm-943_P15A-2003", 2),
    byConverter(kCFStringEncodingDOSChineseSimplif, "windows-936-2000", 2),
    byConverter(kCFStringEncodingDOSKorean, "windows-949-2000", 2),
    byConverter(kCFStringEncodingDOSChineseTrad, "windows-950-2000", 2),
    byTable(kCFStringEncodingWindowsLatin1, "windows-1252"),
    byTable(kCFStringEncodingWindowsLatin2, "windows-1250"),
    byTable(kCFStringEncodingWindowsCyrillic, "windows-1251"),
    byTable(kCFStringEncodingWindowsGreek, "windows-1253"),
    byTable(kCFStringEncodingWindowsLatin5, "windows-1254"),
    byTable(kCFStringEncodingWindowsHebrew, "windows-1255"),
    byTable(kCFStringEncodingWindowsArabic, "windows-1256"),
    byTable(kCFStringEncodingWindowsBalticRim, "windows-1257"),
    byTable(kCFStringEncodingWindowsVietnamese, "windows-1258"),
    direct(kCFStringEncodingASCII),
    byConverter(kCFStringEncodingGB_2312_80, "ibm-5478_P100-1995", 2, kOwnASCII),
    byConverter(kCFStringEncodingGBK_95, "windows-936-2000", 2),
    byConverter(kCFStringEncodingGB_18030_2000, "GB18030", 4),
    byConverter(kCFStringEncodingISO_2022_JP, "ISO-2022-JP", 8, kOwnASCII),
    byConverter(kCFStringEncodingISO_2022_JP_2, "ISO-2022-JP-2", 8, kOwnASCII),
    byConverter(kCFStringEncodingISO_2022_JP_1, "ISO-2022-JP-1", 8, kOwnASCII),
    byConverter(kCFStringEncodingISO_2022_CN, "ISO-2022-CN", 8, kOwnASCII),
    byConverter(kCFStringEncodingISO_2022_CN_EXT, "ISO-2022-CN-EXT", 8, kOwnASCII),
    byConverter(kCFStringEncodingISO_2022_KR, "ISO-2022-KR", 8, kOwnASCII),
    byConverter(kCFStringEncodingEUC_JP, "euc-jp-2007", 3),
    byConverter(kCFStringEncodingEUC_CN, "ibm-1383_P110-1999", 2),
    byConverter(kCFStringEncodingEUC_TW, "ibm-964_P110-1999", 4),
    byConverter(kCFStringEncodingEUC_KR, "ibm-970_P110_P110-2006_U2", 2),
    byConverter(kCFStringEncodingShiftJIS, "ibm-943_P15A-2003", 2),
    byTable(kCFStringEncodingKOI8_R, "KOI8-R"),
    byConverter(kCFStringEncodingBig5, "windows-950-2000", 2),
    byConverter(kCFStringEncodingHZ_GB_2312, "HZ", 8, kOwnASCII),
    byConverter(kCFStringEncodingBig5_HKSCS_1999, "ibm-1375_P100-2008", 2),
    byTable(kCFStringEncodingKOI8_U, "KOI8-U"),
    byConverter(kCFStringEncodingUTF7_IMAP, "IMAP-mailbox-name", 8, kOwnASCII),
    byTable(kCFStringEncodingNextStepLatin, nullptr),
    {.number = kCFStringEncodingNonLossyASCII, .codec = Codec::NonLossyASCII, .holdsASCII = false, .maximum = 6},
    byTable(kCFStringEncodingEBCDIC_US, "ibm-37_P100-1995", kOwnASCII),
    byTable(kCFStringEncodingEBCDIC_CP037, "ibm-37_P100-1995", kOwnASCII),
    byConverter(kCFStringEncodingUTF7, "UTF-7", 8, kOwnASCII),
    {.number = kCFStringEncodingUTF8, .codec = Codec::UTF8, .maximum = 3},
    wide(kCFStringEncodingUTF32, Codec::UTF32, ByteOrder::Marked),
    wide(kCFStringEncodingUTF16BE, Codec::UTF16, ByteOrder::Big),
    wide(kCFStringEncodingUTF16LE, Codec::UTF16, ByteOrder::Little),
    wide(kCFStringEncodingUTF32BE, Codec::UTF32, ByteOrder::Big),
    wide(kCFStringEncodingUTF32LE, Codec::UTF32, ByteOrder::Little),
};
static_assert(std::ranges::is_sorted(kEncodings, {}, &Encoding::number));

constexpr std::size_t indexOf(CFStringEncoding number) {
    return static_cast<std::size_t>(std::ranges::find(kEncodings, number, &Encoding::number) - kEncodings);
}

constexpr std::size_t kUTF8Index = indexOf(kCFStringEncodingUTF8);
constexpr std::size_t kASCIIIndex = indexOf(kCFStringEncodingASCII);

/// The upper half of the NeXTSTEP Latin encoding (Unicode's mapping table of that name, version 0.1).
constexpr UniChar kNextStepUpper[128] = {
    0x00A0, 0x00C0, 0x00C1, 0x00C2, 0x00C3, 0x00C4, 0x00C5, 0x00C7, 0x00C8, 0x00C9, 0x00CA, 0x00CB, 0x00CC,
    0x00CD, 0x00CE, 0x00CF, 0x00D0, 0x00D1, 0x00D2, 0x00D3, 0x00D4, 0x00D5, 0x00D6, 0x00D9, 0x00DA, 0x00DB,
    0x00DC, 0x00DD, 0x00DE, 0x00B5, 0x00D7, 0x00F7, 0x00A9, 0x00A1, 0x00A2, 0x00A3, 0x2044, 0x00A5, 0x0192,
    0x00A7, 0x00A4, 0x2019, 0x201C, 0x00AB, 0x2039, 0x203A, 0xFB01, 0xFB02, 0x00AE, 0x2013, 0x2020, 0x2021,
    0x00B7, 0x00A6, 0x00B6, 0x2022, 0x201A, 0x201E, 0x201D, 0x00BB, 0x2026, 0x2030, 0x00AC, 0x00BF, 0x00B9,
    0x02CB, 0x00B4, 0x02C6, 0x02DC, 0x00AF, 0x02D8, 0x02D9, 0x00A8, 0x00B2, 0x02DA, 0x00B8, 0x00B3, 0x02DD,
    0x02DB, 0x02C7, 0x2014, 0x00B1, 0x00BC, 0x00BD, 0x00BE, 0x00E0, 0x00E1, 0x00E2, 0x00E3, 0x00E4, 0x00E5,
    0x00E7, 0x00E8, 0x00E9, 0x00EA, 0x00EB, 0x00EC, 0x00C6, 0x00ED, 0x00AA, 0x00EE, 0x00EF, 0x00F0, 0x00F1,
    0x0141, 0x00D8, 0x0152, 0x00BA, 0x00F2, 0x00F3, 0x00F4, 0x00F5, 0x00F6, 0x00E6, 0x00F9, 0x00FA, 0x00FB,
    0x0131, 0x00FC, 0x00FD, 0x0142, 0x00F8, 0x0153, 0x00DF, 0x00FE, 0x00FF, 0xFFFF, 0xFFFF,
};

/// The units of all bytes, from ICU's converter of the encoding or, where it has none, from our table.
bool fillUnits(const Encoding& encoding, std::span<UniChar, 256> units) noexcept {
    if (!encoding.converter) {
        for (std::size_t i = 0; i < 128; ++i) units[i] = static_cast<UniChar>(i);
        std::ranges::copy(kNextStepUpper, units.begin() + 128);
        return true;
    }
    UErrorCode error = U_ZERO_ERROR;
    UConverter* const converter = ucnv_open(encoding.converter, &error);
    if (U_FAILURE(error)) return false;
    ucnv_setToUCallBack(converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
    for (std::size_t i = 0; i < 256; ++i) {
        const char byte = static_cast<char>(i);
        const char* from = &byte;
        error = U_ZERO_ERROR;
        ucnv_reset(converter);
        const UChar32 character = ucnv_getNextUChar(converter, &from, &byte + 1, &error);
        units[i] = U_SUCCESS(error) && character < 0xFFFD ? static_cast<UniChar>(character) : ByteTable::kNone;
    }
    ucnv_close(converter);
    // To ICU these are control characters; the platform has none there.
    if (encoding.number == kCFStringEncodingWindowsLatin1)
        for (const unsigned byte : {0x81u, 0x8Du, 0x8Fu, 0x90u, 0x9Du}) units[byte] = ByteTable::kNone;
    return true;
}

}  // namespace

const Encoding* findEncoding(CFStringEncoding number) noexcept {
    if (number == kCFStringEncodingUTF8) return &kEncodings[kUTF8Index];
    if (number == kCFStringEncodingASCII) return &kEncodings[kASCIIIndex];
    const auto* const found = std::ranges::lower_bound(kEncodings, number, {}, &Encoding::number);
    return found != std::end(kEncodings) && found->number == number ? found : nullptr;
}

std::span<const Encoding> allEncodings() noexcept { return kEncodings; }

ByteTable::ByteTable(std::span<const UniChar, 256> units) noexcept {
    std::ranges::copy(units, units_);
    for (std::size_t i = 0; i < 256; ++i) {
        if (units_[i] != kNone) pairs_[count_++] = {units_[i], static_cast<UInt8>(i)};
    }
    // Stable, so that of two bytes for one character the lower is written.
    std::ranges::stable_sort(std::span(pairs_, count_), {}, &Pair::unit);
}

std::optional<UInt8> ByteTable::byte(UniChar unit) const noexcept {
    if (unit < 0x80 && units_[unit] == unit) return static_cast<UInt8>(unit);
    const std::span<const Pair> pairs(pairs_, count_);
    const auto found = std::ranges::lower_bound(pairs, unit, {}, &Pair::unit);
    if (found == pairs.end() || found->unit != unit) return std::nullopt;
    return found->byte;
}

const ByteTable* byteTable(const Encoding& encoding) noexcept {
    static std::atomic<const ByteTable*> tables[std::size(kEncodings)];
    std::atomic<const ByteTable*>& slot = tables[&encoding - kEncodings];
    if (const ByteTable* const table = slot.load(std::memory_order_acquire)) return table;
    UniChar units[256];
    if (!fillUnits(encoding, units)) return nullptr;
    const ByteTable* const made = new (std::nothrow) ByteTable(units);
    const ByteTable* expected = nullptr;
    // Two threads may both have made it: the first one's stays, for good.
    if (!made || slot.compare_exchange_strong(expected, made, std::memory_order_acq_rel)) return made;
    delete made;
    return expected;
}

}  // namespace KXPlatform
