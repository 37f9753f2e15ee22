#include <KXCoreLib/CoreFoundation/CharacterSetRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

template <>
CharacterSetRef KXCore::CoreFoundation::sample() {
    return CharacterSetRef::createWithCharactersInRange(kCFAllocatorDefault, {'a', 3});
}
INSTANTIATE_TYPED_TEST_SUITE_P(CharacterSetRef, TypedWrapper, CharacterSetRef);

FORWARDS(CharacterSetRef, getTypeID, CFCharacterSetGetTypeID);
FORWARDS(CharacterSetRef, getPredefined, CFCharacterSetGetPredefined);
FORWARDS(CharacterSetRef, createWithCharactersInRange, CFCharacterSetCreateWithCharactersInRange);
FORWARDS(CharacterSetRef, createWithCharactersInString, CFCharacterSetCreateWithCharactersInString);
FORWARDS(CharacterSetRef, createWithBitmapRepresentation, CFCharacterSetCreateWithBitmapRepresentation);
FORWARDS(CharacterSetRef, createInvertedSet, CFCharacterSetCreateInvertedSet);
FORWARDS(CharacterSetRef, createMutable, CFCharacterSetCreateMutable);
FORWARDS(CharacterSetRef, createCopy, CFCharacterSetCreateCopy);
FORWARDS(CharacterSetRef, createMutableCopy, CFCharacterSetCreateMutableCopy);
FORWARDS(CharacterSetRef, createBitmapRepresentation, CFCharacterSetCreateBitmapRepresentation);
FORWARDS(CharacterSetRef, isSupersetOfSet, CFCharacterSetIsSupersetOfSet);
FORWARDS(CharacterSetRef, hasMemberInPlane, CFCharacterSetHasMemberInPlane);
FORWARDS(CharacterSetRef, isCharacterMember, CFCharacterSetIsCharacterMember);
FORWARDS(CharacterSetRef, isLongCharacterMember, CFCharacterSetIsLongCharacterMember);
FORWARDS(MutableCharacterSetRef, addCharactersInRange, CFCharacterSetAddCharactersInRange);
FORWARDS(MutableCharacterSetRef, removeCharactersInRange, CFCharacterSetRemoveCharactersInRange);
FORWARDS(MutableCharacterSetRef, addCharactersInString, CFCharacterSetAddCharactersInString);
FORWARDS(MutableCharacterSetRef, removeCharactersInString, CFCharacterSetRemoveCharactersInString);
FORWARDS(MutableCharacterSetRef, uNion, CFCharacterSetUnion);
FORWARDS(MutableCharacterSetRef, intersect, CFCharacterSetIntersect);
FORWARDS(MutableCharacterSetRef, invert, CFCharacterSetInvert);

TEST(CharacterSetRef, ReportsWhatItFailsToCreate) {
    expectFailuresWithoutMemory({
        {"CFCharacterSetCreateWithCharactersInRange",
         [](CFAllocatorRef a) {
             CharacterSetRef::createWithCharactersInRange(a, {0, 1});
         }},
        {"CFCharacterSetCreateWithCharactersInString",
         [](CFAllocatorRef a) { CharacterSetRef::createWithCharactersInString(a, CFSTR("a")); }},
        {"CFCharacterSetCreateWithBitmapRepresentation",
         [](CFAllocatorRef a) {
             const DataRef none = DataRef::create(nullptr, nullptr, 0);
             CharacterSetRef::createWithBitmapRepresentation(a, none.get());
         }},
        {"CFCharacterSetCreateInvertedSet",
         [](CFAllocatorRef a) { CharacterSetRef::createInvertedSet(a, sample<CharacterSetRef>().get()); }},
        {"CFCharacterSetCreateMutable", [](CFAllocatorRef a) { CharacterSetRef::createMutable(a); }},
        {"CFCharacterSetCreateCopy",
         [](CFAllocatorRef a) { CharacterSetRef::createCopy(a, sample<CharacterSetRef>().get()); }},
        {"CFCharacterSetCreateMutableCopy",
         [](CFAllocatorRef a) { CharacterSetRef::createMutableCopy(a, sample<CharacterSetRef>().get()); }},
        {"CFCharacterSetCreateBitmapRepresentation",
         [](CFAllocatorRef a) { CharacterSetRef::createBitmapRepresentation(a, sample<CharacterSetRef>().get()); }},
    });
}

TEST(CharacterSetRef, KnowsItsMembers) {
    const CharacterSetRef set = sample<CharacterSetRef>();
    EXPECT_TRUE(set.isCharacterMember('b'));
    EXPECT_FALSE(set.isLongCharacterMember(0x1F600));
    EXPECT_TRUE(set.hasMemberInPlane(0));
    EXPECT_FALSE(set.hasMemberInPlane(1));
    const CharacterSetRef inverted = CharacterSetRef::createInvertedSet(kCFAllocatorDefault, set.get());
    EXPECT_FALSE(inverted.isCharacterMember('b'));
    EXPECT_TRUE(CharacterSetRef::getPredefined(kCFCharacterSetLetter).isSupersetOfSet(set.get()));
    EXPECT_FALSE(CharacterSetRef::getPredefined(static_cast<CFCharacterSetPredefinedSet>(99)));
    const DataRef bits = CharacterSetRef::createBitmapRepresentation(kCFAllocatorDefault, set.get());
    EXPECT_EQ(bits.getLength(), 8192);
    EXPECT_EQ(CharacterSetRef::createWithBitmapRepresentation(kCFAllocatorDefault, bits.get()), set);
    EXPECT_EQ(CharacterSetRef::createWithCharactersInString(kCFAllocatorDefault, CFSTR("cab")), set);
    EXPECT_EQ(CharacterSetRef::createCopy(kCFAllocatorDefault, set.get()), set);
}

TEST(MutableCharacterSetRef, ChangesItsMembers) {
    MutableCharacterSetRef set = CharacterSetRef::createMutable(kCFAllocatorDefault);
    set.addCharactersInRange({'a', 5});
    set.removeCharactersInRange({'d', 1});
    set.addCharactersInString(CFSTR("z"));
    set.removeCharactersInString(CFSTR("e"));
    EXPECT_EQ(set, CharacterSetRef::createWithCharactersInString(kCFAllocatorDefault, CFSTR("abcz")));
    set.intersect(sample<CharacterSetRef>().get());
    EXPECT_EQ(set, sample<CharacterSetRef>());
    MutableCharacterSetRef copy = CharacterSetRef::createMutableCopy(kCFAllocatorDefault, set.get());
    copy.invert();
    EXPECT_FALSE(copy.isCharacterMember('a'));
    copy.uNion(set.get());
    EXPECT_TRUE(copy.isCharacterMember('a'));
}
