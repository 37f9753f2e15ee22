#include "CFStringObject.h"
#include "Support/NeverDestroyed.h"
#include "Support/UnicodeText.h"

#include <functional>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <unordered_map>

using namespace KXPlatform;

namespace {

/// Looks a text up without making a std::string of it.
struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>{}(text); }
};

/// The constants made so far, by their literal's text. Never destroyed: constants are used until the very end of the
/// process, by destructors of static objects too.
struct Constants {
    std::shared_mutex mutex;
    std::unordered_map<std::string, CFStringRef, TextHash, std::equal_to<>> byText;
};

Constants& constants() {
    static NeverDestroyed<Constants> all;
    return *all;
}

bool isUTF8(std::string_view text) noexcept {
    auto* at = reinterpret_cast<const unsigned char*>(text.data());
    const auto* const end = at + text.size();
    char32_t character;
    while (at < end) {
        const int length = UTF8Text::decode(at, static_cast<std::size_t>(end - at), character);
        if (length <= 0) return false;
        at += length;
    }
    return true;
}

CFStringRef makeImmortal(const char* literal) {
    // One that is no UTF-8 was written in some one-byte encoding; losing it altogether would help nobody.
    const CFStringRef string = CFStringCreateWithCString(
        kCFAllocatorSystemDefault, literal, isUTF8(literal) ? kCFStringEncodingUTF8 : kCFStringEncodingISOLatin1);
    if (string) const_cast<__CFString*>(string)->flags |= Object::kImmortal;
    return string;
}

}  // namespace

CFStringRef __CFStringMakeConstantString(const char* utf8) try {
    if (!utf8) return nullptr;
    const std::string_view text(utf8);
    Constants& all = constants();
    {
        const std::shared_lock lock(all.mutex);
        if (const auto found = all.byText.find(text); found != all.byText.end()) return found->second;
    }
    const std::unique_lock lock(all.mutex);
    if (const auto found = all.byText.find(text); found != all.byText.end()) return found->second;
    // The key is a copy: the literal may stand in a library that is unloaded one day.
    const auto at = all.byText.emplace(text, nullptr).first;
    const CFStringRef made = makeImmortal(utf8);
    if (made) {
        at->second = made;
    } else {
        all.byText.erase(at);
    }
    return made;
} catch (const std::bad_alloc&) {
    return nullptr;
}
