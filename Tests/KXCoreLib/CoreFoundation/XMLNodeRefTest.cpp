#include <KXCoreLib/CoreFoundation/XMLNodeRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <gtest/gtest.h>

using namespace KXCore::CoreFoundation;

namespace {

constexpr CFXMLEntityReferenceInfo kCharacter{kCFXMLEntityTypeCharacter};

}  // namespace

template <>
XMLNodeRef KXCore::CoreFoundation::sample() {
    return XMLNodeRef::create(kCFAllocatorDefault, kCFXMLNodeTypeEntityReference, CFSTR("#65"), &kCharacter, 0);
}
INSTANTIATE_TYPED_TEST_SUITE_P(XMLNodeRef, TypedWrapper, XMLNodeRef);

FORWARDS(XMLNodeRef, getTypeID, CFXMLNodeGetTypeID);
FORWARDS(XMLNodeRef, create, CFXMLNodeCreate);
FORWARDS(XMLNodeRef, createCopy, CFXMLNodeCreateCopy);
FORWARDS(XMLNodeRef, getTypeCode, CFXMLNodeGetTypeCode);
FORWARDS(XMLNodeRef, getString, CFXMLNodeGetString);
FORWARDS(XMLNodeRef, getInfoPtr, CFXMLNodeGetInfoPtr);
FORWARDS(XMLNodeRef, getVersion, CFXMLNodeGetVersion);

TEST(XMLNodeRef, ReportsWhatItFailsToCreate) {
    expectFailsToCreate("CFXMLNodeCreate", [] {
        XMLNodeRef::create(kCFAllocatorDefault, kCFXMLNodeTypeText, CFSTR("text"), nullptr, 99);
    });
    expectFailsToCreate("CFXMLNodeCreateCopy", [] { XMLNodeRef::createCopy(kCFAllocatorDefault, nullptr); });
}

TEST(XMLNodeRef, TellsWhatItIs) {
    const auto node = sample<XMLNodeRef>();
    EXPECT_EQ(node.getTypeCode(), kCFXMLNodeTypeEntityReference);
    EXPECT_EQ(node.getString().copyStdString(), "#65");
    EXPECT_EQ(static_cast<const CFXMLEntityReferenceInfo*>(node.getInfoPtr())->entityType, kCFXMLEntityTypeCharacter);
    EXPECT_EQ(node.getVersion(), 0);
    EXPECT_EQ(XMLNodeRef::createCopy(kCFAllocatorDefault, node.get()), node);
    const auto document = XMLNodeRef::create(kCFAllocatorDefault, kCFXMLNodeTypeDocument, nullptr, nullptr, 1);
    EXPECT_FALSE(document.getString());
    EXPECT_EQ(document.getInfoPtr(), nullptr);
    EXPECT_EQ(document.getVersion(), 1);
}
