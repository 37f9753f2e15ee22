#include <KXCoreLib/CoreFoundation/XMLTreeRef.h>

#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <KXCoreLib/CoreFoundation/TreeRef.h>

#include <gtest/gtest.h>

#include <string>

using namespace KXCore::CoreFoundation;

FORWARDS(XMLTreeRef, createWithNode, CFXMLTreeCreateWithNode);
FORWARDS(XMLTreeRef, createFromData, CFXMLTreeCreateFromData);
FORWARDS(XMLTreeRef, createFromDataWithError, CFXMLTreeCreateFromDataWithError);
FORWARDS(XMLTreeRef, createWithDataFromURL, CFXMLTreeCreateWithDataFromURL);
FORWARDS(XMLTreeRef, createXMLData, CFXMLTreeCreateXMLData);
FORWARDS(XMLTreeRef, getNode, CFXMLTreeGetNode);

namespace {

std::string written(const XMLTreeRef& tree) {
    const auto bytes = XMLTreeRef::createXMLData(kCFAllocatorDefault, tree.get()).copyStdVector();
    return {bytes.begin(), bytes.end()};
}

}  // namespace

TEST(XMLTreeRef, ReportsWhatItFailsToCreate) {
    const DataRef broken = bytesOf("<a>\n<b></a>");
    expectFailsToCreate("CFXMLTreeCreateWithNode", [] { XMLTreeRef::createWithNode(nullptr, nullptr); });
    expectFailsToCreate("CFXMLTreeCreateFromData",
                        [&] { XMLTreeRef::createFromData(nullptr, broken.get(), nullptr, 0, 1); });
    expectFailsToCreate("CFXMLTreeCreateWithDataFromURL",
                        [] { XMLTreeRef::createWithDataFromURL(nullptr, nullptr, 0, 1); });
    expectFailsToCreate("CFXMLTreeCreateXMLData", [] { XMLTreeRef::createXMLData(nullptr, nullptr); });
    DictionaryRef errors;
    EXPECT_FALSE(XMLTreeRef::createFromDataWithError(nullptr, broken.get(), nullptr, 0, 1, &errors));
    ASSERT_TRUE(errors);
    EXPECT_TRUE(errors.containsKey(kCFXMLTreeErrorLineNumber));
    EXPECT_TRUE(XMLTreeRef::createFromDataWithError(nullptr, bytesOf("<a/>").get(), nullptr, 0, 1, &errors));
    EXPECT_FALSE(errors);
    const Failure failure =
        failureOf([&] { XMLTreeRef::createFromDataWithError(nullptr, broken.get(), nullptr, 0, 1); });
    EXPECT_EQ(failure.what, "failed to create object");
    EXPECT_EQ(failure.message,
              "failed to create object: CFXMLTreeCreateFromDataWithError, error( mismatched tag )\n");
}

TEST(XMLTreeRef, ReadsAndWritesDocuments) {
    const auto tree = XMLTreeRef::createFromData(kCFAllocatorDefault, bytesOf("<a x='1'>text</a>").get(), nullptr,
                                                 kCFXMLParserNoOptions, kCFXMLNodeCurrentVersion);
    EXPECT_EQ(tree.getNode().getTypeCode(), kCFXMLNodeTypeDocument);
    EXPECT_EQ(written(tree), "<a x=\"1\">text</a>");
    EXPECT_EQ(TreeRef::retain(tree.get()).getChildCount(), 1);
}

TEST(XMLTreeRef, IsMadeOfANode) {
    const auto comment = XMLNodeRef::create(kCFAllocatorDefault, kCFXMLNodeTypeComment, CFSTR("c"), nullptr, 1);
    EXPECT_EQ(written(XMLTreeRef::createWithNode(kCFAllocatorDefault, comment.get())), "<!--c-->");
}
