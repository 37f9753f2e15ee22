#include "CFStringEncoding.h"
#include "CFStringObject.h"
#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/Object/Hashing.h"

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>
#include <new>

using namespace KXPlatform;

// ---- The class

namespace {

void finalizeString(Object* object) noexcept {
    auto* const string = static_cast<__CFString*>(object);
    if (string->isMutable()) {
        static_cast<MutableString*>(string)->~MutableString();
    } else if (string->bits & __CFString::kForeign) {
        static_cast<ForeignString*>(string)->~ForeignString();
    }
}

bool equalText(TextView a, TextView b) noexcept {
    if (a.length != b.length) return false;
    const auto length = static_cast<std::size_t>(a.length);
    if (a.isWide() && b.isWide()) return std::memcmp(a.wide, b.wide, length * sizeof(UniChar)) == 0;
    if (!a.isWide() && !b.isWide()) return std::memcmp(a.ascii, b.ascii, length) == 0;
    if (a.isWide()) std::swap(a, b);
    return std::equal(b.wide, b.wide + length, a.ascii,
                      [](UniChar unit, char c) { return unit == static_cast<unsigned char>(c); });
}

bool equalStrings(const Object* a, const Object* b) {
    return equalText(view(static_cast<const __CFString*>(a)), view(static_cast<const __CFString*>(b)));
}

/// Of the text alone, however it is kept: wide units that are ASCII are hashed as the bytes they would be.
CFHashCode hashString(const Object* object) {
    const TextView text = view(static_cast<const __CFString*>(object));
    const auto length = static_cast<std::size_t>(text.length);
    Hasher hasher;
    if (!text.isWide()) {
        hasher.add(text.ascii, length);
    } else if (!isASCII(text.wide, length)) {
        hasher.add(text.wide, length * sizeof(UniChar));
    } else {
        char bytes[256];
        for (std::size_t at = 0; at < length; at += sizeof bytes) {
            const std::size_t count = std::min(length - at, sizeof bytes);
            std::transform(text.wide + at, text.wide + at + count, bytes,
                           [](UniChar unit) { return static_cast<char>(unit); });
            hasher.add(bytes, count);
        }
    }
    return hasher.result(length);
}

CFStringRef copyStringDescription(const Object* object) {
    Description description;
    description.appendHeading(object);
    description.format("{contents = \"");
    description.append(static_cast<CFStringRef>(object));
    description.format("\"}");
    return description.take();
}

}  // namespace

namespace KXPlatform {

const Class kStringClass{TypeID::String, finalizeString, equalStrings, hashString, copyStringDescription, true};

ForeignString::ForeignString(CFAllocatorRef d) noexcept
    : deallocator(static_cast<CFAllocatorRef>(CFRetain(d ? d : CFAllocatorGetDefault()))) {
    bits |= kForeign;
}

ForeignString::~ForeignString() {
    const void* const start =
        isWide() ? static_cast<const void*>(text.wide) : text.ascii - ((bits & kLengthBefore) != 0);
    CFAllocatorDeallocate(deallocator, const_cast<void*>(start));
    CFRelease(deallocator);
}

void TextView::copyTo(UniChar* units) const noexcept {
    if (wide) {
        std::memcpy(units, wide, static_cast<std::size_t>(length) * sizeof(UniChar));
        return;
    }
    for (CFIndex i = 0; i < length; ++i) units[i] = static_cast<unsigned char>(ascii[i]);
}

bool isASCII(const char* text, std::size_t length) noexcept {
    const auto wordAt = [text]<class Word>(std::size_t at, Word word) {
        std::memcpy(&word, text + at, sizeof word);
        return std::uint64_t{word};
    };
    // The last word lies over the end of the one before it.
    std::uint64_t seen = 0;
    if (length >= 8) {
        for (std::size_t at = 0; at + 8 < length; at += 8) seen |= wordAt(at, std::uint64_t{});
        seen |= wordAt(length - 8, std::uint64_t{});
    } else if (length >= 4) {
        seen = wordAt(0, std::uint32_t{}) | wordAt(length - 4, std::uint32_t{});
    } else {
        for (std::size_t at = 0; at < length; ++at) seen |= static_cast<unsigned char>(text[at]);
    }
    return (seen & 0x8080808080808080u) == 0;
}

bool isASCII(const UniChar* units, std::size_t length) noexcept {
    constexpr std::size_t kBlock = 64;  // long enough for wide instructions, short enough to end early
    for (; length > 0; units += std::min(length, kBlock), length -= std::min(length, kBlock)) {
        unsigned seen = 0;
        for (std::size_t i = 0; i < std::min(length, kBlock); ++i) seen |= units[i];
        if (seen >= 0x80) return false;
    }
    return true;
}

// ---- Creation

char* makeASCII(CFAllocatorRef allocator, std::size_t length, __CFString*& made) noexcept {
    if (length >= static_cast<std::size_t>(PTRDIFF_MAX)) return nullptr;
    made = make<__CFString>(allocator, length + 1);
    if (!made) return nullptr;
    char* const text = reinterpret_cast<char*>(trailing(made));
    made->flags |= Object::kPlain;
    text[length] = 0;
    made->length = static_cast<CFIndex>(length);
    made->text.ascii = text;
    return text;
}

UniChar* makeWide(CFAllocatorRef allocator, std::size_t length, __CFString*& made) noexcept {
    if (length > static_cast<std::size_t>(PTRDIFF_MAX) / sizeof(UniChar)) return nullptr;
    made = make<__CFString>(allocator, length * sizeof(UniChar));
    if (!made) return nullptr;
    UniChar* const units = reinterpret_cast<UniChar*>(trailing(made));
    made->flags |= Object::kPlain;
    made->bits |= __CFString::kWide;
    made->length = static_cast<CFIndex>(length);
    made->text.wide = units;
    return units;
}

namespace {

bool isEightBit(const Encoding* encoding) noexcept {
    return encoding && encoding->codec != Codec::UTF16 && encoding->codec != Codec::UTF32;
}

bool isEightBit(CFStringEncoding encoding) noexcept { return isEightBit(findEncoding(encoding)); }

CFStringRef createFromBytes(CFAllocatorRef allocator, std::span<const UInt8> bytes, const Encoding* encoding,
                            bool isExternal) noexcept {
    if (!encoding) return nullptr;
    if (const auto plain = plainText(bytes, encoding)) return createASCII(allocator, *plain);
    return createDecoded(allocator, DecodedText(bytes, encoding->number, isExternal));
}

std::span<const UInt8> bytesOf(const char* cString) noexcept {
    return {reinterpret_cast<const UInt8*>(cString), std::strlen(cString)};
}

/// A string over memory of the caller's, which now belongs to the string; null leaves it with the caller.
CFStringRef createForeign(CFAllocatorRef allocator, CFAllocatorRef deallocator, const void* text, CFIndex length,
                          std::uint8_t bits) noexcept {
    auto* const made = make<ForeignString>(allocator, 0, deallocator);
    if (!made) return nullptr;
    made->bits |= bits;
    made->length = length;
    if (bits & __CFString::kWide)
        made->text.wide = static_cast<const UniChar*>(text);
    else
        made->text.ascii = static_cast<const char*>(text);
    return made;
}

/// Makes a string of bytes that now belong to it: kept where they are when they are ASCII text as they stand, else
/// converted and freed at once.
CFStringRef createOverBytes(CFAllocatorRef allocator, std::span<const UInt8> bytes, CFStringEncoding encoding,
                            bool isExternal, CFAllocatorRef deallocator, std::uint8_t bits) noexcept {
    const DecodedText decoded(bytes, encoding, isExternal);
    if (!decoded.isValid()) return nullptr;
    const bool isWhole = decoded.isPlain() && decoded.plain().size() == bytes.size();
    if (isWhole) return createForeign(allocator, deallocator, bytes.data(), decoded.length(), bits);
    const CFStringRef made = createDecoded(allocator, decoded);
    if (made) {
        const std::size_t before = (bits & __CFString::kLengthBefore) ? 1 : 0;
        CFAllocatorDeallocate(deallocator, const_cast<UInt8*>(bytes.data() - before));
    }
    return made;
}

}  // namespace

CFStringRef createDecoded(CFAllocatorRef allocator, const DecodedText& decoded) noexcept {
    if (!decoded.isValid()) return nullptr;
    if (decoded.isPlain()) return createASCII(allocator, decoded.plain());
    const auto length = static_cast<std::size_t>(decoded.length());
    __CFString* made = nullptr;
    bool isText = false;
    if (decoded.isASCII()) {
        if (char* const text = makeASCII(allocator, length, made)) isText = decoded.copyTo(text);
    } else if (UniChar* const units = makeWide(allocator, length, made)) {
        isText = decoded.copyTo(units);
    }
    if (isText) return made;
    if (made) CFRelease(made);
    return nullptr;
}

CFStringRef createASCII(CFAllocatorRef allocator, std::string_view ascii) noexcept {
    __CFString* made = nullptr;
    if (char* const text = makeASCII(allocator, ascii.size(), made); text && !ascii.empty())
        std::memcpy(text, ascii.data(), ascii.size());
    return made;
}

CFStringRef createUTF16(CFAllocatorRef allocator, std::u16string_view units) noexcept {
    __CFString* made = nullptr;
    if (isASCII(asUnits(units.data()), units.size())) {
        if (char* const text = makeASCII(allocator, units.size(), made))
            std::transform(units.begin(), units.end(), text, [](char16_t unit) { return static_cast<char>(unit); });
    } else if (UniChar* const copy = makeWide(allocator, units.size(), made)) {
        std::memcpy(copy, units.data(), units.size() * sizeof(UniChar));
    }
    return made;
}

CFStringRef createText(CFAllocatorRef allocator, TextView text) noexcept {
    if (!text.isWide()) return createASCII(allocator, text.asciiView());
    return createUTF16(allocator, {asUTF16(text.wide), static_cast<std::size_t>(text.length)});
}

CFStringRef createPrinted(CFAllocatorRef allocator, const char* format, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    __CFString* made = nullptr;
    if (length >= 0) {
        if (char* const text = makeASCII(allocator, static_cast<std::size_t>(length), made))
            std::vsnprintf(text, static_cast<std::size_t>(length) + 1, format, again);
    }
    va_end(again);
    va_end(arguments);
    return made;
}

}  // namespace KXPlatform

CFTypeID CFStringGetTypeID() { return number(TypeID::String); }

CFStringRef CFStringCreateWithPascalString(CFAllocatorRef alloc, ConstStr255Param pStr, CFStringEncoding encoding) {
    if (!pStr || !isEightBit(encoding)) return nullptr;
    return CFStringCreateWithBytes(alloc, pStr + 1, pStr[0], encoding, false);
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef alloc, const char* cStr, CFStringEncoding encoding) {
    const Encoding* const found = findEncoding(encoding);
    if (!cStr || !isEightBit(found)) return nullptr;
    return createFromBytes(alloc, bytesOf(cStr), found, false);
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef alloc, const UInt8* bytes, CFIndex numBytes,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation) {
    if (numBytes < 0 || (!bytes && numBytes > 0)) return nullptr;
    return createFromBytes(alloc, {bytes, static_cast<std::size_t>(numBytes)}, findEncoding(encoding),
                           isExternalRepresentation != 0);
}

CFStringRef CFStringCreateWithCharacters(CFAllocatorRef alloc, const UniChar* chars, CFIndex numChars) {
    if (numChars < 0 || (!chars && numChars > 0)) return nullptr;
    return createUTF16(alloc, {asUTF16(chars), static_cast<std::size_t>(numChars)});
}

CFStringRef CFStringCreateWithPascalStringNoCopy(CFAllocatorRef alloc, ConstStr255Param pStr, CFStringEncoding encoding,
                                                 CFAllocatorRef contentsDeallocator) {
    if (!pStr || !isEightBit(encoding)) return nullptr;
    return createOverBytes(alloc, {pStr + 1, pStr[0]}, encoding, false, contentsDeallocator,
                           __CFString::kUnterminated | __CFString::kLengthBefore);
}

CFStringRef CFStringCreateWithCStringNoCopy(CFAllocatorRef alloc, const char* cStr, CFStringEncoding encoding,
                                            CFAllocatorRef contentsDeallocator) {
    if (!cStr || !isEightBit(encoding)) return nullptr;
    return createOverBytes(alloc, bytesOf(cStr), encoding, false, contentsDeallocator, 0);
}

CFStringRef CFStringCreateWithBytesNoCopy(CFAllocatorRef alloc, const UInt8* bytes, CFIndex numBytes,
                                          CFStringEncoding encoding, Boolean isExternalRepresentation,
                                          CFAllocatorRef contentsDeallocator) {
    if (numBytes < 0 || (!bytes && numBytes > 0)) return nullptr;
    return createOverBytes(alloc, {bytes, static_cast<std::size_t>(numBytes)}, encoding, isExternalRepresentation != 0,
                           contentsDeallocator, __CFString::kUnterminated);
}

CFStringRef CFStringCreateWithCharactersNoCopy(CFAllocatorRef alloc, const UniChar* chars, CFIndex numChars,
                                               CFAllocatorRef contentsDeallocator) {
    if (numChars < 0 || (!chars && numChars > 0)) return nullptr;
    return createForeign(alloc, contentsDeallocator, chars, numChars, __CFString::kWide);
}

CFStringRef CFStringCreateWithSubstring(CFAllocatorRef alloc, CFStringRef str, CFRange range) {
    if (!str || !isWithin(range, str->length)) return nullptr;
    if (range.length == str->length) return CFStringCreateCopy(alloc, str);
    return createText(alloc, view(str).part(range.location, range.length));
}

CFStringRef CFStringCreateCopy(CFAllocatorRef alloc, CFStringRef theString) {
    if (!theString) return nullptr;
    if (!theString->isMutable()) {
        if (!alloc) alloc = CFAllocatorGetDefault();
        // What never changes need not be copied, unless the caller wants it in other memory than it is in.
        if ((theString->flags & Object::kImmortal) || CFGetAllocator(theString) == alloc)
            return static_cast<CFStringRef>(CFRetain(theString));
    }
    return createText(alloc, view(theString));
}

// ---- Reading

CFIndex CFStringGetLength(CFStringRef theString) { return theString ? theString->length : 0; }

UniChar CFStringGetCharacterAtIndex(CFStringRef theString, CFIndex idx) {
    if (!theString || idx < 0 || idx >= theString->length) return 0;
    return view(theString)[idx];
}

void CFStringGetCharacters(CFStringRef theString, CFRange range, UniChar* buffer) {
    if (!theString || !buffer || !isWithin(range, theString->length)) return;
    view(theString).part(range.location, range.length).copyTo(buffer);
}

const char* CFStringGetCStringPtr(CFStringRef theString, CFStringEncoding encoding) {
    if (!theString || theString->isWide() || (theString->bits & __CFString::kUnterminated)) return nullptr;
    if (theString->isMutable() && theString->length == 0) return nullptr;
    const Encoding* const found = findEncoding(encoding);
    return found && found->holdsASCII ? theString->text.ascii : nullptr;
}

ConstStringPtr CFStringGetPascalStringPtr(CFStringRef theString, CFStringEncoding encoding) {
    if (!theString || !(theString->bits & __CFString::kLengthBefore)) return nullptr;
    const Encoding* const found = findEncoding(encoding);
    if (!found || !found->holdsASCII) return nullptr;
    return reinterpret_cast<ConstStringPtr>(theString->text.ascii) - 1;
}

const UniChar* CFStringGetCharactersPtr(CFStringRef theString) {
    if (!theString || !theString->isWide() || (theString->isMutable() && theString->length == 0)) return nullptr;
    return theString->text.wide;
}
