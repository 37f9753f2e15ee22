#pragma once

/// Text in parts: words, sentences, paragraphs, the places where lines may break.
///
/// A tokenizer goes over a range of a string, token by token, by the rules of Unicode and of a locale. It keeps a copy
/// of the string. It belongs to one thread at a time.
///
/// What is null or of another type, ranges that are not within the string and a lack of memory give null or no token.

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFLocale.h>
#include <CoreFoundation/CFString.h>

CF_EXTERN_C_BEGIN

typedef struct __CFStringTokenizer* CFStringTokenizerRef;

/// What a token is: one of these, and with it the attributes that will be asked for.
CF_ANONYMOUS_ENUM(CFOptionFlags){
    kCFStringTokenizerUnitWord = 0,      ///< words, without what stands between them
    kCFStringTokenizerUnitSentence = 1,  ///< with the white space behind each
    kCFStringTokenizerUnitParagraph = 2,
    kCFStringTokenizerUnitLineBreak = 3,     ///< what stands on a line as one
    kCFStringTokenizerUnitWordBoundary = 4,  ///< words and what stands between them
    kCFStringTokenizerAttributeLatinTranscription = 65536,
    kCFStringTokenizerAttributeLanguage = 131072,
};

/// What is known of a token. The flags are set for words only; no token has sub-tokens on this platform.
typedef CFOptionFlags CFStringTokenizerTokenType;
CF_ANONYMOUS_ENUM(CFStringTokenizerTokenType){
    kCFStringTokenizerTokenNone = 0,  ///< there is none
    kCFStringTokenizerTokenNormal = 1,
    kCFStringTokenizerTokenHasSubTokensMask = 2,
    kCFStringTokenizerTokenHasDerivedSubTokensMask = 4,
    kCFStringTokenizerTokenHasHasNumbersMask = 8,   ///< digits
    kCFStringTokenizerTokenHasNonLettersMask = 16,  ///< punctuation, symbols, spaces
    kCFStringTokenizerTokenIsCJWordMask = 32,       ///< kana or ideographs
};

/// The language that the beginning of the range, of 200 units at most, is most probably written in, as a tag ("de",
/// "zh-Hant"). Null where that cannot be told, and always where the platform is built without a detector.
CF_EXPORT CFStringRef CFStringTokenizerCopyBestStringLanguage(CFStringRef string, CFRange range);

CF_EXPORT CFTypeID CFStringTokenizerGetTypeID(void);

/// A tokenizer at the beginning of a range. A null locale is the root. Null for a unit of no name.
CF_EXPORT CFStringTokenizerRef CFStringTokenizerCreate(CFAllocatorRef alloc, CFStringRef string, CFRange range,
                                                       CFOptionFlags options, CFLocaleRef locale);
/// Begins at the beginning of another range; leaves the tokenizer without text where that fails.
CF_EXPORT void CFStringTokenizerSetString(CFStringTokenizerRef tokenizer, CFStringRef string, CFRange range);

/// Makes the token that the unit at `index` of the string belongs to the current one. Where it belongs to none there
/// is no current token, and the next one is looked for behind it.
CF_EXPORT CFStringTokenizerTokenType CFStringTokenizerGoToTokenAtIndex(CFStringTokenizerRef tokenizer, CFIndex index);
/// Makes the next token the current one: the first, where none has been. None behind the last.
CF_EXPORT CFStringTokenizerTokenType CFStringTokenizerAdvanceToNextToken(CFStringTokenizerRef tokenizer);
/// As a range of the string; {kCFNotFound, 0} without a current token.
CF_EXPORT CFRange CFStringTokenizerGetCurrentTokenRange(CFStringTokenizerRef tokenizer);
/// A string: how the token is written in Latin letters, or its language. Null without a current token, and for what is
/// not known.
CF_EXPORT CFTypeRef CFStringTokenizerCopyCurrentTokenAttribute(CFStringTokenizerRef tokenizer, CFOptionFlags attribute);
/// Writes the parts of the current token to `ranges`, `maxRangeLength` at most, and appends them to `derivedSubTokens`;
/// each may be null. The only part is the token itself. Returns their number, 0 without a current token.
CF_EXPORT CFIndex CFStringTokenizerGetCurrentSubTokens(CFStringTokenizerRef tokenizer, CFRange* ranges,
                                                       CFIndex maxRangeLength, CFMutableArrayRef derivedSubTokens);

CF_EXTERN_C_END
