#pragma once

#include <KXCoreLib/CoreFoundation/ArrayRef.h>
#include <KXCoreLib/CoreFoundation/DataRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFString.h>

#include <cstdarg>
#include <string>
#include <type_traits>

namespace KXCore::CoreFoundation {

class ErrorRef;
class MutableStringRef;

/// What a format can take as an argument: numbers and pointers, raw references to objects among them. Wrappers are not:
/// pass what get() gives.
template <class T>
concept FormatArgument = std::is_scalar_v<T>;

/// Text. Lengths, indexes and ranges count UTF-16 units and must lie within the string. A pointer to a string's
/// characters is valid while the object lives and is not changed.
class KX_EXPORT StringRef : public TypedRef<StringRef, CFStringRef> {
  public:
    static constexpr const char* typeName = "CFStringRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID() { return CFStringGetTypeID(); }

    // Making strings. The NoCopy forms keep the caller's characters, which `contentsDeallocator` frees
    // (kCFAllocatorNull: nobody does; null: the default allocator).

    /// From a text that a NUL ends. Bytes that are not valid in the encoding are a failure to create.
    static StringRef createWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding) {
        return created(CFStringCreateWithCString(allocator, text, encoding), "CFStringCreateWithCString");
    }
    /// The same from a std::string, up to its first NUL.
    static StringRef createWithStdString(CFAllocatorRef allocator, const std::string& text, CFStringEncoding encoding) {
        return createWithCString(allocator, text.c_str(), encoding);
    }
    static StringRef createWithCStringNoCopy(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding,
                                             CFAllocatorRef contentsDeallocator) {
        return created(CFStringCreateWithCStringNoCopy(allocator, text, encoding, contentsDeallocator),
                       "CFStringCreateWithCStringNoCopy");
    }
    /// An external representation may begin with a byte-order mark.
    static StringRef createWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex numBytes,
                                     CFStringEncoding encoding, Boolean isExternalRepresentation) {
        return created(CFStringCreateWithBytes(allocator, bytes, numBytes, encoding, isExternalRepresentation),
                       "CFStringCreateWithBytes");
    }
    static StringRef createWithBytesNoCopy(CFAllocatorRef allocator, const UInt8* bytes, CFIndex numBytes,
                                           CFStringEncoding encoding, Boolean isExternalRepresentation,
                                           CFAllocatorRef contentsDeallocator) {
        return created(CFStringCreateWithBytesNoCopy(allocator, bytes, numBytes, encoding, isExternalRepresentation,
                                                     contentsDeallocator),
                       "CFStringCreateWithBytesNoCopy");
    }
    static StringRef createWithCharacters(CFAllocatorRef allocator, const UniChar* characters, CFIndex numCharacters) {
        return created(CFStringCreateWithCharacters(allocator, characters, numCharacters),
                       "CFStringCreateWithCharacters");
    }
    static StringRef createWithCharactersNoCopy(CFAllocatorRef allocator, const UniChar* characters,
                                                CFIndex numCharacters, CFAllocatorRef contentsDeallocator) {
        return created(CFStringCreateWithCharactersNoCopy(allocator, characters, numCharacters, contentsDeallocator),
                       "CFStringCreateWithCharactersNoCopy");
    }
    /// A Pascal string begins with a byte that tells its length.
    static StringRef createWithPascalString(CFAllocatorRef allocator, ConstStr255Param text,
                                            CFStringEncoding encoding) {
        return created(CFStringCreateWithPascalString(allocator, text, encoding), "CFStringCreateWithPascalString");
    }
    static StringRef createWithPascalStringNoCopy(CFAllocatorRef allocator, ConstStr255Param text,
                                                  CFStringEncoding encoding, CFAllocatorRef contentsDeallocator) {
        return created(CFStringCreateWithPascalStringNoCopy(allocator, text, encoding, contentsDeallocator),
                       "CFStringCreateWithPascalStringNoCopy");
    }
    static StringRef createWithFileSystemRepresentation(CFAllocatorRef allocator, const char* path) {
        return created(CFStringCreateWithFileSystemRepresentation(allocator, path),
                       "CFStringCreateWithFileSystemRepresentation");
    }
    static StringRef createFromExternalRepresentation(CFAllocatorRef allocator, CFDataRef data,
                                                      CFStringEncoding encoding) {
        return created(CFStringCreateFromExternalRepresentation(allocator, data, encoding),
                       "CFStringCreateFromExternalRepresentation");
    }
    static StringRef createCopy(CFAllocatorRef allocator, CFStringRef string) {
        return created(CFStringCreateCopy(allocator, string), "CFStringCreateCopy");
    }
    StringRef createCopy(CFAllocatorRef allocator) const { return createCopy(allocator, get()); }
    static StringRef createWithSubstring(CFAllocatorRef allocator, CFStringRef string, CFRange range) {
        return created(CFStringCreateWithSubstring(allocator, string, range), "CFStringCreateWithSubstring");
    }
    StringRef createWithSubstring(CFAllocatorRef allocator, CFRange range) const {
        return createWithSubstring(allocator, get(), range);
    }
    /// The array's strings, one after the other, with the separator between them.
    static StringRef createByCombiningStrings(CFAllocatorRef allocator, CFArrayRef strings, CFStringRef separator) {
        return created(CFStringCreateByCombiningStrings(allocator, strings, separator),
                       "CFStringCreateByCombiningStrings");
    }

    // Formatting. As for printf, with %@ for objects; the arguments must be what the format says. `formatOptions` is
    // reserved: null.

    template <FormatArgument... Arguments>
    static StringRef createWithFormat(CFAllocatorRef allocator, CFDictionaryRef formatOptions, CFStringRef format,
                                      Arguments... arguments) {
        return formatAny(allocator, formatOptions, format, arguments...);
    }
    static StringRef createWithFormatAndArguments(CFAllocatorRef allocator, CFDictionaryRef formatOptions,
                                                  CFStringRef format, std::va_list arguments) {
        return created(CFStringCreateWithFormatAndArguments(allocator, formatOptions, format, arguments),
                       "CFStringCreateWithFormatAndArguments");
    }
    /// Refuses a format whose conversions are not those of `validFormatSpecifiers`. `error` as in ErrorOutlet.h.
    template <FormatArgument... Arguments>
    static StringRef createStringWithValidatedFormat(CFAllocatorRef allocator, CFDictionaryRef formatOptions,
                                                     CFStringRef validFormatSpecifiers, CFStringRef format,
                                                     ErrorRef* error, Arguments... arguments) {
        return formatValidated(allocator, formatOptions, validFormatSpecifiers, format, error, arguments...);
    }
    static StringRef createStringWithValidatedFormatAndArguments(CFAllocatorRef allocator,
                                                                 CFDictionaryRef formatOptions,
                                                                 CFStringRef validFormatSpecifiers, CFStringRef format,
                                                                 std::va_list arguments, ErrorRef* error = nullptr);

    // Making other things of strings.

    /// A `maxLength` of 0 sets no limit.
    static MutableStringRef createMutable(CFAllocatorRef allocator, CFIndex maxLength);
    static MutableStringRef createMutableCopy(CFAllocatorRef allocator, CFIndex maxLength, CFStringRef string);
    MutableStringRef createMutableCopy(CFAllocatorRef allocator, CFIndex maxLength) const;
    static MutableStringRef createMutableWithExternalCharactersNoCopy(CFAllocatorRef allocator, UniChar* characters,
                                                                      CFIndex numCharacters, CFIndex capacity,
                                                                      CFAllocatorRef externalCharactersAllocator);
    /// Without a `lossByte` (0), characters that the encoding lacks are a failure to create.
    static DataRef createExternalRepresentation(CFAllocatorRef allocator, CFStringRef string, CFStringEncoding encoding,
                                                UInt8 lossByte) {
        return DataRef::created(CFStringCreateExternalRepresentation(allocator, string, encoding, lossByte),
                                "CFStringCreateExternalRepresentation");
    }
    DataRef createExternalRepresentation(CFAllocatorRef allocator, CFStringEncoding encoding, UInt8 lossByte) const {
        return createExternalRepresentation(allocator, get(), encoding, lossByte);
    }
    static ArrayRef createArrayBySeparatingStrings(CFAllocatorRef allocator, CFStringRef string,
                                                   CFStringRef separator) {
        return ArrayRef::created(CFStringCreateArrayBySeparatingStrings(allocator, string, separator),
                                 "CFStringCreateArrayBySeparatingStrings");
    }
    ArrayRef createArrayBySeparatingStrings(CFAllocatorRef allocator, CFStringRef separator) const {
        return createArrayBySeparatingStrings(allocator, get(), separator);
    }
    /// An array of CFRange pointers. Nothing found is null on the platform, and so a failure to create.
    static ArrayRef createArrayWithFindResults(CFAllocatorRef allocator, CFStringRef string, CFStringRef stringToFind,
                                               CFRange rangeToSearch, CFStringCompareFlags compareOptions) {
        return ArrayRef::created(
            CFStringCreateArrayWithFindResults(allocator, string, stringToFind, rangeToSearch, compareOptions),
            "CFStringCreateArrayWithFindResults");
    }
    ArrayRef createArrayWithFindResults(CFAllocatorRef allocator, CFStringRef stringToFind, CFRange rangeToSearch,
                                        CFStringCompareFlags compareOptions) const {
        return createArrayWithFindResults(allocator, get(), stringToFind, rangeToSearch, compareOptions);
    }

    /// Replaces `out` by the string's text in UTF-8. The text ends before a unit that has no UTF-8 form (half of a
    /// surrogate pair).
    void copyStdString(std::string& out) const;
    std::string copyStdString() const;

    // Characters and bytes. The Ptr forms answer null when the string is not kept in that form.

    CFIndex getLength() const { return CFStringGetLength(get()); }
    UniChar getCharacterAtIndex(CFIndex index) const { return CFStringGetCharacterAtIndex(get(), index); }
    void getCharacters(CFRange range, UniChar* buffer) const { CFStringGetCharacters(get(), range, buffer); }
    const UniChar* getCharactersPtr() const { return CFStringGetCharactersPtr(get()); }
    Boolean getCString(char* buffer, CFIndex bufferSize, CFStringEncoding encoding) const {
        return CFStringGetCString(get(), buffer, bufferSize, encoding);
    }
    const char* getCStringPtr(CFStringEncoding encoding) const { return CFStringGetCStringPtr(get(), encoding); }
    Boolean getPascalString(StringPtr buffer, CFIndex bufferSize, CFStringEncoding encoding) const {
        return CFStringGetPascalString(get(), buffer, bufferSize, encoding);
    }
    ConstStringPtr getPascalStringPtr(CFStringEncoding encoding) const {
        return CFStringGetPascalStringPtr(get(), encoding);
    }
    /// Converts as much of the range as fits and answers how many units that were.
    CFIndex getBytes(CFRange range, CFStringEncoding encoding, UInt8 lossByte, Boolean isExternalRepresentation,
                     UInt8* buffer, CFIndex maxBufferLength, CFIndex* usedBufferLength) const {
        return CFStringGetBytes(get(), range, encoding, lossByte, isExternalRepresentation, buffer, maxBufferLength,
                                usedBufferLength);
    }
    Boolean getFileSystemRepresentation(char* buffer, CFIndex maxBufferLength) const {
        return CFStringGetFileSystemRepresentation(get(), buffer, maxBufferLength);
    }
    CFIndex getMaximumSizeOfFileSystemRepresentation() const {
        return CFStringGetMaximumSizeOfFileSystemRepresentation(get());
    }
    void initInlineBuffer(CFStringInlineBuffer* buffer, CFRange range) const {
        CFStringInitInlineBuffer(get(), buffer, range);
    }
    static UniChar getCharacterFromInlineBuffer(CFStringInlineBuffer* buffer, CFIndex index) {
        return CFStringGetCharacterFromInlineBuffer(buffer, index);
    }

    // Comparing and finding.

    CFComparisonResult compare(CFStringRef other, CFStringCompareFlags compareOptions) const {
        return CFStringCompare(get(), other, compareOptions);
    }
    CFComparisonResult compareWithOptions(CFStringRef other, CFRange rangeToCompare,
                                          CFStringCompareFlags compareOptions) const {
        return CFStringCompareWithOptions(get(), other, rangeToCompare, compareOptions);
    }
    CFComparisonResult compareWithOptionsAndLocale(CFStringRef other, CFRange rangeToCompare,
                                                   CFStringCompareFlags compareOptions, CFLocaleRef locale) const {
        return CFStringCompareWithOptionsAndLocale(get(), other, rangeToCompare, compareOptions, locale);
    }
    /// A location of kCFNotFound when it is not there.
    CFRange find(CFStringRef stringToFind, CFStringCompareFlags compareOptions) const {
        return CFStringFind(get(), stringToFind, compareOptions);
    }
    Boolean findWithOptions(CFStringRef stringToFind, CFRange rangeToSearch, CFStringCompareFlags searchOptions,
                            CFRange* result) const {
        return CFStringFindWithOptions(get(), stringToFind, rangeToSearch, searchOptions, result);
    }
    Boolean findWithOptionsAndLocale(CFStringRef stringToFind, CFRange rangeToSearch,
                                     CFStringCompareFlags searchOptions, CFLocaleRef locale, CFRange* result) const {
        return CFStringFindWithOptionsAndLocale(get(), stringToFind, rangeToSearch, searchOptions, locale, result);
    }
    Boolean findCharacterFromSet(CFCharacterSetRef set, CFRange rangeToSearch, CFStringCompareFlags searchOptions,
                                 CFRange* result) const {
        return CFStringFindCharacterFromSet(get(), set, rangeToSearch, searchOptions, result);
    }
    Boolean hasPrefix(CFStringRef prefix) const { return CFStringHasPrefix(get(), prefix); }
    Boolean hasSuffix(CFStringRef suffix) const { return CFStringHasSuffix(get(), suffix); }
    CFRange getRangeOfComposedCharactersAtIndex(CFIndex index) const {
        return CFStringGetRangeOfComposedCharactersAtIndex(get(), index);
    }
    void getLineBounds(CFRange range, CFIndex* lineBeginIndex, CFIndex* lineEndIndex, CFIndex* contentsEndIndex) const {
        CFStringGetLineBounds(get(), range, lineBeginIndex, lineEndIndex, contentsEndIndex);
    }
    void getParagraphBounds(CFRange range, CFIndex* parBeginIndex, CFIndex* parEndIndex,
                            CFIndex* contentsEndIndex) const {
        CFStringGetParagraphBounds(get(), range, parBeginIndex, parEndIndex, contentsEndIndex);
    }
    CFIndex getHyphenationLocationBeforeIndex(CFIndex location, CFRange limitRange, CFOptionFlags options,
                                              CFLocaleRef locale, UTF32Char* character) const {
        return CFStringGetHyphenationLocationBeforeIndex(get(), location, limitRange, options, locale, character);
    }
    static Boolean isHyphenationAvailableForLocale(CFLocaleRef locale) {
        return CFStringIsHyphenationAvailableForLocale(locale);
    }

    // Numbers at the start of the text; 0 when there is none.

    SInt32 getIntValue() const { return CFStringGetIntValue(get()); }
    double getDoubleValue() const { return CFStringGetDoubleValue(get()); }

    // Encodings.

    CFStringEncoding getSmallestEncoding() const { return CFStringGetSmallestEncoding(get()); }
    CFStringEncoding getFastestEncoding() const { return CFStringGetFastestEncoding(get()); }
    static CFStringEncoding getSystemEncoding() { return CFStringGetSystemEncoding(); }
    static CFIndex getMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
        return CFStringGetMaximumSizeForEncoding(length, encoding);
    }
    static Boolean isEncodingAvailable(CFStringEncoding encoding) { return CFStringIsEncodingAvailable(encoding); }
    /// Ends with kCFStringEncodingInvalidId.
    static const CFStringEncoding* getListOfAvailableEncodings() { return CFStringGetListOfAvailableEncodings(); }
    static StringRef getNameOfEncoding(CFStringEncoding encoding) {
        return retain(CFStringGetNameOfEncoding(encoding));
    }
    static CFStringEncoding getMostCompatibleMacStringEncoding(CFStringEncoding encoding) {
        return CFStringGetMostCompatibleMacStringEncoding(encoding);
    }
    static unsigned long convertEncodingToNSStringEncoding(CFStringEncoding encoding) {
        return CFStringConvertEncodingToNSStringEncoding(encoding);
    }
    static CFStringEncoding convertNSStringEncodingToEncoding(unsigned long encoding) {
        return CFStringConvertNSStringEncodingToEncoding(encoding);
    }
    static UInt32 convertEncodingToWindowsCodepage(CFStringEncoding encoding) {
        return CFStringConvertEncodingToWindowsCodepage(encoding);
    }
    static CFStringEncoding convertWindowsCodepageToEncoding(UInt32 codepage) {
        return CFStringConvertWindowsCodepageToEncoding(codepage);
    }
    /// The encoding that this string names ("utf-8").
    CFStringEncoding convertIANACharSetNameToEncoding() const {
        return CFStringConvertIANACharSetNameToEncoding(get());
    }
    /// Borrowed, never freed; null for an encoding without such a name.
    static CFStringRef convertEncodingToIANACharSetName(CFStringEncoding encoding) {
        return CFStringConvertEncodingToIANACharSetName(encoding);
    }

    // Surrogate pairs.

    static Boolean isSurrogateHighCharacter(UniChar character) { return CFStringIsSurrogateHighCharacter(character); }
    static Boolean isSurrogateLowCharacter(UniChar character) { return CFStringIsSurrogateLowCharacter(character); }
    static UTF32Char getLongCharacterForSurrogatePair(UniChar surrogateHigh, UniChar surrogateLow) {
        return CFStringGetLongCharacterForSurrogatePair(surrogateHigh, surrogateLow);
    }
    static Boolean getSurrogatePairForLongCharacter(UTF32Char character, UniChar* surrogates) {
        return CFStringGetSurrogatePairForLongCharacter(character, surrogates);
    }

    // For a person at a debugger: onto the standard error stream.

    static void show(CFTypeRef object) { CFShow(object); }
    void showStr() const { CFShowStr(get()); }

  private:
    static StringRef formatAny(CFAllocatorRef allocator, CFDictionaryRef formatOptions, CFStringRef format, ...);
    static StringRef formatValidated(CFAllocatorRef allocator, CFDictionaryRef formatOptions,
                                     CFStringRef validFormatSpecifiers, CFStringRef format, ErrorRef* error, ...);
};
static_assert(isPlainRef<StringRef>);

/// Text that can be changed. A null locale means none: the rules that hold for every language.
class KX_EXPORT MutableStringRef : public HeldRef<MutableStringRef, CFMutableStringRef, StringRef> {
  public:
    void append(CFStringRef appended) { CFStringAppend(get(), appended); }
    void appendCharacters(const UniChar* characters, CFIndex numCharacters) {
        CFStringAppendCharacters(get(), characters, numCharacters);
    }
    void appendPascalString(ConstStr255Param text, CFStringEncoding encoding) {
        CFStringAppendPascalString(get(), text, encoding);
    }
    void appendCString(const char* text, CFStringEncoding encoding) { CFStringAppendCString(get(), text, encoding); }
    template <FormatArgument... Arguments>
    void appendFormat(CFDictionaryRef formatOptions, CFStringRef format, Arguments... arguments) {
        appendAny(formatOptions, format, arguments...);
    }
    void appendFormatAndArguments(CFDictionaryRef formatOptions, CFStringRef format, std::va_list arguments) {
        CFStringAppendFormatAndArguments(get(), formatOptions, format, arguments);
    }
    void insert(CFIndex index, CFStringRef inserted) { CFStringInsert(get(), index, inserted); }
    void dElete(CFRange range) { CFStringDelete(get(), range); }
    void replace(CFRange range, CFStringRef replacement) { CFStringReplace(get(), range, replacement); }
    void replaceAll(CFStringRef replacement) { CFStringReplaceAll(get(), replacement); }
    /// How many were replaced.
    CFIndex findAndReplace(CFStringRef stringToFind, CFStringRef replacement, CFRange rangeToSearch,
                           CFStringCompareFlags compareOptions) {
        return CFStringFindAndReplace(get(), stringToFind, replacement, rangeToSearch, compareOptions);
    }
    /// Only for a string made by createMutableWithExternalCharactersNoCopy.
    void setExternalCharactersNoCopy(UniChar* characters, CFIndex length, CFIndex capacity) {
        CFStringSetExternalCharactersNoCopy(get(), characters, length, capacity);
    }
    void pad(CFStringRef padString, CFIndex length, CFIndex indexIntoPad) {
        CFStringPad(get(), padString, length, indexIntoPad);
    }
    void trim(CFStringRef trimString) { CFStringTrim(get(), trimString); }
    void trimWhitespace() { CFStringTrimWhitespace(get()); }
    void lowercase(CFLocaleRef locale) { CFStringLowercase(get(), locale); }
    void uppercase(CFLocaleRef locale) { CFStringUppercase(get(), locale); }
    void capitalize(CFLocaleRef locale) { CFStringCapitalize(get(), locale); }
    void normalize(CFStringNormalizationForm form) { CFStringNormalize(get(), form); }
    void fold(CFStringCompareFlags flags, CFLocaleRef locale) { CFStringFold(get(), flags, locale); }
    /// Changes `range` (null: all) to what the transformed text takes; false when nothing was changed for want of a
    /// way.
    Boolean transform(CFRange* range, CFStringRef transform, Boolean reverse) {
        return CFStringTransform(get(), range, transform, reverse);
    }

  private:
    void appendAny(CFDictionaryRef formatOptions, CFStringRef format, ...);
};
static_assert(isPlainRef<MutableStringRef>);

inline MutableStringRef StringRef::createMutable(CFAllocatorRef allocator, CFIndex maxLength) {
    return MutableStringRef::created(CFStringCreateMutable(allocator, maxLength), "CFStringCreateMutable");
}

inline MutableStringRef StringRef::createMutableCopy(CFAllocatorRef allocator, CFIndex maxLength, CFStringRef string) {
    return MutableStringRef::created(CFStringCreateMutableCopy(allocator, maxLength, string),
                                     "CFStringCreateMutableCopy");
}

inline MutableStringRef StringRef::createMutableCopy(CFAllocatorRef allocator, CFIndex maxLength) const {
    return createMutableCopy(allocator, maxLength, get());
}

inline MutableStringRef StringRef::createMutableWithExternalCharactersNoCopy(
    CFAllocatorRef allocator, UniChar* characters, CFIndex numCharacters, CFIndex capacity,
    CFAllocatorRef externalCharactersAllocator) {
    return MutableStringRef::created(CFStringCreateMutableWithExternalCharactersNoCopy(
                                         allocator, characters, numCharacters, capacity, externalCharactersAllocator),
                                     "CFStringCreateMutableWithExternalCharactersNoCopy");
}

}  // namespace KXCore::CoreFoundation
