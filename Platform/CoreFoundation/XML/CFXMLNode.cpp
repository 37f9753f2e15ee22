#include "XMLNode.h"

#include "CoreFoundation/Object/Description.h"

#include <cstring>
#include <type_traits>

using namespace KXPlatform;

namespace {

constexpr CFIndex kOldestVersion = 0;

bool isType(CFXMLNodeTypeCode type) noexcept {
    return type >= kCFXMLNodeTypeDocument && type <= kCFXMLNodeTypeAttributeListDeclaration;
}

/// Calls `visit` with each member of the record that is a reference.
template <class Visit>
void visitReferences(CFXMLNodeTypeCode type, void* info, Visit visit) {
    const auto visitID = [&](CFXMLExternalID& id) {
        visit(id.systemID);
        visit(id.publicID);
    };
    switch (type) {
        case kCFXMLNodeTypeElement:
            visit(static_cast<CFXMLElementInfo*>(info)->attributes);
            visit(static_cast<CFXMLElementInfo*>(info)->attributeOrder);
            break;
        case kCFXMLNodeTypeProcessingInstruction:
            visit(static_cast<CFXMLProcessingInstructionInfo*>(info)->dataString);
            break;
        case kCFXMLNodeTypeDocument:
            visit(static_cast<CFXMLDocumentInfo*>(info)->sourceURL);
            break;
        case kCFXMLNodeTypeDocumentType:
            visitID(static_cast<CFXMLDocumentTypeInfo*>(info)->externalID);
            break;
        case kCFXMLNodeTypeNotation:
            visitID(static_cast<CFXMLNotationInfo*>(info)->externalID);
            break;
        case kCFXMLNodeTypeElementTypeDeclaration:
            visit(static_cast<CFXMLElementTypeDeclarationInfo*>(info)->contentDescription);
            break;
        case kCFXMLNodeTypeAttributeListDeclaration: {
            auto& list = *static_cast<CFXMLAttributeListDeclarationInfo*>(info);
            for (CFIndex i = 0; i < list.numberOfAttributes; ++i) {
                visit(list.attributes[i].attributeName);
                visit(list.attributes[i].typeString);
                visit(list.attributes[i].defaultString);
            }
            break;
        }
        case kCFXMLNodeTypeEntity: {
            auto& entity = *static_cast<CFXMLEntityInfo*>(info);
            visit(entity.replacementText);
            visitID(entity.entityID);
            visit(entity.notationName);
            break;
        }
        default:
            break;
    }
}

/// The size of a type's record; 0 for a type without one.
std::size_t sizeOfRecord(CFXMLNodeTypeCode type) noexcept {
    switch (type) {
        case kCFXMLNodeTypeDocument:
            return sizeof(CFXMLDocumentInfo);
        case kCFXMLNodeTypeElement:
            return sizeof(CFXMLElementInfo);
        case kCFXMLNodeTypeProcessingInstruction:
            return sizeof(CFXMLProcessingInstructionInfo);
        case kCFXMLNodeTypeDocumentType:
            return sizeof(CFXMLDocumentTypeInfo);
        case kCFXMLNodeTypeNotation:
            return sizeof(CFXMLNotationInfo);
        case kCFXMLNodeTypeElementTypeDeclaration:
            return sizeof(CFXMLElementTypeDeclarationInfo);
        case kCFXMLNodeTypeAttributeListDeclaration:
            return sizeof(CFXMLAttributeListDeclarationInfo);
        case kCFXMLNodeTypeEntity:
            return sizeof(CFXMLEntityInfo);
        case kCFXMLNodeTypeEntityReference:
            return sizeof(CFXMLEntityReferenceInfo);
        default:
            return 0;
    }
}

/// How many attributes the record of a list declares; 0 for another.
std::size_t countOfAttributes(CFXMLNodeTypeCode type, const void* info) noexcept {
    if (type != kCFXMLNodeTypeAttributeListDeclaration) return 0;
    const auto& list = *static_cast<const CFXMLAttributeListDeclarationInfo*>(info);
    return list.attributes && list.numberOfAttributes > 0 ? static_cast<std::size_t>(list.numberOfAttributes) : 0;
}

void finalizeNode(Object* object) noexcept { finalizeAs<__CFXMLNode>(object); }

bool areEqual(CFTypeRef one, CFTypeRef other) { return one == other || (one && other && CFEqual(one, other)); }

/// What of a record is no reference.
CFIndex plainPart(CFXMLNodeTypeCode type, const void* info) noexcept {
    switch (type) {
        case kCFXMLNodeTypeDocument:
            return static_cast<CFIndex>(static_cast<const CFXMLDocumentInfo*>(info)->encoding);
        case kCFXMLNodeTypeElement:
            return static_cast<const CFXMLElementInfo*>(info)->isEmpty != 0;
        case kCFXMLNodeTypeAttributeListDeclaration:
            return static_cast<const CFXMLAttributeListDeclarationInfo*>(info)->numberOfAttributes;
        case kCFXMLNodeTypeEntity:
            return static_cast<const CFXMLEntityInfo*>(info)->entityType;
        case kCFXMLNodeTypeEntityReference:
            return static_cast<const CFXMLEntityReferenceInfo*>(info)->entityType;
        default:
            return 0;
    }
}

bool equalNodes(const Object* object1, const Object* object2) {
    const auto& a = *static_cast<const __CFXMLNode*>(object1);
    const auto& b = *static_cast<const __CFXMLNode*>(object2);
    if (a.type != b.type || !areEqual(a.string, b.string) || !a.info != !b.info) return false;
    if (!a.info) return true;
    if (plainPart(a.type, a.info) != plainPart(b.type, b.info)) return false;
    // The references of two records of one shape come in the same order.
    CFTypeRef left[4];
    if (countOfAttributes(a.type, a.info) == 0) {
        std::size_t count = 0, at = 0;
        bool isSame = true;
        visitReferences(a.type, a.info, [&](CFTypeRef reference) { left[count++] = reference; });
        visitReferences(b.type, b.info,
                        [&](CFTypeRef reference) { isSame = areEqual(left[at++], reference) && isSame; });
        return isSame;
    }
    const auto& one = *static_cast<const CFXMLAttributeListDeclarationInfo*>(a.info);
    const auto& other = *static_cast<const CFXMLAttributeListDeclarationInfo*>(b.info);
    for (CFIndex i = 0; i < one.numberOfAttributes; ++i) {
        const CFXMLAttributeDeclarationInfo& x = one.attributes[i];
        const CFXMLAttributeDeclarationInfo& y = other.attributes[i];
        if (!areEqual(x.attributeName, y.attributeName) || !areEqual(x.typeString, y.typeString) ||
            !areEqual(x.defaultString, y.defaultString))
            return false;
    }
    return true;
}

CFHashCode hashNode(const Object* object) {
    const auto& node = *static_cast<const __CFXMLNode*>(object);
    return (node.string ? CFHash(node.string) : 0) + static_cast<CFHashCode>(node.type);
}

CFStringRef describeNode(const Object* object) {
    const auto& node = *static_cast<const __CFXMLNode*>(object);
    Description description;
    description.appendHeading(object);
    description.format("{type = %ld, string = ", static_cast<long>(node.type));
    description.append(node.string);
    description.format("}");
    return description.take();
}

constexpr Class kNodeClass{TypeID::XMLNode, finalizeNode, equalNodes, hashNode, describeNode};

// A copy of what a caller's record refers to; null when there is no memory.
CFTypeRef copyOf(CFStringRef string) { return CFStringCreateCopy(nullptr, string); }
CFTypeRef copyOf(CFDictionaryRef dictionary) { return CFDictionaryCreateCopy(nullptr, dictionary); }
CFTypeRef copyOf(CFArrayRef array) { return CFArrayCreateCopy(nullptr, array); }
CFTypeRef copyOf(CFURLRef url) { return CFRetain(url); }

const __CFXMLNode* checked(CFXMLNodeRef node) noexcept { return isOfType(node, TypeID::XMLNode) ? node : nullptr; }

/// A node with `info`, the record of its type or null, as it is: the node gives back the references in it, and nobody
/// has taken them yet.
__CFXMLNode* makeWithRecord(CFAllocatorRef allocator, CFXMLNodeTypeCode type, CFStringRef string, const void* info,
                            CFIndex version) noexcept {
    constexpr std::size_t kEach = sizeof(CFXMLAttributeDeclarationInfo);
    const std::size_t size = info ? sizeOfRecord(type) : 0;
    const std::size_t attributes = size != 0 ? countOfAttributes(type, info) : 0;
    if (attributes > PTRDIFF_MAX / (2 * kEach)) return nullptr;
    auto* const made = make<__CFXMLNode>(allocator, size + attributes * kEach, type, string, version);
    if (!made || size == 0) return made;
    std::byte* const record = trailing(made);
    std::memcpy(record, info, size);
    if (type == kCFXMLNodeTypeAttributeListDeclaration) {
        auto* const list = reinterpret_cast<CFXMLAttributeListDeclarationInfo*>(record);
        auto* const own = reinterpret_cast<CFXMLAttributeDeclarationInfo*>(record + size);
        if (attributes != 0) std::memcpy(own, list->attributes, attributes * kEach);
        list->numberOfAttributes = static_cast<CFIndex>(attributes);
        list->attributes = own;
    }
    made->info = record;
    return made;
}

// ---- Nodes in trees

const void* retainNode(const void* node) { return CFRetain(node); }
void releaseNode(const void* node) { CFRelease(node); }
CFStringRef copyDescriptionOfNode(const void* node) { return CFCopyDescription(node); }

}  // namespace

__CFXMLNode::__CFXMLNode(CFXMLNodeTypeCode t, CFStringRef s, CFIndex v) noexcept
    : Object(kNodeClass), type(t), version(v), string(s) {
    retain(string);
}

__CFXMLNode::~__CFXMLNode() {
    if (info) visitReferences(type, info, [](CFTypeRef reference) { release(reference); });
    release(string);
}

Retained<const __CFXMLNode> KXPlatform::makeXMLNode(CFAllocatorRef allocator, CFXMLNodeTypeCode type,
                                                    CFStringRef string, void* info, CFIndex version) noexcept {
    __CFXMLNode* const made = makeWithRecord(allocator, type, string, info, version);
    if (!made && info) visitReferences(type, info, [](CFTypeRef reference) { release(reference); });
    return Retained<const __CFXMLNode>::adopting(made);
}

CFTypeID CFXMLNodeGetTypeID() { return number(TypeID::XMLNode); }

CFXMLNodeRef CFXMLNodeCreate(CFAllocatorRef alloc, CFXMLNodeTypeCode xmlType, CFStringRef dataString,
                             const void* additionalInfoPtr, CFIndex version) {
    if (!isType(xmlType) || version < kOldestVersion || version > kCFXMLNodeCurrentVersion) return nullptr;
    const auto string =
        Retained<const __CFString>::adopting(dataString ? CFStringCreateCopy(alloc, dataString) : nullptr);
    if (dataString && !string) return nullptr;
    auto made =
        Retained<__CFXMLNode>::adopting(makeWithRecord(alloc, xmlType, string.get(), additionalInfoPtr, version));
    if (!made || !made->info) return made.release();
    bool isWhole = true;
    visitReferences(xmlType, made->info, [&](auto& reference) {
        using Reference = std::remove_reference_t<decltype(reference)>;
        if (!reference) return;
        reference = isWhole ? static_cast<Reference>(copyOf(reference)) : nullptr;
        isWhole = isWhole && reference;
    });
    return isWhole ? made.release() : nullptr;
}

CFXMLNodeRef CFXMLNodeCreateCopy(CFAllocatorRef alloc, CFXMLNodeRef origNode) {
    if (!checked(origNode)) return nullptr;
    if (CFGetAllocator(origNode) == (alloc ? alloc : CFAllocatorGetDefault()))
        return static_cast<CFXMLNodeRef>(CFRetain(origNode));
    return CFXMLNodeCreate(alloc, origNode->type, origNode->string, origNode->info, origNode->version);
}

CFXMLNodeTypeCode CFXMLNodeGetTypeCode(CFXMLNodeRef node) {
    return checked(node) ? node->type : static_cast<CFXMLNodeTypeCode>(0);
}
CFStringRef CFXMLNodeGetString(CFXMLNodeRef node) { return checked(node) ? node->string : nullptr; }
const void* CFXMLNodeGetInfoPtr(CFXMLNodeRef node) { return checked(node) ? node->info : nullptr; }
CFIndex CFXMLNodeGetVersion(CFXMLNodeRef node) { return checked(node) ? node->version : 0; }

CFXMLTreeRef CFXMLTreeCreateWithNode(CFAllocatorRef allocator, CFXMLNodeRef node) {
    if (!checked(node)) return nullptr;
    const CFTreeContext context{0, const_cast<__CFXMLNode*>(node), retainNode, releaseNode, copyDescriptionOfNode};
    return CFTreeCreate(allocator, &context);
}

CFXMLNodeRef CFXMLTreeGetNode(CFXMLTreeRef xmlTree) {
    CFTreeContext context{};
    CFTreeGetContext(xmlTree, &context);
    return context.release == releaseNode ? static_cast<CFXMLNodeRef>(context.info) : nullptr;
}
