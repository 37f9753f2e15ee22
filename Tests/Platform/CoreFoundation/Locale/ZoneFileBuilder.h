#pragma once

// Files of zones for the tests to make and to damage, in the form of RFC 9636.

#include "Platform/CoreFoundation/Values.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ZoneFiles {

struct Type {
    std::int32_t offset;
    bool isDaylight;
    std::uint8_t abbreviation;
};
struct Change {
    std::int64_t time;
    std::uint8_t type;
};
struct Leap {
    std::int64_t time;
    std::int32_t correction;
};

/// What a file says; write() makes the file of it.
struct File {
    char version = '2';
    std::vector<Change> changes{};
    std::vector<Type> types{{0, false, 0}};
    std::string abbreviations = std::string("UTC\0", 4);
    std::vector<Leap> leaps{};
    std::string footer = "\nUTC0\n";
    bool hasFirstBlock = true;  ///< versions 2 and up: the block of 32-bit times is filled

    std::string write() const {
        std::string bytes;
        if (version == '\0') return block(4);
        const File none{.version = version, .types = {{0, false, 0}}, .abbreviations = std::string("\0", 1)};
        return (hasFirstBlock ? *this : none).block(4) + block(8) + footer;
    }

    static std::string integer(std::int64_t value, int size) {
        std::string bytes;
        for (int i = size - 1; i >= 0; --i)
            bytes += static_cast<char>(static_cast<std::uint64_t>(value) >> (8 * i) & 0xFF);
        return bytes;
    }

    std::string block(int timeSize) const {
        std::string bytes = "TZif";
        bytes += version;
        bytes.append(15, '\0');
        for (const std::size_t count :
             {std::size_t{0}, std::size_t{0}, leaps.size(), changes.size(), types.size(), abbreviations.size()})
            bytes += integer(static_cast<std::int64_t>(count), 4);
        for (const Change& change : changes) bytes += integer(change.time, timeSize);
        for (const Change& change : changes) bytes += static_cast<char>(change.type);
        for (const Type& type : types) {
            bytes += integer(type.offset, 4);
            bytes += static_cast<char>(type.isDaylight);
            bytes += static_cast<char>(type.abbreviation);
        }
        bytes += abbreviations;
        for (const Leap& leap : leaps) bytes += integer(leap.time, timeSize) + integer(leap.correction, 4);
        return bytes;
    }
};

/// A zone with two changes, in 2001 and 2002, and no rule: an hour ahead of Greenwich, two in between.
inline File twoChanges() {
    return {.changes = {{1'000'000'000, 1}, {1'010'000'000, 0}},
            .types = {{3600, false, 0}, {7200, true, 4}},
            .abbreviations = std::string("AAA\0BBB\0", 8),
            .footer = "\n\n"};
}

inline Held::Holder<CFDataRef> data(std::string_view bytes) {
    return Held::hold(
        CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
}

/// Null when the platform refuses the file.
inline Held::Holder<CFTimeZoneRef> zoneOf(std::string_view bytes) {
    return Held::hold(CFTimeZoneCreate(nullptr, CFSTR("Test"), data(bytes)));
}

/// A zone that follows a rule of the form of TZ.
inline Held::Holder<CFTimeZoneRef> zoneOfRule(std::string_view rule) {
    return zoneOf(File{.footer = "\n" + std::string(rule) + "\n"}.write());
}

inline Held::Holder<CFTimeZoneRef> zoneNamed(std::string_view name) {
    return Held::hold(CFTimeZoneCreateWithName(nullptr, Values::string(name), false));
}

/// A time of 1970 as one of 2001.
inline CFAbsoluteTime since1970(std::int64_t seconds) {
    return static_cast<double>(seconds) - kCFAbsoluteTimeIntervalSince1970;
}

/// "+7200 BBB dst".
inline std::string stateAt(CFTimeZoneRef zone, std::int64_t seconds) {
    const CFAbsoluteTime at = since1970(seconds);
    char offset[16];
    std::snprintf(offset, sizeof offset, "%+d ", static_cast<int>(CFTimeZoneGetSecondsFromGMT(zone, at)));
    return offset + Values::taken(CFTimeZoneCopyAbbreviation(zone, at)) +
           (CFTimeZoneIsDaylightSavingTime(zone, at) ? " dst" : "");
}

}  // namespace ZoneFiles
