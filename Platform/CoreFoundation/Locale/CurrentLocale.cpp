#include "CFLocaleObject.h"
#include "LocaleIdentifier.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <utility>

using namespace KXPlatform;

namespace {

/// The variables of the parts, in their order.
constexpr std::array<const char*, kLocaleParts> kVariables{"LC_MESSAGES", "LC_NUMERIC", "LC_MONETARY",
                                                           "LC_TIME",     "LC_COLLATE", "LC_MEASUREMENT"};

/// The value of a variable that says something; null else.
const char* said(const char* variable) noexcept {
    const char* const value = std::getenv(variable);
    return value && *value ? value : nullptr;
}

/// As POSIX has it: LC_ALL is above the variable of the part, and LANG below it.
const char* environmentOf(const char* variable) noexcept {
    for (const char* const name : {"LC_ALL", variable, "LANG"})
        if (const char* const value = said(name)) return value;
    return "C";
}

/// The locale of the last call. Never destroyed: destructors of static objects may ask as well.
struct Current {
    std::mutex mutex;
    CFLocaleRef locale = nullptr;
};

Current& current() noexcept {
    alignas(Current) static std::byte place[sizeof(Current)];
    static Current& only = *::new (place) Current;
    return only;
}

bool isNamed(CFLocaleRef locale, const LocaleNames& names) noexcept {
    return std::ranges::equal(locale->names, names,
                              [](const char* one, const char* other) { return !std::strcmp(one, other); });
}

}  // namespace

CFLocaleRef CFLocaleCopyCurrent() {
    std::array<IdentifierText, kLocaleParts> texts;
    LocaleNames names;
    for (std::size_t i = 0; i < kLocaleParts; ++i) {
        nameOfEnvironment(environmentOf(kVariables[i]), texts[i]);
        names[i] = texts[i].data();
    }
    Current& kept = current();
    const std::lock_guard lock(kept.mutex);
    if (!kept.locale || !isNamed(kept.locale, names)) {
        const CFLocaleRef made = makeLocale(kCFAllocatorSystemDefault, names);
        if (!made) return nullptr;
        release(std::exchange(kept.locale, made));
    }
    return static_cast<CFLocaleRef>(CFRetain(kept.locale));
}
