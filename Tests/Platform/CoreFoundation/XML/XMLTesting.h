#pragma once

// What the tests of XML share: documents, and a parser's callbacks as lines of text.

#include "Platform/CoreFoundation/Held.h"

#include <CoreFoundation/CoreFoundation.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace XMLTesting {

using Held::hold;
using Held::Holder;
using Held::utf8;

inline Holder<CFDataRef> bytes(std::string_view text) {
    return hold(CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(text.data()), static_cast<CFIndex>(text.size())));
}

inline std::string textOf(CFDataRef data) {
    if (!data) return "(null)";
    return {reinterpret_cast<const char*>(CFDataGetBytePtr(data)), static_cast<std::size_t>(CFDataGetLength(data))};
}

inline Holder<CFStringRef> text(std::string_view utf8Text) {
    return hold(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8Text.data()),
                                        static_cast<CFIndex>(utf8Text.size()), kCFStringEncodingUTF8, false));
}

inline std::string shown(CFStringRef string) { return string ? utf8(string) : "-"; }

inline std::string shown(const CFXMLExternalID& id) {
    return shown(id.publicID) + " " + (id.systemID ? utf8(CFURLGetString(id.systemID)) : "-");
}

/// A node in one line: what it is, its string and its record.
inline std::string shown(CFXMLNodeRef node) {
    static const char* const kNames[] = {"none",  "document", "element",     "attribute", "instruction", "comment",
                                         "text",  "cdata",    "fragment",    "entity",    "reference",   "doctype",
                                         "space", "notation", "elementtype", "attributes"};
    const CFXMLNodeTypeCode type = CFXMLNodeGetTypeCode(node);
    std::string line = std::string(kNames[type]) + " " + shown(CFXMLNodeGetString(node));
    const void* const info = CFXMLNodeGetInfoPtr(node);
    if (!info) return line;
    switch (type) {
        case kCFXMLNodeTypeDocument:
            return line + std::to_string(static_cast<const CFXMLDocumentInfo*>(info)->encoding);
        case kCFXMLNodeTypeElement: {
            const auto& element = *static_cast<const CFXMLElementInfo*>(info);
            const CFIndex count = element.attributeOrder ? CFArrayGetCount(element.attributeOrder) : 0;
            for (CFIndex i = 0; i < count; ++i) {
                const void* const name = CFArrayGetValueAtIndex(element.attributeOrder, i);
                line += " " + utf8(static_cast<CFStringRef>(name)) + "=" +
                        utf8(static_cast<CFStringRef>(CFDictionaryGetValue(element.attributes, name)));
            }
            return line + (element.isEmpty ? " /" : "");
        }
        case kCFXMLNodeTypeProcessingInstruction:
            return line + " " + shown(static_cast<const CFXMLProcessingInstructionInfo*>(info)->dataString);
        case kCFXMLNodeTypeDocumentType:
            return line + " " + shown(static_cast<const CFXMLDocumentTypeInfo*>(info)->externalID);
        case kCFXMLNodeTypeNotation:
            return line + " " + shown(static_cast<const CFXMLNotationInfo*>(info)->externalID);
        case kCFXMLNodeTypeElementTypeDeclaration:
            return line + " " + shown(static_cast<const CFXMLElementTypeDeclarationInfo*>(info)->contentDescription);
        case kCFXMLNodeTypeAttributeListDeclaration: {
            const auto& list = *static_cast<const CFXMLAttributeListDeclarationInfo*>(info);
            for (CFIndex i = 0; i < list.numberOfAttributes; ++i) {
                const CFXMLAttributeDeclarationInfo& attribute = list.attributes[i];
                line += " [" + shown(attribute.attributeName) + " " + shown(attribute.typeString) + " " +
                        shown(attribute.defaultString) + "]";
            }
            return line;
        }
        case kCFXMLNodeTypeEntity: {
            const auto& entity = *static_cast<const CFXMLEntityInfo*>(info);
            return line + " " + std::to_string(entity.entityType) + " " + shown(entity.replacementText) + " " +
                   shown(entity.entityID) + " " + shown(entity.notationName);
        }
        case kCFXMLNodeTypeEntityReference:
            return line + " " + std::to_string(static_cast<const CFXMLEntityReferenceInfo*>(info)->entityType);
        default:
            return line;
    }
}

/// A parser whose callbacks are written down, indented by depth; "end" lines only for what has children.
class Recorder {
  public:
    explicit Recorder(std::string_view document, CFOptionFlags options = kCFXMLParserNoOptions,
                      CFURLRef source = nullptr)
        : parser_(nullptr) {
        CFXMLParserContext context{0, this, nullptr, nullptr, nullptr};
        CFXMLParserCallBacks callBacks{0, create, addChild, end, resolve, fault};
        parser_ = hold(CFXMLParserCreate(nullptr, bytes(document), source, options, 1, &callBacks, &context));
    }

    bool parse() { return CFXMLParserParse(parser_); }
    CFXMLParserRef get() const { return parser_; }
    CFXMLParserStatusCode status() const { return CFXMLParserGetStatusCode(parser_); }
    std::string description() const { return shown(hold(CFXMLParserCopyErrorDescription(parser_)).get()); }

    std::vector<std::string> lines;                     ///< a structure each, indented by its depth
    std::vector<std::string> calls;                     ///< every callback, in order
    std::vector<CFXMLParserStatusCode> faults;          ///< that the parser told of
    std::function<bool(CFXMLNodeRef)> wants;            ///< empty: all
    std::function<CFDataRef(CFXMLExternalID*)> entity;  ///< what an external entity stands for
    int open = 0;                                       ///< structures without an end

  private:
    struct Structure {
        std::string name;
        int depth = 0;
        std::size_t line = 0;
    };

    static Recorder& self(void* info) { return *static_cast<Recorder*>(info); }
    static void* create(CFXMLParserRef, CFXMLNodeRef node, void* info) {
        Recorder& recorder = self(info);
        if (recorder.wants && !recorder.wants(node)) return nullptr;
        recorder.calls.push_back("create " + shown(CFXMLNodeGetString(node)));
        recorder.lines.push_back(shown(node));
        ++recorder.open;
        recorder.structures_.push_back(
            std::make_unique<Structure>(Structure{shown(CFXMLNodeGetString(node)), 0, recorder.lines.size() - 1}));
        return recorder.structures_.back().get();
    }
    static void addChild(CFXMLParserRef, void* parent, void* child, void* info) {
        auto* const added = static_cast<Structure*>(child);
        added->depth = static_cast<Structure*>(parent)->depth + 1;
        std::string& line = self(info).lines[added->line];
        line.insert(0, static_cast<std::size_t>(added->depth), ' ');
        self(info).calls.push_back("add " + added->name + " to " + static_cast<Structure*>(parent)->name);
    }
    static void end(CFXMLParserRef, void* structure, void* info) {
        self(info).calls.push_back("end " + static_cast<Structure*>(structure)->name);
        --self(info).open;
    }
    static CFDataRef resolve(CFXMLParserRef, CFXMLExternalID* id, void* info) {
        return self(info).entity ? self(info).entity(id) : nullptr;
    }
    static Boolean fault(CFXMLParserRef, CFXMLParserStatusCode code, void* info) {
        self(info).faults.push_back(code);
        return false;
    }

    Holder<CFXMLParserRef> parser_;
    std::vector<std::unique_ptr<Structure>> structures_;
};

}  // namespace XMLTesting
