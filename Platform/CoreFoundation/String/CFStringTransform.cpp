#include "CFStringSupport.h"

#include <unicode/utrans.h>

#include <memory>
#include <string>

using namespace KXPlatform;

// A transform is named by the identifier that ICU knows it by; the constants are such identifiers. Two of the
// platform's transforms are not ICU's alone and are built from rules, see kRules.

namespace {

constinit const StringConstant stripCombiningMarks("NFD; [:Nonspacing Mark:] Remove; NFC");
constinit const StringConstant toLatin("Any-Latin");
constinit const StringConstant fullwidthHalfwidth("Fullwidth-Halfwidth");
constinit const StringConstant latinKatakana("Latin-Katakana");
constinit const StringConstant latinHiragana("Latin-Hiragana");
constinit const StringConstant hiraganaKatakana("Hiragana-Katakana");
constinit const StringConstant mandarinLatin("Han-Latin");
constinit const StringConstant latinHangul("Latin-Hangul");
constinit const StringConstant latinArabic("Latin-Arabic");
constinit const StringConstant latinHebrew("Latin-Hebrew");
constinit const StringConstant latinThai("Latin-Thai");
constinit const StringConstant latinCyrillic("Latin-Cyrillic");
constinit const StringConstant latinGreek("Latin-Greek");
constinit const StringConstant toXMLHex("Any-Hex/XML");
constinit const StringConstant toUnicodeName("Any-Name");
constinit const StringConstant stripDiacritics("NFD; [[:Diacritic:]&[:Mark:]] Remove; NFC");

/// Transforms whose ICU namesakes do more or less than the platform's: those leave printable ASCII alone.
struct Rules {
    CFStringRef transform;
    const char16_t* forward;
    const char16_t* reverse;
};

constexpr Rules kRules[] = {
    {&toXMLHex, u":: [^\\u0020-\\u007E] Any-Hex/XML;", u":: Hex/XML-Any;"},
    {&toUnicodeName, u":: [^\\u0020-\\u007E] Any-Name;", u":: Name-Any;"},
    // What has been stripped does not come back.
    {&stripCombiningMarks, nullptr, nullptr},
    {&stripDiacritics, nullptr, nullptr},
};

struct CloseTransform {
    void operator()(UTransliterator* transform) const noexcept { utrans_close(transform); }
};
using Transform = std::unique_ptr<UTransliterator, CloseTransform>;

/// Null for a name that ICU does not know and for a transform that has no reverse.
Transform openTransform(CFStringRef name, const std::u16string& identifier, bool reverse) noexcept {
    const char16_t* rules = nullptr;
    for (const Rules& special : kRules) {
        if (!CFEqual(special.transform, name)) continue;
        rules = reverse ? special.reverse : special.forward;
        if (reverse && !rules) return nullptr;
    }
    UParseError where;
    UErrorCode status = U_ZERO_ERROR;
    // The direction of rules is in the rules.
    const UTransDirection direction = reverse && !rules ? UTRANS_REVERSE : UTRANS_FORWARD;
    Transform opened(utrans_openU(identifier.data(), static_cast<int32_t>(identifier.size()), direction, rules, -1,
                                  &where, &status));
    return U_SUCCESS(status) ? std::move(opened) : nullptr;
}

/// The transform that a thread used last: building one takes up to milliseconds, and texts come in rows.
struct LastTransform {
    std::u16string identifier;
    bool reverse = false;
    Transform transform;
};

UTransliterator* transformNamed(CFStringRef name, bool reverse) {
    static thread_local LastTransform last;
    std::u16string identifier(static_cast<std::size_t>(name->length), u'\0');
    view(name).copyTo(asUnits(identifier.data()));
    if (last.transform && last.reverse == reverse && last.identifier == identifier) return last.transform.get();
    Transform opened = openTransform(name, identifier, reverse);
    if (!opened) return nullptr;
    last = {std::move(identifier), reverse, std::move(opened)};
    return last.transform.get();
}

/// Applies `transform` to the units from `start` to `limit`, which moves with their end. The units around them are
/// context. False when ICU fails.
bool apply(const UTransliterator* transform, std::u16string& text, int32_t start, int32_t& limit) {
    const auto original = static_cast<int32_t>(text.size());
    std::int64_t capacity = std::int64_t{original} * 2 + 64;
    for (;;) {
        if (capacity > INT32_MAX) return false;
        std::u16string work = text;
        work.resize(static_cast<std::size_t>(capacity));
        int32_t length = original, end = limit;
        UErrorCode status = U_ZERO_ERROR;
        utrans_transUChars(transform, work.data(), &length, static_cast<int32_t>(capacity), start, &end, &status);
        if (status == U_BUFFER_OVERFLOW_ERROR && length > capacity) {
            capacity = length;
            continue;
        }
        if (U_FAILURE(status)) return false;
        work.resize(static_cast<std::size_t>(length));
        text.swap(work);
        limit = end;
        return true;
    }
}

}  // namespace

const CFStringRef kCFStringTransformStripCombiningMarks = &stripCombiningMarks;
const CFStringRef kCFStringTransformToLatin = &toLatin;
const CFStringRef kCFStringTransformFullwidthHalfwidth = &fullwidthHalfwidth;
const CFStringRef kCFStringTransformLatinKatakana = &latinKatakana;
const CFStringRef kCFStringTransformLatinHiragana = &latinHiragana;
const CFStringRef kCFStringTransformHiraganaKatakana = &hiraganaKatakana;
const CFStringRef kCFStringTransformMandarinLatin = &mandarinLatin;
const CFStringRef kCFStringTransformLatinHangul = &latinHangul;
const CFStringRef kCFStringTransformLatinArabic = &latinArabic;
const CFStringRef kCFStringTransformLatinHebrew = &latinHebrew;
const CFStringRef kCFStringTransformLatinThai = &latinThai;
const CFStringRef kCFStringTransformLatinCyrillic = &latinCyrillic;
const CFStringRef kCFStringTransformLatinGreek = &latinGreek;
const CFStringRef kCFStringTransformToXMLHex = &toXMLHex;
const CFStringRef kCFStringTransformToUnicodeName = &toUnicodeName;
const CFStringRef kCFStringTransformStripDiacritics = &stripDiacritics;

Boolean CFStringTransform(CFMutableStringRef string, CFRange* range, CFStringRef transform, Boolean reverse) {
    if (!string || !transform || !string->isMutable() || !fitsICU(string->length)) return false;
    const CFRange whole{0, string->length};
    if (range && !isWithin(*range, string->length)) return false;
    const CFRange within = range ? *range : whole;
    return guarded(false, [&] {
        const UTransliterator* const opened = transformNamed(transform, reverse != 0);
        if (!opened) return false;
        std::u16string text(static_cast<std::size_t>(string->length), u'\0');
        view(string).copyTo(asUnits(text.data()));
        auto limit = static_cast<int32_t>(within.location + within.length);
        if (!apply(opened, text, static_cast<int32_t>(within.location), limit)) return false;
        if (!replaceAllUnits(string, text)) return false;
        if (range) range->length = limit - within.location;
        return true;
    });
}
