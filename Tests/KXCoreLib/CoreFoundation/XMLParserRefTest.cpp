#include <KXCoreLib/CoreFoundation/XMLParserRef.h>

#include "TypedWrapperTest.h"
#include "WrapperSignatures.h"
#include "WrapperTesting.h"

#include <KXCoreLib/CoreFoundation/XMLNodeRef.h>

#include <gtest/gtest.h>

#include <string>

using namespace KXCore::CoreFoundation;

namespace {

/// Counts elements, and aborts at one named "stop".
struct Counter {
    int elements = 0;

    static void* create(CFXMLParserRef parser, CFXMLNodeRef node, void* info) {
        const XMLNodeRef described = XMLNodeRef::retain(node);
        if (described.getTypeCode() == kCFXMLNodeTypeElement) ++static_cast<Counter*>(info)->elements;
        if (described.getString().copyStdString() == "stop") XMLParserRef::retain(parser).abort(42, CFSTR("stopped"));
        return info;
    }
    static void addChild(CFXMLParserRef, void*, void*, void*) {}
    static void end(CFXMLParserRef, void*, void*) {}
};

XMLParserRef parserOf(const std::string& document, Counter* counter) {
    CFXMLParserCallBacks callBacks{0, Counter::create, Counter::addChild, Counter::end, nullptr, nullptr};
    CFXMLParserContext context{0, counter, nullptr, nullptr, nullptr};
    const DataRef bytes = bytesOf(document);
    const URLRef source = URLRef::createWithString(kCFAllocatorDefault, CFSTR("http://example.org/"), nullptr);
    return XMLParserRef::create(kCFAllocatorDefault, bytes.get(), source.get(), kCFXMLParserNoOptions,
                                kCFXMLNodeCurrentVersion, &callBacks, &context);
}

}  // namespace

template <>
XMLParserRef KXCore::CoreFoundation::sample() {
    static Counter counter;
    return parserOf("<a/>", &counter);
}
INSTANTIATE_TYPED_TEST_SUITE_P(XMLParserRef, TypedWrapper, XMLParserRef);

FORWARDS(XMLParserRef, getTypeID, CFXMLParserGetTypeID);
FORWARDS(XMLParserRef, create, CFXMLParserCreate);
FORWARDS(XMLParserRef, createWithDataFromURL, CFXMLParserCreateWithDataFromURL);
FORWARDS(XMLParserRef, xMLCreateStringByEscapingEntities, CFXMLCreateStringByEscapingEntities);
FORWARDS(XMLParserRef, xMLCreateStringByUnescapingEntities, CFXMLCreateStringByUnescapingEntities);
FORWARDS(XMLParserRef, getContext, CFXMLParserGetContext);
FORWARDS(XMLParserRef, getCallBacks, CFXMLParserGetCallBacks);
FORWARDS(XMLParserRef, getSourceURL, CFXMLParserGetSourceURL);
FORWARDS(XMLParserRef, getLocation, CFXMLParserGetLocation);
FORWARDS(XMLParserRef, getLineNumber, CFXMLParserGetLineNumber);
FORWARDS(XMLParserRef, getDocument, CFXMLParserGetDocument);
FORWARDS(XMLParserRef, getStatusCode, CFXMLParserGetStatusCode);
FORWARDS(XMLParserRef, copyErrorDescription, CFXMLParserCopyErrorDescription);
FORWARDS(XMLParserRef, abort, CFXMLParserAbort);
FORWARDS(XMLParserRef, parse, CFXMLParserParse);

TEST(XMLParserRef, ReportsWhatItFailsToCreate) {
    expectFailsToCreate("CFXMLParserCreate",
                        [] { XMLParserRef::create(nullptr, nullptr, nullptr, 0, 1, nullptr, nullptr); });
    expectFailsToCreate("CFXMLParserCreateWithDataFromURL",
                        [] { XMLParserRef::createWithDataFromURL(nullptr, nullptr, 0, 1, nullptr, nullptr); });
    expectFailsToCreate("CFXMLCreateStringByEscapingEntities",
                        [] { XMLParserRef::xMLCreateStringByEscapingEntities(nullptr, nullptr, nullptr); });
    expectFailsToCreate("CFXMLCreateStringByUnescapingEntities",
                        [] { XMLParserRef::xMLCreateStringByUnescapingEntities(nullptr, nullptr, nullptr); });
    expectFailsToCreate("CFXMLParserCopyErrorDescription", [] { sample<XMLParserRef>().copyErrorDescription(); });
}

TEST(XMLParserRef, ParsesWithItsCallbacks) {
    Counter counter;
    const auto parser = parserOf("<a><b/>\n<c/></a>", &counter);
    EXPECT_EQ(parser.getStatusCode(), kCFXMLStatusParseNotBegun);
    EXPECT_EQ(parser.getDocument(), nullptr);
    EXPECT_TRUE(parser.parse());
    EXPECT_EQ(counter.elements, 3);
    EXPECT_EQ(parser.getStatusCode(), kCFXMLStatusParseSuccessful);
    EXPECT_EQ(parser.getDocument(), &counter);
    CFXMLParserContext context{};
    parser.getContext(&context);
    EXPECT_EQ(context.info, &counter);
    CFXMLParserCallBacks callBacks{};
    parser.getCallBacks(&callBacks);
    EXPECT_EQ(callBacks.addChild, Counter::addChild);
    EXPECT_EQ(parser.getSourceURL().getString().copyStdString(), "http://example.org/");
}

TEST(XMLParserRef, TellsWhereAndWhyItEnded) {
    Counter counter;
    const auto parser = parserOf("<a>\n<stop/><b/></a>", &counter);
    EXPECT_FALSE(parser.parse());
    EXPECT_EQ(parser.getStatusCode(), 42);
    EXPECT_EQ(parser.copyErrorDescription().copyStdString(), "stopped");
    EXPECT_EQ(parser.getLineNumber(), 2);
    EXPECT_EQ(parser.getLocation(), 4);
    EXPECT_EQ(counter.elements, 2);
}

TEST(XMLParserRef, EscapesEntities) {
    const auto escaped = XMLParserRef::xMLCreateStringByEscapingEntities(kCFAllocatorDefault, CFSTR("<&"), nullptr);
    EXPECT_EQ(escaped.copyStdString(), "&lt;&amp;");
    EXPECT_EQ(
        XMLParserRef::xMLCreateStringByUnescapingEntities(kCFAllocatorDefault, escaped.get(), nullptr).copyStdString(),
        "<&");
}
