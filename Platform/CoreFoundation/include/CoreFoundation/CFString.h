#pragma once

/// Text.

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFOpaqueTypes.h>

#include <stdarg.h>

CF_EXTERN_C_BEGIN

typedef UInt32 CFStringEncoding;
CF_ENUM_TYPE(CFStringEncoding, CFStringBuiltInEncodings){
    kCFStringEncodingMacRoman = 0,         kCFStringEncodingWindowsLatin1 = 1280, kCFStringEncodingISOLatin1 = 513,
    kCFStringEncodingNextStepLatin = 2817, kCFStringEncodingASCII = 1536,         kCFStringEncodingUnicode = 256,
    kCFStringEncodingUTF8 = 134217984,     kCFStringEncodingNonLossyASCII = 3071, kCFStringEncodingUTF16 = 256,
    kCFStringEncodingUTF16BE = 268435712,  kCFStringEncodingUTF16LE = 335544576,  kCFStringEncodingUTF32 = 201326848,
    kCFStringEncodingUTF32BE = 402653440,  kCFStringEncodingUTF32LE = 469762304,
};

typedef CFOptionFlags CFStringCompareFlags;

CF_ANONYMOUS_ENUM(CFStringCompareFlags){
    kCFCompareCaseInsensitive = 1,
    kCFCompareBackwards = 4,
    kCFCompareAnchored = 8,
    kCFCompareNonliteral = 16,
    kCFCompareLocalized = 32,
    kCFCompareNumerically = 64,
    kCFCompareDiacriticInsensitive = 128,
    kCFCompareWidthInsensitive = 256,
    kCFCompareForcedOrdering = 512,
};

CF_ENUM_TYPE(CFIndex, CFStringNormalizationForm){
    kCFStringNormalizationFormD = 0,
    kCFStringNormalizationFormKD = 1,
    kCFStringNormalizationFormC = 2,
    kCFStringNormalizationFormKC = 3,
};

typedef struct CFStringInlineBuffer {
    UniChar buffer[64];
    CFStringRef theString;
    const UniChar* directUniCharBuffer;
    const char* directCStringBuffer;
    CFRange rangeToBuffer;
    CFIndex bufferedRangeStart;
    CFIndex bufferedRangeEnd;
} CFStringInlineBuffer;

CF_EXPORT const CFStringRef kCFStringTransformStripCombiningMarks;
CF_EXPORT const CFStringRef kCFStringTransformToLatin;
CF_EXPORT const CFStringRef kCFStringTransformFullwidthHalfwidth;
CF_EXPORT const CFStringRef kCFStringTransformLatinKatakana;
CF_EXPORT const CFStringRef kCFStringTransformLatinHiragana;
CF_EXPORT const CFStringRef kCFStringTransformHiraganaKatakana;
CF_EXPORT const CFStringRef kCFStringTransformMandarinLatin;
CF_EXPORT const CFStringRef kCFStringTransformLatinHangul;
CF_EXPORT const CFStringRef kCFStringTransformLatinArabic;
CF_EXPORT const CFStringRef kCFStringTransformLatinHebrew;
CF_EXPORT const CFStringRef kCFStringTransformLatinThai;
CF_EXPORT const CFStringRef kCFStringTransformLatinCyrillic;
CF_EXPORT const CFStringRef kCFStringTransformLatinGreek;
CF_EXPORT const CFStringRef kCFStringTransformToXMLHex;
CF_EXPORT const CFStringRef kCFStringTransformToUnicodeName;
CF_EXPORT const CFStringRef kCFStringTransformStripDiacritics;

CF_EXPORT CFTypeID CFStringGetTypeID(void);
CF_EXPORT CFStringRef CFStringCreateWithPascalString(CFAllocatorRef alloc, ConstStr255Param pStr,
                                                     CFStringEncoding encoding);
CF_EXPORT CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr, CFStringEncoding encoding);
CF_EXPORT CFStringRef CFStringCreateWithBytes(CFAllocatorRef alloc, const UInt8* bytes, CFIndex numBytes,
                                              CFStringEncoding encoding, Boolean isExternalRepresentation);
CF_EXPORT CFStringRef CFStringCreateWithCharacters(CFAllocatorRef alloc, const UniChar* chars, CFIndex numChars);
CF_EXPORT CFStringRef CFStringCreateWithPascalStringNoCopy(CFAllocatorRef alloc, ConstStr255Param pStr,
                                                           CFStringEncoding encoding,
                                                           CFAllocatorRef contentsDeallocator);
CF_EXPORT CFStringRef CFStringCreateWithCStringNoCopy(CFAllocatorRef alloc, const char* cStr, CFStringEncoding encoding,
                                                      CFAllocatorRef contentsDeallocator);
CF_EXPORT CFStringRef CFStringCreateWithBytesNoCopy(CFAllocatorRef alloc, const UInt8* bytes, CFIndex numBytes,
                                                    CFStringEncoding encoding, Boolean isExternalRepresentation,
                                                    CFAllocatorRef contentsDeallocator);
CF_EXPORT CFStringRef CFStringCreateWithCharactersNoCopy(CFAllocatorRef alloc, const UniChar* chars, CFIndex numChars,
                                                         CFAllocatorRef contentsDeallocator);
CF_EXPORT CFStringRef CFStringCreateWithSubstring(CFAllocatorRef alloc, CFStringRef str, CFRange range);
CF_EXPORT CFStringRef CFStringCreateCopy(CFAllocatorRef alloc, CFStringRef theString);
CF_EXPORT CFStringRef CFStringCreateWithFormat(CFAllocatorRef alloc, CFDictionaryRef formatOptions, CFStringRef format,
                                               ...);
CF_EXPORT CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef alloc, CFDictionaryRef formatOptions,
                                                           CFStringRef format, va_list arguments);
CF_EXPORT CFStringRef CFStringCreateStringWithValidatedFormat(CFAllocatorRef alloc, CFDictionaryRef formatOptions,
                                                              CFStringRef validFormatSpecifiers, CFStringRef format,
                                                              CFErrorRef* errorPtr, ...);
CF_EXPORT CFStringRef CFStringCreateStringWithValidatedFormatAndArguments(CFAllocatorRef alloc,
                                                                          CFDictionaryRef formatOptions,
                                                                          CFStringRef validFormatSpecifiers,
                                                                          CFStringRef format, va_list arguments,
                                                                          CFErrorRef* errorPtr);
CF_EXPORT CFMutableStringRef CFStringCreateMutable(CFAllocatorRef alloc, CFIndex maxLength);
CF_EXPORT CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef alloc, CFIndex maxLength, CFStringRef theString);
CF_EXPORT CFMutableStringRef
CFStringCreateMutableWithExternalCharactersNoCopy(CFAllocatorRef alloc, UniChar* chars, CFIndex numChars,
                                                  CFIndex capacity, CFAllocatorRef externalCharactersAllocator);
CF_EXPORT CFIndex CFStringGetLength(CFStringRef theString);
CF_EXPORT UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx);
CF_EXPORT void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar* buffer);
CF_EXPORT Boolean CFStringGetPascalString(CFStringRef theString, StringPtr buffer, CFIndex bufferSize,
                                          CFStringEncoding encoding);
CF_EXPORT Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                                     CFStringEncoding encoding);
CF_EXPORT ConstStringPtr CFStringGetPascalStringPtr(CFStringRef theString, CFStringEncoding encoding);
CF_EXPORT const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding);
CF_EXPORT const UniChar* CFStringGetCharactersPtr(CFStringRef theString);
CF_EXPORT CFIndex CFStringGetBytes(CFStringRef theString, CFRange range, CFStringEncoding encoding, UInt8 lossByte,
                                   Boolean isExternalRepresentation, UInt8* buffer, CFIndex maxBufLen,
                                   CFIndex* usedBufLen);
CF_EXPORT CFStringRef CFStringCreateFromExternalRepresentation(CFAllocatorRef alloc, CFDataRef data,
                                                               CFStringEncoding encoding);
CF_EXPORT CFDataRef CFStringCreateExternalRepresentation(CFAllocatorRef alloc, CFStringRef theString,
                                                         CFStringEncoding encoding, UInt8 lossByte);
CF_EXPORT CFStringEncoding CFStringGetSmallestEncoding(CFStringRef theString);
CF_EXPORT CFStringEncoding CFStringGetFastestEncoding(CFStringRef theString);
CF_EXPORT CFStringEncoding CFStringGetSystemEncoding(void);
CF_EXPORT CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
CF_EXPORT Boolean CFStringGetFileSystemRepresentation(CFStringRef string, char* buffer, CFIndex maxBufLen);
CF_EXPORT CFIndex CFStringGetMaximumSizeOfFileSystemRepresentation(CFStringRef string);
CF_EXPORT CFStringRef CFStringCreateWithFileSystemRepresentation(CFAllocatorRef alloc, const char* buffer);
CF_EXPORT CFComparisonResult CFStringCompareWithOptionsAndLocale(CFStringRef theString1, CFStringRef theString2,
                                                                 CFRange rangeToCompare,
                                                                 CFStringCompareFlags compareOptions,
                                                                 CFLocaleRef locale);
CF_EXPORT CFComparisonResult CFStringCompareWithOptions(CFStringRef theString1, CFStringRef theString2,
                                                        CFRange rangeToCompare, CFStringCompareFlags compareOptions);
CF_EXPORT CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2,
                                             CFStringCompareFlags compareOptions);
CF_EXPORT Boolean CFStringFindWithOptionsAndLocale(CFStringRef theString, CFStringRef stringToFind,
                                                   CFRange rangeToSearch, CFStringCompareFlags searchOptions,
                                                   CFLocaleRef locale, CFRange* result);
CF_EXPORT Boolean CFStringFindWithOptions(CFStringRef theString, CFStringRef stringToFind, CFRange rangeToSearch,
                                          CFStringCompareFlags searchOptions, CFRange* result);
CF_EXPORT CFArrayRef CFStringCreateArrayWithFindResults(CFAllocatorRef alloc, CFStringRef theString,
                                                        CFStringRef stringToFind, CFRange rangeToSearch,
                                                        CFStringCompareFlags compareOptions);
CF_EXPORT CFRange CFStringFind(CFStringRef theString, CFStringRef stringToFind, CFStringCompareFlags compareOptions);
CF_EXPORT Boolean CFStringHasPrefix(CFStringRef theString, CFStringRef prefix);
CF_EXPORT Boolean CFStringHasSuffix(CFStringRef theString, CFStringRef suffix);
CF_EXPORT CFRange CFStringGetRangeOfComposedCharactersAtIndex(CFStringRef theString, CFIndex theIndex);
CF_EXPORT Boolean CFStringFindCharacterFromSet(CFStringRef theString, CFCharacterSetRef theSet, CFRange rangeToSearch,
                                               CFStringCompareFlags searchOptions, CFRange* result);
CF_EXPORT void CFStringGetLineBounds(CFStringRef theString, CFRange range, CFIndex* lineBeginIndex,
                                     CFIndex* lineEndIndex, CFIndex* contentsEndIndex);
CF_EXPORT void CFStringGetParagraphBounds(CFStringRef string, CFRange range, CFIndex* parBeginIndex,
                                          CFIndex* parEndIndex, CFIndex* contentsEndIndex);
CF_EXPORT CFIndex CFStringGetHyphenationLocationBeforeIndex(CFStringRef string, CFIndex location, CFRange limitRange,
                                                            CFOptionFlags options, CFLocaleRef locale,
                                                            UTF32Char* character);
CF_EXPORT Boolean CFStringIsHyphenationAvailableForLocale(CFLocaleRef locale);
CF_EXPORT CFStringRef CFStringCreateByCombiningStrings(CFAllocatorRef alloc, CFArrayRef theArray,
                                                       CFStringRef separatorString);
CF_EXPORT CFArrayRef CFStringCreateArrayBySeparatingStrings(CFAllocatorRef alloc, CFStringRef theString,
                                                            CFStringRef separatorString);
CF_EXPORT SInt32 CFStringGetIntValue(CFStringRef str);
CF_EXPORT double CFStringGetDoubleValue(CFStringRef str);
CF_EXPORT void CFStringAppend(CFMutableStringRef theString, CFStringRef appendedString);
CF_EXPORT void CFStringAppendCharacters(CFMutableStringRef theString, const UniChar* chars, CFIndex numChars);
CF_EXPORT void CFStringAppendPascalString(CFMutableStringRef theString, ConstStr255Param pStr,
                                          CFStringEncoding encoding);
CF_EXPORT void CFStringAppendCString(CFMutableStringRef theString, const char* cStr, CFStringEncoding encoding);
CF_EXPORT void CFStringAppendFormat(CFMutableStringRef theString, CFDictionaryRef formatOptions, CFStringRef format,
                                    ...);
CF_EXPORT void CFStringAppendFormatAndArguments(CFMutableStringRef theString, CFDictionaryRef formatOptions,
                                                CFStringRef format, va_list arguments);
CF_EXPORT void CFStringInsert(CFMutableStringRef str, CFIndex idx, CFStringRef insertedStr);
CF_EXPORT void CFStringDelete(CFMutableStringRef theString, CFRange range);
CF_EXPORT void CFStringReplace(CFMutableStringRef theString, CFRange range, CFStringRef replacement);
CF_EXPORT void CFStringReplaceAll(CFMutableStringRef theString, CFStringRef replacement);
CF_EXPORT CFIndex CFStringFindAndReplace(CFMutableStringRef theString, CFStringRef stringToFind,
                                         CFStringRef replacementString, CFRange rangeToSearch,
                                         CFStringCompareFlags compareOptions);
CF_EXPORT void CFStringSetExternalCharactersNoCopy(CFMutableStringRef theString, UniChar* chars, CFIndex length,
                                                   CFIndex capacity);
CF_EXPORT void CFStringPad(CFMutableStringRef theString, CFStringRef padString, CFIndex length, CFIndex indexIntoPad);
CF_EXPORT void CFStringTrim(CFMutableStringRef theString, CFStringRef trimString);
CF_EXPORT void CFStringTrimWhitespace(CFMutableStringRef theString);
CF_EXPORT void CFStringLowercase(CFMutableStringRef theString, CFLocaleRef locale);
CF_EXPORT void CFStringUppercase(CFMutableStringRef theString, CFLocaleRef locale);
CF_EXPORT void CFStringCapitalize(CFMutableStringRef theString, CFLocaleRef locale);
CF_EXPORT void CFStringNormalize(CFMutableStringRef theString, CFStringNormalizationForm theForm);
CF_EXPORT void CFStringFold(CFMutableStringRef theString, CFStringCompareFlags theFlags, CFLocaleRef theLocale);
CF_EXPORT Boolean CFStringTransform(CFMutableStringRef string, CFRange* range, CFStringRef transform, Boolean reverse);
CF_EXPORT Boolean CFStringIsEncodingAvailable(CFStringEncoding encoding);
CF_EXPORT const CFStringEncoding* CFStringGetListOfAvailableEncodings(void);
CF_EXPORT CFStringRef CFStringGetNameOfEncoding(CFStringEncoding encoding);
CF_EXPORT unsigned long CFStringConvertEncodingToNSStringEncoding(CFStringEncoding encoding);
CF_EXPORT CFStringEncoding CFStringConvertNSStringEncodingToEncoding(unsigned long encoding);
CF_EXPORT UInt32 CFStringConvertEncodingToWindowsCodepage(CFStringEncoding encoding);
CF_EXPORT CFStringEncoding CFStringConvertWindowsCodepageToEncoding(UInt32 codepage);
CF_EXPORT CFStringEncoding CFStringConvertIANACharSetNameToEncoding(CFStringRef theString);
CF_EXPORT CFStringRef CFStringConvertEncodingToIANACharSetName(CFStringEncoding encoding);
CF_EXPORT CFStringEncoding CFStringGetMostCompatibleMacStringEncoding(CFStringEncoding encoding);
CF_EXPORT void CFShow(CFTypeRef obj);
CF_EXPORT void CFShowStr(CFStringRef str);

// The functions below are compiled by C as well, which knows one kind of cast only.
#ifdef __cplusplus
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"
#endif

CF_INLINE void CFStringInitInlineBuffer(CFStringRef str, CFStringInlineBuffer* buf, CFRange range) {
    buf->theString = str;
    buf->rangeToBuffer = range;
    buf->directUniCharBuffer = CFStringGetCharactersPtr(str);
    buf->directCStringBuffer = buf->directUniCharBuffer ? NULL : CFStringGetCStringPtr(str, kCFStringEncodingASCII);
    buf->bufferedRangeStart = 0;
    buf->bufferedRangeEnd = 0;
}

/// The unit at `idx` of the buffer's range; 0 outside the range.
CF_INLINE UniChar CFStringGetCharacterFromInlineBuffer(CFStringInlineBuffer* buf, CFIndex idx) {
    if (idx < 0 || idx >= buf->rangeToBuffer.length) return 0;
    if (buf->directUniCharBuffer) return buf->directUniCharBuffer[idx + buf->rangeToBuffer.location];
    if (buf->directCStringBuffer)
        return (UniChar)(unsigned char)buf->directCStringBuffer[idx + buf->rangeToBuffer.location];
    if (idx < buf->bufferedRangeStart || idx >= buf->bufferedRangeEnd) {
        const CFIndex capacity = (CFIndex)(sizeof buf->buffer / sizeof buf->buffer[0]);
        const CFIndex start = idx < 4 ? 0 : idx - 4;
        const CFIndex left = buf->rangeToBuffer.length - start;
        buf->bufferedRangeStart = start;
        buf->bufferedRangeEnd = start + (left < capacity ? left : capacity);
        CFStringGetCharacters(buf->theString,
                              CFRangeMake(buf->rangeToBuffer.location + start, buf->bufferedRangeEnd - start),
                              buf->buffer);
    }
    return buf->buffer[idx - buf->bufferedRangeStart];
}

CF_INLINE Boolean CFStringIsSurrogateHighCharacter(UniChar character) { return (character & 0xFC00u) == 0xD800u; }

CF_INLINE Boolean CFStringIsSurrogateLowCharacter(UniChar character) { return (character & 0xFC00u) == 0xDC00u; }

CF_INLINE UTF32Char CFStringGetLongCharacterForSurrogatePair(UniChar surrogateHigh, UniChar surrogateLow) {
    return (((UTF32Char)surrogateHigh - 0xD800u) << 10) + ((UTF32Char)surrogateLow - 0xDC00u) + 0x10000u;
}

/// Writes the one or two UTF-16 units of `character`; true when it takes two.
CF_INLINE Boolean CFStringGetSurrogatePairForLongCharacter(UTF32Char character, UniChar* surrogates) {
    if (character < 0x10000u) {
        surrogates[0] = (UniChar)character;
        return false;
    }
    surrogates[0] = (UniChar)(0xD800u + ((character - 0x10000u) >> 10));
    surrogates[1] = (UniChar)(0xDC00u + ((character - 0x10000u) & 0x3FFu));
    return true;
}

#ifdef __cplusplus
#pragma GCC diagnostic pop
#endif

/// A constant string from a literal. Costs one check after its first use; the string is never freed, and equal
/// literals give the same object. The literal is UTF-8.
#ifdef __cplusplus
#define CFSTR(literal)                                                                      \
    ([]() -> CFStringRef {                                                                  \
        static const CFStringRef kConstant__ = __CFStringMakeConstantString("" literal ""); \
        return kConstant__;                                                                 \
    }())
#else
#define CFSTR(literal) __CFStringMakeConstantString("" literal "")
#endif

/// The one constant string with this UTF-8 text, made on first use. Any thread may call it.
CF_EXPORT CFStringRef __CFStringMakeConstantString(const char* utf8);

CF_EXTERN_C_END
