#include "SystemNames.h"

#include "StoreFile.h"
#include "StoreKey.h"
#include "Support/NeverDestroyed.h"

#include <CoreFoundation/CFString.h>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdlib>
#include <optional>
#include <set>

namespace KXPlatform {
namespace {

/// Longer files are not what they should be.
constexpr std::size_t kLargestFile = std::size_t{1} << 20;

/// A name that is longer, or no text, is none.
constexpr std::size_t kLongestName = 255;

std::string usable(std::string name) {
    const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; };
    if (name.size() > kLongestName || std::any_of(name.begin(), name.end(), isControl) || !keyString(name)) return {};
    return name;
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kSpace = " \t\r\f\v";
    const std::size_t first = text.find_first_not_of(kSpace);
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(kSpace) - first + 1);
}

std::string_view nextLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == text.npos ? text.size() : end + 1);
    return line;
}

/// The value of a shell assignment: quoted, or with backslashes. What follows a closing quote is no part of it.
std::string unquoted(std::string_view text) {
    const char quote = !text.empty() && (text.front() == '"' || text.front() == '\'') ? text.front() : '\0';
    std::string value;
    for (std::size_t at = quote ? 1 : 0; at < text.size(); ++at) {
        if (quote && text[at] == quote) return value;
        if (text[at] == '\\' && quote != '\'' && at + 1 < text.size()) ++at;
        value += text[at];
    }
    return quote ? std::string() : value;
}

/// Names of sections and parameters, which ignore case and white space.
std::string folded(std::string_view name) {
    std::string result;
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        if (!std::isspace(byte)) result += byte < 0x80 ? static_cast<char>(std::tolower(byte)) : c;
    }
    return result;
}

/// A value with its variables replaced; nothing when one is not known here.
std::optional<std::string> substituted(std::string_view value, std::string_view host) {
    std::string result;
    for (std::size_t at = 0; at < value.size(); ++at) {
        if (value[at] != '%') {
            result += value[at];
        } else if (++at < value.size() && value[at] == 'h') {
            result += host;
        } else {
            return std::nullopt;
        }
    }
    return result;
}

constexpr const char* kUsualFolder = "/etc";
constinit std::atomic<const char*> chosenFolder{kUsualFolder};

/// The host's name up to its first dot; empty when there is none.
std::string hostName() {
    char name[512];
    if (gethostname(name, sizeof name) != 0) return {};
    name[sizeof name - 1] = '\0';
    const std::string_view whole = name;
    if (whole == "(none)") return {};  // what the kernel says before anybody has set one
    return usable(std::string(whole.substr(0, whole.find('.'))));
}

/// The name that `read` finds in a file of the system's, empty without the file; and what the two came from.
template <class Read>
SystemName nameFrom(const std::string& file, Read read) {
    const auto found = readPlainFile(configurationFolder() + "/" + file, kLargestFile);
    SystemName name;
    name.text = read(found ? found->bytes : std::string());
    name.origin = (found ? found->stamp : std::string()) + "\n" + name.text;
    return name;
}

}  // namespace

std::string prettyHostName(std::string_view machineInfo) {
    constexpr std::string_view kName = "PRETTY_HOSTNAME=";
    std::string found;
    while (!machineInfo.empty()) {
        const std::string_view line = trimmed(nextLine(machineInfo));
        if (line.starts_with(kName)) found = unquoted(line.substr(kName.size()));
    }
    return usable(std::string(trimmed(found)));
}

std::string netbiosName(std::string_view configuration, std::string_view host) {
    bool isGlobal = true;  // what stands before the first section belongs to it
    std::string found;
    while (!configuration.empty()) {
        std::string_view first = trimmed(nextLine(configuration));
        if (first.starts_with('#') || first.starts_with(';')) continue;
        std::string line(first);
        while (line.ends_with('\\')) {
            line.pop_back();
            if (configuration.empty()) break;
            line += trimmed(nextLine(configuration));
        }
        if (line.starts_with('[')) {
            const std::string section = folded(std::string_view(line).substr(1, line.find(']') - 1));
            isGlobal = section == "global" || section == "globals";
            continue;
        }
        const std::size_t equals = line.find('=');
        if (!isGlobal || equals == line.npos) continue;
        if (folded(std::string_view(line).substr(0, equals)) != "netbiosname") continue;
        std::string_view value = trimmed(std::string_view(line).substr(equals + 1));
        if (value.size() >= 2 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
        found = substituted(value, host).value_or(std::string());
    }
    return usable(std::move(found));
}

std::string configurationFolder() { return chosenFolder.load(std::memory_order_acquire); }

void chooseConfigurationFolder() {
    // Those that were chosen before stay: a thread may be reading one.
    static NeverDestroyed<std::set<std::string>> folders;
    const char* const set = secure_getenv("KXPLATFORM_ETC");
    chosenFolder.store((*folders).insert(set && *set ? set : kUsualFolder).first->c_str(), std::memory_order_release);
}

SystemName readSystemName(NameKind kind) {
    if (kind == NameKind::NetBios) {
        return nameFrom(std::string(kSambaFolder) + "/" + kSambaFile,
                        [](const std::string& text) { return netbiosName(text, hostName()); });
    }
    return nameFrom(kMachineInfoFile, [](const std::string& text) {
        std::string name = prettyHostName(text);
        return name.empty() ? hostName() : name;
    });
}

const SystemName& SystemNames::get(NameKind kind) {
    auto& name = names_[static_cast<std::size_t>(kind)];
    if (!name) name = readSystemName(kind);
    return *name;
}

const PublishedKey* publishedKey(std::string_view key) noexcept {
    for (const PublishedKey& row : kPublishedKeys) {
        if (key == row.key) return &row;
    }
    return nullptr;
}

Retained<const __CFDictionary> publishedValue(const PublishedKey& key, const std::string& name) {
    if (name.empty()) return {};
    const auto entry = keyString(key.entry);
    const auto value = keyString(name);
    if (!entry || !value) return {};
    const void* entries[] = {entry.get()};
    const void* values[] = {value.get()};
    return Retained<const __CFDictionary>::adopting(CFDictionaryCreate(
        nullptr, entries, values, 1, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

}  // namespace KXPlatform
