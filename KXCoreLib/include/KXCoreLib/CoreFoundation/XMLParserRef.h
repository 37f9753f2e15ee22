#pragma once

#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>
#include <KXCoreLib/CoreFoundation/URLRef.h>

#include <CoreFoundation/CFXMLParser.h>

namespace KXCore::CoreFoundation {

/// Reads an XML document by callbacks, in memory that does not grow with it. Used on one thread at a time.
class KX_EXPORT XMLParserRef : public TypedRef<XMLParserRef, CFXMLParserRef> {
  public:
    static constexpr const char* typeName = "CFXMLParserRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// Retains the document and copies both records. Options are of CFXMLParserOptions; `dataSource`, which may be
    /// null, is what identifiers in the document are relative to.
    static XMLParserRef create(CFAllocatorRef allocator, CFDataRef xmlData, CFURLRef dataSource,
                               CFOptionFlags parseOptions, CFIndex versionOfNodes, CFXMLParserCallBacks* callBacks,
                               CFXMLParserContext* context);
    /// Reads the file now.
    static XMLParserRef createWithDataFromURL(CFAllocatorRef allocator, CFURLRef dataSource, CFOptionFlags parseOptions,
                                              CFIndex versionOfNodes, CFXMLParserCallBacks* callBacks,
                                              CFXMLParserContext* context);
    /// `entitiesDictionary`, which may be null, has texts by names, beside the five that XML has.
    static StringRef xMLCreateStringByEscapingEntities(CFAllocatorRef allocator, CFStringRef string,
                                                       CFDictionaryRef entitiesDictionary);
    /// What refers to nothing known stays as it is.
    static StringRef xMLCreateStringByUnescapingEntities(CFAllocatorRef allocator, CFStringRef string,
                                                         CFDictionaryRef entitiesDictionary);

    void getContext(CFXMLParserContext* context) const;
    void getCallBacks(CFXMLParserCallBacks* callBacks) const;
    URLRef getSourceURL() const;
    /// Characters before what is being reported, or before the fault.
    CFIndex getLocation() const;
    /// From 1; 0 before parsing has begun.
    CFIndex getLineNumber() const;
    /// What the callback made for the document.
    void* getDocument() const;
    CFXMLParserStatusCode getStatusCode() const;
    /// A failure when nothing is wrong.
    StringRef copyErrorDescription() const;
    /// In a callback: ends the parsing. `errorDescription` may be null.
    void abort(CFXMLParserStatusCode errorCode, CFStringRef errorDescription) const;
    /// Parses the document, once. Whether it is well-formed, to its end.
    Boolean parse() const;
};
static_assert(isPlainRef<XMLParserRef>);

}  // namespace KXCore::CoreFoundation
