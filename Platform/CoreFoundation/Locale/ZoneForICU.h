#pragma once

// A zone of the system's database in the form that ICU's calendars and formatters work with, whose own data are those
// of the day it was built.

#include "CFTimeZoneObject.h"

#include <unicode/basictz.h>

#include <memory>

namespace KXPlatform {

/// ICU's zone that goes by the data of `tz`, which it retains. Null without memory.
std::unique_ptr<icu::BasicTimeZone> makeZoneForICU(const __CFTimeZone* tz) noexcept;

/// The zone of this platform that an ICU zone made here goes by; null for another one.
const __CFTimeZone* zoneBehind(const icu::TimeZone& zone) noexcept;

}  // namespace KXPlatform
