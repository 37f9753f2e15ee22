#include "XMLReader.h"

#include "XMLContentModel.h"

#include <algorithm>
#include <climits>
#include <new>

namespace KXPlatform {
namespace {

/// So many names of elements and attributes are kept, to be shared by the nodes that have them.
constexpr std::size_t kKeptNames = 1024;
/// External entities may stand for text that refers to others: so deep, and no deeper.
constexpr std::size_t kDeepestSource = 32;
constexpr std::size_t kLargestPiece = 1u << 30;  // expat takes an int

}  // namespace

// ---- The run

void XMLReader::run() {
    const Expat expat(XML_ParserCreate("UTF-8"), XML_ParserFree);
    if (!expat) throw std::bad_alloc();
    setHandlers(expat.get());
    CFXMLDocumentInfo info{parser_.source ? static_cast<CFURLRef>(CFRetain(parser_.source.get())) : nullptr,
                           document_.encoding};
    sources_.push_back({expat.get(), document_.text});
    begin(kCFXMLNodeTypeDocument, CFSTR(""), &info);
    parser_.document = open_.back();
    if (!isEnded_) parse(sources_.front());
    if (!isEnded_ && parser_.status == kCFXMLStatusParseInProgress) {
        flushText();
        if (!isEnded_) end();
        if (!isEnded_) parser_.status = kCFXMLStatusParseSuccessful;
    }
    if (!parser_.wasAborted) notePlace();
    sources_.clear();
    if (isOutOfMemory_) throw std::bad_alloc();
}

void XMLReader::parse(const Source& source) {
    const XML_Parser expat = source.expat;
    const std::string_view text = source.text;
    std::size_t at = 0;
    do {
        const std::size_t size = std::min(text.size() - at, kLargestPiece);
        const bool isLast = at + size == text.size();
        const XML_Status status = XML_Parse(expat, text.data() + at, static_cast<int>(size), isLast);
        if (status != XML_STATUS_OK) {
            if (!isEnded_ && parser_.status == kCFXMLStatusParseInProgress) fail(XML_GetErrorCode(expat));
            return;
        }
        at += size;
    } while (at < text.size());
}

void XMLReader::abort(CFXMLParserStatusCode code, CFStringRef description) noexcept {
    if (isEnded_ || parser_.status != kCFXMLStatusParseInProgress) return;
    parser_.status = code;
    parser_.wasAborted = true;
    notePlace();  // expat is past the structure once it has been stopped
    parser_.description = XMLString::adopting(description ? CFStringCreateCopy(nullptr, description) : nullptr);
    stop();
}

void XMLReader::notePlace() noexcept {
    parser_.location = location();
    parser_.line = line();
}

void XMLReader::stop() noexcept {
    isEnded_ = true;
    for (const Source& source : sources_) XML_StopParser(source.expat, XML_FALSE);
}

template <class Work>
void XMLReader::guard(Work work) noexcept {
    if (isEnded_) return;
    try {
        work();
    } catch (const std::bad_alloc&) {
        isOutOfMemory_ = true;
        stop();
    }
}

CFIndex XMLReader::location() noexcept {
    if (sources_.empty()) return 0;
    const XML_Index index = XML_GetCurrentByteIndex(sources_.front().expat);
    const std::size_t at = index < 0 ? 0 : std::min(static_cast<std::size_t>(index), document_.text.size());
    if (at < counted_) counted_ = 0, characters_ = 0;
    for (; counted_ < at; ++counted_) {
        characters_ += (static_cast<unsigned char>(document_.text[counted_]) & 0xC0) != 0x80;
    }
    return characters_;
}

CFIndex XMLReader::line() const noexcept {
    return sources_.empty() ? 0 : static_cast<CFIndex>(XML_GetCurrentLineNumber(sources_.front().expat));
}

/// The text of what is being reported, as it stands in the document.
std::string_view XMLReader::raw() const noexcept {
    const Source& source = sources_.back();
    const XML_Index index = XML_GetCurrentByteIndex(source.expat);
    if (index < 0 || static_cast<std::size_t>(index) > source.text.size()) return {};
    const int count = XML_GetCurrentByteCount(source.expat);
    return source.text.substr(static_cast<std::size_t>(index), static_cast<std::size_t>(std::max(count, 0)));
}

// ---- Faults

void XMLReader::fail(XML_Error error) {
    if (error == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
    parser_.status = codeOf(error);
    parser_.description = stringOf(XML_ErrorString(error));
}

CFXMLParserStatusCode XMLReader::codeOf(XML_Error error) const noexcept {
    switch (error) {
        case XML_ERROR_NO_ELEMENTS:
            return kCFXMLErrorElementlessDocument;
        case XML_ERROR_UNCLOSED_TOKEN:
            return kCFXMLErrorUnexpectedEOF;
        case XML_ERROR_PARTIAL_CHAR:
            return kCFXMLErrorEncodingConversionFailure;
        case XML_ERROR_TAG_MISMATCH:
            return kCFXMLErrorMalformedCloseTag;
        case XML_ERROR_DUPLICATE_ATTRIBUTE:
        case XML_ERROR_ATTRIBUTE_EXTERNAL_ENTITY_REF:
            return kCFXMLErrorMalformedStartTag;
        case XML_ERROR_UNDEFINED_ENTITY:
        case XML_ERROR_RECURSIVE_ENTITY_REF:
        case XML_ERROR_ASYNC_ENTITY:
        case XML_ERROR_BINARY_ENTITY_REF:
        case XML_ERROR_ENTITY_DECLARED_IN_PE:
        case XML_ERROR_AMPLIFICATION_LIMIT_BREACH:
            return kCFXMLErrorMalformedParsedCharacterData;
        case XML_ERROR_BAD_CHAR_REF:
            return kCFXMLErrorMalformedCharacterReference;
        case XML_ERROR_MISPLACED_XML_PI:
        case XML_ERROR_XML_DECL:
        case XML_ERROR_TEXT_DECL:
            return kCFXMLErrorMalformedProcessingInstruction;
        case XML_ERROR_UNKNOWN_ENCODING:
        case XML_ERROR_INCORRECT_ENCODING:
            return kCFXMLErrorUnknownEncoding;
        case XML_ERROR_UNCLOSED_CDATA_SECTION:
            return kCFXMLErrorMalformedCDSect;
        case XML_ERROR_EXTERNAL_ENTITY_HANDLING:
        case XML_ERROR_NOT_STANDALONE:
        case XML_ERROR_PARAM_ENTITY_REF:
        case XML_ERROR_INCOMPLETE_PE:
        case XML_ERROR_PUBLICID:
            return kCFXMLErrorMalformedDTD;
        case XML_ERROR_JUNK_AFTER_DOC_ELEMENT:
            return kCFXMLErrorMalformedDocument;
        default:
            break;
    }
    // What it is that is wrong says its beginning, at the place or before it.
    const Source& source = sources_.front();
    const auto place = static_cast<std::size_t>(std::max<XML_Index>(XML_GetCurrentByteIndex(source.expat), 0));
    if (place >= source.text.size()) return kCFXMLErrorUnexpectedEOF;
    const std::size_t begin = std::min(source.text.find_last_of("<&", place), place);
    const std::string_view text = source.text.substr(begin);
    if (isInDocumentType_) return kCFXMLErrorMalformedDTD;
    if (isCDATA_) return kCFXMLErrorMalformedCDSect;
    struct Construct {
        std::string_view beginning;
        CFXMLParserStatusCode code;
    };
    static constexpr Construct kConstructs[] = {
        {"</", kCFXMLErrorMalformedCloseTag},
        {"<!--", kCFXMLErrorMalformedComment},
        {"<![", kCFXMLErrorMalformedCDSect},
        {"<!D", kCFXMLErrorMalformedDTD},
        {"<?", kCFXMLErrorMalformedProcessingInstruction},
        {"<", kCFXMLErrorMalformedStartTag},
        {"&#", kCFXMLErrorMalformedCharacterReference},
    };
    for (const Construct& construct : kConstructs) {
        // A tag that has its end is not what is wrong.
        const bool isTag = construct.beginning == "</" || construct.beginning == "<";
        if (isTag && text.substr(0, place - begin).find('>') != text.npos) continue;
        if (text.starts_with(construct.beginning)) return construct.code;
    }
    return open_.size() <= 1 ? kCFXMLErrorMalformedDocument : kCFXMLErrorMalformedParsedCharacterData;
}

// ---- Structures

XMLString XMLReader::name(const XML_Char* text) {
    const std::string_view view(text);
    if (const auto found = names_.find(view); found != names_.end()) return found->second;
    XMLString made = stringOf(view);
    if (names_.size() < kKeptNames) names_.emplace(view, made);
    return made;
}

/// What the callback makes of a structure in the one that is open; null when it leaves it out.
void* XMLReader::create(CFXMLNodeTypeCode type, CFStringRef string, void* info) {
    const auto node = makeXMLNode(CFGetAllocator(&parser_), type, string, info, parser_.versionOfNodes);
    if (!node) throw std::bad_alloc();
    void* const made = parser_.callBacks.createXMLStructure(&parser_, node.get(), parser_.context.info);
    if (made && !open_.empty() && !isEnded_) {
        parser_.callBacks.addChild(&parser_, open_.back(), made, parser_.context.info);
    }
    return made;
}

void XMLReader::begin(CFXMLNodeTypeCode type, CFStringRef string, void* info) {
    open_.push_back(create(type, string, info));
}

void XMLReader::end() {
    void* const made = open_.back();
    open_.pop_back();
    if (made) parser_.callBacks.endXMLStructure(&parser_, made, parser_.context.info);
}

void XMLReader::add(CFXMLNodeTypeCode type, CFStringRef string, void* info) {
    void* const made = create(type, string, info);
    if (made && !isEnded_) parser_.callBacks.endXMLStructure(&parser_, made, parser_.context.info);
}

void XMLReader::flushText() {
    if (text_.empty()) return;
    const std::string text = std::exchange(text_, std::string());
    const bool isSpace = !isCDATA_ && isWhitespace(text);
    if (isSkipping() || (isSpace && parser_.has(kCFXMLParserSkipWhitespace))) return;
    const XMLString string = stringOf(text);
    add(isCDATA_  ? kCFXMLNodeTypeCDATASection
        : isSpace ? kCFXMLNodeTypeWhitespace
                  : kCFXMLNodeTypeText,
        string.get(), nullptr);
}

void XMLReader::addReference(std::string_view name, CFXMLEntityTypeCode type) {
    flushText();
    if (isSkipping()) return;
    CFXMLEntityReferenceInfo info{type};
    add(kCFXMLNodeTypeEntityReference, stringOf(name).get(), &info);
}

// ---- Elements and text

CFXMLElementInfo XMLReader::elementInfo(const XML_Char** attributes, bool isEmpty) {
    CFXMLElementInfo info{nullptr, nullptr, isEmpty, {}};
    std::size_t count = 0;
    while (attributes[2 * count]) ++count;
    if (!parser_.has(kCFXMLParserAddImpliedAttributes)) {
        // Those that the document type has given come last.
        const int specified = XML_GetSpecifiedAttributeCount(sources_.back().expat);
        count = std::min(count, static_cast<std::size_t>(std::max(specified, 0)) / 2);
    }
    if (count == 0) return info;
    std::vector<XMLString> holders;
    std::vector<const void*> names, values;
    holders.reserve(2 * count);
    names.reserve(count);
    values.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        names.push_back(holders.emplace_back(name(attributes[2 * i])).get());
        values.push_back(holders.emplace_back(stringOf(attributes[2 * i + 1])).get());
    }
    const auto size = static_cast<CFIndex>(count);
    info.attributes = CFDictionaryCreate(nullptr, names.data(), values.data(), size, &kCFTypeDictionaryKeyCallBacks,
                                         &kCFTypeDictionaryValueCallBacks);
    info.attributeOrder = CFArrayCreate(nullptr, names.data(), size, &kCFTypeArrayCallBacks);
    if (info.attributes && info.attributeOrder) return info;
    release(info.attributes);
    release(info.attributeOrder);
    throw std::bad_alloc();
}

void XMLReader::startElement(const XML_Char* text, const XML_Char** attributes) {
    flushText();
    if (isSkipping()) {
        open_.push_back(nullptr);
        return;
    }
    const XMLString string = name(text);
    CFXMLElementInfo info = elementInfo(attributes, raw().ends_with("/>"));
    begin(kCFXMLNodeTypeElement, string.get(), &info);
}

void XMLReader::endElement() {
    flushText();
    end();
}

void XMLReader::addText(std::string_view text) {
    if (isSkipping()) return;
    const std::string_view written = raw();
    if (!isCDATA_ && !parser_.has(kCFXMLParserReplacePhysicalEntities) && written.starts_with('&') &&
        written.ends_with(';')) {
        const std::string_view name = written.substr(1, written.size() - 2);
        return addReference(name, name.starts_with('#') ? kCFXMLEntityTypeCharacter : kCFXMLEntityTypeParsedInternal);
    }
    text_ += text;
}

void XMLReader::startCDATA() {
    flushText();
    isCDATA_ = true;
}

void XMLReader::endCDATA() {
    if (text_.empty() && !isSkipping()) {
        add(kCFXMLNodeTypeCDATASection, CFSTR(""), nullptr);
    } else {
        flushText();
    }
    isCDATA_ = false;
}

void XMLReader::addComment(const XML_Char* text) {
    flushText();
    flushAttributeTypes();
    if (isSkipping() || parser_.has(kCFXMLParserSkipMetaData)) return;
    add(kCFXMLNodeTypeComment, stringOf(text).get(), nullptr);
}

void XMLReader::addInstruction(const XML_Char* target, const XML_Char* data) {
    flushText();
    flushAttributeTypes();
    if (isSkipping() || (isInDocumentType_ && parser_.has(kCFXMLParserSkipMetaData))) return;
    XMLString string = stringOf(data);
    const XMLString targetName = name(target);
    CFXMLProcessingInstructionInfo info{string.release()};
    add(kCFXMLNodeTypeProcessingInstruction, targetName.get(), &info);
}

void XMLReader::addDeclaration(const XML_Char* version, const XML_Char* encoding, int standalone) {
    if (sources_.size() > 1 || !version) return;  // of an external entity
    std::string data = "version=\"" + std::string(version) + "\"";
    if (encoding) data += " encoding=\"" + std::string(encoding) + "\"";
    if (standalone >= 0) data += standalone ? " standalone=\"yes\"" : " standalone=\"no\"";
    addInstruction("xml", data.c_str());
}

/// What no other handler is for: white space beside the root element, and a reference to an entity of the document that
/// is not to be replaced.
void XMLReader::addOther(std::string_view text) {
    if (open_.size() == 1 && isWhitespace(text)) {
        for (std::size_t i = 0; i < text.size(); ++i) {  // the ends of lines, which expat leaves alone here
            if (text[i] != '\r') text_ += text[i];
            if (text[i] == '\r' && !text.substr(i + 1).starts_with('\n')) text_ += '\n';
        }
    }
    if (text.size() < 3 || !text.ends_with(';')) return;
    const std::string_view name = text.substr(1, text.size() - 2);
    if (isInDocumentType_) {
        if (!text.starts_with('%') || parser_.has(kCFXMLParserSkipMetaData)) return;
        flushAttributeTypes();
        addReference(name, kCFXMLEntityTypeParameter);
    } else if (text.starts_with('&')) {
        addReference(name, kCFXMLEntityTypeParsedInternal);
    }
}

// ---- The document type

/// The references in what is returned are the caller's.
CFXMLExternalID XMLReader::externalID(const XML_Char* systemID, const XML_Char* publicID) {
    XMLString publicName;
    if (publicID) publicName = stringOf(publicID);
    CFXMLExternalID id{nullptr, nullptr};
    if (systemID) id.systemID = CFURLCreateWithString(nullptr, stringOf(systemID).get(), parser_.source.get());
    id.publicID = publicName.release();
    return id;
}

void XMLReader::startDocumentType(const XML_Char* text, const XML_Char* systemID, const XML_Char* publicID) {
    flushText();
    isInDocumentType_ = true;
    if (isSkipping() || parser_.has(kCFXMLParserSkipMetaData)) {
        open_.push_back(nullptr);
        return;
    }
    const XMLString string = name(text);
    CFXMLDocumentTypeInfo info{externalID(systemID, publicID)};
    begin(kCFXMLNodeTypeDocumentType, string.get(), &info);
}

void XMLReader::endDocumentType() {
    flushAttributeTypes();
    isInDocumentType_ = false;
    end();
}

void XMLReader::addEntity(const XML_Char* text, bool isParameter, const XML_Char* value, int length,
                          const XML_Char* systemID, const XML_Char* publicID, const XML_Char* notation) {
    flushAttributeTypes();
    if (isSkipping()) return;
    const XMLString string = name(text);
    XMLString replacement, notationName;
    if (value) replacement = stringOf({value, static_cast<std::size_t>(length)});
    if (notation) notationName = stringOf(notation);
    CFXMLEntityInfo info{};
    info.entityType = isParameter ? kCFXMLEntityTypeParameter
                      : notation  ? kCFXMLEntityTypeUnparsed
                      : value     ? kCFXMLEntityTypeParsedInternal
                                  : kCFXMLEntityTypeParsedExternal;
    info.entityID = externalID(systemID, publicID);
    info.replacementText = replacement.release();
    info.notationName = notationName.release();
    add(kCFXMLNodeTypeEntity, string.get(), &info);
}

void XMLReader::addNotation(const XML_Char* text, const XML_Char* systemID, const XML_Char* publicID) {
    flushAttributeTypes();
    if (isSkipping()) return;
    const XMLString string = name(text);
    CFXMLNotationInfo info{externalID(systemID, publicID)};
    add(kCFXMLNodeTypeNotation, string.get(), &info);
}

void XMLReader::addElementType(const XML_Char* text, XML_Content* model) {
    const struct Content {
        XML_Parser expat;
        XML_Content* model;
        ~Content() { XML_FreeContentModel(expat, model); }
    } content{sources_.back().expat, model};
    guard([&] {
        flushAttributeTypes();
        if (isSkipping()) return;
        const XMLString string = name(text);
        XMLString description = stringOf(describe(*model));
        CFXMLElementTypeDeclarationInfo info{description.release()};
        add(kCFXMLNodeTypeElementTypeDeclaration, string.get(), &info);
    });
}

void XMLReader::addAttributeType(const XML_Char* element, const XML_Char* text, const XML_Char* type,
                                 const XML_Char* fallback, bool isRequired) {
    if (isSkipping()) return;
    if (attributesOf_ != element) {
        flushAttributeTypes();
        attributesOf_ = element;
    }
    AttributeType added{name(text), stringOf(type), {}};
    if (!fallback) {
        added.fallback = stringOf(isRequired ? "#REQUIRED" : "#IMPLIED");
    } else if (isRequired) {
        std::string keyword = "#FIXED \"";
        appendEscaped(keyword, fallback, true);
        added.fallback = stringOf(keyword + "\"");
    } else {
        added.fallback = stringOf(fallback);
    }
    attributeTypes_.push_back(std::move(added));
}

/// Reports the attributes that have been declared for one element, one after the other.
void XMLReader::flushAttributeTypes() {
    if (attributeTypes_.empty()) return;
    std::vector<AttributeType> types = std::exchange(attributeTypes_, {});
    const XMLString element = name(attributesOf_.c_str());
    attributesOf_.clear();
    std::vector<CFXMLAttributeDeclarationInfo> declarations;
    declarations.reserve(types.size());
    for (AttributeType& type : types) {
        declarations.push_back({type.name.release(), type.type.release(), type.fallback.release()});
    }
    CFXMLAttributeListDeclarationInfo info{static_cast<CFIndex>(declarations.size()), declarations.data()};
    add(kCFXMLNodeTypeAttributeListDeclaration, element.get(), &info);
}

// ---- External entities

/// False ends the parsing.
bool XMLReader::readExternalEntity(const XML_Char* context, const XML_Char* systemID, const XML_Char* publicID) {
    if (isSkipping()) return true;
    const std::string_view written = raw();
    const bool isReference = written.starts_with('&') && written.ends_with(';');
    const bool resolves = parser_.has(kCFXMLParserResolveExternalEntities) && parser_.callBacks.resolveExternalEntity;
    Retained<const __CFData> data;
    if (resolves && sources_.size() < kDeepestSource) {
        flushText();
        CFXMLExternalID id = externalID(systemID, publicID);
        const auto systemHolder = Retained<const __CFURL>::adopting(id.systemID);
        const auto publicHolder = XMLString::adopting(id.publicID);
        data = Retained<const __CFData>::adopting(
            parser_.callBacks.resolveExternalEntity(&parser_, &id, parser_.context.info));
    }
    if (isEnded_) return false;
    if (!data) {
        const std::string_view names = context ? context : "";
        addReference(isReference ? written.substr(1, written.size() - 2) : names.substr(names.rfind('\f') + 1),
                     kCFXMLEntityTypeParsedExternal);
        return !isEnded_;
    }
    const XMLDocument entity = openXMLDocument(data.get());
    if (entity.fault == kCFXMLErrorNoData) return true;
    if (entity.fault != kCFXMLStatusParseSuccessful) return false;
    const Expat expat(XML_ExternalEntityParserCreate(sources_.back().expat, context, "UTF-8"), XML_ParserFree);
    if (!expat) throw std::bad_alloc();
    sources_.push_back({expat.get(), entity.text});
    parse(Source(sources_.back()));
    sources_.pop_back();
    return !isEnded_ && parser_.status == kCFXMLStatusParseInProgress;
}

// ---- What expat calls

void XMLReader::setHandlers(XML_Parser expat) {
    XML_SetUserData(expat, this);
    XML_SetElementHandler(
        expat,
        [](void* data, const XML_Char* name, const XML_Char** attributes) {
            self(data).guard([&] { self(data).startElement(name, attributes); });
        },
        [](void* data, const XML_Char*) { self(data).guard([&] { self(data).endElement(); }); });
    XML_SetCharacterDataHandler(expat, [](void* data, const XML_Char* text, int length) {
        self(data).guard([&] { self(data).addText({text, static_cast<std::size_t>(length)}); });
    });
    XML_SetCdataSectionHandler(
        expat, [](void* data) { self(data).guard([&] { self(data).startCDATA(); }); },
        [](void* data) { self(data).guard([&] { self(data).endCDATA(); }); });
    XML_SetCommentHandler(
        expat, [](void* data, const XML_Char* text) { self(data).guard([&] { self(data).addComment(text); }); });
    XML_SetProcessingInstructionHandler(expat, [](void* data, const XML_Char* target, const XML_Char* text) {
        self(data).guard([&] { self(data).addInstruction(target, text); });
    });
    XML_SetXmlDeclHandler(expat, [](void* data, const XML_Char* version, const XML_Char* encoding, int standalone) {
        self(data).guard([&] { self(data).addDeclaration(version, encoding, standalone); });
    });
    XML_SetDoctypeDeclHandler(
        expat,
        [](void* data, const XML_Char* name, const XML_Char* systemID, const XML_Char* publicID, int) {
            self(data).guard([&] { self(data).startDocumentType(name, systemID, publicID); });
        },
        [](void* data) { self(data).guard([&] { self(data).endDocumentType(); }); });
    XML_SetEntityDeclHandler(
        expat, [](void* data, const XML_Char* name, int isParameter, const XML_Char* value, int length, const XML_Char*,
                  const XML_Char* systemID, const XML_Char* publicID, const XML_Char* notation) {
            self(data).guard(
                [&] { self(data).addEntity(name, isParameter != 0, value, length, systemID, publicID, notation); });
        });
    XML_SetNotationDeclHandler(expat, [](void* data, const XML_Char* name, const XML_Char*, const XML_Char* systemID,
                                         const XML_Char* publicID) {
        self(data).guard([&] { self(data).addNotation(name, systemID, publicID); });
    });
    XML_SetElementDeclHandler(
        expat, [](void* data, const XML_Char* name, XML_Content* model) { self(data).addElementType(name, model); });
    XML_SetAttlistDeclHandler(expat, [](void* data, const XML_Char* element, const XML_Char* name, const XML_Char* type,
                                        const XML_Char* fallback, int isRequired) {
        self(data).guard([&] { self(data).addAttributeType(element, name, type, fallback, isRequired != 0); });
    });
    XML_SetExternalEntityRefHandler(expat, [](XML_Parser from, const XML_Char* context, const XML_Char*,
                                              const XML_Char* systemID, const XML_Char* publicID) {
        XMLReader& reader = self(XML_GetUserData(from));
        bool goesOn = false;
        reader.guard([&] { goesOn = reader.readExternalEntity(context, systemID, publicID); });
        return goesOn ? 1 : 0;
    });
    const XML_DefaultHandler other = [](void* data, const XML_Char* text, int length) {
        self(data).guard([&] { self(data).addOther({text, static_cast<std::size_t>(length)}); });
    };
    if (parser_.has(kCFXMLParserReplacePhysicalEntities)) {
        XML_SetDefaultHandlerExpand(expat, other);
    } else {
        XML_SetDefaultHandler(expat, other);  // references to entities of the document come as they are
    }
}

}  // namespace KXPlatform
