#include "XMLWriter.h"

#include "XMLNode.h"
#include "XMLText.h"

#include "Support/UnicodeText.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace KXPlatform {
namespace {

class Writer {
  public:
    /// `isPlain`: characters beyond ASCII are written as references where they may stand.
    explicit Writer(bool isPlain) noexcept : isPlain_(isPlain) {}

    std::string write(CFXMLTreeRef tree);

  private:
    void begin(const __CFXMLNode& node, CFXMLTreeRef tree);
    void end(const __CFXMLNode& node, CFXMLTreeRef tree);
    void beginElement(const __CFXMLNode& node, CFXMLTreeRef tree);
    void putAttribute(CFStringRef name, CFTypeRef value);
    void putEntity(const __CFXMLNode& node);
    void putAttributeTypes(const __CFXMLNode& node);
    void putReference(const __CFXMLNode& node);
    void putExternalID(const CFXMLExternalID& id, bool mustBe, bool isNotation = false);
    void putQuoted(CFStringRef string);
    void putValue(CFStringRef string);
    void putText(CFStringRef string, bool isAttribute);
    void putCDATA(CFStringRef string);
    void put(CFStringRef string) { appendUTF8(text_, string); }
    void put(std::string_view text) { text_ += text; }

    template <class Info>
    static const Info* infoOf(const __CFXMLNode& node) noexcept {
        return static_cast<const Info*>(node.info);
    }

    const bool isPlain_;
    bool isInDocumentType_ = false;
    std::string text_;
};

const __CFXMLNode* nodeOf(CFXMLTreeRef tree) noexcept { return CFXMLTreeGetNode(tree); }

bool isDeclaration(CFXMLNodeTypeCode type) noexcept {
    return type == kCFXMLNodeTypeEntity || type == kCFXMLNodeTypeNotation ||
           type == kCFXMLNodeTypeElementTypeDeclaration || type == kCFXMLNodeTypeAttributeListDeclaration;
}

/// Whether the default of an attribute is written as it is.
bool isKeyword(CFStringRef fallback) {
    return CFEqual(fallback, CFSTR("#REQUIRED")) || CFEqual(fallback, CFSTR("#IMPLIED")) ||
           CFStringHasPrefix(fallback, CFSTR("#FIXED \""));
}

/// Whether the text begins with a reference to an entity.
bool isReference(std::string_view text) noexcept {
    constexpr std::string_view kNoName = " \t\r\n\"%&'()*+,/;<=>?@[\\]^`{|}~!$#";
    const std::size_t end = text.find_first_of(kNoName, 1);
    if (end == text.npos || end == 1 || text[end] != ';') return false;
    return std::string_view("0123456789.-").find(text[1]) == std::string_view::npos;
}

/// Whether the element is written as "<a/>".
bool isClosed(const __CFXMLNode& node, CFXMLTreeRef tree) noexcept {
    const auto* const info = static_cast<const CFXMLElementInfo*>(node.info);
    return info && info->isEmpty && !CFTreeGetFirstChild(tree);
}

std::string Writer::write(CFXMLTreeRef tree) {
    // Down to the first child, on to the next, up from the last: without the machine's stack.
    CFXMLTreeRef at = tree;
    for (;;) {
        const __CFXMLNode* const node = nodeOf(at);
        if (node) begin(*node, at);
        if (const CFXMLTreeRef child = node ? CFTreeGetFirstChild(at) : nullptr) {
            at = child;
            continue;
        }
        for (;;) {
            if (const __CFXMLNode* const ended = nodeOf(at)) end(*ended, at);
            if (at == tree) return std::move(text_);
            if (const CFXMLTreeRef next = CFTreeGetNextSibling(at)) {
                at = next;
                break;
            }
            at = CFTreeGetParent(at);
        }
    }
}

void Writer::begin(const __CFXMLNode& node, CFXMLTreeRef tree) {
    if (isInDocumentType_ &&
        (isDeclaration(node.type) || node.type == kCFXMLNodeTypeComment ||
         node.type == kCFXMLNodeTypeProcessingInstruction || node.type == kCFXMLNodeTypeEntityReference))
        put("\n");
    switch (node.type) {
        case kCFXMLNodeTypeElement:
            return beginElement(node, tree);
        case kCFXMLNodeTypeProcessingInstruction: {
            const auto* const info = infoOf<CFXMLProcessingInstructionInfo>(node);
            put("<?");
            put(node.string);
            if (info && info->dataString && CFStringGetLength(info->dataString) > 0) {
                put(" ");
                put(info->dataString);
            }
            return put("?>");
        }
        case kCFXMLNodeTypeComment:
            put("<!--");
            put(node.string);
            return put("-->");
        case kCFXMLNodeTypeText:
        case kCFXMLNodeTypeWhitespace:
            return putText(node.string, false);
        case kCFXMLNodeTypeCDATASection:
            return putCDATA(node.string);
        case kCFXMLNodeTypeEntityReference:
            return putReference(node);
        case kCFXMLNodeTypeDocumentType: {
            const auto* const info = infoOf<CFXMLDocumentTypeInfo>(node);
            put("<!DOCTYPE ");
            put(node.string);
            if (info) putExternalID(info->externalID, false);
            isInDocumentType_ = true;
            if (CFTreeGetFirstChild(tree)) put(" [");
            return;
        }
        case kCFXMLNodeTypeEntity:
            return putEntity(node);
        case kCFXMLNodeTypeNotation: {
            const auto* const info = infoOf<CFXMLNotationInfo>(node);
            put("<!NOTATION ");
            put(node.string);
            putExternalID(info ? info->externalID : CFXMLExternalID{}, true, true);
            return put(">");
        }
        case kCFXMLNodeTypeElementTypeDeclaration: {
            const auto* const info = infoOf<CFXMLElementTypeDeclarationInfo>(node);
            put("<!ELEMENT ");
            put(node.string);
            put(" ");
            if (info && info->contentDescription)
                put(info->contentDescription);
            else
                put("ANY");
            return put(">");
        }
        case kCFXMLNodeTypeAttributeListDeclaration:
            return putAttributeTypes(node);
        default:
            return;
    }
}

void Writer::end(const __CFXMLNode& node, CFXMLTreeRef tree) {
    if (node.type == kCFXMLNodeTypeElement && !isClosed(node, tree)) {
        put("</");
        put(node.string);
        put(">");
    } else if (node.type == kCFXMLNodeTypeDocumentType) {
        put(CFTreeGetFirstChild(tree) ? "\n]>" : ">");
        isInDocumentType_ = false;
    }
}

void Writer::beginElement(const __CFXMLNode& node, CFXMLTreeRef tree) {
    const auto* const info = infoOf<CFXMLElementInfo>(node);
    put("<");
    put(node.string);
    if (info && info->attributes) {
        if (info->attributeOrder) {
            const CFIndex count = CFArrayGetCount(info->attributeOrder);
            for (CFIndex i = 0; i < count; ++i) {
                const void* const name = CFArrayGetValueAtIndex(info->attributeOrder, i);
                putAttribute(static_cast<CFStringRef>(name), CFDictionaryGetValue(info->attributes, name));
            }
        } else {
            CFDictionaryApplyFunction(
                info->attributes,
                [](const void* name, const void* value, void* writer) {
                    static_cast<Writer*>(writer)->putAttribute(static_cast<CFStringRef>(name), value);
                },
                this);
        }
    }
    put(isClosed(node, tree) ? "/>" : ">");
}

void Writer::putAttribute(CFStringRef name, CFTypeRef value) {
    if (!isOfType(name, TypeID::String) || !isOfType(value, TypeID::String)) return;
    put(" ");
    put(name);
    put("=\"");
    putText(static_cast<CFStringRef>(value), true);
    put("\"");
}

void Writer::putEntity(const __CFXMLNode& node) {
    const auto* const info = infoOf<CFXMLEntityInfo>(node);
    if (!info) return;
    put(info->entityType == kCFXMLEntityTypeParameter ? "<!ENTITY % " : "<!ENTITY ");
    put(node.string);
    if (info->replacementText) {
        put(" ");
        putValue(info->replacementText);
    } else {
        putExternalID(info->entityID, true);
        if (info->notationName) {
            put(" NDATA ");
            put(info->notationName);
        }
    }
    put(">");
}

void Writer::putAttributeTypes(const __CFXMLNode& node) {
    put("<!ATTLIST ");
    put(node.string);
    const auto* const info = infoOf<CFXMLAttributeListDeclarationInfo>(node);
    for (CFIndex i = 0; info && i < info->numberOfAttributes; ++i) {
        const CFXMLAttributeDeclarationInfo& attribute = info->attributes[i];
        put(" ");
        put(attribute.attributeName);
        put(" ");
        put(attribute.typeString);
        put(" ");
        if (!attribute.defaultString) {
            put("#IMPLIED");
        } else if (isKeyword(attribute.defaultString)) {
            put(attribute.defaultString);
        } else {
            put("\"");
            putText(attribute.defaultString, true);
            put("\"");
        }
    }
    put(">");
}

void Writer::putReference(const __CFXMLNode& node) {
    const auto* const info = infoOf<CFXMLEntityReferenceInfo>(node);
    put(info && info->entityType == kCFXMLEntityTypeParameter ? "%" : "&");
    put(node.string);
    put(";");
}

/// Where an identifier `mustBe` there, it is empty when there is none. Only a notation may have a public one alone.
void Writer::putExternalID(const CFXMLExternalID& id, bool mustBe, bool isNotation) {
    const CFStringRef systemID = id.systemID ? CFURLGetString(id.systemID) : nullptr;
    if (id.publicID) {
        put(" PUBLIC ");
        putQuoted(id.publicID);
        if (systemID) {
            put(" ");
            putQuoted(systemID);
        } else if (!isNotation) {
            put(" \"\"");
        }
    } else if (systemID) {
        put(" SYSTEM ");
        putQuoted(systemID);
    } else if (mustBe) {
        put(" SYSTEM \"\"");
    }
}

/// In the quotes that the text does not contain.
void Writer::putQuoted(CFStringRef string) {
    std::string text;
    appendUTF8(text, string);
    const char quote = text.find('"') == text.npos ? '"' : '\'';
    text_ += quote;
    text_ += text;
    text_ += quote;
}

/// The value of an entity keeps the references to entities that are in it; what else would mean something there is
/// written as a reference to its character, which is replaced as the declaration is read.
void Writer::putValue(CFStringRef string) {
    std::string text;
    appendUTF8(text, string);
    text_ += '"';
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (c == '"' || c == '%' || c == '\r' || (c == '&' && !isReference(std::string_view(text).substr(at)))) {
            text_ += "&#" + std::to_string(static_cast<int>(c)) + ";";
        } else {
            text_ += c;
        }
    }
    text_ += '"';
}

void Writer::putText(CFStringRef string, bool isAttribute) {
    std::string text;
    appendUTF8(text, string);
    const auto isASCII = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
    for (auto at = text.begin(); isPlain_ && at != text.end();) {
        const auto end = std::find_if_not(at, text.end(), isASCII);
        appendEscaped(text_, std::string_view(at, end), isAttribute);
        at = end;
        if (at == text.end()) return;
        const auto* const bytes = reinterpret_cast<const unsigned char*>(&*at);
        char32_t character = 0;
        const int length = UTF8Text::decode(bytes, static_cast<std::size_t>(text.end() - at), character);
        text_ += "&#" + std::to_string(static_cast<std::uint32_t>(character)) + ";";
        at += std::max(length, 1);
    }
    if (!isPlain_) appendEscaped(text_, text, isAttribute);
}

/// In as many sections as it takes for none to hold its own end.
void Writer::putCDATA(CFStringRef string) {
    std::string text;
    appendUTF8(text, string);
    put("<![CDATA[");
    std::size_t at = 0;
    for (std::size_t end; (end = text.find("]]>", at)) != text.npos; at = end + 2) {
        put(std::string_view(text).substr(at, end + 2 - at));
        put("]]><![CDATA[");
    }
    put(std::string_view(text).substr(at));
    put("]]>");
}

CFDataRef encoded(CFAllocatorRef allocator, const std::string& text, CFStringEncoding encoding) {
    if (encoding == kCFStringEncodingUTF8) {
        return CFDataCreate(allocator, reinterpret_cast<const UInt8*>(text.data()), static_cast<CFIndex>(text.size()));
    }
    return CFStringCreateExternalRepresentation(allocator, stringOf(text).get(), encoding, 0);
}

}  // namespace

CFDataRef writeXML(CFAllocatorRef allocator, CFXMLTreeRef tree) {
    const __CFXMLNode& node = *nodeOf(tree);
    const bool isDocument = node.type == kCFXMLNodeTypeDocument && node.info;
    const CFStringEncoding encoding =
        isDocument ? static_cast<const CFXMLDocumentInfo*>(node.info)->encoding : kCFStringEncodingUTF8;
    if (const CFDataRef data = encoded(allocator, Writer(false).write(tree), encoding)) return data;
    return encoding == kCFStringEncodingUTF8 ? nullptr : encoded(allocator, Writer(true).write(tree), encoding);
}

}  // namespace KXPlatform
