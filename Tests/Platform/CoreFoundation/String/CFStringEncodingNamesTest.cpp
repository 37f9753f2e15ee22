#include "Platform/CoreFoundation/Held.h"

#include <CoreFoundation/CFStringEncodingExt.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <set>
#include <string>

using Held::string;
using Held::utf8;

namespace {

CFStringEncoding named(const char* name) {
    return CFStringConvertIANACharSetNameToEncoding(
        Held::hold(CFStringCreateWithCString(nullptr, name, kCFStringEncodingUTF8)));
}

}  // namespace

TEST(CFStringEncodingNames, ListsWhatIsAvailable) {
    std::set<CFStringEncoding> listed;
    for (const CFStringEncoding* at = CFStringGetListOfAvailableEncodings(); *at != kCFStringEncodingInvalidId; ++at) {
        EXPECT_TRUE(listed.insert(*at).second) << *at;
        EXPECT_TRUE(CFStringIsEncodingAvailable(*at)) << *at;
        EXPECT_NE(CFStringGetNameOfEncoding(*at), nullptr) << *at;
    }
    for (const CFStringEncoding expected :
         {CFStringEncoding{kCFStringEncodingMacRoman}, CFStringEncoding{kCFStringEncodingASCII},
          CFStringEncoding{kCFStringEncodingUTF8}, CFStringEncoding{kCFStringEncodingUTF16},
          CFStringEncoding{kCFStringEncodingUTF32BE}, CFStringEncoding{kCFStringEncodingShiftJIS},
          CFStringEncoding{kCFStringEncodingNonLossyASCII}})
        EXPECT_TRUE(listed.contains(expected)) << expected;
    EXPECT_EQ(CFStringGetListOfAvailableEncodings(), CFStringGetListOfAvailableEncodings());
}

TEST(CFStringEncodingNames, NamesEncodingsForPeople) {
    EXPECT_EQ(utf8(CFStringGetNameOfEncoding(kCFStringEncodingUTF8)), "Unicode (UTF-8)");
    EXPECT_EQ(utf8(CFStringGetNameOfEncoding(kCFStringEncodingMacRoman)), "Western (Mac OS Roman)");
    EXPECT_EQ(utf8(CFStringGetNameOfEncoding(kCFStringEncodingISOLatin1)), "Western (ISO Latin 1)");
    EXPECT_EQ(utf8(CFStringGetNameOfEncoding(kCFStringEncodingWindowsLatin1)), "Western (Windows Latin 1)");
    EXPECT_EQ(CFStringGetNameOfEncoding(kCFStringEncodingInvalidId), nullptr);
    EXPECT_EQ(CFStringGetNameOfEncoding(0x12345), nullptr);
}

TEST(CFStringEncodingNames, ConvertsToCocoasNumbersAndBack) {
    const struct {
        CFStringEncoding ours;
        unsigned long cocoa;
    } rows[] = {
        {kCFStringEncodingASCII, 1},
        {kCFStringEncodingNextStepLatin, 2},
        {kCFStringEncodingEUC_JP, 3},
        {kCFStringEncodingUTF8, 4},
        {kCFStringEncodingISOLatin1, 5},
        {kCFStringEncodingMacSymbol, 6},
        {kCFStringEncodingNonLossyASCII, 7},
        {kCFStringEncodingDOSJapanese, 8},
        {kCFStringEncodingISOLatin2, 9},
        {kCFStringEncodingUTF16, 10},
        {kCFStringEncodingWindowsCyrillic, 11},
        {kCFStringEncodingWindowsLatin1, 12},
        {kCFStringEncodingWindowsGreek, 13},
        {kCFStringEncodingWindowsLatin5, 14},
        {kCFStringEncodingWindowsLatin2, 15},
        {kCFStringEncodingISO_2022_JP, 21},
        {kCFStringEncodingMacRoman, 30},
        {kCFStringEncodingUTF16BE, 0x90000100},
        {kCFStringEncodingUTF16LE, 0x94000100},
        {kCFStringEncodingUTF32, 0x8C000100},
        {kCFStringEncodingUTF32BE, 0x98000100},
        {kCFStringEncodingUTF32LE, 0x9C000100},
        {kCFStringEncodingBig5, 0x80000A03},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(CFStringConvertEncodingToNSStringEncoding(row.ours), row.cocoa) << row.ours;
        EXPECT_EQ(CFStringConvertNSStringEncodingToEncoding(row.cocoa), row.ours) << row.cocoa;
    }
    for (const unsigned long unknown : {0UL, 16UL, 20UL, 31UL, 1000UL, 0xFFFFFFFFUL, 0x180000001UL})
        EXPECT_EQ(CFStringConvertNSStringEncodingToEncoding(unknown), kCFStringEncodingInvalidId) << unknown;
}

TEST(CFStringEncodingNames, ConvertsToWindowsCodePagesAndBack) {
    const struct {
        CFStringEncoding ours;
        UInt32 page;
    } rows[] = {
        {kCFStringEncodingWindowsLatin1, 1252},   {kCFStringEncodingWindowsLatin2, 1250},
        {kCFStringEncodingWindowsCyrillic, 1251}, {kCFStringEncodingDOSLatinUS, 437},
        {kCFStringEncodingDOSJapanese, 932},      {kCFStringEncodingDOSChineseSimplif, 936},
        {kCFStringEncodingDOSKorean, 949},        {kCFStringEncodingDOSChineseTrad, 950},
        {kCFStringEncodingUTF8, 65001},           {kCFStringEncodingUTF7, 65000},
        {kCFStringEncodingUTF16, 1200},           {kCFStringEncodingUTF16BE, 1201},
        {kCFStringEncodingUTF32, 65005},          {kCFStringEncodingUTF32BE, 65006},
        {kCFStringEncodingISOLatin1, 28591},      {kCFStringEncodingISOLatin9, 28605},
        {kCFStringEncodingASCII, 20127},          {kCFStringEncodingMacRoman, 10000},
        {kCFStringEncodingKOI8_R, 20866},         {kCFStringEncodingDOSGreek, 737},
        {kCFStringEncodingGB_18030_2000, 54936},  {kCFStringEncodingWindowsKoreanJohab, 1361},
        {kCFStringEncodingEBCDIC_CP037, 37},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(CFStringConvertEncodingToWindowsCodepage(row.ours), row.page) << row.ours;
        EXPECT_EQ(CFStringConvertWindowsCodepageToEncoding(row.page), row.ours) << row.page;
    }
    for (const CFStringEncoding none : std::initializer_list<CFStringEncoding>{
             kCFStringEncodingNonLossyASCII, kCFStringEncodingUTF16LE, kCFStringEncodingUTF32LE,
             kCFStringEncodingGBK_95, kCFStringEncodingEUC_JP, kCFStringEncodingEUC_CN, kCFStringEncodingEUC_KR,
             kCFStringEncodingEUC_TW})
        EXPECT_EQ(CFStringConvertEncodingToWindowsCodepage(none), kCFStringEncodingInvalidId) << none;
    EXPECT_EQ(CFStringConvertEncodingToWindowsCodepage(kCFStringEncodingInvalidId), kCFStringEncodingInvalidId);
    EXPECT_EQ(CFStringConvertWindowsCodepageToEncoding(0), kCFStringEncodingInvalidId);
    EXPECT_EQ(CFStringConvertWindowsCodepageToEncoding(12000), kCFStringEncodingInvalidId);
    EXPECT_EQ(CFStringConvertWindowsCodepageToEncoding(51932), kCFStringEncodingInvalidId);
    EXPECT_EQ(CFStringConvertWindowsCodepageToEncoding(99999), kCFStringEncodingInvalidId);
}

TEST(CFStringEncodingNames, ConvertsToRegisteredNamesAndBack) {
    const struct {
        CFStringEncoding ours;
        const char* name;
    } rows[] = {
        {kCFStringEncodingUTF8, "utf-8"},
        {kCFStringEncodingASCII, "us-ascii"},
        {kCFStringEncodingISOLatin1, "iso-8859-1"},
        {kCFStringEncodingMacRoman, "macintosh"},
        {kCFStringEncodingUTF16, "utf-16"},
        {kCFStringEncodingUTF16BE, "utf-16be"},
        {kCFStringEncodingUTF32LE, "utf-32le"},
        {kCFStringEncodingWindowsLatin1, "windows-1252"},
        {kCFStringEncodingShiftJIS, "shift_jis"},
        {kCFStringEncodingEUC_JP, "euc-jp"},
        {kCFStringEncodingBig5, "big5"},
        {kCFStringEncodingGB_18030_2000, "gb18030"},
        {kCFStringEncodingKOI8_R, "koi8-r"},
        {kCFStringEncodingDOSLatinUS, "cp437"},
        {kCFStringEncodingDOSLatin1, "cp850"},
        {kCFStringEncodingDOSPortuguese, "cp860"},
        {kCFStringEncodingDOSArabic, "cp864"},
        {kCFStringEncodingDOSJapanese, "cp932"},
        {kCFStringEncodingDOSChineseSimplif, "cp936"},
        {kCFStringEncodingDOSKorean, "cp949"},
        {kCFStringEncodingDOSChineseTrad, "cp950"},
        {kCFStringEncodingWindowsKoreanJohab, "windows-1361"},
        {kCFStringEncodingGBK_95, "gbk"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(utf8(CFStringConvertEncodingToIANACharSetName(row.ours)), row.name);
        EXPECT_EQ(named(row.name), row.ours) << row.name;
    }
    EXPECT_EQ(CFStringConvertEncodingToIANACharSetName(kCFStringEncodingNonLossyASCII), nullptr);
    EXPECT_EQ(CFStringConvertEncodingToIANACharSetName(kCFStringEncodingInvalidId), nullptr);
}

TEST(CFStringEncodingNames, KnowsOtherNamesInAnyCase) {
    EXPECT_EQ(named("UTF-8"), CFStringEncoding{kCFStringEncodingUTF8});
    EXPECT_EQ(named("UTF8"), CFStringEncoding{kCFStringEncodingUTF8});
    EXPECT_EQ(named("Latin1"), CFStringEncoding{kCFStringEncodingISOLatin1});
    EXPECT_EQ(named("ISO_8859-1:1987"), CFStringEncoding{kCFStringEncodingISOLatin1});
    EXPECT_EQ(named("csISOLatin1"), CFStringEncoding{kCFStringEncodingISOLatin1});
    EXPECT_EQ(named("ANSI_X3.4-1968"), CFStringEncoding{kCFStringEncodingASCII});
    EXPECT_EQ(named("cp1252"), CFStringEncoding{kCFStringEncodingWindowsLatin1});
    EXPECT_EQ(named("ibm437"), CFStringEncoding{kCFStringEncodingDOSLatinUS});
    EXPECT_EQ(named("Windows-31J"), CFStringEncoding{kCFStringEncodingDOSJapanese});
    EXPECT_EQ(named("KS_C_5601-1987"), CFStringEncoding{kCFStringEncodingDOSKorean});
    EXPECT_EQ(named("johab"), CFStringEncoding{kCFStringEncodingWindowsKoreanJohab});
}

TEST(CFStringEncodingNames, ReadsNamesWithBlanksAroundThem) {
    for (const char* name : {"utf-8 ", " utf-8", "  UTF-8\t\r\n"})
        EXPECT_EQ(named(name), CFStringEncoding{kCFStringEncodingUTF8}) << name;
}

TEST(CFStringEncodingNames, KnowsNoEncodingForOtherNames) {
    for (const char* name : {"", " ", "no-such", "utf- 8", "utf-\xC3\xA9"})
        EXPECT_EQ(named(name), kCFStringEncodingInvalidId) << name;
    EXPECT_EQ(CFStringConvertIANACharSetNameToEncoding(nullptr), kCFStringEncodingInvalidId);
    EXPECT_EQ(named(std::string(100'000, 'x').c_str()), kCFStringEncodingInvalidId);
}

TEST(CFStringEncodingNames, FindsTheMacEncodingOfAScript) {
    EXPECT_EQ(CFStringGetMostCompatibleMacStringEncoding(kCFStringEncodingISOLatin1),
              CFStringEncoding{kCFStringEncodingMacRoman});
    EXPECT_EQ(CFStringGetMostCompatibleMacStringEncoding(kCFStringEncodingASCII),
              CFStringEncoding{kCFStringEncodingMacRoman});
    EXPECT_EQ(CFStringGetMostCompatibleMacStringEncoding(kCFStringEncodingWindowsCyrillic),
              CFStringEncoding{kCFStringEncodingMacCyrillic});
    EXPECT_EQ(CFStringGetMostCompatibleMacStringEncoding(kCFStringEncodingShiftJIS),
              CFStringEncoding{kCFStringEncodingMacJapanese});
    EXPECT_EQ(CFStringGetMostCompatibleMacStringEncoding(kCFStringEncodingMacGreek),
              CFStringEncoding{kCFStringEncodingMacGreek});
    EXPECT_EQ(CFStringGetMostCompatibleMacStringEncoding(kCFStringEncodingInvalidId), kCFStringEncodingInvalidId);
}
