#include "CFCharacterSetObject.h"
#include "CFStringFolding.h"
#include "CFStringSupport.h"

#include <CoreFoundation/CFArray.h>
#include <unicode/utf16.h>

#include <unicode/utf16.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

using namespace KXPlatform;

namespace {

constexpr CFIndex kNowhere = -1;

template <bool Caseless, class Unit>
constexpr UniChar projected(Unit unit) noexcept {
    if constexpr (sizeof(Unit) == 1) {
        return static_cast<UniChar>(static_cast<unsigned char>(Caseless ? asciiLower(unit) : unit));
    } else {
        return unit;
    }
}

/// The number of units with which text and pattern begin alike.
template <bool Caseless, class T, class P>
CFIndex countEqual(const T* text, const P* pattern, CFIndex length) noexcept {
    CFIndex count = 0;
    while (count < length && projected<Caseless>(text[count]) == projected<false>(pattern[count])) ++count;
    return count;
}

/// A plain search costs least where few places look like a match, as in nearly every text. Where it has compared this
/// much in vain, text and pattern repeat themselves, and a method whose time is linear in both goes on.
constexpr bool hasComparedTooMuch(CFIndex compared, CFIndex searched) noexcept {
    constexpr CFIndex kPatience = 1024;
    return compared > kPatience + 8 * searched;
}

/// The first match in a text, or the last, by the method of Knuth, Morris and Pratt; backwards, text and pattern are
/// read from their ends.
template <bool Caseless, bool Backwards, class T, class P>
CFIndex linearMatch(const T* text, CFIndex from, CFIndex to, const P* pattern, CFIndex length) noexcept {
    const auto textAt = [&](CFIndex i) { return projected<Caseless>(text[Backwards ? to - 1 - i : from + i]); };
    const auto patternAt = [&](CFIndex i) { return projected<false>(pattern[Backwards ? length - 1 - i : i]); };
    // borders[i]: how many of the first i + 1 units are a shorter ending of themselves.
    const std::unique_ptr<CFIndex[]> memory(new (std::nothrow) CFIndex[static_cast<std::size_t>(length)]);
    CFIndex* const borders = memory.get();
    if (!borders) return kNowhere;
    borders[0] = 0;
    for (CFIndex i = 1, matched = 0; i < length; ++i) {
        while (matched > 0 && patternAt(i) != patternAt(matched)) matched = borders[matched - 1];
        if (patternAt(i) == patternAt(matched)) ++matched;
        borders[i] = matched;
    }
    for (CFIndex i = 0, matched = 0; i < to - from; ++i) {
        while (matched > 0 && textAt(i) != patternAt(matched)) matched = borders[matched - 1];
        if (textAt(i) == patternAt(matched)) ++matched;
        if (matched == length) return Backwards ? to - 1 - i : from + i + 1 - length;
    }
    return kNowhere;
}

/// The next place of either of two bytes, each looked for with memchr and no further than need be.
class ByteFinder {
  public:
    ByteFinder(const char* text, CFIndex from, CFIndex to, char one, char other) noexcept
        : text_(text), to_(to), one_(one), other_(other), nextOne_(locate(one, from)) {
        nextOther_ = one == other ? to : locate(other, from);
    }

    /// The next place, or the end.
    CFIndex place() const noexcept { return std::min(nextOne_, nextOther_); }

    void advance() noexcept {
        const CFIndex behind = place() + 1;
        if (nextOne_ < behind)
            nextOne_ = locate(one_, behind);
        else
            nextOther_ = locate(other_, behind);
    }

  private:
    CFIndex locate(char byte, CFIndex from) const noexcept {
        if (from >= to_) return to_;
        const void* const found = std::memchr(text_ + from, byte, static_cast<std::size_t>(to_ - from));
        return found ? static_cast<const char*>(found) - text_ : to_;
    }

    const char* text_;
    CFIndex to_;
    char one_;
    char other_;
    CFIndex nextOne_;
    CFIndex nextOther_ = 0;
};

template <bool Caseless, class T, class P>
CFIndex firstMatch(const T* text, CFIndex from, CFIndex to, const P* pattern, CFIndex length) noexcept {
    if constexpr (sizeof(T) == 1 && sizeof(P) == 1) {
        // By the first byte, as long as that tells much; a text full of it is memmem's, whose time is linear.
        constexpr CFIndex kPatience = 64;
        const char first = pattern[0];
        ByteFinder finder(text, from, to - length + 1, first, Caseless ? asciiUpper(first) : first);
        CFIndex misses = 0;
        CFIndex compared = 0;
        for (CFIndex at = finder.place(); at + length <= to; at = finder.place()) {
            const CFIndex equal = countEqual<Caseless>(text + at, pattern, length);
            if (equal == length) return at;
            finder.advance();
            compared += equal;
            if (Caseless && hasComparedTooMuch(compared, at - from))
                return linearMatch<Caseless, false>(text, at + 1, to, pattern, length);
            if (Caseless || ++misses < kPatience + (at - from) / 16) continue;
            const void* const found =
                ::memmem(text + at, static_cast<std::size_t>(to - at), pattern, static_cast<std::size_t>(length));
            return found ? static_cast<const T*>(found) - text : kNowhere;
        }
        return kNowhere;
    } else {
        const UniChar first = projected<false>(pattern[0]);
        CFIndex compared = 0;
        for (CFIndex at = from; at + length <= to; ++at) {
            if (projected<Caseless>(text[at]) != first) continue;
            const CFIndex equal = countEqual<Caseless>(text + at, pattern, length);
            if (equal == length) return at;
            compared += equal;
            if (hasComparedTooMuch(compared, at - from))
                return linearMatch<Caseless, false>(text, at + 1, to, pattern, length);
        }
        return kNowhere;
    }
}

template <bool Caseless, class T, class P>
CFIndex lastMatch(const T* text, CFIndex from, CFIndex to, const P* pattern, CFIndex length) noexcept {
    const UniChar first = projected<false>(pattern[0]);
    CFIndex compared = 0;
    for (CFIndex at = to - length; at >= from; --at) {
        if (projected<Caseless>(text[at]) != first) continue;
        const CFIndex equal = countEqual<Caseless>(text + at, pattern, length);
        if (equal == length) return at;
        compared += equal;
        if (hasComparedTooMuch(compared, to - length - at))
            return linearMatch<Caseless, true>(text, from, at + length - 1, pattern, length);
    }
    return kNowhere;
}

/// Calls `work` with text and pattern as pointers to the units they consist of.
template <class Work>
CFIndex withUnits(TextView text, TextView pattern, Work work) noexcept {
    if (text.isWide()) return pattern.isWide() ? work(text.wide, pattern.wide) : work(text.wide, pattern.ascii);
    return pattern.isWide() ? work(text.ascii, pattern.wide) : work(text.ascii, pattern.ascii);
}

/// Finds a pattern in a text, match after match, none overlapping the one before.
///
/// A literal search goes over the text itself. A search by likeness goes over the folded forms, where a match counts
/// when it begins and ends with whole sequences of the text: "s" is not found in "ß", nor, under canonical folding, "e"
/// in "é" written as two characters. ASCII text needs no folded copy: folding keeps its length, and each character is a
/// sequence.
class Search {
  public:
    /// May throw std::bad_alloc.
    Search(TextView text, TextView pattern, CFStringCompareFlags flags, const Folding& folding)
        : text_(text),
          pattern_(pattern),
          backwards_((flags & kCFCompareBackwards) != 0),
          anchored_((flags & kCFCompareAnchored) != 0) {
        if (folding.any() && pattern.length > 0) {
            foldedPattern_ = folded(pattern, folding);
            if (text.isWide() || !folding.keepsASCII()) {
                foldText(folding);
                pattern_ = {nullptr, asUnits(foldedPattern_.data()), static_cast<CFIndex>(foldedPattern_.size())};
            } else {
                caseless_ = folding.caseless;
                narrowPattern();
            }
        }
        to_ = text_.length;
    }

    // The views may point into the object.
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;

    /// The next match, in units of the text given; none when there are no more. An empty pattern has no match.
    std::optional<CFRange> next() noexcept {
        while (pattern_.length > 0 && to_ - from_ >= pattern_.length) {
            const CFIndex at = anchored_ ? anchor() : locate();
            if (at == kNowhere) break;
            const CFIndex end = at + pattern_.length;
            if (isWhole(at, end)) {
                (backwards_ ? to_ : from_) = backwards_ ? at : end;
                return CFRange{original(at), original(end) - original(at)};
            }
            if (anchored_) break;
            if (backwards_)
                to_ = end - 1;
            else
                from_ = at + 1;
        }
        to_ = from_;
        return std::nullopt;
    }

  private:
    /// The folded pattern as bytes, for ASCII text; none where it is not ASCII, for then there is no match.
    void narrowPattern() {
        if (isASCII(asUnits(foldedPattern_.data()), foldedPattern_.size()))
            for (const char16_t unit : foldedPattern_) asciiPattern_.push_back(static_cast<char>(unit));
        pattern_ = {asciiPattern_.data(), nullptr, static_cast<CFIndex>(asciiPattern_.size())};
    }

    void foldText(const Folding& folding) {
        foldedText_.reserve(static_cast<std::size_t>(text_.length));
        starts_.reserve(static_cast<std::size_t>(text_.length) + 1);
        SequenceFolder folder(folding);
        for (CFIndex at = 0; at < text_.length;) {
            const CFIndex end = sequenceEnd(text_, at, folding);
            // A sequence without a folded form (stray marks that are ignored) belongs to what stands before it.
            const std::size_t first = foldedText_.size();
            folder.append(text_.part(at, end - at), foldedText_);
            starts_.resize(foldedText_.size(), kNowhere);
            if (foldedText_.size() > first) starts_[first] = at;
            // A surrogate pair may be taken apart, as it may in a literal search.
            if (!folding.canonical && foldedText_.size() == first + 2 && U16_IS_LEAD(text_[at])) {
                starts_[first + 1] = at + 1;
            }
            at = end;
        }
        starts_.push_back(text_.length);
        text_ = {nullptr, asUnits(foldedText_.data()), static_cast<CFIndex>(foldedText_.size())};
    }

    /// A folded place as one of the text given; kNowhere inside a sequence.
    CFIndex original(CFIndex at) const noexcept { return starts_.empty() ? at : starts_[static_cast<std::size_t>(at)]; }

    bool isWhole(CFIndex at, CFIndex end) const noexcept {
        return original(at) != kNowhere && original(end) != kNowhere;
    }

    template <bool Caseless>
    CFIndex locateAs() const noexcept {
        return withUnits(text_, pattern_, [this](const auto* text, const auto* pattern) {
            return backwards_ ? lastMatch<Caseless>(text, from_, to_, pattern, pattern_.length)
                              : firstMatch<Caseless>(text, from_, to_, pattern, pattern_.length);
        });
    }

    CFIndex locate() const noexcept { return caseless_ ? locateAs<true>() : locateAs<false>(); }

    template <bool Caseless>
    CFIndex anchorAs() const noexcept {
        const CFIndex at = backwards_ ? to_ - pattern_.length : from_;
        return withUnits(text_, pattern_, [this, at](const auto* text, const auto* pattern) {
            return countEqual<Caseless>(text + at, pattern, pattern_.length) == pattern_.length ? at : kNowhere;
        });
    }

    CFIndex anchor() const noexcept { return caseless_ ? anchorAs<true>() : anchorAs<false>(); }

    TextView text_;
    TextView pattern_;
    bool backwards_;
    bool anchored_;
    bool caseless_ = false;  ///< fold the case of ASCII text while searching
    std::u16string foldedText_;
    std::u16string foldedPattern_;
    std::string asciiPattern_;
    std::vector<CFIndex> starts_;  ///< for each folded unit, and the end: where its sequence starts in the text
    CFIndex from_ = 0;
    CFIndex to_ = 0;
};

/// All matches in `range` of `text`, in the order of finding, as ranges of `text`. May throw std::bad_alloc.
std::vector<CFRange> allMatches(TextView text, TextView pattern, CFRange range, CFStringCompareFlags options) {
    const CFRange within = clamped(range, text.length);
    Search search(text.part(within.location, within.length), pattern, options, Folding::of(options));
    std::vector<CFRange> matches;
    while (const std::optional<CFRange> found = search.next())
        matches.push_back({found->location + within.location, found->length});
    return matches;
}

// ---- Ranges as values of an array

struct FoundRanges;

/// What a value of the array points at.
struct FoundRange {
    CFRange range;
    FoundRanges* owner;
};

/// The ranges of one search, in one piece of memory; each array that holds one of them keeps all.
struct FoundRanges {
    std::atomic<std::size_t> references{1};
    std::vector<FoundRange> ranges;
};

const FoundRange* foundRange(const void* value) noexcept { return static_cast<const FoundRange*>(value); }

void release(FoundRanges* ranges) noexcept {
    if (ranges->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete ranges;
}

const void* retainRange(CFAllocatorRef, const void* value) {
    foundRange(value)->owner->references.fetch_add(1, std::memory_order_relaxed);
    return value;
}

void releaseRange(CFAllocatorRef, const void* value) { release(foundRange(value)->owner); }

CFStringRef describeRange(const void* value) {
    const CFRange range = foundRange(value)->range;
    return createPrinted(nullptr, "{%ld, %ld}", range.location, range.length);
}

Boolean equalRanges(const void* a, const void* b) {
    // The other value may come from anywhere: only what is public of it is looked at.
    const CFRange* const left = static_cast<const CFRange*>(a);
    const CFRange* const right = static_cast<const CFRange*>(b);
    return left == right || (left && right && left->location == right->location && left->length == right->length);
}

constexpr CFArrayCallBacks kRangeCallBacks{0, retainRange, releaseRange, describeRange, equalRanges};

/// `text` with `replacement` in the place of each match; `matches` are in the order of the text.
std::u16string replaced(TextView text, TextView replacement, const std::vector<CFRange>& matches) {
    std::u16string result;
    const auto append = [&result](TextView part) {
        const std::size_t before = result.size();
        result.resize(before + static_cast<std::size_t>(part.length));
        part.copyTo(asUnits(result.data() + before));
    };
    CFIndex at = 0;
    for (const CFRange& match : matches) {
        append(text.part(at, match.location - at));
        append(replacement);
        at = match.location + match.length;
    }
    append(text.part(at, text.length - at));
    return result;
}

}  // namespace

CFIndex KXPlatform::findLiterally(TextView text, CFIndex from, TextView pattern) noexcept {
    return withUnits(text, pattern, [&](const auto* units, const auto* sought) {
        return firstMatch<false>(units, from, text.length, sought, pattern.length);
    });
}

Boolean CFStringFindWithOptionsAndLocale(CFStringRef theString, CFStringRef stringToFind, CFRange rangeToSearch,
                                         CFStringCompareFlags searchOptions, CFLocaleRef locale, CFRange* result) {
    if (!theString || !stringToFind) return false;
    const TextView text = view(theString);
    const CFRange within = clamped(rangeToSearch, text.length);
    const auto found = guarded(std::optional<CFRange>{}, [&] {
        return Search(text.part(within.location, within.length), view(stringToFind), searchOptions,
                      Folding::of(searchOptions, locale))
            .next();
    });
    if (found && result) *result = {found->location + within.location, found->length};
    return found.has_value();
}

Boolean CFStringFindWithOptions(CFStringRef theString, CFStringRef stringToFind, CFRange rangeToSearch,
                                CFStringCompareFlags searchOptions, CFRange* result) {
    return CFStringFindWithOptionsAndLocale(theString, stringToFind, rangeToSearch, searchOptions, nullptr, result);
}

CFRange CFStringFind(CFStringRef theString, CFStringRef stringToFind, CFStringCompareFlags compareOptions) {
    CFRange result{kCFNotFound, 0};
    CFStringFindWithOptions(theString, stringToFind, {0, CFStringGetLength(theString)}, compareOptions, &result);
    return result;
}

Boolean CFStringHasPrefix(CFStringRef theString, CFStringRef prefix) {
    return CFStringFindWithOptions(theString, prefix, {0, CFStringGetLength(theString)}, kCFCompareAnchored, nullptr);
}

Boolean CFStringHasSuffix(CFStringRef theString, CFStringRef suffix) {
    return CFStringFindWithOptions(theString, suffix, {0, CFStringGetLength(theString)},
                                   kCFCompareAnchored | kCFCompareBackwards, nullptr);
}

Boolean CFStringFindCharacterFromSet(CFStringRef theString, CFCharacterSetRef theSet, CFRange rangeToSearch,
                                     CFStringCompareFlags searchOptions, CFRange* result) {
    const __CFCharacterSet* const set = characterSet(theSet);
    if (!isOfType(theString, TypeID::String) || !set || !isWithin(rangeToSearch, theString->length)) return false;
    const TextView text = view(theString);
    const bool backwards = (searchOptions & kCFCompareBackwards) != 0;
    const bool anchored = (searchOptions & kCFCompareAnchored) != 0;
    const CFIndex begin = rangeToSearch.location, end = begin + rangeToSearch.length;
    for (CFIndex at = backwards ? end : begin; backwards ? at > begin : at < end;) {
        UChar32 c;
        CFIndex start = at, stop = at;
        if (!text.isWide()) {
            backwards ? --start : ++stop;
            c = text[start];
        } else if (backwards) {
            U16_PREV(text.wide, begin, start, c);
        } else {
            U16_NEXT(text.wide, stop, end, c);
        }
        if (set->contains(c)) {
            if (result) *result = {start, stop - start};
            return true;
        }
        if (anchored) return false;
        at = backwards ? start : stop;
    }
    return false;
}

CFArrayRef CFStringCreateArrayWithFindResults(CFAllocatorRef alloc, CFStringRef theString, CFStringRef stringToFind,
                                              CFRange rangeToSearch, CFStringCompareFlags compareOptions) {
    if (!theString || !stringToFind) return nullptr;
    return guarded(CFArrayRef{}, [&]() -> CFArrayRef {
        const std::vector<CFRange> matches =
            allMatches(view(theString), view(stringToFind), rangeToSearch, compareOptions);
        if (matches.empty()) return nullptr;
        struct Releaser {
            void operator()(FoundRanges* ranges) const noexcept { release(ranges); }
        };
        const std::unique_ptr<FoundRanges, Releaser> found(new FoundRanges);
        found->ranges.reserve(matches.size());
        std::vector<const void*> values;
        values.reserve(matches.size());
        for (const CFRange& match : matches) {
            found->ranges.push_back({match, found.get()});
            values.push_back(&found->ranges.back());
        }
        return CFArrayCreate(alloc, values.data(), static_cast<CFIndex>(values.size()), &kRangeCallBacks);
    });
}

CFIndex CFStringFindAndReplace(CFMutableStringRef theString, CFStringRef stringToFind, CFStringRef replacementString,
                               CFRange rangeToSearch, CFStringCompareFlags compareOptions) {
    if (!theString || !stringToFind || !replacementString || !theString->isMutable()) return 0;
    return guarded(CFIndex{0}, [&]() -> CFIndex {
        const TextView text = view(theString);
        std::vector<CFRange> matches = allMatches(text, view(stringToFind), rangeToSearch, compareOptions);
        if (matches.empty()) return 0;
        if ((compareOptions & kCFCompareBackwards) != 0) std::reverse(matches.begin(), matches.end());
        // Only what lies between the first match and the last changes.
        const CFIndex start = matches.front().location;
        const CFIndex end = matches.back().location + matches.back().length;
        for (CFRange& match : matches) match.location -= start;
        const std::u16string units = replaced(text.part(start, end - start), view(replacementString), matches);
        return replaceUnits(theString, {start, end - start}, units) ? static_cast<CFIndex>(matches.size()) : 0;
    });
}
