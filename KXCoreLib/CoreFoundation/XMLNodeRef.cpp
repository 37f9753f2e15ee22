#include <KXCoreLib/CoreFoundation/XMLNodeRef.h>

#include "Forwarding.h"

namespace KXCore::CoreFoundation {

CFTypeID XMLNodeRef::getTypeID() { return CFXMLNodeGetTypeID(); }

XMLNodeRef XMLNodeRef::create(CFAllocatorRef alloc, CFXMLNodeTypeCode xmlType, CFStringRef dataString,
                              const void* additionalInfoPtr, CFIndex version) {
    return KX_CREATE(XMLNodeRef, CFXMLNodeCreate)(alloc, xmlType, dataString, additionalInfoPtr, version);
}

XMLNodeRef XMLNodeRef::createCopy(CFAllocatorRef alloc, CFXMLNodeRef origNode) {
    return KX_CREATE(XMLNodeRef, CFXMLNodeCreateCopy)(alloc, origNode);
}

CFXMLNodeTypeCode XMLNodeRef::getTypeCode() const { return CFXMLNodeGetTypeCode(get()); }
StringRef XMLNodeRef::getString() const { return StringRef::retain(CFXMLNodeGetString(get())); }
const void* XMLNodeRef::getInfoPtr() const { return CFXMLNodeGetInfoPtr(get()); }
CFIndex XMLNodeRef::getVersion() const { return CFXMLNodeGetVersion(get()); }

}  // namespace KXCore::CoreFoundation
