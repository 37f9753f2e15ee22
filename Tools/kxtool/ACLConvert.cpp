#include "ACLConvert.h"

#include <fmt/format.h>
#include <membership.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "Errors.h"
#include "Identities.h"
#include "PropertyListText.h"

namespace kxtool {

using namespace KXCore::CoreFoundation;

namespace {

StringRef StringFrom(std::string_view text) {
    StringRef string =
        StringRef::adopt(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                                 static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
    if (!string) throw BadInput(fmt::format("{} is no UTF-8", Quoted(std::string(text))));
    return string;
}

/// Who an entry is of: the key under which a property list has it, and the text there.
struct Who {
    const char* key;
    std::string text;
};

Who WhoIn(const std::string& id) {
    nt_sid_t sid;
    if (ParseUUID(id)) return {"UUID", id};
    if (mbr_string_to_sid(id.c_str(), &sid) == 0) return {"SID", id};
    if (id.starts_with('%')) return {"GroupName", id.substr(1)};
    return {"UserName", id};
}

/// A mask that is written as the property list's own integer would be.
std::optional<std::int64_t> PlainInteger(const std::string& mask) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(mask.data(), mask.data() + mask.size(), value);
    if (error != std::errc() || end != mask.data() + mask.size() || fmt::format("{}", value) != mask) {
        return std::nullopt;
    }
    return value;
}

PropertyListRef EntryOf(const std::string& text, std::size_t number) {
    const std::size_t first = text.find(':');
    const std::size_t second = first == std::string::npos ? first : text.find(':', first + 1);
    if (second == std::string::npos || first == 0) {
        throw BadInput(fmt::format("entry {} is not ID:TYPE:MASK: {}", number, Quoted(text)));
    }
    const std::string type = text.substr(first + 1, second - first - 1);
    if (!type.empty() && type != "allow" && type != "deny") {
        throw BadInput(fmt::format("entry {}: unrecognized ACE type {}", number, Quoted(type)));
    }
    const Who who = WhoIn(text.substr(0, first));
    if (who.key == std::string_view("UUID")) {
        Warn(fmt::format("entry {} names its user by UUID: readers of property lists refuse it there", number));
    }
    const std::string mask = text.substr(second + 1);
    MutableDictionaryRef entry = DictionaryRef::createMutable(nullptr, 0);
    entry.setValue(StringFrom("Type").get(), StringFrom(type.empty() ? "allow" : type).get());
    entry.setValue(StringFrom(who.key).get(), StringFrom(who.text).get());
    if (const auto value = PlainInteger(mask)) {
        const NumberRef integer = NumberRef::adopt(CFNumberCreate(nullptr, kCFNumberSInt64Type, &*value));
        entry.setValue(StringFrom("AccessMask").get(), integer.get());
    } else {
        entry.setValue(StringFrom("AccessMask").get(), StringFrom(mask).get());
    }
    return PropertyListRef::retain(entry.get());
}

// ---- To text

/// What the text form cannot hold is refused: it would be read as something else.
std::string Checked(const std::string& text, const char* separators, const std::string& where) {
    if (text.find_first_of(separators) != std::string::npos || text.find('\0') != std::string::npos) {
        throw BadInput(fmt::format("{}: the text form cannot hold {}", where, Quoted(text)));
    }
    return text;
}

std::string TextUnder(CFDictionaryRef entry, const char* key, const std::string& where) {
    const CFTypeRef value = CFDictionaryGetValue(entry, StringFrom(key).get());
    if (!value) return {};
    if (KindOf(value) != Kind::String) throw BadInput(fmt::format("{}/{}: the value is not a string", where, key));
    return TextOf(static_cast<CFStringRef>(value));
}

std::string IdOf(CFDictionaryRef entry, const std::string& where) {
    // In the order in which readers look.
    for (const char* const key : {"UUID", "UserName", "GroupName", "SID"}) {
        if (!CFDictionaryContainsKey(entry, StringFrom(key).get())) continue;
        const std::string text = TextUnder(entry, key, where);
        const std::string id = key == std::string_view("GroupName") ? "%" + text : text;
        if (text.empty() || WhoIn(id).key != std::string_view(key)) {
            throw BadInput(
                fmt::format("{}/{}: the text form would take {} for another kind of name", where, key, Quoted(text)));
        }
        return Checked(id, ":/", where);
    }
    throw BadInput(fmt::format("{}: it names nobody", where));
}

std::string MaskOf(CFDictionaryRef entry, const std::string& where) {
    const CFTypeRef mask = CFDictionaryGetValue(entry, StringFrom("AccessMask").get());
    if (!mask) throw BadInput(fmt::format("{}: it has no access mask", where));
    if (KindOf(mask) == Kind::String) return Checked(TextOf(static_cast<CFStringRef>(mask)), "/", where);
    std::int64_t value = 0;
    const bool isWhole =
        KindOf(mask) == Kind::Number && CFNumberGetValue(static_cast<CFNumberRef>(mask), kCFNumberSInt64Type, &value);
    if (!isWhole) throw BadInput(fmt::format("{}/AccessMask: the value is neither an integer nor a string", where));
    return fmt::format("{}", value);
}

}  // namespace

PropertyListRef ListOfACLText(const std::string& text) {
    MutableArrayRef entries = ArrayRef::createMutable(nullptr, 0, &kCFTypeArrayCallBacks);
    std::size_t number = 0;
    for (std::size_t at = 0; at <= text.size();) {
        const std::size_t end = std::min(text.find('/', at), text.size());
        ++number;
        if (end != at) entries.appendValue(EntryOf(text.substr(at, end - at), number).get());
        at = end + 1;
    }
    return PropertyListRef::retain(entries.get());
}

std::string TextOfACLList(CFPropertyListRef list, const std::string& name) {
    if (KindOf(list) != Kind::Array) throw BadInput(fmt::format("{}: a list of entries is an array", name));
    const CFArrayRef array = static_cast<CFArrayRef>(list);
    std::string text;
    for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
        const std::string where = fmt::format("{} [/Item_{}]", name, i);
        const CFTypeRef value = CFArrayGetValueAtIndex(array, i);
        if (KindOf(value) != Kind::Dictionary) throw BadInput(fmt::format("{}: an entry is a dictionary", where));
        const CFDictionaryRef entry = static_cast<CFDictionaryRef>(value);
        const std::string type = TextUnder(entry, "Type", where);
        if (type != "allow" && type != "deny") throw BadInput(fmt::format("{}/Type: bad type of ACL entry", where));
        if (i != 0) text += '/';
        text += fmt::format("{}:{}:{}", IdOf(entry, where), type, MaskOf(entry, where));
    }
    return text;
}

}  // namespace kxtool
