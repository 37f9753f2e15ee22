#include "CFCharacterSetObject.h"
#include "CFStringObject.h"
#include "CoreFoundation/Object/Description.h"

#include <CoreFoundation/CFCharacterSet.h>

#include <unicode/utf16.h>

#include <algorithm>
#include <iterator>

using namespace KXPlatform;

using icu::UnicodeSet;

namespace {

constexpr CFIndex kPlanes = 17;
constexpr CFIndex kPlaneSize = 0x10000;
constexpr CFIndex kBitmapSize = kPlaneSize / 8;

bool equalSets(const Object* object1, const Object* object2) {
    return static_cast<const __CFCharacterSet*>(object1)->set == static_cast<const __CFCharacterSet*>(object2)->set;
}

CFHashCode hashSet(const Object* object) {
    return static_cast<CFHashCode>(static_cast<const __CFCharacterSet*>(object)->set.hashCode());
}

CFStringRef describeSet(const Object* object) {
    const auto* const set = static_cast<const __CFCharacterSet*>(object);
    Description description;
    description.appendHeading("CFCharacterSet", set);
    description.format("{%s, members = %d}", set->isMutable() ? "mutable" : "immutable", set->set.size());
    return description.take();
}

}  // namespace

namespace KXPlatform {
constinit const Class kCharacterSetClass{
    TypeID::CharacterSet, finalizeAs<__CFCharacterSet>, equalSets, hashSet, describeSet, true};
}

namespace {

__CFCharacterSet* checkedMutable(CFMutableCharacterSetRef set) noexcept {
    return characterSet(set) && set->isMutable() ? set : nullptr;
}

/// An immutable set of the members that `fill` puts in. Null when there is no memory.
template <class Fill>
__CFCharacterSet* makeImmutable(CFAllocatorRef allocator, Fill&& fill) noexcept {
    __CFCharacterSet* const made = make<__CFCharacterSet>(allocator, 0);
    if (!made) return nullptr;
    fill(made->set);
    // ICU gives a set up, and marks it so, when there is no memory for it.
    if (!made->set.isBogus()) {
        made->set.freeze();
        made->fillTable();
        if (!made->set.isBogus()) return made;
    }
    CFRelease(made);
    return nullptr;
}

/// Changes `set` by `change`; for want of memory it stays as it is.
template <class Change>
void changeSet(__CFCharacterSet* set, Change&& change) noexcept {
    UnicodeSet changed(set->set);
    if (!changed.isBogus()) change(changed);
    if (changed.isBogus()) return;
    UnicodeSet former(std::move(set->set));
    set->set = std::move(changed);
    set->fillTable();
}

bool isRangeOfCharacters(CFRange range) noexcept {
    return range.location >= 0 && range.length >= 0 && range.location <= __CFCharacterSet::kLast &&
           range.length <= __CFCharacterSet::kLast + 1 - range.location;
}

UChar32 first(CFRange range) noexcept { return static_cast<UChar32>(range.location); }
UChar32 last(CFRange range) noexcept { return static_cast<UChar32>(range.location + range.length - 1); }

/// Calls `use` with each character of `text`.
template <class Use>
void forEachCharacter(TextView text, Use&& use) {
    if (!text.isWide()) {
        for (const char c : text.asciiView()) use(static_cast<UChar32>(c));
        return;
    }
    for (CFIndex i = 0; i < text.length;) {
        UChar32 c;
        U16_NEXT(text.wide, i, text.length, c);
        use(c);
    }
}

void addText(UnicodeSet& set, TextView text) {
    forEachCharacter(text, [&](UChar32 c) { set.add(c); });
}

/// Adds the characters from `base` on whose bits are set, whole runs at a time.
void addBits(UnicodeSet& set, UChar32 base, const UInt8* bytes, CFIndex size) {
    const UChar32 end = static_cast<UChar32>(size * 8);
    const auto isSet = [&](UChar32 at) { return (bytes[at / 8] >> (at % 8) & 1) != 0; };
    for (UChar32 at = 0; at < end;) {
        if (at % 8 == 0 && bytes[at / 8] == 0) {
            at += 8;
            continue;
        }
        if (!isSet(at)) {
            ++at;
            continue;
        }
        const UChar32 start = at;
        while (at < end && isSet(at)) ++at;
        set.add(base + start, base + at - 1);
    }
}

/// Sets the bits of the members from `base` to the end of its plane in 8,192 bytes that are 0.
void writeBits(const UnicodeSet& set, UChar32 base, UInt8* bytes) {
    for (std::int32_t i = 0; i < set.getRangeCount(); ++i) {
        const UChar32 start = std::max(set.getRangeStart(i), base);
        const UChar32 end = std::min<UChar32>(set.getRangeEnd(i), base + static_cast<UChar32>(kPlaneSize) - 1);
        for (UChar32 c = start; c <= end; ++c)
            bytes[(c - base) / 8] = static_cast<UInt8>(bytes[(c - base) / 8] | 1 << ((c - base) % 8));
    }
}

bool hasMemberInPlane(const UnicodeSet& set, CFIndex plane) noexcept {
    const auto base = static_cast<UChar32>(plane * kPlaneSize);
    return set.containsSome(base, base + static_cast<UChar32>(kPlaneSize) - 1) != 0;
}

const char16_t* patternOf(CFCharacterSetPredefinedSet identifier) noexcept {
    switch (identifier) {
        case kCFCharacterSetControl:
            return u"[[:Cc:][:Cf:]]";
        case kCFCharacterSetWhitespace:
            return u"[[:Zs:]\\u0009]";
        case kCFCharacterSetWhitespaceAndNewline:
            return u"[[:Z:]\\u0009-\\u000D\\u0085]";
        case kCFCharacterSetDecimalDigit:
            return u"[:Nd:]";
        case kCFCharacterSetLetter:
            return u"[[:L:][:M:]]";
        case kCFCharacterSetLowercaseLetter:
            return u"[:Ll:]";
        case kCFCharacterSetUppercaseLetter:
            return u"[[:Lu:][:Lt:]]";
        case kCFCharacterSetNonBase:
            return u"[:M:]";
        case kCFCharacterSetDecomposable:
            return u"[:NFD_Quick_Check=No:]";
        case kCFCharacterSetAlphaNumeric:
            return u"[[:L:][:M:][:N:]]";
        case kCFCharacterSetPunctuation:
            return u"[:P:]";
        case kCFCharacterSetIllegal:
            return u"[:Cn:]";
        case kCFCharacterSetCapitalizedLetter:
            return u"[:Lt:]";
        case kCFCharacterSetSymbol:
            return u"[:S:]";
        case kCFCharacterSetNewline:
            return u"[\\u000A-\\u000D\\u0085\\u2028\\u2029]";
    }
    return nullptr;
}

}  // namespace

CFTypeID CFCharacterSetGetTypeID() { return number(TypeID::CharacterSet); }

// ---- Creating

CFCharacterSetRef CFCharacterSetGetPredefined(CFCharacterSetPredefinedSet theSetIdentifier) {
    // Made when it is first asked for, and never freed. Of threads that make one at once, one keeps its own.
    static std::atomic<__CFCharacterSet*> sets[kCFCharacterSetNewline + 1];
    const char16_t* const pattern = patternOf(theSetIdentifier);
    if (!pattern) return nullptr;
    std::atomic<__CFCharacterSet*>& place = sets[theSetIdentifier];
    if (__CFCharacterSet* const known = place.load(std::memory_order_acquire)) return known;
    __CFCharacterSet* const made = makeImmutable(kCFAllocatorSystemDefault, [&](UnicodeSet& set) {
        UErrorCode status = U_ZERO_ERROR;
        set.applyPattern(icu::UnicodeString(true, pattern, -1), status);
        if (U_FAILURE(status)) set.setToBogus();
    });
    if (!made) return nullptr;
    made->flags |= Object::kImmortal;
    __CFCharacterSet* known = nullptr;
    if (place.compare_exchange_strong(known, made, std::memory_order_acq_rel)) return made;
    made->flags &= static_cast<std::uint8_t>(~Object::kImmortal);
    CFRelease(made);
    return known;
}

CFCharacterSetRef CFCharacterSetCreateWithCharactersInRange(CFAllocatorRef alloc, CFRange theRange) {
    if (!isRangeOfCharacters(theRange)) return nullptr;
    return makeImmutable(alloc, [&](UnicodeSet& set) {
        if (theRange.length > 0) set.add(first(theRange), last(theRange));
    });
}

CFCharacterSetRef CFCharacterSetCreateWithCharactersInString(CFAllocatorRef alloc, CFStringRef theString) {
    if (!isOfType(theString, TypeID::String)) return nullptr;
    return makeImmutable(alloc, [&](UnicodeSet& set) { addText(set, view(theString)); });
}

CFCharacterSetRef CFCharacterSetCreateWithBitmapRepresentation(CFAllocatorRef alloc, CFDataRef theData) {
    if (!isOfType(theData, TypeID::Data)) return nullptr;
    const UInt8* bytes = CFDataGetBytePtr(theData);
    CFIndex left = CFDataGetLength(theData);
    bool isValid = true;
    __CFCharacterSet* const made = makeImmutable(alloc, [&](UnicodeSet& set) {
        for (UInt8 plane = 0;; ++bytes, --left) {
            const CFIndex size = std::min(left, kBitmapSize);
            addBits(set, static_cast<UChar32>(plane) * static_cast<UChar32>(kPlaneSize), bytes, size);
            bytes += size;
            left -= size;
            if (left == 0) return;
            plane = *bytes;
            isValid = plane > 0 && plane < kPlanes;
            if (!isValid) return;
        }
    });
    if (isValid) return made;
    if (made) CFRelease(made);
    return nullptr;
}

CFCharacterSetRef CFCharacterSetCreateInvertedSet(CFAllocatorRef alloc, CFCharacterSetRef theSet) {
    if (!characterSet(theSet)) return nullptr;
    return makeImmutable(alloc, [&](UnicodeSet& set) {
        set.addAll(theSet->set);  // a set assigned from a frozen one would be frozen too
        if (!set.isBogus()) set.complement();
    });
}

CFMutableCharacterSetRef CFCharacterSetCreateMutable(CFAllocatorRef alloc) {
    __CFCharacterSet* const made = make<__CFCharacterSet>(alloc, 0);
    if (made) made->bits |= __CFCharacterSet::kMutable;
    return made;
}

CFCharacterSetRef CFCharacterSetCreateCopy(CFAllocatorRef alloc, CFCharacterSetRef theSet) {
    if (!characterSet(theSet)) return nullptr;
    if (!theSet->isMutable() && CFGetAllocator(theSet) == (alloc ? alloc : CFAllocatorGetDefault()))
        return static_cast<CFCharacterSetRef>(CFRetain(theSet));
    return makeImmutable(alloc, [&](UnicodeSet& set) { set = theSet->set; });
}

CFMutableCharacterSetRef CFCharacterSetCreateMutableCopy(CFAllocatorRef alloc, CFCharacterSetRef theSet) {
    if (!characterSet(theSet)) return nullptr;
    __CFCharacterSet* const made = CFCharacterSetCreateMutable(alloc);
    if (!made) return nullptr;
    // Not by assignment, for the same reason.
    made->set.addAll(theSet->set);
    if (made->set.isBogus()) {
        CFRelease(made);
        return nullptr;
    }
    made->table = theSet->table;
    return made;
}

// ---- Reading

Boolean CFCharacterSetIsSupersetOfSet(CFCharacterSetRef theSet, CFCharacterSetRef theOtherset) {
    return characterSet(theSet) && characterSet(theOtherset) && theSet->set.containsAll(theOtherset->set);
}

Boolean CFCharacterSetHasMemberInPlane(CFCharacterSetRef theSet, CFIndex thePlane) {
    return characterSet(theSet) && thePlane >= 0 && thePlane < kPlanes && hasMemberInPlane(theSet->set, thePlane);
}

Boolean CFCharacterSetIsCharacterMember(CFCharacterSetRef theSet, UniChar theChar) {
    return characterSet(theSet) && theSet->contains(theChar);
}

Boolean CFCharacterSetIsLongCharacterMember(CFCharacterSetRef theSet, UTF32Char theChar) {
    return characterSet(theSet) && theChar <= static_cast<UTF32Char>(__CFCharacterSet::kLast) &&
           theSet->contains(static_cast<UChar32>(theChar));
}

CFDataRef CFCharacterSetCreateBitmapRepresentation(CFAllocatorRef alloc, CFCharacterSetRef theSet) {
    if (!characterSet(theSet)) return nullptr;
    CFIndex size = kBitmapSize;
    for (CFIndex plane = 1; plane < kPlanes; ++plane)
        if (hasMemberInPlane(theSet->set, plane)) size += 1 + kBitmapSize;
    const CFMutableDataRef bitmap = CFDataCreateMutable(kCFAllocatorSystemDefault, 0);
    if (!bitmap) return nullptr;
    CFDataSetLength(bitmap, size);
    CFDataRef made = nullptr;
    if (CFDataGetLength(bitmap) == size) {
        UInt8* bytes = CFDataGetMutableBytePtr(bitmap);
        writeBits(theSet->set, 0, bytes);
        bytes += kBitmapSize;
        for (CFIndex plane = 1; plane < kPlanes; ++plane) {
            if (!hasMemberInPlane(theSet->set, plane)) continue;
            *bytes++ = static_cast<UInt8>(plane);
            writeBits(theSet->set, static_cast<UChar32>(plane * kPlaneSize), bytes);
            bytes += kBitmapSize;
        }
        made = CFDataCreateCopy(alloc, bitmap);
    }
    CFRelease(bitmap);
    return made;
}

// ---- Changing

void CFCharacterSetAddCharactersInRange(CFMutableCharacterSetRef theSet, CFRange theRange) {
    if (!checkedMutable(theSet) || !isRangeOfCharacters(theRange) || theRange.length == 0) return;
    changeSet(theSet, [&](UnicodeSet& set) { set.add(first(theRange), last(theRange)); });
}

void CFCharacterSetRemoveCharactersInRange(CFMutableCharacterSetRef theSet, CFRange theRange) {
    if (!checkedMutable(theSet) || !isRangeOfCharacters(theRange) || theRange.length == 0) return;
    changeSet(theSet, [&](UnicodeSet& set) { set.remove(first(theRange), last(theRange)); });
}

void CFCharacterSetAddCharactersInString(CFMutableCharacterSetRef theSet, CFStringRef theString) {
    if (!checkedMutable(theSet) || !isOfType(theString, TypeID::String)) return;
    changeSet(theSet, [&](UnicodeSet& set) { addText(set, view(theString)); });
}

void CFCharacterSetRemoveCharactersInString(CFMutableCharacterSetRef theSet, CFStringRef theString) {
    if (!checkedMutable(theSet) || !isOfType(theString, TypeID::String)) return;
    changeSet(theSet, [&](UnicodeSet& set) { forEachCharacter(view(theString), [&](UChar32 c) { set.remove(c); }); });
}

void CFCharacterSetUnion(CFMutableCharacterSetRef theSet, CFCharacterSetRef theOtherSet) {
    if (!checkedMutable(theSet) || !characterSet(theOtherSet)) return;
    changeSet(theSet, [&](UnicodeSet& set) { set.addAll(theOtherSet->set); });
}

void CFCharacterSetIntersect(CFMutableCharacterSetRef theSet, CFCharacterSetRef theOtherSet) {
    if (!checkedMutable(theSet) || !characterSet(theOtherSet)) return;
    changeSet(theSet, [&](UnicodeSet& set) { set.retainAll(theOtherSet->set); });
}

void CFCharacterSetInvert(CFMutableCharacterSetRef theSet) {
    if (!checkedMutable(theSet)) return;
    changeSet(theSet, [](UnicodeSet& set) { set.complement(); });
}
