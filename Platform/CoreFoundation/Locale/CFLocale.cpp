#include "CFLocaleObject.h"
#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/String/CFStringObject.h"
#include "LocaleIdentifier.h"

#include <algorithm>
#include <cstring>

using namespace KXPlatform;

namespace {

void finalizeLocale(Object* object) noexcept {
    auto* const locale = static_cast<__CFLocale*>(object);
    release(locale->identifier);
    for (const std::atomic<CFTypeRef>& value : locale->values) release(value.load(std::memory_order_acquire));
    finalizeAs<__CFLocale>(locale);
}

bool equalLocales(const Object* object1, const Object* object2) {
    const LocaleNames& a = static_cast<const __CFLocale*>(object1)->names;
    const LocaleNames& b = static_cast<const __CFLocale*>(object2)->names;
    return std::ranges::equal(a, b, [](const char* one, const char* other) { return !std::strcmp(one, other); });
}

CFHashCode hashLocale(const Object* object) { return CFHash(static_cast<const __CFLocale*>(object)->identifier); }

CFStringRef describeLocale(const Object* object) {
    Description description;
    description.appendHeading(object);
    description.format("{identifier = '");
    description.append(static_cast<const __CFLocale*>(object)->identifier);
    description.format("'}");
    return description.take();
}

constinit const StringConstant kRootIdentifier("");
constinit const __CFLocale kRoot(Object::Immortal, &kRootIdentifier);

}  // namespace

constinit const Class KXPlatform::kLocaleClass{TypeID::Locale, finalizeLocale, equalLocales, hashLocale,
                                               describeLocale};

__CFLocale* KXPlatform::makeLocale(CFAllocatorRef allocator, const LocaleNames& names) noexcept {
    // The texts follow the object; parts that are the same share one.
    std::array<std::size_t, kLocaleParts> places{};
    std::size_t size = 0;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const auto same = std::find_if(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(i),
                                       [&](const char* name) { return !std::strcmp(name, names[i]); });
        const auto first = static_cast<std::size_t>(same - names.begin());
        places[i] = first < i ? places[first] : size;
        if (first == i) size += std::strlen(names[i]) + 1;
    }
    __CFLocale* const made = make<__CFLocale>(allocator, size);
    if (!made) return nullptr;
    char* const texts = reinterpret_cast<char*>(trailing(made));
    for (std::size_t i = 0; i < names.size(); ++i) {
        made->names[i] = std::strcpy(texts + places[i], names[i]);
    }
    made->icuName = made->name(LocalePart::Language);
    made->icuCollation = made->name(LocalePart::Collation);
    made->identifier = createIdentifier(allocator, made->icuName);
    if (made->identifier) return made;
    CFRelease(made);
    return nullptr;
}

Retained<const __CFLocale> KXPlatform::localeOrCurrent(CFLocaleRef locale) noexcept {
    if (!locale) return Retained<const __CFLocale>::adopting(CFLocaleCopyCurrent());
    return Retained<const __CFLocale>::retaining(localeObject(locale));
}

CFTypeID CFLocaleGetTypeID() { return number(TypeID::Locale); }

CFLocaleRef CFLocaleGetSystem() { return &kRoot; }

CFLocaleRef CFLocaleCreate(CFAllocatorRef allocator, CFLocaleIdentifier localeIdentifier) {
    IdentifierText text, name;
    if (!readIdentifier(localeIdentifier, text) || !canonicalName(text.data(), name)) return nullptr;
    LocaleNames names;
    names.fill(name.data());
    return makeLocale(allocator, names);
}

CFLocaleRef CFLocaleCreateCopy(CFAllocatorRef allocator, CFLocaleRef locale) {
    if (!localeObject(locale)) return nullptr;
    if (CFGetAllocator(locale) == (allocator ? allocator : CFAllocatorGetDefault()))
        return static_cast<CFLocaleRef>(CFRetain(locale));
    return makeLocale(allocator, locale->names);
}

CFLocaleIdentifier CFLocaleGetIdentifier(CFLocaleRef locale) {
    return localeObject(locale) ? locale->identifier : nullptr;
}
