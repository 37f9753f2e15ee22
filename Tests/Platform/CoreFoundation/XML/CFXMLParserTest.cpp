#include "XMLTesting.h"

#include "Platform/CoreFoundation/NullArguments.h"
#include "TemporaryFolder.h"

#include <CoreFoundation/CoreFoundation.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace XMLTesting;
using testing::ElementsAre;
using testing::HasSubstr;

using Lines = std::vector<std::string>;

const std::string kDocument = "document " + std::to_string(kCFStringEncodingUTF8);

Lines linesOf(std::string_view document, CFOptionFlags options = kCFXMLParserNoOptions) {
    Recorder recorder(document, options);
    EXPECT_TRUE(recorder.parse()) << recorder.description();
    EXPECT_EQ(recorder.status(), kCFXMLStatusParseSuccessful);
    EXPECT_EQ(recorder.open, 0) << "each structure has an end";
    return recorder.lines;
}

/// A tree of a document, and its text again.
std::string rewritten(std::string_view document, CFOptionFlags options = kCFXMLParserNoOptions) {
    const auto tree = hold(CFXMLTreeCreateFromData(nullptr, bytes(document), nullptr, options, 1));
    return tree ? textOf(hold(CFXMLTreeCreateXMLData(nullptr, tree))) : "(no tree)";
}

struct Fault {
    CFXMLParserStatusCode status;
    CFIndex line;
    CFIndex location;
    bool operator==(const Fault&) const = default;
};

Fault faultOf(std::string_view document, CFOptionFlags options = kCFXMLParserNoOptions) {
    Recorder recorder(document, options);
    EXPECT_FALSE(recorder.parse());
    EXPECT_EQ(recorder.faults, std::vector{recorder.status()}) << "told once";
    EXPECT_NE(recorder.description(), "-");
    return {recorder.status(), CFXMLParserGetLineNumber(recorder.get()), CFXMLParserGetLocation(recorder.get())};
}

}  // namespace

// ---- What is reported

TEST(CFXMLParser, ReportsEveryStructureInItsPlace) {
    EXPECT_THAT(
        linesOf("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                "<!-- before --><a x=\"1\" y=\"&lt;2\"><?target some data?>text<b/><c></c>"
                "<![CDATA[<raw>]]>more &amp; &#65;&#x42; end</a>\n<!-- after -->"),
        ElementsAre(kDocument, " instruction xml version=\"1.0\" encoding=\"UTF-8\"", " space \n", " comment  before ",
                    " element a x=1 y=<2", "  instruction target some data", "  text text", "  element b /",
                    "  element c", "  cdata <raw>", "  text more ", "  reference amp 1", "  space  ",
                    "  reference #65 4", "  reference #x42 4", "  text  end", " space \n", " comment  after "));
}

TEST(CFXMLParser, CallsCreateAddChildrenEndInThisOrder) {
    Recorder recorder("<a><b>t</b><c/></a>");
    ASSERT_TRUE(recorder.parse());
    EXPECT_THAT(recorder.calls,
                ElementsAre("create ", "create a", "add a to ", "create b", "add b to a", "create t", "add t to b",
                            "end t", "end b", "create c", "add c to a", "end c", "end a", "end "));
}

TEST(CFXMLParser, LeavesOutWithAllItContainsWhatTheCallbackMakesNothingOf) {
    Recorder recorder("<a><skip><b>t<!-- c --><![CDATA[x]]>&lt;</b></skip><c/></a>");
    recorder.wants = [](CFXMLNodeRef node) { return shown(CFXMLNodeGetString(node)) != "skip"; };
    EXPECT_TRUE(recorder.parse());
    EXPECT_THAT(recorder.lines, ElementsAre(kDocument, " element a", "  element c /"));
    EXPECT_EQ(recorder.open, 0);
    Recorder nothing("<a><b/></a>");
    nothing.wants = [](CFXMLNodeRef) { return false; };
    EXPECT_TRUE(nothing.parse());
    EXPECT_THAT(nothing.calls, ElementsAre());
    EXPECT_EQ(CFXMLParserGetDocument(nothing.get()), nullptr);
}

TEST(CFXMLParser, ReportsTheDocumentTypeAndWhatItDeclares) {
    constexpr std::string_view kText =
        "<!DOCTYPE a PUBLIC \"-//X\" \"http://example.org/a.dtd\" [\n"
        "<!ELEMENT a (b?,(c|d)+)><!ELEMENT b (#PCDATA|c)*><!ELEMENT c EMPTY><!ELEMENT d ANY><!ELEMENT e (#PCDATA)>\n"
        "<!ATTLIST a x CDATA #REQUIRED y (p|q) 'p' z NMTOKEN #IMPLIED w CDATA #FIXED 'f'>\n"
        "<!ENTITY in \"text\"><!ENTITY out SYSTEM \"http://example.org/e\"><!ENTITY % par \"<!-- -->\">\n"
        "<!NOTATION gif PUBLIC \"-//GIF\"><!ENTITY pic SYSTEM \"http://example.org/p\" NDATA gif>\n"
        "<!-- inside --><?pi in?>%par;]><a x='1'/>";
    EXPECT_THAT(
        linesOf(kText),
        ElementsAre(
            kDocument, " doctype a -//X http://example.org/a.dtd", "  elementtype a (b?,(c|d)+)",
            "  elementtype b (#PCDATA|c)*", "  elementtype c EMPTY", "  elementtype d ANY", "  elementtype e (#PCDATA)",
            "  attributes a [x CDATA #REQUIRED] [y (p|q) p] [z NMTOKEN #IMPLIED] [w CDATA #FIXED \"f\"]",
            "  entity in 1 text - - -", "  entity out 2 - - http://example.org/e -", "  entity par 0 <!-- --> - - -",
            "  notation gif -//GIF -", "  entity pic 3 - - http://example.org/p gif", "  comment  inside ",
            "  instruction pi in", "  reference par 0", " element a x=1 /"));
    EXPECT_THAT(linesOf(kText, kCFXMLParserSkipMetaData), ElementsAre(kDocument, " element a x=1 /"));
    EXPECT_THAT(linesOf(kText, kCFXMLParserSkipMetaData | kCFXMLParserAddImpliedAttributes),
                ElementsAre(kDocument, " element a x=1 y=p w=f /"));
}

TEST(CFXMLParser, LeavesOutCommentsWithTheMetaData) {
    EXPECT_THAT(linesOf("<!-- a --><a><!-- b -->t<!-- c --></a>", kCFXMLParserSkipMetaData),
                ElementsAre(kDocument, " element a", "  text t"));
}

TEST(CFXMLParser, LeavesOutWhiteSpaceFromMarkupToMarkupOnly) {
    EXPECT_THAT(linesOf("<a>\n  <b> t </b>\t<c> </c>\r\n</a>", kCFXMLParserSkipWhitespace),
                ElementsAre(kDocument, " element a", "  element b", "   text  t ", "  element c"));
    EXPECT_THAT(linesOf("<a> <![CDATA[ ]]></a>"), ElementsAre(kDocument, " element a", "  space  ", "  cdata  "));
    EXPECT_THAT(linesOf("<a><![CDATA[]]></a>"), ElementsAre(kDocument, " element a", "  cdata "));
}

TEST(CFXMLParser, ReplacesReferencesWhenAsked) {
    constexpr std::string_view kText = "<!DOCTYPE a [<!ENTITY e \"<b>in</b> &amp; out\">]><a>x &lt;&#65; &e;!</a>";
    EXPECT_THAT(linesOf(kText, kCFXMLParserReplacePhysicalEntities | kCFXMLParserSkipMetaData),
                ElementsAre(kDocument, " element a", "  text x <A ", "  element b", "   text in", "  text  & out!"));
    EXPECT_THAT(linesOf(kText, kCFXMLParserSkipMetaData),
                ElementsAre(kDocument, " element a", "  text x ", "  reference lt 1", "  reference #65 4", "  space  ",
                            "  reference e 1", "  text !"));
}

// ---- External entities

TEST(CFXMLParser, NeverOpensExternalEntitiesByItself) {
    const TemporaryFolder folder;
    const std::string file = std::string(folder.path()) + "/secret";
    std::ofstream(file) << "xyzzy";
    const std::string document =
        "<!DOCTYPE a SYSTEM \"file://" + file + "\" [<!ENTITY e SYSTEM \"file://" + file + "\">]><a>&e;</a>";
    for (const CFOptionFlags options : {CFOptionFlags{0}, CFOptionFlags{kCFXMLParserAllOptions}}) {
        const Lines lines = linesOf(document, options);
        EXPECT_EQ(lines.back(), "  reference e 2");
        for (const std::string& line : lines) EXPECT_EQ(line.find("xyzzy"), line.npos) << line;
    }
}

TEST(CFXMLParser, AsksForExternalEntitiesWhenTold) {
    constexpr std::string_view kText =
        "<!DOCTYPE a [<!ENTITY e PUBLIC \"-//E\" \"sub/e.xml\">]><a>before &e; after</a>";
    const auto base = hold(CFURLCreateWithString(nullptr, CFSTR("http://example.org/dir/a.xml"), nullptr));
    for (const bool isAsked : {true, false}) {
        Recorder recorder(
            kText, isAsked ? kCFXMLParserSkipMetaData | kCFXMLParserResolveExternalEntities : kCFXMLParserSkipMetaData,
            base);
        std::string asked;
        recorder.entity = [&](CFXMLExternalID* id) {
            const auto whole = hold(CFURLCopyAbsoluteURL(id->systemID));
            asked = utf8(id->publicID) + " " + utf8(CFURLGetString(whole));
            return static_cast<CFDataRef>(CFRetain(bytes("<?xml version='1.0' encoding='ISO-8859-1'?><b>\xE4</b>in")));
        };
        EXPECT_TRUE(recorder.parse()) << recorder.description();
        EXPECT_EQ(recorder.open, 0);
        if (isAsked) {
            EXPECT_EQ(asked, "-//E http://example.org/dir/sub/e.xml");
            EXPECT_THAT(recorder.lines, ElementsAre(kDocument, " element a", "  text before ", "  element b",
                                                    "   text \u00E4", "  text in after"));
        } else {
            EXPECT_EQ(asked, "");
            EXPECT_THAT(recorder.lines,
                        ElementsAre(kDocument, " element a", "  text before ", "  reference e 2", "  text  after"));
        }
    }
}

TEST(CFXMLParser, ExternalEntitiesThatReferToEachOtherEnd) {
    std::string document = "<!DOCTYPE a [";
    for (int i = 0; i < 100; ++i) {
        document += "<!ENTITY e" + std::to_string(i) + " SYSTEM \"" + std::to_string(i) + "\">";
    }
    document += "]><a>&e0;</a>";
    Recorder recorder(document, kCFXMLParserResolveExternalEntities | kCFXMLParserSkipMetaData);
    int asked = 0;
    recorder.entity = [&](CFXMLExternalID* id) {
        ++asked;
        const int number = std::stoi(utf8(CFURLGetString(id->systemID)));
        return static_cast<CFDataRef>(CFRetain(bytes("&e" + std::to_string(number + 1) + ";")));
    };
    EXPECT_TRUE(recorder.parse()) << recorder.description();
    EXPECT_LT(asked, 100);
    EXPECT_THAT(recorder.lines.back(), HasSubstr("reference"));
    Recorder self("<!DOCTYPE a [<!ENTITY e SYSTEM \"e\">]><a>&e;</a>", kCFXMLParserResolveExternalEntities);
    self.entity = [](CFXMLExternalID*) { return static_cast<CFDataRef>(CFRetain(bytes("&e;"))); };
    EXPECT_FALSE(self.parse());
}

// ---- Encodings

TEST(CFXMLParser, ReadsTheEncodingOffTheDocument) {
    struct Sample {
        std::string_view document;
        CFStringEncoding encoding;
    };
    using std::string_view_literals::operator""sv;
    const Sample kSamples[] = {
        {"\xEF\xBB\xBF<a>\xC3\xA4</a>", kCFStringEncodingUTF8},
        {"<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE4</a>", kCFStringEncodingISOLatin1},
        {"<?xml version='1.0' encoding=\"windows-1252\"?><a>\xE4</a>", kCFStringEncodingWindowsLatin1},
        {"<?xml version='1.0' encoding = 'utf-8'?><a>\xC3\xA4</a>", kCFStringEncodingUTF8},
        {"\xFE\xFF\0<\0a\0>\0\xE4\0<\0/\0a\0>"sv, kCFStringEncodingUTF16},
        {"\xFF\xFE<\0a\0>\0\xE4\0<\0/\0a\0>\0"sv, kCFStringEncodingUTF16},
        {"<\0a\0>\0\xE4\0<\0/\0a\0>\0"sv, kCFStringEncodingUTF16LE},
        {"\0<\0a\0>\0\xE4\0<\0/\0a\0>"sv, kCFStringEncodingUTF16BE},
        {"\0\0\0<\0\0\0a\0\0\0>\0\0\0\xE4\0\0\0<\0\0\0/\0\0\0a\0\0\0>"sv, kCFStringEncodingUTF32BE},
    };
    for (const Sample& sample : kSamples) {
        SCOPED_TRACE(sample.encoding);
        const Lines lines = linesOf(sample.document);
        EXPECT_EQ(lines.front(), "document " + std::to_string(sample.encoding));
        EXPECT_EQ(lines.back(), "  text \u00E4");
    }
}

TEST(CFXMLParser, RefusesEncodingsThatAreWrong) {
    EXPECT_EQ(faultOf("<?xml version='1.0' encoding='no-such-thing'?><a/>").status, kCFXMLErrorUnknownEncoding);
    EXPECT_EQ(faultOf("<?xml version='1.0' encoding='UTF-16'?><a/>").status, kCFXMLErrorUnknownEncoding);
    EXPECT_EQ(faultOf("<?xml version='1.0' encoding='Shift_JIS'?><a>\x81</a>").status,
              kCFXMLErrorEncodingConversionFailure);
    EXPECT_GT(faultOf("<a>\xFF\xFE</a>").status, 0);
}

// ---- Faults

TEST(CFXMLParser, SaysWhatIsWrongAndWhere) {
    struct Sample {
        std::string_view document;
        Fault fault;
    };
    const Sample kSamples[] = {
        {"", {kCFXMLErrorNoData, 0, 0}},
        {"  \n", {kCFXMLErrorElementlessDocument, 2, 3}},
        {"<a>", {kCFXMLErrorElementlessDocument, 1, 3}},
        {"<a", {kCFXMLErrorUnexpectedEOF, 1, 0}},
        {"<a><b></a>", {kCFXMLErrorMalformedCloseTag, 1, 8}},
        {"<a>\n\u00E4</ b></a>", {kCFXMLErrorMalformedCloseTag, 2, 7}},
        {"<a x='1' x='2'/>", {kCFXMLErrorMalformedStartTag, 1, 9}},
        {"<a x=1/>", {kCFXMLErrorMalformedStartTag, 1, 5}},
        {"<a>&undefined;</a>", {kCFXMLErrorMalformedParsedCharacterData, 1, 3}},
        {"<a>&#0;</a>", {kCFXMLErrorMalformedCharacterReference, 1, 3}},
        {"<a>&#xZ;</a>", {kCFXMLErrorMalformedCharacterReference, 1, 6}},
        {"<a>x & y</a>", {kCFXMLErrorMalformedParsedCharacterData, 1, 6}},
        {"<a>x ]]> y</a>", {kCFXMLErrorMalformedParsedCharacterData, 1, 7}},
        {"<a/><b/>", {kCFXMLErrorMalformedDocument, 1, 4}},
        {"<a/>text", {kCFXMLErrorMalformedDocument, 1, 4}},
        {"text", {kCFXMLErrorMalformedDocument, 1, 0}},
        {"<a><![CDATA[x</a>", {kCFXMLErrorMalformedCDSect, 1, 17}},
        {"<a><!-- x -- y --></a>", {kCFXMLErrorMalformedComment, 1, 12}},
        {"<a><?xml version='1.0'?></a>", {kCFXMLErrorMalformedProcessingInstruction, 1, 3}},
        {"<!DOCTYPE a [<!ELEMENT>]><a/>", {kCFXMLErrorMalformedDTD, 1, 22}},
    };
    for (const Sample& sample : kSamples) {
        SCOPED_TRACE(sample.document);
        const Fault fault = faultOf(sample.document);
        EXPECT_EQ(fault.status, sample.fault.status);
        EXPECT_EQ(fault.line, sample.fault.line);
        EXPECT_EQ(fault.location, sample.fault.location);
    }
}

TEST(CFXMLParser, CountsCharactersAndLinesAsItGoes) {
    struct Places {
        std::vector<std::pair<CFIndex, CFIndex>> seen;
    } places;
    CFXMLParserCallBacks callBacks{0,
                                   [](CFXMLParserRef parser, CFXMLNodeRef node, void* info) -> void* {
                                       if (CFXMLNodeGetTypeCode(node) == kCFXMLNodeTypeElement) {
                                           static_cast<Places*>(info)->seen.emplace_back(
                                               CFXMLParserGetLocation(parser), CFXMLParserGetLineNumber(parser));
                                           EXPECT_EQ(CFXMLParserGetStatusCode(parser), kCFXMLStatusParseInProgress);
                                       }
                                       return info;
                                   },
                                   [](CFXMLParserRef, void*, void*, void*) {},
                                   [](CFXMLParserRef, void*, void*) {},
                                   nullptr,
                                   nullptr};
    CFXMLParserContext context{0, &places, nullptr, nullptr, nullptr};
    const auto parser = hold(CFXMLParserCreate(nullptr, bytes("<a>\u65E5\u672C\n<b/>\U0001F600<c/>\n\n<d/></a>"),
                                               nullptr, kCFXMLParserNoOptions, 1, &callBacks, &context));
    EXPECT_EQ(CFXMLParserGetLineNumber(parser), 0);
    ASSERT_TRUE(CFXMLParserParse(parser));
    EXPECT_THAT(places.seen, ElementsAre(std::pair(0, 1), std::pair(6, 2), std::pair(11, 2), std::pair(17, 4)));
}

TEST(CFXMLParser, AnAbortEndsTheParsingWithItsStatus) {
    Recorder recorder("<a><b/><c/></a>");
    recorder.wants = [&](CFXMLNodeRef node) {
        if (shown(CFXMLNodeGetString(node)) != "b") return true;
        CFXMLParserAbort(recorder.get(), 77, CFSTR("enough"));
        CFXMLParserAbort(recorder.get(), 78, CFSTR("too late"));
        return false;
    };
    EXPECT_FALSE(recorder.parse());
    EXPECT_EQ(recorder.status(), 77);
    EXPECT_EQ(recorder.description(), "enough");
    EXPECT_THAT(recorder.lines, ElementsAre(kDocument, " element a"));
    EXPECT_THAT(recorder.faults, ElementsAre()) << "nobody asks about a fault";
    CFXMLParserAbort(recorder.get(), 5, nullptr);
    EXPECT_EQ(recorder.status(), 77) << "it parses no more";
}

TEST(CFXMLParser, ParsesOnce) {
    Recorder recorder("<a/>");
    EXPECT_EQ(recorder.status(), kCFXMLStatusParseNotBegun);
    EXPECT_TRUE(recorder.parse());
    EXPECT_FALSE(recorder.parse());
    EXPECT_EQ(recorder.lines.size(), 2u);
    EXPECT_EQ(recorder.description(), "-");
}

TEST(CFXMLParser, KeepsWhatItWasMadeWith) {
    int retained = 0;
    CFXMLParserContext context{
        0, &retained,
        [](const void* info) -> const void* { return ++*static_cast<int*>(const_cast<void*>(info)), info; },
        [](const void* info) { --*static_cast<int*>(const_cast<void*>(info)); }, nullptr};
    CFXMLParserCallBacks callBacks{0,
                                   [](CFXMLParserRef, CFXMLNodeRef, void*) -> void* { return nullptr; },
                                   [](CFXMLParserRef, void*, void*, void*) {},
                                   [](CFXMLParserRef, void*, void*) {},
                                   nullptr,
                                   nullptr};
    const auto source = hold(CFURLCreateWithString(nullptr, CFSTR("http://example.org/"), nullptr));
    auto parser = hold(CFXMLParserCreate(nullptr, bytes("<a/>"), source, 0, 1, &callBacks, &context));
    EXPECT_EQ(retained, 1);
    EXPECT_EQ(CFGetTypeID(parser), CFXMLParserGetTypeID());
    CFXMLParserContext keptContext{};
    CFXMLParserGetContext(parser, &keptContext);
    EXPECT_EQ(keptContext.info, &retained);
    CFXMLParserCallBacks keptCallBacks{};
    CFXMLParserGetCallBacks(parser, &keptCallBacks);
    EXPECT_EQ(keptCallBacks.createXMLStructure, callBacks.createXMLStructure);
    EXPECT_TRUE(CFEqual(CFXMLParserGetSourceURL(parser), source));
    EXPECT_EQ(CFXMLParserGetDocument(parser), nullptr);
    parser.reset();
    EXPECT_EQ(retained, 0);
}

TEST(CFXMLParser, RefusesWhatIsMissingOrOfAnotherVersion) {
    const auto data = bytes("<a/>");
    const CFXMLParserCallBacks all{0,
                                   [](CFXMLParserRef, CFXMLNodeRef, void*) -> void* { return nullptr; },
                                   [](CFXMLParserRef, void*, void*, void*) {},
                                   [](CFXMLParserRef, void*, void*) {},
                                   nullptr,
                                   nullptr};
    const auto isMade = [&](CFXMLParserCallBacks callBacks, CFIndex version = 1, CFIndex contextVersion = 0) {
        CFXMLParserContext context{contextVersion, nullptr, nullptr, nullptr, nullptr};
        return hold(CFXMLParserCreate(nullptr, data, nullptr, 0, version, &callBacks, &context)).get() != nullptr;
    };
    EXPECT_TRUE(isMade(all));
    EXPECT_TRUE(isMade(all, 0));
    auto bad = all;
    bad.version = 1;
    EXPECT_FALSE(isMade(bad));
    bad = all, bad.createXMLStructure = nullptr;
    EXPECT_FALSE(isMade(bad));
    bad = all, bad.addChild = nullptr;
    EXPECT_FALSE(isMade(bad));
    bad = all, bad.endXMLStructure = nullptr;
    EXPECT_FALSE(isMade(bad));
    EXPECT_FALSE(isMade(all, 2));
    EXPECT_FALSE(isMade(all, -1));
    EXPECT_FALSE(isMade(all, 1, 1));
}

TEST(CFXMLParser, ReadsTheFileAtAURL) {
    const TemporaryFolder folder;
    const std::string file = std::string(folder.path()) + "/a.xml";
    std::ofstream(file) << "<a>text</a>";
    const auto url = hold(CFURLCreateFromFileSystemRepresentation(nullptr, reinterpret_cast<const UInt8*>(file.data()),
                                                                  static_cast<CFIndex>(file.size()), false));
    const auto tree = hold(CFXMLTreeCreateWithDataFromURL(nullptr, url, kCFXMLParserNoOptions, 1));
    ASSERT_TRUE(tree);
    EXPECT_EQ(textOf(hold(CFXMLTreeCreateXMLData(nullptr, tree))), "<a>text</a>");
    std::remove(file.c_str());
    EXPECT_EQ(CFXMLTreeCreateWithDataFromURL(nullptr, url, kCFXMLParserNoOptions, 1), nullptr);
}

// ---- Hostile documents

TEST(CFXMLParser, DepthIsNotLimitedByTheStack) {
    constexpr int kDepth = 100'000;
    std::string document;
    for (int i = 0; i < kDepth; ++i) document += "<a>";
    for (int i = 0; i < kDepth; ++i) document += "</a>";
    EXPECT_EQ(rewritten(document), document);
    std::string model = "<!DOCTYPE a [<!ELEMENT a ";
    for (int i = 0; i < 1000; ++i) model += "(";
    model += "b";
    for (int i = 0; i < 1000; ++i) model += ")";
    EXPECT_EQ(linesOf(model + ">]><a/>").size(), 4u);
}

TEST(CFXMLParser, RefusesEntitiesThatGrowBeyondMeasure) {
    std::string document = "<!DOCTYPE a [<!ENTITY e0 \"0123456789012345678901234567890123456789\">";
    for (int i = 1; i < 12; ++i) {
        document += "<!ENTITY e" + std::to_string(i) + " \"";
        for (int n = 0; n < 10; ++n) document += "&e" + std::to_string(i - 1) + ";";
        document += "\">";
    }
    document += "]><a>&e11;</a>";
    EXPECT_EQ(faultOf(document, kCFXMLParserReplacePhysicalEntities | kCFXMLParserSkipMetaData).status,
              kCFXMLErrorMalformedParsedCharacterData);
    EXPECT_EQ(linesOf(document).back(), "  reference e11 1");
}

TEST(CFXMLParser, SurvivesEveryDocumentCutShortOrChanged) {
    const std::string document =
        "<?xml version=\"1.0\"?><!DOCTYPE a [<!ELEMENT a (b|c)*><!ATTLIST a x CDATA #IMPLIED>"
        "<!ENTITY e \"t\">]><a x=\"&lt;\"><b/>&e;<![CDATA[d]]><!--c--><?p i?>\u00E4</a>";
    for (std::size_t i = 0; i < document.size(); ++i) {
        for (const CFOptionFlags options : {CFOptionFlags{0}, CFOptionFlags{kCFXMLParserAllOptions}}) {
            rewritten(std::string_view(document).substr(0, i), options);
            for (const char c : {'\0', '<', '&', '"', '\xFF', ']'}) {
                std::string changed = document;
                changed[i] = c;
                rewritten(changed, options);
            }
        }
    }
}

// ---- Trees

TEST(CFXMLTree, IsWrittenAsItWasRead) {
    for (const std::string_view document :
         {"<a/>", "<a></a>", "<a x=\"1\" y=\"&lt;&amp;&quot;'&#10;\">t &lt; &#65; <b/><![CDATA[<x>]]></a>",
          "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!-- c -->\n<a>\n  <b>\u65E5</b>\n</a>\n",
          "<!DOCTYPE a PUBLIC \"-//X\" \"http://example.org/a.dtd\"><a/>",
          "<!DOCTYPE a SYSTEM \"a.dtd\" [\n<!ELEMENT a (#PCDATA)>\n<!ATTLIST a x CDATA #IMPLIED y CDATA \"1\">\n"
          "<!ENTITY e \"say 'x'\">\n<!ENTITY % p SYSTEM \"p.ent\">\n<!NOTATION n PUBLIC \"-//N\">\n"
          "<!ENTITY pic SYSTEM \"p.gif\" NDATA n>\n<!-- c -->\n<?p i?>\n%p;\n]><a>&e;</a>"}) {
        EXPECT_EQ(rewritten(document), document);
    }
    EXPECT_EQ(rewritten("<a x='1'   y = '&#62;'/ >"), "(no tree)");
    const std::string values =
        "<!DOCTYPE a [\n<!ENTITY e \"&#37;&#38;&lt;&#34;'&#38;#65;\">\n<!ATTLIST a x CDATA #FIXED \"&lt;&quot;\" y CDATA "
        "\"#z\">\n<!ENTITY f SYSTEM \"\">\n]><a/>";
    EXPECT_EQ(rewritten(values), values);
    EXPECT_EQ(rewritten("<?x y?>\r\n<a>\r\n</a>\r"), "<?x y?>\n<a>\n</a>\n");
    EXPECT_EQ(rewritten("<a x='1'   y = '&#62;' />"), "<a x=\"1\" y=\"&gt;\"/>");
    EXPECT_EQ(rewritten("<a>x &lt;&#62;&#13;</a>", kCFXMLParserReplacePhysicalEntities), "<a>x &lt;&gt;&#13;</a>");
}

TEST(CFXMLTree, IsWrittenInTheEncodingOfItsDocument) {
    const std::string document = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a x=\"\xE4\">\xFC</a>";
    EXPECT_EQ(rewritten(document), document);
    const auto tree = hold(CFXMLTreeCreateFromData(nullptr, bytes(document), nullptr, 0, 1));
    const auto more = hold(CFXMLNodeCreate(nullptr, kCFXMLNodeTypeText, text("\u65E5"), nullptr, 1));
    CFTreeAppendChild(CFTreeGetChildAtIndex(tree, 1), hold(CFXMLTreeCreateWithNode(nullptr, more)));
    EXPECT_EQ(textOf(hold(CFXMLTreeCreateXMLData(nullptr, tree))),
              "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a x=\"&#228;\">&#252;&#26085;</a>")
        << "by numbers when the encoding lacks one";
    const auto odd = hold(CFXMLNodeCreate(nullptr, kCFXMLNodeTypeComment, text("\u65E5"), nullptr, 1));
    CFTreeAppendChild(tree, hold(CFXMLTreeCreateWithNode(nullptr, odd)));
    EXPECT_EQ(CFXMLTreeCreateXMLData(nullptr, tree), nullptr) << "a comment knows no numbers";
}

TEST(CFXMLTree, PartsOfATreeAreWrittenToo) {
    const auto tree = hold(CFXMLTreeCreateFromData(nullptr, bytes("<a><b x=\"1\">t</b></a>"), nullptr, 0, 1));
    const CFXMLTreeRef a = CFTreeGetFirstChild(tree);
    EXPECT_EQ(textOf(hold(CFXMLTreeCreateXMLData(nullptr, CFTreeGetFirstChild(a)))), "<b x=\"1\">t</b>");
    const auto cdata = hold(CFXMLNodeCreate(nullptr, kCFXMLNodeTypeCDATASection, CFSTR("a]]>b"), nullptr, 1));
    EXPECT_EQ(textOf(hold(CFXMLTreeCreateXMLData(nullptr, hold(CFXMLTreeCreateWithNode(nullptr, cdata))))),
              "<![CDATA[a]]]]><![CDATA[>b]]>");
}

TEST(CFXMLTree, SaysWhyThereIsNone) {
    CFDictionaryRef errors = nullptr;
    EXPECT_EQ(CFXMLTreeCreateFromDataWithError(nullptr, bytes("<a>\n<b></a>"), nullptr, 0, 1, &errors), nullptr);
    const auto held = hold(errors);
    ASSERT_TRUE(held);
    const auto numberOf = [&](CFStringRef key) {
        CFIndex value = -1;
        CFNumberGetValue(static_cast<CFNumberRef>(CFDictionaryGetValue(held, key)), kCFNumberCFIndexType, &value);
        return value;
    };
    EXPECT_EQ(numberOf(kCFXMLTreeErrorStatusCode), kCFXMLErrorMalformedCloseTag);
    EXPECT_EQ(numberOf(kCFXMLTreeErrorLineNumber), 2);
    EXPECT_EQ(numberOf(kCFXMLTreeErrorLocation), 9);
    EXPECT_EQ(utf8(static_cast<CFStringRef>(CFDictionaryGetValue(held, kCFXMLTreeErrorDescription))), "mismatched tag");
    errors = held;
    const auto tree = hold(CFXMLTreeCreateFromDataWithError(nullptr, bytes("<a/>"), nullptr, 0, 1, &errors));
    EXPECT_TRUE(tree);
    EXPECT_EQ(errors, nullptr);
    EXPECT_EQ(CFXMLTreeCreateFromData(nullptr, bytes("<a>"), nullptr, 0, 1), nullptr);
}

// ---- Entities in text

TEST(CFXMLEntities, EscapesAndUnescapes) {
    const auto escaped = [](std::string_view utf8Text, CFDictionaryRef entities = nullptr) {
        return utf8(hold(CFXMLCreateStringByEscapingEntities(nullptr, text(utf8Text), entities)));
    };
    const auto unescaped = [](std::string_view utf8Text, CFDictionaryRef entities = nullptr) {
        return utf8(hold(CFXMLCreateStringByUnescapingEntities(nullptr, text(utf8Text), entities)));
    };
    const void* keys[] = {CFSTR("copy"), CFSTR("arrow"), CFSTR("dash")};
    const void* values[] = {text("\u00A9").get(), CFSTR("->"), CFSTR("-")};
    const auto copyright = text("\u00A9");
    values[0] = copyright;
    const auto entities = hold(
        CFDictionaryCreate(nullptr, keys, values, 3, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    EXPECT_EQ(escaped("a<b>&\"c'\u65E5"), "a&lt;b&gt;&amp;&quot;c&apos;\u65E5");
    EXPECT_EQ(escaped("\u00A9 a->b - >", entities), "&copy; a&arrow;b &dash; &gt;");
    EXPECT_EQ(escaped(""), "");
    EXPECT_EQ(unescaped("a&lt;b&gt;&amp;&quot;c&apos;\u65E5"), "a<b>&\"c'\u65E5");
    EXPECT_EQ(unescaped("&copy;&arrow;&lt;", entities), "\u00A9-><");
    EXPECT_EQ(unescaped("&#65;&#x42;&#x1F600;"), "AB\U0001F600");
    for (const char* const unknown : {"&copy;", "&", "&;", "&&lt", "&#;", "&#x;", "&#xD800;", "&#1114112;", "&#0;",
                                      "&#99999999999999;", "&# 65;", "&lt"}) {
        EXPECT_EQ(unescaped(unknown), unknown);
    }
    EXPECT_EQ(unescaped("&&amp;&amp;lt;"), "&&&lt;");
}

TEST(CFXMLParser, SurvivesNullArgumentsAndForeignObjects) {
    const auto foreign = const_cast<void*>(static_cast<const void*>(CFSTR("x")));
    const auto data = bytes("<a/>");
    CFXMLParserCallBacks callBacks{};
    CFXMLParserContext context{};
    EXPECT_EQ(CFXMLParserCreate(nullptr, nullptr, nullptr, 0, 1, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFXMLParserCreate(nullptr, data, nullptr, 0, 1, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFXMLParserCreateWithDataFromURL(nullptr, nullptr, 0, 1, &callBacks, nullptr), nullptr);
    for (const CFXMLParserRef bad : {static_cast<CFXMLParserRef>(nullptr), static_cast<CFXMLParserRef>(foreign)}) {
        CFXMLParserGetContext(bad, &context);
        CFXMLParserGetCallBacks(bad, &callBacks);
        EXPECT_EQ(CFXMLParserGetSourceURL(bad), nullptr);
        EXPECT_EQ(CFXMLParserGetLocation(bad), 0);
        EXPECT_EQ(CFXMLParserGetLineNumber(bad), 0);
        EXPECT_EQ(CFXMLParserGetDocument(bad), nullptr);
        EXPECT_EQ(CFXMLParserGetStatusCode(bad), kCFXMLStatusParseNotBegun);
        EXPECT_EQ(CFXMLParserCopyErrorDescription(bad), nullptr);
        CFXMLParserAbort(bad, 1, nullptr);
        EXPECT_FALSE(CFXMLParserParse(bad));
    }
    Recorder recorder("<a/>");
    CFXMLParserGetContext(recorder.get(), nullptr);
    CFXMLParserGetCallBacks(recorder.get(), nullptr);
    EXPECT_EQ(CFXMLTreeCreateFromData(nullptr, nullptr, nullptr, 0, 1), nullptr);
    EXPECT_EQ(CFXMLTreeCreateFromDataWithError(nullptr, nullptr, nullptr, 0, 1, nullptr), nullptr);
    EXPECT_EQ(CFXMLTreeCreateFromDataWithError(nullptr, bytes("<"), nullptr, 0, 1, nullptr), nullptr);
    EXPECT_EQ(CFXMLTreeCreateWithDataFromURL(nullptr, nullptr, 0, 1), nullptr);
    EXPECT_EQ(CFXMLTreeCreateXMLData(nullptr, nullptr), nullptr);
    EXPECT_EQ(CFXMLCreateStringByEscapingEntities(nullptr, nullptr, nullptr), nullptr);
    EXPECT_EQ(CFXMLCreateStringByUnescapingEntities(nullptr, nullptr, nullptr), nullptr);
}
