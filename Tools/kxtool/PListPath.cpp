#include "PListPath.h"

#include <fmt/format.h>

#include <charconv>
#include <list>
#include <optional>
#include <string_view>
#include <utility>

#include "Errors.h"
#include "PListFile.h"
#include "PropertyListText.h"

namespace kxtool {

using KXCore::PListArrayIter;
using KXCore::PListNode;
using namespace KXCore::CoreFoundation;

namespace {

std::optional<CFIndex> IndexOf(const std::string& step) {
    CFIndex index = 0;
    const auto [end, error] = std::from_chars(step.data(), step.data() + step.size(), index);
    if (error != std::errc() || end != step.data() + step.size() || index < 0) return std::nullopt;
    return index;
}

[[noreturn]] void RefuseIndex(const std::string& step, CFIndex count) {
    throw BadInput(fmt::format("{} is no index of an array of {} items", Quoted(step), count));
}

/// The element at `step` of the array at `node`.
const PListNode& ElementAt(const PListNode& node, const std::string& step, std::list<PListArrayIter>& iterators) {
    CFArrayRef array = nullptr;
    node.getValue(array);
    const auto index = IndexOf(step);
    if (!index || *index >= CFArrayGetCount(array)) RefuseIndex(step, CFArrayGetCount(array));
    PListArrayIter& iterator = iterators.emplace_back();
    node.getArrayIter(iterator);
    for (CFIndex i = 0; i < *index; ++i) iterator.next();
    return iterator.next();
}

std::string NameOfExpected(std::int32_t type) {
    constexpr std::string_view kNames[] = {"a string",  "an array", "a dictionary", "a date",
                                           "a boolean", "a number", "data"};
    return std::string(type >= 1 && type <= 7 ? kNames[type - 1] : "another type");
}

// ---- Changing

StringRef KeyOf(const std::string& step) {
    StringRef key =
        StringRef::adopt(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(step.data()),
                                                 static_cast<CFIndex>(step.size()), kCFStringEncodingUTF8, false));
    if (!key) throw BadInput(fmt::format("{} is no key: it is no UTF-8", Quoted(step)));
    return key;
}

/// A change at the end of a path: `steps` from `at` on, in `list`. An empty `value` takes away what is there.
struct Change {
    const std::vector<std::string>& steps;
    CFPropertyListRef value;
    const std::string& name;

    [[noreturn]] void refuse(std::size_t at, const std::string& why) const {
        std::string place;
        for (std::size_t i = 0; i <= at && i < steps.size(); ++i) place += "/" + steps[i];
        throw BadInput(fmt::format("{} [{}]: {}", name, place, why));
    }

    PropertyListRef apply(CFPropertyListRef list, std::size_t at) const {
        if (at == steps.size()) return PropertyListRef::retain(value);
        switch (KindOf(list)) {
            case Kind::Dictionary:
                return inDictionary(static_cast<CFDictionaryRef>(list), at);
            case Kind::Array:
                return inArray(static_cast<CFArrayRef>(list), at);
            default:
                break;
        }
        refuse(at, "what it is to be in is neither a dictionary nor an array");
    }

    bool isLast(std::size_t at) const { return at + 1 == steps.size(); }

    PropertyListRef inDictionary(CFDictionaryRef dictionary, std::size_t at) const {
        const StringRef key = KeyOf(steps[at]);
        const CFTypeRef old = static_cast<CFTypeRef>(CFDictionaryGetValue(dictionary, key.get()));
        if (!old && (!isLast(at) || !value)) refuse(at, "there is no such value");
        MutableDictionaryRef changed = DictionaryRef::createMutableCopy(nullptr, 0, dictionary);
        if (isLast(at) && !value) {
            changed.removeValue(key.get());
        } else {
            changed.setValue(key.get(), old ? apply(old, at + 1).get() : value);
        }
        return PropertyListRef::retain(changed.get());
    }

    PropertyListRef inArray(CFArrayRef array, std::size_t at) const {
        const CFIndex count = CFArrayGetCount(array);
        const auto index = steps[at] == "-" ? std::optional(count) : IndexOf(steps[at]);
        const bool appends = index == count && isLast(at) && value;
        if (!index || (*index >= count && !appends)) {
            refuse(at, fmt::format("{} is no index of an array of {} items", Quoted(steps[at]), count));
        }
        MutableArrayRef changed = ArrayRef::createMutable(nullptr, 0, &kCFTypeArrayCallBacks);
        for (CFIndex i = 0; i < count; ++i) {
            const CFTypeRef element = CFArrayGetValueAtIndex(array, i);
            if (i != *index) {
                changed.appendValue(element);
            } else if (!isLast(at) || value) {
                changed.appendValue(apply(element, at + 1).get());
            }
        }
        if (appends) changed.appendValue(value);
        return PropertyListRef::retain(changed.get());
    }
};

}  // namespace

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

void UseNodeAt(const PropertyListRef& list, const std::vector<std::string>& steps, const std::string& name,
               const std::function<void(const PListNode&)>& use) {
    const KXCore::PListNavigator navigator({list, Wide(name)});
    const PListNode* node = &navigator.root();
    std::list<PListArrayIter> iterators;
    try {
        for (const std::string& step : steps) {
            CFArrayRef array = nullptr;
            node = node->getValue(array, KXCore::ItemKind::Optional) ? &ElementAt(*node, step, iterators)
                                                                     : &(*node / step.c_str());
        }
        use(*node);
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

PropertyListRef ValueAt(const PropertyListRef& list, const std::vector<std::string>& steps, const std::string& name) {
    PropertyListRef value;
    UseNodeAt(list, steps, name, [&](const PListNode& node) { node.getValue(value); });
    return value;
}

PropertyListRef WithValueAt(CFPropertyListRef list, const std::vector<std::string>& steps, CFPropertyListRef value,
                            const std::string& name) {
    return Change{steps, value, name}.apply(list, 0);
}

PropertyListRef WithoutValueAt(CFPropertyListRef list, const std::vector<std::string>& steps, const std::string& name) {
    if (steps.empty()) throw BadUsage("the whole list cannot be removed");
    return Change{steps, nullptr, name}.apply(list, 0);
}

}  // namespace kxtool
