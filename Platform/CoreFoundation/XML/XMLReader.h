#pragma once

// Drives expat over a document, and reports what it finds to the callbacks of a parser.

#include "XMLDocument.h"
#include "XMLNode.h"
#include "XMLParser.h"
#include "XMLText.h"

#include <expat.h>

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace KXPlatform {

class XMLReader {
  public:
    XMLReader(__CFXMLParser& parser, const XMLDocument& document) : parser_(parser), document_(document) {}

    /// Parses the document. Its outcome stands in the parser's status and description.
    void run();

    /// No callback follows.
    void abort(CFXMLParserStatusCode code, CFStringRef description) noexcept;

    CFIndex location() noexcept;
    CFIndex line() const noexcept;

  private:
    using Expat = std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)>;

    /// The text that expat reads: the document, or what an external entity stands for.
    struct Source {
        XML_Parser expat;
        std::string_view text;
    };

    // What expat calls. Each leaves no exception to it.
    static XMLReader& self(void* data) noexcept { return *static_cast<XMLReader*>(data); }
    template <class Work>
    void guard(Work work) noexcept;
    void setHandlers(XML_Parser expat);

    void startElement(const XML_Char* name, const XML_Char** attributes);
    void endElement();
    void addText(std::string_view text);
    void startCDATA();
    void endCDATA();
    void addComment(const XML_Char* text);
    void addInstruction(const XML_Char* target, const XML_Char* data);
    void addDeclaration(const XML_Char* version, const XML_Char* encoding, int standalone);
    void addOther(std::string_view text);
    void startDocumentType(const XML_Char* name, const XML_Char* systemID, const XML_Char* publicID);
    void endDocumentType();
    void addEntity(const XML_Char* name, bool isParameter, const XML_Char* value, int length, const XML_Char* systemID,
                   const XML_Char* publicID, const XML_Char* notation);
    void addNotation(const XML_Char* name, const XML_Char* systemID, const XML_Char* publicID);
    void addElementType(const XML_Char* name, XML_Content* model);
    void addAttributeType(const XML_Char* element, const XML_Char* name, const XML_Char* type, const XML_Char* fallback,
                          bool isRequired);
    bool readExternalEntity(const XML_Char* context, const XML_Char* systemID, const XML_Char* publicID);

    // Structures, as the parser's callbacks know them.
    bool isSkipping() const noexcept { return !open_.empty() && !open_.back(); }
    void* create(CFXMLNodeTypeCode type, CFStringRef string, void* info);
    void begin(CFXMLNodeTypeCode type, CFStringRef string, void* info);
    void end();
    void add(CFXMLNodeTypeCode type, CFStringRef string, void* info);
    void addReference(std::string_view name, CFXMLEntityTypeCode type);
    void flushText();
    void flushAttributeTypes();

    XMLString name(const XML_Char* text);
    CFXMLExternalID externalID(const XML_Char* systemID, const XML_Char* publicID);
    CFXMLElementInfo elementInfo(const XML_Char** attributes, bool isEmpty);
    std::string_view raw() const noexcept;
    void parse(const Source& source);
    void notePlace() noexcept;
    void stop() noexcept;
    void fail(XML_Error error);
    CFXMLParserStatusCode codeOf(XML_Error error) const noexcept;

    struct AttributeType {
        XMLString name, type, fallback;
    };
    struct TextHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>{}(text); }
    };

    __CFXMLParser& parser_;
    const XMLDocument& document_;
    std::vector<Source> sources_;  ///< being read, the document first
    std::vector<void*> open_;      ///< what the callbacks made of the structures that are open; null is left out
    std::string text_;             ///< read and not reported yet
    bool isCDATA_ = false;
    bool isInDocumentType_ = false;
    bool isEnded_ = false;  ///< aborted, or without memory: nothing is reported any more
    bool isOutOfMemory_ = false;
    std::string attributesOf_;  ///< the element whose attributes are being declared
    std::vector<AttributeType> attributeTypes_;
    std::unordered_map<std::string, XMLString, TextHash, std::equal_to<>> names_;
    std::size_t counted_ = 0;  ///< bytes of the document, whose characters have been counted
    CFIndex characters_ = 0;
};

}  // namespace KXPlatform
