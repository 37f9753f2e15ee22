#include "PropertyListText.h"

#include <KXCoreLib/Codecs.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "Errors.h"
#include "Terminal.h"

namespace kxtool {

using namespace KXCore::CoreFoundation;

namespace {

/// How deep the readers of property lists go.
constexpr std::size_t kDeepest = 512;

std::string ReasonOf(const ErrorRef& error) {
    const DictionaryRef info = error.copyUserInfo();
    CFStringRef reason = static_cast<CFStringRef>(CFDictionaryGetValue(info.get(), CFSTR("NSDebugDescription")));
    return reason ? StringRef::retain(reason).copyStdString() : error.copyDescription().copyStdString();
}

/// An integer, whatever its size, as the platform prints it.
std::string IntegerText(CFNumberRef number) {
    return StringRef::adopt(CFStringCreateWithFormat(nullptr, nullptr, CFSTR("%@"), number)).copyStdString();
}

double RealOf(CFNumberRef number) {
    double value = 0;
    CFNumberGetValue(number, kCFNumberFloat64Type, &value);
    return value;
}

std::string NumberText(CFNumberRef number) {
    return CFNumberIsFloatType(number) ? fmt::format("{}", RealOf(number)) : IntegerText(number);
}

/// The keys of a dictionary with their values, in the order of the keys' bytes.
std::vector<std::pair<std::string, CFTypeRef>> SortedEntries(CFDictionaryRef dictionary) {
    const std::size_t count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
    std::vector<const void*> keys(count);
    std::vector<const void*> values(count);
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    std::vector<std::pair<std::string, CFTypeRef>> entries;
    for (std::size_t i = 0; i < count; ++i) entries.emplace_back(TextOf(static_cast<CFStringRef>(keys[i])), values[i]);
    std::sort(entries.begin(), entries.end());
    return entries;
}

constexpr std::size_t kShownBytes = 16;

std::string DataOutline(CFDataRef data) {
    const std::size_t size = static_cast<std::size_t>(CFDataGetLength(data));
    std::string text = fmt::format("data, {} bytes", size);
    const std::size_t shown = std::min(size, kShownBytes);
    for (std::size_t i = 0; i < shown; ++i) {
        text += fmt::format("{}{:02x}", i == 0 ? ": " : " ", CFDataGetBytePtr(data)[i]);
    }
    return shown < size ? text + " ..." : text;
}

/// A line for the value, after `label`, and lines for what it holds, further in.
void Outline(std::string& out, const std::string& label, CFTypeRef value, std::size_t indent) {
    out.append(2 * indent, ' ');
    if (!label.empty()) out += label + ": ";
    switch (KindOf(value)) {
        case Kind::String:
            out += nlohmann::json(TextOf(static_cast<CFStringRef>(value))).dump() + "\n";
            return;
        case Kind::Number:
            out += NumberText(static_cast<CFNumberRef>(value)) + "\n";
            return;
        case Kind::Boolean:
            out += CFBooleanGetValue(static_cast<CFBooleanRef>(value)) ? "true\n" : "false\n";
            return;
        case Kind::Date:
            out += DateText(static_cast<CFDateRef>(value)) + "\n";
            return;
        case Kind::Data:
            out += DataOutline(static_cast<CFDataRef>(value)) + "\n";
            return;
        case Kind::Array: {
            const CFArrayRef array = static_cast<CFArrayRef>(value);
            out += fmt::format("array, {} items\n", CFArrayGetCount(array));
            for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
                Outline(out, fmt::format("{}", i), CFArrayGetValueAtIndex(array, i), indent + 1);
            }
            return;
        }
        case Kind::Dictionary: {
            const auto entries = SortedEntries(static_cast<CFDictionaryRef>(value));
            out += fmt::format("dictionary, {} entries\n", entries.size());
            for (const auto& [key, member] : entries) {
                const bool isPlain = !key.empty() && std::all_of(key.begin(), key.end(), [](char c) {
                    return static_cast<unsigned char>(c) > ' ' && c != ':' && c != '"' && c != '\x7F';
                });
                Outline(out, isPlain ? key : nlohmann::json(key).dump(), member, indent + 1);
            }
            return;
        }
    }
}

StringRef StringOf(const std::string& utf8) {
    return StringRef::createWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                      static_cast<CFIndex>(utf8.size()), kCFStringEncodingUTF8, false);
}

PropertyListRef IntegerOf(const nlohmann::json& json) {
    if (json.is_number_unsigned() && json.get<std::uint64_t>() > std::numeric_limits<std::int64_t>::max()) {
        // Wider than the numbers that can be made from a value: read as a property list is.
        return ReadPropertyList(fmt::format("<integer>{}</integer>", json.get<std::uint64_t>())).list;
    }
    const SInt64 value = json.get<SInt64>();
    return PropertyListRef::adopt(CFNumberCreate(nullptr, kCFNumberSInt64Type, &value));
}

PropertyListRef ListOf(const nlohmann::json& json, std::size_t depth) {
    using Type = nlohmann::json::value_t;
    if (depth > kDeepest) throw BadInput(fmt::format("values nest more than {} deep", kDeepest));
    switch (json.type()) {
        case Type::string:
            return PropertyListRef::retain(StringOf(json.get_ref<const std::string&>()).get());
        case Type::boolean:
            return PropertyListRef::retain(json.get<bool>() ? kCFBooleanTrue : kCFBooleanFalse);
        case Type::number_integer:
        case Type::number_unsigned:
            return IntegerOf(json);
        case Type::number_float: {
            const double value = json.get<double>();
            return PropertyListRef::adopt(CFNumberCreate(nullptr, kCFNumberDoubleType, &value));
        }
        case Type::array: {
            MutableArrayRef array = ArrayRef::createMutable(nullptr, 0, &kCFTypeArrayCallBacks);
            for (const nlohmann::json& element : json) array.appendValue(ListOf(element, depth + 1).get());
            return PropertyListRef::retain(array.get());
        }
        case Type::object: {
            MutableDictionaryRef dictionary = DictionaryRef::createMutable(nullptr, 0);
            for (const auto& [key, value] : json.items()) {
                dictionary.setValue(StringOf(key).get(), ListOf(value, depth + 1).get());
            }
            return PropertyListRef::retain(dictionary.get());
        }
        case Type::null:
        case Type::binary:
        case Type::discarded:
            break;
    }
    throw BadInput("a property list has no null");
}

}  // namespace

Document ReadPropertyList(std::string_view bytes) {
    const DataRef data = DataRef::createWithBytesNoCopy(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                                        static_cast<CFIndex>(bytes.size()), kCFAllocatorNull);
    Document document;
    ErrorRef error;
    document.list =
        PropertyListRef::createWithData(nullptr, data.get(), kCFPropertyListImmutable, &document.format, &error);
    if (!document.list) document.fault = ReasonOf(error);
    return document;
}

std::string PropertyListBytes(CFPropertyListRef list, CFPropertyListFormat format) {
    ErrorRef error;
    const DataRef data = PropertyListRef::createData(nullptr, list, format, 0, &error);
    if (!data) throw BadInput(ReasonOf(error));
    return {reinterpret_cast<const char*>(data.getBytePtr()), static_cast<std::size_t>(data.getLength())};
}

std::string XmlLine(CFPropertyListRef list) {
    const std::string document = PropertyListBytes(list, kCFPropertyListXMLFormat_v1_0);
    std::string line;
    bool inText = false;  // where line ends and tabs are part of a value
    for (std::size_t i = document.find("<plist"); i < document.size(); ++i) {
        const char c = document[i];
        if (c == '<') {
            const std::string_view rest = std::string_view(document).substr(i);
            inText = rest.starts_with("<string>") || rest.starts_with("<key>");
        }
        if (c != '\n' && c != '\r' && c != '\t') {
            line += c;
        } else if (inText) {
            line += fmt::format("&#{};", int{c});
        }
    }
    return line;
}

Kind KindOf(CFTypeRef value) {
    const CFTypeID type = CFGetTypeID(value);
    if (type == CFStringGetTypeID()) return Kind::String;
    if (type == CFDataGetTypeID()) return Kind::Data;
    if (type == CFArrayGetTypeID()) return Kind::Array;
    if (type == CFDictionaryGetTypeID()) return Kind::Dictionary;
    if (type == CFNumberGetTypeID()) return Kind::Number;
    return type == CFBooleanGetTypeID() ? Kind::Boolean : Kind::Date;
}

std::string TextOf(CFStringRef string) { return StringRef::retain(string).copyStdString(); }

std::string DateText(CFDateRef date) {
    const CFAbsoluteTime time = CFDateGetAbsoluteTime(date);
    constexpr double kYears = 9000;
    if (!(std::fabs(time) < kYears * 366 * 86400)) return fmt::format("{} seconds since 2001", time);
    const CFGregorianDate day = CFAbsoluteTimeGetGregorianDate(std::floor(time), nullptr);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", day.year, int{day.month}, int{day.day}, int{day.hour},
                       int{day.minute}, static_cast<int>(day.second));
}

std::string Base64Text(CFDataRef data) {
    const std::size_t size = static_cast<std::size_t>(CFDataGetLength(data));
    std::string text((size + 2) / 3 * 4 + 1, '\0');
    const ptrdiff_t length = kx_base64_encode(CFDataGetBytePtr(data), size, text.data(), text.size());
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::string OutlineOf(CFTypeRef value, std::string_view label) {
    std::string out;
    Outline(out, std::string(label), value, 0);
    return out;
}

nlohmann::ordered_json JsonOf(CFTypeRef value) {
    switch (KindOf(value)) {
        case Kind::String:
            return TextOf(static_cast<CFStringRef>(value));
        case Kind::Boolean:
            return CFBooleanGetValue(static_cast<CFBooleanRef>(value)) != 0;
        case Kind::Date:
            return DateText(static_cast<CFDateRef>(value));
        case Kind::Data:
            return Base64Text(static_cast<CFDataRef>(value));
        case Kind::Number: {
            const CFNumberRef number = static_cast<CFNumberRef>(value);
            if (!CFNumberIsFloatType(number)) return nlohmann::ordered_json::parse(IntegerText(number));
            const double real = RealOf(number);
            if (!std::isfinite(real)) throw BadInput("JSON cannot hold nan and infinity");
            return real;
        }
        case Kind::Array: {
            nlohmann::ordered_json json = nlohmann::ordered_json::array();
            const CFArrayRef array = static_cast<CFArrayRef>(value);
            for (CFIndex i = 0; i < CFArrayGetCount(array); ++i)
                json.push_back(JsonOf(CFArrayGetValueAtIndex(array, i)));
            return json;
        }
        case Kind::Dictionary:
            break;
    }
    nlohmann::ordered_json json = nlohmann::ordered_json::object();
    for (auto& [key, member] : SortedEntries(static_cast<CFDictionaryRef>(value))) json[key] = JsonOf(member);
    return json;
}

std::string JsonText(const nlohmann::ordered_json& json, int indent) {
    const std::string text = json.dump(indent, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
    return OutputIsTerminal() ? EscapedJson(text) : text;
}

PropertyListRef PropertyListOfJson(const nlohmann::json& json) { return ListOf(json, 1); }

}  // namespace kxtool
