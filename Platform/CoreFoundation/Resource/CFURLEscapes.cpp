// Percent escapes of texts in any encoding.

#include "CFURLObject.h"

#include "CoreFoundation/String/CFStringEncoding.h"

#include <new>
#include <optional>
#include <string>

using namespace KXPlatform;

namespace {

bool isHex(UniChar c) noexcept { return c < 0x80 && isURLCharacter(static_cast<char>(c), Hex); }

bool isSurrogatePair(TextView text, CFIndex at) noexcept {
    return at + 1 < text.length && (text[at] & 0xFC00) == 0xD800 && (text[at + 1] & 0xFC00) == 0xDC00;
}

void append(std::u16string& out, TextView text) {
    for (CFIndex i = 0; i < text.length; ++i) out += static_cast<char16_t>(text[i]);
}

/// Whether the character of one or two units stands in `characters`.
bool contains(TextView characters, TextView character) noexcept {
    for (CFIndex i = 0; i + character.length <= characters.length; ++i) {
        if (character.length == 1 && isSurrogatePair(characters, i)) {
            ++i;
            continue;
        }
        if (characters[i] == character[0] && (character.length == 1 || characters[i + 1] == character[1])) return true;
    }
    return false;
}

using Text = Retained<const __CFString>;

/// The text of some bytes; null when they are none.
Text decoded(std::string_view bytes, CFStringEncoding encoding) noexcept {
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    if (encoding == kCFStringEncodingUTF8 && bytes.starts_with(kMark)) {
        // A character like any other here, and no byte order mark to be left out: alone, so that none follows it.
        constexpr UniChar kNoBreak = 0xFEFF;
        return Text::adopting(bytes == kMark ? CFStringCreateWithCharacters(nullptr, &kNoBreak, 1) : nullptr);
    }
    return Text::adopting(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                                  static_cast<CFIndex>(bytes.size()), encoding, false));
}

constexpr std::size_t kLongestCharacter = 8;  ///< bytes, in any encoding

/// Appends the text of the escapes whose bytes are given, `source`. One character after the other is looked for, since
/// each may be one to be left as it is.
bool appendDecoded(std::u16string& out, std::string_view bytes, TextView source, CFStringEncoding encoding,
                   TextView leave) {
    if (const Text all = leave.length == 0 ? decoded(bytes, encoding) : Text()) {
        append(out, view(all.get()));
        return true;
    }
    std::size_t at = 0;
    while (at < bytes.size()) {
        std::size_t length = 1;
        Text character;
        for (; length <= std::min(bytes.size() - at, kLongestCharacter); ++length) {
            character = decoded(bytes.substr(at, length), encoding);
            if (character && character->length > 0) break;
            character = Text();
        }
        if (!character) return false;
        if (contains(leave, view(character.get())))
            append(out, source.part(static_cast<CFIndex>(at) * 3, static_cast<CFIndex>(length) * 3));
        else
            append(out, view(character.get()));
        at += length;
    }
    return true;
}

/// Null where an escape is broken.
std::optional<std::u16string> replaced(TextView text, TextView leave, CFStringEncoding encoding) {
    std::u16string out;
    out.reserve(static_cast<std::size_t>(text.length));
    for (CFIndex i = 0; i < text.length;) {
        if (text[i] != '%') {
            out += static_cast<char16_t>(text[i++]);
            continue;
        }
        std::string bytes;
        const CFIndex start = i;
        for (; i < text.length && text[i] == '%'; i += 3) {
            if (text.length - i < 3 || !isHex(text[i + 1]) || !isHex(text[i + 2])) return std::nullopt;
            const char escape[] = {'%', static_cast<char>(text[i + 1]), static_cast<char>(text[i + 2])};
            bytes += unescaped({escape, sizeof escape});
        }
        if (!appendDecoded(out, bytes, text.part(start, i - start), encoding, leave)) return std::nullopt;
    }
    return out;
}

bool has(TextView text, char c) noexcept {
    for (CFIndex i = 0; i < text.length; ++i)
        if (text[i] == static_cast<UniChar>(c)) return true;
    return false;
}

bool isString(CFStringRef string) noexcept { return isOfType(string, TypeID::String); }

bool isStringOrNull(CFStringRef string) noexcept { return !string || isString(string); }

}  // namespace

namespace KXPlatform {

bool encodedBytes(CFStringRef string, CFStringEncoding encoding, std::string& bytes) {
    const CFRange all{0, CFStringGetLength(string)};
    CFIndex size = 0;
    if (CFStringGetBytes(string, all, encoding, 0, false, nullptr, 0, &size) != all.length) return false;
    bytes.resize(static_cast<std::size_t>(size));
    return size == 0 || CFStringGetBytes(string, all, encoding, 0, false, reinterpret_cast<UInt8*>(bytes.data()), size,
                                         nullptr) == all.length;
}

CFStringRef createUnescaped(CFAllocatorRef allocator, std::string_view part, CFStringEncoding encoding) noexcept try {
    if (part.find('%') == std::string_view::npos) return createASCII(allocator, part);
    const std::string bytes = unescaped(part);
    // The escapes are bytes of the encoding, and so is what stands between them where ASCII is a part of it.
    return CFStringCreateWithBytes(allocator, reinterpret_cast<const UInt8*>(bytes.data()),
                                   static_cast<CFIndex>(bytes.size()), encoding, false);
} catch (const std::bad_alloc&) {
    return nullptr;
}

}  // namespace KXPlatform

CFStringRef CFURLCreateStringByReplacingPercentEscapes(CFAllocatorRef allocator, CFStringRef originalString,
                                                       CFStringRef charactersToLeaveEscaped) {
    return CFURLCreateStringByReplacingPercentEscapesUsingEncoding(allocator, originalString, charactersToLeaveEscaped,
                                                                   kCFStringEncodingUTF8);
}

CFStringRef CFURLCreateStringByReplacingPercentEscapesUsingEncoding(CFAllocatorRef allocator, CFStringRef origString,
                                                                    CFStringRef charsToLeaveEscaped,
                                                                    CFStringEncoding encoding) try {
    if (!isString(origString) || !isStringOrNull(charsToLeaveEscaped)) return nullptr;
    if (!charsToLeaveEscaped || !has(view(origString), '%')) return CFStringCreateCopy(allocator, origString);
    const std::optional<std::u16string> text = replaced(view(origString), view(charsToLeaveEscaped), encoding);
    return text ? createUTF16(allocator, *text) : nullptr;
} catch (const std::bad_alloc&) {
    return nullptr;
}

CFStringRef CFURLCreateStringByAddingPercentEscapes(CFAllocatorRef allocator, CFStringRef originalString,
                                                    CFStringRef charactersToLeaveUnescaped,
                                                    CFStringRef legalURLCharactersToBeEscaped,
                                                    CFStringEncoding encoding) try {
    if (!isString(originalString) || !isStringOrNull(charactersToLeaveUnescaped) ||
        !isStringOrNull(legalURLCharactersToBeEscaped) || !findEncoding(encoding))
        return nullptr;
    const TextView text = view(originalString);
    const TextView leave = view(charactersToLeaveUnescaped);
    const TextView escape = view(legalURLCharactersToBeEscaped);
    std::u16string out;
    out.reserve(static_cast<std::size_t>(text.length));
    std::string escapes;
    bool isChanged = false;
    for (CFIndex i = 0, length; i < text.length; i += length) {
        length = isSurrogatePair(text, i) ? 2 : 1;
        const TextView character = text.part(i, length);
        const bool isLegal = text[i] < 0x80 && isURLCharacter(static_cast<char>(text[i]), Legal);
        if ((isLegal && !contains(escape, character)) || contains(leave, character)) {
            append(out, character);
            continue;
        }
        UInt8 bytes[32];
        CFIndex size = 0;
        if (CFStringGetBytes(originalString, {i, length}, encoding, 0, false, bytes, sizeof bytes, &size) != length)
            return nullptr;
        escapes.clear();
        appendEscaped(escapes, {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(size)}, URLCharacter());
        out.append(escapes.begin(), escapes.end());
        isChanged = true;
    }
    return isChanged ? createUTF16(allocator, out) : CFStringCreateCopy(allocator, originalString);
} catch (const std::bad_alloc&) {
    return nullptr;
}
