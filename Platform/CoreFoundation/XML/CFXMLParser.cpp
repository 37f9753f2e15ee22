#include "XMLParser.h"
#include "XMLReader.h"

#include "CoreFoundation/Object/Description.h"

#include <CoreFoundation/CFURLAccess.h>

#include <cstring>
#include <new>

using namespace KXPlatform;

namespace {

void finalizeParser(Object* object) noexcept { finalizeAs<__CFXMLParser>(object); }

CFStringRef describeParser(const Object* object) {
    const auto& parser = *static_cast<const __CFXMLParser*>(object);
    Description description;
    description.appendHeading(object);
    description.format("{status = %ld}", static_cast<long>(parser.status));
    return description.take();
}

/// `given`, or an empty one, with its info retained.
CFXMLParserContext kept(const CFXMLParserContext& given) noexcept {
    CFXMLParserContext context = given;
    if (context.info && context.retain) context.info = const_cast<void*>(context.retain(context.info));
    return context;
}

__CFXMLParser* checked(CFXMLParserRef parser) noexcept {
    return isOfType(parser, TypeID::XMLParser) ? parser : nullptr;
}

const char* textOf(CFXMLParserStatusCode fault) noexcept {
    switch (fault) {
        case kCFXMLErrorNoData:
            return "there is no document";
        case kCFXMLErrorUnknownEncoding:
            return "the encoding of the document is not known";
        default:
            return "the document is not in the encoding that it names";
    }
}

/// Parses; the outcome stands in the parser's status. Throws std::bad_alloc.
void parse(__CFXMLParser& parser) {
    const XMLDocument document = openXMLDocument(parser.data.get());
    if (document.fault != kCFXMLStatusParseSuccessful) {
        parser.status = document.fault;
        parser.description = stringOf(textOf(document.fault));
        return;
    }
    XMLReader reader(parser, document);
    parser.reader = &reader;
    const struct Finish {
        __CFXMLParser& parser;
        ~Finish() { parser.reader = nullptr; }
    } finish{parser};
    reader.run();
}

}  // namespace

constinit const Class KXPlatform::kXMLParserClass{TypeID::XMLParser, finalizeParser, nullptr, nullptr, describeParser};

__CFXMLParser::__CFXMLParser(CFDataRef d, CFURLRef s, CFOptionFlags o, CFIndex v, const CFXMLParserCallBacks& c,
                             const CFXMLParserContext& x) noexcept
    : Object(kXMLParserClass),
      data(Retained<const __CFData>::retaining(d)),
      source(Retained<const __CFURL>::retaining(s)),
      options(o),
      versionOfNodes(v),
      callBacks(c),
      context(kept(x)) {}

__CFXMLParser::~__CFXMLParser() {
    if (context.info && context.release) context.release(context.info);
}

CFTypeID CFXMLParserGetTypeID() { return number(TypeID::XMLParser); }

CFXMLParserRef CFXMLParserCreate(CFAllocatorRef allocator, CFDataRef xmlData, CFURLRef dataSource,
                                 CFOptionFlags parseOptions, CFIndex versionOfNodes, CFXMLParserCallBacks* callBacks,
                                 CFXMLParserContext* context) {
    if (!isOfType(xmlData, TypeID::Data) || !callBacks || callBacks->version != 0) return nullptr;
    if (!callBacks->createXMLStructure || !callBacks->addChild || !callBacks->endXMLStructure) return nullptr;
    if (versionOfNodes < 0 || versionOfNodes > kCFXMLNodeCurrentVersion) return nullptr;
    if (context && context->version != 0) return nullptr;
    const auto data = Retained<const __CFData>::adopting(CFDataCreateCopy(allocator, xmlData));
    if (!data) return nullptr;
    return make<__CFXMLParser>(allocator, 0, data.get(), isOfType(dataSource, TypeID::URL) ? dataSource : nullptr,
                               parseOptions, versionOfNodes, *callBacks, context ? *context : CFXMLParserContext{});
}

CFXMLParserRef CFXMLParserCreateWithDataFromURL(CFAllocatorRef allocator, CFURLRef dataSource,
                                                CFOptionFlags parseOptions, CFIndex versionOfNodes,
                                                CFXMLParserCallBacks* callBacks, CFXMLParserContext* context) {
    CFDataRef read = nullptr;
    if (!isOfType(dataSource, TypeID::URL) ||
        !CFURLCreateDataAndPropertiesFromResource(allocator, dataSource, &read, nullptr, nullptr, nullptr))
        return nullptr;
    const auto data = Retained<const __CFData>::adopting(read);
    return CFXMLParserCreate(allocator, data.get(), dataSource, parseOptions, versionOfNodes, callBacks, context);
}

void CFXMLParserGetContext(CFXMLParserRef parser, CFXMLParserContext* context) {
    if (checked(parser) && context && context->version == 0) *context = parser->context;
}

void CFXMLParserGetCallBacks(CFXMLParserRef parser, CFXMLParserCallBacks* callBacks) {
    if (checked(parser) && callBacks) *callBacks = parser->callBacks;
}

CFURLRef CFXMLParserGetSourceURL(CFXMLParserRef parser) { return checked(parser) ? parser->source.get() : nullptr; }

CFIndex CFXMLParserGetLocation(CFXMLParserRef parser) {
    if (!checked(parser)) return 0;
    return parser->reader ? parser->reader->location() : parser->location;
}

CFIndex CFXMLParserGetLineNumber(CFXMLParserRef parser) {
    if (!checked(parser)) return 0;
    return parser->reader ? parser->reader->line() : parser->line;
}

void* CFXMLParserGetDocument(CFXMLParserRef parser) { return checked(parser) ? parser->document : nullptr; }

CFXMLParserStatusCode CFXMLParserGetStatusCode(CFXMLParserRef parser) {
    return checked(parser) ? parser->status : kCFXMLStatusParseNotBegun;
}

CFStringRef CFXMLParserCopyErrorDescription(CFXMLParserRef parser) {
    return checked(parser) ? Retained(parser->description).release() : nullptr;
}

void CFXMLParserAbort(CFXMLParserRef parser, CFXMLParserStatusCode errorCode, CFStringRef errorDescription) {
    if (checked(parser) && parser->reader && errorCode > kCFXMLStatusParseSuccessful) {
        parser->reader->abort(errorCode, errorDescription);
    }
}

Boolean CFXMLParserParse(CFXMLParserRef parser) {
    if (!checked(parser) || parser->status != kCFXMLStatusParseNotBegun) return false;
    const auto self = Retained<__CFXMLParser>::retaining(parser);
    parser->status = kCFXMLStatusParseInProgress;
    bool isAborted = false;
    try {
        parse(*parser);
        isAborted = parser->wasAborted;
    } catch (const std::bad_alloc&) {
        parser->status = kCFXMLErrorMalformedDocument;
        parser->description = {};
    }
    if (parser->status == kCFXMLStatusParseSuccessful) return true;
    if (!isAborted && parser->callBacks.handleError) {
        parser->callBacks.handleError(parser, parser->status, parser->context.info);
    }
    return false;
}
