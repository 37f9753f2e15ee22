#pragma once

// Builds the objects of a property list from the events of a reader, without recursion: containers stay open on a
// stack until they are closed. Every object made belongs to the tree until takeRoot().

#include "PropertyList.h"

namespace KXPlatform {

struct RecentKeys;

class PropertyListTree {
  public:
    PropertyListTree(CFAllocatorRef allocator, CFOptionFlags mutability) noexcept;
    PropertyListTree(const PropertyListTree&) = delete;
    PropertyListTree& operator=(const PropertyListTree&) = delete;
    ~PropertyListTree();

    bool hasRoot() const noexcept { return frames_.empty() && !values_.empty(); }
    bool inContainer() const noexcept { return !frames_.empty(); }
    bool inDictionary() const noexcept { return inContainer() && frames_.back().isDictionary; }

    /// In a dictionary whose next item must be a key, or its end.
    bool expectsKey() const noexcept {
        return inDictionary() && keys_.size() - frames_.back().firstKey == values_.size() - frames_.back().firstValue;
    }

    /// The caller has made sure that what it adds may stand here: a key where expectsKey(), a value elsewhere. Text is
    /// ASCII or UTF-16; wide text that is ASCII after all is kept as such.
    void addKey(std::string_view ascii);
    void addKey(std::span<const UniChar> text);

    /// Adds an existing object, which is retained.
    void addKey(CFStringRef key);
    void addShared(CFTypeRef value);

    void addString(std::string_view ascii);
    void addString(std::span<const UniChar> text);
    void addData(PropertyListBytes bytes);
    void addInteger(std::int64_t value);
    void addUnsigned(std::uint64_t value);
    void addReal(double value);
    void addFloat(float value);
    void addDate(CFAbsoluteTime value);
    void addBoolean(bool value);

    /// Throw a read fault when the containers would nest too deep.
    void openArray() { open(false); }
    void openDictionary() { open(true); }

    /// Makes the innermost open container. Of a key that occurs more than once the last value counts.
    void close();

    /// The value added last, borrowed. Like every object in the tree it lives as long as the tree, even when a
    /// dictionary had no use for it.
    CFTypeRef lastValue() const noexcept { return values_.back(); }

    CFStringRef lastKey() const noexcept { return keys_.back(); }

    /// The finished list; the caller releases it.
    CFTypeRef takeRoot() noexcept;

    bool makesMutableContainers() const noexcept { return mutability_ != kCFPropertyListImmutable; }
    bool makesMutableLeaves() const noexcept { return mutability_ == kCFPropertyListMutableContainersAndLeaves; }

  private:
    struct Frame {
        std::size_t firstKey;
        std::size_t firstValue;
        bool isDictionary;
    };

    void open(bool isDictionary);
    void adoptKey(CFStringRef key);
    void adoptValue(CFTypeRef value);
    /// Both take over the references to their contents, unless they throw.
    CFTypeRef makeArray(const CFTypeRef* values, std::size_t count);
    CFTypeRef makeDictionary(const CFStringRef* keys, const CFTypeRef* values, std::size_t count);
    CFTypeRef keepingDropped(CFTypeRef dictionary, const CFStringRef* keys, const CFTypeRef* values, std::size_t count);

    const CFAllocatorRef allocator_;
    const CFOptionFlags mutability_;
    SmallVector<Frame, 16> frames_;
    SmallVector<CFStringRef, 64> keys_;
    SmallVector<CFTypeRef, 64> values_;
    SmallVector<CFTypeRef, 4> dropped_;  ///< what equal keys left out of a dictionary
    RecentKeys* const recentKeys_;       ///< the thread's; null when keys are not to be kept
};

}  // namespace KXPlatform
