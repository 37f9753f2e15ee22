#include "Configuration.h"

#include "Keys.h"

#include <KXCoreLib/AuditRecord.h>
#include <KXCoreLib/CoreFoundationWrappers.h>
#include <KXCoreLib/IConv.h>
#include <KXCoreLib/PList.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

namespace agent {

using namespace KXCore;
using namespace KXCore::CoreFoundation;

namespace {

constexpr std::array kKeys = {"Stream",      "Watch",       "Type",      "ACL",    "Unrestricted", "Mode",
                              "MaximumSize", "MemoryLimit", "SyncDelay", "Status", "Deliver"};
constexpr std::array kEntryKeys = {"Type", "UserName", "GroupName", "SID", "AccessMask"};
constexpr std::array kTypes = {"Unknown",     "Floppy",   "Removable",     "Hard disk", "Optical drive",
                               "Serial port", "USB port", "FireWire port", "BlueTooth", "WiFi"};
constexpr std::array kModes = {"Enforce", "Observe"};
constexpr std::array kDeliveries = {"stdout"};

constexpr long long kLargest = 1LL << 50;

std::string narrow(const std::wstring& text) {
    std::string utf8;
    IConv{IConv::WideToUTF8}(text, utf8);
    return utf8;
}

std::wstring wide(const std::string& text) {
    std::wstring result;
    IConv{IConv::UTF8ToWide}(text, result);
    return result;
}

PropertyListRef readPropertyList(const char* path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<unsigned char> bytes(std::istreambuf_iterator<char>(file), {});
    if (!file || file.bad()) {
        throw std::runtime_error(std::string(path) + ": cannot be read: " + std::generic_category().message(errno));
    }
    ErrorRef error;
    PropertyListRef list = PropertyListRef::createWithData(nullptr, DataRef::createWithStdVector(nullptr, bytes).get(),
                                                           kCFPropertyListImmutable, nullptr, &error);
    if (!list) throw std::runtime_error(std::string(path) + ": " + error.copyDescription().copyStdString());
    return list;
}

[[noreturn]] void refuse(const PListNode& node, const std::string& message) {
    throw PListValueError(node, wide(message));
}

/// A text for the system: one that is empty or holds a NUL names no file.
std::optional<std::string> pathAt(const PListNode& node, ItemKind kind) {
    std::string path;
    if (!node.getValue(path, kind)) {
        if (node.value()) node.getValue(path, ItemKind::Required);  // of another type: says so
        return std::nullopt;
    }
    if (path.empty() || path.find('\0') != std::string::npos) refuse(node, "is no path");
    return path;
}

/// Whether there is a value of the type that `out` has. One of another type is an error even where it is optional.
template <typename Value>
bool given(const PListNode& node, Value& out) {
    if (!node.value()) return false;
    if constexpr (std::is_same_v<Value, long long>) {
        return node.getLongLongValue(out, ItemKind::Required);
    } else {
        return node.getValue(out, ItemKind::Required);
    }
}

std::string chosen(const PListNode& node, std::string standard, std::span<const char* const> known) {
    if (!given(node, standard)) return standard;
    if (std::find(known.begin(), known.end(), standard) == known.end()) {
        refuse(node, "\"" + standard + "\" is not known" + suggestionFor(standard, known));
    }
    return standard;
}

std::optional<long long> numberAt(const PListNode& node, long long least, long long largest) {
    long long number = 0;
    if (!given(node, number)) return std::nullopt;
    if (number < least || number > largest) {
        refuse(node, "must be from " + std::to_string(least) + " to " + std::to_string(largest));
    }
    return number;
}

int deviceTypeNamed(const std::string& name) {
    AuditRecord record;
    record.set_device_type_str(name.c_str());
    return record.get_device_type();
}

// ---- The list

/// The entries of a list in its form as one text, their fields apart: a colon ends the name in a line of output.
std::vector<std::string> piecesOf(std::string text) {
    std::replace(text.begin(), text.end(), ':', ' ');
    std::vector<std::string> pieces;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find('/', start), text.size());
        if (end != start) pieces.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return pieces;
}

/// An entry of the other form, in the same words.
std::string textOf(const PListNode& entry) {
    constexpr std::array<std::pair<const char*, const char*>, 3> kIdentities = {
        {{"UserName", ""}, {"GroupName", "%"}, {"SID", ""}}};
    std::string text, value;
    for (const auto& [key, prefix] : kIdentities) {
        if ((entry / key).getValue(value, ItemKind::Optional)) {
            text = prefix + value;
            break;
        }
    }
    (entry / "Type").getValue(value, ItemKind::Optional);
    text += " " + value + " ";
    long long mask = 0;
    if ((entry / "AccessMask").getLongLongValue(mask, ItemKind::Optional)) return text + std::to_string(mask);
    (entry / "AccessMask").getValue(value, ItemKind::Optional);
    return text + value;
}

std::vector<std::string> entryTextsAt(const PListNode& node) {
    std::string text;
    if (node.getValue(text, ItemKind::Optional)) return piecesOf(text);
    std::vector<std::string> texts;
    PListArrayIter elements;
    if (!node.getArrayIter(elements, ItemKind::Optional)) refuse(node, "must be a string or an array");
    for (const PListNode* entry; (entry = &elements.next())->index() != -1;) {
        // Users are named by name or SID; the library gives an entry with a "UUID" nobody's identity.
        requireKnownKeys(*entry, kEntryKeys);
        texts.push_back(textOf(*entry));
    }
    return texts;
}

Policy policyOf(const PListNode& root) {
    bool unrestricted = false;
    given(root / "Unrestricted", unrestricted);
    const PListNode& node = root / "ACL";
    std::vector<std::string> texts;
    if (node.value()) texts = entryTextsAt(node);
    if (unrestricted) {
        if (!texts.empty()) refuse(root / "Unrestricted", "is true, and there is an ACL: remove one of the two");
        return Policy::unrestricted();
    }
    constexpr const char* kNobody = "so nobody could use anything; if everybody shall use everything, set Unrestricted";
    if (!node.value()) refuse(node, std::string("there is no list, ") + kNobody);
    if (texts.empty()) refuse(node, std::string("the list has no entries, ") + kNobody);
    CustomACL acl;
    // Names that are not known here are kept without an identity: they can match nobody.
    if (!CustomACL::read(acl, node, kAccessNames, InitModeTolerant)) refuse(node, "bad ACL");
    return Policy(std::move(acl), std::move(texts));
}

bool deliversTo(const PListNode& node) {
    if (!node.value()) return true;
    PListArrayIter elements;
    node.getArrayIter(elements, ItemKind::Required);
    bool toStandardOutput = false;
    for (const PListNode* element; (element = &elements.next())->index() != -1;) {
        std::string name;
        element->getValue(name, ItemKind::Required);
        chosen(*element, name, kDeliveries);
        if (std::exchange(toStandardOutput, true)) refuse(*element, "\"" + name + "\" stands there twice");
    }
    return toStandardOutput;
}

Configuration readFrom(const PListNode& root) {
    requireKnownKeys(root, kKeys);
    Configuration configuration;
    configuration.stream = *pathAt(root / "Stream", ItemKind::Required);
    configuration.watch = pathAt(root / "Watch", ItemKind::Optional);
    configuration.status = pathAt(root / "Status", ItemKind::Optional);
    configuration.deviceType = deviceTypeNamed(chosen(root / "Type", "Removable", kTypes));
    configuration.policy = policyOf(root);
    configuration.observes = chosen(root / "Mode", "Enforce", kModes) == "Observe";
    configuration.maximumSize = numberAt(root / "MaximumSize", 1 << 14, kLargest);
    if (const auto limit = numberAt(root / "MemoryLimit", 1 << 10, kLargest)) {
        configuration.memoryLimit = static_cast<std::size_t>(*limit);
    }
    if (const auto delay = numberAt(root / "SyncDelay", 0, 1000))
        configuration.syncDelay = std::chrono::milliseconds(*delay);
    configuration.delivers = deliversTo(root / "Deliver");
    return configuration;
}

const char* nameOfType(std::int32_t type) {
    constexpr std::array kNames = {"a value", "a string",  "an array", "a dictionary",
                                   "a date",  "a boolean", "a number", "data"};
    return kNames[type > 0 && static_cast<std::size_t>(type) < kNames.size() ? static_cast<std::size_t>(type) : 0];
}

}  // namespace

Configuration readConfiguration(const char* path) {
    const auto at = [](const PListError& error, const std::string& message) {
        return std::runtime_error(narrow(error.getLocationInfo()) + ": " + message);
    };
    const PListNavigator list({readPropertyList(path), wide(path)});
    try {
        return readFrom(list.root());
    } catch (const PListValueError& error) {
        throw at(error, narrow(error.getMessage()));
    } catch (const PListItemMissingError& error) {
        throw at(error, "is missing");
    } catch (const PListUnexpectedTypeError& error) {
        throw at(error, std::string("must be ") + nameOfType(error.getExpectedType()));
    } catch (const PListConversionError& error) {
        throw at(error, "must be a whole number that is not too large");
    }
}

}  // namespace agent
