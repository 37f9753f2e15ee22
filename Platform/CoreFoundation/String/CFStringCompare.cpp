#include "CFStringFolding.h"
#include "CFStringSupport.h"

#include <unicode/ucol.h>
#include <unicode/uloc.h>
#include <unicode/utf16.h>

#include <array>
#include <cstring>
#include <memory>
#include <mutex>
#include <string_view>

using namespace KXPlatform;

namespace {

constexpr CFComparisonResult resultOf(int difference) noexcept {
    if (difference < 0) return kCFCompareLessThan;
    return difference > 0 ? kCFCompareGreaterThan : kCFCompareEqualTo;
}

constexpr CFComparisonResult compareLengths(CFIndex a, CFIndex b) noexcept {
    return resultOf(a < b ? -1 : a > b ? 1 : 0);
}

/// The number of equal units at the beginning of both.
CFIndex equalUnits(const UniChar* a, const UniChar* b, CFIndex length) noexcept {
    constexpr CFIndex kStep = sizeof(std::uint64_t) / sizeof(UniChar);
    CFIndex at = 0;
    for (; at + kStep <= length; at += kStep) {
        std::uint64_t left, right;
        std::memcpy(&left, a + at, sizeof left);
        std::memcpy(&right, b + at, sizeof right);
        if (left != right) break;
    }
    while (at < length && a[at] == b[at]) ++at;
    return at;
}

/// By UTF-16 unit.
CFComparisonResult compareLiterally(TextView a, TextView b) noexcept {
    const CFIndex common = std::min(a.length, b.length);
    if (!a.isWide() && !b.isWide()) {
        const int difference = std::memcmp(a.ascii, b.ascii, static_cast<std::size_t>(common));
        return difference != 0 ? resultOf(difference) : compareLengths(a.length, b.length);
    }
    CFIndex at = 0;
    if (a.isWide() && b.isWide())
        at = equalUnits(a.wide, b.wide, common);
    else
        while (at < common && a[at] == b[at]) ++at;
    return at < common ? resultOf(int{a[at]} - int{b[at]}) : compareLengths(a.length, b.length);
}

/// The small letters of eight ASCII bytes at once. No sum leaves its byte: all are below 0x80.
constexpr std::uint64_t lowerEight(std::uint64_t bytes) noexcept {
    constexpr std::uint64_t kEach = 0x0101010101010101;
    const std::uint64_t fromA = bytes + kEach * (0x80 - 'A');
    const std::uint64_t beyondZ = bytes + kEach * (0x7F - 'Z');
    return bytes | ((fromA & ~beyondZ & kEach * 0x80) >> 2);
}

CFComparisonResult compareASCIICaseless(std::string_view a, std::string_view b) noexcept {
    const std::size_t common = std::min(a.size(), b.size());
    std::size_t at = 0;
    for (std::uint64_t left, right; at + sizeof left <= common; at += sizeof left) {
        std::memcpy(&left, a.data() + at, sizeof left);
        std::memcpy(&right, b.data() + at, sizeof right);
        if (left != right && lowerEight(left) != lowerEight(right)) break;
    }
    for (; at < common; ++at) {
        const int difference = int{asciiLower(a[at])} - int{asciiLower(b[at])};
        if (difference != 0) return resultOf(difference);
    }
    return compareLengths(static_cast<CFIndex>(a.size()), static_cast<CFIndex>(b.size()));
}

constexpr bool isDigit(int unit) noexcept { return unit >= '0' && unit <= '9'; }

/// Compares the decimal numbers, of any length, at which both readers stand, and leaves the readers behind them.
CFComparisonResult compareNumbers(FoldedReader& a, FoldedReader& b) {
    while (a.peek() == '0') a.advance();
    while (b.peek() == '0') b.advance();
    int difference = 0;
    for (;; a.advance(), b.advance()) {
        const bool more = isDigit(a.peek());
        if (more != isDigit(b.peek())) return more ? kCFCompareGreaterThan : kCFCompareLessThan;
        if (!more) return resultOf(difference);
        if (difference == 0) difference = a.peek() - b.peek();
    }
}

constexpr bool isLead(int unit) noexcept { return unit >= 0xD800 && unit < 0xDC00; }
constexpr bool isTrail(int unit) noexcept { return unit >= 0xDC00 && unit < 0xE000; }

/// The code point that begins at the reader's place, or kEnd.
int readCodePoint(FoldedReader& reader) {
    const int unit = reader.peek();
    if (!isLead(unit)) return unit;
    reader.advance();
    const int second = reader.peek();
    return isTrail(second) ? U16_GET_SUPPLEMENTARY(unit, second) : unit;
}

/// The order of the code points that differ where the readers stand; `before` is the unit before both.
CFComparisonResult compareCodePoints(int before, FoldedReader& a, FoldedReader& b) {
    const bool completesA = isLead(before) && isTrail(a.peek());
    const bool completesB = isLead(before) && isTrail(b.peek());
    if (completesA != completesB) return completesA ? kCFCompareGreaterThan : kCFCompareLessThan;
    return resultOf(completesA ? a.peek() - b.peek() : readCodePoint(a) - readCodePoint(b));
}

/// By the code points of the folded forms, without folding by units; numbers by their value where `numerically` says
/// so.
CFComparisonResult compareFolded(TextView a, TextView b, const Folding& folding, bool numerically) {
    FoldedReader left(a, folding), right(b, folding);
    int before = FoldedReader::kEnd;
    for (;;) {
        const int x = left.peek(), y = right.peek();
        if (numerically && isDigit(x) && isDigit(y)) {
            const CFComparisonResult result = compareNumbers(left, right);
            if (result != kCFCompareEqualTo) return result;
            before = x;
            continue;
        }
        // The end sorts before every unit.
        if (x != y) return folding.any() ? compareCodePoints(before, left, right) : resultOf(x - y);
        if (x == FoldedReader::kEnd) return kCFCompareEqualTo;
        before = x;
        left.advance();
        right.advance();
    }
}

/// The locale that the environment names. Where it names none ("C"), the order is that of Unicode's root: ICU's
/// en_US_POSIX would put all capitals before all small letters, which no reader expects of a localized order.
const char* userLocale() noexcept {
    const char* const name = uloc_getDefault();
    return std::string_view(name).starts_with("en_US_POSIX") ? "" : name;
}

/// The user's collation, made on first use and kept; comparing with it changes nothing in it, so threads share it.
/// Null where ICU has none.
const UCollator* makeCollator(const char* locale, bool numerically) noexcept {
    UErrorCode status = U_ZERO_ERROR;
    UCollator* const made = ucol_open(locale, &status);
    if (U_FAILURE(status)) return nullptr;
    const UColAttributeValue numeric = numerically ? UCOL_ON : UCOL_OFF;
    ucol_setAttribute(made, UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
    ucol_setAttribute(made, UCOL_NUMERIC_COLLATION, numeric, &status);
    return made;
}

const UCollator* userCollator(bool numerically) noexcept {
    if (numerically) {
        static const UCollator* const numeric = makeCollator(userLocale(), true);
        return numeric;
    }
    static const UCollator* const plain = makeCollator(userLocale(), false);
    return plain;
}

/// The collations of the locales that comparisons were made by, kept like the user's. Any thread.
class Collators {
  public:
    /// Null where ICU has none, or where so many are kept that no more are made.
    const UCollator* find(const char* locale, bool numerically) noexcept {
        const std::lock_guard lock(mutex_);
        for (std::size_t i = 0; i < count_; ++i)
            if (known_[i].isNumeric == numerically && !std::strcmp(known_[i].locale, locale)) return known_[i].collator;
        const std::size_t size = std::strlen(locale) + 1;
        Known made{{}, numerically, nullptr};
        if (count_ == known_.size() || size > sizeof made.locale) return nullptr;
        made.collator = makeCollator(locale, numerically);
        if (!made.collator) return nullptr;
        std::memcpy(made.locale, locale, size);
        known_[count_++] = made;
        return made.collator;
    }

  private:
    struct Known {
        char locale[ULOC_FULLNAME_CAPACITY];
        bool isNumeric;
        const UCollator* collator;
    };

    std::mutex mutex_;
    std::array<Known, 32> known_{};
    std::size_t count_ = 0;
};

/// Compares with the collation of `locale`, the user's for null; `compare` is passed null where there is none.
template <class Compare>
CFComparisonResult withCollator(CFLocaleRef locale, bool numerically, Compare compare) {
    const LocaleBase* const base = localeBase(locale);
    if (!base) return compare(userCollator(numerically));
    static Collators collators;
    if (const UCollator* const kept = collators.find(base->icuCollation, numerically)) return compare(kept);
    struct Closer {
        void operator()(const UCollator* collator) const noexcept { ucol_close(const_cast<UCollator*>(collator)); }
    };
    const std::unique_ptr<const UCollator, Closer> made(makeCollator(base->icuCollation, numerically));
    return compare(made.get());
}

/// In the order of a language. What the flags call alike is made equal before ICU sees it; ICU itself takes
/// care of canonical equivalence.
CFComparisonResult compareLocalized(const UCollator* collator, TextView a, TextView b, const Folding& folding,
                                    bool numerically) {
    if (!collator || !fitsICU(a.length) || !fitsICU(b.length)) return compareFolded(a, b, folding, numerically);
    UErrorCode status = U_ZERO_ERROR;
    if (!a.isWide() && !b.isWide() && !folding.caseless) {
        return resultOf(ucol_strcollUTF8(collator, a.ascii, static_cast<int32_t>(a.length), b.ascii,
                                         static_cast<int32_t>(b.length), &status));
    }
    const std::u16string left = folded(a, folding), right = folded(b, folding);
    if (!fitsICU(static_cast<CFIndex>(std::max(left.size(), right.size()))))
        return compareFolded(a, b, folding, numerically);
    return resultOf(ucol_strcoll(collator, left.data(), static_cast<int32_t>(left.size()), right.data(),
                                 static_cast<int32_t>(right.size())));
}

CFComparisonResult compare(TextView a, TextView b, CFStringCompareFlags options, CFLocaleRef locale) noexcept {
    const Folding folding = Folding::of(options, locale);
    const bool numerically = (options & kCFCompareNumerically) != 0;
    CFComparisonResult result;
    // Where memory runs out, the literal order still is one.
    if ((options & kCFCompareLocalized) != 0)
        result = guarded(compareLiterally(a, b), [&] {
            return withCollator(locale, numerically, [&](const UCollator* collator) {
                return compareLocalized(collator, a, b, folding, numerically);
            });
        });
    else if (!a.isWide() && !b.isWide() && !numerically && folding.keepsASCII())
        result = folding.caseless ? compareASCIICaseless(a.asciiView(), b.asciiView()) : compareLiterally(a, b);
    else if (folding.any() || numerically)
        result = guarded(compareLiterally(a, b), [&] { return compareFolded(a, b, folding, numerically); });
    else
        return compareLiterally(a, b);
    if (result == kCFCompareEqualTo && (options & kCFCompareForcedOrdering) != 0) return compareLiterally(a, b);
    return result;
}

}  // namespace

CFComparisonResult CFStringCompareWithOptionsAndLocale(CFStringRef theString1, CFStringRef theString2,
                                                       CFRange rangeToCompare, CFStringCompareFlags compareOptions,
                                                       CFLocaleRef locale) {
    // No string sorts before every string.
    if (!theString1 || !theString2) return resultOf((theString1 ? 1 : 0) - (theString2 ? 1 : 0));
    return compare(clampedPart(view(theString1), rangeToCompare), view(theString2), compareOptions, locale);
}

CFComparisonResult CFStringCompareWithOptions(CFStringRef theString1, CFStringRef theString2, CFRange rangeToCompare,
                                              CFStringCompareFlags compareOptions) {
    return CFStringCompareWithOptionsAndLocale(theString1, theString2, rangeToCompare, compareOptions, nullptr);
}

CFComparisonResult CFStringCompare(CFStringRef theString1, CFStringRef theString2,
                                   CFStringCompareFlags compareOptions) {
    if (theString1 == theString2) return kCFCompareEqualTo;
    const CFRange whole{0, theString1 ? theString1->length : 0};
    return CFStringCompareWithOptionsAndLocale(theString1, theString2, whole, compareOptions, nullptr);
}
