#include <KXCoreLib/CoreFoundation/StringRef.h>

#include "Forwarding.h"

#include <array>

namespace KXCore::CoreFoundation {

CFTypeID StringRef::getTypeID() { return CFStringGetTypeID(); }

// Making strings.

StringRef StringRef::createWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding) {
    return KX_CREATE(StringRef, CFStringCreateWithCString)(allocator, text, encoding);
}

StringRef StringRef::createWithStdString(CFAllocatorRef allocator, const std::string& text, CFStringEncoding encoding) {
    return createWithCString(allocator, text.c_str(), encoding);
}

StringRef StringRef::createWithCStringNoCopy(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding,
                                             CFAllocatorRef contentsDeallocator) {
    return KX_CREATE(StringRef, CFStringCreateWithCStringNoCopy)(allocator, text, encoding, contentsDeallocator);
}

StringRef StringRef::createWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex numBytes,
                                     CFStringEncoding encoding, Boolean isExternalRepresentation) {
    return KX_CREATE(StringRef, CFStringCreateWithBytes)(allocator, bytes, numBytes, encoding,
                                                         isExternalRepresentation);
}

StringRef StringRef::createWithBytesNoCopy(CFAllocatorRef allocator, const UInt8* bytes, CFIndex numBytes,
                                           CFStringEncoding encoding, Boolean isExternalRepresentation,
                                           CFAllocatorRef contentsDeallocator) {
    return KX_CREATE(StringRef, CFStringCreateWithBytesNoCopy)(allocator, bytes, numBytes, encoding,
                                                               isExternalRepresentation, contentsDeallocator);
}

StringRef StringRef::createWithCharacters(CFAllocatorRef allocator, const UniChar* characters, CFIndex numCharacters) {
    return KX_CREATE(StringRef, CFStringCreateWithCharacters)(allocator, characters, numCharacters);
}

StringRef StringRef::createWithCharactersNoCopy(CFAllocatorRef allocator, const UniChar* characters,
                                                CFIndex numCharacters, CFAllocatorRef contentsDeallocator) {
    return KX_CREATE(StringRef, CFStringCreateWithCharactersNoCopy)(allocator, characters, numCharacters,
                                                                    contentsDeallocator);
}

StringRef StringRef::createWithPascalString(CFAllocatorRef allocator, ConstStr255Param text,
                                            CFStringEncoding encoding) {
    return KX_CREATE(StringRef, CFStringCreateWithPascalString)(allocator, text, encoding);
}

StringRef StringRef::createWithPascalStringNoCopy(CFAllocatorRef allocator, ConstStr255Param text,
                                                  CFStringEncoding encoding, CFAllocatorRef contentsDeallocator) {
    return KX_CREATE(StringRef, CFStringCreateWithPascalStringNoCopy)(allocator, text, encoding, contentsDeallocator);
}

StringRef StringRef::createWithFileSystemRepresentation(CFAllocatorRef allocator, const char* path) {
    return KX_CREATE(StringRef, CFStringCreateWithFileSystemRepresentation)(allocator, path);
}

StringRef StringRef::createFromExternalRepresentation(CFAllocatorRef allocator, CFDataRef data,
                                                      CFStringEncoding encoding) {
    return KX_CREATE(StringRef, CFStringCreateFromExternalRepresentation)(allocator, data, encoding);
}

StringRef StringRef::createCopy(CFAllocatorRef allocator, CFStringRef string) {
    return KX_CREATE(StringRef, CFStringCreateCopy)(allocator, string);
}

StringRef StringRef::createWithSubstring(CFAllocatorRef allocator, CFStringRef string, CFRange range) {
    return KX_CREATE(StringRef, CFStringCreateWithSubstring)(allocator, string, range);
}

StringRef StringRef::createByCombiningStrings(CFAllocatorRef allocator, CFArrayRef strings, CFStringRef separator) {
    return KX_CREATE(StringRef, CFStringCreateByCombiningStrings)(allocator, strings, separator);
}

// Formatting.

StringRef StringRef::formatAny(CFAllocatorRef allocator, CFDictionaryRef formatOptions, CFStringRef format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const CFStringRef made = CFStringCreateWithFormatAndArguments(allocator, formatOptions, format, arguments);
    va_end(arguments);
    return created(made, "CFStringCreateWithFormat");
}

StringRef StringRef::createWithFormatAndArguments(CFAllocatorRef allocator, CFDictionaryRef formatOptions,
                                                  CFStringRef format, std::va_list arguments) {
    return KX_CREATE(StringRef, CFStringCreateWithFormatAndArguments)(allocator, formatOptions, format, arguments);
}

StringRef StringRef::formatValidated(CFAllocatorRef allocator, CFDictionaryRef formatOptions,
                                     CFStringRef validFormatSpecifiers, CFStringRef format, ErrorRef* error, ...) {
    ErrorOutlet outlet("CFStringCreateStringWithValidatedFormat", error);
    std::va_list arguments;
    va_start(arguments, error);
    StringRef made = adopt(CFStringCreateStringWithValidatedFormatAndArguments(
        allocator, formatOptions, validFormatSpecifiers, format, arguments, outlet.out()));
    va_end(arguments);
    outlet.settle(static_cast<bool>(made));
    return made;
}

StringRef StringRef::createStringWithValidatedFormatAndArguments(CFAllocatorRef allocator,
                                                                 CFDictionaryRef formatOptions,
                                                                 CFStringRef validFormatSpecifiers, CFStringRef format,
                                                                 std::va_list arguments, ErrorRef* error) {
    return KX_TRY_CREATE(StringRef, CFStringCreateStringWithValidatedFormatAndArguments, error)(
        allocator, formatOptions, validFormatSpecifiers, format, arguments);
}

// Making other things of strings.

MutableStringRef StringRef::createMutable(CFAllocatorRef allocator, CFIndex maxLength) {
    return KX_CREATE(MutableStringRef, CFStringCreateMutable)(allocator, maxLength);
}

MutableStringRef StringRef::createMutableCopy(CFAllocatorRef allocator, CFIndex maxLength, CFStringRef string) {
    return KX_CREATE(MutableStringRef, CFStringCreateMutableCopy)(allocator, maxLength, string);
}

MutableStringRef StringRef::createMutableWithExternalCharactersNoCopy(CFAllocatorRef allocator, UniChar* characters,
                                                                      CFIndex numCharacters, CFIndex capacity,
                                                                      CFAllocatorRef externalCharactersAllocator) {
    return KX_CREATE(MutableStringRef, CFStringCreateMutableWithExternalCharactersNoCopy)(
        allocator, characters, numCharacters, capacity, externalCharactersAllocator);
}

DataRef StringRef::createExternalRepresentation(CFAllocatorRef allocator, CFStringRef string, CFStringEncoding encoding,
                                                UInt8 lossByte) {
    return KX_CREATE(DataRef, CFStringCreateExternalRepresentation)(allocator, string, encoding, lossByte);
}

ArrayRef StringRef::createArrayBySeparatingStrings(CFAllocatorRef allocator, CFStringRef string,
                                                   CFStringRef separator) {
    return KX_CREATE(ArrayRef, CFStringCreateArrayBySeparatingStrings)(allocator, string, separator);
}

ArrayRef StringRef::createArrayWithFindResults(CFAllocatorRef allocator, CFStringRef string, CFStringRef stringToFind,
                                               CFRange rangeToSearch, CFStringCompareFlags compareOptions) {
    return KX_CREATE(ArrayRef, CFStringCreateArrayWithFindResults)(allocator, string, stringToFind, rangeToSearch,
                                                                   compareOptions);
}

void StringRef::copyStdString(std::string& out) const {
    const CFIndex length = CFStringGetLength(get());
    if (const char* const text = CFStringGetCStringPtr(get(), kCFStringEncodingUTF8)) {
        // Kept as ASCII: a byte for each unit, a NUL within the text among them.
        out.assign(text, static_cast<std::size_t>(length));
        return;
    }
    out.clear();
    std::array<UInt8, 512> buffer;
    for (CFIndex location = 0; location < length;) {
        CFIndex used = 0;
        const CFIndex converted =
            CFStringGetBytes(get(), CFRangeMake(location, length - location), kCFStringEncodingUTF8, 0, false,
                             buffer.data(), static_cast<CFIndex>(buffer.size()), &used);
        if (converted <= 0) break;
        out.append(buffer.begin(), buffer.begin() + used);
        location += converted;
    }
}

std::string StringRef::copyStdString() const {
    std::string text;
    copyStdString(text);
    return text;
}

// Characters and bytes.

CFIndex StringRef::getLength() const { return CFStringGetLength(get()); }
UniChar StringRef::getCharacterAtIndex(CFIndex index) const { return CFStringGetCharacterAtIndex(get(), index); }
void StringRef::getCharacters(CFRange range, UniChar* buffer) const { CFStringGetCharacters(get(), range, buffer); }
const UniChar* StringRef::getCharactersPtr() const { return CFStringGetCharactersPtr(get()); }

Boolean StringRef::getCString(char* buffer, CFIndex bufferSize, CFStringEncoding encoding) const {
    return CFStringGetCString(get(), buffer, bufferSize, encoding);
}

const char* StringRef::getCStringPtr(CFStringEncoding encoding) const { return CFStringGetCStringPtr(get(), encoding); }

Boolean StringRef::getPascalString(StringPtr buffer, CFIndex bufferSize, CFStringEncoding encoding) const {
    return CFStringGetPascalString(get(), buffer, bufferSize, encoding);
}

ConstStringPtr StringRef::getPascalStringPtr(CFStringEncoding encoding) const {
    return CFStringGetPascalStringPtr(get(), encoding);
}

CFIndex StringRef::getBytes(CFRange range, CFStringEncoding encoding, UInt8 lossByte, Boolean isExternalRepresentation,
                            UInt8* buffer, CFIndex maxBufferLength, CFIndex* usedBufferLength) const {
    return CFStringGetBytes(get(), range, encoding, lossByte, isExternalRepresentation, buffer, maxBufferLength,
                            usedBufferLength);
}

Boolean StringRef::getFileSystemRepresentation(char* buffer, CFIndex maxBufferLength) const {
    return CFStringGetFileSystemRepresentation(get(), buffer, maxBufferLength);
}

CFIndex StringRef::getMaximumSizeOfFileSystemRepresentation() const {
    return CFStringGetMaximumSizeOfFileSystemRepresentation(get());
}

void StringRef::initInlineBuffer(CFStringInlineBuffer* buffer, CFRange range) const {
    CFStringInitInlineBuffer(get(), buffer, range);
}

UniChar StringRef::getCharacterFromInlineBuffer(CFStringInlineBuffer* buffer, CFIndex index) {
    return CFStringGetCharacterFromInlineBuffer(buffer, index);
}

// Comparing and finding.

CFComparisonResult StringRef::compare(CFStringRef other, CFStringCompareFlags compareOptions) const {
    return CFStringCompare(get(), other, compareOptions);
}

CFComparisonResult StringRef::compareWithOptions(CFStringRef other, CFRange rangeToCompare,
                                                 CFStringCompareFlags compareOptions) const {
    return CFStringCompareWithOptions(get(), other, rangeToCompare, compareOptions);
}

CFComparisonResult StringRef::compareWithOptionsAndLocale(CFStringRef other, CFRange rangeToCompare,
                                                          CFStringCompareFlags compareOptions,
                                                          CFLocaleRef locale) const {
    return CFStringCompareWithOptionsAndLocale(get(), other, rangeToCompare, compareOptions, locale);
}

CFRange StringRef::find(CFStringRef stringToFind, CFStringCompareFlags compareOptions) const {
    return CFStringFind(get(), stringToFind, compareOptions);
}

Boolean StringRef::findWithOptions(CFStringRef stringToFind, CFRange rangeToSearch, CFStringCompareFlags searchOptions,
                                   CFRange* result) const {
    return CFStringFindWithOptions(get(), stringToFind, rangeToSearch, searchOptions, result);
}

Boolean StringRef::findWithOptionsAndLocale(CFStringRef stringToFind, CFRange rangeToSearch,
                                            CFStringCompareFlags searchOptions, CFLocaleRef locale,
                                            CFRange* result) const {
    return CFStringFindWithOptionsAndLocale(get(), stringToFind, rangeToSearch, searchOptions, locale, result);
}

Boolean StringRef::findCharacterFromSet(CFCharacterSetRef set, CFRange rangeToSearch,
                                        CFStringCompareFlags searchOptions, CFRange* result) const {
    return CFStringFindCharacterFromSet(get(), set, rangeToSearch, searchOptions, result);
}

Boolean StringRef::hasPrefix(CFStringRef prefix) const { return CFStringHasPrefix(get(), prefix); }
Boolean StringRef::hasSuffix(CFStringRef suffix) const { return CFStringHasSuffix(get(), suffix); }

CFRange StringRef::getRangeOfComposedCharactersAtIndex(CFIndex index) const {
    return CFStringGetRangeOfComposedCharactersAtIndex(get(), index);
}

void StringRef::getLineBounds(CFRange range, CFIndex* lineBeginIndex, CFIndex* lineEndIndex,
                              CFIndex* contentsEndIndex) const {
    CFStringGetLineBounds(get(), range, lineBeginIndex, lineEndIndex, contentsEndIndex);
}

void StringRef::getParagraphBounds(CFRange range, CFIndex* parBeginIndex, CFIndex* parEndIndex,
                                   CFIndex* contentsEndIndex) const {
    CFStringGetParagraphBounds(get(), range, parBeginIndex, parEndIndex, contentsEndIndex);
}

CFIndex StringRef::getHyphenationLocationBeforeIndex(CFIndex location, CFRange limitRange, CFOptionFlags options,
                                                     CFLocaleRef locale, UTF32Char* character) const {
    return CFStringGetHyphenationLocationBeforeIndex(get(), location, limitRange, options, locale, character);
}

Boolean StringRef::isHyphenationAvailableForLocale(CFLocaleRef locale) {
    return CFStringIsHyphenationAvailableForLocale(locale);
}

// Numbers at the start of the text.

SInt32 StringRef::getIntValue() const { return CFStringGetIntValue(get()); }
double StringRef::getDoubleValue() const { return CFStringGetDoubleValue(get()); }

// Encodings.

CFStringEncoding StringRef::getSmallestEncoding() const { return CFStringGetSmallestEncoding(get()); }
CFStringEncoding StringRef::getFastestEncoding() const { return CFStringGetFastestEncoding(get()); }
CFStringEncoding StringRef::getSystemEncoding() { return CFStringGetSystemEncoding(); }

CFIndex StringRef::getMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
    return CFStringGetMaximumSizeForEncoding(length, encoding);
}

Boolean StringRef::isEncodingAvailable(CFStringEncoding encoding) { return CFStringIsEncodingAvailable(encoding); }
const CFStringEncoding* StringRef::getListOfAvailableEncodings() { return CFStringGetListOfAvailableEncodings(); }

StringRef StringRef::getNameOfEncoding(CFStringEncoding encoding) {
    return retain(CFStringGetNameOfEncoding(encoding));
}

CFStringEncoding StringRef::getMostCompatibleMacStringEncoding(CFStringEncoding encoding) {
    return CFStringGetMostCompatibleMacStringEncoding(encoding);
}

unsigned long StringRef::convertEncodingToNSStringEncoding(CFStringEncoding encoding) {
    return CFStringConvertEncodingToNSStringEncoding(encoding);
}

CFStringEncoding StringRef::convertNSStringEncodingToEncoding(unsigned long encoding) {
    return CFStringConvertNSStringEncodingToEncoding(encoding);
}

UInt32 StringRef::convertEncodingToWindowsCodepage(CFStringEncoding encoding) {
    return CFStringConvertEncodingToWindowsCodepage(encoding);
}

CFStringEncoding StringRef::convertWindowsCodepageToEncoding(UInt32 codepage) {
    return CFStringConvertWindowsCodepageToEncoding(codepage);
}

CFStringEncoding StringRef::convertIANACharSetNameToEncoding() const {
    return CFStringConvertIANACharSetNameToEncoding(get());
}

CFStringRef StringRef::convertEncodingToIANACharSetName(CFStringEncoding encoding) {
    return CFStringConvertEncodingToIANACharSetName(encoding);
}

// Surrogate pairs.

Boolean StringRef::isSurrogateHighCharacter(UniChar character) { return CFStringIsSurrogateHighCharacter(character); }
Boolean StringRef::isSurrogateLowCharacter(UniChar character) { return CFStringIsSurrogateLowCharacter(character); }

UTF32Char StringRef::getLongCharacterForSurrogatePair(UniChar surrogateHigh, UniChar surrogateLow) {
    return CFStringGetLongCharacterForSurrogatePair(surrogateHigh, surrogateLow);
}

Boolean StringRef::getSurrogatePairForLongCharacter(UTF32Char character, UniChar* surrogates) {
    return CFStringGetSurrogatePairForLongCharacter(character, surrogates);
}

// For a person at a debugger: onto the standard error stream.

void StringRef::show(CFTypeRef object) { CFShow(object); }
void StringRef::showStr() const { CFShowStr(get()); }
void MutableStringRef::append(CFStringRef appended) { CFStringAppend(get(), appended); }

void MutableStringRef::appendCharacters(const UniChar* characters, CFIndex numCharacters) {
    CFStringAppendCharacters(get(), characters, numCharacters);
}

void MutableStringRef::appendPascalString(ConstStr255Param text, CFStringEncoding encoding) {
    CFStringAppendPascalString(get(), text, encoding);
}

void MutableStringRef::appendCString(const char* text, CFStringEncoding encoding) {
    CFStringAppendCString(get(), text, encoding);
}

void MutableStringRef::appendFormatAndArguments(CFDictionaryRef formatOptions, CFStringRef format,
                                                std::va_list arguments) {
    CFStringAppendFormatAndArguments(get(), formatOptions, format, arguments);
}

void MutableStringRef::appendAny(CFDictionaryRef formatOptions, CFStringRef format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    CFStringAppendFormatAndArguments(get(), formatOptions, format, arguments);
    va_end(arguments);
}

void MutableStringRef::insert(CFIndex index, CFStringRef inserted) { CFStringInsert(get(), index, inserted); }
void MutableStringRef::dElete(CFRange range) { CFStringDelete(get(), range); }
void MutableStringRef::replace(CFRange range, CFStringRef replacement) { CFStringReplace(get(), range, replacement); }
void MutableStringRef::replaceAll(CFStringRef replacement) { CFStringReplaceAll(get(), replacement); }

CFIndex MutableStringRef::findAndReplace(CFStringRef stringToFind, CFStringRef replacement, CFRange rangeToSearch,
                                         CFStringCompareFlags compareOptions) {
    return CFStringFindAndReplace(get(), stringToFind, replacement, rangeToSearch, compareOptions);
}

void MutableStringRef::setExternalCharactersNoCopy(UniChar* characters, CFIndex length, CFIndex capacity) {
    CFStringSetExternalCharactersNoCopy(get(), characters, length, capacity);
}

void MutableStringRef::pad(CFStringRef padString, CFIndex length, CFIndex indexIntoPad) {
    CFStringPad(get(), padString, length, indexIntoPad);
}

void MutableStringRef::trim(CFStringRef trimString) { CFStringTrim(get(), trimString); }
void MutableStringRef::trimWhitespace() { CFStringTrimWhitespace(get()); }
void MutableStringRef::lowercase(CFLocaleRef locale) { CFStringLowercase(get(), locale); }
void MutableStringRef::uppercase(CFLocaleRef locale) { CFStringUppercase(get(), locale); }
void MutableStringRef::capitalize(CFLocaleRef locale) { CFStringCapitalize(get(), locale); }
void MutableStringRef::normalize(CFStringNormalizationForm form) { CFStringNormalize(get(), form); }
void MutableStringRef::fold(CFStringCompareFlags flags, CFLocaleRef locale) { CFStringFold(get(), flags, locale); }

Boolean MutableStringRef::transform(CFRange* range, CFStringRef transform, Boolean reverse) {
    return CFStringTransform(get(), range, transform, reverse);
}

}  // namespace KXCore::CoreFoundation
