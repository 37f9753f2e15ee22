#pragma once

// The nodes of XML documents, for the sources that make and write them.

#include "CoreFoundation/Object/Object.h"
#include "CoreFoundation/Object/Retained.h"

#include <CoreFoundation/CFXMLNode.h>

/// A node, with the record of its type right behind it where it has one.
struct __CFXMLNode : KXPlatform::Object {
    __CFXMLNode(CFXMLNodeTypeCode t, CFStringRef s, CFIndex v) noexcept;
    ~__CFXMLNode();

    const CFXMLNodeTypeCode type;
    const CFIndex version;
    const CFStringRef string;
    void* info = nullptr;
};

namespace KXPlatform {

/// A node of version `version` that takes over the references in `info`, which is the record of its type or null; they
/// are given back when there is no memory. The string is retained.
Retained<const __CFXMLNode> makeXMLNode(CFAllocatorRef allocator, CFXMLNodeTypeCode type, CFStringRef string,
                                        void* info, CFIndex version) noexcept;

}  // namespace KXPlatform
