#include "CFLocaleObject.h"
#include "CoreFoundation/String/CFStringObject.h"
#include "LocaleIdentifier.h"

#include <unicode/localpointer.h>
#include <unicode/ucurr.h>
#include <unicode/uenum.h>
#include <unicode/uloc.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

using namespace KXPlatform;

namespace {

/// An array of texts under construction: it becomes whole, or nothing where memory is short.
class TextList {
  public:
    TextList() noexcept
        : list_(Retained<__CFArray>::adopting(
              CFArrayCreateMutable(kCFAllocatorSystemDefault, 0, &kCFTypeArrayCallBacks))) {}

    void append(std::string_view ascii) noexcept {
        const auto text = Retained<const __CFString>::adopting(createASCII(kCFAllocatorSystemDefault, ascii));
        if (list_ && text) CFArrayAppendValue(list_.get(), text.get());
        ++expected_;
    }

    void appendOnce(std::string_view ascii) noexcept {
        const auto text = Retained<const __CFString>::adopting(createASCII(kCFAllocatorSystemDefault, ascii));
        if (!list_ || !text || !CFArrayContainsValue(list_.get(), {0, CFArrayGetCount(list_.get())}, text.get()))
            append(ascii);
    }

    void sort() noexcept {
        if (!list_) return;
        const auto compare = [](const void* one, const void* other, void*) {
            return CFStringCompare(static_cast<CFStringRef>(one), static_cast<CFStringRef>(other), 0);
        };
        CFArraySortValues(list_.get(), {0, CFArrayGetCount(list_.get())}, compare, nullptr);
    }

    CFArrayRef take() noexcept {
        if (!list_ || CFArrayGetCount(list_.get()) != expected_) return nullptr;
        return CFArrayCreateCopy(kCFAllocatorSystemDefault, list_.get());
    }

  private:
    Retained<__CFArray> list_;
    CFIndex expected_ = 0;
};

CFArrayRef copyTexts(const char* const* texts) noexcept {
    TextList list;
    for (; *texts; ++texts) list.append(*texts);
    return list.take();
}

CFArrayRef copyCurrencies(std::uint32_t kind) noexcept {
    UErrorCode status = U_ZERO_ERROR;
    const icu::LocalUEnumerationPointer codes(ucurr_openISOCurrencies(kind, &status));
    if (U_FAILURE(status)) return nullptr;
    TextList list;
    while (const char* const code = uenum_next(codes.getAlias(), nullptr, &status)) list.append(code);
    if (U_FAILURE(status)) return nullptr;
    list.sort();
    return list.take();
}

/// "zh_Hant_TW" as "zh-Hant-TW".
void appendLanguage(TextList& list, const char* name) noexcept {
    IdentifierText tag{};
    UErrorCode status = U_ZERO_ERROR;
    uloc_toLanguageTag(name, tag.data(), static_cast<int32_t>(tag.size()), false, &status);
    if (U_SUCCESS(status)) list.appendOnce(tag.data());
}

}  // namespace

CFArrayRef CFLocaleCopyAvailableLocaleIdentifiers() {
    TextList list;
    for (int32_t i = 0; i < uloc_countAvailable(); ++i) list.append(uloc_getAvailable(i));
    return list.take();
}

CFArrayRef CFLocaleCopyISOLanguageCodes() { return copyTexts(uloc_getISOLanguages()); }

CFArrayRef CFLocaleCopyISOCountryCodes() { return copyTexts(uloc_getISOCountries()); }

CFArrayRef CFLocaleCopyISOCurrencyCodes() { return copyCurrencies(UCURR_ALL); }

CFArrayRef CFLocaleCopyCommonISOCurrencyCodes() { return copyCurrencies(UCURR_COMMON | UCURR_NON_DEPRECATED); }

CFArrayRef CFLocaleCopyPreferredLanguages() {
    const auto current = Retained<const __CFLocale>::adopting(CFLocaleCopyCurrent());
    if (!current) return nullptr;
    const std::string_view name = current->icuName;
    TextList list;
    // As GNU's gettext has it: LANGUAGE lists more than one language, and counts where a language is in use at all.
    const char* const languages = name == "en_US_POSIX" ? nullptr : std::getenv("LANGUAGE");
    for (std::string_view left = languages ? languages : ""; !left.empty();) {
        const std::string_view first = left.substr(0, left.find(':'));
        left.remove_prefix(std::min(first.size() + 1, left.size()));
        IdentifierText text;
        nameOfEnvironment(first, text);
        if (std::string_view(text.data()) != "en_US_POSIX") appendLanguage(list, text.data());
    }
    appendLanguage(list, name == "en_US_POSIX" ? "en_US" : current->icuName);
    return list.take();
}
