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
    static CFTypeID getTypeID();

    // Making strings. The NoCopy forms keep the caller's characters, which `contentsDeallocator` frees
    // (kCFAllocatorNull: nobody does; null: the default allocator).

    /// From a text that a NUL ends. Bytes that are not valid in the encoding are a failure to create.
    static StringRef createWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding);
    /// The same from a std::string, up to its first NUL.
    static StringRef createWithStdString(CFAllocatorRef allocator, const std::string& text, CFStringEncoding encoding);
    static StringRef createWithCStringNoCopy(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding,
                                             CFAllocatorRef contentsDeallocator);
    /// An external representation may begin with a byte-order mark.
    static StringRef createWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex numBytes,
                                     CFStringEncoding encoding, Boolean isExternalRepresentation);
    static StringRef createWithBytesNoCopy(CFAllocatorRef allocator, const UInt8* bytes, CFIndex numBytes,
                                           CFStringEncoding encoding, Boolean isExternalRepresentation,
                                           CFAllocatorRef contentsDeallocator);
    static StringRef createWithCharacters(CFAllocatorRef allocator, const UniChar* characters, CFIndex numCharacters);
    static StringRef createWithCharactersNoCopy(CFAllocatorRef allocator, const UniChar* characters,
                                                CFIndex numCharacters, CFAllocatorRef contentsDeallocator);
    /// A Pascal string begins with a byte that holds its length.
    static StringRef createWithPascalString(CFAllocatorRef allocator, ConstStr255Param text, CFStringEncoding encoding);
    static StringRef createWithPascalStringNoCopy(CFAllocatorRef allocator, ConstStr255Param text,
                                                  CFStringEncoding encoding, CFAllocatorRef contentsDeallocator);
    static StringRef createWithFileSystemRepresentation(CFAllocatorRef allocator, const char* path);
    static StringRef createFromExternalRepresentation(CFAllocatorRef allocator, CFDataRef data,
                                                      CFStringEncoding encoding);
    static StringRef createCopy(CFAllocatorRef allocator, CFStringRef string);
    static StringRef createWithSubstring(CFAllocatorRef allocator, CFStringRef string, CFRange range);
    /// The array's strings, one after the other, with the separator between them.
    static StringRef createByCombiningStrings(CFAllocatorRef allocator, CFArrayRef strings, CFStringRef separator);

    // Formatting. As for printf, with %@ for objects; the arguments must be what the format says. `formatOptions` is
    // reserved: null.

    template <FormatArgument... Arguments>
    static StringRef createWithFormat(CFAllocatorRef allocator, CFDictionaryRef formatOptions, CFStringRef format,
                                      Arguments... arguments) {
        return formatAny(allocator, formatOptions, format, arguments...);
    }
    static StringRef createWithFormatAndArguments(CFAllocatorRef allocator, CFDictionaryRef formatOptions,
                                                  CFStringRef format, std::va_list arguments);
    /// Refuses a format whose conversions are not those of `validFormatSpecifiers`. `error`: TypeRef.h.
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
    static MutableStringRef createMutableWithExternalCharactersNoCopy(CFAllocatorRef allocator, UniChar* characters,
                                                                      CFIndex numCharacters, CFIndex capacity,
                                                                      CFAllocatorRef externalCharactersAllocator);
    /// Without a `lossByte` (0), characters that the encoding lacks are a failure to create.
    static DataRef createExternalRepresentation(CFAllocatorRef allocator, CFStringRef string, CFStringEncoding encoding,
                                                UInt8 lossByte);
    static ArrayRef createArrayBySeparatingStrings(CFAllocatorRef allocator, CFStringRef string, CFStringRef separator);
    /// An array of CFRange pointers. Nothing found is null on the platform, and so a failure to create.
    static ArrayRef createArrayWithFindResults(CFAllocatorRef allocator, CFStringRef string, CFStringRef stringToFind,
                                               CFRange rangeToSearch, CFStringCompareFlags compareOptions);

    /// Replaces `out` by the string's text in UTF-8. The text ends before a unit that has no UTF-8 form (half of a
    /// surrogate pair).
    void copyStdString(std::string& out) const;
    std::string copyStdString() const;

    // Characters and bytes. The Ptr forms return null when the string is not kept in that form.

    CFIndex getLength() const;
    UniChar getCharacterAtIndex(CFIndex index) const;
    void getCharacters(CFRange range, UniChar* buffer) const;
    const UniChar* getCharactersPtr() const;
    Boolean getCString(char* buffer, CFIndex bufferSize, CFStringEncoding encoding) const;
    const char* getCStringPtr(CFStringEncoding encoding) const;
    Boolean getPascalString(StringPtr buffer, CFIndex bufferSize, CFStringEncoding encoding) const;
    ConstStringPtr getPascalStringPtr(CFStringEncoding encoding) const;
    /// Converts as much of the range as fits and returns how many units that were.
    CFIndex getBytes(CFRange range, CFStringEncoding encoding, UInt8 lossByte, Boolean isExternalRepresentation,
                     UInt8* buffer, CFIndex maxBufferLength, CFIndex* usedBufferLength) const;
    Boolean getFileSystemRepresentation(char* buffer, CFIndex maxBufferLength) const;
    CFIndex getMaximumSizeOfFileSystemRepresentation() const;
    void initInlineBuffer(CFStringInlineBuffer* buffer, CFRange range) const;
    static UniChar getCharacterFromInlineBuffer(CFStringInlineBuffer* buffer, CFIndex index);

    // Comparing and finding.

    CFComparisonResult compare(CFStringRef other, CFStringCompareFlags compareOptions) const;
    CFComparisonResult compareWithOptions(CFStringRef other, CFRange rangeToCompare,
                                          CFStringCompareFlags compareOptions) const;
    CFComparisonResult compareWithOptionsAndLocale(CFStringRef other, CFRange rangeToCompare,
                                                   CFStringCompareFlags compareOptions, CFLocaleRef locale) const;
    /// A location of kCFNotFound when it is not there.
    CFRange find(CFStringRef stringToFind, CFStringCompareFlags compareOptions) const;
    Boolean findWithOptions(CFStringRef stringToFind, CFRange rangeToSearch, CFStringCompareFlags searchOptions,
                            CFRange* result) const;
    Boolean findWithOptionsAndLocale(CFStringRef stringToFind, CFRange rangeToSearch,
                                     CFStringCompareFlags searchOptions, CFLocaleRef locale, CFRange* result) const;
    Boolean findCharacterFromSet(CFCharacterSetRef set, CFRange rangeToSearch, CFStringCompareFlags searchOptions,
                                 CFRange* result) const;
    Boolean hasPrefix(CFStringRef prefix) const;
    Boolean hasSuffix(CFStringRef suffix) const;
    CFRange getRangeOfComposedCharactersAtIndex(CFIndex index) const;
    void getLineBounds(CFRange range, CFIndex* lineBeginIndex, CFIndex* lineEndIndex, CFIndex* contentsEndIndex) const;
    void getParagraphBounds(CFRange range, CFIndex* parBeginIndex, CFIndex* parEndIndex,
                            CFIndex* contentsEndIndex) const;
    CFIndex getHyphenationLocationBeforeIndex(CFIndex location, CFRange limitRange, CFOptionFlags options,
                                              CFLocaleRef locale, UTF32Char* character) const;
    static Boolean isHyphenationAvailableForLocale(CFLocaleRef locale);

    // Numbers at the start of the text; 0 when there is none.

    SInt32 getIntValue() const;
    double getDoubleValue() const;

    // Encodings.

    CFStringEncoding getSmallestEncoding() const;
    CFStringEncoding getFastestEncoding() const;
    static CFStringEncoding getSystemEncoding();
    static CFIndex getMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
    static Boolean isEncodingAvailable(CFStringEncoding encoding);
    /// Ends with kCFStringEncodingInvalidId.
    static const CFStringEncoding* getListOfAvailableEncodings();
    static StringRef getNameOfEncoding(CFStringEncoding encoding);
    static CFStringEncoding getMostCompatibleMacStringEncoding(CFStringEncoding encoding);
    static unsigned long convertEncodingToNSStringEncoding(CFStringEncoding encoding);
    static CFStringEncoding convertNSStringEncodingToEncoding(unsigned long encoding);
    static UInt32 convertEncodingToWindowsCodepage(CFStringEncoding encoding);
    static CFStringEncoding convertWindowsCodepageToEncoding(UInt32 codepage);
    /// The encoding that this string names ("utf-8").
    CFStringEncoding convertIANACharSetNameToEncoding() const;
    /// Borrowed, never freed; null for an encoding without such a name.
    static CFStringRef convertEncodingToIANACharSetName(CFStringEncoding encoding);

    // Surrogate pairs.

    static Boolean isSurrogateHighCharacter(UniChar character);
    static Boolean isSurrogateLowCharacter(UniChar character);
    static UTF32Char getLongCharacterForSurrogatePair(UniChar surrogateHigh, UniChar surrogateLow);
    static Boolean getSurrogatePairForLongCharacter(UTF32Char character, UniChar* surrogates);

    // For a person at a debugger: onto the standard error stream.

    static void show(CFTypeRef object);
    void showStr() const;

  private:
    static StringRef formatAny(CFAllocatorRef allocator, CFDictionaryRef formatOptions, CFStringRef format, ...);
    static StringRef formatValidated(CFAllocatorRef allocator, CFDictionaryRef formatOptions,
                                     CFStringRef validFormatSpecifiers, CFStringRef format, ErrorRef* error, ...);
};
static_assert(isPlainRef<StringRef>);

/// Text that can be changed. A null locale means none: the rules that hold for every language.
class KX_EXPORT MutableStringRef : public HeldRef<MutableStringRef, CFMutableStringRef, StringRef> {
  public:
    void append(CFStringRef appended);
    void appendCharacters(const UniChar* characters, CFIndex numCharacters);
    void appendPascalString(ConstStr255Param text, CFStringEncoding encoding);
    void appendCString(const char* text, CFStringEncoding encoding);
    template <FormatArgument... Arguments>
    void appendFormat(CFDictionaryRef formatOptions, CFStringRef format, Arguments... arguments) {
        appendAny(formatOptions, format, arguments...);
    }
    void appendFormatAndArguments(CFDictionaryRef formatOptions, CFStringRef format, std::va_list arguments);
    void insert(CFIndex index, CFStringRef inserted);
    void dElete(CFRange range);
    void replace(CFRange range, CFStringRef replacement);
    void replaceAll(CFStringRef replacement);
    /// How many were replaced.
    CFIndex findAndReplace(CFStringRef stringToFind, CFStringRef replacement, CFRange rangeToSearch,
                           CFStringCompareFlags compareOptions);
    /// Only for a string made by createMutableWithExternalCharactersNoCopy.
    void setExternalCharactersNoCopy(UniChar* characters, CFIndex length, CFIndex capacity);
    void pad(CFStringRef padString, CFIndex length, CFIndex indexIntoPad);
    void trim(CFStringRef trimString);
    void trimWhitespace();
    void lowercase(CFLocaleRef locale);
    void uppercase(CFLocaleRef locale);
    void capitalize(CFLocaleRef locale);
    void normalize(CFStringNormalizationForm form);
    void fold(CFStringCompareFlags flags, CFLocaleRef locale);
    /// Changes `range` (null: all) to what the transformed text takes; false when the text cannot be
    /// transformed, and nothing was changed.
    Boolean transform(CFRange* range, CFStringRef transform, Boolean reverse);

  private:
    void appendAny(CFDictionaryRef formatOptions, CFStringRef format, ...);
};
static_assert(isPlainRef<MutableStringRef>);

}  // namespace KXCore::CoreFoundation
