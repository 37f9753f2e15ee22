#include <KXCoreLib/CoreFoundation/XMLParserRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID XMLParserRef::getTypeID() { return CFXMLParserGetTypeID(); }

XMLParserRef XMLParserRef::create(CFAllocatorRef allocator, CFDataRef xmlData, CFURLRef dataSource,
                                  CFOptionFlags parseOptions, CFIndex versionOfNodes, CFXMLParserCallBacks* callBacks,
                                  CFXMLParserContext* context) {
    return KX_CREATE(XMLParserRef, CFXMLParserCreate)(allocator, xmlData, dataSource, parseOptions, versionOfNodes,
                                                      callBacks, context);
}

XMLParserRef XMLParserRef::createWithDataFromURL(CFAllocatorRef allocator, CFURLRef dataSource,
                                                 CFOptionFlags parseOptions, CFIndex versionOfNodes,
                                                 CFXMLParserCallBacks* callBacks, CFXMLParserContext* context) {
    return KX_CREATE(XMLParserRef, CFXMLParserCreateWithDataFromURL)(allocator, dataSource, parseOptions,
                                                                     versionOfNodes, callBacks, context);
}

StringRef XMLParserRef::xMLCreateStringByEscapingEntities(CFAllocatorRef allocator, CFStringRef string,
                                                          CFDictionaryRef entitiesDictionary) {
    return KX_CREATE(StringRef, CFXMLCreateStringByEscapingEntities)(allocator, string, entitiesDictionary);
}

StringRef XMLParserRef::xMLCreateStringByUnescapingEntities(CFAllocatorRef allocator, CFStringRef string,
                                                            CFDictionaryRef entitiesDictionary) {
    return KX_CREATE(StringRef, CFXMLCreateStringByUnescapingEntities)(allocator, string, entitiesDictionary);
}

void XMLParserRef::getContext(CFXMLParserContext* context) const { CFXMLParserGetContext(get(), context); }
void XMLParserRef::getCallBacks(CFXMLParserCallBacks* callBacks) const { CFXMLParserGetCallBacks(get(), callBacks); }
URLRef XMLParserRef::getSourceURL() const { return URLRef::retain(CFXMLParserGetSourceURL(get())); }
CFIndex XMLParserRef::getLocation() const { return CFXMLParserGetLocation(get()); }
CFIndex XMLParserRef::getLineNumber() const { return CFXMLParserGetLineNumber(get()); }
void* XMLParserRef::getDocument() const { return CFXMLParserGetDocument(get()); }
CFXMLParserStatusCode XMLParserRef::getStatusCode() const { return CFXMLParserGetStatusCode(get()); }

StringRef XMLParserRef::copyErrorDescription() const {
    return KX_CREATE(StringRef, CFXMLParserCopyErrorDescription)(get());
}

void XMLParserRef::abort(CFXMLParserStatusCode errorCode, CFStringRef errorDescription) const {
    CFXMLParserAbort(get(), errorCode, errorDescription);
}

Boolean XMLParserRef::parse() const { return CFXMLParserParse(get()); }

}  // namespace KXCore::CoreFoundation
