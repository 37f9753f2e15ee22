#include "CFStringFormatNumbers.h"
#include "CFStringFormatOutput.h"
#include "CFStringFormatParser.h"
#include "CFStringSupport.h"

#include <CoreFoundation/CFError.h>

#include <unicode/utf16.h>

#include <array>
#include <cstdarg>
#include <cstring>
#include <cwchar>
#include <memory>

using namespace KXPlatform;

namespace {

constexpr std::string_view kNull = "(null)";

/// An argument as it was passed; which member holds it is its ArgumentKind.
union Argument {
    std::int64_t integer;
    double real;
    long double longReal;
    const void* pointer;
};

/// Memory for one format: the stack's as far as it goes.
class Scratch {
  public:
    std::pmr::memory_resource* memory() noexcept { return &resource_; }

  private:
    std::array<std::byte, 1536> storage_;
    std::pmr::monotonic_buffer_resource resource_{storage_.data(), storage_.size()};
};

struct ReleaseString {
    void operator()(CFStringRef string) const noexcept { CFRelease(string); }
};
using OwnedString = std::unique_ptr<const __CFString, ReleaseString>;

/// Reads the first `count` arguments, each as `kinds` says. A position that nothing asks for is taken to be of the
/// size of a pointer.
void readArguments(std::span<const ArgumentKind> kinds, std::pmr::vector<Argument>& arguments, va_list list) {
    arguments.reserve(kinds.size());
    for (const ArgumentKind kind : kinds) {
        Argument argument;
        switch (kind) {
            case ArgumentKind::Int:
                argument.integer = va_arg(list, int);
                break;
            case ArgumentKind::Long:
                argument.integer = va_arg(list, long long);
                break;
            case ArgumentKind::Double:
                argument.real = va_arg(list, double);
                break;
            case ArgumentKind::LongDouble:
                argument.longReal = va_arg(list, long double);
                break;
            default:
                argument.pointer = va_arg(list, const void*);
                break;
        }
        arguments.push_back(argument);
    }
}

/// Writes the values of specifiers.
class Writer {
  public:
    Writer(FormatOutput& output, std::span<const Argument> arguments) : output_(output), arguments_(arguments) {}

    void write(FormatSpecifier specifier) {
        if (specifier.conversion == '%') return output_.append("%");
        resolve(specifier);
        const Argument& argument = arguments_[static_cast<std::size_t>(specifier.argument)];
        switch (specifier.conversion) {
            case 'd':
            case 'D':
            case 'i':
            case 'u':
            case 'U':
            case 'x':
            case 'X':
            case 'o':
            case 'O':
                return writeInteger(output_, specifier, argument.integer);
            case 'f':
            case 'F':
            case 'e':
            case 'E':
            case 'g':
            case 'G':
            case 'a':
            case 'A':
                return specifier.length == FormatLength::LongDouble
                           ? writeLongDouble(output_, specifier, argument.longReal)
                           : writeDouble(output_, specifier, argument.real);
            case '@':
                return writeObject(specifier, argument.pointer);
            case 's':
                return specifier.length == FormatLength::Long
                           ? writeWideCString(specifier, static_cast<const wchar_t*>(argument.pointer))
                           : writeCString(specifier, static_cast<const char*>(argument.pointer));
            case 'S':
                return writeUnits(specifier, static_cast<const UniChar*>(argument.pointer));
            case 'c':
                return writeCharacter(specifier, argument.integer);
            case 'C':
                return writeUnit(specifier, static_cast<UniChar>(argument.integer));
            case 'p':
                return writePointer(output_, specifier, argument.pointer);
            default:
                return;  // "n" would write through its argument: it takes it and does nothing
        }
    }

  private:
    int fieldArgument(int index) const noexcept {
        const std::int64_t value = arguments_[static_cast<std::size_t>(index)].integer;
        return static_cast<int>(std::clamp<std::int64_t>(static_cast<int>(value), -kWidestField, kWidestField));
    }

    /// Puts the arguments that "*" stands for into their places.
    void resolve(FormatSpecifier& specifier) const noexcept {
        if (specifier.widthArgument != FormatSpecifier::kNone) {
            specifier.width = fieldArgument(specifier.widthArgument);
            if (specifier.width < 0) {
                specifier.left = true;
                specifier.width = -specifier.width;
            }
        }
        if (specifier.precisionArgument != FormatSpecifier::kNone)
            specifier.precision = std::max(fieldArgument(specifier.precisionArgument), FormatSpecifier::kNone);
    }

    void writeField(const FormatSpecifier& specifier, TextView text) {
        const CFIndex filling = std::max<CFIndex>(specifier.width - text.length, 0);
        if (!specifier.left) output_.pad(' ', static_cast<std::size_t>(filling));
        output_.append(text);
        if (specifier.left) output_.pad(' ', static_cast<std::size_t>(filling));
    }

    /// A text cut to the precision.
    void writeText(const FormatSpecifier& specifier, TextView text) {
        if (specifier.precision >= 0) text = text.part(0, std::min<CFIndex>(text.length, specifier.precision));
        writeField(specifier, text);
    }

    void writeNull(const FormatSpecifier& specifier) {
        writeField(specifier, {kNull.data(), nullptr, static_cast<CFIndex>(kNull.size())});
    }

    /// Strings are subject to width and precision; what describes any other object stands as it is.
    void writeObject(const FormatSpecifier& specifier, CFTypeRef object) {
        if (!object) return output_.append(kNull);
        if (isOfType(object, TypeID::String)) return writeText(specifier, view(static_cast<CFStringRef>(object)));
        if (const auto format = KXPlatform::object(object)->cls->format)
            return format(KXPlatform::object(object), output_);
        const OwnedString description(CFCopyDescription(object));
        if (!description) return output_.append(kNull);
        output_.append(view(description.get()));
    }

    /// The precision counts bytes, and no more of them are looked at.
    void writeCString(const FormatSpecifier& specifier, const char* text) {
        if (!text) return writeNull(specifier);
        const std::size_t length = specifier.precision >= 0
                                       ? ::strnlen(text, static_cast<std::size_t>(specifier.precision))
                                       : std::strlen(text);
        if (isASCII(text, length)) return writeField(specifier, {text, nullptr, static_cast<CFIndex>(length)});
        const OwnedString decoded = decode(text, length);
        if (decoded) writeField(specifier, view(decoded.get()));
    }

    /// Text in the system's encoding; byte by byte where it is not in that encoding after all.
    static OwnedString decode(const char* text, std::size_t length) noexcept {
        const auto* const bytes = reinterpret_cast<const UInt8*>(text);
        const auto count = static_cast<CFIndex>(length);
        const CFStringEncoding encoding = CFStringGetSystemEncoding();
        // A precision may have cut the last character in pieces.
        constexpr CFIndex kLongestCharacter = 4;
        for (CFIndex cut = 0; cut < std::min(kLongestCharacter, count); ++cut) {
            OwnedString decoded(CFStringCreateWithBytes(nullptr, bytes, count - cut, encoding, false));
            if (decoded) return decoded;
        }
        return OwnedString(CFStringCreateWithBytes(nullptr, bytes, count, kCFStringEncodingISOLatin1, false));
    }

    void writeWideCString(const FormatSpecifier& specifier, const wchar_t* text) {
        if (!text) return writeNull(specifier);
        std::u16string units;
        const auto most = static_cast<std::size_t>(specifier.precision);
        for (std::size_t i = 0; (specifier.precision < 0 || i < most) && text[i] != L'\0'; ++i)
            appendCharacter(units, static_cast<std::uint32_t>(text[i]));
        writeField(specifier, {nullptr, asUnits(units.data()), static_cast<CFIndex>(units.size())});
    }

    void writeUnits(const FormatSpecifier& specifier, const UniChar* units) {
        if (!units) return writeNull(specifier);
        CFIndex length = 0;
        while ((specifier.precision < 0 || length < specifier.precision) && units[length] != 0) ++length;
        writeField(specifier, {nullptr, units, length});
    }

    void writeUnit(const FormatSpecifier& specifier, UniChar unit) {
        if (unit >= 0x80) return writeField(specifier, {nullptr, &unit, 1});
        const char c = static_cast<char>(unit);
        writeField(specifier, {&c, nullptr, 1});
    }

    void writeCharacter(const FormatSpecifier& specifier, std::int64_t value) {
        if (specifier.length == FormatLength::Long) {
            std::u16string units;
            appendCharacter(units, static_cast<std::uint32_t>(value));
            return writeField(specifier, {nullptr, asUnits(units.data()), static_cast<CFIndex>(units.size())});
        }
        const char byte = static_cast<char>(value);
        if (isASCII(&byte, 1)) return writeField(specifier, {&byte, nullptr, 1});
        const OwnedString decoded = decode(&byte, 1);
        if (decoded) writeField(specifier, view(decoded.get()));
    }

    static void appendCharacter(std::u16string& units, std::uint32_t c) {
        if (c > 0x10FFFF) c = 0xFFFD;
        UniChar pair[2];
        const bool isPair = CFStringGetSurrogatePairForLongCharacter(c, pair) != 0;
        units.append(asUTF16(pair), isPair ? 2 : 1);
    }

    FormatOutput& output_;
    std::span<const Argument> arguments_;
};

/// Puts `format`, which `parsed` takes apart, together with the arguments of `list`, which are of `kinds`.
void write(FormatOutput& output, TextView format, const ParsedFormat& parsed, std::span<const ArgumentKind> kinds,
           va_list list, std::pmr::memory_resource* memory) {
    std::pmr::vector<Argument> arguments(memory);
    readArguments(kinds, arguments, list);
    Writer writer(output, arguments);
    CFIndex at = 0;
    for (const FormatSpecifier& specifier : parsed.specifiers) {
        if (specifier.conversion == 0) continue;
        output.append(format.part(at, specifier.start - at));
        writer.write(specifier);
        at = specifier.end;
    }
    output.append(format.part(at, format.length - at));
}

void write(FormatOutput& output, CFStringRef format, va_list list, std::pmr::memory_resource* memory) {
    const ParsedFormat parsed = parseFormat(view(format), memory);
    write(output, view(format), parsed, parsed.arguments, list, memory);
}

/// Formatting errors of the domain kCFErrorDomainCocoa.
constexpr CFIndex kFormattingError = 2048;

void reportMismatch(CFErrorRef* error) noexcept {
    if (error) *error = CFErrorCreate(nullptr, kCFErrorDomainCocoa, kFormattingError, nullptr);
}

}  // namespace

// No format options are defined: `formatOptions` has no effect on any of these functions.

CFStringRef CFStringCreateWithFormatAndArguments(CFAllocatorRef alloc, CFDictionaryRef, CFStringRef format,
                                                 va_list arguments) {
    if (!format) return nullptr;
    return guarded(CFStringRef{}, [&] {
        Scratch scratch;
        FormatOutput output(scratch.memory());
        write(output, format, arguments, scratch.memory());
        return createText(alloc, output.text());
    });
}

CFStringRef CFStringCreateWithFormat(CFAllocatorRef alloc, CFDictionaryRef formatOptions, CFStringRef format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const CFStringRef made = CFStringCreateWithFormatAndArguments(alloc, formatOptions, format, arguments);
    va_end(arguments);
    return made;
}

void CFStringAppendFormatAndArguments(CFMutableStringRef theString, CFDictionaryRef, CFStringRef format,
                                      va_list arguments) {
    if (!theString || !format) return;
    guarded(false, [&] {
        Scratch scratch;
        FormatOutput output(scratch.memory());
        write(output, format, arguments, scratch.memory());
        return replaceText(theString, {theString->length, 0}, output.text());
    });
}

void CFStringAppendFormat(CFMutableStringRef theString, CFDictionaryRef formatOptions, CFStringRef format, ...) {
    va_list arguments;
    va_start(arguments, format);
    CFStringAppendFormatAndArguments(theString, formatOptions, format, arguments);
    va_end(arguments);
}

CFStringRef CFStringCreateStringWithValidatedFormatAndArguments(CFAllocatorRef alloc, CFDictionaryRef,
                                                                CFStringRef validFormatSpecifiers, CFStringRef format,
                                                                va_list arguments, CFErrorRef* errorPtr) {
    if (errorPtr) *errorPtr = nullptr;
    if (!format || !validFormatSpecifiers) {
        reportMismatch(errorPtr);
        return nullptr;
    }
    return guarded(CFStringRef{}, [&]() -> CFStringRef {
        Scratch scratch;
        const ParsedFormat valid = parseFormat(view(validFormatSpecifiers), scratch.memory());
        const ParsedFormat parsed = parseFormat(view(format), scratch.memory());
        if (!isCompatible(parsed, valid)) {
            reportMismatch(errorPtr);
            return nullptr;
        }
        FormatOutput output(scratch.memory());
        // The arguments were passed for the valid specifiers: those say how to read them.
        const std::span<const ArgumentKind> kinds(valid.arguments);
        write(output, view(format), parsed, kinds.first(parsed.arguments.size()), arguments, scratch.memory());
        return createText(alloc, output.text());
    });
}

CFStringRef CFStringCreateStringWithValidatedFormat(CFAllocatorRef alloc, CFDictionaryRef formatOptions,
                                                    CFStringRef validFormatSpecifiers, CFStringRef format,
                                                    CFErrorRef* errorPtr, ...) {
    va_list arguments;
    va_start(arguments, errorPtr);
    const CFStringRef made = CFStringCreateStringWithValidatedFormatAndArguments(
        alloc, formatOptions, validFormatSpecifiers, format, arguments, errorPtr);
    va_end(arguments);
    return made;
}
