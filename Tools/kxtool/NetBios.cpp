#include <KXCoreLib/CoreFoundationWrappers.h>
#include <KXCoreLib/SystemInfo.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "Command.h"
#include "Streams.h"

namespace kxtool {
namespace {

using namespace KXCore;
using CoreFoundation::DictionaryRef;
using CoreFoundation::StringRef;

struct NetBiosOptions {
    bool watch = false;
    bool json = false;
};

using Entries = std::vector<std::pair<std::string, CFTypeRef>>;

/// The entries of a dictionary whose keys are text; the values are borrowed.
Entries EntriesOf(CFDictionaryRef dictionary) {
    Entries entries;
    CFDictionaryApplyFunction(
        dictionary,
        [](const void* key, const void* value, void* out) {
            static_cast<Entries*>(out)->emplace_back(StringRef::retain(static_cast<CFStringRef>(key)).copyStdString(),
                                                     value);
        },
        &entries);
    return entries;
}

/// The texts that the store holds under the keys that are watched: what the name is chosen from.
nlohmann::json StoreTexts(const RunLoopSourceSCDynamicStore& updater) {
    nlohmann::json store = nlohmann::json::object();
    const DictionaryRef cache = updater.copyCache();
    for (const auto& [key, value] : EntriesOf(cache.get())) {
        nlohmann::json& texts = store[key] = nlohmann::json::object();
        if (CFGetTypeID(value) != DictionaryRef::typeID) continue;
        for (const auto& [entry, text] : EntriesOf(static_cast<CFDictionaryRef>(value))) {
            if (CFGetTypeID(text) != StringRef::typeID) continue;
            texts[entry] = StringRef::retain(static_cast<CFStringRef>(text)).copyStdString();
        }
    }
    return store;
}

/// One line, at once: whoever reads it may be waiting for it.
void Print(const std::string& name, const RunLoopSourceSCDynamicStore& updater, const NetBiosOptions& options) {
    if (options.json) {
        const nlohmann::ordered_json line{{"name", name}, {"store", StoreTexts(updater)}};
        // The host's name may be any bytes.
        Write(line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n");
    } else {
        Write(name + "\n");
    }
    Flush();
}

void RunNetBios(const NetBiosOptions& options) {
    const auto updater = GetSystemInfoUpdater();
    std::string name = GetSystemNetBiosName()->getName();
    Print(name, *updater, options);
    if (!options.watch) return;

    constexpr CFTimeInterval kForever = 1e10;
    updater->scheduleWithRunLoop(CFRunLoopGetCurrent(), kCFRunLoopDefaultMode, 0);
    for (;;) {
        if (CFRunLoopRunInMode(kCFRunLoopDefaultMode, kForever, true) == kCFRunLoopRunFinished) return;
        std::string now = GetSystemNetBiosName()->getName();
        if (now == name) continue;
        name = std::move(now);
        Print(name, *updater, options);
    }
}

}  // namespace

void AddNetBios(CLI::App& tool) {
    const auto options = std::make_shared<NetBiosOptions>();
    CLI::App* const command = tool.add_subcommand("netbios", "Print the computer's NetBIOS name");
    command->add_flag("--watch", options->watch, "Go on, and print the name again whenever it changes");
    command->add_flag("--json", options->json, "Print each name as a line of JSON, with what the store says");
    command->footer(
        "The name is the one that the system has registered, else the computer's, else the\n"
        "host's up to its first dot; always in upper case.\n\n"
        "Example:\n"
        "  kxtool netbios --watch\n");
    command->callback([options] { RunNetBios(*options); });
}

}  // namespace kxtool
