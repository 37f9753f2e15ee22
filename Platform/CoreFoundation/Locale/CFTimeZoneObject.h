#pragma once

// How a time zone lies in memory, for the sources of this room.

#include "CoreFoundation/Object/Object.h"
#include "CoreFoundation/Object/Retained.h"
#include "ZoneData.h"

#include <CoreFoundation/CFTimeZone.h>

#include <utility>

namespace KXPlatform {
extern const Class kTimeZoneClass;
}

struct __CFTimeZone : KXPlatform::Object {
    __CFTimeZone(KXPlatform::Retained<const __CFString>&& zoneName, KXPlatform::Retained<const __CFData>&& file,
                 KXPlatform::ZoneData&& read) noexcept
        : Object(KXPlatform::kTimeZoneClass), name(std::move(zoneName)), data(std::move(file)), zone(std::move(read)) {}

    const KXPlatform::Retained<const __CFString> name;
    const KXPlatform::Retained<const __CFData> data;
    const KXPlatform::ZoneData zone;
};

namespace KXPlatform {

inline const __CFTimeZone* timeZone(CFTimeZoneRef tz) noexcept {
    return tz && tz->cls == &kTimeZoneClass ? tz : nullptr;
}

/// The second that `at` lies in, from 1970; far times are brought nearer, NaN is 2001.
std::int64_t secondsSince1970(CFAbsoluteTime at) noexcept;

}  // namespace KXPlatform
