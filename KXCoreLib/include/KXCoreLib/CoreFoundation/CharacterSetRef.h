#pragma once

#include <KXCoreLib/CoreFoundation/DataRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFCharacterSet.h>

namespace KXCore::CoreFoundation {

class MutableCharacterSetRef;

/// A set of Unicode characters, U+0000 to U+10FFFF.
class KX_EXPORT CharacterSetRef : public TypedRef<CharacterSetRef, CFCharacterSetRef> {
  public:
    static constexpr const char* typeName = "CFCharacterSetRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// A ready-made set; empty for an identifier that is none.
    static CharacterSetRef getPredefined(CFCharacterSetPredefinedSet identifier);

    static CharacterSetRef createWithCharactersInRange(CFAllocatorRef allocator, CFRange range);
    static CharacterSetRef createWithCharactersInString(CFAllocatorRef allocator, CFStringRef string);
    /// From 8,192 bytes, a bit a character, and a byte with its number and as many again for each further plane.
    static CharacterSetRef createWithBitmapRepresentation(CFAllocatorRef allocator, CFDataRef data);
    static CharacterSetRef createInvertedSet(CFAllocatorRef allocator, CFCharacterSetRef set);
    static MutableCharacterSetRef createMutable(CFAllocatorRef allocator);
    static CharacterSetRef createCopy(CFAllocatorRef allocator, CFCharacterSetRef set);
    static MutableCharacterSetRef createMutableCopy(CFAllocatorRef allocator, CFCharacterSetRef set);
    static DataRef createBitmapRepresentation(CFAllocatorRef allocator, CFCharacterSetRef set);

    Boolean isSupersetOfSet(CFCharacterSetRef other) const;
    /// Of plane 0 to 16.
    Boolean hasMemberInPlane(CFIndex plane) const;
    Boolean isCharacterMember(UniChar character) const;
    Boolean isLongCharacterMember(UTF32Char character) const;
};
static_assert(isPlainRef<CharacterSetRef>);

/// A character set that can be changed.
class KX_EXPORT MutableCharacterSetRef
    : public HeldRef<MutableCharacterSetRef, CFMutableCharacterSetRef, CharacterSetRef> {
  public:
    void addCharactersInRange(CFRange range);
    void removeCharactersInRange(CFRange range);
    void addCharactersInString(CFStringRef string);
    void removeCharactersInString(CFStringRef string);
    /// Adds the members of the other set.
    void uNion(CFCharacterSetRef other);
    /// Keeps what is in the other set too.
    void intersect(CFCharacterSetRef other);
    void invert();
};
static_assert(isPlainRef<MutableCharacterSetRef>);

}  // namespace KXCore::CoreFoundation
