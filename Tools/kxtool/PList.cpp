#include <KXCoreLib/CoreFoundationWrappers.h>
#include <KXCoreLib/PList.h>
#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Command.h"
#include "PListEdit.h"
#include "PListFile.h"
#include "PListPath.h"
#include "PropertyListText.h"
#include "ReplacedFile.h"
#include "Streams.h"

namespace kxtool {
namespace {

using KXCore::PListNode;
using namespace KXCore::CoreFoundation;

std::string ConvertedList(const LoadedList& loaded, const std::string& format) {
    if (format == "json")
        return JsonOf(loaded.list.get()).dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    try {
        return PropertyListBytes(loaded.list.get(),
                                 format == "xml" ? kCFPropertyListXMLFormat_v1_0 : kCFPropertyListBinaryFormat_v1_0);
    } catch (const BadInput& error) {
        throw BadInput(fmt::format("{}: {}", loaded.name, error.what()));
    }
}

void RunConvert(const std::string& file, const std::string& format, const std::string& output) {
    const std::string bytes = ConvertedList(LoadAny(file), format);
    if (output != "-") return ReplaceFile(output, bytes);
    if (format == "binary") return Write(bytes);
    Show(bytes);
}

// ---- get

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

void RunGet(const std::string& file, const std::string& path, const std::string& type, bool json) {
    const std::vector<std::string> steps = StepsOf(path);
    const LoadedList loaded = LoadAny(file);
    UseNodeAt(loaded.list, steps, loaded.name, [&](const PListNode& node) {
        const std::string text = ValueText(node, type);
        if (!json) return Show(text + "\n");
        CFTypeRef value = nullptr;
        node.getValue(value);
        Write(JsonText(JsonOf(value)) + "\n");
    });
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

/// What was found of a file.
struct Finding {
    std::string file;
    std::string form;   ///< of a good one
    std::string fault;  ///< of a bad one
    bool isRead = true;
};

Finding Lint(const std::string& file) {
    try {
        Input input(file);
        const Document document = ReadPropertyList(input.readAll(kLargestListFile));
        if (document.list) return {input.name(), std::string(NameOf(document.format)), "", true};
        return {input.name(), "", document.fault, true};
    } catch (const BadInput& error) {
        return {file, "", error.what(), false};
    }
}

void RunLint(const std::vector<std::string>& files, bool json) {
    std::size_t faulty = 0;
    for (const std::string& file : files) {
        const Finding finding = Lint(file);
        if (!finding.fault.empty()) ++faulty;
        if (json) {
            nlohmann::ordered_json line{{"file", finding.file}, {"ok", finding.fault.empty()}};
            line[finding.fault.empty() ? "form" : "fault"] = finding.fault.empty() ? finding.form : finding.fault;
            Write(JsonText(line) + "\n");
        } else if (finding.fault.empty()) {
            Show(fmt::format("{}: OK, {}\n", finding.file, finding.form));
        } else {
            Show(finding.isRead ? fmt::format("{}: {}\n", finding.file, finding.fault) : finding.fault + "\n");
        }
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
    std::string output = "-";
    bool json = false;
};

}  // namespace

void AddPList(CLI::App& tool) {
    const auto options = std::make_shared<PListOptions>();
    CLI::App* const plist = tool.add_subcommand("plist", "Look into property lists, change, check and convert them");
    plist->require_subcommand(1);
    plist->footer("Reads XML, binary, the old text style and, but for lint, JSON; - stands for the standard input.");

    CLI::App* const get = plist->add_subcommand("get", "Print one value");
    get->add_option("FILE", options->file, "The property list")->required();
    get->add_option("PATH", options->path, "Keys and indexes from the root; ~1 stands for / in a key, ~0 for ~")
        ->required();
    get->add_option("--type", options->type, "What the value must be")
        ->check(CLI::IsMember({"string", "int", "real", "bool", "date", "data"}));
    get->footer("Example:\n  kxtool plist get agent.plist /Devices/2/Name --type string\n");
    get->add_flag("--json", options->json, "Print the value as JSON");
    get->callback([options] { RunGet(options->file, options->path, options->type, options->json); });

    CLI::App* const print = plist->add_subcommand("print", "Print the whole list as an outline");
    print->add_option("FILE", options->file, "The property list")->required();
    print->footer("Example:\n  kxtool plist print agent.plist\n");
    print->add_flag("--json", options->json, "Print it as JSON");
    print->callback([options] {
        const LoadedList loaded = LoadAny(options->file);
        if (options->json) return Write(JsonText(JsonOf(loaded.list.get()), 2) + "\n");
        Show(OutlineOf(loaded.list.get()));
    });

    CLI::App* const convert = plist->add_subcommand("convert", "Write the list in another form");
    convert->add_option("FILE", options->file, "The property list")->required();
    convert->add_option("FORM", options->format, "xml, binary or json")
        ->required()
        ->check(CLI::IsMember({"xml", "binary", "json"}));
    convert->footer("Example:\n  kxtool plist convert agent.plist json\n");
    convert->add_option("-o,--output", options->output, "The file to write; '-', the default, is the standard output");
    convert->callback([options] { RunConvert(options->file, options->format, options->output); });

    CLI::App* const lint = plist->add_subcommand("lint", "Check files, and tell the first fault of each");
    lint->add_option("FILE", options->files, "The property lists")->required();
    lint->footer("Example:\n  kxtool plist lint *.plist\n");
    lint->add_flag("--json", options->json, "Print a line of JSON for each file");
    lint->callback([options] { RunLint(options->files, options->json); });

    AddPListEdit(plist);
}

}  // namespace kxtool
