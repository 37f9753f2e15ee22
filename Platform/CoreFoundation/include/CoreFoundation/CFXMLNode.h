#pragma once

/// The constructs that an XML document is made of, and trees of them.
///
/// A node never changes. It has a type, a string and, for some types, a record of further information; what each type
/// has stands beside its code below. Any number of threads may read a node. Nothing here fails loudly: null, 0 or no
/// effect is what an argument that is null or of another type gives.

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFTree.h>
#include <CoreFoundation/CFURL.h>

CF_EXTERN_C_BEGIN

CF_ANONYMOUS_ENUM(CFIndex){
    kCFXMLNodeCurrentVersion = 1,
};

typedef const struct __CFXMLNode* CFXMLNodeRef;
/// A tree whose nodes each hold an XML node (CFXMLTreeGetNode).
typedef CFTreeRef CFXMLTreeRef;

/// The type of a node; in brackets the string, and the record where there is one.
CF_ENUM_TYPE(CFIndex, CFXMLNodeTypeCode){
    kCFXMLNodeTypeDocument = 1,                   ///< [empty; CFXMLDocumentInfo]
    kCFXMLNodeTypeElement = 2,                    ///< [name; CFXMLElementInfo]
    kCFXMLNodeTypeAttribute = 3,                  ///< [name]; the parser gives attributes with their element
    kCFXMLNodeTypeProcessingInstruction = 4,      ///< [target; CFXMLProcessingInstructionInfo], the XML declaration too
    kCFXMLNodeTypeComment = 5,                    ///< [text]
    kCFXMLNodeTypeText = 6,                       ///< [text]
    kCFXMLNodeTypeCDATASection = 7,               ///< [text]
    kCFXMLNodeTypeDocumentFragment = 8,           ///< the parser gives none
    kCFXMLNodeTypeEntity = 9,                     ///< [name; CFXMLEntityInfo], a declaration
    kCFXMLNodeTypeEntityReference = 10,           ///< [name; CFXMLEntityReferenceInfo]
    kCFXMLNodeTypeDocumentType = 11,              ///< [the root element's name; CFXMLDocumentTypeInfo]
    kCFXMLNodeTypeWhitespace = 12,                ///< [text], none but white space
    kCFXMLNodeTypeNotation = 13,                  ///< [name; CFXMLNotationInfo], a declaration
    kCFXMLNodeTypeElementTypeDeclaration = 14,    ///< [name; CFXMLElementTypeDeclarationInfo]
    kCFXMLNodeTypeAttributeListDeclaration = 15,  ///< [the element's name; CFXMLAttributeListDeclarationInfo]
};

/// `attributes` has texts by names, `attributeOrder` the names as they stood. Either may be null: no attributes.
typedef struct CFXMLElementInfo {
    CFDictionaryRef attributes;
    CFArrayRef attributeOrder;
    Boolean isEmpty;
    char _reserved[3];
} CFXMLElementInfo;

typedef struct CFXMLProcessingInstructionInfo {
    CFStringRef dataString;
} CFXMLProcessingInstructionInfo;

/// `sourceURL` may be null.
typedef struct CFXMLDocumentInfo {
    CFURLRef sourceURL;
    CFStringEncoding encoding;
} CFXMLDocumentInfo;

/// Either may be null.
typedef struct CFXMLExternalID {
    CFURLRef systemID;
    CFStringRef publicID;
} CFXMLExternalID;

typedef struct CFXMLDocumentTypeInfo {
    CFXMLExternalID externalID;
} CFXMLDocumentTypeInfo;

typedef struct CFXMLNotationInfo {
    CFXMLExternalID externalID;
} CFXMLNotationInfo;

/// The content as it is declared: "(#PCDATA)", "EMPTY".
typedef struct CFXMLElementTypeDeclarationInfo {
    CFStringRef contentDescription;
} CFXMLElementTypeDeclarationInfo;

/// `typeString` is "CDATA", "ID", "(yes|no)"...; `defaultString` may be null.
typedef struct CFXMLAttributeDeclarationInfo {
    CFStringRef attributeName;
    CFStringRef typeString;
    CFStringRef defaultString;
} CFXMLAttributeDeclarationInfo;

typedef struct CFXMLAttributeListDeclarationInfo {
    CFIndex numberOfAttributes;
    CFXMLAttributeDeclarationInfo* attributes;
} CFXMLAttributeListDeclarationInfo;

CF_ENUM_TYPE(CFIndex, CFXMLEntityTypeCode){
    kCFXMLEntityTypeParameter = 0, kCFXMLEntityTypeParsedInternal = 1, kCFXMLEntityTypeParsedExternal = 2,
    kCFXMLEntityTypeUnparsed = 3,  kCFXMLEntityTypeCharacter = 4,
};

/// `replacementText` of an internal entity; `entityID` of an external one; `notationName` of one that is not parsed.
typedef struct CFXMLEntityInfo {
    CFXMLEntityTypeCode entityType;
    CFStringRef replacementText;
    CFXMLExternalID entityID;
    CFStringRef notationName;
} CFXMLEntityInfo;

typedef struct CFXMLEntityReferenceInfo {
    CFXMLEntityTypeCode entityType;
} CFXMLEntityReferenceInfo;

CF_EXPORT CFTypeID CFXMLNodeGetTypeID(void);

/// A node of version `version`, 0 or 1, with copies of `dataString` and of the record of its type at
/// `additionalInfoPtr`, which may be null; the caller owns it. Null when the type is none, for another version, and
/// when there is no memory.
CF_EXPORT CFXMLNodeRef CFXMLNodeCreate(CFAllocatorRef alloc, CFXMLNodeTypeCode xmlType, CFStringRef dataString,
                                       const void* additionalInfoPtr, CFIndex version);
/// A node like the original, which may be the original with a reference more; the caller owns it.
CF_EXPORT CFXMLNodeRef CFXMLNodeCreateCopy(CFAllocatorRef alloc, CFXMLNodeRef origNode);
CF_EXPORT CFXMLNodeTypeCode CFXMLNodeGetTypeCode(CFXMLNodeRef node);
/// Borrowed from the node; null where the node has none.
CF_EXPORT CFStringRef CFXMLNodeGetString(CFXMLNodeRef node);
/// The record of the node's type, borrowed with all that is in it; null where there is none.
CF_EXPORT const void* CFXMLNodeGetInfoPtr(CFXMLNodeRef node);
CF_EXPORT CFIndex CFXMLNodeGetVersion(CFXMLNodeRef node);

/// A tree without parent and children that holds `node` and retains it; the caller owns it.
CF_EXPORT CFXMLTreeRef CFXMLTreeCreateWithNode(CFAllocatorRef allocator, CFXMLNodeRef node);
/// Borrowed; null where the tree is none of XML nodes.
CF_EXPORT CFXMLNodeRef CFXMLTreeGetNode(CFXMLTreeRef xmlTree);

CF_EXTERN_C_END
