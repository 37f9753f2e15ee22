#pragma once

#include <KXCoreLib/CoreFoundation/DataRef.h>
#include <KXCoreLib/CoreFoundation/DictionaryRef.h>
#include <KXCoreLib/CoreFoundation/TypeRef.h>
#include <KXCoreLib/CoreFoundation/XMLNodeRef.h>

#include <CoreFoundation/CFXMLParser.h>

namespace KXCore::CoreFoundation {

/// An XML document, or a part of one, as a tree of nodes. Its objects are those of TreeRef, which walks and changes
/// them; having no type of its own, the class has no typeID, and its assign() takes any object.
class KX_EXPORT XMLTreeRef : public HeldRef<XMLTreeRef, CFXMLTreeRef> {
  public:
    /// A tree alone that holds `node`.
    static XMLTreeRef createWithNode(CFAllocatorRef allocator, CFXMLNodeRef node);
    /// Reads a document. Options are of CFXMLParserOptions; `dataSource`, which may be null, is what identifiers in the
    /// document are relative to.
    static XMLTreeRef createFromData(CFAllocatorRef allocator, CFDataRef xmlData, CFURLRef dataSource,
                                     CFOptionFlags parseOptions, CFIndex versionOfNodes);
    /// The same. With a holder of an error, what is wrong stands in it by the keys kCFXMLTreeError..., and the result
    /// is empty.
    static XMLTreeRef createFromDataWithError(CFAllocatorRef allocator, CFDataRef xmlData, CFURLRef dataSource,
                                              CFOptionFlags parseOptions, CFIndex versionOfNodes,
                                              DictionaryRef* errors = nullptr);
    static XMLTreeRef createWithDataFromURL(CFAllocatorRef allocator, CFURLRef dataSource, CFOptionFlags parseOptions,
                                            CFIndex versionOfNodes);
    /// Writes the tree in the encoding of its document, else in UTF-8.
    static DataRef createXMLData(CFAllocatorRef allocator, CFXMLTreeRef xmlTree);

    /// Empty where the tree is none of XML nodes.
    XMLNodeRef getNode() const;
};
static_assert(isPlainRef<XMLTreeRef>);

}  // namespace KXCore::CoreFoundation
