#pragma once

#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>

#include <CoreFoundation/CFXMLNode.h>

namespace KXCore::CoreFoundation {

/// A construct of an XML document: its type, a string and, for some types, a record. It never changes.
class KX_EXPORT XMLNodeRef : public TypedRef<XMLNodeRef, CFXMLNodeRef> {
  public:
    static constexpr const char* typeName = "CFXMLNodeRef";
    static const CFTypeID typeID;
    static CFTypeID getTypeID();

    /// Copies the string and the record of the type, which may be null.
    static XMLNodeRef create(CFAllocatorRef alloc, CFXMLNodeTypeCode xmlType, CFStringRef dataString,
                             const void* additionalInfoPtr, CFIndex version);
    static XMLNodeRef createCopy(CFAllocatorRef alloc, CFXMLNodeRef origNode);

    CFXMLNodeTypeCode getTypeCode() const;
    StringRef getString() const;
    /// The record, borrowed with all that is in it; null where there is none.
    const void* getInfoPtr() const;
    CFIndex getVersion() const;
};
static_assert(isPlainRef<XMLNodeRef>);

}  // namespace KXCore::CoreFoundation
