#include "XMLText.h"

#include "Support/UnicodeText.h"

#include <CoreFoundation/CFXMLParser.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <vector>

namespace KXPlatform {
namespace {

struct Entity {
    std::string name;
    std::string text;
};

using Entities = std::vector<Entity>;

void addEntity(const void* key, const void* value, void* context) {
    if (!key || !value || CFGetTypeID(key) != CFStringGetTypeID() || CFGetTypeID(value) != CFStringGetTypeID()) return;
    Entity entity;
    appendUTF8(entity.name, static_cast<CFStringRef>(key));
    appendUTF8(entity.text, static_cast<CFStringRef>(value));
    if (!entity.name.empty() && !entity.text.empty()) static_cast<Entities*>(context)->push_back(std::move(entity));
}

/// Those of the dictionary, which may be null, before the five that XML has.
Entities entitiesOf(CFDictionaryRef dictionary) {
    Entities entities;
    if (dictionary && CFGetTypeID(dictionary) == CFDictionaryGetTypeID()) {
        CFDictionaryApplyFunction(dictionary, addEntity, &entities);
    }
    for (const auto& [name, text] : {std::pair{"amp", "&"}, {"lt", "<"}, {"gt", ">"}, {"apos", "'"}, {"quot", "\""}}) {
        entities.push_back({name, text});
    }
    return entities;
}

/// The entities by what their texts begin with, longest first.
std::array<std::vector<const Entity*>, 256> byFirstByte(const Entities& entities) {
    std::array<std::vector<const Entity*>, 256> table;
    for (const Entity& entity : entities) table[static_cast<unsigned char>(entity.text[0])].push_back(&entity);
    for (auto& each : table) {
        std::stable_sort(each.begin(), each.end(),
                         [](const Entity* a, const Entity* b) { return a->text.size() > b->text.size(); });
    }
    return table;
}

/// The character that "#65" or "#x41" names.
std::optional<char32_t> characterOf(std::string_view reference) {
    reference.remove_prefix(1);
    int base = 10;
    if (reference.starts_with('x')) {
        reference.remove_prefix(1);
        base = 16;
    }
    std::uint32_t number = 0;
    const char* const end = reference.data() + reference.size();
    const auto [at, error] = std::from_chars(reference.data(), end, number, base);
    if (error != std::errc() || at != end || !isCharacter(number) || number == 0) return std::nullopt;
    return number;
}

}  // namespace
}  // namespace KXPlatform

using namespace KXPlatform;

CFStringRef CFXMLCreateStringByEscapingEntities(CFAllocatorRef allocator, CFStringRef string,
                                                CFDictionaryRef entitiesDictionary) try {
    if (!string) return nullptr;
    const Entities entities = entitiesOf(entitiesDictionary);
    const auto table = byFirstByte(entities);
    std::string text, escaped;
    appendUTF8(text, string);
    for (std::size_t at = 0; at < text.size();) {
        const std::string_view rest = std::string_view(text).substr(at);
        const auto& candidates = table[static_cast<unsigned char>(rest[0])];
        const auto found = std::find_if(candidates.begin(), candidates.end(),
                                        [&](const Entity* entity) { return rest.starts_with(entity->text); });
        if (found == candidates.end()) {
            escaped += rest[0];
            ++at;
        } else {
            escaped.append("&").append((*found)->name).append(";");
            at += (*found)->text.size();
        }
    }
    return CFStringCreateWithBytes(allocator, reinterpret_cast<const UInt8*>(escaped.data()),
                                   static_cast<CFIndex>(escaped.size()), kCFStringEncodingUTF8, false);
} catch (const std::bad_alloc&) {
    return nullptr;
}

CFStringRef CFXMLCreateStringByUnescapingEntities(CFAllocatorRef allocator, CFStringRef string,
                                                  CFDictionaryRef entitiesDictionary) try {
    if (!string) return nullptr;
    Entities entities = entitiesOf(entitiesDictionary);
    // Of two with one name the dictionary's counts.
    std::stable_sort(entities.begin(), entities.end(),
                     [](const Entity& a, const Entity& b) { return a.name < b.name; });
    std::string text, plain;
    appendUTF8(text, string);
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t begin = std::min(text.find('&', at), text.size());
        plain.append(text, at, begin - at);
        at = begin;
        if (at == text.size()) break;
        const std::size_t end = text.find_first_of("&;", at + 1);
        const bool isReference = end != text.npos && text[end] == ';' && end > at + 1;
        const std::string_view name = isReference ? std::string_view(text).substr(at + 1, end - at - 1) : "";
        bool isKnown = false;
        if (name.starts_with('#')) {
            if (const auto character = characterOf(name)) {
                unsigned char bytes[kLongestCharacter];
                plain.append(reinterpret_cast<const char*>(bytes), UTF8Text::encode(*character, bytes));
                isKnown = true;
            }
        } else if (!name.empty()) {
            const auto found =
                std::lower_bound(entities.begin(), entities.end(), name,
                                 [](const Entity& entity, std::string_view n) { return entity.name < n; });
            isKnown = found != entities.end() && found->name == name;
            if (isKnown) plain += found->text;
        }
        if (isKnown) {
            at = end + 1;
        } else {
            plain += text[at++];
        }
    }
    return CFStringCreateWithBytes(allocator, reinterpret_cast<const UInt8*>(plain.data()),
                                   static_cast<CFIndex>(plain.size()), kCFStringEncodingUTF8, false);
} catch (const std::bad_alloc&) {
    return nullptr;
}
