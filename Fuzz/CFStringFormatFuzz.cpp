// Formats made of any bytes, given arguments that never change. A format that asks for arguments of other kinds is
// beyond what a C function can survive; it is for the validating function to refuse.

#include "CoreFoundation/String/CFStringFormatParser.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <cstdlib>
#include <memory_resource>
#include <vector>

using namespace KXPlatform;

namespace {

const UniChar kUnits[] = {'u', 0xE9, 0xD83D, 0xDE00, 0};

#define KX_ARGUMENTS                                                                                               \
    CFSTR("object"), 42, 3.25, "text", 1LL << 40, kUnits, 12, 2.5L, static_cast<const void*>(kUnits), L"wide", -7, \
        kCFBooleanTrue

CFStringRef kinds() { return CFSTR("%@ %d %f %s %lld %S %d %Lf %p %ls %d %@"); }

enum class Fit { Refused, Validated, Plain };

/// What may be done with `format` and the arguments. What is no specifier asks for nothing, but does not validate. A
/// position that nothing asks for is read as a pointer: real numbers, which are passed elsewhere, must not lie there.
Fit fit(CFStringRef format) {
    std::pmr::unsynchronized_pool_resource memory;
    ParsedFormat parsed = parseFormat(view(format), &memory);
    const ParsedFormat given = parseFormat(view(kinds()), &memory);
    std::erase_if(parsed.specifiers, [](const FormatSpecifier& specifier) { return specifier.conversion == 0; });
    if (!isCompatible(parsed, given)) return Fit::Refused;
    for (std::size_t i = 0; i < parsed.arguments.size(); ++i) {
        const bool isReal =
            given.arguments[i] == ArgumentKind::Double || given.arguments[i] == ArgumentKind::LongDouble;
        if (parsed.arguments[i] == ArgumentKind::Unused && isReal) return Fit::Validated;
    }
    return Fit::Plain;
}

void check(bool holds) {
    if (!holds) std::abort();
}

void run(CFStringRef format) {
    CFErrorRef error = nullptr;
    const CFStringRef validated =
        CFStringCreateStringWithValidatedFormat(nullptr, nullptr, kinds(), format, &error, KX_ARGUMENTS);
    check((validated == nullptr) == (error != nullptr));
    if (error) CFRelease(error);
    const Fit allowed = fit(format);
    check(allowed != Fit::Refused || !validated);
    if (allowed == Fit::Plain) {
        const CFStringRef made = CFStringCreateWithFormat(nullptr, nullptr, format, KX_ARGUMENTS);
        check(made != nullptr);
        check(!validated || CFEqual(made, validated));
        CFRelease(made);
    }
    if (validated) CFRelease(validated);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > 4096) return 0;
    for (const CFStringEncoding encoding :
         {CFStringEncoding{kCFStringEncodingISOLatin1}, CFStringEncoding{kCFStringEncodingUTF16LE}}) {
        const CFStringRef format = CFStringCreateWithBytes(nullptr, data, static_cast<CFIndex>(size), encoding, false);
        if (!format) continue;
        run(format);
        CFRelease(format);
    }
    return 0;
}
