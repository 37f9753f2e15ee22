#pragma once

// Trees of XML nodes as documents.

#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFXMLNode.h>

namespace KXPlatform {

/// The document that a tree of XML nodes is, in the encoding of its document node. Null when something in it cannot be
/// written there. Throws std::bad_alloc.
CFDataRef writeXML(CFAllocatorRef allocator, CFXMLTreeRef tree);

}  // namespace KXPlatform
