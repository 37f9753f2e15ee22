#pragma once

/// Sets of Unicode characters.
///
/// A character is a code point from 0 to 10FFFF hexadecimal; half of a surrogate pair that stands alone counts as the
/// code point of its number. Any number of threads may read a set that nobody changes; one that changes belongs to one
/// thread at a time. Equal sets compare equal by CFEqual, however they were made.
///
/// Nothing here fails loudly: a set that is null or none, a range beyond the last character, or a change to an
/// immutable set has no effect and returns null or false.

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFOpaqueTypes.h>

CF_EXTERN_C_BEGIN

/// Ready-made sets, by the general categories of the Unicode version that ICU holds (Unicode Standard Annex 44).
CF_ENUM_TYPE(CFIndex, CFCharacterSetPredefinedSet){
    kCFCharacterSetControl = 1,               ///< Cc and Cf
    kCFCharacterSetWhitespace = 2,            ///< Zs and U+0009
    kCFCharacterSetWhitespaceAndNewline = 3,  ///< Z*, U+0009 to U+000D and U+0085
    kCFCharacterSetDecimalDigit = 4,          ///< Nd
    kCFCharacterSetLetter = 5,                ///< L* and M*
    kCFCharacterSetLowercaseLetter = 6,       ///< Ll
    kCFCharacterSetUppercaseLetter = 7,       ///< Lu and Lt
    kCFCharacterSetNonBase = 8,               ///< M*
    kCFCharacterSetDecomposable = 9,          ///< what has a canonical decomposition
    kCFCharacterSetAlphaNumeric = 10,         ///< L*, M* and N*
    kCFCharacterSetPunctuation = 11,          ///< P*
    kCFCharacterSetIllegal = 12,              ///< Cn: unassigned, and no characters at all
    kCFCharacterSetCapitalizedLetter = 13,    ///< Lt
    kCFCharacterSetSymbol = 14,               ///< S*
    kCFCharacterSetNewline = 15,              ///< U+000A to U+000D, U+0085, U+2028 and U+2029
};

CF_EXPORT CFTypeID CFCharacterSetGetTypeID(void);

// ---- Creating

/// A ready-made set, borrowed and good for ever; null for a number that is none.
CF_EXPORT CFCharacterSetRef CFCharacterSetGetPredefined(CFCharacterSetPredefinedSet theSetIdentifier);
CF_EXPORT CFCharacterSetRef CFCharacterSetCreateWithCharactersInRange(CFAllocatorRef alloc, CFRange theRange);
CF_EXPORT CFCharacterSetRef CFCharacterSetCreateWithCharactersInString(CFAllocatorRef alloc, CFStringRef theString);
/// The set whose members are told by bits: of the first 8,192 bytes, byte n / 8 has bit 1 << (n % 8) set where the
/// character n of the basic plane is a member. What follows are further planes, each a byte with its number (1 to 16)
/// and 8,192 bytes of the same form. Bits that are cut off are 0. Null for a plane of another number.
CF_EXPORT CFCharacterSetRef CFCharacterSetCreateWithBitmapRepresentation(CFAllocatorRef alloc, CFDataRef theData);
/// The set of all characters that are not in `theSet`.
CF_EXPORT CFCharacterSetRef CFCharacterSetCreateInvertedSet(CFAllocatorRef alloc, CFCharacterSetRef theSet);
/// An empty set.
CF_EXPORT CFMutableCharacterSetRef CFCharacterSetCreateMutable(CFAllocatorRef alloc);
/// An immutable set of the same members; the set itself, retained, where it is immutable already.
CF_EXPORT CFCharacterSetRef CFCharacterSetCreateCopy(CFAllocatorRef alloc, CFCharacterSetRef theSet);
CF_EXPORT CFMutableCharacterSetRef CFCharacterSetCreateMutableCopy(CFAllocatorRef alloc, CFCharacterSetRef theSet);

// ---- Reading

CF_EXPORT Boolean CFCharacterSetIsSupersetOfSet(CFCharacterSetRef theSet, CFCharacterSetRef theOtherset);
/// Whether the set has a member among the 65,536 characters of a plane, 0 to 16.
CF_EXPORT Boolean CFCharacterSetHasMemberInPlane(CFCharacterSetRef theSet, CFIndex thePlane);
CF_EXPORT Boolean CFCharacterSetIsCharacterMember(CFCharacterSetRef theSet, UniChar theChar);
CF_EXPORT Boolean CFCharacterSetIsLongCharacterMember(CFCharacterSetRef theSet, UTF32Char theChar);
/// The members as bits, as CFCharacterSetCreateWithBitmapRepresentation reads them: the basic plane and those further
/// planes that have members, in order.
CF_EXPORT CFDataRef CFCharacterSetCreateBitmapRepresentation(CFAllocatorRef alloc, CFCharacterSetRef theSet);

// ---- Changing: a call for which there is no memory changes nothing

CF_EXPORT void CFCharacterSetAddCharactersInRange(CFMutableCharacterSetRef theSet, CFRange theRange);
CF_EXPORT void CFCharacterSetRemoveCharactersInRange(CFMutableCharacterSetRef theSet, CFRange theRange);
CF_EXPORT void CFCharacterSetAddCharactersInString(CFMutableCharacterSetRef theSet, CFStringRef theString);
CF_EXPORT void CFCharacterSetRemoveCharactersInString(CFMutableCharacterSetRef theSet, CFStringRef theString);
/// Adds the members of the other set; keeps only those that are in both; exchanges members and others.
CF_EXPORT void CFCharacterSetUnion(CFMutableCharacterSetRef theSet, CFCharacterSetRef theOtherSet);
CF_EXPORT void CFCharacterSetIntersect(CFMutableCharacterSetRef theSet, CFCharacterSetRef theOtherSet);
CF_EXPORT void CFCharacterSetInvert(CFMutableCharacterSetRef theSet);

CF_EXTERN_C_END
