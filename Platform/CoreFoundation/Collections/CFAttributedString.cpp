#include "AttributeRuns.h"
#include "CoreFoundation/Object/Description.h"
#include "CoreFoundation/Object/Object.h"
#include "CoreFoundation/Object/Range.h"
#include "CoreFoundation/String/CFStringObject.h"

#include <CoreFoundation/CFAttributedString.h>

#include <utility>

using namespace KXPlatform;

namespace {

bool equalAttributedStrings(const Object* object1, const Object* object2);
CFHashCode hashAttributedString(const Object* object);
CFStringRef describeAttributedString(const Object* object);

}  // namespace

struct __CFAttributedString : Object {
    static constexpr std::uint8_t kMutable = 1;

    __CFAttributedString(Retained<const __CFString>&& s, AttributeRuns&& r, bool isMutable) noexcept;

    bool isMutable() const noexcept { return (bits & kMutable) != 0; }
    CFIndex length() const noexcept { return string->length; }
    CFMutableStringRef mutableString() const noexcept { return const_cast<CFMutableStringRef>(string.get()); }

    Retained<const __CFString> string;  ///< of a mutable attributed string a mutable one
    AttributeRuns runs;
};

namespace {

constexpr Class kAttributedStringClass{TypeID::AttributedString, finalizeAs<__CFAttributedString>,
                                       equalAttributedStrings, hashAttributedString, describeAttributedString};

const __CFAttributedString* checked(CFAttributedStringRef string) noexcept {
    return string && string->cls == &kAttributedStringClass ? string : nullptr;
}

/// The string where it may be changed in the range.
__CFAttributedString* checked(CFMutableAttributedStringRef string, CFRange range) noexcept {
    const bool isFit = checked(CFAttributedStringRef(string)) && string->isMutable();
    return isFit && isWithin(range, string->length()) ? string : nullptr;
}

using Attributes = Retained<const __CFDictionary>;

/// A copy of the caller's attributes; an empty dictionary for null. Null without memory, and for what is none.
Attributes copyAttributes(CFDictionaryRef given) noexcept {
    if (given && !isOfType(given, TypeID::Dictionary)) return {};
    return Attributes::adopting(given ? CFDictionaryCreateCopy(kCFAllocatorSystemDefault, given)
                                      : CFDictionaryCreate(kCFAllocatorSystemDefault, nullptr, nullptr, 0,
                                                           &kCFTypeDictionaryKeyCallBacks,
                                                           &kCFTypeDictionaryValueCallBacks));
}

__CFAttributedString* makeImmutable(CFAllocatorRef allocator, CFAttributedStringRef from, CFRange range) noexcept {
    AttributeRuns runs;
    auto text = Retained<const __CFString>::adopting(CFStringCreateWithSubstring(allocator, from->string.get(), range));
    if (!text || !runs.appendPart(from->runs, range)) return nullptr;
    return make<__CFAttributedString>(allocator, 0, std::move(text), std::move(runs), false);
}

bool equalAttributedStrings(const Object* object1, const Object* object2) {
    const auto* const a = static_cast<const __CFAttributedString*>(object1);
    const auto* const b = static_cast<const __CFAttributedString*>(object2);
    if (!CFEqual(a->string.get(), b->string.get())) return false;
    for (CFIndex at = 0; at < a->length();) {
        const auto one = a->runs.find(at), other = b->runs.find(at);
        if (one.run->length != other.run->length) return false;
        if (!CFEqual(one.run->attributes.get(), other.run->attributes.get())) return false;
        at += one.run->length;
    }
    return true;
}

CFHashCode hashAttributedString(const Object* object) {
    return CFHash(static_cast<const __CFAttributedString*>(object)->string.get());
}

CFStringRef describeAttributedString(const Object* object) {
    const auto* const string = static_cast<const __CFAttributedString*>(object);
    Description description;
    description.appendHeading(object);
    description.format("{length = %ld, string = ", string->length());
    description.append(string->string.get());
    description.format("}");
    return description.take();
}

/// Grows `range`, a run's, over the runs at both sides that `isAlike` accepts, as far as `limit` goes.
template <class IsAlike>
CFRange grown(const AttributeRuns& runs, CFRange range, CFRange limit, IsAlike isAlike) noexcept {
    CFIndex start = range.location, end = start + range.length;
    const CFIndex limitEnd = limit.location + limit.length;
    while (start > limit.location) {
        const auto before = runs.find(start - 1);
        if (!isAlike(*before.run)) break;
        start = before.start;
    }
    while (end < limitEnd) {
        const auto behind = runs.find(end);
        if (!isAlike(*behind.run)) break;
        end += behind.run->length;
    }
    start = start < limit.location ? limit.location : start;
    end = end > limitEnd ? limitEnd : end;
    return {start, end - start};
}

void report(CFRange* place, CFRange range) noexcept {
    if (place) *place = range;
}

/// Changes the attributes of each run in a range by `work`, which returns the new ones. All or nothing.
template <class Work>
void changeRuns(__CFAttributedString* string, CFRange range, Work work) noexcept {
    AttributeRuns changed;
    AttributeRuns::Spares spares;
    const CFIndex end = range.location + range.length;
    for (CFIndex at = range.location; at < end;) {
        const auto place = string->runs.find(at);
        const CFIndex behind = std::min(end, place.start + place.run->length);
        const Attributes attributes = work(place.run->attributes.get());
        if (!attributes || !changed.append(behind - at, attributes.get())) return;
        at = behind;
    }
    if (spares) string->runs.replace(range, std::move(changed), spares);
}

/// The attributes that `work` makes of a copy of others. Null without memory.
template <class Work>
Attributes changedAttributes(CFDictionaryRef attributes, Work work) noexcept {
    const auto copy =
        Retained<__CFDictionary>::adopting(CFDictionaryCreateMutableCopy(kCFAllocatorSystemDefault, 0, attributes));
    if (!copy || !work(copy.get())) return {};
    return Attributes::adopting(CFDictionaryCreateCopy(kCFAllocatorSystemDefault, copy.get()));
}

/// False without memory.
bool setValue(CFMutableDictionaryRef attributes, const void* name, const void* value) noexcept {
    CFDictionarySetValue(attributes, name, value);
    return CFDictionaryGetValue(attributes, name) == value;
}

}  // namespace

__CFAttributedString::__CFAttributedString(Retained<const __CFString>&& s, AttributeRuns&& r, bool isMutable) noexcept
    : Object(kAttributedStringClass), string(std::move(s)), runs(std::move(r)) {
    if (isMutable) bits |= kMutable;
}

CFTypeID CFAttributedStringGetTypeID() { return number(TypeID::AttributedString); }

// ---- Creating

CFAttributedStringRef CFAttributedStringCreate(CFAllocatorRef alloc, CFStringRef str, CFDictionaryRef attributes) {
    if (!isOfType(str, TypeID::String)) return nullptr;
    auto text = Retained<const __CFString>::adopting(CFStringCreateCopy(alloc, str));
    const Attributes all = copyAttributes(attributes);
    AttributeRuns runs;
    if (!text || !all || !runs.append(text->length, all.get())) return nullptr;
    return make<__CFAttributedString>(alloc, 0, std::move(text), std::move(runs), false);
}

CFAttributedStringRef CFAttributedStringCreateWithSubstring(CFAllocatorRef alloc, CFAttributedStringRef aStr,
                                                            CFRange range) {
    return checked(aStr) && isWithin(range, aStr->length()) ? makeImmutable(alloc, aStr, range) : nullptr;
}

CFAttributedStringRef CFAttributedStringCreateCopy(CFAllocatorRef alloc, CFAttributedStringRef aStr) {
    if (!checked(aStr)) return nullptr;
    if (!aStr->isMutable() && CFGetAllocator(aStr) == (alloc ? alloc : CFAllocatorGetDefault()))
        return static_cast<CFAttributedStringRef>(CFRetain(aStr));
    return makeImmutable(alloc, aStr, {0, aStr->length()});
}

CFMutableAttributedStringRef CFAttributedStringCreateMutableCopy(CFAllocatorRef alloc, CFIndex maxLength,
                                                                 CFAttributedStringRef aStr) {
    if (!checked(aStr)) return nullptr;
    AttributeRuns runs;
    auto text = Retained<const __CFString>::adopting(CFStringCreateMutableCopy(alloc, maxLength, aStr->string.get()));
    if (!text || !runs.appendPart(aStr->runs, {0, text->length})) return nullptr;
    return make<__CFAttributedString>(alloc, 0, std::move(text), std::move(runs), true);
}

CFMutableAttributedStringRef CFAttributedStringCreateMutable(CFAllocatorRef alloc, CFIndex maxLength) {
    auto text = Retained<const __CFString>::adopting(CFStringCreateMutable(alloc, maxLength));
    return text ? make<__CFAttributedString>(alloc, 0, std::move(text), AttributeRuns(), true) : nullptr;
}

// ---- Reading

CFStringRef CFAttributedStringGetString(CFAttributedStringRef aStr) {
    return checked(aStr) ? aStr->string.get() : nullptr;
}

CFIndex CFAttributedStringGetLength(CFAttributedStringRef aStr) { return checked(aStr) ? aStr->length() : 0; }

CFDictionaryRef CFAttributedStringGetAttributes(CFAttributedStringRef aStr, CFIndex loc, CFRange* effectiveRange) {
    if (!checked(aStr) || loc < 0 || loc >= aStr->length()) {
        report(effectiveRange, {kCFNotFound, 0});
        return nullptr;
    }
    const auto place = aStr->runs.find(loc);
    report(effectiveRange, {place.start, place.run->length});
    return place.run->attributes.get();
}

CFTypeRef CFAttributedStringGetAttribute(CFAttributedStringRef aStr, CFIndex loc, CFStringRef attrName,
                                         CFRange* effectiveRange) {
    const CFDictionaryRef attributes = CFAttributedStringGetAttributes(aStr, loc, effectiveRange);
    return attributes && attrName ? CFDictionaryGetValue(attributes, attrName) : nullptr;
}

CFDictionaryRef CFAttributedStringGetAttributesAndLongestEffectiveRange(CFAttributedStringRef aStr, CFIndex loc,
                                                                        CFRange inRange,
                                                                        CFRange* longestEffectiveRange) {
    CFRange run;
    const CFDictionaryRef attributes = CFAttributedStringGetAttributes(aStr, loc, &run);
    const bool isFit = attributes && isWithin(inRange, aStr->length()) && loc >= inRange.location &&
                       loc - inRange.location < inRange.length;
    // Equal runs that meet are one: none at the sides is alike.
    const auto never = [](const AttributeRun&) { return false; };
    report(longestEffectiveRange, isFit ? grown(aStr->runs, run, inRange, never) : CFRange{kCFNotFound, 0});
    return isFit ? attributes : nullptr;
}

CFTypeRef CFAttributedStringGetAttributeAndLongestEffectiveRange(CFAttributedStringRef aStr, CFIndex loc,
                                                                 CFStringRef attrName, CFRange inRange,
                                                                 CFRange* longestEffectiveRange) {
    CFRange run;
    const CFDictionaryRef attributes = CFAttributedStringGetAttributes(aStr, loc, &run);
    const bool isFit = attributes && attrName && isWithin(inRange, aStr->length()) && loc >= inRange.location &&
                       loc - inRange.location < inRange.length;
    if (!isFit) {
        report(longestEffectiveRange, {kCFNotFound, 0});
        return nullptr;
    }
    const void* const value = CFDictionaryGetValue(attributes, attrName);
    if (longestEffectiveRange) {
        *longestEffectiveRange = grown(aStr->runs, run, inRange, [&](const AttributeRun& other) {
            const void* const its = CFDictionaryGetValue(other.attributes.get(), attrName);
            return its == value || (its && value && CFEqual(its, value));
        });
    }
    return value;
}

// ---- Changing

void CFAttributedStringReplaceString(CFMutableAttributedStringRef aStr, CFRange range, CFStringRef replacement) {
    if (!checked(aStr, range) || !isOfType(replacement, TypeID::String)) return;
    const CFIndex length = replacement->length;
    Attributes attributes;
    if (aStr->length() == 0) {
        attributes = copyAttributes(nullptr);
    } else {
        const bool hasBefore = range.length == 0 && range.location > 0;
        attributes = aStr->runs.find(hasBefore ? range.location - 1 : range.location).run->attributes;
    }
    AttributeRuns runs;
    AttributeRuns::Spares spares;
    if (!attributes || !runs.append(length, attributes.get()) || !spares) return;
    if (replaceText(aStr->mutableString(), range, view(replacement)))
        aStr->runs.replace(range, std::move(runs), spares);
}

CFMutableStringRef CFAttributedStringGetMutableString(CFMutableAttributedStringRef) { return nullptr; }

void CFAttributedStringSetAttributes(CFMutableAttributedStringRef aStr, CFRange range, CFDictionaryRef replacement,
                                     Boolean clearOtherAttributes) {
    if (!checked(aStr, range) || !replacement) return;
    const Attributes given = copyAttributes(replacement);
    if (!given) return;
    changeRuns(aStr, range, [&](CFDictionaryRef former) {
        if (clearOtherAttributes || CFDictionaryGetCount(former) == 0) return given;
        return changedAttributes(former, [&](CFMutableDictionaryRef attributes) {
            struct Context {
                CFMutableDictionaryRef attributes;
                bool isComplete = true;
            } context{attributes};
            CFDictionaryApplyFunction(
                given.get(),
                [](const void* name, const void* value, void* pointer) {
                    auto& to = *static_cast<Context*>(pointer);
                    to.isComplete = setValue(to.attributes, name, value) && to.isComplete;
                },
                &context);
            return context.isComplete;
        });
    });
}

void CFAttributedStringSetAttribute(CFMutableAttributedStringRef aStr, CFRange range, CFStringRef attrName,
                                    CFTypeRef value) {
    if (!checked(aStr, range) || !isOfType(attrName, TypeID::String) || !value) return;
    changeRuns(aStr, range, [&](CFDictionaryRef former) {
        return changedAttributes(
            former, [&](CFMutableDictionaryRef attributes) { return setValue(attributes, attrName, value); });
    });
}

void CFAttributedStringRemoveAttribute(CFMutableAttributedStringRef aStr, CFRange range, CFStringRef attrName) {
    if (!checked(aStr, range) || !isOfType(attrName, TypeID::String)) return;
    changeRuns(aStr, range, [&](CFDictionaryRef former) {
        if (!CFDictionaryContainsKey(former, attrName)) return Attributes::retaining(former);
        return changedAttributes(former, [&](CFMutableDictionaryRef attributes) {
            CFDictionaryRemoveValue(attributes, attrName);
            return true;
        });
    });
}

void CFAttributedStringReplaceAttributedString(CFMutableAttributedStringRef aStr, CFRange range,
                                               CFAttributedStringRef replacement) {
    if (!checked(aStr, range) || !checked(replacement)) return;
    AttributeRuns runs;
    AttributeRuns::Spares spares;
    if (!runs.appendPart(replacement->runs, {0, replacement->length()}) || !spares) return;
    if (replaceText(aStr->mutableString(), range, view(replacement->string.get())))
        aStr->runs.replace(range, std::move(runs), spares);
}

void CFAttributedStringBeginEditing(CFMutableAttributedStringRef) {}

void CFAttributedStringEndEditing(CFMutableAttributedStringRef) {}
