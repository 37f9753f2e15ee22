#pragma once

/// Text: a sequence of UTF-16 units (UniChar), immutable or mutable. All lengths, indices and ranges count units.
///
/// Ownership: functions named Create give their caller a reference to release, functions named Get a borrowed pointer,
/// valid until the string changes or ends. Immutable strings may be read by any number of threads; a mutable one
/// belongs to one thread at a time.
///
/// How text is kept shows in the two direct pointers. Plain ASCII lies in 8 bits a character: CFStringGetCStringPtr
/// answers. Any other text lies in UTF-16: CFStringGetCharactersPtr returns it. A mutable string that once held other
/// text stays in UTF-16; an empty mutable string has neither pointer.
///
/// Failures: what cannot be made is null, what cannot be converted false or not counted; a range outside the text, a
/// null string and bytes that are not text of their encoding are such failures, never faults. A null allocator is the
/// thread's default; an allocator without memory gives null.

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFError.h>
#include <CoreFoundation/CFOpaqueTypes.h>

#include <stdarg.h>

CF_EXTERN_C_BEGIN

/// An encoding: one of these, or of CFStringEncodings in CFStringEncodingExt.h. UTF-16 and UTF-32 without BE or LE are
/// in the host's order; of an external representation, in the order that a mark at its start tells, else big-endian.
typedef UInt32 CFStringEncoding;
CF_ENUM_TYPE(CFStringEncoding, CFStringBuiltInEncodings){
    kCFStringEncodingMacRoman = 0,         kCFStringEncodingWindowsLatin1 = 1280, kCFStringEncodingISOLatin1 = 513,
    kCFStringEncodingNextStepLatin = 2817, kCFStringEncodingASCII = 1536,         kCFStringEncodingUnicode = 256,
    kCFStringEncodingUTF8 = 134217984,     kCFStringEncodingNonLossyASCII = 3071, kCFStringEncodingUTF16 = 256,
    kCFStringEncodingUTF16BE = 268435712,  kCFStringEncodingUTF16LE = 335544576,  kCFStringEncodingUTF32 = 201326848,
    kCFStringEncodingUTF32BE = 402653440,  kCFStringEncodingUTF32LE = 469762304,
};

/// What stands for no encoding: the answer where a name or number belongs to none, and the end of a list of encodings.
#define kCFStringEncodingInvalidId (0xFFFFFFFFU)

/// How texts are compared and found; flags to join.
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

/// A window on a string for reading it unit by unit without a call for each. Lives on the reader's stack; see
/// CFStringInitInlineBuffer.
typedef struct CFStringInlineBuffer {
    UniChar buffer[64];
    CFStringRef theString;
    const UniChar* directUniCharBuffer;
    const char* directCStringBuffer;
    CFRange rangeToBuffer;
    CFIndex bufferedRangeStart;
    CFIndex bufferedRangeEnd;
} CFStringInlineBuffer;

/// Transforms for CFStringTransform.
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

// ---- Immutable strings

/// New strings from text in `encoding`: with a length byte before it, with a NUL behind it, or of `numBytes` bytes. The
/// first two are for encodings of 8-bit units. An external representation may begin with a mark of byte order, which is
/// obeyed and dropped; UTF-8 drops one in any case. ASCII takes bytes from 0x80 up as the same code points; every other
/// encoding refuses what is not text of it.
CF_EXPORT CFStringRef CFStringCreateWithPascalString(CFAllocatorRef alloc, ConstStr255Param pStr,
                                                     CFStringEncoding encoding);
CF_EXPORT CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr, CFStringEncoding encoding);
CF_EXPORT CFStringRef CFStringCreateWithBytes(CFAllocatorRef alloc, const UInt8* bytes, CFIndex numBytes,
                                              CFStringEncoding encoding, Boolean isExternalRepresentation);
/// A new string of `numChars` UTF-16 units, which need not be paired.
CF_EXPORT CFStringRef CFStringCreateWithCharacters(CFAllocatorRef alloc, const UniChar* chars, CFIndex numChars);

/// The same over memory that now belongs to the string: it is used where it stands if it can be, else converted, and
/// freed with `contentsDeallocator` when no longer needed (null: the thread's default allocator; kCFAllocatorNull:
/// never, and then it must outlive the string). On failure the memory stays with the caller.
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

/// The units of `str` in `range` as a string of their own.
CF_EXPORT CFStringRef CFStringCreateWithSubstring(CFAllocatorRef alloc, CFStringRef str, CFRange range);
/// A string with the text of `theString` that never changes: the same one where that is so already.
CF_EXPORT CFStringRef CFStringCreateCopy(CFAllocatorRef alloc, CFStringRef theString);

/// A new string by a format in the way of printf, with `%@` for an object's description and `%1$@` for the argument of
/// that position. `formatOptions` is not used and may be null.
CF_EXPORT CFStringRef CFStringCreateWithFormat(CFAllocatorRef alloc, CFDictionaryRef formatOptions, CFStringRef format,
                                               ...);
CF_EXPORT CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef alloc, CFDictionaryRef formatOptions,
                                                           CFStringRef format, va_list arguments);
/// The same for a format from elsewhere: null, and the reason in `errorPtr` unless that is null, when its specifiers
/// are not those of `validFormatSpecifiers`.
CF_EXPORT CFStringRef CFStringCreateStringWithValidatedFormat(CFAllocatorRef alloc, CFDictionaryRef formatOptions,
                                                              CFStringRef validFormatSpecifiers, CFStringRef format,
                                                              CFErrorRef* errorPtr, ...);
CF_EXPORT CFStringRef CFStringCreateStringWithValidatedFormatAndArguments(CFAllocatorRef alloc,
                                                                          CFDictionaryRef formatOptions,
                                                                          CFStringRef validFormatSpecifiers,
                                                                          CFStringRef format, va_list arguments,
                                                                          CFErrorRef* errorPtr);

// ---- Mutable strings

/// A new empty string, or a copy, to change. It holds at most `maxLength` units (0: as many as memory allows); a change
/// that would exceed the limit is not made, and a copy that would is null.
CF_EXPORT CFMutableStringRef CFStringCreateMutable(CFAllocatorRef alloc, CFIndex maxLength);
CF_EXPORT CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef alloc, CFIndex maxLength, CFStringRef theString);
/// A string that works in the caller's buffer, which has room for `capacity` units and holds `numChars`. When it grows
/// and ends, the buffer is moved and freed by `externalCharactersAllocator` (null: the thread's default allocator;
/// kCFAllocatorNull: never, so that the string cannot outgrow it).
CF_EXPORT CFMutableStringRef
CFStringCreateMutableWithExternalCharactersNoCopy(CFAllocatorRef alloc, UniChar* chars, CFIndex numChars,
                                                  CFIndex capacity, CFAllocatorRef externalCharactersAllocator);

// ---- Reading

CF_EXPORT CFIndex CFStringGetLength(CFStringRef theString);
/// The unit at `idx`; 0 outside the text.
CF_EXPORT UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx);
/// Copies the units of `range` to `buffer`; nothing when the range is not within the text.
CF_EXPORT void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar* buffer);
/// Writes the whole text in an encoding of 8-bit units, with a length byte before it or a NUL behind it. False, and an
/// empty text in the buffer, when `bufferSize` bytes do not hold it or the encoding lacks a character.
CF_EXPORT Boolean CFStringGetPascalString(CFStringRef theString, StringPtr buffer, CFIndex bufferSize,
                                          CFStringEncoding encoding);
CF_EXPORT Boolean CFStringGetCString(CFStringRef theString, char* buffer, CFIndex bufferSize,
                                     CFStringEncoding encoding);
/// The text where it lies, in constant time; null when it does not lie there in that form. Be ready for null.
CF_EXPORT ConstStringPtr CFStringGetPascalStringPtr(CFStringRef theString, CFStringEncoding encoding);
CF_EXPORT const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding);
CF_EXPORT const UniChar* CFStringGetCharactersPtr(CFStringRef theString);

/// Converts the units of `range` until they end, `maxBufLen` bytes are full or the encoding lacks a character; returns
/// how many units that was, the bytes in `usedBufLen` unless null. A `lossByte` other than 0 is written for what the
/// encoding lacks: for each half of a surrogate pair in 8-bit encodings, never for half a pair in UTF-8. No character
/// is split otherwise. Without a buffer only counts, with room for 0 bytes too, but in UTF-16 and UTF-32 takes none.
/// An external representation in UTF-16 or UTF-32 of no fixed order begins with a mark.
///
///     CFIndex size = 0;  // the bytes that the whole text takes in UTF-8
///     CFStringGetBytes(text, CFRangeMake(0, CFStringGetLength(text)), kCFStringEncodingUTF8, '?', false, NULL, 0,
///     &size);
CF_EXPORT CFIndex CFStringGetBytes(CFStringRef theString, CFRange range, CFStringEncoding encoding, UInt8 lossByte,
                                   Boolean isExternalRepresentation, UInt8* buffer, CFIndex maxBufLen,
                                   CFIndex* usedBufLen);
/// Text to and from data that begins with a mark where the encoding has one. All of it is converted, or null.
CF_EXPORT CFStringRef CFStringCreateFromExternalRepresentation(CFAllocatorRef alloc, CFDataRef data,
                                                               CFStringEncoding encoding);
CF_EXPORT CFDataRef CFStringCreateExternalRepresentation(CFAllocatorRef alloc, CFStringRef theString,
                                                         CFStringEncoding encoding, UInt8 lossByte);

/// The encoding that holds the text in the fewest bytes, the one it converts to fastest, and the system's own.
CF_EXPORT CFStringEncoding CFStringGetSmallestEncoding(CFStringRef theString);
CF_EXPORT CFStringEncoding CFStringGetFastestEncoding(CFStringRef theString);
CF_EXPORT CFStringEncoding CFStringGetSystemEncoding(void);
/// The bytes that `length` units take at most, a mark or a closing NUL not counted; kCFNotFound when no CFIndex holds
/// the number or the encoding is unknown.
CF_EXPORT CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);

/// A file name as the file system keeps it: UTF-8 with its characters decomposed, and a NUL. False when it does not fit
/// or holds a NUL. The maximum size counts the NUL. Reading leaves a name as it stands.
CF_EXPORT Boolean CFStringGetFileSystemRepresentation(CFStringRef string, char* buffer, CFIndex maxBufLen);
CF_EXPORT CFIndex CFStringGetMaximumSizeOfFileSystemRepresentation(CFStringRef string);
CF_EXPORT CFStringRef CFStringCreateWithFileSystemRepresentation(CFAllocatorRef alloc, const char* buffer);

// ---- Comparing and finding

/// The order of two texts by their units, or as the options say; `rangeToCompare` is of the first. With
/// kCFCompareLocalized the order is that of the locale, or of the user's language where it is null; in any case the
/// locale decides what case-insensitive texts are alike.
CF_EXPORT CFComparisonResult CFStringCompareWithOptionsAndLocale(CFStringRef theString1, CFStringRef theString2,
                                                                 CFRange rangeToCompare,
                                                                 CFStringCompareFlags compareOptions,
                                                                 CFLocaleRef locale);
CF_EXPORT CFComparisonResult CFStringCompareWithOptions(CFStringRef theString1, CFStringRef theString2,
                                                        CFRange rangeToCompare, CFStringCompareFlags compareOptions);
CF_EXPORT CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2,
                                             CFStringCompareFlags compareOptions);

/// Where `stringToFind` stands first (last with kCFCompareBackwards) in the range. False when nowhere; an empty text is
/// nowhere. `result` may be null. The locale decides what case-insensitive texts are alike.
CF_EXPORT Boolean CFStringFindWithOptionsAndLocale(CFStringRef theString, CFStringRef stringToFind,
                                                   CFRange rangeToSearch, CFStringCompareFlags searchOptions,
                                                   CFLocaleRef locale, CFRange* result);
CF_EXPORT Boolean CFStringFindWithOptions(CFStringRef theString, CFStringRef stringToFind, CFRange rangeToSearch,
                                          CFStringCompareFlags searchOptions, CFRange* result);
/// All places that do not overlap, as an array of pointers to CFRange; null when there are none.
CF_EXPORT CFArrayRef CFStringCreateArrayWithFindResults(CFAllocatorRef alloc, CFStringRef theString,
                                                        CFStringRef stringToFind, CFRange rangeToSearch,
                                                        CFStringCompareFlags compareOptions);
/// The same in the whole text; kCFNotFound and 0 when nowhere.
CF_EXPORT CFRange CFStringFind(CFStringRef theString, CFStringRef stringToFind, CFStringCompareFlags compareOptions);
CF_EXPORT Boolean CFStringHasPrefix(CFStringRef theString, CFStringRef prefix);
CF_EXPORT Boolean CFStringHasSuffix(CFStringRef theString, CFStringRef suffix);
/// The character with its combining marks that the unit at `theIndex` is part of.
CF_EXPORT CFRange CFStringGetRangeOfComposedCharactersAtIndex(CFStringRef theString, CFIndex theIndex);
/// Whether the range has a character that is a member of `theSet`: the first, or the last with kCFCompareBackwards;
/// with kCFCompareAnchored only the one at that end is looked at. Other options have no effect. Its range, of one or
/// two units, goes to `result`, unless that is null.
CF_EXPORT Boolean CFStringFindCharacterFromSet(CFStringRef theString, CFCharacterSetRef theSet, CFRange rangeToSearch,
                                               CFStringCompareFlags searchOptions, CFRange* result);

/// The lines (ended by LF, CR, CRLF, U+0085, U+2028 or U+2029) or paragraphs (not ended by U+0085 and U+2028) that the
/// range touches: where the first begins, where the text behind the last one's end mark begins, and where its contents
/// end. Each out-parameter may be null.
CF_EXPORT void CFStringGetLineBounds(CFStringRef theString, CFRange range, CFIndex* lineBeginIndex,
                                     CFIndex* lineEndIndex, CFIndex* contentsEndIndex);
CF_EXPORT void CFStringGetParagraphBounds(CFStringRef string, CFRange range, CFIndex* parBeginIndex,
                                          CFIndex* parEndIndex, CFIndex* contentsEndIndex);

/// Where a word may be broken; kCFNotFound where it may not or nothing is known of the language.
CF_EXPORT CFIndex CFStringGetHyphenationLocationBeforeIndex(CFStringRef string, CFIndex location, CFRange limitRange,
                                                            CFOptionFlags options, CFLocaleRef locale,
                                                            UTF32Char* character);
CF_EXPORT Boolean CFStringIsHyphenationAvailableForLocale(CFLocaleRef locale);

// ---- Lists and numbers

/// The array's strings with the separator between them; null when a value is no string.
CF_EXPORT CFStringRef CFStringCreateByCombiningStrings(CFAllocatorRef alloc, CFArrayRef theArray,
                                                       CFStringRef separatorString);
/// The parts of a text between separators, empty ones too; one part when there is no separator in it.
CF_EXPORT CFArrayRef CFStringCreateArrayBySeparatingStrings(CFAllocatorRef alloc, CFStringRef theString,
                                                            CFStringRef separatorString);
/// The number that the text begins with, white space before it skipped; 0 when there is none. Integers saturate.
CF_EXPORT SInt32 CFStringGetIntValue(CFStringRef str);
CF_EXPORT double CFStringGetDoubleValue(CFStringRef str);

// ---- Changing
//
// Text may be put into a mutable string from itself. A change that cannot be made (the range is not within the text,
// the limit is exceeded, there is no memory, the string is immutable) leaves the string as it was.

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
/// Replaces each place where `stringToFind` stands in the range, and tells how many there were.
CF_EXPORT CFIndex CFStringFindAndReplace(CFMutableStringRef theString, CFStringRef stringToFind,
                                         CFStringRef replacementString, CFRange rangeToSearch,
                                         CFStringCompareFlags compareOptions);

/// Tells a string over an external buffer that its buffer, or what it holds, is now another. The old one stays with the
/// caller.
CF_EXPORT void CFStringSetExternalCharactersNoCopy(CFMutableStringRef theString, UniChar* chars, CFIndex length,
                                                   CFIndex capacity);

/// Cuts the text to `length`, or fills it up with units of `padString` from `indexIntoPad` on, again and again.
CF_EXPORT void CFStringPad(CFMutableStringRef theString, CFStringRef padString, CFIndex length, CFIndex indexIntoPad);
/// Removes `trimString`, or white space and line ends, from both ends as often as it stands there.
CF_EXPORT void CFStringTrim(CFMutableStringRef theString, CFStringRef trimString);
CF_EXPORT void CFStringTrimWhitespace(CFMutableStringRef theString);

/// Changes of the whole text by the rules of Unicode, and of the locale unless it is null.
CF_EXPORT void CFStringLowercase(CFMutableStringRef theString, CFLocaleRef locale);
CF_EXPORT void CFStringUppercase(CFMutableStringRef theString, CFLocaleRef locale);
CF_EXPORT void CFStringCapitalize(CFMutableStringRef theString, CFLocaleRef locale);
CF_EXPORT void CFStringNormalize(CFMutableStringRef theString, CFStringNormalizationForm theForm);
CF_EXPORT void CFStringFold(CFMutableStringRef theString, CFStringCompareFlags theFlags, CFLocaleRef theLocale);
/// Transforms the range (null: the whole text) by one of the constants above or any transform that ICU knows by name,
/// or its reverse. `range` is set to what it became. False, and nothing changed, when there is no such transform.
CF_EXPORT Boolean CFStringTransform(CFMutableStringRef string, CFRange* range, CFStringRef transform, Boolean reverse);

// ---- Encodings

/// Whether text can be converted to and from the encoding. The list of those that can ends with
/// kCFStringEncodingInvalidId.
CF_EXPORT Boolean CFStringIsEncodingAvailable(CFStringEncoding encoding);
CF_EXPORT const CFStringEncoding* CFStringGetListOfAvailableEncodings(void);

/// Names and numbers of encodings elsewhere: for people, in Cocoa, of Windows code pages, in IANA's registry. What has
/// none is answered with null or kCFStringEncodingInvalidId.
CF_EXPORT CFStringRef CFStringGetNameOfEncoding(CFStringEncoding encoding);
CF_EXPORT unsigned long CFStringConvertEncodingToNSStringEncoding(CFStringEncoding encoding);
CF_EXPORT CFStringEncoding CFStringConvertNSStringEncodingToEncoding(unsigned long encoding);
CF_EXPORT UInt32 CFStringConvertEncodingToWindowsCodepage(CFStringEncoding encoding);
CF_EXPORT CFStringEncoding CFStringConvertWindowsCodepageToEncoding(UInt32 codepage);
CF_EXPORT CFStringEncoding CFStringConvertIANACharSetNameToEncoding(CFStringRef theString);
CF_EXPORT CFStringRef CFStringConvertEncodingToIANACharSetName(CFStringEncoding encoding);
CF_EXPORT CFStringEncoding CFStringGetMostCompatibleMacStringEncoding(CFStringEncoding encoding);

// ---- Looking at objects

/// Writes a line to the standard error stream: the text of a string, the description of anything else, "(null)" for
/// null. What is not ASCII is escaped as \uXXXX. CFShowStr tells how a string is kept as well. For people who debug.
CF_EXPORT void CFShow(CFTypeRef obj);
CF_EXPORT void CFShowStr(CFStringRef str);

// The functions below are compiled by C as well, which knows one kind of cast only.
#ifdef __cplusplus
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"
#endif

/// Readies `buf` for reading `range` of `str`, which must stay as it is meanwhile. Indices then count from the range's
/// start.
CF_INLINE void CFStringInitInlineBuffer(CFStringRef str, CFStringInlineBuffer* buf, CFRange range) {
    const CFIndex length = CFStringGetLength(str);
    const Boolean fits =
        range.location >= 0 && range.length >= 0 && range.location <= length && range.length <= length - range.location;
    buf->theString = str;
    buf->rangeToBuffer = fits ? range : CFRangeMake(0, 0);
    buf->directUniCharBuffer = CFStringGetCharactersPtr(str);
    buf->directCStringBuffer = buf->directUniCharBuffer ? NULL : CFStringGetCStringPtr(str, kCFStringEncodingASCII);
    buf->bufferedRangeStart = 0;
    buf->bufferedRangeEnd = 0;
}

/// The unit at `idx` of the buffer's range; 0 outside the range, and always where that did not lie in the string.
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
    const Boolean isPair = character >= 0x10000u;
    if (!surrogates) return isPair;
    surrogates[0] = isPair ? (UniChar)(0xD800u + ((character - 0x10000u) >> 10)) : (UniChar)character;
    if (isPair) surrogates[1] = (UniChar)(0xDC00u + ((character - 0x10000u) & 0x3FFu));
    return isPair;
}

#ifdef __cplusplus
#pragma GCC diagnostic pop
#endif

/// A constant string from a literal. Costs two checks after its first use; the string is never freed, and equal
/// literals give the same object. The literal is UTF-8. Null as long as there is no memory to make it.
#ifdef __cplusplus
#define CFSTR(literal)                                                                      \
    ([]() -> CFStringRef {                                                                  \
        static const CFStringRef kConstant__ = __CFStringMakeConstantString("" literal ""); \
        return kConstant__ ? kConstant__ : __CFStringMakeConstantString("" literal "");        \
    }())
#else
#define CFSTR(literal) __CFStringMakeConstantString("" literal "")
#endif

/// The one constant string with this UTF-8 text, made on first use. Any thread may call it.
CF_EXPORT CFStringRef __CFStringMakeConstantString(const char* utf8);

CF_EXTERN_C_END
