// Reads the XML of property lists in one pass over the bytes, without recursion.
//
//     document = prolog ( "<plist" attributes ">" value "</plist>" | value ) anything
//     prolog   = [ "<?xml ...?>" ] ( blank | comment | instruction | "<!DOCTYPE ...>" without an internal subset )*
//     value    = <dict> ( <key> value )* </dict> | <array> value* </array> | <string> | <key> (read as a string)
//              | <data> | <integer> | <real> | <date> | <true/> | <false/>
//
// There are no entities but XML's five and references to characters, so nothing in a document can grow. Attributes are
// skipped. Blanks, comments and instructions may stand between elements.

#include "PropertyListNumbers.h"
#include "PropertyListTree.h"
#include "PropertyListXMLScanner.h"
#include "Support/Base64.h"

namespace KXPlatform {
namespace {

class XMLReader {
  public:
    XMLReader(std::string_view document, PropertyListTree& tree) noexcept : scanner_(document), tree_(tree) {}

    void read() {
        scanner_.skipDeclaration();
        bool inPList = false;
        for (;;) {
            scanner_.skipBlanks();
            const char* const start = scanner_.at();
            if (scanner_.isAtEnd()) {
                scanner_.fail(start, tree_.inContainer() || inPList ? "The document ends within an open element"
                                                                    : "The document holds no value; it ends");
            }
            if (scanner_.peek() != '<') {
                scanner_.fail(start, tree_.inContainer() ? "Text between elements" : "Text outside of elements");
            }
            scanner_.skip();
            const bool isOutermost = !tree_.inContainer();
            switch (scanner_.peek()) {
                case '!':
                    scanner_.skipMarkup(start, !inPList && isOutermost);
                    break;
                case '?':
                    scanner_.skipInstruction();
                    break;
                case '/':
                    scanner_.skip();
                    if (inPList && isOutermost) return closePList(start);
                    closeContainer(start);
                    break;
                default:
                    if (!inPList && isOutermost && openPList(start)) {
                        inPList = true;
                        continue;
                    }
                    if (tree_.hasRoot()) scanner_.fail(start, "A second value in <plist>");
                    readElement(start);
            }
            if (!inPList && tree_.hasRoot()) return;
        }
    }

  private:
    using Tag = XMLScanner::Tag;

    /// Enters <plist>; false, with nothing taken, for any other element.
    bool openPList(const char* start) {
        const char* const at = scanner_.at();
        if (scanner_.takeName() != nameOf(XMLElement::PList)) {
            scanner_.goBack(at);
            return false;
        }
        if (scanner_.finishStartTag(start) == Tag::Empty) scanner_.fail(start, "A <plist> without a value");
        return true;
    }

    void closePList(const char* start) {
        if (scanner_.takeName() != nameOf(XMLElement::PList)) {
            scanner_.fail(start, "A closing element that matches none");
        }
        scanner_.finishEndTag(start);
        if (!tree_.hasRoot()) scanner_.fail(start, "A <plist> without a value");
    }

    void openContainer(const char* start, XMLElement element, Tag tag) {
        try {
            if (element == XMLElement::Dict) {
                tree_.openDictionary();
            } else {
                tree_.openArray();
            }
        } catch (const PropertyListFault& fault) {
            scanner_.fail(start, fault.reason);
        }
        if (tag == Tag::Empty) tree_.close();
    }

    void closeContainer(const char* start) {
        const std::string_view name = scanner_.takeName();
        const XMLElement open = !tree_.inContainer()   ? XMLElement::Unknown
                                : tree_.inDictionary() ? XMLElement::Dict
                                                       : XMLElement::Array;
        if (open == XMLElement::Unknown || name != nameOf(open)) {
            scanner_.fail(start,
                          "The closing element </" + std::string(name.substr(0, 32)) + "> does not match the open one");
        }
        scanner_.finishEndTag(start);
        if (tree_.inDictionary() && !tree_.expectsKey()) {
            scanner_.fail(start, "A <key> without a value at the end of <dict>");
        }
        tree_.close();
    }

    /// Behind the '<' of a start tag.
    void readElement(const char* start) {
        const bool asKey = tree_.expectsKey();
        XMLElement element = scanner_.takePlainTag();
        const bool isPlain = element != XMLElement::Unknown;
        if (!isPlain) {
            const std::string_view name = scanner_.takeName();
            element = elementNamed(name);
            if (element == XMLElement::Unknown) scanner_.fail(start, "Unknown element " + quoted(name));
        }
        if (asKey && element != XMLElement::Key) {
            scanner_.fail(start, "<" + std::string(nameOf(element)) + "> where a <key> must stand");
        }
        const Tag tag = !isPlain ? scanner_.finishStartTag(start) : isBoolean(element) ? Tag::Empty : Tag::Open;
        switch (element) {
            case XMLElement::Dict:
            case XMLElement::Array:
                return openContainer(start, element, tag);
            case XMLElement::Key:
            case XMLElement::String:
                return readText(start, element, tag, asKey);
            case XMLElement::Data:
                return readData(start, tag);
            case XMLElement::True:
            case XMLElement::False:
                if (tag == Tag::Open) scanner_.expectEndTag(start, element);
                return tree_.addBoolean(element == XMLElement::True);
            case XMLElement::Date: {
                const auto date = parseDate(scanner_.takePlainText(start, element, tag));
                if (!date) scanner_.failInside(start, element, "No date of the form 2001-12-31T23:59:59Z in");
                return tree_.addDate(*date);
            }
            case XMLElement::Integer: {
                const auto integer = parseInteger(scanner_.takePlainText(start, element, tag));
                if (!integer) scanner_.failInside(start, element, "No integer from -2^63 to 2^64-1 in");
                if (!integer->negative) return tree_.addUnsigned(integer->magnitude);
                return tree_.addInteger(static_cast<std::int64_t>(0 - integer->magnitude));
            }
            case XMLElement::Real: {
                const auto real = parseReal(scanner_.takePlainText(start, element, tag));
                if (!real) scanner_.failInside(start, element, "No number in");
                return tree_.addReal(*real);
            }
            case XMLElement::PList:
            case XMLElement::Unknown:
                break;
        }
        scanner_.fail(start, "<plist> within the list");
    }

    void readText(const char* start, XMLElement element, Tag tag, bool asKey) {
        if (const auto plain = scanner_.takeText(start, element, tag)) {
            return asKey ? tree_.addKey(*plain) : tree_.addString(*plain);
        }
        const std::span<const UniChar> wide(scanner_.wide().data(), scanner_.wide().size());
        return asKey ? tree_.addKey(wide) : tree_.addString(wide);
    }

    void readData(const char* start, Tag tag) {
        const std::string_view text = scanner_.takePlainText(start, XMLElement::Data, tag);
        bytes_.truncate(0);
        UInt8* const first = bytes_.room(roomForBase64(text.size()));
        tree_.addData({first, decodeBase64(text, first)});
    }

    XMLScanner scanner_;
    PropertyListTree& tree_;
    SmallVector<UInt8, 512> bytes_;
};

}  // namespace

bool looksLikePropertyListXML(std::string_view document) noexcept {
    const char* p = document.data();
    const char* const end = p + document.size();
    while (p != end && XMLScanner::isBlank(*p)) ++p;
    if (p == end || *p != '<') return false;
    for (++p; p != end && *p != '>'; ++p) {
        const bool hex = (*p >= '0' && *p <= '9') || (*p >= 'a' && *p <= 'f') || (*p >= 'A' && *p <= 'F');
        if (!hex && !XMLScanner::isBlank(*p)) return true;
    }
    return false;
}

void readPropertyListXML(std::string_view document, PropertyListTree& tree) { XMLReader(document, tree).read(); }

}  // namespace KXPlatform
