#include "XMLTesting.h"

#include "Platform/CoreFoundation/NullArguments.h"
#include "Platform/CoreFoundation/TestAllocator.h"

#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

using namespace XMLTesting;

Holder<CFXMLNodeRef> node(CFXMLNodeTypeCode type, CFStringRef string, const void* info = nullptr) {
    return hold(CFXMLNodeCreate(nullptr, type, string, info, kCFXMLNodeCurrentVersion));
}

Holder<CFURLRef> url(const char* text) { return hold(CFURLCreateWithString(nullptr, XMLTesting::text(text), nullptr)); }

/// A record of each type, and the node made of it.
struct Samples {
    Samples() {
        const void* keys[] = {CFSTR("a"), CFSTR("b")};
        const void* values[] = {CFSTR("1"), CFSTR("2")};
        attributes = hold(CFDictionaryCreate(nullptr, keys, values, 2, &kCFTypeDictionaryKeyCallBacks,
                                             &kCFTypeDictionaryValueCallBacks));
        order = hold(CFArrayCreate(nullptr, keys, 2, &kCFTypeArrayCallBacks));
        element = {attributes, order, true, {}};
        document = {system, kCFStringEncodingUTF8};
        instruction = {CFSTR("data")};
        type = {{system, CFSTR("public")}};
        notation = {{nullptr, CFSTR("public")}};
        content = {CFSTR("(#PCDATA)")};
        declared[0] = {CFSTR("a"), CFSTR("CDATA"), CFSTR("#IMPLIED")};
        declared[1] = {CFSTR("b"), CFSTR("(x|y)"), nullptr};
        list = {2, declared};
        entity = {kCFXMLEntityTypeUnparsed, nullptr, {system, nullptr}, CFSTR("gif")};
        reference = {kCFXMLEntityTypeCharacter};
        records = {{kCFXMLNodeTypeDocument, &document},
                   {kCFXMLNodeTypeElement, &element},
                   {kCFXMLNodeTypeAttribute, nullptr},
                   {kCFXMLNodeTypeProcessingInstruction, &instruction},
                   {kCFXMLNodeTypeComment, nullptr},
                   {kCFXMLNodeTypeText, nullptr},
                   {kCFXMLNodeTypeCDATASection, nullptr},
                   {kCFXMLNodeTypeDocumentFragment, nullptr},
                   {kCFXMLNodeTypeEntity, &entity},
                   {kCFXMLNodeTypeEntityReference, &reference},
                   {kCFXMLNodeTypeDocumentType, &type},
                   {kCFXMLNodeTypeWhitespace, nullptr},
                   {kCFXMLNodeTypeNotation, &notation},
                   {kCFXMLNodeTypeElementTypeDeclaration, &content},
                   {kCFXMLNodeTypeAttributeListDeclaration, &list}};
    }

    Holder<CFURLRef> system = url("http://example.org/a.dtd");
    Holder<CFDictionaryRef> attributes{nullptr};
    Holder<CFArrayRef> order{nullptr};
    CFXMLElementInfo element{};
    CFXMLDocumentInfo document{};
    CFXMLProcessingInstructionInfo instruction{};
    CFXMLDocumentTypeInfo type{};
    CFXMLNotationInfo notation{};
    CFXMLElementTypeDeclarationInfo content{};
    CFXMLAttributeDeclarationInfo declared[2]{};
    CFXMLAttributeListDeclarationInfo list{};
    CFXMLEntityInfo entity{};
    CFXMLEntityReferenceInfo reference{};
    std::vector<std::pair<CFXMLNodeTypeCode, const void*>> records;
};

}  // namespace

TEST(CFXMLNode, KeepsTypeStringRecordAndVersion) {
    const Samples samples;
    for (const auto& [type, info] : samples.records) {
        SCOPED_TRACE(type);
        const auto made = hold(CFXMLNodeCreate(nullptr, type, CFSTR("name"), info, 0));
        ASSERT_TRUE(made);
        EXPECT_EQ(CFGetTypeID(made), CFXMLNodeGetTypeID());
        EXPECT_EQ(CFXMLNodeGetTypeCode(made), type);
        EXPECT_TRUE(CFEqual(CFXMLNodeGetString(made), CFSTR("name")));
        EXPECT_EQ(CFXMLNodeGetVersion(made), 0);
        EXPECT_EQ(CFXMLNodeGetInfoPtr(made) != nullptr, info != nullptr);
        EXPECT_TRUE(!info || CFXMLNodeGetInfoPtr(made) != info) << "a copy";
    }
    EXPECT_EQ(shown(node(kCFXMLNodeTypeElement, CFSTR("e"), &samples.element)), "element e a=1 b=2 /");
    EXPECT_EQ(shown(node(kCFXMLNodeTypeAttributeListDeclaration, CFSTR("e"), &samples.list)),
              "attributes e [a CDATA #IMPLIED] [b (x|y) -]");
    EXPECT_EQ(shown(node(kCFXMLNodeTypeEntity, CFSTR("pic"), &samples.entity)),
              "entity pic 3 - - http://example.org/a.dtd gif");
    EXPECT_EQ(CFXMLNodeGetString(node(kCFXMLNodeTypeDocument, nullptr, nullptr)), nullptr);
}

TEST(CFXMLNode, CopiesWhatMayChange) {
    const auto string = hold(CFStringCreateMutableCopy(nullptr, 0, CFSTR("name")));
    const auto data = hold(CFStringCreateMutableCopy(nullptr, 0, CFSTR("data")));
    const CFXMLProcessingInstructionInfo info{data};
    const auto made = node(kCFXMLNodeTypeProcessingInstruction, string, &info);
    CFStringAppend(string, CFSTR(" changed"));
    CFStringAppend(data, CFSTR(" changed"));
    EXPECT_EQ(shown(made), "instruction name data");
}

TEST(CFXMLNode, RefusesTypesAndVersionsThatAreNone) {
    for (const CFIndex type : {-1, 0, 16, 1000}) {
        EXPECT_EQ(CFXMLNodeCreate(nullptr, static_cast<CFXMLNodeTypeCode>(type), CFSTR("x"), nullptr, 1), nullptr);
    }
    for (const CFIndex version : {-1, 2}) {
        EXPECT_EQ(CFXMLNodeCreate(nullptr, kCFXMLNodeTypeText, CFSTR("x"), nullptr, version), nullptr);
    }
}

TEST(CFXMLNode, IsEqualToOneWithEqualTypeStringAndRecord) {
    const Samples samples, others;
    for (std::size_t i = 0; i < samples.records.size(); ++i) {
        const auto& [type, info] = samples.records[i];
        SCOPED_TRACE(type);
        const auto one = node(type, CFSTR("name"), info);
        const auto same = node(type, text("name"), others.records[i].second);
        EXPECT_TRUE(CFEqual(one, same));
        EXPECT_EQ(CFHash(one), CFHash(same));
        EXPECT_FALSE(CFEqual(one, node(type, CFSTR("other"), info)));
        EXPECT_EQ(CFEqual(one, node(type, CFSTR("name"), nullptr)), info == nullptr);
    }
    EXPECT_FALSE(CFEqual(node(kCFXMLNodeTypeText, CFSTR("x")), node(kCFXMLNodeTypeComment, CFSTR("x"))));
    Samples changed;
    changed.element.isEmpty = false;
    changed.entity.notationName = CFSTR("png");
    changed.declared[1].defaultString = CFSTR("x");
    changed.document.encoding = kCFStringEncodingASCII;
    for (const CFXMLNodeTypeCode type : {kCFXMLNodeTypeElement, kCFXMLNodeTypeEntity, kCFXMLNodeTypeDocument,
                                         kCFXMLNodeTypeAttributeListDeclaration}) {
        const auto infoOf = [&](const Samples& from) {
            return from.records[static_cast<std::size_t>(type) - 1].second;
        };
        EXPECT_FALSE(CFEqual(node(type, CFSTR("x"), infoOf(samples)), node(type, CFSTR("x"), infoOf(changed)))) << type;
    }
    EXPECT_FALSE(CFEqual(node(kCFXMLNodeTypeAttributeListDeclaration, CFSTR("x"), &samples.list),
                         node(kCFXMLNodeTypeAttributeListDeclaration, CFSTR("x"),
                              &static_cast<const CFXMLAttributeListDeclarationInfo&>(CFXMLAttributeListDeclarationInfo{
                                  1, const_cast<CFXMLAttributeDeclarationInfo*>(samples.declared)}))));
}

TEST(CFXMLNode, ACopyIsEqual) {
    const Samples samples;
    for (const auto& [type, info] : samples.records) {
        const auto original = node(type, CFSTR("name"), info);
        EXPECT_TRUE(CFEqual(hold(CFXMLNodeCreateCopy(nullptr, original)), original)) << type;
        TestAllocator allocator;
        const auto elsewhere = hold(CFXMLNodeCreateCopy(allocator, original));
        EXPECT_TRUE(CFEqual(elsewhere, original)) << type;
        EXPECT_NE(elsewhere.get(), original.get());
    }
}

TEST(CFXMLNode, DescribesItself) {
    const auto described = hold(CFCopyDescription(node(kCFXMLNodeTypeText, CFSTR("some text"))));
    EXPECT_NE(utf8(described).find("{type = 6, string = some text}"), std::string::npos) << utf8(described);
}

TEST(CFXMLNode, IsNotMadeWithoutMemory) {
    const Samples samples;
    for (const auto& [type, info] : samples.records) {
        TestAllocator allocator;
        allocator.failAfter(0);
        EXPECT_EQ(CFXMLNodeCreate(allocator, type, nullptr, info, 1), nullptr);
    }
}

TEST(CFXMLTree, HoldsItsNode) {
    auto held = node(kCFXMLNodeTypeText, CFSTR("text"));
    const auto tree = hold(CFXMLTreeCreateWithNode(nullptr, held));
    held.reset();
    EXPECT_EQ(shown(CFXMLTreeGetNode(tree)), "text text");
    EXPECT_EQ(CFTreeGetChildCount(tree), 0);
    const CFTreeContext context{0, const_cast<char*>("x"), nullptr, nullptr, nullptr};
    EXPECT_EQ(CFXMLTreeGetNode(hold(CFTreeCreate(nullptr, &context))), nullptr) << "a tree of something else";
    const auto described = hold(CFCopyDescription(tree));
    EXPECT_NE(utf8(described).find("string = text"), std::string::npos) << utf8(described);
}

TEST(CFXMLNode, SurvivesNullArgumentsAndForeignObjects) {
    const auto foreign = reinterpret_cast<CFXMLNodeRef>(CFSTR("x"));
    for (const CFXMLNodeRef bad : {static_cast<CFXMLNodeRef>(nullptr), foreign}) {
        EXPECT_EQ(CFXMLNodeCreateCopy(nullptr, bad), nullptr);
        EXPECT_EQ(CFXMLNodeGetTypeCode(bad), 0);
        EXPECT_EQ(CFXMLNodeGetString(bad), nullptr);
        EXPECT_EQ(CFXMLNodeGetInfoPtr(bad), nullptr);
        EXPECT_EQ(CFXMLNodeGetVersion(bad), 0);
        EXPECT_EQ(CFXMLTreeCreateWithNode(nullptr, bad), nullptr);
    }
    EXPECT_EQ(CFXMLTreeGetNode(nullptr), nullptr);
    const CFXMLElementInfo empty{};
    EXPECT_TRUE(hold(CFXMLNodeCreate(nullptr, kCFXMLNodeTypeElement, nullptr, &empty, 1)));
    const CFXMLAttributeListDeclarationInfo none{5, nullptr};
    const auto list = node(kCFXMLNodeTypeAttributeListDeclaration, nullptr, &none);
    EXPECT_EQ(static_cast<const CFXMLAttributeListDeclarationInfo*>(CFXMLNodeGetInfoPtr(list))->numberOfAttributes, 0);
}
