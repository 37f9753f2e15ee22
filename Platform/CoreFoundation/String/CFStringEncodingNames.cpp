#include "CFStringEncoding.h"
#include "CFStringFolding.h"
#include "CFStringSupport.h"

#include <CoreFoundation/CFStringEncodingExt.h>
#include <unicode/ucnv.h>

#include <algorithm>
#include <string>
#include <string_view>

using namespace KXPlatform;

// What encodings are called elsewhere: the names people read, Cocoa's numbers, the code pages of Windows (Microsoft's
// list of code page identifiers) and the names that IANA registered. Tables of facts; what bytes mean in an encoding
// is told where text is converted.

namespace {

struct Names {
    CFStringEncoding encoding;
    UInt32 codePage;         ///< of Windows; 0: none
    CFStringEncoding mac;    ///< the Mac OS encoding for the same script
    StringConstant name;     ///< for people
    StringConstant charset;  ///< as IANA registered it, in lower case; empty: not registered
};

constexpr CFStringEncoding kRoman = kCFStringEncodingMacRoman;
constexpr CFStringEncoding kJapanese = kCFStringEncodingMacJapanese;
constexpr CFStringEncoding kTraditional = kCFStringEncodingMacChineseTrad;
constexpr CFStringEncoding kKorean = kCFStringEncodingMacKorean;
constexpr CFStringEncoding kArabic = kCFStringEncodingMacArabic;
constexpr CFStringEncoding kHebrew = kCFStringEncodingMacHebrew;
constexpr CFStringEncoding kGreek = kCFStringEncodingMacGreek;
constexpr CFStringEncoding kCyrillic = kCFStringEncodingMacCyrillic;
constexpr CFStringEncoding kThai = kCFStringEncodingMacThai;
constexpr CFStringEncoding kSimplified = kCFStringEncodingMacChineseSimp;
constexpr CFStringEncoding kCentral = kCFStringEncodingMacCentralEurRoman;
constexpr CFStringEncoding kVietnamese = kCFStringEncodingMacVietnamese;
constexpr CFStringEncoding kTurkish = kCFStringEncodingMacTurkish;
constexpr CFStringEncoding kCeltic = kCFStringEncodingMacCeltic;
constexpr CFStringEncoding kIcelandic = kCFStringEncodingMacIcelandic;
constexpr CFStringEncoding kRomanian = kCFStringEncodingMacRomanian;

template <std::size_t N, std::size_t M>
constexpr Names row(CFStringEncoding encoding, UInt32 codePage, CFStringEncoding mac, const char (&name)[N],
                    const char (&charset)[M]) {
    return {encoding, codePage, mac, StringConstant(name), StringConstant(charset)};
}

// Where several encodings have one code page or charset name, the one that the name stands for comes first.
// clang-format off
constinit const Names kNames[] = {
    row(kCFStringEncodingMacRoman, 10000, kRoman, "Western (Mac OS Roman)", "macintosh"),
    row(kCFStringEncodingShiftJIS, 932, kJapanese, "Japanese (Shift JIS)", "shift_jis"),
    row(kCFStringEncodingBig5, 950, kTraditional, "Traditional Chinese (Big 5)", "big5"),
    row(kCFStringEncodingDOSLatinUS, 437, kRoman, "Latin-US (DOS)", "cp437"),
    row(kCFStringEncodingMacJapanese, 10001, kJapanese, "Japanese (Mac OS)", "x-mac-japanese"),
    row(kCFStringEncodingMacChineseTrad, 10002, kTraditional, "Traditional Chinese (Mac OS)", "x-mac-trad-chinese"),
    row(kCFStringEncodingMacKorean, 10003, kKorean, "Korean (Mac OS)", "x-mac-korean"),
    row(kCFStringEncodingMacArabic, 10004, kArabic, "Arabic (Mac OS)", "x-mac-arabic"),
    row(kCFStringEncodingMacHebrew, 10005, kHebrew, "Hebrew (Mac OS)", "x-mac-hebrew"),
    row(kCFStringEncodingMacGreek, 10006, kGreek, "Greek (Mac OS)", "x-mac-greek"),
    row(kCFStringEncodingMacCyrillic, 10007, kCyrillic, "Cyrillic (Mac OS)", "x-mac-cyrillic"),
    row(kCFStringEncodingMacChineseSimp, 10008, kSimplified, "Simplified Chinese (Mac OS)", "x-mac-simp-chinese"),
    row(kCFStringEncodingMacThai, 10021, kThai, "Thai (Mac OS)", "x-mac-thai"),
    row(kCFStringEncodingMacCentralEurRoman, 10029, kCentral, "Central European (Mac OS)", "x-mac-centraleurroman"),
    row(kCFStringEncodingMacVietnamese, 0, kVietnamese, "Vietnamese (Mac OS)", "x-mac-vietnamese"),
    row(kCFStringEncodingMacSymbol, 0, kCFStringEncodingMacSymbol, "Symbol (Mac OS)", "x-mac-symbol"),
    row(kCFStringEncodingMacDingbats, 0, kCFStringEncodingMacDingbats, "Dingbats (Mac OS)", "x-mac-dingbats"),
    row(kCFStringEncodingMacTurkish, 10081, kTurkish, "Turkish (Mac OS)", "x-mac-turkish"),
    row(kCFStringEncodingMacCroatian, 10082, kCFStringEncodingMacCroatian, "Croatian (Mac OS)", "x-mac-croatian"),
    row(kCFStringEncodingMacIcelandic, 10079, kIcelandic, "Icelandic (Mac OS)", "x-mac-icelandic"),
    row(kCFStringEncodingMacRomanian, 10010, kRomanian, "Romanian (Mac OS)", "x-mac-romanian"),
    row(kCFStringEncodingMacCeltic, 0, kCeltic, "Celtic (Mac OS)", "x-mac-celtic"),
    row(kCFStringEncodingMacGaelic, 0, kCFStringEncodingMacGaelic, "Gaelic (Mac OS)", "x-mac-gaelic"),
    row(kCFStringEncodingMacFarsi, 0, kCFStringEncodingMacFarsi, "Farsi (Mac OS)", "x-mac-farsi"),
    row(kCFStringEncodingMacUkrainian, 10017, kCyrillic, "Cyrillic (Mac OS Ukrainian)", "x-mac-ukrainian"),
    row(kCFStringEncodingMacInuit, 0, kCFStringEncodingMacInuit, "Inuit (Mac OS)", "x-mac-inuit"),

    row(kCFStringEncodingISOLatin1, 28591, kRoman, "Western (ISO Latin 1)", "iso-8859-1"),
    row(kCFStringEncodingISOLatin2, 28592, kCentral, "Central European (ISO Latin 2)", "iso-8859-2"),
    row(kCFStringEncodingISOLatin3, 28593, kRoman, "Western (ISO Latin 3)", "iso-8859-3"),
    row(kCFStringEncodingISOLatin4, 28594, kCentral, "Central European (ISO Latin 4)", "iso-8859-4"),
    row(kCFStringEncodingISOLatinCyrillic, 28595, kCyrillic, "Cyrillic (ISO 8859-5)", "iso-8859-5"),
    row(kCFStringEncodingISOLatinArabic, 28596, kArabic, "Arabic (ISO 8859-6)", "iso-8859-6"),
    row(kCFStringEncodingISOLatinGreek, 28597, kGreek, "Greek (ISO 8859-7)", "iso-8859-7"),
    row(kCFStringEncodingISOLatinHebrew, 28598, kHebrew, "Hebrew (ISO 8859-8)", "iso-8859-8"),
    row(kCFStringEncodingISOLatin5, 28599, kTurkish, "Turkish (ISO Latin 5)", "iso-8859-9"),
    row(kCFStringEncodingISOLatin6, 28600, kIcelandic, "Nordic (ISO Latin 6)", "iso-8859-10"),
    row(kCFStringEncodingISOLatinThai, 28601, kThai, "Thai (ISO 8859-11)", "iso-8859-11"),
    row(kCFStringEncodingISOLatin7, 28603, kCentral, "Baltic (ISO Latin 7)", "iso-8859-13"),
    row(kCFStringEncodingISOLatin8, 28604, kCeltic, "Celtic (ISO Latin 8)", "iso-8859-14"),
    row(kCFStringEncodingISOLatin9, 28605, kRoman, "Western (ISO Latin 9)", "iso-8859-15"),
    row(kCFStringEncodingISOLatin10, 28606, kRomanian, "Romanian (ISO Latin 10)", "iso-8859-16"),

    row(kCFStringEncodingDOSGreek, 737, kGreek, "Greek (DOS)", "cp737"),
    row(kCFStringEncodingDOSBalticRim, 775, kCentral, "Baltic (DOS)", "ibm775"),
    row(kCFStringEncodingDOSLatin1, 850, kRoman, "Western (DOS Latin 1)", "cp850"),
    row(kCFStringEncodingDOSGreek1, 851, kGreek, "Greek (DOS Greek 1)", "ibm851"),
    row(kCFStringEncodingDOSLatin2, 852, kCentral, "Central European (DOS Latin 2)", "ibm852"),
    row(kCFStringEncodingDOSCyrillic, 855, kCyrillic, "Cyrillic (DOS)", "ibm855"),
    row(kCFStringEncodingDOSTurkish, 857, kTurkish, "Turkish (DOS)", "ibm857"),
    row(kCFStringEncodingDOSPortuguese, 860, kRoman, "Portuguese (DOS)", "cp860"),
    row(kCFStringEncodingDOSIcelandic, 861, kIcelandic, "Icelandic (DOS)", "ibm861"),
    row(kCFStringEncodingDOSHebrew, 862, kHebrew, "Hebrew (DOS)", "ibm862"),
    row(kCFStringEncodingDOSCanadianFrench, 863, kRoman, "Canadian French (DOS)", "ibm863"),
    row(kCFStringEncodingDOSArabic, 864, kArabic, "Arabic (DOS)", "cp864"),
    row(kCFStringEncodingDOSNordic, 865, kRoman, "Nordic (DOS)", "ibm865"),
    row(kCFStringEncodingDOSRussian, 866, kCyrillic, "Cyrillic (DOS Russian)", "ibm866"),
    row(kCFStringEncodingDOSGreek2, 869, kGreek, "Greek (DOS Greek 2)", "ibm869"),
    row(kCFStringEncodingDOSThai, 874, kThai, "Thai (Windows, DOS)", "windows-874"),
    row(kCFStringEncodingDOSJapanese, 932, kJapanese, "Japanese (Windows, DOS)", "cp932"),
    row(kCFStringEncodingDOSChineseSimplif, 936, kSimplified, "Simplified Chinese (Windows, DOS)", "cp936"),
    row(kCFStringEncodingDOSKorean, 949, kKorean, "Korean (Windows, DOS)", "cp949"),
    row(kCFStringEncodingDOSChineseTrad, 950, kTraditional, "Traditional Chinese (Windows, DOS)", "cp950"),

    row(kCFStringEncodingWindowsLatin1, 1252, kRoman, "Western (Windows Latin 1)", "windows-1252"),
    row(kCFStringEncodingWindowsLatin2, 1250, kCentral, "Central European (Windows Latin 2)", "windows-1250"),
    row(kCFStringEncodingWindowsCyrillic, 1251, kCyrillic, "Cyrillic (Windows)", "windows-1251"),
    row(kCFStringEncodingWindowsGreek, 1253, kGreek, "Greek (Windows)", "windows-1253"),
    row(kCFStringEncodingWindowsLatin5, 1254, kTurkish, "Turkish (Windows Latin 5)", "windows-1254"),
    row(kCFStringEncodingWindowsHebrew, 1255, kHebrew, "Hebrew (Windows)", "windows-1255"),
    row(kCFStringEncodingWindowsArabic, 1256, kArabic, "Arabic (Windows)", "windows-1256"),
    row(kCFStringEncodingWindowsBalticRim, 1257, kCentral, "Baltic (Windows)", "windows-1257"),
    row(kCFStringEncodingWindowsVietnamese, 1258, kVietnamese, "Vietnamese (Windows)", "windows-1258"),
    row(kCFStringEncodingWindowsKoreanJohab, 1361, kKorean, "Korean (Windows Johab)", "windows-1361"),

    row(kCFStringEncodingASCII, 20127, kRoman, "Western (ASCII)", "us-ascii"),
    row(kCFStringEncodingNonLossyASCII, 0, kRoman, "Non-lossy ASCII", ""),
    row(kCFStringEncodingNextStepLatin, 0, kRoman, "Western (NextStep)", "x-nextstep"),
    row(kCFStringEncodingMacRomanLatin1, 0, kRoman, "Western (Mac Mail)", ""),
    row(kCFStringEncodingShiftJIS_X0213, 0, kJapanese, "Japanese (Shift JIS X0213)", "shift_jisx0213"),
    row(kCFStringEncodingGB_2312_80, 20936, kSimplified, "Simplified Chinese (GB 2312)", "gb_2312-80"),
    row(kCFStringEncodingGBK_95, 0, kSimplified, "Simplified Chinese (GBK)", "gbk"),
    row(kCFStringEncodingGB_18030_2000, 54936, kSimplified, "Simplified Chinese (GB 18030)", "gb18030"),
    row(kCFStringEncodingISO_2022_JP, 50220, kJapanese, "Japanese (ISO 2022-JP)", "iso-2022-jp"),
    row(kCFStringEncodingISO_2022_JP_2, 0, kJapanese, "Japanese (ISO 2022-JP-2)", "iso-2022-jp-2"),
    row(kCFStringEncodingISO_2022_JP_1, 0, kJapanese, "Japanese (ISO 2022-JP-1)", "iso-2022-jp-1"),
    row(kCFStringEncodingISO_2022_JP_3, 0, kJapanese, "Japanese (ISO 2022-JP-3)", "iso-2022-jp-3"),
    row(kCFStringEncodingISO_2022_CN, 50227, kSimplified, "Chinese (ISO 2022-CN)", "iso-2022-cn"),
    row(kCFStringEncodingISO_2022_CN_EXT, 0, kSimplified, "Chinese (ISO 2022-CN-EXT)", "iso-2022-cn-ext"),
    row(kCFStringEncodingISO_2022_KR, 50225, kKorean, "Korean (ISO 2022-KR)", "iso-2022-kr"),
    row(kCFStringEncodingEUC_JP, 0, kJapanese, "Japanese (EUC)", "euc-jp"),
    row(kCFStringEncodingEUC_CN, 0, kSimplified, "Simplified Chinese (EUC)", "gb2312"),
    row(kCFStringEncodingEUC_TW, 0, kTraditional, "Traditional Chinese (EUC)", "euc-tw"),
    row(kCFStringEncodingEUC_KR, 0, kKorean, "Korean (EUC)", "euc-kr"),
    row(kCFStringEncodingKOI8_R, 20866, kCyrillic, "Cyrillic (KOI8-R)", "koi8-r"),
    row(kCFStringEncodingKOI8_U, 21866, kCyrillic, "Ukrainian (KOI8-U)", "koi8-u"),
    row(kCFStringEncodingHZ_GB_2312, 52936, kSimplified, "Simplified Chinese (HZ GB 2312)", "hz-gb-2312"),
    row(kCFStringEncodingBig5_HKSCS_1999, 951, kTraditional, "Traditional Chinese (Big 5 HKSCS)", "big5-hkscs"),
    row(kCFStringEncodingBig5_E, 0, kTraditional, "Traditional Chinese (Big 5-E)", ""),
    row(kCFStringEncodingVISCII, 0, kVietnamese, "Vietnamese (VISCII)", "viscii"),
    row(kCFStringEncodingEBCDIC_CP037, 37, kRoman, "Western (EBCDIC Latin 1)", "ibm037"),
    row(kCFStringEncodingEBCDIC_US, 0, kRoman, "Western (EBCDIC US)", "ebcdic-us"),

    row(kCFStringEncodingUTF8, 65001, kRoman, "Unicode (UTF-8)", "utf-8"),
    row(kCFStringEncodingUTF7, 65000, kRoman, "Unicode (UTF-7)", "utf-7"),
    row(kCFStringEncodingUTF7_IMAP, 0, kRoman, "Unicode (UTF-7 IMAP)", "utf-7-imap"),
    row(kCFStringEncodingUTF16, 1200, kRoman, "Unicode (UTF-16)", "utf-16"),
    row(kCFStringEncodingUTF16LE, 0, kRoman, "Unicode (UTF-16LE)", "utf-16le"),
    row(kCFStringEncodingUTF16BE, 1201, kRoman, "Unicode (UTF-16BE)", "utf-16be"),
    row(kCFStringEncodingUTF32, 65005, kRoman, "Unicode (UTF-32)", "utf-32"),
    row(kCFStringEncodingUTF32LE, 0, kRoman, "Unicode (UTF-32LE)", "utf-32le"),
    row(kCFStringEncodingUTF32BE, 65006, kRoman, "Unicode (UTF-32BE)", "utf-32be"),
};

struct CocoaNumber {
    unsigned long cocoa;
    CFStringEncoding encoding;
};

/// The encodings to which Cocoa gave numbers of its own; it gives every other kCocoaForeign and our number.
constexpr CocoaNumber kCocoaNumbers[] = {
    {1, kCFStringEncodingASCII},          {2, kCFStringEncodingNextStepLatin}, {3, kCFStringEncodingEUC_JP},
    {4, kCFStringEncodingUTF8},           {5, kCFStringEncodingISOLatin1},     {6, kCFStringEncodingMacSymbol},
    {7, kCFStringEncodingNonLossyASCII},  {8, kCFStringEncodingDOSJapanese},   {9, kCFStringEncodingISOLatin2},
    {10, kCFStringEncodingUTF16},         {11, kCFStringEncodingWindowsCyrillic}, {12, kCFStringEncodingWindowsLatin1},
    {13, kCFStringEncodingWindowsGreek},  {14, kCFStringEncodingWindowsLatin5}, {15, kCFStringEncodingWindowsLatin2},
    {21, kCFStringEncodingISO_2022_JP},   {30, kCFStringEncodingMacRoman},
};
constexpr unsigned long kCocoaForeign = 0x80000000;

/// Names in use for a charset that is registered by another.
struct Alias {
    std::string_view name;
    CFStringEncoding encoding;
};
constexpr Alias kAliases[] = {
    {"ascii", kCFStringEncodingASCII},            {"latin1", kCFStringEncodingISOLatin1},
    {"mac", kCFStringEncodingMacRoman},           {"x-mac-roman", kCFStringEncodingMacRoman},
    {"x-macintosh", kCFStringEncodingMacRoman},   {"utf8", kCFStringEncodingUTF8},
    {"unicode-1-1-utf-8", kCFStringEncodingUTF8}, {"x-sjis", kCFStringEncodingShiftJIS},
    {"sjis", kCFStringEncodingShiftJIS},          {"x-euc-jp", kCFStringEncodingEUC_JP},
    {"windows-31j", kCFStringEncodingDOSJapanese}, {"ks_c_5601-1987", kCFStringEncodingDOSKorean},
    {"ibm437", kCFStringEncodingDOSLatinUS},      {"ibm850", kCFStringEncodingDOSLatin1},
    {"ibm860", kCFStringEncodingDOSPortuguese},   {"ibm864", kCFStringEncodingDOSArabic},
    {"johab", kCFStringEncodingWindowsKoreanJohab},
    {"cp1250", kCFStringEncodingWindowsLatin2},   {"cp1251", kCFStringEncodingWindowsCyrillic},
    {"cp1252", kCFStringEncodingWindowsLatin1},   {"x-big5", kCFStringEncodingBig5},
    {"big5hkscs", kCFStringEncodingBig5_HKSCS_1999}, {"gb_2312", kCFStringEncodingEUC_CN},
    {"iso-10646-ucs-2", kCFStringEncodingUTF16},  {"iso-10646-ucs-4", kCFStringEncodingUTF32},
    {"unicode", kCFStringEncodingUTF16},          {"x-imap4-modified-utf7", kCFStringEncodingUTF7_IMAP},
};
// clang-format on

const Names* findNames(CFStringEncoding encoding) noexcept {
    const auto* const found = std::ranges::find(kNames, encoding, &Names::encoding);
    return found != std::end(kNames) ? found : nullptr;
}

CFStringEncoding findCharset(std::string_view lowered) noexcept {
    for (const Names& names : kNames)
        if (!lowered.empty() && view(&names.charset).asciiView() == lowered) return names.encoding;
    for (const Alias& alias : kAliases)
        if (alias.name == lowered) return alias.encoding;
    return kCFStringEncodingInvalidId;
}

std::string lowered(std::string_view text) {
    std::string result(text);
    std::ranges::transform(result, result.begin(), asciiLower);
    return result;
}

std::string_view withoutBlanks(std::string_view text) noexcept {
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    return first == text.npos ? std::string_view() : text.substr(first, text.find_last_not_of(" \t\r\n") + 1 - first);
}

CFStringEncoding encodingNamed(std::string_view name) {
    const std::string wanted = lowered(name);
    const CFStringEncoding known = findCharset(wanted);
    if (known != kCFStringEncodingInvalidId) return known;
    // Of the hundreds of further aliases ICU keeps the list. It reads names leniently; a space is in none.
    if (wanted.find(' ') != std::string::npos) return kCFStringEncodingInvalidId;
    for (const char* const registry : {"MIME", "IANA"}) {
        UErrorCode status = U_ZERO_ERROR;
        const char* const standard = ucnv_getStandardName(wanted.c_str(), registry, &status);
        const CFStringEncoding found =
            U_SUCCESS(status) && standard ? findCharset(lowered(standard)) : kCFStringEncodingInvalidId;
        if (found != kCFStringEncodingInvalidId) return found;
    }
    return kCFStringEncodingInvalidId;
}

}  // namespace

const CFStringEncoding* CFStringGetListOfAvailableEncodings() {
    static const CFStringEncoding* const list = []() -> const CFStringEncoding* {
        static constexpr CFStringEncoding kNone = kCFStringEncodingInvalidId;
        return guarded(&kNone, [] {
            // Made once and, as the list of the process, never freed.
            // The pointer kept is the block's own: a leak check sees it.
            auto* const all = new CFStringEncoding[allEncodings().size() + 1];
            std::size_t count = 0;
            for (const Encoding& encoding : allEncodings())
                if (CFStringIsEncodingAvailable(encoding.number)) all[count++] = encoding.number;
            all[count] = kCFStringEncodingInvalidId;
            return static_cast<const CFStringEncoding*>(all);
        });
    }();
    return list;
}

CFStringRef CFStringGetNameOfEncoding(CFStringEncoding encoding) {
    const Names* const names = findNames(encoding);
    return names ? &names->name : nullptr;
}

unsigned long CFStringConvertEncodingToNSStringEncoding(CFStringEncoding encoding) {
    if (encoding == kCFStringEncodingInvalidId) return kCFStringEncodingInvalidId;
    const auto* const found = std::ranges::find(kCocoaNumbers, encoding, &CocoaNumber::encoding);
    return found != std::end(kCocoaNumbers) ? found->cocoa : kCocoaForeign | encoding;
}

CFStringEncoding CFStringConvertNSStringEncodingToEncoding(unsigned long encoding) {
    const auto* const found = std::ranges::find(kCocoaNumbers, encoding, &CocoaNumber::cocoa);
    if (found != std::end(kCocoaNumbers)) return found->encoding;
    if (encoding > kCFStringEncodingInvalidId || (encoding & kCocoaForeign) == 0) return kCFStringEncodingInvalidId;
    return encoding == kCFStringEncodingInvalidId ? kCFStringEncodingInvalidId
                                                  : static_cast<CFStringEncoding>(encoding & ~kCocoaForeign);
}

UInt32 CFStringConvertEncodingToWindowsCodepage(CFStringEncoding encoding) {
    const Names* const names = findNames(encoding);
    return names && names->codePage != 0 ? names->codePage : kCFStringEncodingInvalidId;
}

CFStringEncoding CFStringConvertWindowsCodepageToEncoding(UInt32 codepage) {
    if (codepage == 0) return kCFStringEncodingInvalidId;
    // Numbers that several encodings share: the code page as Windows itself has it is meant.
    switch (codepage) {
        case 932:
            return kCFStringEncodingDOSJapanese;
        case 936:
            return kCFStringEncodingDOSChineseSimplif;
        case 950:
            return kCFStringEncodingDOSChineseTrad;
        default:
            break;
    }
    const auto* const found = std::ranges::find(kNames, codepage, &Names::codePage);
    return found != std::end(kNames) ? found->encoding : kCFStringEncodingInvalidId;
}

CFStringEncoding CFStringConvertIANACharSetNameToEncoding(CFStringRef theString) {
    const TextView name = view(theString);
    constexpr std::size_t kLongest = 64;
    if (name.isWide()) return kCFStringEncodingInvalidId;
    const std::string_view trimmed = withoutBlanks(name.asciiView());
    if (trimmed.empty() || trimmed.size() > kLongest) return kCFStringEncodingInvalidId;
    return guarded(kCFStringEncodingInvalidId, [&] { return encodingNamed(trimmed); });
}

CFStringRef CFStringConvertEncodingToIANACharSetName(CFStringEncoding encoding) {
    const Names* const names = findNames(encoding);
    return names && names->charset.length > 0 ? &names->charset : nullptr;
}

CFStringEncoding CFStringGetMostCompatibleMacStringEncoding(CFStringEncoding encoding) {
    const Names* const names = findNames(encoding);
    return names ? names->mac : kCFStringEncodingInvalidId;
}
