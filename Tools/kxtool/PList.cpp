#include <KXCoreLib/CoreFoundationWrappers.h>
#include <KXCoreLib/PList.h>
#include <fmt/format.h>

#include <charconv>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Command.h"
#include "PListFile.h"
#include "PropertyListText.h"
#include "Streams.h"

namespace kxtool {
namespace {

using KXCore::PListArrayIter;
using KXCore::PListNode;
using namespace KXCore::CoreFoundation;

void RunConvert(const std::string& file, const std::string& format) {
    const auto [list, name] = Load(file);
    if (format == "json") return Write(JsonText(JsonOf(list.get()), 2) + "\n");
    try {
        Write(PropertyListBytes(list.get(),
                                format == "xml" ? kCFPropertyListXMLFormat_v1_0 : kCFPropertyListBinaryFormat_v1_0));
    } catch (const BadInput& error) {
        throw BadInput(fmt::format("{}: {}", name, error.what()));
    }
}

// ---- get

/// "/Devices/2/Na~1me" in its steps; "~1" stands for "/" and "~0" for "~" in a key (as in RFC 6901).
std::vector<std::string> StepsOf(const std::string& path) {
    if (path.empty() || path == "/") return {};
    if (path.front() != '/') throw BadUsage(fmt::format("{}: a path begins with /", Quoted(path)));
    std::vector<std::string> steps{""};
    for (std::size_t i = 1; i < path.size(); ++i) {
        const char c = path[i];
        const char next = i + 1 < path.size() ? path[i + 1] : '\0';
        if (c == '/') {
            steps.emplace_back();
        } else if (c == '~' && (next == '0' || next == '1')) {
            steps.back() += next == '0' ? '~' : '/';
            ++i;
        } else {
            steps.back() += c;
        }
    }
    return steps;
}

/// The element at `step` of the array at `node`; past its end, where there is none.
const PListNode& ElementAt(const PListNode& node, const std::string& step, std::vector<PListArrayIter>& iterators) {
    CFIndex index = 0;
    const auto [end, error] = std::from_chars(step.data(), step.data() + step.size(), index);
    CFArrayRef array = nullptr;
    node.getValue(array);
    if (error != std::errc() || end != step.data() + step.size() || index < 0 || index >= CFArrayGetCount(array)) {
        throw BadInput(fmt::format("{} is no index of an array of {} items", Quoted(step), CFArrayGetCount(array)));
    }
    PListArrayIter& iterator = iterators.emplace_back();
    node.getArrayIter(iterator);
    for (; index > 0; --index) iterator.next();
    return iterator.next();
}

/// The value at `node` as text. `type` says what it must be; empty takes anything.
std::string ValueText(const PListNode& node, const std::string& type) {
    if (type == "string") {
        std::string text;
        node.getValue(text);
        return text;
    }
    if (type == "int") {
        long long value = 0;
        node.getInt64Value(value);
        return fmt::format("{}", value);
    }
    if (type == "real") {
        double value = 0;
        node.getValue(value);
        return fmt::format("{}", value);
    }
    if (type == "bool") {
        bool value = false;
        node.getValue(value);
        return value ? "true" : "false";
    }
    if (type == "date") {
        CFDateRef value = nullptr;
        node.getValue(value);
        return DateText(value);
    }
    if (type == "data") {
        CFDataRef value = nullptr;
        node.getValue(value);
        return Base64Text(value);
    }
    CFTypeRef value = nullptr;
    node.getValue(value);
    switch (KindOf(value)) {
        case Kind::String:
            return TextOf(static_cast<CFStringRef>(value));
        case Kind::Data:
            return Base64Text(static_cast<CFDataRef>(value));
        default: {
            std::string outline = OutlineOf(value);
            outline.pop_back();
            return outline;
        }
    }
}

std::string NameOfExpected(std::int32_t type) {
    constexpr std::string_view kNames[] = {"a string",  "an array", "a dictionary", "a date",
                                           "a boolean", "a number", "data"};
    return std::string(type >= 1 && type <= 7 ? kNames[type - 1] : "another type");
}

void RunGet(const std::string& file, const std::string& path, const std::string& type) {
    const std::vector<std::string> steps = StepsOf(path);
    auto [list, name] = Load(file);
    const KXCore::PListNavigator navigator({list, Wide(name)});
    const PListNode* node = &navigator.root();
    std::vector<PListArrayIter> iterators;
    try {
        for (const std::string& step : steps) {
            CFArrayRef array = nullptr;
            node = node->getValue(array, KXCore::ItemKind::Optional) ? &ElementAt(*node, step, iterators)
                                                                     : &(*node / step.c_str());
        }
        Write(ValueText(*node, type) + "\n");
    } catch (const BadInput& error) {
        throw BadInput(fmt::format("{}: {}", Narrow(node->getLocationInfo()), error.what()));
    } catch (const KXCore::PListItemMissingError& error) {
        throw BadInput(fmt::format("{}: there is no such value", Narrow(error.getLocationInfo())));
    } catch (const KXCore::PListUnexpectedTypeError& error) {
        throw BadInput(fmt::format("{}: the value is not {}", Narrow(error.getLocationInfo()),
                                   NameOfExpected(error.getExpectedType())));
    } catch (const KXCore::PListConversionError& error) {
        throw BadInput(fmt::format("{}: the number does not fit", Narrow(error.getLocationInfo())));
    }
}

// ---- lint

std::string_view NameOf(CFPropertyListFormat format) {
    switch (format) {
        case kCFPropertyListXMLFormat_v1_0:
            return "XML";
        case kCFPropertyListBinaryFormat_v1_0:
            return "binary";
        case kCFPropertyListOpenStepFormat:
            break;
    }
    return "old text style";
}

/// The finding on one file, and whether it is a good one.
std::pair<std::string, bool> Lint(const std::string& file) {
    try {
        Input input(file);
        const Document document = ReadPropertyList(input.readAll(kLargestListFile));
        if (document.list) return {fmt::format("{}: OK, {}", input.name(), NameOf(document.format)), true};
        return {fmt::format("{}: {}", input.name(), document.fault), false};
    } catch (const BadInput& error) {
        return {error.what(), false};
    }
}

void RunLint(const std::vector<std::string>& files) {
    std::size_t faulty = 0;
    for (const std::string& file : files) {
        const auto [finding, isGood] = Lint(file);
        if (!isGood) ++faulty;
        Write(finding + "\n");
    }
    if (faulty != 0)
        throw BadInput(fmt::format("{} of {} files cannot be read as property lists", faulty, files.size()));
}

// ---- The command line

struct PListOptions {
    std::string file;
    std::vector<std::string> files;
    std::string path;
    std::string type;
    std::string format;
};

}  // namespace

void AddPList(CLI::App& tool) {
    const auto options = std::make_shared<PListOptions>();
    CLI::App* const plist = tool.add_subcommand("plist", "Look into property lists, check and convert them");
    plist->require_subcommand(1);
    plist->footer("Reads XML, binary and the old text style; - stands for the standard input.");

    CLI::App* const get = plist->add_subcommand("get", "Print one value");
    get->add_option("FILE", options->file, "The property list")->required();
    get->add_option("PATH", options->path, "Keys and indexes from the root; ~1 stands for / in a key, ~0 for ~")
        ->required();
    get->add_option("--type", options->type, "What the value must be")
        ->check(CLI::IsMember({"string", "int", "real", "bool", "date", "data"}));
    get->footer("Example:\n  kxtool plist get agent.plist /Devices/2/Name --type string\n");
    get->callback([options] { RunGet(options->file, options->path, options->type); });

    CLI::App* const print = plist->add_subcommand("print", "Print the whole list as an outline");
    print->add_option("FILE", options->file, "The property list")->required();
    print->footer("Example:\n  kxtool plist print agent.plist\n");
    print->callback([options] { Write(OutlineOf(Load(options->file).first.get())); });

    CLI::App* const convert = plist->add_subcommand("convert", "Write the list in another form");
    convert->add_option("FILE", options->file, "The property list")->required();
    convert->add_option("FORM", options->format, "xml, binary or json")
        ->required()
        ->check(CLI::IsMember({"xml", "binary", "json"}));
    convert->footer("Example:\n  kxtool plist convert agent.plist json\n");
    convert->callback([options] { RunConvert(options->file, options->format); });

    CLI::App* const lint = plist->add_subcommand("lint", "Check files, and tell the first fault of each");
    lint->add_option("FILE", options->files, "The property lists")->required();
    lint->footer("Example:\n  kxtool plist lint *.plist\n");
    lint->callback([options] { RunLint(options->files); });
}

}  // namespace kxtool
