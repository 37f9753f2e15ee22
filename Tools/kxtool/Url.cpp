#include <KXCoreLib/CoreFoundation/StringRef.h>
#include <KXCoreLib/CoreFoundation/URLRef.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "Command.h"
#include "Streams.h"

namespace kxtool {
namespace {

using KXCore::CoreFoundation::StringRef;
using KXCore::CoreFoundation::URLRef;

struct UrlOptions {
    std::string text;
    std::string base;
    std::string also;
    std::string keep;
    bool back = false;
    bool json = false;
};

/// The argument as a string; what a terminal passes may be any bytes.
StringRef ArgumentText(const std::string& text) {
    const auto string =
        StringRef::adopt(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                                 static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
    if (!string) throw BadInput(Quoted(text) + " is no UTF-8 text");
    return string;
}

URLRef UrlOf(const std::string& text, const URLRef& base = {}) {
    const auto url = URLRef::adopt(CFURLCreateWithString(nullptr, ArgumentText(text).get(), base.get()));
    if (!url) throw BadInput(Quoted(text) + " is no URL");
    return url;
}

/// Takes over what a copying function of the platform returned: null where there is no such part.
nlohmann::ordered_json UrlPart(CFStringRef made) {
    if (!made) return nullptr;
    return StringRef::adopt(made).copyStdString();
}

using UrlParts = std::vector<std::pair<std::string, nlohmann::ordered_json>>;

UrlParts PartsOf(const URLRef& url) {
    const SInt32 port = url.getPortNumber();
    return {
        {"scheme", UrlPart(CFURLCopyScheme(url.get()))},
        {"user", UrlPart(CFURLCopyUserName(url.get()))},
        {"password", UrlPart(CFURLCopyPassword(url.get()))},
        {"host", UrlPart(CFURLCopyHostName(url.get()))},
        {"port", port < 0 ? nlohmann::ordered_json() : nlohmann::ordered_json(port)},
        {"path", UrlPart(CFURLCopyPath(url.get()))},
        {"query", UrlPart(CFURLCopyQueryString(url.get(), nullptr))},
        {"fragment", UrlPart(CFURLCopyFragment(url.get(), nullptr))},
        {"rest", url.canBeDecomposed() ? nlohmann::ordered_json() : UrlPart(CFURLCopyResourceSpecifier(url.get()))},
    };
}

void PrintUrlParts(const UrlOptions& options) {
    const UrlParts parts = PartsOf(UrlOf(options.text));
    if (options.json) {
        nlohmann::ordered_json object = nlohmann::ordered_json::object();
        for (const auto& [name, value] : parts) object[name] = value;
        Write(object.dump(2) + "\n");
        return;
    }
    for (const auto& [name, value] : parts) {
        if (value.is_null()) continue;
        Write(name + ": " + (value.is_string() ? value.get<std::string>() : value.dump()) + "\n");
    }
}

void PrintUrl(const std::string& name, const std::string& text, bool json) {
    Write((json ? nlohmann::ordered_json{{name, text}}.dump() : text) + "\n");
}

void ResolveUrl(const UrlOptions& options) {
    const URLRef base = UrlOf(options.base);
    const auto whole = URLRef::adopt(CFURLCopyAbsoluteURL(UrlOf(options.text, base).get()));
    if (!whole) throw BadInput(Quoted(options.text) + " cannot be resolved");
    PrintUrl("url", whole.getString().copyStdString(), options.json);
}

void EscapeUrl(const UrlOptions& options) {
    const StringRef text = ArgumentText(options.text);
    const auto result = StringRef::adopt(
        options.back
            ? CFURLCreateStringByReplacingPercentEscapes(nullptr, text.get(), ArgumentText(options.keep).get())
            : CFURLCreateStringByAddingPercentEscapes(nullptr, text.get(), ArgumentText(options.keep).get(),
                                                      ArgumentText(options.also).get(), kCFStringEncodingUTF8));
    if (!result) throw BadInput(Quoted(options.text) + " has escapes that are broken or no UTF-8");
    PrintUrl("text", result.copyStdString(), options.json);
}

}  // namespace

void AddUrl(CLI::App& tool) {
    CLI::App* const command = tool.add_subcommand("url", "Take URLs apart, resolve and escape them");
    command->require_subcommand(1);
    command->footer("Example:\n  kxtool url parts 'https://user@host:8443/a/b?c#d'\n");
    const auto add = [&](const char* name, const char* does, const char* example, auto run, auto addOptions) {
        const auto options = std::make_shared<UrlOptions>();
        CLI::App* const sub = command->add_subcommand(name, does);
        addOptions(*sub, *options);
        sub->add_flag("--json", options->json, "Print JSON");
        sub->footer(std::string("Example:\n  ") + example + "\n");
        sub->callback([options, run] { run(*options); });
    };
    add("parts", "Print the parts of a URL, a line each", "kxtool url parts --json 'https://host/a?b'", PrintUrlParts,
        [](CLI::App& sub, UrlOptions& options) { sub.add_option("URL", options.text, "The URL")->required(); });
    add("resolve", "Print what a URL is relative to a base", "kxtool url resolve https://host/a/b ../c", ResolveUrl,
        [](CLI::App& sub, UrlOptions& options) {
            sub.add_option("BASE", options.base, "What it is relative to")->required();
            sub.add_option("URL", options.text, "The URL to resolve")->required();
        });
    add("escape", "Escape what a URL may not hold, or replace the escapes", "kxtool url escape --also '/?' 'a b/c'",
        EscapeUrl, [](CLI::App& sub, UrlOptions& options) {
            sub.add_option("TEXT", options.text, "The text")->required();
            sub.add_option("--also", options.also, "Characters to escape as well");
            sub.add_option("--keep", options.keep, "Characters to leave as they are");
            sub.add_flag("--back", options.back, "Replace the escapes by what they stand for");
        });
}

}  // namespace kxtool
