#include <KXCoreLib/CoreFoundation/XMLTreeRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

XMLTreeRef XMLTreeRef::createWithNode(CFAllocatorRef allocator, CFXMLNodeRef node) {
    return KX_CREATE(XMLTreeRef, CFXMLTreeCreateWithNode)(allocator, node);
}

XMLTreeRef XMLTreeRef::createFromData(CFAllocatorRef allocator, CFDataRef xmlData, CFURLRef dataSource,
                                      CFOptionFlags parseOptions, CFIndex versionOfNodes) {
    return KX_CREATE(XMLTreeRef, CFXMLTreeCreateFromData)(allocator, xmlData, dataSource, parseOptions, versionOfNodes);
}

XMLTreeRef XMLTreeRef::createFromDataWithError(CFAllocatorRef allocator, CFDataRef xmlData, CFURLRef dataSource,
                                               CFOptionFlags parseOptions, CFIndex versionOfNodes,
                                               DictionaryRef* errors) {
    return KX_TRY_CREATE(XMLTreeRef, CFXMLTreeCreateFromDataWithError, errors, kCFXMLTreeErrorDescription)(
        allocator, xmlData, dataSource, parseOptions, versionOfNodes);
}

XMLTreeRef XMLTreeRef::createWithDataFromURL(CFAllocatorRef allocator, CFURLRef dataSource, CFOptionFlags parseOptions,
                                             CFIndex versionOfNodes) {
    return KX_CREATE(XMLTreeRef, CFXMLTreeCreateWithDataFromURL)(allocator, dataSource, parseOptions, versionOfNodes);
}

DataRef XMLTreeRef::createXMLData(CFAllocatorRef allocator, CFXMLTreeRef xmlTree) {
    return KX_CREATE(DataRef, CFXMLTreeCreateXMLData)(allocator, xmlTree);
}

XMLNodeRef XMLTreeRef::getNode() const { return XMLNodeRef::retain(CFXMLTreeGetNode(get())); }

}  // namespace KXCore::CoreFoundation
