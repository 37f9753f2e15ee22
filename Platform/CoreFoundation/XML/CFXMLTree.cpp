#include "XMLNode.h"
#include "XMLParser.h"
#include "XMLWriter.h"

#include "CoreFoundation/String/CFStringObject.h"

#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFURLAccess.h>
#include <CoreFoundation/CFXMLParser.h>

#include <new>

using namespace KXPlatform;

namespace {

constinit const StringConstant errorDescription("kCFXMLTreeErrorDescription");
constinit const StringConstant errorLineNumber("kCFXMLTreeErrorLineNumber");
constinit const StringConstant errorLocation("kCFXMLTreeErrorLocation");
constinit const StringConstant errorStatusCode("kCFXMLTreeErrorStatusCode");

using Tree = Retained<__CFTree>;

// The parser's callbacks that make a tree. Only the root's reference is the caller's; a child is its parent's.

void* createTree(CFXMLParserRef parser, CFXMLNodeRef node, void*) {
    const CFXMLTreeRef made = CFXMLTreeCreateWithNode(CFGetAllocator(parser), node);
    if (!made) CFXMLParserAbort(parser, kCFXMLErrorMalformedDocument, CFSTR("out of memory"));
    return made;
}

void addTree(CFXMLParserRef, void* parent, void* child, void*) {
    CFTreeAppendChild(static_cast<CFTreeRef>(parent), static_cast<CFTreeRef>(child));
    CFRelease(child);
}

void endTree(CFXMLParserRef, void*, void*) {}

/// What went wrong, as a dictionary that the caller owns; null when there is no memory.
CFDictionaryRef createErrors(CFXMLParserRef parser) {
    const auto numberOf = [](CFIndex value) {
        return Retained<const __CFNumber>::adopting(CFNumberCreate(nullptr, kCFNumberCFIndexType, &value));
    };
    const auto description = Retained<const __CFString>::adopting(CFXMLParserCopyErrorDescription(parser));
    const auto line = numberOf(CFXMLParserGetLineNumber(parser));
    const auto location = numberOf(CFXMLParserGetLocation(parser));
    const auto status = numberOf(CFXMLParserGetStatusCode(parser));
    if (!line || !location || !status) return nullptr;
    const void* keys[] = {kCFXMLTreeErrorDescription, kCFXMLTreeErrorLineNumber, kCFXMLTreeErrorLocation,
                          kCFXMLTreeErrorStatusCode};
    const void* values[] = {description ? description.get() : CFSTR("out of memory"), line.get(), location.get(),
                            status.get()};
    return CFDictionaryCreate(nullptr, keys, values, 4, &kCFTypeDictionaryKeyCallBacks,
                              &kCFTypeDictionaryValueCallBacks);
}

}  // namespace

const CFStringRef kCFXMLTreeErrorDescription = &errorDescription;
const CFStringRef kCFXMLTreeErrorLineNumber = &errorLineNumber;
const CFStringRef kCFXMLTreeErrorLocation = &errorLocation;
const CFStringRef kCFXMLTreeErrorStatusCode = &errorStatusCode;

CFXMLTreeRef CFXMLTreeCreateFromData(CFAllocatorRef allocator, CFDataRef xmlData, CFURLRef dataSource,
                                     CFOptionFlags parseOptions, CFIndex versionOfNodes) {
    return CFXMLTreeCreateFromDataWithError(allocator, xmlData, dataSource, parseOptions, versionOfNodes, nullptr);
}

CFXMLTreeRef CFXMLTreeCreateFromDataWithError(CFAllocatorRef allocator, CFDataRef xmlData, CFURLRef dataSource,
                                              CFOptionFlags parseOptions, CFIndex versionOfNodes,
                                              CFDictionaryRef* errorDict) {
    if (errorDict) *errorDict = nullptr;
    CFXMLParserCallBacks callBacks{0, createTree, addTree, endTree, nullptr, nullptr};
    const auto parser = Retained<__CFXMLParser>::adopting(
        CFXMLParserCreate(allocator, xmlData, dataSource, parseOptions, versionOfNodes, &callBacks, nullptr));
    if (!parser) return nullptr;
    const bool isWhole = CFXMLParserParse(parser.get());
    auto tree = Tree::adopting(static_cast<CFXMLTreeRef>(CFXMLParserGetDocument(parser.get())));
    if (isWhole) return tree.release();
    if (errorDict) *errorDict = createErrors(parser.get());
    return nullptr;
}

CFXMLTreeRef CFXMLTreeCreateWithDataFromURL(CFAllocatorRef allocator, CFURLRef dataSource, CFOptionFlags parseOptions,
                                            CFIndex versionOfNodes) {
    CFDataRef read = nullptr;
    if (!isOfType(dataSource, TypeID::URL) ||
        !CFURLCreateDataAndPropertiesFromResource(allocator, dataSource, &read, nullptr, nullptr, nullptr))
        return nullptr;
    const auto data = Retained<const __CFData>::adopting(read);
    return CFXMLTreeCreateFromData(allocator, data.get(), dataSource, parseOptions, versionOfNodes);
}

CFDataRef CFXMLTreeCreateXMLData(CFAllocatorRef allocator, CFXMLTreeRef xmlTree) try {
    if (!CFXMLTreeGetNode(xmlTree)) return nullptr;
    return writeXML(allocator, xmlTree);
} catch (const std::bad_alloc&) {
    return nullptr;
}
