#include "LanguageDetector.h"

#include <cld2/public/compact_lang_det.h>
#include <cld2/public/encodings.h>

#include <cstring>
#include <new>

const char* KXPlatform::detectLanguage(std::string_view utf8) noexcept try {
    bool isReliable = false;
    const CLD2::Language language = CLD2::DetectLanguage(utf8.data(), static_cast<int>(utf8.size()), true, &isReliable);
    if (!isReliable || language == CLD2::UNKNOWN_LANGUAGE || language == CLD2::TG_UNKNOWN_LANGUAGE) return nullptr;
    // Codes that have changed since, or that name a language where only its script differs.
    constexpr struct {
        const char* code;
        const char* tag;
    } kTags[] = {{"zh", "zh-Hans"}, {"zh-Hant", "zh-Hant"}, {"iw", "he"}, {"no", "nb"}, {"jw", "jv"}, {"un", nullptr}};
    const char* const code = CLD2::LanguageCode(language);
    for (const auto& known : kTags)
        if (!std::strcmp(known.code, code)) return known.tag;
    return code;
} catch (const std::bad_alloc&) {
    return nullptr;
}
