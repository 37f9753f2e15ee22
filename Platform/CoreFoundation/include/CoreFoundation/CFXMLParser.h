#pragma once

/// Reads XML documents: by callbacks as they are parsed, or whole, as trees of nodes. Writes trees as documents.
///
/// The document is read as its byte order mark or its declaration says, else as UTF-8. Memory beside the document does
/// not grow with it unless a tree is made of it; depth is not limited by the machine's stack. Nothing outside of the
/// document is ever opened, and what its own entities may expand to is bounded (expat's protection against
/// amplification). Documents are not validated.

#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFTree.h>
#include <CoreFoundation/CFURL.h>
#include <CoreFoundation/CFXMLNode.h>

CF_EXTERN_C_BEGIN

typedef struct __CFXMLParser* CFXMLParserRef;

/// Without options every construct is reported as it stands.
typedef CFOptionFlags CFXMLParserOptions;
CF_ANONYMOUS_ENUM(CFXMLParserOptions){
    kCFXMLParserValidateDocument = 1,          ///< has no effect
    kCFXMLParserSkipMetaData = 2,              ///< leaves out comments, the document type and what it declares
    kCFXMLParserReplacePhysicalEntities = 4,   ///< puts text in the place of references to entities and characters
    kCFXMLParserSkipWhitespace = 8,            ///< leaves out text that is white space from markup to markup
    kCFXMLParserResolveExternalEntities = 16,  ///< asks the callback for what external entities stand for
    kCFXMLParserAddImpliedAttributes = 32,     ///< adds attributes that the document type has defaults for
    kCFXMLParserAllOptions = 16777215,
    kCFXMLParserNoOptions = 0,
};

typedef CFIndex CFXMLParserStatusCode;
CF_ANONYMOUS_ENUM(CFXMLParserStatusCode){
    kCFXMLStatusParseNotBegun = -2,
    kCFXMLStatusParseInProgress = -1,
    kCFXMLStatusParseSuccessful = 0,
    kCFXMLErrorUnexpectedEOF = 1,
    kCFXMLErrorUnknownEncoding = 2,
    kCFXMLErrorEncodingConversionFailure = 3,
    kCFXMLErrorMalformedProcessingInstruction = 4,
    kCFXMLErrorMalformedDTD = 5,
    kCFXMLErrorMalformedName = 6,
    kCFXMLErrorMalformedCDSect = 7,
    kCFXMLErrorMalformedCloseTag = 8,
    kCFXMLErrorMalformedStartTag = 9,
    kCFXMLErrorMalformedDocument = 10,
    kCFXMLErrorElementlessDocument = 11,
    kCFXMLErrorMalformedComment = 12,
    kCFXMLErrorMalformedCharacterReference = 13,
    kCFXMLErrorMalformedParsedCharacterData = 14,
    kCFXMLErrorNoData = 15,
};

/// Called for each structure as it begins, the document first. Returns what stands for it in the other callbacks; null
/// leaves it out with all that it contains. The node is borrowed.
typedef void* (*CFXMLParserCreateXMLStructureCallBack)(CFXMLParserRef parser, CFXMLNodeRef nodeDesc, void* info);
/// Called for each structure but the document right after it was created.
typedef void (*CFXMLParserAddChildCallBack)(CFXMLParserRef parser, void* parent, void* child, void* info);
/// Called for each structure once all that it contains has been reported.
typedef void (*CFXMLParserEndXMLStructureCallBack)(CFXMLParserRef parser, void* xmlType, void* info);
/// Returns what the entity stands for, owned by the parser; null leaves the reference as it is.
typedef CFDataRef (*CFXMLParserResolveExternalEntityCallBack)(CFXMLParserRef parser, CFXMLExternalID* extID,
                                                              void* info);
/// The document is wrong. What is returned has no effect: no fault that is found can be passed over.
typedef Boolean (*CFXMLParserHandleErrorCallBack)(CFXMLParserRef parser, CFXMLParserStatusCode error, void* info);

/// `version` is 0. Only the first three must be there.
typedef struct CFXMLParserCallBacks {
    CFIndex version;
    CFXMLParserCreateXMLStructureCallBack createXMLStructure;
    CFXMLParserAddChildCallBack addChild;
    CFXMLParserEndXMLStructureCallBack endXMLStructure;
    CFXMLParserResolveExternalEntityCallBack resolveExternalEntity;
    CFXMLParserHandleErrorCallBack handleError;
} CFXMLParserCallBacks;

typedef const void* (*CFXMLParserRetainCallBack)(const void* info);
typedef void (*CFXMLParserReleaseCallBack)(const void* info);
typedef CFStringRef (*CFXMLParserCopyDescriptionCallBack)(const void* info);
/// `version` is 0. The parser retains `info`; each function may be null.
typedef struct CFXMLParserContext {
    CFIndex version;
    void* info;
    CFXMLParserRetainCallBack retain;
    CFXMLParserReleaseCallBack release;
    CFXMLParserCopyDescriptionCallBack copyDescription;
} CFXMLParserContext;

// ---- Parsing by callbacks

CF_EXPORT CFTypeID CFXMLParserGetTypeID(void);

/// A parser of a document, which it retains; it copies both records, of which `context` may be null. `dataSource`,
/// which may be null, is what identifiers in the document are relative to. The caller owns the parser and uses it on
/// one thread at a time. Null without data, without one of the three callbacks that must be there, for other versions,
/// and when there is no memory.
CF_EXPORT CFXMLParserRef CFXMLParserCreate(CFAllocatorRef allocator, CFDataRef xmlData, CFURLRef dataSource,
                                           CFOptionFlags parseOptions, CFIndex versionOfNodes,
                                           CFXMLParserCallBacks* callBacks, CFXMLParserContext* context);
/// The same for the file at a URL, which is read now. Null when it cannot be read.
CF_EXPORT CFXMLParserRef CFXMLParserCreateWithDataFromURL(CFAllocatorRef allocator, CFURLRef dataSource,
                                                          CFOptionFlags parseOptions, CFIndex versionOfNodes,
                                                          CFXMLParserCallBacks* callBacks, CFXMLParserContext* context);
/// Writes the context, whose `version` must be 0, to `context`; info is not retained.
CF_EXPORT void CFXMLParserGetContext(CFXMLParserRef parser, CFXMLParserContext* context);
CF_EXPORT void CFXMLParserGetCallBacks(CFXMLParserRef parser, CFXMLParserCallBacks* callBacks);
/// Borrowed.
CF_EXPORT CFURLRef CFXMLParserGetSourceURL(CFXMLParserRef parser);
/// How many characters of the document come before what is being reported, or before the fault.
CF_EXPORT CFIndex CFXMLParserGetLocation(CFXMLParserRef parser);
/// The line of that place, from 1; 0 before parsing has begun.
CF_EXPORT CFIndex CFXMLParserGetLineNumber(CFXMLParserRef parser);
/// What the callback made for the document; null before.
CF_EXPORT void* CFXMLParserGetDocument(CFXMLParserRef parser);
CF_EXPORT CFXMLParserStatusCode CFXMLParserGetStatusCode(CFXMLParserRef parser);
/// What is wrong, owned by the caller; null when nothing is.
CF_EXPORT CFStringRef CFXMLParserCopyErrorDescription(CFXMLParserRef parser);
/// Ends the parsing that goes on; in a callback. `errorCode`, above 0, becomes the status and `errorDescription`, which
/// may be null, its description. No callback follows.
CF_EXPORT void CFXMLParserAbort(CFXMLParserRef parser, CFXMLParserStatusCode errorCode, CFStringRef errorDescription);
/// Parses the document, once; what has been parsed before is not parsed again. Whether it is well-formed, to its end.
CF_EXPORT Boolean CFXMLParserParse(CFXMLParserRef parser);

// ---- Trees

/// The document as a tree, whose root holds its document node; the caller owns it. Null when it is not well-formed.
CF_EXPORT CFXMLTreeRef CFXMLTreeCreateFromData(CFAllocatorRef allocator, CFDataRef xmlData, CFURLRef dataSource,
                                               CFOptionFlags parseOptions, CFIndex versionOfNodes);
/// The same; for null, `errorDict`, which may be null, becomes a dictionary with the keys below, which the caller owns.
CF_EXPORT CFXMLTreeRef CFXMLTreeCreateFromDataWithError(CFAllocatorRef allocator, CFDataRef xmlData,
                                                        CFURLRef dataSource, CFOptionFlags parseOptions,
                                                        CFIndex versionOfNodes, CFDictionaryRef* errorDict);
CF_EXPORT CFXMLTreeRef CFXMLTreeCreateWithDataFromURL(CFAllocatorRef allocator, CFURLRef dataSource,
                                                      CFOptionFlags parseOptions, CFIndex versionOfNodes);
/// The tree as a document, or the part of one that it is, in the encoding of its document node, else in UTF-8; the
/// caller owns it. Null when the tree is none of XML nodes, when a name cannot be written in the encoding, and when
/// there is no memory.
CF_EXPORT CFDataRef CFXMLTreeCreateXMLData(CFAllocatorRef allocator, CFXMLTreeRef xmlTree);

/// A string, a number of a line from 1, a number of characters, a number of a status code.
CF_EXPORT const CFStringRef kCFXMLTreeErrorDescription;
CF_EXPORT const CFStringRef kCFXMLTreeErrorLineNumber;
CF_EXPORT const CFStringRef kCFXMLTreeErrorLocation;
CF_EXPORT const CFStringRef kCFXMLTreeErrorStatusCode;

// ---- Entities in text

/// The string with "&name;" for each entity's text in it; the caller owns it. `entitiesDictionary`, which may be null,
/// has texts by names, beside the five that XML has. Of several texts at one place the longest counts.
CF_EXPORT CFStringRef CFXMLCreateStringByEscapingEntities(CFAllocatorRef allocator, CFStringRef string,
                                                          CFDictionaryRef entitiesDictionary);
/// The reverse, for references to characters by number too. What refers to nothing known stays as it is.
CF_EXPORT CFStringRef CFXMLCreateStringByUnescapingEntities(CFAllocatorRef allocator, CFStringRef string,
                                                            CFDictionaryRef entitiesDictionary);

CF_EXTERN_C_END
