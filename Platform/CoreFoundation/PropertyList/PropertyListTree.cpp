#include "PropertyListTree.h"

#include "CoreFoundation/Collections/Adopting.h"
#include "CoreFoundation/Object/Object.h"
#include "CoreFoundation/String/CFStringObject.h"
#include "CoreFoundation/Values/CFNumberObject.h"

#include <CoreFoundation/CoreFoundation.h>

#include <array>
#include <cstring>
#include <utility>

namespace KXPlatform {

/// Keys repeat within a document and from one to the next: each thread keeps the last few that it made, found by their
/// first and last bytes. A document of records then costs no allocation for its keys.
struct RecentKeys {
    static constexpr unsigned kSlotBits = 7;
    static constexpr std::size_t kLongest = 64;  ///< bytes; longer keys are not kept

    RecentKeys() = default;
    RecentKeys(const RecentKeys&) = delete;
    RecentKeys& operator=(const RecentKeys&) = delete;
    ~RecentKeys() {
        for (const CFStringRef key : keys) CFRelease(key);
    }

    /// The first and the last bytes of a text, by loads of fixed sizes, which may overlap. With its size they are the
    /// whole of a text of up to 16 bytes.
    struct Ends {
        explicit Ends(std::string_view text) noexcept {
            const char* const at = text.data();
            const std::size_t size = text.size();
            if (size >= 8) {
                std::memcpy(&first, at, 8);
                std::memcpy(&last, at + size - 8, 8);
            } else if (size >= 4) {
                std::memcpy(&first, at, 4);
                std::memcpy(&last, at + size - 4, 4);
            } else if (size > 0) {
                first = static_cast<std::uint8_t>(at[0]);
                last = static_cast<std::uint64_t>(static_cast<std::uint8_t>(at[size / 2])) << 8 |
                       static_cast<std::uint8_t>(at[size - 1]);
            }
        }
        bool operator==(const Ends&) const noexcept = default;

        std::uint64_t first = 0;
        std::uint64_t last = 0;
    };

    /// The key kept in `slot` when it is `text`, whose ends are given.
    static bool holds(CFStringRef slot, std::string_view text, const Ends& ends) noexcept {
        if (!slot || slot->isWide() || slot->length != static_cast<CFIndex>(text.size())) return false;
        const std::string_view kept(slot->text.ascii, text.size());
        return Ends(kept) == ends && (text.size() <= 16 || kept == text);
    }

    CFStringRef& slotOf(const Ends& ends, std::size_t size) noexcept {
        const std::uint64_t mixed = (ends.first ^ (ends.last << 7 | ends.last >> 57) ^ size) * 0x9E3779B97F4A7C15u;
        return keys[mixed >> (64 - kSlotBits)];
    }

    std::array<CFStringRef, std::size_t{1} << kSlotBits> keys{};
};

namespace {

/// The calling thread's keys; null without memory, and when the thread is ending and has given them up already.
RecentKeys* recentKeysOfThread() noexcept {
    enum class Phase : std::uint8_t { New, Running, Ended };
    // Without destructors of their own, so that both may be looked at for as long as the thread lives.
    static thread_local RecentKeys* keys = nullptr;
    static thread_local Phase phase = Phase::New;
    struct Ending {
        ~Ending() {
            phase = Phase::Ended;
            delete std::exchange(keys, nullptr);
        }
    };
    if (phase == Phase::New) {
        static thread_local const Ending ending;
        static_cast<void>(ending);
        keys = new (std::nothrow) RecentKeys;
        phase = Phase::Running;
    }
    return keys;
}

CFTypeRef made(CFTypeRef object) {
    if (!object) throw std::bad_alloc();
    return object;
}

CFIndex length(std::size_t count) noexcept { return static_cast<CFIndex>(count); }

}  // namespace

PropertyListTree::PropertyListTree(CFAllocatorRef allocator, CFOptionFlags mutability) noexcept
    : allocator_(allocator ? allocator : CFAllocatorGetDefault()),
      mutability_(mutability),
      // A document read with an allocator of its own has all of its objects from that.
      recentKeys_(allocator_ == kCFAllocatorSystemDefault ? recentKeysOfThread() : nullptr) {}

PropertyListTree::~PropertyListTree() {
    for (const CFStringRef key : keys_) CFRelease(key);
    for (const CFTypeRef value : values_) CFRelease(value);
    for (const CFTypeRef dropped : dropped_) CFRelease(dropped);
}

void PropertyListTree::adoptKey(CFStringRef key) {
    try {
        keys_.push_back(key);
    } catch (...) {
        CFRelease(key);
        throw;
    }
}

void PropertyListTree::adoptValue(CFTypeRef value) {
    try {
        values_.push_back(value);
    } catch (...) {
        CFRelease(value);
        throw;
    }
}

void PropertyListTree::addKey(std::string_view ascii) {
    if (!recentKeys_ || ascii.size() > RecentKeys::kLongest) {
        return adoptKey(static_cast<CFStringRef>(made(createASCII(allocator_, ascii))));
    }
    const RecentKeys::Ends ends(ascii);
    CFStringRef& recent = recentKeys_->slotOf(ends, ascii.size());
    if (!RecentKeys::holds(recent, ascii, ends)) {
        const CFStringRef key = static_cast<CFStringRef>(made(createASCII(allocator_, ascii)));
        CFRelease(recent);
        recent = key;
    }
    addKey(recent);
}

void PropertyListTree::addKey(std::span<const UniChar> text) {
    adoptKey(
        static_cast<CFStringRef>(made(CFStringCreateWithCharacters(allocator_, text.data(), length(text.size())))));
}

void PropertyListTree::addKey(CFStringRef key) {
    keys_.push_back(key);
    retain(key);
}

void PropertyListTree::addShared(CFTypeRef value) {
    values_.push_back(value);
    retain(value);
}

void PropertyListTree::addString(std::string_view ascii) {
    const CFTypeRef string = made(createASCII(allocator_, ascii));
    if (!makesMutableLeaves()) return adoptValue(string);
    const CFTypeRef copy = CFStringCreateMutableCopy(allocator_, 0, static_cast<CFStringRef>(string));
    CFRelease(string);
    adoptValue(made(copy));
}

void PropertyListTree::addString(std::span<const UniChar> text) {
    const CFTypeRef string = made(CFStringCreateWithCharacters(allocator_, text.data(), length(text.size())));
    if (!makesMutableLeaves()) return adoptValue(string);
    const CFTypeRef copy = CFStringCreateMutableCopy(allocator_, 0, static_cast<CFStringRef>(string));
    CFRelease(string);
    adoptValue(made(copy));
}

void PropertyListTree::addData(PropertyListBytes bytes) {
    const CFTypeRef data = made(CFDataCreate(allocator_, bytes.data(), length(bytes.size())));
    if (!makesMutableLeaves()) return adoptValue(data);
    const CFTypeRef copy = CFDataCreateMutableCopy(allocator_, 0, static_cast<CFDataRef>(data));
    CFRelease(data);
    adoptValue(made(copy));
}

void PropertyListTree::addInteger(std::int64_t value) {
    adoptValue(made(CFNumberCreate(allocator_, kCFNumberSInt64Type, &value)));
}

void PropertyListTree::addUnsigned(std::uint64_t value) { adoptValue(made(createUnsignedNumber(allocator_, value))); }

void PropertyListTree::addReal(double value) {
    adoptValue(made(CFNumberCreate(allocator_, kCFNumberFloat64Type, &value)));
}

void PropertyListTree::addFloat(float value) {
    adoptValue(made(CFNumberCreate(allocator_, kCFNumberFloat32Type, &value)));
}

void PropertyListTree::addDate(CFAbsoluteTime value) { adoptValue(made(CFDateCreate(allocator_, value))); }

void PropertyListTree::addBoolean(bool value) { adoptValue(value ? kCFBooleanTrue : kCFBooleanFalse); }

void PropertyListTree::open(bool isDictionary) {
    if (frames_.size() == kMaximumPropertyListDepth) {
        throwReadFault("Arrays and dictionaries nested more than " + std::to_string(kMaximumPropertyListDepth) +
                       " deep");
    }
    frames_.push_back({.firstKey = keys_.size(), .firstValue = values_.size(), .isDictionary = isDictionary});
}

void PropertyListTree::close() {
    const Frame frame = frames_.back();
    const std::size_t count = values_.size() - frame.firstValue;
    const CFStringRef* const keys = keys_.data() + frame.firstKey;
    const CFTypeRef* const values = values_.data() + frame.firstValue;
    const CFTypeRef container = frame.isDictionary ? makeDictionary(keys, values, count) : makeArray(values, count);
    keys_.truncate(frame.firstKey);
    values_.truncate(frame.firstValue);
    frames_.pop_back();
    adoptValue(container);
}

/// Gives up the references to what `dictionary` was made of, or keeps them when equal keys left something out.
CFTypeRef PropertyListTree::keepingDropped(CFTypeRef dictionary, const CFStringRef* keys, const CFTypeRef* values,
                                           std::size_t count) {
    const bool anyDropped = CFDictionaryGetCount(static_cast<CFDictionaryRef>(dictionary)) != length(count);
    if (anyDropped) {
        try {
            dropped_.room(2 * count);
        } catch (...) {
            CFRelease(dictionary);
            throw;
        }
    }
    for (std::size_t i = 0; i < count; ++i) {
        for (const CFTypeRef object : {static_cast<CFTypeRef>(keys[i]), values[i]}) {
            if (anyDropped) {
                dropped_.push_back(object);
            } else {
                CFRelease(object);
            }
        }
    }
    return dictionary;
}

CFTypeRef PropertyListTree::makeArray(const CFTypeRef* values, std::size_t count) {
    if (!makesMutableContainers()) return made(createArrayAdopting(allocator_, values, length(count)));
    const CFMutableArrayRef array = CFArrayCreateMutable(allocator_, 0, &kCFTypeArrayCallBacks);
    made(array);
    for (std::size_t i = 0; i < count; ++i) CFArrayAppendValue(array, values[i]);
    // A mutable container without memory for another value leaves it out; here that must not pass in silence.
    if (CFArrayGetCount(array) != length(count)) {
        CFRelease(array);
        throw std::bad_alloc();
    }
    for (std::size_t i = 0; i < count; ++i) CFRelease(values[i]);
    return array;
}

CFTypeRef PropertyListTree::makeDictionary(const CFStringRef* keys, const CFTypeRef* values, std::size_t count) {
    if (!makesMutableContainers()) {
        const CFTypeRef adopted = createDictionaryAdopting(allocator_, keys, values, length(count));
        if (adopted) return adopted;
    }
    // Set one by one, a key that comes again replaces what was there.
    const CFMutableDictionaryRef dictionary =
        CFDictionaryCreateMutable(allocator_, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    made(dictionary);
    bool isWhole = true;
    for (std::size_t i = 0; i < count && isWhole; ++i) {
        CFDictionarySetValue(dictionary, keys[i], values[i]);
        isWhole = CFDictionaryGetValue(dictionary, keys[i]) == values[i];
    }
    if (!isWhole) {
        CFRelease(dictionary);
        throw std::bad_alloc();
    }
    if (makesMutableContainers()) return keepingDropped(dictionary, keys, values, count);
    const CFTypeRef copy = CFDictionaryCreateCopy(allocator_, dictionary);
    CFRelease(dictionary);
    return keepingDropped(made(copy), keys, values, count);
}

CFTypeRef PropertyListTree::takeRoot() noexcept {
    const CFTypeRef root = values_.back();
    values_.pop_back();
    return root;
}

}  // namespace KXPlatform
