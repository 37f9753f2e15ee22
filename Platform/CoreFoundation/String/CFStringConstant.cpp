#include "CFStringObject.h"

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
    static Constants& all = *new Constants;
    return all;
}

CFStringRef makeImmortal(const char* utf8) {
    const CFStringRef made = CFStringCreateWithCString(kCFAllocatorSystemDefault, utf8, kCFStringEncodingUTF8);
    // A literal that is no UTF-8 was written in some one-byte encoding; losing it altogether would help nobody.
    const CFStringRef string =
        made ? made : CFStringCreateWithCString(kCFAllocatorSystemDefault, utf8, kCFStringEncodingISOLatin1);
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
