#pragma once

// Property lists between files, the screen and JSON, for every command that shows or takes them. Values are borrowed
// for the call; what is made belongs to the caller.

#include <KXCoreLib/CoreFoundationWrappers.h>

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace kxtool {

/// What ReadPropertyList() makes of some bytes.
struct Document {
    KXCore::CoreFoundation::PropertyListRef list;
    CFPropertyListFormat format{};
    std::string fault;  ///< why there is no list
};

/// Reads XML, binary or the old text style.
Document ReadPropertyList(std::string_view bytes);

/// The list in XML or binary form. Throws BadInput when the form cannot hold it.
std::string PropertyListBytes(CFPropertyListRef list, CFPropertyListFormat format);

/// The list as an XML element on one line, without the lines that stand before it in a file.
std::string XmlLine(CFPropertyListRef list);

/// What a property list is made of.
enum class Kind { String, Data, Array, Dictionary, Number, Boolean, Date };
Kind KindOf(CFTypeRef value);

/// The text of one value: UTF-8; a date in UTC as XML has it; data in Base64.
std::string TextOf(CFStringRef string);
std::string DateText(CFDateRef date);
std::string Base64Text(CFDataRef data);

/// A line for the value, after `label` and a colon if there is one, and lines for what it holds, further in. Ends with
/// a newline.
std::string OutlineOf(CFTypeRef value, std::string_view label = "");

/// JSON of the same shape. Dates and data become their texts; nan and infinity throw BadInput.
nlohmann::ordered_json JsonOf(CFTypeRef value);

/// `json` as text; `indent` as nlohmann::json::dump takes it. A lone surrogate, which UTF-8 cannot carry, is replaced;
/// for a terminal, what it would obey is escaped.
std::string JsonText(const nlohmann::ordered_json& json, int indent = -1);

/// The property list of the same shape as `json`. Throws BadInput for what no property list can hold: null, and values
/// deeper in each other than its readers go.
KXCore::CoreFoundation::PropertyListRef PropertyListOfJson(const nlohmann::json& json);

}  // namespace kxtool
