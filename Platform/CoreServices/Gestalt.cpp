#include <CoreServices/CoreServices.h>

#include <array>
#include <charconv>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace {

using Version = std::array<SInt32, 3>;

/// What the interfaces of this platform correspond to.
constexpr Version kVersion{12, 0, 0};

std::optional<Version> parseVersion(std::string_view text) {
    Version version{};
    const char* at = text.data();
    const char* const end = at + text.size();
    for (SInt32& number : version) {
        const auto [next, error] = std::from_chars(at, end, number);
        if (error != std::errc() || number < 0) return std::nullopt;
        if (next == end) return version;
        if (*next != '.') return std::nullopt;
        at = next + 1;
    }
    return std::nullopt;
}

Version systemVersion() {
    const char* const set = secure_getenv("KXPLATFORM_SYSTEM_VERSION");
    return (set ? parseVersion(set) : std::nullopt).value_or(kVersion);
}

}  // namespace

OSErr Gestalt(OSType selector, SInt32* response) {
    if (!response) return paramErr;
    switch (selector) {
        case gestaltSystemVersionMajor:
        case gestaltSystemVersionMinor:
        case gestaltSystemVersionBugFix:
            *response = systemVersion()[selector - gestaltSystemVersionMajor];
            return noErr;
        default:
            return gestaltUndefSelectorErr;
    }
}
