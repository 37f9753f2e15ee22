#include <KXCoreLib/CoreFoundation/CharacterSetRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID CharacterSetRef::getTypeID() { return CFCharacterSetGetTypeID(); }

CharacterSetRef CharacterSetRef::getPredefined(CFCharacterSetPredefinedSet identifier) {
    return retain(CFCharacterSetGetPredefined(identifier));
}

CharacterSetRef CharacterSetRef::createWithCharactersInRange(CFAllocatorRef allocator, CFRange range) {
    return KX_CREATE(CharacterSetRef, CFCharacterSetCreateWithCharactersInRange)(allocator, range);
}

CharacterSetRef CharacterSetRef::createWithCharactersInString(CFAllocatorRef allocator, CFStringRef string) {
    return KX_CREATE(CharacterSetRef, CFCharacterSetCreateWithCharactersInString)(allocator, string);
}

CharacterSetRef CharacterSetRef::createWithBitmapRepresentation(CFAllocatorRef allocator, CFDataRef data) {
    return KX_CREATE(CharacterSetRef, CFCharacterSetCreateWithBitmapRepresentation)(allocator, data);
}

CharacterSetRef CharacterSetRef::createInvertedSet(CFAllocatorRef allocator, CFCharacterSetRef set) {
    return KX_CREATE(CharacterSetRef, CFCharacterSetCreateInvertedSet)(allocator, set);
}

MutableCharacterSetRef CharacterSetRef::createMutable(CFAllocatorRef allocator) {
    return KX_CREATE(MutableCharacterSetRef, CFCharacterSetCreateMutable)(allocator);
}

CharacterSetRef CharacterSetRef::createCopy(CFAllocatorRef allocator, CFCharacterSetRef set) {
    return KX_CREATE(CharacterSetRef, CFCharacterSetCreateCopy)(allocator, set);
}

MutableCharacterSetRef CharacterSetRef::createMutableCopy(CFAllocatorRef allocator, CFCharacterSetRef set) {
    return KX_CREATE(MutableCharacterSetRef, CFCharacterSetCreateMutableCopy)(allocator, set);
}

DataRef CharacterSetRef::createBitmapRepresentation(CFAllocatorRef allocator, CFCharacterSetRef set) {
    return KX_CREATE(DataRef, CFCharacterSetCreateBitmapRepresentation)(allocator, set);
}

Boolean CharacterSetRef::isSupersetOfSet(CFCharacterSetRef other) const {
    return CFCharacterSetIsSupersetOfSet(get(), other);
}

Boolean CharacterSetRef::hasMemberInPlane(CFIndex plane) const { return CFCharacterSetHasMemberInPlane(get(), plane); }

Boolean CharacterSetRef::isCharacterMember(UniChar character) const {
    return CFCharacterSetIsCharacterMember(get(), character);
}

Boolean CharacterSetRef::isLongCharacterMember(UTF32Char character) const {
    return CFCharacterSetIsLongCharacterMember(get(), character);
}

void MutableCharacterSetRef::addCharactersInRange(CFRange range) { CFCharacterSetAddCharactersInRange(get(), range); }

void MutableCharacterSetRef::removeCharactersInRange(CFRange range) {
    CFCharacterSetRemoveCharactersInRange(get(), range);
}

void MutableCharacterSetRef::addCharactersInString(CFStringRef string) {
    CFCharacterSetAddCharactersInString(get(), string);
}

void MutableCharacterSetRef::removeCharactersInString(CFStringRef string) {
    CFCharacterSetRemoveCharactersInString(get(), string);
}

void MutableCharacterSetRef::uNion(CFCharacterSetRef other) { CFCharacterSetUnion(get(), other); }
void MutableCharacterSetRef::intersect(CFCharacterSetRef other) { CFCharacterSetIntersect(get(), other); }
void MutableCharacterSetRef::invert() { CFCharacterSetInvert(get()); }

}  // namespace KXCore::CoreFoundation
