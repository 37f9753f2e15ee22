#include "PListEdit.h"

#include <KXCoreLib/Codecs.h>
#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "AuditTime.h"
#include "Command.h"
#include "PListFile.h"
#include "PListPath.h"
#include "PropertyListText.h"
#include "ReplacedFile.h"
#include "Streams.h"

namespace kxtool {
namespace {

using namespace KXCore::CoreFoundation;

struct EditOptions {
    std::string file;
    std::string path;
    std::string value;
    std::string type;
    std::string output = "-";
    bool json = false;
    bool xml = false;
};

// ---- Values of the command line

std::optional<std::int64_t> WholeOf(const std::string& text) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::optional<double> RealOf(const std::string& text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

PropertyListRef StringValue(const std::string& text) {
    return PropertyListRef::adopt(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                                          static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8,
                                                          false));
}

PropertyListRef DataValue(const std::string& text) {
    std::vector<UInt8> bytes(text.size() + 3);
    const std::ptrdiff_t length = kx_base64_decode(text.data(), text.size(), bytes.data(), bytes.size());
    if (length < 0) return {};
    return PropertyListRef::adopt(CFDataCreate(nullptr, bytes.data(), static_cast<CFIndex>(length)));
}

PropertyListRef DateValue(const std::string& text) {
    const std::optional<std::int64_t> time = TimeOf(RecordDate(text));
    if (!time) return {};
    return PropertyListRef::adopt(
        CFDateCreate(nullptr, static_cast<double>(*time) / 1000 - kCFAbsoluteTimeIntervalSince1970));
}

/// No value where the text is none of the type.
PropertyListRef ValueOfType(const std::string& text, const std::string& type) {
    if (type == "string") return StringValue(text);
    if (type == "data") return DataValue(text);
    if (type == "date") return DateValue(text);
    if (type == "bool") {
        const bool isTrue = text == "true" || text == "yes" || text == "1";
        if (!isTrue && text != "false" && text != "no" && text != "0") return {};
        return PropertyListRef::retain(isTrue ? kCFBooleanTrue : kCFBooleanFalse);
    }
    if (type == "int") {
        const auto value = WholeOf(text);
        if (!value) return {};
        return PropertyListRef::adopt(CFNumberCreate(nullptr, kCFNumberSInt64Type, &*value));
    }
    if (type == "real") {
        const auto value = RealOf(text);
        if (!value) return {};
        return PropertyListRef::adopt(CFNumberCreate(nullptr, kCFNumberDoubleType, &*value));
    }
    if (type == "json") {
        try {
            return PropertyListOfJson(nlohmann::json::parse(text));
        } catch (const nlohmann::json::exception&) {
            return {};
        }
    }
    return ReadPropertyList(text).list;  // xml
}

std::string TypeOf(CFTypeRef value) {
    switch (KindOf(value)) {
        case Kind::Data:
            return "data";
        case Kind::Date:
            return "date";
        case Kind::Boolean:
            return "bool";
        case Kind::Number:
            return CFNumberIsFloatType(static_cast<CFNumberRef>(value)) ? "real" : "int";
        case Kind::String:
            return "string";
        case Kind::Array:
        case Kind::Dictionary:
            break;
    }
    return "";
}

/// What the text looks like.
std::string TypeLike(const std::string& text) {
    if (text == "true" || text == "false") return "bool";
    if (WholeOf(text)) return "int";
    const auto real = RealOf(text);
    return real && std::isfinite(*real) ? "real" : "string";
}

PropertyListRef ValueGiven(const EditOptions& options, const PropertyListRef& list,
                           const std::vector<std::string>& steps) {
    if (!options.type.empty()) {
        PropertyListRef value = ValueOfType(options.value, options.type);
        if (!value) throw BadUsage(fmt::format("{} is no {}", Quoted(options.value), options.type));
        return value;
    }
    // What is there keeps its type, if the text can be of it.
    try {
        const std::string type = TypeOf(ValueAt(list, steps, options.file).get());
        PropertyListRef value = type.empty() ? PropertyListRef() : ValueOfType(options.value, type);
        if (value) return value;
    } catch (const BadInput&) {  // it is new
    }
    PropertyListRef value = ValueOfType(options.value, TypeLike(options.value));
    if (!value) throw BadUsage(fmt::format("{} is no UTF-8", Quoted(options.value)));
    return value;
}

// ---- The commands

/// Writes the list where it came from, in the form in which it came.
void Store(const std::string& file, CFPropertyListRef list, const LoadedList& loaded) {
    std::string bytes;
    if (loaded.isJson) {
        bytes = JsonOf(list).dump(2) + "\n";
    } else {
        const bool isOld = loaded.format == kCFPropertyListOpenStepFormat;
        if (isOld) Warn(fmt::format("{}: the old text style cannot be written; it becomes XML", loaded.name));
        bytes = PropertyListBytes(list, isOld ? kCFPropertyListXMLFormat_v1_0 : loaded.format);
    }
    if (file == "-") return Write(bytes);
    ReplaceFile(file, bytes);
}

void RunSet(const EditOptions& options) {
    const LoadedList loaded = LoadAny(options.file);
    const std::vector<std::string> steps = StepsOf(options.path);
    const PropertyListRef value = ValueGiven(options, loaded.list, steps);
    Store(options.file, WithValueAt(loaded.list.get(), steps, value.get(), loaded.name).get(), loaded);
}

void RunRemove(const EditOptions& options) {
    const LoadedList loaded = LoadAny(options.file);
    Store(options.file, WithoutValueAt(loaded.list.get(), StepsOf(options.path), loaded.name).get(), loaded);
}

void RunExtract(const EditOptions& options) {
    const LoadedList loaded = LoadAny(options.file);
    const PropertyListRef value = ValueAt(loaded.list, StepsOf(options.path), loaded.name);
    const std::string bytes = options.json ? JsonOf(value.get()).dump(2) + "\n"
                                           : PropertyListBytes(value.get(), kCFPropertyListXMLFormat_v1_0);
    if (options.output != "-") return ReplaceFile(options.output, bytes);
    Show(bytes);
}

CLI::App* AddCommand(CLI::App* plist, const std::shared_ptr<EditOptions>& options, const char* name, const char* does) {
    CLI::App* const command = plist->add_subcommand(name, does);
    command->add_option("FILE", options->file, "The property list")->required();
    command->add_option("PATH", options->path, "Keys and indexes from the root; ~1 stands for / in a key, ~0 for ~")
        ->required();
    return command;
}

}  // namespace

void AddPListEdit(CLI::App* plist) {
    const auto options = std::make_shared<EditOptions>();

    CLI::App* const set = AddCommand(plist, options, "set", "Change a value, or add one");
    set->add_option("VALUE", options->value, "The value; put -- before it if it begins with -")->required();
    set->add_option("--type", options->type, "What the value is: data in Base64, json and xml for whole trees")
        ->check(CLI::IsMember({"string", "int", "real", "bool", "date", "data", "json", "xml"}));
    set->footer(
        "The file is replaced as a whole and keeps its form; '-' reads the standard input and writes the standard\n"
        "output. Without --type a value keeps the type of the one that is there, and a new one is an int, a real, a\n"
        "bool or a string, as it looks. In an array, its count or - appends.\n\n"
        "Example:\n"
        "  kxtool plist set agent.plist /Devices/2/Name Stick\n");
    set->callback([options] { RunSet(*options); });

    CLI::App* const remove = AddCommand(plist, options, "remove", "Remove a value");
    remove->footer("Example:\n  kxtool plist remove agent.plist /Devices/2\n");
    remove->callback([options] { RunRemove(*options); });

    CLI::App* const extract = AddCommand(plist, options, "extract", "Write a part of the list as a list of its own");
    CLI::Option* const xml = extract->add_flag("--xml", options->xml, "As XML; the default");
    extract->add_flag("--json", options->json, "As JSON")->excludes(xml);
    extract->add_option("-o,--output", options->output, "The file to write; '-', the default, is the standard output");
    extract->footer("Example:\n  kxtool plist extract agent.plist /ACL --xml -o acl.plist\n");
    extract->callback([options] { RunExtract(*options); });
}

}  // namespace kxtool
